"""The driver: hands out items, gathers what became of them, keeps the report. Its memory does not grow with the archive."""

import contextlib
import errno
import fcntl
import itertools
import json
import os
import queue
import subprocess
import time
from concurrent.futures import Future
from dataclasses import asdict, dataclass, field
from typing import Callable, Dict, Iterable, Iterator, List, Optional, Sequence, TextIO, Union

from ._items import DOUBTFUL, Item, Outcome, Settings, run_items
from ._plan import MODES, Plan, Share, listed, recordings_in
from ._workers import ArchiveError, Workers, workers_of

Progress = Callable[["Summary"], object]

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
    :raises ArchiveError: the run is impossible: options are wrong, the program is missing, another run works there
    :raises Duplicates: two recordings would become one image
    """
    _check_division(recordings, workers, share)
    _check_options(options)
    output = os.path.abspath(output)
    if isinstance(source, str):
        if not os.path.isdir(source):
            raise ArchiveError(f"{source}: is no folder")
        root = root or source
        found = recordings_in(os.path.abspath(source), mode=recordings, raw="--raw" in options, without=output)
    else:
        found = listed(source)
    settings = Settings(program, tuple(options), os.getcwd(), timeout)
    os.makedirs(output, exist_ok=True)
    with _reserved(output, share) as report:
        _try_program(settings, output)
        plan = Plan(found, root or os.getcwd())
        _remove_leftovers(plan.folders(output))
        summary = Summary(plan.count(share), report=report.name)
        chosen = "none" if share is not None and scheduler is None else scheduler
        with workers_of(chosen, workers) as pool:
            _drive(pool, settings, plan.items(output, share), _Sink(summary, report, progress))
    return summary


def _check_division(recordings: str, workers: Optional[int], share: Optional[Share]) -> None:
    if recordings not in MODES:
        raise ArchiveError(f"recordings: {recordings!r} is none of {', '.join(MODES)}")
    if share is not None and not 1 <= share[0] <= share[1]:
        raise ArchiveError(f"share: {share[0]}/{share[1]} is not I/N with 1 <= I <= N")
    if workers is not None and workers < 1:
        raise ArchiveError(f"workers: {workers} is less than 1")


def _check_options(options: Sequence[str]) -> None:
    for place, option in enumerate(options):
        name = option.split("=", 1)[0]
        if name in _OWN or (option[:2] == "-o" and option[:3] != "--"):
            raise ArchiveError(f"{option}: is set for each recording")
        if name in _NAMING_FILES and "{}" not in " ".join(options[place:place + 2]):
            raise ArchiveError(f"{name}: its file has to hold {{}} for the name of the recording")


def _try_program(settings: Settings, output: str) -> None:
    """Tries the options on a recording that does not exist, which shows at once what is wrong with them for every one."""
    nothing = os.path.join(output, "no", "such", "recording")
    options = [option.replace("{}", "x") for option in settings.options]
    command = [settings.program, "enhance", nothing, "-o", nothing + ".tif", "--resume", *options]
    try:
        tried = subprocess.run(command, cwd=settings.folder, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    except OSError as error:
        raise ArchiveError(f"{settings.program}: cannot be run: {error.strerror}") from error
    said = tried.stderr.decode(errors="replace").strip().split("oravo-superres: ", 1)[-1]
    if tried.returncode == _USAGE and said:
        raise ArchiveError(said)
    if tried.returncode != _INPUT:
        raise ArchiveError(f"{settings.program}: is not oravo-superres, or does not work here: exit code {tried.returncode}")


@contextlib.contextmanager
def _reserved(output: str, share: Optional[Share]) -> Iterator[TextIO]:
    """Keeps other runs out of the folder, but for other shares, and gives the report's file."""
    name = "archive.jsonl" if share is None else f"archive-{share[0]}-of-{share[1]}.jsonl"
    path = os.path.join(output, name)
    folder = os.open(output, os.O_RDONLY | os.O_DIRECTORY)
    try:
        _lock(folder, fcntl.LOCK_EX if share is None else fcntl.LOCK_SH, output)
        with open(path, "a", encoding="utf-8", errors="surrogateescape") as report:
            _lock(report.fileno(), fcntl.LOCK_EX, path)
            report.truncate(0)
            yield report
    finally:
        os.close(folder)


def _lock(file: int, kind: int, name: str) -> None:
    try:
        fcntl.flock(file, kind | fcntl.LOCK_NB)
    except OSError as error:
        if error.errno == errno.EWOULDBLOCK:
            raise ArchiveError(f"{name}: another run is writing there") from error
        # Some file systems have no locks.


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


class _Sink:
    """Takes what became of items."""

    _PAUSE = 0.5  # seconds between calls of progress

    def __init__(self, summary: Summary, report: TextIO, progress: Optional[Progress]) -> None:
        self._summary = summary
        self._report = report
        self._progress = progress
        self._due = 0.0

    def take(self, outcomes: Iterable[Outcome]) -> None:
        for outcome in outcomes:
            self._summary.add(outcome)
            self._report.write(json.dumps(asdict(outcome), ensure_ascii=False) + "\n")
        self._report.flush()
        if self._progress is not None and time.monotonic() >= self._due:
            self._due = time.monotonic() + self._PAUSE
            self._progress(self._summary)


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


def _drive(workers: Workers, settings: Settings, items: Iterator[Item], sink: _Sink) -> None:
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
