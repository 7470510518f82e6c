"""welcome.mvx: two streaks of light cross and become the X that the name grows from.

    0 -  24  the streaks fly in along the diagonals and stop as the X
   20 -  58  rings and sparks from the crossing; letters write themselves outwards
   32 -  80  the rule, then the tagline
  120 - 230  a shine travels over the name, twice
  300 - 352  everything returns into the X, which flies off
"""

from letters import lay_out
from lottie import (
    EASE_IN,
    EASE_OUT,
    LINEAR,
    SWAY,
    Movie,
    animate,
    ellipse,
    gradient_fill,
    gradient_stroke,
    group,
    line,
    mask,
    morph,
    path,
    polygon,
    repeat,
    stroke,
    trim,
)
from palette import (
    AMBER,
    BLUE,
    CORAL,
    ICE,
    MIST,
    NIGHT,
    SKY,
    VIOLET,
    bands,
    glow,
    glyph,
    shifted,
    wave,
)

WIDTH, HEIGHT, RATE, FRAMES = 1280, 720, 60, 360
NAME, NAME_HEIGHT, NAME_TRACKING, PEN = "PLEXION", 132, 46, 19
TAGLINE, TAGLINE_HEIGHT, TAGLINE_TRACKING = "EVERY SCREEN HAS A STORY", 21, 52
TOP = 270  # of the name
ARRIVE = (0.3, 0.1, 0.2, 1.0)
CROSSING = 22  # frame in which the streaks meet
EXIT = 300

NAME_WIDTH, LETTERS = lay_out(NAME, NAME_HEIGHT, NAME_TRACKING)
LEFT = (WIDTH - NAME_WIDTH) / 2
X_INDEX = NAME.index("X")
X_LEFT, X_WIDTH = LEFT + LETTERS[X_INDEX][1], LETTERS[X_INDEX][2]
CENTRE = (X_LEFT + X_WIDTH / 2, TOP + NAME_HEIGHT / 2)


def lights(movie):
    sky = [(0, NIGHT), (0.5, "#12205A"), (1, NIGHT)]
    movie.shapes("night", *bands(WIDTH, HEIGHT, sky))
    for name, colour, radius, strength, start, end in (
        ("blue light", BLUE, 390, 0.42, (110, 650), (250, 610)),
        ("violet light", VIOLET, 370, 0.40, (1180, 90), (1050, 130)),
    ):
        there_and_back = animate(
            (0, list(start), SWAY), (FRAMES / 2, list(end), SWAY), (FRAMES, list(start))
        )
        movie.shapes(name, glow(colour, radius, strength), position=there_and_back)


def ribbons(movie):
    """Bundles of threads below and above the name, and loose threads that twist around them.

    A thread that moves is outlined anew for each frame, one that rests is not. So the bundles
    rest while light travels along them, and few threads are loose.
    """
    length, keys = WIDTH + 80, 12
    for name, y, period, amplitude, turns, colours, tilt, copies in (
        ("low", 604, 1180, 74, 1, (BLUE, SKY), 1.1, 11),
        ("high", 128, 1420, 58, -1, (VIOLET, BLUE), -0.9, 9),
    ):
        first, second = colours
        seen = animate((0, 25, EASE_OUT), (50, 100), (EXIT + 10, 100, SWAY), (FRAMES, 25))
        light = gradient_stroke(
            [(0, first, 0.1), (0.4, first, 0.75), (0.65, second, 0.75), (1, second, 0.1)],
            (0, 0),
            (0, 0),
            1.6,
        )
        ways = ((-500, 560), (500, 1560)) if turns > 0 else ((300, -400), (1460, 800))
        for end, (x, to) in zip("se", ways):
            light[end] = animate((0, [x, 0], SWAY), (FRAMES, [to, 0]))
        movie.shapes(
            name + " bundle",
            group(
                group(path(wave(length, period, amplitude, 0, 16)), light, position=(-40, 0)),
                repeat(
                    copies, 90, 14, scale=(100, 85), rotation=tilt, anchor=(660, 0), position=(0, 2)
                ),
            ),
            position=(0, y),
            opacity=seen,
        )
        fade = [(0, first, 0), (0.3, first, 0.9), (0.7, second, 0.9), (1, second, 0)]
        for reach, ahead, width in ((0.92, 0.1, 2), (0.66, 0.32, 1.4)):
            phases = [
                (
                    FRAMES * k / keys,
                    wave(length, period, amplitude * reach, ahead + turns * k / keys, 6),
                    LINEAR,
                )
                for k in range(keys + 1)
            ]
            movie.shapes(
                name + " thread",
                group(morph(*phases), gradient_stroke(fade, (0, 0), (length, 0), width)),
                position=(-40, y),
                opacity=seen,
            )


def motes(movie):
    """Points of light that rise slowly through the picture."""
    # (x, y, size, rise): scattered by hand so that none sits on the name
    spots = (
        (90, 420, 5, 70),
        (210, 200, 4, 50),
        (265, 560, 6, 90),
        (395, 160, 3, 40),
        (450, 660, 5, 80),
        (560, 180, 4, 60),
        (655, 610, 4, 70),
        (720, 110, 5, 50),
        (835, 540, 6, 90),
        (905, 190, 3, 40),
        (1010, 640, 4, 70),
        (1065, 230, 5, 60),
        (1150, 470, 6, 80),
        (1215, 300, 4, 60),
        (150, 80, 3, 40),
        (1190, 640, 3, 50),
    )
    for index, (x, y, size, rise) in enumerate(spots):
        start = 14 + (index * 7) % 40
        end = EXIT + 20 + (index * 5) % 30
        middle = start + 60 + (index * 13) % 90
        movie.shapes(
            "mote %d" % index,
            group(ellipse(0, 0, size, size), gradient_fill([(0, ICE), (1, SKY)], (0, -3), (0, 3))),
            first=start,
            last=end,
            position=animate((start, [x, y + rise / 2], LINEAR), (end, [x, y - rise / 2])),
            opacity=animate((start, 0), (middle, 80), (middle + 50, 35), (end - 40, 75), (end, 0)),
        )


def impact(movie):
    """What the crossing throws out: light, two rings, sparks."""
    movie.shapes(
        "flash",
        glow(AMBER, 260, 0.9),
        first=6,
        last=76,
        position=CENTRE,
        scale=animate((8, [20, 20], EASE_IN), (CROSSING, [90, 90], EASE_OUT), (76, [130, 100])),
        opacity=animate((6, 0, EASE_IN), (CROSSING, 100, EASE_OUT), (76, 0)),
    )
    movie.shapes(
        "warmth",
        glow(AMBER, 150, 0.9),
        first=CROSSING,
        last=EXIT + 54,
        position=CENTRE,
        opacity=animate(
            (CROSSING, 0, EASE_OUT),
            (70, 22),
            (EXIT, 22, SWAY),
            (EXIT + 34, 55, EASE_OUT),
            (EXIT + 54, 0),
        ),
    )
    for name, delay, size, colour in (("ring", 0, 620, AMBER), ("second ring", 7, 440, SKY)):
        born = CROSSING + delay
        movie.shapes(
            name,
            group(
                ellipse(0, 0, size, size),
                stroke(colour, animate((born, 12, EASE_OUT), (born + 50, 0.5))),
            ),
            first=born,
            last=born + 50,
            position=CENTRE,
            scale=animate((born, [8, 8], EASE_OUT), (born + 50, [100, 100])),
            opacity=animate((born, 80, LINEAR), (born + 26, 45), (born + 50, 0)),
        )
    for name, near, far, width, turn, count in (
        ("sparks", 62, 240, 3.5, 7, 16),
        ("fine sparks", 80, 330, 2, 18, 12),
    ):
        spark = group(
            line(0, -near, 0, -far),
            trim(
                start=animate((CROSSING, 0, EASE_OUT), (CROSSING + 40, 100)),
                end=animate((CROSSING, 0, EASE_OUT), (CROSSING + 24, 100)),
            ),
            stroke(AMBER if turn < 10 else ICE, width),
            rotation=turn,
        )
        movie.shapes(
            name,
            group(spark, repeat(count, rotation=360 / count)),
            first=CROSSING,
            last=CROSSING + 40,
            position=CENTRE,
        )


def streaks(movie):
    """The two bars of the X: each comes along its own diagonal and leaves along it."""
    half_w, half_h = X_WIDTH / 2, NAME_HEIGHT / 2
    reach = 6.5  # length of the whole flight in half bars, to either side
    bar_start, bar_end = (reach - 1) / (2 * reach) * 100, (reach + 1) / (2 * reach) * 100
    for name, side, late in (("falling streak", 1, 0), ("rising streak", -1, 2)):
        x, y = side * half_w * reach, half_h * reach
        head = animate(
            (late, 0, ARRIVE),
            (CROSSING + late, bar_end),
            (EXIT + 30, bar_end, EASE_IN),
            (EXIT + 50 + late, 100),
        )
        tail = animate(
            (late + 4, 0, ARRIVE),
            (CROSSING + 10 + late, bar_start),
            (EXIT + 34, bar_start, EASE_IN),
            (EXIT + 56 + late, 100),
        )
        warm = [(0, AMBER), (1, CORAL)]
        movie.shapes(
            name,
            group(
                line(-x, -y, x, y),
                trim(start=tail, end=head),
                gradient_stroke(warm, (0, -half_h), (0, half_h), PEN),
            ),
            last=EXIT + 58,
            position=CENTRE,
        )


def letters(movie):
    """The other letters: written outwards from the X, and unwritten towards it."""
    cool = [(0, "#FFFFFF"), (0.55, "#DCE9FF"), (1, "#86B6FF")]
    for index, (char, x, width, paths) in enumerate(LETTERS):
        if index == X_INDEX:
            continue
        distance = abs(index - X_INDEX)
        towards = 1 if index < X_INDEX else -1
        born = CROSSING - 2 + 4 * (distance - 1)
        gone = EXIT + 4 * (3 - distance)
        place = [LEFT + x, TOP]
        near = [LEFT + x + towards * 46, TOP]
        movie.shapes(
            "letter " + char,
            group(
                *glyph(paths),
                trim(
                    end=animate(
                        (born, 0, EASE_OUT), (born + 34, 100), (gone, 100, EASE_IN), (gone + 22, 0)
                    )
                ),
                gradient_stroke(cool, (0, 0), (0, NAME_HEIGHT), PEN),
            ),
            first=born,
            last=gone + 22,
            position=animate(
                (born, near, EASE_OUT),
                (born + 36, place),
                (gone, place, EASE_IN),
                (gone + 22, near),
            ),
            opacity=animate(
                (born, 0, LINEAR), (born + 5, 100), (gone + 16, 100, LINEAR), (gone + 22, 0)
            ),
        )


def shine(movie):
    """A slanted band of warm light that travels through the ink of the name."""
    light = [(0, AMBER, 0), (0.5, "#FFE3A8", 0.95), (1, CORAL, 0)]
    band, slant, frames = 170, 64, 62
    for start in (112, 212):
        first, last = -band - slant, NAME_WIDTH + slant
        pen = gradient_stroke(light, (0, 0), (0, 0), PEN)
        pen["s"] = animate((start, [first, 0], SWAY), (start + frames, [last, 0]))
        pen["e"] = animate(
            (start, [first + band, slant], SWAY), (start + frames, [last + band, slant])
        )
        movie.shapes(
            "shine",
            *[group(*[path(shifted(p, x)) for p in paths], pen) for _, x, _, paths in LETTERS],
            first=start,
            last=start + frames,
            position=(LEFT, TOP),
        )


def tagline(movie):
    rule_y = TOP + NAME_HEIGHT + 44
    width, placed = lay_out(TAGLINE, TAGLINE_HEIGHT, TAGLINE_TRACKING)
    left, top = (WIDTH - width) / 2, rule_y + 30
    fade = [(0, SKY, 0), (0.2, SKY, 1), (0.5, AMBER, 1), (0.8, SKY, 1), (1, SKY, 0)]
    half = NAME_WIDTH / 2
    movie.shapes(
        "rule",
        group(
            line(-half, 0, half, 0),
            trim(
                start=animate((32, 50, EASE_OUT), (80, 0), (EXIT - 4, 0, EASE_IN), (EXIT + 22, 50)),
                end=animate(
                    (32, 50, EASE_OUT), (80, 100), (EXIT - 4, 100, EASE_IN), (EXIT + 22, 50)
                ),
            ),
            gradient_stroke(fade, (-half, 0), (half, 0), 2.5),
        ),
        first=32,
        last=EXIT + 22,
        position=(WIDTH / 2, rule_y),
    )
    middle = len(placed) / 2
    window = polygon(
        (0, rule_y + 6),
        (WIDTH, rule_y + 6),
        (WIDTH, top + TAGLINE_HEIGHT + 14),
        (0, top + TAGLINE_HEIGHT + 14),
    )

    def build(inner):
        for index, (char, x, _, paths) in enumerate(placed):
            born = 38 + round(1.0 * abs(index + 0.5 - middle))
            gone = EXIT - 14 + round(0.7 * (middle - abs(index + 0.5 - middle)))
            rest, hidden = [left + x, top], [left + x, top - 34]
            inner.shapes(
                "small " + char,
                group(*glyph(paths), stroke(MIST, 2.6)),
                first=born,
                last=gone + 18,
                position=animate(
                    (born, hidden, EASE_OUT),
                    (born + 26, rest),
                    (gone, rest, EASE_IN),
                    (gone + 18, hidden),
                ),
            )

    movie.precomp("tagline", build, masks=[mask(window)])


def make():
    movie = Movie("Welcome", WIDTH, HEIGHT, RATE, FRAMES)
    lights(movie)
    ribbons(movie)
    motes(movie)
    impact(movie)
    letters(movie)
    streaks(movie)
    shine(movie)
    tagline(movie)
    return movie
