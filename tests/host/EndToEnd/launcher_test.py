#!/usr/bin/env python3
"""Stories of the built launcher: command lines in, exit codes, messages and pictures out.

usage: launcher_test.py --launcher FILE --recorder FILE --examples FOLDER STORY
"""

import argparse
import json
import os
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

OPTIONS = None
SIZE = 96  # of the test movies and the test screen


def movie(color, frames, rate=60):
    """A movie of one colour with a square that moves, so that each frame differs."""
    def fixed(value):
        return {"a": 0, "k": value}
    transform = {"ty": "tr", "p": fixed([0, 0]), "a": fixed([0, 0]), "s": fixed([100, 100]),
                 "r": fixed(0), "o": fixed(100)}

    def rectangle(size, position, fill):
        return {"ty": "gr", "it": [
            {"ty": "rc", "d": 1, "s": fixed(size), "p": position, "r": fixed(0)},
            {"ty": "fl", "c": fixed([*fill, 1]), "o": fixed(100), "r": 1}, transform]}
    moving = {"a": 1, "k": [{"t": 0, "s": [0, 8], "e": [SIZE, 8], "i": {"x": [1], "y": [1]},
                             "o": {"x": [0], "y": [0]}}, {"t": frames, "s": [SIZE, 8]}]}
    layer = {"ty": 4, "ip": 0, "op": frames, "st": 0, "sr": 1, "bm": 0, "ddd": 0, "ind": 1,
             "ks": {"o": fixed(100), "r": fixed(0), "p": fixed([0, 0, 0]), "a": fixed([0, 0, 0]),
                    "s": fixed([100, 100, 100])},
             "shapes": [rectangle([10, 10], moving, [1, 1, 1]),
                        rectangle([SIZE, SIZE], fixed([SIZE / 2, SIZE / 2]), color)]}
    return {"v": "5.5.0", "fr": rate, "ip": 0, "op": frames, "w": SIZE, "h": SIZE, "ddd": 0,
            "assets": [], "layers": [layer]}


def read_png(path):
    """Width, height, and the pixels as rows of (r, g, b)."""
    with open(path, "rb") as file:
        data = file.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", path
    position, idat, header = 8, b"", None
    while position < len(data):
        length, kind = struct.unpack(">I4s", data[position:position + 8])
        body = data[position + 8:position + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        position += 12 + length
    width, height, depth, color, _, _, interlace = header
    assert depth == 8 and color in (2, 6) and interlace == 0, header
    channels = 3 if color == 2 else 4
    raw, stride = zlib.decompress(idat), width * channels
    rows, above = [], bytearray(stride)
    for y in range(height):
        kind = raw[y * (stride + 1)]
        row = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = row[i - channels] if i >= channels else 0
            corner = above[i - channels] if i >= channels else 0
            if kind == 1:
                row[i] = (row[i] + left) & 255
            elif kind == 2:
                row[i] = (row[i] + above[i]) & 255
            elif kind == 3:
                row[i] = (row[i] + (left + above[i]) // 2) & 255
            elif kind == 4:
                p = left + above[i] - corner
                a, b, c = abs(p - left), abs(p - above[i]), abs(p - corner)
                best = left if a <= b and a <= c else above[i] if b <= c else corner
                row[i] = (row[i] + best) & 255
        rows.append([tuple(row[x * channels:x * channels + 3]) for x in range(width)])
        above = row
    return width, height, rows


class Story(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="plexion-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.write("red.mvx", json.dumps(movie([1, 0, 0], 20)))
        self.write("green.mvx", json.dumps(movie([0, 1, 0], 20)))
        self.write("blue.mvx", json.dumps(movie([0, 0, 1], 20)))
        self.write("long.mvx", json.dumps(movie([1, 0, 0], 60000)))
        self.write("empty.mvx", "")
        self.write("cut.mvx", json.dumps(movie([1, 0, 0], 20))[:300])

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
            file.write(text)

    def path(self, name):
        return os.path.join(self.folder, name)

    def command(self, *arguments, data=None):
        return [OPTIONS.launcher, "--display", "headless", "--screen", f"{SIZE}x{SIZE}",
                "--datadir", data or self.path("data"), *arguments]

    def launch(self, *arguments, data=None, environment=None):
        """Runs the launcher to its end. Returns exit code, standard output, standard error."""
        done = subprocess.run(self.command(*arguments, data=data), cwd=self.folder,
                              env={**os.environ, **(environment or {})}, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=100, check=False)
        return done.returncode, done.stdout, done.stderr

    def pixel(self, picture, x, y):
        return read_png(self.path(picture))[2][y][x]


class BadInput(Story):
    def expect(self, arguments, code, *messages, usage=False):
        got, out, err = self.launch(*arguments)
        self.assertEqual(code, got, f"{arguments}: {err}")
        for message in messages:
            self.assertIn(message, err, f"{arguments}")
        self.assertEqual(usage, "usage:" in out, f"{arguments}: {out}")

    def test_wrong_command_lines_exit_2_with_the_usage(self):
        for arguments, message in [
                ([], "no content is named"),
                (["--nonsense", "red.mvx"], "unknown option '--nonsense'"),
                (["application.xml"], "--zorbase DIR must stand before it"),
                (["--zorbase", ".", "red.mvx"], "cannot follow --zorbase"),
                (["red.mvx"] * 200, "more than the 64 windows"),
                (["--bgalpha", "300", "red.mvx"], "--bgalpha: '300' is not a number from 0 to 255"),
                (["--outputrect", "1,2,3", "red.mvx"], "--outputrect: '1,2,3' is not X,Y,W,H"),
                (["red.mvx", "--instrument"], "no content behind '--instrument'"),
                (["--locale"], "--locale needs a locale"),
                (["--snapshot-at", "soon", "red.mvx"], "'soon' is not a number of milliseconds"),
                (["--loop", "red.mvx"], "it needs --signage")]:
            self.expect(arguments, 2, message, usage=True)

    def test_content_that_cannot_be_played_exits_1_with_its_cause(self):
        for name, status, cause in [("missing.mvx", "kErrorInvalidURL", "No such file"),
                                    ("empty.mvx", "kErrorCorruptMovie", "empty"),
                                    ("cut.mvx", "kErrorCorruptMovie", "byte 300")]:
            self.expect([name], 1, f"plexion: {name}: {status}: ", cause)

    def test_missing_modules_exit_3_and_say_where_was_looked(self):
        for name in ["IPlexion", "IMorvelRuntimeLib", "IGraphicsDriver"]:
            self.expect(["--modulemap", f"{name}:/absent/module.so", "red.mvx"], 3,
                        f"module {name} is not available: no library /absent/module.so")

    def test_unwritable_data_directory_is_told_of_and_work_goes_on(self):
        code, out, _ = self.launch("red.mvx", data="/proc/plexion")
        self.assertEqual(0, code)
        self.assertEqual(1, out.count("RED ALERT: IPlexionImpl - no Plexion data directory"))

    def test_window_outside_the_screen_is_told_of_and_plays(self):
        self.expect(["--outputrect", "5000,0,10,10", "red.mvx"], 0,
                    "its rectangle 5000,0,10,10 lies outside the screen of 96x96")


class Windows(Story):
    def test_a_movie_plays_to_its_end_and_its_picture_is_saved(self):
        code, out, err = self.launch("--snapshot", "end.png", "red.mvx")
        self.assertEqual(0, code, err)
        self.assertIn("Snapshot: end.png", out)
        self.assertEqual((255, 0, 0), self.pixel("end.png", SIZE // 2, SIZE // 2))

    def test_two_movies_play_side_by_side(self):
        half = SIZE // 2
        code, _, err = self.launch(
            "--snapshot", "two.png", "--snapshot-at", "100", "--outputrect", f"0,0,{half},{SIZE}",
            "red.mvx", "--outputrect", f"{half},0,{half},{SIZE}", "blue.mvx")
        self.assertEqual(0, code, err)
        self.assertEqual((255, 0, 0), self.pixel("two.png", half // 2, half))
        self.assertEqual((0, 0, 255), self.pixel("two.png", half + half // 2, half))

    def test_bad_contents_do_not_keep_the_good_one_from_playing(self):
        code, _, err = self.launch("--snapshot", "good.png", "--snapshot-at", "50", "missing.mvx",
                                   "blue.mvx", "empty.mvx")
        self.assertEqual(1, code)
        self.assertIn("plexion: missing.mvx: kErrorInvalidURL", err)
        self.assertIn("plexion: empty.mvx: kErrorCorruptMovie", err)
        self.assertNotIn("blue.mvx", err)
        self.assertEqual((0, 0, 255), self.pixel("good.png", SIZE // 2, SIZE // 2))

    def test_a_snapshot_that_cannot_be_written_is_an_error(self):
        code, _, err = self.launch("--snapshot", "absent/x.png", "red.mvx")
        self.assertEqual(1, code)
        self.assertIn("absent/x.png", err)


class Signage(Story):
    def record(self, *arguments):
        code, _, err = self.launch("--signage", "--modulemap", "IMouseStream:" + OPTIONS.recorder,
                                   *arguments, environment={"PLEXION_FRAME_LOG": self.path("log")})
        frames = []
        with open(self.path("log"), encoding="utf-8") as log:
            for line in log:
                time, middle, _ = line.split()
                frames.append((int(time), middle))
        return code, err, frames

    def colors(self, frames):
        """The colours in the order in which they came, without repetition."""
        order = []
        for _, middle in frames:
            if not order or order[-1] != middle:
                order.append(middle)
        return order

    def test_contents_follow_each_other_without_a_frame_of_neither(self):
        code, err, frames = self.record("--mousestream", "127.0.0.1:1", "red.mvx", "green.mvx",
                                        "missing.mvx", "blue.mvx")
        self.assertEqual(1, code)
        self.assertIn("plexion: missing.mvx: kErrorInvalidURL", err)
        colors = self.colors(frames)
        while colors and colors[0] == "ff000000":
            colors.pop(0)  # before the first content
        while colors and colors[-1] == "ff000000":
            colors.pop()  # after the last
        self.assertEqual(["ffff0000", "ff00ff00", "ff0000ff"], colors)

    def test_a_loop_begins_again(self):
        code, err, frames = self.record("--loop", "--exit-after", "2500", "--mousestream",
                                        "127.0.0.1:1", "red.mvx", "blue.mvx")
        self.assertEqual(0, code, err)
        colors = [color for color in self.colors(frames) if color != "ff000000"]
        self.assertGreaterEqual(len(colors), 3)
        self.assertEqual((["ffff0000", "ff0000ff"] * len(colors))[:len(colors)], colors)

    def test_it_ends_with_an_error_when_nothing_plays(self):
        code, _, err = self.launch("--signage", "--loop", "missing.mvx", "empty.mvx")
        self.assertEqual(1, code)
        self.assertIn("--signage: none of the 2 contents can be played", err)

    def test_wrong_options_are_found_before_anything_plays(self):
        code, _, err = self.launch("--signage", "red.mvx", "--gl", "maybe", "blue.mvx")
        self.assertEqual(2, code)
        self.assertIn("--gl: 'maybe' is not on or off", err)


class Ending(Story):
    def test_signals_end_all_windows_cleanly(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            process = subprocess.Popen(
                self.command("--snapshot", "now.png", "--snapshot-at", "0", "long.mvx", "long.mvx"),
                cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                stdin=subprocess.DEVNULL)
            for line in process.stdout:
                if line.startswith("Snapshot:"):
                    break  # it plays
            process.send_signal(number)
            _, err = process.communicate(timeout=60)
            self.assertEqual(0, process.returncode, err)
            self.assertNotIn("long.mvx", err)

    def test_exit_after_ends_an_endless_movie(self):
        code, _, err = self.launch("--exit-after", "300", "long.mvx")
        self.assertEqual(0, code, err)

    def test_temporary_files_are_gone(self):
        process = subprocess.Popen(self.command("red.mvx"), cwd=self.folder,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        process.wait(timeout=100)
        self.assertFalse(os.path.exists(f"/tmp/.plexion/app-tmp/{process.pid}"))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--launcher", "--recorder", "--examples"):
        parser.add_argument(option, required=True)
    parser.add_argument("story")
    OPTIONS = parser.parse_args()
    unittest.main(argv=[sys.argv[0], OPTIONS.story], verbosity=2)
