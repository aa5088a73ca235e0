#!/usr/bin/env python3
"""Runs the decks of tests/decks through the tarn program and holds each listing against what stands beside it.

    run_decks.py [--binary FILE] [--threads N] [PATH ...]      run decks, folders of decks, or all of tests/decks
    run_decks.py --without [PATH ...]                          each deck with its option taken out must fail
    run_decks.py --truncate [PATH ...]                         cut each deck at many places; every end must be clean
    run_decks.py --update-layout [PATH ...]                    record golden listings, the difference shown

A deck `name.deck` has a `name.expect` or a `name.listing`, or both. Each deck runs in a folder of its own as
`tarn i=name.deck o=name.out nocolor`. The lines of an .expect file (# opens a comment line):

    args WORDS            further arguments
    command WORDS         the whole command line, in place of the one above
    fill CHARACTER N      one further argument of N characters
    environment NAME=TEXT a variable for the run; NAME= alone removes it
    first DECK WORDS      another deck of the same folder, run before with these further arguments
    stop TEXT             what the error stream ends with
    line TEXT             a line of the listing, blanks at both ends aside
    exact |TEXT|          a line of the listing, column for column
    above TEXT            the line that stands above the last `line` or `exact`, empty lines skipped; of an echoed
                          statement the indentation does not count
    below TEXT            the same for the line that stands below
    text TEXT             a part of some line of the listing
    count N TEXT          the number of lines that hold TEXT
    absent TEXT           in no line of the listing
    order TEXT            a part of a line behind the line of the `order` before
    number LABEL VALUE TOLERANCE   the first number behind the last place where LABEL stands; the tolerance is relative,
                          absolute below 1
    row LABEL => VALUE ... TOLERANCE   the same for as many numbers as are given
    under TEXT            the `number` and `row` lines that follow look in the rows of one table: from the first line that
                          holds TEXT to the next empty one
    place NAME            where the lines that follow look: `listing` (at first), `screen`, or a file of the run
    screen TEXT           a part of some line of the screen
    unseen TEXT           in no line of the screen
    file NAME             the run leaves this file, and it is not empty
    nofile NAME           the run leaves no such file
    without /REGEX/TEXT/  how the option that the deck is there for is taken out of it: each match becomes TEXT; any
                          character may stand for the stroke; several are carried out in turn
    without-args WORDS    the further arguments of that run in place of those of `args`; none when WORDS is empty
    without-environment NAME=TEXT   a variable of that run
    without none REASON   nothing can be taken out

A deck of tests/decks/options holds a `number`, `row`, `exact`, `count` or `absent`, and a `without`. Under --without its
run must end as the deck's own does, and one of these, a `file` or a `nofile` must fail: what passes without the option
does not test it.

Without `stop` the run must end with "NORMAL EXIT". The exit status is 0 always. A golden listing agrees in text and
columns; its numbers agree by class: estimates to 1e-6, what comes from variances to 1e-5. Clock, user, host,
directory, build, threads, evaluation counts, gradients, thresholds and vanishing singular values do not count. A golden listing with no .expect
beside it is made without paging.
"""

import argparse
import concurrent.futures
import difflib
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

root = Path(__file__).resolve().parent.parent
deck_folder = root / "tests" / "decks"
option_folder = deck_folder / "options"
time_limit = 120

# Every text with which a run may end.
stop_texts = (
    "NORMAL EXIT",
    "ERROR EXIT from TARN",
    "TARN Error found in data",
    "No input file",
    "Input file error",
    "Output file error",
)

estimate_class = 1e-6
variance_class = 1e-5
# An estimate is known on the scale of its link, so a value that vanishes on that scale has no digits of its own.
vanishing = 1e-9


# What tells a run with an option from one without; a `text` or `line` may be the echo of the option itself.
telling_words = ("number", "row", "exact", "count", "absent")
# How a run is to be made, not what it must give.
run_words = ("args", "command", "fill", "environment", "first", "without", "without-args", "without-environment")
# The faults of a run that ended otherwise than told.
ending = "end"


class Failure(Exception):
    pass


def run_program(binary, words, folder, environment=None):
    """One run; gives (status, screen). Standard output belongs to the listing until a file is named."""
    try:
        done = subprocess.run(
            [str(binary), *words],
            cwd=folder,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            timeout=time_limit,
        )
    except subprocess.TimeoutExpired:
        raise Failure(f"no end within {time_limit} s")
    except OSError as fault:
        raise Failure(f"the program cannot be run: {fault}")
    return done.returncode, done.stderr.decode("utf-8", "replace"), done.stdout.decode("utf-8", "replace")


def read_expectations(path):
    """The lines of an .expect file as (word, rest)."""
    pairs = []
    for line in path.read_text().split("\n"):
        if not line.strip() or line.startswith("#"):
            continue
        word, _, rest = line.partition(" ")
        pairs.append((word, rest.strip()))
    return pairs


def squeeze_echo(line):
    """An echoed statement without its indentation."""
    line = line.strip()
    found = re.match(r"INPUT ---\s*(.*)", line)
    return "INPUT --- " + found.group(1) if found else line


number_pattern = re.compile(
    r"(?<![\w.])[-+]?(?:\d+\.\d*|\.\d+|\d+)(?:[EDed][-+]?\d+)?(?![\w])|Not a Number|-?\+?Infinity"
)


def as_number(text):
    if text == "Not a Number":
        return float("nan")
    if text.endswith("Infinity"):
        return float("-inf") if text.startswith("-") else float("inf")
    return float(text.replace("D", "E").replace("d", "e"))


def neighbour(lines, index, step):
    index += step
    while 0 <= index < len(lines):
        if lines[index].strip():
            return lines[index]
        index += step
    return ""


def numbers_behind(label, lines):
    """The numbers behind the last place where `label` stands in these lines."""
    places = [line for line in lines if label in line]
    tail = places[-1].split(label, 1)[1] if places else ""
    return [as_number(found.group()) for found in number_pattern.finditer(tail)]


def check_numbers(label, values, tolerance, lines):
    found = numbers_behind(label, lines)
    if len(found) < len(values):
        return [f"{len(found)} numbers behind: {label}" if found else f"no number behind: {label}"]
    wanted = [float(value) for value in values]
    # Written so that no number at all fails.
    wrong = [(x, y) for x, y in zip(found, wanted) if not abs(x - y) <= float(tolerance) * max(1.0, abs(y))]
    return [f"{label}: {x}, not {y} within {tolerance}" for x, y in wrong]


def table_under(heading, lines):
    """The lines from the first one with this text to the next empty one; none without it."""
    begin = next((i for i, line in enumerate(lines) if heading in line), len(lines))
    end = next((i for i in range(begin, len(lines)) if not lines[i].strip()), len(lines))
    return lines[begin:end]


def check_expectations(pairs, listing, screen, status, folder):
    """The faults as (word of the expectation, text)."""
    places = {"listing": listing, "screen": screen}
    lines = [line.lstrip("\f") for line in listing.split("\n")]
    table = lines
    last = []
    position = 0
    stop_text = "NORMAL EXIT"
    faults = []

    def fault(text):
        faults.append((word, text))

    for word, rest in pairs:
        if word in run_words:
            continue
        if word == "stop":
            stop_text = rest
        elif word == "place":
            if rest not in places and (folder / rest).is_file():
                places[rest] = (folder / rest).read_bytes().decode("utf-8", "replace")
            if rest not in places:
                fault(f"no file: {rest}")
            lines = [line.lstrip("\f") for line in places.get(rest, "").split("\n")]
            table, last, position = lines, [], 0
        elif word == "line":
            last = [i for i, line in enumerate(lines) if line.strip() == rest]
            if not last:
                fault(f"no line: {rest}")
        elif word == "exact":
            wanted = rest[1:-1]
            last = [i for i, line in enumerate(lines) if line == wanted]
            if not last:
                fault(f"no line: |{wanted}|")
        elif word in ("above", "below"):
            step = -1 if word == "above" else 1
            seen = [squeeze_echo(neighbour(lines, i, step)) for i in last]
            if squeeze_echo(rest) not in seen:
                fault(f"{word}: expected {squeeze_echo(rest)!r}, found {seen}")
        elif word == "text":
            if not any(rest in line for line in lines):
                fault(f"no text: {rest}")
        elif word == "count":
            count, text = rest.split(" ", 1)
            found = sum(text.strip() in line for line in lines)
            if found != int(count):
                fault(f"{found} lines, not {count}, with: {text.strip()}")
        elif word == "absent":
            if any(rest in line for line in lines):
                fault(f"not absent: {rest}")
        elif word == "order":
            found = next((i for i in range(position, len(lines)) if rest in lines[i]), None)
            if found is None:
                fault(f"not in order: {rest}")
            else:
                position = found + 1
        elif word == "under":
            table = table_under(rest, lines)
        elif word == "number":
            label, value, tolerance = rest.rsplit(None, 2)
            faults += [(word, text) for text in check_numbers(label, [value], tolerance, table)]
        elif word == "row":
            label, _, values = rest.rpartition(" => ")
            *values, tolerance = values.split()
            faults += [(word, text) for text in check_numbers(label, values, tolerance, table)]
        elif word == "screen":
            if rest not in screen:
                fault(f"not on the screen: {rest}")
        elif word == "unseen":
            if rest in screen:
                fault(f"on the screen: {rest}")
        elif word == "file":
            if not (folder / rest).is_file() or (folder / rest).stat().st_size == 0:
                fault(f"no file, or an empty one: {rest}")
        elif word == "nofile":
            if (folder / rest).exists():
                fault(f"a file is left: {rest}")
        else:
            fault(f"unknown expectation: {word}")
    if not screen.rstrip().endswith(stop_text):
        found = re.sub(r"[\b]+", " ", screen.rstrip().split("\n")[-1])[-300:]
        faults.append((ending, f"stop text: expected {stop_text!r}, the screen ends with {found!r}"))
    if status != 0:
        faults.append((ending, f"exit status {status}"))
    return faults


def masked(listing):
    """The lines of a listing without what differs from run to run and from machine to machine."""
    lines = []
    skip = None
    for line in listing.split("\n"):
        line = line.lstrip("\f").rstrip()
        if skip == "build":
            if line.startswith("  "):
                continue
            skip = None
        elif skip == "gradient":
            if line.strip() and not re.search(r"[A-Za-z]{3}", line):
                continue
            skip = None
        if skip == "course":
            if "Number of function evaluations was" not in line:
                continue
            skip = None
        if re.search(r"\bPage\s+\d+", line) and "Vers." in line:
            line = re.sub(r"Vers\. .* Page", "Vers. <clock> Page", line)
        elif line.startswith(" Welcome to TARN "):
            line = " Welcome to TARN <user, machine>"
        elif " running file " in line:
            line = "   <folder and file>"
        elif line.startswith(" This version was compiled by"):
            line, skip = " This version was compiled by <build>", "build"
        elif "possible threads." in line:
            line = " This problem will use <threads>"
        elif "CPU Time" in line:
            line = re.sub(r"CPU Time.*", "CPU Time <clock>", line)
        elif "Time Start" in line or "Wall Clock Time" in line:
            line = "<clock>"
        elif "Number of function evaluations was" in line:
            line = re.sub(r"was \S+ for", "was <count> for", line)
        elif line.startswith(" Gradient ") and line.endswith(":"):
            skip = "gradient"
        elif line.startswith((" Threshold ", " Numerical Threshold Method ")):
            # Whether these stand there at all depends on the last digits of the gradient.
            continue
        elif "Maximum ABS(G)" in line:
            line = re.sub(r" = .*", " = <value>", line)
        elif line.strip() == "ENTERING MINIMIZATION":
            # The course of the search under DEBUG; where it ends is what counts.
            skip = "course"
        elif line.startswith(" Random Number Seed"):
            line = " Random Number Seed = <seed>"
        lines.append(line)
    return lines


def classes_of(line):
    """The tolerance of each number of a line: in a table the estimate stands first, what follows has a variance."""
    if re.match(r"\s*\d+:", line):
        return lambda position: estimate_class if position <= 1 else variance_class
    if "c-hat" in line or "chat" in line or "Ratio" in line:
        return lambda position: variance_class
    return lambda position: estimate_class


def split_numbers(line):
    return [(m.group(), m.start(), m.end()) for m in number_pattern.finditer(line)]


def unit_of_last_digit(text):
    mantissa, _, exponent = re.sub("[Dde]", "E", text).partition("E")
    decimals = len(mantissa.partition(".")[2])
    return 10.0 ** (int(exponent or 0) - decimals)


def lines_differ(recorded, found, in_vector):
    """Why two lines differ, or an empty text. `in_vector`: numbers are singular values, given with their largest."""
    ours, theirs = split_numbers(recorded), split_numbers(found)
    if len(ours) != len(theirs):
        return "text"
    text_of = lambda line, pieces: "".join(
        line[a:b] for a, b in zip([0] + [p[2] for p in pieces], [p[1] for p in pieces] + [len(line)])
    )
    if re.sub(r" +", " ", text_of(recorded, ours)) != re.sub(r" +", " ", text_of(found, theirs)):
        return "text"
    tolerance = classes_of(recorded)
    for position, (a, b) in enumerate(zip(ours, theirs)):
        if a[2] != b[2] and "E" not in a[0] + b[0]:
            return "columns"
        x, y = as_number(a[0]), as_number(b[0])
        if x == y or (x != x and y != y):
            continue
        if "." not in a[0] or "." not in b[0]:
            return "count"
        if in_vector and max(abs(x), abs(y)) < 1e-8 * in_vector:
            continue
        if "Ratio" in recorded and min(x, y) > 1e8:
            continue
        if max(abs(x), abs(y)) < vanishing:
            continue
        limit = variance_class if in_vector else tolerance(position)
        unit = 1.01 * max(unit_of_last_digit(a[0]), unit_of_last_digit(b[0]))
        if not abs(x - y) <= max(limit * max(abs(x), abs(y)), unit):
            return "value"
    return ""


def compare_listings(recorded, found):
    """The differences of two listings as (kind, recorded line, found line)."""
    ours, theirs = masked(recorded), masked(found)
    differences = []
    if len(ours) != len(theirs):
        for line in difflib.unified_diff(ours, theirs, "recorded", "found", lineterm="", n=0):
            differences.append(("text", line, ""))
        return differences
    largest = 0.0
    for a, b in zip(ours, theirs):
        if a.startswith(" S Vector "):
            largest = -1.0
        elif largest:
            pieces = split_numbers(a)
            if re.search(r"[A-Za-z]{3}", a) or not pieces:
                largest = 0.0
            elif largest < 0:
                largest = abs(as_number(pieces[0][0]))
        kind = lines_differ(a, b, max(largest, 0.0))
        if kind:
            differences.append((kind, a, b))
    return differences


def expectations_of(deck):
    expect = deck.with_suffix(".expect")
    return read_expectations(expect) if expect.is_file() else []


def command_of(deck, pairs):
    """The command line and the environment that the expectations tell, and the decks with their arguments to be run before."""
    environment = dict(os.environ, OMP_WAIT_POLICY="passive")
    words = [f"i={deck.name}", f"o={deck.stem}.out", "nocolor"]
    before = []
    for word, rest in pairs:
        if word == "args":
            words += shlex.split(rest)
        elif word == "command":
            words = shlex.split(rest)
        elif word == "fill":
            character, count = rest.split()
            words.append(character * int(count))
        elif word == "environment":
            name, _, value = rest.partition("=")
            environment.pop(name, None)
            if value:
                environment[name] = value
        elif word == "first":
            before.append(shlex.split(rest))
    return words, environment, before


def run_once(binary, deck, text, pairs, threads, paged):
    """Runs a deck of this text as its expectations tell; gives its listing and the faults as (word, text)."""
    words, environment, before = command_of(deck, pairs)
    own_command = any(word == "command" for word, _ in pairs)
    if not paged:
        words.append("lines=0")
    if threads and not own_command and not any(w.lower().startswith("threads=") for w in words):
        words.append(f"threads={threads}")
    folder = Path(tempfile.mkdtemp(prefix="tarn-deck-"))
    try:
        (folder / deck.name).write_bytes(text)
        for other, *more in before:
            shutil.copy(deck.parent / other, folder / other)
            run_program(binary, [f"i={other}", "o=before.out", "nocolor", *more], folder, environment)
        status, screen, output = run_program(binary, words, folder, environment)
        place = folder / f"{deck.stem}.out"
        listing = place.read_text(errors="replace") if place.is_file() else output
        return listing, check_expectations(pairs, listing, screen, status, folder)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def option_faults(deck, pairs):
    """What a deck about an option fails to state."""
    words = [word for word, _ in pairs]
    faults = []
    if not any(word in telling_words for word in words):
        faults.append("states nothing that its option changes: no " + ", ".join(telling_words))
    if not any(word.startswith("without") for word in words):
        faults.append("no `without` line: it does not tell how its option is taken out")
    return faults


def run_deck(binary, deck, threads, update):
    """Runs one deck; gives the list of its faults."""
    pairs = expectations_of(deck)
    golden = deck.with_suffix(".listing")
    if not pairs and not golden.is_file() and not update:
        return ["neither .expect nor .listing"]
    # A golden listing without expectations has no pages: where they break depends on lines that do not count.
    listing, faults = run_once(binary, deck, deck.read_bytes(), pairs, threads, paged=bool(pairs))
    faults = [text for _, text in faults]
    if deck.parent == option_folder:
        faults = option_faults(deck, pairs) + faults
    if golden.is_file() or update:
        if golden.is_file():
            differences = compare_listings(golden.read_text(), listing)
        else:
            differences = [("text", "(nothing recorded)", f"{len(listing.splitlines())} lines")]
        values = [d for d in differences if d[0] in ("value", "count")]
        if update and differences and not faults:
            for kind, recorded, found in differences:
                print(f"{deck.name}: {kind}\n  - {recorded}\n  + {found}")
            if values:
                faults.append("values differ beyond their class; they are never recorded by this program")
            else:
                golden.write_text("\n".join(masked(listing)))
                print(f"{deck.name}: layout recorded")
        else:
            faults += [f"{kind}:\n      recorded {a}\n      found    {b}" for kind, a, b in differences[:12]]
    return faults


def take_out(text, pairs):
    """The deck and the expectations of the run without the option."""
    changed = []
    text = text.decode("latin-1")
    without_arguments = any(word == "without-args" for word, _ in pairs)
    for word, rest in pairs:
        if word == "without":
            parts = rest.split(rest[:1])
            if len(parts) != 4 or parts[3]:
                raise Failure(f"without: not of the form /REGEX/TEXT/: {rest}")
            text, matches = re.subn(parts[1], parts[2], text, flags=re.M)
            if not matches:
                raise Failure(f"without: nothing in the deck matches {parts[1]}")
        elif word == "without-args":
            changed.append(("args", rest))
        elif word == "without-environment":
            changed.append(("environment", rest))
        elif word != "args" or not without_arguments:
            changed.append((word, rest))
    return text.encode("latin-1"), changed


def run_without(binary, deck, threads):
    """Runs a deck with its option taken out; gives the faults of the deck as a test."""
    pairs = expectations_of(deck)
    faults = option_faults(deck, pairs)
    if faults or any(word == "without" and rest.startswith("none ") for word, rest in pairs):
        return faults
    text, pairs = take_out(deck.read_bytes(), pairs)
    _, found = run_once(binary, deck, text, pairs, threads, paged=True)
    otherwise = [text for word, text in found if word == ending]
    if otherwise:
        return ["without its option the run ends otherwise"] + otherwise
    if not any(word in telling_words + ("file", "nofile") for word, _ in found):
        return ["passes without its option"] + [text for _, text in found]
    return []


def run_truncated(binary, deck, places):
    """Cuts a deck at `places` positions, spread evenly, and asks for a clean end at each."""
    text = deck.read_bytes()
    step = max(1, len(text) // places)
    faults = []
    folder = Path(tempfile.mkdtemp(prefix="tarn-cut-"))
    environment = dict(os.environ, OMP_WAIT_POLICY="passive")
    try:
        for size in range(0, len(text), step):
            (folder / "cut.deck").write_bytes(text[:size])
            try:
                status, screen, _ = run_program(binary, ["i=cut.deck", "o=cut.out", "nocolor"], folder, environment)
            except Failure as failure:
                faults.append(f"cut behind byte {size}: {failure}")
                continue
            if status != 0:
                faults.append(f"cut behind byte {size}: exit status {status}")
            if not screen.rstrip().endswith(stop_texts):
                faults.append(f"cut behind byte {size}: unknown end {screen.rstrip()[-80:]!r}")
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return faults


def decks_under(paths):
    decks = []
    for path in paths:
        path = Path(path).resolve()
        decks += sorted(path.rglob("*.deck")) if path.is_dir() else [path]
    return decks


def main():
    parser = argparse.ArgumentParser(description="runs decks and holds their listings against expectations")
    parser.add_argument("paths", nargs="*", default=[deck_folder])
    parser.add_argument("--binary", default=root / "build" / "release" / "tarn")
    parser.add_argument("--threads", type=int, default=0)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    parser.add_argument("--without", action="store_true")
    parser.add_argument("--truncate", action="store_true")
    parser.add_argument("--places", type=int, default=60)
    parser.add_argument("--update-layout", action="store_true")
    options = parser.parse_args()
    binary = Path(options.binary).resolve()
    decks = decks_under(options.paths)
    passed = failed = 0

    def work(deck):
        try:
            if options.truncate:
                return run_truncated(binary, deck, options.places)
            if options.without:
                return run_without(binary, deck, options.threads)
            return run_deck(binary, deck, options.threads, options.update_layout)
        except Failure as failure:
            return [str(failure)]

    with concurrent.futures.ThreadPoolExecutor(max(1, options.jobs)) as pool:
        for deck, faults in zip(decks, pool.map(work, decks)):
            if faults:
                failed += 1
                name = deck.relative_to(deck_folder) if deck.is_relative_to(deck_folder) else deck
                print(f"FAILED {name}")
                for fault in faults:
                    print(f"    {fault}")
            else:
                passed += 1
    print(f"{passed} passed, {failed} failed")
    return 1 if failed or not decks else 0


if __name__ == "__main__":
    sys.exit(main())
