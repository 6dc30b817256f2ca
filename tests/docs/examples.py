#!/usr/bin/python3
"""Runs the examples of docs/orreryctl.md and compares what they print with what stands there.

examples.py [--update] ORRERYCTL PROJECT_FOLDER     77 where a program that they use is missing

An example is a line that begins with "$ " in a block of the language "console"; what it prints, errors
included, follows it. With --update the document gets what they print now.
"""
import difflib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

update = "--update" in sys.argv
orreryctl, root = (pathlib.Path(each).resolve() for each in sys.argv[-2:])
document = root / "docs/orreryctl.md"
# Later on the same PC: another release of its system, and a larger module in its second slot.
CHANGES = [("OperatingSystem\t0\tWindows10Version\t23H2", "OperatingSystem\t0\tWindows10Version\t24H2"),
           ("PhysicalMemory\t0\tCapacity\t32768", "PhysicalMemory\t0\tCapacity\t49152"),
           ("PhysicalMemoryLocation\t1\tCapacity\t16384", "PhysicalMemoryLocation\t1\tCapacity\t32768")]
WRITTEN = 1_707_116_889  # 2024-02-05, when each report was last written

if not all(map(shutil.which, ("bash", "jq", "iconv"))):
    sys.exit(77)


def make_reports(folder):
    """Writes the reports that the document names."""
    made = {name: (root / "tests/data/reports" / f"{source}.tsv").read_text()
            for name, source in {"front-desk": "front-desk", "workshop": "workstation",
                                 "server": "server", "monday": "front-desk"}.items()}
    made["friday"] = made["monday"]
    for before, after in CHANGES:
        if before not in made["friday"]:
            sys.exit(f"the front desk's report has no {before!r}")
        made["friday"] = made["friday"].replace(before, after)
    made["cut"] = made["monday"][:len(made["monday"]) // 2]
    (folder / "reports").mkdir()
    for name, text in made.items():
        files = [folder / f"{name}.tsv"]
        if name in ("front-desk", "workshop", "server"):
            files.append(folder / "reports" / f"{name}.tsv")
        for file in files:
            file.write_bytes(text.encode("utf-16-le"))
            os.utime(file, (WRITTEN, WRITTEN))


with tempfile.TemporaryDirectory() as name:
    work = pathlib.Path(name)
    (work / "bin").mkdir()
    (work / "bin/orreryctl").symlink_to(orreryctl)
    (work / "here").mkdir()
    make_reports(work / "here")
    environment = {"PATH": f"{work}/bin:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "TZ": "UTC",
                   "HOME": name}
    examples = 0

    def run(command):
        global examples
        examples += 1
        done = subprocess.run(["bash", "-c", command], cwd=work / "here", env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60)
        text = done.stdout.decode().replace("\r\n", "\n")  # CSV has other line ends
        return f"$ {command}\n{text}" + ("" if text.endswith("\n") or not text else "\n")

    def run_block(block):
        commands = re.findall(r"^\$ (.*)$", block[1], flags=re.M)
        return "```console\n" + "".join(map(run, commands)) + "```\n"

    text = document.read_text()
    ran = re.sub(r"^```console\n(.*?)^```\n", run_block, text, flags=re.M | re.S)

if examples == 0:
    sys.exit("the document has no examples")
if update:
    document.write_text(ran)
elif ran != text:
    sys.exit("\n".join(difflib.unified_diff(text.splitlines(), ran.splitlines(), "as it stands",
                                            "as it runs", lineterm="")))
