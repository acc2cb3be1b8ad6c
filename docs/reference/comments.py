#!/usr/bin/env python3
"""Input filter for doxygen: tells it in its own words what our comments mean. Keeps the numbers of lines, tables aside.

A comment counts for all declarations below it, down to a blank line or the next comment, and is repeated for each of them. Deleted and
defaulted operations and destructors stay out of the reference: the comment of the class says what a copy costs. What stands in a comment
is text, none of it a command.

Where a header makes declarations of the rows of a table, the declarations stand in their place.
"""
import re
import sys

sys.dont_write_bytecode = True  # the folder is part of the sources
from tables import declarations

COMMENT = re.compile(r"^(\s*)///(?!<)( {5})?(.*)")
UNTOLD = re.compile(r"^\s*(?:(?:virtual |constexpr )*~\w+\(.*(?:;|\{\})|[^()]*\([^()]*\)[\w ]*= (?:default|delete);|using [\w:]+::\w+;)$")
NO_DECLARATION = re.compile(r"^\s*(?:$|#|//|[})]|(?:public|protected|private):|namespace\b|template class\b)")
SCOPE = re.compile(r"^\s*(?:template <.*> ?)?(?:class|struct|enum|union)\b[^;()]*\{$")
OVERRIDES = re.compile(r"[^;{]*\) *(?:const )?(?:noexcept )?(?:override|final)\b")
TABLE = re.compile(r"#include \"(ews/tables/.*\.inc)\"")
FILE = "/// @file"
# Constraints confuse doxygen in front of a constructor.
CONSTRAINT = re.compile(r"^(\s*)requires\s*(?:\([^()]*\)|[\w:]+<[^()\n]*>)(?=\s+\w)", re.MULTILINE)


def as_text(line):
    """Escapes what would be a command or a tag. Code and what stands in quotes is text to doxygen, too."""
    return re.sub(r"(`[^`]*`|\"[^\"]*\")|[\\@<>]", lambda found: found[1] or "\\" + found[0], line)


def depth_of(line):
    line = re.sub(r"\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])'|//.*", "", line)
    return sum(line.count(c) for c in "({[") - sum(line.count(c) for c in ")}]")


def filtered(text, header):
    comment, declared = [], False  # the last comment; whether something below it has taken it
    depth, start = 0, None         # of brackets; where the declaration that is being read began
    macro, forward = False, False  # inside the definition of a row's macro; the rows are only to be declared
    lines = CONSTRAINT.sub(lambda found: found[1] + "\n" * found[0].count("\n"), text).split("\n")
    if lines[0] == "#pragma once" and not lines[1] and lines[2].startswith("///"):
        lines[1] = FILE  # the head of a header is about the file
    for number, line in enumerate(lines):
        if macro or line.startswith(("#define VQ_", "#undef VQ_")):
            forward = line.endswith("class name;")
            macro = line.endswith("\\")
            yield ""
            continue
        table = TABLE.match(line)
        if table:
            yield "" if forward else declarations(table[1], header)
            continue
        if line == FILE:
            yield line
            continue
        told = COMMENT.match(line)
        if told:
            if declared:
                comment, declared = [], False
            if not told[2]:
                comment.append(as_text(told[3].strip()))
                line = f"{told[1]}/// {comment[-1]}"
            yield line
            continue
        untold = UNTOLD.search(line)
        if start is None:
            if NO_DECLARATION.match(line):
                comment = []
            else:
                # What overrides has the words of what it overrides, unless it has its own.
                overrides = OVERRIDES.match("\n".join(lines[number : number + 4]))
                if declared and comment and not (untold or overrides or "///<" in line):
                    line = f"/** {' '.join(comment).replace('*/', '*&#47;')} */ {line}"
                declared, start = True, depth
        depth += depth_of(line)
        if start is not None:
            code = re.sub(r"\s*(?://.*|/\*\*.*?\*/ *)", "", line)
            if depth > start and SCOPE.match(code):
                comment, start = [], None
            elif depth < start or depth == start and code.endswith((";", "}")):
                start = None
        yield "" if untold else line


sys.stdout.write("\n".join(filtered(open(sys.argv[1], encoding="utf-8").read(), sys.argv[1])))
