#!/usr/bin/env python3
"""Prints how much of the library the suite runs, and which branches of the judging functions it does not.

usage: coverage_report.py BUILD

BUILD was made with --coverage and has run the suite. The functions that judge input stand by name in
judging_functions.txt, with the number of branches that cannot be taken, if there are any. The status is 1 when
one of them has another number of branches that were never taken, or does not exist.
"""

import json
import os
import re
import subprocess
import sys
from collections import defaultdict

HERE = os.path.dirname(os.path.realpath(__file__))
LIBRARY = os.path.realpath(os.path.join(HERE, "../../platforms/common/drivers/kelvane/lib/src"))

# A trace is written or not by its level's bit. That is one branch a line, and not the function's judgement.
TRACE = re.compile(r"^\s*(return )?(TRACE|TRACE_AS|SEMAPHORE_PROBLEM)\(")

# A file, a function, and perhaps a number of branches with the reason why they cannot be taken.
ROW = re.compile(r"^(?P<file>[a-z_/]+\.(cpp|h)) +(?P<function>\w+)( +(?P<unreachable>[1-9]) +# \S.*)?$")


def notes_of(build):
    for folder, _, files in sorted(os.walk(build)):
        if "kelvane_objects.dir" in folder:
            for name in sorted(files):
                if name.endswith(".gcno"):
                    yield os.path.join(folder, name)


def read_counts(build):
    """What gcov says of each source file of the library."""
    notes = list(notes_of(build))
    if not notes:
        sys.exit(f"coverage_report: nothing in {build} was built with --coverage")
    # In a folder of the build, because paths in the notes are absolute and nothing is written.
    gcov = subprocess.run(
        ["gcov", "--json-format", "--stdout", "--branch-counts", "--branch-probabilities", *notes],
        cwd=build, capture_output=True, check=False)
    if gcov.returncode != 0:
        sys.exit(f"coverage_report: gcov failed\n{gcov.stderr.decode()[-2000:]}")
    for line in gcov.stdout.splitlines():
        for source in json.loads(line)["files"]:
            path = os.path.relpath(os.path.realpath(os.path.join(build, source["file"])), LIBRARY)
            if not path.startswith(".."):
                yield path, source


def plain_name(demangled):
    """The function's own name; that of the function around it for a lambda."""
    name = demangled.replace("(anonymous namespace)::", "")
    name = re.split(r"[(<\[]", name)[0]
    return name.split("::")[-1].split()[-1]


def around(source, number):
    """The function that a line stands in; a line of several instances of a template is counted for all at once."""
    inside = [f for f in source["functions"] if f["start_line"] <= number <= f["end_line"]]
    return plain_name(max(inside, key=lambda f: f["start_line"])["demangled_name"])


def print_lines(sources):
    floors = defaultdict(lambda: [0, 0])
    for path, source in sources:
        if not path.endswith(".h"):
            counts = defaultdict(int)
            for line in source["lines"]:
                counts[line["line_number"]] += line["count"]
            for floor in (path.split("/")[0] if "/" in path else "core", "all"):
                floors[floor][0] += sum(count > 0 for count in counts.values())
                floors[floor][1] += len(counts)
    print("lines of the library that were run")
    for floor in sorted(floors, key=lambda it: (it == "all", it)):
        run, lines = floors[floor]
        print(f"  {floor:14} {run:5} of {lines:5}  {100 * run / lines:6.2f} %")


def read_list():
    with open(os.path.join(HERE, "judging_functions.txt"), encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            row = ROW.match(line)
            if row:
                yield row["file"], row["function"], int(row["unreachable"] or 0)
            elif line.strip() and not line.startswith("#"):
                sys.exit(f"judging_functions.txt:{number}: not a row")


def branches_by_function(sources):
    """For each (file, function): the line and the counts of each of its branches."""
    found = defaultdict(dict)
    for path, source in sources:
        names = {function["name"]: plain_name(function["demangled_name"]) for function in source["functions"]}
        with open(os.path.join(LIBRARY, path), encoding="utf-8") as file:
            text = file.read().splitlines()
        for name in names.values():
            found[path, name]  # also one without branches
        for line in source["lines"]:
            counts = [branch["count"] for branch in line["branches"] if not branch["throw"]]
            number = line["line_number"]
            if not counts or TRACE.match(text[number - 1]):
                continue
            function = line.get("function_name")
            lines = found[path, names[function] if function else around(source, number)]
            # A function in a header is counted in each file that has it.
            before = lines.get((number, function), ([0] * len(counts), None))[0]
            lines[number, function] = ([a + b for a, b in zip(before, counts)], text[number - 1].strip())
    return {key: [(number, *rest) for (number, _), rest in lines.items()] for key, lines in found.items()}


def print_judging(sources):
    found = branches_by_function(sources)
    taken = branches = unreachable = functions = problems = 0
    for path, name, expected in read_list():
        functions += 1
        unreachable += expected
        if (path, name) not in found:
            problems += 1
            print(f"  {path}: there is no function {name}")
            continue
        lines = found[path, name]
        missing = sum(counts.count(0) for _, counts, _ in lines)
        branches += sum(len(counts) for _, counts, _ in lines)
        taken += sum(len(counts) for _, counts, _ in lines) - missing
        if missing == expected:
            continue
        problems += 1
        print(f"  {path}: {name}: {missing} branches never taken, and not {expected}")
        for number, counts, text in lines:
            if 0 in counts:
                print(f"    {number}: {counts.count(0)} of {len(counts)}: {text}")
    print(f"branches of the {functions} judging functions: {taken} taken of {branches}, {unreachable} unreachable")
    return problems


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sources = list(read_counts(os.path.abspath(sys.argv[1])))
    print_lines(sources)
    if print_judging(sources) != 0:
        sys.exit(1)


main()
