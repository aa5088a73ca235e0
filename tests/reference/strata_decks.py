"""Robust designs of animals that move between strata, decks of tests/decks/options, a second time, for option_decks.py.

An animal is carried to the end of the study with one weight for each stratum and one for the dead; nothing is shared
between histories.
"""

import re

import numpy
from scipy.special import loggamma

from open_decks import derived, table
from second_fits import Fit, expit, folder

spans = [(0, 2), (2, 3), (3, 6)]
between = [1, 2]  # behind each session


def histories(deck):
    text = (folder / f"{deck}.deck").read_text().split("estimate")[0]
    return [(h, float(n)) for h, n in re.findall(r"^([AB0]{6}) +(\d+);", text, re.M)]


def stratum(history, s):
    """0 or 1 where the session has a capture, else none."""
    begin, end = spans[s]
    found = set(history[begin:end]) - {"0"}
    return "AB".index(found.pop()) if found else None


def ever(p, s):
    begin, end = spans[s]
    return 1 - (1 - p) ** (end - begin)


def within(history, s, p, c):
    begin, end = spans[s]
    chance, met = 1.0, False
    for sign in history[begin:end]:
        rate = c if met else p
        chance = chance * (rate if sign != "0" else 1 - rate)
        met = met or sign != "0"
    return chance


def chance(history, survive, move, p, c, full, share=None):
    """Of all behind the stratum of the first capture; with shares of the strata of that, too."""
    met = [stratum(history, s) for s in range(3)]
    first = next(s for s in range(3) if met[s] is not None)
    total = 1.0
    for s in range(3):
        if met[s] is not None:
            total = total * within(history, s, p[met[s]], c) / (1 if full else ever(p[met[s]], s))
    if share is not None:
        weights = [share[first] * ever(p[0], first), (1 - share[first]) * ever(p[1], first)]
        total = total * weights[met[first]] / sum(weights)
    alive, dead = [1.0 * (met[first] == a) for a in (0, 1)], 0.0
    for s in range(first, 2):
        left = [alive[a] * survive[a] ** between[s] for a in (0, 1)]
        dead = dead + sum(alive) - sum(left)
        alive = [left[a] * (1 - move[a]) + left[1 - a] * move[1 - a] for a in (0, 1)]
        if met[s + 1] is None:
            alive = [alive[a] * (1 - ever(p[a], s + 1)) for a in (0, 1)]
        else:
            alive = [alive[a] * ever(p[a], s + 1) * (met[s + 1] == a) for a in (0, 1)]
            dead = 0.0
    return total * (sum(alive) + dead)


def caught(data, a, s):
    return sum(n for h, n in data if stratum(h, s) == a)


places = [(a, s) for a in (0, 1) for s in range(3)]


def rows_of_sizes(fit, values, sampling=None):
    """One row a stratum and session, strata outermost."""
    rows = {}
    for (a, s), (_, row) in zip(places, sorted(derived(fit, "N-hat", values, "{}", sampling).items())):
        rows[f"N-hat: 1    {a + 1}    {s + 1}"] = row
    return rows


def deck_values():
    data = histories("robust-design-strata")
    parts = lambda b: (expit(b[0:2]), expit(b[2:4]), expit(b[4:6]), expit(b[6]))
    fit = Fit(lambda b: sum(-2 * n * numpy.log(chance(h, *parts(b), False)) for h, n in data), [1, 1, -1, -1, 0, 0, -1])
    sizes = lambda b: [caught(data, a, s) / ever(parts(b)[2][a], s) for a, s in places]
    stars = [ever(parts(fit.beta)[2][a], s) for a, s in places]
    sampling = [caught(data, a, s) * (1 - star) / star**2 for (a, s), star in zip(places, stars)]
    yield "robust-design-strata", table(fit, "S Psi p(stratum) c", ["logit"] * 7) | rows_of_sizes(fit, sizes, sampling)

    whole = histories("robust-design-strata-full")

    def full(b):
        survive, move, p, c = parts(b)
        total = sum(-2 * n * numpy.log(chance(h, survive, move, p, c, True)) for h, n in whole)
        for (a, s), x in zip(places, b[7:]):
            never, known = numpy.exp(x), caught(whole, a, s)
            total -= 2 * (
                never * numpy.log(1 - ever(p[a], s)) + loggamma(known + never + 1) - loggamma(never + 1)
            )
        return total

    fit = Fit(full, [1, 1, -1, -1, 0, 0, -1] + [4] * 6)
    sizes = lambda b: [caught(whole, a, s) + numpy.exp(x) for (a, s), x in zip(places, b[7:])]
    rows = table(fit, "S Psi p(stratum) c f0", ["logit"] * 7 + ["log"] * 6)
    yield "robust-design-strata-full", rows | rows_of_sizes(fit, sizes)

    shares = histories("robust-design-strata-shares")
    fit = Fit(
        lambda b: sum(-2 * n * numpy.log(chance(h, *parts(b), False, expit(b[7:]))) for h, n in shares),
        [1, 1, -1, -1, 0, 0, -1, 0, 0, 0],
    )
    yield "robust-design-strata-shares", table(fit, "S Psi p(stratum) c Omega", ["logit"] * 10)
