"""Right hosts must not be accused by plexion-certify, and each wrong one must be named by the right promise."""

import argparse
import concurrent.futures
import json
import os
import pathlib
import re
import resource
import subprocess
import sys
import tempfile

WANTED = 120
# Faults for the everyday run, of each kind some that are named fast.
SHORT = """mutex-not-recursive event-forgets-without-waiter memory-aligned-to-4 time-steps-back
format-long-is-32-bits printf-formats-twice str-cmp-signed-bytes modules-null-crashes pitch-in-pixels destroy-null-crashes
version-ignores-size fill-forgets-content""".split()


def check(condition, text):
    if not condition:
        sys.exit(text)


def read_faults(folder):
    faults = [line.split() for line in (folder / "faults.txt").read_text().splitlines()
              if line and not line.startswith("#")]
    sources = "".join(path.read_text() for path in folder.glob("Faulty*.cpp"))
    known = set(re.findall(r'FAULT\("([^"]+)"\)', sources))
    listed = {fault for _, fault, _ in faults}
    check(known == listed, f"faults.txt and the sources differ: {sorted(known ^ listed)}")
    return faults


class Certify:
    def __init__(self, args):
        self.program, self.libraries = args.program, pathlib.Path(args.libraries)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="plexion-certify-test-"))
        listed = subprocess.run([self.program, "--list"], stdout=subprocess.PIPE, text=True, check=True).stdout
        self.ids = [line.split()[0] for line in listed.splitlines() if line.startswith("  ")]

    def ids_of(self, interface):
        """What a wrong host is tried with: all of its interface, but for the module's own windows on it."""
        return [one for one in self.ids if one.startswith(interface + ".") and ".module." not in one]

    def run(self, name, *options, fault=""):
        """Returns exit code, table and the JSON document."""
        file = self.folder / f"{name}.json"
        done = subprocess.run([self.program, "--json", str(file), *map(str, options)], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=600,
                              env=dict(os.environ, PLEXION_FAULT=fault))
        return done.returncode, done.stdout, json.loads(file.read_text()) if file.exists() else None

    def library(self, name):
        return self.libraries / f"{name}.so"

    def host_options(self, library):
        if library == "kernel":
            return ["--kernel", self.library("FaultyKernel"), "--argument", "--one", "--argument", "two"]
        return ["--" + library, self.library("Faulty" + library.capitalize()), "--content", "certify"]


def broken(document):
    return [result for result in document["results"]
            if result["outcome"] in ("failed", "crashed", "hung")]


def check_right(certify, name, options):
    code, table, document = certify.run(name, *options)
    check(code == 0 and not broken(document), f"the right host {name} is accused:\n{table}")
    counts = document["counts"]
    print(f"right host {name}: {counts}")
    check(counts.get("passed", 0) > 20, f"hardly anything was tried of {name}:\n{table}")
    return document


def right_options(certify, name, args):
    """A folder with the host's kernel and modules, as a device maker has it, and what it plays."""
    folder = certify.folder / name
    folder.mkdir()
    kept = "destroyed objects are kept, so that their use is found"
    options = ["--argument", "--one", "--jobs", "4"]
    if name == "SimulatedHost":  # its modules are its kernel's, its files and its console in its memory
        profile = folder / "simulated.json"
        absent = {"graphics.locked.": "its planes are resized at once: stories look for who draws meanwhile",
                  "player.settings": "what content does is a script, chosen at Configure",
                  "locale.in-force": "it has every locale"}
        profile.write_text(json.dumps({"consoleIsOutput": False, "content": "movie", "absent": absent | dict.fromkeys((
            "kernel.mutex.many", "kernel.event.many", "kernel.thread.thousands", "kernel.module.thousands",
            "graphics.load.thousands", "graphics.load.large", "player.thousands", "player.module.thousands"), kept)}))
        for module in ("IGraphicsDriver", "IMorvelRuntimeLib", "IShell", "ISystemDriver", "ILocaleUtils",
                       "IUserInputDriver"):
            options += ["--module", module]
        return options + ["--kernel", certify.library(name), "--profile", profile]
    (folder / f"{name}.so").symlink_to(certify.library(name))
    if name == "ReferenceHost":
        for module in ("IGraphicsDriver", "IMorvelRuntimeLib", "IShell", "IFileSystem", "ISystemDriver",
                       "ILocaleUtils", "IUserInputDriver"):
            (folder / f"{module}.so").symlink_to(pathlib.Path(args.modules) / f"{module}.so")
        return options + ["--host", folder, "--content", args.movie]
    (folder / "IGraphicsDriver.so").symlink_to(certify.library("MinimalGraphics"))
    (folder / "IMorvelRuntimeLib.so").symlink_to(certify.library("MinimalPlayer"))
    (folder / "ball.txt").write_text("320 180 75\n")
    return options + ["--host", folder, "--content", folder / "ball.txt"]


def judge(certify, library, fault, expected, only):
    code, table, document = certify.run(fault, *certify.host_options(library), "--jobs", "1", "--limit", "4",
                                        *[word for one in only for word in ("--only", one)], fault=fault)
    if document is None:
        return f"{fault}: no result:\n{table}"
    named = [result["id"] for result in broken(document)]
    if not named or named[0] != expected:
        seen = [f"{one['id']}: expected {one.get('expected')}, seen {one.get('seen')}" for one in broken(document)]
        return f"{fault}: expected {expected} first, named {seen}"
    check(code == 1, f"{fault}: exit code {code} though a promise is broken")
    return ""


def check_wrong(certify, faults, jobs, only=None):
    """Returns the entries that were not named by the promise expected, first of all that were named."""
    missed = []
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        wanted = {pool.submit(judge, certify, library, fault, expected,
                              [expected] if only else certify.ids_of(library)): (library, fault, expected)
                  for library, fault, expected in faults}
        for one in concurrent.futures.as_completed(wanted):
            if one.result():
                missed.append(wanted[one])
                print(one.result(), flush=True)
    return missed


def main():
    parser = argparse.ArgumentParser()
    for name in ("program", "libraries", "right", "modules", "movie", "page"):
        parser.add_argument("--" + name)
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--fault")
    args = parser.parse_args()
    folder = pathlib.Path(__file__).resolve().parent
    faults, certify = read_faults(folder), Certify(args)

    listed = subprocess.run([args.program, "--list", "markdown"], stdout=subprocess.PIPE, text=True, check=True)
    if args.page:
        check(listed.stdout == pathlib.Path(args.page).read_text(),
              f"{args.page} is out of date: plexion-certify --list markdown > {args.page}")
    if args.fault:
        check(not check_wrong(certify, [one for one in faults if one[1] == args.fault], 1), "missed")
        return
    if args.short:
        check_right(certify, "MinimalKernel", ["--kernel", certify.library("MinimalKernel"), "--level", "basic", "--jobs", "4"])
        missed = check_wrong(certify, [one for one in faults if one[1] in SHORT], 2, only=True)
        check(not missed, f"{len(missed)} wrong hosts were missed")
        return

    for name in args.right.split():
        check_right(certify, name, right_options(certify, name, args))
    # A promise about time may be broken by a neighbour: what was missed is tried again, alone.
    again = check_wrong(certify, faults, os.cpu_count() or 1)
    missed = check_wrong(certify, again, 1)
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    print(f"{len(faults)} wrong hosts, {len(faults) - len(missed)} named by the right promise first, "
          f"{used.ru_utime + used.ru_stime:.1f} s of processor time")
    check(len(faults) >= WANTED, f"{len(faults)} wrong hosts, {WANTED} are wanted")
    check(not missed, f"{len(missed)} of {len(faults)} wrong hosts were missed twice")


main()
