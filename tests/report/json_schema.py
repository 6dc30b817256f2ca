#!/usr/bin/python3
"""Checks that the JSON of "orreryctl" is what the schemas in docs/ describe, and that they describe no more.

json_schema.py ORRERYCTL REPORT_TESTS DOCS REPORT ...   the folder of the schemas, and the reports as
                                                        UTF-8; 77 without python3-jsonschema
"""
import json
import pathlib
import re
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
    "unfit": "BIOS\t0\tInstallDate\tsoon\nBIOS\t0\tSerialNumber\tNone\nDiskDrive\t0\tSize\t-1\n"
             "NetworkAdapter\t0\tDHCPEnabled\tmaybe\nNetworkAdapter\t0\tDHCPLeaseExpires\tlater\n"
             "NetworkAdapter\t0\tSpeed\t9223372036854775807\n\t3\t\t\n\t3\tName\t7\n",
}

SIDECAR = {
    "format": "orrery-sidecar", "formatVersion": 1, "collected": "2026-11-23T04:31:00Z",
    "client": "1.2.3", "library": "1.2.3.4", "rights": "LocalSystem", "completeness": "whole",
    "computerName": "FRONT-DESK", "uuid": "00112233-4455-6677-8899-AABBCCDDEEFF",
    "machineGuidSha256": "0f" * 32}
# What could not be found out is empty.
SIDECARS = [SIDECAR, dict(SIDECAR, library="", rights="", uuid="", machineGuidSha256="",
                          completeness="lacks categories")]

NAMES = ["ET.BIOS", "BIOS.*.InstallDate", "DiskDrive.*.Size", "NetworkAdapter.*.DHCPEnabled", "X.Y"]


def properties(document, section):
    return document["sections"][section][0]["properties"]


# Each damages a right document in one place.
DAMAGES = {"report": [
    lambda d: d.pop("format"),
    lambda d: d.update(formatVersion=1),
    lambda d: d.update(clientVersion=""),
    lambda d: d.update(fileTime="02/05/24"),
    lambda d: d.update(machine=""),
    lambda d: d.update(more=1),
    lambda d: d["sections"].update(BIOS={}),
    lambda d: d["sections"].update(BIOS=[]),
    lambda d: d["sections"].update(Unheard=[]),
    lambda d: d["sections"]["BIOS"][0].pop("index"),
    lambda d: d["sections"]["BIOS"][0].update(index=-1),
    lambda d: d["sections"]["BIOS"][0].update(marks={"Version": "odd"}),
    lambda d: properties(d, "BIOS").update(Version=1),
    lambda d: properties(d, "BIOS").update(Version=""),
    lambda d: properties(d, "DiskDrive").update(Size=-1),
    lambda d: properties(d, "DiskDrive").update(Size=1.5),
    lambda d: properties(d, "NetworkAdapter").update(DHCPEnabled=1),
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
], "diff": [
    lambda d: d.update(same="no"),
    lambda d: d["completeness"].pop("old"),
    lambda d: d["completeness"]["new"].update(state="whole", missing=1),
    lambda d: d["sections"][0].update(change="added"),
    lambda d: d["sections"][0].update(change="onlyInOld", instances=[{}]),
    lambda d: d["sections"][0].update(change="changed", instances=[]),
    lambda d: d["sections"][0].update(change="changed", instances=[
        {"change": "added", "label": "", "oldIndex": 1, "newIndex": 1, "properties": {}}]),
    lambda d: d["sections"][0].update(change="changed", instances=[
        {"change": "removed", "label": "", "oldIndex": 1, "properties": {"Size": {}}}]),
], "values": [
    lambda d: d.update(report=None),
    lambda d: d["missing"].append(""),
    lambda d: d["values"][0].update(value=1.5),
    lambda d: d["values"][0].update(mark=""),
    lambda d: d["values"][0].pop("section"),
], "check": [
    lambda d: d.update(reports=[]),
    lambda d: d["reports"][0].pop("completeness"),
    lambda d: d["reports"][0].update(error="none"),
], "sidecar": [
    lambda d: d.pop("collected"),
    lambda d: d.update(collected="2026-11-23"),
    lambda d: d.update(rights="root"),
    lambda d: d.update(completeness="cut"),
    lambda d: d.update(uuid=d["uuid"].lower()),
    lambda d: d.update(machineGuidSha256="0f" * 16),
    lambda d: d.update(more=""),
], "doctor": [
    lambda d: d.update(rights="root"),
    lambda d: d.update(wmiService="on"),
    lambda d: d["namespaces"][1].pop("error"),
    lambda d: d["namespaces"][0].update(error=5),
    lambda d: d["classes"][0].update(by="guess"),
    lambda d: d["classes"][0].pop("withoutValue"),
    lambda d: d["wlan"].update(connection={}),
    lambda d: d["scsi"]["ports"].append({"result": "failed"}),
    lambda d: d["troubles"][0].update(kind="fatal"),
    lambda d: d["troubles"][0]["keys"].append({"key": "BIOS.Mode"}),
]}


class Outputs:
    """What the programs write of each report, or pair of reports."""

    def __init__(self, program, tests, folder, reports):
        self.program, self.tests, self.folder = program, tests, pathlib.Path(folder)
        self.paths = []
        for number, report in enumerate(reports):
            path = self.folder / f"{number}.tsv"
            path.write_bytes(report.encode("utf-16-le"))
            self.paths.append(str(path))

    def run(self, *arguments):
        ended = subprocess.run([self.program, *arguments], stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL)
        if ended.returncode not in (0, 1) and arguments[0] not in ("get", "check"):
            raise SystemExit(f"{arguments} ends with {ended.returncode}")
        return ended.stdout.decode("utf-8")

    def redacted(self, sidecar):
        """What a redacted report's sidecar becomes, which the client writes as it writes all of them."""
        self.folder.joinpath("0.json").write_text(json.dumps(sidecar))
        self.run("redact", self.paths[0], str(self.folder / "out.tsv"))
        document = json.loads((self.folder / "out.json").read_text(encoding="utf-8"))
        secrets = ("computerName", "uuid", "machineGuidSha256")
        for name, value in sidecar.items():
            told = document[name]
            if name in secrets and value != "":
                if not re.fullmatch("(host|uuid|installation)-1", told):
                    raise SystemExit(f"{name} of a redacted sidecar is {told}")
            elif told != value:
                raise SystemExit(f"{name} of a redacted sidecar has become {told}")
        (self.folder / "0.json").unlink()
        self.run("redact", self.paths[0], str(self.folder / "out.tsv"))
        if (self.folder / "out.json").exists():
            raise SystemExit("a redacted report without a sidecar has kept that of an earlier one")
        return document

    def all_of(self, kind):
        if kind == "report":
            whole = [json.loads(self.run("convert", path, "--to", "json")) for path in self.paths]
            lines = self.run("convert", *self.paths, "--to", "jsonl").splitlines()
            if [json.loads(line) for line in lines] != whole:
                raise SystemExit("JSON Lines are not the JSON of each report")
            return whole + [json.loads(self.run("convert", path, "--to", "json", "--redact"))
                            for path in self.paths]
        if kind == "summary":
            return [json.loads(self.run("summary", path, "--to", "json")) for path in self.paths]
        if kind == "diff":
            return [json.loads(self.run("diff", self.paths[at - 1], path, "--all", "--to", "json"))
                    for at, path in enumerate(self.paths)]
        if kind == "values":
            return [json.loads(self.run("get", path, *NAMES, "--to", "json"))
                    for path in self.paths]
        if kind == "check":
            return [json.loads(self.run("check", *self.paths, str(self.folder), "--to", "json"))]
        if kind == "sidecar":
            return SIDECARS + [self.redacted(sidecar) for sidecar in SIDECARS]
        # The diagnosis of a machine takes Windows; its tests make some.
        told = self.folder / "tests.json"
        subprocess.run([self.tests, "--gtest_filter=Diagnosis.*", f"--gtest_output=json:{told}"],
                       check=True, stdout=subprocess.DEVNULL)
        kept = {name: text for suite in json.loads(told.read_text())["testsuites"]
                for test in suite["testsuite"] for name, text in test.items()
                if name.startswith("diagnosis")}
        return [json.loads(kept[name]) for name in sorted(kept)]


def facts_left(document):
    return sum(len(instance["properties"]) for section in document["sections"].values()
               for instance in section) + len(document["elapsedTimes"])


FORMS = {"date": r"\d{4}-\d\d-\d\d", "time": r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ",
         "text": r"(?s:.*)", "word": r"(?s:.*)"}


def unmarked_texts(document, schema):
    """Texts in place of numbers, truth values and dates that no mark tells of."""
    for section, instances in document["sections"].items():
        named = schema["properties"]["sections"]["properties"].get(section)
        for instance in instances if named else []:
            terms = named["items"]["properties"]["properties"]["properties"]
            for name, value in instance["properties"].items():
                kind = terms.get(name, {}).get("$ref", "").rpartition("/")[2]
                if kind and isinstance(value, str) \
                        and not re.fullmatch(FORMS.get(kind, "(?!)"), value) \
                        and instance.get("marks", {}).get(name) != "unfit":
                    yield f"{section}.{name}"


def main(program, tests, docs, *report_paths):
    # The first one is damaged, too: a real one, before and after which stand others.
    reports = [pathlib.Path(path).read_bytes().decode("utf-8") for path in report_paths]
    failures, checked = [], 0
    for kind, damages in DAMAGES.items():
        schema = json.loads(pathlib.Path(docs, kind + ".schema.json").read_text(encoding="utf-8"))
        Draft202012Validator.check_schema(schema)
        validator = Draft202012Validator(schema)
        with tempfile.TemporaryDirectory() as folder:
            documents = Outputs(program, tests, folder, reports + list(MADE.values())).all_of(kind)
        checked += len(documents)
        for number, document in enumerate(documents):
            failures += [f"{kind} {number}: {error.message[:300]} at {list(error.path)}"
                         for error in validator.iter_errors(document)]
            if kind == "report":
                failures += unmarked_texts(document, schema)
                if number < len(reports) and facts_left(document) != reports[number].count("\n"):
                    failures.append(f"{report_paths[number]}: not all facts are left")
        for number, damage in enumerate(damages):
            damaged = json.loads(json.dumps(documents[0]))
            damage(damaged)
            if validator.is_valid(damaged):
                failures.append(f"the schema of the {kind} allows damage {number}")
    print("\n".join(failures) or f"{checked} documents follow the schemas")
    return 1 if failures else 0


sys.exit(main(*sys.argv[1:]))
