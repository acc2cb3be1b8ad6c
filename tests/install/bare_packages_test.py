#!/usr/bin/env python3
"""bare_packages_test.py PACKAGES SOURCE WORK CACHE: installs the Debian packages of a folder in a bare Debian 12 as their users would, uses what they bring, and purges them.

apt finds what they depend on by itself. The simulator serves, velmore-mail logs on to it, a program is built with CMake and with pkg-config; behind it all nothing is left.
"""

import glob
import os
import shutil
import sys

from bare_debian import System, run, tried

packages, source, work, cache = sys.argv[1:]
URL = "http://127.0.0.1:8080/EWS/Exchange.asmx"
MAIL = {"VELMORE_MAIL_URL": URL, "VELMORE_MAIL_USER": "ann", "VELMORE_MAIL_PASSWORD": "wonder"}
BY_HAND = "mkdir by-hand && g++ -std=c++20 unread.cpp -o by-hand/unread $(pkg-config --cflags --libs velmore-ews)"
SUBJECT = "From a bare system"


def install(system, debs, *names):
    """With what they depend on and nothing else."""
    system.apt("install", "--no-install-recommends", *(f"/opt/{os.path.basename(debs[name])}" if name in debs else name for name in names))


def use_programs(system, server):
    told = system.run("velmore-mail", "check", variables=MAIL, beside=server)
    assert "ann@example.com" in told, told
    system.run("velmore-mail", "send", "--to", "ann@example.com", "--subject", SUBJECT, "--text", "It works.", variables=MAIL, beside=server)
    listed = system.run("velmore-mail", "list", variables=MAIL, beside=server)
    assert SUBJECT in listed, listed


def build_programs(system, server, soname, unread):
    program = system.root + "/opt/program"
    shutil.copytree(source + "/tests/install/bare", program)
    for file in ("unread.cpp", "unread.h"):
        shutil.copy(source + "/tests/install/consumer/" + file, program)
    system.run("sh", "-c", "cmake -S . -B build && cmake --build build", folder="/opt/program")
    system.run("sh", "-c", BY_HAND, folder="/opt/program")
    for binary, shared in {"build/unread": True, "build/unread_static": False, "by-hand/unread": True}.items():
        linked = system.run("ldd", "/opt/program/" + binary)
        assert (soname in linked) == shared, f"{binary} loads {linked}"
        told = system.run("/opt/program/" + binary, URL, "ann", variables={"UNREAD_PASSWORD": "wonder"}, beside=server)
        assert told == unread, f"{binary} says {told!r}"
    shutil.rmtree(program)


def use(system, debs):
    for deb in debs.values():
        shutil.copy(deb, system.root + "/opt")
    files, there = system.files(), system.packages()
    system.apt_update()
    runtime = next(name for name in debs if name not in ("libvelmore-ews-dev", "velmore-ews-simulator", "velmore-mail"))

    programs = sorted({"velmore-ews-simulator", "velmore-mail"} & set(debs))
    install(system, debs, *programs)
    assert runtime not in programs and system.run("velmore-ews-simulator", "--check", "/usr/share/velmore-ews/samples/users.json")
    server = system.start("velmore-ews-simulator", "--http", "8080", "--no-https", "--users", "ann:ann@example.com:wonder", until="Ready.", user="nobody")
    if "velmore-mail" in debs:  # VELMORE_BUILD_PROGRAMS may be off
        use_programs(system, server)
    install(system, debs, runtime, "libvelmore-ews-dev", "g++", "cmake", "make", "pkg-config")
    build_programs(system, server, "libvelmore-ews.so." + runtime.removeprefix("libvelmore-ews"), SUBJECT + "\n" if "velmore-mail" in debs else "")
    assert system.stop(server) == 0, "the simulator ends in order when it is told to"

    system.apt("purge", *sorted(debs))
    assert not {name for name in system.packages() if "velmore" in name}
    system.apt("purge", "--autoremove", *sorted(system.packages() - there))
    left = system.files() - files
    assert not left, f"left behind: {sorted(left)}"


def trial():
    debs = {run("dpkg-deb", "-f", deb, "Package").strip(): deb for deb in glob.glob(packages + "/*.deb")}
    assert len(debs) >= 3, f"there are no packages in {packages}"
    with System(cache, work) as system:
        use(system, debs)
    print("installed, used and purged:", *sorted(debs))


tried(trial)
