"""special-offer.mvx: a promotion between two pages of a menu board.

    0 -  26  rays open, the glass drops in and settles
   18 - 100  coffee, then foam rise in the glass; the lines of text come up
   52 -  76  the price bursts in
   76 - 206  hold: steam, rays and price stay in motion
  206 - 238  everything makes room for the next page
"""

from letters import lay_out, parse
from lottie import (
    EASE_IN,
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
    path,
    polygon,
    rect,
    repeat,
    star,
    stroke,
    trim,
)
from palette import AMBER, CORAL, glow, glyph, wave

WIDTH, HEIGHT, RATE, FRAMES = 1280, 720, 30, 240
EXIT = 206
CREAM, LATTE, COFFEE, ESPRESSO, BARK = "#FFF3DE", "#E3B27C", "#8A4B22", "#3A1A12", "#180A0A"
GLASS = "M-128 0 H128 L104 190 K100 236 54 236 H-54 K-100 236 -104 190 Z"
CUP = (330, 262)  # middle of the rim
TEXT_LEFT = 596


def leave(value, gone, at=EXIT):
    """The keys of a way out that starts at frame `at`."""
    return [(at, value, EASE_IN), (at + 22, gone)]


def ground(movie):
    movie.shapes(
        "ground",
        group(
            rect(0, 0, WIDTH, HEIGHT),
            gradient_fill(
                [(0, "#5A2A1A"), (0.5, ESPRESSO), (1, BARK)],
                (CUP[0], 380),
                (WIDTH, 380),
                radial=True,
            ),
        ),
    )
    rays = group(
        polygon((0, 0), (-64, -1100), (64, -1100)),
        gradient_fill([(0, AMBER, 0.26), (0.6, AMBER, 0.08), (1, AMBER, 0)], (0, 0), (0, -760)),
    )
    movie.shapes(
        "rays",
        group(rays, repeat(18, rotation=20)),
        position=(CUP[0], 390),
        rotation=animate((0, 0, LINEAR), (FRAMES, 40)),
        scale=animate(
            (0, [20, 20], EASE_OUT), (34, [100, 100]), *leave([100, 100], [20, 20], EXIT + 6)
        ),
        opacity=animate((0, 0, EASE_OUT), (20, 100), *leave(100, 0, EXIT + 6)),
    )
    movie.shapes(
        "warmth",
        glow(AMBER, 330, 0.34),
        position=(CUP[0], 390),
        scale=animate((0, [90, 90]), (80, [108, 108]), (160, [94, 94]), (FRAMES, [90, 90])),
    )


def filled(colour_top, colour_bottom, phase):
    """A body of liquid below a wavy surface, wide enough to drift sideways."""
    surface = wave(900, 225, 9, phase, 16)
    surface["v"] += [[900, 300], [0, 300]]
    surface["i"] += [[0, 0], [0, 0]]
    surface["o"] += [[0, 0], [0, 0]]
    surface["i"][0] = surface["o"][16] = [0, 0]
    surface["c"] = True
    return group(
        path(surface), gradient_fill([(0, colour_top), (1, colour_bottom)], (0, -6), (0, 210))
    )


def cup(movie):
    """Three compositions that move as one: behind the liquid, the liquid, in front of it."""
    rim = (320, 60)  # middle of the rim inside the compositions
    flight = dict(
        anchor=rim,
        position=animate(
            (2, [CUP[0], -330], EASE_OUT),
            (26, list(CUP)),
            *leave(list(CUP), [CUP[0], -330], EXIT + 4),
        ),
        rotation=animate((2, -9, EASE_OUT), (22, 3, SWAY), (32, -1.5, SWAY), (42, 0)),
    )
    outline = path(parse(GLASS))

    def behind(inner):
        inner.shapes(
            "saucer",
            group(
                ellipse(0, 246, 400, 44),
                gradient_fill([(0, "#FFE2B8"), (1, "#B9743A")], (-200, 0), (200, 0)),
            ),
            group(ellipse(0, 241, 300, 24), fill("#7A4322", 55)),
            position=rim,
        )
        inner.shapes(
            "handle",
            group(
                path(parse("M120 40 K206 26 200 92 K194 152 108 156")),
                gradient_stroke([(0, CREAM), (1, LATTE)], (120, 0), (206, 160), 17, 85),
            ),
            position=rim,
        )
        inner.shapes("glass", group(outline, fill(CREAM, 20)), position=rim)

    def liquid(inner):
        for name, top, bottom, level, start, phase, way in (
            ("foam", "#FFF6E6", "#F0CFA0", 34, 38, 0.3, -225),
            ("coffee", "#B56A33", "#4A2011", 84, 18, 0.0, 225),
        ):
            x, y = rim[0] - 450, rim[1]
            inner.shapes(
                name,
                filled(top, bottom, phase),
                position=animate(
                    (start, [x - way * 0.4, y + 250], EASE_OUT),
                    (start + 60, [x, y + level], LINEAR),
                    (FRAMES, [x + way * 0.6, y + level]),
                ),
            )

    def front(inner):
        inner.shapes(
            "glass",
            group(outline, stroke(CREAM, 5, 80)),
            group(path(parse("M-100 30 L-82 176 K-80 202 -64 210")), stroke("#FFFFFF", 9, 42)),
            group(line(-128, 0, 128, 0), stroke(CREAM, 10)),
            position=rim,
        )

    movie.precomp("behind the coffee", behind, **flight)
    movie.precomp("coffee", liquid, masks=[mask(path(parse(GLASS, 1, *rim)))], **flight)
    movie.precomp("before the coffee", front, **flight)


def steam(movie):
    for index, (dx, height, start) in enumerate(((-58, 108, 62), (0, 140, 50), (58, 112, 70))):
        for turn in range(3):
            born = start + turn * 46
            movie.shapes(
                "steam",
                group(
                    path(wave(height, height * 0.8, 9, 0.5 * (index % 2), 8)),
                    trim(
                        start=animate((born, 0, SWAY), (born + 44, 100)),
                        end=animate((born, 0, EASE_OUT), (born + 36, 100)),
                    ),
                    gradient_stroke([(0, CREAM, 0.75), (1, CREAM, 0.05)], (0, 0), (height, 0), 7),
                    rotation=-90,
                ),
                first=born,
                last=born + 44,
                position=(CUP[0] + dx, CUP[1] - 22),
            )


def words(movie):
    for name, text, size, tracking, weight, ink, top, born in (
        ("hint", "TODAY ONLY", 25, 60, 3.6, AMBER, 222, 24),
        ("first line", "COFFEE", 92, 30, 13, CREAM, 282, 30),
        ("second line", "+ CAKE", 92, 30, 13, CREAM, 410, 38),
        ("small print", "FROM 14:00, WHILE IT IS WARM", 19, 46, 2.5, LATTE, 560, 52),
    ):
        width, placed = lay_out(text, size, tracking)
        edge = weight + 6

        def build(inner, placed=placed, size=size, top=top, born=born, weight=weight, ink=ink):
            step = 1.6 if size > 50 else 0.6
            for index, (char, x, _, paths) in enumerate(placed):
                start, end = born + index * step, EXIT - 8 + index * step / 2
                rest, below = [TEXT_LEFT + x, top], [TEXT_LEFT + x, top + size + 2 * weight + 12]
                inner.shapes(
                    char,
                    group(*glyph(paths), stroke(ink, weight)),
                    position=animate(
                        (start, below, EASE_OUT),
                        (start + 22, rest),
                        (end, rest, EASE_IN),
                        (end + 14, below),
                    ),
                )

        window = polygon(
            (TEXT_LEFT - edge, top - edge),
            (TEXT_LEFT + width + edge, top - edge),
            (TEXT_LEFT + width + edge, top + size + edge),
            (TEXT_LEFT - edge, top + size + edge),
        )
        movie.precomp(name, build, first=born, last=EXIT + 24, masks=[mask(window)])
    movie.shapes(
        "rule",
        group(
            line(0, 0, 360, 0),
            trim(end=animate((44, 0, EASE_OUT), (70, 100), *leave(100, 0, EXIT - 6))),
            gradient_stroke([(0, AMBER), (1, CORAL)], (0, 0), (360, 0), 4),
        ),
        first=44,
        position=(TEXT_LEFT, 534),
    )


def price(movie):
    place = (1146, 136)
    pop = animate(
        (52, [0, 0], OVERSHOOT),
        (70, [100, 100]),
        (120, [100, 100], SWAY),
        (127, [109, 109], SWAY),
        (136, [100, 100]),
        (170, [100, 100], SWAY),
        (177, [109, 109], SWAY),
        (186, [100, 100]),
        *leave([100, 100], [0, 0], EXIT - 4),
    )
    movie.shapes(
        "burst shade",
        group(star(20, 116, 100, 20), fill(BARK, 45)),
        first=52,
        position=(place[0] + 7, place[1] + 10),
        scale=pop,
        rotation=animate((52, -60, EASE_OUT), (76, 0, LINEAR), (FRAMES, 60)),
    )
    movie.shapes(
        "burst",
        group(
            star(20, 116, 100, 20),
            gradient_fill([(0, "#FF7A4A"), (1, "#D92C3C")], (-60, -120), (60, 120)),
        ),
        first=52,
        position=place,
        scale=pop,
        rotation=animate((52, -60, EASE_OUT), (76, 0, LINEAR), (FRAMES, 60)),
    )
    width, placed = lay_out("4.50", 48, 28)
    movie.shapes(
        "price",
        *[
            group(*glyph(paths), stroke("#FFFFFF", 8), position=(x - width / 2, -24))
            for _, x, _, paths in placed
        ],
        first=54,
        position=place,
        scale=pop,
        rotation=animate((54, -30, EASE_OUT), (80, -8)),
    )
    movie.shapes(
        "price ring",
        group(ellipse(0, 0, 178, 178), stroke("#FFE2C0", 2, 60)),
        first=52,
        position=place,
        scale=pop,
    )


def make():
    movie = Movie("Special offer", WIDTH, HEIGHT, RATE, FRAMES)
    ground(movie)
    cup(movie)
    steam(movie)
    words(movie)
    price(movie)
    return movie
