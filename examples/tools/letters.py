"""A small single-line alphabet, drawn for the example movies.

Every glyph is the centre line of a pen, on a cap height of 100 units with y
pointing down. A stroke gives it weight; a trim path makes it write itself.

Path commands, all absolute: M x y, L x y, H x, V y, Z, and K cx cy x y, which
is a quarter of an ellipse to (x, y) whose tangents meet in the corner (cx, cy).
"""

CAP_HEIGHT = 100
QUARTER = 0.5523  # control point distance that makes a cubic follow a quarter circle

_RING = "M50 0 K100 0 100 50 K100 100 50 100 K0 100 0 50 K0 0 50 0 Z"

# character: (advance width of the ink, pen strokes)
GLYPHS = {
    " ": (34, []),
    "A": (84, ["M0 100 L42 0 L84 100", "M17 66 H67"]),
    "B": (64, ["M0 48 V0 H34 K58 0 58 24 K58 48 34 48 H0 V100 H38 K64 100 64 74 K64 48 38 48"]),
    "C": (86, ["M86 22 K72 0 48 0 K0 0 0 50 K0 100 48 100 K72 100 86 78"]),
    "D": (80, ["M0 0 H34 K80 0 80 50 K80 100 34 100 H0 Z"]),
    "E": (60, ["M60 0 H0 V100 H60", "M3 50 H52"]),
    "F": (58, ["M58 0 H0 V100", "M3 50 H50"]),
    "G": (90, ["M86 22 K72 0 48 0 K0 0 0 50 K0 100 48 100 K90 100 90 54 H54"]),
    "H": (72, ["M0 0 V100", "M72 0 V100", "M3 50 H69"]),
    "I": (0, ["M0 0 V100"]),
    "J": (48, ["M48 0 V70 K48 100 24 100 K0 100 0 74"]),
    "K": (66, ["M0 0 V100", "M62 0 L4 56", "M24 37 L66 100"]),
    "L": (56, ["M0 0 V100 H56"]),
    "M": (92, ["M0 100 V0 L46 66 L92 0 V100"]),
    "N": (74, ["M0 100 V0 L74 100 V0"]),
    "O": (100, [_RING]),
    "P": (62, ["M0 100 V0 H34 K62 0 62 28 K62 56 34 56 H3"]),
    "Q": (100, [_RING, "M64 66 L96 104"]),
    "R": (64, ["M0 100 V0 H34 K62 0 62 28 K62 56 34 56 H3", "M32 56 L64 100"]),
    "S": (62, ["M58 20 K54 0 30 0 K2 0 2 25 K2 46 31 49 K62 52 62 75 K62 100 31 100 K4 100 0 79"]),
    "T": (72, ["M0 0 H72", "M36 0 V100"]),
    "U": (72, ["M0 0 V62 K0 100 36 100 K72 100 72 62 V0"]),
    "V": (80, ["M0 0 L40 100 L80 0"]),
    "W": (118, ["M0 0 L30 100 L59 14 L88 100 L118 0"]),
    "X": (78, ["M0 0 L78 100", "M78 0 L0 100"]),
    "Y": (76, ["M0 0 L38 52 L76 0", "M38 52 V100"]),
    "Z": (68, ["M0 0 H68 L0 100 H68"]),
    "0": (66, ["M33 0 K66 0 66 36 V64 K66 100 33 100 K0 100 0 64 V36 K0 0 33 0 Z"]),
    "1": (24, ["M0 18 L24 0 V100"]),
    "2": (64, ["M2 28 K2 0 32 0 K62 0 62 28 K62 42 46 56 L0 100 H64"]),
    "3": (62, ["M4 0 H58 L28 40 K62 40 62 70 K62 100 30 100 K6 100 0 80"]),
    "4": (68, ["M50 100 V0 L0 70 H68"]),
    "5": (64, ["M58 0 H8 L4 44 K14 38 30 38 K64 38 64 69 K64 100 30 100 K6 100 0 82"]),
    "6": (64, ["M46 0 L7 52", "M32 36 K64 36 64 68 K64 100 32 100 K0 100 0 68 K0 36 32 36 Z"]),
    "7": (62, ["M0 0 H62 L20 100"]),
    "8": (
        64,
        [
            "M32 47 K58 47 58 23.5 K58 0 32 0 K6 0 6 23.5 K6 47 32 47"
            " K64 47 64 73.5 K64 100 32 100 K0 100 0 73.5 K0 47 32 47 Z"
        ],
    ),
    "9": (64, ["M18 100 L57 48", "M32 0 K64 0 64 32 K64 64 32 64 K0 64 0 32 K0 0 32 0 Z"]),
    ".": (0, ["M0 97 V100"]),
    ",": (0, ["M2 96 L-4 114"]),
    ":": (0, ["M0 34 V37", "M0 90 V93"]),
    "-": (40, ["M0 54 H40"]),
    "+": (52, ["M0 54 H52", "M26 28 V80"]),
    "/": (46, ["M0 106 L46 -6"]),
    "!": (0, ["M0 0 V68", "M0 96 V99"]),
}


def parse(commands, scale=1.0, dx=0.0, dy=0.0):
    """Turns one pen stroke into a Lottie path: vertices with in and out tangents."""
    verts, ins, outs = [], [], []
    closed = False

    def vertex(x, y, tangent=(0.0, 0.0)):
        verts.append((x, y))
        ins.append(tangent)
        outs.append((0.0, 0.0))

    tokens = commands.replace(",", " ").split()
    at = 0
    while at < len(tokens):
        op, first = tokens[at][0], tokens[at][1:]
        count = {"M": 2, "L": 2, "H": 1, "V": 1, "K": 4, "Z": 0}[op]
        rest = tokens[at + 1 : at + count]
        n = [float(v) for v in ([first] if count else []) + rest]
        at += max(count, 1)
        if op in "ML":
            vertex(n[0], n[1])
        elif op == "H":
            vertex(n[0], verts[-1][1])
        elif op == "V":
            vertex(verts[-1][0], n[0])
        elif op == "K":
            px, py = verts[-1]
            cx, cy, x, y = n
            outs[-1] = (QUARTER * (cx - px), QUARTER * (cy - py))
            vertex(x, y, (QUARTER * (cx - x), QUARTER * (cy - y)))
        else:
            closed = True
            if verts[0] == verts[-1]:  # the last curve came home: one vertex, not two
                ins[0] = ins[-1]
                del verts[-1], ins[-1], outs[-1]
    return {
        "c": closed,
        "v": [[x * scale + dx, y * scale + dy] for x, y in verts],
        "i": [[x * scale, y * scale] for x, y in ins],
        "o": [[x * scale, y * scale] for x, y in outs],
    }


def lay_out(text, height, tracking):
    """Sets a line of text with its top left at (0, 0).

    `tracking` is the gap between glyphs in units of the cap height of 100.
    Returns (width, [(character, x, width, paths)]), blanks left out; each
    glyph's paths are relative to its own x.
    """
    scale = height / CAP_HEIGHT
    x, placed = 0.0, []
    for char in text:
        width, strokes = GLYPHS[char]
        if strokes:
            placed.append((char, x, width * scale, [parse(s, scale) for s in strokes]))
        x += (width + tracking) * scale
    return x - tracking * scale, placed
