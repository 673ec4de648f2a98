"""The precise pipeline: the best image of a burst, and what is known about it."""

import ctypes
import operator
from ctypes import POINTER, byref, c_char_p, c_double, c_float, c_int, c_size_t, c_ssize_t, c_ubyte, c_uint64, c_void_p
from dataclasses import dataclass
from typing import Iterable, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from . import _native
from ._errors import BurstError

MOST_FRAMES = 64
"""Frames that one image can be reconstructed from."""

_COUNTS_RANGE = (-32768.0, 32767.0)
_RANGE = (-274.0, 5000.0)


class _Options(ctypes.Structure):
    _fields_ = [("size", c_size_t), ("pipeline", c_int), ("registration", c_int), ("frames", c_int), ("factor", c_int),
                ("psf_sigma", c_float), ("lowest", c_float), ("highest", c_float), ("smoothness", c_double),
                ("find_dead_pixels", c_int), ("find_pattern", c_int), ("deviation", c_int), ("tv_weight", c_float),
                ("relative_residue", c_float), ("registration_error", c_float), ("iterations", c_int),
                ("most_memory", c_uint64), ("progress", c_void_p), ("log", c_void_p), ("user", c_void_p)]


class _FrameInfo(ctypes.Structure):
    _fields_ = [("used", c_int), ("dx", c_double), ("dy", c_double), ("dx_error", c_double), ("dy_error", c_double),
                ("linear", c_double * 4), ("gain", c_double), ("offset", c_double), ("misfit", c_double),
                ("weight", c_double)]


_PROTOTYPES = {
    "oravo_burst_options_init": (c_int, [POINTER(_Options), c_size_t]),
    "oravo_burst_create": (c_uint64, [c_int, c_int, POINTER(_Options)]),
    "oravo_burst_add": (c_int, [c_uint64, POINTER(c_float), c_ssize_t]),
    "oravo_burst_reconstruct": (c_int, [c_uint64, c_int]),
    "oravo_burst_image": (c_int, [c_uint64, POINTER(c_float), c_ssize_t]),
    "oravo_burst_deviation": (c_int, [c_uint64, POINTER(c_float), c_ssize_t]),
    "oravo_burst_weight": (c_int, [c_uint64, POINTER(c_float), c_ssize_t]),
    "oravo_burst_pattern": (c_int, [c_uint64, POINTER(c_float), c_ssize_t]),
    "oravo_burst_dead_pixels": (c_int, [c_uint64, POINTER(c_ubyte), c_ssize_t]),
    "oravo_burst_frame_info": (c_int, [c_uint64, c_int, POINTER(_FrameInfo), c_size_t]),
    "oravo_burst_figure": (c_int, [c_uint64, c_char_p, POINTER(c_double)]),
    "oravo_burst_error": (c_char_p, [c_uint64]),
    "oravo_burst_destroy": (c_int, [c_uint64]),
}


def _library() -> ctypes.CDLL:
    loaded = _native.library()
    for name, (result, arguments) in _PROTOTYPES.items():
        function = getattr(loaded, name)
        function.restype = result
        function.argtypes = arguments
    return loaded


@dataclass(frozen=True)
class FrameInfo:
    """What was found out about one frame.

    Attributes:
        used: whether the frame takes part.
        shift: displacement (dx, dy) of its centre in pixels, frame(p + d) = reference(p).
        shift_error: standard errors of the shift.
        linear: 2 x 2 linear part of the motion about the centre, zero for a translation.
        gain, offset: value = gain reference + offset, at the reference's mean value.
        misfit: standard deviation of what the image leaves unexplained, in the frames' unit.
        weight: mean weight of the frame's pixels, 0 to 1.
    """

    used: bool
    shift: Tuple[float, float]
    shift_error: Tuple[float, float]
    linear: npt.NDArray[np.float64]
    gain: float
    offset: float
    misfit: float
    weight: float


@dataclass(frozen=True)
class Reconstruction:
    """An enlarged image and what is known about it; arrays are [row, column].

    Attributes:
        image: (2 height, 2 width), float32, in the frames' unit; unknown pixels carry a :class:`PixelCode`.
        deviation: standard deviation of the image's noise, of the same shape; NaN where the image has no value.
        weight: how many frames' worth of trusted values lie on each pixel.
        pattern: (height, width) fixed pattern of the sensor that was subtracted; zeros where none was found.
        dead_pixels: (height, width), True where a sensor pixel does not follow the scene and was left out.
        frames: a :class:`FrameInfo` for each frame.
        noise: standard deviation of the frames' noise.
        smoothness: weight of the prior.
        withheld_error, bicubic_error: root mean square error of predicting withheld pixels of other frames, by the
            image and by bicubic interpolation of the reference; 0 when there was nothing to predict.
        leaning: by how much the image fell back to the reference alone, 0 to 1, because the frames do not fit one image.
        trusted: whether the image may be taken for better than bicubic interpolation of the reference; see `doubts`.
    """

    image: npt.NDArray[np.float32]
    deviation: npt.NDArray[np.float32]
    weight: npt.NDArray[np.float32]
    pattern: npt.NDArray[np.float32]
    dead_pixels: npt.NDArray[np.bool_]
    frames: List[FrameInfo]
    noise: float
    smoothness: float
    withheld_error: float
    bicubic_error: float
    leaning: float
    trusted: bool

    @property
    def doubts(self) -> List[str]:
        """Why the image may be no better than an enlargement of the reference frame; empty when all is well."""
        found = []
        if sum(frame.used for frame in self.frames) < 2:
            found.append("the image rests on the reference frame alone")
        elif self.withheld_error == 0 or self.bicubic_error == 0:
            found.append("no pixel could be withheld and predicted, so that nothing tells how good the image is")
        elif self.bicubic_error <= self.withheld_error:
            found.append(f"bicubic interpolation predicts withheld pixels better: {self.bicubic_error:.3g} against "
                         f"{self.withheld_error:.3g}")
        elif not self.trusted:
            found.append(f"the frames do not fit one image: it rests on the reference frame by {self.leaning:.0%}")
        return found


class _Handle:
    """A burst of the library, destroyed at the end of a with statement."""

    def __init__(self, width: int, height: int, options: _Options) -> None:
        self._library = _library()
        self._burst = self._library.oravo_burst_create(width, height, byref(options))
        if self._burst == 0:
            raise ValueError(self._library.oravo_burst_error(0).decode("utf-8", "replace"))

    def __enter__(self) -> "_Handle":
        return self

    def __exit__(self, *_: object) -> None:
        self._library.oravo_burst_destroy(self._burst)

    def call(self, name: str, *arguments: object) -> None:
        status = getattr(self._library, f"oravo_burst_{name}")(self._burst, *arguments)
        if status != 0:
            raise BurstError(status, self._library.oravo_burst_error(self._burst).decode("utf-8", "replace"))

    def array(self, name: str, shape: Tuple[int, int]) -> npt.NDArray[np.float32]:
        out = np.empty(shape, np.float32)
        self.call(name, out.ctypes.data_as(POINTER(c_float)), 0)
        return out

    def figure(self, name: str) -> float:
        value = c_double()
        self.call("figure", name.encode(), byref(value))
        return value.value

    def frame(self, index: int) -> FrameInfo:
        info = _FrameInfo()
        self.call("frame_info", index, byref(info), ctypes.sizeof(info))
        return FrameInfo(bool(info.used), (info.dx, info.dy), (info.dx_error, info.dy_error),
                         np.array(info.linear).reshape(2, 2), info.gain, info.offset, info.misfit, info.weight)


def reconstruct_arrays(frames: List[npt.NDArray[np.float32]], reference: int, psf_sigma: Optional[float],
                       smoothness: float, counts: bool) -> Reconstruction:
    """As :func:`oravo_superres.reconstruct`, of float32 arrays and with the reference counted from the first frame."""
    height, width = frames[0].shape
    options = _Options()
    _library().oravo_burst_options_init(byref(options), ctypes.sizeof(options))
    options.lowest, options.highest = _COUNTS_RANGE if counts else _RANGE
    options.smoothness = smoothness
    options.frames = MOST_FRAMES
    if psf_sigma is not None:
        options.psf_sigma = psf_sigma
    with _Handle(width, height, options) as burst:
        for frame in frames:
            if frame.shape != (height, width):
                raise ValueError(f"a frame has shape {frame.shape}, the first one {(height, width)}")
            burst.call("add", frame.ctypes.data_as(POINTER(c_float)), 0)
        burst.call("reconstruct", len(frames) - 1 - reference)
        dead = np.empty((height, width), np.uint8)
        burst.call("dead_pixels", dead.ctypes.data_as(POINTER(c_ubyte)), 0)
        return Reconstruction(
            image=burst.array("image", (2 * height, 2 * width)),
            deviation=burst.array("deviation", (2 * height, 2 * width)),
            weight=burst.array("weight", (2 * height, 2 * width)),
            pattern=burst.array("pattern", (height, width)),
            dead_pixels=dead.astype(bool),
            frames=[burst.frame(i) for i in range(len(frames))],
            noise=burst.figure("noise"),
            smoothness=burst.figure("smoothness"),
            withheld_error=burst.figure("withheld_error"),
            bicubic_error=burst.figure("bicubic_error"),
            leaning=burst.figure("leaning"),
            trusted=burst.figure("trusted") == 1)


def checked_frames(frames: Iterable[npt.NDArray[np.float32]], most: int) -> List[npt.NDArray[np.float32]]:
    """The last `most` of some frames, at least one."""
    number = operator.index(most)
    if not 1 <= number <= MOST_FRAMES:
        raise ValueError(f"max_frames is {number}; it must be from 1 to {MOST_FRAMES}")
    last = list(frames)[-number:]
    if not last:
        raise ValueError("no frames; an image needs at least one")
    return last
