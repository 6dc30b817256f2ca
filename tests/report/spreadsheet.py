#!/usr/bin/python3
"""Checks what LibreOffice makes of "orreryctl convert --to csv --spreadsheet".

spreadsheet.py ORRERYCTL REPORT ...   reports as UTF-8; 77 without soffice

Every cell has to be the report's text, with an apostrophe before what would be taken for something else;
only numbers of the report are numbers, and nothing is computed. It is tried in two languages, with
LibreOffice told to look for dates and the like everywhere.
"""
import csv
import pathlib
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as Tree

if not shutil.which("soffice"):
    sys.exit(77)

# Texts that a spreadsheet takes for something else; one instance each.
TEXTS = ["=1+1", "=HYPERLINK(\"http://example.org\")", "+49 30 1", "-1", "@SUM(1)", " =2", "\uff1d1+1",
         "000123", "1E10", "5e3", "1.20", "1,5", "(7)", "50%", "$5", "5 \u20ac", "\uff12\uff13",
         "03/04/19", "1/2", "SEP-9", "MAR10", "5. Mai 2020", "5 m\u00e4r", "10.1.2022", "12:30",
         "3:07 pm", "2024-02-05T07:08:09Z", "192.168.1.10", "10.0.22631", "true", "FALSE",
         "9223372036854775807", "a, \"b\"", "Gr\u00f6\u00dfe \u65e5\u672c", "'x", "TI-84 Plus",
         "Marvell 88E8057", "Generic 2"]
NUMBER = "476937"
NOT_GUARDED = 6  # the last of the texts, which are texts without further ado

URN = "{urn:oasis:names:tc:opendocument:xmlns:%s:1.0}"


def cells(folder, language):
    # Comma, quote, UTF-8, from the first row on; quoted fields are no texts for that, dates are looked for.
    subprocess.run(["soffice", f"-env:UserInstallation={(folder / 'profile').as_uri()}", "--headless",
                    f"--infilter=CSV:44,34,76,1,,{language},false,true", "--convert-to", "fods",
                    "--outdir", str(folder), str(folder / "all.csv")],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=120)
    for row in Tree.parse(folder / "all.fods").iter(URN % "table" + "table-row"):
        found = []
        for cell in row.findall(URN % "table" + "table-cell"):
            text = "\n".join("".join(each.itertext()) for each in cell.findall(URN % "text" + "p"))
            each = (cell.get(URN % "office" + "value-type"), text,
                    cell.get(URN % "table" + "formula"))
            found += [each] * int(cell.get(URN % "table" + "number-columns-repeated", "1"))
        yield found[:6]


def squeezed(text):
    """Without blanks, which the document spells as elements, and what XML cannot hold."""
    return "".join(each for each in text if each > " ")


def main(program, *reports):
    failures = []
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        made = f"ComputerSystem\t0\tName\t=1+1\nDiskDrive\t0\tSize\t{NUMBER}\n" + "".join(
            f"NetworkAdapter\t{index}\tSSID\t{text}\n" for index, text in enumerate(TEXTS))
        paths = []
        for number, report in enumerate([made, *(pathlib.Path(path).read_bytes().decode("utf-8")
                                                 for path in reports)]):
            paths.append(folder / f"{number}.tsv")
            paths[-1].write_bytes(report.encode("utf-16-le"))
        convert = [program, "convert", *map(str, paths), "--to", "csv"]
        subprocess.run([*convert, "--spreadsheet", "-o", str(folder / "all.csv")],
                       check=True, stderr=subprocess.DEVNULL)
        plain = subprocess.run(convert, check=True, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL).stdout.decode("utf-8")
        expected = list(csv.reader(plain.splitlines(keepends=True)))
        for language in (1033, 1031):
            told = list(cells(folder, language))[:len(expected)]
            if len(told) != len(expected):
                failures.append(f"{len(told)} of {len(expected)} rows")
            for row, (wanted, got) in enumerate(zip(expected, told)):
                for want, (kind, text, formula) in zip(wanted, got):
                    if formula or kind not in ("string", "float", None):
                        failures.append(f"{language}: {want!r} became a {kind} of {formula}")
                    elif squeezed(text) not in (squeezed(want), "'" + squeezed(want)):
                        failures.append(f"{language}: {want!r} became {text!r}")
                if row > 0 and got[4][0] == "float" and not wanted[4].isdigit():
                    failures.append(f"{language}: the number of {wanted[4]!r}")
            values = [row[4] for row in told if len(row) > 4][2:2 + 1 + len(TEXTS)]
            if values[0][:2] != ("float", NUMBER):
                failures.append(f"{language}: {NUMBER} is {values[0]}")
            for at, (text, (kind, got, _)) in enumerate(zip(TEXTS, values[1:])):
                want = text if at >= len(TEXTS) - NOT_GUARDED else "'" + text
                if (kind, got) != ("string", want):
                    failures.append(f"{language}: {text!r} is the {kind} {got!r}")
    print("\n".join(dict.fromkeys(failures)) or f"{2 * len(expected)} rows are as they should be")
    return 1 if failures else 0


sys.exit(main(*sys.argv[1:]))
