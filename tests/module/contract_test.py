#!/usr/bin/env python3
"""Changes the headers of the contract in a copy, each in another way, and sees that the comparison names it."""

import argparse
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

# What a hurried hand does to a header: the file, what is replaced by what, and what must be said of it.
CHANGES = [
    ("two operations change places", "plexion/StageWindow.h",
     r"  virtual bool Play\(\) = 0;\n(  virtual bool Pause\(\) = 0;\n)", r"\1  virtual bool Play() = 0;\n",
     "StageWindow: slots: '8 bool Pause()' stands where '8 bool Play()' is expected"),
    ("an operation is added at the end", "core/IQXKernel.h",
     r"(  virtual void Printf\(.*\n)", r"\1  virtual void More() = 0;\n", "'29 void More()' is there, but not written down"),
    ("the last operation goes", "platform/IShell.h", r"  virtual QXError Start\(\) = 0;\n", "",
     "'4 QXError Start()' is written down, but is not there any more"),
    ("a destructor becomes virtual", "plexion/StageWindowNotifier.h", r"  ~StageWindowNotifier", "  virtual ~StageWindowNotifier",
     "~StageWindowNotifier()' is there, but not written down"),
    ("an argument gets wider", "plexion/MemoryWatchdog.h", r"Alloc\(unsigned long size", "Alloc(unsigned long long size",
     "MemoryWatchdog: slots: '2 void* Alloc(long long unsigned int"),
    ("an operation becomes const", "platform/IGraphicsDriver.h", r"IsVisible\(\) = 0", "IsVisible() const = 0",
     "'10 bool IsVisible() const' stands where"),
    ("a field gets wider", "plexion/StageWindowParameters.h", r"uint32_t pixelFormat;", "uint64_t pixelFormat;",
     "type uint64_t"),
    ("a field is added behind", "plexion/StageWindowStatus.h", r"(  double framesPerSecond;\n)", r"\1  const char* more;\n",
     "name more, type const char*"),
    ("a value moves", "plexion/StageWindowStatus.h", r"kInfoNotifyFPS = 33", "kInfoNotifyFPS = 34",
     "kInfoNotifyFPS: is 34, expected 33"),
    ("a key gets another code", "plexion/KeyCodes.h", r"kKeyPlay = 0x01000007", "kKeyPlay = 0x0100000C", "kKeyPlay: is"),
    ("an error gets another code", "core/QXError.h", r'"QXError_Usage", 5', '"QXError_Usage", 9',
     "QXError_Usage: is 9, expected 5"),
    ("the version is raised alone", "core/ModuleContract.h", r"CONTRACT_MINOR 0", "CONTRACT_MINOR 9",
     "ModuleContract.h says version"),
]


class Copy:
    """The contract's headers in a folder of their own."""

    def __init__(self, args):
        self.args = args
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="plexion-contract-"))
        for folder in ("qx/core", "qx/platform", "qx/plexion"):
            shutil.copytree(args.root / folder, self.root / folder)
        shutil.copy(args.root / "qx/contract.json", self.root / "qx")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.root)

    def change(self, file, pattern, by):
        path = self.root / "qx" / file
        text, count = re.subn(pattern, by, path.read_text(), count=1)
        assert count == 1, f"{file}: there is no {pattern}"
        path.write_text(text)

    def run(self, *more):
        done = subprocess.run([self.args.root / "tools/contract", "--headers", self.root, *more],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=120)
        return done.returncode, done.stdout

    def compare(self):
        return self.run("--module", self.args.module, "--compiler", self.args.compiler)


def main():
    parser = argparse.ArgumentParser()
    for name, kind in (("root", pathlib.Path), ("module", str), ("compiler", str)):
        parser.add_argument("--" + name, type=kind)
    args = parser.parse_args()
    failures = []

    def check(condition, text):
        if not condition:
            failures.append(text)

    for what, file, pattern, by, expected in CHANGES:
        with Copy(args) as copy:
            copy.change(file, pattern, by)
            code, text = copy.compare()
            check(code == 1 and expected in text, f"{what}: ended with {code}, expected '{expected}' in:\n{text}")

    # The file's own words: a table that the built module does not have, and a change without a version.
    with Copy(args) as copy:
        contract = copy.root / "qx/contract.json"
        text = contract.read_text()
        contract.write_text(text.replace('"8 bool Play()', '"8 bool Pause()').replace('"9 bool Pause()', '"9 bool Play()')
                            .replace('"memcpy"', '"printf"'))
        code, text = copy.compare()
        for expected in ("slot 8 of qx::plexion::StageWindowImpl has", "memcpy, which no host has to have",
                         "the contract has changed, and its version is still"):
            check(code == 1 and expected in text, f"expected '{expected}' in:\n{text}")

    # Writing anew asks for a new version first, and then for a module that was built since.
    if shutil.which("arm-linux-gnueabihf-g++") and shutil.which("g++"):
        with Copy(args) as copy:
            copy.change("core/IQXKernel.h", r"(  virtual void Printf\(.*\n)", r"\1  virtual void More() = 0;\n")
            before = (copy.root / "qx/contract.json").read_text()
            code, text = copy.run("--write")
            check(code == 1 and "raise QX_CONTRACT_MAJOR" in text, f"a change was written under the old version:\n{text}")
            check((copy.root / "qx/contract.json").read_text() == before, "a refused change was written")
            copy.change("core/ModuleContract.h", r"CONTRACT_MINOR \d+", "CONTRACT_MINOR 99")
            code, text = copy.run("--write")
            check(code == 0, f"a change with its version was not written:\n{text}")
            code, text = copy.compare()
            check(code == 1 and "the module says version" in text and text.count("\n") == 1,
                  f"expected the module's version alone:\n{text}")

    for text in failures:
        print(text)
    sys.exit(1 if failures else 0)


main()
