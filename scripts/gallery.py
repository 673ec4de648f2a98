"""Draws the pictures of docs/gallery/ with the program, from its own rendered scene, and writes docs/gallery.md.

    gallery.py PROGRAM DOCS

Every figure on the page is measured in the same run.
"""

import json
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
from PIL import Image, ImageDraw, ImageFont

WIDTH, HEIGHT, SEED = 160, 120, 3
DETAIL = (188, 158, 96, 72)  # x, y, width, height in the enlarged image: the bar targets, and what surrounds them
COLOURS = [(0, 0, 4), (40, 11, 84), (101, 21, 110), (159, 42, 99), (212, 72, 66), (245, 125, 21), (250, 193, 39),
           (252, 255, 164)]
TEXT, BACK = 254, 255  # palette entries beside the colours 0 .. 253


def palette():
    stops = np.linspace(0, 253, len(COLOURS))
    entries = [[round(float(np.interp(i, stops, [c[k] for c in COLOURS]))) for k in range(3)] for i in range(254)]
    return [value for entry in entries + [[0, 0, 0], [255, 255, 255]] for value in entry]


def read(path):
    return np.array(Image.open(path), dtype=np.float32)


class Gallery:
    def __init__(self, program, folder, scratch):
        self.program = program
        self.folder = folder
        self.scratch = scratch
        self.page = []

    def run(self, *arguments):
        run = subprocess.run([self.program, *map(str, arguments)], capture_output=True, text=True, check=False)
        if run.returncode != 0:
            raise SystemExit(f"{' '.join(map(str, run.args))}\n{run.stderr}")
        return run.stdout

    def burst(self, name, **options):
        folder = self.scratch / name
        arguments = [f"--{key.replace('_', '-')}={value}" for key, value in options.items()]
        self.run("simulate", "-o", folder, f"--width={WIDTH}", f"--height={HEIGHT}", f"--seed={SEED}", *arguments)
        return folder

    def enhance(self, burst, **options):
        """The enlarged image of a burst and its figures against the truth."""
        out = self.scratch / "enlarged.tif"
        arguments = [f"--{key.replace('_', '-')}={value}" for key, value in options.items()]
        self.run("enhance", burst, "-o", out, "--no-guard", "--pipeline", "float", *arguments)
        return read(out), self.figures(out, burst, "result")

    def figures(self, image, burst, row):
        measured = self.run("evaluate", image, burst / "truth.tif", "--reference", burst / "frame_001.tif", "--json")
        psnr = next(image["psnr"] for image in json.loads(measured)["images"] if image["name"] == row)
        return f"{psnr:.1f} dB"

    def bicubic(self, burst):
        enlarged = Image.fromarray(read(burst / "frame_001.tif")).resize((2 * WIDTH, 2 * HEIGHT), Image.BICUBIC)
        return np.array(enlarged), self.figures(burst / "truth.tif", burst, "bicubic")

    def strip(self, name, title, text, panels, detail=DETAIL, span=(8, 36)):
        """A row of details under their labels, and its section of the page."""
        x, y, width, height = detail
        font = ImageFont.load_default()
        gap, head = 6, 30
        zoom = 2 if len(panels) * width > 400 else 3
        canvas = Image.new("P", (len(panels) * (width * zoom + gap) - gap, height * zoom + head), BACK)
        canvas.putpalette(palette())
        draw = ImageDraw.Draw(canvas)
        for i, (label, figure, image) in enumerate(panels):
            cut = np.clip((image[y:y + height, x:x + width] - span[0]) / (span[1] - span[0]), 0, 1)
            levels = np.round(cut * 253).astype(np.uint8).repeat(zoom, 0).repeat(zoom, 1)
            left = i * (width * zoom + gap)
            canvas.paste(Image.fromarray(levels, "P"), (left, head))
            draw.text((left, 2), label, TEXT, font)
            draw.text((left, 15), figure, TEXT, font)
        canvas.save(self.folder / f"{name}.png", optimize=True)
        self.page += [f"## {title}", "", text, "", f"![{title}](gallery/{name}.png)", ""]
        self.page += self.table([(label, figure) for label, figure, _ in panels if figure])

    @staticmethod
    def table(measured):
        if not measured:
            return []
        rows = ([label for label, _ in measured], ["---"] * len(measured), [figure for _, figure in measured])
        return ["| " + " | ".join(row) + " |" for row in rows] + [""]

    def series(self, name, title, text, burst, option, values, fixed=None, **drawing):
        """One enlarged image per value of an option, between bicubic enlargement and truth."""
        panels = [("bicubic", *reversed(self.bicubic(burst)))]
        for value in values:
            image, figure = self.enhance(burst, **{option: value}, **(fixed or {}))
            panels.append((f"{value}", figure, image))
        panels.append(("truth", "", read(burst / "truth.tif")))
        self.strip(name, title, text, panels, **drawing)

    def grid(self, title, text, noises, settings):
        """A table of figures: noise against TV weight and relative residue."""
        self.page += [f"## {title}", "", text, ""]
        columns = [f"{weight}, {residue}" for weight, residue in settings]
        self.page.append("| " + " | ".join(["noise", "bicubic", *columns]) + " |")
        self.page.append("|" + " --- |" * (len(settings) + 2))
        for noise in noises:
            burst = self.burst(f"noise{noise}", noise=noise)
            row = [self.enhance(burst, tv_weight=weight, relative_residue=residue, iterations=30)[1]
                   for weight, residue in settings]
            self.page.append("| " + " | ".join([f"{noise} K", self.bicubic(burst)[1], *row]) + " |")
        self.page.append("")

    def comparison(self):
        burst = self.burst("plain", noise=0.05)
        out = self.scratch / "enlarged.tif"
        self.run("enhance", burst, "-o", out)
        picture = self.scratch / "comparison.png"
        self.run("evaluate", out, burst / "truth.tif", "--reference", burst / "frame_001.tif", "--picture", picture)
        Image.open(picture).convert("RGB").quantize(255).save(self.folder / "comparison.png", optimize=True)
        self.page += ["## Five frames into one", "", "Five frames of 160 x 120 pixels with 0.05 K of noise. Bars "
                      "finer than a pixel of the frames come apart again.", "",
                      "![comparison](gallery/comparison.png)", ""]
        return burst


def write_frame(path, image):
    Image.fromarray(image.astype(np.float32)).save(path)


def with_intruder(gallery, burst):
    """The burst with a warm disc that crosses it on its own, six pixels from frame to frame."""
    folder = gallery.scratch / "intruder"
    folder.mkdir()
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    for i in range(5):
        frame = read(burst / f"frame_{i:03}.tif")
        frame[(x - 104 - 6 * i) ** 2 + (y - 84) ** 2 < 30] = 45
        write_frame(folder / f"frame_{i:03}.tif", frame)
    (folder / "truth.tif").write_bytes((burst / "truth.tif").read_bytes())  # of the scene behind it
    return folder


def drifting(gallery, burst, step):
    """The burst with `step` degrees more from each frame to the next."""
    folder = gallery.scratch / f"drifting{step}"
    folder.mkdir()
    for i in range(5):
        write_frame(folder / f"frame_{i:03}.tif", read(burst / f"frame_{i:03}.tif") + np.float32(step * (i - 1)))
    (folder / "truth.tif").write_bytes((burst / "truth.tif").read_bytes())
    return folder


def rotated(gallery, degrees):
    """A burst whose frames also turn by so many degrees from one to the next."""
    fine = gallery.scratch / "fine"
    if not fine.exists():
        gallery.run("simulate", "-o", fine, f"--width={2 * WIDTH}", f"--height={2 * HEIGHT}", "--noise=0")
    scene = Image.fromarray(read(fine / "truth.tif"))  # four times the size of a frame
    folder = gallery.scratch / f"rotated{degrees}"
    folder.mkdir()
    for i, (dx, dy) in enumerate([(0.3, 0.4), (0, 0), (-0.6, 0.1), (0.6, 0.3), (-0.2, -0.5)]):
        moved = scene.rotate(degrees * (i - 1), Image.BICUBIC, translate=(4 * dx, 4 * dy))
        frame = np.array(moved).reshape(HEIGHT, 4, WIDTH, 4).mean((1, 3))
        write_frame(folder / f"frame_{i:03}.tif", frame)
    truth = np.array(scene).reshape(2 * HEIGHT, 2, 2 * WIDTH, 2).mean((1, 3))
    write_frame(folder / "truth.tif", truth)
    return folder


def solver_sections(gallery, plain):
    noisy = gallery.burst("noisy", noise=1)
    gallery.series("tv-weight", "TV weight", "Frames with 1 K of noise. The larger `--tv-weight`, the more the "
                   "data count against smoothness.", noisy, "tv_weight", [400, 100, 30, 10])
    gallery.series("psf-sigma", "Point-spread function", "Frames blurred with 0.683 high pixels; the solver is "
                   "given `--psf-sigma`. Too little leaves the image soft, too much rings.", plain, "psf_sigma",
                   [0.35, 0.55, 0.683, 0.85, 1.1])
    gallery.series("iterations", "Iterations", "`--iterations`, with `--relative-residue 2e-6` so that nothing "
                   "else stops the solver.", plain, "iterations", [1, 2, 4, 8, 16], {"relative_residue": 2e-6})
    gallery.series("relative-residue", "Relative residue", "`--relative-residue`, with `--iterations 30` so that "
                   "the number of steps does not stop the solver.", plain, "relative_residue",
                   [0.05, 0.02, 0.007, 0.003, 0.001], {"iterations": 30})
    gallery.grid("Noise", "What noise asks of TV weight and relative residue (with `--iterations 30`). The "
                 "defaults, 400 and 0.007, are a middle; bicubic enlargement of one frame beside them.",
                 [0.05, 0.5, 1, 3], [(400, 0.001), (400, 0.007), (100, 0.007), (30, 0.007), (10, 0.007)])


def motion_sections(gallery, plain):
    crossed = with_intruder(gallery, plain)
    gallery.strip("registration-error", "Registration error", "A warm disc crosses the scene while the camera "
                  "moves; its copies are averaged in where `--registration-error` lets them.",
                  [(f"{error}", "", gallery.enhance(crossed, registration_error=error)[0])
                   for error in (0.00001, 0.0001, 0.001, 1)], detail=(180, 130, 130, 72))
    still = gallery.burst("still", shifts="0,0;0,0;0,0;0,0;0,0")
    whole = gallery.burst("whole", shifts="1,0;0,0;-1,2;0,-1;2,1")
    gallery.strip("displacement", "Displacement", "Five frames without displacement, displaced by whole pixels, "
                  "and by fractions of a pixel. Only fractions bring detail.",
                  [(label, *reversed(gallery.enhance(burst))) for label, burst in
                   (("none", still), ("whole pixels", whole), ("fractions", plain))])
    gallery.strip("rotation", "Rotation", "Frames that turn from one to the next by so many degrees. The model "
                  "knows displacements only.",
                  [(f"{degrees}", *reversed(gallery.enhance(rotated(gallery, degrees))))
                   for degrees in (0, 0.25, 1, 3)])


def value_sections(gallery, plain):
    gallery.page += ["## Drift", "", "The first burst, with so many degrees more from each frame to the next.", ""]
    gallery.page += gallery.table([(f"{step} K", gallery.enhance(drifting(gallery, plain, step))[1])
                                   for step in (0, 0.05, 0.2, 0.5, 1, 2)])
    defective = gallery.burst("defective", defects=300)
    repaired, figure = gallery.enhance(defective)
    frame = read(defective / "frame_001.tif").repeat(2, 0).repeat(2, 1)
    gallery.strip("defects", "Defective pixels", "300 of 19200 pixels carry a status code instead of a value, at "
                  "the same places in every frame.",
                  [("reference frame", "", frame), ("enlarged", figure, repaired)],
                  detail=(0, 0, 210, 110), span=(0, 42))


def main(program, docs):
    folder = docs / "gallery"
    folder.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as scratch:
        gallery = Gallery(program, folder, Path(scratch))
        plain = gallery.comparison()
        solver_sections(gallery, plain)
        motion_sections(gallery, plain)
        value_sections(gallery, plain)
    intro = ["# Parameters in pictures", "", "Pictures and figures that `scripts/gallery.sh` makes from the project's own "
             f"rendered scene (`oravo-superres simulate`, seed {SEED}; `enhance --pipeline float --no-guard` but for "
             "the first). dB: PSNR of the whole image against the truth.", ""]
    (docs / "gallery.md").write_text("\n".join(intro + gallery.page).rstrip() + "\n")


if __name__ == "__main__":
    main(str(Path(sys.argv[1]).resolve()), Path(sys.argv[2]))
