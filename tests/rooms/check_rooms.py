"""Holds every #include of the product against what its room declares.

usage: check_rooms.py SOURCE_FOLDER ROOMS_FILE

ROOMS_FILE has one line a room, as the build writes it: name, folder, and the rooms that it may include, separated by commas.
Prints one line an offence and ends with 1 if there are any.
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)
SUFFIXES = {".h", ".cpp", ".inc"}


def read_rooms(text):
    rooms = {}
    for line in text.splitlines():
        name, folder, *allowed = line.split()
        rooms[name] = (folder, set(allowed[0].split(",")) if allowed else set())
    return rooms


def room_of(path, rooms):
    """The room with the longest folder that holds the path; none for files outside of all rooms."""
    inside = [(len(folder), name) for name, (folder, _) in rooms.items() if path.startswith(folder + "/")]
    return max(inside)[1] if inside else None


def is_private(path):
    return path.endswith("_p.h")


def is_internal(path):
    return "/internal/" in path


def stem_of(path):
    return pathlib.PurePosixPath(path).stem.removesuffix("_p")


def module_of(path, includes, rooms):
    """The module of a file, as room/name: a source that has no header of its name continues the module that it includes first."""
    room = room_of(path, rooms)
    headers = [h for h in includes if h.endswith(".h") and room_of(h, rooms) == room]
    stem = stem_of(path)
    if path.endswith(".cpp") and stem not in map(stem_of, headers):
        own = [i for i in includes[path] if i in headers]
        stem = stem_of(own[0]) if own else stem
    return f"{room}/{stem}"


def circles(edges):
    """The first circle that is found from each module, as a list of modules."""
    found, done = [], set()

    def walk(module, road):
        if module in road:
            ring = road[road.index(module):]
            first = ring.index(min(ring))
            found.append(ring[first:] + ring[:first + 1])
            return
        if module in done:
            return
        for other in sorted(edges.get(module, ())):
            walk(other, road + [module])
        done.add(module)

    for module in sorted(edges):
        walk(module, [])
    return found


def check(source, rooms):
    source = pathlib.Path(source)
    files = {}
    for folder, _ in rooms.values():
        for file in sorted((source / folder).rglob("*")):
            if file.suffix in SUFFIXES:
                text = file.read_text(encoding="utf-8")
                files[file.relative_to(source).as_posix()] = INCLUDE.findall(text)

    offences = []
    edges = {}
    for path, includes in files.items():
        room = room_of(path, rooms)
        public = path.endswith(".h") and not is_private(path) and not is_internal(path)
        for include in includes:
            if not (source / include).is_file():
                continue  # of another library
            other = room_of(include, rooms)
            if other is None:
                offences.append(f"{path}: includes {include}, which is in no room")
            elif other != room and other not in rooms[room][1]:
                offences.append(f"{path}: the room {room} may not include {include} of the room {other}")
            elif other != room and is_private(include):
                offences.append(f"{path}: {include} is private to the room {other}")
            if public and (is_private(include) or is_internal(include)):
                offences.append(f"{path}: is installed and includes {include}, which is not")
            # A public header of the platform is a face over parts that include it in turn: there headers alone count.
            counts = path.endswith(".h") or not path.startswith("platform/")
            if counts and include.endswith(".h") and other is not None:
                mine, theirs = module_of(path, files, rooms), module_of(include, files, rooms)
                if mine != theirs:
                    edges.setdefault(mine, set()).add(theirs)
    offences += ["a circle of modules: " + " -> ".join(road) for road in circles(edges)]
    return offences


def main():
    source, rooms_file = sys.argv[1:]
    rooms = read_rooms(pathlib.Path(rooms_file).read_text(encoding="utf-8"))
    offences = check(source, rooms)
    for offence in offences:
        print(offence)
    print(f"{len(rooms)} rooms, {len(offences)} offences")
    return 1 if offences or not rooms else 0


if __name__ == "__main__":
    sys.exit(main())
