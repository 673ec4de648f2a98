"""What a burst's own camera shows of other scenes: recordings by which its sensor is learnt, and edges for its blur."""

import zlib

import numpy as np
from scipy import special

from . import scenes
from .camera import SCALE, Motion, Scene

_STEP = 0.4  # pixels, standard deviation of a hand's movement from frame to frame
_REACH = 6.0  # pixels that it stays within


def recordings(burst, scenes_wanted, frames):
    """Recordings of pictures of the half that the burst is not of, by its sensor, seen by a hand-held camera."""
    other = {"tune": "judge", "judge": "tune"}[burst.half]
    for view in list(scenes.views(other, 1))[:scenes_wanted]:
        random = np.random.default_rng([zlib.crc32(f"{burst.kind} {burst.view} {view.name}".encode())])
        scene, place, taken = Scene(view.picture), np.zeros(2), []
        for _ in range(frames):
            taken.append(scene.frame(scenes.FRAME, (scenes.MARGIN, scenes.MARGIN), Motion(*place), burst.blur))
            place = np.clip(place + random.normal(0, _STEP, 2), -_REACH, _REACH)
        light = np.array(taken)
        yield burst.sensor.sees(light + burst.sensor.noise * random.normal(size=light.shape)).astype(np.float32)


def edge(burst):
    """A frame of an edge of 25 K that lies 7 degrees aslant, in closed form but for the mean over a pixel's square."""
    height, width = scenes.FRAME
    turn = np.radians(7)
    y, x = np.mgrid[0:height, 0:width].astype(float)
    steps = burst.blur.box / SCALE * ((np.arange(16) + 0.5) / 16 - 0.5)
    optics = burst.blur.gauss / SCALE
    values = np.zeros((height, width))
    for a in steps:
        for b in steps:
            away = (x + a - width / 2) * np.cos(turn) + (y + b - height / 2) * np.sin(turn)
            values += special.ndtr(away / optics) / len(steps) ** 2
    random = np.random.default_rng([zlib.crc32(burst.view.encode()), 7])
    return (20 + 25 * values + 0.05 * random.normal(size=values.shape)).astype(np.float32)
