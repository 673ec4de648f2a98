"""Calls that make many images: of a stream of frames, and of many bursts."""

import collections
import os
import warnings
from concurrent.futures import Future, ThreadPoolExecutor, wait
from dataclasses import replace
from typing import Any, Callable, Deque, Iterable, Iterator, List, Optional, Set

import numpy.typing as npt

from ._arguments import positive
from ._burst import Burst
from ._errors import BurstError, BurstStatus, SuperResolutionWarning
from ._intake import Intake, Log, Result, judged, of_frames
from ._parameters import Parameters
from ._results import FloatImage, Reconstruction


def _stream(frames: Iterable[npt.ArrayLike], intake: Intake, every: int,
            work: Callable[[Burst], Result]) -> Iterator[Result]:
    """What work makes of a burst after each frame, or each `every`-th, once there are enough."""
    step = positive("every", every)
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
    """Reconstructs images while frames come in, each from the newest ``max_frames`` frames, in constant memory.

    The arguments that are not listed here are those of :func:`reconstruct`.

    Args:
        frames: arrays (height, width), oldest first, taken one at a time; may be endless, and may reuse their memory.
        every: an image after every so many frames, 1 for each.

    Yields:
        A :class:`Reconstruction` for the frame with which there are ``max_frames``, and for each ``every``-th after it.

    Warns:
        SuperResolutionWarning: a frame that cannot be used, which is left out; frames that give no image.

    Raises:
        TypeError, ValueError: invalid frames or arguments.
        BurstError: a failure that is not the frames'.
    """
    intake = Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    yield from _stream(frames, intake, every, lambda burst: burst.reconstruct(reference))


def enhance_stream(frames: Iterable[npt.ArrayLike], parameters: Optional[Parameters] = None, *,
                   reference: Optional[int] = None, every: int = 1, bad_pixels: Optional[npt.ArrayLike] = None,
                   scale: float = 1.0, offset: float = 0.0, log: Log = None, **changes: Any) -> Iterator[FloatImage]:
    """The same as :func:`reconstruct_stream`, with the same arguments and errors, but gives only the images, which is faster.

    A live camera, for example::

        for image in enhance_stream(camera(), pipeline="float"):
            show(image)

    Yields:
        Images (factor height, factor width), float32, in the frames' unit.
    """
    intake = Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    yield from _stream(frames, intake, every, lambda burst: burst.image(reference))


def _many(bursts: Iterable[Iterable[npt.ArrayLike]], intake: Intake, workers: Optional[int],
          work: Callable[[Burst], Result]) -> List[Result]:
    """What work makes of each burst, on several threads; taken as these become free."""
    count = len(os.sched_getaffinity(0)) if workers is None else positive("workers", workers)
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
            waiting.append(pool.submit(of_frames, frames, intake, work, None, running))
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
    """Reconstructs one image of each burst, several bursts at a time.

    The arguments that are not listed here are those of :func:`reconstruct` and hold for all bursts; the log is called from
    all threads.

    Args:
        bursts: what :func:`reconstruct` takes as frames, one by one; taken as workers become free.
        workers: how many are reconstructed at a time, each on a thread; None for as many as there are processors that
            the process may use.

    Returns:
        The results in the order of the bursts.

    Raises:
        What :func:`reconstruct` raises for one of the bursts, named in a note; those under way are cancelled.
    """
    intake = Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    return _many(bursts, intake, workers, lambda burst: burst.reconstruct(reference))


def enhance_many(bursts: Iterable[Iterable[npt.ArrayLike]], parameters: Optional[Parameters] = None, *,
                 workers: Optional[int] = None, reference: Optional[int] = None,
                 bad_pixels: Optional[npt.ArrayLike] = None, scale: float = 1.0, offset: float = 0.0, log: Log = None,
                 **changes: Any) -> List[FloatImage]:
    """The same as :func:`reconstruct_many`, with the same arguments and errors, but gives only the images, which takes less
    memory::

        images = enhance_many(recordings, workers=4)

    Returns:
        Images (factor height, factor width), float32, in the frames' unit, in the order of the bursts.

    Warns:
        SuperResolutionWarning: what there is to doubt about an image, with the number of its burst.
    """
    intake = Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    results = _many(bursts, intake, workers, lambda burst: judged(burst, reference))
    for number, result in enumerate(results):
        for warning in result.warnings:
            warnings.warn(f"burst {number}: {warning}", SuperResolutionWarning, stacklevel=2)
    return [result.image for result in results]
