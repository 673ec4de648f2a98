"""How frames go into bursts."""

import collections
from typing import Callable, Iterable, List, NamedTuple, Optional, Sequence, Set, TypeVar

import numpy as np
import numpy.typing as npt

from ._burst import Burst
from ._frames import native_frame
from ._parameters import Parameters
from ._results import FloatImage

Progress = Optional[Callable[[float], object]]
Log = Optional[Callable[[int, str], object]]
Result = TypeVar("Result")


class Intake(NamedTuple):
    """How frames go into a burst, and what it is made with."""

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


class Judged(NamedTuple):
    image: FloatImage
    warnings: List[str]


def judged(burst: Burst, reference: Optional[int]) -> Judged:
    image = burst.image(reference)
    return Judged(image, burst.warnings())


def newest_of(frames: Iterable[npt.ArrayLike], count: int) -> List[npt.ArrayLike]:
    """The last ones; copies of those that come one by one, since a camera may reuse their memory."""
    if isinstance(frames, (np.ndarray, Sequence)):
        return list(frames[-count:])
    return list(collections.deque((f.copy() if isinstance(f, np.ndarray) else f for f in frames), count))


def of_frames(frames: Iterable[npt.ArrayLike], intake: Intake, work: Callable[[Burst], Result],
               progress: Progress = None, running: Optional[Set[Burst]] = None) -> Result:
    """What work makes of a burst of the newest frames.

    Args:
        running: holds the burst meanwhile.
    """
    newest = newest_of(frames, intake.parameters.window)
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
