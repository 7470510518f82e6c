"""Installs the kit into a folder, builds the minimal host against it in both ways, and looks at its pictures."""

import argparse
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=120, **options)
    return done.returncode, done.stdout


def must(*command, **options):
    code, text = run(*command, **options)
    if code != 0:
        sys.exit(f"{' '.join(map(str, command))} ended with {code}:\n{text}")
    return text


def read_png(path):
    """The rows of an 8-bit RGBA picture, each as bytes."""
    data = path.read_bytes()
    width, height = struct.unpack(">II", data[16:24])
    packed, at = b"", 8
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        if kind == b"IDAT":
            packed += data[at + 8:at + 8 + size]
        at += 12 + size
    raw, stride = zlib.decompress(packed), width * 4
    rows, previous = [], bytes(stride)
    for y in range(height):
        kind, row = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for x in range(stride if kind else 0):
            left = row[x - 4] if x >= 4 else 0
            above, corner = previous[x], previous[x - 4] if x >= 4 else 0
            if kind == 1:
                guess = left
            elif kind == 2:
                guess = above
            elif kind == 3:
                guess = (left + above) // 2
            else:
                estimate = left + above - corner
                guess = min((left, above, corner), key=lambda one: abs(estimate - one))
            row[x] = (row[x] + guess) & 255
        previous = bytes(row)
        rows.append(previous)
    return width, height, rows


def pixel(rows, x, y):
    return tuple(rows[y][4 * x:4 * x + 3])


def check(condition, text):
    if not condition:
        sys.exit(text)


def look_at(frames):
    """The ball begins at the left, is in the middle halfway, and ends at the right; nothing lies outside."""
    files = sorted(frames.iterdir())
    check(len(files) >= 9, f"{len(files)} pictures for nine frames")
    places = []
    for file in files:
        width, height, rows = read_png(file)
        check((width, height) == (1280, 720), f"{file} is {width}x{height}")
        check(pixel(rows, 90, 120) == (0, 0, 0), f"{file}: something lies left of the window")
        ball = [x for x in range(100, 420) if pixel(rows, x, 210) == (255, 176, 0)]
        if ball:
            places.append((ball[0] + ball[-1]) // 2 - 100)
    check(places == sorted(places), f"the ball goes back: {places}")
    check(places[0] < 40 and places[-1] > 280 and any(150 < at < 170 for at in places),
          f"the ball rolls from side to side, but was at {places}")


def main():
    parser = argparse.ArgumentParser()
    for name in ("build", "cmake", "generator", "compiler"):
        parser.add_argument("--" + name)
    args = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="plexion-kit-"))
    try:
        kit = folder / "kit"
        must(args.cmake, "--install", args.build, "--component", "sdk", "--prefix", kit)
        source = kit / "share/doc/plexion/examples/minimal-host"

        # By CMake's package.
        must(args.cmake, "-S", source, "-B", folder / "built", "-G", args.generator,
             f"-DCMAKE_PREFIX_PATH={kit}", f"-DCMAKE_CXX_COMPILER={args.compiler}",
             "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wshadow -Werror")
        must(args.cmake, "--build", folder / "built")
        host = folder / "built/minimal-host"
        content, frames = folder / "ball.txt", folder / "frames"
        content.write_text("320 180 9\n")
        frames.mkdir()
        text = must(host, "--frames", frames, "--outputrect", "100,120,320,180", content)
        check("Using: minimal player 1.0" in text, "the module does not name the player:\n" + text)
        look_at(frames)

        # What cannot be shown, and a wrong command line.
        for words, expected in (([folder / "missing.txt"], 1), (["--nonsense", content], 2), ([], 2)):
            code, text = run(host, *words)
            check(code == expected, f"{words} ended with {code}, expected {expected}:\n{text}")
        (folder / "torn.txt").write_text("320 -1")
        check(run(host, folder / "torn.txt")[0] == 1, "a content without sizes was played")

        # With the recorder before the module: pictures as before, and a file that can be told and replayed.
        shutil.rmtree(frames)
        frames.mkdir()
        recording = folder / "session.rec"
        must(host, "--record", recording, "--frames", frames, "--outputrect", "100,120,320,180", content)
        check(len(list(frames.iterdir())) >= 9, "nothing is shown while it is recorded")
        story = must(kit / "bin/plexion-sim", "show", recording)
        check("RunStageWindowSetToCompletion" in story, "the recording does not tell of the run:\n" + story)
        must(kit / "bin/plexion-sim", "replay-recording", recording)
        code, text = run(host, "--record", folder / "nowhere/session.rec", content)
        check(code == 1 and "--record: " in text, f"a recording that cannot be written ended with {code}:\n{text}")

        # A module of another contract is refused before anything of it is called.
        module = kit / "lib/plexion/IPlexion.so"
        note = struct.pack("<III8s", 8, 8, 1, b"Plexion\0")
        built = module.read_bytes()
        at = built.index(note) + len(note)
        module.write_bytes(built[:at] + struct.pack("<I", 99) + built[at + 4:])
        code, text = run(host, content)
        check(code == 1 and "IPlexion.so has version 99." in text, "a module of another contract was called:\n" + text)
        module.write_bytes(built)

        # By pkg-config, with the lines of the guide as they stand there.
        environment = dict(os.environ, PKG_CONFIG_PATH=str(kit / "share/pkgconfig"), MINIMAL_HOST=str(source))
        contract = must("pkg-config", "--variable=contract", "plexion", env=environment).strip()
        versions = json.loads((kit / "share/plexion/contract.json").read_text())["versions"]
        check(contract == versions[-1]["version"], f"the package says contract {contract}, the file {versions}")
        guide = (kit / "share/doc/plexion/porting.md").read_text()
        lines = re.search(r"<!-- by hand -->\n```\n(.*?)```\n<!-- end -->", guide, re.S)[1]
        by_hand = folder / "by-hand"
        by_hand.mkdir()
        must("bash", "-eu", "-c", lines, env=environment, cwd=by_hand)
        shutil.rmtree(frames)
        frames.mkdir()
        must(by_hand / "minimal-host", "--record", recording, "--frames", frames, "--outputrect", "100,120,320,180", content)
        look_at(frames)
    finally:
        shutil.rmtree(folder)


main()
