#!/usr/bin/env python3
"""Checks that files include downwards only.

The floors are the rows of the table "The floors" in docs/architecture.md. A file may include files of
its own folder and of lower floors; folders of one floor do not include each other. Within a folder no
two modules (a header with its source file) depend on each other, directly or in a circle.

With --sketch prints which folder includes which, for people.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TABLE = ROOT / "docs" / "architecture.md"
ROW = re.compile(r"^\| (\d+) \| (.+?) \|")
FOLDER = re.compile(r"`([a-z_/]+)/`")
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
PREFIXES = ("", "include/", "src/")  # where an included name may begin


def read_floors():
    floors = {}
    for line in TABLE.read_text().splitlines():
        row = ROW.match(line)
        if row:
            for folder in FOLDER.findall(row[2]):
                floors[folder] = int(row[1])
    return floors


def folder_of(path, floors):
    """The longest folder of the table that holds the file."""
    parts = path.split("/")[:-1]
    while parts:
        if "/".join(parts) in floors:
            return "/".join(parts)
        parts.pop()
    return None


def module_of(path):
    return path.rsplit(".", 1)[0]


def find_circle(graph):
    """Some circle of a graph as a list of nodes, or None."""
    state = {}
    for start in sorted(graph):
        if start in state:
            continue
        stack = [(start, iter(sorted(graph[start])))]
        state[start] = "open"
        while stack:
            node, rest = stack[-1]
            following = next(rest, None)
            if following is None:
                state[node] = "done"
                stack.pop()
            elif state.get(following) == "open":
                path = [entry for entry, _ in stack]
                return path[path.index(following):] + [following]
            elif following not in state:
                state[following] = "open"
                stack.append((following, iter(sorted(graph.get(following, ())))))
    return None


def main():
    floors = read_floors()
    if not floors:
        sys.exit(f"{TABLE}: no table of floors")
    problems = []
    arrows = {}
    modules = {}
    files = [str(path.relative_to(ROOT)) for top in ("include", "src", "apps")
             for path in sorted((ROOT / top).rglob("*")) if path.suffix in (".h", ".hpp", ".cpp")]
    known = set(files)
    for path in files:
        folder = folder_of(path, floors)
        if folder is None:
            problems.append(f"{path}: its folder is no floor of {TABLE.name}")
            continue
        for name in INCLUDE.findall((ROOT / path).read_text()):
            target = next((prefix + name for prefix in PREFIXES if prefix + name in known), None)
            if target is None:
                problems.append(f"{path}: there is no file {name}")
                continue
            other = folder_of(target, floors)
            if other is None:
                continue
            if other != folder:
                arrows.setdefault(folder, set()).add(other)
                if floors[other] >= floors[folder]:
                    problems.append(f"{path} includes {name}: floor {floors[folder]} "
                                    f"needs floor {floors[other]}")
            if module_of(target) != module_of(path):
                modules.setdefault(module_of(path), set()).add(module_of(target))
    circle = find_circle(modules)
    if circle:
        problems.append("a circle of files: " + " -> ".join(circle))
    if "--sketch" in sys.argv[1:]:
        for folder in sorted(floors, key=lambda name: (floors[name], name)):
            print(f"{floors[folder]:3} {folder}: {' '.join(sorted(arrows.get(folder, ())))}")
        print(f"{len(floors)} folders, {sum(map(len, arrows.values()))} arrows")
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
