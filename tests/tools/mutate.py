#!/usr/bin/env python3
"""Samples plausible single faults in the module's sources and reports which
ones the tests catch: relational operators flipped, && and || swapped, whole
numbers changed by one, true and false swapped, calls deleted, adjacent
statements swapped, scoped locks turned into temporaries. Each mutant is
built and tested on its own; the source is restored on every path.

  tests/tools/mutate.py [--count N] [--seed S] [--build-dir build]
                    [--targets "ps_unit_tests ps_model_tests"]
                    [--tests "tests/ps_unit_tests tests/ps_model_tests"]

A mutant is caught when it does not build or a test binary fails (or runs
past --timeout seconds); it survives when everything passes.
"""
import argparse
import fcntl
import random
import re
import signal
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SOURCES = ["portsecurity/*.cpp", "portsecurity/rpc/*.cpp", "rte/BLL/core/*.cpp"]
FLIPS = {" == ": " != ", " != ": " == ", " < ": " >= ", " >= ": " < ", " > ": " <= ",
         " <= ": " > ", " && ": " || ", " || ": " && "}
LOCK = re.compile(r"^(\s*)BLLManager::(exclusive|shared)Lock_t lock;\s*$")
CALL = re.compile(r"^\s*[\w:.>\-\[\]]+\(.*\);\s*$")
NUMBER = re.compile(r"(?<![\w.])(\d+)(?![\w.])")


def code_part(line):
    """The line up to a comment, with string literals blanked out."""
    line = line.split("//")[0]
    return re.sub(r'"(?:\\.|[^"\\])*"', lambda m: " " * len(m.group(0)), line)


def candidates(path, lines):
    for i, line in enumerate(lines):
        code = code_part(line)
        if not code.strip() or code.lstrip().startswith("#"):
            continue
        for old, new in FLIPS.items():
            for m in re.finditer(re.escape(old), code):
                yield (path, i, "flip", line[:m.start()] + new + line[m.end():], None)
        for word, other in (("true", "false"), ("false", "true")):
            for m in re.finditer(r"\b%s\b" % word, code):
                yield (path, i, "bool", line[:m.start()] + other + line[m.end():], None)
        for m in NUMBER.finditer(code):
            value = int(m.group(1))
            for changed in {value + 1, max(value - 1, 0)} - {value}:
                yield (path, i, "constant", line[:m.start()] + str(changed) + line[m.end():], None)
        lock = LOCK.match(line)
        if lock and i + 1 < len(lines) and "lock.isLocked()" in lines[i + 1]:
            temp = "%sconst bool lockTaken = BLLManager::%sLock_t().isLocked();\n" % lock.groups()
            yield (path, i, "lock", temp, lines[i + 1].replace("lock.isLocked()", "lockTaken"))
        elif CALL.match(code) and not code.lstrip().startswith("return"):
            yield (path, i, "call", "", None)
        if (i + 1 < len(lines) and code.rstrip().endswith(";") and CALL.match(code_part(lines[i + 1]))
                and code_part(lines[i + 1]).rstrip().endswith(";")
                and not code.lstrip().startswith("return") and lines[i] != lines[i + 1]):
            yield (path, i, "swap", lines[i + 1], lines[i])


def run(cmd, timeout):
    try:
        return subprocess.run(cmd, cwd=ROOT, shell=True, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=timeout).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, default=20)
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 30))
    parser.add_argument("--build-dir", default="build")
    parser.add_argument("--targets", default="ps_unit_tests ps_model_tests")
    parser.add_argument("--tests", default="tests/ps_unit_tests tests/ps_model_tests")
    parser.add_argument("--timeout", type=int, default=300)
    args = parser.parse_args()

    everything = []
    for pattern in SOURCES:
        for path in sorted(ROOT.glob(pattern)):
            everything += candidates(path, path.read_text().splitlines(keepends=True))
    rng = random.Random(args.seed)
    sample = rng.sample(everything, min(args.count, len(everything)))
    print("seed %d: %d mutants of %d candidates" % (args.seed, len(sample), len(everything)))

    build = "cmake --build %s --target %s" % (args.build_dir, args.targets)
    tests = " && ".join("%s/%s" % (args.build_dir, t) for t in args.tests.split())
    caught = 0
    for path, index, kind, first, second in sample:
        original = path.read_text()
        lines = original.splitlines(keepends=True)
        lines[index] = first
        if second is not None:
            lines[index + 1] = second
        restore = lambda *_: path.write_text(original)
        signal.signal(signal.SIGINT, lambda *_: (restore(), sys.exit(130)))
        try:
            path.write_text("".join(lines))
            with open("/tmp/ps-build.lock", "w") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX)
                killed = not run(build, args.timeout) or not run(tests, args.timeout)
        finally:
            restore()
        caught += killed
        print("%s:%d %s %s" % (path.relative_to(ROOT), index + 1, kind,
                               "caught" if killed else "SURVIVED"), flush=True)
    run(build, args.timeout)
    print("caught %d of %d (%.0f%%)" % (caught, len(sample), 100.0 * caught / max(len(sample), 1)))


if __name__ == "__main__":
    main()
