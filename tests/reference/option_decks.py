#!/usr/bin/python3
"""The numbers that the decks of tests/decks/options state, from models written down a second time.

    option_decks.py                what each deck must give
    option_decks.py --check        holds every `number` and `row` of the .expect files against that

Live recaptures are the two-state chain of Cormack (1964), fitted by scipy with gradients from complex steps and
information from differences of those gradients; Jolly-Seber with lambda adds binomials (Burnham 1991). Other open
populations and the robust designs are in open_decks.py, robust designs of strata in strata_decks.py, those with open
sessions or uncertain states in session_decks.py, all that has strata or states, from the lives of animals, in
state_decks.py, sites in site_decks.py. Known fates, nests, recoveries and densities have closed forms
or a multinomial. Data are read from the decks, models are not. Needs python3-numpy and python3-scipy.

The tolerances in the .expect files: 1e-6 for estimates, since a search ends when no step is above 1e-7; for -2 log
likelihood, flat at its minimum, 1e-7, some units of the eighth digit shown; 1e-5 for standard errors and limits; the
last digit shown for what has a closed form; 1e-5 for all that is derived from the reals, whose errors rest on differences.
"""

import sys

import numpy
from scipy.optimize import fsolve
from scipy.special import loggamma

import open_decks
import session_decks
import site_decks
import state_decks
import strata_decks
from second_fits import Fit, beta_table, cell, expit, folder, gradient, interval, logit, rate_interval, records

def recaptures(data, phi, p):
    """-2 log likelihood as a function of the betas; phi(b, covariates, c) and p(b, history, c)."""

    def objective(b):
        return sum(
            -2 * n * numpy.log(cell(h, lambda c: phi(b, covariates, c), lambda c: p(b, h, c)))
            for h, (n, *covariates) in data
        )

    return objective


def constant_phi(b, covariates, c):
    return expit(b[0])


def constant_p(b, history, c):
    return expit(b[-1])


live = records("link_logit")
model = Fit(recaptures(live, constant_phi, constant_p), [0, 0])
rates = expit(model.beta)
rate_se = rates * (1 - rates) * model.se
name = "{Phi(.) p(.)}"
minimum = {f"-2logL {name} =": [model.value]}
first = f"-2logL Initial {name} ="


def tables(fit=model):
    """Both tables of a model whose betas are the logits of its rates."""
    return beta_table(fit) | {
        f"{i}:real {i}": rate_interval(expit(b), se * expit(b) * (1 - expit(b)))
        for i, (b, se) in enumerate(zip(fit.beta, fit.se), 1)
    }


def value_at(*beta, title=name):
    return {f"-2logL Initial {title} =": [model.f(numpy.array(beta))]}


def of(fit, title=name):
    return {f"-2logL {title} =": [fit.value]} | beta_table(fit)


def other_links():
    """The rates are those of any link; betas and their errors follow from the link's inverse and its slope."""
    phi = rates
    inverse = {
        "logit": (logit(phi), phi * (1 - phi)),
        "sin": (numpy.arcsin(2 * phi - 1), numpy.sqrt(phi * (1 - phi))),
        "loglog": (-numpy.log(-numpy.log(phi)), -phi * numpy.log(phi)),
        "cloglog": (numpy.log(-numpy.log(1 - phi)), -(1 - phi) * numpy.log(1 - phi)),
        "cauchy": (numpy.tan(numpy.pi * (phi - 0.5)), numpy.sin(numpy.pi * phi) ** 2 / numpy.pi),
    }
    rows = {
        link: {f"{i}:beta {i}": interval(b, se / slope) for i, b, se, slope in zip((1, 2), beta, rate_se, slopes)}
        for link, (beta, slopes) in inverse.items()
    }
    for link, beta in rows.items():
        yield f"link_{link}", minimum | beta
    mixed = {"1:beta 1": rows["logit"]["1:beta 1"], "2:beta 2": rows["cloglog"]["2:beta 2"]}
    yield "link_parm_specific", minimum | mixed
    yield "two-models", minimum | {"-2logL {Phi(.) p(.) sine} =": [model.value]} | rows["sin"]


def figures(parameters=2, sample=146):
    """146 releases before the last occasion: every capture of the data but those on occasion 4."""
    k, l = parameters, model.value
    small = 2 * k + 2 * k * (k + 1) / (sample - k - 1)
    cohorts = {}
    for history, (n,) in live:
        cohorts.setdefault(history.index("1"), []).append(n)
    saturated = -2 * sum(n * numpy.log(n / sum(c)) for c in cohorts.values() for n in c)
    df = sum(len(c) - 1 for c in cohorts.values()) - k
    chat = (l - saturated) / df
    found = {
        "-2logL(saturated) =": [saturated],
        "Effective Sample Size =": [sample],
        f"DEVIANCE {name} =": [l - saturated],
        f"DEVIANCE Degrees of Freedom {name} =": [df],
        f"c-hat {name} =": [chat],
        f"AIC {name} =": [l + 2 * k],
        f"AICc {name} =": [l + small],
        f"BIC {name} =": [l + k * numpy.log(sample)],
    }
    quasi = {
        f"QAIC {name} =": [l / chat + 2 * k],
        f"QAICc {name} =": [l / chat + small],
        f"QBIC {name} =": [l / chat + k * numpy.log(sample)],
    }
    return found, quasi


def inflated(chat, sample=146):
    """Quasi-likelihood with a c-hat that is given: variances are multiplied by it, once."""
    l, k = model.value, 2
    rows = {f"{i}:beta {i}": interval(b, se * chat**0.5) for i, b, se in zip((1, 2), model.beta, model.se)}
    rows |= {f"{i}:real {i}": rate_interval(r, se * chat**0.5) for i, r, se in zip((1, 2), rates, rate_se)}
    return rows | {
        f"c-hat given {name} =": [chat],
        f"QAIC {name} =": [l / chat + 2 * k],
        f"QAICc {name} =": [l / chat + 2 * k + 2 * k * (k + 1) / (sample - k - 1)],
        f"QBIC {name} =": [l / chat + k * numpy.log(sample)],
    }


def variances():
    """Standard errors of the procedures: exact, from products over the records, from products over all cells."""
    beta = model.beta
    histories = ["".join(("0" * first, "1", tail)) for first in range(3) for tail in tails(3 - first)]
    probability = lambda h: lambda b: cell(h, lambda c: expit(b[0]), lambda c: expit(b[1]))
    observed, expected, seen = numpy.zeros((2, 2)), numpy.zeros((2, 2)), {h: n for h, (n,) in live}
    cohort = {}
    for h, n in seen.items():
        cohort[h.index("1")] = cohort.get(h.index("1"), 0) + n
    for h, n in seen.items():
        g = gradient(probability(h), beta)
        observed += n * numpy.outer(g, g) / probability(h)(beta) ** 2
    for start, released in cohort.items():
        rest, rest_gradient = 1.0, numpy.zeros(2)
        for h in (h for h in histories if h.index("1") == start and h in seen):
            g, p = gradient(probability(h), beta), probability(h)(beta)
            expected += released * numpy.outer(g, g) / p
            rest, rest_gradient = rest - p, rest_gradient - g
        if rest > 1e-10:  # all histories that nobody had are one cell
            expected += released * numpy.outer(rest_gradient, rest_gradient) / rest
    errors = lambda information: numpy.sqrt(numpy.diag(numpy.linalg.inv(information)))
    found = {"2ndpart": model.se, "hessian": model.se, "observed": errors(observed), "expected": errors(expected)}
    for procedure, se in found.items():
        yield f"varest_{procedure}", minimum | {f"{i}:beta {i}": [b, e] for i, b, e in zip((1, 2), beta, se)}


def tails(n):
    return [format(i, f"0{n}b") for i in range(2**n)]


def trends():
    """The design of design-functions with its cells worked out by hand."""
    x, y = [1.0, 3.0, 2**2.5], [1.0, 4.0, 6.0]
    phi = lambda b, v, c: expit(b[0] + b[1] * x[c])
    p = lambda b, h, c: expit(b[2] + b[3] * y[c])
    return Fit(recaptures(live, phi, p), [0.1] * 4)


def covariates():
    weights = records("individual_covariate")
    x = numpy.array([v for _, (_, v) in weights])
    mean, sd = x.mean(), x.std(ddof=1)
    fit = Fit(recaptures(weights, lambda b, v, c: expit(b[0] + b[1] * (v[0] - 10)), constant_p), [0, 0, 0])
    carry = numpy.array([[1, -10, 0], [0, 1, 0], [0, 0, 1]])
    scale = numpy.array([[1, mean, 0], [0, sd, 0], [0, 0, 1]])

    def betas(matrix):
        b, v = matrix @ fit.beta, matrix @ fit.variance @ matrix.T
        return {f"{i}:beta {i}": interval(b[i - 1], v[i - 1, i - 1] ** 0.5) for i in (1, 2, 3)}

    def real(at):
        row = numpy.array([1, at - 10, 0])
        rate, se = expit(row @ fit.beta), (row @ fit.variance @ row) ** 0.5
        return {"1:real 1": rate_interval(rate, se * rate * (1 - rate))}

    value = {f"-2logL {name} =": [fit.value]}
    plain, standard = value | betas(carry), value | betas(scale @ carry)
    moments = lambda at: {"WEIGHT": [(at - mean) / sd, mean, sd]}
    yield "individual_covariate", plain | real(x[0]) | {"WEIGHT": [x[0]]}
    yield "icfirst", plain | real(x[0]) | {"WEIGHT": [x[0]]}
    yield "icmeans", plain | real(mean) | {"WEIGHT": [mean]}
    yield "icvalues", plain | real(9.0) | {"WEIGHT": [9.0]}
    yield "individual_covariate_standardized", standard | real(x[0]) | moments(x[0])
    yield "standardize", standard | moments(x[0])
    yield "icvalues-standardized", standard | real(9.0) | moments(9.0)


def residuals():
    totals = {}
    for history, (n,) in live:
        totals[history.index("1")] = totals.get(history.index("1"), 0) + n
    return {
        history: [n, totals[history.index("1")] * cell(history, lambda c: rates[0], lambda c: rates[1])]
        for history, (n,) in live
    }


def difference_roots(step):
    """Where the forward differences of -2 log likelihood with this step vanish."""

    def forward(b):
        h = step * (numpy.abs(b) + 1)
        return [model.f(b + h[i] * e) - model.f(b) for i, e in enumerate(numpy.eye(2))]

    return fsolve(lambda b: numpy.array(forward(b)) / step, model.beta, xtol=1e-13)


class First_captures:
    """Binomials of first captures among the unmarked, and of the marked among those present on occasion 1."""

    def __init__(self, data, p, survival, growth, beyond):
        k, never, entrants = len(p), 1.0, 0.0
        caught = [sum(abs(n) for h, (n,) in data if h[o] == "1") for o in range(k)]
        removed = [sum(-n for h, (n,) in data if n < 0 and h.rindex("1") == o) for o in range(k)]
        first = [sum(abs(n) for h, (n,) in data if h.index("1") == o) for o in range(k)]
        self.draws, self.violations = [], []
        for o in range(k - 2, -1, -1):
            s, g = survival[o], growth[o]
            never = 1 - s + s * (1 - p[o + 1]) * never
            entrants = entrants + (caught[o] / p[o] - removed[o]) * max(g - s, 0, key=numpy.real) * (1 - never) / s
            tau = p[o] / (p[o] + (1 - p[o]) * (1 - never))
            unmarked = sum(first[o:]) - entrants
            self.draws.append((unmarked, first[o], tau))
            self.violations += [s - g, -tau, tau - 1, first[o] - unmarked]
        present, ever = first[0] + beyond, 1 - (1 - p[0]) * never
        self.draws.append((present, unmarked, ever))
        self.violations += [-ever, ever - 1, unmarked - present]

    def likelihood(self):
        return sum(
            loggamma(m + 1) - loggamma(n + 1) - loggamma(m - n + 1) + n * numpy.log(q) + (m - n) * numpy.log(1 - q)
            for m, n, q in self.draws
        )

    def penalty(self):
        return 2e6 * sum(v for v in self.violations if v > 0)


def jolly_seber():
    data, lengths = records("jolly-seber"), numpy.array([1, 2, 1])

    def objective(b):
        phi, p, growth, beyond = expit(b[0]), expit(b[1]), numpy.exp(b[2]), numpy.exp(b[3])
        cells = 0
        for h, (n,) in data:
            seen = h if n > 0 else h[: h.rindex("1") + 1]  # an animal that is lost is followed to its last capture
            cells -= 2 * abs(n) * numpy.log(cell(seen, lambda c: phi ** lengths[c], lambda c: p))
        return cells - 2 * First_captures(data, [p] * 4, phi**lengths, growth**lengths, beyond).likelihood()

    fit = Fit(objective, [0.8, -0.1, 0.07, 4.8])
    phi, p, growth, beyond = *expit(fit.beta[:2]), *numpy.exp(fit.beta[2:])
    yield "jolly-seber", of(fit, "{Phi(.) p(.) Lambda(.)}") | {
        "1:real 1": rate_interval(phi, phi * (1 - phi) * fit.se[0]),
        "2:real 2": rate_interval(p, p * (1 - p) * fit.se[1]),
        "3:real 3": [growth, growth * fit.se[2]],
        "4:real 4": [beyond, beyond * fit.se[3]],
    }
    data = records("jolly-seber-charges")
    charged = {
        "growth below survival": ([0.5, 0.4, 0.3], [0.6, 0.5], 5.3),
        "more entrants than first captures": ([0.5, 0.4, 0.3], [2, 0.75], numpy.exp(3.4)),
        "p below 0": ([-0.2, 0.4, 0.3], [0.85, 0.75], 30),
        "p far below 0": ([-1, 0.4, 0.3], [0.85, 0.75], 30),
        "p above 1": ([1.2, 0.4, 0.3], [0.85, 0.75], 30),
    }
    quiet = First_captures(data, [0.5, 0.4, 0.3], [0.8, 0.7], [0.7, 0.6], 100)  # N ends where it is not charged
    yield "jolly-seber-charges", {
        "Penalty {growth below survival, told to nobody} =": [quiet.penalty()],
    } | {
        f"Penalty Initial {{{title}}} =": [First_captures(data, p, [0.8, 0.7], growth, beyond).penalty()]
        for title, (p, growth, beyond) in charged.items()
    }


def deck_values():
    figure, quasi = figures()
    by_time = Fit(recaptures(live, lambda b, v, c: expit(b[c]), constant_p), [0] * 4)
    yield from other_links()
    yield from variances()
    yield from covariates()

    yield "initial", minimum | value_at(0.5, 0.5)
    yield "initial-with-equals", minimum | value_at(0.25, 0.75)
    yield "nostanddm", minimum | value_at(4 * 0.25, 0.5)
    yield "nsig", {"-2logL {no step} =": [model.f(numpy.array([1.0, 1.0]))]}
    # Without INITIAL a search begins at -0.1.
    few = recaptures(records("convergence-suspect"), constant_phi, constant_p)
    yield "convergence-suspect", {f"-2logL {name} =": [few(numpy.array([-0.1, -0.1]))]}
    chance = cell("1010", lambda c: rates[0], lambda c: rates[1])
    yield "debug-prints-the-matrices", {"1010  Count =": [4, chance, numpy.log(chance)]}
    rows = tables()
    yield "labels", rows | {
        "1:Survival, all years": rows["1:real 1"],
        "2:Detection": rows["2:real 2"],
        "1:Intercept of surviva": rows["1:beta 1"],
    }
    yield "numpar", minimum | {f"AIC {name} =": [model.value + 2]}
    yield "figures", minimum | figure
    yield "quasi", minimum | quasi
    yield "chat", minimum | inflated(2)
    yield "effective-sample-size", minimum | figure
    yield "essanimals", minimum | figures(sample=101)[0]
    yield "residuals", minimum | residuals()
    yield "residual-file-name", residuals()
    yield "tables", tables()
    yield "printvc", minimum | tables()
    yield "dataclones", {
        f"-2logL {name} =": [3 * model.value],
        **{f"{i}:beta {i}": interval(b, se / 3**0.5) for i, b, se in zip((1, 2), model.beta, model.se)},
    }
    root = difference_roots(1e-4)
    yield "deltax", {"1:beta 1": [root[0]], "2:beta 2": [root[1]]}
    yield "centralfd", {"1:beta 1": [model.beta[0]], "2:beta 2": [model.beta[1]]}
    for digits in ("digits-0", "digits-3", "digits-9"):
        yield digits, tables()
    yield "design-functions", of(trends(), "{Phi(trend) p(trend)}")
    yield "pim-time", of(by_time)
    yield "pim-square", of(by_time, "{Phi(t) p(.)}")
    yield "pim-striang", of(by_time, "{Phi(t) p(.)}")
    ages = [(h, [n, h.index("1")]) for h, (n,) in live]
    index = [0, 2, 3]  # the numbers 1, 3, 4 of the rows; 2 is p
    by_age = recaptures(ages, lambda b, v, c: expit(b[index[c - v[0]]]), lambda b, h, c: expit(b[1]))
    yield "pim-rows", of(Fit(by_age, [0] * 4))
    fixed_p = lambda p: Fit(recaptures(live, constant_phi, lambda b, h, c: p), [0])
    yield "betafixed", of(fixed_p(expit(0.25))) | {"2:beta 2": [0.25, 0, 0, 0]}
    yield "fixed", of(fixed_p(0.4)) | {"2:real 2": [0.4, 0, 0.4, 0.4]}
    lengths = [1, 2, 1.5]
    power = lambda b, v, c: expit(b[0]) ** lengths[c]
    yield "time-intervals-vary", of(Fit(recaptures(live, power, constant_p), [1, 0]))
    yield "dots", of(Fit(recaptures(records("dots"), constant_phi, constant_p), [0, 0]))
    trap = lambda b, h, c: expit(b[1] + b[2] * ("1" in h[1 : c + 1]))
    yield "prior-captures", of(Fit(recaptures(live, constant_phi, trap), [0, 0, 0]), "{p(trap)}")
    yield "readme", of(Fit(recaptures(records("readme"), constant_phi, constant_p), [0, 1]))
    shares = lambda b, v, c: numpy.exp(b[c]) / (1 + numpy.exp(b[0]) + numpy.exp(b[1])) if c < 2 else expit(b[2])
    yield "mlogit-set", of(Fit(recaptures(records("mlogit-set"), shares, constant_p), [-1, -1, 0, 0]))
    last = Fit(recaptures(records("two-data-procedures")[12:], constant_phi, constant_p), [0, 0])
    yield "two-data-procedures", of(last)
    males = records("labels-two-groups")
    both = [(h, [n[0] + n[1]]) for h, n in males]
    yield "labels-two-groups", of(Fit(recaptures(both, constant_phi, constant_p), [1, 0]), "{No Model Specified}")

    again = beta_table(model)
    yield "loop-removes-a-singular-beta", minimum | {
        "1:beta 1": again["1:beta 1"], "2:beta 2": [0, 0], "3:beta 3": again["2:beta 2"]
    }

    for same in (
        "carriage-returns design-rows loop no-variance-file noloop optimizer_va09ad paging pentfirst-pentlast "
        "reuse-writes silent-screen singular-beta statements-over-lines tabs upper-case variance-file-name "
        "variance-file-without-point working-variance-file xmatrix"
    ).split():
        yield same, of(model)

    yield from closed_forms()
    yield from jolly_seber()
    yield from open_decks.deck_values()
    yield from strata_decks.deck_values()
    yield from session_decks.deck_values()
    yield from state_decks.deck_values()
    yield from site_decks.deck_values()


def closed_forms():
    # 26 at risk, 3 deaths, one survival.
    yield "known-fate", rate_row("{S(.)}", 23, 26)
    # At risk and surviving in each interval.
    survivors, trials = [31, 25, 22], [37, 29, 27]
    parts = [rate_row("", k, n) for k, n in zip(survivors, trials)]
    yield "known-fate-of-several-intervals", {
        "-2logL {S(t)} =": [sum(part["-2logL  ="][0] for part in parts)],
        "DEVIANCE {S(t)} =": [0],
        **{f"{i}:real {i}": part["1:real 1"] for i, part in enumerate(parts, 1)},
    }
    # 21 of 24 survive the only interval with animals at risk ahead of the gap.
    yield "estimability-nobody-at-risk", {"1:beta 1": [logit(21 / 24), (24 * 21 / 24 * 3 / 24) ** -0.5]}
    # A nest fails between days 5 and 9 after 4 days, three stand for 5 days: u = S^4 has 19/4 successes, one failure.
    u = 19 / 23
    yield "nest-survival", {"-2logL {S(.)} =": [-2 * (19 / 4 * numpy.log(u) + numpy.log(1 - u))], "1:real 1": [u**0.25]}
    # Recoveries of three releases of 50; the rest are never reported.
    recovered = [[3, 2, 1], [4, 1], [5]]

    def recoveries(b):
        s, f = expit(b[0]), expit(b[1])
        total = 0
        for row in recovered:
            chance = [s**k * f for k in range(len(row))]
            total += sum(-2 * n * numpy.log(q) for n, q in zip(row, chance))
            total += -2 * (50 - sum(row)) * numpy.log(1 - sum(chance))
        return total

    yield "recovery-matrix", of(Fit(recoveries, [0, -2]), "{S(.) f(.)}")
    # 32 animals caught 1 + 12/32 times in two occasions: m = 2p / (1 - (1 - p)^2) = 2 / (2 - p). The chance to be
    # inside is the share of locations inside, 94 of 128 (3 x 10 + 1 x 2 + 2 x 9 + 4 x 11).
    p, caught = 2 - 2 / (1 + 12 / 32), 32
    inside = (3 * 10 + 1 * 2 + 2 * 9 + 4 * 11) / (4 * caught)
    yield "areas", {"1:real 1": [p], "2:real 2": [inside], "1": [caught * inside / (1 - (1 - p) ** 2) / 2.5]}


def rate_row(title, successes, trials):
    rate = successes / trials
    value = -2 * (successes * numpy.log(rate) + (trials - successes) * numpy.log(1 - rate))
    se = (rate * (1 - rate) / trials) ** 0.5
    return {f"-2logL {title} =": [value], "1:real 1": rate_interval(rate, se)}


def check():
    known = dict(deck_values())
    faults = 0
    for path in sorted(folder.glob("*.expect")):
        table = ""
        for line in path.read_text().split("\n"):
            word, _, rest = line.partition(" ")
            if word == "number":
                label, value, _ = rest.strip().rsplit(None, 2)
                values = [value]
            elif word == "row":
                label, _, right = rest.strip().rpartition(" => ")
                values = right.split()[:-1]
            else:
                table = f"{rest.strip()}: " if word == "under" else table
                continue
            wanted = known.get(path.stem, {}).get(table + label)
            # As many digits as the file gives: its last may be off by one half.
            if wanted is None:
                print(f"{path.stem}: nothing computed for: {table}{label}")
                faults += 1
            elif any(abs(float(v) - w) > 0.6 * 10.0 ** -len(v.partition(".")[2]) for v, w in zip(values, wanted)):
                print(f"{path.stem}: {label} is {wanted}, not {values}")
                faults += 1
    print(f"{faults} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    if "--check" in sys.argv:
        sys.exit(check())
    for deck, rows in deck_values():
        for label, values in rows.items():
            print(f"{deck:36} {label:40}", *(f"{v:.10g}" for v in values))
