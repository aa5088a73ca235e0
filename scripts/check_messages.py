#!/usr/bin/env python3
"""Every message that the source can write stands in docs/messages.md, and in a deck's expectation or a test."""

import re
import sys
from pathlib import Path

root = Path(__file__).resolve().parent.parent
call = re.compile(r"(?<![\w.])(error|warn|warnum|stop)\s*\(")
literal = re.compile(r'"((?:[^"\\\n]|\\.)*)"')


def arguments(text, start):
    """The text between the brackets that open at `start`."""
    depth, inside = 0, False
    for i in range(start, len(text)):
        c = text[i]
        if inside:
            inside = not (c == '"' and text[i - 1] != "\\")
        elif c == '"':
            inside = True
        elif c in "(":
            depth += 1
        elif c == ")":
            depth -= 1
            if depth == 0:
                return text[start + 1 : i]
    return ""


def words_of(text):
    return " ".join(text.replace('\\"', '"').split())


def main():
    page = words_of((root / "docs" / "messages.md").read_text())
    proof = ""
    for path in list((root / "tests").rglob("*.expect")) + list((root / "tests").rglob("*.cpp")):
        joined = re.sub(r'"\s*\n\s*"', "", path.read_text())
        proof += words_of(joined) + "\n"
    faults, count = [], 0
    for path in sorted((root / "src").rglob("*.cpp")) + sorted((root / "src").rglob("*.h")):
        text = path.read_text()
        for found in call.finditer(text):
            inner = arguments(text, found.end() - 1)
            inner = re.sub(r'"\s*\n\s*"', "", inner)
            for piece in literal.findall(inner):
                piece = words_of(piece)
                if len(piece) < 14 or " " not in piece or piece.startswith(("(", "from memory", "No memory", "Not enough memory")):
                    continue
                count += 1
                name = path.relative_to(root)
                if piece not in page:
                    faults.append(f"{name}: not in docs/messages.md: {piece}")
                internal = re.search(re.escape(piece) + r"[^\n]*\| internal", (root / "docs" / "messages.md").read_text())
                if piece not in proof and not internal and not piece.startswith("from memory"):
                    faults.append(f"{name}: no deck and no test: {piece}")
    for fault in faults:
        print(fault)
    print(f"messages: {count} texts, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
