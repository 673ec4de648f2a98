"""Ways to an enlarged image, each with what it said about its own result."""

import os
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path

import numpy as np
from PIL import Image

from . import measure, peers, sensor

ROOT = Path(__file__).resolve().parents[2]


@dataclass
class Result:
    image: np.ndarray
    warnings: list = field(default_factory=list)
    facts: dict = field(default_factory=dict)  # figures that the method gives of itself


class Methods:
    """The methods by name, with what they need from a build folder. One object serves one burst."""

    def __init__(self, build):
        self._build = Path(build)
        self._program = self._build / "tools" / "oravo-superres"
        self._known = {}
        os.environ["ORAVO_SUPERRESOLUTION_LIBRARY"] = str(self._build / "liboravo_superresolution.so")
        sys.path.insert(0, str(ROOT / "python"))

    def run(self, name, burst):
        """The result of a method, timed. `precise-5` is `precise` given the newest five frames only, and so on."""
        kind, _, last = name.rpartition("-")
        if last.isdigit():
            name, burst = kind, burst.last(int(last))
        start = time.perf_counter()
        pipeline, _, known = name.partition("-")
        if known in ("listed", "learnt", "measured"):  # of the sensor, beforehand
            result = getattr(self, f"_{known}")(burst, pipeline)
        else:
            result = getattr(self, name.replace("-", "_"))(burst)
        result.facts["seconds"] = round(time.perf_counter() - start, 3)
        return result

    def bicubic(self, burst):
        return Result(measure.bicubic(burst.frames[burst.reference]))

    def float(self, burst):
        return self._enhanced(burst)

    def float_unguarded(self, burst):
        return self._enhanced(burst, "--no-guard")

    def float_long(self, burst):
        return self._enhanced(burst, "--relative-residue", "0.001", "--iterations", "30")

    def float_given(self, burst):
        """Float, given the camera's blur."""
        return self._enhanced(burst, "--psf-sigma", f"{burst.blur.sigma:.4f}")

    def precise(self, burst):
        return self._enhanced(burst, *_all(burst, "precise"), pipeline="precise")

    def _listed(self, burst, pipeline):
        """Given what `defects detect` lists of a recording of another scene."""
        def found(folder):
            self._tool("defects", "detect", *_recorded(burst, folder, scenes=1, frames=48), "-o", f"{folder}/list.csv")
            return f"{folder}/list.csv"
        known = self._once("listed", found)
        result = self._enhanced(burst, "--defects", known, *_all(burst, pipeline), pipeline=pipeline)
        result.facts["listed"] = len(Path(known).read_text().splitlines()) - 2
        return result

    def _learnt(self, burst, pipeline):
        """Given the pattern that `pattern learn` finds in recordings of other scenes; where it finds none, without."""
        def found(folder):
            pattern = f"{folder}/pattern.tif"
            self._tool("pattern", "learn", *_recorded(burst, folder, scenes=2, frames=24), "-o", pattern, also=4)
            return ("--fixed-pattern", pattern) if os.path.exists(pattern) else ()
        known = self._once("learnt", found)
        return self._enhanced(burst, *known, *_all(burst, pipeline), pipeline=pipeline)

    def _measured(self, burst, pipeline):
        """Given the blur that `measure blur` finds in a frame of an edge."""
        def found(folder):
            Image.fromarray(sensor.edge(burst)).save(f"{folder}/edge.tif")
            words = self._tool("measure", "blur", f"{folder}/edge.tif").splitlines()[-1].split()
            return dict(zip(words[::2], map(float, words[1::2])))
        known = self._once("measured", found)
        whole = np.hypot(known["--psf-sigma"], known.get("--psf-box", 0) / np.sqrt(12))
        told = known if pipeline == "precise" else {"--psf-sigma": whole}  # float knows no other blur than a Gaussian
        options = [word for name, value in told.items() for word in (name, f"{value:.4f}")]
        result = self._enhanced(burst, *options, *_all(burst, pipeline), pipeline=pipeline)
        result.facts["blur"] = float(whole)
        return result

    def _once(self, name, find):
        """What is found out about a burst's sensor, once for all pipelines: find(folder), the folder staying."""
        if name not in self._known:
            folder = tempfile.TemporaryDirectory()
            self._known[name] = folder, find(folder.name)
        return self._known[name][1]

    def _tool(self, *arguments, also=0):
        """Standard output of the program, which may end with 0 or this code."""
        done = subprocess.run([self._program, *arguments], capture_output=True, text=True)
        if done.returncode not in (0, also):
            raise RuntimeError(f"{' '.join(arguments[:2])} failed with {done.returncode}: {done.stderr}")
        return done.stdout

    def _enhanced(self, burst, *options, pipeline="float"):
        with tempfile.TemporaryDirectory() as folder:
            names = _saved(burst.frames, folder)
            out = f"{folder}/out.tif"
            done = subprocess.run([self._program, "enhance", *names, "-o", out, "--pipeline", pipeline, *options],
                                  capture_output=True, text=True)
            said = [line for line in done.stderr.splitlines() if "warning: " in line]
            if done.returncode == 4:  # no image: the user has the reference frame, and knows it
                enlarged = measure.bicubic(burst.frames[burst.reference])
                return Result(enlarged, said or [done.stderr.strip()], {"none": 1})
            if done.returncode not in (0, 6):  # 6: not known to be better, which a warning says
                raise RuntimeError(f"enhance failed with {done.returncode}: {done.stderr}")
            return Result(np.asarray(Image.open(out)), [line.replace(folder + "/", "") for line in said])

    def precise_library(self, burst, **options):
        """Precise without the program around it, with the figures that it gives of itself."""
        import oravo_superres
        found = oravo_superres.reconstruct(burst.frames, max_frames=max(12, len(burst.frames)), **options)
        facts = {name: getattr(found, name) for name in ("noise", "smoothness", "withheld_error", "bicubic_error")}
        facts["frames_used"] = sum(frame.used for frame in found.frames)
        facts["dead_found"] = int(found.dead_pixels.sum())
        facts["pattern_found"] = float(found.pattern.std())
        if burst.motions:
            facts["shift_error"] = _shift_error(found, burst)
        return Result(np.where(oravo_superres.has_code(found.image), np.nan, found.image), found.doubts, facts)

    def precise_patternless(self, burst):
        """Precise without a search for fixed patterns, to see whether that does harm."""
        return self.precise_library(burst, find_pattern=False)

    def precise_given(self, burst):
        """Precise, given the camera's blur."""
        return self.precise_library(burst, psf_sigma=burst.blur.sigma)

    def precise_best(self, burst):
        """Precise with the weight that a grid finds with the truth in hand: what choosing without it could reach."""
        chosen = self.precise_library(burst)
        tried = [chosen]
        for direction in (0.5, 2):
            weight, last = chosen.facts["smoothness"], self._rmse(chosen, burst)
            while 1e-7 < weight < 1e3:
                weight *= direction
                tried.append(self.precise_library(burst, smoothness=weight))
                now = self._rmse(tried[-1], burst)
                if now > last:
                    break
                last = now
        return min(tried, key=lambda result: self._rmse(result, burst))

    def drizzle(self, burst):
        return Result(peers.drizzled(burst))

    def siril(self, burst):
        return Result(peers.by_siril(burst))

    def opencv(self, burst):
        return Result(peers.by_opencv(burst.last(5), self._build / "bench" / "superres_peer"))

    @staticmethod
    def _rmse(result, burst):
        return measure.figures(result.image, burst)["rmse"]


def _all(burst, pipeline):
    """Options by which a pipeline takes all frames of a burst."""
    return ("--frames", str(max(12, len(burst.frames)))) if pipeline == "precise" else ()


def _saved(frames, folder):
    names = []
    for i, frame in enumerate(frames):
        names.append(f"{folder}/frame_{i:03}.tif")
        Image.fromarray(frame).save(names[-1])
    return names


def _recorded(burst, folder, scenes, frames):
    """Folders with recordings of other scenes by the burst's sensor."""
    folders = []
    for i, recording in enumerate(sensor.recordings(burst, scenes, frames)):
        folders.append(f"{folder}/recording_{i}")
        os.mkdir(folders[-1])
        _saved(recording, folders[-1])
    return folders


def _shift_error(found, burst):
    """Root mean square error of the frames' displacements, pixels, at their centres; of frames that are used."""
    errors = [np.subtract(frame.shift, (motion.dx, motion.dy))
              for frame, motion in zip(found.frames, burst.motions) if frame.used]
    return float(np.sqrt(np.mean(np.square(errors))))
