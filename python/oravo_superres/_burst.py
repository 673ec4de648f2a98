"""Bursts: the latest frames of a camera, and images of them by any pipeline."""

import ctypes
import logging
import threading
from ctypes import byref
from dataclasses import replace
from typing import Any, Callable, Dict, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from . import _library
from ._arguments import function, integer, output, real
from ._calls import fail, figure_names, interruptibly, unless_unavailable
from ._errors import BurstError
from ._frames import native_frame, truth_of
from ._owner import Owner
from ._parameters import Parameters
from ._results import FloatImage, FrameInfo, Reconstruction

_LEVELS = {1: logging.WARNING, 2: logging.INFO}
_MOST_SIDE = (1 << 31) - 1


class Burst(Owner):
    """Holds the latest frames of one size, and reconstructs images of them.

    ::

        with Burst(640, 480, pipeline="float", tv_weight=100) as burst:
            for frame in camera:
                burst.add(frame)
                if len(burst) == burst.parameters.window:
                    show(burst.image())

    Threads may use different bursts side by side; Python's lock is released while the library works. One burst serves one
    call at a time: a second one raises a :class:`BurstError` with the status BUSY, but for :meth:`cancel`. Ctrl-C ends a
    reconstruction of the precise pipeline within a step of its solver. A burst can be neither copied nor pickled.

    Args:
        width, height: columns and rows of a frame: at least 8 each for precise, 3 for corners, 2 for phase correlation.
        parameters: what images are reconstructed with.
        progress: called with the share of a reconstruction that is done, 0 to 1, which never falls; returning False
            cancels it. What it raises ends the reconstruction, too, and is raised by it.
        log: called with a level of the module `logging` and a line of text, such as ``logging.getLogger("burst").log``.
        changes: parameters by name, see :class:`Parameters`.

    Raises:
        TypeError, ValueError: invalid parameters, named with their values.
        BurstError: with the status MEMORY, when the burst would take more memory than there is or than it may.
        OSError: the library cannot be loaded.
    """

    _handle = 0

    def __init__(self, width: int, height: int, parameters: Optional[Parameters] = None, *,
                 progress: Optional[Callable[[float], object]] = None,
                 log: Optional[Callable[[int, str], object]] = None, **changes: Any) -> None:
        self.parameters = replace(parameters or Parameters(), **changes)
        function("progress", progress)
        function("log", log)
        self._shape = (_side(height, "height"), _side(width, "width"))
        self._library = _library.library()
        self._raised: Dict[int, BaseException] = {}  # by callbacks, for each thread that is in a call
        self._has_progress = progress is not None
        options = self.parameters.options()
        if progress is not None:
            options.progress = _library.ProgressFunction(self._guarded_progress(progress))
        if log is not None:
            options.log = _library.LogFunction(self._guarded_log(log))
        self._options = options  # keeps the callbacks alive
        self._handle = self._library.oravo_burst_create(self._shape[1], self._shape[0], byref(options))
        self._raise_from_callback()
        if self._handle == 0:
            fail(self._library.oravo_burst_error_code(0), _library.message(0))

    @property
    def shape(self) -> Tuple[int, int]:
        """Rows and columns of a frame."""
        return self._shape

    @property
    def output_shape(self) -> Tuple[int, int]:
        """Rows and columns of the image."""
        factor: int = self._options.factor
        return factor * self._shape[0], factor * self._shape[1]

    @property
    def memory(self) -> int:
        """Bytes that the burst takes at most, by what runs of all sizes were measured to take."""
        return int(self._library.oravo_burst_memory(self._shape[1], self._shape[0], byref(self._options)))

    @property
    def closed(self) -> bool:
        """Whether close() was called: nothing else may follow."""
        return self._handle == 0

    def __len__(self) -> int:
        """How many frames are held: the latest ones, `parameters.window` at most."""
        return self._call("frames")

    def add(self, frame: npt.ArrayLike, *, mask: Optional[npt.ArrayLike] = None, scale: float = 1.0,
            offset: float = 0.0) -> None:
        """Takes in a copy of the next frame; where the burst is full, the oldest one goes.

        Args:
            frame: (height, width), any real type and layout. NaN, infinities, masked pixels, pixels with a
                :class:`PixelCode` and values beyond the limits are defects.
            mask: True where pixels have no value, beside the frame's own mask.
            scale, offset: the value of a number in the frame is scale number + offset.

        Raises:
            TypeError, ValueError: no frame of this burst.
            BurstError: with the status FRAME, when it has more defects than the float or reference pipeline can repair.
                The burst is as before then.
        """
        scale, offset = real("scale", scale), real("offset", offset)
        native = native_frame(frame, mask, scale, offset)
        if native.shape != self._shape:
            raise ValueError(f"a frame has shape {native.shape}, the burst takes {self._shape}")
        if native.has_holes and self.parameters.pipeline == "vector":
            raise ValueError("masked pixels: the vector pipeline repairs no bad pixels")
        scales = () if native.function == "add" else (scale, offset)
        self._call(native.function, native.values.ctypes.data, native.pitch, *scales)

    def set_bad_pixels(self, mask: Optional[npt.ArrayLike]) -> None:
        """Names the sensor's bad pixels for frames to come.

        Args:
            mask: (height, width), true where a pixel is bad; None for no bad pixels, as at first.
        """
        if mask is None:
            self._call("set_bad_pixels", None, 0)
            return
        bad = np.ascontiguousarray(truth_of(mask))
        if bad.shape != self._shape:
            raise ValueError(f"the mask has shape {bad.shape}, the burst {self._shape}")
        self._call("set_bad_pixels", bad.ctypes.data, 0)

    def clear(self) -> None:
        """Drops all frames; bad pixels and parameters stay."""
        self._call("clear")

    def reconstruct(self, reference: Optional[int] = None) -> Reconstruction:
        """Reconstructs one image of the frames that are held.

        Args:
            reference: the frame on whose grid the image lies, counted back from the newest, which is 0; the oldest where
                there are fewer. None for the pipeline's own: 3, or 0 for the reference pipeline.

        Raises:
            ValueError: an invalid reference, or no frames.
            BurstError: FRAME or NO_DETAIL when the frames cannot be aligned, or the reference frame has no value;
                CANCELLED; MEMORY.
        """
        self._run(reference)
        return self._result()

    def image(self, reference: Optional[int] = None, out: Optional[FloatImage] = None) -> FloatImage:
        """Reconstructs one image as :meth:`reconstruct` does, and gives nothing but the image, which is faster.

        Args:
            out: an array to write into instead of a new one: float32, row-major, of :attr:`output_shape`.
        """
        out = output(out, self.output_shape)
        self._run(reference)
        self._call("image", out.ctypes.data, 0)
        return out

    def warnings(self) -> List[str]:
        """What there is to doubt about the latest image: sentences, the gravest first."""
        count = ctypes.c_double()
        self._call("figure", b"warnings", byref(count))
        return [self._warning(i) for i in range(int(count.value))]

    def _run(self, reference: Optional[int]) -> None:
        try:
            self._run_any(reference)
        except BurstError as error:
            if "no value in" in error.message and not self.parameters.counts:
                error.message += " (counts=True takes raw counts; scale and offset make temperatures of them)"
            raise

    def _run_any(self, reference: Optional[int]) -> None:
        back = _library.OWN_REFERENCE
        if reference is not None:
            back = integer("reference", reference)
            if not 0 <= back < self.parameters.window:
                raise ValueError(f"reference is {back}; it must be from 0 (the newest frame) to "
                                 f"{self.parameters.window - 1}")
        if self.parameters.pipeline == "precise" and not self._has_progress:
            interruptibly(lambda: self._call("reconstruct", back), self.cancel)
        else:
            self._call("reconstruct", back)

    def cancel(self) -> None:
        """Ends the reconstruction under way on another thread, if there is one, which raises a :class:`BurstError` with
        the status CANCELLED there. Does not wait for it."""
        if self._handle:
            self._library.oravo_burst_cancel(self._handle)

    def close(self) -> None:
        """Gives the burst's memory back, and cancels what is under way. May be repeated; nothing else may follow."""
        handle, self._handle = self._handle, 0
        if handle:
            self._library.oravo_burst_destroy(handle)

    def _call(self, name: str, *arguments: object) -> int:
        """Calls a function on this burst; what it reports as an error is raised."""
        handle = self._handle
        if not handle:
            raise ValueError("the burst is closed")
        status: int = getattr(self._library, f"oravo_burst_{name}")(handle, *arguments)
        self._raise_from_callback()
        if status < 0:
            fail(status, _library.message(handle) if self._handle else "the burst was closed meanwhile")
        return status

    def _raise_from_callback(self) -> None:
        error = self._raised.pop(threading.get_ident(), None)
        if error is not None:
            raise error

    def _guarded_progress(self, progress: Callable[[float], object]) -> Callable[[float, object], int]:
        def guarded(share: float, _: object) -> int:
            try:
                answer = progress(share)
                return 0 if isinstance(answer, (bool, np.bool_)) and not answer else 1  # None goes on
            except BaseException as error:  # pylint: disable=broad-except; raised by the call
                self._raised.setdefault(threading.get_ident(), error)
                return 0
        return guarded

    def _guarded_log(self, log: Callable[[int, str], object]) -> Callable[[int, bytes, object], None]:
        def guarded(level: int, text: bytes, _: object) -> None:
            try:
                log(_LEVELS.get(level, logging.INFO), text.decode("utf-8", "replace"))
            except BaseException as error:  # pylint: disable=broad-except; raised by the call
                self._raised.setdefault(threading.get_ident(), error)
        return guarded

    def _result(self) -> Reconstruction:
        figures = self._figures()
        dead = self._array("dead_pixels", self._shape, np.uint8)
        return Reconstruction(
            image=self._array("image", self.output_shape, np.float32),
            deviation=self._array("deviation", self.output_shape, np.float32),
            weight=self._array("weight", self.output_shape, np.float32),
            pattern=self._array("pattern", self._shape, np.float32),
            dead_pixels=None if dead is None else dead.astype(bool),
            masks=self._masks(int(figures["frames"])),
            frames=[self._frame(i) for i in range(int(figures["frames"]))],
            figures=figures,
            warnings=self.warnings())

    def _array(self, name: str, shape: Tuple[int, int], kind: Any) -> Any:
        """What a function writes; None where the pipeline does not give it."""
        out = np.empty(shape, kind)
        with unless_unavailable() as known:
            self._call(name, out.ctypes.data, 0)
        return out if known else None

    def _masks(self, count: int) -> Optional[npt.NDArray[np.bool_]]:
        out = np.empty((count, *self._shape), np.uint8)
        with unless_unavailable() as known:
            for i in range(count):
                self._call("mask", i, out[i].ctypes.data, 0)
        return out.astype(bool) if known else None

    def _figures(self) -> Dict[str, float]:
        figures: Dict[str, float] = {}
        value = ctypes.c_double()
        for name in figure_names():
            with unless_unavailable():
                self._call("figure", name, byref(value))
                figures[name.decode()] = value.value
        return figures

    def _frame(self, index: int) -> FrameInfo:
        info = _library.Frame()
        self._call("frame_info", index, byref(info), ctypes.sizeof(info))
        return FrameInfo(bool(info.used), (info.dx, info.dy), (info.dx_error, info.dy_error),
                         np.array(info.linear).reshape(2, 2), info.gain, info.offset, info.misfit, info.weight)

    def _warning(self, index: int) -> str:
        text = ctypes.create_string_buffer(512)
        self._call("warning", index, text, len(text))
        return text.value.decode("utf-8", "replace")


def _side(value: int, name: str) -> int:
    number = integer(name, value)
    if not 1 <= number <= _MOST_SIDE:
        raise ValueError(f"{name} is {number}; it must be from 1 to {_MOST_SIDE}")
    return number
