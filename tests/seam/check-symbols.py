#!/usr/bin/env python3
"""Compares the module's dynamic symbol table with the lists written in
docs/host-contracts.md: every host symbol it imports must be listed there,
and every symbol it exports must match a listed name (a `*` stands for any
text) while every listed name without one is exported. Symbols of the C and
C++ runtimes, libtirpc (all versioned), Boost and the sanitizers' runtimes
are the platform's, not the host's.

  check-symbols.py NM MODULE DOC
"""
import re
import subprocess
import sys


def listed(doc, marker):
    """The lines of the first fenced block after the line holding `marker`."""
    lines = open(doc).read().splitlines()
    start = next(i for i, line in enumerate(lines) if marker in line)
    first = next(i for i in range(start, len(lines)) if lines[i].startswith("```"))
    last = next(i for i in range(first + 1, len(lines)) if lines[i].startswith("```"))
    return [line.strip() for line in lines[first + 1:last] if line.strip()]


def symbols(nm, module, which):
    out = subprocess.run([nm, "-D", "-C", which, module], check=True, capture_output=True,
                         text=True).stdout
    found = set()
    for line in out.splitlines():
        parts = line.split(None, 2) if which == "--defined-only" else line.split(None, 1)
        kind, name = parts[-2], parts[-1]
        if kind in ("w", "v"):  # weak references the runtime may leave unresolved
            continue
        found.add(name)
    return found


def platform(name):
    return "@" in name or "boost::" in name or re.match(r"_*(asan|ubsan|tsan|lsan|sanitizer)", name)


def main():
    nm, module, doc = sys.argv[1:4]
    problems = []
    imports = {s for s in symbols(nm, module, "--undefined-only") if not platform(s)}
    for name in sorted(imports - set(listed(doc, "<!-- host imports -->"))):
        problems.append("imports a host symbol that the contract does not list: " + name)
    exported = symbols(nm, module, "--defined-only")
    patterns = listed(doc, "<!-- module exports -->")
    regexes = [re.compile("^" + ".*".join(map(re.escape, p.split("*"))) + "$") for p in patterns]
    for name in sorted(exported):
        if not any(r.match(name) for r in regexes):
            problems.append("exports a symbol that is not listed: " + name)
    for name in patterns:
        if "*" not in name and name not in exported:
            problems.append("does not export a listed symbol: " + name)
    for problem in problems:
        print(problem)
    print("%d imports, %d exports checked" % (len(imports), len(exported)))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
