#!/usr/bin/env python3
"""Compares playing one H.264 file with other players on this machine, under Xvfb.

usage: bench/media_compare.py [--rounds N] [--seconds S] [--plexion LAUNCHER]
                             [--players NAME,...]

Needs ffmpeg, Xvfb, gst-launch-1.0 with ximagesink (gstreamer1.0-x), and mpv. The file
is 1280x720 at 30 frames a second, with sound. All players run once a round, in turn, so that what
else the machine does hits them alike. Printed are medians over the rounds, and ratios to gst-launch:
seconds of processor time, peak memory (VmHWM), and milliseconds from the start of the process until
the first pixel on the screen is the clip's.
"""

import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile

from compare_screen import Screen, play

WIDTH, HEIGHT = 1280, 720


def make_clip(path, seconds):
    subprocess.run(
        ["ffmpeg", "-nostdin", "-loglevel", "error", "-y", "-f", "lavfi", "-i",
         f"testsrc2=size={WIDTH}x{HEIGHT}:rate=30:duration={seconds}", "-f", "lavfi", "-i",
         f"sine=frequency=440:duration={seconds}", "-c:v", "libx264", "-pix_fmt", "yuv420p",
         "-preset", "fast", "-c:a", "aac", path], check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=int, default=10)
    parser.add_argument("--plexion", default=os.path.join(root, "build/release/bin/plexion"))
    parser.add_argument("--players", help="only these, with commas between them")
    parser.add_argument("--other", help="a second build of plexion, to compare with")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        clip = os.path.join(folder, "clip.mp4")
        make_clip(clip, options.seconds)
        screen = Screen(folder, WIDTH, HEIGHT)
        players = {
            "gst-launch": ["gst-launch-1.0", "-q", "playbin", "uri=file://" + clip,
                           "video-sink=ximagesink"],
            "plexion": [options.plexion, "--display", "window", clip],
            "mpv": ["mpv", "--no-config", "--really-quiet", "--vo=x11", "--hwdec=no",
                    "--audio-fallback-to-null=yes", clip],
            "ffplay": ["ffplay", "-autoexit", "-loglevel", "quiet", clip],
        }
        if options.other:
            players["other"] = [options.other, "--display", "window", clip]
        if options.players:
            players = {name: players[name] for name in options.players.split(",")}
        missing = [name for name, command in players.items() if shutil.which(command[0]) is None]
        for name in missing:
            print(f"media_compare: no {players.pop(name)[0]} here", file=sys.stderr)
        results = {name: [] for name in players}
        # One round to warm caches and plugin registries.
        for turn in range(options.rounds + 1):
            for name, command in players.items():
                result = play(command, screen)
                if result.first != result.first:
                    print(f"media_compare: {name} failed, or showed nothing", file=sys.stderr)
                if turn > 0:
                    results[name].append(result)
        screen.close()
    medians = {name: [statistics.median(run[i] for run in runs) for i in (1, 0, 2)]
               for name, runs in results.items()}
    base = medians.get("gst-launch", next(iter(medians.values())))
    print("| player | processor s | ratio | first frame ms | ratio | peak MiB | ratio |")
    print("| --- | --- | --- | --- | --- | --- | --- |")
    for name, values in medians.items():
        cells = [f"{value:.2f} | {value / base[i]:.2f}" if i == 0 else f"{value:.0f} | {value / base[i]:.2f}"
                 for i, value in enumerate(values)]
        print(f"| {name} | {' | '.join(cells)} |")


if __name__ == "__main__":
    main()
