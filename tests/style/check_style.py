"""Holds the one dialect of the sources that no formatter knows: rulers, names and what is hidden.

usage: check_style.py SOURCE_FOLDER

- A section begins with "// ---- Title", nothing behind the title.
- Constants of a source file of the library are named kLikeThis, types TVqLikeThis or another letter of the table in ARCHITECTURE.md. The simulator is written in
  the field's usual dialect (Types, functions, snake_case members), and so are tests and examples; constants are kLikeThis there, too.
- A header of the library that is not installed hides what it declares, so that the shared library shows public names alone.
- Outside platform/ nothing asks the preprocessor for the operating system: what only one of them has stands in a folder posix/ or win/.

Prints one line an offence and ends with 1 if there are any.
"""

import pathlib
import re
import subprocess
import sys

RULER = re.compile(r"^\s*//+\s*[-=*~]{2,}")
GOOD_RULER = re.compile(r"^\s*// ---- \S.*[^-=*~\s]$")
CONSTANT = re.compile(r"^(?:static |inline )*(?:constexpr|consteval) (?:const )?[^(={;]*?[ *&](\w+)(?:\[\w*\])?(?: =|\{|;)")
TYPE = re.compile(r"^(?:class|struct|enum(?: class)?) (\w+)(?: final)?(?: :| \{|$)")
LIBRARY = ("platform/", "ews/")
INTERNAL_HEADER = re.compile(r"_p\.h$|/internal/.*\.h$")
SYSTEM = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b(?:_WIN32|_WIN64|__MINGW\w+|__linux__|__APPLE__|__unix__)\b")
ROW_WORDS = {"Any", "Unlinked"}  # the tables' rows speak so, and who expands them gives the words a meaning


def offences_of(path, text):
    found = []
    if path.startswith(LIBRARY) and INTERNAL_HEADER.search(path) and "#pragma GCC visibility push(hidden)" not in text:
        found.append(f"{path}: is not installed and does not hide what it declares (#pragma GCC visibility)")
    for number, line in enumerate(text.splitlines(), 1):
        if RULER.match(line) and not GOOD_RULER.match(line):
            found.append(f"{path}:{number}: a ruler is \"// ---- Title\"")
        if SYSTEM.match(line) and not path.startswith("platform/"):
            found.append(f"{path}:{number}: a folder posix/ or win/ keeps systems apart, not a condition")
        if not path.endswith(".cpp"):
            continue
        constant = CONSTANT.match(line)
        if constant and constant[1] not in ROW_WORDS and not re.match(r"k[A-Z0-9]|[A-Z0-9]+(_|$)|Vq|Ews|Family", constant[1]):
            found.append(f"{path}:{number}: the constant {constant[1]} is to be named kLikeThis")
        kind = TYPE.match(line)
        if kind and path.startswith(LIBRARY) and not re.match(r"[TIEPV][A-Z]|Vq", kind[1]):
            found.append(f"{path}:{number}: the type {kind[1]} is to be named TVqLikeThis")
    return found


def main():
    root = pathlib.Path(sys.argv[1])
    files = subprocess.run(["git", "ls-files", "*.h", "*.cpp"], cwd=root, check=True, capture_output=True, text=True).stdout.split()
    found = [offence for path in files for offence in offences_of(path, (root / path).read_text(encoding="utf-8"))]
    print("\n".join(found))
    return 1 if found or not files else 0


if __name__ == "__main__":
    sys.exit(main())
