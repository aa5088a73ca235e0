#!/usr/bin/env python3
"""Makes the example decks: animals marked and met again on a few occasions, drawn from a seeded generator.

    examples/simulate.py        writes the eighteen decks beside this program
"""

import math
import random
from collections import Counter
from pathlib import Path

import simulate_sites
import simulate_states

here = Path(__file__).resolve().parent


def history(rng, occasions, start, survival, detection, not_sampled=(), lost_at_capture=0.0):
    """One animal released at occasion `start` (from 1): its history and whether it was lost at its last capture."""
    cells = ["."if o in not_sampled else "0" for o in range(1, occasions + 1)]
    cells[start - 1] = "1"
    for o in range(start + 1, occasions + 1):
        if rng.random() >= survival(o - 1):
            break
        if o not in not_sampled and rng.random() < detection(o):
            cells[o - 1] = "1"
            if rng.random() < lost_at_capture:
                return "".join(cells), True
    return "".join(cells), False


def expit(x):
    return 1.0 / (1.0 + math.exp(-x))


def write(name, text):
    (here / name).write_text(text)


def time_dependent():
    rng = random.Random(1101)
    phi = {1: 0.70, 2: 0.52, 3: 0.66, 4: 0.58, 5: 0.74, 6: 0.60}
    counts = Counter()
    for start in range(1, 7):
        for _ in range(45):
            counts[history(rng, 7, start, lambda c: phi[c], lambda o: 0.62)[0]] += 1
    records = "".join(f"{h} {n};\n" for h, n in sorted(counts.items(), reverse=True))
    write("time_dependent.deck", f"""/* Dippers marked along a stream in seven springs. Does survival differ between winters?
   The data procedure reads one statement for each history, with the number of birds that share it. */
proc title Dippers in seven springs (simulated);
proc chmatrix occasions=7 groups=1 etype=CJS hist={len(counts)};
glabel(1)=Dippers;
time intervals 1 1 1 1 1 1;
{records}
/* Survival Phi is numbered 1 to 6 along the columns, one number for each winter; detection p is 7 everywhere. */
proc estimate link=LOGIT;
model={{Phi(t) p(.)}};
group=1 Phi rows=6 cols=6 triang time=1;
group=1 p rows=6 cols=6 triang constant=7;
design matrix constraints=7 covariates=7 identity;
rlabel(1)=Survival, winter 1;
rlabel(2)=Survival, winter 2;
rlabel(3)=Survival, winter 3;
rlabel(4)=Survival, winter 4;
rlabel(5)=Survival, winter 5;
rlabel(6)=Survival, winter 6;
rlabel(7)=Detection;

/* The simpler model: one survival for all winters. The model with the lower AICc is preferred. */
proc estimate link=LOGIT;
model={{Phi(.) p(.)}};
group=1 Phi rows=6 cols=6 triang constant=1;
group=1 p rows=6 cols=6 triang constant=2;
design matrix constraints=2 covariates=2 identity;
rlabel(1)=Survival;
rlabel(2)=Detection;
proc stop;
""")


def two_groups():
    rng = random.Random(2202)
    counts = [Counter(), Counter()]
    for g, phi in enumerate((0.62, 0.74)):
        for start in range(1, 6):
            for _ in range(40):
                counts[g][history(rng, 6, start, lambda c: phi, lambda o: 0.55)[0]] += 1
    together = sorted(set(counts[0]) | set(counts[1]), reverse=True)
    records = "".join(f"{h} {counts[0][h]} {counts[1][h]};\n" for h in together)
    write("two_groups.deck", f"""/* Two groups: each history has two counts, males and females. */
proc title Starlings, males and females (simulated);
proc chmatrix occasions=6 groups=2 etype=CJS hist={len(together)};
glabel(1)=Males;
glabel(2)=Females;
{records}
/* Three real parameters: survival of males (1) and of females (2), detection (3).
   The second column of the design is the effect of the group on the logit scale: its beta is the
   difference between females and males. */
proc estimate link=LOGIT;
model={{Phi(group) p(.)}};
group=1 Phi rows=5 cols=5 triang constant=1;
group=2 Phi rows=5 cols=5 triang constant=2;
group=1 p rows=5 cols=5 triang constant=3;
group=2 p rows=5 cols=5 triang constant=3;
design matrix constraints=3 covariates=3;
1 0 0;
1 1 0;
0 0 1;
blabel(1)=Survival of males;
blabel(2)=Females minus males;
blabel(3)=Detection;
rlabel(1)=Survival, males;
rlabel(2)=Survival, females;
rlabel(3)=Detection;
/* Limits of the two survivals also by profile likelihood. */
profile=1 2;
proc stop;
""")


def individual_covariate():
    rng = random.Random(3303)
    records = ""
    count = 0
    for start in range(1, 5):
        for _ in range(40):
            weight = rng.gauss(55.0, 6.0)
            phi = expit(0.6 + 0.12 * (weight - 55.0))
            cells = history(rng, 5, start, lambda c: phi, lambda o: 0.6)[0]
            records += f"{cells} 1 {weight:.1f};\n"
            count += 1
    write("individual_covariate.deck", f"""/* One record for each animal, with its weight at marking. Does survival depend on weight? */
proc title Dormice with their weights (simulated);
proc chmatrix occasions=5 groups=1 etype=CJS hist={count} icovar=1 nohist;
icovariates=weight;
{records}
/* The name of a covariate stands in the design where its value is meant; the square of it is a function. */
proc estimate link=LOGIT;
model={{Phi(weight) p(.)}};
group=1 Phi rows=4 cols=4 triang constant=1;
group=1 p rows=4 cols=4 triang constant=2;
design matrix constraints=2 covariates=3;
1 weight 0;
0 0 1;
blabel(1)=Survival;
blabel(2)=Slope of weight;
blabel(3)=Detection;
rlabel(1)=Survival;
rlabel(2)=Detection;
/* Survival is reported for a dormouse of 60 grams. */
icvalues=60;
proc stop;
""")


def unequal_intervals():
    rng = random.Random(4404)
    length = {1: 1.0, 2: 0.5, 3: 2.0, 4: 1.0, 5: 1.5}
    kept, lost = Counter(), Counter()
    for start in (1, 2, 3, 5):
        for _ in range(55):
            cells, is_lost = history(rng, 6, start, lambda c: 0.68 ** length[c], lambda o: 0.5, (4,), 0.06)
            (lost if is_lost else kept)[cells] += 1
    records = "".join(f"{h} {kept[h]};\n" for h in sorted(kept, reverse=True))
    records += "".join(f"{h} -{lost[h]};\n" for h in sorted(lost, reverse=True))
    write("unequal_intervals.deck", f"""/* Intervals of different lengths, an occasion without effort, and animals that were lost at their last capture.
   Survival is for a year: an interval of length 2 is survived with Phi squared.
   A point says that no one looked on that occasion. A negative count is a number of animals that died in
   the trap or were not released: they are followed to their last capture only. A history may stand twice, once
   for the kept and once for the lost: the records become one, and the listing says so. */
proc title Voles with losses on capture (simulated);
proc chmatrix occasions=6 groups=1 etype=CJS hist={len(set(kept) | set(lost))};
time intervals 1 0.5 2 1 1.5;
{records}
proc estimate link=LOGIT;
model={{Phi(.) p(.)}};
group=1 Phi rows=5 cols=5 triang constant=1;
group=1 p rows=5 cols=5 triang constant=2;
design matrix constraints=2 covariates=2 identity;
rlabel(1)=Survival a year;
rlabel(2)=Detection;
proc stop;
""")


def abundance():
    """A closed population in which one kind of animal is caught more easily than the other."""
    rng = random.Random(6606)
    counts = Counter()
    for _ in range(320):
        chance = 0.55 if rng.random() < 0.4 else 0.15
        caught = "".join("1" if rng.random() < chance else "0" for _ in range(7))
        if "1" in caught:
            counts[caught] += 1
    records = "".join(f"{h} {n};\n" for h, n in sorted(counts.items(), reverse=True))

    def data(etype, option=""):
        return f"proc chmatrix occasions=7 groups=1 etype={etype}{option} hist={len(counts)} nohist;\nglabel(1)=Wood mice;\n{records}"

    write("abundance.deck", f"""/* How many wood mice live on the grid? Seven nights of trapping, too short for births, deaths and moves.
   Behind the table of real parameters each model reports the population size with its limits, which never
   fall below the number of mice caught. The listing leaves out the echo of the histories (nohist). */
proc title Wood mice on a trapping grid (simulated);

/* One chance of capture p for all mice and nights; c, that of a mouse caught before, has the same number. f0 is
   the number of mice never caught, so N = mice caught + f0. It is estimated on the log scale. */
{data("CLOSED")}
proc estimate link=LOGIT;
model={{N, p=c}};
group=1 p rows=1 cols=7 square constant=1;
group=1 c rows=1 cols=6 square constant=1;
group=1 f0 rows=1 cols=1 square constant=2;
design matrix constraints=2 covariates=2 identity;
rlabel(1)=Capture;
rlabel(2)=Mice never caught;

/* The same without f0: the chance of a history given that the mouse was caught at all. N is derived: each mouse
   caught stands for 1/p* mice, p* the chance to be caught at least once. */
{data("HUGGINS")}
proc estimate link=LOGIT;
model={{p=c}};
group=1 p rows=1 cols=7 square constant=1;
group=1 c rows=1 cols=6 square constant=1;
design matrix constraints=1 covariates=1 identity;
rlabel(1)=Capture;

/* Two kinds of mice, one shy and one bold: a share pi has the chance of the first row of p, the rest that of the
   second. Its AICc may be compared with that of the model before, since both are conditional; the one without
   heterogeneity takes the bold for all and finds too few. */
{data("HUGHET", " mixtures=2")}
proc estimate link=LOGIT;
model={{pi, p(kind)}};
group=1 pi rows=1 cols=1 square constant=1;
group=1 p rows=2 cols=7 square;
2 2 2 2 2 2 2;
3 3 3 3 3 3 3;
design matrix constraints=3 covariates=3 identity;
rlabel(1)=Share of the shy;
rlabel(2)=Capture, shy;
rlabel(3)=Capture, bold;
initial 0 -1.5 0;
proc stop;
""")


def band_recovery():
    """Ducks banded in eight years, some of which a hunter reports in the season that follows or a later one."""
    rng = random.Random(7707)
    years, banded = 8, 400
    survival, reported = 0.62, 0.25
    table = [[0] * (years + 1) for _ in range(years + 1)]
    for start in range(1, years + 1):
        for _ in range(banded):
            for year in range(start, years + 1):
                if rng.random() >= survival:
                    if rng.random() < reported:
                        table[start][year] += 1
                    break
    rows = "".join(" ".join(str(n) for n in table[i][i:]) + ";\n" for i in range(1, years + 1))
    rows += " ".join([str(banded)] * years) + ";\n"

    write("band_recovery.deck", f"""/* Ducks banded before the hunting seasons of eight years. A band reaches us when a hunter reports it.
   Row i of the recovery matrix holds the ducks banded in year i, by the year of the report; below the
   rows stand the numbers banded. Survival is from one banding to the next. */
proc title Band recoveries of ducks (simulated);

/* Seber: a duck dies in a year with 1 - S, and a death is reported with r. */
proc chmatrix occasions={years} groups=1 etype=DEAD hist=60;
recovery matrix group=1;
{rows}
proc estimate link=LOGIT;
model={{S(.) r(.)}};
group=1 S rows={years} cols={years} triang constant=1;
group=1 r rows={years} cols={years} triang constant=2;
design matrix constraints=2 covariates=2 identity;
rlabel(1)=Survival;
rlabel(2)=Reporting of a death;

/* Survival by year. With r constant all eight are estimable; with r by year, too, the last S and the last r would
   stand only as a product, and the listing would count one parameter less. */
proc estimate link=LOGIT;
model={{S(t) r(.)}};
group=1 S rows={years} cols={years} triang time=1;
group=1 r rows={years} cols={years} triang constant={years + 1};
design matrix constraints={years + 1} covariates={years + 1} identity;

/* Brownie: f is the chance of a living duck to be shot and reported in the coming season, not tied to S. No
   season follows the last one, so S has a column less than f. The first model below is the first one
   above, with f = (1 - S) r, and its -2 log likelihood is the same. */
proc chmatrix occasions={years} groups=1 etype=BROWNIE hist=60;
recovery matrix group=1;
{rows}
proc estimate link=LOGIT;
model={{S(.) f(.)}};
group=1 S rows={years - 1} cols={years - 1} triang constant=1;
group=1 f rows={years} cols={years} triang constant=2;
design matrix constraints=2 covariates=2 identity;
rlabel(1)=Survival;
rlabel(2)=Recovery;

proc estimate link=LOGIT;
model={{S(.) f(t)}};
group=1 S rows={years - 1} cols={years - 1} triang constant=1;
group=1 f rows={years} cols={years} triang time=2;
design matrix constraints={years + 1} covariates={years + 1} identity;
rlabel(1)=Survival;
proc stop;
""")


def telemetry():
    """Fawns with radio collars: the fate of each is known while its collar works."""
    rng = random.Random(8808)
    months = 9
    tables = ""
    for group, hunted in ((1, 0.93), (2, 0.86)):
        at_risk, deaths = [0] * (months + 1), [0] * (months + 1)
        for _ in range(45):
            month = rng.choice((1, 1, 1, 2, 3))
            while month <= months:
                at_risk[month] += 1
                if rng.random() >= (hunted if month in (6, 7) else 0.965):
                    deaths[month] += 1
                    break
                if rng.random() < 0.03:  # collar fails
                    break
                month += 1
        tables += f"known fate group={group};\n" + "".join(f"{at_risk[m]} {deaths[m]};\n" for m in range(1, months + 1))
    write("telemetry.deck", f"""/* Fawns with radio collars in two valleys, followed for nine months. Each row of a table holds the fawns that wore a
   working collar at the start of a month and those of them that died in it. Fawns may enter late, and one whose
   collar fails is simply not at risk any more. */
proc title Fawns with radio collars (simulated);
proc chmatrix occasions={months} groups=2 etype=KNOWN hist=20;
glabel(1)=Closed valley;
glabel(2)=Hunted valley;
{tables}
/* Survival by month, the same in both valleys. Months 6 and 7 are the hunting season. Behind the table of reals
   stands the survival over all nine months. */
proc estimate link=SIN;
model={{S(t)}};
group=1 S rows={months} cols={months} triang time=1;
group=2 S rows={months} cols={months} triang time=1;
design matrix constraints={months} covariates={months} identity;

/* One survival outside the season, another in it, and a difference between the valleys in the season only. */
proc estimate link=LOGIT;
model={{S(season * valley)}};
group=1 S rows=1 cols={months} square;
1 1 1 1 1 2 2 1 1;
group=2 S rows=1 cols={months} square;
1 1 1 1 1 3 3 1 1;
design matrix constraints=3 covariates=3;
1 0 0;
1 1 0;
1 1 1;
blabel(1)=Outside the season;
blabel(2)=Season minus outside;
blabel(3)=Hunted minus closed;
rlabel(1)=Outside the season;
rlabel(2)=In season, closed;
rlabel(3)=In season, hunted;
proc stop;
""")


def nest_success():
    """Nests found on any day of a month and visited every few days."""
    rng = random.Random(9909)
    days = 30
    records, count = "", 0
    for _ in range(90):
        cover = rng.uniform(10.0, 90.0)
        daily = expit(2.1 + 0.022 * cover)
        day = found = active = rng.randint(1, 12)
        fledges = found + rng.randint(12, 18)
        fate, checked = 0, found
        while day < min(fledges, days):
            visit = min(day + rng.randint(2, 4), fledges, days)
            if all(rng.random() < daily for _ in range(visit - day)):
                day = active = checked = visit
            else:
                fate, checked = 1, visit
                break
        records += f"{found} {active} {checked} {fate} 1 {cover:.0f};\n"
        count += 1
    write("nest_success.deck", f"""/* Nests of meadow birds. Each statement: the day found, the last day seen active, the last day checked, the fate
   (0 fledged, 1 failed), the number of such nests, and the cover of the vegetation in percent. A nest that failed
   did so on some day between the last two visits; nobody needs to know on which. */
proc title Nests under vegetation (simulated);
proc chmatrix occasions={days} groups=1 etype=NEST hist={count} icovar=1 nohist;
icovariates=cover;
nest survival group=1;
{records}
/* Daily survival, the same for all nests and days. */
proc estimate link=LOGIT;
model={{S(.)}};
group=1 S rows=1 cols={days - 1} square constant=1;
design matrix constraints=1 covariates=1 identity;
rlabel(1)=Daily survival;

/* Daily survival by cover, reported for a nest with 80 percent. */
proc estimate link=LOGIT;
model={{S(cover)}};
group=1 S rows=1 cols={days - 1} square constant=1;
design matrix constraints=1 covariates=2;
1 cover;
blabel(1)=Daily survival;
blabel(2)=Slope of cover;
rlabel(1)=Daily survival;
icvalues=80;
proc stop;
""")


def captured(rng, nights, chance):
    """Cells of an animal that is present on some nights in a row."""
    return "".join("1" if rng.random() < chance else "0" for _ in range(nights))


def entries():
    """Butterflies that hatch over a season and are caught on seven visits."""
    rng = random.Random(1010)
    visits, hatched = 7, 400
    gaps = [5, 5, 5, 10, 5, 5]
    share = [0.22, 0.20, 0.18, 0.14, 0.16, 0.07, 0.03]
    daily, chance = 0.955, 0.35
    counts = Counter()
    for _ in range(hatched):
        enters = rng.choices(range(visits), share)[0]
        cells = "0" * enters
        while True:
            cells += captured(rng, 1, chance)
            if len(cells) == visits or rng.random() >= daily ** gaps[len(cells) - 1]:
                break
        cells = cells.ljust(visits, "0")
        if "1" in cells:
            counts[cells] += 1
    records = "".join(f"{h} {n};\n" for h, n in sorted(counts.items(), reverse=True))
    shares = "MLOGIT(1);\n" * (visits - 1)
    write("entries.deck", f"""/* How many butterflies flew on a meadow in one season, and when did they hatch? Seven visits, five days apart, once
   ten because of rain: survival Phi is a daily one, to the power of the days between two visits. */
proc title Butterflies on a meadow (simulated);
proc chmatrix occasions={visits} groups=1 etype=POPAN hist={len(counts)} nohist;
glabel(1)=Butterflies;
time intervals {" ".join(str(days) for days in gaps)};
{records}
/* pent is the share of all butterflies that enter ahead of a visit; that of the first visit is what the others leave
   of 1 (under PENTLAST it would be that of the last). The link MLOGIT keeps their sum below 1. N is the number of
   butterflies never caught; it is estimated on the log scale, and the whole of the season stands with the derived
   parameters, as do births and the numbers alive at each visit.
   With one p for all visits everything can be told apart; with p by visit neither the first pent and p nor the last
   Phi and p could. */
proc estimate link=PARM-SPECIFIC;
model={{Phi(.) p(.) pent(t) N}};
group=1 Phi rows=1 cols={visits - 1} square constant=1;
group=1 p rows=1 cols={visits} square constant=2;
group=1 pent rows=1 cols={visits - 1} square time=3;
group=1 N rows=1 cols=1 square constant={visits + 2};
design matrix constraints={visits + 2} covariates={visits + 2} identity;
links;
LOGIT;
LOGIT;
{shares}LOG;
rlabel(1)=Daily survival;
rlabel(2)=Chance of capture;
proc stop;
""")


def growth():
    """Newts at a pond in eight springs; the population grows."""
    rng = random.Random(1111)
    springs, adults = 8, 130
    survival = 0.65
    growth_of = [1.12, 1.05, 1.15, 0.95, 1.10, 1.08, 1.02]
    chance = [0.45, 0.5, 0.4, 0.5, 0.45, 0.35, 0.5, 0.45]
    counts = Counter()
    present, size = ["" for _ in range(adults)], float(adults)
    for spring in range(springs):
        after = []
        for cells in present:
            cells += captured(rng, 1, chance[spring])
            if spring + 1 < springs and rng.random() < survival:
                after.append(cells)
            elif "1" in cells:
                counts[cells.ljust(springs, "0")] += 1
        if spring + 1 == springs:
            break
        size *= growth_of[spring]
        present = after + ["0" * (spring + 1)] * max(round(size) - len(after), 0)
    records = "".join(f"{h} {n};\n" for h, n in sorted(counts.items(), reverse=True))
    write("growth.deck", f"""/* Does a population of newts grow? Newts were caught at their pond in eight springs. When a newt is caught first
   tells how many newts are new, so survival, capture and the growth rate Lambda are estimated from the same
   histories. */
proc title Newts at a pond in eight springs (simulated);
proc chmatrix occasions={springs} groups=1 etype=PRADLAMBDA hist={len(counts)} nohist;
glabel(1)=Newts;
{records}
/* Phi and Lambda have a column for each interval, p one for each spring. Lambda may exceed 1 and takes the link LOG
   whatever the model's link is. Behind the real parameters stand Lambda and its logarithm by interval. With p by
   spring the first Lambda cannot be told from the first p, nor the last from the last p: here p is one number. */
proc estimate link=LOGIT;
model={{Phi(.) p(.) Lambda(t)}};
group=1 Phi rows=1 cols={springs - 1} square constant=1;
group=1 p rows=1 cols={springs} square constant=2;
group=1 Lambda rows=1 cols={springs - 1} square time=3;
design matrix constraints={springs + 1} covariates={springs + 1} identity;
rlabel(1)=Yearly survival;
rlabel(2)=Chance of capture;

/* One growth rate for all years. */
proc estimate link=LOGIT;
model={{Phi(.) p(.) Lambda(.)}};
group=1 Phi rows=1 cols={springs - 1} square constant=1;
group=1 p rows=1 cols={springs} square constant=2;
group=1 Lambda rows=1 cols={springs - 1} square constant=3;
design matrix constraints=3 covariates=3 identity;
rlabel(1)=Yearly survival;
rlabel(2)=Chance of capture;
rlabel(3)=Growth rate;
proc stop;
""")


def emigration():
    """Voles trapped on three nights in each of six months; some are off the grid for a month or more."""
    rng = random.Random(1212)
    months, nights, voles = 6, 3, 140
    survival, leaves, stays_away = 0.78, 0.25, 0.55
    first_chance, again_chance = 0.40, 0.55
    counts = Counter()
    present = [("", True) for _ in range(voles)]
    for month in range(months):
        after = []
        for cells, there in present:
            marked = False
            for _ in range(nights):
                chance = (again_chance if marked else first_chance) if there else 0.0
                cells += captured(rng, 1, chance)
                marked = marked or cells[-1] == "1"
            if month + 1 < months and rng.random() < survival:
                after.append((cells, rng.random() >= (leaves if there else stays_away)))
            elif "1" in cells:
                counts[cells.ljust(months * nights, "0")] += 1
        present = after + [("0" * (nights * (month + 1)), True)] * (voles - len(after))
    records = "".join(f"{h} {n};\n" for h, n in sorted(counts.items(), reverse=True))
    closed = " ".join(["0"] * (nights - 1))
    intervals = " 1 ".join([closed] * months)

    def matrices(gamma_double_prime, gamma_prime, p, c):
        text = f"""group=1 S rows=1 cols={months - 1} square constant=1;
group=1 Gamma'' rows=1 cols={months - 1} square {gamma_double_prime};
group=1 Gamma' rows=1 cols={months - 1} square {gamma_prime};
"""
        for month in range(1, months + 1):
            text += f"group=1 p Session {month} rows=1 cols={nights} square constant={p};\n"
            text += f"group=1 c Session {month} rows=1 cols={nights - 1} square constant={c};\n"
        return text

    write("emigration.deck", f"""/* Voles trapped on three nights in each of six months: primary sessions of three occasions. Within a session nobody
   is born, dies or moves: the time intervals there are 0. An interval above 0 closes a session, and in it voles die
   and some leave the grid for a while.

       night      1 2 3   4 5 6   7 8 9  10 11 12 ...
       session      1       2       3        4
       interval    0 0 1   0 0 1   0 0 1    0  0  1  ...
*/
proc title Voles on a grid in six months (simulated);
proc chmatrix occasions={months * nights} groups=1 etype=RDHUGGINS hist={len(counts)} nohist;
glabel(1)=Voles;
time intervals {intervals};
{records}
/* S and the two rates of emigration belong to the intervals between sessions: Gamma'' is the chance that a vole
   which is on the grid is off it in the next session, Gamma' that one which is off it stays off. p and c, the
   chances of a first and of a later capture within a session, have a matrix for each session. Markovian emigration:
   where a vole is next depends on where it is now. The numbers on the grid by session stand behind the table. */
proc estimate link=LOGIT;
model={{S(.) Gamma''(.) Gamma'(.) p(.) c(.)}};
{matrices("constant=2", "constant=3", 4, 5)}design matrix constraints=5 covariates=5 identity;
rlabel(1)=Monthly survival;
rlabel(2)=Leaves the grid;
rlabel(3)=Stays off the grid;
rlabel(4)=First capture;
rlabel(5)=Later capture;

/* Random emigration: the chance to be off the grid is the same wherever the vole is now. */
proc estimate link=LOGIT;
model={{S(.) Gamma''(.)=Gamma'(.) p(.) c(.)}};
{matrices("constant=2", "constant=2", 3, 4)}design matrix constraints=4 covariates=4 identity;
rlabel(1)=Monthly survival;
rlabel(2)=Off the grid;
rlabel(3)=First capture;
rlabel(4)=Later capture;

/* No emigration: both rates are fixed at 0. Survival then takes for death what is absence. */
proc estimate link=LOGIT;
model={{S(.) Gamma''=Gamma'=0 p(.) c(.)}};
{matrices("constant=2", "constant=2", 3, 4)}fixed=1;
parm(2)=0;
design matrix constraints=4 covariates=3;
1 0 0;
0 0 0;
0 1 0;
0 0 1;
rlabel(1)=Monthly survival;
rlabel(2)=Off the grid;
rlabel(3)=First capture;
rlabel(4)=Later capture;
proc stop;
""")


if __name__ == "__main__":
    time_dependent()
    two_groups()
    individual_covariate()
    unequal_intervals()
    abundance()
    band_recovery()
    telemetry()
    nest_success()
    entries()
    growth()
    emigration()
    for example in (simulate_states.breeding, simulate_states.disease, simulate_states.calves):
        write(*example())
    for example in (simulate_sites.site_occupancy, simulate_sites.site_dynamics, simulate_sites.two_species, simulate_sites.site_counts):
        write(*example())
