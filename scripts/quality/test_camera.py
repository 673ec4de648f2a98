"""The camera against what can be said in closed form."""

import numpy as np
import pytest

from quality.camera import SCALE, Blur, Motion, Scene, truth

SHAPE, CORNER = (30, 40), (40, 40)
SIZE = SCALE * SHAPE[0] + 80, SCALE * SHAPE[1] + 80
MOTIONS = [Motion(), Motion(0.37, -1.21), Motion(-0.6, 0.2, angle=2), Motion(0.1, 0.7, angle=-20, zoom=0.98)]


def picture(value_at):
    v, u = np.mgrid[0:SIZE[0], 0:SIZE[1]].astype(float)
    return value_at(u, v)


def places(motion):
    """Scene coordinates of the frame's pixels, written out anew: turned back about the centre, then doubled."""
    y, x = np.mgrid[0:SHAPE[0], 0:SHAPE[1]].astype(float)
    cx, cy = (SHAPE[1] - 1) / 2, (SHAPE[0] - 1) / 2
    turned = ((x - cx - motion.dx) + 1j * (y - cy - motion.dy)) * np.exp(-1j * np.radians(motion.angle)) / motion.zoom
    return CORNER[0] + SCALE * (turned.real + cx) + 0.5, CORNER[1] + SCALE * (turned.imag + cy) + 0.5


@pytest.mark.parametrize("motion", MOTIONS)
def test_a_gaussian_spot_stays_one_and_widens(motion):
    cu, cv, sigma, optics = 79.3, 71.6, 2.5, 0.9
    scene = Scene(picture(lambda u, v: np.exp(-((u - cu) ** 2 + (v - cv) ** 2) / (2 * sigma ** 2))))
    frame = scene.frame(SHAPE, CORNER, motion, Blur(optics))
    u, v = places(motion)
    # The camera's blur is zoomed with its frame: smaller in the scene where the frame is larger.
    wide = sigma ** 2 + (optics / motion.zoom) ** 2
    expected = sigma ** 2 / wide * np.exp(-((u - cu) ** 2 + (v - cv) ** 2) / (2 * wide))
    np.testing.assert_allclose(frame, expected, atol=2e-5)


@pytest.mark.parametrize("motion", MOTIONS)
@pytest.mark.parametrize("waves", [(9, 4), (59, 36), (130, 95), (159, 139)])
def test_a_wave_is_damped_by_the_transfer_at_its_frequency_in_the_frame(motion, waves):
    ku, kv = (np.pi * k / n for k, n in zip(waves, reversed(SIZE)))  # reflected at the borders, these go on unbroken
    optics, box = 0.4, 2.0
    scene = Scene(picture(lambda u, v: np.cos(ku * (u + 0.5)) * np.cos(kv * (v + 0.5))))
    frame = scene.frame(SHAPE, CORNER, motion, Blur(optics, box))
    u, v = places(motion)
    expected = 0
    for sign in (1, -1):  # the product is half the sum of two plane waves
        seen = (ku + sign * 1j * kv) * np.exp(1j * np.radians(motion.angle)) / motion.zoom
        transfer = np.exp(-(optics * abs(seen)) ** 2 / 2)
        transfer *= np.sinc(box * seen.real / (2 * np.pi)) * np.sinc(box * seen.imag / (2 * np.pi))
        expected += transfer * np.cos(ku * (u + 0.5) + sign * kv * (v + 0.5)) / 2
    np.testing.assert_allclose(frame, expected, atol=1e-5)


def test_the_square_pixel_averages():
    scene = Scene(np.random.default_rng(3).normal(size=SIZE))
    u, v = places(MOTIONS[2])
    steps = (np.arange(12) + 0.5) / 6 - 1  # a pixel of the frame is two wide in the scene; it is turned with the frame
    turn = np.radians(2)
    mean = np.zeros(SHAPE)
    for a in steps:
        for b in steps:
            mean += scene.values(u + np.cos(turn) * a + np.sin(turn) * b, v - np.sin(turn) * a + np.cos(turn) * b) / 144
    np.testing.assert_allclose(scene.frame(SHAPE, CORNER, MOTIONS[2], Blur(0, 2.0)), mean, atol=0.02)


def test_unblurred_at_whole_places_it_shows_the_picture_itself():
    values = np.random.default_rng(1).normal(size=SIZE)
    v, u = np.mgrid[3:50, 5:60]
    np.testing.assert_allclose(Scene(values).values(u, v), values[3:50, 5:60], atol=2e-4)


def test_the_truth_is_the_scene_between_the_frames_pixels():
    values = picture(lambda u, v: u + 1000 * v)
    sharp = truth(values, SHAPE, CORNER)
    assert sharp.shape == (60, 80) and sharp[0, 0] == 40 + 40 * 1000
    frame = Scene(picture(lambda u, v: np.cos(u / 9) + np.sin(v / 7))).frame(SHAPE, CORNER, Motion(), Blur())
    u, v = places(Motion())
    np.testing.assert_allclose(frame, np.cos(u / 9) + np.sin(v / 7), atol=2e-4)
