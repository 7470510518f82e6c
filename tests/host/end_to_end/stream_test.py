#!/usr/bin/env python3
"""A live stream as an item of a programme, from a server of this test's own.

usage: stream_test.py --launcher FILE --recorder FILE --clips PROGRAM STORY
"""

import http.server
import json
import os
import subprocess
import sys
import threading
import time
import unittest

import launcher_test
from launcher_test import Steered, read_png

SEGMENTS = 20  # of a second each
COLOURS = {"red": (255, 0, 0), "blue": (0, 0, 255)}  # by turns


class LiveServer(http.server.ThreadingHTTPServer):
    """Serves segments, and a list of the last ones that never says that it is over."""

    def __init__(self, folder):
        super().__init__(("127.0.0.1", 0), LiveHandler)
        self.folder = folder
        self.began = time.monotonic()
        self.lists = 0

    def live_list(self):
        self.lists += 1
        last = min(6 + int(time.monotonic() - self.began), SEGMENTS)
        first = last - 6
        lines = ["#EXTM3U", "#EXT-X-VERSION:3", "#EXT-X-TARGETDURATION:1",
                 f"#EXT-X-MEDIA-SEQUENCE:{first}"]
        for index in range(first, last):
            lines += ["#EXTINF:1.0,", f"{index}.ts"]
        return "\n".join(lines) + "\n"


class LiveHandler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):  # pylint: disable=invalid-name
        name = self.path.rsplit("/", maxsplit=1)[-1]
        if name == "live.m3u8":
            body, kind = self.server.live_list().encode(), "application/vnd.apple.mpegurl"
        else:
            with open(os.path.join(self.server.folder, name), "rb") as segment:
                body, kind = segment.read(), "video/mp2t"
        self.send_response(200)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):  # pylint: disable=arguments-differ
        pass


class Live(Steered):
    def test_a_live_list_plays_and_ends_by_its_duration(self):
        words = []
        for index in range(SEGMENTS):
            words += [self.path(f"{index}.ts"),
                      f"videotestsrc num-buffers=25 pattern={list(COLOURS)[index % 2]} "
                      f"timestamp-offset={index * 10**9} "
                      "! video/x-raw,width=64,height=64,framerate=25/1 ! avenc_mpeg4 "
                      "! mpeg4videoparse ! mpegtsmux ! filesink location=%"]
        subprocess.run([OPTIONS.clips, *words], check=True, timeout=60)
        server = LiveServer(self.folder)
        threading.Thread(target=server.serve_forever, args=(0.05,), daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        address = f"http://127.0.0.1:{server.server_port}/live.m3u8"
        self.write("day.json", json.dumps({
            "playlists": {"all": [{"content": address, "duration": "8s"}, "long.mvx"]},
            "zones": [{"name": "main", "playlist": "all"}]}))
        self.start("--programme", "day.json")
        self.wait_for(content=address)
        began = time.monotonic()
        # Both kinds of its segments are seen, so that it is not one picture that stands.
        seen = set()
        while self.status().get("content", address) == address:
            if self.ctl("snapshot", "now.png")[0] == 0:
                pixel = read_png(self.path("now.png"))[2][48][48]
                seen |= {name for name, colour in COLOURS.items()
                         if all(abs(a - b) < 40 for a, b in zip(pixel, colour))}
        self.wait_for(content="long.mvx")
        # Asked a little after it began; the list itself never ends.
        self.assertGreater(time.monotonic() - began, 4)
        self.assertEqual({"red", "blue"}, seen)
        self.assertGreater(server.lists, 1, "it is read again, as a live one is")
        self.end()


if __name__ == "__main__":
    OPTIONS = launcher_test.read_options("--clips")
    unittest.main(argv=[sys.argv[0], OPTIONS.story], verbosity=2)
