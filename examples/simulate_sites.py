"""Example decks of sites where a species is there or not, or that have a number of animals. Called by simulate.py."""

import math
import random
from collections import Counter

from simulate_states import listed


def expit(x):
    return 1.0 / (1.0 + math.exp(-x))


def site_occupancy():
    rng = random.Random(1211)
    ponds, visits = 180, 4
    records = []
    for _ in range(ponds):
        meadow = rng.randint(0, 100)
        there = rng.random() < expit(-1.2 + 0.035 * meadow)
        warmth, cells = [], ""
        for _ in range(visits):
            warmth.append(round(rng.gauss(12.0, 4.0)))
            visited = rng.random() < 0.9
            heard = there and rng.random() < expit(-0.4 + 0.15 * (warmth[-1] - 12.0))
            cells += "01"[heard] if visited else "."
        records.append(f"{cells} 1 {meadow} {' '.join(map(str, warmth))};\n")
    nights = " ".join(f"warmth{k}" for k in range(1, visits + 1))
    warm = "".join(f"0 0 1 warmth{k};\n" for k in range(1, visits + 1))
    labels = "".join(f"rlabel({k + 1})=Heard on visit {k};\n" for k in range(1, visits + 1))
    return "site_occupancy.deck", f"""/* Tree frogs at {ponds} ponds, each visited on up to {visits} nights of one spring. At a pond with frogs one may hear none, so that
   a pond where nothing was heard may have frogs all the same. Do frogs need meadows, and call on warm nights?
   Each statement: heard (1), not heard (0) or no visit (.) night by night, the number of such ponds, the share of
   meadow round the pond in percent, and the warmth of the four nights in degrees. A night without a visit has its warmth,
   too: a covariate needs a number for each record, used or not. */
proc title Tree frogs at ponds (simulated);
proc chmatrix occasions={visits} groups=1 etype=OCCUPANCY hist={ponds} icovar={visits + 1} nohist;
glabel(1)=Ponds;
icovariates=meadow {nights};
{"".join(records)}
/* Psi is the chance that a pond has frogs, p that they are heard on a visit. All ponds and nights alike. */
proc estimate link=LOGIT;
model={{Psi(.) p(.)}};
group=1 p rows=1 cols={visits} square constant=2;
group=1 Psi rows=1 cols=1 square constant=1;
design matrix constraints=2 covariates=2 identity;
rlabel(1)=Ponds with frogs;
rlabel(2)=Heard on a visit;

/* Occupancy by the meadow of the pond, calls by the warmth of the night: each visit has a real parameter of its own,
   and its row of the design names the covariate of that night; the slope of all is one beta. The table tells of a pond with
   50 percent of meadow and of nights of 12 degrees, and so does the section behind it. */
proc estimate link=LOGIT;
model={{Psi(meadow) p(warmth)}};
group=1 p rows=1 cols={visits} square;
2 3 4 5;
group=1 Psi rows=1 cols=1 square constant=1;
design matrix constraints={visits + 1} covariates=4;
1 meadow 0 0;
{warm}blabel(1)=Occupancy;
blabel(2)=Slope of meadow;
blabel(3)=Detection;
blabel(4)=Slope of warmth;
rlabel(1)=Ponds with frogs;
{labels}icvalues=50 12 12 12 12;
proc stop;
"""


def site_dynamics():
    rng = random.Random(1212)
    territories, springs, visits = 220, 6, 3
    psi, lost, taken, heard = 0.65, 0.18, 0.22, 0.5
    counts = Counter()
    for _ in range(territories):
        there, cells = rng.random() < psi, ""
        for spring in range(springs):
            for _ in range(visits):
                cells += "01"[there and rng.random() < heard]
            there = rng.random() >= lost if there else rng.random() < taken
        # In the fourth spring a part of the forest was closed.
        if rng.random() < 0.2:
            cells = cells[: 3 * visits] + "." * visits + cells[4 * visits :]
        counts[cells] += 1
    intervals = " ".join((("0 " * (visits - 1) + "1 ") * springs).split()[:-1])
    between = springs - 1

    def matrices(form):
        text = "group=1 Psi rows=1 cols=1 square constant=1;\n"
        text += f"group=1 Epsilon rows=1 cols={between} square {form[0]};\n"
        text += f"group=1 Gamma rows=1 cols={between} square {form[1]};\n"
        last = form[2]
        return text + "".join(f"group=1 p Session {s} rows=1 cols={visits} square constant={last};\n" for s in range(1, springs + 1))

    by_year = 1 + between + 2
    labels = "".join(f"rlabel({k + 1})=Lost, interval {k};\n" for k in range(1, springs))
    return "site_dynamics.deck", f"""/* Owls in {territories} forest territories over {springs} springs, each with {visits} visits at dusk. Within a spring a territory is held or not;
   between springs owls leave some territories and settle in others.
   A history has a character a visit, spring behind spring. A time interval of 0 joins two visits of one spring, 1 leads
   to the next: a spring is a primary session. Dots are visits that were not made, here of a whole spring. */
proc title Owls in forest territories (simulated);
proc chmatrix occasions={springs * visits} groups=1 etype=RDOCCUPEG hist={len(counts)} nohist;
glabel(1)=Territories;
time intervals {intervals};
{listed(counts)}
/* Psi is the share of territories that is held in the first spring, Epsilon the chance that one which is held is empty next
   spring, Gamma that an empty one is taken, p that an owl is heard on a visit where there is one. Behind the table stand the
   shares held in each spring, their ratios from spring to spring, and the ratios of their odds. The limits of these last are
   made as if they were chances, as the warning tells: take the standard error. */
proc estimate link=LOGIT;
model={{Psi Epsilon(.) Gamma(.) p(.)}};
{matrices(("constant=2", "constant=3", 4))}design matrix constraints=4 covariates=4 identity;
rlabel(1)=Held in spring 1;
rlabel(2)=Lost;
rlabel(3)=Taken;
rlabel(4)=Heard on a visit;

/* Do the losses differ from year to year? */
proc estimate link=LOGIT;
model={{Psi Epsilon(t) Gamma(.) p(.)}};
{matrices(("time=2", f"constant={by_year - 1}", by_year))}design matrix constraints={by_year} covariates={by_year} identity;
rlabel(1)=Held in spring 1;
{labels}rlabel({by_year - 1})=Taken;
rlabel({by_year})=Heard on a visit;
proc stop;
"""


def two_species():
    rng = random.Random(1213)
    cameras, weeks = 300, 6
    marten, with_marten, without, seen, shy, bold = 0.5, 0.35, 0.7, 0.45, 0.3, 0.5
    counts = Counter()
    for _ in range(cameras):
        a = rng.random() < marten
        b = rng.random() < (with_marten if a else without)
        cells = ""
        for _ in range(weeks):
            if rng.random() < 0.05:
                cells += ".."
                continue
            # A squirrel shows itself less in a week in which the marten was about.
            found = a and rng.random() < seen
            cells += "01"[found] + "01"[b and rng.random() < (shy if found else bold)]
        counts[cells] += 1

    def matrices(occupied, detected):
        text = "".join(f"group=1 {name} rows=1 cols=1 square constant={n};\n" for name, n in zip(("PsiA", "PsiBA", "PsiBa"), occupied))
        names = ("pA", "pB", "rA", "rBA", "rBa")
        return text + "".join(f"group=1 {name} rows=1 cols={weeks} square constant={n};\n" for name, n in zip(names, detected))

    return "two_species.deck", f"""/* Pine martens (A) and red squirrels (B) before {cameras} cameras in {weeks} weeks. Do squirrels keep away from the places of martens?
   And do they hide on the days of a marten, which would pass for keeping away?
   A cell has two characters, marten and squirrel: 10 only the marten was seen in that week, 01 only the squirrel, 11 both,
   00 none, and two dots a camera that did not work. */
proc title Martens and squirrels before cameras (simulated);
proc chmatrix occasions={weeks} groups=1 etype=2SPECCONOCCUP hist={len(counts)} nohist;
glabel(1)=Cameras;
{listed(counts)}
/* PsiA is the chance that martens are there, PsiBA that squirrels are there where martens are, PsiBa where martens are not.
   pA, pB: seen in a week where the other one is not there. Where both are, rA is the marten's; rBA is the squirrel's in a
   week in which the marten is seen, rBa in one in which it is not. Martens do not care for squirrels: pA and rA are one real
   parameter. The factor behind the table is 1 where both choose their places by themselves, below 1 where they shun
   each other. */
proc estimate link=LOGIT;
model={{PsiA PsiBA PsiBa pA=rA pB rBA rBa}};
{matrices((1, 2, 3), (4, 5, 4, 6, 7))}design matrix constraints=7 covariates=7 identity;
rlabel(1)=Marten;
rlabel(2)=Squirrel with marten;
rlabel(3)=Squirrel without;
rlabel(4)=Seen, marten;
rlabel(5)=Seen, squirrel alone;
rlabel(6)=Seen, marten seen;
rlabel(7)=Seen, marten unseen;

/* The places of squirrels do not depend on martens, their shyness does. */
proc estimate link=LOGIT;
model={{PsiA PsiBA=PsiBa pA=rA pB rBA rBa}};
{matrices((1, 2, 2), (3, 4, 3, 5, 6))}design matrix constraints=6 covariates=6 identity;
rlabel(1)=Marten;
rlabel(2)=Squirrel;
rlabel(3)=Seen, marten;
rlabel(4)=Seen, squirrel alone;
rlabel(5)=Seen, marten seen;
rlabel(6)=Seen, marten unseen;

/* Nor does it depend on the marten whether a squirrel is seen. */
proc estimate link=LOGIT;
model={{PsiA PsiBA PsiBa pA=rA pB=rBA=rBa}};
{matrices((1, 2, 3), (4, 5, 4, 5, 5))}design matrix constraints=5 covariates=5 identity;
rlabel(1)=Marten;
rlabel(2)=Squirrel with marten;
rlabel(3)=Squirrel without;
rlabel(4)=Seen, marten;
rlabel(5)=Seen, squirrel;
proc stop;
"""


def site_counts():
    rng = random.Random(1214)
    points, visits, mean, size, heard = 260, 4, 2.4, 1.6, 0.45
    counts = Counter()
    for _ in range(points):
        rate, animals, time = rng.gammavariate(size, mean / size), 0, rng.expovariate(1.0)
        while time < rate:
            animals, time = animals + 1, time + rng.expovariate(1.0)
        cells = ""
        for _ in range(visits):
            found = sum(rng.random() < heard for _ in range(animals))
            cells += ".." if rng.random() < 0.05 else f"{found:02d}"
        counts[cells] += 1
    common = f"group=1 r rows=1 cols={visits} square constant=1;\ngroup=1 Lambda rows=1 cols=1 square constant=2;\n"
    labels = "rlabel(1)=Chance of a bird;\nrlabel(2)=Birds at a point;\n"
    head = f"groups=1 hist={len(counts)} nohist;\nglabel(1)=Points;\n{listed(counts)}"
    return "site_counts.deck", f"""/* Singing warblers at {points} points, counted on {visits} mornings. Nobody knows the birds apart, and each is heard on a morning
   or not: counts that vary from morning to morning tell how many are missed.
   A cell has two digits, 03 for three birds, and two dots where the count was left out. */
proc title Warblers at points (simulated);

/* r is the chance that a bird of the point is heard on a morning, Lambda the mean number of birds at a point, heard or not.
   In this model birds settle without regard to each other, and points are alike (Poisson). Behind the table stand the share of
   points with any bird, and the chance that anything is heard at such a point on a morning. */
proc chmatrix occasions={visits} etype=OCCUPRPOISSON {head}
proc estimate link=LOGIT;
model={{r(.) Lambda, Poisson}};
{common}design matrix constraints=2 covariates=2 identity;
{labels}
/* Points differ: birds gather at some. VarAdd is the variance of their numbers beyond the mean (negative binomial). A model
   without it takes the spread of the points for many birds that are seldom heard. */
proc chmatrix occasions={visits} etype=OCCUPRNEGBIN {head}
proc estimate link=LOGIT;
model={{r(.) Lambda VarAdd}};
{common}group=1 VarAdd rows=1 cols=1 square constant=3;
design matrix constraints=3 covariates=3 identity;
{labels}rlabel(3)=Added variance;
proc stop;
"""
