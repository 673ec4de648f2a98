"""What the library reports, as Python values."""

from enum import IntEnum
from typing import Type


class Status(IntEnum):
    """The library's status codes. Those from -4 to 0 go with a frame that was taken in, as does NO_NEW_IMAGE; the
    others go with an error."""

    OK = 0
    """The frame was taken in; from the fifth on there is a new image."""
    INIT_FAILED = -1
    """The session could not be set up."""
    FALLBACK_PIXEL = -2
    """A defective pixel had no sound neighbour to be repaired from; the frame is used all the same."""
    TOO_FEW_VALID_PIXELS = -3
    """At least half of some frame's pixels disagree with the reference frame; an image is delivered."""
    NOT_ENOUGH_STRUCTURE = -4
    """The frame's values span less than 2; it is used all the same."""
    TOO_FEW_IMAGES = -5
    """Fewer than five frames were added."""
    NO_NEW_IMAGE = -998
    """The registration found nothing to follow into some frame, and the image is still the one before (zeros when there
    was none). The library's C interface does not report it: the package compares the images."""
    ERROR = -999
    """Invalid use, or an error inside the library."""


class SuperResolutionError(RuntimeError):
    """A failure that the library reports.

    Attributes:
        status: the library's code, a :class:`Status` where it is a known one.
        message: what the library says about it; may name the place in its source on a line of its own.
    """

    _statuses: Type[IntEnum] = Status

    def __init__(self, status: int, message: str) -> None:
        self.status = self._statuses(status) if status in self._statuses._value2member_map_ else status
        self.message = message
        super().__init__(status, message)

    def __str__(self) -> str:
        first_line = self.message.strip().partition("\n")[0] or "no message"
        return f"{first_line} (status {int(self.status)})"


class BurstStatus(IntEnum):
    """The status codes of bursts; capi/Burst.h says what to do about each."""

    OK = 0
    """Done."""
    STALE = -1
    """The burst does not exist any more."""
    ARGUMENT = -2
    """An invalid argument; raised as a ValueError."""
    NO_RESULT = -3
    """Nothing was reconstructed yet."""
    MEMORY = -4
    """More memory than there is, or than ``most_memory``."""
    CANCELLED = -5
    """:meth:`Burst.cancel` or the progress callback ended the reconstruction."""
    FAILED = -6
    """An error inside the library."""
    BUSY = -7
    """Another call on the burst is under way."""
    UNAVAILABLE = -8
    """The pipeline does not have this."""
    FRAME = -9
    """A frame cannot be used; the message says which and why."""
    NO_DETAIL = -10
    """Some frame shows no detail that the registration could follow into it."""


class BurstError(SuperResolutionError):
    """A failure of a burst.

    Attributes:
        status: a :class:`BurstStatus` where it is a known one.
        message: what the library says about it.
    """

    _statuses = BurstStatus


class SuperResolutionWarning(UserWarning):
    """There is an image, and something to doubt about it; or a frame was left out, or the image is still the one before. The
    text says which."""
