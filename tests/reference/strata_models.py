"""Chances of encounter histories with strata or states, for state_decks.py.

Each is written from the life of an animal: entries, stays, classes and effects are summed one by one. Parameters come from a
function x(name, element, row, column), which gives None where a deck has no such matrix; elements are written as in decks ("A",
"A to B", "A 2" for stratum A in session 2). Betas may have a second axis: all chances then have one.
"""

import itertools

import numpy
from scipy.special import loggamma

from second_fits import expit, logit

gone = None  # the dead


class Study:
    """Codes of strata, further codes, times between occasions (0 within a session)."""

    def __init__(self, codes, lengths, events="", mixtures=1, nodes=0, entries="first", **more):
        self.codes, self.events, self.mixtures, self.nodes, self.entries = codes, events, mixtures, nodes, entries
        self.lengths = lengths
        self.spans, begin = [], 0
        for o, t in enumerate(list(lengths) + [1], 1):
            if t > 0:
                self.spans.append((begin, o))
                begin = o
        self.between = [t for t in lengths if t > 0]
        self.more = more


def sessions(study, h):
    return [h[begin:end] for begin, end in study.spans]


def tail_unseen(h, signs="0."):
    """A removed animal is followed to its last capture: nothing is known of the occasions behind."""
    last = max(o for o, sign in enumerate(h) if sign not in signs)
    return h[: last + 1] + "." * (len(h) - last - 1)


def shares(x, name, a, codes, row, column):
    """Moves out of a stratum: what the others leave stays."""
    out = {b: x(name, f"{a} to {b}", row, column) for b in codes if b != a}
    out = {b: q for b, q in out.items() if q is not None}
    return {a: 1 - sum(out.values())} | out


def interval(study, x, weights, row, c, t):
    """Those alive in each stratum live, then move; columns count from 1."""
    after = {}
    for a, w in weights.items():
        if a is gone:
            after[gone] = after.get(gone, 0) + w
            continue
        s = x("S", a, row, c) ** t
        after[gone] = after.get(gone, 0) + w * (1 - s)
        for b, q in shares(x, "Psi", a, study.codes, row, c).items():
            after[b] = after.get(b, 0) + w * s * q
    return after


def seen(weights, sign, p):
    """p(a): chance of a capture."""
    if sign == ".":
        return weights
    if sign == "0":
        return {a: w if a is gone else w * (1 - p(a)) for a, w in weights.items()}
    return {sign: weights[sign] * p(sign)} if sign in weights else {}


def total(weights):
    return sum(weights.values())


# ---- live recaptures, live and dead


def recaptured(study, x, h, lost):
    f = next(o for o, sign in enumerate(h, 1) if sign not in "0.")
    h = tail_unseen(h) if lost else h
    weights = {h[f - 1]: 1.0}
    for c in range(f, len(h)):
        weights = interval(study, x, weights, f, c, study.lengths[c - 1])
        weights = seen(weights, h[c], lambda a: x("p", a, f, c))
    return total(weights)


def live_and_dead(study, x, h, lost):
    """What becomes of an animal in each interval, also in the one behind the last occasion."""
    live, dead = h[::2], h[1::2]
    f = next(o for o, sign in enumerate(live, 1) if sign not in "0.")
    last = max(o for o, sign in enumerate(live, 1) if sign not in "0.")
    found = next((o for o, sign in enumerate(dead, 1) if sign != "0"), None)
    k = len(live)

    def from_here(a, c):
        """Chance of all that follows occasion c for an animal in stratum a then."""
        t = study.lengths[c - 1] if c <= len(study.lengths) else 1.0
        s, r = x("S", a, f, c) ** t, x("r", a, f, c)
        if found == c:
            return (1 - s) * r
        if lost and c == last:
            return 1.0
        later_seen = any(sign not in "0." for sign in live[c:]) or (found is not None and found > c)
        chance = 0.0 if later_seen else (1 - s) * (1 - r)
        if c == k:
            return chance + s
        for b, q in shares(x, "Psi", a, study.codes, f, c).items():
            sign, p = live[c], x("p", b, f, c)
            met = 1.0 if sign == "." else 1 - p if sign == "0" else p if sign == b else None
            if met is not None:
                chance = chance + s * q * met * from_here(b, c + 1)
        return chance

    return from_here(live[f - 1], f)


# ---- within a session


def closed_session(study, x, cells, a, s):
    """Captures of an animal of stratum a; a class or an effect is drawn for the session."""
    chance = 0.0
    for weight, p, c in closed_kinds(study, x, len(cells), a, s):
        # new, known under its mark, or misread: then its mark is not seen again.
        new, known, misread = weight, 0.0, 0.0
        for j, sign in enumerate(cells):
            if sign == ".":
                continue
            right = x("alpha", f"{a} {s}", 1, j + 1)
            right = 1.0 if right is None else right
            if sign == "0":
                new, known = new * (1 - p[j]), known * (1 - c[j])
            else:
                new, known, misread = 0.0, known * c[j] + new * p[j] * right, new * p[j] * (1 - right)
        chance = chance + new + known + misread
    return chance


def closed_kinds(study, x, n, a, s):
    """Weight, p and c by occasion of each class of animals, or of each node of the effect."""
    where = f"{a} {s}"

    def rates(m):
        p = [x("p", where, m, j) for j in range(1, n + 1)]
        c = [x("c", where, m, j) for j in range(1, n)]
        return p, p[:1] + [q if again is None else again for again, q in zip(c, p[1:])]

    if study.nodes:
        nodes, weights = numpy.polynomial.hermite.hermgauss(study.nodes)
        p, c = rates(1)
        for node, weight in zip(nodes, weights / numpy.pi**0.5):
            shift = [2**0.5 * node * x("sigmap", where, 1, j) for j in range(1, n + 1)]
            yield weight, *([None if q is None else expit(logit(q) + e) for q, e in zip(of, shift)] for of in (p, c))
        return
    rest = 1.0
    for m in range(1, study.mixtures):
        share = x("pi", where, m, 1)
        rest = rest - share
        yield share, *rates(m)
    yield rest, *rates(study.mixtures)


def arrivals(study, x, a, s, n, name="pent", row=1):
    """Shares of those that arrive for each occasion."""
    where = f"{a} {s}"
    if n == 1:
        return [1.0]
    given = [x(name, where, row, j) for j in range(1, n)]
    return [1 - sum(given)] + given if study.entries == "first" else given + [1 - sum(given)]


def open_session(study, x, cells, a, s, capture=None):
    """Animals come, and go, within the session: a sum over the occasions of both.

    @param capture  capture(sign, rate, j): chance of a sign other than 0 and dot for an animal caught at this rate
    """
    capture = capture or (lambda sign, rate, j: rate)
    where, n = f"{a} {s}", len(cells)
    part = x("alpha", where, 1, 1)
    ages = study.more.get("ages", False)
    chance = 0.0
    for i, arrive in enumerate(arrivals(study, x, a, s, n), 1):
        row = i if ages else 1
        there = arrive
        for d in range(i, n + 1):  # the last occasion on which it is there
            if d > i:
                there = there * x("Phi", where, row, d - 1)
            here = there * (1 - x("Phi", where, row, d)) if d < n else there
            known = False
            for j, sign in enumerate(cells, 1):
                if sign == ".":
                    continue
                if not i <= j <= d:
                    if sign != "0":
                        here = None
                        break
                    continue
                rate = x("c", where, row, j - 1) if known else None
                rate = x("p", where, row, j) if rate is None else rate
                if sign == "0":
                    here = here * (1 - rate)
                else:
                    met = capture(sign, rate, j)
                    if met is None:
                        here = None
                        break
                    here, known = here * met, True
            if here is not None:
                chance = chance + here
    if part is not None:
        chance = part * chance + (1 - part if not any(sign not in "0." for sign in cells) else 0)
    return chance


# ---- strata in primary sessions


def blank(cells):
    return "".join("." if sign == "." else "0" for sign in cells)


def code_of(cells):
    return next((sign for sign in cells if sign not in "0."), None)


class Sessions:
    """Histories with the stratum known at each capture; within(cells, a, s) tells of one session."""

    def __init__(self, study, x, within):
        self.study, self.x, self.within, self.kept = study, x, within, {}

    def pattern(self, cells, a, s):
        key = cells, a, s
        if key not in self.kept:
            self.kept[key] = self.within(self.study, self.x, cells, a, s)
        return self.kept[key]

    def met(self, cells, a, s):
        return 1 - self.pattern(blank(cells), a, s)

    def first(self, whole):
        return next(s for s, cells in enumerate(whole, 1) if code_of(cells))

    def chance(self, h, lost):
        """Given the first session with a capture, and the stratum there."""
        whole, cut = sessions(self.study, h), sessions(self.study, tail_unseen(h) if lost else h)
        fs = self.first(whole)
        a = code_of(whole[fs - 1])
        weights = {a: self.pattern(cut[fs - 1], a, fs) / self.met(whole[fs - 1], a, fs)}
        return self.followed(weights, cut, fs, fs)

    def followed(self, weights, cut, fs, row):
        for s in range(fs, len(cut)):
            weights = interval(self.study, self.x, weights, row, s, self.study.between[s - 1])
            cells = cut[s]
            caught = code_of(cells)
            weights = {
                b: w * (1 if b is gone else self.pattern(cells, b, s + 1))
                for b, w in weights.items()
                if caught is None or caught == b
            }
        return total(weights)

    def full(self, h, lost):
        """The other form of the likelihood: each session with captures has its chance of a capture once more."""
        chance = self.chance(h, lost)
        for s, cells in enumerate(sessions(self.study, h), 1):
            a = code_of(cells)
            if a:
                chance = chance * self.met(cells, a, s)
        return chance

    def with_states(self, h, lost):
        """With the stratum at the first capture, by the shares of the strata in that session."""
        whole = sessions(self.study, h)
        fs = self.first(whole)
        share = structure(self.study, self.x, "Omega", fs)
        seen_there = {a: share[a] * self.met(whole[fs - 1], a, fs) for a in self.study.codes}
        return seen_there[code_of(whole[fs - 1])] / total(seen_there) * self.chance(h, lost)

    def with_seniority(self, h, lost):
        """With the session of the first capture, of animals first caught in that stratum."""
        study, x = self.study, self.x
        whole = sessions(study, h)
        fs, t = self.first(whole), study.between
        a = code_of(whole[fs - 1])

        def unseen(s, k):
            """Back from stratum k in session s: never met before."""
            if s == 1:
                return 1.0
            old = x("Gamma", k, 1, s - 1) ** t[s - 2]
            before = shares(x, "Psi", k, study.codes, 1, s - 1)
            earlier = sum(q * (1 - self.met(whole[s - 2], b, s - 1)) * unseen(s - 1, b) for b, q in before.items())
            return 1 - old + old * earlier

        size, sizes = 1.0, []
        for s in range(1, len(whole) + 1):
            sizes.append(size * unseen(s, a) * self.met(whole[s - 1], a, s))
            if s < len(whole):
                size = size * (x("S", a, 1, s) / x("Gamma", a, 1, s)) ** t[s - 1]
        cut = sessions(study, tail_unseen(h) if lost else h)
        start = {a: self.pattern(cut[fs - 1], a, fs) / self.met(whole[fs - 1], a, fs)}
        return sizes[fs - 1] / sum(sizes) * self.followed(start, cut, fs, 1)


def structure(study, x, name, column, row=1):
    """Shares of the states; the last has the rest."""
    out = {a: x(name, a, row, column) for a in study.codes[:-1]}
    return out | {study.codes[-1]: 1 - sum(out.values())}


def animals_met(study, data, s, a):
    """(history, number) of those caught in session s, in stratum a."""
    return [(h, abs(n)) for h, n in data if code_of(sessions(study, h)[s - 1]) == a]


def never_met(study, x, data):
    """Log likelihood of the numbers of each stratum and session that were not caught at all."""
    term = 0.0
    for a in study.codes:
        for s, (begin, end) in enumerate(study.spans, 1):
            never = x("f0", f"{a} {s}", 1, 1)
            met = sum(n for _, n in animals_met(study, data, s, a))
            missed = closed_session(study, x, "0" * (end - begin), a, s)
            term = term + never * numpy.log(missed) + loggamma(never + met + 1) - loggamma(never + 1)
    return term


# ---- states that are not always known, in sessions


class Uncertain:
    """121 and its kin: the state stays as it is within a session, a capture may not tell it."""

    def __init__(self, study, x, kind):
        self.study, self.x, self.kind, self.kept = study, x, kind, {}

    def capture(self, a, s):
        x, codes = self.x, self.study.codes

        def chance(sign, rate, j):
            sure = x("Delta", f"{a} {s}", 1, j)
            if sign in codes:
                return rate * sure if sign == a else None
            if self.kind != "two":
                return rate * (1 - sure)
            right = x("Delta", f"{a.lower()} {s}", 1, j)
            right = 1 / len(codes) if right is None else right
            return rate * (1 - sure) * (right if sign == a.lower() else (1 - right) / (len(codes) - 1))

        return chance

    def pattern(self, cells, a, s):
        key = cells, a, s
        if key in self.kept:
            return self.kept[key]
        capture = self.capture(a, s)
        if self.kind == "open":
            out = open_session(self.study, self.x, cells, a, s, capture)
        else:
            out = 1.0
            for j, sign in enumerate(cells, 1):
                if sign == ".":
                    continue
                p = self.x("p", f"{a} {s}", 1, j)
                met = 1 - p if sign == "0" else capture(sign, p, j)
                if met is None:
                    out = 0.0
                    break
                out = out * met
        self.kept[key] = out
        return out

    def ever(self, cells, a, s):
        """Chances to be met at all, and to be met without ever being recognised: a sum over all that can be seen."""
        key = "ever", blank(cells), a, s
        if key not in self.kept:
            others = "".join(b.lower() for b in self.study.codes) if self.kind == "two" else "u"
            unsure = 0.0
            for signs in itertools.product(*("." if sign == "." else "0" + others for sign in cells)):
                if code_of(signs):
                    unsure = unsure + self.pattern("".join(signs), a, s)
            self.kept[key] = 1 - self.pattern(blank(cells), a, s), unsure
        return self.kept[key]

    def begin(self, cells, fs):
        """An animal first caught in this session, whose cells are these: by state."""
        study = self.study
        first = structure(study, self.x, "pi", fs)
        ever = {a: self.ever(cells, a, fs) for a in study.codes}
        known = next((sign for sign in cells if sign in study.codes), None)
        if known:
            return {known: first[known] / ever[known][0] * self.pattern(cells, known, fs)}
        share = structure(study, self.x, "Omega", fs)
        unsure = sum(first[a] * ever[a][1] / ever[a][0] for a in study.codes)
        whole_class = sum(share[a] * ever[a][1] for a in study.codes)
        return {a: unsure * share[a] * self.pattern(cells, a, fs) / whole_class for a in study.codes}

    def chance(self, h, lost):
        study = self.study
        whole, cut = sessions(study, h), sessions(study, tail_unseen(h) if lost else h)
        fs = next(s for s, cells in enumerate(whole, 1) if code_of(cells))
        if lost and not any(code_of(cells) for cells in whole[fs:]):
            return self.removed_at_once(whole[fs - 1], cut[fs - 1], fs)
        weights = self.begin(whole[fs - 1], fs)
        for s in range(fs, len(whole)):
            weights = interval(study, self.x, weights, fs, s, study.between[s - 1])
            cells = cut[s]
            weights = {
                b: w * (self.pattern(cells, b, s + 1) if b is not gone else 1)
                for b, w in weights.items()
                if b is not gone or code_of(cells) is None
            }
        return total(weights)

    def removed_at_once(self, cells, cut, fs):
        """Removed in its first session: whatever else it might have shown there."""
        signs = "0" + self.study.codes + ("".join(b.lower() for b in self.study.codes) if self.kind == "two" else "u")
        last = len(cut.rstrip("."))
        behind = ["." if sign == "." else signs for sign in cells[last:]]
        out = 0.0
        for rest in itertools.product(*behind):
            done = cells[:last] + "".join(rest)
            if len({sign for sign in done if sign in self.study.codes}) < 2:
                out = out + total(self.begin(done, fs))
        return out


# ---- hidden states


def read_as(study, x, a, sign, row, occasion, occasions, name="Delta", rest=None):
    """Chance that a capture of state a shows this sign; the last of all signs has the rest. Where none of the matrices of a
    state is there, the last sign is the only one."""
    signs = study.codes + study.events

    def given(q):
        for element in (f"{a}|{q}", f"{q}|{a}"):
            value = x(name, element, row, occasion, occasions)
            if value is not None:
                return value
        return 0.0

    if sign == signs[-1]:
        return 1 - sum(given(q) for q in signs[:-1])
    return given(sign)


def hidden(study, x, h, lost):
    f = next(o for o, sign in enumerate(h, 1) if sign not in "0.")
    h = tail_unseen(h) if lost else h
    k = len(h)
    read = lambda a, sign, o: read_as(study, x, a, sign, f, o, k)
    if x("pi", study.codes[0], 1, f) is None and len(study.codes) > 1:
        weights = {h[f - 1]: 1.0}
    else:
        start = structure(study, x, "pi", f) if len(study.codes) > 1 else {study.codes: 1.0}
        weights = {a: w * read(a, h[f - 1], f) for a, w in start.items()}
    for c in range(f, k):
        weights = interval(study, x, weights, f, c, study.lengths[c - 1])
        sign = h[c]
        if sign == ".":
            continue
        after = {}
        for a, w in weights.items():
            if a is gone:
                if sign == "0":
                    after[a] = w
            elif sign == "0":
                after[a] = w * (1 - x("p", a, f, c))
            else:
                after[a] = w * x("p", a, f, c) * read(a, sign, c + 1)
        weights = after
    return total(weights)


# ---- Jolly-Seber with states


def entries(study, x, k):
    """Shares of all animals that enter ahead of each occasion."""
    given = [x("pent", "", 1, i) for i in range(1, k)]
    return [1 - sum(given)] + given if study.entries == "first" else given + [1 - sum(given)]


def kinds(study, x, entry):
    return structure(study, x, "pi", entry) if len(study.codes) > 1 else {study.codes: 1.0}


def met_somewhere(study, x, cells):
    """Chance of the cells of an animal: a sum over the occasions of entry."""
    k = len(cells)
    pent = entries(study, x, k)

    def met(sign, a, o):
        if sign == ".":
            return 1.0
        p = x("p", a, 1, o, k)
        if sign == "0":
            return 1 - p
        if study.events:
            return p * read_as(study, x, a, sign, 1, o, k)
        return p if sign == a else None

    out = 0.0
    for entry in range(1, k + 1):
        if code_of(cells[: entry - 1]):
            break
        weights = {a: pent[entry - 1] * w for a, w in kinds(study, x, entry).items()}
        for o in range(entry, k + 1):
            if o > entry:
                weights = interval(study, x, weights, 1, o - 1, study.lengths[o - 2])
            after = {}
            for a, w in weights.items():
                if a is gone:
                    if cells[o - 1] in "0.":
                        after[a] = w
                else:
                    q = met(cells[o - 1], a, o)
                    if q is not None:
                        after[a] = w * q
            weights = after
        out = out + total(weights)
    return out


def entering(study, x, h, lost):
    """Given that the animal is met at all on the occasions on which its record was sampled."""
    return met_somewhere(study, x, tail_unseen(h) if lost else h) / (1 - met_somewhere(study, x, blank(h)))


def numbers_there(study, x, k):
    """Of one animal, by stratum and occasion: the chance to be there, and the births. Those that enter evenly over an interval may
    die before its end."""
    there, births, weights = {}, {}, {}
    pent = entries(study, x, k)
    for o in range(1, k + 1):
        t = study.lengths[o - 2] if o > 1 else 1
        weights = interval(study, x, weights, 1, o - 1, t) if o > 1 else weights
        for a, share in kinds(study, x, o).items():
            weights[a] = weights.get(a, 0) + pent[o - 1] * share
            s = x("S", a, 1, o - 1) ** t if o > 1 else None
            births[a, o] = pent[o - 1] * share * (numpy.log(s) / (s - 1) if o > 1 else 1)
        for a in study.codes:
            there[a, o] = weights[a]
    order = [(a, o) for a in study.codes for o in range(1, k + 1)]
    return [there[key] for key in order], [births[key] for key in order]


# ---- Barker


def joint(study, x, h, lost):
    """Captures, resightings and recoveries. study.more: kind 176, 179 or 180; lists of events of captures, resightings, recoveries."""
    kind, codes, k = study.more["kind"], study.codes, len(h) // 2
    live, other = h[::2], h[1::2]
    captures, resightings, recoveries = study.more.get("lists", ("U", "U", "u"))
    f = next(o for o, sign in enumerate(live, 1) if sign not in "0.")
    last = max(o for o, sign in enumerate(live, 1) if sign not in "0.")

    def read(name, a, own, sign, events, column):
        """The last of the events has the rest."""
        sure = x(name, a if kind == 176 else f"{a}|{a}", f, column, k)
        if kind == 176:
            return sure if sign == own else 1 - sure if sign in events else 0.0
        signs = own + events
        given = {own: 0.0 if sure is None else sure}
        for q in events[:-1]:
            value = x(name, f"{a}|{q}", f, column, k)
            given[q] = 0.0 if value is None else value
        if not events:
            return 1.0 if sign == own else 0.0
        given[events[-1]] = 1 - sum(given.values())
        return given.get(sign, 0.0) if sign in signs else 0.0

    def moved(weights, c):
        after = {}
        for a, w in weights.items():
            for b, q in shares(x, "Psi", a, codes, f, c).items():
                after[b] = after.get(b, 0) + w * q
        return after

    sign = live[f - 1]
    if x("pi", codes[0], 1, f) is None and len(codes) > 1:
        weights = {sign: 1.0}
    else:
        start = structure(study, x, "pi", f) if len(codes) > 1 else {codes: 1.0}
        weights = {a: w * read("Delta", a, a, sign, captures, f) for a, w in start.items()}
    unseen_dead = 0.0
    for c in range(f, k + 1):
        if lost and c == last:
            return total(weights)
        if kind == 180:
            weights = moved(weights, c)
        d = other[c - 1]
        resighted = d in codes or (d in resightings and d != "0")
        recovered = d in codes.lower() or d in recoveries
        t = study.lengths[c - 1] if c <= len(study.lengths) else 1.0
        alive, found, dead = {}, 0.0, 0.0
        for a, w in weights.items():
            s = x("S", a, f, c) ** t
            r = x("r", a, f, c)
            seen_alive = 1 - (1 - x("R", a, f, c)) ** t
            seen_before = 1 - (1 - x("R'", a, f, c)) ** t
            if resighted:
                alive[a] = w * s * seen_alive * read("rho", a, a, d, resightings, c)
                dead = dead + w * (1 - s) * (1 - r) * seen_before * read("rho'", a, a, d, resightings, c)
            elif recovered:
                found = found + w * (1 - s) * r * read("b", a, a.lower(), d, recoveries, c)
            else:
                alive[a] = w * s * (1 - seen_alive)
                dead = dead + w * (1 - s) * (1 - r) * (1 - seen_before)
        if recovered and not resighted:
            return found
        unseen_dead = dead if resighted else unseen_dead + dead
        weights = alive
        if c == k:
            return total(weights) + unseen_dead
        if kind != 180:
            weights = moved(weights, c)
        sign = live[c]
        if sign == "0":
            weights = {a: w * (1 - x("p", a, f, c)) for a, w in weights.items()}
        elif sign != ".":
            weights = {a: w * x("p", a, f, c) * read("Delta", a, a, sign, captures, c + 1) for a, w in weights.items()}
            unseen_dead = 0.0
