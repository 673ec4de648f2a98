"""The C functions of the shared library, found and declared."""

import contextlib
import ctypes
import functools
import os
import sys
import sysconfig
import threading
from ctypes import POINTER, c_char_p, c_float, c_int
from pathlib import Path
from typing import Iterator, List

SONAME = "liboravo_superresolution.so.0"
LIBRARY_VARIABLE = "ORAVO_SUPERRESOLUTION_LIBRARY"

#: Sessions and the error message belong to the whole process and are not guarded by the library.
lock = threading.RLock()

_PROTOTYPES = {
    "SuperResolution_init": (c_int, c_int),
    "SuperResolution_release": (c_int,),
    "SuperResolution_setReferenceFrame": (c_int, c_int),
    "SuperResolution_setCameraAndLensType": (c_int, c_char_p),
    "SuperResolution_addImage": (c_int, POINTER(c_float)),
    "SuperResolution_getSuperresolutionImage": (c_int, POINTER(c_float)),
    "SuperResolution_getErrorMessage": (c_char_p, c_int),
}


def _candidates() -> List[str]:
    """Where the library may be: where the environment says, or else in the package's own prefix or the loader's."""
    named = os.environ.get(LIBRARY_VARIABLE)
    if named:
        return [named]
    folders = [Path(__file__).resolve().parents[3]]  # PREFIX/lib/python3/dist-packages/oravo_superres/_native.py
    folders.append(folders[0] / (sysconfig.get_config_var("MULTIARCH") or ""))
    return [str(folder / SONAME) for folder in folders if (folder / SONAME).exists()] + [SONAME]


@functools.lru_cache(maxsize=None)
def library() -> ctypes.CDLL:
    """The shared library, loaded at the first call. Raises OSError when it cannot be."""
    failures = []
    for candidate in _candidates():
        try:
            loaded = ctypes.CDLL(candidate)
        except OSError as error:
            failures.append(str(error))
            continue
        for name, arguments in _PROTOTYPES.items():
            function = getattr(loaded, name)
            function.argtypes = arguments
            function.restype = c_int
        return loaded
    raise OSError(f"{'; '.join(failures)} ({LIBRARY_VARIABLE} may name the library's file)")


def error_message() -> str:
    """The latest error message of the process."""
    buffer = ctypes.create_string_buffer(4096)
    library().SuperResolution_getErrorMessage(buffer, len(buffer) - 1)
    return buffer.value.decode("utf-8", "replace")


@contextlib.contextmanager
def without_report(silent: bool) -> Iterator[None]:
    """Keeps the report that the library prints for every reconstruction off the process's standard output."""
    if not silent:
        yield
        return
    with contextlib.suppress(AttributeError, ValueError):  # no, or a closed, sys.stdout
        sys.stdout.flush()
    try:
        saved = os.dup(1)
    except OSError:  # there is no standard output to keep clean
        yield
        return
    nowhere = os.open(os.devnull, os.O_WRONLY)
    os.dup2(nowhere, 1)
    os.close(nowhere)
    try:
        yield
    finally:
        os.dup2(saved, 1)
        os.close(saved)
