#!/usr/bin/env python3
"""Writes the example movies into the folder above; the same sources give the same bytes.

make_examples.py            writes all movies
make_examples.py NAME...    writes only these
make_examples.py --check    writes nothing; fails when a movie differs from its source
"""

import importlib
import os
import sys

MOVIES = ("welcome", "lower-third", "loading", "special-offer", "bars")


def file_of(name):
    folder = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    return os.path.join(folder, name + ".mvx")


def text_of(name):
    return importlib.import_module(name.replace("-", "_")).make().text()


def stale(name):
    try:
        with open(file_of(name), encoding="ascii", newline="") as movie:
            return movie.read() != text_of(name)
    except FileNotFoundError:
        return True


def main(arguments):
    if arguments == ["--check"]:
        late = [name for name in MOVIES if stale(name)]
        for name in late:
            print(
                "%s: differs from its source; run make_examples.py" % file_of(name), file=sys.stderr
            )
        return 1 if late else 0
    for name in arguments:
        if name not in MOVIES:
            known = ", ".join(MOVIES)
            print(
                "make_examples.py: no movie '%s'; expected one of: %s" % (name, known),
                file=sys.stderr,
            )
            return 2
    for name in arguments or MOVIES:
        text = text_of(name)
        with open(file_of(name), "w", encoding="ascii", newline="") as movie:
            movie.write(text)
        print("%s: %d bytes" % (os.path.relpath(file_of(name)), len(text)))
    return 0


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main(sys.argv[1:]))
