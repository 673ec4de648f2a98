"""What the library's C interface leaves unsaid: whether a run gave a new image."""

from typing import Optional, Tuple

import numpy as np
import numpy.typing as npt

TEMPERATURE_RANGE = (-274, 5000)
COUNT_RANGE = (-32768, 32767)


def _same_bits(one: npt.NDArray[np.float32], other: npt.NDArray[np.float32]) -> bool:
    return np.array_equal(one.view(np.uint32), other.view(np.uint32))


class ImageWatch:
    """Compares the image after each frame with the one before.

    A run whose registration finds no corner to follow leaves the image as it was and returns success. So does a run
    over the very frames of the run before, which is no failure: then what was known of the image still holds.
    """

    def __init__(self, output_shape: Tuple[int, int], window_size: int) -> None:
        self.is_old = False
        self._window_size = window_size
        self._image = np.zeros(output_shape, np.float32)
        self._next = np.empty(output_shape, np.float32)
        self._frame: Optional[npt.NDArray[np.float32]] = None
        self._repeats = 0

    @property
    def newest_frame(self) -> npt.NDArray[np.float32]:
        """The last frame shown."""
        assert self._frame is not None
        return self._frame

    @property
    def next_image(self) -> npt.NDArray[np.float32]:
        """Where the image that follows a frame is written to before :meth:`image_follows`."""
        return self._next

    def frame_added(self, frame: npt.NDArray[np.float32]) -> None:
        """Notes a frame that the library has taken in."""
        if self._frame is not None and _same_bits(self._frame, frame):
            self._repeats += 1
        else:
            self._repeats = 0
            self._frame = frame.copy()

    def image_follows(self) -> None:
        """Notes the image that the last frame led to."""
        if not _same_bits(self._image, self._next):
            self.is_old = False
        elif self._repeats < self._window_size:
            self.is_old = True
        self._image, self._next = self._next, self._image


def why_old(frame: npt.NDArray[np.float32], counts: bool) -> str:
    """What to do about an image that stays the one before, by the newest frame of its window."""
    low, high = COUNT_RANGE if counts else TEMPERATURE_RANGE
    with np.errstate(invalid="ignore"):
        inside = np.count_nonzero((frame >= low) & (frame <= high))
    text = "the registration found nothing in the frames to follow"
    if 2 * inside < np.count_nonzero(np.isfinite(frame)):
        remedy = "subtract 32768 from unsigned counts" if counts else "counts=True takes raw counts"
        return f"{text}: most values are outside [{low}, {high}] and count as defective ({remedy})"
    return (f"{text}; when good frames do not change that, open a new session: one hot or cold patch may have left the "
            "registration too few grey levels for as long as the session lives")
