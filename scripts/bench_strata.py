"""Studies of bench_coverage with strata, or states that are not always known: animals live, move, come, go, are caught, recognised or not, resighted and found."""

import math
from collections import Counter

from bench_studies import Study, poisson, records

codes = "AB"
survival = {"A": 0.8, "B": 0.7}
moves = {"A": {"A": 0.7, "B": 0.3}, "B": {"A": 0.2, "B": 0.8}}


def drawn(rng, chances):
    """A key, by the chances that are its values; they sum to 1."""
    level = rng.random()
    for key, chance in chances.items():
        level -= chance
        if level < 0.0:
            return key
    return key


def path(rng, stratum, born, periods):
    """The stratum of an animal in each period, from its first on; None before that and when it is dead."""
    out = [None] * born
    while len(out) < periods:
        out.append(stratum)
        if rng.random() >= survival[stratum]:
            break
        stratum = drawn(rng, moves[stratum])
    return out + [None] * (periods - len(out))


def paths(rng, first, births, periods):
    """Of a population: so many animals of each stratum at first, and entering for each later period."""
    out = []
    for born in range(periods):
        for stratum in codes:
            count = poisson(rng, births if born else first)
            out += [path(rng, stratum, born, periods) for _ in range(count)]
    return out


def numbers(lives, periods):
    """Animals by stratum and period, in the order of derived values."""
    return [sum(life[s] == a for life in lives) for a in codes for s in range(periods)]


class Strata(Study):
    def __init__(self, keyword, occasions, intervals=None, options="", signs=codes):
        super().__init__(keyword, occasions, intervals, f" strata={len(codes)}{options}")
        self.head = self.head.replace("hist=2000", "hist=9000")
        self.head += f"strata={' '.join(signs)};\n"

    def add_lives(self, columns):
        for a in codes:
            self.add(f"S {a} :", columns, survival[a])

    def add_moves(self, columns):
        for a, b in ("AB", "BA"):
            self.add(f"Psi {a} to {b}", columns, moves[a][b])

    def add_by_stratum(self, name, columns, truth):
        for a in codes:
            self.add(f"{name} {a} :", columns, truth[a])


class Recaptures(Strata):
    """Type 9, and 21 with animals found dead."""

    p, found = {"A": 0.5, "B": 0.4}, {"A": 0.3, "B": 0.2}

    def __init__(self, dead=False, periods=6, size=150):
        super().__init__("MSLIVEDEAD" if dead else "MULTISTRATA", periods)
        self.dead, self.periods, self.size = dead, periods, size
        self.add_lives(periods if dead else periods - 1)
        self.add_by_stratum("p", periods - 1, self.p)
        self.add_moves(periods - 1)
        if dead:
            self.add_by_stratum("r", periods, self.found)

    def draw(self, rng, scale):
        texts = []
        for life in paths(rng, scale * self.size, scale * self.size * 0.3, self.periods):
            text, marked = "", False
            for s, stratum in enumerate(life):
                caught = stratum and rng.random() < self.p[stratum]
                marked = marked or caught
                dies = stratum and (rng.random() >= survival[stratum] if s + 1 == self.periods else life[s + 1] is None)
                found = self.dead and dies and marked and rng.random() < self.found[stratum]
                text += (stratum if caught else "0") + ("01"[bool(found)] if self.dead else "")
            texts.append(text if marked else "")
        return records(texts), {}


class Closed_sessions(Strata):
    """Types 33, 34 and 104: the stratum stays within a session. `shares`: with Omega."""

    p, again, first = {"A": 0.4, "B": 0.3}, {"A": 0.55, "B": 0.45}, 0.6

    def __init__(self, keyword, lengths, size, births=0.3, full=False, shares=False):
        self.lengths, self.size, self.births, self.shares, self.full = lengths, size, births, shares, full
        intervals = [t for length in lengths for t in [0] * (length - 1) + [1]]
        super().__init__(keyword, sum(lengths), intervals[:-1])
        k = len(lengths)
        self.add_lives(k - 1)
        self.add_moves(k - 1)
        if shares:
            self.add("Omega A :", k, self.first)
        self.add_captures()
        if not shares:
            self.sections = [[f"N {a} {s + 1}" for a in codes for s in range(k)]]

    def add_captures(self):
        for a in codes:
            self.add_in_sessions(f"p {a} :", self.lengths, self.p[a])
            self.add_in_sessions(f"c {a} :", [n - 1 for n in self.lengths], self.again[a])
            if self.full:
                self.add_in_sessions(f"f0 {a} :", [1] * len(self.lengths), None, link="LOG", own=True)

    def session(self, rng, stratum, length):
        """The captures of an animal that is there, and the occasions on which it was."""
        cells, caught = "", False
        for _ in range(length):
            hit = rng.random() < (self.again if caught else self.p)[stratum]
            caught = caught or hit
            cells += stratum if hit else "0"
        return cells, length

    def lives(self, rng, scale):
        """Paths of animals. With shares those that are new in a session are the only ones without a mark, so that their shares are the same in all."""
        k = len(self.lengths)
        if not self.shares:
            return paths(rng, scale * self.size, scale * self.size * self.births, k)
        out = []
        for born in range(k):
            for _ in range(poisson(rng, scale * self.size)):
                out.append(path(rng, drawn(rng, {"A": self.first, "B": 1.0 - self.first}), born, k))
        return out

    def draw(self, rng, scale):
        k, texts, seen, stays = len(self.lengths), [], Counter(), {}
        there = []
        for life in self.lives(rng, scale):
            cells, marked = [], False
            life = list(life)
            for s, stratum in enumerate(life):
                text, stay = self.session(rng, stratum, self.lengths[s]) if stratum else ("0" * self.lengths[s], None)
                cells.append(text)
                if stratum:
                    stays.setdefault((stratum, s), []).append(stay)
                if text.strip("0"):
                    seen[stratum, s] += 1
                    marked = True
                if self.shares and stratum and not marked:
                    # Not met in its first session: nobody follows it.
                    life[s + 1 :] = [None] * (k - s - 1)
                    cells += ["0" * length for length in self.lengths[s + 1 :]]
                    break
            there.append(life)
            texts.append("".join(cells))
        truth = {}
        for a, s, n in zip([a for a in codes for _ in range(k)], [*range(k)] * len(codes), numbers(there, k)):
            truth[f"N {a} {s + 1}"] = {"realised": n}
            truth[f"f0 {a} {s + 1}"] = {"realised": n - seen[a, s]}
            truth |= self.truth_of_stays(a, s, stays.get((a, s), []))
        return records(texts), truth

    def truth_of_stays(self, a, s, stays):
        return {}


class Open_sessions(Closed_sessions):
    """Type 32: animals come and go within a session."""

    p, stay, share = {"A": 0.5, "B": 0.45}, {"A": 0.75, "B": 0.65}, 0.2

    def __init__(self, keyword, lengths, size, births=0.3, shares=False):
        super().__init__(keyword, lengths, size, births, shares=shares)
        k = len(lengths)
        self.sections = [[f"{what} {a} {s + 1}" for a in codes for s in range(k)] for what in ("N", "stay")]

    def add_captures(self):
        for a in codes:
            self.add_in_sessions(f"pent {a} :", [n - 1 for n in self.lengths], self.share)
            self.add_in_sessions(f"Phi {a} :", [n - 1 for n in self.lengths], self.stay[a])
            self.add_in_sessions(f"p {a} :", self.lengths, self.p[a])

    def days(self, rng, stratum, length):
        """The occasions on which an animal is there."""
        shares = {0: 1.0 - (length - 1) * self.share} | {j: self.share for j in range(1, length)}
        arrives = drawn(rng, shares)
        leaves = arrives + 1
        while leaves < length and rng.random() < self.staying(stratum, leaves - arrives):
            leaves += 1
        return range(arrives, leaves)

    def staying(self, stratum, days):
        """Chance to stay another occasion after so many."""
        return self.stay[stratum]

    def stays(self, stratum, length):
        """(chance, occasions there) of all that an animal can do in a session."""
        for arrives in range(length):
            chance = self.share if arrives else 1.0 - (length - 1) * self.share
            for days in range(1, length - arrives):
                yield chance * (1.0 - self.staying(stratum, days)), days
                chance *= self.staying(stratum, days)
            yield chance, length - arrives

    def session(self, rng, stratum, length):
        there = self.days(rng, stratum, length)
        return "".join(stratum if j in there and rng.random() < self.p[stratum] else "0" for j in range(length)), len(there)

    def expected_stay(self, stratum, length):
        return sum(chance * days for chance, days in self.stays(stratum, length))

    def truth_of_stays(self, a, s, stays):
        return {f"stay {a} {s + 1}": {"stated": self.expected_stay(a, self.lengths[s])}}


class Recognised(Open_sessions):
    """Types 121, 126 and 142: a capture does not always tell the state. Animals that are new in a session and not met there are not followed, so that the
    shares of the states among those without a mark are the same in all sessions."""

    known = {"A": 0.7, "B": 0.6}
    takes_part = {"A": 0.85, "B": 0.75}

    def __init__(self, keyword, lengths, size, form):
        self.form = form
        super().__init__(keyword, lengths, size, shares=True)
        k = len(lengths)
        met = {a: self.chance_to_be_met(a, lengths[0]) for a in codes}
        weights = {"A": self.first * met["A"], "B": (1.0 - self.first) * met["B"]}
        self.add("pi A :", k, weights["A"] / sum(weights.values()))
        sections = {"closed": [], "open": ["N", "stay"], "season": ["N", "individual stay"]}[form]
        self.sections = [[f"{what} {a} {s + 1}" for a in codes for s in range(k)] for what in sections]

    def add_captures(self):
        for a in codes:
            if self.form != "closed":
                self.add_in_sessions(f"pent {a} :", [n - 1 for n in self.lengths], self.share)
                self.add_stays(a)
            self.add_in_sessions(f"p {a} :", self.lengths, self.p[a])
            self.add_in_sessions(f"Delta {a} :", self.lengths, self.known[a])
            if self.form == "season":
                self.add_in_sessions(f"alpha {a} :", [1] * len(self.lengths), self.takes_part[a])
                # Apart from p, which then only first captures tell, it can hardly be told from alpha.
                self.add_in_sessions(f"c {a} :", [n - 1 for n in self.lengths], self.p[a], like=f"p {a}")

    def add_stays(self, a):
        self.add_in_sessions(f"Phi {a} :", [n - 1 for n in self.lengths], self.stay[a])

    def chance_to_be_met(self, a, length):
        if self.form == "closed":
            return 1.0 - (1.0 - self.p[a]) ** length
        met = sum(chance * (1.0 - (1.0 - self.p[a]) ** days) for chance, days in self.stays(a, length))
        return met * (self.takes_part[a] if self.form == "season" else 1.0)

    def session(self, rng, stratum, length):
        if self.form == "season" and rng.random() >= self.takes_part[stratum]:
            return "0" * length, 0
        there = range(length) if self.form == "closed" else self.days(rng, stratum, length)
        cells = ""
        for j in range(length):
            hit = j in there and rng.random() < self.p[stratum]
            cells += (stratum if rng.random() < self.known[stratum] else "u") if hit else "0"
        return cells, len(there)

    def truth_of_stays(self, a, s, stays):
        stay = self.expected_stay(a, self.lengths[s])
        return {f"stay {a} {s + 1}": {"stated": stay}, f"individual stay {a} {s + 1}": {"stated": self.takes_part[a] * stay}}


class Stays_by_age(Recognised):
    """Type 184: what stays on depends on how long it has been there."""

    stay_on = {"A": 0.85, "B": 0.8}

    def __init__(self, keyword, lengths, size):
        super().__init__(keyword, lengths, size, "season")

    def staying(self, stratum, days):
        return (self.stay if days == 1 else self.stay_on)[stratum]

    def add_stays(self, a):
        first = len(self.names) + 1
        self.names += [f"Phi {a} at first", f"Phi {a} later"]
        self.truths += [self.stay[a], self.stay_on[a]]
        self.links += ["LOGIT", "LOGIT"]
        for s, length in enumerate(self.lengths, 1):
            n = length - 1
            self.matrices += f"group=1 Phi {a} : Session {s} rows={n} cols={n} triang;\n"
            self.matrices += "".join(" ".join([str(first)] + [str(first + 1)] * (n - 1 - row)) + ";\n" for row in range(n))


class Assigned(Recognised):
    """Type 122: an animal that is not recognised is assigned a state, which may be wrong."""

    right = {"A": 0.9, "B": 0.8}

    def __init__(self, keyword, lengths, size):
        super().__init__(keyword, lengths, size, "closed")
        for a in codes:
            self.add_in_sessions(f"Delta {a.lower()} :", lengths, self.right[a])

    def session(self, rng, stratum, length):
        cells, days = super().session(rng, stratum, length)
        return "".join(self.assigned(rng, stratum) if sign == "u" else sign for sign in cells), days

    def assigned(self, rng, stratum):
        return (stratum if rng.random() < self.right[stratum] else codes.replace(stratum, "")).lower()


class Events(Strata):
    """Type 178. `named`: a capture shows the state or "u"; else one of two events that both states show."""

    p, first, known, shown = {"A": 0.6, "B": 0.5}, 0.6, {"A": 0.7, "B": 0.6}, {"A": 0.9, "B": 0.15}

    def __init__(self, named, periods=6, size=200):
        events = "u" if named else "xy"
        super().__init__("HIDMARKOV", periods, None, f" events={len(events)}", codes + events)
        self.named, self.periods, self.size = named, periods, size
        self.add_lives(periods - 1)
        self.add_by_stratum("p", periods - 1, self.p)
        self.add_moves(periods - 1)
        self.add("pi A :", periods, self.first)
        for a in codes:
            self.add(f"Delta {a}|{a if named else 'x'}", periods, (self.known if named else self.shown)[a])
        if not named:
            # The states have no names: which is A is told by where the search begins.
            self.initial = "initial 1 1 0 0 -1 -1 0 1 -1;\n"

    def sign(self, rng, stratum):
        if self.named:
            return stratum if rng.random() < self.known[stratum] else "u"
        return "x" if rng.random() < self.shown[stratum] else "y"

    def draw(self, rng, scale):
        texts = []
        for born in range(self.periods):
            for _ in range(poisson(rng, scale * self.size)):
                life = path(rng, drawn(rng, {"A": self.first, "B": 1.0 - self.first}), born, self.periods)
                text = "0" * born + self.sign(rng, life[born])
                text += "".join(self.sign(rng, a) if a and rng.random() < self.p[a] else "0" for a in life[born + 1 :])
                texts.append(text)
        return records(texts), {}


class Joint_encounters(Strata):
    """Type 176, and 179 with events: captures, resightings and recoveries between them, whose state is not always known."""

    p, r, first = {"A": 0.5, "B": 0.4}, {"A": 0.35, "B": 0.25}, 0.6
    seen, seen_dying = {"A": 0.4, "B": 0.3}, {"A": 0.3, "B": 0.2}
    caught_known, seen_known, dying_known, found_known = {"A": 0.8, "B": 0.7}, {"A": 0.7, "B": 0.6}, {"A": 0.6, "B": 0.5}, {"A": 0.75, "B": 0.65}

    def __init__(self, events=False, periods=6, size=250):
        k = periods
        options = " eventsp=1 eventslr=1 eventsbr=1" if events else ""
        super().__init__("MSUNCBARKER" if events else "MSBARKER", k, None, options, codes + ("xvk" if events else ""))
        self.periods, self.size = periods, size
        self.unsure = "xvk" if events else "UUu"
        self.add_lives(k)
        self.add_moves(k - 1)
        self.add_by_stratum("p", k - 1, self.p)
        self.add_by_stratum("R", k, self.seen)
        self.add_by_stratum("R'", k, self.seen_dying)
        self.add_by_stratum("r", k, self.r)
        for name, truth in (("Delta", self.caught_known), ("rho", self.seen_known), ("rho'", self.dying_known), ("b", self.found_known)):
            for a in codes:
                self.add(f"{name} {a}|{a}" if events else f"{name} {a} :", k, truth[a])
        self.add("pi A :", k, self.first)

    def draw(self, rng, scale):
        texts = []
        for born in range(self.periods):
            for _ in range(poisson(rng, scale * self.size)):
                stratum = drawn(rng, {"A": self.first, "B": 1.0 - self.first})
                texts.append("00" * born + self.life(rng, stratum, self.periods - born))
        return records(texts), {}

    def life(self, rng, stratum, periods):
        text = ""
        for s in range(periods):
            met = s == 0 or rng.random() < self.p[stratum]
            text += self.named(rng, self.caught_known, stratum, stratum, self.unsure[0]) if met else "0"
            if rng.random() >= survival[stratum]:
                if rng.random() < self.r[stratum]:
                    text += self.named(rng, self.found_known, stratum, stratum.lower(), self.unsure[2])
                elif rng.random() < self.seen_dying[stratum]:
                    text += self.named(rng, self.dying_known, stratum, stratum, self.unsure[1])
                else:
                    text += "0"
                return text.ljust(2 * periods, "0")
            resighted = rng.random() < self.seen[stratum]
            text += self.named(rng, self.seen_known, stratum, stratum, self.unsure[1]) if resighted else "0"
            stratum = drawn(rng, moves[stratum])
        return text

    def named(self, rng, known, stratum, sure, unsure):
        return sure if rng.random() < known[stratum] else unsure


class Entries_by_state(Strata):
    """Types 183 and 185: entries by stratum; in 185 a capture shows the state or "u". Animals may die between their entry and the next occasion."""

    p, known, first = {"A": 0.55, "B": 0.45}, {"A": 0.7, "B": 0.6}, 0.6
    shares = (0.3, 0.2, 0.15, 0.15, 0.1, 0.1)

    def __init__(self, events=False, size=600):
        k = len(self.shares)
        options, signs = (" events=1", codes + "u") if events else ("", codes)
        super().__init__("HMMMSJOLLYSEBER" if events else "MSJOLLYSEBER", k, None, options, signs)
        self.events, self.size = events, size
        self.add_lives(k - 1)
        self.add_by_stratum("p", k, self.p)
        self.add_moves(k - 1)
        self.add("pent", k - 1, self.shares[1:], "MLOGIT(1)")
        self.add("pi A :", k, self.first)
        if events:
            for a in codes:
                self.add(f"Delta {a}|{a}", k, self.known[a])
        rows = lambda what: [f"{what} {a} {s + 1}" for a in codes for s in range(k)]
        self.sections = [["all"], rows("N"), rows("births")]

    def draw(self, rng, scale):
        k = len(self.shares)
        # Of animals that enter evenly over an interval this share is alive at its end.
        alive = {a: (survival[a] - 1.0) / math.log(survival[a]) for a in codes}
        weights = {}
        for s, share in enumerate(self.shares):
            for a, of in (("A", self.first), ("B", 1.0 - self.first)):
                weights[a, s] = share * of / (alive[a] if s else 1.0)
        births, lives, texts = Counter(), [], []
        for _ in range(poisson(rng, scale * self.size * sum(weights.values()))):
            a, s = drawn(rng, {key: w / sum(weights.values()) for key, w in weights.items()})
            births[a, s] += 1
            if s and rng.random() >= survival[a] ** rng.random():
                continue
            life = path(rng, a, s, k)
            lives.append(life)
            texts.append("".join(self.sign(rng, b) if b and rng.random() < self.p[b] else "0" for b in life))
        truth = {"all": {"realised": len(lives)}}
        for a, s, n in zip([a for a in codes for _ in range(k)], [*range(k)] * len(codes), numbers(lives, k)):
            truth[f"N {a} {s + 1}"] = {"realised": n, "stated": len(lives) * self.expected(a, s)}
            truth[f"births {a} {s + 1}"] = {"realised": births[a, s], "stated": len(lives) * weights[a, s]}
        return records(texts), truth

    def sign(self, rng, stratum):
        return stratum if not self.events or rng.random() < self.known[stratum] else "u"

    def expected(self, stratum, period):
        """Share of all animals that is in this stratum then."""
        there = {"A": 0.0, "B": 0.0}
        for s in range(period + 1):
            there = {b: sum(there[a] * survival[a] * moves[a][b] for a in codes) for b in codes}
            there["A"] += self.shares[s] * self.first
            there["B"] += self.shares[s] * (1.0 - self.first)
        return there[stratum]


threes, fours = [3] * 5, [4] * 5
strata_studies = {
    "9 MULTISTRATA": Recaptures(),
    "21 MSLIVEDEAD": Recaptures(dead=True),
    "33 CRDMS": Closed_sessions("CRDMS", threes, 120, full=True),
    "34 HCRDMS": Closed_sessions("HCRDMS", threes, 120),
    "104 CRDMSOHUG": Closed_sessions("CRDMSOHUG", threes, 120, shares=True),
    "32 ORDMS": Open_sessions("ORDMS", fours, 200),
    "121 RDMSMISCLASS": Recognised("RDMSMISCLASS", threes, 150, "closed"),
    "126 RDMSOPENMISCLASS": Recognised("RDMSOPENMISCLASS", fours, 250, "open"),
    "119 ORDMSSTATE": Open_sessions("ORDMSSTATE", fours, 200, shares=True),
    "122 RDMS2MISCLASS": Assigned("RDMS2MISCLASS", threes, 150),
    "142 RDMSOPENMCSEAS": Recognised("RDMSOPENMCSEAS", [4] * 6, 300, "season"),
    "176 MSBARKER": Joint_encounters(),
    "178 HIDMARKOV": Events(True),
    "178 HIDMARKOV events only": Events(False, size=800),
    "179 MSUNCBARKER": Joint_encounters(True),
    "184 RDMSOPENMCSEAS2": Stays_by_age("RDMSOPENMCSEAS2", [4] * 6, 300),
    "183 MSJOLLYSEBER": Entries_by_state(),
    "185 HMMMSJOLLYSEBER": Entries_by_state(True),
}
