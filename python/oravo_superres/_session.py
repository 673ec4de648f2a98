"""Sessions and the calls built on them."""

import collections
import ctypes
import warnings
from typing import Iterable, Iterator, Optional, Tuple

import numpy as np
import numpy.typing as npt

from . import _native
from ._arguments import integer, output, positive
from ._errors import Status, SuperResolutionError, SuperResolutionWarning
from ._frames import as_float_frame as _as_frame
from ._owner import Owner
from ._parameters import camera_text
from ._watch import ImageWatch, why_old

WINDOW_SIZE = 5

_DEFAULT_REFERENCE = 3
_FRAME_STATUSES = (Status.OK, Status.FALLBACK_PIXEL, Status.TOO_FEW_VALID_PIXELS, Status.NOT_ENOUGH_STRUCTURE)
# Far beyond any sensor, and far below what a C int takes without wrapping around.
_MOST_PIXELS = 1 << 25


def _checked_reference(index: int) -> int:
    number = integer("reference", index)
    if not 0 <= number < WINDOW_SIZE:
        raise ValueError(f"reference is {number}; it must be from 0 (the newest frame) to {WINDOW_SIZE - 1}")
    return number


def _pointer(array: npt.NDArray[np.float32]) -> "ctypes._Pointer[ctypes.c_float]":
    return array.ctypes.data_as(ctypes.POINTER(ctypes.c_float))


class Session(Owner):
    """A running reconstruction: takes frames one at a time, and from the fifth on yields an image after each.

    A session holds memory in the library until :meth:`close`; use it in a ``with`` statement::

        with Session(640, 480, camera="107 FOV 20") as session:
            for frame in camera:
                session.add(frame)
                if session.ready:
                    show(session.image())

    Calls of all sessions are serialised, since the library may be used by one thread at a time; other Python threads
    run on. os.fork() waits for a call under way; the child has sessions of its own from then on, in the same state. A
    session can be neither copied nor pickled.

    Args:
        width: columns of a frame.
        height: rows of a frame.
        camera: free text that selects the sensor's point-spread function: a model number from 101 to 108, and "FOV"
            followed by the field of view, an integer. None, or a text without both, selects the default.
        reference: the frame on whose grid the image lies, counted back from the newest: 0 to 4.
        counts: the frames hold raw counts; values from -32768 to 32767 are plausible then, instead of -274 to 5000.
        timing_report: let the library print its six lines on standard output for each reconstruction. The library reads
            that from the environment's ORAVO_REPORT, which is set while the session opens, unless it fits already.

    Raises:
        ValueError: an invalid size or reference.
        SuperResolutionError: the library refuses the session.
        OSError: the library cannot be loaded.
    """

    _handle: Optional[int] = None

    def __init__(self, width: int, height: int, *, camera: Optional[str] = None,
                 reference: int = _DEFAULT_REFERENCE, counts: bool = False, timing_report: bool = False) -> None:
        self._shape = (positive("height", height), positive("width", width))
        if self._shape[0] * self._shape[1] > _MOST_PIXELS:
            raise ValueError(f"{width} x {height} pixels are more than {_MOST_PIXELS}")
        reference = _checked_reference(reference)
        self._counts = bool(counts)
        self._timing_report = bool(timing_report)
        self._frames_added = 0
        with _native.lock, _native.report_switched(self._timing_report):
            handle = _native.library().SuperResolution_init(self._shape[1], self._shape[0])
            if handle < 0:
                raise SuperResolutionError(handle, _native.error_message())
        self._handle = handle
        try:
            self._watch = ImageWatch(self.output_shape, WINDOW_SIZE)
            self._call("oravo_setDataIsCounts", int(self._counts))
            self.reference = reference
            if camera is not None:
                self.describe_camera(camera)
        except BaseException:
            self.close()
            raise

    @property
    def shape(self) -> Tuple[int, int]:
        """Rows and columns of a frame."""
        return self._shape

    @property
    def output_shape(self) -> Tuple[int, int]:
        """Rows and columns of the image, twice those of a frame."""
        return (2 * self._shape[0], 2 * self._shape[1])

    @property
    def counts(self) -> bool:
        """Whether the frames hold raw counts."""
        return self._counts

    @property
    def timing_report(self) -> bool:
        """Whether the library reports each reconstruction on standard output."""
        return self._timing_report

    @property
    def frames_added(self) -> int:
        """Frames taken in without an error."""
        return self._frames_added

    @property
    def ready(self) -> bool:
        """Whether there is an image: at least five frames were added."""
        return self._frames_added >= WINDOW_SIZE

    @property
    def closed(self) -> bool:
        """Whether close() was called: nothing else may follow."""
        return self._handle is None

    @property
    def reference(self) -> int:
        """The frame on whose grid the image lies, counted back from the newest: 0 to 4, 3 unless set."""
        return self._reference

    @reference.setter
    def reference(self, index: int) -> None:
        number = _checked_reference(index)
        self._call("SuperResolution_setReferenceFrame", number)
        self._reference = number

    def describe_camera(self, description: str) -> None:
        """Selects the sensor's point-spread function by camera and lens; see the class's ``camera``."""
        self._call("SuperResolution_setCameraAndLensType", camera_text(description))

    def add(self, frame: npt.ArrayLike) -> Status:
        """Takes in the newest frame; from the fifth on, reconstructs the image.

        Args:
            frame: (height, width), any real type; copied by the library, and converted only when it is not float32
                in row-major order.

        Returns:
            OK. FALLBACK_PIXEL, TOO_FEW_VALID_PIXELS or NOT_ENOUGH_STRUCTURE say what is wrong with the frame, which is used
            all the same. NO_NEW_IMAGE, which takes precedence, says that the image is still the one before.

        Warns:
            SuperResolutionWarning: the image is still the one before; with the likely cause and what to do.

        Raises:
            TypeError, ValueError: no frame of this session.
            SuperResolutionError: the library cannot use the frame, for example because it is displaced by half the
                frame height or more, or because more than 10 of its pixels cannot be repaired.
        """
        status = self._add(_as_frame(frame))
        if status is Status.NO_NEW_IMAGE:
            self._warn_of_old_image(stacklevel=2)
        return status

    def image(self, out: Optional[npt.NDArray[np.float32]] = None) -> npt.NDArray[np.float32]:
        """The latest image, (2 height, 2 width), float32, in the frames' unit.

        Pixel (2 r + 0.5, 2 c + 0.5) of it shows what pixel (r, c) of the reference frame shows. When a frame has
        nothing that the registration can follow, the image stays the one before (zeros at first): :meth:`add` says so.

        Args:
            out: an array to write into instead of a new one: float32, row-major, of that shape.

        Raises:
            SuperResolutionError: fewer than five frames were added (TOO_FEW_IMAGES).
            ValueError: an ``out`` that cannot be written to.
        """
        out = output(out, self.output_shape)
        self._call("SuperResolution_getSuperresolutionImage", _pointer(out))
        return out

    def close(self) -> None:
        """Gives the session's memory back. May be repeated; nothing else may follow."""
        if self._handle is None:
            return
        with _native.lock:
            _native.library().SuperResolution_release(self._handle)
        self._handle = None

    def _add(self, frame: npt.NDArray[np.float32]) -> Status:
        if frame.shape != self._shape:
            raise ValueError(f"the frame has shape {frame.shape}, the session {self._shape}")
        with _native.lock:
            status = Status(self._call("SuperResolution_addImage", _pointer(frame)))
            self._frames_added += 1
            self._watch.frame_added(frame)
            if self.ready:
                self.image(self._watch.next_image)
                self._watch.image_follows()
        return Status.NO_NEW_IMAGE if self._watch.is_old else status

    def _why_old(self) -> str:
        return why_old(self._watch.newest_frame, self._counts)

    def _warn_of_old_image(self, stacklevel: int) -> None:
        warnings.warn(f"the image is still the one before: {self._why_old()}", SuperResolutionWarning,
                      stacklevel=stacklevel + 1)

    def _call(self, name: str, argument: object) -> int:
        """Calls a function on this session; what it reports as an error is raised."""
        if self._handle is None:
            raise ValueError("the session is closed")
        with _native.lock:
            status: int = getattr(_native.library(), name)(self._handle, argument)
            if status not in _FRAME_STATUSES:
                raise SuperResolutionError(status, _native.error_message())
        return status


def _runs(frames: Iterable[npt.ArrayLike], camera: Optional[str], reference: int, counts: bool,
          timing_report: bool) -> Iterator[Tuple[Session, Status]]:
    """A session, opened for the first frame, after each frame from the fifth on."""
    session: Optional[Session] = None
    try:
        for frame in frames:
            array = _as_frame(frame)
            if session is None:
                height, width = array.shape
                session = Session(width, height, camera=camera, reference=reference, counts=counts,
                                  timing_report=timing_report)
            status = session._add(array)
            if session.ready:
                yield session, status
    finally:
        if session is not None:
            session.close()


def enhance_by_session(frames: Iterable[npt.ArrayLike], camera: Optional[str], reference: int,
                       counts: bool) -> npt.NDArray[np.float32]:
    """One image of the last five frames, with the library's report on standard output."""
    last = collections.deque((_as_frame(frame) for frame in frames), WINDOW_SIZE)
    if len(last) < WINDOW_SIZE:
        raise ValueError(f"{len(last)} frames; an image of the float pipeline needs {WINDOW_SIZE}")
    for session, status in _runs(last, camera, reference, counts, timing_report=True):
        if status is Status.NO_NEW_IMAGE:
            raise SuperResolutionError(status, session._why_old())
        if status is not Status.OK:
            warnings.warn(f"the image has status {status.name}", SuperResolutionWarning, stacklevel=4)
        image = session.image()
    return image


def stream(frames: Iterable[npt.ArrayLike], *, camera: Optional[str] = None, reference: int = _DEFAULT_REFERENCE,
           counts: bool = False, timing_report: bool = False) -> Iterator[Tuple[npt.NDArray[np.float32], Status]]:
    """Reconstructs an image for each frame from the fifth on, by a :class:`Session` with the same keyword arguments.

    Args:
        frames: arrays (height, width), oldest first, taken one at a time; may be endless.

    Yields:
        The image of the last five frames, (2 height, 2 width), float32, and the status of the newest.

    Warns, raises: as :meth:`Session.add`.
    """
    for session, status in _runs(frames, camera, reference, counts, timing_report):
        if status is Status.NO_NEW_IMAGE:
            session._warn_of_old_image(stacklevel=2)
        yield session.image(), status
