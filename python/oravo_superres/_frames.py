"""Frames as the library reads them."""

from dataclasses import dataclass
from typing import Any, Optional, Tuple

import numpy as np
import numpy.typing as npt

_DIRECT = {np.dtype(np.float32): "add", np.dtype(np.uint16): "add_u16", np.dtype(np.int16): "add_i16"}


@dataclass(frozen=True, eq=False)
class NativeFrame:
    """Rows of a type that the library reads.

    Attributes:
        values: (height, width); pixels of a row lie side by side.
        function: of the C interface, without its prefix.
        pitch: bytes from one row to the next.
        has_holes: some pixels are masked.
    """

    values: npt.NDArray[Any]
    function: str
    pitch: int
    has_holes: bool

    @property
    def shape(self) -> Tuple[int, int]:
        height, width = self.values.shape
        return height, width


def _with_dense_rows(array: npt.NDArray[Any]) -> npt.NDArray[Any]:
    """The same memory where rows are dense, in either direction; else a copy."""
    row = array.shape[1] * array.itemsize
    if array.size and array.strides[1] == array.itemsize and abs(array.strides[0]) >= row:
        return array
    return np.ascontiguousarray(array)


def truth_of(mask: npt.ArrayLike) -> npt.NDArray[np.bool_]:
    """Where a mask is true."""
    array = np.asarray(mask)
    if array.dtype.kind not in "biuf":
        raise TypeError(f"a mask must hold truth values or numbers; this one has type {array.dtype}")
    return array.astype(bool)


def _holes(frame: npt.ArrayLike, mask: Optional[npt.ArrayLike],
           shape: Tuple[int, ...]) -> Optional[npt.NDArray[np.bool_]]:
    """Where a frame has no value by its own mask or another one; None where it has one everywhere."""
    holes = np.ma.getmask(frame) if isinstance(frame, np.ma.MaskedArray) else None  # type: ignore[no-untyped-call]
    if mask is not None:
        given = truth_of(mask)
        if given.shape != shape:
            raise ValueError(f"the mask has shape {given.shape}, the frame {shape}")
        holes = given if holes is None else holes | given
    return holes if holes is not None and np.any(holes) else None


def native_frame(frame: npt.ArrayLike, mask: Optional[npt.ArrayLike] = None, scale: float = 1.0,
                 offset: float = 0.0) -> NativeFrame:
    """A frame of any real type and layout; its memory where the library can read that.

    Args:
        frame: (height, width); what its mask covers has no value.
        mask: True where pixels have no value.
        scale, offset: the value of a number in the frame is scale number + offset.
    """
    if isinstance(frame, (list, tuple)) and any(isinstance(row, np.ma.MaskedArray) for row in frame):
        frame = np.ma.asarray(frame)  # type: ignore[no-untyped-call]
    masked = isinstance(frame, np.ma.MaskedArray)
    array = np.ma.getdata(frame) if masked else np.asarray(frame)  # type: ignore[no-untyped-call]
    if array.dtype.kind not in "fiu":
        raise TypeError(f"a frame must hold real numbers; this one has type {array.dtype}")
    if array.ndim != 2:
        raise ValueError(f"a frame must have two dimensions (height, width); this one has shape {array.shape}")
    if not (np.isfinite(scale) and scale != 0):
        raise ValueError(f"scale is {scale}; it must be a number other than 0")
    if not np.isfinite(offset):
        raise ValueError(f"offset is {offset}; it must be a number")
    holes = _holes(frame, mask, array.shape)
    plain = scale == 1 and offset == 0
    function = _DIRECT.get(array.dtype, "")
    if holes is not None or not function or (function == "add" and not plain):
        with np.errstate(over="ignore"):  # what float32 cannot hold becomes infinite, a defective pixel
            values = array if plain else scale * array.astype(np.float64) + offset
            array = values.astype(np.float32)
        function = "add"
        if holes is not None:
            array[holes] = np.nan
    array = _with_dense_rows(array)
    return NativeFrame(array, function, array.strides[0], holes is not None)


def as_float_frame(frame: npt.ArrayLike) -> npt.NDArray[np.float32]:
    """A frame as sessions take it: float32, row-major, NaN where it is masked; the same memory where that serves."""
    native = native_frame(frame)
    with np.errstate(over="ignore"):
        return np.require(native.values, np.float32, ["C", "A"])
