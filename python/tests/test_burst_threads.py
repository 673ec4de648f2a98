"""Bursts of the NumPy package on threads of their own and of the host, after forks, and when signals come."""

import os
import signal
import threading

import numpy as np
import pytest

import oravo_superres as sr
from test_oravo_superres import HEIGHT, WIDTH, burst, run_python


@pytest.mark.parametrize("pipeline", ["precise", "float"])
def test_threads_leave_no_trace(pipeline):
    frames = burst(6)
    alone = sr.reconstruct(frames, pipeline=pipeline)
    for threads in (2, 5, 0):
        shared = sr.reconstruct(frames, pipeline=pipeline, threads=threads)
        np.testing.assert_array_equal(shared.image, alone.image)


def test_threads_survive_a_fork():
    frames = burst(6)
    alone = sr.enhance(frames, threads=2)
    child = os.fork()
    if child == 0:
        os._exit(0 if np.array_equal(sr.enhance(frames, threads=2), alone) else 1)
    assert os.waitpid(child, 0)[1] == 0


def test_a_signal_ends_a_reconstruction():
    frames = np.tile(burst(6), (8, 4, 4))
    frames += np.random.default_rng(1).normal(0, 0.1, frames.shape)  # 48 frames of 320 x 240: many seconds
    with sr.Burst(4 * WIDTH, 4 * HEIGHT, max_frames=48) as opened:
        for frame in frames:
            opened.add(frame)

        def interrupt():
            while "oravo_superres" not in [thread.name for thread in threading.enumerate()]:
                pass
            signal.pthread_kill(threading.main_thread().ident, signal.SIGINT)

        thread = threading.Thread(target=interrupt)
        thread.start()
        with pytest.raises(KeyboardInterrupt):
            opened.reconstruct()
        thread.join()
        assert len(opened) == 48  # it has ended


def test_many_bursts_give_what_each_gives_alone():
    bursts = [burst(5) + i for i in range(5)]
    expected = [sr.enhance(frames) for frames in bursts]
    for workers in (None, 1, 3):
        for image, wanted in zip(sr.enhance_many(iter(bursts), workers=workers), expected):
            np.testing.assert_array_equal(image, wanted)
    with pytest.warns(sr.SuperResolutionWarning, match="burst 1: the image rests on the reference frame alone"):
        sr.enhance_many([bursts[0], bursts[1][:1]])
    with pytest.raises(ValueError, match="no frames") as caught:
        sr.reconstruct_many([bursts[0], [], *bursts], workers=2)
    assert getattr(caught.value, "__notes__", ["burst 1"]) == ["burst 1"]


def busy(call):
    """Whether a call on a burst is refused because another one is under way."""
    try:
        call()
    except sr.BurstError as error:
        assert error.status is sr.BurstStatus.BUSY
        return True
    return False


def test_threads_run_side_by_side():
    opened = [sr.Burst(4 * WIDTH, 4 * HEIGHT) for _ in range(2)]
    for each in opened:
        for frame in np.tile(burst(6), (1, 4, 4)):
            each.add(frame)

    def work(each):
        while busy(each.reconstruct):  # the look from outside came first
            pass

    threads = [threading.Thread(target=work, args=(each,)) for each in opened]
    for thread in threads:
        thread.start()

    # Each look is a step of Python's while the library works; it works on both at once when both are busy.
    both = 0
    while any(thread.is_alive() for thread in threads):
        both += all([busy(each.__len__) for each in opened])
    for each in opened:
        each.close()
    assert both > 10


def test_a_fork_beside_running_bursts_leaves_the_child_a_library_that_works():
    printed = run_python("""
        expected = [sr.enhance(frames, pipeline=name) for name in ("precise", "float")]
        def camera():
            while not done.is_set():
                for name in ("precise", "float"): sr.enhance(frames, pipeline=name)
        done = threading.Event()
        thread = threading.Thread(target=camera)
        thread.start()
        for _ in range(5):
            child = os.fork()
            if child == 0:
                images = [sr.enhance(frames, pipeline=name) for name in ("precise", "float")]
                os._exit(0 if all((a == b).all() for a, b in zip(images, expected)) else 1)
            assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
        done.set()
        thread.join()
        print("done")
        """)
    assert printed == "done\n"


def test_one_burst_serves_one_call_at_a_time():
    inside, go_on = threading.Event(), threading.Event()

    def progress(_):
        inside.set()
        go_on.wait(60)

    with sr.Burst(WIDTH, HEIGHT, progress=progress) as opened:
        for frame in burst(5):
            opened.add(frame)
        errors = []

        def work():
            try:
                opened.reconstruct()
            except sr.BurstError as error:
                errors.append(error.status)

        thread = threading.Thread(target=work)
        thread.start()
        assert inside.wait(60)
        with pytest.raises(sr.BurstError) as caught:
            opened.add(burst(1)[0])
        assert caught.value.status is sr.BurstStatus.BUSY
        opened.cancel()
        go_on.set()
        thread.join()
        assert errors == [sr.BurstStatus.CANCELLED]
