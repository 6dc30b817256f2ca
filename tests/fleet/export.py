#!/usr/bin/env python3
"""Loads what "orreryctl fleet export" writes into another engine by the script that comes with it, and
compares every value there with the database it came from.

export.py ORRERYCTL MAKE_REPORTS duckdb PACKAGES   the engine's packages of npm; 77 where they are missing
export.py ORRERYCTL MAKE_REPORTS postgresql        the server of run.sh; 77 without one
"""
import collections
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

VALUES = ["\U0001F680 r\u00f6cket", "tab\there", "'single' \"double\" \"\"", '"', "line\nfeed", "line\r\nboth", "carriage\rreturn", ",;,",
          "\\N", "\\", "NULL", "null", " blanks ", "\\.", "$1 'x'; DROP TABLE machine; --", "{\"a\": 1}",
          "\u0001\u0002\u2028\ufeff", "0", "true", "x" * 100000]
# psql takes a line of CSV for the end of the file where that is all of it.
UNFIT_FOR_PSQL = ["a\n\\.\nb"]
# What only a load needs to know.
OWN = {"fleet_schema", "former_empty", "latest_digest", "machine_key", "report_file", "report_gap", "report_time"}
TIME = re.compile(r"(\d{4}-\d\d-\d\d)[T ](\d\d:\d\d:\d\d)(?:Z|\+00(?::00)?)")


def write_reports(folder, values):
    folder.mkdir(parents=True)
    for number, value in enumerate(values):
        facts = [("BIOS", 0, "AssetTag", "Default string"), ("BIOS", 0, "SerialNumber", f"X{number}"),
                 ("ComputerSystem", 0, "Name", value)]
        facts += [("ET", 0, "", "7")] * 13
        # Absent, empty and there, in columns of text and of others.
        for index, given in enumerate([{}, {"Description": "", "Size": ""}, {"Description": value, "Size": "7"}]):
            facts += [("LogicalDisk", index, name, text) for name, text in sorted({"DeviceID": "C:", **given}.items())]
        facts += [("VideoController", 0, "Name", value)]
        text = "".join(f"{section}\t{index}\t{name}\t{value}\n" for section, index, name, value in facts)
        (folder / f"{number}.tsv").write_bytes(text.encode("utf-16-le"))


def same_time(value):
    match = TIME.fullmatch(value) if isinstance(value, str) else None
    return f"{match[1]}T{match[2]}Z" if match else value


def row_of(values):
    return tuple(sorted((name, same_time(value)) for name, value in values.items()))


def ours(database, folder):
    """The rows of each table, in the columns that the exported files name."""
    base = sqlite3.connect(database)
    names = {name for name, in base.execute("SELECT name FROM sqlite_master WHERE type = 'table'")} - OWN
    tables = {}
    for name in sorted(names - {"collected_section"} | {"collected"}):
        with open(folder / f"{name}.csv", encoding="utf-8") as file:
            columns = file.readline().strip().split(",")
        chosen = ", ".join('"' + column + '"' for column in columns)
        tables[name] = collections.Counter(
            row_of(dict(zip(columns, row))) for row in base.execute(f"SELECT {chosen} FROM {name}"))
    return tables


def in_duckdb(folder, packages):
    script = pathlib.Path(__file__).with_name("duckdb.mjs")
    text = subprocess.run(["node", script, folder, packages], check=True, stdout=subprocess.PIPE).stdout.decode()
    for line in text.split("\n")[:-1]:
        yield line.split("\t", 2)


def in_postgresql(folder, _):
    def psql(*arguments):
        return subprocess.run(["psql", "-X", "-q", "-At", "-v", "ON_ERROR_STOP=1", os.environ["ORRERY_TEST_POSTGRES"],
                               *arguments], check=True, cwd=folder, stdout=subprocess.PIPE).stdout.decode()
    psql("-c", "SET client_min_messages = warning; DROP SCHEMA IF EXISTS public CASCADE; CREATE SCHEMA public")
    psql("-f", "load.postgresql.sql")
    tables = psql("-c", "SELECT table_name FROM information_schema.tables WHERE table_schema = 'public'").split()
    queries = [f"SELECT 'table', '{table}', to_json(r) FROM \"{table}\" r;" for table in tables]
    for line in psql("-F", "\t", "-c", "SET timezone = 'UTC';" + "".join(queries)).split("\n")[:-1]:
        yield line.split("\t", 2)


def main():
    orreryctl, make_reports, engine, *rest = sys.argv[1:]
    if engine == "duckdb" and (shutil.which("node") is None or not pathlib.Path(rest[0], "node_modules").is_dir()):
        return 77
    if engine == "postgresql" and "ORRERY_TEST_POSTGRES" not in os.environ:
        return 77
    faults = 0
    values = VALUES + (UNFIT_FOR_PSQL if engine == "duckdb" else [])
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        write_reports(work / "reports" / "own", values)
        # A second time with other values, for a history.
        for more in ([], ["--changed", "0.2"]):
            subprocess.run([make_reports, work / "reports", "40", "--hostile", "20", *more], check=True)
            for number, file in enumerate(sorted((work / "reports").rglob("*.tsv"))):
                os.utime(file, (1_790_000_000 + 1000 * len(more), 1_790_000_000 + 1000 * len(more)))
            subprocess.run([orreryctl, "fleet", "load", work / "reports", "--quiet", "--to", work / "fleet.db"], check=True)
        for form in "csv", "jsonl":
            folder = work / form
            subprocess.run([orreryctl, "fleet", "export", work / "fleet.db", "-o", folder, "--to", form, "--quiet"], check=True)
            expected = ours(work / "fleet.db", work / "csv")
            theirs = collections.defaultdict(lambda: collections.defaultdict(collections.Counter))
            for source, table, row in (in_duckdb if engine == "duckdb" else in_postgresql)(folder, *rest or [None]):
                theirs[source][table][row_of(json.loads(row))] += 1
            for source in ("table", "parquet") if engine == "duckdb" else ("table",):
                for table in sorted(expected.keys() | theirs[source].keys()):
                    lost = expected.get(table, collections.Counter()) - theirs[source][table]
                    made = theirs[source][table] - expected.get(table, collections.Counter())
                    if lost or made:
                        faults += 1
                        print(f"FAILED: {form}, {source} {table}: {lost.total()} rows lost, {made.total()} made, such as\n"
                              f"  {str(next(iter(lost), None))[:500]}\n  {str(next(iter(made), None))[:500]}")
            # What is compared holds what matters.
            names = {dict(row)["name"] for row in expected["video_controller"]}
            for value in values:
                if value not in names:
                    faults += 1
                    print(f"FAILED: no display is named {value[:100]!r}")
            for table in "change", "elapsed", "machine_placeholder", "other_fact":
                if expected[table].total() < 10:
                    faults += 1
                    print(f"FAILED: {table} has but {expected[table].total()} rows")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
