"""What a burst is reconstructed with."""

from ctypes import byref, sizeof
from dataclasses import dataclass
from typing import Optional

from . import _library
from ._arguments import integer, positive, real

PIPELINES = ("precise", "float", "vector", "reference")
REGISTRATIONS = ("corners", "phase")
MOST_FRAMES = 64
"""Frames that one image can be reconstructed from."""

_COUNTS_RANGE = (-32768.0, 32767.0)


@dataclass(frozen=True)
class Parameters:
    """All parameters of all pipelines; None stands for the library's default.

    Functions that take ``**changes`` take these by name: ``reconstruct(frames, pipeline="float", tv_weight=100)``. A
    parameter that the pipeline does not have is refused unless it keeps its default.

    Attributes:
        pipeline: "precise", the best image, of frames that may turn, zoom and drift; "float", the real-time one, of frames
            that are displaced only; "vector", the same by vector operations and without the repair of bad pixels;
            "reference", the plain method that the others are compared with.
        max_frames: the newest frames that an image is made of, 1 to 64; 12 for precise, 5 for the others.
        counts: the frames hold raw counts; values from -32768 to 32767 are plausible then, instead of -274 to 5000.
        lowest: values below are defects; by default ``counts`` chooses the limit.
        highest: values above are defects; by default ``counts`` chooses the limit.
        psf_sigma: blur of the camera, optics and pixel together, as the standard deviation of a Gaussian in half pixels of
            the frames. The default is 0.683; precise takes 0.3 to 2, the others values above 0, up to 100.
        psf_box: (precise only) side of the square that a pixel averages over, in half pixels of the frames, 0 to 2, where 2
            is a pixel without gaps; ``psf_sigma`` is then the blur of the optics alone. The default, 0, takes
            ``psf_sigma`` for the whole blur.
        factor: enlargement, by default 2; precise takes 1 to 4, the others only 2.
        smoothness: (precise only) weight of the prior in units of the scene's contrast, from 0; the default, 0, finds the best
            one by withheld pixels.
        find_dead_pixels: (precise only) leave out sensor pixels that do not follow the scene, and impulses.
        find_pattern: (precise only) estimate and subtract the sensor's fixed pattern.
        deviation: (precise only) estimate standard deviations, which takes a tenth of the time.
        registration: (float only) "corners" (tracked corners) or "phase" (phase correlation, for even widths).
        camera: (not precise) free text that selects the blur, see :class:`Session`; instead of ``psf_sigma``.
        tv_weight: (not precise) weight of the data against total variation, from 1; by default 400.
        relative_residue: (not precise) the residual at which the solver stops, relative to the right-hand side, above 1e-6;
            by default 0.007.
        registration_error: (not precise) the largest disagreement with the reference at which a pixel is used, above 0, at
            most 1; by default 0.0001.
        iterations: (not precise) the most steps of the solver, from 1; by default 8.
        keep_dead_pixels: (precise only) dead pixels found for one image stay left out of later ones until frames show that
            they follow the scene; False makes each image from its frames alone.
        threads: (precise and float) threads that share the work on one image, 1 to 64; 0 stands for one on each processor.
            Images have the same bits for every number. Where many bursts are at work at once, 1, the default, is best.
        most_memory: bytes that a burst may take at most; one that would take more is refused.
    """

    pipeline: str = "precise"
    max_frames: Optional[int] = None
    counts: bool = False
    lowest: Optional[float] = None
    highest: Optional[float] = None
    psf_sigma: Optional[float] = None
    psf_box: Optional[float] = None
    factor: Optional[int] = None
    smoothness: Optional[float] = None
    find_dead_pixels: bool = True
    find_pattern: bool = True
    deviation: bool = True
    registration: Optional[str] = None
    camera: Optional[str] = None
    tv_weight: Optional[float] = None
    relative_residue: Optional[float] = None
    registration_error: Optional[float] = None
    iterations: Optional[int] = None
    most_memory: Optional[int] = None
    threads: int = 1
    keep_dead_pixels: bool = True

    def __post_init__(self) -> None:
        _checked_choice("pipeline", self.pipeline, PIPELINES)
        if self.registration is not None:
            _checked_choice("registration", self.registration, REGISTRATIONS)
        if self.max_frames is not None and not 1 <= integer("max_frames", self.max_frames) <= MOST_FRAMES:
            raise ValueError(f"max_frames is {self.max_frames}; it must be from 1 to {MOST_FRAMES}")
        if self.camera is not None:
            if self.pipeline == "precise":
                raise ValueError("camera: descriptions select the blur of the other pipelines; give precise a psf_sigma")
            if self.psf_sigma is not None:
                raise ValueError("camera and psf_sigma: both select the blur")
            camera_text(self.camera)

    @property
    def window(self) -> int:
        """The most frames that an image is made of."""
        if self.max_frames is not None:
            return integer("max_frames", self.max_frames)
        return 12 if self.pipeline == "precise" else 5

    def options(self) -> "_library.Options":
        """As the library takes them."""
        options = _library.Options()
        _library.library().oravo_burst_options_init(byref(options), sizeof(options))
        options.pipeline = PIPELINES.index(self.pipeline)
        options.registration = 0 if self.registration is None else 1 + REGISTRATIONS.index(self.registration)
        options.frames = self.window
        if self.counts:
            options.lowest, options.highest = _COUNTS_RANGE
        for name in ("lowest", "highest", "psf_sigma", "psf_box", "smoothness", "tv_weight", "relative_residue",
                     "registration_error"):
            value = getattr(self, name)
            if value is not None:
                setattr(options, name, real(name, value))
        if self.factor is not None:
            options.factor = _sensible("factor", self.factor, 31)
        if self.iterations is not None:
            options.iterations = _sensible("iterations", self.iterations, 31)
        options.threads = _sensible("threads", self.threads, 31)
        if self.most_memory is not None:
            options.most_memory = _sensible("most_memory", positive("most_memory", self.most_memory), 63)
        if self.camera is not None:
            options.psf_sigma = _library.library().oravo_burst_camera_blur(camera_text(self.camera))
        options.find_dead_pixels = bool(self.find_dead_pixels)
        options.keep_dead_pixels = bool(self.keep_dead_pixels)
        options.find_pattern = bool(self.find_pattern)
        options.deviation = bool(self.deviation)
        return options


def camera_text(description: str) -> bytes:
    """A description of a camera as the library takes it."""
    if not isinstance(description, str):
        raise TypeError(f"a camera description is a text, not {type(description).__name__}")
    text = description.encode()
    if b"\0" in text:
        raise ValueError("a camera description may not contain a zero byte")
    return text


def _checked_choice(name: str, value: str, choices: "tuple[str, ...]") -> None:
    if value not in choices:
        raise ValueError(f"{name} is {value!r}; it must be one of {', '.join(choices)}")


def _sensible(name: str, value: int, bits: int) -> int:
    number = integer(name, value)
    if not -(1 << bits) <= number < 1 << bits:
        raise ValueError(f"{name} is {number}; no such number is sensible")
    return number
