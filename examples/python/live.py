"""A live camera of 16-bit counts, hundredths of a kelvin: an enlarged image for each frame, from the fifth on.

    camera | live.py WIDTH HEIGHT | display
"""

import sys
from typing import Iterator

import numpy as np
import numpy.typing as npt

import oravo_superres

SCALE, OFFSET = 0.01, -273.15  # from counts to degrees Celsius


def camera(width: int, height: int) -> Iterator[npt.NDArray[np.uint16]]:
    """Frames from standard input until it ends."""
    while len(data := sys.stdin.buffer.read(2 * width * height)) == 2 * width * height:
        yield np.frombuffer(data, "<u2").reshape(height, width)


def main(width: int, height: int) -> None:
    frames = camera(width, height)
    for image in oravo_superres.enhance_stream(frames, pipeline="float", scale=SCALE, offset=OFFSET):
        counts = np.rint((image.astype(float) - OFFSET) / SCALE)
        sys.stdout.buffer.write(np.clip(counts, 0, 65535).astype("<u2").tobytes())
        sys.stdout.buffer.flush()


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*map(int, sys.argv[1:]))
