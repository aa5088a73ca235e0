#!/usr/bin/python3
"""Makes linear_algebra.txt: small matrices with what numpy and scipy say of them.

The matrices come from a recurrence over whole numbers, so the tests build the same ones: entry k of a stream with
seed s is (state >> 16) % 2001 / 1000 - 1, state := (1103515245 state + 12345) mod 2^31. Lines: name, then numbers.
Needs python3-numpy and python3-scipy.
"""
import os

import numpy
from scipy.linalg import qr


def stream(seed, rows, columns):
    values, state = [], seed
    for _ in range(rows * columns):
        state = (1103515245 * state + 12345) % 2 ** 31
        values.append((state >> 16) % 2001 / 1000 - 1)
    return numpy.array(values).reshape((rows, columns), order="F")


def write(name, numbers):
    print(name, *(repr(float(x)) for x in numpy.asarray(numbers).flatten(order="F")), file=out)


with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "linear_algebra.txt"), "w") as out:
    for n in (1, 2, 5, 12, 70):
        x = stream(n, n, n)
        a = x.T @ x + 0.1 * numpy.eye(n)
        sign, logdet = numpy.linalg.slogdet(a)
        write(f"log10det_{n}", logdet / numpy.log(10))
        write(f"inverse_{n}", numpy.linalg.inv(a) if n <= 12 else numpy.linalg.inv(a)[:3, :3])
        write(f"rcond_{n}", 1 / numpy.linalg.cond(a, 1))
    for rows, columns in ((1, 1), (6, 4), (4, 6), (5, 5), (40, 33)):
        x = stream(100 + rows, rows, columns)
        write(f"singular_{rows}x{columns}", numpy.linalg.svd(x, compute_uv=False))
        write(f"pivots_{rows}x{columns}", qr(x, pivoting=True)[2] + 1)
        write(f"rdiagonal_{rows}x{columns}", numpy.abs(numpy.diag(qr(x, pivoting=True)[1])))
        if rows >= columns:
            y = stream(200 + rows, rows, 1)[:, 0]
            b = numpy.linalg.lstsq(x, y, rcond=None)[0]
            write(f"solution_{rows}x{columns}", b)
            write(f"residual_{rows}x{columns}", y - x @ b)
