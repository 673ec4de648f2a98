"""The C functions of the shared library, found and declared."""

import contextlib
import ctypes
import functools
import os
import sysconfig
import threading
from ctypes import POINTER, c_char_p, c_float, c_int
from pathlib import Path
from typing import Iterator, List

from ._version import __version__

#: Before 1.0 a new minor version may change the interface.
INTERFACE = __version__.split(".")[:2]
SONAME = f"liboravo_superresolution.so.{'.'.join(INTERFACE)}"
LIBRARY_VARIABLE = "ORAVO_SUPERRESOLUTION_LIBRARY"
REPORT_VARIABLE = "ORAVO_REPORT"

#: Sessions and the error message belong to the whole process and are not guarded by the library.
lock = threading.RLock()
# A child must find the library between two calls, and the lock free: the thread that holds it stays in the parent.
os.register_at_fork(before=lock.acquire, after_in_parent=lock.release, after_in_child=lock.release)

_PROTOTYPES = {
    "SuperResolution_init": (c_int, c_int),
    "SuperResolution_release": (c_int,),
    "SuperResolution_setReferenceFrame": (c_int, c_int),
    "SuperResolution_setCameraAndLensType": (c_int, c_char_p),
    "SuperResolution_addImage": (c_int, POINTER(c_float)),
    "SuperResolution_getSuperresolutionImage": (c_int, POINTER(c_float)),
    "SuperResolution_getErrorMessage": (c_char_p, c_int),
    "oravo_setDataIsCounts": (c_int, c_int),
}


def _candidates() -> List[str]:
    """Where the library may be: where the environment says, or else in the package, its prefix, the loader's folders."""
    named = os.environ.get(LIBRARY_VARIABLE)
    if named:
        return [named]
    package = Path(__file__).resolve().parent
    prefix = package.parents[2]  # of PREFIX/lib/python3/dist-packages/oravo_superres
    folders = [package, prefix, prefix / (sysconfig.get_config_var("MULTIARCH") or "")]
    return [str(folder / SONAME) for folder in folders if (folder / SONAME).exists()] + [SONAME]


def _load(candidate: str) -> ctypes.CDLL:
    """The library in a file, when it is of this package's version. Raises OSError."""
    loaded = ctypes.CDLL(candidate)
    try:
        loaded.oravo_version.restype = c_char_p
        version = loaded.oravo_version().decode()
    except AttributeError:
        version = "unknown"
    if version.split(".")[:2] != INTERFACE:
        raise OSError(f"{candidate} has version {version}; this package needs {'.'.join(INTERFACE)}")
    for name, arguments in _PROTOTYPES.items():
        function = getattr(loaded, name)
        function.argtypes = arguments
        function.restype = c_int
    return loaded


@functools.lru_cache(maxsize=None)
def library() -> ctypes.CDLL:
    """The shared library, loaded at the first call. Raises OSError when it cannot be loaded."""
    failures = []
    for candidate in _candidates():
        try:
            return _load(candidate)
        except OSError as error:
            failures.append(str(error))
    raise OSError(f"{'; '.join(failures)} ({LIBRARY_VARIABLE} may name the library's file)")


def error_message() -> str:
    """The latest error message of the process."""
    buffer = ctypes.create_string_buffer(4096)
    library().SuperResolution_getErrorMessage(buffer, len(buffer) - 1)
    return buffer.value.decode("utf-8", "replace")


@contextlib.contextmanager
def report_switched(on: bool) -> Iterator[None]:
    """The environment in which a session is opened that prints its report of every reconstruction, or does not."""
    wanted = "on" if on else "off"
    before = os.environ.get(REPORT_VARIABLE)
    if before == wanted:  # no write that another thread's getenv() might race with
        yield
        return
    os.environ[REPORT_VARIABLE] = wanted
    try:
        yield
    finally:
        if before is None:
            del os.environ[REPORT_VARIABLE]
        else:
            os.environ[REPORT_VARIABLE] = before
