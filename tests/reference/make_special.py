#!/usr/bin/python3
"""Makes special.txt: x, lgamma(x), digamma(x), trigamma(x) to 20 digits from 50-digit arithmetic (python3-mpmath)."""
import os

from mpmath import mp, mpf, nstr, loggamma, psi, re

mp.dps = 50
points = [1e-10, 1e-5, 0.001, 0.1, 0.5, 0.9, 1.0, 1.25, 1.4616321449683622, 1.5, 2.0, 2.5, 3.0, 4.75, 7.0, 9.5, 9.999,
          10.0, 10.5, 25.0, 101.5, 1e3, 1e5, 1e8, 1e15, -0.5, -0.001, -1.5, -2.25, -7.9, -30.4]
with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "special.txt"), "w") as out:
    for x in points:
        print(repr(x), *(nstr(re(y), 20) for y in (loggamma(mpf(x)), psi(0, mpf(x)), psi(1, mpf(x)))), file=out)
