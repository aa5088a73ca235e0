#!/usr/bin/python3
"""Makes gauss_hermite.txt: nodes and weights of Gauss-Hermite rules to 60 digits, printed to 20.

Each line: order, index from 1, node, weight. Nodes are the zeros of the orthonormal Hermite polynomial, found by
Newton steps in 60-digit arithmetic from scipy's starting values; the weight is 1 / (n p(n-1)^2) there.
Needs python3-mpmath and python3-scipy.
"""
import os

from mpmath import mp, mpf, nstr, pi, sqrt
from scipy.special import roots_hermite

mp.dps = 60


def last_two(order, x):
    before, last = mpf(0), mpf(1)
    for up, down in coefficients[:order]:
        before, last = last, x * up * last - down * before
    return last, before


with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "gauss_hermite.txt"), "w") as out:
    for order in (2, 3, 10, 101, 512):
        coefficients = [(sqrt(mpf(2) / k), sqrt(mpf(k - 1) / k)) for k in range(1, order + 1)]
        upper = []
        for start in sorted(roots_hermite(order)[0])[order // 2:]:
            x = mpf(0) if order % 2 and not upper else mpf(start)
            for _ in range(0 if x == 0 else 6):
                last, before = last_two(order, x)
                x -= last / (sqrt(mpf(2) * order) * before)
            last, before = last_two(order, x)
            assert abs(last / before) < mpf(10) ** -50
            upper.append((x, sqrt(pi) / (order * before ** 2)))
        rows = [(-x, w) for x, w in reversed(upper) if x != 0] + upper
        assert len(rows) == order and abs(sum(w for _, w in rows) - sqrt(pi)) < mpf(10) ** -50
        for i, (x, w) in enumerate(rows, 1):
            print(order, i, nstr(x, 20), nstr(w, 20, min_fixed=0, max_fixed=0), file=out)
