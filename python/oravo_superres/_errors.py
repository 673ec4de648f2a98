"""What the library reports, as Python values."""

from enum import IntEnum


class Status(IntEnum):
    """The library's status codes. Those from -4 to 0 go with a frame that was taken in, as does NO_NEW_IMAGE; the
    others go with an error."""

    OK = 0
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

    def __init__(self, status: int, message: str) -> None:
        self.status = Status(status) if status in Status._value2member_map_ else status
        self.message = message
        super().__init__(status, message)

    def __str__(self) -> str:
        first_line = self.message.strip().partition("\n")[0] or "no message"
        return f"{first_line} (status {int(self.status)})"


class BurstError(SuperResolutionError):
    """A failure of the precise pipeline; ``status`` is one of the ORAVO_BURST codes of capi/Burst.h."""

    def __init__(self, status: int, message: str) -> None:
        super().__init__(status, message)
        self.status = status


class SuperResolutionWarning(UserWarning):
    """An image has a status other than OK, or is still the one before."""
