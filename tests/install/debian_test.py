#!/usr/bin/env python3
"""debian_test.py BUILD SOURCE WORK CXX: makes the Debian packages, installs them with dpkg into an empty system, and builds and runs a program there.

The empty system knows, of all packages, only those that ours name as what they depend on: dpkg refuses whatever is missing there. Their files are this machine's, which needs no network.
"""
import glob
import os
import re
import shutil
import subprocess
import sys

build, source, work, compiler = sys.argv[1:]
root = work + "/root"


def run(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


def fields(deb):
    text = run("dpkg-deb", "-f", deb)
    return dict(line.split(": ", 1) for line in text.splitlines() if re.match(r"[\w-]+: ", line))


def names(relation):
    return [re.split(r"[ (|]", part.strip())[0] for part in relation.split(",") if part.strip()]


# ---- Making them

shutil.rmtree(work, ignore_errors=True)
os.makedirs(work)
run("cpack", "-G", "DEB", "-B", work + "/packages", "--config", build + "/CPackConfig.cmake", cwd=work)
debs = {fields(deb)["Package"]: deb for deb in glob.glob(work + "/packages/*.deb")}
runtime = next(name for name in debs if re.fullmatch(r"libvelmore-ews\d+\.\d+", name))
assert set(debs) - {"velmore-mail"} == {runtime, "libvelmore-ews-dev", "velmore-ews-simulator"}, debs

contents = {name: [line.split()[5].lstrip(".") for line in run("dpkg-deb", "-c", deb).splitlines() if not line.startswith("d")] for name, deb in debs.items()}
files = [path for paths in contents.values() for path in paths]
assert len(files) == len(set(files)), "a file stands in two packages"
for name, needed in {
    runtime: [r"/usr/lib/.*libvelmore-ews\.so\.\d+\.\d+\.\d+"],
    "libvelmore-ews-dev": [r"/usr/include/velmore-ews/velmore/ews\.h", r"/usr/include/velmore-ews/ews/VelmoreEWS\.h", r"/usr/lib/.*libvelmore-ews\.so", r"/usr/lib/.*libvelmore-ews\.a",
                           r"/usr/lib/.*pkgconfig/velmore-ews\.pc", r"/usr/lib/.*VelmoreEWSConfig\.cmake", r".*/examples/quickstart\.cpp", r".*/examples/CMakeLists\.txt"],
    "velmore-ews-simulator": [r"/usr/bin/velmore-ews-simulator", r"/usr/share/man/man1/velmore-ews-simulator\.1", r"/usr/include/velmore-ews/velmore/simulator\.h", r".*/samples/.*\.eml",
                              r"/lib/systemd/system/velmore-ews-simulator\.service|/usr/lib/systemd/system/velmore-ews-simulator\.service"],
    "velmore-mail": [r"/usr/bin/velmore-mail", r"/usr/share/man/man1/velmore-mail\.1", r"/usr/share/bash-completion/completions/velmore-mail"],
}.items():
    if name not in debs:
        continue  # VELMORE_BUILD_PROGRAMS is off
    for pattern in needed + [f"/usr/share/doc/{re.escape(name)}/copyright"]:
        assert any(re.fullmatch(pattern, path) for path in contents[name]), f"{name} has no {pattern}"
assert not any(re.search(r"_p\.h$|/internal/", path) for path in files), "headers of the library's own"

# ---- Installing them where there is nothing but what they ask for

depends = {name: names(fields(deb).get("Depends", "")) for name, deb in debs.items()}
assert depends["libvelmore-ews-dev"][0] == runtime
there = open("/var/lib/dpkg/status", encoding="utf-8").read().split("\n\n")
wanted = {name for parts in depends.values() for name in parts} - set(debs)
os.makedirs(root + "/var/lib/dpkg/info")
os.makedirs(root + "/var/lib/dpkg/updates")
stanzas = []
for stanza in there:
    package = re.search(r"^Package: (\S+)", stanza, re.MULTILINE)
    if package and package[1] in wanted:  # as if installed, and asking for nothing themselves
        stanzas.append(re.sub(r"^(Depends|Pre-Depends|Recommends|Suggests|Breaks|Conflicts|Replaces):.*\n", "", stanza, flags=re.MULTILINE))
with open(root + "/var/lib/dpkg/status", "w", encoding="utf-8") as file:
    file.write("\n\n".join(stanzas) + "\n")
run("fakeroot", "dpkg", "--root=" + root, "--log=" + work + "/dpkg.log", "--force-not-root", "--force-script-chrootless", "--force-bad-path", "-i", *debs.values())
for name in debs:
    state = run("dpkg-query", "--admindir=" + root + "/var/lib/dpkg", "-W", "-f=${db:Status-Abbrev}", name)
    assert state.startswith("i"), f"{name}: {state}"

# Every library that the programs load comes from a package that is asked for.
for name, paths in contents.items():
    for path in paths:
        if not re.search(r"/bin/|\.so\.[\d.]+$", path) or os.path.islink(root + path):
            continue
        for library in re.findall(r"NEEDED.*\[(.*)\]", run("readelf", "-d", root + path)):
            if library.startswith("libvelmore-ews"):
                assert runtime in depends[name] or name == runtime, f"{path} loads {library}"
                continue
            places = [os.path.realpath(line.split()[-1]) for line in run("/sbin/ldconfig", "-p").splitlines() if line.split() and line.split()[0] == library]
            owners = {line.split(":")[0] for place in places for line in subprocess.run(["dpkg", "-S", place, place.replace("/usr/lib", "/lib", 1)], text=True, stdout=subprocess.PIPE,
                                                                                      stderr=subprocess.DEVNULL).stdout.splitlines()}
            assert owners & set(depends[name]), f"{path} loads {library} of {owners}, and {name} asks for {depends[name]}"

# ---- Using them

program = work + "/program"
shutil.copytree(source + "/tests/install/consumer", program)
run("cmake", "-S", program, "-B", program + "/build", "-G", "Ninja", "-DCMAKE_CXX_COMPILER=" + compiler, "-DCMAKE_PREFIX_PATH=" + root + "/usr")
run("cmake", "--build", program + "/build")
run(program + "/build/unread_test")
assert "libvelmore-ews.so." in run("readelf", "-d", program + "/build/unread"), "the program links the shared library"
assert "velmore-ews-simulator" in run(root + "/usr/bin/velmore-ews-simulator", "--help")
if "velmore-mail" in debs:
    assert "velmore-mail" in run(root + "/usr/bin/velmore-mail", "--help")
print("packages:", *sorted(os.path.basename(deb) for deb in debs.values()))
