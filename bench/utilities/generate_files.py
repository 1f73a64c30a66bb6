#!/ usr / bin / env python3
"""Generates the Utilities benchmark's data (deterministic, seed fixed):

  generate_files.py tree DIR [--files N]   N files (default 20,000) in 200 folders, sizes
                                           log-uniform from 1 KiB to 1 MiB, the even ones
                                           text, the odd ones random bytes
  generate_files.py large FILE [--mib M]   one file of M MiB (default 1,024) of random bytes
  generate_files.py erase DIR [--files N] [--mib M]
                                           N files (default 200) of M MiB in all (default
                                           1,024), random bytes

A finished set is marked by DIR.done (or FILE.done) and reused.
"""
import argparse
import math
import os
import random
import sys

WORDS = ("storage clean duplicate report volume folder archive password kestrel mac disk "
         "the of and to in is it for on with as was at by an").split()


def text_bytes(rng, size):
    out, length = [], 0
    while length < size:
        line = " ".join(rng.choice(WORDS) for _ in range(rng.randint(4, 14))) + "\n"
        out.append(line)
        length += len(line)
    return "".join(out).encode()[:size]


def random_bytes(rng, size):
    return rng.randbytes(size)


def done(marker):
    return os.path.exists(marker)


def tree(folder, files):
    marker = folder.rstrip("/") + ".done"
    if done(marker):
        return
    rng = random.Random(20261123)
    for index in range(files):
        sub = os.path.join(folder, "d%03d" % (index % 200))
        os.makedirs(sub, exist_ok=True)
        size = int(math.exp(rng.uniform(math.log(1024), math.log(1024 * 1024))))
        data = text_bytes(rng, size) if index % 2 == 0 else random_bytes(rng, size)
        with open(os.path.join(sub, "f%05d.%s" % (index, "txt" if index % 2 == 0 else "bin")),
                  "wb") as out:
            out.write(data)
    open(marker, "w").close()


def large(path, mib):
    marker = path + ".done"
    if done(marker):
        return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    rng = random.Random(7)
    with open(path, "wb") as out:
        for _ in range(mib):
            out.write(random_bytes(rng, 1024 * 1024))
    open(marker, "w").close()


def erase_set(folder, files, mib):
    os.makedirs(folder, exist_ok=True)
    rng = random.Random(11)
    size = mib * 1024 * 1024 // files
    chunk = random_bytes(rng, size)
    for index in range(files):
        with open(os.path.join(folder, "e%03d.bin" % index), "wb") as out:
            out.write(chunk)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kind", choices=["tree", "large", "erase"])
    parser.add_argument("path")
    parser.add_argument("--files", type=int)
    parser.add_argument("--mib", type=int)
    args = parser.parse_args()
    if args.kind == "tree":
        tree(args.path, args.files or 20000)
    elif args.kind == "large":
        large(args.path, args.mib or 1024)
    else:
        erase_set(args.path, args.files or 200, args.mib or 1024)


if __name__ == "__main__":
    sys.exit(main())
