"""Colours and pieces that the example movies share."""

import math

from lottie import ellipse, fill, gradient_fill, group, path, rect, rgb

NIGHT = "#050918"
NAVY = "#0A1330"
INDIGO = "#16245C"
ICE = "#F2F7FF"
MIST = "#9FB4DC"
SKY = "#5CC8FF"
BLUE = "#3D7BFF"
VIOLET = "#8A5CFF"
AMBER = "#FFC24B"
CORAL = "#FF5A3C"


def backdrop(width, height):
    """An opaque night sky: every pixel of the picture is covered."""
    return group(
        rect(0, 0, width, height),
        gradient_fill(
            [(0, INDIGO), (0.45, NAVY), (1, NIGHT)],
            (width / 2, height * 0.46),
            (width * 1.08, height * 0.46),
            radial=True,
        ),
    )


def bands(width, height, stops, count=120):
    """An opaque ground that turns from colour to colour downwards; stops as for gradients.

    Plain bands instead of a gradient: pixels of a plain colour are set, which costs a tenth of a
    gradient's. Dark colours have no more
    steps than this between them, so that it looks the same.
    """
    edges = [round(height * i / count) for i in range(count + 1)]
    return [
        group(rect(0, y, width, end - y), fill(colour_at(stops, (y + end) / 2 / height)))
        for y, end in zip(edges, edges[1:])
    ]


def colour_at(stops, offset):
    """The colour between two stops; level at the stops, so that none shows as a line."""
    for (start, colour), (end, other) in zip(stops, stops[1:]):
        if offset <= end:
            part = (1 - math.cos(math.pi * (offset - start) / (end - start))) / 2
            mixed = [round(255 * (a + (b - a) * part)) for a, b in zip(rgb(colour), rgb(other))]
            return "#%02X%02X%02X" % tuple(mixed)
    return stops[-1][1]


def glow(colour, radius, strength):
    """A soft round light around the origin, fading to nothing at its rim."""
    stops = [(0, colour, strength), (0.35, colour, strength * 0.45), (1, colour, 0)]
    return group(
        ellipse(0, 0, radius * 2, radius * 2),
        gradient_fill(stops, (0, 0), (radius, 0), radial=True),
    )


def wave(width, period, amplitude, phase, steps):
    """A sine around y = 0 from x = 0 to `width`; `phase` counts in turns."""
    step = width / steps
    verts, ins, outs = [], [], []
    for i in range(steps + 1):
        x = i * step
        angle = 2 * math.pi * (x / period + phase)
        slope = amplitude * 2 * math.pi / period * math.cos(angle)
        verts.append([round(x), round(amplitude * math.sin(angle), 1)])
        outs.append([round(step / 3, 1), round(slope * step / 3, 1)])
        ins.append([round(-step / 3, 1), round(-slope * step / 3, 1)])
    return {"c": False, "v": verts, "i": ins, "o": outs}


def glyph(paths):
    """The pen strokes of one glyph, as shapes."""
    return [path(p) for p in paths]


def shifted(shape, dx):
    return {**shape, "v": [[x + dx, y] for x, y in shape["v"]]}
