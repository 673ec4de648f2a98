"""The precise pipeline of the NumPy package."""

import threading

import numpy as np
import pytest

import oravo_superres as sr
from test_oravo_superres import HEIGHT, SHIFTS, WIDTH, burst, scene


def test_the_image_shows_the_scene_and_says_how_well():
    rng = np.random.default_rng(1)
    noise = 0.05
    frames = burst(6) + rng.normal(0, noise, (6, HEIGHT, WIDTH))
    result = sr.reconstruct(frames, psf_sigma=0.5)  # the frames of the scene are sampled without a blur
    y, x = np.mgrid[0:2 * HEIGHT, 0:2 * WIDTH]
    dx, dy = SHIFTS[2]
    error = (result.image - scene((x - 0.5) / 2 - dx, (y - 0.5) / 2 - dy))[16:-16, 16:-16]
    rms = np.sqrt(np.mean(error ** 2))
    assert rms < 1.5 * noise
    assert 0.3 < np.median(result.deviation) / rms < 3
    assert result.noise == pytest.approx(noise, rel=0.3)
    assert 0 < result.withheld_error < result.bicubic_error
    assert result.doubts == [] and not result.dead_pixels.any()
    assert 3 < np.median(result.weight) <= 6
    for info, shift in zip(result.frames, SHIFTS):
        assert info.used
        np.testing.assert_allclose(info.shift, np.subtract(shift, SHIFTS[2]), atol=0.02)


def test_enhance_gives_the_image_of_the_last_twelve_frames():
    frames = burst(6)
    np.testing.assert_array_equal(sr.enhance(frames), sr.reconstruct(frames).image)
    many = np.concatenate([np.full((3, HEIGHT, WIDTH), 20.0), frames, frames])
    np.testing.assert_array_equal(sr.enhance(many), sr.reconstruct(many[-12:]).image)


def test_one_frame_gives_an_image_and_a_warning():
    with pytest.warns(sr.SuperResolutionWarning, match="rests on the reference frame alone"):
        image = sr.enhance(burst(1))
    assert image.shape == (2 * HEIGHT, 2 * WIDTH) and np.isfinite(image).all()


def test_masked_pixels_and_counts_are_understood():
    frames = burst(6).astype(np.float32)
    holes = np.zeros(frames.shape, bool)
    holes[1, 10:14, 20:24] = True
    spoilt = np.where(holes, 4000, frames)
    masked = sr.reconstruct(np.ma.masked_array(spoilt, holes)).image
    assert np.abs(masked - sr.reconstruct(frames).image).max() < 0.5
    counts = sr.reconstruct(frames * 100 + 10000, counts=True)
    assert not sr.has_code(counts.image).any()


@pytest.mark.parametrize("call, kind, text", [
    (lambda: sr.enhance(burst(5), pipeline="fast"), ValueError, "pipeline is 'fast'"),
    (lambda: sr.enhance(burst(5), camera="107 FOV 20"), ValueError, "camera: "),
    (lambda: sr.enhance(burst(5), timing_report=True), ValueError, "timing_report: "),
    (lambda: sr.reconstruct([]), ValueError, "no frames"),
    (lambda: sr.reconstruct(burst(5), max_frames=65), ValueError, "max_frames is 65"),
    (lambda: sr.reconstruct(burst(5), reference=12), ValueError, "reference is 12"),
    (lambda: sr.reconstruct(burst(5), psf_sigma=9.0), ValueError, "Blur of 9 pixels is not from 0.3 to 2."),
    (lambda: sr.reconstruct([burst(1)[0], burst(1)[0, 1:]]), ValueError, "a frame has shape"),
    (lambda: sr.reconstruct(np.full((1, 20, 20), 1e6)), sr.BurstError, "no value in"),
])
def test_what_cannot_be_is_refused_with_its_value(call, kind, text):
    with pytest.raises(kind, match=text):
        call()


def test_threads_work_side_by_side():
    frames = [burst(5) + i for i in range(4)]
    expected = [sr.reconstruct(f).image for f in frames]
    images = [None] * 4

    def work(i):
        images[i] = sr.reconstruct(frames[i]).image

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for image, wanted in zip(images, expected):
        np.testing.assert_array_equal(image, wanted)
