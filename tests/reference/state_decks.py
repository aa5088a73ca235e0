"""Strata and states of tests/decks/options a second time, for option_decks.py.

Chances of histories are those of strata_models.py. A model is a table from matrices, as they are named there, to numbers of real
parameters: one for all cells, a list by column, or a list of rows; an entry of a stratum serves all its sessions, one of a
parameter all strata. The last column of a list serves all behind it.
"""

import re

import numpy
from scipy.optimize import minimize

import strata_models as models
from open_decks import derived
from second_fits import Fit, expit, folder, interval, rate_interval

step = 1e-30


class Many_points(Fit):
    """A fit of a function that takes many points at once, as columns."""

    def __init__(self, f, start):
        self.f = f
        value = lambda b: (lambda v: v if numpy.isfinite(v) else 1e8)(float(f(b)))
        with numpy.errstate(all="ignore"):  # a long step of the search may leave the range
            x = minimize(value, numpy.array(start, float), jac=self.gradient, method="BFGS").x
        for _ in range(4):
            x = x - numpy.linalg.solve(self.hessian(x), self.gradient(x))
        self.beta, self.value = x, float(f(x))
        self.information = self.hessian(x) / 2
        self.variance = numpy.linalg.inv(self.information)
        self.se = numpy.sqrt(numpy.diag(self.variance))

    def gradient(self, x):
        return self.f(x[:, None] + 1j * step * numpy.eye(len(x))).imag / step

    def hessian(self, x, h=1e-4):
        """Differences of fourth order of the exact gradient."""
        unit = numpy.eye(len(x))
        places = [(x + k * h * e)[:, None] + 1j * step * unit for k in (1, -1, 2, -2) for e in unit]
        slopes = self.f(numpy.concatenate(places, axis=1)).imag / step
        near, behind, far, far_behind = slopes.reshape(4, len(x), len(x))
        rows = (8 * (near - behind) - (far - far_behind)) / (12 * h)
        return (rows + rows.T) / 2


def records(deck):
    """(history, counts) of a deck; dots, codes and events."""
    text = (folder / f"{deck}.deck").read_text().split("proc estimate")[0]
    return [(h, [int(n) for n in counts.split()]) for h, counts in re.findall(r"^([0-9A-Za-z.]+)((?: -?\d+)+);", text, re.M)]


def looked_up(table, reals):
    """The function x of strata_models from a table of numbers of real parameters."""

    def x(name, element, row, column, occasions=None):
        stratum = element.split(" ")[0] if "to" not in element else element
        entry = next((table[key] for key in (f"{name} {element}", f"{name} {stratum}", name) if key in table), None)
        if entry is None or isinstance(entry, int):
            return None if entry is None else reals[entry - 1]
        if isinstance(entry[0], list):
            entry = entry[min(row, len(entry)) - 1]
        if occasions:
            column = max(column - (occasions - len(entry)), 1)
        return reals[entry[min(column, len(entry)) - 1] - 1]

    return x


class Model:
    """A deck with its fit. `tables`: one, or one for each group; `links`: a letter for each real parameter, l logit, e log, a digit
    for its multinomial set; `fixed`: values of real parameters."""

    def __init__(self, deck, title, study, chance, tables, links, start, fixed=None, full=False):
        self.deck, self.title, self.study, self.chance, self.links = deck, title, study, chance, links
        self.tables = tables if isinstance(tables, list) else [tables]
        self.fixed, self.full, self.data = fixed or {}, full, records(deck)
        self.free = [i for i in range(len(links)) if i + 1 not in self.fixed]
        self.fit = Many_points(self.objective, [start[i] for i in self.free])

    def reals(self, b):
        beta = dict(zip(self.free, b))
        out = []
        for i, link in enumerate(self.links):
            if i not in beta:
                out.append(self.fixed[i + 1])
            elif link == "l":
                out.append(expit(beta[i]))
            elif link == "e":
                out.append(numpy.exp(beta[i]))
            else:
                out.append(numpy.exp(beta[i]) / (1 + sum(numpy.exp(beta[j]) for j in beta if self.links[j] == link)))
        return out

    def x(self, b, group=0):
        return looked_up(self.tables[min(group, len(self.tables) - 1)], self.reals(b))

    def group(self, group=0):
        return [(h, n[group]) for h, n in self.data if n[group]]

    def objective(self, b):
        total = 0.0
        for group in range(len(self.data[0][1])):
            x = self.x(b, group)
            chance = self.chance(self.study, x)
            total = total - 2 * sum(abs(n) * numpy.log(chance(h, n < 0)) for h, n in self.group(group))
            if self.full:
                total = total - 2 * models.never_met(self.study, x, self.group(group))
        return total

    def rows(self):
        """The blank behind a label keeps that of beta 1 apart from those of 11 to 19."""
        fit = self.fit
        out = {f"-2logL {{{self.title}}} =": [fit.value]}
        errors, spread = dict(zip(self.free, fit.se)), fit.variance
        for i, link in enumerate(self.links, 1):
            if i in self.fixed:
                out[f"{i}:real {i} "] = [self.fixed[i], 0, self.fixed[i], self.fixed[i]]
                continue
            b, se = dict(zip(self.free, fit.beta))[i - 1], errors[i - 1]
            out[f"{i}:beta {i} "] = interval(b, se)
            real = self.reals(fit.beta)[i - 1]
            if link == "l":
                out[f"{i}:real {i} "] = rate_interval(real, se * real * (1 - real))
            elif link == "e":
                out[f"{i}:real {i} "] = [real, se * real]
            else:
                slope = numpy.array([self.reals(fit.beta + 1j * step * e)[i - 1].imag / step for e in numpy.eye(len(fit.beta))])
                out[f"{i}:real {i} "] = [real, (slope @ spread @ slope) ** 0.5]
        return out


def in_order(study, value):
    """By stratum, then session."""
    return [value(a, s) for a in study.codes for s in range(1, len(study.spans) + 1)]


def labels(study, periods=None):
    return [f"{a + 1}    {s}" for a in range(len(study.codes)) for s in range(1, (periods or len(study.spans)) + 1)]


def section(model, heading, values, names, sampling=None):
    rows = derived(model.fit, heading, values, "{}", sampling)
    return {f"{heading}: 1    {name}": row for name, row in zip(names, rows.values())}


def by_record(model, within):
    """Animals caught in each stratum and session, over the chance to be caught there with the dots of each record."""

    def estimates(b, q_power=1, missed=False):
        kept = models.Sessions(model.study, model.x(b), within)

        def one(a, s):
            total = 0.0
            for h, n in models.animals_met(model.study, model.group(), s, a):
                q = kept.met(models.sessions(model.study, h)[s - 1], a, s)
                total = total + n * (1 - q if missed else 1) / q**q_power
            return total

        return in_order(model.study, one)

    names = labels(model.study)
    return section(model, "N-hat", estimates, names, estimates(model.fit.beta, 2, True))


def with_never_met(model, alpha=None):
    """Those caught and those not; with mis-readings the share of the first that are no ghosts, times both."""
    study = model.study

    def one(b, a, s):
        met = models.animals_met(study, model.group(), s, a)
        caught = sum(n for _, n in met)
        rightly = 1.0
        if alpha:
            cells = lambda h: models.sessions(study, h)[s - 1]
            first = lambda h: next(o for o, sign in enumerate(cells(h), 1) if sign not in "0.")
            rightly = sum(n * model.x(b)("alpha", f"{a} {s}", 1, first(h)) for h, n in met) / caught
        return rightly * (caught + model.x(b)("f0", f"{a} {s}", 1, 1))

    return section(model, "N-hat", lambda b: in_order(study, lambda a, s: one(b, a, s)), labels(study))


def stay(study, x, a, s, ages=False):
    """Occasions that an animal is there: a sum over those of its arrival."""
    begin, end = study.spans[s - 1]
    n = end - begin
    total = 0.0
    for i, share in enumerate(models.arrivals(study, x, a, s, n), 1):
        there = share
        for j in range(i, n + 1):
            total = total + there
            there = there * x("Phi", f"{a} {s}", i if ages else 1, j) if j < n else there
    return total


def stays(model, heading, part=False):
    study = model.study

    def one(b, a, s):
        x = model.x(b)
        out = stay(study, x, a, s, study.more.get("ages", False))
        return out * x("alpha", f"{a} {s}", 1, 1) if part else out

    return section(model, heading, lambda b: in_order(study, lambda a, s: one(b, a, s)), labels(study))


def recognised(model):
    """Animals recognised in each state and session, over the chance of that with the dots of each record."""
    study = model.study

    def estimates(b, power=1, missed=False):
        kept = models.Uncertain(study, model.x(b), "open")

        def one(a, s):
            total = 0.0
            for h, n in model.group():
                cells = models.sessions(study, h)[s - 1]
                if a in cells:
                    ever, unsure = kept.ever(cells, a, s)
                    q = ever - unsure
                    total = total + abs(n) * (1 - q if missed else 1) / q**power
            return total

        return in_order(study, one)

    return section(model, "N-hat", estimates, labels(study), estimates(model.fit.beta, 2, True))


def jolly_seber(model):
    """All animals; those there by stratum and occasion; births, with those that die before the next occasion."""
    study, k = model.study, len(model.study.lengths) + 1

    def all_animals(b, power=1, missed=False):
        """Each record over the chance to be met on the occasions on which it was sampled."""
        x, total = model.x(b), 0.0
        for h, n in model.group():
            q = 1 - models.met_somewhere(study, x, models.blank(h))
            total = total + abs(n) * (1 - q if missed else 1) / q**power
        return total

    def there(b):
        return [all_animals(b) * n for n in models.numbers_there(study, model.x(b), k)[0]]

    def births(b):
        return [all_animals(b) * n for n in models.numbers_there(study, model.x(b), k)[1]]

    beta, names = model.fit.beta, labels(study, k)
    extra = all_animals(beta, 2, True)
    carried = lambda values: [extra * (n / all_animals(beta)) ** 2 for n in values]
    out = derived(model.fit, "N*-hat", lambda b: [all_animals(b)], "1", [extra])
    out |= section(model, "Abundance      Standard Error", there, names, carried(there(beta)))
    return out | section(model, "Gross Birth+Immigration", births, names, carried(births(beta)))


# ---- models


def simple(chance):
    return lambda study, x: lambda h, lost: chance(study, x, h, lost)


def sessions_of(within, form="chance"):
    return lambda study, x: getattr(models.Sessions(study, x, within), form)


def uncertain(kind):
    return lambda study, x: models.Uncertain(study, x, kind).chance


def known_strata():
    study = models.Study("ABC", [1, 2, 0.5])
    common = {"S A": 1, "S B": 2, "S C": 3}
    common |= {"Psi A to B": 10, "Psi A to C": 11, "Psi B to A": 12, "Psi B to C": 13, "Psi C to B": 14}
    tables = [common | {f"p {a}": 4 + i + 3 * g for i, a in enumerate("ABC")} for g in (0, 1)]
    start = [1] * 3 + [0] * 6 + [-1] * 5
    model = Model("strata-mlogit", "S(stratum) p(stratum, group) Psi", study, simple(models.recaptured), tables, "lllllllll1122l", start)
    yield model.deck, model.rows()

    rows = [[3, 4, 4, 4], [0, 3, 4, 4], [0, 0, 3, 4], [0, 0, 0, 3]]
    table = {"S A": 1, "S B": 2, "p A": rows, "p B": [[5] * 4, [6] * 4], "Psi A to B": [7, 8, 9, 10], "Psi B to A": 11}
    study = models.Study("AB", [1, 1, 2, 1])
    chance = simple(models.recaptured)
    model = Model("strata-residual", "S(stratum) p(age) Psi(t)", study, chance, table, "l" * 11, [0] * 11, {11: 0.25})
    yield model.deck, model.rows()

    table = {"S A": 1, "S B": 2, "p": [3, 4, 5], "Psi A to B": 6, "Psi B to A": 7, "r A": 8, "r B": 9}
    study = models.Study("AB", [1, 2, 1, 0.5])
    chance = simple(models.live_and_dead)
    model = Model("strata-live-and-dead", "S(stratum) p(t) Psi r(stratum)", study, chance, table, "l" * 9, [0] * 9)
    yield model.deck, model.rows()


def closed_sessions():
    closed = models.closed_session
    table = {"S": 1, "Psi A to B": 2, "Psi B to A": 3, "p A": 4, "p B": 5, "c A": 6, "c B": 7}
    study = models.Study("AB", [0, 1, 2, 0, 0, 1, 0])
    chance = sessions_of(closed)
    model = Model("strata-in-sessions", "S(.) Psi p(stratum) c(stratum)", study, chance, table, "l" * 7, [0] * 7)
    yield model.deck, model.rows() | by_record(model, closed)

    full = sessions_of(closed, "full")
    sizes = lambda first: {f"f0 {a} {s}": first + 2 * i + s - 1 for i, a in enumerate("AB") for s in (1, 2)}
    table = {"S": 1, "Psi A to B": 2, "Psi B to A": 2, "p A": 3, "p B": 4, "c": 5} | sizes(6)
    study, start = models.Study("AB", [0, 0, 2, 0, 0]), [0] * 5 + [2] * 4
    title = "S(.) Psi(.) p(stratum) c(.) f0"
    model = Model("strata-in-sessions-sizes", title, study, full, table, "l" * 5 + "eeee", start, full=True)
    yield model.deck, model.rows() | with_never_met(model)

    table = {"S": 1, "Psi A to B": 2, "Psi B to A": 3, "pi": 4, "p": [[5], [6]], "c": [[7], [8]]} | sizes(9)
    study, start = models.Study("AB", [0, 0, 0, 1, 0, 0], mixtures=2), [0] * 4 + [1, -1, 1, -1] + [2] * 4
    title = "S(.) Psi(.) pi p(mixture) c(.) f0"
    model = Model("strata-in-sessions-mixtures", title, study, full, table, "l" * 8 + "eeee", start, {4: 0.4}, full=True)
    yield model.deck, model.rows() | with_never_met(model)

    table = {"S": 1, "Psi A to B": 2, "Psi B to A": 2, "p A": 3, "p B": 4, "c A": 3, "c B": 4, "alpha": 5} | sizes(6)
    study, start = models.Study("AB", [0, 0, 0, 1, 0, 0, 0]), [0] * 4 + [2] * 5
    title = "S(.) Psi(.) p(stratum) c(stratum) alpha(.) f0"
    model = Model("strata-in-sessions-misread", title, study, full, table, "l" * 5 + "eeee", start, full=True)
    yield model.deck, model.rows() | with_never_met(model, alpha=True)

    table = {"S": 1, "Psi A to B": 2, "Psi B to A": 2, "sigmap": 3, "p A": 4, "p B": 5, "c A": 4, "c B": 5}
    study = models.Study("AB", [0, 0, 0, 1, 0, 0, 0], nodes=15)
    title = "S(.) Psi(.) sigmap(.) p(stratum) c=p"
    model = Model("strata-in-sessions-effect", title, study, chance, table, "llell", [0, 0, -0.5, 0, 0])
    yield model.deck, model.rows() | by_record(model, closed)

    table = {"S": 1, "Psi A to B": 2, "Psi B to A": 3, "p A": 8, "p B": 9, "c A": 8, "c B": 9}
    tables = [table | {"Omega A": [4, 5, 6]}, table | {"Omega A": 7}]
    study = models.Study("AB", [0, 1, 0, 0, 0.5, 0])
    title = "S(.) Psi Omega(group) p(stratum) c=p"
    model = Model("strata-in-sessions-shares", title, study, sessions_of(closed, "with_states"), tables, "l" * 9, [0] * 9)
    yield model.deck, model.rows()


def open_strata():
    within = models.open_session
    lives = {"S A": 1, "S B": 2, "Psi A to B": 3, "Psi B to A": 4}

    def visits(first):
        return {"pent": first, "Phi A": first + 1, "Phi B": first + 2, "p A": first + 3, "p B": first + 4}

    def model(deck, title, lengths, form, table, entries):
        start = [-1.4 if i == table["pent"] else 0.5 for i in range(1, table["p B"] + 1)]
        study = models.Study("AB", lengths, entries=entries)
        return Model(deck, title, study, sessions_of(within, form), table, "l" * len(start), start)

    title = "S(stratum) Psi{} pent Phi p"
    fitted = model("strata-in-open-sessions", title.format(""), [0, 0, 1, 0, 0, 0, 2, 0, 0], "chance", lives | visits(5), "last")
    yield fitted.deck, fitted.rows() | by_record(fitted, within) | stays(fitted, "Res. Time")
    table = lives | {"Omega A": [5, 6, 7]} | visits(8)
    fitted = model("strata-in-open-sessions-shares", title.format(" Omega"), [0, 0, 0, 1, 2, 0, 0], "with_states", table, "first")
    yield fitted.deck, fitted.rows() | by_record(fitted, within) | stays(fitted, "Res. Time")
    table = lives | {"Gamma A": 5, "Gamma B": 6} | visits(7)
    fitted = model("strata-in-open-sessions-seniority", title.format(" Gamma"), [0, 0, 1, 0, 0, 2], "with_seniority", table, "last")
    yield fitted.deck, fitted.rows()


def uncertain_states():
    study = models.Study("AB", [0, 1, 0, 0, 2, 0])
    lives = {"S": 1, "Psi A to B": 2, "Psi B to A": 3}
    table = lives | {"pi A": [4, 5, 6], "Omega A": 7, "p A": 8, "p B": 9, "Delta A": 10, "Delta B": 11}
    title = "S(.) Psi pi Omega p Delta"
    model = Model("state-uncertain", title, study, uncertain("closed"), table, "l" * 11, [0] * 11)
    yield model.deck, model.rows()
    table = lives | {"pi A": 4, "Omega A": 5, "p A": 6, "p B": 7, "Delta A": 8, "Delta B": 9, "Delta a": 10, "Delta b": 10}
    model = Model("state-assigned", title, study, uncertain("two"), table, "l" * 10, [0] * 10)
    yield model.deck, model.rows()

    shares = lives | {"pi A": 4, "Omega A": 5}
    table = shares | {"p A": 6, "p B": 7, "Delta A": 8, "Delta B": 9, "pent": 10, "Phi A": 11, "Phi B": 12}
    study = models.Study("AB", [0, 0, 1, 0, 0, 0, 2, 0, 0])
    title += " pent Phi"
    model = Model("state-uncertain-open", title, study, uncertain("open"), table, "l" * 12, [0] * 9 + [-1.4, 0, 0])
    yield model.deck, model.rows() | recognised(model) | stays(model, "Res. Time")

    title += " alpha c"
    visits = shares | {"p": 6, "Delta A": 7, "Delta B": 8, "pent": 9}
    table = visits | {"Phi": 10, "alpha": 11, "c": 12}
    study = models.Study("AB", [0, 0, 1, 0, 0, 2, 0, 0, 1, 0, 0], entries="last")
    model = Model("state-uncertain-season", title, study, uncertain("open"), table, "l" * 12, [0] * 8 + [-1, 0, 0, 0])
    yield model.deck, model.rows() | recognised(model) | stays(model, "Res. Time", part=True)
    table = visits | {"Phi": [[10, 11], [0, 11]], "alpha": 12, "c": 13}
    study = models.Study("AB", [0, 0, 1, 0, 0, 2, 0, 1, 0, 0], ages=True)
    start = [0] * 8 + [-1.4, 0, 0, 0, 0]
    model = Model("state-uncertain-age", title, study, uncertain("open"), table, "l" * 13, start, {12: 0.7})
    yield model.deck, model.rows() | recognised(model) | stays(model, "Res. Time", part=True)


def joint_encounters():
    title = "S p Psi R R' r Delta rho rho' b pi"
    lives = {"S A": 1, "S B": 2, "p A": 3, "p B": 4, "Psi A to B": 5, "Psi B to A": 6, "R": 7, "R'": 8, "r": 9}
    table = lives | {"Delta A": 10, "Delta B": 11, "rho A": 12, "rho B": 13, "rho'": 14, "b": 15, "pi A": [16, 17]}
    study = models.Study("AB", [1, 2, 1, 1], kind=176)
    model = Model("state-joint", title, study, simple(models.joint), table, "l" * 17, [0] * 17)
    yield model.deck, model.rows()
    table = lives | {"Delta A|A": 10, "Delta A|x": 11, "Delta B|B": 12, "Delta B|x": 13}
    table |= {f"{name} {a}|{a}": 14 + i for i, name in enumerate(("rho", "rho'", "b")) for a in "AB"} | {"pi A": 17}
    for deck, kind in (("state-joint-events", 179), ("state-joint-moves-first", 180)):
        study = models.Study("AB", [1, 1, 2, 1], kind=kind, lists=("xy", "v", "k"))
        model = Model(deck, title, study, simple(models.joint), table, "l" * 9 + "1122" + "llll", [0] * 9 + [-1] * 4 + [0] * 4)
        yield model.deck, model.rows()


def hidden_states():
    table = {"S": 1, "p A": 2, "p B": 3, "Psi A to B": 4, "Psi B to A": 4, "pi A": 5, "Delta A|x": 6, "Delta x|B": 7}
    study = models.Study("AB", [1, 2, 1, 1], events="xy")
    model = Model("hidden-states", "S p Psi pi Delta", study, simple(models.hidden), table, "l" * 7, [1, 0, 0, -1, 0, 1, -1])
    yield model.deck, model.rows()
    table = {"S A": 1, "S B": 2, "p A": 3, "p B": 4, "Psi A to B": 5, "Psi B to A": 6}
    table |= {"Delta A|A": [7, 8, 9], "Delta B|B": [7, 8, 9]}
    study = models.Study("AB", [1, 1, 2], events="u")
    model = Model("hidden-states-released-known", "S p Psi Delta", study, simple(models.hidden), table, "l" * 9, [0] * 9)
    yield model.deck, model.rows()

    table = {"S": 1, "p A": 2, "p B": 3, "Psi A to B": 4, "Psi B to A": 5, "pent": [6, 7, 8], "pi A": [9, 10]}
    study = models.Study("AB", [1, 2, 1])
    model = Model("strata-entries", "S p Psi pent pi", study, simple(models.entering), table, "lllll111ll", [0] * 10)
    yield model.deck, model.rows() | jolly_seber(model)
    table |= {"pi A": 9, "Delta A|A": 10, "Delta B|B": 11}
    study = models.Study("AB", [1, 2, 1], events="u", entries="last")
    model = Model("state-entries", "S p Psi pent pi Delta", study, simple(models.entering), table, "lllll111lll", [0] * 11)
    yield model.deck, model.rows() | jolly_seber(model)


def deck_values():
    yield from known_strata()
    yield from closed_sessions()
    yield from open_strata()
    yield from uncertain_states()
    yield from joint_encounters()
    yield from hidden_states()
