"""Pixels that carry a status code instead of a value."""

from enum import IntEnum

import numpy as np
import numpy.typing as npt


class PixelCode(IntEnum):
    """Codes that a 32-bit float pixel may carry instead of a value, as its bit pattern.

    ``frame.view(np.uint32)[y, x] = PixelCode.BAD_PIXEL`` marks a pixel of a float32 frame.
    """

    OVER_RANGE = 0x81
    """The sensor's value was above its range."""
    UNDER_RANGE = 0x82
    """The sensor's value was below its range."""
    BAD_PIXEL = 0x84
    """The pixel is defective."""
    INVALID = 0x85
    """There is no valid value."""


def has_code(image: npt.NDArray[np.float32]) -> npt.NDArray[np.bool_]:
    """Which pixels of a float32 image carry a code.

    Args:
        image: any shape, float32.

    Returns:
        An array of the same shape, True where a pixel carries one of the codes.

    Raises:
        TypeError: an image of another type than float32.
    """
    if image.dtype != np.float32:
        raise TypeError(f"codes are bit patterns of float32 pixels; the image has type {image.dtype}")
    return np.isin(np.ascontiguousarray(image).view(np.uint32), [int(code) for code in PixelCode])
