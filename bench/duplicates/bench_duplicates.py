#!/usr/bin/env python3
"""Times Kestrel's duplicate scan against jdupes and fdupes on one generated tree.

Usage: bench_duplicates.py --kestrel PATH [--tree DIR] [--small-tree DIR] [--repetitions N]
                           [--skip-small] [--skip-fdupes]

The trees are made by generate_tree.py when missing (100,000 mixed files in --tree; 400,000
small files in --small-tree). In one run, with a warm cache (every command runs once untimed
first), each repetition times, in rotating order:
  - kestrel duplicates --json --path TREE
  - jdupes -r -q -H -A TREE
  - fdupes -r -q -H -n -A TREE
and the report gives the median wall times and the ratios Kestrel / jdupes (target at most
0.5) and Kestrel / fdupes.

Checks, on the output of one more run of each:
  - the duplicate sets (each group as a set of paths) are the same for all three programs;
  - every hashKey matches an independent SHA-256 (Python's hashlib): of the size as 8
    little-endian bytes and the whole file up to 512 KiB, of the whole file above.

Memory: Kestrel's peak resident size (GNU time's %M) on TREE and on the small tree, and the
growth per extra path between them (target at most 200 bytes).
"""
import argparse
import hashlib
import json
import os
import statistics
import struct
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def run_timed(command, stdout=subprocess.DEVNULL):
    """Wall seconds and peak resident KiB of one command (GNU time reads the peak: a child
    forked from Python would otherwise report Python's size)."""
    with tempfile.NamedTemporaryFile("r") as rss:
        start = time.perf_counter()
        result = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", rss.name, *command],
                                stdout=stdout, stderr=subprocess.DEVNULL, check=False)
        elapsed = time.perf_counter() - start
        if result.returncode != 0:
            sys.exit("%s failed with status %d" % (command[0], result.returncode))
        return elapsed, int(rss.read().split()[-1]), result.stdout


def generate(tree, files, small):
    command = [sys.executable, os.path.join(HERE, "generate_tree.py"), tree, "--files", str(files)]
    if small:
        command.append("--small")
    subprocess.run(command, check=True)


def peer_groups(output):
    """Groups of a jdupes/fdupes listing: paths one per line, groups apart by a blank line."""
    groups, current = set(), []
    for line in output.decode(errors="surrogateescape").split("\n"):
        if line:
            current.append(line)
        elif current:
            groups.add(frozenset(current))
            current = []
    if current:
        groups.add(frozenset(current))
    return groups


def kestrel_groups(document):
    groups = set()
    for category in document["categories"]:
        for group in category["groups"]:
            groups.add(frozenset(record["path"] for record in group["files"]))
    return groups


def expected_hash_key(path, size):
    digest = hashlib.sha256()
    if size <= 524288:
        digest.update(struct.pack("<Q", size))
    with open(path, "rb") as handle:
        while True:
            block = handle.read(1 << 22)
            if not block:
                break
            digest.update(block)
    return digest.hexdigest()


def check_hash_keys(document):
    checked, wrong = 0, []
    for category in document["categories"]:
        for group in category["groups"]:
            for record in group["files"]:
                if expected_hash_key(record["path"], group["fileSize"]) != group["hashKey"]:
                    wrong.append(record["path"])
            checked += 1
    return checked, wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--kestrel", required=True)
    parser.add_argument("--tree", default="/tmp/kestrel-duplicates-tree")
    parser.add_argument("--small-tree", default="/tmp/kestrel-duplicates-small-tree")
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--skip-small", action="store_true", help="no memory run on 400,000 files")
    parser.add_argument("--skip-fdupes", action="store_true")
    args = parser.parse_args()

    tree = os.path.abspath(args.tree)
    generate(tree, 100_000, False)
    commands = {
        "kestrel": [args.kestrel, "duplicates", "--json", "--path", tree],
        "jdupes": ["jdupes", "-r", "-q", "-H", "-A", tree],
    }
    if not args.skip_fdupes:
        commands["fdupes"] = ["fdupes", "-r", "-q", "-H", "-n", "-A", tree]

    # Warm the cache and keep each program's answer for the checks.
    outputs = {name: run_timed(command, subprocess.PIPE)[2] for name, command in commands.items()}

    times = {name: [] for name in commands}
    peaks = []
    names = list(commands)
    for repetition in range(args.repetitions):
        order = names[repetition % len(names):] + names[:repetition % len(names)]
        for name in order:
            elapsed, peak, _ = run_timed(commands[name])
            times[name].append(elapsed)
            if name == "kestrel":
                peaks.append(peak)

    document = json.loads(outputs["kestrel"])
    ours = kestrel_groups(document)
    print("tree: %s (%d files scanned, %d groups)" % (tree, document["filesScanned"], len(ours)))
    print("repetitions: %d, warm cache, %d processors, load average %.2f"
          % (args.repetitions, os.cpu_count(), os.getloadavg()[0]))
    medians = {name: statistics.median(values) for name, values in times.items()}
    for name in names:
        print("%-8s median %.3f s  (min %.3f, max %.3f)"
              % (name, medians[name], min(times[name]), max(times[name])))
    print("ratio kestrel / jdupes  %.2f  (target at most 0.5)"
          % (medians["kestrel"] / medians["jdupes"]))
    if "fdupes" in medians:
        print("ratio kestrel / fdupes  %.2f" % (medians["kestrel"] / medians["fdupes"]))

    failed = False
    for name in names[1:]:
        theirs = peer_groups(outputs[name])
        same = theirs == ours
        failed |= not same
        print("path sets equal to %-7s %s (%d groups there, %d only in Kestrel, %d only there)"
              % (name + ":", "yes" if same else "NO", len(theirs), len(ours - theirs),
                 len(theirs - ours)))
    checked, wrong = check_hash_keys(document)
    failed |= bool(wrong)
    print("hashKeys checked against hashlib: %d groups, %d files wrong" % (checked, len(wrong)))

    print("kestrel peak resident   %.1f MiB on %s" % (max(peaks) / 1024.0, tree))
    if not args.skip_small:
        small = os.path.abspath(args.small_tree)
        generate(small, 400_000, True)
        command = [args.kestrel, "duplicates", "--json", "--path", small]
        run_timed(command)
        small_peaks, small_times = [], []
        for _ in range(3):
            elapsed, peak, _ = run_timed(command)
            small_peaks.append(peak)
            small_times.append(elapsed)
        growth = (max(small_peaks) - max(peaks)) * 1024.0 / 300_000
        print("kestrel peak resident   %.1f MiB on %s (median %.3f s)"
              % (max(small_peaks) / 1024.0, small, statistics.median(small_times)))
        print("growth per extra path   %.0f bytes  (target at most 200)" % growth)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
