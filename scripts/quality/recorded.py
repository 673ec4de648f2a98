"""Recorded bursts, halved: blurred and sampled at every second place, their own frames become the truth.

So motion, parallax, moving objects and the recorder's compression are real; the recorded noise is part of the truth.
"""

import os
from pathlib import Path

import numpy as np
from PIL import Image

from .camera import SCALE, Blur, Motion, Scene

_FOLDERS = {"mwir": ["mwir_embankment", "mwir_fields"], "lwir": ["lwir_buildings"]}
_HALVES = (Blur(0.683), Blur(np.sqrt(0.683 ** 2 - SCALE ** 2 / 12), SCALE))


def windows(name, kind, number):
    """Calls that each make one burst: `number` windows of consecutive frames of each recording."""
    data = os.environ.get("ORAVO_TEST_DATA")
    if not data:
        return []
    calls = []
    for folder in _FOLDERS[kind.scene]:
        paths = sorted((Path(data) / "bursts" / folder).glob("frame_*.tif"))
        if len(paths) < kind.frames:
            continue
        starts = np.unique(np.linspace(0, len(paths) - kind.frames, 2 * number).round().astype(int))
        for start in starts:
            for i, blur in enumerate(_HALVES if kind.frames == len(paths) else [_HALVES[start % 2]]):
                label = f"{folder}_{start}{'ab'[i] if kind.frames == len(paths) else ''}"
                calls.append(lambda paths=paths[start:start + kind.frames], label=label, blur=blur: _halved(
                    name, label, paths, blur))
    return calls


def _halved(name, label, paths, blur):
    from .bursts import Burst
    pictures = [np.asarray(Image.open(path)).astype(float) for path in paths]
    pictures = [picture[:picture.shape[0] // 2 * 2, :picture.shape[1] // 2 * 2] for picture in pictures]
    shape = tuple(n // SCALE for n in pictures[0].shape)
    frames = np.array([Scene(picture).frame(shape, (0, 0), Motion(), blur) for picture in pictures], np.float32)
    truth = pictures[len(pictures) - 4]
    return Burst(name, label, "judge", True, frames, truth, float(truth.std()), blur)
