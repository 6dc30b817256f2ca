#!/usr/bin/env python3
"""Parses the sources of a Windows build as Microsoft's compiler would with /W4 /permissive-, or has
clang's static analyzer walk through the library and the client in that form.

    parse.py TARGET BUILD LLVM [--analyze]      such as parse.py x86_64 build/release /usr/lib/llvm-19

It is clang that reads them, with LLVM's C++ library and the Windows headers of mingw-w64, since
Microsoft's own are not to be had outside of Windows. Prints what it says; fails if it says anything."""
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FORM = f"""--driver-mode=cl -fmsc-version=1940 /W4 /permissive- /utf-8 /EHsc /MT -ferror-limit=0
-nobuiltininc -Xclang -fgnuc-version=4.2.1 -D_UCRT -D_CRT_SECURE_NO_WARNINGS -D_LIBCPP_NO_VCRUNTIME
-D_LIBCPP_HAS_THREAD_API_WIN32 -U_LIBCPP_HAS_THREAD_API_PTHREAD
/FI{ROOT}/scripts/microsoft/missing_runtime.h""".split()

# Clang takes /W4 for -Wall -Wextra. What Microsoft's compiler says there besides:
W4 = """-Wimplicit-int-conversion -Wshorten-64-to-32 -Wimplicit-float-conversion -Wconstant-conversion
-Wshadow-all -Wunreachable-code -Wconditional-uninitialized -Wpedantic -Wmicrosoft""".split()
# It says this of its own headers, too, where they are given what they have to narrow.
NARROWING = re.compile(r"loses integer precision: '(const )?(wchar_t|char16_t|char32_t)'")

# Beside the analyzer's usual checks. Those of Unix, Apple's systems and of padding tell nothing here.
ANALYZE = """--analyze -Xclang -analyzer-output=text
-Xclang -analyzer-checker=optin.core,optin.cplusplus,optin.portability,nullability,security""".split()

# What is left out, and why. Options of the cross build beside folders and definitions are none of
# Microsoft's; sources of other systems (*_posix.cpp, fuzz/) are in no Windows build. Of findings:
LEFT_OUT = {
    r"x86_64-w64-mingw32/include/shobjidl\.h.*__uuidof on a type with no GUID":
        "mingw-w64's header itself lacks identifiers; Microsoft's has them",
    r"(?s)shadow-uncaptured-local.*\b(\w+) = std::move\(\1\)":
        "a capture that keeps its name is no hidden declaration to Microsoft's compiler",
}
# No option of clang's tells of: constants of the wrong sign (C4245; -Wsign-conversion tells of every
# value), alignment by padding (C4324), and assignments as conditions in parentheses (C4706).


def commands(build, analyze):
    folders = [ROOT / "src", ROOT / "client"] if analyze else [ROOT]
    for entry in json.loads((build / "compile_commands.json").read_text()):
        file = pathlib.Path(entry["file"])
        if (file.suffix in (".c", ".cpp") and any(map(file.is_relative_to, folders))
                and not file.is_relative_to(build)):
            words = iter(shlex.split(entry["command"]))
            kept = []
            for word in words:
                if word == "-isystem":
                    kept += ["-imsvc", next(words)]
                elif word.startswith(("-I", "-D")):
                    kept.append(word)
            yield file, kept


def diagnostics(text):
    """Each with the lines that belong to it."""
    found = []
    for line in text.splitlines():
        if re.match(r"\S.*\(\d+(,\d+)?\): +(warning|(fatal )?error):|clang.*: (warning|error):", line):
            found.append([])
        if found:
            found[-1].append(line)
    return found


def counts(lines, own):
    if any(re.search(each, "\n".join(lines)) for each in LEFT_OUT):
        return False
    if "error:" in lines[0] or own(lines[0]):
        return True
    return NARROWING.search(lines[0]) is not None and any(map(own, lines[1:]))


def parse(file, options, target, build, llvm, analyze):
    version = llvm.rsplit("-", 1)[1]
    headers = [f"{llvm}/include/c++/v1", f"{llvm}/lib/clang/{version}/include",
               "/usr/x86_64-w64-mingw32/include"]
    command = [f"{llvm}/bin/clang", f"--target={target}-pc-windows-msvc", *FORM]
    command += ["/TP", "/std:c++20"] if file.suffix == ".cpp" else ["/TC", "/std:c11"]
    command += ANALYZE if analyze else ["/Zs", *W4, "-Wsystem-headers"]
    command += options
    command += [word for header in headers for word in ("-imsvc", header)] + [str(file)]
    result = subprocess.run(command, cwd=ROOT, capture_output=True, text=True, errors="replace")

    def own(line):
        return line.startswith(f"{ROOT}{os.sep}") and not line.startswith(f"{build}{os.sep}")

    said = diagnostics(result.stdout + result.stderr)
    if result.returncode != 0 and not said:
        return [f"{file}: {result.stderr[-2000:]}"]
    return ["\n".join(lines) for lines in said if counts(lines, own)]


def main():
    target, build, llvm = sys.argv[1], pathlib.Path(sys.argv[2]).resolve(), sys.argv[3]
    analyze = "--analyze" in sys.argv
    jobs = sorted(commands(build, analyze))
    told = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for said in pool.map(lambda job: parse(*job, target, build, llvm, analyze), jobs):
            told.update((each.splitlines()[0], each) for each in said)
    if told:
        print(*told.values(), sep="\n")
    print(f"{target}: {len(jobs)} files, {len(told)} findings")
    return 1 if told or not jobs else 0


if __name__ == "__main__":
    sys.exit(main())
