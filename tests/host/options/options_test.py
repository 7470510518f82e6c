#!/usr/bin/env python3
"""Each option of a window, given to the built launcher, and what a person then sees of it.

usage: options_test.py --launcher FILE --recorder FILE --certificates PROGRAM STORY
"""

import argparse
import concurrent.futures
import functools
import http.server
import os
import re
import ssl
import subprocess
import sys
import threading
import time
import unittest

ROOT = os.path.dirname(os.path.abspath(__file__)) + "/../../.."
sys.path.insert(0, ROOT + "/tests/host/end_to_end")
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
    # A square on a screen of its shape; in a rectangle twice as high it keeps its own.
    Effect("contentDims", "--outputrect 0,0,48,96", pixels=[(24, 48, RED), (24, 16, BLACK),
                                                            (24, 80, BLACK), (60, 48, BLACK)]),
    Effect("contentDims", "--fit cover --outputrect 0,0,48,96",
           pixels=[(24, 16, RED), (24, 80, RED), (60, 48, BLACK)]),
    Effect("contentDims", "--fit stretch --outputrect 0,48,96,48",
           pixels=[(4, 60, RED), (92, 90, RED), (48, 40, BLACK)]),
    Effect("contentDims", "--fit none --screen 192x192",
           pixels=[(96, 96, RED), (40, 96, BLACK), (152, 96, BLACK), (96, 40, BLACK)]),
    Effect("contentDims", "--screen 192x192", pixels=[(4, 4, RED), (188, 188, RED)]),
    Effect("contentDims", "--screen 192x192 --contentdims 48,48",
           pixels=[(24, 24, RED), (60, 24, BLACK), (24, 60, BLACK)]),
    Effect("contentDims", "--screen 40x40", silent="YELLOW ALERT: scaling", pixels=[(20, 20, RED)]),
    # On a display of 192x96 that stands upright.
    Effect("contentDims", "--rotate 90 --screen 192x96",
           pixels=[(48, 60, RED), (48, 130, RED), (48, 40, BLACK), (48, 150, BLACK)]),
    Effect("contentDims", "--screen 3840x2160", silent="graphics memory"),
    Effect("contentDims", "--rotate 45", 2, "--rotate: '45' is not 0, 90, 180 or 270"),
    Effect("contentDims", "--fit fill", 2, "--fit: 'fill' is not contain, cover, stretch or none"),
    Effect("qlrArgs", "--qlrargs anything", says="--qlrargs has no effect"),
    Effect("graphicsMemThreshold", "--graphicsmemthreshold 1M --contentdims 600,600",
           says=r"YELLOW ALERT: red\.mvx uses \d+ bytes of graphics memory; the threshold is 1 MB"),
    Effect("graphicsMemThreshold", "--contentdims 600,600", silent="graphics memory"),
    Effect("memoryLimit", "--memory-limit 4K", 1, ["exceeded memlimit of 4096 bytes",
                                                   "red.mvx: kErrorNotEnoughMemory"]),
    Effect("memoryLimit", "--memory-limit 64M", silent="memlimit"),
    Effect("traceFps", "--tracefps 200MS", says=r"FPS: [1-9]\d*\.\d \(red-second", content=SECOND),
    # At this speed the twenty frames last half a minute, unless there is no limit.
    Effect("noSpeedLimit", "--nospeedlimit --instrument --morvelvars speed=0.01 --exit-after 20000",
           says=r"frames drawn 20, .*skipped 0, late 0"),
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
    Effect("startAt", "--start-at 25:00:00", 2, "--start-at: '25:00:00' is not a time HH:MM"),
]

SCRIPT = """
trace("profile=" .. vars.profile, "args=" .. table.concat(args, "|"), "locale=" .. locale)
if vars.keep then local hoard = {} for i = 1, 3000000 do hoard[i] = "text number " .. i end end
if vars.extension then trace("extension=" .. require("greeting")) end
complete()
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
    Effect("extensionsDir", APPLICATION + " --extensionsdir extensions --morvelvars extension",
           says="extension=good day"),
    Effect("extensionsDir", APPLICATION + " --morvelvars extension", 1, "greeting"),
]
class Options(Story):
    def check_all(self, effects):
        """A content mostly waits for its time, so several are played at once."""
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for effect, done in [(each, pool.submit(self.check, number, each))
                                 for number, each in enumerate(effects)]:
                with self.subTest(" ".join(effect.command)):
                    done.result()

    def check(self, number, effect):
        picture = f"{number}.png"
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
        self.check_all(PLAYS)

    def test_applications_see_their_options(self):
        os.mkdir(self.path("app"))
        self.write("app/application.xml", '<application width="96" height="96"><script src="main.lua"/>'
                   '<scene id="first"/></application>')
        self.write("app/main.lua", SCRIPT)
        os.mkdir(self.path("extensions"))
        self.write("extensions/greeting.lua", 'return "good day"')
        for effect in APPLICATIONS:
            effect.command[-1] = "application.xml"
        self.check_all(APPLICATIONS)

    def test_contents_are_looked_for_below_the_base(self):
        os.mkdir(self.path("below"))
        os.rename(self.path("red.mvx"), self.path("below/only.mvx"))
        self.assertEqual(1, self.launch("only.mvx")[0])
        self.assertEqual(0, self.launch("--base", self.path("below"), "only.mvx")[0])

    def test_play_begins_at_the_time_of_start_at(self):
        begin = time.time() + 1.2
        code, _, err = self.launch("--start-at", f"{begin:.3f}", "red.mvx")
        self.assertEqual(0, code, err)
        # Twenty frames, sixty a second, from that moment on.
        self.assertGreaterEqual(time.time(), begin + 0.3)

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


class Files(http.server.SimpleHTTPRequestHandler):
    """Serves the story's folder."""

    def log_message(self, *_):  # pylint: disable=arguments-differ
        pass


class QuietServer(http.server.ThreadingHTTPServer):
    def handle_error(self, *_):
        pass  # clients that do not trust us are what is tested


class Network(Story):
    def serve(self, handler, context=None):
        server = QuietServer(("127.0.0.1", 0), handler)
        if context is not None:
            server.socket = context.wrap_socket(server.socket, server_side=True,
                                                do_handshake_on_connect=False)
        threading.Thread(target=server.serve_forever, args=(0.05,), daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return server.server_port

    def test_remote_content_is_fetched_through_the_proxy(self):
        port = self.serve(Proxy)
        code, _, err = self.launch(
            "--proxy", "127.0.0.1", str(port), "--proxyauthentication", "me", "secret",
            "http://content.invalid/film.mp4", environment={"no_proxy": "", "NO_PROXY": ""})
        self.assertEqual(1, code, err)
        self.assertIn("the server answers 404", err)
        self.assertIn("http://content.invalid/film.mp4", [path for path, _ in Proxy.seen])
        self.assertIn("Basic bWU6c2VjcmV0", [words for _, words in Proxy.seen])

    def test_https_content_needs_its_certificates(self):
        subprocess.run([launcher_test.OPTIONS.certificates, self.folder], check=True)
        self.assertEqual(0, self.launch("--snapshot", "red.png", "red.mvx")[0])
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.path("server.pem"))
        context.load_verify_locations(self.path("trusted/ca.pem"))
        context.verify_mode = ssl.CERT_REQUIRED
        handler = functools.partial(Files, directory=self.folder)
        address = f"https://localhost:{self.serve(handler, context)}/red.png"
        play = ["--snapshot", "seen.png", "--morvelvars", "duration=0.1", address]
        unset = {name: "" for name in ("https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY")}
        for arguments, reason in [
                (["--sslcertsdir", "trusted", "--sslclientcerttable", "localhost=client.pem"], None),
                (["--sslcertsdir", "trusted"],
                 '"localhost" asks for a client certificate, and --sslclientcerttable HOST=FILE '
                 'names none for it'),
                (["--sslcertsdir", "untrusted"],
                 'the certificate of "localhost" is not accepted: none of the certificates in '
                 '"untrusted" vouches for it'),
                ([], "none of the system's certificates")]:
            code, _, err = self.launch(*arguments, *play, environment=unset)
            self.assertEqual(0 if reason is None else 1, code, err)
            self.assertIn(reason or "", err)
        self.assertEqual(RED, self.pixel("seen.png", HALF, HALF))

    def test_without_a_module_for_it_https_says_which_package_has_one(self):
        code, _, err = self.launch("https://localhost:1/red.png",
                                   environment={"GIO_MODULE_DIR": self.path("none")})
        self.assertEqual(1, code)
        self.assertIn('Debian\'s package "glib-networking"', err)


class Keys(Story):
    start, type, wait_for, end = (getattr(launcher_test.Operator, name)
                                  for name in ("start", "type", "wait_for", "end"))

    def test_a_key_master_has_the_keys(self):
        self.start("long.mvx", "--keymaster", "long.mvx")
        self.wait_for(2, status="kStatusPlaying", keys="yes")
        self.wait_for(1, status="kStatusPlaying", keys="no")
        self.end()


    def test_a_key_map_that_cannot_be_read_is_refused(self):
        self.write("mine.keys", "q = nonsense\n")
        code, _, err = self.launch("--keymap", "mine.keys", "red.mvx")
        self.assertEqual(2, code)
        self.assertIn("--keymap: mine.keys:1: ", err)
        os.mkfifo(self.path("pipe"))
        code, _, err = self.launch("--keymap", "pipe", "red.mvx")
        self.assertEqual(2, code)
        self.assertIn("--keymap: pipe: is no regular file", err)


class Document(unittest.TestCase):
    """docs/options.md has a row for each field, with its effect and a test that shows it."""

    def setUp(self):
        def read(name):
            with open(os.path.join(ROOT, name), encoding="utf-8") as file:
                return file.read()
        header = read("qx/plexion/StageWindowParameters.h").split("struct StageWindowParameters {")[1]
        self.fields = re.findall(r"^  [\w:<>* ]+?[ *](\w+);", header.split("\n};")[0], re.M)
        self.text = read("docs/options.md")
        self.rows = {cells[1].strip(" `"): [cell.strip() for cell in cells[1:-1]] for cells in
                     (re.split(r"(?<!\\)\|", line) for line in self.text.splitlines()
                      if line.startswith("| "))}
        self.service = re.findall(r'^    \w+<T>\("(\w+)",',
                                  read("qx/plexion/CommandLineGrammar.h"), re.M)
        self.launcher = re.findall(r'(?:Add|AddText|AddFlag|add_option)\("(?:-h,)?(--[\w-]+)"',
                                   read("host/launcher/options/CommandLine.cpp"))
        self.tests = {}  # "Suite.Name" to the test's text
        for folder, _, names in os.walk(os.path.join(ROOT, "tests")):
            for name in names:
                path = os.path.relpath(os.path.join(folder, name), ROOT)
                if name.endswith(".cpp"):
                    pattern = r"^TEST(?:_F|_P)?\((\w+), (\w+)\) \{\n(.*?)^\}"
                    for suite, case, body in re.findall(pattern, read(path), re.M | re.S):
                        self.tests[f"{suite}.{case}"] = body
                elif name.endswith("_test.py"):
                    for suite, text in re.findall(r"^class (\w+)\(.*?\n(.*?)(?=^\S)", read(path),
                                                  re.M | re.S):
                        for case, body in re.findall(r"^    def (test_\w+)\(self\):\n(.*?)(?=^    \S|\Z)",
                                                     text, re.M | re.S):
                            self.tests[f"{suite}.{case}"] = body

    def shows(self, field, option, test):
        """Whether the test has to do with the field: its text names the field or its option."""
        effects = {"Options.test_each_option_has_its_effect": PLAYS,
                   "Options.test_applications_see_their_options": APPLICATIONS}
        if test in effects:
            return any(effect.field == field for effect in effects[test])
        words = [field] + re.findall(r"--[\w-]+", option)
        return any(re.search(rf"(?<![\w-]){re.escape(word)}\b", self.tests[test]) for word in words)

    def test_every_field_has_its_effect_and_a_test_that_shows_it(self):
        self.assertEqual(47, len(self.fields))
        option = ""
        for field in self.fields:
            with self.subTest(field):
                self.assertIn(field, self.rows)
                _, given, default, effect, test = self.rows[field]
                option = option if given == "as above" else given
                self.assertTrue(option and default)
                self.assertGreaterEqual(len(effect.split()), 4, "what does it do?")
                if effect.startswith("none"):
                    self.assertGreaterEqual(len(effect.split(":", 1)[1].split()), 4, "why not?")
                test = test.strip("`")
                self.assertTrue(test in self.tests, f"there is no test {test}")
                self.assertTrue(self.shows(field, option, test), f"{test} has nothing to do with it")

    def test_every_option_is_there(self):
        self.assertLess(30, len(self.service))
        for option in ["--" + name for name in self.service] + self.launcher:
            self.assertRegex(self.text, rf"\| (?:.*, )?`{option}[ `]")

    def test_the_help_names_no_option_that_is_not_there(self):
        out = subprocess.run([launcher_test.OPTIONS.launcher, "--help", "all"], stdout=subprocess.PIPE,
                             text=True, check=True).stdout
        named = set(re.findall(r"(?<![\w-])--[a-z][\w-]+", out))
        known = {"--" + name for name in self.service} | set(self.launcher) | {"--options"}
        self.assertEqual(set(), named - known)
        self.assertEqual(set(), set(self.launcher) - named)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--launcher", "--recorder", "--certificates"):
        parser.add_argument(option, required=True)
    parser.add_argument("story")
    launcher_test.OPTIONS = parser.parse_args()
    unittest.main(argv=[sys.argv[0], launcher_test.OPTIONS.story], verbosity=2)
