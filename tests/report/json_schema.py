#!/usr/bin/python3
"""Checks that "orreryctl convert --to json" writes what docs/report.schema.json describes.

json_schema.py ORRERYCTL SCHEMA REPORT ...   the reports as UTF-8; 77 without python3-jsonschema
"""
import copy
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
    "odd": "BIOS\t0\tVersion\ta\tb\nc \"\\ <&>\nDiskDrive\t7\tSize\t\nET\t0\t\tsoon\nET\t1\tx\ty\n",
}

# Each damages a right document in one place.
DAMAGES = [
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
    lambda d: d["warnings"].append({"text": "no line"}),
]


def convert(program, report):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "report.tsv")
        path.write_bytes(report.encode("utf-16-le"))
        run = subprocess.run([program, "convert", str(path), "--to", "json"],
                             stdout=subprocess.PIPE, check=True)
    return json.loads(run.stdout.decode("utf-8"))


def main(program, schema_path, *report_paths):
    schema = json.loads(pathlib.Path(schema_path).read_text(encoding="utf-8"))
    Draft202012Validator.check_schema(schema)
    validator = Draft202012Validator(schema)
    reports = dict(MADE)
    for path in report_paths:
        reports[path] = pathlib.Path(path).read_bytes().decode("utf-8")

    failures = []
    for name, report in reports.items():
        document = convert(program, report)
        failures += [f"{name}: {error.message} at {list(error.path)}"
                     for error in validator.iter_errors(document)]
        kept = sum(len(instance["properties"]) for section in document["sections"].values()
                   for instance in section) + len(document["elapsedTimes"])
        if name in report_paths and kept != report.count("\n"):
            failures.append(f"{name}: {kept} of {report.count(chr(10))} facts are left")
    for number, damage in enumerate(DAMAGES):
        damaged = copy.deepcopy(convert(program, reports[report_paths[0]]))
        damage(damaged)
        if validator.is_valid(damaged):
            failures.append(f"the schema allows damage {number}")
    print("\n".join(failures) or f"{len(reports)} reports follow the schema")
    return 1 if failures else 0


sys.exit(main(*sys.argv[1:]))
