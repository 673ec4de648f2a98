"""Bursts of the NumPy package: parameters, results, streams."""

import copy
import gc
import itertools
import logging
import pickle
import tracemalloc
import warnings
from dataclasses import fields, replace
from pathlib import Path

import numpy as np
import pytest

import oravo_superres as sr
from test_oravo_superres import HEIGHT, SHIFTS, WIDTH, burst

PIPELINES = ("precise", "float", "vector", "reference")


@pytest.mark.parametrize("pipeline", PIPELINES)
def test_every_pipeline_reports_what_it_finds_out(pipeline):
    frames = burst(5).astype(np.float32)
    result = sr.reconstruct(frames, pipeline=pipeline, reference=0)
    assert result.image.shape == (2 * HEIGHT, 2 * WIDTH) and result.image.dtype == np.float32
    accuracy = 0.35 if pipeline == "reference" else 0.12
    np.testing.assert_allclose(result.shifts, np.subtract(SHIFTS[:5], SHIFTS[4]), atol=accuracy)
    assert result.reference == 4 and result.figures["seconds"] > 0
    assert (result.deviation is not None) == (pipeline == "precise") == (result.dead_pixels is not None)
    assert (result.weight is None) == (pipeline == "vector")
    assert (result.masks is not None) == (pipeline in ("float", "reference"))
    if result.masks is not None:
        assert result.weights.max() == 5 and result.masks.shape == (5, HEIGHT, WIDTH)
        assert result.frames[1].weight == pytest.approx(result.masks[1].mean())
    assert result.trusted == (not result.warnings) == (pipeline != "reference")  # which aligns these frames badly
    assert np.isfinite(result.gains).all() and not result.masked_image.mask.any()
    if pipeline != "precise":
        np.testing.assert_array_equal(result.image, sr.enhance(frames, pipeline=pipeline, reference=0))


def test_images_are_those_of_sessions():
    frames = burst(6)
    with sr.Session(WIDTH, HEIGHT, camera="107 FOV 45") as session:
        for frame in frames:
            session.add(frame)
        np.testing.assert_array_equal(session.image(), sr.enhance(frames, pipeline="float", camera="107 FOV 45"))


@pytest.mark.parametrize("pipeline, changes", [
    ("precise", {"max_frames": 3}), ("precise", {"psf_sigma": 1.0}), ("precise", {"smoothness": 0.1}),
    ("precise", {"psf_box": 2}),
    ("precise", {"factor": 3}), ("precise", {"highest": 27.0}), ("float", {"max_frames": 3}),
    ("float", {"registration": "phase"}), ("float", {"psf_sigma": 0.4}), ("float", {"camera": "107 FOV 45"}),
    ("float", {"tv_weight": 5}), ("float", {"relative_residue": 0.5}), ("float", {"registration_error": 1e-8}),
    ("float", {"iterations": 1, "relative_residue": 1e-5}), ("reference", {"tv_weight": 5}), ("vector", {"tv_weight": 5}),
    ("float", {"lowest": 20.0}),
])
def test_every_parameter_reaches_the_library(pipeline, changes):
    rng = np.random.default_rng(4)
    frames = (burst(6) + rng.normal(0, 0.3, (6, HEIGHT, WIDTH))).astype(np.float32)
    if "lowest" in changes:
        frames[2, 30, 40] = 15
    chosen = sr.Parameters(pipeline=pipeline)
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        assert not np.array_equal(sr.enhance(frames, chosen, **changes), sr.enhance(frames, chosen))


def test_the_sensors_faults_can_be_left_in():
    rng = np.random.default_rng(3)
    frames = (burst(6) + 0.3 * rng.normal(0, 1, (1, HEIGHT, WIDTH))).astype(np.float32)
    frames[:, 20, 30] = 27.0
    found = sr.reconstruct(frames)
    assert found.dead_pixels[20, 30] and found.pattern.std() > 0.1
    left = sr.reconstruct(frames, find_dead_pixels=False, find_pattern=False, deviation=False)
    assert not left.dead_pixels.any() and not left.pattern.any() and left.deviation is None


def test_counts_become_values_by_scale_and_offset():
    counts = np.round((burst(6) + 10) * 100)
    expected = sr.enhance((counts * 0.01 - 10).astype(np.float32), pipeline="float")
    for kind in (np.uint16, np.int16, np.int64, ">u2", np.float32):
        frames = counts.astype(kind)
        enlarged = sr.enhance(frames, pipeline="float", scale=0.01, offset=-10)
        np.testing.assert_allclose(enlarged, expected, atol=2e-3)
        flipped = np.ascontiguousarray(frames[:, ::-1])[:, ::-1]
        np.testing.assert_array_equal(sr.enhance(flipped, pipeline="float", scale=0.01, offset=-10), enlarged)


def test_rows_that_the_library_can_read_are_not_copied():
    wide = np.zeros((HEIGHT, WIDTH + 3), np.uint16)
    for frame in (wide, wide[:, :WIDTH], wide[::-1], wide[::2]):
        assert sr._frames.native_frame(frame).values is not None
        assert np.shares_memory(sr._frames.native_frame(frame).values, wide)
    assert not np.shares_memory(sr._frames.native_frame(wide[:, ::2]).values, wide)


def test_bad_pixels_and_masks_are_left_out():
    frames = burst(5).astype(np.float32)
    bad = np.zeros((HEIGHT, WIDTH), bool)
    bad[30, 40] = bad[10, 50] = True
    spoilt = np.where(bad, 60, frames).astype(np.float32)
    for pipeline in ("precise", "float"):
        clean = sr.enhance(frames, pipeline=pipeline)
        known = sr.enhance(spoilt, pipeline=pipeline, bad_pixels=bad)
        assert np.abs(known - clean).max() < 2.5
        with sr.Burst(WIDTH, HEIGHT, pipeline=pipeline) as opened:
            for frame in spoilt:
                opened.add(frame, mask=bad)
            np.testing.assert_array_equal(opened.reconstruct().image, known)
        masked = sr.enhance(np.ma.masked_array(spoilt.astype(np.uint16), np.broadcast_to(bad, spoilt.shape)),
                            pipeline=pipeline)
        assert np.abs(masked - clean).max() < 3.5  # of whole degrees
    patch = np.pad(np.ones((9, 9), bool), ((20, 31), (30, 41)))
    hole = np.ma.masked_array(frames, np.broadcast_to(patch, frames.shape))
    assert sr.reconstruct(hole).masked_image.mask.any()
    with pytest.raises(ValueError, match="vector pipeline repairs no bad pixels"):
        sr.enhance(hole, pipeline="vector")


def test_a_burst_holds_the_latest_frames_and_can_be_used_again():
    frames = burst(6)
    with sr.Burst(WIDTH, HEIGHT, max_frames=4) as opened:
        for frame in frames:
            opened.add(frame)
        assert len(opened) == 4 and opened.output_shape == (2 * HEIGHT, 2 * WIDTH)
        first = opened.reconstruct(1)
        np.testing.assert_array_equal(first.image, sr.reconstruct(frames[2:], reference=1).image)
        opened.clear()
        assert len(opened) == 0
        with pytest.raises(ValueError, match="No frames"):
            opened.reconstruct()
    assert opened.closed
    with pytest.raises(ValueError, match="closed"):
        opened.add(frames[0])


@pytest.mark.parametrize("call, kind, text", [
    (lambda b: b.add(np.zeros((HEIGHT, WIDTH - 1))), ValueError, r"shape \(60, 79\), the burst takes \(60, 80\)"),
    (lambda b: b.add(np.zeros((HEIGHT, WIDTH)), mask=[True]), ValueError, r"the mask has shape \(1,\)"),
    (lambda b: b.add(np.zeros((HEIGHT, WIDTH)), scale=0), ValueError, "scale is 0"),
    (lambda b: b.add(np.zeros((HEIGHT, WIDTH)), offset=np.nan), ValueError, "offset is nan"),
    (lambda b: b.add([["warm"] * WIDTH] * HEIGHT), TypeError, "real numbers"),
    (lambda b: b.set_bad_pixels([1]), ValueError, "mask has shape"),
    (lambda b: b.reconstruct(5), ValueError, "reference is 5; it must be from 0"),
    (copy.copy, TypeError, "copied"),
    (pickle.dumps, TypeError, "pickled"),
    (lambda b: sr.Burst(0, 5), ValueError, "width is 0"),
    (lambda b: sr.Burst(7, 9), ValueError, "Frames of 7 x 9 pixels"),
    (lambda b: sr.Burst(1 << 40, 9), ValueError, "width is"),
    (lambda b: sr.Parameters(pipeline="fast"), ValueError, "pipeline is 'fast'; it must be one of precise, float"),
    (lambda b: sr.Parameters(registration="ecc"), ValueError, "registration is 'ecc'"),
    (lambda b: sr.Parameters(max_frames=0), ValueError, "max_frames is 0"),
    (lambda b: sr.Parameters(pipeline="float", camera="107 FOV 20", psf_sigma=1), ValueError, "both select the blur"),
    (lambda b: sr.Burst(9, 9, tv_wieght=3), TypeError, "tv_wieght"),
    (lambda b: sr.Burst(9, 9, tv_weight=3), ValueError, "tv_weight is 3, but the precise pipeline has no such option"),
    (lambda b: sr.Burst(9, 9, pipeline="float", tv_weight="3"), TypeError, "tv_weight is '3'; it must be a number"),
    (lambda b: sr.Burst(9, 9, pipeline="float", iterations=1 << 32), ValueError, "iterations is 4294967296"),
    (lambda b: sr.Burst(9, 9, pipeline="float", iterations=2.5), TypeError, "iterations is 2.5; it must be an integer"),
    (lambda b: sr.Burst(9, 9, psf_sigma=[1, 2]), TypeError, r"psf_sigma is \[1, 2\]; it must be a number"),
    (lambda b: sr.Burst(9, 9, psf_sigma=10 ** 400), ValueError, "psf_sigma is beyond all floats"),
    (lambda b: sr.Burst(9.0, 9), TypeError, "width is 9.0; it must be an integer"),
    (lambda b: sr.Burst(9, 9, log=3), TypeError, "log is 3; it must be a function"),
    (lambda b: b.image(out=[1]), ValueError, "out must be a writable"),
    (lambda b: b.add(np.zeros((HEIGHT, WIDTH)), scale=None), TypeError, "scale is None; it must be a number"),
    (lambda b: b.set_bad_pixels("bad"), TypeError, "a mask must hold truth values or numbers"),
    (lambda b: b.reconstruct(1.5), TypeError, "reference is 1.5; it must be an integer"),
    (lambda b: sr.Burst(9, 9, threads=65), ValueError, "threads is 65; it has to be from 1 to 64"),
    (lambda b: sr.Burst(9, 9, pipeline="vector", threads=2), ValueError, "threads is 2, but the vector pipeline"),
    (lambda b: sr.Burst(9, 9, most_memory=0), ValueError, "most_memory is 0"),
    (lambda b: sr.Burst(900, 900, most_memory=10 ** 6), sr.BurstError, "most_memory is 1.0 MB"),
    (lambda b: sr.enhance_many([], workers=0), ValueError, "workers is 0"),
    (lambda b: next(sr.enhance_stream(burst(5), every=0)), ValueError, "every is 0"),
    (lambda b: sr.enhance(burst(5), pipeline="float", timing_report=True, tv_weight=3), ValueError, "timing_report: "),
])
def test_bad_input_is_refused_by_name(call, kind, text):
    with sr.Burst(WIDTH, HEIGHT, pipeline="float") as opened, pytest.raises(kind, match=text):
        call(opened)


def test_failures_carry_their_status():
    with pytest.raises(sr.BurstError) as caught:
        sr.reconstruct(np.full((5, HEIGHT, WIDTH), 20.0), pipeline="float")
    assert caught.value.status is sr.BurstStatus.NO_DETAIL
    frames = burst(5)
    frames[3, 10:30, 10:30] = np.nan
    with sr.Burst(WIDTH, HEIGHT, pipeline="float") as opened:
        for frame in frames[:3]:
            opened.add(frame)
        with pytest.raises(sr.BurstError, match="Too many defect pixels") as caught:
            opened.add(frames[3])
        assert caught.value.status is sr.BurstStatus.FRAME and len(opened) == 3


def test_progress_and_log_reach_python():
    shares, lines = [], []
    result = sr.reconstruct(burst(5), progress=shares.append, log=lambda level, text: lines.append((level, text)))
    assert shares == sorted(shares) and shares[-1] == 1 and len(shares) > 20
    assert lines[-1][0] == logging.INFO and "precise pipeline: image of 5 of 5 frames" in lines[-1][1]
    with pytest.raises(sr.BurstError) as caught:
        sr.reconstruct(burst(5), progress=lambda share: share < np.float64(0.2))
    assert caught.value.status is sr.BurstStatus.CANCELLED

    def fails(*_):
        raise KeyError("mine")

    with pytest.raises(KeyError, match="mine"):
        sr.reconstruct(burst(5), progress=fails)
    with pytest.raises(KeyError, match="mine"):
        sr.reconstruct(burst(5), log=fails)
    assert sr.reconstruct(burst(1), log=logging.getLogger("quiet").log).warnings and result.trusted


def test_streams_give_an_image_for_each_full_window_in_constant_memory():
    frames = burst(6).astype(np.float32)
    reused = np.empty((HEIGHT, WIDTH), np.float32)

    def camera(count):
        for i in range(count):
            reused[...] = frames[i % 6]
            yield reused

    images = list(sr.enhance_stream(camera(12), pipeline="float"))
    expected = [image for image, _ in sr.stream([frames[i % 6] for i in range(12)])]
    assert len(images) == 8
    for image, wanted in zip(images, expected):
        np.testing.assert_array_equal(image, wanted)
    every = list(sr.enhance_stream(camera(12), pipeline="float", every=3))
    assert [any(np.array_equal(image, wanted) for wanted in expected[::3]) for image in every] == [True] * 3
    endless = sr.reconstruct_stream(camera(10 ** 9), pipeline="float")
    for _ in itertools.islice(endless, 20):
        pass
    gc.collect()
    tracemalloc.start()
    for _ in itertools.islice(endless, 60):
        pass
    gc.collect()
    kept, _ = tracemalloc.get_traced_memory()
    tracemalloc.stop()
    endless.close()
    assert kept < 8 * HEIGHT * WIDTH * 4 + 200000  # the latest result; 60 would be 10 MB


def test_a_stream_outlives_frames_that_cannot_be_used():
    frames = list(burst(6))
    broken = frames[2].copy()
    broken[20:40, 20:40] = np.nan
    lines = []
    with pytest.warns(sr.SuperResolutionWarning, match="no image: Too many defect pixels"):
        images = list(sr.enhance_stream([broken, *frames, broken, *frames], pipeline="float",
                                        log=lambda _, line: lines.append(line)))
    assert len(images) == 8
    assert sum("burst of" in line for line in lines) == 1


def test_a_burst_gives_its_image_alone():
    with sr.Burst(WIDTH, HEIGHT, pipeline="float") as opened:
        for frame in burst(5):
            opened.add(frame)
        out = np.empty(opened.output_shape, np.float32)
        assert opened.image(out=out) is out and opened.warnings() == []
        np.testing.assert_array_equal(out, opened.reconstruct().image)
        with pytest.raises(ValueError, match=r"float32 array of shape \(120, 160\)"):
            opened.image(out=out[:-1])


def test_the_manual_names_everything_public():
    page = (Path(__file__).parents[2] / "docs" / "python.md").read_text()
    names = {name for name in sr.__all__} | {name for name in vars(sr.Reconstruction) if name[0] != "_"}
    assert [name for name in sorted(names) if f"`{name}" not in page] == []


def test_parameters_are_all_documented():
    for field in fields(sr.Parameters):
        assert f"{field.name}" in sr.Parameters.__doc__, field.name
    assert replace(sr.Parameters(), pipeline="float").window == 5
