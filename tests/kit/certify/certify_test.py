"""Right hosts must not be accused by plexion-certify, and each wrong one must be named by the right promise."""

import argparse
import atexit
import concurrent.futures
import json
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import time

WANTED = 120
# Faults for the everyday run, of each kind some that are named fast.
SHORT = """mutex-not-recursive event-forgets-without-waiter memory-aligned-to-4 time-steps-back
format-long-is-32-bits printf-formats-twice str-cmp-signed-bytes modules-null-crashes pitch-in-pixels destroy-null-crashes
version-ignores-size fill-forgets-content""".split()


def check(condition, text):
    if not condition:
        sys.exit(text)


# What a wrong host stands for, by the first word of faults.txt: the modules of one library, or a whole folder.
MODULES = {"graphics": "IGraphicsDriver", "player": "IMorvelRuntimeLib", "files": "IFileSystem", "shell": "IShell",
           "system": "ISystemDriver", "locale": "ILocaleUtils", "input": "IUserInputDriver", "pointer": "IMouseStream"}
SMALL = ("system", "locale", "input", "pointer")


class Fault:
    def __init__(self, line):
        self.library, self.name, self.promise, *how = line.split()
        self.outcomes = tuple(how) or ("failed", "crashed", "hung")
        self.interface = self.promise.split(".")[0]


def read_faults(folder):
    faults = [Fault(line) for line in (folder / "faults.txt").read_text().splitlines()
              if line and not line.startswith("#")]
    sources = "".join(path.read_text() for path in folder.glob("Faulty*.cpp"))
    known = set(re.findall(r'FAULT\("([^"]+)"\)', sources))
    listed = {fault.name for fault in faults if fault.library != "empty-host"}
    check(known == listed, f"faults.txt and the sources differ: {sorted(known ^ listed)}")
    return faults


class Certify:
    def __init__(self, args):
        self.program, self.libraries = args.program, pathlib.Path(args.libraries)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="plexion-certify-test-"))
        atexit.register(shutil.rmtree, self.folder, ignore_errors=True)
        self.wrong, self.empty = self.wrong_folder(), self.folder / "empty"
        self.empty.mkdir()
        listed = subprocess.run([self.program, "--list"], stdout=subprocess.PIPE, text=True, check=True).stdout
        self.ids = [line.split()[0] for line in listed.splitlines() if line.startswith("  ")]

    def ids_of(self, fault):
        """All of its interface; the module's own windows on it only where they are what names it."""
        return [one for one in self.ids if one.startswith(fault.interface + ".") and
                (".module." not in one or ".module." in fault.promise)]

    def run(self, name, *options, fault=""):
        """Returns exit code, table and the JSON document."""
        file = self.folder / f"{name}.json"
        done = subprocess.run([self.program, "--json", str(file), *map(str, options)], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=600,
                              env=dict(os.environ, PLEXION_FAULT=fault, CERTIFY_TEST=str(os.getpid())))
        return done.returncode, done.stdout, json.loads(file.read_text()) if file.exists() else None

    def library(self, name):
        return self.libraries / f"{name}.so"

    def faulty(self, interface):
        return self.library("FaultySmall" if interface in SMALL else "Faulty" + interface.capitalize())

    def wrong_folder(self):
        """A whole host of wrong parts; which one is wrong says the fault."""
        folder = self.folder / "wrong"
        folder.mkdir()
        for interface in ("graphics", "player", "shell"):
            (folder / f"{MODULES[interface]}.so").symlink_to(self.faulty(interface))
        return folder

    def host_options(self, library):
        kernel = ["--kernel", self.library("FaultyKernel"), "--argument", "--one", "--argument", "two"]
        if library == "kernel":
            return kernel
        if library == "host":
            return kernel + ["--host", self.wrong, "--content", "certify"]
        if library == "empty-host":
            return kernel + ["--host", self.empty]
        if library == "typed-shell":  # a kernel's library that types by itself
            return ["--kernel", self.faulty("shell"), "--shell", self.faulty("shell")]
        return ["--module", f"{MODULES[library]}={self.faulty(library)}", "--content", "certify"]


def broken(document):
    return [result for result in document["results"]
            if result["outcome"] in ("failed", "crashed", "hung")]


def check_right(certify, name, options):
    code, table, document = certify.run(name, *options)
    check(code == 0 and not broken(document), f"the right host {name} is accused:\n{table}")
    counts = document["counts"]
    print(f"right host {name}: {counts}")
    check(counts.get("passed", 0) > 0 and (name.startswith("faultless") or counts["passed"] > 20), f"hardly anything was tried of {name}:\n{table}")
    return document


def faultless_options(certify, library):
    interface = "shell" if library == "typed-shell" else library
    return certify.host_options(library) + ["--jobs", "4", "--only", interface + "."]


def right_options(certify, name, args):
    """A folder with the host's kernel and modules, as a device maker has it, and what it plays."""
    folder = certify.folder / name
    folder.mkdir()
    kept = "destroyed objects are kept, so that their use is found"
    options = ["--argument", "--one", "--jobs", "4"]
    if name == "SimulatedHost":  # its modules are its kernel's, its files and its console in its memory
        profile = folder / "simulated.json"
        absent = {"pointer.serves": "it serves nobody", "pointer.several": "it serves nobody", "pointer.again": "it serves nobody",
                  "pointer.refuses": "it serves nobody", "pointer.stops": "it serves nobody",
                  "pointer.strangers": "it serves nobody", "pointer.module": "it serves nobody",
                  "graphics.locked.": "its planes are resized at once: stories look for who draws meanwhile",
                  "player.settings": "what content does is a script, chosen at Configure",
                  "locale.in-force": "it has every locale"}
        profile.write_text(json.dumps({"consoleIsOutput": False, "content": "movie", "absent": absent | dict.fromkeys((
            "kernel.mutex.many", "kernel.event.many", "kernel.thread.thousands", "kernel.module.thousands",
            "graphics.load.thousands", "graphics.load.large", "player.thousands", "player.module.thousands"), kept)}))
        for module in ("IGraphicsDriver", "IMorvelRuntimeLib", "IShell", "ISystemDriver", "ILocaleUtils",
                       "IUserInputDriver", "IMouseStream"):
            options += ["--module", module]
        return options + ["--kernel", certify.library(name), "--profile", profile]
    (folder / f"{name}.so").symlink_to(certify.library(name))
    if name == "ReferenceHost":
        for module in ("IGraphicsDriver", "IMorvelRuntimeLib", "IShell", "IFileSystem", "ISystemDriver",
                       "ILocaleUtils", "IUserInputDriver", "IMouseStream"):
            (folder / f"{module}.so").symlink_to(pathlib.Path(args.modules) / f"{module}.so")
        movie = json.loads(pathlib.Path(args.movie).read_text())
        (folder / "short.mvx").write_text(json.dumps(movie | {"op": 75}))  # two and a half seconds
        return options + ["--host", folder, "--content", folder / "short.mvx"]
    (folder / "IGraphicsDriver.so").symlink_to(certify.library("MinimalGraphics"))
    (folder / "IMorvelRuntimeLib.so").symlink_to(certify.library("MinimalPlayer"))
    (folder / "ball.txt").write_text("320 180 75\n")
    return options + ["--host", folder, "--content", folder / "ball.txt"]


def judge(certify, fault, only):
    """Returns why the wrong host was missed; empty when the first promise that it breaks is the one expected."""
    warning = [] if "warning" not in fault.outcomes else ["--warnings-fail"]
    code, table, document = certify.run(
        f"{fault.library}-{fault.name}", *certify.host_options(fault.library), "--first", "--jobs", "1", "--limit", "4",
        *warning, *[word for one in only for word in ("--only", one)], fault=fault.name)
    if document is None:
        return f"{fault.name}: no result:\n{table}"
    named = [one for one in document["results"] if one["outcome"] in fault.outcomes]
    if not named or named[0]["id"] != fault.promise:
        seen = [f"{one['id']}: expected {one.get('expected')}, seen {one.get('seen')}" for one in broken(document)]
        return f"{fault.name}: expected {fault.promise} first, named {seen}"
    check(code == 1, f"{fault.name}: exit code {code} though a promise is broken")
    return ""


def check_wrong(certify, faults, jobs, only=False):
    """Returns the faults that were not named by the promise expected, first of all that were named."""
    missed = []
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        wanted = {pool.submit(judge, certify, fault, [fault.promise] if only else certify.ids_of(fault)): fault
                  for fault in faults}
        for one in concurrent.futures.as_completed(wanted):
            if one.result():
                missed.append(wanted[one])
                print(one.result(), flush=True)
    return missed


def check_refused(certify):
    """Profiles that are none are named, at once, and nothing is tried."""
    file, pipe = certify.folder / "bad.json", certify.folder / "pipe"
    os.mkfifo(pipe)
    profiles = [certify.folder, pipe, "/dev/zero", certify.folder / "missing"]
    texts = ["", "{", "[]", "[" * 100000, '{"absent": 5}', '{"absent": {"kernel.nothing": "x"}}', '{"limitSeconds": -1}',
             '{"limitSeconds": 1e308}', '{"content": 7}', '{"unknown": true}']
    for profile in profiles + texts:
        if isinstance(profile, str) and not profile.startswith("/"):
            file.write_text(profile)
            profile = file
        code, said, document = certify.run("refused", "--kernel", certify.library("MinimalKernel"), "--profile", profile)
        check(code == 2 and document is None and str(profile) in said, f"a bad profile is not refused: {code}, {said}")


def check_long_content(certify):
    """Content that plays for longer than a case may take is nobody's fault, and nobody waits for its end."""
    content = certify.folder / "long.txt"
    content.write_text("320 180 3000\n")
    code, table, document = certify.run(
        "long", "--host", certify.folder / "MinimalKernel", "--content", content, "--limit", "4", "--only", "host.present",
        "--only", "host.plays", "--only", "host.plays-two")
    outcomes = {one["id"]: one["outcome"] for one in document["results"]}
    check(code == 0 and outcomes["host.plays"] == outcomes["host.plays-two"] == "skipped",
          f"content that is too long is not skipped:\n{table}")


def check_nothing_runs_on(fault):
    """A process that left the group of its case was ended with it."""
    for environment in pathlib.Path("/proc").glob("[0-9]*/environ"):
        try:
            words = environment.read_bytes().split(b"\0")
        except OSError:
            continue
        # Another run beside this one has processes of its own.
        left = {f"PLEXION_FAULT={fault}".encode(), f"CERTIFY_TEST={os.getpid()}".encode()} <= set(words)
        check(not left, f"{fault}: process {environment.parent.name} runs on")


def main():
    parser = argparse.ArgumentParser()
    for name in ("program", "libraries", "right", "modules", "movie", "page"):
        parser.add_argument("--" + name)
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--fault", help="this one only, and what was said of it")
    parser.add_argument("--wrong", help="libraries of faults.txt, a space between")
    args = parser.parse_args()
    folder = pathlib.Path(__file__).resolve().parent
    faults, certify = read_faults(folder), Certify(args)

    listed = subprocess.run([args.program, "--list", "markdown"], stdout=subprocess.PIPE, text=True, check=True)
    if args.page:
        check(listed.stdout == pathlib.Path(args.page).read_text(),
              f"{args.page} is out of date: plexion-certify --list markdown > {args.page}")
    if args.fault:
        check(not check_wrong(certify, [one for one in faults if one.name == args.fault], 1), "missed")
        return
    if args.short:
        check_refused(certify)
        check_right(certify, "MinimalKernel", ["--kernel", certify.library("MinimalKernel"), "--level", "basic", "--jobs", "4"])
        missed = check_wrong(certify, [one for one in faults if one.name in SHORT and one.library != "host"], 4, only=True)
        check(not missed, f"{len(missed)} wrong hosts were missed")
        return

    if args.right:
        for name in args.right.split():
            check_right(certify, name, right_options(certify, name, args))
            if name == "MinimalKernel":
                check_long_content(certify)
        for library in (*MODULES, "kernel", "host", "typed-shell"):  # what names a wrong host must be its fault
            check_right(certify, "faultless-" + library, faultless_options(certify, library))
        return
    began = time.monotonic()
    wrong = [one for one in faults if one.library in args.wrong.split()]
    check(wrong, f"no wrong hosts of {args.wrong}")
    # They wait most of their time, so there are several for each processor. A promise about time may be broken by a
    # neighbour: what was missed is tried again, alone.
    again = check_wrong(certify, wrong, 4 * (os.cpu_count() or 1))
    missed = check_wrong(certify, again, 1)
    check_nothing_runs_on("create-lets-a-process-go")
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    print(f"{len(wrong)} wrong hosts, {len(wrong) - len(missed)} named by the right promise first, "
          f"{len(again)} tried twice, {time.monotonic() - began:.0f} s, {used.ru_utime + used.ru_stime:.1f} s of processor time")
    check(len(faults) >= WANTED, f"{len(faults)} wrong hosts, {WANTED} are wanted")
    check(not missed, f"{len(missed)} of {len(wrong)} wrong hosts were missed twice")


main()
