#!/usr/bin/env python3
"""Times Kestrel's folder sizing against `du -sk` on the same trees, in one run.

For each tree (the generated benchmark tree, then /usr) both programs are run once to warm
the page cache and then --repeat times each, alternating which goes first. Each run is a
whole process, timed from the outside (wall clock) with its peak resident size taken from
wait4(). The report gives medians, the ratio Kestrel / du, and a reconciliation of the two
totals:

  Kestrel counts every entry that is not a folder, a file with several links once, and skips
  hidden entries; du counts folders' own blocks too. So
      Kestrel == `du -s -B1 --exclude='.*'` - (blocks of the visible folders)
  must hold to the byte; the script checks it and shows how far plain `du -sk` is off.
"""

import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def timed(command):
    """Runs command; returns (wall seconds, peak RSS KiB, stdout).

    The peak resident size is taken by GNU time(1) rather than from our own wait4(): Linux
    carries the forking process's high-water mark through exec, so a child forked from this
    Python would report Python's size.
    """
    with tempfile.NamedTemporaryFile("r") as rss:
        start = time.perf_counter()
        result = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", rss.name, *command],
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
        elapsed = time.perf_counter() - start
        if result.returncode != 0:
            sys.exit(f"{command[0]} failed with status {result.returncode}")
        return elapsed, int(rss.read().split()[-1]), result.stdout.decode()


def du_bytes(arguments, tree):
    output = subprocess.run(["du", *arguments, tree], check=False, capture_output=True,
                            text=True).stdout
    return int(output.split()[0])


def visible_folder_blocks(tree):
    output = subprocess.run(["find", tree, "-name", ".*", "-prune", "-o", "-type", "d",
                             "-printf", "%b\\n"], check=False, capture_output=True,
                            text=True).stdout
    return sum(int(line) for line in output.split()) * 512


def measure(tree, bench, repeat):
    kestrel_command = [bench, tree]
    du_command = ["du", "-sk", tree]
    for _ in range(2):  # warm the page cache for both
        timed(du_command)
        timed(kestrel_command)
    runs = {"kestrel": [], "du": []}
    kestrel_output = None
    for index in range(repeat):
        order = [("kestrel", kestrel_command), ("du", du_command)]
        if index % 2:
            order.reverse()
        for name, command in order:
            seconds, rss, output = timed(command)
            runs[name].append((seconds, rss))
            if name == "kestrel":
                kestrel_output = json.loads(output)

    def median(name, field):
        return statistics.median(run[field] for run in runs[name])

    kestrel_bytes = kestrel_output["bytes"]
    du_default = du_bytes(["-s", "-B1"], tree)
    du_visible = du_bytes(["-s", "-B1", "--exclude=.*"], tree)
    folders = visible_folder_blocks(tree)
    return {
        "tree": tree,
        "repeat": repeat,
        "kestrelSeconds": median("kestrel", 0),
        "duSeconds": median("du", 0),
        "ratio": median("kestrel", 0) / median("du", 0),
        "kestrelSizingSeconds": kestrel_output["seconds"],
        "kestrelPeakRssKiB": max(run[1] for run in runs["kestrel"]),
        "duPeakRssKiB": max(run[1] for run in runs["du"]),
        "kestrelBytes": kestrel_bytes,
        "duBytes": du_default,
        "duVisibleBytes": du_visible,
        "visibleFolderBytes": folders,
        "identicalWhereRulesAgree": kestrel_bytes == du_visible - folders,
        "allKestrelSeconds": [round(run[0], 4) for run in runs["kestrel"]],
        "allDuSeconds": [round(run[0], 4) for run in runs["du"]],
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bench", default=os.path.join(
        HERE, "..", "..", "build", "bench", "overview", "kst_bench_directory_size"),
        help="the kst_bench_directory_size executable (default: the RelWithDebInfo build)")
    parser.add_argument("--tree", default="/tmp/kestrel-bench-tree",
                        help="the generated tree; made when missing (default: %(default)s)")
    parser.add_argument("--repeat", type=int, default=9)
    parser.add_argument("--no-usr", action="store_true", help="skip /usr")
    parser.add_argument("--json", action="store_true", help="print the results as JSON")
    args = parser.parse_args()

    bench = os.path.abspath(args.bench)
    if not os.access(bench, os.X_OK):
        sys.exit(f"{bench} is not built (ninja -C build kst_bench_directory_size)")
    subprocess.run([sys.executable, os.path.join(HERE, "generate_tree.py"), args.tree],
                   check=True, stdout=sys.stderr)

    machine = {"processors": os.cpu_count(), "loadBefore": os.getloadavg()}
    trees = [os.path.abspath(args.tree)] + ([] if args.no_usr else ["/usr"])
    results = [measure(tree, bench, args.repeat) for tree in trees]
    machine["loadAfter"] = os.getloadavg()

    if args.json:
        print(json.dumps({"machine": machine, "results": results}, indent=2))
        return 0
    print(f"{machine['processors']} processors; load average "
          f"{machine['loadBefore'][0]:.2f} before, {machine['loadAfter'][0]:.2f} after")
    for r in results:
        print(f"\n{r['tree']} (medians of {r['repeat']} runs, whole processes, warm cache)")
        print(f"  du -sk       {r['duSeconds'] * 1000:8.1f} ms   peak RSS {r['duPeakRssKiB']:7d} KiB")
        print(f"  Kestrel      {r['kestrelSeconds'] * 1000:8.1f} ms   peak RSS "
              f"{r['kestrelPeakRssKiB']:7d} KiB   (sizing alone "
              f"{r['kestrelSizingSeconds'] * 1000:.1f} ms in the last run)")
        print(f"  Kestrel / du {r['ratio']:8.2f}")
        print(f"  totals: Kestrel {r['kestrelBytes']} B; du {r['duBytes']} B "
              f"(differs by {r['duBytes'] - r['kestrelBytes']:+d} B)")
        print(f"          du without hidden entries {r['duVisibleBytes']} B "
              f"- visible folders' blocks {r['visibleFolderBytes']} B = "
              f"{r['duVisibleBytes'] - r['visibleFolderBytes']} B: "
              f"{'identical' if r['identicalWhereRulesAgree'] else 'DIFFERENT'}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
