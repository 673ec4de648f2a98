"""What calls of the C functions of bursts have in common."""

import contextlib
import threading
from typing import Any, Callable, List, NoReturn, Optional

from . import _library
from ._errors import BurstError, BurstStatus


def figure_names() -> List[bytes]:
    names: List[bytes] = []
    while True:
        name: Optional[bytes] = _library.library().oravo_burst_figure_name(len(names))
        if name is None:
            return names
        names.append(name)


def fail(status: int, message: str) -> NoReturn:
    if status == BurstStatus.ARGUMENT:
        raise ValueError(message)
    raise BurstError(status, message)


class Known:
    """Whether the pipeline gives all that was requested."""

    def __init__(self) -> None:
        self._known = True

    def __bool__(self) -> bool:
        return self._known

    def deny(self) -> None:
        self._known = False


@contextlib.contextmanager
def unless_unavailable() -> Any:
    known = Known()
    try:
        yield known
    except BurstError as error:
        if error.status != BurstStatus.UNAVAILABLE:
            raise
        known.deny()


def interruptibly(call: Callable[[], object], cancel: Callable[[], None]) -> None:
    """Makes a call that signals cancel. Their handlers run on the main thread alone, and only between Python's own steps,
    so there the call goes to another thread."""
    if threading.current_thread() is not threading.main_thread():
        call()
        return
    raised: List[BaseException] = []
    begun, done = threading.Event(), threading.Event()  # a thread may not be joined again once that was interrupted

    def work() -> None:
        begun.set()
        try:
            call()
        except BaseException as error:  # pylint: disable=broad-except; raised below
            raised.append(error)
        finally:
            done.set()

    try:
        threading.Thread(target=work, name="oravo_superres").start()
        done.wait()
    except BaseException:
        if begun.wait(1):  # else there is no thread
            while not done.wait(0.02):
                cancel()  # which has no effect before the run itself has begun
        raise
    if raised:
        raise raised[0]
