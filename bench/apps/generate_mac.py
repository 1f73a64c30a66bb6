#!/usr/bin/env python3
"""Generates the Mac the App Manage benchmark scans: 400 application bundles and a home
Library of 5,000 entries.

    generate_mac.py ROOT

The bundles sit where the application search looks: /Applications (and folders in it),
/System/Applications, ~/Applications, ~/Downloads and a project folder on the Desktop. Half
their Info.plists are XML, half binary; their executables are thin (arm64 or x86_64),
universal (both) or shell scripts, and 40 of them are 512 MiB (sparse: only their first
bytes hold data, the rest is a hole, so the machine takes little disk). Some bundles embed
helpers and localised InfoPlist.strings. The home's Library holds caches, containers, group
containers, support folders, preferences, logs and launch agents, some named after the apps,
most after nothing installed. The tree is made once and reused while ROOT/.manifest.json
matches this script's version.
"""
import json
import os
import plistlib
import random
import struct
import sys

VERSION = 1
BUNDLES = 400
LARGE_EXECUTABLES = 40
LIBRARY_ENTRIES = 5000
LARGE_BYTES = 512 * 1024 * 1024
LOGIN = "bench"


def write(path, data, size=None):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data)
        if size is not None and size > len(data):
            f.truncate(size)


def thin(cpu_type):
    # mach_header_64 (little-endian) followed by room for load commands.
    return struct.pack("<IiiIIIII", 0xFEEDFACF, cpu_type, 0, 2, 0, 0, 0, 0) + bytes(4064)


def universal():
    slices = [(0x01000007, 3), (0x0100000C, 0)]
    header = struct.pack(">II", 0xCAFEBABE, len(slices))
    for index, (cpu, sub) in enumerate(slices):
        header += struct.pack(">iiIII", cpu, sub, 0x4000 * (index + 1), 0x4000, 14)
    body = header.ljust(0x4000, b"\0")
    for cpu, _ in slices:
        body += thin(cpu).ljust(0x4000, b"\0")
    return body


def executable_for(index):
    kind = index % 4
    if kind == 0:
        return thin(0x0100000C)
    if kind == 1:
        return thin(0x01000007)
    if kind == 2:
        return universal()
    return b"#!/bin/sh\nexec \"$0.real\" \"$@\"\n"


def bundle_folder(root, home, index):
    if index < 260:
        sub = "" if index % 5 else "Utilities/"
        return os.path.join(root, "Applications", sub)
    if index < 300:
        return os.path.join(root, "System/Applications")
    if index < 340:
        return os.path.join(home, "Applications")
    if index < 370:
        return os.path.join(home, "Downloads")
    return os.path.join(home, "Desktop/Projects/build/output")


def make_bundle(root, home, index, rng):
    name = f"App {index:03d}"
    identifier = f"com.vendor{index % 37}.app{index:03d}"
    bundle = os.path.join(bundle_folder(root, home, index), name + ".app")
    contents = os.path.join(bundle, "Contents")
    info = {
        "CFBundleIdentifier": identifier,
        "CFBundleName": name,
        "CFBundleDisplayName": name,
        "CFBundleExecutable": name,
        "CFBundleShortVersionString": f"{index % 9}.{index % 13}",
        "CFBundleVersion": str(1000 + index),
        "CFBundleIconFile": "AppIcon",
        "CFBundleDevelopmentRegion": "en",
        "LSApplicationCategoryType": rng.choice(
            ["public.app-category.music", "public.app-category.developer-tools",
             "public.app-category.action-games", "public.app-category.productivity"]),
        "NSHumanReadableCopyright": f"Copyright \u00a9 2012\u20132024 Vendor {index % 37}, Inc. "
                                    "All rights reserved.",
        "CFBundleDocumentTypes": [{"CFBundleTypeName": f"Document {n}",
                                   "LSItemContentTypes": [f"com.vendor.doc{n}"]}
                                  for n in range(index % 20)],
    }
    form = plistlib.FMT_XML if index % 2 == 0 else plistlib.FMT_BINARY
    write(os.path.join(contents, "Info.plist"), plistlib.dumps(info, fmt=form))
    executable = executable_for(index)
    large = index % (BUNDLES // LARGE_EXECUTABLES) == 0
    write(os.path.join(contents, "MacOS", name), executable,
          LARGE_BYTES if large else None)
    os.chmod(os.path.join(contents, "MacOS", name), 0o755)
    write(os.path.join(contents, "Resources", "AppIcon.icns"), b"icns" + bytes(2044))
    for n in range(index % 6):
        write(os.path.join(contents, "Resources", f"resource{n}.dat"), bytes(1024 * (n + 1)))
    if index % 3 == 0:
        strings = f'"CFBundleDisplayName" = "{name}";\n'.encode("utf-16")
        write(os.path.join(contents, "Resources", "en.lproj", "InfoPlist.strings"), strings)
    if index % 10 == 0:
        helper = os.path.join(contents, "Library/LoginItems", f"{name} Helper.app", "Contents")
        write(os.path.join(helper, "Info.plist"),
              plistlib.dumps({"CFBundleIdentifier": identifier + ".helper"}))
    return identifier, name


def make_library(home, identifiers, rng):
    library = os.path.join(home, "Library")
    kinds = [("Caches", 1500), ("Containers", 1000), ("Group Containers", 300),
             ("Application Support", 1000), ("Preferences", 1000), ("Logs", 100),
             ("LaunchAgents", 100)]
    made = 0
    for folder, count in kinds:
        for n in range(count):
            # One in four is an installed app's, the rest belong to nothing installed.
            owner = identifiers[n % len(identifiers)] if n % 4 == 0 else f"org.other{n}.tool"
            if folder == "Group Containers":
                owner = f"ABCDE{n:05d}.group.{owner}"
            path = os.path.join(library, folder, owner)
            if folder == "Preferences":
                write(path + f".{n}.plist", plistlib.dumps({"n": n}))
            elif folder == "LaunchAgents":
                write(path + f".{n}.plist", plistlib.dumps(
                    {"Label": owner, "ProgramArguments": [f"/usr/local/bin/tool{n}", "--daemon"]}))
            else:
                write(os.path.join(path + (f".{n}" if n % 4 else ""), "data.bin"),
                      bytes(rng.choice([512, 4096, 20000])))
            made += 1
    return made


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    root = os.path.abspath(sys.argv[1])
    manifest = os.path.join(root, ".manifest.json")
    if os.path.exists(manifest):
        with open(manifest) as f:
            if json.load(f).get("version") == VERSION:
                print(f"{root}: up to date")
                return 0
        raise SystemExit(f"{root} holds another version of the benchmark Mac; remove it first")
    rng = random.Random(14)
    home = os.path.join(root, "Users", LOGIN)
    write(os.path.join(root, "System/Library/CoreServices/SystemVersion.plist"),
          plistlib.dumps({"ProductName": "macOS", "ProductVersion": "14.5",
                          "ProductBuildVersion": "23F79"}))
    for folder in ("Desktop", "Documents", "Downloads", "Movies", "Music", "Pictures",
                   "Public", ".Trash", "Library/Preferences"):
        os.makedirs(os.path.join(home, folder), exist_ok=True)
    identifiers = [make_bundle(root, home, index, rng)[0] for index in range(BUNDLES)]
    entries = make_library(home, identifiers, rng)
    for n in range(200):
        os.makedirs(os.path.join(root, f"private/var/folders/{n % 7:02x}/x{n}/T/"
                                       f"{identifiers[n]}"), exist_ok=True)
    with open(manifest, "w") as f:
        json.dump({"version": VERSION, "bundles": BUNDLES, "libraryEntries": entries}, f)
    print(f"{root}: {BUNDLES} bundles, {entries} Library entries")
    return 0


if __name__ == "__main__":
    sys.exit(main())
