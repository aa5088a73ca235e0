"""Models fitted a second time: records of decks, live recaptures, searches with exact gradients, intervals."""

import re
from pathlib import Path

import numpy
from scipy.optimize import minimize

folder = Path(__file__).resolve().parent.parent / "decks" / "options"
z = float(numpy.float32(1.96))  # the multiple of a standard error in the limits is a single-precision number


def records(deck):
    """(history, [count, covariates ...]) of the first data set of a deck."""
    text = (folder / f"{deck}.deck").read_text().split("estimate")[0]
    lines = re.findall(r"^([012.]+)\s+([-0-9. \n]+);", text, re.M)
    return [(history, [float(word) for word in words.split()]) for history, words in lines]


def expit(x):
    return 1 / (1 + numpy.exp(-x))


def logit(p):
    return numpy.log(p / (1 - p))


def cell(history, phi, p):
    """Probability of a history behind its first capture; phi(c), p(c) of interval c from 0."""
    alive, dead = 1.0, 0.0
    for c in range(history.index("1"), len(history) - 1):
        survivor, lost = alive * phi(c), dead + alive * (1 - phi(c))
        seen = history[c + 1]
        alive, dead = {"1": (survivor * p(c), 0.0), "0": (survivor * (1 - p(c)), lost), ".": (survivor, lost)}[seen]
    return alive + dead


def gradient(f, x):
    step = 1e-30
    return numpy.array([f(x + 1j * step * e).imag / step for e in numpy.eye(len(x))])


def hessian(f, x, h=1e-4):
    """Differences of fourth order of the exact gradient: right to about 1e-10."""

    def difference(e):
        near = gradient(f, x + h * e) - gradient(f, x - h * e)
        far = gradient(f, x + 2 * h * e) - gradient(f, x - 2 * h * e)
        return (8 * near - far) / (12 * h)

    rows = numpy.array([difference(e) for e in numpy.eye(len(x))])
    return (rows + rows.T) / 2


class Fit:
    def __init__(self, f, start):
        self.f = f
        x = minimize(lambda b: float(f(b)), numpy.array(start, float), jac=lambda b: gradient(f, b), method="BFGS").x
        for _ in range(20):
            x = x - numpy.linalg.solve(hessian(f, x), gradient(f, x))
        self.beta, self.value = x, float(f(x))
        self.information = hessian(f, x) / 2
        self.variance = numpy.linalg.inv(self.information)
        self.se = numpy.sqrt(numpy.diag(self.variance))


def interval(estimate, se):
    return [estimate, se, estimate - z * se, estimate + z * se]


def rate_interval(rate, se):
    """Limits on the logit scale, carried back."""
    c = numpy.exp(z * se / (rate * (1 - rate)))
    return [rate, se, rate / (rate + (1 - rate) * c), rate * c / (1 - rate + rate * c)]


def beta_table(fit):
    return {f"{i}:beta {i}": interval(b, se) for i, (b, se) in enumerate(zip(fit.beta, fit.se), 1)}
