"""Runs whole sets through the built module and the reference kernel: two movies, at once and after the word "go"."""

import argparse
import json
import pathlib
import subprocess
import tempfile
import unittest

OPTIONS = None
RED, BLUE, NOTHING = "ff0000", "0000ff", "000000"


def movie(folder, name, colour, frames):
    """A movie of one colour, at 60 frames a second."""
    path = pathlib.Path(folder, name)
    path.write_text(json.dumps({"v": "5.5.0", "fr": 60, "ip": 0, "op": frames, "w": 96, "h": 96, "assets": [], "layers": [
        {"ty": 1, "ind": 1, "ip": 0, "op": frames, "st": 0, "sr": 1, "sw": 96, "sh": 96, "sc": "#" + colour, "ks": {}}]}))
    return path


class Sets(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="plexion-set-")
        self.addCleanup(self.folder.cleanup)
        # The blue one plays a second longer, however slow the machine is.
        self.words = ["--outputrect", "0,0,96,96", movie(self.folder.name, "red.mvx", RED, 40),
                      "--outputrect", "96,0,96,96", movie(self.folder.name, "blue.mvx", BLUE, 100)]

    def run_set(self, *words):
        """What the host says, in order, without the module's own messages."""
        done = subprocess.run([OPTIONS.host, OPTIONS.modules, *map(str, words)], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=100)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.text = done.stdout
        return [line[2:] for line in done.stdout.splitlines() if line.startswith("> ")]

    def check_played(self, said):
        self.assertIn(f"screen {RED} {BLUE}", said, "the two are never on the screen together:\n" + self.text)
        self.assertIn(f"screen {NOTHING} {BLUE}", said, "a window that ended waits for the other:\n" + self.text)
        self.assertLess(said.index(f"screen {RED} {BLUE}"), said.index(f"screen {NOTHING} {BLUE}"))
        self.assertIn("made 2 windows, QXError_OK", said)
        self.assertIn("ran, 0 windows left", said, self.text)
        self.assertEqual([line for line in said if line.startswith("screen")][-1], f"screen {NOTHING} {NOTHING}")
        self.assertNotIn("loaded: IPlexion", said)
        self.assertEqual(said[-1], "end")

    def test_TwoMoviesPlayAtOnceAndEachLeavesWhenItEnds(self):
        self.check_played(self.run_set(*self.words))

    def test_WithPauseNothingIsShownBeforeGo(self):
        said = self.run_set("--pause", *self.words)
        self.assertIn("go", said, "nobody waited for the word:\n" + self.text)
        before = [line for line in said[:said.index("go")] if line.startswith("screen")]
        # Whoever looks may come late to a screen on which there is nothing.
        self.assertLessEqual(set(before), {f"screen {NOTHING} {NOTHING}"}, self.text)
        self.check_played(said)

    def test_AMovieThatCannotBeShownLeavesTheSetToItsHost(self):
        torn = pathlib.Path(self.folder.name, "torn.mvx")
        torn.write_text('{"v": "5.5.0", "fr": 60')
        said = self.run_set(*self.words, "--outputrect", "0,0,8,8", torn)
        self.assertIn("did not run, 3 windows left", said, self.text)
        self.assertIn("0 windows after destruction", said)
        # The others may have drawn their first pictures, with the planes, and leave one by one when they are
        # destroyed; none of them has played to its end before.
        alive = said[:said.index("did not run, 3 windows left")]
        if f"screen {RED} {BLUE}" in alive:
            self.assertNotIn(f"screen {NOTHING} {BLUE}", alive[alive.index(f"screen {RED} {BLUE}"):])
        self.assertEqual(said[-1], "end")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--host")
    parser.add_argument("--modules")
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=["set_test.py", *rest])
