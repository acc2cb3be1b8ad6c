#!/usr/bin/env python3
"""container_test.py SOURCE WORK CACHE: carries out the simulator's Containerfile step by step in bare Debian systems, starts what it makes as a container would be started, and logs on.

It needs no container engine, and is none: each stage is a System of bare_debian.py, and an instruction that is not known here ends the trial.
"""

import base64
import fnmatch
import json
import os
import re
import shlex
import shutil
import ssl
import subprocess
import sys
import urllib.error
import urllib.request

from bare_debian import System, tried

IMAGES = ("debian:12", "debian:12-slim")


def instructions(text):
    """Pairs of an instruction and what stands behind it."""
    lines = [line for line in text.splitlines() if not line.lstrip().startswith("#")]
    whole = re.sub(r"\\\n", " ", "\n".join(lines))
    return [(line.split(None, 1)[0], line.split(None, 1)[1].strip()) for line in whole.splitlines() if line.strip()]


def ignored(source):
    """What a container engine leaves out of the files that it takes from the folder."""
    with open(source + "/.dockerignore", encoding="utf-8") as file:
        patterns = [line.strip() for line in file if line.strip() and not line.startswith("#")]
    assert not [pattern for pattern in patterns if re.search(r"[!/\[]|\*\*", pattern)], "names alone are understood here"

    def leave_out(folder, names):
        return {name for name in names if os.path.samefile(folder, source) and any(fnmatch.fnmatch(name, pattern) for pattern in patterns)}

    return leave_out


class Image:
    """A stage: its system, and what is to happen when it runs."""

    def __init__(self, system):
        self.system, self.user, self.entry, self.signal, self.folder = system, "root", [], "SIGTERM", "/"

    def take(self, folder, what, where, leave_out=None):
        for name in what:
            origin, target = os.path.join(folder, name.lstrip("/")), self.system.root + where
            if os.path.isdir(origin):
                shutil.copytree(origin, target, ignore=leave_out, symlinks=True, dirs_exist_ok=True)
            else:
                shutil.copy2(origin, target + os.path.basename(name) if where.endswith("/") else target)


def build(source, work, cache):
    """Carries out the Containerfile; the stages by name."""
    with open(source + "/simulator/packaging/Containerfile", encoding="utf-8") as file:
        steps = instructions(file.read())
    stages, image = {}, None
    for name, rest in steps:
        print(f"{name} {rest[:100]}", flush=True)
        if name == "FROM":
            origin, *alias = re.split(r"\s+AS\s+", rest)
            assert origin in IMAGES, f"there is nothing here that stands for {origin}"
            stage = alias[0] if alias else "last"
            image = stages[stage] = Image(System(cache, f"{work}/{stage}"))
        elif name == "RUN":
            image.system.run("/bin/sh", "-c", rest, user=image.user, folder=image.folder, network=True)
        elif name == "COPY":
            words = shlex.split(rest)
            other = next((word.removeprefix("--from=") for word in words if word.startswith("--from=")), None)
            *what, where = [word for word in words if not word.startswith("--from=")]
            image.take(stages[other].system.root if other else source, what, where, None if other else ignored(source))
        elif name == "USER":
            image.user = rest
        elif name == "WORKDIR":
            image.folder = rest
        elif name == "ENTRYPOINT":
            image.entry = json.loads(rest)
        elif name == "STOPSIGNAL":
            assert rest == "SIGTERM", rest
        elif name == "VOLUME":
            image.system.run("test", "-w", rest, user=image.user)
        else:
            assert name == "EXPOSE", f"{name} is not understood here"
    return stages


# ---- What it makes

def log_on(url, password):
    """Asks for the inbox; the status, and whether it was given."""
    body = ('<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" xmlns:m="http://schemas.microsoft.com/exchange/services/2006/messages" '
            'xmlns:t="http://schemas.microsoft.com/exchange/services/2006/types"><s:Body><m:GetFolder><m:FolderShape><t:BaseShape>Default</t:BaseShape></m:FolderShape>'
            '<m:FolderIds><t:DistinguishedFolderId Id="inbox"/></m:FolderIds></m:GetFolder></s:Body></s:Envelope>')
    token = base64.b64encode(f"alice:{password}".encode()).decode()
    request = urllib.request.Request(url, body.encode(), {"Content-Type": "text/xml; charset=utf-8", "Authorization": "Basic " + token})
    try:
        with urllib.request.build_opener(urllib.request.ProxyHandler({}), urllib.request.HTTPSHandler(context=ssl._create_unverified_context())).open(request, timeout=60) as reply:
            return reply.status, "Inbox" in reply.read().decode()
    except urllib.error.HTTPError as failure:
        return failure.code, False


def look(wanted):
    for url in ("http://127.0.0.1:8080/EWS/Exchange.asmx", "https://127.0.0.1:8443/EWS/Exchange.asmx"):
        assert log_on(url, wanted) == (200, True), url
        assert log_on(url, "wrong") == (401, False), url


def serve(image, *arguments):
    process = image.system.start(*image.entry, *arguments, until="Ready.", user=image.user, folder=image.folder)
    image.system.outside(sys.executable, os.path.abspath(__file__), "--look", "wonder", beside=process)
    assert image.system.stop(process) == 0, "it ends in order when the container is stopped"


def trial():
    source, work, cache = sys.argv[1:]
    stages = build(source, work, cache)
    try:
        image = stages["last"]
        assert image.user != "root", "a server needs no rights"
        serve(image, "--users", "alice:alice@example.com:wonder")
        # As the file's first lines tell, with a folder at /data.
        shutil.copy(source + "/simulator/samples/users.json", image.system.root + "/data/organisation.json")
        for _ in range(2):
            serve(image, "--settings", "/data/organisation.json", "--state", "/data/state")
        assert os.path.getsize(image.system.root + "/data/state") > 0
    finally:
        for stage in stages.values():
            stage.system.__exit__()
    print("The container is built, serves, and keeps its mailboxes.")


if sys.argv[1] == "--look":
    look(sys.argv[2])
else:
    tried(trial)
