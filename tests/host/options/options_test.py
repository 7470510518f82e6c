#!/usr/bin/env python3
"""Each option of a window, given to the built launcher, and what a person then sees of it.

usage: options_test.py --launcher FILE --recorder FILE STORY
"""

import argparse
import http.server
import os
import re
import sys
import threading
import unittest

ROOT = os.path.dirname(os.path.abspath(__file__)) + "/../../.."
sys.path.insert(0, ROOT + "/tests/host/EndToEnd")
import launcher_test  # pylint: disable=wrong-import-position
from launcher_test import SIZE, Story  # pylint: disable=wrong-import-position

HALF = SIZE // 2
BLACK, RED, BLUE = (0, 0, 0), (255, 0, 0), (0, 0, 255)
SECOND = "red-second.mvx"


class Effect:
    """Arguments in front of a content, and what is then to be seen of them."""

    def __init__(self, field, arguments, code=0, says=(), silent=(), pixels=(), content="red.mvx"):
        self.field = field  # of the parameters record
        self.command = [*arguments.split(), content]
        self.code = code
        self.says = [says] if isinstance(says, str) else says  # patterns, in what is printed
        self.silent = [silent] if isinstance(silent, str) else silent
        self.pixels = pixels  # (x, y, colour) of the last picture


PLAYS = [
    Effect("contentPath", "", pixels=[(HALF, HALF, BLUE)], content="blue.mvx"),
    Effect("keymap", "--keymap absent.keys", 2, r"--keymap: absent\.keys"),
    Effect("contentDims", "--spdump --contentdims 48,24",
           says=[r"contentDims\.width = 48", r"contentDims\.height = 24"],
           pixels=[(24, 12, RED), (HALF, 40, BLACK), (60, 12, BLACK)]),
    Effect("outputDims", "--outputdims 48,48", pixels=[(40, 40, RED), (60, 40, BLACK)]),
    Effect("outputRect", "--outputrect 48,0,48,48", pixels=[(60, 40, RED), (40, 40, BLACK)]),
    Effect("qlrArgs", "--qlrargs anything", says="--qlrargs has no effect"),
    Effect("graphicsMemThreshold", "--graphicsmemthreshold 1M --contentdims 600,600",
           says=r"YELLOW ALERT: red\.mvx uses \d+ bytes of graphics memory; the threshold is 1 MB"),
    Effect("graphicsMemThreshold", "--contentdims 600,600", silent="graphics memory"),
    Effect("memoryLimit", "--memory-limit 4K", 1, ["exceeded memlimit of 4096 bytes",
                                                   "red.mvx: kErrorNotEnoughMemory"]),
    Effect("memoryLimit", "--memory-limit 64M", silent="memlimit"),
    Effect("traceFps", "--tracefps 200MS", says=r"FPS: \d+\.\d \(red-second", content=SECOND),
    Effect("noSpeedLimit", "--nospeedlimit --instrument", says=r"skipped 0, late 0"),
    Effect("instrument", "--instrument", says=["Source file loaded: ", "Begin play: ",
                                               "First screen update ", r"Player: red\.mvx: load"]),
    Effect("spdump", "--spdump --proxyauthentication me secret",
           says=[r"Parameter of red\.mvx: bgAlpha = 255", "proxyUser = me",
                 r"proxyPassword = \(not shown\)"], silent="secret"),
    Effect("gl", "--gl on", 3, r"module IMorvelRuntimeGLLib is not available, and --gl on needs it: "
           r"leave --gl out, or name its library with --modulemap IMorvelRuntimeGLLib:FILE"),
    Effect("gl", "--gl off", pixels=[(HALF, HALF, RED)]),
    Effect("locale", "--locale C.UTF-8", says=["Desired locale: C.UTF-8", "Locale set to: C.UTF-8"]),
    Effect("morvelVars", "--morvelvars loop=2x", 1, r'variable loop is "2x"; expected a number'),
    Effect("mouseStream", "--mousestream 127.0.0.1:0", says=r"Pointer stream at 127\.0\.0\.1:\d+"),
    Effect("dcts", "--spdump --dcts", says="dcts = 1", pixels=[(HALF, HALF, RED)]),
]

SCRIPT = """
trace("profile=" .. vars.profile, "args=" .. table.concat(args, "|"), "locale=" .. locale)
if vars.keep then local hoard = {} for i = 1, 3000000 do hoard[i] = "text number " .. i end end
if vars.slow then timer.after(tonumber(vars.slow), complete) else complete() end
"""
APPLICATION = "--tstrace --zorbase app"
APPLICATIONS = [
    Effect("zorBase", APPLICATION, says=r"TallyScript: profile=tv\s+args=\s+locale=en_US\.UTF-8"),
    Effect("zorCmdLine", APPLICATION + " --zorcmdline a=1", says=r"args=a=1\s"),
    Effect("profile", APPLICATION + " --profile extendedTV", says="profile=extendedTV"),
    Effect("locale", APPLICATION + " --locale de_DE.UTF-8", says=r"locale=de_DE\.UTF-8"),
    Effect("traceFlags", "--tstrace --notstrace --zorbase app", silent="TallyScript:"),
    Effect("debugMode", "--debugmode --zorbase app", says=r"TallyScript: main\.lua:2: profile"),
    Effect("gcHeapLimit", APPLICATION + " --gcheaplimit 4 --morvelvars keep", 1, r"4 MB"),
    Effect("fontDirs", APPLICATION + " --fontdirs absent", says='no font was found in "absent"'),
]
# Shown by stories of their own, below or with the launcher's others.
BELOW = {"base", "bgAlpha", "keyMaster", "mouseFeedback", "proxy", "proxyPort",
         "proxyUser", "proxyPassword", "sslCertsDir"}


class Options(Story):
    def check(self, effect):
        picture = effect.field + ".png"
        code, out, err = self.launch("--snapshot", picture, *effect.command)
        text = out + err
        self.assertEqual(effect.code, code, text)
        for pattern in effect.says:
            self.assertRegex(text, pattern)
        for pattern in effect.silent:
            self.assertNotRegex(text, pattern)
        for x, y, color in effect.pixels:
            self.assertEqual(color, self.pixel(picture, x, y), f"at {x},{y}")

    def test_each_option_has_its_effect(self):
        for effect in PLAYS:
            with self.subTest(" ".join(effect.command)):
                self.check(effect)

    def test_applications_see_their_options(self):
        os.mkdir(self.path("app"))
        self.write("app/application.xml", '<application width="96" height="96"><script src="main.lua"/>'
                   '<scene id="first"/></application>')
        self.write("app/main.lua", SCRIPT)
        for effect in APPLICATIONS:
            effect.command[-1] = "application.xml"
            with self.subTest(" ".join(effect.command)):
                self.check(effect)

    def test_contents_are_looked_for_below_the_base(self):
        os.mkdir(self.path("below"))
        os.rename(self.path("red.mvx"), self.path("below/only.mvx"))
        self.assertEqual(1, self.launch("only.mvx")[0])
        self.assertEqual(0, self.launch("--base", self.path("below"), "only.mvx")[0])

    def test_the_background_is_as_opaque_as_asked(self):
        # An empty movie over a red one: what lies below shines through.
        empty = launcher_test.movie([1, 0, 0], 60)
        empty["layers"][0]["shapes"] = empty["layers"][0]["shapes"][:1]
        self.write("empty-movie.mvx", launcher_test.json.dumps(empty))
        for alpha, red in ((0, 255), (128, 127), (255, 0)):
            code, _, err = self.launch("--snapshot", "a.png", "--snapshot-at", "300", SECOND,
                                       "--bgalpha", str(alpha), "empty-movie.mvx")
            self.assertEqual(0, code, err)
            self.assertAlmostEqual(red, self.pixel("a.png", HALF, 80)[0], delta=1)


class Proxy(http.server.BaseHTTPRequestHandler):
    """Answers 404 to whatever is asked, and notes what that was."""
    seen = []

    def do_GET(self):  # pylint: disable=invalid-name
        Proxy.seen.append((self.path, self.headers.get("Proxy-Authorization")))
        if self.headers.get("Proxy-Authorization") is None:
            self.send_response(407)
            self.send_header("Proxy-Authenticate", 'Basic realm="test"')
        else:
            self.send_response(404)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def log_message(self, *_):  # pylint: disable=arguments-differ
        pass


class Network(Story):
    def test_remote_content_is_fetched_through_the_proxy(self):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Proxy)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        code, _, err = self.launch(
            "--proxy", "127.0.0.1", str(server.server_port), "--proxyauthentication", "me", "secret",
            "http://content.invalid/film.mp4", environment={"no_proxy": "", "NO_PROXY": ""})
        self.assertEqual(1, code, err)
        self.assertIn("http://content.invalid/film.mp4", [path for path, _ in Proxy.seen])
        self.assertIn("Basic bWU6c2VjcmV0", [words for _, words in Proxy.seen])

    def test_a_folder_without_certificates_is_refused(self):
        code, _, err = self.launch("--sslcertsdir", self.folder, "http://127.0.0.1:1/film.mp4")
        self.assertEqual(1, code)
        self.assertIn("holds no certificates", err)


class Keys(Story):
    start, type, wait_for, end = (getattr(launcher_test.Operator, name)
                                  for name in ("start", "type", "wait_for", "end"))

    def test_a_key_master_has_the_keys(self):
        self.start("long.mvx", "--keymaster", "long.mvx")
        self.wait_for(2, status="kStatusPlaying", keys="yes")
        self.wait_for(1, status="kStatusPlaying", keys="no")
        self.end()


class Document(unittest.TestCase):
    """docs/options.md has a row for each field, with its options and its default."""

    def setUp(self):
        def read(name):
            with open(os.path.join(ROOT, name), encoding="utf-8") as file:
                return file.read()
        header = read("qx/plexion/StageWindowParameters.h").split("struct StageWindowParameters {")[1]
        self.fields = re.findall(r"^  [\w:<>* ]+?[ *](\w+);", header.split("\n};")[0], re.M)
        self.text = read("docs/options.md")
        self.rows = {cells[1].strip(" `"): cells for cells in
                     (line.split("|") for line in self.text.splitlines() if line.startswith("| "))}
        self.service = re.findall(r'(?:Read|Text|Switch|Ignored)\("(\w+)"',
                                  read("qx/plexion/PlexionCommandLine.cpp"))
        self.launcher = re.findall(r'add_(?:option|flag)\("(?:-h,)?(--[\w-]+)"',
                                   read("host/launcher/CommandLine.cpp"))
        # Fields that only a host sets: the module's and the player's own suites set them.
        self.others = ""
        for folder, _, names in os.walk(os.path.join(ROOT, "tests")):
            for name in names:
                if name.endswith(".cpp"):
                    self.others += read(os.path.join(folder, name))

    def test_every_field_has_its_row_and_its_test(self):
        self.assertEqual(47, len(self.fields))
        tested = BELOW | {effect.field for effect in PLAYS + APPLICATIONS}
        for field in self.fields:
            self.assertIn(field, self.rows)
            self.assertTrue(field in tested or re.search(rf"\b{field}\b", self.others), f"no test of {field}")

    def test_every_option_is_there(self):
        self.assertLess(30, len(self.service))
        for option in ["--" + name for name in self.service] + self.launcher:
            self.assertIn(f"`{option}", self.text)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--launcher", "--recorder"):
        parser.add_argument(option, required=True)
    parser.add_argument("story")
    launcher_test.OPTIONS = parser.parse_args()
    unittest.main(argv=[sys.argv[0], launcher_test.OPTIONS.story], verbosity=2)
