#!/usr/bin/env python3
"""Measures the load of a fleet and what is asked of it, against what reading the files and writing the same rows
cost by themselves; then kills loads at random moments. Prints a table and ends with 1 where an aim is missed.

    measure.py ORRERYCTL BARE_INSERTS WORK REPORTS KILLS

ORRERY_TEST_POSTGRES is the address of a server that has nothing else to do. TURNS loads are timed of each kind
beside the first, 2 unless that says another number."""
import os
import pathlib
import random
import re
import shutil
import statistics
import subprocess
import sys
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
# Of the reports, their copies and both databases with their logs, by one report.
DISK_BYTES = 320_000
KILLED_REPORTS = 2_500
PAGES = 10_000
TURNS = int(os.environ.get("TURNS", "2"))


class Bench:
    def __init__(self, client, bare_inserts, work, reports, kills):
        self.client, self.bare_inserts = client, bare_inserts
        self.work, self.count, self.kills = work, reports, kills
        self.server = os.environ["ORRERY_TEST_POSTGRES"]
        self.reports = work / "reports"
        self.missed = 0

    def row(self, what, aim, seen, is_met):
        self.missed += not is_met
        print(f"| {what} | {aim} | {seen} | {'yes' if is_met else 'NO'} |", flush=True)

    def sql(self, *arguments):
        return subprocess.run(["psql", "-X", "-q", "-At", "-v", "ON_ERROR_STOP=1", self.server, *arguments],
                              check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout.decode()

    def load(self, database, *folders):
        """Seconds and the most memory in MB."""
        began = time.monotonic()
        load = subprocess.Popen([self.client, "fleet", "load", *(folders or [self.reports]), "--quiet", "--to", database])
        _, status, used = os.wait4(load.pid, 0)
        load.returncode = os.waitstatus_to_exitcode(status)
        if load.returncode != 0:
            sys.exit(f"a load ended with {load.returncode}")
        return time.monotonic() - began, used.ru_maxrss / 1024

    def empty_server(self, with_tables=False):
        self.sql("-c", "SET client_min_messages = warning; DROP SCHEMA public CASCADE; CREATE SCHEMA public")
        if with_tables:
            self.load(self.server, self.work / "none")
            self.sql("-c", "TRUNCATE fleet_schema")
        self.sql("-c", "CHECKPOINT")

    def empty_file(self, name, with_tables=False):
        for part in self.work.glob(name + "*"):
            part.unlink()
        if with_tables:
            self.load(self.work / name, self.work / "none")
        os.sync()
        return self.work / name

    def read_files(self):
        subprocess.run(f"find '{self.reports}' -name '*.tsv' -exec cat {{}} + >/dev/null", shell=True, check=True)

    def timed(self, *work):
        began = time.monotonic()
        for part in work:
            part()
        return time.monotonic() - began

    def wal(self):
        return int(self.sql("-c", "SELECT (pg_current_wal_lsn() - '0/0')::BIGINT"))

    def tables(self):
        return self.sql("-c", "SELECT table_name FROM information_schema.tables WHERE table_schema = 'public' AND "
                              "table_type = 'BASE TABLE' ORDER BY 1").split()

    def rows(self):
        return self.sql("-c", " UNION ALL ".join(f"SELECT '{table}', COUNT(*) FROM {table}" for table in self.tables()) + " ORDER BY 1")

    def use(self, name):
        """Has the reports be the first ones or the changed ones, under the same names."""
        for other in ("first", "changed"):
            if other != name and self.in_use == other:
                self.reports.rename(self.work / other)
        if self.in_use != name:
            (self.work / name).rename(self.reports)
        self.in_use = name

    def make_reports(self):
        (self.work / "none").mkdir()
        for name, more in (("first", ["--day", "2026-01-01"]), ("changed", ["--day", "2026-06-01", "--changed", "0.02"])):
            subprocess.run([sys.executable, HERE / "make_reports.py", self.work / name, str(self.count), "--hostile",
                            str(min(100, self.count)), *more], check=True)
        self.in_use = None
        self.use("first")
        os.sync()
        self.read_files()

    def postgresql(self):
        copies = self.work / "copies"
        copies.mkdir()
        loads, bares = [], []
        for turn in range(TURNS + 1):
            if turn > 0:
                self.empty_server(with_tables=True)
                bares.append(self.timed(self.read_files, lambda: self.sql("-1", "-f", copies / "all.sql")))
                if turn == 1 and self.rows() != loaded:
                    sys.exit("the rows that were copied are not those that were loaded")
            self.empty_server()
            before = self.wal()
            loads.append(self.load(self.server))
            first_wal = self.wal() - before
            if turn == 0:
                loaded = self.rows()
                for table in self.tables():
                    self.sql("-c", f"\\copy {table} TO '{copies / table}'")
                (copies / "all.sql").write_text("".join(f"\\copy {table} FROM '{copies / table}'\n" for table in self.tables()))
        shutil.rmtree(copies)
        first, bare = statistics.median(seconds for seconds, _ in loads), statistics.median(bares)
        self.row(f"First load into PostgreSQL ({first:.1f} s), of reading the files and bare `COPY` ({bare:.1f} s)", "1.3",
                 f"{first / bare:.2f}", first <= 1.3 * bare)
        untouched, _ = self.load(self.server)
        self.row(f"Reload, no file touched ({untouched:.2f} s), of the first load", "3 %", f"{untouched / first:.1%}",
                 untouched <= 0.03 * first)
        times = {view: self.view(view) for view in self.views()}
        slowest = max(times, key=times.get)
        self.row(f"Slowest view at {self.count:,} machines: `{slowest}`", "250 ms", f"{times[slowest]:.0f} ms",
                 times[slowest] <= 250)
        self.use("changed")
        self.read_files()
        before = self.wal()
        again, _ = self.load(self.server)
        wal = self.wal() - before
        self.use("first")
        self.row(f"Reload into PostgreSQL, every file rewritten, 2 % of sections changed ({again:.1f} s), of the first load",
                 "33 %", f"{again / first:.1%}", again <= first / 3)
        self.row(f"WAL of that ({wal / 1e6:.0f} MB), of the first load's", "5 %", f"{wal / first_wal:.1%}",
                 wal <= 0.05 * first_wal)
        self.memory("PostgreSQL", max(memory for _, memory in loads), lambda: self.empty_server() or self.server)
        self.empty_server()
        self.other_views = times

    def views(self):
        return [line.split()[0] for line in subprocess.run([self.client, "fleet", "ask"], check=True, stdout=subprocess.PIPE)
                .stdout.decode().splitlines() if line.strip()]

    def view(self, name):
        """The median of three, in milliseconds, with the settings of `ask`: all rows and columns, but for handing them
        over."""
        def once():
            plan = self.sql("-c", "SET jit = off; SET work_mem = '32MB'", "-c", f"EXPLAIN (ANALYZE, TIMING OFF, SUMMARY) SELECT * FROM {name}")
            return sum(float(number) for number in re.findall(r"(?:Planning|Execution) Time: ([0-9.]+) ms", plan))
        return statistics.median(once() for _ in range(3))

    def some(self):
        return sorted(self.reports.iterdir())[:PAGES // 1000]

    def memory(self, engine, most, emptied):
        _, small = self.load(emptied(), *self.some())
        self.row(f"Peak memory of a load into {engine}, {min(PAGES, self.count):,} and {self.count:,} reports", "256 MB",
                 f"{small:.0f} and {most:.0f} MB", max(small, most) <= 256)

    def sqlite(self):
        loads, bares = [], []
        for turn in range(TURNS + 1):
            if turn > 0:
                source = (self.work / "fleet.db").rename(self.work / "source.db")
                target = self.empty_file("bare.db", with_tables=True)
                bares.append(self.timed(self.read_files,
                                        lambda: subprocess.run([self.bare_inserts, source, target], check=True)))
                self.empty_file("bare.db")
                self.empty_file("source.db")
            loads.append(self.load(self.empty_file("fleet.db")))
        first, bare = statistics.median(seconds for seconds, _ in loads), statistics.median(bares)
        self.row(f"First load into SQLite ({first:.1f} s), of reading the files and bare inserts ({bare:.1f} s)", "1.3",
                 f"{first / bare:.2f}", first <= 1.3 * bare)
        self.use("changed")
        self.read_files()
        again, _ = self.load(self.work / "fleet.db")
        self.use("first")
        self.row(f"Reload into SQLite, every file rewritten, 2 % of sections changed ({again:.1f} s), of the first load",
                 "33 %", f"{again / first:.1%}", again <= first / 3)
        self.empty_file("fleet.db")
        self.memory("SQLite", max(memory for _, memory in loads), lambda: self.empty_file("pages.db"))

    def pages(self):
        load, _ = self.load(self.empty_file("pages.db"), *self.some())
        pages = self.timed(lambda: subprocess.run(
            [self.client, "fleet", "page", "--from", self.work / "pages.db", "-o", self.work / "pages", "--quiet"], check=True))
        self.row(f"Pages of {min(PAGES, self.count):,} machines ({pages:.1f} s), of their load ({load:.1f} s)", "1",
                 f"{pages / load:.2f}", pages <= load)
        shutil.rmtree(self.work / "pages")
        self.empty_file("pages.db")

    def dump(self, database):
        """Every row of every table and view that an export has."""
        folder = self.work / f"dump-{threading.get_ident()}"
        subprocess.run([self.client, "fleet", "export", database, "-o", folder, "--quiet"], check=True)
        files = {path.name: path.read_bytes() for path in folder.glob("*.csv")}
        shutil.rmtree(folder)
        return files

    def kill(self, engine, empty, result):
        chance = random.Random(engine)
        seconds, _ = self.load(empty())
        undisturbed = self.dump(database := empty.database)
        same = struck = 0
        for _ in range(self.kills):
            empty()
            load = subprocess.Popen([self.client, "fleet", "load", self.reports, "--quiet", "--to", database])
            try:
                load.wait(chance.uniform(0, seconds))
            except subprocess.TimeoutExpired:
                load.kill()
                load.wait()
                struck += 1
            self.load(database)
            same += self.dump(database) == undisturbed
        result[engine] = same, struck

    def all_kills(self):
        shutil.rmtree(self.work / "first", ignore_errors=True)
        shutil.rmtree(self.work / "changed", ignore_errors=True)
        shutil.rmtree(self.reports)
        count = min(KILLED_REPORTS, self.count)
        subprocess.run([sys.executable, HERE / "make_reports.py", self.reports, str(count), "--hostile",
                        str(min(100, count))], check=True)

        def empty_server():
            self.sql("-c", "SET client_min_messages = warning; DROP SCHEMA public CASCADE; CREATE SCHEMA public")
            return self.server

        def empty_file():
            for part in self.work.glob("killed.db*"):
                part.unlink()
            return self.work / "killed.db"
        empty_server.database, empty_file.database = self.server, self.work / "killed.db"
        result = {}
        # Both at once, which makes the moments yet more random.
        threads = [threading.Thread(target=self.kill, args=(engine, empty, result))
                   for engine, empty in (("SQLite", empty_file), ("PostgreSQL", empty_server))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for engine in "SQLite", "PostgreSQL":
            same, struck = result.get(engine, (0, 0))
            self.row(f"A load of {count:,} reports killed at a random moment ({struck} struck) and repeated: the same rows, "
                     f"{engine}", f"{self.kills} of {self.kills}", f"{same} of {self.kills}", same == self.kills)


def main():
    client, bare_inserts, work = (pathlib.Path(argument).absolute() for argument in sys.argv[1:4])
    reports, kills = int(sys.argv[4]), int(sys.argv[5])
    free = shutil.disk_usage(work).free
    if free < reports * DISK_BYTES:
        sys.exit(f"{work} has {free / 1e9:.0f} GB left, and this takes {reports * DISK_BYTES / 1e9:.0f} GB")
    bench = Bench(client, bare_inserts, work, reports, kills)
    bench.make_reports()
    print(f"\n| {reports:,} reports | Aim, at most | Seen | Met |\n|---|--:|--:|---|")
    bench.postgresql()
    bench.sqlite()
    bench.pages()
    if kills:
        bench.all_kills()
    print("\nViews: " + ", ".join(f"`{view}` {milliseconds:.0f} ms" for view, milliseconds in bench.other_views.items()))
    return 1 if bench.missed else 0


if __name__ == "__main__":
    sys.exit(main())
