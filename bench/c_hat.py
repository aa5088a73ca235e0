#!/usr/bin/env python3
"""What the c-hats of a listing say of data whose overdispersion is known: means and standard deviations over simulated
sets of live recaptures under {Phi(.) p(.)}, Phi .65, p .6. With --clones 2 every fate stands for two animals that share
it, so that the true c is 2. The table of docs/chat.md.

    c_hat.py [--binary FILE] [--sets N] [--clones N]
"""

import argparse
import random
import re
import statistics
import subprocess
import tempfile
from pathlib import Path

root = Path(__file__).resolve().parent.parent
survival, detection = 0.65, 0.6
studies = ((5, 400), (7, 46), (7, 200), (10, 46))  # occasions, animals released on each but the last
figures = ("c-hat", "Pearson chat", "Fletcher chat")


def histories(occasions, released, clones, seed):
    draw = random.Random(seed).random
    counts = {}
    for first in range(occasions - 1):
        for _ in range(released // clones):
            history, alive = ["0"] * occasions, True
            history[first] = "1"
            for occasion in range(first + 1, occasions):
                alive = alive and draw() < survival
                if alive and draw() < detection:
                    history[occasion] = "1"
            text = "".join(history)
            counts[text] = counts.get(text, 0) + clones
    return counts


def fit(binary, folder, occasions, counts):
    n = occasions - 1
    records = "\n".join(f"{history} {count};" for history, count in sorted(counts.items()))
    (folder / "set.deck").write_text(
        f"""proc chmatrix occasions={occasions} groups=1 hist={len(counts)} etype=CJS nohist;
{records}
proc estimate link=LOGIT;
model={{M}};
group=1 Phi rows={n} cols={n} triang constant=1;
group=1 p rows={n} cols={n} triang constant=2;
design matrix constraints=2 covariates=2 identity;
proc stop;
"""
    )
    subprocess.run([binary, "i=set.deck", "o=set.out", "lines=0", "threads=1"], cwd=folder, capture_output=True, check=True)
    listing = (folder / "set.out").read_text()
    return [float(re.search(rf"^ {name} \{{M\}} = *(\S+)", listing, re.M).group(1)) for name in figures]


def main():
    parser = argparse.ArgumentParser(description="c-hats of data with a known c")
    parser.add_argument("--binary", type=Path, default=root / "build" / "release" / "tarn")
    parser.add_argument("--sets", type=int, default=200)
    parser.add_argument("--clones", type=int, default=1)
    options = parser.parse_args()
    print("occasions released " + " ".join(f"{name:>18}" for name in figures))
    with tempfile.TemporaryDirectory() as folder:
        for occasions, released in studies:
            sets = [
                fit(options.binary.resolve(), Path(folder), occasions, histories(occasions, released, options.clones, seed))
                for seed in range(options.sets)
            ]
            shown = [f"{statistics.mean(v):10.2f} ({statistics.stdev(v):5.2f})" for v in zip(*sets)]
            print(f"{occasions:9} {released:8} " + " ".join(shown), flush=True)


if __name__ == "__main__":
    main()
