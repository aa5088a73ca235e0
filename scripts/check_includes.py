#!/usr/bin/env python3
"""Includes go one way: a file includes what stands in earlier folders, or in its own without a circle. The order of the
folders is the list `tarn_folders` in CMakeLists.txt, where each of them is a library of the same name."""

import re
import sys
from pathlib import Path

root = Path(__file__).resolve().parent.parent
source = root / "src"

listed = re.search(r"set\(tarn_folders\s+([^)]*)\)", (root / "CMakeLists.txt").read_text())
folders = listed.group(1).split()
# The state of a job: headers without code, which every later folder reads whatever folder they stand in.
record = re.compile(r".*_module\.h|job/job\.h")

include_line = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.M)


def place_of(name):
    """The folder of a file, or `records`; None when the list does not have it."""
    folder = "records" if record.fullmatch(name) else name.rsplit("/", 1)[0]
    return folder if folder in folders else None


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
    files = sorted(p for p in source.rglob("*") if p.suffix in (".h", ".cpp", ".def"))
    names = {str(p.relative_to(source)) for p in files}
    for path in files:
        name = str(path.relative_to(source))
        folder = place_of(name)
        if folder is None:
            faults.append(f"{name}: its folder is not in the list `tarn_folders` of CMakeLists.txt")
            continue
        graph[name] = []
        for kind, target in include_line.findall(path.read_text()):
            if kind == "<" and target not in names:
                continue
            if target not in names:
                faults.append(f"{name}: includes {target}, which is not under src/")
                continue
            graph[name].append(target)
            other = place_of(target)
            if other is not None and folders.index(other) > folders.index(folder):
                faults.append(f"{name} (in {folder}) includes {target} (in {other}), which comes later")
    circle = find_circle(graph)
    if circle:
        faults.append("circle: " + " -> ".join(circle))
    for fault in faults:
        print(fault)
    print(f"includes: {len(graph)} files, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
