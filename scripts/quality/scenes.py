"""What the camera looks at: recorded pictures where their folder is given, and rendered ones.

Half of them are there to tune by, the other half to judge by; nothing may be tuned by the latter.
"""

import os
import zlib
from dataclasses import dataclass
from pathlib import Path

import numpy as np
from PIL import Image
from scipy import fft, ndimage

MARGIN = 32  # scene pixels around the truth, which turned and displaced frames look at
FRAME = 120, 160  # height and width of the frames
TRUTH = 240, 320

_STILLS = {"tune": ["xtr_pipes_degC.tif", "h30t_site_counts.png"],
           "judge": ["t640_panel_degC.tif", "h20t_solar_counts.png"]}


@dataclass(frozen=True)
class View:
    """A part of a picture: truth and margin, degrees Celsius (hundreds of counts where there is no calibration)."""

    name: str
    half: str
    recorded: bool
    picture: np.ndarray

    def random(self, purpose):
        """Numbers that depend on nothing but view and purpose, so that bursts of one view differ in one thing only."""
        return np.random.default_rng([zlib.crc32(self.name.encode()), zlib.crc32(purpose.encode())])

    @property
    def truth(self):
        return self.picture[MARGIN:-MARGIN, MARGIN:-MARGIN]


_PLACES = [(0.5, 0.5), (0.5, 0.5), (0, 0), (1, 1), (1, 0), (0, 1)]  # across and down; the second in the halved picture


def views(half, number):
    """`number` views of each picture of a half, at most as many as there are places."""
    for name, recorded, picture in _pictures(half):
        for i, (across, down) in enumerate(_PLACES[:number]):
            # Recorded pictures are soft at the scale of their pixels; halved ones have detail up to the last frequency.
            whole = halved(picture) if i == 1 and recorded else picture
            margin = np.pad(whole, MARGIN, mode="symmetric")
            top, left = int(down * (whole.shape[0] - TRUTH[0])), int(across * (whole.shape[1] - TRUTH[1]))
            part = margin[top:top + TRUTH[0] + 2 * MARGIN, left:left + TRUTH[1] + 2 * MARGIN]
            yield View(f"{name}_{i}", half, recorded, part)


def halved(picture):
    """The lower half of the frequencies on half as many pixels."""
    height, width = (n // 2 for n in picture.shape)
    return fft.idctn(fft.dctn(picture[:2 * height, :2 * width])[:height, :width]) / 4


def _pictures(half):
    folder = os.environ.get("ORAVO_TEST_DATA")
    for name in _STILLS[half] if folder else []:
        values = np.asarray(Image.open(Path(folder) / "stills" / name)).astype(float)
        if "counts" in name:
            values = (values - np.median(values)) / 100 + 20
        yield name.split("_")[1], True, values
    for render in {"tune": [spokes, texture], "judge": [letters, clutter]}[half]:
        yield render.__name__, False, render()


def _rendered(values_at, finer=6):
    """A picture whose points are means of finer x finer places, a little blurred against aliases."""
    height, width = 400, 560
    v, u = (np.mgrid[0:height * finer, 0:width * finer] + 0.5) / finer - 0.5
    fine = ndimage.gaussian_filter(values_at(u, v), 0.45 * finer)
    return fine.reshape(height, finer, width, finer).mean(axis=(1, 3))


def spokes():
    """Wheels of spokes that are too fine for the frames towards their middle, on a ramp."""
    def values_at(u, v):
        value = 20 + u / 280
        for cu, cv, number in (140, 110, 28), (380, 130, 44), (180, 300, 60), (430, 300, 36):
            radius, turn = np.hypot(u - cu, v - cv), np.arctan2(v - cv, u - cu)
            value = value + np.where(radius < 85, 4 * (np.sin(number * turn) > 0), 0)
        return value
    return _rendered(values_at)


def letters():
    """Strokes like writing, in lines of several sizes, warm on cold and cold on warm."""
    random = np.random.default_rng(11)
    page = np.zeros((400, 560))
    top = 8
    while top < 370:
        size = int(random.choice([10, 14, 20, 28]))
        left = 10
        while left < 520:
            pen, wide = max(2, size // 6), int(size * random.uniform(0.5, 0.8))
            for _ in range(3):
                if random.random() < 0.5:
                    x = left + int(random.choice([0, wide // 2, wide - pen]))
                    page[top:top + size, x:x + pen] = 1
                else:
                    y = top + int(random.choice([0, size // 2, size - pen]))
                    page[y:y + pen, left:left + wide] = 1
            left += wide + size // 3
        top += size + size // 2
    page[:, 280:] = 1 - page[:, 280:]
    turned = ndimage.rotate(np.kron(page, np.ones((3, 3))), 7, reshape=False, order=1, mode="reflect")
    return 22 + 6 * ndimage.gaussian_filter(turned, 1.4).reshape(400, 3, 560, 3).mean(axis=(1, 3))


def texture():
    """A surface whose roughness is alike at all scales."""
    random = np.random.default_rng(5)
    spectrum = np.fft.rfft2(random.normal(size=(400, 560)))
    frequency = np.hypot(np.fft.fftfreq(400)[:, None], np.fft.rfftfreq(560)[None, :])
    frequency[0, 0] = 1
    surface = np.fft.irfft2(spectrum / frequency ** 1.6, (400, 560))
    return 20 + 3 * surface / surface.std()


def clutter():
    """Discs and boxes of all sizes before a smooth background, some of them tiny and hot."""
    random = np.random.default_rng(23)
    things = [(random.uniform(0, 560), random.uniform(0, 400), random.choice([2, 4, 8, 16, 40]), random.uniform(0.3, 1),
               random.uniform(0, np.pi), random.uniform(-6, 10), random.random() < 0.5) for _ in range(170)]

    def values_at(u, v):
        value = 18 + 2 * np.sin(u / 90) * np.cos(v / 70)
        for cu, cv, size, shape, turn, level, round_ in things:
            left, right = (np.searchsorted(u[0], cu + s * 1.5 * size) for s in (-1, 1))
            top, bottom = (np.searchsorted(v[:, 0], cv + s * 1.5 * size) for s in (-1, 1))
            part = np.s_[top:bottom, left:right]
            a = (u[part] - cu) * np.cos(turn) + (v[part] - cv) * np.sin(turn)
            b = ((v[part] - cv) * np.cos(turn) - (u[part] - cu) * np.sin(turn)) / shape
            inside = np.hypot(a, b) < size if round_ else np.maximum(abs(a), abs(b)) < size
            value[part][inside] = 20 + level
        return value
    return _rendered(values_at, 4)
