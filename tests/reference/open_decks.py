"""Open populations and robust designs of tests/decks/options a second time, for option_decks.py.

Nothing is derived in closed form: entrants are summed over the occasions on which they can have entered, and an animal is
carried to the end of the study with one weight for each place where it can be.
"""

import numpy
from scipy.special import loggamma

from second_fits import Fit, beta_table, cell, expit, gradient, rate_interval, records, z


def table(fit, title, scales):
    """-2 log likelihood, betas and reals; scales tell the link of each real, "" where the listing gives none here."""
    found = {f"-2logL {{{title}}} =": [fit.value]} | beta_table(fit)
    for i, (scale, b, se) in enumerate(zip(scales, fit.beta, fit.se), 1):
        if scale == "logit":
            found[f"{i}:real {i}"] = rate_interval(expit(b), se * expit(b) * (1 - expit(b)))
        elif scale == "log":
            found[f"{i}:real {i}"] = [numpy.exp(b), se * numpy.exp(b)]
    return found


def derived(fit, heading, values, label="1     {}", sampling=None):
    """Rows under a heading: estimates as functions of the betas, with errors by the delta method.

    @param values    betas to a list
    @param label     of the rows, with their number
    @param sampling  variance of each beyond that of the betas
    """
    rows = {}
    for i, value in enumerate(values(fit.beta)):
        slope = gradient(lambda b: values(b)[i], fit.beta)
        variance = slope @ fit.variance @ slope + (sampling[i] if sampling else 0)
        rows[f"{heading}: {label.format(i + 1)}"] = [value, variance**0.5]
    return rows


# ---- entry ----


def counts(data):
    """Animals caught, lost on capture, and caught for the first time, by occasion."""
    occasions = range(len(data[0][0]))
    caught = [sum(abs(n) for h, (n, *_) in data if h[o] == "1") for o in occasions]
    lost = [sum(-n for h, (n, *_) in data if n < 0 and h.rindex("1") == o) for o in occasions]
    first = [sum(abs(n) for h, (n, *_) in data if h.index("1") == o) for o in occasions]
    return caught, lost, first


def grown(growth, survival, p, removed):
    """Animals that enter ahead of each occasion, for one that is there on the first.

    @param growth   of the population over an interval, of those that the occasion leaves
    @param removed  share of the captures that are taken out, by occasion
    """
    there, entrants = 1.0, [1.0]
    for c in range(len(growth)):
        left = there * (1 - p[c] * removed[c])
        entrants.append(left * (growth[c] - survival[c]))
        there = left * growth[c]
    return entrants


def first_captures(entrants, survival, p):
    """By occasion of the first capture: entered on any one before it, never met until then."""
    found = [0.0] * len(p)
    for e, weight in enumerate(entrants):
        for o in range(e, len(p)):
            found[o] = found[o] + weight * p[o]
            if o < len(survival):
                weight = weight * (1 - p[o]) * survival[o]
    return found


def seen(history, n):
    """An animal that is lost is followed to its last capture."""
    return history if n > 0 else history[: history.rindex("1") + 1]


def histories(data, survival, p):
    """-2 log likelihood of what follows the first captures."""
    return sum(
        -2 * abs(n) * numpy.log(cell(seen(h, n), lambda c: survival[c], lambda c: p[c + 1])) for h, (n, *_) in data
    )


def entry(data, growth, survival, p, removed):
    chances = first_captures(grown(growth, survival, p, removed), survival, p)
    first = counts(data)[2]
    return histories(data, survival, p) - 2 * sum(n * numpy.log(q / sum(chances)) for n, q in zip(first, chances))


def open_populations():
    # Followed back from the last capture, a history is one of live recaptures read from its end.
    data, lengths = records("seniority"), [1, 2, 0.5]
    back = [(h[::-1], n) for h, n in data]
    fit = Fit(lambda b: histories(back, [expit(b[0]) ** t for t in lengths[::-1]], [expit(b[1])] * 4), [1, 0])
    yield "seniority", table(fit, "Gamma(.) p(.)", ["logit"] * 2)

    lengths = numpy.array([1, 2, 1])
    data = records("survival-and-seniority")
    caught, lost, _ = counts(data)
    removed = [m / n for m, n in zip(lost, caught)]

    def seniority(b):
        survival, p = expit(b[0]) ** lengths, [expit(b[1])] * 4
        return entry(data, survival / expit(b[2]) ** lengths, survival, p, removed)

    fit = Fit(seniority, [1, 0, 1])
    yield "survival-and-seniority", table(fit, "Phi(.) p(.) Gamma(.)", ["logit"] * 3) | derived(
        fit, "Lambda-hat", lambda b: [expit(b[0]) / expit(b[2])] * 3
    )

    # Here losses leave what enters as it is.
    data_of_recruitment = records("link-barker")

    def recruitment(b):
        survival, p = expit(b[0]) ** lengths, [expit(b[1])] * 4
        return entry(data_of_recruitment, (expit(b[0]) + numpy.exp(b[2])) ** lengths, survival, p, [0] * 4)

    fit = Fit(recruitment, [1, 0, -1])
    yield "link-barker", table(fit, "Phi(.) p(.) f(.)", ["logit", "logit", "log"]) | derived(
        fit, "Lambda-hat", lambda b: [expit(b[0]) + numpy.exp(b[2])] * 3
    )


def popan():
    lengths = numpy.array([1, 2, 1])

    def model(deck, title, shares, scales, start):
        data = records(deck)
        caught, lost, first = counts(data)
        met = sum(first)

        def parts(b):
            return expit(b[0]) ** lengths, [expit(b[1])] * 4, shares(b), numpy.exp(b[-1])

        def objective(b):
            survival, p, share, never = parts(b)
            chances = first_captures(share, survival, p)
            # All ways to draw the first captures out of the superpopulation.
            term = loggamma(met + never + 1) - loggamma(never + 1) + never * numpy.log(1 - sum(chances))
            term += sum(n * numpy.log(q) - loggamma(n + 1) for n, q in zip(first, chances))
            return histories(data, survival, p) - 2 * term

        def net(b):
            _, _, share, never = parts(b)
            return [(met + never) * s for s in share]

        def gross(b):
            survival = parts(b)[0]
            births = net(b)
            return births[:1] + [n * numpy.log(s) / (s - 1) for n, s in zip(births[1:], survival)]

        def there(b):
            survival, births = parts(b)[0], net(b)
            sizes = births[:1]
            for c in range(3):
                sizes.append((sizes[-1] - lost[c]) * survival[c] + births[c + 1])
            return sizes

        with numpy.errstate(invalid="ignore"):  # a long step of the search may ask for shares that exceed 1
            fit = Fit(objective, start)
        rows = table(fit, title, scales) | derived(fit, "B*-hat", gross) | derived(fit, "B-hat", net)
        rows |= derived(fit, "N*-hat", lambda b: [sum(gross(b))], "1") | derived(fit, "N-hat", there)
        return fit, rows

    def of_set(b):
        whole = 1 + sum(numpy.exp(b[2:5]))
        return [1 / whole] + [numpy.exp(x) / whole for x in b[2:5]]

    fit, rows = model(
        "popan-pentfirst", "Phi(.) p(.) pent(t) N", of_set, ["logit", "logit", "", "", "", "log"], [1, 0, -1, 0, -1, 4]
    )
    shares = list(derived(fit, "", of_set).values())[1:]
    rows |= {f"{i}:real {i}": share for i, share in enumerate(shares, 3)}
    yield "popan-pentfirst", rows
    equal = lambda b: [expit(b[2])] * 3 + [1 - 3 * expit(b[2])]
    yield "popan-pentlast", model(
        "popan-pentlast", "Phi(.) p(.) pent(.) N", equal, ["logit"] * 3 + ["log"], [0.8, 0.1, -1, 4]
    )[1]


# ---- robust designs: sessions of 2, 1, 2 and 2 occasions ----

spans = [(0, 2), (2, 3), (3, 5), (5, 7)]
between = [1, 2, 1, 1]  # behind each session


def within(history, p, c):
    """Chance of the captures in each session that has some, given that it has; p and c by session."""
    chance = 1.0
    for s, (begin, end) in enumerate(spans):
        met, session = False, 1.0
        for sign in history[begin:end]:
            rate = c[s] if met else p[s]
            session = session * (rate if sign == "1" else 1 - rate)
            met = met or sign == "1"
        if met:
            chance = chance * session / ever(p)[s]
    return chance


def ever(p):
    """Chance to be caught at all, by session."""
    return [1 - (1 - p[s]) ** (end - begin) for s, (begin, end) in enumerate(spans)]


def by_session(history):
    return "".join("1" if "1" in history[begin:end] else "0" for begin, end in spans)


def sizes(fit, data, p):
    """Animals met over the chance to be met; their number varies as that of a binomial (Huggins 1989)."""
    caught = counts([(by_session(h), n) for h, n in data])[0]
    estimate = lambda b: [n / q for n, q in zip(caught, ever(p(b)))]
    sampling = [n * (1 - q) / q**2 for n, q in zip(caught, ever(p(fit.beta)))]
    return derived(fit, "N-hat", estimate, sampling=sampling)


def away_and_back():
    data = records("robust-design")

    def chance(h, b):
        s, leave, stay, p, c = (expit(x) for x in b)
        met, caught = ever([p] * 4), by_session(h)
        first = caught.index("1")
        here, away, dead = 1.0, 0.0, 0.0
        for k in range(first, 3):
            t = between[k]
            live, out, still = s**t, 1 - (1 - leave) ** t, stay**t
            dead = dead + (here + away) * (1 - live)
            here, away = live * (here * (1 - out) + away * (1 - still)), live * (here * out + away * still)
            if caught[k + 1] == "1":
                here, away, dead = here * met[k + 1], 0.0, 0.0
            else:
                here = here * (1 - met[k + 1])
        return (here + away + dead) * within(h, [p] * 4, [c] * 4)

    fit = Fit(lambda b: sum(-2 * n * numpy.log(chance(h, b)) for h, (n,) in data), [1, -1, 0, 0, -1])
    title = "S(.) Gamma''(.) Gamma'(.) p(.) c(.)"
    yield "robust-design", table(fit, title, ["logit"] * 5) | sizes(fit, data, lambda b: [expit(b[3])] * 4)


def resighted_and_reported():
    data = [(h[::2], h[1::2], n) for h, (n,) in records("robust-design-barker")]

    def chance(live, other, b):
        s, r, seen_alive, seen_before, remain, back, faithful, p, c = (expit(x) for x in b)
        met, caught = ever([p] * 4), by_session(live)
        here, away, gone, dead = 1.0, 0.0, 0.0, 0.0
        for k in range(caught.index("1"), 4):
            begin, end = spans[k]
            t, sign = between[k], (other[begin:end].strip("0") or "0")[-1]
            survive, alive, before = s**t, 1 - (1 - seen_alive) ** t, 1 - (1 - seen_before) ** t
            lives = survive * {"0": 1 - alive, "1": 0, "2": alive}[sign]
            dies = (1 - survive) * {"0": (1 - r) * (1 - before), "1": r, "2": (1 - r) * before}[sign]
            dead = (dead if sign == "0" else 0.0) + (here + away + gone) * dies
            here, away, gone = here * lives, away * lives, gone * lives
            if k == 3:
                break
            keep, near, again = faithful**t, remain**t, 1 - (1 - back) ** t
            gone = gone + (here + away) * (1 - keep)
            here, away = keep * (here * near + away * again), keep * (here * (1 - near) + away * (1 - again))
            if caught[k + 1] == "1":
                here, away, gone, dead = here * met[k + 1], 0.0, 0.0, 0.0
            else:
                here = here * (1 - met[k + 1])
        return (here + away + gone + dead) * within(live, [p] * 4, [c] * 4)

    fit = Fit(
        lambda b: sum(-2 * n * numpy.log(chance(live, other, b)) for live, other, n in data),
        [1.2, -0.8, -1, -1, 1, 0, 2, 0, -1],
    )
    live = [(live, [n]) for live, _, n in data]
    rows = table(fit, "S r R R' a'' a' F p c", ["logit"] * 9)
    yield "robust-design-barker", rows | sizes(fit, live, lambda b: [expit(b[7])] * 4)


def growing():
    lengths = numpy.array(between[:3])

    def objective(data, survival, growth, p, c):
        """By session histories of an open population, each with its captures within the sessions."""
        short = [(by_session(h), n) for h, n in data]
        inside = sum(-2 * n * numpy.log(within(h, p, c)) for h, (n,) in data)
        return inside + entry(short, growth, survival, ever(p), [0] * 4)

    data = records("robust-design-growth")
    fit = Fit(
        lambda b: objective(
            data, expit(b[0]) ** lengths, numpy.exp(b[1]) ** lengths, [expit(b[2])] * 4, [expit(b[3])] * 4
        ),
        [1, 0, 0, -1],
    )
    rows = table(fit, "Phi(.) Lambda(.) p(.) c(.)", ["logit", "log", "logit", "logit"])
    rows |= derived(fit, "Lambda-hat", lambda b: [numpy.exp(b[1])] * 3)
    yield "robust-design-growth", rows | sizes(fit, data, lambda b: [expit(b[2])] * 4)

    ratios = records("robust-design-sizes")
    caught = counts([(by_session(h), n) for h, n in ratios])[0]
    p = lambda b: [expit(x) for x in b[1:5]]

    def growth(b):
        size = [n / q for n, q in zip(caught, ever(p(b)))]
        return [size[k + 1] / size[k] for k in range(3)]

    fit = Fit(lambda b: objective(ratios, expit(b[0]) ** lengths, growth(b), p(b), [expit(b[5])] * 4), [1, 0, 0, 0, 0, -1])
    rows = table(fit, "Phi(.) p(session) c(.)", ["logit"] * 6) | sizes(fit, ratios, p)
    yield "robust-design-sizes", rows | derived(fit, "Lambda-hat", growth)


def deck_values():
    yield from open_populations()
    yield from popan()
    yield from away_and_back()
    yield from resighted_and_reported()
    yield from growing()
