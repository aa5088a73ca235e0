#!/usr/bin/env python3
"""The rules of the house that a machine can hold: file size, forbidden includes and flags, state without an owner, tests
on the number of a data type, kept oddities with their tests and rows, message texts in one place, formatting.
With --self-test it tests those rules on lines that must be refused and on lines that must pass."""

import re
import shutil
import subprocess
import sys
from pathlib import Path

import mutable_state
from mutable_state import mutable_variables

root = Path(__file__).resolve().parent.parent
longest_file = 800
long_literal = 25

# Core code writes through the streams of the job only; these files are the ends of those streams.
stream_ends = {"src/job/tarn.cpp", "src/job/streams/streams.cpp"}
table = "src/data/catalogue/datatype_table.cpp"
# The error handler that LAPACK calls has no argument for the caller's own record.
allowed_state = {"src/numerics/linear_algebra.cpp": "objected_to"}

forbidden_flags = re.compile(r"-ffast-math|-fno-trapping-math|-march=|-mtune=|-Ofast|-funsafe-math")
# A wider path is chosen while running, in a function of its own.
machine_path = re.compile(r"(?<![\w.$}/~])/(?:home|work|root|Users)/\w")
origin_words = re.compile(r"\bPart \d+\.\d|\bthe spec\b|\bspecification says\b|\brulings?\b", re.I)
# What follows from a data type stands in its row; `is_datatype` alone looks at the number.
catalogue = "src/data/catalogue/"
comparison = r"(?:==|!=|<=>?|>=|(?<![<>])[<>](?![<>=]))"
number_test = re.compile(
    rf"\bdattyp\b\s*{comparison}|{comparison}\s*(?:[\w()]+(?:\.|::)\s*)*dattyp\b"
    r"|\bswitch\s*\([^)]*\bdattyp\b|\bdatatype\([^)]*\)\.number\s*[=!<>]")
literal = re.compile(r'"((?:[^"\\\n]|\\.)*)"')


def text_files():
    listed = subprocess.run(["git", "-C", root, "ls-files"], capture_output=True, text=True, check=False)
    names = listed.stdout.split("\n") if listed.returncode == 0 else []
    for name in filter(None, names):
        path = root / name
        if path.is_file() and path.suffix in (".h", ".cpp", ".py", ".md", ".txt", ".json", ".1", "") and path.stat().st_size < 4_000_000:
            yield name, path


def without_comments(text):
    """The text with comments blanked, lines kept."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)*\'', re.S)

    def keep(match):
        found = match.group()
        if found.startswith(("//", "/*")):
            return re.sub(r"[^\n]", " ", found)
        return found

    return pattern.sub(keep, text)


def number_tests(code):
    """(line, text) of every test on the number of a data type."""
    for number, line in enumerate(code.replace("->", "::").split("\n"), 1):
        if number_test.search(line):
            yield number, line.strip()


refused_tests = """
if (dattyp == 5) f();
if (job.status.dattyp != 115) f();
return dattyp >= 114 && more;
bool b = (dattyp < 183);
if (5 == job.status.dattyp) f();
if (182 < status->dattyp) f();
const bool poisson = status.dattyp == poisson_resight;
switch (job.status.dattyp) {
if (datatype(dattyp).number == 5) f();
if (job->status.dattyp==5) f();
if (5<=dattyp) f();
"""
passed_tests = """
const Datatype& row = datatype(status.dattyp);
status.dattyp = dattyp_of(keyword);
if (!is_datatype(job.status.dattyp)) error(job, text);
std::array<Datatype, max_dattyp> rows;
put(job, listing, "(i0)", status->dattyp);
int dattyp = 0;
Sizes sizes{.dattyp = 5};
"""


def self_test():
    faults = mutable_state.self_test()
    faults += [f"passes, must not: {line}" for line in refused_tests.strip().split("\n") if not list(number_tests(line))]
    faults += [f"refused, must not be: {line}" for line in passed_tests.strip().split("\n") if list(number_tests(line))]
    for fault in faults:
        print(fault)
    print(f"style, tests of its own rules: {len(faults)} faults")
    return 1 if faults else 0


def check_code(name, text, faults, literals):
    lines = text.split("\n")
    if len(lines) > longest_file and name != table:
        faults.append(f"{name}: {len(lines)} lines; more than {longest_file} is two files")
    if name.endswith(".h") and "#pragma once" not in text:
        faults.append(f"{name}: no #pragma once")
    code = without_comments(text)
    if name.startswith("src/"):
        if name not in stream_ends and re.search(r"#\s*include\s*<(iostream|cstdio|stdio\.h|fstream|print)>", code):
            faults.append(f"{name}: text leaves the program through the streams of the job only")
        if re.search(r"#\s*include\s*<quadmath\.h>", code) and not name.startswith("src/numerics/"):
            faults.append(f"{name}: the 128-bit type belongs to numerics")
        for number, variable in mutable_variables(code):
            if allowed_state.get(name, "=") not in variable:
                faults.append(f"{name}:{number}: a variable without an owner that can be written to: {variable}")
        if not name.startswith(catalogue):
            faults.extend(f"{name}:{number}: a data type is told by its row, not by its number: {line}" for number, line in number_tests(code))
        # Adjacent literals are one text.
        joined = re.sub(r'"\s*\n?\s*"', "", re.sub(r"#\s*include[^\n]*", "", code))
        for found in set(literal.findall(joined)):
            # A layout is one thing; what is said in it another. Only words count.
            if len(found) > long_literal and len(re.findall(r"[a-z]{3,}", found)) >= 3:
                literals.setdefault(found, []).append(name)


def main():
    faults, literals, kept, tests = [], {}, {}, {}
    code_files = []
    for name, path in text_files():
        try:
            text = path.read_text()
        except UnicodeDecodeError:
            faults.append(f"{name}: not UTF-8")
            continue
        data = name.startswith(("tests/decks/", "examples/", "tests/reference/", "fuzz/corpus/"))
        if not data:
            for number, line in enumerate(text.split("\n"), 1):
                if "\t" in line:
                    faults.append(f"{name}:{number}: tab")
                if line != line.rstrip():
                    faults.append(f"{name}:{number}: trailing blank")
                if machine_path.search(line):
                    faults.append(f"{name}:{number}: a path of one machine")
                if origin_words.search(line) and not name.startswith("scripts/check_style"):
                    faults.append(f"{name}:{number}: {origin_words.search(line).group()!r}; the project speaks of itself alone")
            if text and not text.endswith("\n"):
                faults.append(f"{name}: no newline at the end")
        if name.endswith(("CMakeLists.txt", ".json", ".cmake")) and forbidden_flags.search(text):
            faults.append(f"{name}: {forbidden_flags.search(text).group()} changes digits")
        if name.endswith((".h", ".cpp")):
            code_files.append(path)
            check_code(name, text, faults, literals)
            if name.startswith("src/"):
                for number, line in enumerate(text.split("\n"), 1):
                    if "KEPT:" in line:
                        kept[f"{name}:{number}"] = line.split("KEPT:", 1)[1].strip()
            for test in re.findall(r"TEST(?:_F|_P)?\(\s*Kept\s*,\s*(\w+)\s*\)", text):
                tests[test] = name

    for text, places in sorted(literals.items()):
        if len(places) > 1:
            faults.append(f"typed in {len(places)} files: \"{text}\": {', '.join(sorted(places))}")

    # A kept oddity names its test in the line of its mark, `KEPT (name):` or beside it; every test has a row.
    page = root / "docs" / "kept.md"
    rows = page.read_text() if page.is_file() else ""
    for test, name in sorted(tests.items()):
        if test not in rows:
            faults.append(f"{name}: TEST(Kept, {test}) has no row in docs/kept.md")
    for row in re.findall(r"^\| `(\w+)` \|", rows, re.M):
        if row not in tests:
            faults.append(f"docs/kept.md names TEST(Kept, {row}), which is nowhere")
    if kept and not tests:
        faults.append(f"{len(kept)} KEPT: marks and no TEST(Kept, ...)")

    if shutil.which("clang-format"):
        for start in range(0, len(code_files), 40):
            some = code_files[start : start + 40]
            done = subprocess.run(["clang-format", "--dry-run", "--Werror", *some], capture_output=True, text=True, cwd=root, check=False)
            named = re.findall(r"^(.*?):\d+:\d+: error: code should be clang-formatted", done.stderr, re.M)
            for name in sorted(set(named)):
                faults.append(f"{name.replace(str(root) + '/', '')}: not as .clang-format says")

    for fault in faults:
        print(fault)
    print(f"style: {len(code_files)} files of code, {len(kept)} kept marks, {len(tests)} tests of them, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(self_test() if sys.argv[1:] == ["--self-test"] else main())
