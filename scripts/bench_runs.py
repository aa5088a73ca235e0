"""What the measuring scripts share: the decks by name, builds, and one measured run."""

import ctypes
import os
import re
import shutil
import signal
import statistics
import subprocess
import tempfile
import threading
from pathlib import Path

root = Path(__file__).resolve().parent.parent

# Arguments of bench/make_deck.
decks = {
    # Phi(t) p(t), folded
    "time_1000": "live animals=1000",
    "time_10000": "live animals=10000",
    "time_100000": "live animals=100000",
    "occasions_60": "live occasions=60 animals=2000",
    # 20,000 records with a covariate: Phi(period+x) p(period), 13 betas; Phi(t+x) p(t), 39 betas
    "covariate_13": "live animals=20000 phi_periods=6 p_periods=6 slope=0.5",
    "covariate_39": "live animals=20000 groups=2 slope=0.5",
    # 100,000 records with a covariate, 101 betas
    "covariate_101": "live occasions=51 animals=100000 slope=0.5",
    # closed population, p(t+x) c(t+b+x), 22 betas
    "huggins_22": "closed occasions=20 animals=20000 slope=0.4",
    # 3,000 animals, 8 groups in 4 classes, 531 real parameters: Phi(class*t+x) p(t), 296 betas
    "large_296": "live occasions=60 animals=3000 groups=8 phi_classes=4 slope=0.5",
    # Phi(g*t) p(g*t), 18 betas a group, 2,000 animals a group
    "groups_180": "live occasions=10 animals=20000 groups=10 phi_classes=10 p_classes=10",
    "groups_900": "live occasions=10 animals=100000 groups=50 phi_classes=50 p_classes=50",
    # 30 occasions, Phi(t) p(t), so many different histories
    "histories_100000": "live occasions=30 distinct=100000 survival=4 capture=0.5 last_release=10",
    "histories_1000000": "live occasions=30 distinct=1000000 survival=4 capture=0.5 last_release=10",
    # POPAN, Phi(t) p(t) pent(t) N, folded: some 1,000 and 10,000 animals caught
    "popan_8": "popan occasions=8 animals=700",
    "popan_20": "popan occasions=20 animals=3200",
    # 10 primary sessions of 5 occasions, some 20,000 animals caught: S(t) Gamma''(.) Gamma'(.) p(s)=c(s)
    "robust_10": "robust sessions=10 occasions=5 animals=7700",
    # multi-state, S, p and Psi by stratum and time (by stratum alone), and hidden states
    "strata_3": "strata strata=3 occasions=8 animals=3000",
    "strata_3_constant": "strata strata=3 occasions=8 animals=3000 by_time=0",
    "strata_5": "strata strata=5 occasions=20 animals=10000 by_time=0",
    "strata_10": "strata strata=10 occasions=20 animals=10000 by_time=0",
    "hidden_3": "strata strata=3 occasions=8 animals=3000 by_time=0 hidden=1",
    "hidden_5": "strata strata=5 occasions=20 animals=10000 by_time=0 hidden=1",
    # surveys of sites: one season with a covariate of occupancy, many seasons, counts with a covariate of abundance
    "sites_50000": "sites sites=50000 surveys=10 slope=0.8",
    "seasons_20": "sites sites=5000 seasons=20 surveys=4",
    "counts_5000": "sites sites=5000 surveys=6 slope=0.8 counts=1",
}

# Decks in which one size doubles and the others stay.
series = {
    "records": [(n, f"live animals={n} phi_periods=6 p_periods=6 slope=0.5") for n in (5000, 10000, 20000, 40000)],
    "occasions": [(n, f"live occasions={n} animals=5000 phi_periods=6 p_periods=6 slope=0.5") for n in (10, 20, 40, 80)],
    "betas": [(2 * n + 1, f"live occasions=41 animals=5000 phi_periods={n} p_periods={n} slope=0.5") for n in (5, 10, 20, 40)],
    "groups": [(n, f"live occasions=10 animals=20000 groups={n} phi_classes={n} p_classes={n}") for n in (5, 10, 20, 40)],
    "strata": [(n, f"strata strata={n} occasions=20 animals=10000 by_time=0") for n in (2, 3, 6, 12)],
    "hidden": [(n, f"strata strata={n} occasions=20 animals=10000 by_time=0 hidden=1") for n in (2, 3, 6, 12)],
    "histories": [
        (n, f"live occasions=30 distinct={n} survival=4 capture=0.5 last_release=10") for n in (12500, 25000, 50000, 100000)
    ],
}


def path_of_program(build):
    """The program of a build: itself, a build folder, or a clone with build/release."""
    for path in (Path(build), Path(build) / "tarn", Path(build) / "build" / "release" / "tarn"):
        if path.is_file() and os.access(path, os.X_OK):
            return path.resolve()
    return None


def program_of(build):
    """The program of a build, or of a commit, which is built in build/compare."""
    found = path_of_program(build)
    if found:
        return found
    git = ["git", "-C", str(root)]
    asked = subprocess.run([*git, "rev-parse", "--verify", "--quiet", f"{build}^{{commit}}"], capture_output=True, text=True, check=False)
    if asked.returncode != 0:
        raise SystemExit(f"{build}: neither a build nor a commit")
    commit = asked.stdout.strip()
    folder = root / "build" / "compare" / commit[:12]
    if not path_of_program(folder / "build"):
        source = folder / "source"
        folder.mkdir(parents=True, exist_ok=True)
        subprocess.run([*git, "worktree", "add", "--detach", "--force", source, commit], check=True, capture_output=True)
        try:
            setup = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DTARN_TESTS=OFF", "-DTARN_BENCH=OFF"]
            if shutil.which("ccache"):
                setup.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
            subprocess.run(["cmake", "-S", source, "-B", folder / "build", *setup], check=True, stdout=subprocess.DEVNULL)
            subprocess.run(["cmake", "--build", folder / "build", "--target", "tarn"], check=True, stdout=subprocess.DEVNULL)
        finally:
            subprocess.run([*git, "worktree", "remove", "--force", source], check=True)
    return path_of_program(folder / "build")


def made_deck(name, arguments, folder):
    """The path of a deck of this name in `folder`, written by make_deck of this tree if it is not there."""
    path = (Path(folder) / f"{name}.deck").resolve()
    if not path.is_file():
        path.parent.mkdir(parents=True, exist_ok=True)
        make_deck = root / "build" / "release" / "bench" / "make_deck"
        if not make_deck.is_file():
            raise SystemExit(f"{make_deck} is not built")
        partial = path.with_suffix(".partial")
        with partial.open("wb") as out:
            subprocess.run([make_deck, *arguments.split()], stdout=out, check=True)
        partial.rename(path)
    return path


def deck_paths(words, folder):
    """Paths of decks given by name (`all`: every named one) or as files."""
    paths = []
    for word in words:
        names = list(decks) if word == "all" else [word] if word in decks else []
        if not names and not Path(word).is_file():
            raise SystemExit(f"{word}: no deck of that name, and no file; named are {', '.join(decks)}")
        paths += [made_deck(name, decks[name], folder) for name in names] or [Path(word).resolve()]
    return paths


def adopt_orphans():
    """Orphaned grandchildren become children of this process (Linux)."""
    set_child_subreaper = 36
    if ctypes.CDLL(None, use_errno=True).prctl(set_child_subreaper, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


def measured_run(words, folder, environment=None, limit=None):
    """Runs a command in `folder`; gives CPU seconds (user and system), peak memory in MiB, and what it wrote on standard
    output and on the error stream. The most that a process ever held counts what it held as the image that started it, so a
    shell of 2 MiB starts it and leaves it to us, instead of an interpreter that is larger than many jobs.
    """
    adopt_orphans()
    with tempfile.TemporaryDirectory(prefix="tarn-run-") as place:
        output, screen = Path(place) / "output", Path(place) / "screen"
        # It begins when the shell is gone: a shell that sees its end would take its record from us.
        script = 'exec 3<&0; { read go <&3; exec "$@" >"$OUTPUT" 2>"$SCREEN" </dev/null 3<&-; } & echo $!'
        with subprocess.Popen(
            ["/bin/sh", "-c", script, "sh", *map(str, words)],
            cwd=folder,
            env=dict(environment or os.environ, OUTPUT=str(output), SCREEN=str(screen)),
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        ) as shell:
            process = int(shell.stdout.readline())
            shell.wait()
            shell.stdin.write(b"go\n")
        timer = threading.Timer(limit or threading.TIMEOUT_MAX, os.kill, (process, signal.SIGKILL))
        timer.start()
        try:
            _, status, usage = os.wait4(process, 0)
        finally:
            timer.cancel()
        return {
            "cpu": usage.ru_utime + usage.ru_stime,
            "peak_mib": usage.ru_maxrss / 1024.0,
            "status": os.waitstatus_to_exitcode(status),
            "output": output.read_text(errors="replace"),
            "screen": screen.read_text(errors="replace"),
        }


def run_job(program, deck, threads=1, environment=None):
    """One measured job: cpu, peak_mib, and from its listing evaluations, parameters, minus_2_log_likelihood as printed (each a
    list, a member a fit), seconds of fit, variance step and all else that is computed."""
    environment = dict(environment or os.environ, OMP_WAIT_POLICY="passive")
    with tempfile.TemporaryDirectory(prefix="tarn-job-") as folder:
        words = [program, f"i={deck}", "o=job.out", "batch", "noecho", "nocolor", f"threads={threads}"]
        done = measured_run(words, folder, environment)
        listing = Path(folder) / "job.out"
        text = listing.read_text(errors="replace") if listing.is_file() else ""
    if done["status"] != 0 or not done["screen"].rstrip().endswith("NORMAL EXIT"):
        raise SystemExit(f"{program} {deck}: ended with status {done['status']}, {done['screen'].rstrip()[-200:]!r}")

    def seconds(what):
        found = re.findall(rf"{what}, CPU Time was\s+(\S+) (secs|mins)", text)
        return sum(float(x) * (60.0 if unit == "mins" else 1.0) for x, unit in found)

    return {
        "cpu": done["cpu"],
        "peak_mib": done["peak_mib"],
        "evaluations": listed_evaluations(text),
        "betas": [int(n) for n in re.findall(r"Number of function evaluations was \d+ for (\d+) parameters", text)],
        "parameters": [int(n) for n in re.findall(r"^ Number of Estimated Parameters .* = (\d+)", text, re.M)],
        "minus_2_log_likelihood": printed_likelihoods(text),
        "fit_seconds": seconds("For numerical optimization"),
        "variance_seconds": seconds("To compute VC matrix"),
    }


def printed_likelihoods(listing):
    """-2 log likelihood of each fit, as text."""
    return re.findall(r"^ -2logL \{.*\} =\s+(\S.*?)\s*$", listing, re.M)


def listed_evaluations(listing):
    """Evaluations of each fit."""
    return [int(n) for n in re.findall(r"Number of function evaluations was (\d+)", listing)]


def medians(runs):
    """The runs of one program on one deck as one record: medians of CPU seconds, the largest peak; what a listing says is of the
    first run, and `agree` tells whether all runs say the same."""
    said = ("evaluations", "minus_2_log_likelihood", "betas", "parameters")
    timed = ("cpu", "fit_seconds", "variance_seconds")
    return {
        **{name: statistics.median(run[name] for run in runs) for name in timed},
        "peak_mib": max(run["peak_mib"] for run in runs),
        **{name: runs[0][name] for name in said},
        "all_cpu": [run["cpu"] for run in runs],
        "agree": all(run[name] == runs[0][name] for run in runs for name in said),
    }


def alternating_runs(programs, deck, rounds, once_above, threads=1, environments=None):
    """Medians by program, runs in alternation. Where one takes more than `once_above` CPU seconds each runs once."""
    runs = [[] for _ in programs]
    for _ in range(rounds):
        for i, program in enumerate(programs):
            runs[i].append(run_job(program, deck, threads, environments[i] if environments else None))
        if max(own[0]["cpu"] for own in runs) > once_above:
            break
    return [medians(own) for own in runs]


def printed(values):
    """The members of a list for a cell of a table."""
    return " ".join(str(value) for value in values) or "-"


def write_table(head, rows):
    """A table in Markdown, columns aligned; the first one to the left."""
    cells = [head, *rows]
    widths = [max(len(str(row[i])) for row in cells) for i in range(len(head))]

    def line(row):
        return "| " + " | ".join(str(x).ljust(w) if i == 0 else str(x).rjust(w) for i, (x, w) in enumerate(zip(row, widths))) + " |"

    print(line(head))
    print("|" + "|".join("-" * (w + 1) + ("-" if i == 0 else ":") for i, w in enumerate(widths)) + "|")
    for row in rows:
        print(line(row), flush=True)
