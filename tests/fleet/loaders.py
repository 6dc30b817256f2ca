#!/usr/bin/env python3
"""Several loads at once: those of three sites into one PostgreSQL database give the rows of one after another,
and a load into an SQLite file that another program writes to waits for it, a minute at most.

loaders.py ORRERYCTL   PostgreSQL is left out where run.sh has none
"""
import collections
import json
import os
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile
import time

SITES, OWN, SHARED = 3, 700, 500


def write_site(folder, site):
    """More reports than one batch takes. Some machines travel: each site has another report of them."""
    folder.mkdir()
    for number in range(OWN + SHARED):
        travels = number < SHARED
        name = f"TRAVELS-{number}" if travels else f"SITE{site}-{number}"
        chance = random.Random(site * 10000 + number)
        facts = [("BIOS", 0, "SerialNumber", name), ("BIOS", 0, "SystemMan", "Solholm"),
                 ("BIOS", 0, "Version", chance.choice("123")), ("ComputerSystem", 0, "Name", name)]
        facts += [("ET", 0, "", str(chance.randrange(9)))] * 13
        facts += [("LogicalDisk", 0, "DeviceID", "C:"), ("LogicalDisk", 0, "FreeSpace", chance.choice(["7", "8", "007", "soon"]))]
        facts += [("USBDevice", i, "Name", chance.choice("abc")) for i in range(chance.randrange(4))]
        facts += [("VideoController", 0, "Name", "Aurora")]
        path = folder / f"{chance.randrange(10**9):09d}.tsv"
        path.write_bytes("".join("\t".join(map(str, fact)) + "\n" for fact in facts).encode("utf-16-le"))
        # Which site has the newest report of a machine differs from machine to machine.
        at = 1_790_000_000 + (site + number) % SITES * 86400 + number
        os.utime(path, (at, at))


def rows_of(orreryctl, database, work):
    """All rows, with machines by their names: which number one gets depends on who came first."""
    folder = work / "rows"
    subprocess.run([orreryctl, "fleet", "export", database, "-o", folder, "--to", "jsonl", "--quiet"], check=True)
    tables = {path.stem: [json.loads(line) for line in path.read_text().splitlines()] for path in folder.glob("*.jsonl")}
    names = {row["machine"]: row["name"] for row in tables["machine"]}
    rows = collections.Counter()
    for table, all_rows in tables.items():
        for row in all_rows:
            row["machine"] = names[row["machine"]]
            rows[table, json.dumps(row, sort_keys=True)] += 1
    return rows


def main():
    orreryctl = sys.argv[1]
    faults = []

    def check(what, is_so):
        if not is_so:
            faults.append(what)
            print("FAILED:", what)

    def load(folders, to, **more):
        return subprocess.Popen([orreryctl, "fleet", "load", *folders, "--quiet", "--to", to], stderr=subprocess.PIPE, text=True,
                                **more)

    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        sites = [work / f"site{site}" for site in range(SITES)]
        for site, folder in enumerate(sites):
            write_site(folder, site)

        check("one after another", [load([site], work / "fleet.db").wait() for site in sites] == [0] * SITES)
        expected = rows_of(orreryctl, work / "fleet.db", work)
        count = sum(rows for (table, _), rows in expected.items() if table == "machine")
        check(f"{count} machines", count == SHARED + SITES * OWN)
        check("no changes", any(table == "change" for table, _ in expected))

        # Somebody writes to the file for longer than a load waits; and for as long as one does.
        busy, soon = (sqlite3.connect(work / name, isolation_level=None) for name in ("fleet.db", "soon.db"))
        busy.execute("BEGIN IMMEDIATE")
        patient = load(sites, work / "fleet.db")
        started = time.monotonic()
        soon.execute("PRAGMA journal_mode = WAL")
        soon.execute("BEGIN IMMEDIATE")
        waiting = load(sites, work / "soon.db")
        time.sleep(3)
        check("a load does not wait", waiting.poll() is None)
        soon.execute("COMMIT")
        check(f"a load that waited ends with {waiting.wait()}", waiting.wait() == 0)
        check("a load that waited has other rows", rows_of(orreryctl, work / "soon.db", work) == expected)

        # Two that begin a new file.
        both = [load([site], work / "new.db") for site in sites[:2]]
        for one in both:
            said = one.communicate()[1]
            check(f"of two loads one ends with {one.returncode}: {said}",
                  one.returncode == 0 or (one.returncode == 2 and "another program" in said))
        check("the next load", load(sites, work / "new.db").wait() == 0)
        check("loads of a new file have other rows", rows_of(orreryctl, work / "new.db", work) == expected)

        server = os.environ.get("ORRERY_TEST_POSTGRES")
        if server:
            subprocess.run(["psql", "-Xqc", "SET client_min_messages = warning; DROP SCHEMA public CASCADE; "
                            "CREATE SCHEMA public", server], check=True)
            together = [load([site], server) for site in sites]
            for one in together:
                said = one.communicate()[1]
                check(f"a load at once with others ends with {one.returncode}: {said}", one.returncode == 0)
            theirs = rows_of(orreryctl, server, work)
            check(f"together: lost {list(expected - theirs)[:2]}, made {list(theirs - expected)[:2]}", theirs == expected)

        said = patient.communicate()[1]
        check(f"a load that waited for nothing ends with {patient.returncode}: {said}",
              patient.returncode == 2 and "another program is writing" in said and time.monotonic() - started > 50)
        busy.close()
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
