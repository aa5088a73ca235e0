"""What the simulated studies of bench_coverage share: decks of a model, records, random numbers."""

from collections import Counter


def poisson(rng, mean):
    """Events in a time of length `mean`, one after another."""
    count, time = 0, rng.expovariate(1.0)
    while time < mean:
        count += 1
        time += rng.expovariate(1.0)
    return count


def in_sessions(cells, lengths):
    """The cells of each session."""
    rest = iter(cells)
    return [[next(rest) for _ in range(length)] for length in lengths]


def written(cells):
    return "".join("01"[cell] for cell in cells)


def records(histories, lost=()):
    """Statements of histories, the same ones counted; those of removed animals apart. What was never caught leaves none."""
    kept = {1: Counter(h for h in histories if h.strip("0.")), -1: Counter(lost)}
    return "".join(f"{text} {sign * n};\n" for sign in kept for text, n in sorted(kept[sign].items()))


class Study:
    """A deck with a model, and sets of simulated animals for it. `truths` by real parameter; None: of the set. `sections`: names of the derived values.
    `estimated`: the truth of those that have both."""

    estimated = "stated"

    def __init__(self, keyword, occasions, intervals=None, options=""):
        self.head = f"proc chmatrix occasions={occasions} groups=1 hist=2000 etype={keyword} nohist{options};\n"
        if intervals:
            self.head += f"time intervals {' '.join(map(str, intervals))};\n"
        self.matrices, self.links, self.names, self.truths, self.sections = "", [], [], [], []
        self.initial = ""

    def add(self, name, columns, truth, link="LOGIT"):
        """A matrix; `truth`: a number that all columns share, or one for each."""
        one = not isinstance(truth, (list, tuple))
        self.matrices += f"group=1 {name} rows=1 cols={columns} square {'constant' if one else 'time'}={len(self.names) + 1};\n"
        truth = [truth] if one else list(truth)
        shown = name.replace(" :", "")
        self.names += [shown] if one else numbered(shown, len(truth))
        self.truths += truth
        self.links += [link] * len(truth)

    def add_in_sessions(self, name, lengths, truth, like=None, link="LOGIT", own=False, rows=1):
        """A matrix for each session, of one real parameter a row; `like` another one's; `own`: one for each session."""
        if like is None:
            number = len(self.names) + 1
            count = len(lengths) if own else rows
            shown = name.replace(" :", "")
            self.names += [shown] if count == 1 else numbered(shown, count)
            self.truths += list(truth) if rows > 1 else [truth] * count
            self.links += [link] * count
        else:
            number = self.names.index(like.replace(" :", "")) + 1
        for s, length in enumerate(lengths, 1):
            cells = "".join(" ".join([str(number + row + (s - 1 if own else 0))] * length) + ";\n" for row in range(rows))
            self.matrices += f"group=1 {name} Session {s} rows={rows} cols={length} square;\n{cells}"

    def statements(self, data, options=("",)):
        n = len(self.names)
        text = self.head + data
        for number, option in enumerate(options, 1):
            text += f"proc estimate link=PARM-SPECIFIC {option};\nmodel={{simulated {number}}};\n{self.matrices}"
            text += f"design matrix constraints={n} covariates={n} identity;\nlinks;\n" + ";\n".join(self.links) + f";\n{self.initial}"
        return text


def numbered(name, count):
    return [f"{name} {i}" for i in range(1, count + 1)]
