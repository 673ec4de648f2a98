"""A camera of its own: it looks at band-limited scenes, and shares nothing with the program that it judges.

A scene is given by its values at whole coordinates, two of its pixels to a pixel of the frames, and is what the
sampling theorem makes of them: the sum of sinusoids through all values, continued beyond the borders by reflection.
Blur multiplies the spectrum. Frames are read off at any position from three times as many samples by splines of fifth order,
with an error below 1e-5 of the scene's amplitude (test_camera.py holds them to that).
"""

from dataclasses import dataclass

import numpy as np
from scipy import fft, ndimage

SCALE = 2  # scene pixels to a pixel of the frames
_FINER = 3


@dataclass(frozen=True)
class Blur:
    """What optics and pixel do: a Gaussian and a square that averages, both in pixels of the scene.

    It turns and grows with the camera, so a frame that is turned against the scene sees it through a turned square.
    """

    gauss: float = 0.0
    box: float = 0.0

    @property
    def sigma(self):
        """Standard deviation of both together."""
        return float(np.sqrt(self.gauss ** 2 + self.box ** 2 / 12))

    def response(self, fu, fv):
        """Transfer at frequencies in cycles a pixel of the camera's own axes."""
        optics = np.exp(-2 * (np.pi * self.gauss) ** 2 * (fu ** 2 + fv ** 2))
        return optics * np.sinc(self.box * fu) * np.sinc(self.box * fv)

    def scaled(self, factor):
        return Blur(self.gauss * factor, self.box * factor)


@dataclass(frozen=True)
class Motion:
    """Where a frame shows what the reference shows at p: at c + zoom R(angle) (p - c) + (dx, dy), c being the centre.

    Pixels of the frames, x right, y down; the angle is in degrees.
    """

    dx: float = 0.0
    dy: float = 0.0
    angle: float = 0.0
    zoom: float = 1.0

    @property
    def linear(self):
        turn = np.radians(self.angle)
        return self.zoom * np.array([[np.cos(turn), -np.sin(turn)], [np.sin(turn), np.cos(turn)]])

    def seen_by(self, x, y, centre):
        """Points of the reference that pixels (x, y) of the frame show."""
        back = np.linalg.inv(self.linear)
        fx, fy = x - centre[0] - self.dx, y - centre[1] - self.dy
        return centre[0] + back[0, 0] * fx + back[0, 1] * fy, centre[1] + back[1, 0] * fx + back[1, 1] * fy


class Scene:
    """A band-limited scene, `picture[v, u]` being its value at (u, v)."""

    def __init__(self, picture):
        self.picture = np.asarray(picture, float)
        # Reflection about the outer edges of the border pixels: no jump, and nothing at the highest frequency.
        mirrored = np.pad(self.picture, [(0, n) for n in self.picture.shape], mode="symmetric")
        self._shape = mirrored.shape
        self._spectrum = fft.rfft2(mirrored)
        self._views = {}

    def _view(self, blur, linear):
        """The spline of the blurred scene on the finer grid, as a camera sees it whose axes `linear` maps."""
        key = blur, tuple(np.round(linear, 12).ravel())
        if key not in self._views:
            rows, columns = self._shape
            fv, fu = fft.fftfreq(rows)[:, None], fft.rfftfreq(columns)[None, :]
            # A kernel h(A s) / |A| of the scene has the spectrum H(A^-T f); `linear` maps the scene to the frame.
            back = np.linalg.inv(linear)
            seen = self._spectrum * blur.response(back[0, 0] * fu + back[1, 0] * fv, back[0, 1] * fu + back[1, 1] * fv)
            fine = np.zeros((_FINER * rows, _FINER * columns // 2 + 1), complex)
            half = rows // 2
            fine[:half, :seen.shape[1]] = seen[:half]
            fine[-half:, :seen.shape[1]] = seen[-half:]
            values = fft.irfft2(fine, (_FINER * rows, _FINER * columns)) * _FINER ** 2
            height, width = self.picture.shape
            values = values[:_FINER * height, :_FINER * width]
            if len(self._views) > 3:
                self._views.clear()
            self._views[key] = ndimage.spline_filter(values, order=5, mode="mirror")
        return self._views[key]

    def values(self, u, v, blur=Blur(), linear=np.eye(2)):
        """The blurred scene at any points."""
        spline = self._view(blur, np.asarray(linear, float))
        return ndimage.map_coordinates(spline, [np.asarray(v) * _FINER, np.asarray(u) * _FINER], order=5, mode="mirror",
                                       prefilter=False)

    def frame(self, shape, corner, motion, blur, sweep=(0, 0)):
        """A frame of height x width pixels. Pixel (0, 0) of an unmoved one lies at corner + 0.5 (SCALE - 1), (u, v).

        A rolling shutter reads its rows one after another, while the scene moves on by `sweep` pixels in x and y.
        """
        height, width = shape
        y, x = np.mgrid[0:height, 0:width].astype(float)
        late = y / (height - 1) - 0.5
        x, y = x - sweep[0] * late, y - sweep[1] * late
        px, py = motion.seen_by(x, y, ((width - 1) / 2, (height - 1) / 2))
        middle = (SCALE - 1) / 2
        return self.values(corner[0] + SCALE * px + middle, corner[1] + SCALE * py + middle, blur, motion.linear)


def truth(picture, shape, corner):
    """The sharp scene on the enlarged image's grid: SCALE times the frame, frame pixel i lying at its 2 i + 0.5."""
    height, width = (SCALE * n for n in shape)
    u, v = corner
    return np.asarray(picture, float)[v:v + height, u:u + width]
