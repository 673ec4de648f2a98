"""The programs of examples/, built by the tests' tree in the folder that ORAVO_EXAMPLES names."""

import os
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import oravo_superres

HEIGHT, WIDTH, REFERENCE = 48, 64, 3
SHIFTS = [(0.4, -0.3), (-0.6, 0.2), (1.3, 0.7), (0.0, 0.0), (0.1, -1.2), (-0.4, 0.6), (0.8, 0.5)]
EXAMPLES = Path(__file__).resolve().parents[2] / "examples"


def scene(x, y):
    """Degrees Celsius at points of the plane, in pixels of the frames."""
    return 22 + 6 * np.sin(0.31 * x + 0.1 * y) * np.cos(0.27 * y) + 8 * np.tanh((x - 30 + 0.3 * y) / 0.7)


def frame(dx, dy):
    """What pixels without gaps average of the scene, with some noise."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH].astype(float)
    parts = (np.arange(5) - 2) / 5
    noise = np.random.default_rng([int(1000 * (dx + 9)), 5]).normal(0, 0.05, x.shape)
    return np.mean([scene(x - dx + u, y - dy + v) for u in parts for v in parts], axis=0) + noise


@pytest.fixture(name="burst")
def _burst(tmp_path, monkeypatch):
    """Files of a burst in a folder of its own, which is the working folder: celsius, counts, and the truth."""
    monkeypatch.chdir(tmp_path)
    frames = np.stack([frame(*shift) for shift in SHIFTS]).astype(np.float32)
    y, x = np.mgrid[0:2 * HEIGHT, 0:2 * WIDTH].astype(float)
    np.save("celsius.npy", frames)
    np.save("truth.npy", scene((x - 0.5) / 2, (y - 0.5) / 2))
    frames.tofile("celsius.raw")
    np.rint((frames + 273.15) * 100).astype("<u2").tofile("counts.raw")
    return frames


def as_pictures(counts, folder="."):
    """The names of image files that hold them, 0.pgm, 1.pgm, ... in a folder."""
    names = [f"{folder}/{i}.pgm" for i in range(len(counts))]
    for name, image in zip(names, counts):
        Path(name).write_bytes(b"P5 %d %d 65535\n" % image.shape[::-1] + image.astype(">u2").tobytes())
    return names


def run(name, *arguments, source=None, code=0):
    """What an example prints; C and C++ ones by the name of their target."""
    program = [sys.executable, str(EXAMPLES / name)] if name.endswith(".py") else [f"{os.environ['ORAVO_EXAMPLES']}/{name}"]
    with open(source or os.devnull, "rb") as stdin:
        made = subprocess.run([*program, *map(str, arguments)], stdin=stdin, capture_output=True, check=False)
    assert made.returncode == code and not made.stderr, made.stderr.decode()
    return made.stdout


def test_bursts_are_the_same_image_in_all_languages(burst):
    printed = run("c_burst", WIDTH, HEIGHT, "image.raw", "deviation.raw", source="celsius.raw").decode()
    said = run("python/burst.py", "image.npy", "celsius.npy").decode()
    image = np.load("image.npy")
    np.testing.assert_array_equal(np.fromfile("image.raw", np.float32).reshape(image.shape), image)
    assert np.sqrt(np.mean((image - np.load("truth.npy"))[8:-8, 8:-8] ** 2)) < 0.5
    assert np.median(np.fromfile("deviation.raw", np.float32)) < 0.1
    gain = re.search(r"([\d.]+) dB", printed)[1]
    assert float(gain) > 3 and f"{gain} dB" in said and said.count("moved by") == len(burst) and "doubt" not in said

    names = as_pictures(np.fromfile("counts.raw", "<u2").reshape(burst.shape))
    printed = run("cpp_burst", "image.tif", *names).decode()
    assert f"{len(burst)} of {len(burst)} frames" in printed and Path("image.tif").stat().st_size > 16 * WIDTH * HEIGHT


def test_live_ones_give_an_image_for_each_frame_from_the_fifth_on(burst):
    images = list(oravo_superres.enhance_stream(iter(burst), pipeline="float"))
    assert len(images) == len(burst) - 4
    np.testing.assert_array_equal(
        np.frombuffer(run("cpp_live", WIDTH, HEIGHT, source="celsius.raw"), np.float32), np.concatenate(images).ravel())
    counts = run("c_live", WIDTH, HEIGHT, source="counts.raw")
    assert counts == run("python/live.py", WIDTH, HEIGHT, source="counts.raw")
    celsius = np.frombuffer(counts, "<u2").reshape(np.shape(images)) / 100 - 273.15
    assert np.abs(celsius - images).mean() < 0.02


def test_calibration_takes_off_the_pattern_and_what_does_not_react(burst):
    random = np.random.default_rng(5)
    gain, offset = random.normal(400, 20, (HEIGHT, WIDTH)), random.normal(5000, 200, (HEIGHT, WIDTH))
    gain[20, 30] = 0
    counts, cold, hot = (np.rint(gain * celsius + offset).astype("<u2") for celsius in (burst, np.full((2, 1, 1), 10), np.full((2, 1, 1), 40)))
    for name, array in (("counts", counts), ("cold", cold), ("hot", hot)):
        np.save(f"{name}.npy", array)
        array.tofile(f"{name}.raw")
    printed = run("python/calibrated.py", "image.npy", "counts.npy", "cold.npy", 10, "hot.npy", 40).decode()
    image = np.load("image.npy")
    np.testing.assert_allclose(image, oravo_superres.reconstruct(burst).image, atol=0.3)
    printed += run("c_calibrated", WIDTH, HEIGHT, "cold.raw", 10, "hot.raw", 40, "image.raw", source="counts.raw").decode()
    np.testing.assert_array_equal(np.fromfile("image.raw", np.float32).reshape(image.shape), image)
    Path("even").mkdir()
    (low, high), frames = as_pictures([cold[0], hot[0]], "even"), as_pictures(counts)
    printed += run("cpp_calibrated", "image.tif", low, 10, high, 40, *frames).decode()
    assert printed.count(f"1 of {HEIGHT * WIDTH} pixels do not react") == 3
    assert float(re.search(r"([\d.]+) dB", printed)[1]) > 3


def test_the_pipelines_are_compared(burst):
    np.load("truth.npy").astype(np.float32).tofile("truth.raw")
    centikelvin = [np.rint(100 * (values + 273.15)) for values in (*burst, np.load("truth.npy"))]
    *frames, truth = as_pictures(centikelvin)
    ways = [run("python/compare.py", "celsius.npy", "truth.npy", REFERENCE),
            run("c_compare", WIDTH, HEIGHT, REFERENCE, "truth.raw", source="celsius.raw"),
            run("cpp_compare", truth, REFERENCE, *frames)]
    gains = [{name: float(psnr) for name, psnr in re.findall(r"^(\w+) +([\d.]+) dB", printed.decode(), re.MULTILINE)}
             for printed in ways]
    assert gains[0] == gains[1] == pytest.approx(gains[2], abs=0.1)
    assert gains[0]["precise"] > gains[0]["float"] > gains[0]["linear"] + 2


def test_archives_go_on_and_a_bad_recording_stops_no_other(burst, monkeypatch):
    for folder in ("day", "pictures/a", "pictures/b"):
        Path(folder).mkdir(parents=True)
    as_pictures(np.rint(100 * (burst + 273.15)), "pictures/a")
    np.save("day/a.npy", burst)
    burst.tofile("day/a.raw")
    for bad in ("day/b.npy", "day/b.raw"):
        Path(bad).touch()
    monkeypatch.setenv("PATH", str(Path(os.environ["ORAVO_SUPERRES"]).parent), prepend=os.pathsep)

    def archives():
        return [run("c_archive", WIDTH, HEIGHT, "day/a.raw", "day/b.raw", code=1).decode(),
                run("cpp_archive", "pictures", "results", code=1).decode(),
                run("python/archive.py", "day", "out", code=2).decode()]

    for printed, bad in zip(archives(), ("day/b.raw: failed: ", "results/b.tif: failed: no frames", "day/b.npy: ")):
        assert bad in printed
    np.testing.assert_array_equal(np.fromfile("day/a.raw.image", np.float32), oravo_superres.reconstruct(burst).image.ravel())
    made = {path: path.stat().st_mtime_ns for path in map(Path, ("day/a.raw.image", "results/a.tif", "out/a.tif"))}
    for printed, finished in zip(archives(), ("a.raw: finished before", "a.tif: finished before", "0 made, 1 finished before, 1 failed")):
        assert finished in printed
    assert made == {path: path.stat().st_mtime_ns for path in made}
