"""The pipelines beside each other, on a burst whose truth is known.

    compare.py FRAMES.npy TRUTH.npy REFERENCE

REFERENCE is the index of the frame on whose grid the truth lies. Prints the peak signal-to-noise ratio of each result, eight
pixels along the borders left out, and of an enlargement of the reference frame by linear interpolation.
"""

import sys
import time

import numpy as np

import oravo_superres


def psnr(image: np.ndarray, truth: np.ndarray) -> float:
    inner = (slice(8, -8), slice(8, -8))
    error = np.sqrt(np.nanmean((image[inner].astype(float) - truth[inner]) ** 2))
    return float(20 * np.log10((truth.max() - truth.min()) / error))


def twice(frame: np.ndarray) -> np.ndarray:
    """Frame pixel i lies at 2 i + 0.5 of the enlarged grid."""
    for axis in (0, 1):
        places = (np.arange(2 * frame.shape[axis]) - 0.5) / 2
        frame = np.apply_along_axis(lambda row, at=places: np.interp(at, np.arange(row.size), row), axis, frame)
    return frame


def main(recording: str, truth_path: str, reference: str) -> None:
    frames, truth = np.load(recording), np.load(truth_path)
    print(f"{'linear':10} {psnr(twice(frames[int(reference)]), truth):5.1f} dB")
    for pipeline in ("float", "precise"):
        begin = time.perf_counter()
        result = oravo_superres.reconstruct(frames, pipeline=pipeline, reference=len(frames) - 1 - int(reference))
        seconds = time.perf_counter() - begin
        print(f"{pipeline:10} {psnr(result.image, truth):5.1f} dB in {seconds:.2f} s"
              + "".join(f"\n  doubt: {doubt}" for doubt in result.warnings))


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
