"""Calls that make a burst, use it, and close it."""

import collections
import operator
import os
import warnings
from concurrent.futures import Future, ThreadPoolExecutor, wait
from dataclasses import replace
from typing import Any, Callable, Deque, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Set, TypeVar

import numpy as np
import numpy.typing as npt

from ._burst import Burst
from ._errors import BurstError, BurstStatus, Status, SuperResolutionError, SuperResolutionWarning
from ._frames import as_float_frame, native_frame
from ._parameters import Parameters
from ._results import FloatImage, Reconstruction
from ._session import enhance_by_session
from ._watch import why_old

Progress = Optional[Callable[[float], object]]
Log = Optional[Callable[[int, str], object]]
Result = TypeVar("Result")


class _Intake(NamedTuple):
    """How frames go into a burst."""

    parameters: Parameters
    bad_pixels: Optional[npt.ArrayLike]
    scale: float
    offset: float
    log: Log

    def burst_for(self, frame: npt.ArrayLike, progress: Progress = None) -> Burst:
        height, width = native_frame(frame).shape
        burst = Burst(width, height, self.parameters, progress=progress, log=self.log)
        if self.bad_pixels is not None:
            burst.set_bad_pixels(self.bad_pixels)
        return burst

    def add(self, burst: Burst, frame: npt.ArrayLike) -> None:
        burst.add(frame, scale=self.scale, offset=self.offset)


class _Judged(NamedTuple):
    image: FloatImage
    warnings: List[str]


def _judged(burst: Burst, reference: Optional[int]) -> _Judged:
    image = burst.image(reference)
    return _Judged(image, burst.warnings())


def _newest(frames: Iterable[npt.ArrayLike], count: int) -> List[npt.ArrayLike]:
    """The last ones; copies of those that come one by one, since a camera may reuse their memory."""
    if isinstance(frames, (np.ndarray, Sequence)):
        return list(frames[-count:])
    return list(collections.deque((f.copy() if isinstance(f, np.ndarray) else f for f in frames), count))


def _of_frames(frames: Iterable[npt.ArrayLike], intake: _Intake, work: Callable[[Burst], Result],
               progress: Progress = None, running: Optional[Set[Burst]] = None) -> Result:
    """What work makes of a burst of the newest frames.

    Args:
        running: holds the burst meanwhile.
    """
    newest = _newest(frames, intake.parameters.window)
    if not newest:
        raise ValueError("no frames; an image needs at least one")
    with intake.burst_for(newest[0], progress) as burst:
        if running is not None:
            running.add(burst)
        try:
            for frame in newest:
                intake.add(burst, frame)
            return work(burst)
        finally:
            if running is not None:
                running.discard(burst)


def reconstruct(frames: Iterable[npt.ArrayLike], parameters: Optional[Parameters] = None, *,
                reference: Optional[int] = None, bad_pixels: Optional[npt.ArrayLike] = None, scale: float = 1.0,
                offset: float = 0.0, progress: Progress = None, log: Log = None, **changes: Any) -> Reconstruction:
    """Reconstructs the best image of some frames, and reports what is known about it.

    Threads work in parallel: the library needs no lock here, and Python's is released meanwhile.

    Args:
        frames: an array (n, height, width) or n arrays (height, width), oldest first, n at least 1; any real type. Masked
            pixels, NaN, pixels with a :class:`PixelCode` and values outside the plausible range are left out. Of more than
            ``max_frames`` the newest are used.
        parameters: see :class:`Parameters`.
        reference: the frame on whose grid the image lies, counted back from the newest; the oldest where there are fewer.
            None for the pipeline's own: 3, or 0 for the reference pipeline.
        bad_pixels: (height, width), true where the sensor's pixels are bad.
        scale, offset: the value of a number in the frames is scale number + offset.
        progress: called with the share that is done, 0 to 1; returning False cancels.
        log: called with a level of the module `logging` and a line of text.
        changes: parameters by name, such as ``psf_sigma=0.5``.

    Raises:
        TypeError, ValueError: invalid frames or arguments, named with their values.
        BurstError: the library cannot reconstruct an image, for example of a reference frame without any value.
    """
    intake = _Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    return _of_frames(frames, intake, lambda burst: burst.reconstruct(reference), progress)


def enhance(frames: Iterable[npt.ArrayLike], parameters: Optional[Parameters] = None, *, reference: Optional[int] = None,
            bad_pixels: Optional[npt.ArrayLike] = None, scale: float = 1.0, offset: float = 0.0,
            progress: Progress = None, log: Log = None, timing_report: bool = False, **changes: Any) -> FloatImage:
    """Reconstructs one image from the last of some frames.

    Args:
        frames: an array (n, height, width) or n arrays (height, width), oldest first. The precise pipeline, which is used
            unless another one is named, takes the last twelve, the others the last five, which is what n has to be at
            least for them; ``max_frames`` sets other numbers.
        timing_report: let the float pipeline print its six lines on standard output, see :class:`Session`.
        parameters, reference, bad_pixels, scale, offset, progress, log, changes: as in :func:`reconstruct`; for example
            ``pipeline="float"`` for the real-time pipeline, ``counts=True`` for raw counts.

    Returns:
        (factor height, factor width), float32, in the frames' unit: twice the size unless ``factor`` says otherwise.

    Warns:
        SuperResolutionWarning: what there is to doubt about the image.

    Raises:
        TypeError, ValueError: invalid frames or arguments, named with their values.
        SuperResolutionError: the library cannot reconstruct an image from them.
    """
    chosen = replace(parameters or Parameters(), **changes)
    if timing_report:
        return _enhance_with_report(frames, chosen, reference)
    newest = _newest(frames, chosen.window)
    if chosen.pipeline != "precise" and len(newest) < chosen.window:
        raise ValueError(f"{len(newest)} frames; an image of the {chosen.pipeline} pipeline needs {chosen.window}")
    try:
        intake = _Intake(chosen, bad_pixels, scale, offset, log)
        result = _of_frames(newest, intake, lambda burst: _judged(burst, reference), progress)
    except BurstError as error:
        if chosen.pipeline == "precise" or error.status not in (BurstStatus.FRAME, BurstStatus.NO_DETAIL):
            raise
        raise _as_session_error(error, newest[-1], chosen.counts) from error
    for warning in result.warnings:
        warnings.warn(warning + _name_of_status(warning), SuperResolutionWarning, stacklevel=2)
    return result.image


def _name_of_status(warning: str) -> str:
    """What sessions call it."""
    names = {"at least half": Status.TOO_FEW_VALID_PIXELS, "a stand-in value": Status.FALLBACK_PIXEL}
    return "".join(f" ({status.name})" for text, status in names.items() if warning.startswith(text))


def _enhance_with_report(frames: Iterable[npt.ArrayLike], chosen: Parameters, reference: Optional[int]) -> FloatImage:
    if chosen.pipeline == "precise":
        raise ValueError("timing_report: the precise pipeline prints no report")
    known = Parameters(pipeline="float", camera=chosen.camera, counts=chosen.counts)
    if chosen != known:
        raise ValueError("timing_report: only sessions print it, whose parameters are camera, counts and reference")
    return enhance_by_session(frames, chosen.camera, 3 if reference is None else reference, chosen.counts)


def _as_session_error(error: BurstError, newest: npt.ArrayLike, counts: bool) -> SuperResolutionError:
    """The failure as a session reports it, with the likely cause."""
    if error.status == BurstStatus.NO_DETAIL:
        return SuperResolutionError(Status.NO_NEW_IMAGE, why_old(as_float_frame(newest), counts))
    return SuperResolutionError(Status.ERROR, error.message)


def _stream(frames: Iterable[npt.ArrayLike], intake: _Intake, every: int,
            work: Callable[[Burst], Result]) -> Iterator[Result]:
    """What work makes of a burst after each frame, or each `every`-th, once there are enough."""
    step = operator.index(every)
    if step < 1:
        raise ValueError(f"every is {step}; it must be at least 1")
    burst: Optional[Burst] = None
    full = 0
    try:
        for frame in frames:
            if burst is None:
                burst = intake.burst_for(frame)
            try:
                intake.add(burst, frame)
                full += int(len(burst) == intake.parameters.window)
                if full == 0 or (full - 1) % step != 0:
                    continue
                result = work(burst)
            except BurstError as error:
                if error.status not in (BurstStatus.FRAME, BurstStatus.NO_DETAIL):
                    raise
                warnings.warn(f"no image: {error.message}", SuperResolutionWarning, stacklevel=3)
                continue
            yield result
    finally:
        if burst is not None:
            burst.close()


def reconstruct_stream(frames: Iterable[npt.ArrayLike], parameters: Optional[Parameters] = None, *,
                       reference: Optional[int] = None, every: int = 1, bad_pixels: Optional[npt.ArrayLike] = None,
                       scale: float = 1.0, offset: float = 0.0, log: Log = None,
                       **changes: Any) -> Iterator[Reconstruction]:
    """Reconstructs images while frames come in, each of the latest ``max_frames`` frames; memory stays as it is.

    Args:
        frames: arrays (height, width), oldest first, taken one at a time; may be endless, and may reuse their memory.
        every: an image after every so many frames, 1 for each.
        parameters, reference, bad_pixels, scale, offset, log, changes: as in :func:`reconstruct`.

    Yields:
        A :class:`Reconstruction` for the frame with which there are ``max_frames``, and for each ``every``-th after it.

    Warns:
        SuperResolutionWarning: a frame that cannot be used, which is left out; frames that give no image.

    Raises:
        TypeError, ValueError: invalid frames or arguments.
        BurstError: a failure that is not the frames'.
    """
    intake = _Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    yield from _stream(frames, intake, every, lambda burst: burst.reconstruct(reference))


def enhance_stream(frames: Iterable[npt.ArrayLike], parameters: Optional[Parameters] = None, *,
                   reference: Optional[int] = None, every: int = 1, bad_pixels: Optional[npt.ArrayLike] = None,
                   scale: float = 1.0, offset: float = 0.0, log: Log = None, **changes: Any) -> Iterator[FloatImage]:
    """The images alone of :func:`reconstruct_stream`, which is faster; with the same arguments.

    Of a live camera, for one::

        for image in enhance_stream(camera(), pipeline="float"):
            show(image)
    """
    intake = _Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    yield from _stream(frames, intake, every, lambda burst: burst.image(reference))


def _many(bursts: Iterable[Iterable[npt.ArrayLike]], intake: _Intake, workers: Optional[int],
          work: Callable[[Burst], Result]) -> List[Result]:
    """What work makes of each burst, on several threads; taken as these become free."""
    if workers is not None and operator.index(workers) < 1:
        raise ValueError(f"workers is {workers}; it must be at least 1")
    count = workers or os.cpu_count() or 1
    running: Set[Burst] = set()
    results: List[Result] = []
    waiting: Deque["Future[Result]"] = collections.deque()
    pool = ThreadPoolExecutor(count, thread_name_prefix="oravo_superres")

    def collect() -> None:
        try:
            results.append(waiting.popleft().result())
        except Exception as error:
            if hasattr(error, "add_note"):
                error.add_note(f"burst {len(results)}")
            raise

    try:
        for frames in bursts:
            if len(waiting) > count:  # one more waits for a worker
                collect()
            waiting.append(pool.submit(_of_frames, frames, intake, work, None, running))
        while waiting:
            collect()
    except BaseException:
        pool.shutdown(wait=False, cancel_futures=True)
        while not all(future.done() for future in waiting):
            for burst in list(running):
                burst.cancel()
            wait(waiting, timeout=0.02)
        raise
    finally:
        pool.shutdown()
    return results


def reconstruct_many(bursts: Iterable[Iterable[npt.ArrayLike]], parameters: Optional[Parameters] = None, *,
                     workers: Optional[int] = None, reference: Optional[int] = None,
                     bad_pixels: Optional[npt.ArrayLike] = None, scale: float = 1.0, offset: float = 0.0,
                     log: Log = None, **changes: Any) -> List[Reconstruction]:
    """Reconstructs an image of each of some bursts, several at a time.

    Args:
        bursts: what :func:`reconstruct` takes as frames, one by one; taken as workers become free.
        workers: how many are reconstructed at a time, each on a thread; None for as many as there are processors.
        parameters, reference, bad_pixels, scale, offset, log, changes: as in :func:`reconstruct`, for all bursts. The log
            is called from all threads.

    Returns:
        The results in the order of the bursts.

    Raises:
        What :func:`reconstruct` raises for one of the bursts, named in a note; those under way are cancelled.
    """
    intake = _Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    return _many(bursts, intake, workers, lambda burst: burst.reconstruct(reference))


def enhance_many(bursts: Iterable[Iterable[npt.ArrayLike]], parameters: Optional[Parameters] = None, *,
                 workers: Optional[int] = None, reference: Optional[int] = None,
                 bad_pixels: Optional[npt.ArrayLike] = None, scale: float = 1.0, offset: float = 0.0, log: Log = None,
                 **changes: Any) -> List[FloatImage]:
    """The images alone of :func:`reconstruct_many`, which takes less memory; with the same arguments::

        images = enhance_many(recordings, workers=4)

    Warns:
        SuperResolutionWarning: what there is to doubt about an image, with the number of its burst.
    """
    intake = _Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    results = _many(bursts, intake, workers, lambda burst: _judged(burst, reference))
    for number, result in enumerate(results):
        for warning in result.warnings:
            warnings.warn(f"burst {number}: {warning}", SuperResolutionWarning, stacklevel=2)
    return [result.image for result in results]
