#!/usr/bin/env python3
"""Second partials of -2 log likelihood / 2 by the difference stencil, in 90 digits.

Writes second_partials.txt: live recaptures with time-dependent rates, their betas, and the lower triangle of the
matrix that the stencil gives with the step deltax (x + 1). In 64-bit arithmetic the stencil has no digit left; the
numbers here are what it means. Needs mpmath.
"""

import random

from mpmath import mp, mpf, exp, log, sin

mp.dps = 90
DELTAX = mpf(2) ** -26
SLOPE = mpf(1000000)


def logit_link(x):
    return 1 / (1 + exp(-x))


def sin_link(x):
    return (sin(x) + 1) / 2


def identity(x):
    return x


LINKS = {1: logit_link, 4: sin_link, 6: identity}


def objective(records, occasions, links, beta):
    n = occasions - 1
    phi = [LINKS[links[0]](b) for b in beta[:n]]
    p = [LINKS[links[1]](b) for b in beta[n:]]
    likelihood, penalty = mpf(0), mpf(0)
    for live, count, lost in records:
        first = live.index("1")
        for number, end in ((count, len(live.rstrip("."))), (lost, live.rindex("1") + 1)):
            if not number:
                continue
            alive, dead = mpf(1), mpf(0)
            for c in range(first, end - 1):
                seen = {"1": (p[c], 0), "0": (1 - p[c], 1), ".": (1, 1)}[live[c + 1]]
                dead = (dead + alive * (1 - phi[c])) * seen[1]
                alive = alive * phi[c] * seen[0]
            prob = alive + dead
            likelihood += number * log(prob)
            if prob > 1:
                penalty += (1 - prob) * SLOPE
    return -2 * likelihood - 2 * penalty


def stencil(f, x):
    n = len(x)
    d = [DELTAX * (b + 1) for b in x]
    f0 = f(x)

    def at(*moves):
        y = list(x)
        for k, steps in moves:
            y[k] += steps * d[k]
        return f(y)

    for i in range(n):
        for j in range(i + 1):
            if i == j:
                value = (16 * (at((i, 1)) + at((i, -1))) - (at((i, 2)) + at((i, -2))) - 30 * f0) / (24 * d[i] * d[i])
            else:
                value = (at((i, 1), (j, 1)) - at((i, 1), (j, -1)) - at((i, -1), (j, 1)) + at((i, -1), (j, -1))) / (
                    8 * d[i] * d[j]
                )
            yield i + 1, j + 1, value


def main():
    source = random.Random(5)
    cases = []
    histories = [
        "".join(["0"] * first + ["1"] + [source.choice("001.") for _ in range(4 - first)])
        for first in (0, 0, 0, 0, 1, 1, 1, 2, 2, 3)
    ]
    records = [(live, source.randint(1, 9), source.randint(0, 2)) for live in histories]
    # Multiples of 1/64: the same number here and in the test.
    betas = [mpf(source.randint(-60, 60)) / 64 for _ in range(8)]
    cases.append(("logit-sin", 5, (1, 4), records, betas))
    # A probability above 1, and with it the range penalty.
    cases.append(("penalty", 3, (6, 6), [("111", 2, 0), ("110", 1, 0), ("011", 3, 1)],
                  [mpf(89) / 64, mpf(60) / 64, mpf(60) / 64, mpf(58) / 64]))
    with open("second_partials.txt", "w", encoding="ascii") as out:
        for name, occasions, links, data, beta in cases:
            print("case", name, occasions, *links, file=out)
            for record in data:
                print("record", *record, file=out)
            for value in beta:
                print("beta", mp.nstr(value, 20), file=out)
            for i, j, value in stencil(lambda y: objective(data, occasions, links, y), beta):
                print("h", i, j, mp.nstr(value, 20), file=out)


if __name__ == "__main__":
    main()
