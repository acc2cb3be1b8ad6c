#!/usr/bin/env python3
"""Says which sources of a test program may be compiled together as one unit.

Reads paths from the standard input, one a line, and writes a line "<batch> <path>" for each. What a source declares for itself (in its
anonymous namespace, or as a macro) must not be spoken of by another of its batch, nor by the headers of the tests that the other includes.
More is kept apart than has to be: a name too many costs a batch, a name missed costs a build that fails.
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
# Compiling eight files together takes a third of the time; more of them gain little and cost memory.
LINES = 2600

# Members of something and what is fully named are nobody else's.
WORD = re.compile(r"(?<![\w.>:])[A-Za-z_]\w*|(?<=[^-]>)[A-Za-z_]\w*|(?<=[^:]:)[A-Za-z_]\w*")
DIRECTIVE = re.compile(r"^using namespace (?!std::(?:\w+::)*\w*literals)(.*);", re.M)
NAMESPACE = re.compile(r"^namespace ([\w:]+) \{", re.M)
TYPE = re.compile(r"^(?:class|struct|union|enum(?: class| struct)?|using|namespace|typedef)\s+(?:\[\[.*?\]\]\s*)?(\w+)(?!\w|::)")
# A name before what begins its parameters, its value, its extents or ends it.
DECLARATOR = re.compile(r"(\w+)(?=\s*[({\[=;])")
MACRO = re.compile(r"^\s*#\s*define\s+(\w+)", re.M)
UNDEFINED = re.compile(r"^\s*#\s*undef\s+(\w+)", re.M)
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)
# Namespaces that everybody opens, and what is no name.
SHARED = {"velmore", "testing", "simulator", "std", "namespace", "struct", "class", "static_assert", "template", "requires"}


def code_of(text):
    """The text without comments and the contents of its literals."""
    return re.sub(r'R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|//[^\n]*|/\*.*?\*/', '""', text, flags=re.S)


def included(path, text):
    """What the text includes of the tests' own headers and of tables; other headers stand in namespaces that no test adds to."""
    for name in INCLUDE.findall(text):
        for folder in (path.parent, ROOT):
            file = folder / name
            if file.is_file():
                if "tests" in file.parts or file.suffix == ".inc":
                    yield file.resolve()
                break


class File:
    """What one file says: a source, or a header of the tests."""

    read = {}

    def __init__(self, path):
        text = path.read_text(encoding="utf-8")
        code = code_of(text)
        self.lines = text.count("\n")
        self.words = set(WORD.findall(code))
        self.defined, self.undefined = set(MACRO.findall(code)), set(UNDEFINED.findall(code))
        # What changes how the names of others are found.
        self.scopes = set(DIRECTIVE.findall(code)) | set(NAMESPACE.findall(code))
        self.includes = set(included(path, text))
        self.declared = set()
        for line in code.splitlines():
            found = TYPE.match(line)
            if not found and re.match(r"[A-Za-z_\[]", line) and not re.match(r"(?:[A-Z_]+\(|using |extern )", line):
                found = DECLARATOR.search(line)
            if found:
                self.declared.add(found.group(1))
        self.declared -= SHARED

    @classmethod
    def of(cls, path):
        if path not in cls.read:
            cls.read[path] = File(path)
        return cls.read[path]


class Source:
    def __init__(self, path):
        self.path = path
        own = File.of(Path(path))
        self.lines = own.lines
        self.headers, tables, todo = {}, [], list(own.includes)
        while todo:
            file = todo.pop()
            if file.suffix == ".inc":
                tables.append(File.of(file))
            elif file not in self.headers:
                self.headers[file] = File.of(file)
                todo.extend(self.headers[file].includes)
        headers = self.headers.values()
        self.words = own.words.union(*(file.words for file in headers))
        self.scopes = own.scopes.union(*(file.scopes for file in headers))
        self.declared = own.declared | own.defined.difference(own.undefined, *(file.undefined for file in tables))

    def disturbs(self, other):
        """Whether what this source or a header that it alone includes declares is a word of the other."""
        return self.declared & other.words or any(file.declared & other.words for path, file in self.headers.items() if path not in other.headers)

    def bears(self, other):
        return self.scopes == other.scopes and not self.disturbs(other) and not other.disturbs(self)


def batches_of(sources):
    """First fit, in the order of the names: neighbours include the same."""
    batches = []
    for source in sources:
        for batch in batches:
            if sum(s.lines for s in batch) + source.lines <= LINES and all(source.bears(s) for s in batch):
                batch.append(source)
                break
        else:
            batches.append([source])
    return batches


def main():
    sources = [Source(path) for path in sorted(filter(None, sys.stdin.read().split("\n")))]
    for number, batch in enumerate(batches_of(sources)):
        for source in batch:
            print(number, source.path)


if __name__ == "__main__":
    main()
