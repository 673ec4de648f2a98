"""One recording after the other, each by a process of its own; this part runs where the work is done."""

import os
import shutil
import signal
import subprocess
import threading
import time
from dataclasses import dataclass
from typing import Dict, List, Optional, Sequence, Set, Tuple

from ._receipts import Confirmed, confirmed_by, is_certainly_finished

DOUBTFUL = 6  # the program's exit code for an image that is not known to be better than bicubic enlargement
_FAILED = 5  # internal failure
_LONGEST_MESSAGE = 1000
_PATIENCE = 5.0  # seconds for a program that is told to end


@dataclass(frozen=True)
class Item:
    """A recording and its image.

    Attributes:
        recording: the file, or the folder of frames.
        result: the file of the image.
        name: what ``{}`` stands for in the names of other results.
    """

    recording: str
    result: str
    name: str


@dataclass(frozen=True)
class Settings:
    """How items are done; the same for all of a run."""

    program: str
    options: Tuple[str, ...]
    folder: str  # that relative names in options are seen from
    timeout: Optional[float] = None  # seconds


@dataclass(frozen=True)
class Outcome:
    """What became of a recording.

    Attributes:
        recording: the file, or the folder of frames.
        result: the file of the image.
        state: "done", "unchanged" (finished before) or "failed".
        exit_code: of the program; 6 where the image is not known to be better than bicubic enlargement.
        seconds: the time that it took.
        message: why it failed, else "".
    """

    recording: str
    result: str
    state: str
    exit_code: int
    seconds: float
    message: str = ""

    @property
    def failed(self) -> bool:
        """Whether there is no image."""
        return self.state == "failed"

    @property
    def doubtful(self) -> bool:
        """Whether there is an image that is not known to be better than bicubic enlargement."""
        return not self.failed and self.exit_code == DOUBTFUL


# What this process has seen the program accept, for each run that it takes part in.
_confirmed: Dict[Settings, Confirmed] = {}

# The programs of this process, and whether its threads begin no others.
_running: "Set[subprocess.Popen[bytes]]" = set()
_stopped = threading.Event()


def run_items(settings: Settings, items: Sequence[Item]) -> List[Outcome]:
    return [_run_item(settings, item) for item in items if not _stopped.is_set()]


def stop_items() -> None:
    """Ends what threads of this process are doing, soon, until :func:`allow_items`."""
    _stopped.set()
    for process in tuple(_running):
        process.terminate()


def allow_items() -> None:
    _stopped.clear()


def options_for(settings: Settings, item: Item) -> List[str]:
    return [option.replace("{}", item.name) for option in settings.options]


def _side_results(settings: Settings, item: Item) -> List[str]:
    """The files beside the image: what holds the name of the recording, with or without its option before it."""
    found = []
    for pattern, option in zip(settings.options, options_for(settings, item)):
        if "{}" in pattern:
            file = option.split("=", 1)[1] if option.startswith("--") and "=" in option else option
            found.append(os.path.join(settings.folder, file))
    return found


def _run_item(settings: Settings, item: Item) -> Outcome:
    start = time.monotonic()
    others = _side_results(settings, item)
    known = _confirmed.get(settings)
    code = is_certainly_finished(item.recording, [item.result, *others], known) if known else None
    if code is not None:
        return Outcome(item.recording, item.result, "unchanged", code, time.monotonic() - start)
    try:
        for file in (item.result, *others):
            os.makedirs(os.path.dirname(file), exist_ok=True)
        before = _identity(item.result)
        code, message = _enhance(settings, item)
    except OSError as error:
        return Outcome(item.recording, item.result, "failed", 3, time.monotonic() - start, str(error))
    seconds = round(time.monotonic() - start, 3)
    if code not in (0, DOUBTFUL):
        return Outcome(item.recording, item.result, "failed", code, seconds, message)
    confirmed = confirmed_by(item.result)
    if confirmed is not None:
        _confirmed[settings] = confirmed
    state = "unchanged" if _identity(item.result) == before else "done"
    return Outcome(item.recording, item.result, state, code, seconds)


def _identity(path: str) -> Optional[Tuple[int, int]]:
    try:
        found = os.stat(path)
    except OSError:
        return None
    return found.st_ino, found.st_mtime_ns


def _dies_with_parent() -> List[str]:
    """A worker that is killed leaves nothing behind that goes on writing: the program gets the signal on which it tidies up."""
    setpriv = shutil.which("setpriv")
    return [setpriv, "--pdeathsig", "TERM", "--"] if setpriv else []


def _end(process: "subprocess.Popen[bytes]") -> None:
    """By the signal on which it tidies up; by force where it, or what it started in turn, does not care."""
    process.terminate()
    try:
        process.communicate(timeout=_PATIENCE)
    except subprocess.TimeoutExpired:
        process.kill()


def _enhance(settings: Settings, item: Item) -> Tuple[int, str]:
    """Runs the program; its exit code and the last line that it printed."""
    command = [*_dies_with_parent(), settings.program, "enhance", item.recording, "-o", item.result, "--resume",
               *options_for(settings, item)]
    # Recordings are spread over the processors already.
    environment = {"OPENCV_FOR_THREADS_NUM": "1", **os.environ}
    with subprocess.Popen(command, cwd=settings.folder, env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
        _running.add(process)
        try:
            if _stopped.is_set():
                process.terminate()
            said = process.communicate(timeout=settings.timeout)[1]
        except subprocess.TimeoutExpired:
            _end(process)
            return _FAILED, f"took longer than {settings.timeout:g} s"
        except BaseException:
            process.terminate()
            raise
        finally:
            _running.discard(process)
    if process.returncode < 0:
        return _FAILED, f"ended by {signal.Signals(-process.returncode).name}"
    lines = said.decode(errors="replace").strip().splitlines()
    message = lines[-1] if lines else f"exit code {process.returncode}"
    return process.returncode, message.split("oravo-superres: ", 1)[-1][:_LONGEST_MESSAGE]
