"""What else makes one larger image of several frames, from Debian, at settings that do it justice.

drizzle (python3-drizzle) and Siril stack frames whose motion is known: drizzle spreads each value over the pixels that
it covers, Siril enlarges the frames and averages them, displaced by whole pixels of the enlarged image. Neither can
find the motion of such scenes (Siril looks for stars), so both are given the true one. OpenCV's superres finds it by
itself. The former two do not undo the camera's blur; what is compared is what users get.
"""

import subprocess
import tempfile
from pathlib import Path

import numpy as np
from PIL import Image

from . import measure
from .camera import SCALE, Scene

KINDS = "noise_1", "noise_5", "noise_15", "turn_1", "real", "real_video"

DRIZZLE_SHARE = 0.3  # of a pixel's side that its value is spread over: the best of 0.3 to 1 on the pictures to tune by


NAMES = "opencv", "drizzle", "siril"


def suiting(kind, first):
    """The peers that can take bursts of a kind at all; only the first burst of a picture, as OpenCV's takes long."""
    if kind not in KINDS or not first:
        return []
    if kind.startswith("real"):  # the motion is not known
        return ["opencv"]
    return ["opencv", "drizzle"] + ["siril"] * (kind != "turn_1")


def drizzled(burst, share=DRIZZLE_SHARE):
    """By python3-drizzle, given the true motions. Pixels that nothing fell on are bicubic's."""
    from drizzle import cdrizzle
    height, width = burst.frames[0].shape
    out = np.zeros((SCALE * height, SCALE * width), np.float32)
    weight, context = np.zeros_like(out), np.zeros(out.shape, np.int32)
    y, x = np.mgrid[0:height, 0:width].astype(float)
    for i, (frame, motion) in enumerate(zip(burst.frames, burst.motions)):
        places = motion.seen_by(x, y, ((width - 1) / 2, (height - 1) / 2))
        onto = np.stack([SCALE * place + (SCALE - 1) / 2 for place in places], axis=-1)
        cdrizzle.tdriz(frame, np.ones_like(frame), onto, out, weight, context, uniqid=i + 1, xmin=0, xmax=width, ymin=0,
                       ymax=height, scale=1.0, pixfrac=share, kernel="square", in_units="cps", expscale=1.0,
                       wtscale=1.0, fillstr="INDEF")
    return np.where(weight > 0, out, measure.bicubic(burst.frames[burst.reference]))


def by_siril(burst):
    """By Siril's mean of frames enlarged twofold, given the true displacements."""
    from astropy.io import fits
    lowest, highest = burst.frames.min(), burst.frames.max()
    with tempfile.TemporaryDirectory() as folder:
        number = len(burst.frames)
        lines = ["#frames, their displacements, enlargement before stacking",
                 f"S 'frame_' 1 {number} {number} 5 {burst.reference} 3", "L 1"]
        for i, frame in enumerate(burst.frames):
            values = 0.1 + 0.8 * (frame - lowest) / (highest - lowest)
            fits.PrimaryHDU(values.astype(np.float32)).writeto(f"{folder}/frame_{i + 1:05}.fit")
            lines.append(f"I {i + 1} 1")
        lines += [f"U {SCALE}"] + [f"R0 {-m.dx:.5f} {-m.dy:.5f} 2 2 1 1 0 10" for m in burst.motions]
        Path(folder, "frame_.seq").write_text("\n".join(lines) + "\n")
        script = Path(folder, "stack.ssf")
        script.write_text("requires 1.0.0\nset32bits\nstack frame_ mean none -nonorm -out=result\n")
        subprocess.run(["siril-cli", "-d", folder, "-s", str(script)], capture_output=True, check=True)
        image = fits.getdata(f"{folder}/result.fit").astype(float)
    return lowest + (image - 0.1) / 0.8 * (highest - lowest)


def by_opencv(burst, program):
    """By OpenCV's module superres, whose result is of the middle frame: the reference takes that place."""
    order = [i for i in range(5) if i != burst.reference]
    order.insert(2, burst.reference)
    with tempfile.TemporaryDirectory() as folder:
        names = [f"{folder}/frame_{i}.tif" for i in range(5)]
        for name, i in zip(names, order):
            Image.fromarray(burst.frames[i]).save(name)
        subprocess.run([program, f"{folder}/out.tif", *names], capture_output=True, check=True)
        image = np.asarray(Image.open(f"{folder}/out.tif")).astype(float)
    image = np.where(np.isfinite(image), image, measure.bicubic(burst.frames[burst.reference]))
    # Its pixel 2 i lies where frame pixel i does, half a pixel before ours.
    v, u = np.mgrid[0:image.shape[0], 0:image.shape[1]].astype(float)
    return Scene(image).values(u - (SCALE - 1) / 2, v - (SCALE - 1) / 2)
