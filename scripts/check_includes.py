#!/usr/bin/env python3
"""Includes go one way: a file includes lower ranks, or its own rank without a circle. The ranks are those of
docs/architecture.md; CMakeLists.txt mirrors them as static libraries."""

import re
import sys
from pathlib import Path

root = Path(__file__).resolve().parent.parent
source = root / "src"

# The first pattern that matches a path (without its extension, under src/) gives its rank.
ranks = [
    (r"numerics/.*", 0),
    (r"optimizers/optmiz", 5),
    (r"optimizers/.*", 0),
    (r"job/(status_module|timing_module|streams)", 1),
    (r"model/data_module", 1),
    (r"inference/profile_conf_interval_module", 1),
    (r"sampling/hyper_dist_module", 1),
    (r"data/(datatype|datatype_table|encounter)", 1),
    (r"job/job", 2),
    (r"job/(tarn|command_line|procedures)", 10),
    (r"job/.*", 3),
    (r"data/.*", 4),
    (r"model/(pim|design\w*|links)", 4),
    (r"model/starting", 6),
    (r"likelihood/.*", 5),
    (r"inference/.*", 6),
    (r"derived/.*", 7),
    (r"sampling/.*", 8),
    (r"model/(estmat|estimate_\w+|results|tables|figures|debug_report|vc_file)", 9),
]

include_line = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.M)


def rank_of(path):
    bare = path.rsplit(".", 1)[0]
    for pattern, rank in ranks:
        if re.fullmatch(pattern, bare):
            return rank
    return None


def find_circle(graph):
    """A circle of includes as a list of files, or an empty list."""
    state = {}

    def visit(node, road):
        state[node] = 1
        for neighbour in graph.get(node, ()):
            if state.get(neighbour) == 1:
                return road[road.index(neighbour):] + [neighbour] if neighbour in road else [node, neighbour]
            if neighbour not in state:
                found = visit(neighbour, road + [neighbour])
                if found:
                    return found
        state[node] = 2
        return []

    for node in sorted(graph):
        if node not in state:
            found = visit(node, [node])
            if found:
                return found
    return []


def main():
    faults, graph = [], {}
    files = sorted(p for p in source.rglob("*") if p.suffix in (".h", ".cpp"))
    names = {str(p.relative_to(source)) for p in files}
    for path in files:
        name = str(path.relative_to(source))
        rank = rank_of(name)
        if rank is None:
            faults.append(f"{name}: no rank; give it one in scripts/check_includes.py")
            continue
        graph[name] = []
        for kind, target in include_line.findall(path.read_text()):
            if kind == "<":
                continue
            if target not in names:
                faults.append(f"{name}: includes {target}, which is not under src/")
                continue
            graph[name].append(target)
            other = rank_of(target)
            if other is not None and other > rank:
                faults.append(f"{name} (rank {rank}) includes {target} (rank {other})")
    circle = find_circle(graph)
    if circle:
        faults.append("circle: " + " -> ".join(circle))
    for fault in faults:
        print(fault)
    print(f"includes: {len(graph)} files, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
