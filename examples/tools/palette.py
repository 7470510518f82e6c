"""Colours and pieces that the example movies share."""

import math

from lottie import ellipse, gradient_fill, group, path, rect

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
