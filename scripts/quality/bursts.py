"""Bursts with known truth: what camera, sensor and scene do to the frames, one thing at a time."""

from dataclasses import dataclass, field, replace

import numpy as np
from scipy import ndimage, special

from . import recorded, scenes
from .camera import SCALE, Blur, Motion, Scene

TOTAL = 0.683  # the blur that the product takes cameras to have, in scene pixels
GAUSS = Blur(TOTAL)
PIXEL = Blur(np.sqrt(TOTAL ** 2 - SCALE ** 2 / 12), SCALE)  # the same spread: a pixel's square, the rest optics


@dataclass(frozen=True)
class Kind:
    """A way to make bursts. Noise, jumps and patterns are standard deviations as a share of the scene's contrast."""

    what: str
    noise: float = 0.01
    kelvin: float = 0.0  # noise in kelvin, in place of a share
    reach: float = 1.0  # pixels that frames are displaced by, at most
    along: tuple = (1.0, 1.0)  # share of it in x and y
    jitter: float = 0.0  # standard deviation of further displacements, pixels
    halves: bool = False  # displacements are multiples of half a pixel
    turn: float = 0.0  # degrees, at most
    zoom: float = 0.0
    drift: float = 0.0  # kelvin a frame
    gain: float = 0.0
    jump: float = 0.0
    dead: int = 0
    flicker: int = 0  # pixels that are off by the contrast in a third of the frames
    impulses: float = 0.0  # share of the values that are off by the contrast
    pattern: str = ""
    strength: float = 0.0
    rows: float = 0.0  # of a level that each row of each frame has of its own
    sweep: float = 0.0  # pixels that frames move by, at most, from their first row to the last, beyond the reference
    frames: int = 5
    blur: tuple = (GAUSS, PIXEL)  # of the first, second, third ... burst in turn
    layers: str = ""
    scene: str = "pictures"


KINDS = {
    "noise_1": Kind("noise of 1 % of the contrast"),
    "noise_5": Kind("noise of 5 %", noise=0.05),
    "noise_15": Kind("noise of 15 %", noise=0.15),
    "turn_1": Kind("frames turned by up to 1 degree", turn=1),
    "turn_2": Kind("turned by up to 2 degrees", turn=2),
    "zoom": Kind("zoom of up to 0.5 %", zoom=0.005),
    "drift": Kind("level drifts by 0.2 K a frame", drift=0.2),
    "gain": Kind("gains differ by up to 5 %", gain=0.05),
    "jump": Kind("level jumps by a third of the contrast (shutter)", jump=0.33),
    "dead": Kind("40 dead pixels with values the scene has", dead=40),
    "flicker": Kind("20 pixels that flicker by the contrast in a third of the frames", flicker=20),
    "flicker_12": Kind("20 such pixels, twelve frames", flicker=20, frames=12),
    "impulses": Kind("1 % of all values off by the contrast", impulses=0.01),
    "impulses_12": Kind("the same, twelve frames", impulses=0.01, frames=12),
    "white_10": Kind("fixed white pattern of 10 %", pattern="white", strength=0.1),
    "columns_10": Kind("fixed columns of 10 %", pattern="columns", strength=0.1),
    "white_3": Kind("fixed white pattern of 3 %", pattern="white", strength=0.03),
    "columns_3": Kind("fixed columns of 3 %", pattern="columns", strength=0.03),
    "rows": Kind("rows of each frame shifted in level by 3 %", rows=0.03),
    "rolling": Kind("rolling shutter: up to a pixel from first to last row", sweep=1),
    "halves": Kind("displaced by halves of pixels", halves=True),
    "sideways": Kind("displaced sideways only", along=(1, 0.03)),
    "far": Kind("displaced by up to 5 pixels", reach=5),
    "tripod": Kind("tripod: 0.01 px of jitter", reach=0, jitter=0.01),
    "object": Kind("an object moves on its own", layers="object"),
    "depths": Kind("two depths, a pixel of parallax", layers="depths"),
    "frames_12": Kind("twelve frames, noise of 1 %", frames=12),
    "frames_12_noisy": Kind("twelve frames, noise of 5 %", frames=12, noise=0.05),
    "white_10_24": Kind("24 frames, white pattern of 10 %", pattern="white", strength=0.1, frames=24),
    "columns_10_24": Kind("24 frames, columns of 10 %", pattern="columns", strength=0.1, frames=24),
    "blur_sharp": Kind("blur a fifth below the expected", blur=(Blur(0.8 * TOTAL),)),
    "blur_wide": Kind("blur a fifth above the expected",
                      blur=(Blur(1.2 * TOTAL), Blur(np.sqrt((1.2 * TOTAL) ** 2 - SCALE ** 2 / 12), SCALE))),
    "blur_far_off": Kind("blur of 1.0 instead of 0.683", blur=(Blur(np.sqrt(1 - SCALE ** 2 / 12), SCALE),)),
    "plate": Kind("a plate of 45 degrees, 0.05 K of noise", kelvin=0.05, scene="plate"),
    "plate_moves": Kind("the same plate, moving on its own", kelvin=0.05, scene="plate", layers="plate"),
    "real": Kind("recorded, uncompressed, five frames", scene="mwir"),
    "real_video": Kind("recorded, compressed, five frames", scene="lwir"),
    "real_12": Kind("recorded, uncompressed, twelve frames", scene="mwir", frames=12),
    "real_video_12": Kind("recorded, compressed, twelve frames", scene="lwir", frames=12),
}


@dataclass(frozen=True)
class Sensor:
    """What a sensor makes of any light: a pattern, and dead pixels by their flat places with the values that they keep."""

    noise: float  # standard deviation, in the frames' unit
    pattern: np.ndarray
    dead: np.ndarray
    values: np.ndarray

    def sees(self, frames):
        seen = frames + self.pattern
        seen.reshape(len(seen), -1)[:, self.dead] = self.values
        return seen


@dataclass
class Burst:
    """Frames and their truth. The image lies on the grid of the reference frame, the fourth from the newest."""

    kind: str
    view: str
    half: str
    recorded: bool  # whether scene or frames are recorded ones
    frames: np.ndarray  # n x height x width, float32
    truth: np.ndarray  # at twice the size
    contrast: float
    blur: Blur
    motions: list = field(default_factory=list)  # Motion of each frame against the reference, where known
    sensor: Sensor = None  # where it is a rendered one
    marks: dict = field(default_factory=dict)  # parts of the image to be measured on their own

    @property
    def reference(self):
        return len(self.frames) - 4

    def last(self, number):
        """The burst of the newest frames only."""
        return replace(self, frames=self.frames[-number:], motions=self.motions[-number:])


def bursts(name, half, number):
    """Calls that each make one burst of a kind; `number` views of each picture, or windows of each recording."""
    kind = KINDS[name]
    if kind.scene in ("mwir", "lwir"):
        return recorded.windows(name, kind, number)
    if kind.scene == "plate":
        return [lambda seed=seed: _plate(name, kind, half, seed) for seed in range(4 * number)]
    views = list(scenes.views(half, number))
    return [lambda view=view, i=i: _rendered(name, kind, view, kind.blur[i % len(kind.blur)])
            for i, view in enumerate(views)]


def _motions(kind, view):
    """Motions of the frames, oldest first. The newest frames of longer bursts move as those of shorter ones."""
    random = view.random("motion")
    most = 24
    shifts = random.uniform(-1, 1, (most, 2)) * kind.reach * np.array(kind.along)
    turns = random.uniform(-1, 1, most) * kind.turn
    zooms = 1 + random.uniform(-1, 1, most) * kind.zoom
    shifts += random.normal(0, 1, (most, 2)) * kind.jitter
    if kind.halves:
        shifts = np.round(shifts * 2) / 2
        shifts[:4] = [(0.5, 0), (0, 0.5), (0.5, 0.5), (1, -0.5)]
    # The fourth from the newest is the reference.
    shifts[3], turns[3], zooms[3] = 0, 0, 1
    return [Motion(*shifts[i], turns[i], zooms[i]) for i in reversed(range(kind.frames))]


def _sweeps(kind, view, number):
    """How far each frame moves while it is read, oldest first; none for the reference, on whose rows the image lies."""
    sweeps = view.random("sweep").uniform(-1, 1, (24, 2)) * kind.sweep
    sweeps[3] = 0
    return sweeps[:number][::-1]


def _rendered(name, kind, view, blur):
    motions = _motions(kind, view)
    truth = view.truth
    contrast = float(truth.std())
    pictures = _layered(kind, view, len(motions))
    corner = (scenes.MARGIN, scenes.MARGIN)
    sweeps = _sweeps(kind, view, len(motions))
    frames = np.array([picture.frame(scenes.FRAME, corner, motion, blur, sweep)
                       for picture, motion, sweep in zip(pictures, motions, sweeps)])
    frames, sensor = _sensed(kind, view, frames, contrast)
    reference = len(frames) - 4
    sharp = pictures[reference].picture[scenes.MARGIN:-scenes.MARGIN, scenes.MARGIN:-scenes.MARGIN]
    return Burst(name, view.name, view.half, view.recorded, frames.astype(np.float32), sharp, contrast, blur, motions, sensor)


def _sensed(kind, view, frames, contrast):
    """What the sensor makes of the light: gains, levels, pattern, noise, dead pixels. Frames, and what stays of the sensor."""
    number, height, width = frames.shape
    newest_first = np.arange(number)[::-1]
    mean = frames.mean()
    gains = 1 + kind.gain * view.random("gain").uniform(-1, 1, 24)[newest_first]
    levels = -kind.drift * newest_first + kind.jump * contrast * (newest_first >= 2)
    levels = levels - levels[number - 4]
    gains = gains / gains[number - 4]
    frames = mean + gains[:, None, None] * (frames - mean) + levels[:, None, None]
    pattern = {"": 0, "white": view.random("pattern").normal(size=(height, width)),
               "columns": view.random("pattern").normal(size=(1, width))}[kind.pattern]
    noise = kind.kelvin or kind.noise * contrast
    newest = view.random("noise").normal(size=(24, height, width))[newest_first]
    lines = view.random("rows").normal(size=(24, height, 1))[newest_first]
    own = kind.strength * contrast * pattern
    frames = frames + own + noise * newest + kind.rows * contrast * lines
    random = view.random("dead")
    places = random.choice(height * width, kind.dead, replace=False)
    # Each keeps the value that some other pixel has.
    values = random.permutation(frames[number - 4].ravel())[:kind.dead]
    frames.reshape(number, -1)[:, places] = values
    random = view.random("flicker")
    flickering = random.choice(height * width, kind.flicker, replace=False)
    signs = random.choice([-1, 1], kind.flicker)
    frames.reshape(number, -1)[:, flickering] += (random.random((24, kind.flicker)) < 1 / 3)[newest_first] * signs * contrast
    random = view.random("impulses")
    off = random.random((24, height, width)) < kind.impulses
    frames = frames + (off * random.choice([-1, 1], off.shape))[newest_first] * contrast
    return frames, Sensor(noise, own, places, values)


def _edge(distance):
    """Covers 1 inside (distance < 0), 0 outside, with an edge that pixels can show."""
    return special.erfc(distance / (0.7 * np.sqrt(2))) / 2


def _layered(kind, view, number):
    """The scene of each frame, oldest first. What is in front moves in scene pixels a frame against the background."""
    height, width = view.picture.shape
    v, u = np.mgrid[0:height, 0:width].astype(float)
    random = view.random("layers")
    background = Scene(view.picture)
    if not kind.layers:
        return [background] * number
    steps = np.arange(number) - (number - 4)
    if kind.layers == "plate":
        return [Scene(_with_plate(view, step * np.array([2.6, 1.2]))) for step in steps]
    if kind.layers == "object":
        cu, cv = width * random.uniform(0.35, 0.65), height * random.uniform(0.35, 0.65)
        step_u, step_v = random.uniform(1.5, 4, 2) * random.choice([-1, 1], 2)
        level = view.picture.mean() + 2 * view.picture.std()
        pictures = []
        for step in steps:
            du, dv = u - cu - step * step_u, v - cv - step * step_v
            body = level + 0.3 * view.picture.std() * np.sin(du / 3) * np.sin(dv / 4)
            cover = _edge(np.hypot(du, 1.4 * dv) - 28)
            pictures.append(Scene(cover * body + (1 - cover) * view.picture))
        return pictures
    # Two depths: the part in front has a wavy border and moves by up to a pixel of the frames against the rest.
    front = Scene(np.roll(view.picture[::-1], width // 3, axis=1))
    parallax = random.uniform(-SCALE, SCALE, (24, 2))[:number][::-1]
    parallax[number - 4] = 0
    pictures = []
    for pu, pv in parallax:
        border = (u - pu) - width * 0.5 + 20 * np.sin((v - pv) / 25)
        cover = _edge(border)
        pictures.append(Scene(cover * front.values(u - pu, v - pv) + (1 - cover) * view.picture))
    return pictures


_PLATE = np.array([44, 34])  # half its width and height


def _with_plate(view, offset):
    height, width = view.picture.shape
    v, u = np.mgrid[0:height, 0:width].astype(float)
    centre = np.array([width, height]) / 2 + offset
    outside = np.maximum(abs(u - centre[0]) - _PLATE[0], abs(v - centre[1]) - _PLATE[1])
    cover = _edge(outside)
    return 45.0 * cover + (1 - cover) * view.picture


def _plate(name, kind, half, seed):
    """A plate of 45.00 degrees before a background of some degrees of detail, and how it reads away from its edges."""
    shape = tuple(n + 2 * scenes.MARGIN for n in scenes.TRUTH)
    random = np.random.default_rng([seed, half == "judge"])
    fine, coarse = (ndimage.gaussian_filter(random.normal(size=shape), sigma) for sigma in (1.5, 9))
    view = scenes.View(f"plate_{half}_{seed}", half, False, 20 + 5 * fine + 30 * coarse)
    if not kind.layers:
        view = replace(view, picture=_with_plate(view, (0, 0)))
    burst = _rendered(name, kind, view, kind.blur[seed % len(kind.blur)])
    inside = np.zeros(scenes.TRUTH, bool)
    cv, cu = (n // 2 for n in scenes.TRUTH)
    inside[cv - _PLATE[1] + 8:cv + _PLATE[1] - 8, cu - _PLATE[0] + 8:cu + _PLATE[0] - 8] = True
    burst.marks["plate"] = inside
    return burst
