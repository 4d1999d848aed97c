#!/usr/bin/env python3
"""check_rooms.py TOP: docs/architecture.md tells the truth about the tree.

Every #include "..." stays in its room or follows an arrow of the table of rooms; every arrow of the table is used, and
none leads back. Every test folder, fuzz target and benchmark stands in the table of proofs, and every path that the map
names is there.
"""
import os
import pathlib
import re
import sys

top = pathlib.Path(sys.argv[1])
text = (top / "docs/architecture.md").read_text()
SOURCES = {".c", ".cpp", ".h"}
SEARCHED = ("", "include", "tools/qlip")  # besides the includer's own folder
faults = []


def rows(section):
    """The cells of a section's table, each as its words in backquotes."""
    body = re.search(rf"^## {section}\n(.*?)(?=^## |\Z)", text, re.M | re.S).group(1)
    lines = [line for line in body.splitlines() if line.startswith("| `")]
    return [[re.findall(r"`([^`]+)`", cell) or cell.split() for cell in line.strip("| ").split(" |")] for line in lines]


def source_files():
    for folder, inner, names in os.walk(top):
        inner[:] = [name for name in inner if name not in ("build", "out") and not name.startswith(".")]
        for name in names:
            path = pathlib.Path(folder, name)
            if path.suffix in SOURCES:
                yield path.relative_to(top)


def room_of(path):
    """The row that names the file's folder, or the nearest one above it."""
    return next((str(folder) for folder in path.parents if str(folder) in arrows), None)


def target_of(path, name):
    for folder in (path.parent, *map(pathlib.Path, SEARCHED)):
        found = pathlib.Path(os.path.normpath(folder / name))
        if (top / found).is_file():
            return found
    return None


def rest_of(row):
    return row[2] if len(row) > 2 else []


arrows = {row[0][0]: set(rest_of(row)) for row in rows("Rooms")}
files = sorted(source_files())
used = {room: set() for room in arrows}
inhabited = set()
for path in files:
    room = room_of(path)
    inhabited.add(room)
    if room is None:
        faults.append(f"{path}: its folder is in no room")
        continue
    for name in re.findall(r'^\s*#\s*include\s*"([^"]+)"', (top / path).read_text(), re.M):
        target = target_of(path, name)
        if target is None:
            faults.append(f"{path}: where is {name}?")
            continue
        other = room_of(target)
        if other == room or "everything" in arrows[room]:
            continue
        used[room].add(other)
        if other not in arrows[room]:
            faults.append(f'{path}: includes "{name}", but no arrow leads from {room} to {other}')

for room, allowed in arrows.items():
    if room not in inhabited:
        faults.append(f"room {room} is empty")
    for other in sorted(allowed - used[room] - {"everything"}):
        faults.append(f"room {room}: nothing in it includes {other} any more")

done = set()
while len(done) < len(arrows):
    ready = {room for room in arrows if room not in done and arrows[room] <= done | {"everything"}}
    if not ready:
        faults.append("arrows lead in a circle through " + ", ".join(sorted(arrows.keys() - done)))
        break
    done |= ready

named = {"tests": set(), "fuzz": set(), "bench": set()}
for row in rows("What proves which room"):
    cells = row + [[]] * (4 - len(row))
    for room in cells[0]:
        if room not in arrows:
            faults.append(f"{room} has proofs and is no room")
    named["tests"].update(cells[1])
    named["fuzz"].update(cells[2])
    named["bench"].update(cells[3])
there = {
    "tests": {str(path.parent) for path in files if path.parts[0] == "tests" and path.stem.endswith("_test")}
    | {str(path.parent.relative_to(top)) for path in top.glob("tests/*/test_*.py")},
    "fuzz": {path.stem for path in files if path.parts[0] == "fuzz" and "LLVMFuzzerTestOneInput" in (top / path).read_text()},
    "bench": {path.stem for path in files if path.parts[0] == "bench" and path.stem.endswith(("_bench", "_once"))},
}
for kind, names in there.items():
    for name in sorted(names - named[kind]):
        faults.append(f"{kind}: {name} proves no room of the map")
    for name in sorted(named[kind] - names):
        faults.append(f"{kind}: the map names {name}, which is not there")

for name in re.findall(r"`([\w./]+/[\w.]*)`", text):
    if not (top / name).exists():
        faults.append(f"the map names {name}, which is not there")

if faults:
    sys.exit("\n".join(["docs/architecture.md and the tree differ:", *faults]))
print(f"{len(files)} files in {len(arrows)} rooms")
