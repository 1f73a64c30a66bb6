#!/usr/bin/env python3
"""Times Kestrel's full clean-up scan against its peer tools on one generated home.

Usage: bench_cleanup.py --kestrel PATH --root ROOT [--repetitions N]

ROOT is a root made by generate_home.py (made there when missing). In one run, with a warm
cache (every command runs once untimed first), each repetition times:
  - kestrel --root ROOT --user bench --layout mac cleanup --json   (the whole scan)
  - du -sk HOME, then find HOME -path HOME/Library -prune -o -type f -size +50M -print
    (the peer: the same home sized once plus the same find line Kestrel runs)
alternating which goes first. Reports the median wall times, their ratio (Kestrel / peer)
and Kestrel's peak resident set size (the child's ru_maxrss).
"""
import argparse
import os
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def timed(command):
    """Wall seconds and peak resident kibibytes of one command; its output is discarded."""
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    _, status, usage = os.wait4(process.pid, 0)
    elapsed = time.perf_counter() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    stderr = process.stderr.read().decode(errors="replace")
    process.stderr.close()
    # find exits 1 when something was unreadable; the timing still counts.
    if process.returncode not in (0, 1):
        sys.exit("%s failed (%d): %s" % (command[0], process.returncode, stderr))
    return elapsed, usage.ru_maxrss


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--kestrel", required=True)
    parser.add_argument("--root", required=True)
    parser.add_argument("--repetitions", type=int, default=7)
    args = parser.parse_args()

    root = os.path.abspath(args.root)
    home = os.path.join(root, "Users", "bench")
    if not os.path.isdir(home):
        print("generating %s …" % home, flush=True)
        subprocess.run([sys.executable, os.path.join(HERE, "generate_home.py"), root], check=True)
    files = sum(len(names) for _, _, names in os.walk(home))

    kestrel = [args.kestrel, "--root", root, "--user", "bench", "--layout", "mac", "cleanup",
               "--json"]
    du = ["du", "-sk", home]
    find = ["find", home, "-path", os.path.join(home, "Library"), "-prune", "-o", "-type", "f",
            "-size", "+50M", "-print"]

    def peer():
        du_time, _ = timed(du)
        find_time, _ = timed(find)
        return du_time + find_time

    # Warm the cache (and check that every command runs).
    timed(kestrel)
    peer()

    kestrel_times, peer_times, peaks = [], [], []
    for repetition in range(args.repetitions):
        order = (0, 1) if repetition % 2 == 0 else (1, 0)
        for which in order:
            if which == 0:
                elapsed, peak = timed(kestrel)
                kestrel_times.append(elapsed)
                peaks.append(peak)
            else:
                peer_times.append(peer())

    kestrel_median = statistics.median(kestrel_times)
    peer_median = statistics.median(peer_times)
    print("home: %s (%d files)" % (home, files))
    print("repetitions: %d, warm cache, %d processors, load average %.2f"
          % (args.repetitions, os.cpu_count(), os.getloadavg()[0]))
    print("kestrel cleanup --json   median %.3f s  (min %.3f, max %.3f)"
          % (kestrel_median, min(kestrel_times), max(kestrel_times)))
    print("du -sk + find            median %.3f s  (min %.3f, max %.3f)"
          % (peer_median, min(peer_times), max(peer_times)))
    print("ratio kestrel / peer     %.2f  (target at most 1.2)" % (kestrel_median / peer_median))
    print("kestrel peak resident    %.1f MiB (largest of the runs)" % (max(peaks) / 1024.0))


if __name__ == "__main__":
    main()
