#!/usr/bin/env python3
"""Counts the test cases of finished runs: outcomes.py FOLDER ..., each with the result files of the test
programs and ctest.junit. A test that is no program of cases counts as one, and so does a program that
ended without its result file. Prints one line; fails unless all passed."""
import pathlib
import sys
import xml.etree.ElementTree as ET


def program_cases(file):
    for case in ET.parse(file).iter("testcase"):
        skipped = case.get("result") == "skipped" or case.find("skipped") is not None
        yield "failed" if case.find("failure") is not None else "skipped" if skipped else "passed"


def outcomes(folder):
    words = {"run": "passed", "fail": "failed"}
    for test in ET.parse(folder / "ctest.junit").iter("testcase"):
        whole = words.get(test.get("status"), "skipped")
        file = folder / (test.get("name") + ".xml")
        cases = list(program_cases(file)) if file.exists() else [whole]
        # A program can fail after its last case, too.
        yield from cases if whole != "failed" or "failed" in cases else [*cases, whole]


def main():
    all_of_them = [outcome for folder in sys.argv[1:] for outcome in outcomes(pathlib.Path(folder))]
    print(", ".join(f"{all_of_them.count(word)} {word}" for word in ("passed", "failed", "skipped")))
    return 1 if "failed" in all_of_them or "passed" not in all_of_them else 0


if __name__ == "__main__":
    sys.exit(main())
