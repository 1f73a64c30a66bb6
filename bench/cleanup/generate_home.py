#!/usr/bin/env python3
"""Builds a Mac-like root with one user whose home holds at least 200,000 files, for the
clean-up scan benchmark: 50 cache folders, Application Support (with an iOS backup), logs,
saved application state, a Trash, Downloads with installers and failed downloads, document
folders, and twenty files over 50 MiB (sparse, so they take almost no disk).

Usage: generate_home.py ROOT [--files-per-cache N]

The result is deterministic (fixed seed). ROOT/usr/bin/find and ROOT/usr/bin/wc link to the
host's tools, since Kestrel runs tools only from under the analysed root. Prints the number
of files written.
"""
import argparse
import os
import plistlib
import random
import sys

USER = "bench"


class Writer:
    def __init__(self, seed):
        self.random = random.Random(seed)
        self.files = 0

    def file(self, path, size=None):
        if size is None:
            # Mostly small files, as caches and logs are.
            size = self.random.choice((0, 120, 900, 2048, 4096, 6000, 8192, 15000))
        with open(path, "wb") as handle:
            handle.write(b"k" * size)
        self.files += 1

    def tree(self, folder, folders, files_per_folder):
        for index in range(folders):
            sub = os.path.join(folder, "d%03d" % index)
            os.makedirs(sub, exist_ok=True)
            for number in range(files_per_folder):
                self.file(os.path.join(sub, "f%04d.bin" % number))

    def sparse(self, path, size):
        with open(path, "wb") as handle:
            handle.write(b"head")
            handle.truncate(size)
        self.files += 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("root")
    parser.add_argument("--files-per-cache", type=int, default=2000)
    args = parser.parse_args()

    root = os.path.abspath(args.root)
    home = os.path.join(root, "Users", USER)
    if os.path.exists(home):
        sys.exit("%s exists already; remove it first" % home)
    w = Writer(20240304)

    for folder in ("usr/bin", "System/Library/CoreServices", "Users/Shared"):
        os.makedirs(os.path.join(root, folder), exist_ok=True)
    for tool in ("find", "wc"):
        os.symlink("/usr/bin/" + tool, os.path.join(root, "usr/bin", tool))
    with open(os.path.join(root, "System/Library/CoreServices/SystemVersion.plist"), "wb") as f:
        plistlib.dump({"ProductName": "macOS", "ProductVersion": "14.5"}, f)

    library = os.path.join(home, "Library")
    caches = os.path.join(library, "Caches")
    per_folder = max(1, args.files_per_cache // 20)
    # 50 cache folders: 47 of other applications, 3 of Apple's own (walked by du only).
    names = ["com.vendor%02d.app" % index for index in range(47)]
    names += ["com.apple.Safari", "CloudKit", "com.apple.nsurlsessiond"]
    for name in names:
        w.tree(os.path.join(caches, name), 20, per_folder)

    support = os.path.join(library, "Application Support")
    for index in range(25):
        w.tree(os.path.join(support, "Vendor%02d" % index), 16, 100)
    backup = os.path.join(support, "MobileSync/Backup/00008030-001A2B3C4D5E6F70")
    os.makedirs(backup)
    with open(os.path.join(backup, "Info.plist"), "wb") as f:
        plistlib.dump({"Device Name": "Bench iPhone", "Product Type": "iPhone14,2"}, f)
    w.files += 1
    for index in range(256):
        sub = os.path.join(backup, "%02x" % index)
        os.makedirs(sub)
        for number in range(8):
            w.file(os.path.join(sub, "%02x%038x" % (index, number)))

    w.tree(os.path.join(library, "Logs"), 10, 500)
    w.tree(os.path.join(library, "Saved Application State"), 100, 10)

    trash = os.path.join(home, ".Trash")
    os.makedirs(trash)
    w.file(os.path.join(trash, ".DS_Store"), 6148)
    w.tree(trash, 40, 100)

    downloads = os.path.join(home, "Downloads")
    os.makedirs(downloads)
    for index in range(20):
        w.file(os.path.join(downloads, "Installer%02d.dmg" % index), 262144)
    for index in range(10):
        w.file(os.path.join(downloads, "Tool%02d.pkg" % index), 131072)
    for index in range(15):
        bundle = os.path.join(downloads, "Movie%02d.mp4.download" % index)
        os.makedirs(bundle)
        for name in ("Movie.mp4", "Info.plist", "resume.data"):
            w.file(os.path.join(bundle, name))
    w.tree(os.path.join(downloads, "Archive"), 30, 100)

    for folder, count in (("Documents", 250), ("Desktop", 60), ("Pictures", 100),
                          ("Movies", 40), ("Pictures/Screenshots", 10)):
        w.tree(os.path.join(home, folder), count, 100)

    # Twenty files over 50 MiB outside Library.
    places = ("Movies", "Documents", "Desktop", "Downloads")
    for index in range(20):
        folder = os.path.join(home, places[index % len(places)])
        w.sparse(os.path.join(folder, "large%02d.bin" % index), (51 + 3 * index) * 1024 * 1024)

    print(w.files)


if __name__ == "__main__":
    main()
