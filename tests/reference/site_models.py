"""Chances of detection histories of sites, for site_decks.py, and what is derived from their parameters.

Each is a sum over all that a site may have gone through: its states in every session, the units that were used, the days on which a
species came and left, the number of animals. Parameters come from a function x(name, row, column, a, b) for a cell of the matrix
with second and third index a and b, None where there is no such matrix, and x.width(name, a, b). Betas may have a second axis: all
chances then have one.
"""

import itertools
import math

import numpy
from scipy.special import loggamma

detections = "12"


class Study:
    """`spans`: occasions of each session; `numbers`: where exp, log and loggamma are from, for more digits than a double has."""

    exp, log, loggamma = numpy.exp, numpy.log, loggamma

    def __init__(self, kind, sessions, mixtures=1, nodes=101, codes="", entries="first", species=None, numbers=None):
        self.kind, self.sessions, self.mixtures, self.codes, self.entries = kind, sessions, mixtures, codes, entries
        self.species, self.width = species, 2 if kind in (113, 117, 118, 137, 141, 177) else 1
        self.points = numpy.polynomial.hermite.hermgauss(nodes)
        if numbers:
            self.exp, self.log, self.loggamma = numbers.exp, numbers.log, numbers.loggamma

    def cells(self, h):
        """By session; the types of one season have all cells in one."""
        cells = [h[i : i + self.width] for i in range(0, len(h), self.width)]
        rest = iter(cells)
        return [[next(rest) for _ in range(n)] for n in self.sessions]


def sized(v):
    """Of a number of any kind, or the first of many: a plain one."""
    return float(numpy.ravel(v.real)[0])


def product(factors):
    out = 1.0
    for factor in factors:
        out = out * factor
    return out


def surveyed(study, cells):
    """Cells behind the last whole block tell nothing."""
    return cells[: len(cells) - len(cells) % study.mixtures] if study.kind in (123, 175) else cells


def missed(cells):
    """Whether nothing was found; in cells of two characters a single dot leaves the cell out."""
    return not any(sign in detections for cell in cells if "." not in cell for sign in cell)


# ---- what an occupied site shows in a session


def visits(cells, p):
    """Surveys one by one; p(j) counts from 1."""
    shown = (p(j) if cell in detections else 1 - p(j) for j, cell in enumerate(cells, 1) if cell != ".")
    return product(shown)


def shares(study, x, s):
    """Of the classes of a mixture; the last has the rest."""
    given = []
    for m in range(1, study.mixtures):
        by_row = x("pi", m, 1, 1, s) if x.height("pi", 1, s) >= m else x("pi", 1, m, 1, s)
        given.append(by_row)
    return given + [1 - sum(given)]


def mixture(study, x, cells, s):
    return sum(w * visits(cells, lambda j: x("p", m, j, 1, s)) for m, w in enumerate(shares(study, x, s), 1))


def with_effect(study, x, cells, s):
    width = x.width("sigmap", 1, s)

    def rate(node):
        def p(j):
            spread, plain = x("sigmap", 1, min(j, width), 1, s), x("p", 1, j, 1, s)
            if sized(spread) >= 7.5:
                return 0.0 * plain
            return 1 / (1 + (1 / plain - 1) * study.exp(-(2**0.5) * node * spread))

        return p

    nodes, weights = study.points
    return sum(w * visits(cells, rate(float(node))) for node, w in zip(nodes, weights)) / numpy.pi**0.5


def trail(study, x, cells, s):
    """Segments one behind the other: every way in which they may have been used."""
    width, total = x.width("Theta'"), 0.0
    for used in itertools.product((1, 0), repeat=len(cells)):
        chance = 1.0
        for c, (here, cell) in enumerate(zip(used, cells), 1):
            if c > 1 and used[c - 2]:
                come = x("Theta'", 1, c - (len(cells) - width))
            else:
                come = x("Theta", 1, c)
            chance = chance * (come if here else 1 - come)
            if cell != ".":
                p = x("p", 1, c) if here else 0.0
                chance = chance * (p if cell in detections else 1 - p)
        total = total + chance
    return total


def arrivals(study, x, n, s):
    """Shares of a species that comes ahead of each survey."""
    given = [x("pent", 1, j, 1, s) for j in range(1, n)]
    rest = [1 - sum(given)]
    return rest + given if study.entries == "first" else given + rest


def stays(study, x, n, s):
    """(chance, first survey, last survey) of all that the species may do."""
    for a, come in enumerate(arrivals(study, x, n, s), 1):
        chance = come
        for last in range(a, n):
            leave = x("d", 1, last, 1, s)
            yield chance * leave, a, last
            chance = chance * (1 - leave)
        yield chance, a, n


def relaxed(study, x, cells, s):
    def shown(a, last):
        return visits(cells, lambda j: x("p", 1, j, 1, s) if a <= j <= last else 0.0)

    return sum(chance * shown(a, last) for chance, a, last in stays(study, x, len(cells), s))


def units(study, x, cells, s, theta, p):
    """Blocks of as many surveys as there are mixtures: every way in which they may have been used."""
    n = study.mixtures
    blocks = [cells[k : k + n] for k in range(0, len(surveyed(study, cells)), n)]
    total = 0.0
    for used in itertools.product((1, 0), repeat=len(blocks)):
        parts = []
        for k, (here, block) in enumerate(zip(used, blocks), 1):
            seen = visits(block, lambda d: p(k, d)) if here else float(missed(block))
            parts.append((theta(k) if here else 1 - theta(k)) * seen)
        total = total + product(parts)
    return total


def of_units(study, x, cells, s):
    if study.kind == 175:
        return units(study, x, cells, s, lambda k: x("Theta", 1, k, 1, s), lambda k, d: x("p", 1, d, k, s))

    def p(k, d):
        own = x("p", 1, d, k, 1)
        return x("p", 1, d, 1, k) if own is None else own

    return units(study, x, cells, s, lambda k: x("Theta", 1, k), p)


def plain(study, x, cells, s):
    return visits(cells, lambda j: x("p", 1, j, 1, s))


def false_positives(x, cells, s, occupied):
    def chance(j, cell):
        first = x("p11" if occupied else "p10", 1, j, 1, s)
        if cell == "0":
            return 1 - first
        if not occupied:
            return first if cell == "1" else 0.0
        sure = x("b", 1, j, 1, s)
        return first * (sure if cell == "2" else 1 - sure)

    return product(chance(j, cell) for j, cell in enumerate(cells, 1) if cell != ".")


occupied_site = {
    27: plain, 28: plain, 29: plain, 30: plain,
    107: mixture, 108: mixture, 109: mixture, 110: mixture,
    151: with_effect, 152: with_effect, 153: with_effect, 154: with_effect,
    143: trail, 144: relaxed, 170: relaxed, 123: of_units, 175: of_units,
}  # fmt: skip


# ---- sites through sessions: states, their shares at first, moves, and what they show


class One_species:
    """State 1 is occupied, 0 is not."""

    def __init__(self, study, x):
        self.study, self.x, self.states, self.excess = study, x, (1, 0), 0.0

    def first(self, state):
        psi = self.x("Psi", 1, 1)
        return psi if state else 1 - psi

    def shown(self, state, cells, s):
        if self.study.kind in (156, 157):
            return false_positives(self.x, cells, s, state)
        if not state:
            return float(missed(surveyed(self.study, cells)))
        return occupied_site[self.study.kind](self.study, self.x, cells, s)

    def limited(self, value):
        """A rate that follows from two occupancies stays within 0 and 1; what it exceeds them by is charged for."""
        if sized(value) <= 0:
            self.excess += 2 * sized(value)
            return 0.0 * value
        if sized(value) >= 1:
            self.excess += 2 * (1 - sized(value))
            return 0.0 * value + 1
        return value

    def rates(self, s):
        """Of extinction and colonisation behind session s."""
        x = self.x
        epsilon, gamma = x("Epsilon", 1, s), x("Gamma", 1, s)
        if epsilon is None or gamma is None:
            now, then = x("Psi", 1, s), x("Psi", 1, s + 1)
            if gamma is None:
                # Where no site is empty nobody asks.
                gamma = self.limited((then - (1 - epsilon) * now) / (1 - now)) if sized(now) < 1 else 0.0 * now
            else:
                epsilon = self.limited(1 - (then - (1 - now) * gamma) / now) if sized(now) > 0 else 0.0 * now
        return epsilon, gamma

    def move(self, a, b, s):
        epsilon, gamma = self.rates(s)
        come = 1 - epsilon if a else gamma
        return come if b else 1 - come


class Two_species:
    """A state tells of A, then of B."""

    def __init__(self, study, x):
        self.study, self.x, self.states = study, x, ((1, 1), (1, 0), (0, 1), (0, 0))

    def first(self, state):
        x = self.x
        if self.study.kind == 113:
            both, a, b = (x(name, 1, 1) for name in ("PsiAB", "PsiA", "PsiB"))
            only_a = a - both
            only_a = only_a if sized(only_a) > 0 else 0.0 * only_a
            return {(1, 1): both, (1, 0): only_a, (0, 1): b - both, (0, 0): both + 1 - a - b}[state]
        a, given = x("PsiA", 1, 1), x("PsiBA" if state[0] else "PsiBa", 1, 1)
        return (a if state[0] else 1 - a) * (given if state[1] else 1 - given)

    def shown(self, state, cells, s):
        return product(self.survey(state, cell, s, j) for j, cell in enumerate(cells, 1) if "." not in cell)

    def survey(self, state, cell, s, j):
        of = lambda name: self.x(name, 1, j, 1, s)
        met = tuple(map(int, cell))
        if any(m > there for m, there in zip(met, state)):
            return 0.0
        if state != (1, 1):
            alone = [of(name) for name, there in zip(("pA", "pB"), state) if there]
            return product(p if 1 in met else 1 - p for p in alone)
        if self.study.kind == 113:
            names = {(1, 1): "rAB", (1, 0): "rAb", (0, 1): "raB"}
            return of(names[met]) if met in names else 1 - sum(of(name) for name in names.values())
        a, b = of("rA"), of("rBA" if met[0] else "rBa")
        return (a if met[0] else 1 - a) * (b if met[1] else 1 - b)

    def move(self, now, then, s):
        """Each species by itself; whether the other is there names the rate."""
        chance = 1.0
        for own, name in ((0, "A"), (1, "B")):
            names = name + ("BA"[own] if now[1 - own] else "")
            rate = self.x(("Epsilon" if now[own] else "Gamma") + names, 1, s)
            come = 1 - rate if now[own] else rate
            chance = chance * (come if then[own] else 1 - come)
        return chance


class Several_states:
    """State 0 is unoccupied; the alphabet of 124 and 125 has it ahead of the codes, so that state m has index m + 1."""

    def __init__(self, study, x):
        self.study, self.x = study, x
        self.codes = "012" if study.kind == 116 else "0" + study.codes
        self.states = range(len(self.codes))

    def first(self, state):
        x, kind = self.x, self.study.kind
        if kind == 116:
            some, two = x("Psi1", 1, 1), x("Psi2", 1, 1)
            return [1 - some, some * (1 - two), some * two][state]
        given = [x("Phi0", 1, 1, m + 1) for m in self.states[1:]]
        return given[state - 1] if state else 1 - sum(given)

    def move(self, r, q, s):
        x = self.x
        if self.study.kind == 124:
            some, two = x("Psi", 1, s, r + 1), x("R", 1, s, r + 1)
            return [1 - some, some * (1 - two), some * two][q]
        row = [x("Psi", 1, s, r + 1, to + 1) for to in self.states]
        rest = next(to for to in self.states if row[to] is None)
        if q == rest:
            return 1 - sum(v for v in row if v is not None)
        return 0.0 if row[q] is None else row[q]

    def shown(self, state, cells, s):
        begin = sum(self.study.sessions[: s - 1])
        return product(self.survey(state, cell, s, begin + j, j) for j, cell in enumerate(cells, 1) if cell != ".")

    def survey(self, state, cell, s, occasion, j):
        sign, x = self.codes.find(cell), self.x
        if not 0 <= sign <= state:
            return 0.0
        if state == 0:
            return 1.0
        if self.study.kind == 125:
            given = [self.recorded(m, state, occasion) for m in self.states[1 : state + 1]]
            return given[sign - 1] if sign else 1 - sum(given)
        if self.study.kind == 116:
            p, sure = x(f"p{state}", 1, j), x("Delta", 1, j)
        else:
            p = x("p", 1, j, state + 1, s)
            sure = next(v for a in (3, 2, 1) if (v := x("Delta", 1, j, a, s)) is not None)
        seen = [1 - p, p] if state == 1 else [1 - p, p * (1 - sure), p * sure]
        return seen[sign]

    def recorded(self, sign, state, occasion):
        own = self.x("p", 1, occasion, sign + 1, state + 1)
        own = self.x("p", 1, occasion, state + 1, sign + 1) if own is None else own
        return 0.0 if own is None else own


class Many_species:
    """A state is the set of the species that are there."""

    def __init__(self, study, x):
        self.study, self.x = study, x
        species = range(1, study.species + 1)
        self.sets = [set(of) for n in species for of in itertools.combinations(species, n)]
        self.states = range(1 << study.species)
        weights = [study.exp(self.score(z)) for z in self.states]
        self.weights = [w / sum(weights) for w in weights]

    def there(self, z):
        return {k for k in range(1, self.study.species + 1) if z >> (k - 1) & 1}

    def score(self, z):
        total = 0.0
        for column, of in enumerate(self.sets, 1):
            if column <= self.x.width("f") and of <= self.there(z):
                total = total + self.x("f", 1, column)
        return total

    def first(self, z):
        return self.weights[z]

    def rate(self, k, c):
        n, x = self.study.species, self.x
        if x("p", 1, c, n + 1) is not None:
            return x("p", 1, c, k + 1)
        return x("p", 1, c, k) if x("p", 1, c, n) is not None and n > 1 else x("p", k, c)

    def shown(self, z, cells, s):
        out = 1.0
        for c, cell in enumerate(cells, 1):
            if "." in cell:
                continue
            found, there = self.there(int(cell)), self.there(z)
            if int(cell) not in self.states or not found <= there:
                return 0.0
            out = out * product(self.rate(k, c) if k in found else 1 - self.rate(k, c) for k in there)
        return out


def site(study, x):
    kind = study.kind
    if kind in (113, 137, 141):
        return Two_species(study, x)
    if kind in (116, 124, 125):
        return Several_states(study, x)
    return Many_species(study, x) if kind == 177 else One_species(study, x)


class Chances:
    """Of histories; what a state shows in a session is kept."""

    def __init__(self, study, x):
        self.study, self.x, self.kept = study, x, {}
        self.model = None if study.kind in abundances else site(study, x)

    def of(self, h):
        if self.study.kind in abundances:
            return abundances[self.study.kind](self.study, self.x, self.study.cells(h)[0], self.kept)
        sessions = self.study.cells(h)
        total = 0.0
        for path in itertools.product(self.model.states, repeat=len(sessions)):
            shown = [self.session(z, tuple(cells), s) for s, (z, cells) in enumerate(zip(path, sessions), 1)]
            if any(isinstance(v, float) and v == 0 for v in shown):
                continue
            moves = (self.move(a, b, s) for s, (a, b) in enumerate(zip(path, path[1:]), 1))
            total = total + self.model.first(path[0]) * product(moves) * product(shown)
        return total

    def session(self, z, cells, s):
        key = z, cells, s
        if key not in self.kept:
            self.kept[key] = self.model.shown(z, list(cells), s)
        return self.kept[key]

    def move(self, a, b, s):
        key = "move", a, b, s
        if key not in self.kept:
            self.kept[key] = self.model.move(a, b, s)
        return self.kept[key]


# ---- abundance


def no_animal(study, x, share=1.0):
    """Chance that none of the animals has something that befalls each with this chance."""
    l, extra = x("Lambda", 1, 1), x("VarAdd", 1, 1)
    if extra is None or sized(extra) < 1e-10 * max(sized(l), 1):
        return study.exp(-l * share)
    size = l * l / extra
    return study.exp(size * study.log(size / (size + l * share)))


def found_or_not(study, x, cells, kept):
    """Royle and Nichols: a detection is no zero, and zeros of any surveys together have a closed form."""
    rates = [(x("r", 1, c), cell) for c, cell in enumerate(cells, 1) if cell != "."]
    never = product(1 - r for r, cell in rates if cell == "0")
    found = [r for r, cell in rates if cell in detections]
    total = 0.0
    for n in range(len(found) + 1):
        for some in itertools.combinations(found, n):
            total = total + (-1) ** n * no_animal(study, x, 1 - never * product(1 - r for r in some))
    return total


def sizes(study, x):
    """Logarithms of the chances of 0, 1, 2, ... animals; far behind the mean, and any count, nothing is left."""
    l, extra = x("Lambda", 1, 1), x("VarAdd", 1, 1)
    poisson = extra is None or sized(extra) < 1e-10 * max(sized(l), 1)
    mean, spread = sized(l), sized(l) if poisson else sized(l) + sized(extra)
    tail = 0.0 if poisson else 100 / numpy.log(spread / (spread - mean))
    numbers, log_l = range(int(mean + 16 * spread**0.5 + 160 + tail)), study.log(l)
    if poisson:
        return [n * log_l - l - study.loggamma(n + 1.0) for n in numbers]
    size = l * l / extra
    start, step = size * study.log(size / (size + l)) - study.loggamma(size), study.log(l / (size + l))
    return [start + study.loggamma(size + n) + n * step - study.loggamma(n + 1.0) for n in numbers]


def counted(study, x, cells, kept):
    """Binomial counts of each number of animals."""
    surveys = [(x("r", 1, c), int(cell)) for c, cell in enumerate(cells, 1) if "." not in cell]
    if not surveys:
        return 1.0 + 0.0 * x("Lambda", 1, 1)
    if "sizes" not in kept:
        kept["sizes"] = sizes(study, x)
    least = max(m for _, m in surveys)
    total, away = 0.0, sum(study.log(1 - r) for r, _ in surveys)
    found = sum(m * (study.log(r) - study.log(1 - r)) for r, m in surveys)
    for n in range(least, len(kept["sizes"])):
        ways = sum(math.log(math.comb(n, m)) for _, m in surveys)
        total = total + study.exp(kept["sizes"][n] + n * away + found + ways)
    return total


abundances = {111: found_or_not, 112: found_or_not, 117: counted, 118: counted}


# ---- what is derived: (part of a title, values in the order of the rows)


def ratios(psi):
    growth = [b / a for a, b in zip(psi, psi[1:])]
    odds = [(b / (1 - b)) / (a / (1 - a)) for a, b in zip(psi, psi[1:])]
    return [("Lambda Estimates", growth), ("Lambda' Estimates", odds)]


def derived(study, x):
    kind, sessions = study.kind, len(study.sessions)
    if kind in (27, 107, 151, 156):
        return [("Occupancy Estimates", [x("Psi", 1, 1)])]
    if kind in abundances:
        occupied = 1 - no_animal(study, x)
        seen = [(1 - no_animal(study, x, x("r", 1, c))) / occupied for c in range(1, sum(study.sessions) + 1)]
        return [("Occupancy Estimates", [occupied]), ("E(p-hat) Estimates", [sum(seen) / len(seen)])]
    if kind in (28, 108, 152, 29, 109, 153):
        model, psi = One_species(study, x), [x("Psi", 1, s) for s in range(1, sessions + 1)]
        which = 1 if x("Gamma", 1, 1) is None else 0
        rates = [model.rates(s)[which] for s in range(1, sessions)]
        return [(("Epsilon Estimates", "Gamma Estimates")[which], rates), *ratios(psi)]
    if kind in (30, 110, 154, 157, 170, 175):
        psi = shares_by_session(One_species(study, x), sessions)
        psi = [v[1] for v in psi]
        return [("Psi Estimates", psi), *ratios(psi)]
    if kind in (113, 137, 141):
        return of_two_species(study, x, sessions)
    if kind == 116:
        return [("Estimates of Psi1*Psi2", [x("Psi1", 1, 1) * x("Psi2", 1, 1)])]
    if kind == 124:
        model = Several_states(study, x)
        moves = [model.move(r, q, s) for s in range(1, sessions) for r in model.states for q in model.states]
        return [("Phi_t Matrices", moves), ("Phi_t*Psi Vectors", [v[z] for v in shares_by_session(model, sessions) for z in model.states])]
    if kind == 144:
        return of_stays(study, x, sum(study.sessions))
    if kind == 177:
        model = Many_species(study, x)
        joint = lambda of: sum(model.first(z) for z in model.states if of <= model.there(z))
        return [("Occupancy Estimates (psi)", [joint(of) for of in model.sets])]
    return []


def shares_by_session(model, sessions):
    """Of all paths, without what they show."""
    out = []
    for s in range(1, sessions + 1):
        now = dict.fromkeys(model.states, 0.0)
        for path in itertools.product(model.states, repeat=s):
            chance = product(model.move(a, b, k) for k, (a, b) in enumerate(zip(path, path[1:]), 1))
            now[path[-1]] = now[path[-1]] + model.first(path[0]) * chance
        out.append(now)
    return out


def of_two_species(study, x, sessions):
    parts = []
    for v in shares_by_session(Two_species(study, x), sessions):
        both, a_only, b_only, none = (v[z] for z in ((1, 1), (1, 0), (0, 1), (0, 0)))
        a, b = both + a_only, both + b_only
        parts.append(
            {
                "Unoccupied": none, "Species B only": b_only, "Species A only": a_only, "Both Species Occupancy": both,
                "Species Interaction Factors": both / (a * b), "Species B Occupancy": b, "Species A Occupancy": a,
                "B given not A Occupancy": b_only / (b_only + none), "B given A Occupancy": both / a,
            }
        )  # fmt: skip
    if study.kind == 141:
        return [(title, [part[title] for part in parts]) for title in parts[0]]
    if study.kind == 113:
        # As told by the parameters, whatever the floor does to the shares.
        return [("Species Interaction Factors", [x("PsiAB", 1, 1) / (x("PsiA", 1, 1) * x("PsiB", 1, 1))])]
    wanted = ("Species Interaction Factors", "Species B Occupancy", "Both Species Occupancy")
    return [(title, [parts[0][title]]) for title in wanted]


def of_stays(study, x, n):
    every = list(stays(study, x, n, 1))
    there = [sum(chance for chance, a, last in every if a <= j <= last) for j in range(1, n + 1)]
    time = sum(chance * (last - a + 1) for chance, a, last in every)
    come, go = (sum(chance * day[k] for chance, *day in every) for k in (0, 1))
    return [("Residency Time", [time]), ("Alpha Estimates", there), ("Mean Arrival", [come]), ("Mean Departure", [go])]
