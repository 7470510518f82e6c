#!/usr/bin/env python3
"""Stories of the built launcher in which the screen is turned, changes its size, or is switched.

usage: screen_test.py --launcher FILE --recorder FILE STORY
"""

import ctypes
import ctypes.util
import json
import os
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

import launcher_test
from launcher_test import Steered, Story, read_png


class Viewer:
    """A VNC viewer that sees the screen's size and has a pointer."""

    def __init__(self, port):
        self.stream = socket.create_connection(("127.0.0.1", port), timeout=60)
        self.take(12)
        self.stream.sendall(b"RFB 003.008\n")
        kinds = self.take(self.take(1)[0])
        assert 1 in kinds, "no login without a password"
        self.stream.sendall(b"\x01")
        assert self.take(4) == bytes(4)
        self.stream.sendall(b"\x01")
        self.size = struct.unpack(">HH", self.take(4))

    def take(self, count):
        data = b""
        while len(data) < count:
            more = self.stream.recv(count - len(data))
            assert more, "the server has gone"
            data += more
        return data

    def click(self, x, y):
        for buttons in (0, 1, 0):
            self.stream.sendall(struct.pack(">BBHH", 5, buttons, x, y))

    def close(self):
        self.stream.close()


class Turned(Story):
    def test_a_viewers_pointer_is_where_it_clicks_on_a_turned_screen(self):
        os.mkdir(self.path("touch"))
        self.write("touch/application.xml",
                   '<application width="60" height="90" rate="30"><scene id="main"/>'
                   '<script src="main.lua"/></application>')
        self.write("touch/main.lua", "on('activate', function() trace('here I am') end)\n"
                   "on('pointer', function(kind, x, y) "
                   "if kind == 'down' then trace('at ' .. x .. ' ' .. y) end end)\n")
        for degrees in ("90", "270"):
            process = subprocess.Popen(
                self.command("--screen", "90x60", "--rotate", degrees, "--tstrace",
                             "--mousestream", "127.0.0.1:0", "touch"),
                cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT, text=True)
            try:
                port = self.read_until(process, r"127\.0\.0\.1:(\d+)")
                viewer = Viewer(int(port))
                self.assertEqual((60, 90), viewer.size, "as it is seen, turned")
                self.read_until(process, r"(here I am)")
                viewer.click(7, 83)
                found = self.read_until(process, r"at (\S+ \S+)")
                self.assertEqual([7, 83], [round(float(word)) for word in found.split()])
                viewer.close()
            finally:
                process.kill()
                process.communicate()

    def read_until(self, process, pattern):
        for line in process.stdout:
            found = re.search(pattern, line)
            if found:
                return found.group(1)
        self.fail("the launcher ended")
        return None


class XWindow:
    """The window in full screen on an X server of its own, and changes of its size."""

    def __init__(self, display):
        self.x = ctypes.CDLL(ctypes.util.find_library("X11"))
        self.x.XOpenDisplay.restype = ctypes.c_void_p
        self.x.XDefaultRootWindow.restype = ctypes.c_ulong
        self.connection = ctypes.c_void_p(self.x.XOpenDisplay(display.encode()))

    def resize(self, width, height):
        """As a compositor does with whoever fills its output, when that has another mode."""
        root = ctypes.c_ulong(self.x.XDefaultRootWindow(self.connection))
        ignored, children, count = ctypes.c_ulong(), ctypes.POINTER(ctypes.c_ulong)(), ctypes.c_uint()
        self.x.XQueryTree(self.connection, root, ctypes.byref(ignored), ctypes.byref(ignored),
                          ctypes.byref(children), ctypes.byref(count))
        for window in children[:count.value]:
            self.x.XResizeWindow(self.connection, ctypes.c_ulong(window), width, height)
        self.x.XSync(self.connection, 0)

    def close(self):
        self.x.XCloseDisplay(self.connection)


@unittest.skipUnless(shutil.which("Xvfb") and ctypes.util.find_library("X11"),
                     "needs Xvfb and libX11")
class Modes(Steered):
    def command(self, *arguments, data=None):
        return [OPTIONS.launcher, "--display", "fullscreen", "--datadir", self.path("data"),
                *arguments]

    def setUp(self):
        super().setUp()
        reader, writer = os.pipe()
        server = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-screen", "0", "640x480x24",
                                   "-nolisten", "tcp"], pass_fds=[writer], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        os.close(writer)
        with os.fdopen(reader) as number:
            os.environ["DISPLAY"] = ":" + number.readline().strip()
        self.addCleanup(os.environ.pop, "DISPLAY")
        shutil.copy(self.path("long.mvx"), self.path("red-long.mvx"))
        self.write("blue-long.mvx", json.dumps(launcher_test.movie([0, 0, 1], 60000)))
        self.deadline = time.monotonic() + 60

    def window(self):
        window = XWindow(os.environ["DISPLAY"])
        self.addCleanup(window.close)
        return window

    def wait_for_pixels(self, size, expected):
        """Until the screen has that size and these colours at these places."""
        while True:
            if self.ctl("snapshot", "now.png")[0] != 0:
                continue  # the display is being opened
            width, height, rows = read_png(self.path("now.png"))
            found = {place: rows[place[1]][place[0]] for place in expected} \
                if (width, height) == size else None
            if found == expected:
                return
            if time.monotonic() > self.deadline:
                self.fail(f"{width}x{height} has {found}, expected {size} with {expected}")

    def test_zones_and_their_contents_follow_a_display_that_changes_its_mode(self):
        self.write("day.json", json.dumps({
            "playlists": {"red": ["red-long.mvx"], "blue": ["blue-long.mvx"]},
            "zones": [{"name": "left", "rect": [0, 0, "50%", "100%"], "playlist": "red"},
                      {"name": "right", "rect": ["50%", 0, "50%", "100%"], "playlist": "blue",
                       "fit": "cover"}]}))
        self.start("--programme", "day.json")
        red, blue, black = (255, 0, 0), (0, 0, 255), (0, 0, 0)
        # A square movie: whole between bars on the left, without bars on the right.
        self.wait_for_pixels((640, 480), {(160, 240): red, (160, 470): black, (0, 240): red,
                                          (480, 240): blue, (480, 470): blue, (320, 240): blue})
        window = self.window()
        window.resize(400, 200)
        self.wait_for_pixels((400, 200), {(5, 190): red, (100, 100): red, (199, 190): red,
                                          (201, 190): blue, (395, 190): blue})
        self.assertEqual("full screen 400x200", json.loads(self.ctl("status", "--json")[1])["display"])
        # Larger than ever, which takes planes of another size.
        window.resize(900, 300)
        self.wait_for_pixels((900, 300), {(10, 150): black, (225, 280): red, (440, 150): black,
                                          (460, 150): blue, (890, 280): blue})
        self.end()

    def test_all_zones_are_laid_out_in_one_frame(self):
        zones = [{"name": f"zone{i}", "rect": [f"{i % 3 * 100 / 3}%", f"{i // 3 * 50}%", f"{100 / 3}%", "50%"],
                  "playlist": "red" if i % 2 else "blue"} for i in range(6)]
        for name in ("red", "blue"):
            self.write(name + ".svg", '<svg xmlns="http://www.w3.org/2000/svg" width="90" height="90">'
                       f'<rect width="90" height="90" fill="{name}"/></svg>')
        # One content takes its time to draw at another size.
        os.mkdir(self.path("slow"))
        self.write("slow/application.xml", '<application width="90" height="90" rate="1"><scene id="main">'
                   '<rectangle width="90" height="90" fill="#ff0000"/>' +
                   '<rectangle x="20" y="20" width="50" height="50" fill="#ff0000" blur="6"/>' * 60 +
                   '</scene></application>')
        zones[1]["playlist"] = "slow"
        self.write("day.json", json.dumps(
            {"playlists": {"red": ["red.svg"], "blue": ["blue.svg"], "slow": ["slow"]}, "zones": zones}))
        os.environ["PLEXION_FRAME_LOG"] = self.path("log")
        self.addCleanup(os.environ.pop, "PLEXION_FRAME_LOG")
        self.start("--programme", "day.json", "--look", "127.0.0.1:1",
                   "--modulemap", "IHostLook:" + OPTIONS.recorder)
        # Squares in the middle of 213x240 each.
        self.wait_for_pixels((640, 480), {(106, 120): (0, 0, 255), (106, 360): (255, 0, 0),
                                          (533, 120): (0, 0, 255), (533, 360): (255, 0, 0)})
        self.window().resize(400, 200)
        # 133x100 each: the squares reach from top to bottom.
        self.wait_for_pixels((400, 200), {(66, 5): (0, 0, 255), (333, 105): (255, 0, 0),
                                          (3, 50): (0, 0, 0), (396, 150): (0, 0, 0),
                                          (140, 50): (0, 0, 0), (200, 5): (255, 0, 0)})
        with open(self.path("log"), encoding="utf-8") as log:
            frames = [line.split() for line in log if line.endswith("\n")]
        self.end()
        # Where the first zone was, and is not: the lower one is there now.
        pictures = {frame[2] for frame in frames if frame[5] == "400x200" and frame[3] == "ffff0000"}
        self.assertEqual(1, len(pictures), "some zones were laid out before others")

    def test_a_display_that_changes_in_the_middle_of_a_fade_ends_it(self):
        fade = {"content": "blue-long.mvx", "duration": "60s",
                "transition": {"kind": "fade", "duration": "40s"}}
        self.write("day.json", json.dumps({
            # An item without a duration: else the playlist would be entered where it would be by now.
            "playlists": {"all": ["red.mvx", fade]},
            "zones": [{"name": "main", "playlist": "all", "fit": "stretch"}]}))
        self.start("--programme", "day.json")
        while True:
            if self.ctl("snapshot", "now.png")[0] == 0:
                _, _, rows = read_png(self.path("now.png"))
                if rows[240][320][0] > 0 and rows[240][320][2] > 0:
                    break  # both are seen
            self.assertLess(time.monotonic(), self.deadline)
        self.window().resize(400, 200)
        self.wait_for_pixels((400, 200), {(5, 5): (0, 0, 255), (395, 195): (0, 0, 255)})
        self.end()


@unittest.skipUnless(shutil.which("sway") and shutil.which("grim"), "needs sway and grim")
class Wayland(Steered):
    """In full screen under a compositor without a display, as that has it in the end."""

    def command(self, *arguments, data=None):
        return [OPTIONS.launcher, "--display", "fullscreen", "--datadir", self.path("data"), *arguments]

    def setUp(self):
        super().setUp()
        runtime = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, runtime)
        config = os.path.join(runtime, "config")
        with open(config, "w", encoding="utf-8") as file:
            file.write("xwayland disable\noutput * resolution 640x480\ndefault_border none\n"
                       'for_window [app_id=".*"] fullscreen enable\n')
        # It refuses to run as root; root may use its socket all the same.
        user = []
        if os.geteuid() == 0:
            user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
            os.chown(runtime, 65534, 65534)
            os.chown(config, 65534, 65534)
        compositor = subprocess.Popen(
            [*user, "sway", "--config", config], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "XDG_RUNTIME_DIR": runtime, "WLR_BACKENDS": "headless",
                 "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1"})
        os.environ["SDL_VIDEODRIVER"] = "wayland"
        for name in ("SDL_VIDEODRIVER", "WAYLAND_DISPLAY", "SWAYSOCK"):
            self.addCleanup(os.environ.pop, name, None)
        self.addCleanup(compositor.wait)
        self.addCleanup(compositor.kill)
        self.deadline = time.monotonic() + 60
        for name, prefix in (("WAYLAND_DISPLAY", "wayland-"), ("SWAYSOCK", "sway-ipc.")):
            while True:
                found = [entry for entry in os.listdir(runtime)
                         if entry.startswith(prefix) and not entry.endswith(".lock")]
                if found:
                    break
                self.assertIsNone(compositor.poll(), "the compositor ended")
                self.assertLess(time.monotonic(), self.deadline)
            os.environ[name] = os.path.join(runtime, found[0])

    def wait_for_output(self, size, expected):
        while True:
            picture = subprocess.run(["grim", "-t", "ppm", "-"], capture_output=True, check=False).stdout
            head = picture.split(b"\n", 3)
            if len(head) == 4 and head[1] == b"%d %d" % size:
                found = {(x, y): tuple(head[3][(y * size[0] + x) * 3:][:3]) for x, y in expected}
                if found == expected:
                    return
            self.assertLess(time.monotonic(), self.deadline, head[:3])

    def test_what_stands_still_is_seen_beside_what_moves_also_in_another_mode(self):
        for name in ("red", "blue"):
            self.write(name + ".svg", '<svg xmlns="http://www.w3.org/2000/svg" width="90" height="90">'
                       f'<rect width="90" height="90" fill="{name}"/></svg>')
        self.write("day.json", json.dumps({
            "playlists": {"red": ["red.svg"], "blue": ["blue.svg"], "all": ["long.mvx"]},
            "zones": [{"name": name, "rect": [f"{25 * i}%", 0, width, "100%"], "playlist": name,
                       "fit": "stretch"} for i, (name, width) in
                      enumerate((("red", "25%"), ("blue", "25%"), ("all", "50%")))]}))
        self.start("--programme", "day.json")
        for size, mode in (((640, 480), None), ((400, 200), "400x200")):
            if mode:
                subprocess.run(["swaymsg", "output", "HEADLESS-1", "resolution", mode], check=True,
                               stdout=subprocess.DEVNULL)
            width, height = size
            stills = {(5, 5): (255, 0, 0), (5, height - 5): (255, 0, 0), (width // 2 - 5, 5): (0, 0, 255)}
            self.wait_for_output(size, stills)
            # Each of its buffers comes round a few times.
            before = json.loads(self.ctl("status", "--json")[1])["framesPresented"]
            while json.loads(self.ctl("status", "--json")[1])["framesPresented"] < before + 10:
                self.assertLess(time.monotonic(), self.deadline)
            self.wait_for_output(size, stills)
        self.end()


class Switches(Story):
    """Every frame of a programme in which one content follows another."""

    def test_each_frame_of_a_transition_shows_the_one_or_the_other(self):
        shutil.copy(self.path("long.mvx"), self.path("red-long.mvx"))
        self.write("blue-long.mvx", json.dumps(launcher_test.movie([0, 0, 1], 60000)))

        def item(color, kind):
            return {"content": color + "-long.mvx", "duration": "900ms",
                    "transition": {"kind": kind, "duration": "600ms"}}
        self.write("day.json", json.dumps(
            {"playlists": {"all": [item("red", "cut"), item("blue", "fade"), item("red", "push"),
                                   item("blue", "wipe"), item("red", "cut")]},
             "zones": [{"name": "main", "playlist": "all"}]}))
        code, _, err = self.launch(
            "--programme", "day.json", "--look", "127.0.0.1:1", "--exit-after", "7000",
            "--modulemap", "IHostLook:" + OPTIONS.recorder,
            environment={"PLEXION_FRAME_LOG": self.path("log")})
        self.assertEqual(0, code, err)
        frames = []
        with open(self.path("log"), encoding="utf-8") as log:
            for line in log:
                _, middle, _, left, right, _ = line.split()
                frames.append(tuple(bytes.fromhex(pixel[2:]) for pixel in (left, middle, right)))
        self.check(frames)

    def check(self, frames):
        red, blue, black = b"\xff\0\0", b"\0\0\xff", b"\0\0\0"
        while frames and frames[0] == (black,) * 3:
            frames.pop(0)  # before the first content
        while frames and frames[-1] == (black,) * 3:
            frames.pop()  # after the last
        moves, mixed = [], 0
        for frame in frames:
            for pixel in frame:
                # A frame of neither would be darker, or have a colour of no content.
                self.assertEqual(0, pixel[1], frame)
                self.assertAlmostEqual(255, pixel[0] + pixel[2], delta=2, msg=str(frame))
            if set(frame) <= {red, blue}:
                if not moves or moves[-1] != frame:
                    moves.append(frame)
            else:
                self.assertEqual(1, len(set(frame)), "a fade is the same everywhere")
                mixed += 1
        self.assertGreater(mixed, 3, "the fade in steps")
        # Push and wipe come from the right, one side after the other.
        self.assertTrue(self.contains(moves, [(blue,) * 3, (blue, blue, red), (red,) * 3]), moves)
        self.assertTrue(self.contains(moves, [(red,) * 3, (red, red, blue), (blue,) * 3]), moves)

    def contains(self, moves, order):
        """Whether these follow each other, with others between them."""
        rest = iter(moves)
        return all(any(each == wanted for each in rest) for wanted in order)


if __name__ == "__main__":
    OPTIONS = launcher_test.read_options()
    unittest.main(argv=[sys.argv[0], OPTIONS.story], verbosity=2)
