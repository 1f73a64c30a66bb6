#!/usr/bin/env python3
"""Generates the folder-sizing benchmark tree.

100,000 names in 1,000 folders (10 top-level folders holding 99 sub-folders each, 100 names
per folder). Apparent sizes are log-uniform from 512 bytes to 2 MiB. So that the tree costs
about 1.2 GB of disk rather than 25 GB, only the first 16 KiB of a file hold data and the
rest of a larger file is a sparse hole (ftruncate): allocated sizes, which both Kestrel and
du(1) sum, stay realistic for small files and small for large ones.

Every tenth name is a copy of an earlier file (same size, same bytes, its own inode); the
last 1,000 names are hard links to earlier files in other folders. There are no hidden
entries, so Kestrel's rules and du's differ only in folder blocks and hard links.

The same seed gives the same tree. A manifest is written next to the tree (TREE.manifest.json)
once the tree is complete; a tree with a matching manifest is left as it is.
"""

import argparse
import json
import math
import os
import random
import sys

FOLDERS_TOP = 10
FOLDERS_PER_TOP = 99
NAMES = 100_000
HARD_LINKS = 1_000
COPY_EVERY = 10
SMALLEST = 512
LARGEST = 2 * 1024 * 1024
DATA_HEAD = 16 * 1024


def folders(root):
    result = []
    for top in range(FOLDERS_TOP):
        top_path = os.path.join(root, f"d{top:02d}")
        result.append(top_path)
        for sub in range(FOLDERS_PER_TOP):
            result.append(os.path.join(top_path, f"s{sub:03d}"))
    return result


def write_file(path, size, content_seed):
    head = min(size, DATA_HEAD)
    data = random.Random(content_seed).randbytes(head)
    fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
    try:
        os.write(fd, data)
        if size > head:
            os.ftruncate(fd, size)
    finally:
        os.close(fd)


def generate(root, seed):
    rng = random.Random(seed)
    all_folders = folders(root)
    for folder in all_folders:
        os.makedirs(folder, exist_ok=True)
    originals = []  # (path, size, content seed)
    counts = {"originals": 0, "copies": 0, "hardLinks": 0}
    for index in range(NAMES):
        folder = all_folders[index % len(all_folders)]
        path = os.path.join(folder, f"f{index:06d}.bin")
        if index >= NAMES - HARD_LINKS:
            while True:
                target = rng.choice(originals)[0]
                if os.path.dirname(target) != folder:
                    break
            os.link(target, path)
            counts["hardLinks"] += 1
        elif index % COPY_EVERY == COPY_EVERY - 1 and originals:
            _, size, content_seed = rng.choice(originals)
            write_file(path, size, content_seed)
            counts["copies"] += 1
        else:
            size = int(math.exp(rng.uniform(math.log(SMALLEST), math.log(LARGEST))))
            content_seed = rng.getrandbits(64)
            write_file(path, size, content_seed)
            originals.append((path, size, content_seed))
            counts["originals"] += 1
    counts["folders"] = len(all_folders)
    return counts


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tree", nargs="?", default="/tmp/kestrel-bench-tree",
                        help="folder to create (default: %(default)s)")
    parser.add_argument("--seed", type=int, default=20240614)
    args = parser.parse_args()

    tree = os.path.abspath(args.tree)
    manifest_path = tree + ".manifest.json"
    try:
        with open(manifest_path) as manifest:
            if json.load(manifest).get("seed") == args.seed:
                print(f"{tree}: already generated")
                return 0
    except (OSError, ValueError):
        pass
    if os.path.exists(tree) and os.listdir(tree):
        sys.exit(f"{tree} exists and was not made by this generator with seed {args.seed}; "
                 "remove it or choose another folder")
    counts = generate(tree, args.seed)
    counts["seed"] = args.seed
    with open(manifest_path, "w") as manifest:
        json.dump(counts, manifest)
    print(f"{tree}: {json.dumps(counts)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
