"""Example decks of animals that live in states: places, breeding, disease. Called by simulate.py."""

import random
from collections import Counter


def draw(rng, chances):
    """One of 0, 1, ..., of which these are the chances; what they leave of 1 belongs to the last."""
    u = rng.random()
    for k, chance in enumerate(chances):
        u -= chance
        if u < 0.0:
            return k
    return len(chances) - 1


def listed(counts):
    return "".join(f"{h} {n};\n" for h, n in sorted(counts.items(), reverse=True))


def breeding():
    rng = random.Random(1112)
    springs, codes = 9, "NFS"
    survival = [0.88, 0.86, 0.82]
    seen = [0.45, 0.70, 0.80]
    becomes = [[0.40, 0.30, 0.30], [0.35, 0.40, 0.25], [0.15, 0.25, 0.60]]
    counts = Counter()
    for first in range(1, springs):
        for k in range(60):
            state = k % 3
            cells = ["0"] * springs
            cells[first - 1] = codes[state]
            for spring in range(first + 1, springs + 1):
                if rng.random() >= survival[state]:
                    break
                state = draw(rng, becomes[state])
                if rng.random() < seen[state]:
                    cells[spring - 1] = codes[state]
            counts["".join(cells)] += 1
    intervals = springs - 1

    def row(name, number):
        return f"group=1 {name} rows=1 cols={intervals} square constant={number};\n"

    matrices = "".join(row(f"S {code} :", k + 1) for k, code in enumerate(codes))
    matrices += "".join(row(f"p {code} :", k + 4) for k, code in enumerate(codes))
    pairs = [(a, b) for a in codes for b in codes if a != b]
    matrices += "".join(row(f"Psi {a} to {b}", k + 7) for k, (a, b) in enumerate(pairs))
    names = {"N": "no breeder", "F": "failed breeder", "S": "successful breeder"}
    labels = "".join(f"rlabel({k + 1})=Survival, {names[code]};\n" for k, code in enumerate(codes))
    labels += "".join(f"rlabel({k + 4})=Seen, {names[code]};\n" for k, code in enumerate(codes))
    labels += "".join(f"rlabel({k + 7})=From {a} to {b};\n" for k, (a, b) in enumerate(pairs))
    return "breeding.deck", f"""/* Female geese in nine springs. In each a goose that is seen is a non-breeder (N), a breeder that fails (F) or one
   that succeeds (S). Does success cost survival, and what follows it next year?
   A history has one character a spring: the code of the state in which the goose was seen, or 0. */
proc title Breeding states of geese (simulated);
proc chmatrix occasions={springs} groups=1 etype=MULTISTRATA strata=3 hist={len(counts)} nohist;
strata=N F S;
glabel(1)=Geese;
{listed(counts)}
/* A goose survives the year with the rate of the state that it was in, then changes its state with Psi, then is seen
   with the rate of the new one. The two ways out of a state are one MLOGIT set, and what they leave of 1 is the chance to
   stay in it: N to N, F to F, S to S are not parameters of the deck. */
proc estimate link=parm-specific;
model={{S(state) p(state) Psi(state)}};
{matrices}design matrix constraints=12 covariates=12 identity;
links=12;
logit; logit; logit;
logit; logit; logit;
mlogit(1); mlogit(1);
mlogit(2); mlogit(2);
mlogit(3); mlogit(3);
{labels}
/* One survival for all geese. */
proc estimate link=parm-specific;
model={{S(.) p(state) Psi(state)}};
{matrices}design matrix constraints=12 covariates=10;
{one_survival()}links=12;
logit; logit; logit;
logit; logit; logit;
mlogit(1); mlogit(1);
mlogit(2); mlogit(2);
mlogit(3); mlogit(3);
{labels}proc stop;
"""


def one_survival():
    """A design of 12 rows in which the first three share a column."""
    rows = []
    for k in range(12):
        column = max(k - 2, 0)
        rows.append(" ".join("1" if c == column else "0" for c in range(10)) + ";\n")
    return "".join(rows)


def disease():
    rng = random.Random(1113)
    occasions, assayed = 8, 0.25
    survival, caught = [0.92, 0.70], [0.55, 0.65]
    becomes = [[0.88, 0.12], [0.20, 0.80]]
    positive = [0.08, 0.75]

    def sign(state):
        return "HI"[state] if rng.random() < assayed else "np"[rng.random() < positive[state]]

    counts = Counter()
    for first in range(1, occasions):
        for _ in range(90):
            state = 0 if rng.random() < 0.7 else 1
            cells = ["0"] * occasions
            cells[first - 1] = sign(state)
            for occasion in range(first + 1, occasions + 1):
                if rng.random() >= survival[state]:
                    break
                state = draw(rng, becomes[state])
                if rng.random() < caught[state]:
                    cells[occasion - 1] = sign(state)
            counts["".join(cells)] += 1
    intervals = occasions - 1

    def matrices(numbers):
        names = [("S H :", intervals), ("S I :", intervals), ("p H :", intervals), ("p I :", intervals),
                 ("Psi H to I", intervals), ("Psi I to H", intervals), ("pi H :", occasions), ("Delta H|H", occasions),
                 ("Delta H|n", occasions), ("Delta I|I", occasions), ("Delta I|n", occasions)]
        return "".join(f"group=1 {name} rows=1 cols={columns} square constant={number};\n"
                       for (name, columns), number in zip(names, numbers))

    labels = ["Capture, healthy", "Capture, infected", "Falls ill", "Recovers", "Healthy at first capture",
              "Healthy, assayed", "Healthy, negative", "Infected, assayed", "Infected, negative"]

    def numbered(names):
        return "".join(f"rlabel({k})={name};\n" for k, name in enumerate(names, 1))

    return "disease.deck", f"""/* Finches on eight occasions, each swabbed when it is caught. A finch is healthy (H) or infected (I), and a swab is negative
   (n) or positive (p): it misses infections, and sometimes sees one that is not there. Of every fourth finch blood is
   assayed instead, which does not err: its state stands in the history. */
proc title Finches and a test that errs (simulated);
proc chmatrix occasions={occasions} groups=1 etype=HIDMARKOV strata=2 events=2 hist={len(counts)} nohist;
strata=H I n p;
glabel(1)=Finches;
{listed(counts)}
/* pi is the share of healthy finches among those caught for the first time. The signs that a finch leaves when it is caught
   share 1: Delta H|H is the chance that a healthy one is assayed, Delta H|n that its swab is negative, and what the two
   leave is that of a positive swab. Infected ones likewise: the swab of one that is swabbed is wrong with
   Delta I|n / (1 - Delta I|I). */
proc estimate link=parm-specific;
model={{S(state) p(state) Psi(state) pi Delta(state)}};
{matrices(range(1, 12))}design matrix constraints=11 covariates=11 identity;
links=11;
logit; logit; logit; logit; logit; logit; logit;
mlogit(1); mlogit(1);
mlogit(2); mlogit(2);
{numbered(["Survival, healthy", "Survival, infected"] + labels)}
/* Does the disease cost survival? */
proc estimate link=parm-specific;
model={{S(.) p(state) Psi(state) pi Delta(state)}};
{matrices([1, 1] + list(range(2, 11)))}design matrix constraints=10 covariates=10 identity;
links=10;
logit; logit; logit; logit; logit; logit;
mlogit(1); mlogit(1);
mlogit(2); mlogit(2);
{numbered(["Survival"] + labels)}proc stop;
"""


def calves():
    rng = random.Random(1114)
    years, surveys = 6, 4
    survival, with_calf = [0.94, 0.96], [[0.45, 0.55], [0.60, 0.40]]
    seen, told = [0.40, 0.50], [0.65, 0.25]
    length = years * surveys
    counts = Counter()
    for birth in range(1, years):
        for _ in range(70):
            state = 0 if rng.random() < 0.45 else 1
            cells = ["0"] * length
            for year in range(birth, years + 1):
                if year > birth:
                    if rng.random() >= survival[state]:
                        break
                    state = draw(rng, with_calf[state])
                for survey in range(surveys):
                    if rng.random() < seen[state]:
                        cells[(year - 1) * surveys + survey] = "CN"[state] if rng.random() < told[state] else "u"
            if any(cell != "0" for cell in cells):
                counts["".join(cells)] += 1
    intervals = " ".join(("0 " * (surveys - 1) + "1 ") * (years - 1) + "0 " * (surveys - 1)).split()
    between = years - 1
    matrices = f"group=1 S C : rows=1 cols={between} square constant=1;\n"
    matrices += f"group=1 S N : rows=1 cols={between} square constant=2;\n"
    matrices += f"group=1 Psi C to N rows=1 cols={between} square constant=3;\n"
    matrices += f"group=1 Psi N to C rows=1 cols={between} square constant=4;\n"
    matrices += f"group=1 pi C : rows=1 cols={years} square constant=5;\n"
    matrices += f"group=1 Omega C : rows=1 cols={years} square constant=6;\n"
    for number, (name, state) in enumerate([("p", "C"), ("p", "N"), ("Delta", "C"), ("Delta", "N")]):
        for year in range(1, years + 1):
            matrices += f"group=1 {name} {state} :Session {year} rows=1 cols={surveys} square constant={number + 7};\n"
    return "calves.deck", f"""/* Female whales on four surveys in each of six years. A female has a calf that year (C) or none (N). A calf beside her
   tells C; a female watched for long without one is N; else she is seen but her state is not told (u). Within a year nobody
   dies or changes state: a year is a primary session, its time intervals are 0. */
proc title Whales with and without calves (simulated);
proc chmatrix occasions={length} groups=1 etype=RDMSMISCLASS strata=2 hist={len(counts)} nohist;
strata=C N;
glabel(1)=Females;
time intervals {' '.join(intervals)};
{listed(counts)}
/* Between years a female survives with the rate of her state and then changes it with Psi. On a survey she is seen with p, and
   Delta is the chance that her state is told then. pi is the share with calf among females met for the first time, Omega that
   among all females of the year, which tells the states of those met first without being told. */
proc estimate link=LOGIT;
model={{S(state) Psi(state) pi Omega p(state) Delta(state)}};
{matrices}design matrix constraints=10 covariates=10 identity;
rlabel(1)=Survival, with calf;
rlabel(2)=Survival, without;
rlabel(3)=With calf to without;
rlabel(4)=Without calf to with;
rlabel(5)=With calf, met first;
rlabel(6)=With calf, of all;
rlabel(7)=Seen, with calf;
rlabel(8)=Seen, without;
rlabel(9)=State told, with calf;
rlabel(10)=State told, without;
proc stop;
"""
