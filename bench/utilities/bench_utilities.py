#!/ usr / bin / env python3
"""Times Kestrel's encrypted archives against zip and its quick erase against shred.

Usage: bench_utilities.py --kestrel PATH [--data DIR] [--repetitions N] [--files N]
                          [--large-mib M] [--skip-encrypt] [--skip-erase]

Encrypt (target: at most 1.2 x zip's time; peak resident size under 64 MiB, about the same
with the large file): in the same run, each repetition times in alternating order
  - zip -q -X -r -y -P PASSWORD OUT.zip NAME        (in the source's parent folder)
  - kestrel encrypt --password-stdin --yes SOURCE   (the password on standard input)
on the generated tree (20,000 files, 1 KiB to 1 MiB log-uniform, half text, half random) and
on one 1 GiB file of random bytes. zip runs with -y, so that it too stores links as links.
Each archive is checked with unzip -t and a wrong password must fail; the entry names of
both archives must be the same.

Erase (target: at most 1.2 x): a fresh set of 200 files holding 1 GiB is written and
flushed before each timed run of
  - shred -n 1 -u FILE...
  - kestrel erase --method quick --yes FILE...

Reports median wall times, ratios and peak resident sizes (GNU time's %M), with the load
average at the start and the end.
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
PASSWORD = "bench-Pässword"


def timed(command, cwd=None, stdin=None):
    with tempfile.NamedTemporaryFile("r") as rss:
        start = time.perf_counter()
        result = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", rss.name, *command],
                                cwd=cwd, input=stdin, stdout=subprocess.DEVNULL,
                                stderr=subprocess.PIPE, check=False)
        elapsed = time.perf_counter() - start
        if result.returncode != 0:
            sys.exit("%s failed (%d): %s" % (command[0], result.returncode,
                                             result.stderr.decode(errors="replace")[-400:]))
        return elapsed, int(rss.read().split()[-1])


def generate(*arguments):
    subprocess.run([sys.executable, os.path.join(HERE, "generate_files.py"), *arguments],
                   check=True)


def names(archive):
    listing = subprocess.run(["zipinfo", "-1", archive], capture_output=True, check=True)
    return sorted(listing.stdout.decode(errors="surrogateescape").splitlines())


def check_archive(archive):
    if subprocess.run(["unzip", "-qq", "-t", "-P", PASSWORD, archive],
                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode != 0:
        sys.exit("unzip -t failed on " + archive)
    if subprocess.run(["unzip", "-qq", "-t", "-P", "wrong", archive], stdout=subprocess.DEVNULL,
                      stderr=subprocess.DEVNULL).returncode == 0:
        sys.exit("a wrong password opened " + archive)


def encrypt_case(kestrel, source, repetitions):
    parent, name = os.path.split(source.rstrip("/"))
    ours, theirs = source.rstrip("/") + ".zip", os.path.join(parent, "zip-reference.zip")
    times = {"zip": [], "kestrel": []}
    rss = {
    "zip" : [], "kestrel" : []}
    for repetition in range(repetitions):
        order = ["zip", "kestrel"] if repetition % 2 == 0 else ["kestrel", "zip"]
        for tool in order:
            output = theirs if tool == "zip" else ours
            if os.path.exists(output):
                os.remove(output)
            subprocess.run(["sync"], check=True)
            if tool == "zip":
                elapsed, peak = timed(["zip", "-q", "-X", "-r", "-y", "-P", PASSWORD, theirs,
                                       name], cwd=parent)
            else:
                elapsed, peak = timed([kestrel, "encrypt", "--password-stdin", "--yes", source],
                                      stdin=(PASSWORD + "\n").encode())
            times[tool].append(elapsed)
            rss[tool].append(peak)
    check_archive(ours)
    check_archive(theirs)
    if names(ours) != names(theirs):
        sys.exit("the archives' entry names differ")
    for leftover in (ours, theirs):
        os.remove(leftover)
    return times, rss


def erase_case(kestrel, folder, repetitions):
    times = {"shred": [], "kestrel": []}
    rss = {
    "shred" : [], "kestrel" : []}
    for repetition in range(repetitions):
        order = ["shred", "kestrel"] if repetition % 2 == 0 else ["kestrel", "shred"]
        for tool in order:
            shutil.rmtree(folder, ignore_errors=True)
            generate("erase", folder)
            subprocess.run(["sync"], check=True)
            files = sorted(os.path.join(folder, entry) for entry in os.listdir(folder))
            if tool == "shred":
                elapsed, peak = timed(["shred", "-n", "1", "-u", *files])
            else:
                elapsed, peak = timed([kestrel, "erase", "--method", "quick", "--yes", *files])
            if os.listdir(folder):
                sys.exit("%s left files behind" % tool)
            times[tool].append(elapsed)
            rss[tool].append(peak)
    shutil.rmtree(folder, ignore_errors=True)
    return times, rss


def report(title, times, rss, ours, theirs):
    median = {
tool: statistics.median(values) for tool, values in times.items()}
    print("%s: %s %.2f s, %s %.2f s, ratio %.2f; peak RSS %s %d KiB, %s %d KiB" % (
        title, theirs, median[theirs], ours, median[ours], median[ours] / median[theirs],
        theirs, max(rss[theirs]), ours, max(rss[ours])))
    print("    runs: %s" % {
tool: ["%.2f" % value for value in values]
                            for tool, values in times.items()})


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--kestrel", required=True)
    parser.add_argument("--data", default="/tmp/kestrel-bench-utilities")
    parser.add_argument("--repetitions", type=int, default=3)
    parser.add_argument("--files", type=int, default=20000)
    parser.add_argument("--large-mib", type=int, default=1024)
    parser.add_argument("--skip-encrypt", action="store_true")
    parser.add_argument("--skip-erase", action="store_true")
    args = parser.parse_args()
    kestrel = os.path.abspath(args.kestrel)
    print("load average at start: %.2f %.2f %.2f" % os.getloadavg())
    if not args.skip_encrypt:
        tree = os.path.join(args.data, "Tree")
        large = os.path.join(args.data, "Large", "large.bin")
        generate("tree", tree, "--files", str(args.files))
        generate("large", large, "--mib", str(args.large_mib))
        times, rss = encrypt_case(kestrel, tree, args.repetitions)
        report("encrypt %d files" % args.files, times, rss, "kestrel", "zip")
        times, rss = encrypt_case(kestrel, large, args.repetitions)
        report("encrypt one %d MiB file" % args.large_mib, times, rss, "kestrel", "zip")
    if not args.skip_erase:
        times, rss = erase_case(kestrel, os.path.join(args.data, "Erase"), args.repetitions)
        report("quick erase 1 GiB in 200 files", times, rss, "kestrel", "shred")
    print("load average at end: %.2f %.2f %.2f" % os.getloadavg())


if __name__ == "__main__":
    sys.exit(main())
