"""loading.mvx: a waiting loop; the last frame leads into the first.

Two pairs of arcs turn against each other inside a ring of dots that swell in
turn; the X in the middle makes half a turn, after which it looks as before.
"""

import math

from letters import lay_out
from lottie import (
    EASE_IN_OUT,
    LINEAR,
    SWAY,
    Movie,
    animate,
    ellipse,
    fill,
    gradient_stroke,
    group,
    line,
    repeat,
    stroke,
    trim,
)
from palette import AMBER, BLUE, CORAL, MIST, SKY, VIOLET, backdrop, glow, glyph

SIZE, RATE, FRAMES = 480, 60, 120
CENTRE = (SIZE / 2, 214)
DOTS = 24


def arcs(movie):
    """Two pairs of arcs that turn against each other, longest in the middle of the loop."""
    for name, radius, pen, stops, direction, short, long in (
        ("cool arc", 122, 11, [(0, SKY), (1, BLUE)], 1, 8, 36),
        ("violet arc", 95, 6, [(0, VIOLET), (1, SKY)], -1, 30, 6),
    ):
        track = group(ellipse(0, 0, radius * 2, radius * 2), stroke(BLUE, pen, 13))
        movie.shapes(name + " track", track, position=CENTRE)
        arc = group(
            ellipse(0, 0, radius * 2, radius * 2),
            trim(
                start=animate(
                    (0, 25 - short / 2, SWAY),
                    (FRAMES / 2, 25 - long / 2, SWAY),
                    (FRAMES, 25 - short / 2),
                ),
                end=animate(
                    (0, 25 + short / 2, SWAY),
                    (FRAMES / 2, 25 + long / 2, SWAY),
                    (FRAMES, 25 + short / 2),
                ),
            ),
            gradient_stroke(stops, (0, -radius), (0, radius), pen),
        )
        movie.shapes(
            name,
            group(arc, repeat(2, rotation=180)),
            position=CENTRE,
            rotation=animate((0, 0, LINEAR), (FRAMES, 360 * direction)),
        )


def wrapped(peak, reach, low, high):
    """A bump of `reach` frames to both sides of `peak` in a loop that has no seam."""

    def at(frame):
        away = abs((frame - peak + FRAMES / 2) % FRAMES - FRAMES / 2)
        share = max(0.0, 1 - away / reach)
        return low + (high - low) * (0.5 - 0.5 * math.cos(math.pi * share))

    step = 8
    return [(f, at(f)) for f in range(0, FRAMES + 1, step)]


def dots(movie):
    for index in range(DOTS):
        angle = 2 * math.pi * index / DOTS
        peak = FRAMES * index / DOTS
        sizes = [(f, [v, v], LINEAR) for f, v in wrapped(peak, 40, 45, 125)]
        lights = [(f, v, LINEAR) for f, v in wrapped(peak, 40, 28, 100)]
        movie.shapes(
            "dot %d" % index,
            group(ellipse(0, 0, 7, 7), fill(AMBER if index % 6 == 0 else MIST)),
            position=(CENTRE[0] + 150 * math.sin(angle), CENTRE[1] - 150 * math.cos(angle)),
            scale=animate(*sizes),
            opacity=animate(*lights),
        )


def mark(movie):
    half = 34
    arms = [
        group(
            line(-half * side, -half, half * side, half),
            gradient_stroke(
                [(0, CORAL), (0.5, AMBER), (1, CORAL)],
                (-half * side, -half),
                (half * side, half),
                15,
            ),
        )
        for side in (1, -1)
    ]
    movie.shapes(
        "mark",
        *arms,
        position=CENTRE,
        rotation=animate((0, 0, EASE_IN_OUT), (FRAMES, 180)),
        scale=animate((0, [100, 100], SWAY), (FRAMES / 2, [84, 84], SWAY), (FRAMES, [100, 100])),
    )


def caption(movie):
    width, placed = lay_out("LOADING", 18, 70)
    left, top = (SIZE - width) / 2, 420
    for index, (char, x, _, paths) in enumerate(placed):
        lift = [(f, [left + x, top - v], LINEAR) for f, v in wrapped(18 + index * 9, 26, 0, 7)]
        light = [(f, v, LINEAR) for f, v in wrapped(18 + index * 9, 26, 55, 100)]
        movie.shapes(
            "small " + char,
            group(*glyph(paths), stroke(MIST, 2.6)),
            position=animate(*lift),
            opacity=animate(*light),
        )


def make():
    movie = Movie("Loading", SIZE, SIZE, RATE, FRAMES)
    movie.shapes("night", backdrop(SIZE, SIZE))
    movie.shapes(
        "light",
        glow(BLUE, 190, 0.4),
        position=CENTRE,
        scale=animate((0, [100, 100], SWAY), (FRAMES / 2, [112, 112], SWAY), (FRAMES, [100, 100])),
    )
    dots(movie)
    arcs(movie)
    mark(movie)
    caption(movie)
    return movie
