#!/usr/bin/env python3
"""Input filter for doxygen: relative links of our pages that lead out of the reference, to where they are in it.

A source below examples/ has a page of its own; any other file or folder of the repository stays as a name.
"""
import os
import re
import sys

FENCE = re.compile(r"^ *```")
LINK = re.compile(r"\[([^\]]*)\]\(([^)\s]+)\)")


def target(text, link, page):
    if "://" in link or link.startswith("#") or link.split("#")[0].endswith((".md", ".html")):
        return f"[{text}]({link})"
    path = os.path.normpath(os.path.join(os.path.dirname(page), link))
    if path.startswith("examples/") and path.endswith(".cpp"):
        return f"[{text}]({os.path.basename(path)[:-4]}_8cpp-example.html)"
    index = os.path.join(path, "README.md")
    if os.path.exists(index) and path.startswith("docs/"):
        return f"[{text}]({os.path.relpath(index, os.path.dirname(page))})"
    return text


def filtered(page):
    code = False
    for line in open(page, encoding="utf-8"):
        code ^= bool(FENCE.match(line))
        yield line if code else LINK.sub(lambda found: target(found[1], found[2], page), line)


sys.stdout.write("".join(filtered(os.path.relpath(sys.argv[1]))))
