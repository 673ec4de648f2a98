"""Figures of an enlarged image against the truth."""

import numpy as np
from scipy import ndimage

BORDER = 8  # pixels of the image along its edges that are left out
_FLAT_WINDOW, _FLAT_SHARE, _FEWEST = 9, 0.02, 200


def bicubic(frame):
    """Enlarged twofold by Keys' cubic convolution (a = -0.75, as OpenCV has it), pixel i at 2 i + 0.5; edges repeat."""
    for axis in (0, 1):
        frame = np.moveaxis(_twice(np.moveaxis(np.asarray(frame, float), axis, 0)), 0, axis)
    return frame


def _twice(rows):
    def kernel(t, a=-0.75):
        t = abs(t)
        return (a + 2) * t ** 3 - (a + 3) * t ** 2 + 1 if t <= 1 else a * (t ** 3 - 5 * t ** 2 + 8 * t - 4)
    padded = np.concatenate([rows[:1], rows[:1], rows, rows[-1:], rows[-1:]])
    count = len(rows)
    out = np.empty((2 * count,) + rows.shape[1:])
    for odd, at in enumerate((-0.25, 0.25)):
        out[odd::2] = sum(kernel(j - at) * padded[2 + j:2 + j + count] for j in range(-2, 3) if abs(j - at) < 2)
    return out


def figures(image, burst):
    """What is measured of one image, as a dictionary of numbers in the frames' unit, decibels for psnr."""
    inner = np.s_[BORDER:-BORDER, BORDER:-BORDER]
    truth = burst.truth[inner]
    image = np.asarray(image, float)[inner]
    known = np.isfinite(image) & (abs(image) < 1e6)
    error = np.where(known, image - truth, 0)[known]
    rmse = float(np.sqrt(np.mean(error ** 2)))
    span = float(np.ptp(truth))
    filled = np.where(known, image, truth)
    found = {"rmse": rmse, "psnr": 20 * np.log10(span / rmse), "ssim": ssim(filled, truth, span),
             "unknown": int(np.sum(~known)), "bias": float(error.mean())}
    parts = {"flat": flat(truth, span), "hot": truth >= np.quantile(truth, 0.99),
             "cold": truth <= np.quantile(truth, 0.01)}
    parts.update({name: mark[inner] for name, mark in burst.marks.items()})
    for name, part in parts.items():
        part = part & known
        if np.sum(part) >= _FEWEST:
            found[name + "_bias"] = float(np.mean((image - truth)[part]))
            found[name + "_rmse"] = float(np.sqrt(np.mean((image - truth)[part] ** 2)))
    return found


def flat(truth, span):
    """Where the truth changes by less than a fiftieth of its range."""
    change = ndimage.maximum_filter(truth, _FLAT_WINDOW) - ndimage.minimum_filter(truth, _FLAT_WINDOW)
    return change < _FLAT_SHARE * span


def ssim(image, truth, span):
    """Structural similarity by a Gaussian window of sigma 1.5 (Wang et al. 2004)."""
    def smooth(values):
        return ndimage.gaussian_filter(values, 1.5, truncate=3.5)
    a, b = smooth(image), smooth(truth)
    var_a, var_b = smooth(image * image) - a * a, smooth(truth * truth) - b * b
    both = smooth(image * truth) - a * b
    c1, c2 = (0.01 * span) ** 2, (0.03 * span) ** 2
    return float(np.mean((2 * a * b + c1) * (2 * both + c2) / ((a * a + b * b + c1) * (var_a + var_b + c2))))
