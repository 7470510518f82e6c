"""lower-third.mvx: a name banner over whatever plays beneath; only the banner has ink.

    0 -  50  the warm edge grows, the plate opens from it
   22 -  72  name and role rise behind the plate's edges, the live badge arrives
   72 - 300  hold: the badge pulses, a light runs along the plate's lower edge
  300 - 356  everything leaves the way it came
"""

from letters import lay_out
from lottie import (
    EASE_IN,
    EASE_IN_OUT,
    EASE_OUT,
    LINEAR,
    OVERSHOOT,
    SWAY,
    Movie,
    animate,
    ellipse,
    fill,
    gradient_fill,
    gradient_stroke,
    group,
    line,
    mask,
    polygon,
    rect,
    stroke,
    trim,
)
from palette import AMBER, BLUE, CORAL, ICE, NAVY, NIGHT, SKY, VIOLET, glyph

WIDTH, HEIGHT, RATE, FRAMES = 1280, 720, 60, 360
NAME, ROLE, BADGE = "MARA LINDEN", "LIGHT AND STAGE DESIGN, HALL 7", "LIVE"
LEFT, TOP, PLATE_WIDTH, PLATE_HEIGHT = 84, 500, 760, 140
SLANT = 34
EXIT = 300


def plate_outline(inset=0):
    return polygon(
        (0, inset),
        (PLATE_WIDTH, inset),
        (PLATE_WIDTH - SLANT, PLATE_HEIGHT - inset),
        (0, PLATE_HEIGHT - inset),
    )


def plate(movie):
    closed, opened = [-PLATE_WIDTH - 20, 0], [0, 0]

    def build(inner):
        # An echo of the plate runs ahead of it and comes to rest as its bright rim.
        for name, paint, late, shift in (
            ("echo", gradient_fill([(0, BLUE), (1, VIOLET)], (0, 0), (PLATE_WIDTH, 0)), 4, 13),
            (
                "plate",
                gradient_fill(
                    [(0, "#142252", 0.97), (0.6, NAVY, 0.95), (1, NIGHT, 0.9)],
                    (0, 0),
                    (PLATE_WIDTH, 60),
                ),
                10,
                0,
            ),
        ):
            end = opened[0] + shift
            inner.shapes(
                name,
                group(plate_outline(), paint),
                position=animate(
                    (late, [closed[0], 0], EASE_OUT),
                    (late + 46, [end, 0]),
                    (EXIT + 22 - late, [end, 0], EASE_IN),
                    (EXIT + 54 - late, [closed[0], 0]),
                ),
            )
        start = 84
        for run in (start, start + 108):
            inner.shapes(
                "running light",
                group(
                    line(0, PLATE_HEIGHT - 1.5, PLATE_WIDTH - SLANT, PLATE_HEIGHT - 1.5),
                    trim(
                        start=animate((run, 0, SWAY), (run + 90, 100)),
                        end=animate((run, 0, EASE_OUT), (run + 80, 100)),
                    ),
                    gradient_stroke(
                        [(0, AMBER, 0.2), (0.5, SKY), (1, SKY, 0.2)],
                        (0, 0),
                        (PLATE_WIDTH - SLANT, 0),
                        3,
                    ),
                ),
                first=run,
                last=run + 90,
            )

    window = polygon(
        (0, -4), (PLATE_WIDTH + 40, -4), (PLATE_WIDTH + 40, PLATE_HEIGHT + 4), (0, PLATE_HEIGHT + 4)
    )
    movie.precomp(
        "plate",
        build,
        masks=[mask(window)],
        position=(LEFT, TOP),
    )


def edge(movie):
    movie.shapes(
        "warm edge",
        group(
            line(0, 0, 0, PLATE_HEIGHT),
            trim(
                start=animate((0, 50, EASE_OUT), (30, 0), (EXIT + 34, 0, EASE_IN), (EXIT + 54, 50)),
                end=animate(
                    (0, 50, EASE_OUT), (30, 100), (EXIT + 34, 100, EASE_IN), (EXIT + 54, 50)
                ),
            ),
            gradient_stroke([(0, AMBER), (1, CORAL)], (0, 0), (0, PLATE_HEIGHT), 10),
        ),
        last=EXIT + 54,
        position=(LEFT, TOP),
    )


def words(movie, name, text, size, tracking, weight, ink, top, born, gone):
    """A line of text whose letters rise one after the other behind its baseline."""
    width, placed = lay_out(text, size, tracking)
    left = LEFT + 38
    drop = size + weight + 10

    def build(inner):
        for index, (char, x, _, paths) in enumerate(placed):
            start, end = born + index * 1.2, gone + index * 0.5
            rest, below = [left + x, top], [left + x, top + drop]
            inner.shapes(
                "%s %s" % (name, char),
                group(*glyph(paths), stroke(ink, weight)),
                first=int(start),
                last=int(end) + 20,
                position=animate(
                    (start, below, EASE_OUT),
                    (start + 30, rest),
                    (end, rest, EASE_IN),
                    (end + 18, below),
                ),
            )

    window = polygon(
        (left - 10, top - weight - 4),
        (left + width + 10, top - weight - 4),
        (left + width + 10, top + size + weight),
        (left - 10, top + size + weight),
    )
    movie.precomp(
        name,
        build,
        first=born,
        last=gone + 40,
        masks=[mask(window)],
    )


def badge(movie):
    size = 15
    width, placed = lay_out(BADGE, size, 34)
    total = width + 52
    x, y = LEFT + PLATE_WIDTH - SLANT - total / 2 - 22, TOP + 47
    appear = animate(
        (50, [0, 0], OVERSHOOT),
        (74, [100, 100]),
        (EXIT - 6, [100, 100], EASE_IN),
        (EXIT + 10, [0, 0]),
    )
    letters = [
        group(*glyph(paths), stroke("#FFFFFF", 2.6), position=(-total / 2 + 36 + lx, -size / 2))
        for _, lx, _, paths in placed
    ]
    movie.shapes(
        "badge",
        group(
            rect(-total / 2, -16, total, 32, 16),
            gradient_fill([(0, CORAL), (1, "#E0314F")], (-total / 2, 0), (total / 2, 0)),
        ),
        group(ellipse(0, 0, 9, 9), fill("#FFFFFF"), position=(-total / 2 + 18, 0)),
        *letters,
        first=50,
        last=EXIT + 10,
        position=(x, y),
        scale=appear,
    )
    for beat in (84, 138, 192, 246):
        movie.shapes(
            "pulse",
            group(ellipse(0, 0, 10, 10), stroke("#FFFFFF", 1.4)),
            first=beat,
            last=beat + 44,
            position=(x - total / 2 + 18, y),
            scale=animate((beat, [90, 90], EASE_OUT), (beat + 44, [240, 240])),
            opacity=animate((beat, 90, LINEAR), (beat + 44, 0)),
        )


def mark(movie):
    """The X at the right end turns once as the plate settles and once as it leaves."""
    half = 13
    arms = [
        group(
            line(-half * s, -half, half * s, half),
            gradient_stroke([(0, AMBER), (1, CORAL)], (0, -half), (0, half), 5.5),
        )
        for s in (1, -1)
    ]
    movie.shapes(
        "mark",
        *arms,
        first=44,
        last=EXIT + 12,
        position=(LEFT + PLATE_WIDTH - SLANT - 40, TOP + 103),
        rotation=animate(
            (44, -90, EASE_OUT),
            (84, 0),
            (180, 0, EASE_IN_OUT),
            (220, 180),
            (EXIT - 8, 180, EASE_IN),
            (EXIT + 12, 270),
        ),
        scale=animate(
            (44, [0, 0], OVERSHOOT),
            (70, [100, 100]),
            (EXIT - 8, [100, 100], EASE_IN),
            (EXIT + 12, [0, 0]),
        ),
    )


def make():
    movie = Movie("Lower third", WIDTH, HEIGHT, RATE, FRAMES)
    plate(movie)
    edge(movie)
    words(movie, "name", NAME, 42, 34, 6, ICE, TOP + 28, 24, EXIT + 2)
    words(movie, "role", ROLE, 19, 42, 2.6, SKY, TOP + 95, 32, EXIT - 4)
    badge(movie)
    mark(movie)
    return movie
