#!/usr/bin/env python3
"""Paints the pictures of the gallery and of the menu board.

usage: landscapes.py [FOLDER]        writes FOLDER/gallery/pictures and FOLDER/menu-board/pictures

Standard library only. The same source gives the same pictures, byte for byte. Each landscape is a
sky, something in it, and ridges from far to near that take on the colour of the air with distance.
"""

import math
import os
import random
import struct
import sys
import zlib

WIDTH, HEIGHT = 1280, 720


def mix(a, b, t):
    return tuple(x + (y - x) * t for x, y in zip(a, b))


def colour(text):
    return tuple(int(text[i:i + 2], 16) for i in (1, 3, 5))


def gradient(stops, t):
    """Colour at t (0 to 1) of [(0, '#aabbcc'), ...]."""
    for (t0, c0), (t1, c1) in zip(stops, stops[1:]):
        if t <= t1:
            u = (t - t0) / (t1 - t0)
            return mix(colour(c0), colour(c1), u * u * (3 - 2 * u))
    return colour(stops[-1][1])


class Noise:
    """Smooth noise along a line."""

    def __init__(self, seed):
        rng = random.Random(seed)
        self.values = [rng.random() * 2 - 1 for _ in range(512)]

    def at(self, x):
        i = math.floor(x)
        u = x - i
        u = u * u * u * (u * (u * 6 - 15) + 10)
        a, b = self.values[i % 512], self.values[(i + 1) % 512]
        return a + (b - a) * u

    def ridge(self, x, octaves, rough=0.5):
        total, size, step = 0.0, 1.0, 1.0
        for octave in range(octaves):
            total += self.at(x * step + octave * 37.7) * size
            size *= rough
            step *= 2.03
        return total


def write_png(path, width, height, rows, channels):
    """Rows filtered against the row above, which suits smooth pictures."""
    stride = width * channels
    raw = bytearray()
    above = bytes(stride)
    for row in rows:
        up = bytes((c - a) & 255 for c, a in zip(row, above))
        side = bytes((row[i] - (row[i - channels] if i >= channels else 0)) & 255
                     for i in range(stride))
        weigh = lambda data: sum(b if b < 128 else 256 - b for b in data)
        if weigh(up) <= weigh(side):
            raw += b"\x02" + up
        else:
            raw += b"\x01" + side
        above = row

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n")
        file.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2 if channels == 3 else 6,
                                              0, 0, 0)))
        file.write(chunk(b"IDAT", zlib.compress(bytes(raw), 9)))
        file.write(chunk(b"IEND", b""))
    print(f"{path}: {os.path.getsize(path) // 1024} KB")


class Landscape:
    """
    sky      colours from top to horizon
    light    (x, y, radius, colour, glow colour, reach of the glow) of sun or moon, or None
    ridges   far to near: (height of its line, height of its peaks, width of them, octaves, colour at
             its line, colour at its foot)
    """

    def __init__(self, name, seed, sky, ridges, light=None, stars=0, water=None, trees=None,
                 aurora=None, dunes=False):
        self.__dict__.update(locals())

    def sky_rows(self):
        rng = random.Random(self.seed)
        sky = [gradient(self.sky, y / HEIGHT) for y in range(HEIGHT)]
        rows = [[sky[y]] * WIDTH for y in range(HEIGHT)]
        if self.aurora:
            self.paint_aurora(rows)
        for _ in range(self.stars):
            x, y = rng.randrange(WIDTH), int(rng.random() ** 1.6 * HEIGHT * 0.7)
            rows[y][x] = mix(rows[y][x], (255, 255, 255), rng.random() ** 2 * 0.9 + 0.1)
        if self.light:
            self.paint_light(rows)
        return rows

    def paint_light(self, rows):
        cx, cy, radius, disc, glow, reach = self.light
        disc, glow = colour(disc), colour(glow)
        for y in range(HEIGHT):
            row = rows[y]
            for x in range(WIDTH):
                d = math.hypot(x - cx, y - cy)
                if d < reach:
                    u = 1 - d / reach
                    row[x] = mix(row[x], glow, u * u * 0.85)
                if d < radius + 1:
                    row[x] = mix(row[x], disc, min(1.0, radius + 1 - d))

    def paint_aurora(self, rows):
        curtain = Noise(self.seed + 5)
        for tint, offset, strength in self.aurora:
            tint = colour(tint)
            for x in range(WIDTH):
                base = 330 + offset + 90 * curtain.ridge(x / 420 + offset, 3)
                ray = 0.55 + 0.45 * curtain.at(x / 23 + offset) * curtain.at(x / 7.3)
                tall = 230 * (0.7 + 0.3 * curtain.at(x / 90 + offset))
                for y in range(max(0, int(base - tall)), min(HEIGHT, int(base + 26))):
                    if y < base:
                        u = 1 - (base - y) / tall
                    else:
                        u = 1 - (y - base) / 26
                    rows[y][x] = mix(rows[y][x], tint, max(0, u) ** 1.8 * strength * ray)

    def lines(self):
        lines = []
        for index, (level, peaks, width, octaves, *_) in enumerate(self.ridges):
            noise = Noise(self.seed * 100 + index)
            heights = []
            for x in range(WIDTH):
                if self.dunes:
                    h = noise.at(x / width + index) + 0.3 * noise.at(x / width * 2.3 + 9)
                else:
                    v = noise.ridge(x / width, octaves)
                    h = 1.1 * (1 - abs(v)) - 0.35 + 0.25 * v
                heights.append(level - peaks * h)
            if self.trees is not None and index >= self.trees:
                heights = self.with_trees(heights, index)
            lines.append(heights)
        return lines

    def with_trees(self, heights, index):
        rng = random.Random(self.seed * 7 + index)
        heights = list(heights)
        x = -10
        near = 1 + (index - self.trees) * 0.9
        while x < WIDTH + 10:
            tall = (16 + 34 * rng.random() ** 1.5) * near
            half = tall * (0.17 + 0.06 * rng.random())
            foot = heights[min(max(int(x), 0), WIDTH - 1)] + 6
            for px in range(max(0, int(x - half)), min(WIDTH, int(x + half) + 1)):
                u = abs(px - x) / half
                if u < 1:
                    # Branches: a saw along the flank.
                    saw = 0.05 * math.sin(u * 26) * (1 - u)
                    heights[px] = min(heights[px], foot - tall * (1 - u + saw))
            x += half * (0.7 + 1.5 * rng.random())
        return heights

    def paint(self):
        rows = self.sky_rows()
        for index, heights in enumerate(self.lines()):
            top, foot = (colour(c) for c in self.ridges[index][4:6])
            level = self.ridges[index][0]
            below = self.ridges[index + 1][0] if index + 1 < len(self.ridges) else HEIGHT
            # The air between two ridges is the same along all of them: it thickens towards the foot.
            peaks = self.ridges[index][1]
            high = level - peaks
            reach = max(80.0, below - level + peaks)
            shades = [mix(top, foot, min(1.0, max(0.0, (y - high) / reach)))
                      for y in range(HEIGHT)]
            for x, line in enumerate(heights):
                first = max(0, math.floor(line))
                if first >= HEIGHT:
                    continue
                rows[first][x] = mix(shades[first], rows[first][x], max(0.0, line - first))
                for y in range(first + 1, HEIGHT):
                    rows[y][x] = shades[y]
        if self.water:
            self.paint_water(rows)
        return rows

    def paint_water(self, rows):
        level, tint, strength = self.water
        tint = colour(tint)
        ripple = Noise(self.seed + 77)
        for y in range(level, HEIGHT):
            depth = y - level
            # What is near the shore is mirrored most truly.
            wave = ripple.at(y * 0.9) * (0.5 + depth * 0.05)
            source = int(level - 1 - depth * 0.92 + ripple.at(y * 0.31) * depth * 0.06)
            mirrored = rows[max(0, min(level - 1, source))]
            calm = strength * (1 - 0.45 * depth / (HEIGHT - level))
            line = 0.06 * ripple.at(y * 0.53)
            row = []
            for x in range(WIDTH):
                swing = int(wave * 3 * math.sin(x * 0.021 + y * 0.7))
                row.append(mix(tint, mirrored[min(WIDTH - 1, max(0, x + swing))], calm + line))
            rows[y] = row

    def write(self, folder):
        rows = []
        for row in self.paint():
            data = bytearray()
            for pixel in row:
                data += bytes(min(255, max(0, int(c + 0.5))) for c in pixel)
            rows.append(bytes(data))
        write_png(os.path.join(folder, self.name + ".png"), WIDTH, HEIGHT, rows, 3)


LANDSCAPES = [
    Landscape("first-light", 11,
              [(0, "#27335c"), (0.35, "#7f6a93"), (0.55, "#f0a988"), (0.75, "#ffd9a0"), (1, "#ffe9c4")],
              [(430, 120, 300, 5, "#c98f8f", "#f3bf9f"), (500, 110, 240, 5, "#8d6a86", "#c88f8d"),
               (560, 100, 210, 5, "#55486f", "#8a6884"), (640, 80, 170, 5, "#2b2a4d", "#453c62"),
               (700, 60, 150, 4, "#14162f", "#0d0f22")],
              light=(830, 330, 34, "#fff6dc", "#ffe2a8", 420), trees=4),
    Landscape("blue-hour", 23,
              [(0, "#0b1533"), (0.4, "#22406f"), (0.7, "#5f8cab"), (1, "#b9d0cf")],
              [(420, 130, 330, 5, "#54799b", "#86a9b9"), (490, 120, 250, 5, "#35567d", "#5b7f9d"),
               (540, 70, 190, 5, "#1d355a", "#36587c")],
              light=(300, 150, 17, "#f4f7ff", "#9fc0e6", 260), stars=420,
              water=(545, "#1a3355", 0.82)),
    Landscape("dunes", 32,
              [(0, "#3c8fb5"), (0.45, "#a9d2d2"), (0.7, "#f6e3b9"), (1, "#f7dba4")],
              [(440, 34, 300, 2, "#ecc58b", "#e7b878"), (500, 56, 380, 2, "#dea262", "#e4b274"),
               (580, 70, 460, 2, "#c98146", "#dc9f60"), (670, 80, 520, 2, "#a9612f", "#8b4b23")],
              light=(980, 190, 40, "#fffbe6", "#fff1c2", 380), dunes=True),
    Landscape("northern-lights", 47,
              [(0, "#050b20"), (0.45, "#0d2a45"), (0.75, "#2a6a70"), (1, "#2a6a70")],
              [(500, 130, 260, 5, "#12384a", "#2b6a6c"), (548, 60, 200, 5, "#06131f", "#0c2733")],
              stars=900, aurora=[("#39e6a3", 0, 0.85), ("#7a5cf0", -90, 0.45)],
              water=(560, "#06121f", 0.8), trees=1),
    Landscape("harvest-moon", 58,
              [(0, "#1c1230"), (0.4, "#4a2148"), (0.65, "#a3404d"), (1, "#ef8a4e")],
              [(470, 80, 340, 4, "#84374f", "#b4504f"), (540, 80, 260, 4, "#532544", "#7b3249"),
               (620, 70, 210, 4, "#2f1733", "#4a2140"), (690, 60, 180, 4, "#160b1d", "#0c0612")],
              light=(440, 300, 76, "#ffe3b0", "#ff9d5c", 330), stars=160, trees=3),
    Landscape("mist", 64,
              [(0, "#c9d6d3"), (0.5, "#e3e6dc"), (1, "#f3eee0")],
              [(330, 110, 260, 5, "#b3c4c1", "#dde3db"), (430, 110, 230, 5, "#8ca6a4", "#d0dad3"),
               (530, 100, 210, 5, "#5d7f7e", "#b9cac4"), (620, 90, 190, 5, "#325654", "#7f9e99"),
               (705, 70, 160, 5, "#12302f", "#0b2221")],
              light=(900, 150, 30, "#ffffff", "#fffdf0", 300), trees=2),
]


# Line drawings for the menu board: strokes as distances, so that their edges are smooth.

def segment(px, py, ax, ay, bx, by):
    dx, dy = bx - ax, by - ay
    t = max(0.0, min(1.0, ((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy)))
    return math.hypot(px - ax - dx * t, py - ay - dy * t)


def strokes_of(points, closed=False):
    pairs = list(zip(points, points[1:] + (points[:1] if closed else [])))
    return [(a[0], a[1], b[0], b[1]) for a, b in (pairs if closed else pairs[:len(points) - 1])]


def curve(f, n=48):
    return [f(i / n) for i in range(n + 1)]


def shell():
    strokes = []
    hinge = (256, 352)
    rim = []
    for i in range(121):
        a = math.radians(-160 + 140 * i / 120)
        scallop = 8 * abs(math.sin(i / 120 * math.pi * 7))
        r = 236 + scallop
        rim.append((256 + r * math.cos(a) * 0.95, 352 + r * math.sin(a) * 1.05))
    strokes += strokes_of(rim)
    for i in range(8):
        a = math.radians(-160 + 20 * i)
        strokes.append((hinge[0] + 26 * math.cos(a), hinge[1] + 26 * math.sin(a),
                        256 + 228 * math.cos(a) * 0.95, 352 + 228 * math.sin(a) * 1.05))
    strokes += strokes_of([(200, 352), (190, 396), (322, 396), (312, 352)])
    strokes += strokes_of([rim[0], (200, 352)]) + strokes_of([rim[-1], (312, 352)])
    return strokes


def leaf():
    left = curve(lambda t: (256 - 130 * math.sin(math.pi * t) ** 1.1 * (1 - 0.25 * t), 380 - 330 * t))
    right = curve(lambda t: (256 + 130 * math.sin(math.pi * t) ** 1.1 * (1 - 0.25 * t), 380 - 330 * t))
    strokes = strokes_of(left) + strokes_of(right) + [(256, 420, 256, 90)]
    for i in range(5):
        y = 340 - i * 52
        reach = 84 - 9 * i - 4 * (i - 1) ** 2
        strokes.append((256, y, 256 - reach, y - 44))
        strokes.append((256, y, 256 + reach, y - 44))
    return strokes


def flame():
    def side(sign, width, top, bottom, lean):
        return curve(lambda t: (256 + sign * width * math.sin(math.pi * (1 - t) ** 0.75) + lean * t * t,
                                bottom - (bottom - top) * t))
    strokes = []
    for width, top, lean in ((138, 36, 30), (74, 190, -16)):
        strokes += strokes_of(side(-1, width, top, 404, lean))
        strokes += strokes_of(side(1, width, top, 404, lean))
    return strokes


def write_drawing(path, strokes, width=512, height=432, line=7.0, ink="#ffe3cf"):
    ink = bytes(colour(ink))
    cover = [[0.0] * width for _ in range(height)]
    half = line / 2
    for ax, ay, bx, by in strokes:
        for y in range(max(0, int(min(ay, by) - half - 2)), min(height, int(max(ay, by) + half + 3))):
            for x in range(max(0, int(min(ax, bx) - half - 2)),
                           min(width, int(max(ax, bx) + half + 3))):
                d = segment(x + 0.5, y + 0.5, ax, ay, bx, by)
                cover[y][x] = max(cover[y][x], min(1.0, max(0.0, half + 0.5 - d)))
    rows = [b"".join(ink + bytes([int(c * 255 + 0.5)]) for c in row) for row in cover]
    write_png(path, width, height, rows, 4)


def main(arguments):
    top = arguments[0] if arguments else os.path.join(os.path.dirname(__file__), "..")
    for landscape in LANDSCAPES:
        landscape.write(os.path.join(top, "gallery", "pictures"))
    for name, drawing in (("shell", shell()), ("leaf", leaf()), ("flame", flame())):
        write_drawing(os.path.join(top, "menu-board", "pictures", name + ".png"), drawing)


if __name__ == "__main__":
    main(sys.argv[1:])
