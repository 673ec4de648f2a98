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


def run(name, *arguments, source=None):
    """What an example prints; C and C++ ones by the name of their target."""
    program = [sys.executable, str(EXAMPLES / name)] if name.endswith(".py") else [f"{os.environ['ORAVO_EXAMPLES']}/{name}"]
    with open(source or os.devnull, "rb") as stdin:
        made = subprocess.run([*program, *map(str, arguments)], stdin=stdin, capture_output=True, check=False)
    assert made.returncode == 0 and not made.stderr, made.stderr.decode()
    return made.stdout


def test_bursts_are_the_same_image_in_all_languages(burst):
    told = run("c_burst", WIDTH, HEIGHT, "image.raw", "deviation.raw", source="celsius.raw").decode()
    said = run("python/burst.py", "image.npy", "celsius.npy").decode()
    image = np.load("image.npy")
    np.testing.assert_array_equal(np.fromfile("image.raw", np.float32).reshape(image.shape), image)
    assert np.sqrt(np.mean((image - np.load("truth.npy"))[8:-8, 8:-8] ** 2)) < 0.5
    assert np.median(np.fromfile("deviation.raw", np.float32)) < 0.1
    gain = re.search(r"([\d.]+) dB", told)[1]
    assert float(gain) > 3 and f"{gain} dB" in said and said.count("moved by") == len(burst) and "doubt" not in said

    for i, counts in enumerate(np.fromfile("counts.raw", "<u2").reshape(burst.shape)):
        Path(f"{i}.pgm").write_bytes(b"P5 %d %d 65535\n" % (WIDTH, HEIGHT) + counts.astype(">u2").tobytes())
    told = run("cpp_burst", "image.tif", *(f"{i}.pgm" for i in range(len(burst)))).decode()
    assert f"{len(burst)} of {len(burst)} frames" in told and Path("image.tif").stat().st_size > 16 * WIDTH * HEIGHT


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
    gain, offset = random.normal(40, 2, (HEIGHT, WIDTH)), random.normal(5000, 200, (HEIGHT, WIDTH))
    gain[20, 30] = 0
    np.save("counts.npy", gain * burst + offset)
    np.save("cold.npy", np.stack([gain * 10 + offset] * 2))
    np.save("hot.npy", gain * 40 + offset)
    told = run("python/calibrated.py", "image.npy", "counts.npy", "cold.npy", 10, "hot.npy", 40).decode()
    assert f"1 of {HEIGHT * WIDTH} pixels do not react" in told
    np.testing.assert_allclose(np.load("image.npy"), oravo_superres.reconstruct(burst).image, atol=0.3)


def test_the_pipelines_are_compared(burst):
    assert len(burst) == len(SHIFTS)
    told = run("python/compare.py", "celsius.npy", "truth.npy", REFERENCE).decode()
    gains = {name: float(psnr) for name, psnr in re.findall(r"^(\w+) +([\d.]+) dB", told, re.MULTILINE)}
    assert gains["precise"] > gains["float"] > gains["linear"] + 2
