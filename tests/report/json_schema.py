#!/usr/bin/python3
"""Checks that the JSON of "orreryctl convert" and "orreryctl summary" is what the schemas describe.

json_schema.py ORRERYCTL DOCS REPORT ...   the folder of the schemas, and the reports as UTF-8; 77
                                           without python3-jsonschema
"""
import json
import pathlib
import subprocess
import sys
import tempfile

try:
    from jsonschema import Draft202012Validator
except ImportError:
    sys.exit(77)

# What the library writes when it finds nothing, and what it never writes.
MADE = {
    "nothing": "",
    "cancelled": "ComputerSystem\t0\tName\t\nET\t0\t\t12\n",
    "cut": "ComputerSystem\t0\tName\t\nET\t0\t\t12",
    "odd": "BIOS\t0\tVersion\ta\tb\nc \"\\ <&>\nDiskDrive\t7\tSize\t\nET\t0\t\tsoon\nET\t1\tx\ty\n",
}

# Each damages a right document in one place.
DAMAGES = {"report": [
    lambda d: d.pop("format"),
    lambda d: d.update(formatVersion=2),
    lambda d: d.update(machine=""),
    lambda d: d.update(more=1),
    lambda d: d["sections"].update(BIOS={}),
    lambda d: d["sections"].update(BIOS=[]),
    lambda d: d["sections"]["BIOS"][0].pop("index"),
    lambda d: d["sections"]["BIOS"][0].update(index=-1),
    lambda d: d["sections"]["BIOS"][0]["properties"].update(Version=1),
    lambda d: d["elapsedTimes"][0].update(category="Printers"),
    lambda d: d["completeness"].update(state="half"),
    lambda d: d["completeness"].update(state="lacksCategories"),
    lambda d: d["completeness"].update(missing=1),
    lambda d: d["warnings"].append({"text": "no line"}),
], "summary": [
    lambda d: d.update(machines=[]),
    lambda d: d["machines"][0].pop("maker"),
    lambda d: d["machines"][0].update(model=""),
    lambda d: d["machines"][0]["drives"][0]["volumes"][0].update(usedPercent=101),
    lambda d: d["machines"][0]["security"].update(secureBoot="1"),
    lambda d: d["machines"][0]["memory"].update(mebibytes="32768"),
]}


def run(program, command, report):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "report.tsv")
        path.write_bytes(report.encode("utf-16-le"))
        ended = subprocess.run([program, command, str(path), "--to", "json"],
                               stdout=subprocess.PIPE, check=True)
    return json.loads(ended.stdout.decode("utf-8"))


def facts_left(document):
    return sum(len(instance["properties"]) for section in document["sections"].values()
               for instance in section) + len(document["elapsedTimes"])


def main(program, docs, *report_paths):
    reports = dict(MADE)
    for path in report_paths:
        reports[path] = pathlib.Path(path).read_bytes().decode("utf-8")
    failures = []
    for kind, command in {"report": "convert", "summary": "summary"}.items():
        schema = json.loads(pathlib.Path(docs, kind + ".schema.json").read_text(encoding="utf-8"))
        Draft202012Validator.check_schema(schema)
        validator = Draft202012Validator(schema)
        for name, report in reports.items():
            document = run(program, command, report)
            failures += [f"{kind} of {name}: {error.message} at {list(error.path)}"
                         for error in validator.iter_errors(document)]
            if kind == "report" and name in report_paths:
                kept, facts = facts_left(document), report.count("\n")
                if kept != facts:
                    failures.append(f"{name}: {kept} of {facts} facts are left")
        for number, damage in enumerate(DAMAGES[kind]):
            damaged = run(program, command, reports[report_paths[0]])
            damage(damaged)
            if validator.is_valid(damaged):
                failures.append(f"the schema of the {kind} allows damage {number}")
    print("\n".join(failures) or f"{len(reports)} reports follow the schemas")
    return 1 if failures else 0


sys.exit(main(*sys.argv[1:]))
