#!/usr/bin/env python3
"""Writes the example movies next to this folder; the same input gives the same bytes."""

import importlib
import os
import sys

MOVIES = ("welcome", "lower_third", "loading", "bars")


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    wanted = sys.argv[1:] or MOVIES
    for name in wanted:
        if name not in MOVIES:
            sys.exit("make_examples: no movie is called '%s'; there are: %s" % (name, ", ".join(MOVIES)))
        file_name = os.path.join(os.path.dirname(here), name.replace("_", "-") + ".mvx")
        importlib.import_module(name).make().write(file_name)
        print("%s: %d bytes" % (os.path.relpath(file_name), os.path.getsize(file_name)))


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    main()
