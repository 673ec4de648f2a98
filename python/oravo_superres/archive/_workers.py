"""Where items are done: threads of this process, each waiting for a program; or dask.distributed."""

import contextlib
import importlib
import logging
import os
import signal
import threading
from concurrent.futures import Executor, ThreadPoolExecutor
from dataclasses import dataclass
from typing import Any, Callable, Iterator, Optional

from ._items import allow_items, stop_items


@dataclass(frozen=True)
class Workers:
    executor: Executor
    count: Callable[[], int]  # of items at a time; may change while a cluster grows
    are_lost: Callable[[], bool] = lambda: False  # all of them, with whom hands out the items


class ArchiveError(RuntimeError):
    """The run is impossible, and nothing was done; or it cannot go on, and the same call does later."""


# By default dask keeps hundreds of thousands of entries about tasks that are long done, takes each worker's call stack a
# hundred times a second and looks fifty times whether its loop is stuck. These workers do nothing but wait for a program.
_QUIET = {"distributed.scheduler.transition-log-length": 1000, "distributed.scheduler.events-log-length": 1000,
          "distributed.worker.profile.interval": "10s", "distributed.worker.profile.cycle": "100s",
          "distributed.admin.system-monitor.interval": "10s", "distributed.admin.tick.interval": "1s"}


def processors() -> int:
    return len(os.sched_getaffinity(0))


def _dask() -> Any:
    try:
        return importlib.import_module("distributed"), importlib.import_module("dask")
    except ImportError as error:
        raise ArchiveError(f"dask.distributed is not installed ({error}): apt install python3-distributed, or pip install "
                           "'oravo-superres[archive]'; scheduler=\"none\" (--scheduler none) does without") from error


@contextlib.contextmanager
def workers_of(scheduler: Optional[str], count: Optional[int]) -> Iterator[Workers]:
    """:param scheduler: an address; ``none`` for threads of this process; None for a cluster of this machine alone
    :param count: of items at a time on this machine; None: as many as there are processors
    """
    if scheduler == "none":
        yield from _threads(count or processors())
        return
    distributed, dask = _dask()
    with contextlib.ExitStack() as stack:
        stack.enter_context(dask.config.set(_QUIET))
        if scheduler is None:
            # A process for each, so that the end of one ends one item; none needs memory of its own to be watched.
            with _deaf_to_interrupts():
                cluster = stack.enter_context(distributed.LocalCluster(
                    n_workers=count or processors(), threads_per_worker=1, memory_limit=0,
                    dashboard_address="127.0.0.1:0", silence_logs=logging.ERROR))
            client = stack.enter_context(distributed.Client(cluster))
        else:
            client = stack.enter_context(_connected(distributed, scheduler))
        workers = Workers(client.get_executor(), lambda: sum(client.nthreads().values()),
                          lambda: bool(client.status != "running"))
        try:
            yield workers
        except Exception as error:
            if not workers.are_lost():
                raise
            reason = str(error) or type(error).__name__
            raise ArchiveError(f"{scheduler or 'dask'}: the scheduler was lost ({reason}); the same command goes on") from error
        finally:
            # Where a run is interrupted, what its workers have not ended never ends.
            if not workers.are_lost():
                workers.executor.shutdown(wait=False)


def _threads(count: int) -> Iterator[Workers]:
    allow_items()
    pool = ThreadPoolExecutor(count)
    try:
        yield Workers(pool, lambda: count)
    except BaseException:
        stop_items()
        raise
    finally:
        pool.shutdown(cancel_futures=True)


@contextlib.contextmanager
def _deaf_to_interrupts() -> Iterator[None]:
    """What is started meanwhile ignores the terminal's interrupt: the driver ends its workers."""
    if threading.current_thread() is not threading.main_thread():
        yield
        return
    before = signal.signal(signal.SIGINT, signal.SIG_IGN)
    try:
        yield
    finally:
        signal.signal(signal.SIGINT, before)


def _connected(distributed: Any, scheduler: str) -> Any:
    try:
        return distributed.Client(scheduler, timeout=30)
    except (OSError, ValueError) as error:
        raise ArchiveError(f"{scheduler}: no scheduler answers there: {error}") from error
