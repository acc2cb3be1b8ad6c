#!/usr/bin/env python3
"""Holds the pages against what they speak of: check_pages.py code|links|names|failures|oddities, from the top folder."""
import glob
import os
import re
import sys

PAGES = [page for page in glob.glob("**/*.md", recursive=True) if not page.startswith("build")]
FENCED = re.compile(r"^```(\w*)\n(.*?)^```", re.MULTILINE | re.DOTALL)


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def words(code, language):
    """Code without its layout and comments, which a page may choose for itself."""
    return re.sub(r"\s+", "", re.sub(r"#.*" if language == "cmake" else r"(?<![:\"])//.*|/\*.*?\*/", "", code))


def code():
    """Every block of code on a page is part of one source that is built. Blank lines and remarks with "..." leave something out."""
    sources = {}
    for language, names in {"cpp": ("*.cpp", "*.h"), "cmake": ("CMakeLists.txt",)}.items():
        paths = [path for folder in ("examples", "tests") for name in names for path in glob.glob(f"{folder}/**/{name}", recursive=True)]
        sources[language] = [words(read(path), language) for path in paths]
    for page in sorted(PAGES):
        for language, block in FENCED.findall(read(page)):
            pieces = [words(piece, language) for piece in re.split(r"\n\s*\n|^\s*(?://|#) \.\.\..*$", block, flags=re.MULTILINE)]
            if language in sources and not any(all(piece in source for piece in pieces) for source in sources[language]):
                yield f"{page}: no example and no test has this code:\n{block}"


def anchor(heading):
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


def links():
    """Every relative link leads somewhere."""
    for page in sorted(PAGES):
        text = re.sub(r"`[^`\n]*`", "", FENCED.sub("", read(page)))
        for link in re.findall(r"\]\(([^)\s]+)\)", text):
            if "://" in link or link.startswith("mailto:") or page == "docs/reference/mainpage.md" and link.endswith(".html"):
                continue
            path, _, place = link.partition("#")
            target = os.path.normpath(os.path.join(os.path.dirname(page), path)) if path else page
            if not os.path.exists(target):
                yield f"{page}: there is no {link}"
            elif place and place not in map(anchor, re.findall(r"^#+ (.*)", read(target), re.MULTILINE)):
                yield f"{page}: {target} has no heading for #{place}"


def names():
    """What the tables of equivalents call ours is declared somewhere, so that a name that changes changes there, too."""
    known = set()
    for path in (path for folder in ("platform", "ews") for end in ("h", "inc") for path in glob.glob(f"{folder}/**/*.{end}", recursive=True)):
        text = read(path)
        known.update(re.findall(r"\w+", text))
        known.update(prefix + name for prefix, name in re.findall(r"VQ_TEXT\((\w+), (\w+)\)", text))
    for page in sorted(glob.glob("docs/guide/from-*.md")):
        rows = re.findall(r"^\| (?!---|.*\| here \|$)(.*) \|$", read(page), re.MULTILINE)
        ours = [word for row in rows for code in re.findall(r"`([^`]*)`", re.split(r"(?<!\\) \| ", row)[-1])
                for word in re.findall(r"\b[A-Z]\w*(?=\(|<)|\b(?:T|I|E)Vq\w+|\bE?FLD_\w+|\b(?:dfin|dt|so|smioc|ra|sff|msgflg|sc)[A-Z]?\w+\b(?!\()", re.sub(r'"[^"]*"', "", code))]
        yield from (f"{page}: nothing is called {word}" for word in sorted(set(ours)) if word not in known)
        if len(ours) < 50:
            yield f"{page}: only {len(ours)} names were found to look for"


def failures():
    """Every class of exceptions and every transport number has its line, and every class with a line is there."""
    headers = [path for folder in ("platform", "ews") for path in glob.glob(folder + "/**/*.h", recursive=True) if not path.endswith("_p.h")]
    declared = {name for path in headers for name in re.findall(r"^class (E\w+|EVqServerBusy)\b[^;]*\{", read(path), re.MULTILINE)}
    page = read("docs/errors.md")
    told = {name for line in re.findall(r"^\| `(.*?)\|", page, re.MULTILINE) for name in re.findall(r"\bE[A-Z]\w+", line)}
    numbers = re.findall(r"^  VqErr\w+ = (\d+)", read("platform/http/uVqHTTPTypes.h"), re.MULTILINE)
    lines = ", ".join(re.findall(r"^\| ([\d, ]+) \|", page, re.MULTILINE)).split(", ")
    yield from (f"docs/errors.md does not tell of the number {number}" for number in numbers if number not in lines)
    yield from (f"docs/errors.md does not tell of {name}" for name in sorted(declared - told))
    yield from (f"docs/errors.md tells of {name}, which no public header declares" for name in sorted(told - declared))
    yield from reasons(headers)


def reasons(headers):
    """Every class of exceptions, or one that it derives from, is told to be a server's or not, so that tests with servers that fail know it."""
    page = "tests/support/ServerFailures.h"
    judged = {name for names in re.findall(r"return IsOneOf<([^>]*)>", read(page)) for name in re.findall(r"\w+", names)}
    bases = {}
    for path in headers:
        for name, base in re.findall(r"^class (E\w+)\s*(?:final )?:\s*public (\w+)", read(path), re.MULTILINE):
            bases[name] = base
    for name in sorted(bases):
        lineage = [name]
        while lineage[-1] in bases:
            lineage.append(bases[lineage[-1]])
        if name != "EVqException" and not judged.intersection(lineage):
            yield f"{page} does not tell whether a server can be the reason of {name}"


def oddities():
    """Every oddity has its file and its tests, and every file that says that something is meant has an oddity on the page."""
    page = "docs/oddities.md"
    tests = {".".join(names) for path in glob.glob("tests/**/*.cpp", recursive=True) for names in re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", read(path), re.MULTILINE)}
    told = set()
    for row in re.findall(r"^\| (?!What \||-)(.*) \|$", read(page), re.MULTILINE):
        cells = row.split(" | ")
        if len(cells) != 4 or not all(cells):
            yield f"{page}: not what, why, where and test: {row}"
            continue
        paths, names = (re.findall(r"`([^`]+)`", cell) for cell in cells[2:])
        told.update(paths)
        yield from (f"{page}: there is no {path}" for path in paths if not os.path.exists(path))
        yield from (f"{page}: there is no test {name}" for name in names if name not in tests)
        if not paths or not names:
            yield f"{page}: without a place or a test: {row}"
    for path in sorted(path for folder in ("ews", "platform") for end in ("h", "cpp", "inc") for path in glob.glob(f"{folder}/**/*.{end}", recursive=True)):
        if re.search(r"\bmeant so\b|\bon purpose\b", read(path), re.IGNORECASE) and path not in told:
            yield f"{page} does not tell of what {path} says is meant"


found = list({"code": code, "links": links, "names": names, "failures": failures, "oddities": oddities}[sys.argv[1]]())
print("\n".join(found) or f"{len(PAGES)} pages looked through.")
sys.exit(bool(found))
