"""The C functions of bursts (capi/Burst.h), declared."""

import ctypes
import functools
from ctypes import POINTER, c_char_p, c_double, c_float, c_int, c_size_t, c_ssize_t, c_uint64, c_void_p

from . import _native

OWN_REFERENCE = -1

#: Called with the share that is done and a null pointer; 0 cancels.
ProgressFunction = ctypes.CFUNCTYPE(c_int, c_double, c_void_p)
#: Called with a level, a text and a null pointer.
LogFunction = ctypes.CFUNCTYPE(None, c_int, c_char_p, c_void_p)


class Options(ctypes.Structure):
    """oravo_burst_options"""

    _fields_ = [("size", c_size_t), ("pipeline", c_int), ("registration", c_int), ("frames", c_int), ("factor", c_int),
                ("psf_sigma", c_float), ("psf_box", c_float), ("lowest", c_float), ("highest", c_float),
                ("smoothness", c_double), ("find_dead_pixels", c_int), ("find_pattern", c_int), ("deviation", c_int),
                ("tv_weight", c_float), ("relative_residue", c_float), ("registration_error", c_float), ("iterations", c_int),
                ("most_memory", c_uint64), ("progress", ProgressFunction), ("log", LogFunction), ("user", c_void_p),
                ("threads", c_int), ("keep_dead_pixels", c_int)]


class Frame(ctypes.Structure):
    """oravo_burst_frame"""

    _fields_ = [("used", c_int), ("dx", c_double), ("dy", c_double), ("dx_error", c_double), ("dy_error", c_double),
                ("linear", c_double * 4), ("gain", c_double), ("offset", c_double), ("misfit", c_double),
                ("weight", c_double)]


_PROTOTYPES = {
    "options_init": (c_int, [POINTER(Options), c_size_t]),
    "camera_blur": (c_float, [c_char_p]),
    "memory": (c_uint64, [c_int, c_int, POINTER(Options)]),
    "create": (c_uint64, [c_int, c_int, POINTER(Options)]),
    "destroy": (c_int, [c_uint64]),
    "set_bad_pixels": (c_int, [c_uint64, c_void_p, c_ssize_t]),
    "add": (c_int, [c_uint64, c_void_p, c_ssize_t]),
    "add_u16": (c_int, [c_uint64, c_void_p, c_ssize_t, c_double, c_double]),
    "add_i16": (c_int, [c_uint64, c_void_p, c_ssize_t, c_double, c_double]),
    "frames": (c_int, [c_uint64]),
    "clear": (c_int, [c_uint64]),
    "reconstruct": (c_int, [c_uint64, c_int]),
    "cancel": (c_int, [c_uint64]),
    "image": (c_int, [c_uint64, c_void_p, c_ssize_t]),
    "deviation": (c_int, [c_uint64, c_void_p, c_ssize_t]),
    "weight": (c_int, [c_uint64, c_void_p, c_ssize_t]),
    "pattern": (c_int, [c_uint64, c_void_p, c_ssize_t]),
    "dead_pixels": (c_int, [c_uint64, c_void_p, c_ssize_t]),
    "mask": (c_int, [c_uint64, c_int, c_void_p, c_ssize_t]),
    "frame_info": (c_int, [c_uint64, c_int, POINTER(Frame), c_size_t]),
    "figure": (c_int, [c_uint64, c_char_p, POINTER(c_double)]),
    "figure_name": (c_char_p, [c_int]),
    "warning": (c_int, [c_uint64, c_int, c_char_p, c_size_t]),
    "error_code": (c_int, [c_uint64]),
    "error": (c_char_p, [c_uint64]),
}


@functools.lru_cache(maxsize=None)
def library() -> ctypes.CDLL:
    """The shared library with the functions of bursts declared. Raises OSError when it cannot be loaded."""
    loaded = _native.library()
    for name, (result, arguments) in _PROTOTYPES.items():
        function = getattr(loaded, f"oravo_burst_{name}")
        function.restype = result
        function.argtypes = arguments
    return loaded


def message(burst: int) -> str:
    """The text of the latest failure of a burst, or of this thread's latest one without a burst (0)."""
    text: bytes = library().oravo_burst_error(burst)
    return text.decode("utf-8", "replace")
