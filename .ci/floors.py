#!/usr/bin/env python3
"""Holds the sources to the floors of docs/architecture.md and the rooms of docs/simulated_card.md: a file includes
only from its own folder and from those below it, no two units (a source with its header) include each other in a
circle, and no folder holds more than 18 of them. Prints what breaks that; the status is 1 then."""
import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent / "platforms/common"
UNITS_MAX = 18
# From the ground up.
HOUSES = {
    "drivers/kelvane/lib/src": ["core", "card", "mbox", "firmware_log", "device", "provisioning", "monitoring", "dap",
                                "background", "lifecycle"],
    "drivers/kelvane": ["control", "kelvaned", "kelvanectl"],
    "drivers/kelvane/card_simulator": ["bus", "state", "logs", "commands", "firmware", "console", "process"],
}
# Log, mutex and handle know each other: core/trace/trace.h says how that ends.
ACCEPTED_CIRCLE = {"core/handle", "core/mutex", "core/trace/file", "core/trace/levels", "core/trace/trace"}


def unit_of(path):
    return str(path.with_suffix(""))


def includes_of(house):
    """By unit, the units of the house that its source and header include."""
    found = {}
    for path in sorted(house.rglob("*.h")) + sorted(house.rglob("*.cpp")):
        unit = found.setdefault(unit_of(path.relative_to(house)), set())
        for name in re.findall(r'^#include "([^"]+)"', path.read_text(), re.M):
            name = name.removeprefix(house.name + "/")
            if (house / name).exists():
                unit.add(unit_of(pathlib.PurePath(name)))
        unit.discard(unit_of(path.relative_to(house)))
    return found


def reachable(includes, start):
    seen, next_ones = set(), [start]
    while next_ones:
        for unit in includes.get(next_ones.pop(), ()):
            if unit not in seen:
                seen.add(unit)
                next_ones.append(unit)
    return seen


def main():
    broken = []
    for name, floors in HOUSES.items():
        includes = includes_of(TOP / name)
        height = {unit: floors.index(unit.split("/")[0]) for unit in includes if unit.split("/")[0] in floors}
        for unit, others in includes.items():
            broken += [f"{name}: {unit} includes {other}, which stands above it" for other in others
                       if unit in height and height.get(other, 0) > height[unit]]
        circle = {unit for unit in height if unit in reachable(includes, unit)}
        broken += [f"{name}: {unit} is in a circle of includes" for unit in sorted(circle - ACCEPTED_CIRCLE)]
    for folder in {path.parent for path in TOP.rglob("*") if path.suffix in (".cpp", ".h")}:
        units = {path.stem for path in folder.iterdir() if path.suffix in (".cpp", ".h")}
        if len(units) > UNITS_MAX:
            broken.append(f"{folder.relative_to(TOP)}: {len(units)} units, {UNITS_MAX} at most")
    print("\n".join(broken) or "every file stands on its floor")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
