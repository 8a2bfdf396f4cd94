#!/usr/bin/env python3
"""Fault injection: proves the test suite by the faults it catches.

Copies the working tree (tracked and new files) into a scratch directory, builds it once, checks
that the suite passes there, then injects each fault of the mutant list into the product's
sources (the plug-in's and the stand-in runtimes' engine), one at a time: rebuild, run the suite (stopping at the first failing test), put the file
back. A fault is caught when the build or the suite fails. Nothing in the working tree is touched.

Usage: scripts/mutate.py [--list FILE] [--rev COMMIT] [--work DIR] [--only N[,N...]] [--keep]

A fault whose text is no longer in its file is looked for in the other product files, so that one
list serves trees whose sources were moved between files; a fault no file holds is reported as
not in this tree and left out of the figure.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
ENTRY = re.compile(r"^(\S+) \|\|\| ")
PRODUCT_AREAS = ("api", "func", "mtk", "assist", "algocore", "host/engine")


def read_mutants(path):
    """Entries start with 'path ||| '; lines that follow belong to the entry (multi-line texts)."""
    entries = []
    for raw in open(path, encoding="utf-8").read().split("\n"):
        if raw.startswith("#") or (not entries and not raw.strip()):
            continue
        if ENTRY.match(raw):
            entries.append(raw)
        elif entries:
            entries[-1] += "\n" + raw
    mutants = []
    for text in entries:
        parts = re.split(r" ?\|\|\| ?", text.rstrip("\n"))
        if len(parts) != 3:
            sys.exit(f"error: malformed mutant (want 'path ||| original ||| replacement'): {text!r}")
        path, original, replacement = parts
        mutants.append((path, original, replacement.rstrip(" ")))
    return mutants


def run(command, cwd, log, timeout=None):
    with open(log, "w") as out:
        try:
            return subprocess.run(command, cwd=cwd, stdout=out, stderr=subprocess.STDOUT,
                                  timeout=timeout).returncode
        except subprocess.TimeoutExpired:
            return -1


def copy_tree(work, revision):
    os.makedirs(work)
    if revision:
        archive = subprocess.run(["git", "archive", revision], cwd=ROOT, check=True,
                                 capture_output=True).stdout
        subprocess.run(["tar", "-x", "-C", work], input=archive, check=True)
    else:
        files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT,
                               check=True, capture_output=True).stdout.decode().split("\0")
        for name in filter(None, files):
            source = os.path.join(ROOT, name)
            if not os.path.isfile(source):
                continue  # deleted in the working tree, not yet in the index
            target = os.path.join(work, name)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copy2(source, target)
    # The prepared model and the photos, so that the real-model tests run as in CI.
    if os.path.isdir(os.path.join(ROOT, ".cache")):
        os.symlink(os.path.join(ROOT, ".cache"), os.path.join(work, ".cache"))


def locate(src, path, original):
    """The file the fault goes into: `path` when the text occurs there exactly once, else the one
    product file that holds it exactly once (sources move between files; the fault stays the same),
    else None."""
    def once(name):
        try:
            return open(os.path.join(src, name), encoding="utf-8").read().count(original) == 1
        except (OSError, UnicodeDecodeError):
            return False
    if once(path):
        return path
    found = []
    for area in PRODUCT_AREAS:
        for folder, _, names in os.walk(os.path.join(src, area)):
            for name in names:
                relative = os.path.relpath(os.path.join(folder, name), src)
                if name.endswith((".cpp", ".h")) and once(relative):
                    found.append(relative)
    return found[0] if len(found) == 1 else None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--list", default=os.path.join(HERE, "mutants.txt"))
    parser.add_argument("--work", help="scratch directory (default: a new temporary one)")
    parser.add_argument("--rev", help="test this commit's tree instead of the working tree")
    parser.add_argument("--only", help="comma-separated mutant numbers (1-based)")
    parser.add_argument("--keep", action="store_true", help="keep the scratch directory")
    args = parser.parse_args()

    mutants = read_mutants(args.list)
    chosen = range(1, len(mutants) + 1)
    if args.only:
        chosen = [int(n) for n in args.only.split(",")]
    work = args.work or tempfile.mkdtemp(prefix="bodyseg-mutate-")
    src, build = os.path.join(work, "src"), os.path.join(work, "build")
    if not os.path.isdir(src):
        copy_tree(src, args.rev)
    jobs = str(os.cpu_count() or 2)
    build_cmd = ["cmake", "--build", build, "-j", jobs]
    test_cmd = ["ctest", "-j", jobs, "--stop-on-failure", "--timeout", "120"]
    try:
        if run(["cmake", "-S", src, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                "-DBODYSEG_BUILD_BENCH=OFF"], work, os.path.join(work, "configure.log")) != 0:
            sys.exit(f"error: configure failed, see {work}/configure.log")
        if run(build_cmd, work, os.path.join(work, "build.log")) != 0:
            sys.exit(f"error: the unmutated tree does not build, see {work}/build.log")
        if run(test_cmd, build, os.path.join(work, "suite.log")) != 0:
            sys.exit(f"error: the suite fails without any fault, see {work}/suite.log")

        caught, survivors, missing = 0, [], []
        for number in chosen:
            path, original, replacement = mutants[number - 1]
            path = locate(src, path, original)
            if path is None:
                missing.append(number)
                print(f"{number:3d} {'not in this tree':15s}", flush=True)
                continue
            file = os.path.join(src, path)
            text = open(file, encoding="utf-8").read()
            started = time.time()
            try:
                open(file, "w", encoding="utf-8").write(text.replace(original, replacement))
                log = os.path.join(work, f"mutant-{number}.log")
                if run(build_cmd, work, log) != 0:
                    verdict = "caught (build)"
                elif run(test_cmd, build, log, timeout=900) != 0:
                    verdict = "caught"
                else:
                    verdict = "SURVIVED"
            finally:
                open(file, "w", encoding="utf-8").write(text)
            if verdict == "SURVIVED":
                survivors.append(number)
            else:
                caught += 1
            first = original.strip().split("\n")[0][:60]
            print(f"{number:3d} {verdict:15s} {time.time() - started:5.0f}s  {path}: {first}",
                  flush=True)
        print(f"{caught} of {len(chosen) - len(missing)} faults caught"
              + (f"; survived: {', '.join(map(str, survivors))}" if survivors else "")
              + (f"; not in this tree: {', '.join(map(str, missing))}" if missing else ""))
        # Leave the scratch build as the unmutated tree, so that --work can be reused.
        run(build_cmd, work, os.path.join(work, "build.log"))
    finally:
        if not args.keep and not args.work:
            shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
