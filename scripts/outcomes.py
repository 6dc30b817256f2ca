#!/usr/bin/env python3
"""Counts the test cases of finished runs: outcomes.py FOLDER ..., each with the result files of the test
programs, ctest.junit and, of the tests that failed and were run again, again.junit. A test that is no
program of cases counts as one, and so does a program that ended without its result file. Names what passed
only the second time, then prints one line; fails unless all passed in the end."""
import pathlib
import sys
import xml.etree.ElementTree as ET


def program_cases(file):
    for case in ET.parse(file).iter("testcase"):
        skipped = case.get("result") == "skipped" or case.find("skipped") is not None
        yield "failed" if case.find("failure") is not None else "skipped" if skipped else "passed"


def tests(file):
    words = {"run": "passed", "fail": "failed"}
    found = ET.parse(file).iter("testcase") if file.exists() else []
    return {test.get("name"): words.get(test.get("status"), "skipped") for test in found}


def outcomes(folder):
    again = tests(folder / "again.junit")
    for name, outcome in again.items():
        if outcome == "passed":
            print(f"{folder.parent.name}: {name} failed, and passed when it was run again")
    for name, whole in {**tests(folder / "ctest.junit"), **again}.items():
        file = folder / (name + ".xml")
        cases = list(program_cases(file)) if file.exists() else [whole]
        # A program can fail after its last case, too.
        yield from cases if whole != "failed" or "failed" in cases else [*cases, whole]


def main():
    all_of_them = [outcome for folder in sys.argv[1:] for outcome in outcomes(pathlib.Path(folder))]
    print(", ".join(f"{all_of_them.count(word)} {word}" for word in ("passed", "failed", "skipped")))
    return 1 if "failed" in all_of_them or "passed" not in all_of_them else 0


if __name__ == "__main__":
    sys.exit(main())
