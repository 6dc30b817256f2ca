"""Writes a report to the user's own folder of local data and prints the name of Windows from it as UTF-8.

Nobody else can plant a file there first. For Python 3.8 or later; the orrery.dll of its width lies beside this script.
"""
import ctypes
import os
import pathlib
import sys

library = ctypes.WinDLL(str(pathlib.Path(__file__).resolve().with_name("orrery.dll")))
library.GetInventory.argtypes = [ctypes.c_wchar_p]
library.GetInventory.restype = ctypes.c_int32

report = pathlib.Path(os.environ["LOCALAPPDATA"]) / "inventory.tsv"
report.unlink(missing_ok=True)  # so that an old report cannot pass for the new one
if library.GetInventory(str(report)) != 1:
    sys.exit("The run was cancelled.")
if not report.exists():
    sys.exit("No report was written.")

sys.stdout.reconfigure(encoding="utf-8")  # a pipe or file may be in a code page without these letters
# UTF-16 without a byte-order mark: its byte order has to be named.
for line in report.read_text(encoding="utf-16-le", errors="replace").split("\n"):
    section, _, rest = line.partition("\t")
    index, _, rest = rest.partition("\t")
    name, _, value = rest.partition("\t")
    if (section, index, name) == ("OperatingSystem", "0", "Caption"):
        print(value)
        break
else:
    sys.exit("The report does not name Windows.")
