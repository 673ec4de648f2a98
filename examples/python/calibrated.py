"""Counts of a raw sensor become temperatures by two frames of known temperature, then an image.

    calibrated.py ENLARGED.npy COUNTS.npy COLD.npy COLD_CELSIUS HOT.npy HOT_CELSIUS

COLD and HOT are frames, or recordings whose mean is taken, of an even surface that fills the view. Between them
temperature is taken to be linear in the count, pixel by pixel, which takes off the sensor's fixed pattern as well.
"""

import sys

import numpy as np

import oravo_superres


def even_surface(path: str) -> np.ndarray:
    """The mean of a recording of an even surface, which has less noise than any of its frames."""
    frames = np.load(path).astype(np.float64)
    return frames.mean(axis=0) if frames.ndim == 3 else frames


def main(enlarged: str, recording: str, cold_path: str, cold: str, hot_path: str, hot: str) -> None:
    low, high = even_surface(cold_path), even_surface(hot_path)
    dead = high <= low  # a pixel that does not tell hot from cold shows nothing
    gain = (float(hot) - float(cold)) / np.where(dead, 1, high - low)
    celsius = float(cold) + gain * (np.load(recording) - low)
    print(f"{dead.sum()} of {dead.size} pixels do not react")
    result = oravo_superres.reconstruct(celsius.astype(np.float32), bad_pixels=dead)
    print(f"{np.nanmin(result.image):.2f} to {np.nanmax(result.image):.2f} degrees Celsius")
    np.save(enlarged, result.image)


if __name__ == "__main__":
    if len(sys.argv) != 7:
        sys.exit(__doc__)
    main(*sys.argv[1:])
