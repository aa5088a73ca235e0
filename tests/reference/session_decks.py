"""Robust designs whose animals arrive in a session and leave it, or are not always recognised, decks of
tests/decks/options, a second time, for option_decks.py.

An animal is followed through every stay that it may have made in a session, and through every sequence of states from
session to session; what a session shows is computed once for an evaluation, nothing else is shared.
"""

import re

import numpy

from open_decks import derived, table
from second_fits import Fit, expit, folder

spans = [(0, 3), (3, 5), (5, 6)]
between = [1, 2]  # behind each session
captures = "ABab"


def histories(deck):
    text = (folder / f"{deck}.deck").read_text().split("estimate")[0]
    return [(h, float(n)) for h, n in re.findall(r"^([ABab0u]{6}) +(\d+);", text, re.M)]


class Rates:
    """Of a state in a session: what is not given is as if it were not there."""

    def __init__(self, p, c=None, arrive=None, stay=lambda i, j: 1, takes_part=1, recognised=1, right=None):
        self.p, self.c, self.arrive, self.stay = p, p if c is None else c, arrive, stay
        self.takes_part, self.recognised, self.right = takes_part, recognised, right

    def stays(self, n):
        """Arrival and last occasion of every stay, with its chance; none for an animal that takes no part."""
        yield None, None, 1 - self.takes_part
        arrive = [1] + [0] * (n - 1) if self.arrive is None else self.arrive(n)
        for i in range(n):
            chance = self.takes_part * arrive[i]
            for d in range(i, n):
                gone = 1 - self.stay(i, d) if d < n - 1 else 1
                yield i, d, chance * gone
                chance = chance * (1 - gone)

    def shows(self, cells, own):
        """Chance of the cells of a session."""
        total = 0
        for i, d, chance in self.stays(len(cells)):
            met = False
            for o, sign in enumerate(cells):
                rate = 0 if i is None or not i <= o <= d else self.c if met else self.p
                if sign == "0":
                    chance = chance * (1 - rate)
                    continue
                met = True
                if sign in "AB":
                    chance = chance * rate * self.recognised * ("AB"[own] == sign)
                else:
                    chance = chance * rate * (1 - self.recognised)
                if sign in "ab":
                    chance = chance * (self.right if "ab"[own] == sign else 1 - self.right)
            total = total + chance
        return total

    def quiet(self, n, own):
        """Chances of no capture, and of none that shows the state, of n occasions."""
        never = self.shows("0" * n, own)
        unseen = 0
        for i, d, chance in self.stays(n):
            fresh, known = chance, 0
            for o in range(n):
                if i is not None and i <= o <= d:
                    known = known * (1 - self.c * self.recognised) + fresh * self.p * (1 - self.recognised)
                    fresh = fresh * (1 - self.p)
            unseen = unseen + fresh + known
        return never, unseen

    def time(self, n):
        return sum(chance * (d - i + 1) for i, d, chance in self.stays(n) if i is not None)


class Study:
    def __init__(self, rates, survive, move):
        self.rates, self.survive, self.move = rates, survive, move
        self.known = {}

    def shows(self, history, s, a):
        key = history[slice(*spans[s])], a
        if key not in self.known:
            self.known[key] = self.rates[a].shows(*key)
        return self.known[key]

    def quiet(self, s, a):
        n = spans[s][1] - spans[s][0]
        if (n, a) not in self.known:
            self.known[n, a] = self.rates[a].quiet(n, a)
        return self.known[n, a]

    def caught(self, s, a):
        return 1 - self.quiet(s, a)[0]

    def moves(self, a, b):
        return self.move[a] if a != b else 1 - self.move[a]

    def after(self, history, s, a):
        """Of all behind session s, of an animal that is alive in state a there."""
        if s == 2:
            return 1
        alive = self.survive[a] ** between[s]
        dead = (1 - alive) * (history[spans[s][1] :].count("0") == 6 - spans[s][1])
        return dead + alive * sum(
            self.moves(a, b) * self.shows(history, s + 1, b) * self.after(history, s + 1, b) for b in (0, 1)
        )

    def first(self, history):
        """Session of the first capture, and the state that its captures tell, if any."""
        s = next(s for s in range(3) if set(history[slice(*spans[s])]) - {"0"})
        told = [x for x in history[slice(*spans[s])] if x in "AB"]
        return s, "AB".index(told[0]) if told else None

    def given_state(self, history):
        s, a = self.first(history)
        return self.shows(history, s, a) / self.caught(s, a) * self.after(history, s, a)

    def seniority(self, history, senior):
        """The same times the chance of the session, in a stratum that grows."""
        first, a = self.first(history)

        def unmet(s, a):
            if s == 0:
                return 1
            back = senior[a] ** between[s - 1]
            return 1 - back + back * sum(
                self.moves(a, b) * (1 - self.caught(s - 1, b)) * unmet(s - 1, b) for b in (0, 1)
            )

        def entrants(s):
            size = 1
            for k in range(s):
                size = size * (self.survive[a] / senior[a]) ** between[k]
            return size * unmet(s, a) * self.caught(s, a)

        return entrants(first) / sum(entrants(s) for s in range(3)) * self.given_state(history)

    def any_state(self, history, pi, omega):
        s, told = self.first(history)
        if told is not None:
            return pi[told] * self.given_state(history)
        unseen = [self.quiet(s, a)[1] - self.quiet(s, a)[0] for a in (0, 1)]
        share = sum(pi[a] * unseen[a] / self.caught(s, a) for a in (0, 1))
        weights = [omega[a] * self.shows(history, s, a) * self.after(history, s, a) for a in (0, 1)]
        return share * sum(weights) / sum(omega[a] * unseen[a] for a in (0, 1))


def first_by_rest(pent):
    return lambda n: [1 - (n - 1) * pent] + [pent] * (n - 1)


def last_by_rest(pent):
    return lambda n: [pent] * (n - 1) + [1 - (n - 1) * pent]


def fit_of(deck, chance, start):
    data = histories(deck)
    return data, Fit(lambda b: sum(-2 * n * numpy.log(cell(h)) for cell in [chance(b)] for h, n in data), start)


def sizes_and_times(fit, data, study):
    """One row a state and session, states outermost."""
    places = [(a, s) for a in (0, 1) for s in range(3)]
    recorded = [sum(n for h, n in data if "AB"[a] in h[slice(*spans[s])]) for a, s in places]
    stars = lambda b: [1 - study(b).quiet(s, a)[1] for a, s in places]
    sizes = lambda b: [m / star for m, star in zip(recorded, stars(b))]
    sampling = [m * (1 - star) / star**2 for m, star in zip(recorded, stars(fit.beta))]
    times = lambda b: [study(b).rates[a].time(spans[s][1] - spans[s][0]) for a, s in places]
    rows = {}
    for heading, found in (
        ("N-hat", derived(fit, "", sizes, "{}", sampling)),
        ("Res. Time(1)", derived(fit, "", times, "{}")),
    ):
        for (a, s), row in zip(places, found.values()):
            rows[f"{heading}: 1    {a + 1}    {s + 1}"] = row
    return rows


def deck_values():
    def open_strata(b):
        x = expit(b)
        rates = [Rates(p, arrive=last_by_rest(x[4]), stay=lambda i, j: x[5]) for p in x[6:8]]
        return Study(rates, x[0:2], x[2:4])

    data, fit = fit_of("open-strata", lambda b: open_strata(b).given_state, [1, 1, -1, -1, -1, 1, 0, 0])
    title = "S(stratum) Psi(stratum) pent Phi p(stratum)"
    yield "open-strata", table(fit, title, ["logit"] * 8) | sizes_and_times(fit, data, open_strata)

    def seniority(b):
        x = expit(b)
        rates = [Rates(x[7], arrive=first_by_rest(x[5]), stay=lambda i, j: x[6])] * 2
        study = Study(rates, x[0:2], [x[2], x[2]])
        return lambda history: study.seniority(history, x[3:5])

    _, fit = fit_of("open-strata-seniority", seniority, [1, 1, -1, 1, 1, -1, 1, 0])
    yield "open-strata-seniority", table(fit, "S(stratum) Psi Gamma(stratum) pent Phi p", ["logit"] * 8)

    def guesses(b):
        x = expit(b)
        study = Study([Rates(p, recognised=x[6], right=x[7]) for p in x[4:6]], [x[0], x[0]], [x[1], x[1]])
        return lambda history: study.any_state(history, [x[2], 1 - x[2]], [x[3], 1 - x[3]])

    _, fit = fit_of("uncertain-states-guesses", guesses, [1, -1, 0, 0, 0, 0, 0, 1])
    yield "uncertain-states-guesses", table(fit, "S Psi pi Omega p(state) Delta guess", ["logit"] * 8)

    def seasons(b):
        x = expit(b)
        stay = lambda i, j: x[7] if i == 0 else x[8]
        rates = Rates(x[4], x[10], first_by_rest(x[6]), stay, x[9], x[5])
        return Study([rates, rates], [x[0], x[0]], [x[1], x[1]])

    def of_seasons(b):
        study, x = seasons(b), expit(b)
        return lambda history: study.any_state(history, [x[2], 1 - x[2]], [x[3], 1 - x[3]])

    data, fit = fit_of("uncertain-states-seasons", of_seasons, [1, -1, 0, 0, 0, 0, -1, 1, 1, 1, 0])
    rows = table(fit, "S Psi pi Omega p Delta pent Phi(arrival) alpha c", ["logit"] * 11)
    yield "uncertain-states-seasons", rows | sizes_and_times(fit, data, seasons)
