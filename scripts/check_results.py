#!/usr/bin/env python3
"""Runs decks with json= and holds every number of the results file against the listing of the same run, to the digits
that the listing prints, and against each other where theory ties them.

    check_results.py [--binary FILE] [--fields] PATH ...    decks, or folders of decks

A deck `name.deck` runs in a folder of its own as `tarn i=name.deck o=name.out json=name.jsonl nocolor lines=0`; a
`name.args` beside it has further arguments. --fields also holds the fields that the decks give against those that
docs/results.md documents (none may be missing on either side), and runs command lines that end before a deck is read.
"""

import argparse
import json
import math
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

root = Path(__file__).resolve().parent.parent
schema = 1
multiplier = 1.9600000381469727


class Fault(Exception):
    pass


def demand(holds, *what):
    if not holds:
        raise Fault(" ".join(str(word) for word in what))


def agrees(value, printed):
    """Whether a number of the file is the one that the listing prints."""
    printed = printed.strip()
    if printed in ("Not a Number", "NaN") or re.fullmatch("-?Inf(inity)?", printed):
        return value is None
    if value is None:
        return False
    found = re.fullmatch(r"([-+]?\d*)\.?(\d*)(?:[EeDd]([-+]?\d+))?", printed)
    if not found:
        return False
    last_place = 10.0 ** (int(found[3] or 0) - len(found[2]))
    # Half of the last printed place, and the rounding of the conversions.
    return abs(value - float(printed.replace("D", "E"))) <= 0.5 * last_place * (1 + 1e-9) + 1e-15 * abs(value)


def check(value, printed, what):
    demand(agrees(value, printed), what, "is", value, "and the listing has", printed)


number = r"(?:[-+]?\d*\.?\d+(?:[ED][-+]?\d+)?\.?|Not a Number|NaN|-?Inf(?:inity)?)"


class Model_check:
    """One model of the file against its part of the listing."""

    def __init__(self, model, lines):
        self.model, self.lines, self.name = model, lines, model["name"]
        self.fit = model["fit"]
        self.solution = self.last(f" -2logL {self.name} = ") or 0

    def last(self, beginning, since=0):
        """Place of the last line that begins so, from line `since` on; a refit writes its lines again."""
        for k in range(len(self.lines) - 1, since - 1, -1):
            if self.lines[k].startswith(beginning):
                return k
        return None

    def behind(self, label, since=0):
        k = self.last(" " + label, since)
        return None if k is None else self.lines[k][len(label) + 1 :].strip()

    def figure(self, label, value, required=True):
        printed = self.behind(f"{label}{self.name} = ", self.solution)
        if value == "absent" or (printed is None and not required):
            demand(printed is None, label, "is on the listing and not in the file")
        else:
            demand(printed is not None, label, "is not on the listing")
            check(value, printed, label)

    def numbers_below(self, beginning, count):
        """`count` numbers in columns of 14 (gradient: 13), from the line behind the last one that begins so."""
        k = self.last(beginning)
        demand(k is not None, beginning, "is not on the listing")
        found = []
        while len(found) < count:
            k += 1
            row = re.findall(number, self.lines[k])
            demand(row, beginning, "has too few numbers")
            found += row
        demand(len(found) == count, beginning, "has", len(found), "numbers")
        return found

    def head(self):
        demand(self.behind("Model is ") == self.name, "name")
        demand(self.behind("Link Function Used is ") == self.model["link"], "link")
        demand(self.behind("Variance Estimation Procedure Used is ") == self.model["variance_procedure"], "variance")
        data = self.model["data"]
        check(self.model["saturated"]["minus_2_log_likelihood"], self.behind("-2logL(saturated) = "), "saturated")
        check(data["effective_sample_size"], self.behind("Effective Sample Size = "), "effective sample size")
        demand((self.behind("Strata=") or "") == data["strata"], "strata")
        if data["groups"][0]["caught"] is not None:
            shown = self.counts("M(t+1):", 7, 0)
            demand(shown == [int(g["caught"]) for g in data["groups"]], "M(t+1)")
        else:
            self.releases(data)
        k = self.last(" Total number of individuals captured")
        if k is not None:
            for g, group in enumerate(data["groups"]):
                demand(self.lines[k + 1 + g].strip() == f"{group['label']}: {int(group['animals'])}", "animals")

    def counts(self, heading, width, behind):
        """Whole numbers in fields of a width below a heading, from line `behind` on."""
        k = next(i for i in range(behind, len(self.lines)) if self.lines[i].strip() == heading) + 1
        found = []
        while re.fullmatch(r"[ \d]+", self.lines[k]) and self.lines[k].strip():
            found += [int(n) for n in self.lines[k].split()]
            k += 1
        return found

    def releases(self, data):
        for g, group in enumerate(data["groups"], 1):
            k = self.last(f" Group {g} = ")
            demand(self.lines[k].strip() == f"Group {g} = {group['label']}", "group label")
            released, lost = [int(n) for n in group["released"]], [int(n) for n in group["lost"]]
            demand(self.counts("U(t):", 5, k) == released, "U(t)")
            if any(lost):
                demand(self.counts("UL(t):", 5, k) == lost, "UL(t)")
                demand(self.counts("U(t)+UL(t):", 5, k) == [a + b for a, b in zip(released, lost)], "U(t)+UL(t)")

    def likelihood(self):
        fit = self.fit
        self.figure("-2logL ", fit["minus_2_log_likelihood"])
        self.figure("Penalty ", fit["penalty"], required=fit["penalty"] > 2.220446049250313e-16)
        count = re.findall(r"was (\d+) for (\d+) parameters", "\n".join(self.lines))[-1]
        demand([fit["minimiser"]["iterations"], len(fit["gradient"]["elements"])] == [int(n) for n in count], "iterations")
        demand(fit["minimiser"]["evaluations"] >= fit["minimiser"]["iterations"], "evaluations")
        fits = sum(line.startswith(" -2logL " + self.name) for line in self.lines)
        demand(fit["fits"] == fits == len(fit["removed_betas"]) + 1, "number of fits")
        elements = fit["gradient"]["elements"]
        for value, printed in zip(elements, self.numbers_below(f" Gradient {self.name}:", len(elements))):
            check(value, printed, "gradient")
        self.figure("Maximum ABS(G) ", fit["gradient"]["largest"])
        demand(fit["gradient"]["largest"] == max((abs(g) for g in elements), default=0.0), "largest gradient")

    def gaps(self, gap, beginning):
        k = self.last(beginning)
        if gap["largest"] is None:
            demand(gap["next_largest"] is None, "next largest gap")
            return
        found = re.findall(rf"\((\d+)/(\d+)\) = \s*({number})", self.lines[k])
        for place, (upper, lower, ratio) in zip((gap["largest"], gap["next_largest"]), found):
            demand(place["position"] == int(upper) == int(lower) - 1, "place of a gap")
            check(place["ratio"], ratio, "gap")

    def rank(self):
        rank, s = self.fit["rank"], self.fit["rank"]["singular_values"]
        if not s:
            return
        for value, printed in zip(s, self.numbers_below(f" S Vector {self.name}:", len(s))):
            check(value, printed, "singular value")
        if rank["gap"] is None:
            demand(rank["parameters"] == self.model["options"]["numpar"] and rank["threshold"] is None, "numpar")
            return
        self.gaps(rank["gap"], " Ratio Threshold = ")
        if rank["gap"]["largest"]:
            k = self.last(" Ratio Threshold = ")
            check(self.model["options"]["ratio_threshold"], re.findall(number, self.lines[k])[0], "ratio threshold")
            for place in (rank["gap"]["largest"], rank["gap"]["next_largest"]):
                i = place["position"]
                demand(s[i - 1] == 0 or s[i] == 0 or math.isclose(place["ratio"], s[i - 1] / s[i], rel_tol=1e-15), "ratio")
        self.figure("Gap Method for Num. of Estimated Parameters ", rank["gap"]["count"])
        threshold = rank["threshold"]
        self.figure("Threshold ", threshold["value"] if threshold else "absent")
        self.figure("Numerical Threshold Method for Num. of Estimated Parameters ", threshold["count"] if threshold else "absent")
        self.figure("Number of Estimated Parameters ", rank["parameters"])
        order = rank["order"]
        if order:
            k = self.last(" Attempted ordering of parameters") + 1
            width = len(str(max(order)))
            found = []
            while len(found) < len(order):
                row = self.lines[k][1:]
                found += [int(row[i : i + width]) for i in range(0, len(row.rstrip()), width)]
                k += 1
            demand(found == order and order[rank["parameters"] :] == rank["singular_betas"], "order of betas")
            told = []
            while found := re.match(r" Beta number (\d+) is a singular value", self.lines[k]):
                told.append(int(found[1]))
                k += 1
            demand(told == rank["singular_betas"], "singular betas")
        jacobian = self.fit["jacobian"]
        if jacobian:
            s = jacobian["singular_values"]
            for value, printed in zip(s, self.numbers_below(f" Jacobian S Vector {self.name}:", len(s))):
                check(value, printed, "singular value of the Jacobian")
            self.figure("Jacobian number of estimated Parameters ", jacobian["gap"]["count"])

    def figures(self):
        figures, pearson = self.fit["figures"], self.fit["pearson"]
        self.figure("DEVIANCE ", figures["deviance"])
        self.figure("DEVIANCE Degrees of Freedom ", figures["deviance_df"])
        self.figure("c-hat ", figures["c_hat"])
        for label, key in (("AIC ", "aic"), ("AICc ", "aicc"), ("BIC ", "bic")):
            self.figure(label, figures[key])
        quasi = figures["quasi"]
        given = self.model["options"]["c_hat"]
        self.figure("c-hat given ", "absent" if given is None else given)
        self.figure("Variances multiplied by c-hat ", "absent" if given is None else given)
        demand(given is None or quasi["c_hat"] == given, "c-hat given")
        for label, key in (("QAIC ", "qaic"), ("QAICc ", "qaicc"), ("QBIC ", "qbic")):
            self.figure(label, quasi[key] if quasi else "absent")
        demand((quasi is not None) == self.model["options"]["quasi"], "quasi")
        if quasi:
            k, m2logl = self.fit["rank"]["parameters"], self.fit["minus_2_log_likelihood"]
            demand(math.isclose(quasi["qaic"], m2logl / quasi["c_hat"] + 2 * k, rel_tol=1e-14), "quasi c-hat")
        saturated, k = self.model["saturated"], self.fit["rank"]["parameters"]
        demand(figures["deviance_df"] == saturated["parameters"] - k, "parameters of the saturated model")
        if pearson:
            demand(pearson["histories"] == saturated["histories"], "possible histories")
            # Above 2^53 histories the counts are doubles, and a difference of a few is rounding.
            df = saturated["histories"] - k - saturated["cohorts"]
            demand(abs(pearson["df"] - df) <= 4e-16 * saturated["histories"], "cohorts")
        for label, key in (
            ("Pearson Chisquare ", "chi_square"),
            ("Possible Encounter Histories ", "histories"),
            ("Pearson Chisquare df ", "df"),
            ("Pearson chat ", "c_hat"),
            ("Sum(Observed/Expected) ", "sum_observed_over_expected"),
            ("s-bar ", "s_bar"),
            ("Fletcher chat ", "fletcher_c_hat"),
        ):
            self.figure(label, pearson[key] if pearson else "absent")

    def table(self, heading, prefix, width, rows):
        k = self.last_title(heading)
        for row in rows:
            mark = f" {row['number']:>{width}}:"
            k = next(i for i in range(k, len(self.lines)) if self.lines[i].startswith(mark))
            line = self.lines[k]
            label = line[len(mark) : prefix].strip()
            # A label that reaches into the numbers is overwritten by them.
            demand(row["label"].strip().startswith(label) or "\ufffd" in row["label"], "label", row["label"], "and", label)
            for f, key in enumerate(("estimate", "se", "lower", "upper")):
                start = prefix + 16 * f
                check(row[key], line[start + 2 : start + 16], f"{heading} {row['number']} {key}")
            note = line[prefix + 64 :].strip()
            demand((note == "Fixed") == (row["fixed"] and heading.startswith("Real")), "note", note)

    def last_title(self, heading):
        for k in range(len(self.lines) - 1, -1, -1):
            if self.lines[k].strip() == heading + self.name:
                return k
        raise Fault(f"no section {heading}")

    def tables(self):
        self.table("Link Function Parameters of ", 26, 4, self.model["betas"])
        self.table("Real Function Parameters of ", 27, 5, self.model["reals"])
        k = self.last_title("Real Function Parameters of ")
        place = next((i for i in range(k, len(self.lines)) if self.lines[i].startswith(" " * 10 + "Variable")), None)
        covariates = self.model["covariates"]
        demand((place is not None) == bool(covariates), "covariate values")
        for i, covariate in enumerate(covariates):
            line = self.lines[place + 2 + i]
            demand(line[10:34].strip() == covariate["name"], "covariate", line)
            shown = [line[34 + 14 * f : 48 + 14 * f] for f in range(3)]
            check(covariate["value"], shown[0], "covariate value")
            demand(covariate["standardized"] == bool(shown[1].strip()), "standardized")
            if covariate["standardized"]:
                check(covariate["mean"], shown[1], "covariate mean")
                check(covariate["sd"], shown[2], "covariate sd")

    def derived(self):
        k = self.last_title("Real Function Parameters of ")
        titles = [l.strip()[: -len(self.name)].strip() for l in self.lines[k + 1 :] if l.strip().endswith(self.name) and " of " in l]
        demand(len(titles) == len(self.model["derived"]), "derived sections", titles)
        for section in self.model["derived"]:
            k = next(i for i in range(k + 1, len(self.lines)) if self.lines[i].strip().startswith(section["title"]))
            while "-----" not in self.lines[k]:
                k += 1
            for i, row in enumerate(section["rows"]):
                line = self.lines[k + 1 + i].rstrip()
                fields = re.findall(number, line)
                labels = list(row["labels"].values())
                demand([int(n) for n in fields[: len(labels)]] == labels, "labels of a derived row", line)
                for key, printed in zip(("estimate", "se", "lower", "upper"), fields[len(labels) :]):
                    check(row[key], printed, f"{section['title']} {key}")
                variance = section["covariance"][i][i]
                if variance is not None and variance >= 0:
                    demand(math.isclose(row["se"], math.sqrt(variance), rel_tol=1e-14), "derived covariance")

    def matrices(self):
        """What the numbers must be to each other."""
        model = self.model
        betas, position = model["betas"], {n: i for i, n in enumerate(model["beta_covariance"]["betas"])}
        v = model["beta_covariance"]["matrix"]
        demand(sorted(position) == [b["number"] for b in betas if b["estimated"]], "estimated betas")
        for beta in betas:
            if not beta["estimated"]:
                demand(beta["se"] == beta["lower"] == beta["upper"] == 0, "a beta that is not estimated")
                continue
            i = position[beta["number"]]
            if v[i][i] is not None and v[i][i] >= 0:
                demand(math.isclose(beta["se"], math.sqrt(v[i][i]), rel_tol=1e-12), "beta covariance")
                demand(math.isclose(beta["upper"], beta["estimate"] + multiplier * beta["se"], rel_tol=1e-12, abs_tol=1e-300), "upper")
        for i, real in enumerate(model["reals"]):
            variance = model["real_covariance"][i][i]
            if variance is not None and variance >= 0:
                demand(math.isclose(real["se"], math.sqrt(variance), rel_tol=1e-14), "real covariance")
        self.inverse(betas, position, v)
        self.links(betas)
        self.places()
        design = model["design"]
        demand(len(design["cells"]) == len(design["values"]) == design["rows"] == len(model["reals"]), "rows of the design")
        for cells, values in zip(design["cells"], design["values"]):
            demand(len(cells) == len(values) == design["columns"], "columns of the design")
            demand(all(isinstance(c, str) or c == v for c, v in zip(cells, values)), "cells and values of the design")

    def inverse(self, betas, position, v):
        """Information times covariance is 1 when all betas are estimated and the matrix is not near singular."""
        fit = self.fit
        if fit is None or fit["rank"]["parameters"] != len(v) or fit["rank"]["gap"] is None:
            return
        s = fit["rank"]["singular_values"]
        if None in s or not s[-1] > 1e-6 * s[0]:
            return
        scale = {position[b["number"]]: b["scale_factor"] for b in betas if b["estimated"]}
        n = range(len(v))
        inflation = self.model["options"]["c_hat"] or 1
        for i in n:
            for j in n:
                terms = [fit["information"][i][k] * v[k][j] / inflation / scale[k] / scale[j] for k in n]
                # The condition number, at most 1e6, times the rounding of a double.
                demand(abs(sum(terms) - (i == j)) < 1e-8 * (1 + max(map(abs, terms))), "information and covariance")

    def links(self, betas):
        inverse = {
            "LOGIT": lambda x: 1 / (1 + math.exp(-x)) if abs(x) < 700 else float(x > 0),
            "SIN": lambda x: (math.sin(x) + 1) / 2,
            "LOG": lambda x: math.exp(min(x, 700)),
            "IDENTITY": lambda x: x,
        }
        for real, row in zip(self.model["reals"], self.model["design"]["values"]):
            if real["fixed"] or real["link"] not in inverse or any(None in (x, b["estimate"]) for x, b in zip(row, betas)):
                continue
            terms = [x * b["estimate"] for x, b in zip(row, betas)]
            expected, size = inverse[real["link"]](sum(terms)), sum(map(abs, terms))
            # The rounding of the sum, which the exponential multiplies by its size.
            demand(math.isclose(real["estimate"], expected, rel_tol=1e-13 * (1 + size), abs_tol=1e-13 * (1 + size)), "link of", real["number"])

    def places(self):
        for real in self.model["reals"]:
            cells = [
                (m, r, c)
                for m in self.model["matrices"]
                for r, row in enumerate(m["numbers"], 1)
                for c, n in enumerate(row, 1)
                if n == real["number"]
            ]
            demand({m["parameter"] for m, _, _ in cells} == set(real["parameters"]), "parameters of", real["number"])
            demand(sorted({m["group"] for m, _, _ in cells}) == real["groups"], "groups of", real["number"])
            demand({m["description"] for m, _, _ in cells} - {""} == set(real["strata"]), "strata of", real["number"])
            demand(sorted({r for _, r, _ in cells}) == real["rows"], "rows of", real["number"])
            demand(sorted({c for _, _, c in cells}) == real["columns"], "columns of", real["number"])
        for m in self.model["matrices"]:
            demand(m["rows"] == len(m["numbers"]) and all(m["columns"] == len(row) for row in m["numbers"]), "matrix")

    def times(self):
        seconds = self.model["seconds"]
        for label, step in (
            ("For numerical optimization, CPU Time was ", "optimization"),
            ("To compute VC matrix, CPU Time was ", "information"),
            ("To invert VC matrix, CPU Time was ", "singular_values"),
            ("To compute parameter estimates, CPU Time was ", "estimates"),
        ):
            printed = self.behind(label)
            demand((seconds[step] is None) == (printed is None) or step == "singular_values", "time of", step)
            if printed is None:
                continue
            found = re.match(r"([\d.]+) secs and System Time was ([\d.]+) secs", printed)
            for clock, text in zip(("cpu", "system"), found.groups()):
                check(max(seconds[step][clock], 0.001), text, f"time of {step}")

    def run(self):
        self.head()
        if self.fit is not None:
            self.likelihood()
            self.rank()
            self.figures()
        self.tables()
        self.derived()
        self.matrices()
        self.times()


def check_warnings(objects, listing):
    heads = r"^   \* \*  WARNING  \* \*   (.*?) ?$"
    told = re.findall(heads, listing, re.M)
    rest = list(told)
    place = 0
    for model in objects[:-1]:
        for warning in model["warnings"]:
            demand(warning in rest[place:], "warning of a model", warning)
            place = rest.index(warning, place)
            rest.pop(place)
    # What the job's last report says comes behind the models.
    demand([w.rstrip() for w in objects[-1]["warnings"]] == [w.rstrip() for w in rest], "warnings", objects[-1]["warnings"], rest)


def check_data_type(model, before):
    """The data that a model was fitted to are those that were read last."""
    number = re.findall(r"^ +Data type number is (\d+)", before, re.M)[-1]
    name = re.findall(r"^ +Data type is (.*)$", before, re.M)[-1].rstrip()
    demand([str(model["data_type"]["number"]), model["data_type"]["name"]] == [number, name], "data type", number, name)


def fields_of(value, path, found):
    """Paths of all members below a value; `[]` stands for the elements of a list."""
    if path:
        found.add(path)
    if isinstance(value, dict):
        for key, member in value.items():
            fields_of(member, f"{path}.{key}" if path else key, found)
    elif isinstance(value, list):
        for element in value:
            fields_of(element, path + "[]", found)


def documented_fields():
    """The paths in the first columns of the tables of docs/results.md, by type of object."""
    fields = {"model": set(), "end": set()}
    kind = None
    for line in (root / "docs" / "results.md").read_text().split("\n"):
        if line.startswith("## "):
            kind = {"## A model": "model", "## The end": "end"}.get(line)
        elif kind and line.startswith("| `"):
            fields[kind].update(re.findall(r"`([^`]+)`", line.split("|")[1]))
    return fields


def with_parents(paths):
    """A path stands for all that it leads through."""
    found = set()
    for path in paths:
        while path:
            found.add(path)
            path = path[:-2] if path.endswith("[]") else path.rpartition(".")[0]
    return found


def run_deck(binary, deck, given):
    """Runs a deck and checks its file; adds the fields met to `given`. Gives the number of models."""
    with tempfile.TemporaryDirectory() as place:
        folder = Path(place)
        shutil.copy(deck, folder)
        name = deck.stem
        more = deck.with_suffix(".args")
        words = more.read_text().split() if more.exists() else []
        done = subprocess.run(
            [str(binary), f"i={deck.name}", f"o={name}.out", f"json={name}.jsonl", "nocolor", "lines=0", *words],
            cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=300, check=False,
        )
        stop = done.stderr.decode("utf-8", "replace").rstrip("\n").split("\n")[-1]
        listing = (folder / f"{name}.out").read_bytes().decode("utf-8", "replace")
        lines = (folder / f"{name}.jsonl").read_text("utf-8").split("\n")

    def refuse(word):
        raise Fault(f"{word} is no JSON")

    demand(done.returncode == 0, "status", done.returncode)
    demand(lines.pop() == "", "the last line has no end")
    objects = [json.loads(line, parse_constant=refuse) for line in lines]
    demand([o["type"] for o in objects] == ["model"] * (len(objects) - 1) + ["end"], "types of the objects")
    demand(all(o["schema"] == schema for o in objects), "schema")
    demand([o["model"] for o in objects[:-1]] == list(range(1, len(objects))), "numbers of the models")
    end = objects[-1]
    demand(end["stop"] == stop, "stop text", end["stop"], stop)
    demand(end["models"] == len(objects) - 1, "count of models")
    errors = re.findall(r"^ ERROR -- (.*)$", listing, re.M)
    if stop == "ERROR EXIT from TARN":
        demand(end["error"] is not None and errors[-1].rstrip() == end["error"].rstrip(), "error", end["error"])
    else:
        demand(end["error"] is None, "error", end["error"])
    check_warnings(objects, listing)
    head, *parts = re.split(r"^(?= Model is )", listing, flags=re.M)
    demand(len(parts) >= len(objects) - 1, "models on the listing")
    for model, part in zip(objects, parts):
        if model["type"] == "model":
            check_data_type(model, head)
            head += part
            Model_check(model, [line.rstrip("\r") for line in part.split("\n")]).run()
    for element in objects:
        fields_of(element, "", given[element["type"]])
    return len(objects) - 1


def check_ends(binary):
    """Runs that end on their command line: what the file tells of it."""
    runs = (
        (["json=e", "i=none.deck"], "Input file error", "The file none.deck does not exist."),
        (["i=none.deck", "Json=e"], "Input file error", "The file none.deck does not exist."),
        (["json=e"], "No input file", "No input file was specified, so TARN job is done."),
        (["i=d.deck", "json=e", "batch"], "NORMAL EXIT", None),
        (["json=e", "i=d.deck", "o=none/x.out"], "Output file error", "The file none/x.out cannot be written: No such file or directory."),
        (["json=e", "i=d.deck", "v=d.deck"], "Output file error", "The file d.deck is the input file and will not be overwritten."),
        (["json=e", "i=d.deck", "o=/dev/../dev/full"], "Output file error", "/dev/../dev/full: No space left on device"),
    )
    for words, stop, error in runs:
        with tempfile.TemporaryDirectory() as place:
            (Path(place) / "d.deck").write_text("proc title x;\nproc stop;\n")
            (Path(place) / "e").write_text("an earlier file\n")
            done = subprocess.run([str(binary), *words], cwd=place, stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False)
            lines = (Path(place) / "e").read_text().split("\n")
        demand(done.stderr.decode().rstrip("\n").split("\n")[-1] == stop, words, "does not end with", stop)
        demand(len(lines) == 2 and lines[1] == "", words, "gives", lines)
        end = json.loads(lines[0])
        wanted = {"type": "end", "schema": schema, "stop": stop, "error": error, "models": 0, "warnings": []}
        demand(end == wanted, words, "gives", end)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--binary", type=Path, default=root / "build" / "release" / "tarn")
    parser.add_argument("--fields", action="store_true")
    parser.add_argument("paths", nargs="+", type=Path)
    options = parser.parse_args()
    decks = [d for p in options.paths for d in (sorted(p.rglob("*.deck")) if p.is_dir() else [p])]
    faults, models = 0, 0
    given = {"model": set(), "end": set()}
    for deck in decks:
        try:
            models += run_deck(options.binary.resolve(), deck.resolve(), given)
        except (Fault, StopIteration, KeyError, IndexError, TypeError, ValueError, OSError, subprocess.TimeoutExpired) as fault:
            faults += 1
            print(f"{deck}: {type(fault).__name__}: {fault}")
    if options.fields:
        try:
            check_ends(options.binary.resolve())
        except (Fault, ValueError, OSError) as fault:
            faults += 1
            print(f"command line: {fault}")
        for kind, documented in documented_fields().items():
            for path in sorted(given[kind] - with_parents(documented)):
                faults += 1
                print(f"{kind}: {path} is not in docs/results.md")
            for path in sorted(documented - given[kind]):
                faults += 1
                print(f"{kind}: {path} is in docs/results.md, and no deck gives it")
    print(f"results: {len(decks)} decks, {models} models, {faults} faults")
    return 1 if faults or not decks else 0


if __name__ == "__main__":
    sys.exit(main())
