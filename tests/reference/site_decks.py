"""Sites of tests/decks/options a second time, for option_decks.py.

Chances of histories are those of site_models.py. A model is a table from matrices to numbers of real parameters: one for all cells, a
list by column, or a list of rows. "p" is the matrix without indices, ("p", 2) and ("p", 2, 3) have a second and a third one; a
matrix that is not there for a session is that of all.
"""

import itertools
import re

import numpy

import site_models
from open_decks import derived
from second_fits import expit, folder, interval, rate_interval
from site_models import Study
from state_decks import Many_points, step


class Cells:
    """The function x of site_models from a table and numbers of real parameters."""

    def __init__(self, table, reals):
        self.table, self.reals = table, reals

    def entry(self, name, a, b):
        return next((self.table[key] for key in ((name, a, b), (name, a), name) if key in self.table), None)

    def __call__(self, name, row, column, a=1, b=1):
        entry = self.entry(name, a, b)
        if entry is None or isinstance(entry, int):
            return None if entry is None else self.reals[entry - 1]
        if isinstance(entry[0], list):
            entry = entry[row - 1]
        return self.reals[entry[column - 1] - 1]

    def width(self, name, a=1, b=1):
        entry = self.entry(name, a, b)
        if isinstance(entry, int):
            return 1
        return len(entry[0]) if isinstance(entry[0], list) else len(entry)

    def height(self, name, a=1, b=1):
        entry = self.entry(name, a, b)
        return len(entry) if isinstance(entry, list) and isinstance(entry[0], list) else 1


def records(deck):
    """(history, counts, covariates) of a deck."""
    text = (folder / f"{deck}.deck").read_text().split("proc estimate")[0]
    groups = int(re.search(r"groups=(\d+)", text)[1])
    lines = re.findall(r"^([0-9A-Za-z.]+)((?: -?[0-9.]+)+);", text, re.M)
    split = [(h, [float(word) for word in words.split()]) for h, words in lines]
    return [(h, numbers[:groups], numbers[groups:]) for h, numbers in split]


class Model:
    """A deck with its fit. `tables`: one, or one for each group; `links`: a letter for each real parameter, l logit, e log, i identity, a digit
    for its multinomial set; `design`: of real parameters that are no single beta of their own, {beta: number or name of a covariate};
    `names`: covariates of a record; `at`: where real parameters are reported."""

    def __init__(self, deck, title, study, tables, links, start, design=None, names=(), at=None):
        self.deck, self.title, self.study, self.links, self.start = deck, title, study, links, start
        self.tables = tables if isinstance(tables, list) else [tables]
        self.design, self.names, self.at = design or {}, names, at

    def fitted(self):
        self.data = records(self.deck)
        self.at = self.at or self.data[0][2]
        self.fit = Many_points(self.objective, self.start)
        return self

    def scores(self, b, covariates):
        known = dict(zip(self.names, covariates))
        rows = (self.design.get(i, {i: 1}) for i in range(1, len(self.links) + 1))
        return [sum(b[k - 1] * known.get(v, v) for k, v in row.items()) for row in rows]

    def reals(self, b, covariates=None):
        score = self.scores(b, self.at if covariates is None else covariates)
        sets = {link: 1 + sum(numpy.exp(s) for s, of in zip(score, self.links) if of == link) for link in self.links}
        inverse = {"l": expit, "e": numpy.exp, "i": lambda v: v}
        return [inverse[link](s) if link in inverse else numpy.exp(s) / sets[link] for s, link in zip(score, self.links)]

    def x(self, b, group=0, covariates=None):
        return Cells(self.tables[min(group, len(self.tables) - 1)], self.reals(b, covariates))

    def objective(self, b):
        total, kept = 0.0, {}
        for h, counts, covariates in self.data:
            for group, n in enumerate(counts):
                if n == 0:
                    continue
                key = group, *covariates
                if key not in kept:
                    kept[key] = site_models.Chances(self.study, self.x(b, group, covariates))
                total = total - 2 * abs(n) * numpy.log(kept[key].of(h))
        return total

    def rows(self):
        """The blank behind a label keeps that of beta 1 apart from those of 11 to 19."""
        fit = self.fit
        out = {f"-2logL {{{self.title}}} =": [fit.value]}
        for i, (b, se) in enumerate(zip(fit.beta, fit.se), 1):
            out[f"{i}:beta {i} "] = interval(b, se)
        values = self.reals(fit.beta)
        for i, (real, link) in enumerate(zip(values, self.links), 1):
            slope = numpy.array([self.reals(fit.beta + 1j * step * e)[i - 1].imag / step for e in numpy.eye(len(fit.beta))])
            se = (slope @ fit.variance @ slope) ** 0.5
            out[f"{i}:real {i} "] = rate_interval(real, se) if link == "l" else [real, se]
        return out | self.sections()

    def sections(self):
        groups = range(len(self.data[0][1]))
        out = {}
        for k, (heading, values) in enumerate(site_models.derived(self.study, self.x(self.fit.beta))):
            values_of = lambda b, k=k: [v for g in groups for v in site_models.derived(self.study, self.x(b, g))[k][1]]
            rows = derived(self.fit, heading, values_of, "{}")
            for name, row in zip(self.labels(heading, len(values), groups), rows.values()):
                out[f"{heading}: {name}"] = row
        return out

    def labels(self, heading, count, groups):
        """What stands in front of each value, with the blanks of the listing."""
        return [f"{g + 1}{rest}" for g in groups for rest in self.behind_group(heading, count)]

    def behind_group(self, heading, count):
        states = range(1, len(self.study.codes) + 2)
        sessions = range(1, len(self.study.sessions) + 1)
        if heading == "Phi_t Matrices":
            return [f"    {s}    {a}    {b}" for s in sessions[:-1] for a in states for b in states]
        if heading == "Phi_t*Psi Vectors":
            return [f"    {s}    {a}" for s in sessions for a in states]
        if self.study.kind == 177:
            species = range(1, self.study.species + 1)
            sets = (of for n in species for of in itertools.combinations(species, n))
            return [f"    {k}{''.join(map(str, of)):>11}" for k, of in enumerate(sets, 1)]
        if count == 1:
            return [""]
        return [(f"        {k}" if self.study.kind == 141 else f"     {k}") for k in range(1, count + 1)]


def logits(*rates):
    return [float(numpy.log(p / (1 - p))) for p in rates]


def models():
    yield from one_season()
    yield from dynamics()
    yield from several_species()
    yield from several_states()


def one_season():
    names = ("cover", "wind1", "wind2", "wind3", "wind4")
    design = {1: {1: 1, 2: "cover"}} | {k: {3: 1, 4: f"wind{k - 1}"} for k in range(2, 6)}
    table = {"Psi": 1, "p": [2, 3, 4, 5]}
    study = Study(27, [4])
    yield Model("occupancy", "Psi(cover) p(wind)", study, table, "lllll", [0.3, 0.8, -0.4, -0.7], design, names, [0.5, 0, 0, 0, 0])

    table = {"pi": 1, "p": [[2] * 5, [3] * 5], "Psi": 4}
    yield Model("occupancy-mixture", "pi p(kind) Psi", Study(107, [5], mixtures=2), table, "llll", logits(0.4, 0.2, 0.65, 0.6))

    table = {"sigmap": 1, "p": [2, 3, 2, 3, 2, 3], "Psi": 4}
    study = Study(151, [6], nodes=21)
    yield Model("occupancy-effect", "sigmap p(odd, even) Psi", study, table, "elll", [0.0, *logits(0.3, 0.45, 0.65)])

    table = {"r": [1, 2, 3, 3], "Lambda": 4}
    yield Model("occupancy-abundance", "r(t) Lambda", Study(111, [4]), table, "llle", [*logits(0.25, 0.4, 0.3), 0.6])
    table = {"r": 1, "Lambda": 2, "VarAdd": 3}
    yield Model("occupancy-abundance-spread", "r Lambda VarAdd", Study(112, [7]), table, "lee", [*logits(0.35), 0.6, 0.9])

    design = {2: {2: 1, 3: "cover"}}
    yield Model("occupancy-counts", "r Lambda(cover)", Study(117, [3]), {"r": 1, "Lambda": 2}, "le", [*logits(0.4), 0.8, 0.5], design, ("cover",))
    table = {"r": [1, 1, 2, 2], "Lambda": 3, "VarAdd": 4}
    yield Model("occupancy-counts-spread", "r(half) Lambda VarAdd", Study(118, [4]), table, "llee", [*logits(0.35, 0.5), 0.9, 1.2])

    table = {"p10": 1, "p11": [2, 2, 3, 3], "b": 4, "Psi": 5}
    yield Model("occupancy-errors", "p10 p11(half) b Psi", Study(156, [4]), table, "l" * 5, logits(0.08, 0.5, 0.65, 0.4, 0.6))
    table = {"Psi": 1, "Theta": 2, "Theta'": [3, 3, 3, 3, 3], "p": 4}
    tables = [table, table | {"Psi": 5}]
    yield Model("occupancy-trail", "Psi(group) Theta Theta' p", Study(143, [6]), tables, "l" * 5, logits(0.7, 0.4, 0.75, 0.65, 0.55))
    table = {"Psi": 1, "pent": [2, 3, 4], "d": 5, "p": 6}
    study = Study(144, [4], entries="last")
    yield Model("occupancy-stays", "Psi pent(t) d p", study, table, "l111ll", [*logits(0.7), 1.0, 0.2, 0.0, *logits(0.25, 0.6)])
    table = {"Psi": 1, "Theta": [2, 3, 2], "p": 4, ("p", 2): [4, 5], ("p", 3): 5}
    study = Study(123, [6], mixtures=2)
    yield Model("occupancy-units", "Psi Theta(unit) p(unit)", study, table, "l" * 5, logits(0.65, 0.6, 0.8, 0.4, 0.6))


def by_session(numbers):
    return {("p", 1, s): n for s, n in enumerate(numbers, 1)}


def dynamics():
    sessions = [3, 1, 2, 3]
    table = {"Psi": [1, 2, 3, 4], "Epsilon": 5, "p": 6}
    yield Model("occupancy-lost", "Psi(t) Epsilon p", Study(28, sessions), table, "l" * 6, logits(0.55, 0.6, 0.5, 0.6, 0.4, 0.5))
    table = {"Psi": [1, 2, 3, 4], "Gamma": 5, "p": 6}
    yield Model("occupancy-taken", "Psi(t) Gamma p", Study(29, sessions), table, "l" * 6, logits(0.55, 0.6, 0.5, 0.6, 0.4, 0.5))
    table = {"Psi": 1, "Epsilon": [2, 3, 3], "Gamma": 4} | by_session([5, 6, 6, 5])
    tables = [table, table | {"Psi": 7}]
    yield Model("occupancy-seasons", "Psi(group) Epsilon(t) Gamma p(session)", Study(30, sessions), tables, "l" * 7, logits(0.7, 0.2, 0.4, 0.3, 0.5, 0.4, 0.4))

    fives = [4, 5, 4]
    rates, start = [[2] * 5, [3] * 5], logits(0.4, 0.25, 0.7)
    kinds = {"pi": 1, "p": rates}
    for kind, deck, name in ((108, "lost", "Epsilon"), (109, "taken", "Gamma")):
        table = kinds | {"Psi": [4, 5, 6], name: 7}
        study = Study(kind, fives, mixtures=2)
        yield Model(f"occupancy-mixture-{deck}", f"Psi(t) {name} pi p(kind)", study, table, "l" * 7, [*start, *logits(0.55, 0.6, 0.5, 0.4)])
    table = kinds | {"Psi": 4, "Epsilon": 5, "Gamma": 6}
    study = Study(110, fives, mixtures=2)
    yield Model("occupancy-mixture-seasons", "Psi Epsilon Gamma pi p(kind)", study, table, "l" * 6, [*start, *logits(0.6, 0.25, 0.35)])

    effect = {"sigmap": 1, "p": 2}
    start = [-0.1, *logits(0.4)]
    for kind, deck, name in ((152, "lost", "Epsilon"), (153, "taken", "Gamma")):
        table = effect | {"Psi": [3, 4, 5], name: 6}
        study = Study(kind, fives, nodes=15)
        yield Model(f"occupancy-effect-{deck}", f"Psi(t) {name} sigmap p", study, table, "elllll", [*start, *logits(0.55, 0.6, 0.5, 0.4)])
    table = effect | {"Psi": 3, "Epsilon": 4, "Gamma": 5}
    yield Model("occupancy-effect-seasons", "Psi Epsilon Gamma sigmap p", Study(154, fives, nodes=15), table, "ellll", [*start, *logits(0.6, 0.25, 0.35)])

    table = {"Psi": 1, "Epsilon": 2, "Gamma": 3, "p10": 4, "p11": 5, "b": 6}
    yield Model("occupancy-errors-seasons", "Psi Epsilon Gamma p10 p11 b", Study(157, [3, 2, 3]), table, "l" * 6, logits(0.6, 0.25, 0.3, 0.07, 0.55, 0.4))
    table = {"Psi": 1, "Epsilon": 2, "Gamma": 3, "pent": 4, "d": 5, "p": 6}
    yield Model("occupancy-stays-seasons", "Psi Epsilon Gamma pent d p", Study(170, [4, 1, 3]), table, "l" * 6, logits(0.65, 0.25, 0.35, 0.15, 0.25, 0.6))
    table = {"Psi": 1, "Epsilon": 2, "Gamma": 3, "Theta": 4, "p": 5, ("p", 2): 6}
    study = Study(175, [4, 2, 4], mixtures=2)
    yield Model("occupancy-units-seasons", "Psi Epsilon Gamma Theta p(unit)", study, table, "l" * 6, logits(0.65, 0.25, 0.35, 0.6, 0.4, 0.6))


def several_species():
    table = {"PsiAB": 1, "PsiA": 2, "PsiB": 3, "pA": 4, "pB": 5, "rAB": 6, "rAb": 7, "raB": 8}
    start = [*logits(0.25, 0.5, 0.4, 0.4, 0.5), 0.0, 0.2, 0.1]
    yield Model("occupancy-two-species", "PsiAB PsiA PsiB pA pB rAB rAb raB", Study(113, [4]), table, "lllll111", start)
    table = {"PsiA": 1, "PsiBA": 2, "PsiBa": 3, "pA": 4, "pB": 5, "rA": 4, "rBA": 6, "rBa": 7}
    start = logits(0.5, 0.6, 0.35, 0.4, 0.5, 0.65, 0.35)
    yield Model("occupancy-two-species-given", "PsiA PsiBA PsiBa pA=rA pB rBA rBa", Study(137, [4]), table, "l" * 7, start)
    moves = ["GammaA", "GammaB", "GammaAB", "GammaBA", "EpsilonA", "EpsilonB", "EpsilonAB", "EpsilonBA"]
    detected = {name: 12 + k for k, name in enumerate(("pA", "pB", "rA", "rBA", "rBa"))}
    table = {"PsiA": 1, "PsiBA": 2, "PsiBa": 3} | {name: 4 + k for k, name in enumerate(moves)} | detected
    start = logits(0.5, 0.6, 0.4, 0.3, 0.35, 0.2, 0.25, 0.2, 0.25, 0.4, 0.3, 0.5, 0.6, 0.55, 0.65, 0.45)
    yield Model("occupancy-two-species-seasons", "all rates", Study(141, [3, 2, 3]), table, "l" * 16, start)

    table = {"f": [1, 2, 3, 4, 5, 6], ("p", 2): 7, ("p", 3): 8, ("p", 4): 9}
    start = [0.4, -0.3, 0.1, 0.8, -0.6, 0.5, *logits(0.45, 0.55, 0.4)]
    yield Model("occupancy-three-species", "f(pairs) p(species)", Study(177, [4], species=3), table, "iiiiiilll", start)


def several_states():
    table = {"Psi1": 1, "Psi2": 2, "p1": 3, "p2": 4, "Delta": [5, 5, 6, 6]}
    yield Model("occupancy-young", "Psi1 Psi2 p1 p2 Delta(half)", Study(116, [4]), table, "l" * 6, logits(0.7, 0.45, 0.4, 0.6, 0.4, 0.6))

    table = {("Phi0", 2): 1, ("Phi0", 3): 2, ("Psi", 1): 3, ("Psi", 2): 4, ("Psi", 3): 5, ("R", 1): 6, ("R", 2): 7, ("R", 3): 8}
    table |= {("p", 2): 9, ("p", 3): 10, ("Delta", 3): 11}
    start = [0.2, 0.1, *logits(0.3, 0.65, 0.8, 0.35, 0.4, 0.65, 0.45, 0.6, 0.5)]
    yield Model("occupancy-young-seasons", "Phi0 Psi R p Delta", Study(124, [3, 2, 3], codes="BS"), table, "11" + "l" * 9, start)

    table = {("Phi0", 2): 1, ("Phi0", 3): 2, ("Psi", 1, 2): 3, ("Psi", 1, 3): 4, ("Psi", 2, 1): 5, ("Psi", 2, 3): 6, ("Psi", 3, 1): 7, ("Psi", 3, 2): 8}
    table |= {("p", 2, 2): 9, ("p", 2, 3): 10, ("p", 3, 3): 11}
    start = [0.2, 0.1, -1.0, -1.4, -1.0, -0.6, -1.2, -0.8, *logits(0.5), -0.1, 0.5]
    yield Model("occupancy-few-many", "Phi0 Psi p", Study(125, [3, 2, 3], codes="FM"), table, "11223344l55", start)


def deck_values():
    for model in models():
        yield model.deck, model.fitted().rows()
