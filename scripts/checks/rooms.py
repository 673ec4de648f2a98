"""Holds the #include lines of sources to the table of rooms in a Markdown page.

    rooms.py PAGE     takes the names of the sources, each ended by a zero byte, from standard input

The table begins at "| floor | room |". A row names its floor, its room, what it holds (patterns in backticks, then a
colon), and the rooms that it knows: those whose headers it includes. "all below" are all on lower floors. A floor is one
above the highest of those that it knows, so that no arrow can lead upward and no circle can close.
"""

import fnmatch
import functools
import itertools
import os
import re
import sys
from pathlib import Path


class Room:
    def __init__(self, row):
        floor, self.name, holds, knows = (cell.strip() for cell in row.strip().strip("|").split("|"))
        self.floor = int(floor)
        patterns = itertools.chain(*map(expanded, re.findall(r"`([^`]*)`", holds.partition(": ")[0])))
        self.patterns = [pattern + "**" if pattern.endswith("/") else pattern for pattern in patterns]
        self.knows = knows.split(", ") if knows != "-" else []

    def holds(self, path):
        return any(re.fullmatch(matching(pattern), path) for pattern in self.patterns)


def expanded(pattern):
    """The patterns that one with alternatives in braces stands for."""
    braces = re.search(r"\{([^{}]*)\}", pattern)
    if not braces:
        return [pattern]
    return [full for choice in braces[1].split(",")
            for full in expanded(pattern[:braces.start()] + choice + pattern[braces.end():])]


@functools.cache
def matching(pattern):
    """As a regular expression: * stands for any text without a slash, ** for any text."""
    return re.escape(pattern).replace(r"\*\*", ".*").replace(r"\*", "[^/]*")


def rooms_of(page):
    rows = re.search(r"^\| floor \| room \|.*\n\|[-|]+\n((?:\|.*\n)+)", page.read_text(), re.MULTILINE)
    rooms = {room.name: room for room in map(Room, rows[1].splitlines())}
    for room in rooms.values():
        if room.knows == ["all below"]:
            room.knows = [other.name for other in rooms.values() if other.floor < room.floor]
    return rooms


def faults_of_table(rooms):
    for room in rooms.values():
        for name in room.knows:
            if name not in rooms:
                yield f"{room.name} knows {name}, which is no room"
            elif rooms[name].floor >= room.floor:
                yield f"{room.name} on floor {room.floor} knows {name} on floor {rooms[name].floor}: an arrow upward"
        right = 1 + max((rooms[name].floor for name in room.knows if name in rooms), default=-1)
        if room.floor > right:
            yield f"{room.name} is on floor {room.floor}, but what it knows lets it stand on floor {right}"


def includes_of(source):
    """The project's files that a source includes, with their lines."""
    for number, line in enumerate(Path(source).read_text().splitlines(), 1):
        include = re.match(r'\s*#\s*include\s*["<]([^">]+)[">]', line)
        for folder in ("", os.path.dirname(source)) if include else ():
            path = os.path.normpath(os.path.join(folder, include[1]))
            if os.path.isfile(path):
                yield number, path
                break


def faults_of_sources(rooms, sources, arrows):
    room_of = {}
    for source in sources:
        owners = [room.name for room in rooms.values() if room.holds(source)]
        if len(owners) != 1:
            yield f"{source} belongs to {' and to '.join(owners) or 'no room'}"
        else:
            room_of[source] = owners[0]
    for source, room in room_of.items():
        for number, path in includes_of(source):
            other = room_of.get(path, room)
            if other == room:
                continue
            arrows.add((room, other))
            if other not in rooms[room].knows:
                below = rooms[other].floor < rooms[room].floor
                why = "which it does not know" if below else f"which is on floor {rooms[other].floor}"
                yield f"{source}:{number}: {room} on floor {rooms[room].floor} includes {path} of {other}, {why}"


def faults_of_tests(sources):
    """A test bears its source's name and lies below tests/ where that lies."""
    folders = {}
    for source in sources:
        folder, name = os.path.split(source)
        folders.setdefault(os.path.splitext(name)[0], set()).add(folder)
    for source in sources:
        test = re.fullmatch(r"tests/(.+)/(\w+)Test\.cpp", source)
        if not test:
            continue
        if not os.path.isdir(test[1]):
            yield f"{source}: there is no folder {test[1]}"
        elif test[2] in folders and test[1] not in folders[test[2]]:
            yield f"{source}: {test[2]} lies in {' and '.join(sorted(folders[test[2]]))}"


rooms = rooms_of(Path(sys.argv[1]))
sources = [name for name in sys.stdin.read().split("\0") if os.path.isfile(name)]
arrows = set()
faults = [*faults_of_table(rooms), *faults_of_sources(rooms, sources, arrows), *faults_of_tests(sources)]
for room in rooms.values():
    for name in room.knows:
        if room.name != "tests" and (room.name, name) not in arrows:
            faults.append(f"{room.name} knows {name} by the table, but includes nothing of it")
print("\n".join(faults) or f"== {len(sources)} sources in {len(rooms)} rooms on {max(r.floor for r in rooms.values()) + 1} "
      f"floors, {len(arrows)} arrows between them, none upward")
sys.exit(1 if faults else 0)
