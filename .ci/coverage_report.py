#!/usr/bin/env python3
# Prints which branches of the functions that judge input the suite does not take.
#
# BUILD was made with --coverage and has run the suite. The functions stand by name in
# judging_functions.txt, with the number of branches that cannot be taken, if there are any. The status is 1 when
# one of them has another number of branches that were never taken, or does not exist.

import json
import pathlib
import re
import subprocess
import sys
from collections import Counter, defaultdict

HERE = pathlib.Path(__file__).resolve().parent
LIBRARY = HERE.parent / "platforms/common/drivers/kelvane/lib/src"

# A trace is written or not by its level's bit. That is one branch a line, and not the function's judgement.
TRACE = re.compile(r"^\s*(return )?(TRACE\w*|SEMAPHORE_PROBLEM)\(")

# A file, a function, and perhaps a number of branches with the reason why they cannot be taken.
ROW = re.compile(r"^(?P<file>[a-z_/]+\.(cpp|h)) +(?P<function>\w+)( +(?P<unreachable>[1-9]) +# \S.*)?$")


def read_counts(build):
    """What gcov says of each source file of the library."""
    notes = sorted(build.glob("**/kelvane_objects.dir/**/*.gcno"))
    if not notes:
        sys.exit(f"coverage_report: nothing in {build} was built with --coverage")
    # In a folder of the build, because paths in the notes are absolute and nothing is written.
    gcov = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-counts", "--branch-probabilities", *notes],
                          cwd=build, capture_output=True, check=False)
    if gcov.returncode != 0:
        sys.exit(f"coverage_report: gcov failed\n{gcov.stderr.decode()[-2000:]}")
    for line in gcov.stdout.splitlines():
        for source in json.loads(line)["files"]:
            path = (build / source["file"]).resolve()
            if path.is_relative_to(LIBRARY):
                yield str(path.relative_to(LIBRARY)), source


def plain_name(demangled):
    """The function's own name; that of the function around it for a lambda."""
    name = re.split(r"[(<\[]", demangled.replace("(anonymous namespace)::", ""))[0]
    return name.split("::")[-1].split()[-1]


def function_of(source, line):
    """Where a line stands; one of several instances of a template is counted for all at once, by its place."""
    functions, name, number = source["functions"], line.get("function_name"), line["line_number"]
    inside = [f for f in functions if f["name"] == name or not name and f["start_line"] <= number <= f["end_line"]]
    return plain_name(max(inside, key=lambda f: f["start_line"])["demangled_name"])


def branches_by_function(sources):
    """For each (file, function): by place its branches' counts and its text."""
    found = defaultdict(dict)
    for path, source in sources:
        text = (LIBRARY / path).read_text(encoding="utf-8").splitlines()
        for function in source["functions"]:
            found[path, plain_name(function["demangled_name"])]  # also one without branches
        for line in source["lines"]:
            counts = [branch["count"] for branch in line["branches"] if not branch["throw"]]
            number = line["line_number"]
            if counts and not TRACE.match(text[number - 1]):
                # A function in a header is counted in each file that has it.
                lines, place = found[path, function_of(source, line)], (number, line.get("function_name"))
                before = lines.get(place, ([0] * len(counts), None))[0]
                lines[place] = [a + b for a, b in zip(before, counts)], text[number - 1].strip()
    return found


def print_judging(sources):
    found = branches_by_function(sources)
    problems, sums = 0, Counter()
    for number, row in enumerate((HERE / "judging_functions.txt").read_text(encoding="utf-8").splitlines(), 1):
        if not row or row.startswith("#"):
            continue
        match = ROW.match(row) or sys.exit(f"judging_functions.txt:{number}: not a row")
        path, name, expected = match["file"], match["function"], int(match["unreachable"] or 0)
        if (path, name) not in found:
            problems += 1
            print(f"  {path}: there is no function {name}")
            continue
        branches = [count for counts, _ in found[path, name].values() for count in counts]
        missing = branches.count(0)
        sums.update(functions=1, taken=len(branches) - missing, branches=len(branches), unreachable=expected)
        if missing != expected:
            problems += 1
            print(f"  {path}: {name}: {missing} branches never taken, and not {expected}")
            for (at, _), (counts, text) in found[path, name].items():
                if 0 in counts:
                    print(f"    {at}: {counts.count(0)} of {len(counts)}: {text}")
    print("branches of the {functions} judging functions: {taken} taken of {branches}, {unreachable} unreachable"
          .format_map(sums))
    return problems


if len(sys.argv) != 2:
    sys.exit("usage: coverage_report.py BUILD")
sys.exit(1 if print_judging(read_counts(pathlib.Path(sys.argv[1]).resolve())) != 0 else 0)
