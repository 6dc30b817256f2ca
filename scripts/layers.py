#!/usr/bin/env python3
"""Refuses includes that point upward. The rows below say what each folder may include, besides itself
and what stands in no row; docs/architecture.md shows the same table to people."""
import pathlib
import re
import sys

LIBRARY = ["support", "store", "native", "wmi", "collect", "entry"]
MAY_INCLUDE = {
    "src/support": [],
    "src/store": ["src/support"],
    "src/native": ["src/store", "src/support"],
    "src/wmi": ["src/native", "src/store", "src/support"],
    "src/collect": ["src/wmi", "src/native", "src/store", "src/support"],
    "src/entry": ["src/collect", "src/wmi", "src/native", "src/store", "src/support"],
    "client/text": [],
    "client/system": ["client/text", "src/support"],
    "client/report": ["client/system", "client/text"],
    "client/page": ["client/report", "client/system", "client/text"],
    "client/fleet": ["client/page", "client/report", "client/system", "client/text"],
    "client/doctor": ["client/report", "client/system", "client/text"],
    "client/machine": ["client/doctor", "client/report", "client/system", "client/text",
                       "src/entry", "src/collect", "src/wmi", "src/native", "src/store",
                       "src/support"],
    "client/commands": ["client/page", "client/doctor", "client/report", "client/system", "client/text"],
    "client/commands/fleet": ["client/commands", "client/fleet", "client/page", "client/report",
                              "client/system", "client/text"],
    "client/commands/windows": ["client/commands", "client/machine", "client/page", "client/doctor",
                                "client/report", "client/system", "client/text", "src/support"],
    "client": ["client/commands", "client/system"],
}


def folder_of(include):
    """The row of an included file, as the include paths of the build find it."""
    first = include.split("/")[0]
    path = "src/" + include if first in LIBRARY else include
    folder = path.rpartition("/")[0]
    return folder if folder in MAY_INCLUDE else None


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    wrong = []
    for top in ("src", "client"):
        for file in sorted((root / top).rglob("*")):
            if file.suffix not in (".cpp", ".h"):
                continue
            here = str(file.parent.relative_to(root))
            if here not in MAY_INCLUDE:
                wrong.append(f"{file.relative_to(root)}: {here} has no row in scripts/layers.py")
                continue
            for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
                match = re.match(r'#include "([^"]+)"', line)
                there = folder_of(match.group(1)) if match else None
                if there and there != here and there not in MAY_INCLUDE[here]:
                    wrong.append(f"{file.relative_to(root)}:{number}: {line}")
    print("\n".join(wrong), file=sys.stderr, end="\n" if wrong else "")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
