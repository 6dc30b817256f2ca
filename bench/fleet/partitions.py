#!/usr/bin/env python3
"""Tries a fleet that is spread: the same reports into one PostgreSQL database as it is, into one whose tables are
cut into 8 hash partitions by machine, and into one that has half of these on a second server. Tells what each
took, and whether the rows are the same.

    partitions.py ORRERYCTL [REPORTS]      starts both servers, which end with it
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve()
RUN = HERE.parents[2] / "tests/fleet/run.sh"
PARTS = 8
# Names more than one machine, or none.
WHOLE = {"fleet_schema", "report_file"}
# A load writes these by INSERT ... ON CONFLICT, which rows on another server do not take.
LOCAL = {"machine", "collected_section", "latest_digest", "former_empty", "machine_key", "machine_conflict", "machine_event",
         "machine_placeholder", "report_time", "report_gap"}


def sql(address, *statements, quiet=True):
    arguments = [part for statement in statements for part in ("-c", statement)]
    return subprocess.run(["psql", "-X", "-q" if quiet else "-e", "-At", "-v", "ON_ERROR_STOP=1", address, *arguments],
                          check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def in_database(address, name):
    return address.replace("/postgres?", f"/{name}?")


def host_of(address):
    return re.search(r"host=([^&]*)", address)[1]


def load(orreryctl, address, folder):
    started = time.monotonic()
    subprocess.run([orreryctl, "fleet", "load", folder, "--quiet", "--to", address], check=True)
    return time.monotonic() - started


def split(first, second, name):
    """Cuts the tables of an empty fleet; `second` is None, or the server of every other partition."""
    address = in_database(first, name)
    tables = sql(address, "SELECT table_name FROM information_schema.tables WHERE table_schema = 'public' AND "
                 "table_type = 'BASE TABLE'").split()
    views = sql(address, "SELECT table_name FROM information_schema.views WHERE table_schema = 'public'").split()
    here, there = [f"DROP VIEW {view} CASCADE" for view in reversed(views)], []
    here = [re.sub("DROP VIEW", "DROP VIEW IF EXISTS", statement) for statement in here]
    if second:
        here += ["CREATE EXTENSION postgres_fdw",
                 f"CREATE SERVER second FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '{host_of(second)}', dbname '{name}', "
                 "fetch_size '10000', batch_size '1000', async_capable 'true')",
                 "CREATE USER MAPPING FOR CURRENT_USER SERVER second OPTIONS (user 'postgres', password_required 'false')"]
    for table in sorted(set(tables) - WHOLE):
        spread = second is not None and table not in LOCAL
        key = sql(address, "SELECT string_agg(a.attname, ', ' ORDER BY array_position(i.indkey::int[], a.attnum::int)) FROM "
                  f"pg_index i JOIN pg_attribute a ON a.attrelid = i.indrelid AND a.attnum = ANY(i.indkey) "
                  f"WHERE i.indrelid = '{table}'::regclass AND i.indisprimary")
        here += [f"ALTER TABLE {table} RENAME TO {table}_whole",
                 f"CREATE TABLE {table} (LIKE {table}_whole) PARTITION BY HASH (machine)"]
        if key and not spread:
            here.append(f"ALTER TABLE {table} ADD PRIMARY KEY ({key})")
        columns = sql(address, "SELECT string_agg(format('%I %s', attname, format_type(atttypid, atttypmod)), ', ' ORDER BY "
                      f"attnum) FROM pg_attribute WHERE attrelid = '{table}'::regclass AND attnum > 0 AND NOT attisdropped")
        for part in range(PARTS):
            bounds = f"FOR VALUES WITH (MODULUS {PARTS}, REMAINDER {part})"
            if spread and part % 2:
                there.append(f"CREATE TABLE {table}_{part} ({columns}" + (f", PRIMARY KEY ({key}))" if key else ")"))
                # What the load and the views look up by; the first server makes none here.
                there.append(f"CREATE INDEX ON {table}_{part} (machine)")
                here.append(f"CREATE FOREIGN TABLE {table}_{part} PARTITION OF {table} {bounds} SERVER second")
            else:
                here.append(f"CREATE TABLE {table}_{part} PARTITION OF {table} {bounds}")
                if key and spread:
                    here.append(f"ALTER TABLE {table}_{part} ADD PRIMARY KEY ({key})")
        here.append(f"DROP TABLE {table}_whole CASCADE")
    # The next load makes the indexes and views anew.
    here.append("UPDATE fleet_schema SET views = ''")
    sql(address, *here)
    if there:
        sql(in_database(second, name), *there)


def measure(address):
    times = {}
    views = "pc windows11 disk_low bitlocker_off memory_slots_free placeholder_serials changed_since stale slow_categories conflicts"
    for view in views.split():
        seen = sql(address, "\\timing on", *[f"SELECT COUNT(*) FROM (SELECT * FROM {view}) v"] * 3)
        times[view] = min(float(text) for text in re.findall(r"Time: ([\d.]+) ms", seen))
    return times


def dump(orreryctl, address, folder):
    subprocess.run([orreryctl, "fleet", "export", address, "-o", folder, "--quiet"], check=True)
    # Rows that only differ in places beyond the order of the export come as the server likes.
    return {path.name: sorted(path.read_bytes().split(b"\r\n")) for path in pathlib.Path(folder).glob("*.csv")}


def main():
    if "ORRERY_TEST_POSTGRES" not in os.environ or "ORRERY_FIRST" not in os.environ:
        if "ORRERY_TEST_POSTGRES" in os.environ:
            os.environ["ORRERY_FIRST"] = os.environ["ORRERY_TEST_POSTGRES"]
        folder = HERE.parents[2] / "build" / ("bench-second" if "ORRERY_FIRST" in os.environ else "bench-first")
        return subprocess.run([RUN, folder, HERE, *sys.argv[1:]]).returncode
    orreryctl, reports = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 2000
    first, second = os.environ["ORRERY_FIRST"], os.environ["ORRERY_TEST_POSTGRES"]
    faults = 0
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        (work / "none").mkdir()
        results, expected = {}, None
        for name, server in ("whole", None), ("parts", None), ("servers", second):
            sql(first, f"CREATE DATABASE {name}")
            address = in_database(first, name)
            load(orreryctl, address, work / "none")
            if name != "whole":
                if server:
                    sql(second, f"CREATE DATABASE {name}")
                split(first, server, name)
        for more in ([], ["--changed", "0.02"]):
            subprocess.run([HERE.with_name("make_reports.py"), work / "reports", str(reports), "--hostile", "20", *more], check=True)
            for name in "whole", "parts", "servers":
                results.setdefault(name, {})["reload" if more else "load"] = load(orreryctl, in_database(first, name), work / "reports")
        for name, result in results.items():
            address = in_database(first, name)
            sql(address, "ANALYZE")
            result["views"] = measure(address)
            rows = dump(orreryctl, address, work / name)
            if expected is None:
                expected = rows
            result["far"] = int(sql(address, "SELECT COUNT(*) FROM usb_device WHERE tableoid::regclass::text ~ '_[1357]$'")) \
                if name == "servers" else 0
            for table in sorted(expected.keys() | rows.keys()):
                if expected.get(table) != rows.get(table):
                    faults += 1
                    print(f"FAILED: {name}, {table}: {len(expected.get(table, []))} rows, and {len(rows.get(table, []))}")
            result["bytes"] = [int(sql(in_database(each, name), "SELECT COALESCE(SUM(pg_total_relation_size(oid)), 0) FROM "
                                       "pg_class WHERE relnamespace = 'public'::regnamespace AND relkind = 'r'"))
                               for each in ([first, second] if name == "servers" else [first])]
        if not 0.3 * reports * 180 < results["servers"]["far"] < 0.7 * reports * 180:
            faults += 1
            print(f"FAILED: the second server holds {results['servers']['far']} USB devices, which is not about half")
        print(f"{reports} machines, {sum(len(rows) - 2 for rows in expected.values())} rows")
        for name, result in results.items():
            slowest = max(result["views"], key=result["views"].get)
            print(f"{name}: load {result['load']:.1f} s, reload {result['reload']:.1f} s, all views "
                  f"{sum(result['views'].values()):.0f} ms, slowest {slowest} {result['views'][slowest]:.0f} ms, "
                  f"{' + '.join(f'{size / reports:.0f}' for size in result['bytes'])} bytes a machine")
        for table, rows in sorted(expected.items(), key=lambda item: -sum(map(len, item[1])))[:8]:
            print(f"{table}: {(len(rows) - 2) / reports:.1f} rows, {sum(map(len, rows)) / reports:.0f} bytes a machine")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
