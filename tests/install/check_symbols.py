#!/usr/bin/env python3
"""check_symbols.py SHARED STATIC SOURCE: what the shared library shows, held against the static one and the headers."""
import glob
import re
import subprocess
import sys

shared, static, source = sys.argv[1:]
GIVES_INTERNAL = re.compile(r"::(ClientKind|NameIndex)\(\) const$")


def symbols(*command):
    """Symbols with a definition: the demangled name by the mangled one."""
    names = [line.split()[-1] for line in subprocess.check_output(["nm", *command], text=True).splitlines() if re.match(r"[0-9a-f]* *[A-Za-z] ", line[17:] or line)]
    plain = subprocess.check_output(["c++filt"], input="\n".join(names), text=True).splitlines()
    return dict(zip(names, plain))


def declared(public):
    """The classes and structs that headers declare: those that are installed, or the others."""
    classes = set()
    for path in glob.glob(source + "/platform/**/*.h", recursive=True) + glob.glob(source + "/ews/**/*.h", recursive=True):
        if public != (path.endswith("_p.h") or "/internal/" in path):
            with open(path, encoding="utf-8") as file:
                classes.update(re.findall(r"^(?:class|struct) (?:\[\[.*?\]\] )?(\w+)(?: final)?(?: :[^;]*)? \{", file.read(), re.MULTILINE))
    return classes


shown = symbols("-D", "--defined-only", shared)
whole = symbols("--defined-only", "--extern-only", static)
problems = []
if len(shown) < 1000:
    problems.append(f"only {len(shown)} symbols are shown")
for mangled, name in shown.items():
    if not re.match(r"_Z(N|NK|NO|NR|NKR|T[VISTCchv].*N|ZN|ZNK|GVZ?NK?)K?7velmore|_ZNKSt4hashIN7velmore", mangled):
        problems.append(f"not of the namespace velmore: {name}")
    elif re.search(r"\b(pugi|nlohmann|boost|hwy)::", re.sub(r"\(.*", "", name)):
        problems.append(f"of another library: {name}")

public, internal = declared(True), declared(False)
owner = re.compile(r"^velmore::(\w+)::")
for mangled, name in shown.items():
    of = owner.match(name)
    if of and of[1] in internal - public:
        problems.append(f"of a class that no installed header declares: {name}")
for mangled, name in whole.items():
    of = owner.match(name)
    # What takes or gives an internal class can be called by nobody outside; the name does not tell what is given.
    if of and of[1] in public and re.match(r"_ZNK?7velmore", mangled) and mangled not in shown and not internal.intersection(re.findall(r"\w+", name)) and not GIVES_INTERNAL.search(name):
        problems.append(f"of a public class, and hidden: {name}")

for problem in sorted(set(problems))[:40]:
    print(problem)
print(f"{len(shown)} symbols shown of {len(whole)}; {len(public)} public classes, {len(internal)} others; {len(set(problems))} problems")
soname = re.search(r"SONAME.*\[(.*)\]", subprocess.check_output(["readelf", "-d", shared], text=True))
if not soname or not re.fullmatch(r"libvelmore-ews\.so\.\d+\.\d+", soname[1]):
    sys.exit("the shared library has no name of its own with its version")
sys.exit(1 if problems else 0)
