"""Builds Lottie documents from plain Python values.

Only what the example movies use: shape layers,
precomps, masks, gradients, trim paths and repeaters.
Movies are written back to front: what is added last lies on top.
"""

import json

# Cubic timing curves: (x1, y1, x2, y2), as in CSS.
LINEAR = (0.3, 0.3, 0.7, 0.7)
EASE_OUT = (0.16, 1.0, 0.3, 1.0)
EASE_IN = (0.7, 0.0, 0.84, 0.0)
EASE_IN_OUT = (0.76, 0.0, 0.24, 1.0)
SWAY = (0.37, 0.0, 0.63, 1.0)
OVERSHOOT = (0.34, 1.5, 0.64, 1.0)
HOLD = "hold"


def rgb(hex_colour):
    return [int(hex_colour[i : i + 2], 16) / 255 for i in (1, 3, 5)]


def fixed(value):
    return {"a": 0, "k": value}


def animate(*keys):
    """Keys are (frame, value) or (frame, value, timing of the way to the next key)."""
    out = []
    for index, key in enumerate(keys):
        frame, value = key[0], key[1]
        entry = {"t": frame, "s": value if isinstance(value, list) else [value]}
        if index + 1 < len(keys):
            timing = key[2] if len(key) > 2 else SWAY
            if timing == HOLD:
                entry["h"] = 1
            else:
                entry["o"] = {"x": [timing[0]], "y": [timing[1]]}
                entry["i"] = {"x": [timing[2]], "y": [timing[3]]}
        out.append(entry)
    return {"a": 1, "k": out}


def prop(value):
    """A property as it is when animated, else a constant."""
    return value if isinstance(value, dict) else fixed(value)


def transform(position=(0, 0), anchor=(0, 0), scale=(100, 100), rotation=0, opacity=100):
    def pair(value):
        return prop(list(value) if isinstance(value, tuple) else value)

    return {
        "p": pair(position),
        "a": pair(anchor),
        "s": pair(scale),
        "r": prop(rotation),
        "o": prop(opacity),
    }


# Shapes


def path(shape):
    return {"ty": "sh", "ks": fixed(shape)}


def morph(*keys):
    """A path that changes form; keys as for animate, the values are shapes."""
    return {"ty": "sh", "ks": animate(*[(k[0], [k[1]], *k[2:]) for k in keys])}


def line(x1, y1, x2, y2):
    zero = [[0, 0], [0, 0]]
    return path({"c": False, "v": [[x1, y1], [x2, y2]], "i": zero, "o": zero})


def polygon(*points):
    zero = [[0, 0] for _ in points]
    return path({"c": True, "v": [list(p) for p in points], "i": zero, "o": zero})


def rect(x, y, width, height, radius=0):
    """A rectangle by its top left corner."""
    return {
        "ty": "rc",
        "d": 1,
        "p": fixed([x + width / 2, y + height / 2]),
        "s": fixed([width, height]),
        "r": fixed(radius),
    }


def ellipse(x, y, width, height):
    """An ellipse by its centre."""
    return {"ty": "el", "d": 1, "p": fixed([x, y]), "s": fixed([width, height])}


def star(points, outer, inner, roundness=0):
    return {
        "ty": "sr",
        "sy": 1,
        "d": 1,
        "pt": fixed(points),
        "p": fixed([0, 0]),
        "r": fixed(0),
        "or": fixed(outer),
        "os": fixed(roundness),
        "ir": fixed(inner),
        "is": fixed(roundness),
    }


def fill(colour, opacity=100):
    return {"ty": "fl", "r": 1, "c": fixed(rgb(colour) + [1]), "o": prop(opacity)}


def stroke(colour, width, opacity=100):
    return {
        "ty": "st",
        "lc": 2,
        "lj": 2,
        "c": fixed(rgb(colour) + [1]),
        "o": prop(opacity),
        "w": prop(width),
    }


def _gradient(stops, start, end, radial, opacity):
    """Stops are (offset, colour) or (offset, colour, alpha from 0 to 1)."""
    numbers = []
    for stop in stops:
        numbers += [stop[0]] + rgb(stop[1])
    if any(len(stop) > 2 for stop in stops):
        for stop in stops:
            numbers += [stop[0], stop[2] if len(stop) > 2 else 1]
    return {
        "t": 2 if radial else 1,
        "s": fixed(list(start)),
        "e": fixed(list(end)),
        "h": fixed(0),
        "a": fixed(0),
        "o": prop(opacity),
        "g": {"p": len(stops), "k": fixed(numbers)},
    }


def gradient_fill(stops, start, end, radial=False, opacity=100):
    return {"ty": "gf", "r": 1, **_gradient(stops, start, end, radial, opacity)}


def gradient_stroke(stops, start, end, width, opacity=100):
    extra = {"ty": "gs", "lc": 2, "lj": 2, "w": prop(width)}
    return {**extra, **_gradient(stops, start, end, False, opacity)}


def trim(start=0, end=100, offset=0):
    return {"ty": "tm", "m": 1, "s": prop(start), "e": prop(end), "o": prop(offset)}


def repeat(copies, first_opacity=100, last_opacity=100, **step):
    tr = transform(**step)
    del tr["o"]
    tr["so"] = fixed(first_opacity)
    tr["eo"] = fixed(last_opacity)
    return {"ty": "rp", "c": fixed(copies), "o": fixed(0), "m": 1, "tr": tr}


def group(*items, **place):
    return {"ty": "gr", "it": [*items, {"ty": "tr", **transform(**place)}]}


def mask(shape, mode="a"):
    """`shape` is what path() or polygon() returns."""
    return {"inv": False, "mode": mode, "pt": shape["ks"], "o": fixed(100)}


# Layers


class Movie:
    def __init__(self, name, width, height, rate, frames):
        self.name, self.width, self.height = name, width, height
        self.rate, self.frames = rate, frames
        self.layers, self.assets = [], []

    def _layer(self, kind, name, first, last, place, masks):
        layer = {
            "ddd": 0,
            "ty": kind,
            "nm": name,
            "ip": first,
            "op": self.frames if last is None else last,
            "st": 0,
            "sr": 1,
            "ks": transform(**place),
        }
        if masks:
            layer["hasMask"] = True
            layer["masksProperties"] = masks
        return layer

    def shapes(self, name, *items, first=0, last=None, masks=(), **place):
        layer = self._layer(4, name, first, last, place, list(masks))
        # Lottie lists shapes front to back, as it does layers; ours go back to front.
        layer["shapes"] = list(reversed(items))
        self.layers.append(layer)
        return layer

    def precomp(self, name, build, first=0, last=None, masks=(), **place):
        """A layer that holds a composition of its own; `build` fills it."""
        inner = Movie(name, self.width, self.height, self.rate, self.frames)
        build(inner)
        asset = "comp_%d" % len(self.assets)
        self.assets.append({"id": asset, "layers": inner.stacked()})
        layer = self._layer(0, name, first, last, place, list(masks))
        layer.update({"refId": asset, "w": self.width, "h": self.height})
        self.layers.append(layer)
        return layer

    def stacked(self):
        for index, layer in enumerate(reversed(self.layers)):
            layer["ind"] = index + 1
        return list(reversed(self.layers))

    def text(self):
        document = {
            "v": "5.5.2",
            "nm": self.name,
            "fr": self.rate,
            "ip": 0,
            "op": self.frames,
            "w": self.width,
            "h": self.height,
            "ddd": 0,
            "assets": self.assets,
            "layers": self.stacked(),
        }
        return json.dumps(_rounded(document), separators=(",", ":")) + "\n"


def _rounded(value):
    """Three decimals are below what a screen shows; whole numbers lose their point."""
    if isinstance(value, dict):
        return {key: _rounded(item) for key, item in value.items()}
    if isinstance(value, (list, tuple)):
        return [_rounded(item) for item in value]
    if isinstance(value, float):
        value = round(value, 3)
        return int(value) if value == int(value) else value
    return value
