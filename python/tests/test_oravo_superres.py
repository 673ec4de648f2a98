"""The NumPy package against the library that ORAVO_SUPERRESOLUTION_LIBRARY names."""

import copy
import functools
import os
import pickle
import subprocess
import sys
import textwrap
import threading
import warnings

import numpy as np
import pytest

import oravo_superres as sr

HEIGHT, WIDTH = 60, 80
SHIFTS = [(0.0, 0.0), (0.4, -0.3), (-0.6, 0.2), (1.3, 0.7), (0.1, -1.2), (-0.4, 0.6)]


def scene(x, y):
    """Temperatures of a smooth scene at points of the plane."""
    return (22 + 6 * np.sin(0.31 * x + 0.1 * y) * np.cos(0.27 * y) + 3 * np.sin(0.7 * x - 0.5 * y)
            + 8 * np.exp(-((x - 40) ** 2 + (y - 25) ** 2) / 60))


enhance = functools.partial(sr.enhance, pipeline="float")


def burst(count=6):
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH].astype(float)
    return np.stack([scene(x - dx, y - dy) for dx, dy in SHIFTS[:count]])


@pytest.fixture
def session():
    with sr.Session(WIDTH, HEIGHT) as opened:
        yield opened


def test_the_image_shows_the_scene_on_the_reference_frames_grid():
    for reference in (0, 3):
        enlarged = enhance(burst(5), reference=reference)
        assert enlarged.shape == (2 * HEIGHT, 2 * WIDTH) and enlarged.dtype == np.float32
        # Pixel r of the frame lies at 2 r + 0.5 of the image; frame(p + d) = scene(p).
        dx, dy = SHIFTS[4 - reference]
        y, x = np.mgrid[0:2 * HEIGHT, 0:2 * WIDTH]
        truth = scene((x - 0.5) / 2 - dx, (y - 0.5) / 2 - dy)
        error = (enlarged - truth)[16:-16, 16:-16]
        # Undoing a blur that these frames, sampled without one, do not have costs 0.16; an image that lies half a
        # pixel off would be at 0.41.
        assert np.sqrt(np.mean(error ** 2)) < 0.2


def test_frames_of_any_real_type_and_layout_give_the_same_image():
    plain = np.round(burst(5)).astype(np.float32)
    expected = enhance(plain)
    padded = np.zeros((5, HEIGHT, WIDTH + 3), np.float32)
    padded[:, :, :WIDTH] = plain
    unaligned = np.frombuffer(b"x" + plain.tobytes(), np.uint8)[1:].view(np.float32).reshape(plain.shape)
    variants = [plain.astype(np.int16), plain.astype(">f8"), np.asfortranarray(plain), padded[:, :, :WIDTH], unaligned,
                plain.tolist(), list(plain), (frame for frame in plain), np.concatenate([plain[:2], plain])]
    for variant in variants:
        np.testing.assert_array_equal(enhance(variant), expected)


def test_a_frame_is_copied_only_when_it_has_to_be():
    frame = np.zeros((HEIGHT, WIDTH), np.float32)
    assert np.shares_memory(sr._session._as_frame(frame), frame)
    assert np.shares_memory(sr._session._as_frame(frame[10:20]), frame)
    assert not np.shares_memory(sr._session._as_frame(frame[:, ::2]), frame)


def test_a_session_yields_an_image_after_each_frame_from_the_fifth_on(session):
    frames = burst()
    for i, frame in enumerate(frames[:5]):
        assert not session.ready
        assert session.add(frame) is sr.Status.OK
        assert session.frames_added == i + 1
    first = session.image()
    np.testing.assert_array_equal(first, enhance(frames[:5]))
    session.add(frames[5])
    out = np.empty(session.output_shape, np.float32)
    assert session.image(out) is out
    assert not np.array_equal(out, first)
    streamed = list(sr.stream(frames))
    assert [status for _, status in streamed] == [sr.Status.OK] * 2
    for (image, _), expected in zip(streamed, (first, out)):
        np.testing.assert_array_equal(image, expected)


def test_camera_and_reference_reach_the_library(session):
    frames = burst(5)
    sharp = enhance(frames, camera="c107 FOV 45")
    assert not np.array_equal(sharp, enhance(frames))
    np.testing.assert_array_equal(enhance(frames, camera="unknown"), enhance(frames))
    session.reference = 1
    session.describe_camera("c107 FOV 45")
    for frame in frames:
        session.add(frame)
    assert session.reference == 1
    np.testing.assert_array_equal(session.image(), enhance(frames, camera="c107 FOV 45", reference=1))


def test_defective_pixels_are_repaired():
    frames = burst(5).astype(np.float32)
    clean = enhance(frames)
    frames[2, 30, 40] = np.nan
    frames[3].view(np.uint32)[20, 20] = sr.PixelCode.BAD_PIXEL
    assert sr.has_code(frames).sum() == 1 and sr.has_code(frames)[3, 20, 20]
    assert np.abs(enhance(frames) - clean).max() < 2.0
    with pytest.raises(TypeError, match="float64"):
        sr.has_code(np.zeros(3))


def test_masked_pixels_count_as_defective():
    frames = burst(5)
    frames[2, 30, 40] = 4000.0
    holes = np.zeros(frames.shape, bool)
    holes[2, 30, 40] = True
    masked = np.ma.masked_array(frames, holes)
    frames[2, 30, 40] = np.nan
    expected = enhance(frames)
    np.testing.assert_array_equal(enhance(masked), expected)
    np.testing.assert_array_equal(enhance([list(frame) for frame in masked]), expected)
    counts = np.ma.masked_array(np.full(frames.shape, 7, np.int16), holes)
    assert np.isnan(sr._session._as_frame(counts[2])[30, 40]) and sr._session._as_frame(counts[2])[0, 0] == 7


def test_counts_have_a_range_of_their_own(session):
    frames = 6000 + 100 * burst(5)
    with pytest.raises(sr.SuperResolutionError, match=r"outside \[-274, 5000\].*counts=True") as caught:
        enhance(frames)
    assert caught.value.status is sr.Status.NO_NEW_IMAGE
    enlarged = enhance(frames, counts=True)
    coarse = enlarged.reshape(HEIGHT, 2, WIDTH, 2).mean(axis=(1, 3))
    assert np.abs(coarse - frames[1])[8:-8, 8:-8].mean() < 50  # of a range of 2000
    with pytest.raises(sr.SuperResolutionError, match=r"outside \[-32768, 32767\].*subtract 32768"):
        enhance(frames + 32768, counts=True)
    with sr.Session(8, 8, counts=True) as counting:
        assert counting.counts and not session.counts


def test_an_image_that_stays_the_one_before_is_flagged(session):
    frames = burst()
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        for frame in frames:
            session.add(frame)
    before = session.image()
    hot = frames[0].copy()
    hot[30:33, 40:43] = 4900  # leaves the registration hardly any grey levels
    with warnings.catch_warnings(record=True):
        warnings.simplefilter("always")
        session.add(hot)
        statuses = [session.add(frame) for frame in frames]
    assert statuses[-1] is sr.Status.NO_NEW_IMAGE
    stale = session.image()
    with pytest.warns(sr.SuperResolutionWarning, match="still the one before.*open a new session") as caught:
        assert session.add(frames[0]) is sr.Status.NO_NEW_IMAGE
    assert caught[0].filename == __file__
    np.testing.assert_array_equal(session.image(), stale)
    with sr.Session(WIDTH, HEIGHT) as fresh:  # what the warning recommends helps
        assert [fresh.add(frame) for frame in frames] == [sr.Status.OK] * 6
        np.testing.assert_array_equal(fresh.image(), before)
    with pytest.warns(sr.SuperResolutionWarning, match="still the one before") as caught:
        streamed = [status for _, status in sr.stream([*frames, hot, *frames])]
    assert streamed[0] is sr.Status.OK and streamed[-1] is sr.Status.NO_NEW_IMAGE
    assert caught[0].filename == __file__


def test_repeated_frames_that_give_the_same_image_are_no_failure(session):
    frame = burst(1)[0]
    assert [session.add(frame) for _ in range(9)] == [sr.Status.OK] * 9
    with sr.Session(WIDTH, HEIGHT) as empty, pytest.warns(sr.SuperResolutionWarning):
        flat = [empty.add(frame * 0) for _ in range(9)]
    assert flat[4:] == [sr.Status.NO_NEW_IMAGE] * 5


def test_statuses_are_returned_and_warned_about(session):
    frames = burst(5)
    flat = frames[0] * 0.01
    assert session.add(flat) is sr.Status.NOT_ENOUGH_STRUCTURE
    frames[4][20:40, 20:40] = np.nan  # wide enough that its inner pixels have no sound neighbour
    with pytest.raises(sr.SuperResolutionError) as caught:
        enhance(frames)
    assert caught.value.status is sr.Status.ERROR and caught.value.message
    frames = burst(5)
    frames[4] = frames[4] * 0.1  # keeps to the reference's pattern, not to its values
    with pytest.warns(sr.SuperResolutionWarning, match="TOO_FEW_VALID_PIXELS"):
        enhance(frames)
    with pytest.raises(sr.SuperResolutionError, match="nothing in the frames to follow"):
        enhance(np.full((5, HEIGHT, WIDTH), 20.0))


def test_errors_carry_status_and_message(session):
    with pytest.raises(sr.SuperResolutionError) as caught:
        session.image()
    assert caught.value.status is sr.Status.TOO_FEW_IMAGES
    assert caught.value.message == "Not enough input images (<5)"
    assert str(caught.value) == "Not enough input images (<5) (status -5)"
    frames = burst(5)[:, 20:32]
    frames[2] = np.roll(frames[2], 11, axis=1)  # by more than half of the 12 rows
    with pytest.raises(sr.SuperResolutionError, match="Too large displacement") as caught:
        enhance(frames)
    assert caught.value.status is sr.Status.ERROR


@pytest.mark.parametrize("call, error, text", [
    (lambda s: s.add(np.zeros((HEIGHT, WIDTH - 1))), ValueError, r"shape \(60, 79\), the session \(60, 80\)"),
    (lambda s: s.add(np.zeros(HEIGHT * WIDTH)), ValueError, r"two dimensions .* shape \(4800,\)"),
    (lambda s: s.add(np.zeros((HEIGHT, WIDTH), complex)), TypeError, "complex128"),
    (lambda s: s.add([["warm"] * WIDTH] * HEIGHT), TypeError, "real numbers"),
    (lambda s: s.image(np.zeros((3, 3), np.float32)), ValueError, r"\(120, 160\)"),
    (lambda s: s.image(np.zeros((2 * HEIGHT, 2 * WIDTH))), ValueError, "float32"),
    (lambda s: setattr(s, "reference", 5), ValueError, "reference is 5"),
    (lambda s: s.describe_camera("107\0FOV 20"), ValueError, "zero byte"),
    (lambda s: s.describe_camera(107), TypeError, "not int"),
    (lambda s: (s.close(), s.close(), s.add(np.zeros((HEIGHT, WIDTH)))), ValueError, "closed"),
    (lambda s: sr.Session(0, 5), ValueError, "width is 0"),
    (lambda s: sr.Session(5, -1), ValueError, "height is -1"),
    (lambda s: sr.Session(1 << 16, 1 << 16), ValueError, "more than"),
    (lambda s: sr.Session(8, 8, reference=-1), ValueError, "reference is -1"),
    (lambda s: enhance(burst(4)), ValueError, "4 frames"),
    (copy.copy, TypeError, "copied"),
    (copy.deepcopy, TypeError, "copied"),
    (pickle.dumps, TypeError, "pickled"),
])
def test_bad_input_is_refused_by_name(session, call, error, text):
    with pytest.raises(error, match=text):
        call(session)


def test_closed_sessions_give_their_handle_back():
    with sr.Session(8, 8) as first:
        handle = first._handle
    assert first.closed
    with sr.Session(8, 8) as second:
        assert second._handle == handle
    with pytest.raises(TypeError):  # after the library's session was opened
        sr.Session(8, 8, camera=107)
    with sr.Session(8, 8) as third:
        assert third._handle == handle


def test_threads_take_turns():
    frames = burst(5)
    expected = enhance(frames)
    images = [None] * 4

    def work(i):
        images[i] = enhance(frames)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(len(images))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for image in images:
        np.testing.assert_array_equal(image, expected)


def running_session(frames):
    """Starts a thread that adds the frames to a session, again and again, until the event is set."""
    done = threading.Event()

    def camera():
        with sr.Session(WIDTH, HEIGHT) as opened:
            while not done.is_set():
                for frame in frames:
                    opened.add(frame)

    thread = threading.Thread(target=camera)
    thread.start()
    return done, thread


def run_python(code, **environment):
    """What a process with the package prints; it starts with five frames named `frames`."""
    head = f"""
        import os, sys, threading
        sys.path[:0] = {sys.path!r}
        from {__name__} import sr, burst, enhance, running_session, WIDTH, HEIGHT
        frames = burst(5)
        """
    run = subprocess.run([sys.executable, "-c", textwrap.dedent(head) + textwrap.dedent(code)], text=True, timeout=100,
                         env={**os.environ, **environment}, capture_output=True, check=False)
    assert run.returncode == 0, run.stderr
    return run.stdout


def test_the_timing_report_appears_only_on_request(capfd, monkeypatch):
    for environment in (None, "off", "on"):
        if environment is not None:
            monkeypatch.setenv("ORAVO_REPORT", environment)
        for wanted, lines in ((False, 0), (True, 6)):
            enhance(burst(5), timing_report=wanted)
            assert len(capfd.readouterr().out.splitlines()) == lines
            assert os.environ.get("ORAVO_REPORT") == environment


def test_other_threads_keep_standard_output():
    printed = run_python("""
        done, thread = running_session(frames)
        for i in range(2000):
            os.write(1, b"%d\\n" % i)
        done.set()
        thread.join()
        """)
    assert printed.splitlines() == [str(i) for i in range(2000)]


def test_a_fork_beside_a_running_session_leaves_the_child_a_library_that_works():
    printed = run_python("""
        expected = enhance(frames)
        done, thread = running_session(frames)
        opened = sr.Session(WIDTH, HEIGHT)
        for frame in frames[:4]: opened.add(frame)
        for _ in range(10):
            child = os.fork()
            if child == 0:
                opened.add(frames[4])
                same = (opened.image() == expected).all() and (enhance(frames) == expected).all()
                os._exit(0 if same else 1)
            assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
        done.set()
        thread.join()
        opened.add(frames[4])
        assert (opened.image() == expected).all()
        print("done")
        """)
    assert printed == "done\n"


def test_a_missing_library_is_named():
    environment = {**os.environ, "ORAVO_SUPERRESOLUTION_LIBRARY": "/nowhere/library.so"}
    run = subprocess.run([sys.executable, "-c", "import oravo_superres as s; s.Session(8, 8)"], env=environment,
                         capture_output=True, text=True, check=False)
    assert run.returncode == 1 and "OSError: /nowhere/library.so" in run.stderr


def test_a_library_of_another_version_is_refused(tmp_path):
    assert sr._native.library().oravo_version().decode() == sr.__version__
    source = tmp_path / "library.c"
    for body, version in (('const char* oravo_version(void) { return "7.1.0"; }', "7.1.0"), ("int other;", "unknown")):
        source.write_text(body)
        other = tmp_path / f"{version}.so"
        subprocess.run(["cc", "-shared", "-fPIC", source, "-o", other], check=True)
        with pytest.raises(OSError, match=f"{version}.so has version {version}; this package needs 0.1"):
            sr._native._load(str(other))
