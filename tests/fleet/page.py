#!/usr/bin/env python3
"""Opens the pages of "orreryctl fleet page" in a headless Chromium: 10,000 PCs are listed, sorted and searched
within a second, every number leads to its PCs and each PC to its page, by keyboard as well, nothing is fetched
or run, and the accessibility checker is content in both colour schemes.

page.py ORRERYCTL MAKE_REPORTS AXE   77 without a Chromium or axe.min.js
"""
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

BROWSER = next(filter(None, map(shutil.which, ("chromium", "chromium-browser", "google-chrome"))), None)
MACHINES = 10000
# What the start page counts, by its link.
COUNTS = {
    "#windows11=no": "windows11 WHERE verdict = 'no'", "#windows11=off": "windows11 WHERE verdict = 'off'",
    "#tpm=no": "windows11 WHERE tpm = 'no'", "#secure_boot=off": "windows11 WHERE secure_boot = 'off'",
    "#bitlocker=off": "bitlocker_off WHERE status = 'off'", "#disk=low": "disk_low", "#slots=free": "memory_slots_free",
    "#changed": "changed_since WHERE day >= date('now', '-7 days')", "#placeholder": "placeholder_serials",
    "#conflict": "conflicts", "#memory=8": "pc WHERE memory_mib >= 8192 AND memory_mib < 16384",
    "#seen=longer": "stale", "#system=%3Ch1%3E%20%22": "pc WHERE system = '<h1> \"'"}
HOSTILE = ["<img src=x onerror=\"alert(1)\">", "</script><script>alert(1)</script>", "<!--<script>", "&lt;b&gt; '\""]


class Browser:
    """A Chromium that does as it is told through two pipes."""

    def __init__(self, profile):
        orders, self.orders = os.pipe()
        self.answers, answers = os.pipe()
        # The browser reads from 3 and writes to 4.
        self.process = subprocess.Popen(
            ["bash", "-c", f'exec "$@" 3<&{orders} 4>&{answers}', "_", BROWSER, "--headless", "--no-sandbox", "--disable-gpu",
             "--disable-quic", "--no-first-run", "--disable-background-networking", "--disable-component-update",
             "--disable-sync", f"--user-data-dir={profile}", "--remote-debugging-pipe", "about:blank"],
            pass_fds=(orders, answers), stderr=subprocess.DEVNULL)
        os.close(orders)
        os.close(answers)
        self.rest, self.number, self.session, self.events, self.seen = b"", 0, None, [], 0
        target = self.tell("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.tell("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self.tell("Emulation.setDeviceMetricsOverride", width=1400, height=1000, deviceScaleFactor=1, mobile=False)
        for domain in "Page", "Runtime", "Log", "Network":
            self.tell(f"{domain}.enable")

    def read(self):
        while b"\0" not in self.rest:
            more = os.read(self.answers, 1 << 20)
            if not more:
                raise EOFError("the browser ended")
            self.rest += more
        message, self.rest = self.rest.split(b"\0", 1)
        return json.loads(message)

    def tell(self, method, **parameters):
        self.number += 1
        order = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            order["sessionId"] = self.session
        os.write(self.orders, json.dumps(order).encode() + b"\0")
        while True:
            message = self.read()
            if message.get("id") == self.number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]
            self.events.append(message)

    def open(self, address):
        if "#" in address:
            self.tell("Page.navigate", url="about:blank")
            self.wait("Page.loadEventFired")
        self.tell("Page.navigate", url=address)
        self.wait("Page.loadEventFired")

    def wait(self, method):
        while not any(event["method"] == method for event in self.events[self.seen:]):
            self.events.append(self.read())
        self.seen = len(self.events)

    def run(self, script):
        result = self.tell("Runtime.evaluate", expression=script, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(result["exceptionDetails"])
        return result["result"].get("value")

    def press(self, key, **more):
        for kind in "keyDown", "keyUp":
            self.tell("Input.dispatchKeyEvent", type=kind, key=key, **more)

    def complaints(self):
        """What its console says, what a page runs into, asks for or fetches beyond itself."""
        for event in self.events:
            if event["method"] in ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded",
                                   "Page.javascriptDialogOpening"):
                yield str(event["params"])[:300]
            elif event["method"] == "Network.requestWillBeSent" and event["params"]["type"] != "Document":
                yield "fetches " + event["params"]["request"]["url"]

    def close(self):
        self.session = None
        try:
            self.tell("Browser.close")
        except EOFError:
            pass
        self.process.wait()


def make_fleet(orreryctl, make_reports, work):
    """A fleet of some made machines, each many times over, with fewer facts."""
    subprocess.run([make_reports, work / "reports", "50", "--hostile", "5"], check=True)
    for more in ([], ["--changed", "0.2"]):
        subprocess.run([make_reports, work / "reports", "50", "--hostile", "5", *more], check=True)
        for number, file in enumerate((work / "reports").rglob("*.tsv")):
            if number % 5 == 0 and not more:
                os.utime(file, (1_700_000_000, 1_700_000_000))
            elif number % 5 == 0:
                file.unlink()
        subprocess.run([orreryctl, "fleet", "load", work / "reports", "--quiet", "--to", work / "fleet.db"], check=True)
    base = sqlite3.connect(work / "fleet.db")
    base.execute("PRAGMA synchronous = OFF")
    for (table,) in base.execute("SELECT name FROM sqlite_master WHERE type = 'table'").fetchall():
        columns = [row[1] for row in base.execute(f"PRAGMA table_info({table})")]
        if "machine" in columns and table not in ("report_file", "machine_key", "collected_section", "usb_device",
                                                  "system_slot"):
            chosen = ", ".join(f'"{column}"' for column in columns)
            others = chosen.replace('"machine"', '"machine" + 50 * n')
            base.execute(f"WITH RECURSIVE more(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM more WHERE n < {MACHINES // 50 - 1}) "
                         f"INSERT INTO {table} ({chosen}) SELECT {others} FROM {table}, more")
    base.execute("UPDATE machine SET name = printf('PC-%06d', machine) WHERE machine > 50")
    for number, value in enumerate(HOSTILE):
        base.execute("UPDATE machine SET name = ?, maker = ? WHERE machine = ?", (value, value, 50 + number))
    base.execute("UPDATE operating_system SET caption = '<h1> \"' WHERE machine BETWEEN 50 AND 53")
    base.execute("INSERT INTO machine_conflict VALUES (7, 8, 'serial')")
    base.execute("INSERT INTO machine_placeholder VALUES (9, 'BIOS.AssetTag', 'None') ON CONFLICT DO NOTHING")
    base.commit()
    return base


def check_start(browser, folder, base, fail):
    browser.open(f"file://{folder}/index.html")
    ready = browser.run("document.querySelector('#list tbody').offsetHeight; performance.now()")
    timed = """(() => { const start = performance.now(); %s; document.querySelector('#list tbody').offsetHeight;
                        return performance.now() - start; })()"""
    search = "search.value = %s; search.dispatchEvent(new Event('input'))"
    steps = {"open": ready, "search": browser.run(timed % (search % "'19045 pc-0077'"))}
    found = browser.run("[count.textContent, document.querySelectorAll('#list tbody tr').length]")
    expected = base.execute("SELECT COUNT(*) FROM pc WHERE version LIKE '%19045%' AND name LIKE 'PC-0077%'").fetchone()[0]
    if found != [f"{expected} PCs", expected]:
        fail(f"searching finds {found}, not {expected} PCs")
    browser.run(search % "''")
    for column in "model", "seen", "memory", "name":
        steps[f"sort by {column}"] = browser.run(timed % f"document.querySelector('[data-column={column}] button').click()")
    print("milliseconds: " + ", ".join(f"{what} {time:.0f}" for what, time in steps.items()))
    for what, time in steps.items():
        if time > 1000:
            fail(f"to {what} takes {time:.0f} ms")

    # Every number leads to its PCs.
    links = browser.run("[...document.querySelectorAll('.row a')].map((link) => [link.hash, link.textContent])")
    for link, number in links:
        browser.run(f"location.hash = {json.dumps(link)}; new Promise((done) => setTimeout(done))")
        shown = browser.run("count.textContent")
        if not re.match(rf"{number} PCs?: [A-Z]\w.*, ", shown):
            fail(f"{link} is {number} PCs, and leads to {shown!r}")
    links = dict(links)
    for link, rows in COUNTS.items():
        expected = base.execute(f"SELECT COUNT(DISTINCT machine) FROM {rows}").fetchone()[0]
        if expected == 0 or links.get(link) != str(expected):
            fail(f"{link} is {links.get(link)} PCs, not {expected}")

    # Each PC to its page, whatever it is called.
    browser.run("location.hash = '#system=%3Ch1%3E%20%22'; new Promise((done) => setTimeout(done))")
    rows = browser.run("[...document.querySelectorAll('#list tbody tr')].map((row) => [row.cells[0].textContent, "
                       "row.querySelector('a').getAttribute('href')])")
    if sorted(rows) != sorted([value, f"pc/{50 + number}.html"] for number, value in enumerate(HOSTILE)):
        fail(f"the PCs with markup in their names are listed as {rows}")
    targets = browser.run("[...document.querySelectorAll('.slow a')].map((link) => link.getAttribute('href'))")
    for target in {target for _, target in rows} | set(targets):
        if not (folder / target).is_file():
            fail(f"there is no {target}")

    # By keyboard: type, go on to a heading, turn the order, and open a PC.
    browser.run("location.hash = '#all'; new Promise((done) => setTimeout(done)).then(() => search.focus())")
    browser.tell("Input.insertText", text="pc-00123")

    def go_to(text):
        reached = []
        while browser.run("document.activeElement.textContent") != text:
            if len(reached) > 30:
                fail(f"by keyboard {text} is out of reach; there are {reached}")
                return
            browser.press("Tab", windowsVirtualKeyCode=9)
            reached.append(browser.run("document.activeElement.textContent.slice(0, 30)"))
        browser.press("Enter", windowsVirtualKeyCode=13, text="\r")

    go_to("Name")
    order = browser.run("[document.querySelector('#list th').ariaSort, count.textContent, "
                        "document.querySelector('#list tbody a').textContent]")
    if order != ["descending", "10 PCs", "PC-001239"]:
        fail(f"by keyboard the list is {order}")
    go_to("PC-001239")
    browser.wait("Page.loadEventFired")
    if not browser.run("location.pathname").endswith("/pc/1239.html"):
        fail(f"by keyboard PC-001239 leads to {browser.run('location.href')}")


def check_accessibility(browser, address, axe, fail):
    for scheme in "light", "dark":
        browser.tell("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        browser.open(address)
        browser.run(axe)
        # Every fact open; in columns axe-core takes elements for overlapped by others.
        result = browser.run("""
            document.querySelectorAll('details').forEach((part) => { part.open = true; });
            document.querySelectorAll('.flow').forEach((part) => { part.style.columns = 'auto'; });
            axe.run().then(({ violations, incomplete, passes }) => ({
                found: [...violations, ...incomplete].flatMap(({ id, nodes }) => nodes.map(({ html }) => id + ': ' + html.slice(0, 200))),
                passed: passes.map(({ id }) => id) }))""")
        for found in result["found"][:5]:
            fail(f"{address}, {scheme}: {found}")
        if "color-contrast" not in result["passed"]:
            fail(f"{address} was not looked at")


def main():
    orreryctl, make_reports, axe = sys.argv[1:]
    if BROWSER is None or not pathlib.Path(axe).is_file():
        return 77
    faults = []

    def fail(what):
        faults.append(what)
        print("FAILED:", what)

    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        folder = work / "pages"
        base = make_fleet(orreryctl, make_reports, work)
        subprocess.run([orreryctl, "fleet", "page", "--from", work / "fleet.db", "-o", folder, "--quiet"], check=True)
        browser = Browser(work / "profile")
        try:
            check_start(browser, folder, base, fail)
            text = pathlib.Path(axe).read_text()
            for page in "index.html", "index.html#system=%3Ch1%3E%20%22", "pc/1.html":
                check_accessibility(browser, f"file://{folder}/{page}", text, fail)
            for complaint in browser.complaints():
                fail(complaint)
            # A page that does run something, or fetch it, is stopped and heard.
            index = (folder / "index.html").read_text()
            policy = re.search(r'Content-Security-Policy" content="([^"]*)"', index)[1]
            if not re.fullmatch(r"default-src 'none'; style-src 'unsafe-inline'; script-src 'nonce-\d+'; base-uri 'none'; "
                                "form-action 'none'", policy):
                fail(f"the policy is {policy}")
            bad = "<script>document.title = 'run'</script><img src='data:image/png;base64,x' onerror=\"document.title = 'run'\">"
            (folder / "bad.html").write_text(index.replace("<main>", "<main>" + bad))
            browser.events.clear()
            browser.seen = 0
            browser.open(f"file://{folder}/bad.html")
            if len(list(browser.complaints())) < 2 or browser.run("document.title") == "run":
                fail("what is run on purpose is not stopped, or not heard")
        finally:
            browser.close()
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
