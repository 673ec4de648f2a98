"""Arguments of any type, checked under their names."""

import operator
from typing import Any, Optional, Tuple

import numpy as np
import numpy.typing as npt


def integer(name: str, value: Any) -> int:
    """The integer that a value is."""
    try:
        return operator.index(value)
    except TypeError:
        raise TypeError(f"{name} is {value!r}; it must be an integer") from None


def positive(name: str, value: Any) -> int:
    """The integer from 1 on that a value is."""
    number = integer(name, value)
    if number < 1:
        raise ValueError(f"{name} is {number}; it must be at least 1")
    return number


def real(name: str, value: Any) -> float:
    """The number that a value is, as the nearest float."""
    try:
        if not isinstance(value, (str, bytes)):
            return float(value)
    except OverflowError:
        raise ValueError(f"{name} is beyond all floats") from None
    except TypeError:
        pass
    raise TypeError(f"{name} is {value!r}; it must be a number")


def function(name: str, value: Any) -> None:
    """Refuses what cannot be called."""
    if value is not None and not callable(value):
        raise TypeError(f"{name} is {value!r}; it must be a function")


def output(out: Optional[npt.NDArray[np.float32]], shape: Tuple[int, int]) -> npt.NDArray[np.float32]:
    """The array to write an image of a shape into, a new one unless there is one."""
    if out is None:
        return np.empty(shape, np.float32)
    if not isinstance(out, np.ndarray) or out.shape != shape or out.dtype != np.float32 or not out.flags.carray:
        raise ValueError(f"out must be a writable, row-major float32 array of shape {shape}")
    return out
