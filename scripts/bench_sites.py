"""Studies of bench_coverage with sites: species that are there or not, animals that are counted or found, places that are used, days of coming and going."""

import math
from collections import Counter

from bench_strata import drawn
from bench_studies import Study, numbered, poisson


def listed(texts):
    """Statements of all sites: one where nothing was found counts as well."""
    return "".join(f"{text} {n};\n" for text, n in sorted(Counter(texts).items()))


def share(sites, of):
    return sum(map(of, sites)) / len(sites)


def both(stated, realised):
    return {"stated": stated, "realised": realised}


class Sites(Study):
    """`size`: sites. A truth of None is that of the set, told by `truth_of`."""

    def __init__(self, keyword, lengths, size, options="", codes=""):
        self.lengths, self.size = lengths, size
        intervals = [t for n in lengths for t in [0] * (n - 1) + [1]][:-1]
        super().__init__(keyword, sum(lengths), intervals if len(lengths) > 1 else None, options + (f" strata={len(codes)}" if codes else ""))
        self.head = self.head.replace("hist=2000", "hist=9000")
        if codes:
            self.head += f"strata={' '.join(codes)};\n"

    def draw(self, rng, scale):
        sites = [self.site(rng) for _ in range(round(scale * self.size))]
        return listed(text for text, _ in sites), self.truth_of([life for _, life in sites])


class One_season(Sites):
    """Types 27, 151, 156, 123, 143, 144: a species is there or not. `form`: how it shows."""

    psi, p = 0.6, 0.35

    def __init__(self, keyword, form, surveys, size):
        super().__init__(keyword, [surveys], size, " mixtures=2" if form == "units" else "")
        self.form, self.surveys = form, surveys
        at_ends = form in ("units", "trail", "stays")
        if at_ends:
            self.add("Psi", 1, None)
        if form == "effect":
            self.spread = 0.9
            self.add("sigmap", 1, self.spread, "LOG")
            self.add("p", surveys, self.p)
        elif form == "errors":
            self.false, self.right, self.sure = 0.08, 0.5, 0.4
            for name, truth in (("p10", self.false), ("p11", self.right), ("b", self.sure)):
                self.add(name, surveys, truth)
        elif form == "units":
            self.use = 0.55
            self.add("Theta", surveys // 2, self.use)
            number = len(self.names) + 1
            self.names, self.truths, self.links = self.names + ["p"], self.truths + [self.p], self.links + ["LOGIT"]
            self.matrices += "".join(f"group=1 p Primary {k} rows=1 cols=2 square constant={number};\n" for k in range(1, surveys // 2 + 1))
        elif form == "trail":
            self.use, self.again, self.p = 0.35, 0.75, 0.6
            self.add("Theta", surveys, self.use)
            self.add("Theta'", surveys, self.again)
            self.add("p", surveys, self.p)
        elif form == "stays":
            self.come, self.leave, self.p = 0.18, 0.2, 0.5
            self.add("pent", surveys - 1, self.come)
            self.add("d", surveys - 1, self.leave)
            self.add("p", surveys, self.p)
        else:
            self.add("p", surveys, [0.25, 0.35, 0.45, 0.3, 0.4, 0.5][:surveys])
        if not at_ends:
            self.add("Psi", 1, None)
        self.sections = {"units": [], "trail": [], "stays": [["residency"], numbered("there", surveys), ["arrival"], ["departure"]]}.get(form, [["occupancy"]])

    def site(self, rng):
        there = rng.random() < self.psi
        if self.form == "errors":
            text = "".join(self.record(rng, there) for _ in range(self.surveys))
            return text, (there, None)
        days = came_and_left(rng, self.surveys, self.come, self.leave) if self.form == "stays" else None
        chances = self.chances(rng, days)
        return "".join("01"[there and rng.random() < p] for p in chances), (there, days)

    def record(self, rng, there):
        if rng.random() >= (self.right if there else self.false):
            return "0"
        return "2" if there and rng.random() < self.sure else "1"

    def chances(self, rng, days):
        """Of a detection on each survey of an occupied site."""
        n = self.surveys
        if self.form == "effect":
            level = math.log(self.p / (1.0 - self.p)) + self.spread * rng.gauss(0.0, 1.0)
            return [1.0 / (1.0 + math.exp(-level))] * n
        if self.form == "units":
            return [p for _ in range(n // 2) for p in [self.p * (rng.random() < self.use)] * 2]
        if self.form == "trail":
            used, out = False, []
            for _ in range(n):
                used = rng.random() < (self.again if used else self.use)
                out.append(self.p * used)
            return out
        if self.form == "stays":
            return [self.p * (days[0] <= j <= days[1]) for j in range(n)]
        return self.truths[:n]

    def truth_of(self, lives):
        psi = both(self.psi, share(lives, lambda life: life[0]))
        out = {"Psi": psi, "occupancy": psi}
        if self.form == "stays":
            n = self.surveys
            days = [stay for there, stay in lives if there]
            expected = stays(n, self.come, self.leave)
            out["residency"] = both(sum(w * (b - a + 1) for w, a, b in expected), share(days, lambda d: d[1] - d[0] + 1))
            out["arrival"] = both(sum(w * (a + 1) for w, a, _ in expected), share(days, lambda d: d[0] + 1))
            out["departure"] = both(sum(w * (b + 1) for w, _, b in expected), share(days, lambda d: d[1] + 1))
            for j in range(n):
                out[f"there {j + 1}"] = both(sum(w for w, a, b in expected if a <= j <= b), share(days, lambda d, j=j: d[0] <= j <= d[1]))
        return out


def came_and_left(rng, n, come, leave):
    """First and last survey of a species that comes and goes once."""
    arrives = drawn(rng, {0: 1.0 - (n - 1) * come} | {j: come for j in range(1, n)})
    last = arrives
    while last < n - 1 and rng.random() >= leave:
        last += 1
    return arrives, last


def stays(n, come, leave):
    """(chance, first, last) of all that it may do."""
    out = []
    for a in range(n):
        left = come if a else 1.0 - (n - 1) * come
        for last in range(a, n - 1):
            out.append((left * leave, a, last))
            left *= 1.0 - leave
        out.append((left, a, n - 1))
    return out


class Seasons(Sites):
    """Types 28, 30, 157, 170: sites are lost and taken between seasons. `form`: how they show."""

    psi, lost, taken, p = 0.55, 0.25, 0.3, 0.4

    def __init__(self, keyword, form, lengths, size):
        super().__init__(keyword, lengths, size)
        self.form, k = form, len(lengths)
        self.expected = [self.psi]
        for _ in range(k - 1):
            self.expected.append(self.expected[-1] * (1.0 - self.lost) + (1.0 - self.expected[-1]) * self.taken)
        by_season = keyword == "RDOCCUPPE"
        self.add("Psi", k if by_season else 1, [None] * k if by_season else None)
        self.add("Epsilon", k - 1, self.lost)
        if not by_season:
            self.add("Gamma", k - 1, self.taken)
        fewer = [n - 1 for n in lengths]
        if form == "errors":
            self.false, self.right, self.sure = 0.06, 0.5, 0.4
            for name, truth in (("p10", self.false), ("p11", self.right), ("b", self.sure)):
                self.add_in_sessions(name, lengths, truth)
        elif form == "stays":
            self.come, self.leave, self.p = 0.15, 0.15, 0.55
            self.add_in_sessions("pent", fewer, self.come)
            self.add_in_sessions("d", fewer, self.leave)
            self.add_in_sessions("p", lengths, self.p)
        else:
            self.add_in_sessions("p", lengths, self.p)
        first = numbered("gamma", k - 1) if by_season else numbered("psi", k)
        self.sections = [first, numbered("growth", k - 1), numbered("odds", k - 1)]

    def site(self, rng):
        life, text = [rng.random() < self.psi], ""
        for n in self.lengths:
            there = life[-1]
            text += self.season(rng, there, n)
            life.append(rng.random() >= self.lost if there else rng.random() < self.taken)
        return text, life[:-1]

    def season(self, rng, there, n):
        if self.form == "errors":
            return "".join(self.record(rng, there) for _ in range(n))
        days = came_and_left(rng, n, self.come, self.leave) if self.form == "stays" else (0, n - 1)
        return "".join("01"[there and days[0] <= j <= days[1] and rng.random() < self.p] for j in range(n))

    record = One_season.record

    def truth_of(self, lives):
        k = len(self.lengths)
        shares = [share(lives, lambda life, s=s: life[s]) for s in range(k)]
        out = {"Psi": both(self.psi, shares[0])}
        for s in range(k):
            out[f"Psi {s + 1}"] = out[f"psi {s + 1}"] = both(self.expected[s], shares[s])
        odds = lambda v: v / (1.0 - v)
        for s in range(k - 1):
            now, then = (self.expected[s], self.expected[s + 1]), (shares[s], shares[s + 1])
            out[f"growth {s + 1}"] = both(now[1] / now[0], then[1] / then[0])
            out[f"odds {s + 1}"] = both(odds(now[1]) / odds(now[0]), odds(then[1]) / odds(then[0]))
            empty = [life for life in lives if not life[s]]
            out[f"gamma {s + 1}"] = both(self.taken, share(empty, lambda life, s=s: life[s + 1]))
        return out


class Abundance(Sites):
    """Types 111, 112, 117 and 118: a site has animals, each of which is found on its own. `counted`: their number is recorded. `extra`: variance of the number
    beyond its mean."""

    def __init__(self, keyword, counted, surveys, size, mean, r, extra=None):
        super().__init__(keyword, [surveys], size)
        self.counted, self.surveys, self.mean, self.r, self.extra = counted, surveys, mean, r, extra
        self.add("r", surveys, r)
        self.add("Lambda", 1, None, "LOG")
        if extra:
            self.add("VarAdd", 1, extra, "LOG")
        self.sections = [["occupancy"], ["mean detection"]]

    def site(self, rng):
        size = self.mean**2 / self.extra if self.extra else None
        n = poisson(rng, rng.gammavariate(size, self.mean / size) if size else self.mean)
        found = [sum(rng.random() < self.r for _ in range(n)) for _ in range(self.surveys)]
        return "".join(f"{m:02d}" if self.counted else "01"[m > 0] for m in found), (n, found)

    def truth_of(self, lives):
        # What the shares of sites come to when there are many.
        def none(rate):
            if not self.extra:
                return math.exp(-rate * self.mean)
            size = self.mean**2 / self.extra
            return (size / (size + rate * self.mean)) ** size

        return {
            "Lambda": both(self.mean, share(lives, lambda life: life[0])),
            "occupancy": both(1.0 - none(1.0), share(lives, lambda life: life[0] > 0)),
            "mean detection": {"stated": (1.0 - none(self.r)) / (1.0 - none(1.0))},
        }


class Two_species(Sites):
    """Types 113 and 137: B is found less often where A is. `conditional`: the parameters are those of B given A."""

    a, b_with, b_alone = 0.5, 0.6, 0.35
    p_a, p_b, r_a, r_b_seen, r_b_unseen = 0.4, 0.5, 0.45, 0.6, 0.35

    def __init__(self, keyword, conditional, surveys, size):
        super().__init__(keyword, [surveys], size)
        self.surveys = surveys
        alone = (("pA", self.p_a), ("pB", self.p_b))
        if conditional:
            occupied, names = ("PsiA", "PsiBA", "PsiBa"), (("rA", self.r_a), ("rBA", self.r_b_seen), ("rBa", self.r_b_unseen))
        else:
            occupied = ("PsiAB", "PsiA", "PsiB")
            names = (("rAB", self.r_a * self.r_b_seen), ("rAb", self.r_a * (1.0 - self.r_b_seen)), ("raB", (1.0 - self.r_a) * self.r_b_unseen))
        for name in occupied:
            self.add(name, 1, None)
        for name, truth in alone:
            self.add(name, surveys, truth)
        for name, truth in names:
            self.add(name, surveys, truth, "LOGIT" if conditional else "MLOGIT(1)")
        self.sections = [["factor"], ["PsiB"], ["PsiAB"]] if conditional else [["factor"]]

    def site(self, rng):
        a = rng.random() < self.a
        b = rng.random() < (self.b_with if a else self.b_alone)
        text = ""
        for _ in range(self.surveys):
            seen_a = a and rng.random() < (self.r_a if b else self.p_a)
            seen_b = b and rng.random() < ((self.r_b_seen if seen_a else self.r_b_unseen) if a else self.p_b)
            text += "01"[seen_a] + "01"[seen_b]
        return text, (a, b)

    def truth_of(self, lives):
        a, b, ab = (share(lives, of) for of in (lambda z: z[0], lambda z: z[1], lambda z: z[0] and z[1]))
        both_stated = self.a * self.b_with
        b_stated = both_stated + (1.0 - self.a) * self.b_alone
        return {
            "PsiA": both(self.a, a),
            "PsiB": both(b_stated, b),
            "PsiAB": both(both_stated, ab),
            "PsiBA": both(self.b_with, ab / a),
            "PsiBa": both(self.b_alone, (b - ab) / (1.0 - a)),
            "factor": both(both_stated / (self.a * b_stated), ab / (a * b)),
        }


class Two_states(Sites):
    """Type 116: a site with young may show none."""

    used, young, p1, p2, shown = 0.65, 0.45, 0.4, 0.6, 0.5

    def __init__(self, keyword, surveys, size):
        super().__init__(keyword, [surveys], size)
        self.surveys = surveys
        self.add("Psi1", 1, None)
        self.add("Psi2", 1, None)
        for name, truth in (("p1", self.p1), ("p2", self.p2), ("Delta", self.shown)):
            self.add(name, surveys, truth)
        self.sections = [["with young"]]

    def site(self, rng):
        state = (rng.random() < self.used) * (1 + (rng.random() < self.young))
        return "".join(self.record(rng, state) for _ in range(self.surveys)), state

    def record(self, rng, state):
        if not state or rng.random() >= (self.p1, self.p2)[state - 1]:
            return "0"
        return "2" if state == 2 and rng.random() < self.shown else "1"

    def truth_of(self, lives):
        used, young = share(lives, lambda z: z > 0), share(lives, lambda z: z == 2)
        return {"Psi1": both(self.used, used), "Psi2": both(self.young, young / used), "with young": both(self.used * self.young, young)}


class States_by_season(Sites):
    """Type 125: empty, few, many; many may pass for few."""

    first = {"0": 0.4, "A": 0.35, "B": 0.25}
    moves = {"0": {"0": 0.7, "A": 0.2, "B": 0.1}, "A": {"0": 0.2, "A": 0.5, "B": 0.3}, "B": {"0": 0.1, "A": 0.3, "B": 0.6}}
    shown = {"0": {"0": 1.0}, "A": {"0": 0.5, "A": 0.5}, "B": {"0": 0.3, "A": 0.25, "B": 0.45}}

    def __init__(self, keyword, lengths, size):
        super().__init__(keyword, lengths, size, codes="AB")
        for a in "AB":
            self.add(f"Phi0 {a} :", 1, None, "MLOGIT(1)")
        for number, a in enumerate("0AB", 2):
            for b in "0AB":
                if b != a:
                    self.add(f"Psi {a} to {b}", len(lengths) - 1, self.moves[a][b], f"MLOGIT({number})")
        for b in "AB":
            for a in "AB"[: "AB".index(b) + 1]:
                self.add(f"p {a}|{b}", sum(lengths), self.shown[b][a], f"MLOGIT({5 + 'AB'.index(b)})")

    def site(self, rng):
        state, text, first = drawn(rng, self.first), "", None
        for n in self.lengths:
            first = first or state
            text += "".join(drawn(rng, self.shown[state]) for _ in range(n))
            state = drawn(rng, self.moves[state])
        return text, first

    def truth_of(self, lives):
        return {f"Phi0 {a}": both(self.first[a], share(lives, lambda z, a=a: z == a)) for a in "AB"}


class Many_species(Sites):
    """Type 177: three species that seek or shun each other, each found on its own."""

    natural = {(1,): 0.4, (2,): -0.3, (3,): 0.1, (1, 2): 0.8, (1, 3): -0.6, (2, 3): 0.5}
    p = {1: 0.4, 2: 0.5, 3: 0.35}

    def __init__(self, keyword, surveys, size):
        super().__init__(keyword, [surveys], size, " mixtures=3")
        self.surveys = surveys
        self.sets = list(self.natural)
        # The last column, of all three at once, is left out: it is 0.
        self.add("f", len(self.sets), list(self.natural.values()), "IDENTITY")
        for k, p in self.p.items():
            self.add(f"p {k} :", surveys, p)
        self.sections = [["with " + "".join(map(str, of)) for of in [*self.sets, (1, 2, 3)]]]
        states = [tuple(k for k in self.p if z >> (k - 1) & 1) for z in range(8)]
        weights = {z: math.exp(sum(v for of, v in self.natural.items() if set(of) <= set(z))) for z in states}
        self.shares = {z: w / sum(weights.values()) for z, w in weights.items()}

    def site(self, rng):
        there = drawn(rng, self.shares)
        codes = (sum(1 << (k - 1) for k in there if rng.random() < self.p[k]) for _ in range(self.surveys))
        return "".join(f"{code:02d}" for code in codes), there

    def truth_of(self, lives):
        out = {}
        for of in [*self.sets, (1, 2, 3)]:
            inside = lambda z, of=of: set(of) <= set(z)
            out["with " + "".join(map(str, of))] = both(sum(w for z, w in self.shares.items() if inside(z)), share(lives, inside))
        return out


site_studies = {
    "27 OCCUPANCY": One_season("OCCUPANCY", "plain", 5, 250),
    "28 RDOCCUPPE": Seasons("RDOCCUPPE", "plain", [4] * 4, 300),
    "30 RDOCCUPEG": Seasons("RDOCCUPEG", "plain", [4] * 4, 300),
    "111 OCCUPRNPOISSON": Abundance("OCCUPRNPOISSON", False, 6, 300, 1.2, 0.3),
    "112 OCCUPRNNEGBIN": Abundance("OCCUPRNNEGBIN", False, 8, 500, 1.5, 0.3, 1.5),
    "113 2SPECOCCUP": Two_species("2SPECOCCUP", False, 6, 400),
    "116 MSOCCUPANCY": Two_states("MSOCCUPANCY", 5, 400),
    "117 OCCUPRPOISSON": Abundance("OCCUPRPOISSON", True, 4, 250, 2.5, 0.4),
    "118 OCCUPRNEGBIN": Abundance("OCCUPRNEGBIN", True, 5, 350, 2.5, 0.4, 3.0),
    "123 MULTSCALOCC": One_season("MULTSCALOCC", "units", 8, 350),
    "125 RDMSOCCUPANCY": States_by_season("RDMSOCCUPANCY", [4] * 4, 400),
    "137 2SPECCONOCCUP": Two_species("2SPECCONOCCUP", True, 6, 400),
    "143 OCCCLUS": One_season("OCCCLUS", "trail", 8, 400),
    "144 OCCRELCLOS": One_season("OCCRELCLOS", "stays", 5, 500),
    "151 OCCUPANCYRE": One_season("OCCUPANCYRE", "effect", 10, 400),
    "156 OCCUPANCYFP": One_season("OCCUPANCYFP", "errors", 5, 400),
    "157 RDOCCUPFPEG": Seasons("RDOCCUPFPEG", "errors", [4] * 4, 300),
    "170 RDOCCURELCLOS": Seasons("RDOCCURELCLOS", "stays", [5] * 3, 500),
    "177 NSPECIESOCC": Many_species("NSPECIESOCC", 5, 500),
}
