#!/usr/bin/env python3
"""Compares the lines a gcovr text report leaves uncovered with the lines
docs/coverage-exclusions.md lists, and prints every difference: a line left
uncovered but not listed (to test or to list with its reason) and a listed
line now covered or moved (to take off the list or renumber). Exits 0 either
way: line numbers move with every edit, so this is a report, not a gate.

usage: coverage-listed.py COVERAGE_TXT EXCLUSIONS_MD
"""
import re
import sys


def numbers(text):
    found = set()
    for token in re.split(r"[,\s]+", text):
        match = re.fullmatch(r"(\d+)(?:-(\d+))?", token)
        if match:
            first = int(match.group(1))
            found.update(range(first, int(match.group(2) or first) + 1))
    return found


def uncovered(report):
    result = {}
    with open(report, encoding="utf-8") as f:
        for line in f:
            parts = line.split()
            if len(parts) >= 5 and parts[0].endswith((".cc", ".h")):
                lines = numbers(" ".join(parts[4:]))
                if lines:
                    result[parts[0]] = lines
    return result


def listed(exclusions):
    result = {}
    with open(exclusions, encoding="utf-8") as f:
        for line in f:
            match = re.match(r"^\|\s*([\w/.]+\.(?:cc|h)):([\d,\s\-]+)\|", line)
            if match:
                result.setdefault(match.group(1), set()).update(numbers(match.group(2)))
    return result


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    missing, known = uncovered(sys.argv[1]), listed(sys.argv[2])
    differences = 0
    for name in sorted(set(missing) | set(known)):
        for what, lines in (("uncovered, not listed", missing.get(name, set()) - known.get(name, set())),
                            ("listed, not uncovered", known.get(name, set()) - missing.get(name, set()))):
            if lines:
                differences += 1
                print(f"coverage: {name}: {what}: {', '.join(map(str, sorted(lines)))}")
    if differences == 0:
        print("coverage: every uncovered line is listed with its reason, and only those")


if __name__ == "__main__":
    main()
