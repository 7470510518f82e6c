"""bars.mvx: a test card with a frame counter, to look at scaling, pacing and colour.

Everything that moves does so by whole frames or at constant speed: a dropped
or repeated frame shows as a jump of the hand, a wrong count in the digits, or
a lamp that stays dark.
"""

import math

from letters import lay_out
from lottie import (
    HOLD,
    LINEAR,
    Movie,
    animate,
    ellipse,
    fill,
    gradient_fill,
    group,
    line,
    polygon,
    rect,
    stroke,
)
from palette import AMBER, CORAL, ICE, MIST, NIGHT, SKY, glyph

WIDTH, HEIGHT, RATE, FRAMES = 640, 360, 30, 300
BARS = ("#C0C0C0", "#C0C000", "#00C0C0", "#00C000", "#C000C0", "#C00000", "#0000C0")
BARS_HEIGHT = 190
DIGIT_HEIGHT = 54


def card(movie):
    movie.shapes("ground", group(rect(0, 0, WIDTH, HEIGHT), fill(NIGHT)))
    step = WIDTH / len(BARS)
    edges = [round(i * step) for i in range(len(BARS) + 1)]
    movie.shapes(
        "bars",
        *[group(rect(a, 0, b - a, BARS_HEIGHT), fill(c)) for a, b, c in zip(edges, edges[1:], BARS)]
    )
    movie.shapes(
        "ramp",
        group(
            rect(0, BARS_HEIGHT, WIDTH, 34),
            gradient_fill([(0, "#000000"), (1, "#FFFFFF")], (0, 0), (WIDTH, 0)),
        ),
    )
    # One pixel inside every edge of the picture: cropping and bad scaling show here.
    movie.shapes(
        "frame",
        group(rect(0.5, 0.5, WIDTH - 1, HEIGHT - 1), stroke("#FFFFFF", 1)),
    )
    corners = []
    for x, sx in ((4, 1), (WIDTH - 4, -1)):
        for y, sy in ((4, 1), (HEIGHT - 4, -1)):
            corners.append(group(polygon((x, y), (x + 14 * sx, y), (x, y + 14 * sy)), fill(AMBER)))
    movie.shapes("corners", *corners)


def clock(movie):
    """A hand that goes round once a second, over one tick for each frame of it."""
    x, y, radius = 78, 290, 52
    ticks = []
    for frame in range(RATE):
        angle = 2 * math.pi * frame / RATE
        inner = radius - (9 if frame % 5 == 0 else 5)
        s, c = math.sin(angle), -math.cos(angle)
        ticks.append(
            group(
                line(s * inner, c * inner, s * radius, c * radius),
                stroke(ICE if frame % 5 == 0 else MIST, 2 if frame % 5 == 0 else 1),
            )
        )
    movie.shapes("dial", *ticks, position=(x, y))
    movie.shapes(
        "hand",
        group(line(0, 8, 0, -38), stroke(CORAL, 4)),
        group(ellipse(0, 0, 10, 10), fill(AMBER)),
        position=(x, y),
        rotation=animate((0, 0, LINEAR), (FRAMES, 360 * FRAMES / RATE)),
    )


def digit(movie, name, left, top, of_frame):
    """One place of a counter: the ten figures, each lit in its own frames."""
    for figure in range(10):
        keys, lit = [], None
        for frame in range(FRAMES):
            now = of_frame(frame) == figure
            if now != lit:
                keys.append((frame, 100 if now else 0, HOLD))
                lit = now
        if all(key[1] == 0 for key in keys):
            continue
        width, placed = lay_out(str(figure), DIGIT_HEIGHT, 0)
        movie.shapes(
            "%s %d" % (name, figure),
            group(*glyph(placed[0][3]), stroke(ICE, 6)),
            position=(left + (36 - width) / 2, top),
            opacity=animate(*keys) if len(keys) > 1 else 100,
        )


def counter(movie):
    left, top = 170, 262
    for place, power in enumerate((100, 10, 1)):
        digit(
            movie,
            "hundreds tens units".split()[place],
            left + place * 52,
            top,
            lambda frame, power=power: frame // power % 10,
        )
    width, placed = lay_out("FRAME", 11, 40)
    movie.shapes(
        "caption",
        *[group(*glyph(paths), stroke(MIST, 1.6), position=(x, 0)) for _, x, _, paths in placed],
        position=(left, top - 24)
    )


def lamps(movie):
    """The frame number in binary, the highest bit on the left."""
    left, top, size, gap = 352, 258, 22, 7
    for bit in range(9):
        place = (left + (8 - bit) * (size + gap), top)
        movie.shapes(
            "socket %d" % bit, group(rect(0, 0, size, size, 4), stroke(MIST, 1)), position=place
        )
        keys = [(f, 100 if f >> bit & 1 else 0, HOLD) for f in range(0, FRAMES, 1 << bit)]
        movie.shapes(
            "lamp %d" % bit,
            group(rect(2, 2, size - 4, size - 4, 3), fill(SKY)),
            position=place,
            opacity=animate(*keys),
        )


def sweep(movie):
    """A block that crosses at constant speed every two seconds: uneven pacing shows as judder."""
    left, top, width = 352, 300, 254
    movie.shapes("rail", group(rect(left, top, width, 12, 6), stroke(MIST, 1)))
    keys = []
    for start in range(0, FRAMES, 2 * RATE):
        keys += [
            (start, [left + 6, top + 6], LINEAR),
            (start + 2 * RATE - 1, [left + width - 6, top + 6], HOLD),
        ]
    movie.shapes("runner", group(ellipse(0, 0, 9, 9), fill(AMBER)), position=animate(*keys))


def make():
    movie = Movie("Test card", WIDTH, HEIGHT, RATE, FRAMES)
    card(movie)
    clock(movie)
    counter(movie)
    lamps(movie)
    sweep(movie)
    return movie
