"""Calls that make one image of some frames."""

import warnings
from dataclasses import replace
from typing import Any, Iterable, Optional

import numpy.typing as npt

from ._errors import BurstError, BurstStatus, Status, SuperResolutionError, SuperResolutionWarning
from ._frames import as_float_frame
from ._intake import Intake, Log, Progress, judged, newest_of, of_frames
from ._parameters import Parameters
from ._results import FloatImage, Reconstruction
from ._session import enhance_by_session
from ._watch import why_old


def reconstruct(frames: Iterable[npt.ArrayLike], parameters: Optional[Parameters] = None, *,
                reference: Optional[int] = None, bad_pixels: Optional[npt.ArrayLike] = None, scale: float = 1.0,
                offset: float = 0.0, progress: Progress = None, log: Log = None, **changes: Any) -> Reconstruction:
    """Reconstructs the best image of some frames, and reports what is known about it.

    Several threads may call it at once: the library needs no lock, and Python's is released while it works.

    Args:
        frames: an array (n, height, width) or n arrays (height, width), oldest first, n at least 1; any real type. Masked
            pixels, NaN, pixels with a :class:`PixelCode` and values outside the plausible range are left out. Of more than
            ``max_frames`` the newest are used.
        parameters: see :class:`Parameters`.
        reference: the frame on whose grid the image lies, counted back from the newest; the oldest where there are fewer.
            None for the pipeline's own: 3, or 0 for the reference pipeline.
        bad_pixels: (height, width), true where the sensor's pixels are bad.
        scale, offset: the value of a number in the frames is scale * number + offset.
        progress: called with the share that is done, 0 to 1; returning False cancels.
        log: called with a level of the module `logging` and a line of text.
        changes: parameters by name, such as ``psf_sigma=0.5``.

    Returns:
        The image, (factor height, factor width), in the frames' unit, and what is known about it.

    Raises:
        TypeError, ValueError: invalid frames or arguments, named with their values.
        BurstError: the library cannot reconstruct an image, for example of a reference frame without any value.
    """
    intake = Intake(replace(parameters or Parameters(), **changes), bad_pixels, scale, offset, log)
    return of_frames(frames, intake, lambda burst: burst.reconstruct(reference), progress)


def enhance(frames: Iterable[npt.ArrayLike], parameters: Optional[Parameters] = None, *, reference: Optional[int] = None,
            bad_pixels: Optional[npt.ArrayLike] = None, scale: float = 1.0, offset: float = 0.0,
            progress: Progress = None, log: Log = None, timing_report: bool = False, **changes: Any) -> FloatImage:
    """Reconstructs one image from the newest of the frames.

    Takes the arguments of :func:`reconstruct`, for example ``pipeline="float"`` for the real-time pipeline or
    ``counts=True`` for raw counts, and one more.

    Args:
        frames: an array (n, height, width) or n arrays (height, width), oldest first. The precise pipeline, which is the
            default, uses the newest twelve. The others use the newest five and need that many; ``max_frames`` sets other
            numbers.
        timing_report: let the float pipeline print its six lines on standard output, see :class:`Session`.

    Returns:
        An array (factor height, factor width), float32, in the frames' unit. The default ``factor`` is 2.

    Warns:
        SuperResolutionWarning: what there is to doubt about the image.

    Raises:
        TypeError, ValueError: invalid frames or arguments, named with their values.
        SuperResolutionError: the library cannot reconstruct an image from them.
    """
    chosen = replace(parameters or Parameters(), **changes)
    if timing_report:
        return _enhance_with_report(frames, chosen, reference)
    newest = newest_of(frames, chosen.window)
    if chosen.pipeline != "precise" and len(newest) < chosen.window:
        raise ValueError(f"{len(newest)} frames; an image of the {chosen.pipeline} pipeline needs {chosen.window}")
    try:
        intake = Intake(chosen, bad_pixels, scale, offset, log)
        result = of_frames(newest, intake, lambda burst: judged(burst, reference), progress)
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
