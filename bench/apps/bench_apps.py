#!/usr/bin/env python3
"""Times App Manage discovery against find + file on the generated Mac.

    bench_apps.py --bench BUILD/bench/apps/kst_bench_app_inventory --root ROOT [--repetitions N]

Kestrel: the whole kst_bench_app_inventory process (discovery through the scan frame: the
application search, every Info.plist with its localised strings, each executable's Mach-O
header, the dates; the throttled passes that follow are not part of it).
The peer: `find` over the same search folders for the executables inside the bundles, piped
into one `file -b` that identifies each of them. Both run twice first to warm the cache, then
alternately, and the medians of the whole processes are compared (target: Kestrel ÷ peer at
most 1.0). Then one run with --lookups reports the related-path index time and the look-up
time per application, and the peak resident size (target at most 64 MiB).
"""
import argparse
import json
import os
import shlex
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def peer_command(root):
    home = os.path.join(root, "Users", "bench")
    folders = [os.path.join(root, "Applications"), os.path.join(root, "System/Applications")]
    folders += [os.path.join(home, name) for name in
                ("Applications", "Desktop", "Documents", "Downloads", "Movies", "Pictures",
                 "Public")]
    quoted = " ".join(shlex.quote(folder) for folder in folders)
    return (f"find {quoted} -path '*.app/Contents/MacOS/*' -type f -print0 "
            f"| xargs -0 file -b > /dev/null")


def timed(command):
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return time.perf_counter() - start


def load():
    with open("/proc/loadavg") as f:
        return f.read().split()[0]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--bench", required=True)
    parser.add_argument("--root", required=True)
    parser.add_argument("--repetitions", type=int, default=9)
    options = parser.parse_args()

    subprocess.run([sys.executable, os.path.join(HERE, "generate_mac.py"), options.root],
                   check=True)
    kestrel = [options.bench, "--root", options.root]
    peer = ["sh", "-c", peer_command(options.root)]
    for _ in range(2):
        timed(kestrel)
        timed(peer)
    kestrel_times, peer_times = [], []
    load_before = load()
    for round_ in range(options.repetitions):
        pair = [(kestrel, kestrel_times), (peer, peer_times)]
        if round_ % 2:
            pair.reverse()
        for command, times in pair:
            times.append(timed(command))
    load_after = load()
    detail = json.loads(subprocess.run(kestrel + ["--lookups"], check=True,
                                       stdout=subprocess.PIPE).stdout)
    kestrel_median = statistics.median(kestrel_times)
    peer_median = statistics.median(peer_times)
    ratio = kestrel_median / peer_median
    peak_mib = detail["peakRssKiB"] / 1024
    print(f"applications found:        {detail['apps']}")
    print(f"kestrel discovery:         {kestrel_median * 1000:.1f} ms (median of "
          f"{options.repetitions}, whole process)")
    print(f"find | file -b:            {peer_median * 1000:.1f} ms")
    print(f"ratio kestrel / peer:      {ratio:.2f} (target <= 1.0)")
    print(f"peak resident size:        {peak_mib:.1f} MiB (target <= 64)")
    print(f"related-path index:        {detail['indexSeconds'] * 1000:.1f} ms")
    print(f"look-up per application:   median {detail['lookupMedianMs']:.2f} ms, "
          f"95th percentile {detail['lookupP95Ms']:.2f} ms, max {detail['lookupMaxMs']:.2f} ms "
          f"({detail['relatedPaths']} related paths)")
    print(f"load average:              {load_before} before, {load_after} after")
    return 0 if ratio <= 1.0 and peak_mib <= 64 else 1


if __name__ == "__main__":
    sys.exit(main())
