#!/usr/bin/env python3
"""Generates a tree for the duplicate-finder benchmark.

The default tree holds 100,000 names in 1,000 folders (100 names each, two levels). Sizes run
from 512 bytes to 2 MiB and are mostly small: 96 % log-uniform from 512 bytes to 64 KiB, 4 %
log-uniform from 64 KiB to 2 MiB (about 3.6 GB in all, real data, no sparse holes). What the
names hold:

- about 10 % are copies of an earlier file (same bytes, own inode, another folder and name);
  a copy may copy a file that already has one, so some groups have three or more members;
- about a quarter of the originals take one of 400 shared sizes with contents of their own,
  so many files share a size without sharing content;
- families of 4 to 6 large files (over 512 KiB) share their size and their first and last
  68 KiB but differ in the middle, and families of smaller files (8 to 400 KiB) share their
  first and last 4 KiB the same way;
- the last 1,000 names are hard links to earlier files in other folders.

There are no hidden entries, no empty files, no symbolic links and no package folders, so every
name is a file each peer tool also considers.

With --small the tree holds small files only (512 bytes to 16 KiB, log-uniform) with the same
mix of copies, shared sizes and hard links; it is the tree on which memory growth per path is
measured (--files 400000 --small).

The same seed and options give the same tree. A manifest (TREE.manifest.json) is written once
the tree is complete; a tree with a matching manifest is left as it is.
"""

import argparse
import json
import math
import os
import random
import sys

NAMES_PER_FOLDER = 100
SUB_FOLDERS = 100
HARD_LINKS = 1_000
COPY_EVERY = 10
SMALLEST = 512
SMALL_LARGEST = 64 * 1024
LARGEST = 2 * 1024 * 1024
LARGE_SHARE = 0.04
SHARED_SIZES = 400
SHARED_SIZE_SHARE = 0.25
FAMILY_SHARE = 0.02
LARGE_FAMILY_EDGE = 68 * 1024  # beyond the 64 KiB head and tail samples
SMALL_FAMILY_EDGE = 4 * 1024
POOL_BYTES = 64 * 1024 * 1024
EXTENSIONS = ["jpg", "png", "mp4", "mp3", "zip", "pdf", "txt", "heic", "mov", "docx"]


class Content:
    """Bytes of a file described by (kind, size, seed): slices of one random pool, with the
    seed written where the variants must differ."""

    def __init__(self, seed):
        self.pool = random.Random(seed).randbytes(POOL_BYTES)

    def slice(self, offset, length):
        offset %= POOL_BYTES - LARGEST
        return self.pool[offset:offset + length]

    def bytes(self, recipe):
        kind, size, seed, family = recipe
        if kind == "family":
            edge = LARGE_FAMILY_EDGE if size > 512 * 1024 else SMALL_FAMILY_EDGE
            head = self.slice(family * 7919, edge)
            tail = self.slice(family * 104729 + 13, edge)
            middle = bytearray(self.slice(seed, size - 2 * edge))
            middle[len(middle) // 2:len(middle) // 2 + 8] = seed.to_bytes(8, "little")
            return head + bytes(middle) + tail
        data = bytearray(self.slice(seed, size))
        stamp = seed.to_bytes(8, "little")
        data[0:min(8, size)] = stamp[:min(8, size)]
        return bytes(data)


def folders(root, count):
    tops = max(1, count // SUB_FOLDERS)
    result = []
    for top in range(tops):
        for sub in range(SUB_FOLDERS):
            result.append(os.path.join(root, f"d{top:03d}", f"s{sub:03d}"))
    return result


def log_uniform(rng, low, high):
    return int(math.exp(rng.uniform(math.log(low), math.log(high))))


def generate(root, seed, names, small):
    rng = random.Random(seed)
    content = Content(seed)
    all_folders = folders(root, max(1, names // NAMES_PER_FOLDER))
    for folder in all_folders:
        os.makedirs(folder, exist_ok=True)
    largest = 16 * 1024 if small else SMALL_LARGEST
    shared_sizes = [log_uniform(rng, SMALLEST, largest) for _ in range(SHARED_SIZES)]
    families = []  # (size, family id, members so far)
    originals = []  # (path, recipe)
    counts = {"originals": 0, "copies": 0, "hardLinks": 0, "familyMembers": 0, "bytes": 0}
    now = 1_700_000_000
    for index in range(names):
        folder = all_folders[index % len(all_folders)]
        extension = EXTENSIONS[rng.randrange(len(EXTENSIONS))]
        path = os.path.join(folder, f"f{index:06d}.{extension}")
        if index >= names - HARD_LINKS:
            while True:
                target = rng.choice(originals)[0]
                if os.path.dirname(target) != folder:
                    break
            os.link(target, path)
            counts["hardLinks"] += 1
            continue
        if index % COPY_EVERY == COPY_EVERY - 1 and originals:
            recipe = rng.choice(originals)[1]
            counts["copies"] += 1
        else:
            draw = rng.random()
            content_seed = rng.getrandbits(40)
            if draw < FAMILY_SHARE:
                if families and families[-1][2] < rng.randint(4, 6):
                    size, family, members = families[-1]
                    families[-1] = (size, family, members + 1)
                else:
                    big = not small and rng.random() < 0.5
                    size = (log_uniform(rng, 600 * 1024, LARGEST) if big else
                            log_uniform(rng, 8 * 1024 + 64, 16 * 1024 if small else 400 * 1024))
                    families.append((size, len(families) + 1, 1))
                size, family, _ = families[-1]
                recipe = ("family", size, content_seed, family)
                counts["familyMembers"] += 1
            elif draw < FAMILY_SHARE + SHARED_SIZE_SHARE:
                recipe = ("plain", rng.choice(shared_sizes), content_seed, 0)
            elif not small and draw > 1 - LARGE_SHARE:
                recipe = ("plain", log_uniform(rng, SMALL_LARGEST, LARGEST), content_seed, 0)
            else:
                recipe = ("plain", log_uniform(rng, SMALLEST, largest), content_seed, 0)
            counts["originals"] += 1
        data = content.bytes(recipe)
        with open(path, "wb") as handle:
            handle.write(data)
        stamp = now - rng.randrange(3 * 365 * 86400)
        os.utime(path, (stamp, stamp))
        counts["bytes"] += len(data)
        originals.append((path, recipe))
    counts["folders"] = len(all_folders)
    return counts


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tree", nargs="?", default="/tmp/kestrel-duplicates-tree",
                        help="folder to create (default: %(default)s)")
    parser.add_argument("--files", type=int, default=100_000)
    parser.add_argument("--small", action="store_true", help="small files only (512 B - 16 KiB)")
    parser.add_argument("--seed", type=int, default=20240615)
    args = parser.parse_args()

    tree = os.path.abspath(args.tree)
    manifest_path = tree + ".manifest.json"
    wanted = {"seed": args.seed, "files": args.files, "small": args.small}
    try:
        with open(manifest_path) as manifest:
            stored = json.load(manifest)
            if all(stored.get(key) == value for key, value in wanted.items()):
                print(f"{tree}: already generated")
                return 0
    except (OSError, ValueError):
        pass
    if os.path.exists(tree) and os.listdir(tree):
        sys.exit(f"{tree} exists and was not made by this generator with these options; "
                 "remove it or choose another folder")
    counts = generate(tree, args.seed, args.files, args.small)
    counts.update(wanted)
    with open(manifest_path, "w") as manifest:
        json.dump(counts, manifest)
    print(f"{tree}: {json.dumps(counts)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
