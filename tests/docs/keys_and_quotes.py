#!/usr/bin/python3
"""Checks that the documents name the report's keys as docs/report.md does, and quote the examples.

keys_and_quotes.py PROJECT_FOLDER
"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
faults = []


def rows_by_section(name):
    """The backticked names that begin the rows of each table, by the heading above it."""
    rows = {}
    for part in re.split(r"^## ", (root / "docs" / name).read_text(), flags=re.M)[1:]:
        title, _, body = part.partition("\n")
        rows[title] = [re.findall(r"`([^`]+)`", row.split("|")[1]) for row in body.splitlines()
                       if row.startswith("| ")]
    return rows


known = {f"{section}.{name}" for section, rows in rows_by_section("report.md").items()
         for names in rows for name in names}

values = rows_by_section("known-values.md")
values.pop("Every section")  # begins its rows with what a reader sees
for section, rows in values.items():
    faults += [f"known-values.md: no {section}.{name} in report.md"
               for names in rows for name in names if f"{section}.{name}" not in known]
faults += [f"known-values.md: no section {section}"
           for section in {key.split(".")[0] for key in known} - values.keys()]

# Every key of the report has exactly one row; an asterisk covers what its section does not name.
named = [key for names in rows_by_section("rights.md").get("Keys", []) for key in names]
for key in named:
    section, _, name = key.partition(".")
    rest = {other for other in known if other.startswith(section + ".")} - set(named)
    if named.count(key) > 1 or (key not in known and not (name == "*" and rest)):
        faults.append(f"rights.md: {key} is no key of report.md, or stands there twice")
faults += [f"rights.md: no row for {key}" for key in known - set(named)
           if key.split(".")[0] + ".*" not in named]

quotes = dict(re.findall(r"^### (\S+)\n.*?^```\w+\n(.*?)^```$", (root / "docs/using.md").read_text(),
                         flags=re.M | re.S))
for language, name in {"C": "collect.c", "C++": "collect.cpp", "C#": "Collect.cs",
                       "PowerShell": "collect.ps1", "Python": "collect.py"}.items():
    text = (root / "examples" / name).read_text()
    if quotes.get(language) != text:
        faults.append(f"using.md: the {language} example differs from examples/{name}")
compile((root / "examples/collect.py").read_text(), "collect.py", "exec")

if len(known) < 60:
    faults.append(f"only {len(known)} keys were found in report.md")
sys.exit("\n".join(faults) or 0)
