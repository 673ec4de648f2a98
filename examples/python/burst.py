"""The best image of a burst, and how good it is.

    burst.py ENLARGED.npy FRAMES.npy
"""

import sys

import numpy as np

import oravo_superres


def main(enlarged: str, recording: str) -> None:
    frames = np.load(recording)  # (n, height, width), of any real type
    result = oravo_superres.reconstruct(frames)
    print(f"{result.figures['gain_db']:.1f} dB better than bicubic enlargement at pixels that it was not shown")
    print(f"standard deviation {np.nanmedian(result.std):.3g} in the frames' unit")
    for (dx, dy), frame in zip(result.shifts, result.frames):
        print(f"  moved by {dx:+.2f}, {dy:+.2f}" + ("" if frame.used else ", left out"))
    for doubt in result.warnings:
        print("doubt:", doubt)
    np.save(enlarged, result.image)  # (2 height, 2 width), float32


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
