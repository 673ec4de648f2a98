"""The report: a line of JSON for each recording, in a folder that one run at a time writes to."""

import contextlib
import errno
import fcntl
import json
import os
import time
from dataclasses import asdict
from typing import BinaryIO, Callable, Iterable, Iterator, Optional, cast

from ._items import Outcome
from ._plan import Share
from ._workers import ArchiveError


@contextlib.contextmanager
def reserved(output: str, share: Optional[Share]) -> Iterator[BinaryIO]:
    """Keeps other runs out of the folder, but for other shares, and gives the report's file."""
    name = "archive.jsonl" if share is None else f"archive-{share[0]}-of-{share[1]}.jsonl"
    path = os.path.join(output, name)
    folder = os.open(output, os.O_RDONLY | os.O_DIRECTORY)
    try:
        _lock(folder, fcntl.LOCK_EX if share is None else fcntl.LOCK_SH, output)
        with open(path, "ab", buffering=0) as report:
            _lock(report.fileno(), fcntl.LOCK_EX, path)
            report.truncate(0)
            yield cast(BinaryIO, report)
    finally:
        os.close(folder)


def _lock(file: int, kind: int, name: str) -> None:
    try:
        fcntl.flock(file, kind | fcntl.LOCK_NB)
    except OSError as error:
        if error.errno == errno.EWOULDBLOCK:
            raise ArchiveError(f"{name}: another run is writing there") from error
        # Some file systems have no locks.


class Sink:
    """Takes what became of items."""

    _PAUSE = 0.5  # seconds between calls of progress

    def __init__(self, count: Callable[[Outcome], None], report: BinaryIO, progress: Optional[Callable[[], object]]) -> None:
        self._count = count
        self._report = report
        self._progress = progress
        self._due = 0.0

    def take(self, outcomes: Iterable[Outcome]) -> None:
        for outcome in outcomes:
            self._count(outcome)
            self._write(_line(outcome))
        if self._progress is not None and time.monotonic() >= self._due:
            self._due = time.monotonic() + self._PAUSE
            self._progress()

    def _write(self, line: bytes) -> None:
        try:
            while line:
                line = line[self._report.write(line):]
        except OSError as error:  # which does not say of what
            raise OSError(error.errno, error.strerror, self._report.name) from error


def _line(outcome: Outcome) -> bytes:
    try:
        return (json.dumps(asdict(outcome), ensure_ascii=False) + "\n").encode()
    except UnicodeEncodeError:  # names are bytes, which need not be text
        return (json.dumps(asdict(outcome)) + "\n").encode()
