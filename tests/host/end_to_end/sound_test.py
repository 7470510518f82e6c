#!/usr/bin/env python3
"""Sound as it arrives at an output of a sound server of this test's own.

usage: sound_test.py --launcher FILE --recorder FILE STORY
"""

import json
import math
import os
import shutil
import statistics
import struct
import subprocess
import sys
import time
import unittest
import wave

import launcher_test
from launcher_test import Steered

RATE = 8000


class Output:
    """What reaches one of the server's sinks, which writes it to a pipe as it would play it."""

    def __init__(self, path):
        self.pipe = os.open(path, os.O_RDONLY | os.O_NONBLOCK)

    def samples(self, seconds):
        """What arrives from now on, as numbers."""
        self.drain()
        data = b""
        deadline = time.monotonic() + 60
        while len(data) < seconds * RATE * 2 and time.monotonic() < deadline:
            data += self.take()
            time.sleep(0.02)
        return struct.unpack(f"<{len(data) // 2}h", data[:len(data) // 2 * 2])

    def level(self, seconds):
        """The effective level of the next samples, 0 to 1, and their frequency.

        Both are medians: a busy machine leaves gaps, which say nothing about what is played.
        """
        values = self.samples(seconds)
        size = RATE // 50
        levels = [math.sqrt(sum(value * value for value in values[at:at + size]) / size) / 32768
                  for at in range(0, len(values) - size + 1, size)]
        crossings = [at for at, pair in enumerate(zip(values, values[1:]))
                     if pair[0] < 0 <= pair[1]]
        waves = [b - a for a, b in zip(crossings, crossings[1:])]
        return (statistics.median(levels) if levels else 0,
                RATE / statistics.median(waves) if waves else 0)

    def loudest(self, seconds):
        return max((abs(value) for value in self.samples(seconds)), default=0) / 32768

    def take(self):
        try:
            return os.read(self.pipe, 65536)
        except BlockingIOError:
            return b""

    def drain(self):
        while self.take():
            pass

    def close(self):
        os.close(self.pipe)


@unittest.skipUnless(shutil.which("pulseaudio"), "needs pulseaudio (package pulseaudio)")
class Sound(Steered):
    def start_server(self):
        state = self.path("pulse")
        os.mkdir(state, 0o700)
        sinks = []
        for name, title in (("hall", "The hall"), ("bar", "The bar")):
            sinks += ["-L", f"module-pipe-sink sink_name={name} file={self.path(name + '.pipe')} "
                            f"format=s16le rate={RATE} channels=1 use_system_clock_for_timing=yes "
                            f"sink_properties=\"device.description='{title}'\""]
        address = self.path("pulse.sock")
        environment = {**os.environ, "HOME": state, "PULSE_RUNTIME_PATH": state,
                       "PULSE_STATE_PATH": state, "XDG_CONFIG_HOME": state,
                       "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}
        server = subprocess.Popen(
            ["pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
             "--disallow-exit", "--log-target=stderr", *sinks,
             "-L", f"module-native-protocol-unix socket={address} auth-anonymous=1"],
            env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE, text=True)
        self.addCleanup(server.communicate)
        self.addCleanup(server.kill)
        deadline = time.monotonic() + 30
        while not os.path.exists(address):
            if server.poll() is not None or time.monotonic() > deadline:
                server.kill()
                self.skipTest("pulseaudio does not run here: " + server.communicate()[1][-300:])
            time.sleep(0.02)
        os.environ["PULSE_SERVER"] = "unix:" + address
        self.addCleanup(os.environ.pop, "PULSE_SERVER")
        outputs = [Output(self.path(name + ".pipe")) for name in ("hall", "bar")]
        for output in outputs:
            self.addCleanup(output.close)
        return outputs

    def wait_for_level(self, output, least, most):
        """Until what was asked for has gone through all that waits to be played."""
        deadline = time.monotonic() + 60
        while True:
            level, frequency = output.level(0.5)
            if least <= level <= most:
                return level, frequency
            if time.monotonic() > deadline:
                self.fail(f"{level} is not within {least} to {most}")

    def test_it_arrives_at_the_output_that_was_named_as_loud_as_was_said(self):
        hall, bar = self.start_server()
        with wave.open(self.path("tone.wav"), "wb") as tone:
            tone.setnchannels(1)
            tone.setsampwidth(2)
            tone.setframerate(RATE)
            wave_of_440 = [round(16000 * math.sin(i * 2 * math.pi * 440 / RATE))
                           for i in range(RATE)]
            tone.writeframes(struct.pack(f"<{RATE}h", *wave_of_440) * 60)
        self.write("day.json", json.dumps({
            "playlists": {"all": [{"content": "tone.wav", "volume": 80, "passes": 0,
                                   "duration": "10m"}]},
            "zones": [{"name": "main", "playlist": "all"}]}))
        code, _, err = self.launch("--sound-output", "cellar", "--programme", "day.json")
        self.assertEqual(2, code, err)
        for name in ("auto, none", "'The hall', 'hall'", "'The bar', 'bar'"):
            self.assertIn(name, err)
        # By the system's name, and by the server's.
        for name, named, other in (("The hall", hall, bar), ("bar", bar, hall)):
            self.start("--sound-output", name, "--programme", "day.json")
            full = 16000 / 32768 / math.sqrt(2) * 0.8
            level, frequency = self.wait_for_level(named, full * 0.9, full * 1.1)
            self.assertAlmostEqual(440, frequency, delta=15)
            self.assertLess(other.loudest(0.3), 0.001, "nothing reaches the other one")
            self.assertEqual(0, self.ctl("volume", "50")[0])
            self.wait_for_level(named, level * 0.45, level * 0.55)
            self.assertEqual(0, self.ctl("mute", "main", "on")[0])
            self.wait_for_level(named, 0, 0.001)
            self.assertEqual(0, self.ctl("mute", "main", "off")[0])
            self.assertEqual(0, self.ctl("key", "volumeup")[0])
            self.wait_for_level(named, level * 0.5, level * 0.6)
            self.end()


if __name__ == "__main__":
    OPTIONS = launcher_test.read_options()
    unittest.main(argv=[sys.argv[0], OPTIONS.story], verbosity=2)
