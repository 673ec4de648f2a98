"""The driver: hands out items, gathers what became of them, keeps the report. Its memory does not grow with the archive."""

import contextlib
import itertools
import os
import queue
import subprocess
import time
from concurrent.futures import Future
from dataclasses import dataclass, field
from typing import Callable, Dict, Iterable, Iterator, List, Optional, Sequence, Union

from ._items import DOUBTFUL, Item, Outcome, Settings, run_items
from ._plan import MODES, Plan, Share, listed, recordings_in
from ._report import Sink, reserved
from ._workers import ArchiveError, Workers, workers_of

Progress = Callable[["Summary"], object]

_LONGEST_TIMEOUT = 1e6  # seconds, of which a system can wait for some more

# Options of the program that the driver sets, and those that name a file of each recording.
_OWN = ("-o", "--output", "--jobs", "--resume")
_NAMING_FILES = ("--shifts", "--preview", "--coverage", "--noise-map", "--report")

_USAGE, _INPUT, _INTERNAL = 1, 2, 5


@dataclass
class Summary:
    """What became of the recordings of a run.

    Attributes:
        recordings: how many there are.
        done: how many images were made.
        unchanged: how many were finished before.
        doubtful: how many of both are not known to be better than bicubic enlargement.
        failed: how many have no image.
        exit_code: the highest of those that failed, else 6 where one is doubtful, else 0.
        report: the file with a line of JSON for each.
        failures: the first 50 that failed.
    """

    recordings: int = 0
    done: int = 0
    unchanged: int = 0
    doubtful: int = 0
    failed: int = 0
    exit_code: int = 0
    report: str = ""
    failures: List[Outcome] = field(default_factory=list)

    _SHOWN = 50

    def add(self, outcome: Outcome) -> None:
        """Counts one more."""
        self.done += outcome.state == "done"
        self.unchanged += outcome.state == "unchanged"
        self.doubtful += outcome.doubtful
        self.failed += outcome.failed
        if outcome.failed:
            worst = 0 if self.exit_code == DOUBTFUL and self.failed == 1 else self.exit_code
            self.exit_code = max(worst, outcome.exit_code)
            if len(self.failures) < self._SHOWN:
                self.failures.append(outcome)
        elif outcome.doubtful and self.failed == 0:
            self.exit_code = DOUBTFUL

    @property
    def ended(self) -> int:
        """How many are through: done, unchanged or failed."""
        return self.done + self.unchanged + self.failed


def run_archive(source: Union[str, Iterable[str]], output: str, *, options: Sequence[str] = (), root: Optional[str] = None,
                recordings: str = "auto", scheduler: Optional[str] = None, workers: Optional[int] = None,
                share: Optional[Share] = None, program: str = "oravo-superres", timeout: Optional[float] = None,
                progress: Optional[Progress] = None) -> Summary:
    """Enhances each recording of an archive, and leaves alone what a run before this one finished.

    The image of ``root/day/a.npy`` becomes ``output/day/a.tif``, with its receipt beside it. A recording that fails does not
    keep the others from being done; the file :attr:`Summary.report` gets a line of JSON for each.

    :param source: a folder tree, or the recordings (files, and folders of frames)
    :param output: the folder of the results; made where it is missing. One run at a time works there, or shares of one
    :param options: of ``oravo-superres enhance``; ``{}`` in them stands for ``day/a``, as in ``--report=/out/{}.html``
    :param root: the folder below which results are named like recordings; the tree, or for a list the current folder
    :param recordings: what is one in a tree: ``auto``, ``files``, ``folders``; see :func:`._plan.recordings_in`
    :param scheduler: of dask.distributed, by its address; None: a cluster of this machine's own; ``none``: without dask
    :param workers: how many recordings at a time, unless the scheduler has workers of its own; None: one each processor
    :param share: (i, n) with 1 <= i <= n: only the i-th of n shares, which others do elsewhere; without dask by itself
    :param program: ``oravo-superres``, where workers find it
    :param timeout: seconds after which a recording has failed
    :param progress: called with the summary so far, now and then
    :raises ArchiveError: the run is impossible: options are wrong, the program is missing, another run works there; or
        it cannot go on, as its scheduler was lost
    :raises Duplicates: two recordings would become one image
    """
    _check_division(recordings, workers, share, timeout)
    _check_options(options)
    output = os.path.abspath(output)
    if isinstance(source, str):
        if not os.path.isdir(source):
            raise ArchiveError(f"{source}: is no folder")
        if os.path.realpath(source) == os.path.realpath(output):
            raise ArchiveError(f"{output}: is the folder of the recordings, of which results would be some; name another one")
        root = root or source
        raw = any(option.split("=", 1)[0] == "--raw" for option in options)
        found = recordings_in(os.path.abspath(source), mode=recordings, raw=raw, without=os.path.realpath(output))
    else:
        found = listed(source)
    settings = Settings(program, tuple(options), os.getcwd(), timeout)
    os.makedirs(output, exist_ok=True)
    with reserved(output, share) as report:
        _try_program(settings, output)
        plan = Plan(found, root or os.getcwd())
        _remove_leftovers(plan.folders(output))
        summary = Summary(plan.count(share), report=report.name)
        tell = (lambda: progress(summary)) if progress is not None else None
        chosen = "none" if share is not None and scheduler is None else scheduler
        with workers_of(chosen, workers) as pool:
            _drive(pool, settings, plan.items(output, share), Sink(summary.add, report, tell))
    return summary


def _check_division(recordings: str, workers: Optional[int], share: Optional[Share], timeout: Optional[float]) -> None:
    if recordings not in MODES:
        raise ArchiveError(f"recordings: {recordings!r} is none of {', '.join(MODES)}")
    if share is not None and not 1 <= share[0] <= share[1]:
        raise ArchiveError(f"share: {share[0]}/{share[1]} is not I/N with 1 <= I <= N")
    if workers is not None and workers < 1:
        raise ArchiveError(f"workers: {workers} is less than 1")
    if timeout is not None and not 0 < timeout <= _LONGEST_TIMEOUT:
        raise ArchiveError(f"timeout: {timeout:g} s is not above 0 and up to {_LONGEST_TIMEOUT:g}")


def _check_options(options: Sequence[str]) -> None:
    for place, option in enumerate(options):
        name, given, file = option.partition("=")
        if name in _OWN or (option[:2] == "-o" and option[:3] != "--"):
            raise ArchiveError(f"{option}: is set for each recording")
        if name in _NAMING_FILES and "{}" not in (file if given else "".join(options[place + 1:place + 2])):
            raise ArchiveError(f"{name}: its file has to hold {{}} for the name of the recording")


def _try_program(settings: Settings, output: str) -> None:
    """Tries the options on a recording that does not exist, which shows at once what is wrong with them for every one."""
    nothing = os.path.join(output, "no", "such", "recording")

    def tried(*recordings: str) -> "subprocess.CompletedProcess[bytes]":
        options = [option.replace("{}", "x") for option in settings.options]
        command = [settings.program, "enhance", *recordings, "-o", nothing + ".tif", "--resume", *options]
        return subprocess.run(command, cwd=settings.folder, stdin=subprocess.DEVNULL, capture_output=True, check=False)

    try:
        first = tried(nothing)
        said = first.stderr.decode(errors="replace").strip().split("oravo-superres: ", 1)[-1]
        if first.returncode == _USAGE and said:
            raise ArchiveError(said)
        if first.returncode != _INPUT:
            raise ArchiveError(f"{settings.program}: is not oravo-superres, or does not work here: exit code "
                               f"{first.returncode}")
        # Its frames would become part of every recording.
        if tried().returncode != _USAGE:
            raise ArchiveError(f"{' '.join(settings.options)}: name an input besides options; recordings are those of the "
                               "source")
    except OSError as error:
        raise ArchiveError(f"{settings.program}: cannot be run: {error.strerror}") from error


def _remove_leftovers(folders: Iterable[str]) -> None:
    """What the program was writing when it was killed, if nobody has written there for a day."""
    too_old = time.time() - 24 * 3600
    for folder in folders:
        try:
            with os.scandir(folder) as entries:
                old = [entry.path for entry in entries if entry.name.startswith(".oravo-superres-")
                       and entry.name.endswith(".part") and entry.stat(follow_symlinks=False).st_mtime < too_old]
        except OSError:
            continue
        for path in old:
            with contextlib.suppress(OSError):
                os.unlink(path)


class _Batches:
    """Items one by one while each takes seconds, many together while each takes little: every task has a cost of its own."""

    _SECONDS = 2.0
    _MOST = 64

    def __init__(self, items: Iterator[Item]) -> None:
        self._items = items
        self._size = 1.0

    def next(self) -> List[Item]:
        return list(itertools.islice(self._items, int(self._size)))

    def learn(self, outcomes: Sequence[Outcome]) -> None:
        mean = sum(outcome.seconds for outcome in outcomes) / max(1, len(outcomes))
        # Never much more than before: the next ones may take longer.
        self._size = max(1.0, min(self._MOST, 2 * self._size, self._SECONDS / max(mean, 1e-3)))


def _drive(workers: Workers, settings: Settings, items: Iterator[Item], sink: Sink) -> None:
    batches = _Batches(items)
    ended: "queue.SimpleQueue[Future[List[Outcome]]]" = queue.SimpleQueue()
    running: Dict["Future[List[Outcome]]", List[Item]] = {}
    again: List[Item] = []  # of batches whose workers were lost, one by one
    room = _Room(workers)

    def start(batch: List[Item]) -> None:
        future = workers.executor.submit(run_items, settings, batch)
        running[future] = batch
        future.add_done_callback(ended.put)

    while True:
        while len(running) < room.now():
            batch = [again.pop()] if again else batches.next()
            if not batch:
                break
            start(batch)
        if not running:
            return
        future = ended.get()
        batch = running.pop(future)
        try:
            outcomes = future.result()
        except Exception as error:  # the worker was lost again and again, or cannot do this at all
            if workers.are_lost():
                raise
            if len(batch) > 1:
                again += batch
                continue
            reason = f"{type(error).__name__}: {error}"
            outcomes = [Outcome(item.recording, item.result, "failed", _INTERNAL, 0.0, reason) for item in batch]
        batches.learn(outcomes)
        sink.take(outcomes)


class _Room:
    """How many batches are handed out at a time: two for each worker, so that none waits for the driver."""

    _PAUSE = 5.0  # seconds between questions

    def __init__(self, workers: Workers) -> None:
        self._workers = workers
        self._due = 0.0
        self._count = 0

    def now(self) -> int:
        if time.monotonic() >= self._due:
            self._due = time.monotonic() + self._PAUSE
            self._count = 2 * max(1, self._workers.count())
        return self._count
