"""A bare Debian 12 to try things in, made by debootstrap from the mirror that this machine's apt uses. What was fetched is kept in a folder, so that only the first run takes long.

Commands run there by chroot, in namespaces of their own: mounts, processes and the network end with them, and nothing but loopback is reached unless a command asks for more.
"""

import fcntl
import json
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time

SUITE = "bookworm"
SKIPPED = 77  # the exit code that CTest takes for it
in_use = {}


class Impossible(Exception):
    """This machine cannot make such a system; the text says why."""


def run(*command, **options):
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)
    if done.returncode:
        raise AssertionError(f"{' '.join(command)}: {done.returncode}\n{done.stdout[-4000:]}")
    return done.stdout


def sources():
    """The lines of a sources.list with what this machine's apt knows of Debian 12."""
    if not shutil.which("apt-get"):
        raise Impossible("there is no apt here")
    lines = {}
    targets = run("apt-get", "indextargets", "--format", "$(ORIGIN) $(CODENAME) $(REPO_URI) $(RELEASE) $(COMPONENT)", "Identifier: Packages")
    for line in targets.splitlines():
        origin, codename, *place = line.split()
        if origin == "Debian" and re.fullmatch(SUITE + "(-updates|-security)?", codename) and place[2] == "main":
            lines["deb " + " ".join(place)] = (codename, place[0])
    if SUITE not in {codename for codename, _ in lines.values()}:
        raise Impossible("this machine's apt knows no mirror of Debian 12")
    return lines


def make(cache):
    """The system as debootstrap leaves it, packed; made when it is not there yet."""
    archive = os.path.join(cache, SUITE + ".tar")
    if os.geteuid() != 0:
        raise Impossible("only root may make a system and enter it")
    for tool in ("debootstrap", "unshare", "nsenter", "tar"):
        if not shutil.which(tool):
            raise Impossible(f"{tool} is not installed")
    trial = ["unshare", "--mount", "--pid", "--net", "--fork", "sh", "-c", "mount -t proc proc /proc && mount --rbind /dev /mnt && chroot / true"]
    if subprocess.run(trial, check=False, stderr=subprocess.DEVNULL).returncode:
        raise Impossible("namespaces cannot be made here, or nothing can be mounted in them")
    known = sources()
    os.makedirs(cache, exist_ok=True)
    if cache not in in_use:  # by one process at a time: apt keeps its files there, too
        in_use[cache] = open(os.path.join(cache, "lock"), "w", encoding="utf-8")
        fcntl.flock(in_use[cache], fcntl.LOCK_EX)
    for folder in ("archives/partial", "lists/partial"):
        os.makedirs(os.path.join(cache, folder), exist_ok=True)
    if os.path.exists(archive):
        return archive
    mirror = next(uri for codename, uri in known.values() if codename == SUITE)
    tree = os.path.join(cache, "new")
    shutil.rmtree(tree, ignore_errors=True)
    more = ["--include=ca-certificates"] if mirror.startswith("https") else []
    made = subprocess.run(["debootstrap", "--variant=minbase", *more, SUITE, tree, mirror], text=True, check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if made.returncode:
        raise Impossible("debootstrap fails: " + made.stdout[-1000:])
    with open(tree + "/etc/apt/sources.list", "w", encoding="utf-8") as file:
        file.write("\n".join(known) + "\n")
    # What lies in the cache is no part of the system, and a system that is thrown away need not reach the disk.
    with open(tree + "/etc/apt/apt.conf.d/99try", "w", encoding="utf-8") as file:
        file.write('APT::Keep-Downloaded-Packages "true";\nBinary::apt::APT::Keep-Downloaded-Packages "true";\nAPT::Sandbox::User "root";\nAcquire::Retries "2";\n')
    with open(tree + "/etc/dpkg/dpkg.cfg.d/99try", "w", encoding="utf-8") as file:
        file.write("force-unsafe-io\n")
    run("tar", "-C", tree, "-cf", archive + ".new", "--exclude=./var/cache/apt/archives/*.deb", "--exclude=./var/lib/apt/lists/*_*", ".")
    os.rename(archive + ".new", archive)
    shutil.rmtree(tree)
    return archive


class System:
    """One system, fresh. Below `root` it can be looked at from outside."""

    def __init__(self, cache, root):
        archive = make(cache)
        self.cache, self.root, self.started = os.path.abspath(cache), os.path.abspath(root), []
        shutil.rmtree(self.root, ignore_errors=True)
        os.makedirs(self.root)
        run("tar", "-C", self.root, "-xf", archive)
        with open(self.root + "/etc/hosts", "w", encoding="utf-8") as file:
            file.write("127.0.0.1 localhost\n")
        shutil.copyfile("/etc/resolv.conf", self.root + "/etc/resolv.conf")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.started:
            process.kill()
            process.wait()
        shutil.rmtree(self.root, ignore_errors=True)

    def command(self, command, user="root", folder="/", variables=None, network=False, beside=None):
        """What runs it there. With `network` it sees this machine's, with `beside` that of a program which was started; else one of its own with loopback alone."""
        spec = {"root": self.root, "cache": self.cache, "user": user, "folder": folder, "variables": variables or {}, "command": list(command), "loopback": not network and not beside}
        outer = ["nsenter", f"--net=/proc/{beside.pid}/ns/net"] if beside else []
        return [*outer, "unshare", "--mount", "--pid", "--fork", "--kill-child", *(["--net"] if spec["loopback"] else []), sys.executable, os.path.abspath(__file__), json.dumps(spec)]

    def run(self, *command, **options):
        """Its output, when it succeeds."""
        return run(*self.command(command, **options), stdin=subprocess.DEVNULL)

    def start(self, *command, until, patience=120, **options):
        """Starts a program and waits until a line of its output holds a text."""
        log = os.path.join(os.path.dirname(self.root), os.path.basename(self.root) + ".log")
        with open(log, "w", encoding="utf-8") as file:
            process = subprocess.Popen(self.command(command, **options), stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.STDOUT)
        self.started.append(process)
        end = time.monotonic() + patience
        while True:
            with open(log, encoding="utf-8") as file:
                text = file.read()
            if until in text:
                return process
            assert process.poll() is None and time.monotonic() < end, f"{command} does not say {until!r}: {text}"
            time.sleep(0.05)

    def outside(self, *command, beside):
        """The output of a program of this machine in the network of one that was started there."""
        return run("nsenter", f"--net=/proc/{beside.pid}/ns/net", *command, stdin=subprocess.DEVNULL)

    def stop(self, process, number=signal.SIGTERM):
        """Sends a signal to a program that was started; its exit code."""
        with open(f"/proc/{process.pid}/task/{process.pid}/children", encoding="ascii") as file:
            os.kill(int(file.read().split()[0]), number)
        return process.wait(timeout=60)

    def apt_update(self):
        try:
            self.run("apt-get", "update", "-qq", "-o", "APT::Update::Error-Mode=any", network=True)
        except AssertionError as failure:
            raise Impossible(f"the mirror cannot be reached: {failure}") from failure

    def apt(self, *arguments):
        try:
            return self.run("apt-get", "-y", "-q", *arguments, network=True, variables={"DEBIAN_FRONTEND": "noninteractive"})
        except AssertionError as failure:
            if "Failed to fetch" in str(failure):
                raise Impossible(f"the mirror does not give what it has: {failure}") from failure
            raise

    def packages(self):
        """The names of those that are there, if only by a file of settings."""
        return set(self.run("dpkg-query", "-W", "-f=${Package}\\n").split())

    def files(self):
        """All that is there but what apt and dpkg keep of their own work."""
        own = re.compile(r"/(proc|dev|tmp|run|var/(cache|log|lib/(apt|dpkg))|etc/ld\.so\.cache)(/|$)")
        found = set()
        for folder, folders, names in os.walk(self.root):
            inside = folder[len(self.root):]
            folders[:] = [name for name in folders if not own.match(f"{inside}/{name}")]
            found |= {path for path in (f"{inside}/{name}" for name in folders + names) if not own.match(path)}
        return found


def tried(trial):
    """Ends this process with what a test is to tell."""
    try:
        trial()
    except Impossible as reason:
        print("skipped:", reason)
        sys.exit(SKIPPED)


# ---- Inside

def account(name):
    """Number, group and home of a user, by the system's own list; a number stands for itself."""
    with open("/etc/passwd", encoding="utf-8") as file:
        for line in file:
            parts = line.split(":")
            if name in (parts[0], parts[2]):
                return int(parts[2]), int(parts[3]), parts[5]
    raise SystemExit(f"there is no user {name}")


def enter(spec):
    """Becomes the command; the namespaces are made."""
    root = spec["root"]
    mounts = [("-t", "proc", "proc", "/proc"), ("--rbind", "/dev", "/dev")]
    mounts += [("--bind", f"{spec['cache']}/archives", "/var/cache/apt/archives"), ("--bind", f"{spec['cache']}/lists", "/var/lib/apt/lists")]
    for *what, where in mounts:
        subprocess.run(["mount", *what, root + where], check=True)
    if spec["loopback"]:  # is down in a network that is new
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as control:
            up_and_running, set_flags = 0x41, 0x8914
            fcntl.ioctl(control, set_flags, struct.pack("16sh14x", b"lo", up_and_running))
    os.chroot(root)
    user, group, home = account(spec["user"])
    os.chdir(spec["folder"])
    os.setgroups([])
    os.setgid(group)
    os.setuid(user)
    variables = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "HOME": home, "LANG": "C.UTF-8", **spec["variables"]}
    os.environ.clear()
    os.environ.update(variables)
    os.execvp(spec["command"][0], spec["command"])


if __name__ == "__main__":
    enter(json.loads(sys.argv[1]))
