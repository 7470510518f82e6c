#!/usr/bin/env python3
"""Stories of the built launcher: command lines in, exit codes, messages and pictures out.

usage: launcher_test.py --launcher FILE --recorder FILE STORY
"""

import argparse
import http.client
import http.server
import json
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tarfile
import tempfile
import threading
import time
import unittest
import wave
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


def read_bundle(path):
    """The texts of a bundle for a bug report, by their names."""
    assert os.stat(path).st_mode & 0o777 == 0o600, "for its owner's eyes"
    with tarfile.open(path) as bundle:
        return {os.path.basename(entry.name): bundle.extractfile(entry).read().decode()
                for entry in bundle}


class Story(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="plexion-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.write("red.mvx", json.dumps(movie([1, 0, 0], 20)))
        self.write("green.mvx", json.dumps(movie([0, 1, 0], 20)))
        self.write("blue.mvx", json.dumps(movie([0, 0, 1], 20)))
        for name, color in (("red", [1, 0, 0]), ("green", [0, 1, 0]), ("blue", [0, 0, 1])):
            self.write(name + "-second.mvx", json.dumps(movie(color, 60)))
        self.write("long.mvx", json.dumps(movie([1, 0, 0], 60000)))
        self.write("empty.mvx", "")
        self.write("cut.mvx", json.dumps(movie([1, 0, 0], 20))[:300])

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
            file.write(text)

    def write_tone(self, name):
        with wave.open(self.path(name), "wb") as tone:
            tone.setnchannels(1)
            tone.setsampwidth(2)
            tone.setframerate(8000)
            tone.writeframes(bytes(8000))  # half a second

    def path(self, name):
        return os.path.join(self.folder, name)

    def command(self, *arguments, data=None):
        given = [argument.split("=")[0] for argument in arguments]
        display = [] if "--display" in given else ["--display", "headless"]
        screen = [] if "--screen" in given else ["--screen", f"{SIZE}x{SIZE}"]
        return [OPTIONS.launcher, *display, *screen, "--datadir", data or self.path("data"),
                *arguments]

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
                (["--shellsocket", "", "red.mvx"], "--shellsocket: the value is empty"),
                (["--screen=", "red.mvx"], "--screen: "),
                (["--loop", "red.mvx"], "it needs --signage")]:
            self.expect(arguments, 2, message, usage=True)
        _, _, err = self.launch("--signge", "red.mvx")
        told = "plexion: unknown option '--signge'; is '--signage' meant?"
        self.assertEqual([told, told], err.splitlines(), "first and last")
        code, out, err = self.launch("--help", "nonsense")
        self.assertEqual(2, code)
        self.assertIn("'nonsense' is no topic; expected all or one of commands, display", err)

    def test_content_that_cannot_be_played_exits_1_with_its_cause(self):
        for name, status, cause in [("missing.mvx", "kErrorInvalidURL", "No such file"),
                                    ("empty.mvx", "kErrorCorruptMovie", "empty"),
                                    ("cut.mvx", "kErrorCorruptMovie", "byte 300")]:
            self.expect([name], 1, f"plexion: {name}: {status}: ", cause)

    def test_missing_modules_exit_3_and_say_where_was_looked(self):
        for name in ["IPlexion", "IMorvelRuntimeLib", "IGraphicsDriver"]:
            self.expect(["--modulemap", f"{name}:/absent/module.so", "red.mvx"], 3,
                        f"module {name} is not available: no library /absent/module.so")
            self.expect(["--signage", "--loop", "--modulemap", f"{name}:/absent/module.so",
                         "red.mvx", "blue.mvx"], 3, f"module {name} is not available: ")

    def test_a_wrong_key_map_exits_2_with_its_line(self):
        self.write("keys", "# fine\nnonsense\n")
        got, _, err = self.launch("--keymap", "keys", "red.mvx")
        self.assertEqual(2, got, err)
        self.assertIn("plexion: --keymap: keys:2: ", err)

    def test_unwritable_data_directory_is_told_of_and_work_goes_on(self):
        code, out, _ = self.launch("red.mvx", data="/proc/plexion")
        self.assertEqual(0, code)
        self.assertEqual(1, out.count("RED ALERT: IPlexionImpl - no Plexion data directory"))

    def test_window_outside_the_screen_is_told_of_and_plays(self):
        self.expect(["--outputrect", "5000,0,10,10", "red.mvx"], 0,
                    "its rectangle 5000,0,10,10 lies outside the screen of 96x96")

    def test_a_portrait_screen_is_higher_than_wide(self):
        for rectangle, outside in (("0,150,10,10", False), ("150,0,10,10", True)):
            code, _, err = self.launch("--screen=96x200", "--outputrect", rectangle, "red.mvx")
            self.assertEqual((0, outside), (code, "lies outside the screen" in err), err)


class Windows(Story):
    def test_a_movie_plays_to_its_end_and_its_picture_is_saved(self):
        code, out, err = self.launch("--snapshot", "end.png", "red.mvx")
        self.assertEqual(0, code, err)
        self.assertIn("Snapshot: end.png", out)
        self.assertEqual((255, 0, 0), self.pixel("end.png", SIZE // 2, SIZE // 2))

    def test_an_application_plays_media_and_goes_on_when_one_is_broken(self):
        os.mkdir(self.path("board"))
        self.write_tone("board/tone.wav")
        shutil.copy(self.path("empty.mvx"), self.path("board/empty.bin"))
        self.write("board/application.xml", """<application width="96" height="96" rate="30">
            <scene id="s"><media id="broken" src="empty.bin" width="48" height="48"/>
            <media id="tone" src="tone.wav" width="96" height="96"/></scene><script>
            on("failed", function(e, why) trace(e.id, why) end)
            on("ended", function(e) trace(e.id, "ended") complete() end)</script></application>""")
        code, out, err = self.launch("--tstrace", "board")
        self.assertEqual(0, code, err)
        self.assertIn("TallyScript: broken\tthe file is empty (0 bytes)", out)
        self.assertIn("TallyScript: tone\tended", out)

    def test_two_movies_play_side_by_side(self):
        half = SIZE // 2
        code, _, err = self.launch(
            "--snapshot", "two.png", "--snapshot-at", "500", "--outputrect", f"0,0,{half},{SIZE}",
            "red-second.mvx", "--outputrect", f"{half},0,{half},{SIZE}", "blue-second.mvx")
        self.assertEqual(0, code, err)
        self.assertEqual((255, 0, 0), self.pixel("two.png", half // 2, half))
        self.assertEqual((0, 0, 255), self.pixel("two.png", half + half // 2, half))

    def test_bad_contents_do_not_keep_the_good_one_from_playing(self):
        code, _, err = self.launch("--snapshot", "good.png", "--snapshot-at", "500", "missing.mvx",
                                   "blue-second.mvx", "empty.mvx")
        self.assertEqual(1, code)
        self.assertIn("plexion: missing.mvx: kErrorInvalidURL", err)
        self.assertIn("plexion: empty.mvx: kErrorCorruptMovie", err)
        self.assertNotIn("blue-second.mvx", err)
        self.assertEqual((0, 0, 255), self.pixel("good.png", SIZE // 2, SIZE // 2))

    def test_a_snapshot_that_cannot_be_written_is_an_error(self):
        code, _, err = self.launch("--snapshot", "absent/x.png", "red.mvx")
        self.assertEqual(1, code)
        self.assertIn("absent/x.png", err)


    def test_windows_lie_in_the_order_of_the_command_line(self):
        self.write("slow.mvx", json.dumps(movie([0, 1, 0], 60)) + " " * 4000000)
        code, _, err = self.launch("--snapshot", "order.png", "--snapshot-at", "500", "slow.mvx",
                                   "red-second.mvx")
        self.assertEqual(0, code, err)
        self.assertEqual((255, 0, 0), self.pixel("order.png", SIZE // 2, SIZE // 2))


class Operator(Story):
    """Somebody steers the launcher through the shell's socket."""

    def start(self, *arguments):
        self.process = subprocess.Popen(
            self.command("--shellsocket", "socket", *arguments), cwd=self.folder, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(self.process.kill)
        self.addCleanup(self.process.stdout.close)
        self.addCleanup(self.process.stderr.close)
        self.addCleanup(self.process.wait)
        connection = socket.socket(socket.AF_UNIX)
        self.addCleanup(connection.close)
        while True:
            try:
                connection.connect(self.path("socket"))
                break
            except OSError:
                self.assertIsNone(self.process.poll(), "the launcher ended")
                time.sleep(0.01)
        self.lines = connection.makefile("rw")
        self.addCleanup(self.lines.close)

    def type(self, line):
        """Returns the answer's lines; the last is OK or ERROR."""
        self.lines.write(line + "\n")
        self.lines.flush()
        answer = []
        while not answer or not (answer[-1] == "OK" or answer[-1].startswith("ERROR")):
            text = self.lines.readline()
            self.assertNotEqual("", text, f"no answer to '{line}': {answer}")
            answer.append(text.rstrip("\n"))
        return answer

    def wait_for(self, number, **expected):
        """Asks for the windows until the columns of window `number` are as expected."""
        while True:
            answer = self.type("windows")
            heading = answer[0].split()
            for line in answer[1:-1]:
                row = dict(zip(heading, line.split()))
                if row.get("no") == str(number) and expected.items() <= row.items():
                    return

    def end(self):
        self.assertEqual(["OK"], self.type("quit"))
        self.assertEqual(0, self.process.wait(timeout=60))

    def test_windows_are_moved_stacked_and_shown(self):
        self.start("--outputrect", "0,0,48,96", "long.mvx", "--outputrect", "48,0,48,96",
                   "long.mvx")
        self.wait_for(1, status="kStatusPlaying", rectangle="48x96+0+0", order="0", visible="yes",
                      alpha="255", content="long.mvx")
        self.wait_for(2, status="kStatusPlaying")
        for command, number, shown in [
                ("move 1 10 -5", 1, {"rectangle": "48x96+10-5"}), ("alpha 1 128", 1, {"alpha": "128"}),
                ("raise 1", 1, {"order": "1"}), ("lower 1", 1, {"order": "0"}),
                ("hide 2", 2, {"visible": "no"}), ("show 2", 2, {"visible": "yes"}),
                ("resize 2 24 32", 2, {"rectangle": "24x32+48+0"}),
                ("pause 2", 2, {"status": "kStatusPaused"}),
                ("resize 2 20 30", 2, {"rectangle": "20x30+48+0"}),
                ("play 2", 2, {"status": "kStatusPlaying"}), ("activate 2", 2, {"active": "yes"})]:
            self.assertEqual(["OK"], self.type(command), command)
            self.wait_for(number, **shown)
        self.assertEqual(["OK"], self.type("stop 1"))
        while any(line.startswith("1 ") for line in self.type("windows")):
            pass
        self.end()

    def test_wrong_commands_say_what_would_be_right(self):
        self.start("long.mvx")
        self.wait_for(1, status="kStatusPlaying")
        for command, reason in [
                ("activate 7", "there is no window 7; there is 1"),
                ("move 1 2", "usage: move N X Y"),
                ("alpha 1 256", "expected a whole number from 0 to 255"),
                ("resize 1 0 5", "'0' is no W"),
                ("resize 1 97 5", "97x5 is larger than the screen, 96x96"),
                ("snapshot absent/x.png", "absent/x.png"),
                ("dance", "unknown command 'dance'")]:
            self.assertIn(reason, self.type(command)[-1])
            self.assertTrue(self.type(command)[-1].startswith("ERROR "))
        self.end()

    def test_facts_and_pictures(self):
        self.start("long.mvx")
        self.wait_for(1, status="kStatusPlaying")
        self.assertRegex(self.type("version")[0], r"^Plexion \d+\.\d+\.\d+$")
        self.assertRegex(self.type("time")[0], r"up \d+\.\d+ s, \d+ frames presented")
        self.assertEqual(["OK"], self.type("snapshot a.png"))
        self.assertEqual((255, 0, 0), self.pixel("a.png", SIZE // 2, SIZE // 2))
        self.assertIn("OK", self.type("diagnose bundle.tar"))
        self.assertIn("kStatusPlaying", read_bundle(self.path("bundle.tar"))["windows.txt"])
        self.assertIn("ERROR", self.type("diagnose absent/bundle.tar")[-1])
        self.end()

    def test_content_waits_for_go_which_may_name_another(self):
        self.start("--pause", "long.mvx")
        self.wait_for(1, status="kStatusConfigured")
        self.assertIn("Usage: go --rundefault | CONTENT_URL [ ZOR_BASE_URL ]", self.type("go"))
        self.assertEqual(["OK"], self.type("go " + self.path("blue.mvx")))
        self.assertEqual(0, self.process.wait(timeout=60))

    def test_nothing_is_opened_before_go(self):
        self.write_tone("tone.wav")
        self.start("--pause", "tone.wav")
        self.wait_for(1, status="kStatusConfigured")
        with open(f"/proc/{self.process.pid}/maps", encoding="utf-8") as maps:
            mapped = maps.read()
        self.assertNotIn("MediaEngine", mapped)
        self.assertNotIn("libSDL", mapped, "nobody sees it")
        self.end()

    def test_quitting_ends_the_wait_for_go(self):
        for contents in (["long.mvx"], ["long.mvx", "long.mvx"]):
            self.start("--pause", *contents)
            self.end()

    def test_the_interval_of_repeated_keys_is_the_one_asked_for(self):
        self.write("keys.xml", """<application width="96" height="96"><scene id="s"/><script>
            local count = 0
            on("keydown", function() count = count + 1; if count == 4 then complete() end end)
            </script></application>""")
        for interval, completes in (("1", True), ("3600000", False)):
            self.start("--key-mode", "auto-repeat,1," + interval, "--zorbase", self.folder, "keys.xml")
            self.wait_for(1, status="kStatusPlaying", active="yes")
            self.type("key left down")
            if completes:
                self.assertEqual(0, self.process.wait(timeout=60))
                continue
            begun = time.monotonic()
            while time.monotonic() - begun < 0.3:
                self.wait_for(1, status="kStatusPlaying")
            self.end()

    def test_an_end_at_the_moment_of_go_is_an_end(self):
        # The operator's word, the end's own and the end meet within a few milliseconds.
        for milliseconds in range(12):
            for contents in (["red.mvx"], ["red.mvx", "blue.mvx"]):
                done = subprocess.run(
                    self.command("--pause", "--exit-after", str(milliseconds), *contents),
                    cwd=self.folder, input="go --rundefault\n", capture_output=True, text=True,
                    timeout=60, check=False)
                self.assertEqual((0, ""), (done.returncode, done.stderr), milliseconds)

    def test_a_quiet_launcher_sleeps(self):
        self.start("--snapshot", "a.png", "--snapshot-at", "3600000", "--exit-after", "3600000",
                   "long.mvx")
        self.wait_for(1, status="kStatusPlaying")
        self.type("pause 1")
        self.wait_for(1, status="kStatusPaused")
        before, begun = self.processor_time(), time.monotonic()
        while time.monotonic() - begun < 0.5:
            self.type("time")
        for name, spent in self.processor_time().items():
            if name.startswith("Plexion") and name not in ("PlexionSocket", "PlexionPlayer"):
                self.assertLess(spent - before.get(name, 0), 0.2, f"{name} spins")
        self.end()

    def processor_time(self):
        """Seconds by the threads' names."""
        times = {}
        for task in os.listdir(f"/proc/{self.process.pid}/task"):
            with open(f"/proc/{self.process.pid}/task/{task}/stat", encoding="utf-8") as stat:
                name, fields = re.match(r"\d+ \((.*)\) (.*)", stat.read()).groups()
            ticks = sum(int(field) for field in fields.split()[11:13])
            times[name] = times.get(name, 0) + ticks / os.sysconf("SC_CLK_TCK")
        return times

    def test_without_a_shell_nobody_waits_for_go(self):
        for contents in (["red.mvx"], ["red.mvx", "blue.mvx"]):
            code, out, err = self.launch("--pause", "--modulemap", "IShell:/absent/module.so",
                                         *contents)
            self.assertEqual(0, code, err)
            self.assertNotIn("suspended", out)


class Signage(Story):
    def record(self, *arguments):
        code, _, err = self.launch("--signage", "--modulemap", "IMouseStream:" + OPTIONS.recorder,
                                   *arguments, environment={"PLEXION_FRAME_LOG": self.path("log")})
        frames = []
        with open(self.path("log"), encoding="utf-8") as log:
            for line in log:
                time, middle = line.split()[:2]
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
        self.assertIn(" error missing.mvx: kErrorInvalidURL", err)
        colors = self.colors(frames)
        while colors and colors[0] == "ff000000":
            colors.pop(0)  # before the first content
        while colors and colors[-1] == "ff000000":
            colors.pop()  # after the last
        self.assertEqual(["ffff0000", "ff00ff00", "ff0000ff"], colors)

    def test_a_fade_goes_from_one_to_the_other_in_every_frame(self):
        code, err, frames = self.record("--transition", "fade,400", "--mousestream", "127.0.0.1:1",
                                        "red-second.mvx", "blue-second.mvx")
        self.assertEqual(0, code, err)
        colors = self.colors(frames)
        while colors and colors[0] == "ff000000":
            colors.pop(0)  # before the first content
        while colors and colors[-1] == "ff000000":
            colors.pop()  # after the last
        blues = []
        for color in colors:
            red, green, blue = bytes.fromhex(color[2:])
            self.assertEqual(0, green, color)
            self.assertAlmostEqual(255, red + blue, delta=2, msg=color)
            blues.append(blue)
        self.assertEqual(sorted(blues), blues)
        self.assertEqual((0, 255), (blues[0], blues[-1]))
        self.assertGreater(len(blues), 4, "in steps")

    def test_a_loop_begins_again(self):
        code, err, frames = self.record("--loop", "--exit-after", "3500", "--mousestream",
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


class Programme(Story):
    def play(self, programme, *arguments):
        return self.launch("--programme", programme, *arguments)

    def test_a_folder_plays_in_the_order_of_names_and_skips_what_is_bad(self):
        for index, name in enumerate(["red", "cut", "blue"]):
            os.renames(self.path(name + ".mvx"), self.path(f"list/{index}-{name}.mvx"))
        code, _, err = self.play("list", "--exit-after", "3000")
        self.assertEqual(0, code, err)
        shown = [line.split("shows ")[1].split()[0] for line in err.splitlines() if "shows" in line]
        self.assertEqual(["list/0-red.mvx", "list/2-blue.mvx", "list/0-red.mvx"], shown[:3], err)
        self.assertIn("skips list/1-cut.mvx: ", err)

    def test_zones_lie_side_by_side_and_a_wrong_document_changes_nothing(self):
        self.write("day.json", json.dumps({
            "screen": {"background": "#204060"},
            "playlists": {"one": ["long.mvx"], "two": ["blue.mvx"]},
            "zones": [{"name": "left", "rect": [0, 0, "50%", "100%"], "playlist": "one"},
                      {"name": "right", "rect": ["50%", 0, "45%", "100%"], "playlist": "two"}]}))
        code, _, err = self.play("day.json", "--snapshot", "out.png", "--snapshot-at", "600",
                                 "--exit-after", "1500")
        self.assertEqual(0, code, err)
        self.assertEqual((255, 0, 0), self.pixel("out.png", SIZE // 4, SIZE // 2 + 10))
        self.assertEqual((0, 0, 255), self.pixel("out.png", SIZE * 3 // 4, SIZE // 2 + 10))
        # The background beside a content in its zone, and where there is no zone.
        self.assertEqual((0x20, 0x40, 0x60), self.pixel("out.png", SIZE // 4, SIZE - 4))
        self.assertEqual((0x20, 0x40, 0x60), self.pixel("out.png", SIZE - 2, SIZE // 2))

    def test_what_is_wrong_is_said_with_its_line(self):
        self.write("wrong.json", '{"playlists": {"a": [\n{"contents": "x"}]}}')
        for arguments, message in [(["wrong.json"], 'wrong.json: line 2, playlists.a[0]: "content"'),
                                   (["none.json"], "none.json: "),
                                   ([".", "red.mvx"], "'red.mvx' stands beside it"),
                                   ([".", "--useshell", "--locale", "de"],
                                    "'--locale' stands beside it; expected no other content, and "
                                    "no option of a window"),
                                   ([".", "--signage"], "not with --signage")]:
            code, _, err = self.play(*arguments)
            self.assertEqual(2, code, err)
            self.assertIn(message, err)


class Steered(Story):
    """Somebody steers what plays with 'plexion ctl'."""

    def start(self, *arguments):
        os.makedirs(self.path("run"), exist_ok=True)
        self.environment = {**os.environ, "XDG_RUNTIME_DIR": self.path("run")}
        self.environment.pop("PLEXION_SOCKET", None)
        self.process = subprocess.Popen(
            self.command(*arguments), cwd=self.folder, env=self.environment,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(self.process.wait)
        self.addCleanup(self.process.kill)
        while self.ctl("version")[0] == 3:
            self.assertIsNone(self.process.poll(), "the launcher ended")

    def ctl(self, *words):
        done = subprocess.run([OPTIONS.launcher, "ctl", *words], env=self.environment,
                              cwd=self.folder, capture_output=True, text=True, timeout=60,
                              check=False)
        return done.returncode, done.stdout, done.stderr

    def status(self, zone=0):
        code, out, _ = self.ctl("--json", "status")
        return json.loads(out)["zones"][zone] if code == 0 else {}

    def wait_for(self, index=0, **expected):
        """Asks until the zone is as expected, and returns it."""
        while True:
            status = self.status(index)
            if expected.items() <= status.items():
                return status
            self.assertIsNone(self.process.poll(), "the launcher ended")

    def end(self):
        self.assertEqual(0, self.ctl("quit")[0])
        self.assertEqual(0, self.process.wait(timeout=60))
        self.assertFalse(os.path.exists(self.path("run/plexion.sock")))


class Control(Steered):
    def test_a_programme_goes_on_back_and_elsewhere(self):
        for name in ("red", "green", "blue"):
            shutil.copy(self.path("long.mvx"), self.path(name + "-long.mvx"))
        self.write("day.json", json.dumps({
            "name": "Bar", "playlists": {"all": ["red-long.mvx", "green-long.mvx"],
                                         "side": ["blue-long.mvx"]},
            "zones": [{"name": "main", "rect": [0, 0, "50%", "100%"], "playlist": "all"},
                      {"name": "side", "rect": ["50%", 0, "50%", "100%"], "playlist": "side"}]}))
        self.start("--programme", "day.json")
        self.wait_for(content="red-long.mvx", item=1, items=2, paused=False)
        self.wait_for(1, content="blue-long.mvx")
        self.assertEqual(0, self.ctl("next")[0])
        self.wait_for(content="green-long.mvx", item=2)
        self.assertEqual(0, self.ctl("previous")[0])
        self.wait_for(content="red-long.mvx")
        self.assertEqual(0, self.ctl("play", "blue.mvx")[0])
        self.wait_for(content="blue.mvx", item=None)
        self.wait_for(content="green-long.mvx")  # and then it goes on
        self.assertEqual(0, self.ctl("play", "red-long.mvx")[0])
        self.wait_for(content="red-long.mvx", item=1)
        self.assertEqual(0, self.ctl("pause")[0])
        self.wait_for(1, paused=True)
        frames = self.wait_for(paused=True)["health"]["frames"]
        self.assertEqual(2, self.ctl("play", "")[0], "nothing is let go on by an empty word")
        self.assertEqual(0, self.ctl("resume", "side")[0])
        self.wait_for(1, paused=False)
        self.assertLessEqual(self.status()["health"]["frames"], frames + 1)
        code, out, err = self.ctl("next", "far")
        self.assertEqual((1, ""), (code, out))
        self.assertEqual("plexion ctl: next: there is no zone 'far'; expected main, side\n", err)
        self.assertEqual({"error": "next: there is no zone 'far'; expected main, side"},
                         json.loads(self.ctl("--json", "next", "far")[1]))
        self.assertIn("there is no such file", self.ctl("play", "none.mvx")[2])
        self.assertEqual("all", json.loads(self.ctl("programme", "--json")[1])["parts"][0]["playlist"])
        self.write("wrong.json", "{")
        self.assertIn("wrong.json: line 1", self.ctl("programme", "load", "wrong.json")[2])
        self.write("day.json", json.dumps({"playlists": {"all": ["green-long.mvx"]},
                                           "zones": [{"name": "main", "playlist": "all"}]}))
        self.assertEqual(0, self.ctl("programme", "reload")[0])
        self.wait_for(content="green-long.mvx", items=1)
        self.end()

    def test_a_server_that_hangs_up_is_heard_out(self):
        self.environment = dict(os.environ)
        for said, told in ((b"ERROR there are 16 clients already\n", "there are 16 clients already"),
                           (b"", "Plexion has ended before it answered")):
            with socket.socket(socket.AF_UNIX) as server:
                path = self.path(f"full-{len(said)}")
                server.bind(path)
                server.listen()
                # More than a socket takes: the client is still sending when it is closed.
                words = ["x" * 100000] * 10
                client = subprocess.Popen(
                    [OPTIONS.launcher, "ctl", "--socket", path, *words], env=self.environment,
                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                    text=True)
                connection, _ = server.accept()
                connection.sendall(said)
                connection.close()
                self.assertEqual("plexion ctl: " + told + "\n", client.communicate(timeout=60)[1])

    def test_volume_and_moments_are_set_for_all_for_a_zone_and_by_key(self):
        os.mkdir(self.path("list"))
        shutil.copy(self.path("long.mvx"), self.path("list/long.mvx"))
        self.start("--programme", "list")
        number = self.wait_for(content="list/long.mvx")["window"]
        self.assertEqual((0, "volume 40\n", ""), self.ctl("volume", "40"))
        self.assertEqual((2, "", "plexion ctl: volume: '500' is no volume; expected 0 to 100, "
                                 "or +N or -N\n"), self.ctl("volume", "500"))
        self.assertEqual((0, "volume 50\n", ""), self.ctl("volume", "main", "50"))
        self.assertEqual((0, "volume 100, muted\n", ""), self.ctl("mute", str(number), "on"))
        self.wait_for(volume=20, muted=True)
        self.assertEqual(0, self.ctl("mute", str(number), "off")[0])
        self.assertEqual(0, self.ctl("key", "volumedown")[0])
        # A key takes the way of all input, which nobody waits for.
        deadline = time.monotonic() + 60
        while self.ctl("volume") != (0, "volume 35\n", ""):
            self.assertIsNone(self.process.poll(), "the launcher ended")
            self.assertLess(time.monotonic(), deadline, "the key does not come through")
        self.assertIn("expected 0 to 100", self.ctl("volume", "main", "loud")[2])
        self.assertEqual(0, self.ctl("pause")[0])
        self.wait_for(paused=True)
        # 60000 frames, of which a square tells which one is seen.
        self.assertEqual(0, self.ctl("seek", "8:20")[0])
        self.assertEqual(0, self.ctl("play")[0])
        self.assertEqual(0, self.ctl("seek", "+5")[0])
        self.assertIn("expected seconds", self.ctl("seek", "soon")[2])
        self.assertIn("nothing plays in 'far'", self.ctl("seek", "1", "far")[2])
        self.assertEqual(0, self.ctl("seek", "99999")[0])  # to its last frame, and so to its end
        self.wait_for(content="list/long.mvx", window=number + 1)
        self.end()

    def test_the_page_is_for_who_knows_its_token_and_for_no_other_site(self):
        os.mkdir(self.path("list"))
        for name in ("a", "b"):
            shutil.copy(self.path("long.mvx"), self.path(f"list/{name}.mvx"))
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        self.start("--programme", "list", "--look", f"127.0.0.1:{port}", "--look-token", "token")
        self.wait_for(content="list/a.mvx")
        with open(self.path("token"), encoding="utf-8") as file:
            token = file.read().strip()
        self.assertEqual(0o600, os.stat(self.path("token")).st_mode & 0o777)

        def ask(path, method="GET", **headers):
            connection = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
            try:
                names = {name.replace("_", "-"): value for name, value in headers.items()}
                connection.request(method, path, headers=names)
                answer = connection.getresponse()
                return answer.status, answer.read(), answer.headers
            finally:
                connection.close()
        # Clients that say nothing, or half of something, hold up nobody.
        idle = [socket.create_connection(("127.0.0.1", port)) for _ in range(8)]
        for client in idle[:4]:
            client.sendall(b"GET /")
        status, page, headers = ask(f"/{token}/")
        self.assertEqual(200, status)
        self.assertNotRegex(page.decode(), r"""(src|href)=["']?(https?:)?//""")
        self.assertIn("default-src 'none'", headers["Content-Security-Policy"])
        self.assertEqual("no-referrer", headers["Referrer-Policy"])
        self.assertEqual("DENY", headers["X-Frame-Options"])
        for path in ("/", "/status", f"/{token}x/", f"/{token[:-1]}/status"):
            self.assertEqual(403, ask(path)[0], path)
        self.assertEqual(403, ask(f"/{token}/status", Host=f"evil.example:{port}")[0])
        status = json.loads(ask(f"/{token}/status")[1])
        self.assertEqual("list/a.mvx", status["zones"][0]["content"])
        self.assertTrue(any("shows list/a.mvx" in line for line in status["messages"]))
        self.assertEqual(b"\xff\xd8\xff", ask(f"/{token}/picture.jpg")[1][:3])
        self.assertIn(b"<svg", ask(f"/{token}/day.svg")[1])
        for headers in ({}, {"X_Plexion": "1", "Origin": "http://evil.example"},
                        {"X_Plexion": "1", "Sec_Fetch_Site": "cross-site"}):
            self.assertEqual(403, ask(f"/{token}/do/next", "POST", **headers)[0], headers)
        self.assertEqual(405, ask(f"/{token}/do/next")[0])
        self.assertEqual("list/a.mvx", self.status()["content"], "nothing of that did anything")
        self.assertEqual(200, ask(f"/{token}/do/next", "POST", X_Plexion="1")[0])
        self.wait_for(content="list/b.mvx")
        self.assertEqual(200, ask(f"/{token}/do/pause", "POST", X_Plexion="1")[0])
        self.wait_for(paused=True)
        self.assertEqual(404, ask(f"/{token}/do/quit", "POST", X_Plexion="1")[0])
        self.assertIn(ask(f"/{token}/status", X_Long="x" * 100000)[0], (413, 431))
        for client in idle:
            client.close()
        self.end()

    def test_wrong_words_of_sound_and_page_are_found_before_anything_plays(self):
        self.write("short", "abc\n")
        for arguments, message in [
                (["--look", "localhost:8080"], "ADDRESS:PORT with an address in numbers"),
                (["--look-token", "x"], "it needs --look"),
                (["--look", "127.0.0.1:0", "--look-token", "short"], "it holds no token"),
                (["--sound-output", "Kitchen"], "no output 'Kitchen'; expected auto, none"),
                (["--shellsocket-group", "x"], "it needs --shellsocket")]:
            code, _, err = self.launch(*arguments, "red.mvx")
            self.assertEqual(2, code, err)
            self.assertIn(message, err)
        self.assertEqual(0, self.launch("--sound-output", "none", "red.mvx")[0])

    def test_a_playlist_goes_on_back_and_elsewhere(self):
        for name in ("a", "b", "c"):
            shutil.copy(self.path("long.mvx"), self.path(name + ".mvx"))
        self.start("--signage", "--loop", "a.mvx", "b.mvx")
        self.wait_for(content="a.mvx", item=1, items=2)
        self.assertEqual(0, self.ctl("next")[0])
        self.wait_for(content="b.mvx", item=2)
        self.assertEqual(0, self.ctl("previous")[0])
        self.wait_for(content="a.mvx")
        self.assertEqual(0, self.ctl("play", "c.mvx")[0])
        self.wait_for(content="c.mvx", item=None)
        self.assertEqual(0, self.ctl("play", "b.mvx")[0])
        number = self.wait_for(content="b.mvx")["window"]
        self.assertEqual(0, self.ctl("pause")[0])
        self.wait_for(paused=True)
        self.assertEqual(0, self.ctl("play")[0])
        self.wait_for(paused=False, window=number)
        self.assertIn("no such file", self.ctl("play", "none.mvx")[2])
        self.assertIn("expected main", self.ctl("next", "side")[2])
        self.end()

    def test_windows_are_paused_and_told_of(self):
        self.start("--shellsocket", "run/plexion.sock", "long.mvx", "long.mvx")
        self.wait_for(1, zone="2", content="long.mvx", paused=False)
        while self.status(1)["health"]["frames"] < 5:
            pass
        self.assertEqual(0, self.ctl("pause")[0])
        self.wait_for(0, paused=True)
        self.assertEqual(0, self.ctl("play", "1")[0])
        self.wait_for(0, paused=False)
        self.assertIn("beside each other", self.ctl("next")[2])
        self.end()

    def test_without_a_launcher_it_says_where_it_looked(self):
        self.environment = {**os.environ, "PLEXION_SOCKET": self.path("absent")}
        code, _, err = self.ctl("status")
        self.assertEqual(3, code)
        self.assertIn(self.path("absent") + ": No such file", err)
        for words in ([], ["--sockett", "x"], ["--timeout", "0", "status"], ["play", "a\nquit"]):
            self.assertEqual(2, self.ctl(*words)[0], words)
        # Somebody who listens and never answers.
        listener = socket.socket(socket.AF_UNIX)
        self.addCleanup(listener.close)
        listener.bind(self.path("deaf"))
        listener.listen()
        code, _, err = self.ctl("--socket", self.path("deaf"), "--timeout", "1", "status")
        self.assertEqual((3, "plexion ctl: no answer in time (--timeout)\n"), (code, err))


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

    def test_what_does_not_stop_is_left_within_two_seconds(self):
        os.makedirs(self.path("stuck/fonts"))
        os.mkfifo(self.path("stuck/fonts/never.ttf"))
        self.write("stuck/application.xml", """<application width="96" height="96" rate="30">
            <scene id="s"><text id="t" width="90" height="20">x</text></scene></application>""")
        for number in (signal.SIGINT, signal.SIGTERM):
            process = subprocess.Popen(
                self.command("--shellsocket", "socket", "stuck"), cwd=self.folder,
                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                stdin=subprocess.DEVNULL)
            while not os.path.exists(self.path("socket")):
                self.assertIsNone(process.poll())
            begun = time.monotonic()
            process.send_signal(number)
            _, err = process.communicate(timeout=60)
            self.assertLess(time.monotonic() - begun, 2.5, "half a second for a busy machine")
            self.assertEqual(0, process.returncode, err)
            self.assertFalse(os.path.exists(self.path("socket")))
            self.assertFalse(os.path.exists(f"/tmp/.plexion/app-tmp/{process.pid}"))

    def test_a_reader_that_does_not_read_holds_up_nobody(self):
        self.write("loud.xml", """<application width="96" height="96" rate="60"><scene id="s"/>
            <script>local line = string.rep("x", 1000)
            on("frame", function() for i = 1, 20 do trace(line) end end)</script></application>""")
        process = subprocess.Popen(
            self.command("--tstrace", "--exit-after", "700", "--zorbase", self.folder, "loud.xml"),
            cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
            stdin=subprocess.DEVNULL)
        self.assertEqual(0, process.wait(timeout=60))
        process.stdout.close()

    @unittest.skipUnless(shutil.which("Xvfb"), "needs Xvfb")
    def test_a_display_that_goes_is_no_error_of_the_content(self):
        reader, writer = os.pipe()
        server = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-nolisten", "tcp"],
                                  pass_fds=[writer], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        os.close(writer)
        with os.fdopen(reader) as number:
            display = ":" + number.readline().strip()
        process = subprocess.Popen(
            self.command("--display", "window", "--snapshot", "now.png", "--snapshot-at", "0",
                         "long.mvx"), cwd=self.folder,
            env={**os.environ, "DISPLAY": display}, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            text=True, stdin=subprocess.DEVNULL)
        for line in process.stdout:
            if line.startswith("Snapshot:"):
                break  # it plays
        server.kill()
        _, err = process.communicate(timeout=60)
        self.assertEqual(4, process.returncode, err)
        self.assertIn("plexion: the display has gone: the connection to the X server broke", err)
        self.assertFalse(os.path.exists(f"/tmp/.plexion/app-tmp/{process.pid}"))

    def test_without_a_display_it_says_that_nobody_sees_it(self):
        environment = {"DISPLAY": "", "WAYLAND_DISPLAY": "", "SDL_VIDEODRIVER": ""}
        code, _, err = self.launch("--display", "auto", "red.mvx", environment=environment)
        self.assertEqual(0, code, err)
        self.assertIn("plexion: no display was found: it plays off screen, and nobody sees it", err)

    def test_windows_are_missed_only_by_who_wants_one(self):
        for display, code, told in [
                ("headless", 0, None),
                ("auto", 0, "plexion: no display was found: "),
                ("window", 3, 'cannot open a display: this host has no windows (module "IDisplayWindow"')]:
            got, _, err = self.launch("--display", display, "--modulemap",
                                      "IDisplayWindow:/absent/module.so", "red.mvx",
                                      environment={"DISPLAY": ":0"})
            self.assertEqual(code, got, err)
            self.assertIn(told or "", err)
            self.assertEqual(told is not None, "module IDisplayWindow is not available" in err, err)

    def test_what_killed_launchers_left_is_swept(self):
        process = subprocess.Popen(self.command("long.mvx"), cwd=self.folder,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        left = f"/tmp/.plexion/app-tmp/{process.pid}"
        while not os.path.exists(left):
            self.assertIsNone(process.poll())
        process.kill()
        process.wait()
        self.assertTrue(os.path.exists(left))
        self.assertEqual(0, self.launch("red.mvx")[0])
        self.assertFalse(os.path.exists(left))

    def test_banner_and_version_are_printed_whatever_comes_first(self):
        for arguments in (["--memory-limit", "64M", "red.mvx"],
                          ["--memory-limit", "64M", "--signage", "red.mvx"],
                          ["--gl", "on", "red.mvx", "red.mvx"],
                          ["--signage", "--gl", "on", "red.mvx", "red.mvx"]):
            _, out, _ = self.launch(*arguments)
            self.assertEqual((1, 1), (out.count("\nVersion "), out.count("\nUsing: ")), out)

    def test_temporary_files_are_gone(self):
        process = subprocess.Popen(self.command("red.mvx"), cwd=self.folder,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        process.wait(timeout=100)
        self.assertFalse(os.path.exists(f"/tmp/.plexion/app-tmp/{process.pid}"))


class IsolationStory(Story):
    """Contents in processes of their own, which are found from outside."""

    def start(self, *arguments):
        process = subprocess.Popen(self.command("--isolation", "on", *arguments), cwd=self.folder,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def contents(self, launcher):
        """The processes of a launcher that have taken content, and so have given up rights."""
        found = []
        for task in os.listdir(f"/proc/{launcher}/task"):
            with open(f"/proc/{launcher}/task/{task}/children", encoding="ascii") as children:
                found += [int(child) for child in children.read().split()]
        return sorted(one for one in found if self.has_given_up(one))

    def has_given_up(self, process):
        try:
            with open(f"/proc/{process}/status", encoding="ascii", errors="replace") as status:
                return "Seccomp:\t2" in status.read()
        except OSError:
            return False

    def wait_for(self, condition, what):
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.02)


class Isolation(IsolationStory):
    def test_one_that_crashes_ends_its_window_and_no_other(self):
        for number, name in ((signal.SIGSEGV, "SIGSEGV"), (signal.SIGKILL, "SIGKILL")):
            process = self.start("--exit-after", "4000", "long.mvx", "long.mvx")
            self.wait_for(lambda: len(self.contents(process.pid)) == 2, "two processes")
            victim, other = self.contents(process.pid)
            os.kill(victim, number)
            self.wait_for(lambda: self.contents(process.pid) == [other], "the other plays on")
            _, err = process.communicate(timeout=60)
            self.assertEqual(1, process.returncode, err)
            self.assertRegex(err, r"long\.mvx: kErrorFatalPlaybackError: (long\.mvx: )?the content's "
                             rf"process crashed: it was ended by signal {number.value} .{name}.")
            self.assertEqual(1, err.count("kErrorFatal"), err)

    def test_one_that_stands_still_is_ended_after_two_seconds(self):
        process = self.start("long.mvx")
        self.wait_for(lambda: self.contents(process.pid), "a process")
        os.kill(self.contents(process.pid)[0], signal.SIGSTOP)
        _, err = process.communicate(timeout=60)
        self.assertEqual(1, process.returncode, err)
        self.assertIn("no answer for", err)

    def test_a_killed_launcher_leaves_no_process_behind(self):
        for number in (signal.SIGKILL, signal.SIGTERM, signal.SIGSEGV):
            process = self.start("long.mvx", "long.mvx", "--bgalpha", "3", "long.mvx")
            self.wait_for(lambda: len(self.contents(process.pid)) == 3, "three processes")
            contents = self.contents(process.pid)
            os.kill(contents[0], signal.SIGSTOP)  # one that could not even hear of it
            process.send_signal(number)
            process.wait(timeout=60)
            self.wait_for(lambda: not any(os.path.exists(f"/proc/{one}/exe") for one in contents),
                          "its processes go with it")

    def test_a_bundle_for_a_bug_report_tells_what_was(self):
        process = self.start("--diagnose", "bundle.tar", "--proxyauthentication", "me:hidden",
                             "red.mvx", "cut.mvx")
        process.communicate(timeout=60)
        self.assertEqual(1, process.returncode)
        texts = read_bundle(self.path("bundle.tar"))
        self.assertIn("--proxyauthentication\n(left out)\n", texts["options.txt"])
        self.assertNotIn("hidden", "".join(texts.values()))
        self.assertIn("cut.mvx: kErrorCorruptMovie", texts["log.txt"])
        self.assertIn("system call filter", texts["protection.txt"])
        self.assertRegex(texts["windows.txt"], r"kStatusComplete .* red\.mvx|kErrorCorruptMovie .* cut\.mvx")
        self.assertIn("libc", texts["versions.txt"])
        self.assertIn("VmRSS", texts["memory.txt"])

    def test_the_network_is_for_what_an_application_declares_and_for_no_other(self):
        asked = []

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):  # noqa: N802, as the library wants it
                asked.append(self.path)
                body = b'{"gate": 7}'
                self.send_response(200)
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *_):
                pass
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        there = f"http://127.0.0.1:{server.server_address[1]}"
        sources = {"declared": f'<data id="gates" address="{there}/declared" every="60"/>', "silent": ""}
        for name, declared in sources.items():
            os.mkdir(self.path(name))
            self.write(f"{name}/application.xml",
                       f"""<application width="96" height="96" rate="30">{declared}
                <scene id="s"><image id="i" src="{there}/{name}-image" width="9" height="9"/>
                <media id="m" src="{there}/{name}-media" width="9" height="9"/></scene><script>
                local answers = 0
                on("failed", function(e) trace("{name}", e.id, "failed") end)
                timer.every(0.05, function()
                  local gates = files.json("data:gates")
                  answers = answers + 1
                  if gates then trace("{name}", "gate", gates.gate) end
                  if gates or answers == {1000 if declared else 20} then complete() end
                end)</script></application>""")
        with open(self.path("long.mvx"), encoding="utf-8") as file:
            remote = json.load(file)
        remote["op"] = 30
        remote["assets"] = [{"id": "far", "w": 9, "h": 9, "u": there + "/", "p": "movie", "e": 0}]
        remote["layers"].append({"ty": 2, "refId": "far", "ip": 0, "op": 30, "st": 0, "sr": 1, "ind": 9,
                                 "ks": remote["layers"][0]["ks"]})
        self.write("remote.mvx", json.dumps(remote))
        process = self.start("--tstrace", "declared", "silent", "remote.mvx")
        out, err = process.communicate(timeout=60)
        self.assertEqual(0, process.returncode, err)
        self.assertIn("TallyScript: declared\tgate\t7", out)
        self.assertNotIn("silent\tgate", out)
        self.assertEqual(["/declared"], asked, out + err)

    def test_one_that_failed_comes_back(self):
        process = self.start("--restart-failed", "1", "long.mvx")
        self.wait_for(lambda: self.contents(process.pid), "a process")
        first = self.contents(process.pid)
        os.kill(first[0], signal.SIGSEGV)
        self.wait_for(lambda: self.contents(process.pid) not in ([], first), "another process")
        second = self.contents(process.pid)
        self.wait_for(lambda: self.contents(process.pid) == second, "one")
        os.kill(second[-1], signal.SIGSEGV)
        _, err = process.communicate(timeout=60)
        self.assertEqual(1, process.returncode)
        self.assertEqual(1, err.count("comes back in 1 s (1 of 1)"), err)
        self.assertEqual(2, err.count("SIGSEGV"), err)


class Killing(IsolationStory):
    """Contents' processes that are ended at every moment, and what is left of them: nothing."""

    def all_contents(self, launcher):
        found = []
        for task in os.listdir(f"/proc/{launcher}/task"):
            try:
                with open(f"/proc/{launcher}/task/{task}/children", encoding="ascii") as children:
                    found += [int(child) for child in children.read().split()]
            except OSError:
                pass  # a thread that has just ended
        return found

    def shared(self, process):
        """What it shares with others: memory without a file, sockets, pipes."""
        found = set()
        for number in os.listdir(f"/proc/{process}/fd"):
            try:
                name = os.readlink(f"/proc/{process}/fd/{number}")
                if name.startswith(("/memfd:plexion", "socket:", "pipe:")):
                    status = os.stat(f"/proc/{process}/fd/{number}")
                    found.add((status.st_dev, status.st_ino, name))
            except OSError:
                pass
        return found

    def who_has(self, shared):
        """Processes of this machine that have any of it."""
        own = {os.getpid(), os.getppid()}
        return [process for process in map(int, filter(str.isdigit, os.listdir("/proc")))
                if process not in own and os.access(f"/proc/{process}/fd", os.R_OK)
                and self.shared_or_none(process) & shared]

    def shared_or_none(self, process):
        try:
            return self.shared(process)
        except OSError:
            return set()

    def expect_nothing_left(self, launcher, contents, shared):
        self.wait_for(lambda: not any(os.path.exists(f"/proc/{one}/exe") for one in contents),
                      "its processes go with it")
        self.wait_for(lambda: not self.who_has(shared), f"{shared} are still there")
        self.assertFalse(os.path.exists(f"/proc/{launcher}/exe"))

    def test_at_every_moment_of_a_playlist_it_plays_on(self):
        names = ["red-second.mvx", "green-second.mvx", "blue-second.mvx"]
        for number in (signal.SIGSEGV, signal.SIGKILL, signal.SIGSTOP):
            with self.subTest(number.name):
                process = self.start("--signage", "--loop", "--restart-failed", "9", *names)
                seen, ended = set(), 0
                deadline = time.monotonic() + (12 if number == signal.SIGSTOP else 6)
                while time.monotonic() < deadline:
                    self.assertIsNone(process.poll(), "the launcher goes on")
                    for one in self.all_contents(process.pid):
                        if one in seen:
                            continue
                        seen.add(one)
                        # Some at once, while they start or load, some while they play, some never.
                        if len(seen) % 3 == 0:
                            continue
                        time.sleep(0.25 * (len(seen) % 4))
                        try:
                            os.kill(one, number)
                            ended += 1
                        except OSError:
                            pass
                    time.sleep(0.01)
                shared = self.shared(process.pid)
                contents = self.all_contents(process.pid)
                process.send_signal(signal.SIGTERM)
                _, err = process.communicate(timeout=60)
                self.assertGreater(ended, 2, err)
                self.assertIn(process.returncode, (0, 1), err)
                self.assertNotIn("by force", err)
                self.expect_nothing_left(process.pid, contents, shared)

    def test_all_of_them_at_once_end_their_windows_alone(self):
        process = self.start("--shellsocket", "socket", "long.mvx", "long.mvx", "--bgalpha", "3",
                             "long.mvx")
        self.wait_for(lambda: len(self.contents(process.pid)) == 3, "three processes")
        contents, shared = self.contents(process.pid), self.shared(process.pid)
        for one in contents:
            os.kill(one, signal.SIGKILL)
        _, err = process.communicate(timeout=60)
        self.assertEqual(1, process.returncode, err)
        self.assertEqual(3, err.count("kErrorFatalPlaybackError"), err)
        self.expect_nothing_left(process.pid, contents, shared)
        self.assertFalse(os.path.exists(self.path("socket")))

    def test_a_killed_launcher_leaves_nothing_that_anybody_has(self):
        process = self.start("long.mvx", "long.mvx")
        self.wait_for(lambda: len(self.contents(process.pid)) == 2, "two processes")
        contents, shared = self.contents(process.pid), self.shared(process.pid)
        self.assertTrue([one for one in shared if "plexion-plane" in one[2]], "planes are shared")
        self.assertTrue(self.who_has(shared), "the launcher has them")
        process.kill()
        process.wait(timeout=60)
        self.expect_nothing_left(process.pid, contents, shared)


def read_options(*further):
    """For the stories that lie in files of their own as well."""
    global OPTIONS  # pylint: disable=global-statement
    parser = argparse.ArgumentParser()
    for option in ("--launcher", "--recorder", *further):
        parser.add_argument(option, required=True)
    parser.add_argument("story")
    OPTIONS = parser.parse_args()
    return OPTIONS


if __name__ == "__main__":
    read_options()
    unittest.main(argv=[sys.argv[0], OPTIONS.story], verbosity=2)
