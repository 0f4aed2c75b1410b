#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that includes run down the floors that docs/ARCHITECTURE.md lists.

Usage: floors.py REPOSITORY

The page holds fenced blocks that begin with "```floors". Each line is one floor, the ground first: a name, a colon and
patterns of files; a pattern after "!" takes files out again. A file may include files of lower floors of its block, and
files of its own floor as long as no circle results. A block that stands on floors of other blocks names them in a line
"on: name, name"; of those blocks its files may include nothing else. Every source file of the checked folders stands
on exactly one floor, and every pattern fits at least one file.
"""
import fnmatch
import os
import re
import sys
from typing import NamedTuple

CHECKED = ("include", "support", "src", "tools", "sim")
SEARCHED = (".", "include", "src", "tools", "sim")  # where an include is looked up after the folder of its own file
SOURCE = re.compile(r"\.(c|h|cpp|hpp|def)$")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')
PAGE = "docs/ARCHITECTURE.md"


class Floor(NamedTuple):
    name: str
    patterns: list
    block: int
    stands_on: list  # names of floors of other blocks

    def holds(self, file):
        wanted = [p for p in self.patterns if not p.startswith("!")]
        unwanted = [p[1:] for p in self.patterns if p.startswith("!")]
        return any(fnmatch.fnmatch(file, p) for p in wanted) and not any(fnmatch.fnmatch(file, p) for p in unwanted)


def read_floors(page):
    """The floors of all blocks in order."""
    floors, inside, block, stands_on = [], False, 0, []
    for line in page.splitlines():
        if line.startswith("```"):
            inside = line == "```floors"
            block, stands_on = block + inside, []
        elif inside and line.strip():
            name, rest = line.split(":", 1)
            if name == "on":
                stands_on = [other.strip() for other in rest.split(",")]
            else:
                floors.append(Floor(name.strip(), rest.split(), block, stands_on))
    return floors


def source_files(root):
    for top in CHECKED:
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                if SOURCE.search(name):
                    yield os.path.relpath(os.path.join(folder, name), root)


def includes(root, file):
    """(line number, file) of every include of a checked file; others are the system's."""
    with open(os.path.join(root, file), encoding="utf-8") as text:
        for number, line in enumerate(text, 1):
            if match := INCLUDE.match(line):
                for folder in (os.path.dirname(file), *SEARCHED):
                    path = os.path.normpath(os.path.join(folder, match[1]))
                    if os.path.exists(os.path.join(root, path)):
                        yield number, path
                        break


def circle(arrows):
    """A list of files each of which includes the next and the last the first; empty when there is none."""
    finished = set()

    def visit(file, way):
        if file in way:
            return way[way.index(file):]
        if file in finished:
            return []
        for target in arrows[file]:
            if found := visit(target, way + [file]):
                return found
        finished.add(file)
        return []

    return next((found for file in arrows if (found := visit(file, []))), [])


def faults(root):
    with open(os.path.join(root, PAGE), encoding="utf-8") as page:
        floors = read_floors(page.read())
    files = list(source_files(root))
    level = {}
    for file in files:
        found = [at for at, floor in enumerate(floors) if floor.holds(file)]
        if len(found) != 1:
            yield f"{file}: stands on {len(found)} floors of {PAGE}"
        level[file] = found[0] if found else None
    names = [floor.name for floor in floors]
    for floor in floors:
        for pattern in floor.patterns:
            if not fnmatch.filter(files, pattern.lstrip("!")):
                yield f"{PAGE}: {pattern} of the floor '{floor.name}' fits no file"
    for name in sorted({name for floor in floors for name in floor.stands_on} - set(names)):
        yield f"{PAGE}: there is no floor '{name}' to stand on"
    arrows = {file: [] for file in files}
    for file in files:
        for number, target in includes(root, file):
            if level.get(file) is None or level.get(target) is None:
                continue
            arrows[file].append(target)
            own, other = floors[level[file]], floors[level[target]]
            if own.block != other.block and other.name not in own.stands_on:
                yield f"{file}:{number}: '{own.name}' does not stand on '{other.name}' and includes {target}"
            elif own.block == other.block and level[target] > level[file]:
                yield f"{file}:{number}: '{own.name}' includes {target} of the higher floor '{other.name}'"
    if way := circle(arrows):
        yield "includes run in a circle: " + " -> ".join(way + way[:1])


if __name__ == "__main__":
    found = list(faults(sys.argv[1]))
    print("\n".join(found) or "all includes run down")
    sys.exit(1 if found else 0)
