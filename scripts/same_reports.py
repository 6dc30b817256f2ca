#!/usr/bin/env python3
"""Compares two reports byte for byte, but for the numbers of their elapsed times: same_reports.py A B.
Prints the first lines that differ; fails if there are any."""
import pathlib
import re
import sys


def lines(file):
    content = pathlib.Path(file).read_bytes()
    if not content:
        sys.exit(f"{file} is empty")
    # Units of two bytes: a line feed's bytes may also be halves of two others.
    text = content.decode("utf-16-le", "surrogatepass")
    return [re.sub(r"^(ET\t.*\t)\d+$", r"\1", line) for line in text.split("\n")]


def main():
    left, right = map(lines, sys.argv[1:3])
    count = max(len(left), len(right))
    pairs = [(at, (left[at:at + 1] or ["(none)"])[0], (right[at:at + 1] or ["(none)"])[0])
             for at in range(count)]
    other = [pair for pair in pairs if pair[1] != pair[2]]
    for at, a, b in other[:5]:
        print(f"{sys.argv[2]}, line {at + 1}: {b!r}, expected {a!r}")
    print(f"{pathlib.Path(sys.argv[2]).name}: {count} lines, {len(other)} differ")
    return 1 if other else 0


if __name__ == "__main__":
    sys.exit(main())
