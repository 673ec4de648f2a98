"""Kills workers and driver of an archive's run, again and again, and looks at what is left."""

import argparse
import contextlib
import hashlib
import os
import random
import resource
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np

FOLDER_SIZE = 100
PATIENCE = 3600.0  # seconds


def make_recordings(tree, count, width, height, frames):
    """Moving waves under noise, each recording with phases of its own."""
    y, x = np.mgrid[0:height, 0:width]
    for number in range(count):
        noise = np.random.default_rng(number)
        shifts = noise.uniform(-1, 1, (frames, 2))
        stack = [20 + 4 * np.sin((x - dx + number) / 3) * np.cos((y - dy) / 4) for dx, dy in shifts]
        stack += noise.normal(0, 0.05, (frames, height, width))
        folder = tree / f"{number // FOLDER_SIZE:04}"
        folder.mkdir(parents=True, exist_ok=True)
        np.save(folder / f"{number:06}.npy", np.asarray(stack, np.float32))


def images(folder):
    return {path.relative_to(folder): path for path in folder.glob("*/*.tif")}


def contents(folder):
    return {name: hashlib.sha256(path.read_bytes()).hexdigest() for name, path in images(folder).items()}


def finished(folder):
    """Which results are proven, and which file each is."""
    found = {}
    for receipt in folder.glob("*/*.receipt"):
        with contextlib.suppress(FileNotFoundError):
            state = receipt.with_suffix("").stat()
            found[receipt.with_suffix("").relative_to(folder)] = state.st_ino, state.st_mtime_ns
    return found


def children_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class Clock:
    """Wall time, and processor time of the children that ended meanwhile, theirs included."""

    def __enter__(self):
        self._wall, self._processor = time.monotonic(), children_seconds()
        return self

    def __exit__(self, *_):
        self.wall = time.monotonic() - self._wall
        self.processor = children_seconds() - self._processor


def plainly(arguments, tree, output):
    """All of them by the program alone, folder by folder."""
    for folder in sorted(tree.iterdir()):
        subprocess.run([arguments.program, "enhance", *sorted(folder.iterdir()), "-o", f"{output / folder.name}/", "--jobs",
                        str(arguments.workers), *arguments.options], check=True, stderr=subprocess.DEVNULL)


def serially(arguments, tree, output):
    """One recording after the other, by a process each: what the archive's run is compared with."""
    for recording in sorted(tree.glob("*/*.npy")):
        image = output / recording.relative_to(tree).with_suffix(".tif")
        image.parent.mkdir(parents=True, exist_ok=True)
        subprocess.run([arguments.program, "enhance", recording, "-o", image, *arguments.options], check=True,
                       stderr=subprocess.DEVNULL)


def start_driver(arguments, tree, output):
    command = [sys.executable, "-m", "oravo_superres.archive", tree, "-o", output, "--program", arguments.program,
               "--workers", str(arguments.workers), "--", *arguments.options]
    return subprocess.Popen(command, stderr=subprocess.PIPE, text=True)


def resident(process):
    """Mebibytes."""
    with contextlib.suppress(OSError):
        for line in Path(f"/proc/{process}/status").read_text().splitlines():
            if line.startswith("VmRSS"):
                return int(line.split()[1]) / 1024
    return None


def workers_of(driver):
    found = []
    for task in Path(f"/proc/{driver}/task").glob("*/children"):
        with contextlib.suppress(OSError):
            for child in task.read_text().split():
                if b"spawn_main" in Path(f"/proc/{child}/cmdline").read_bytes():
                    found.append(int(child))
    return found


def ended(driver):
    said = driver.communicate()[1]
    if driver.returncode != 0:
        raise SystemExit(f"the run failed with exit code {driver.returncode}:\n{said}")
    return said


def undisturbed(arguments, tree, output):
    """A whole run, and how much memory its driver had from second to second."""
    memory = []
    with Clock() as clock:
        driver = start_driver(arguments, tree, output)
        while driver.poll() is None:
            memory.append(resident(driver.pid))
            time.sleep(arguments.pause)
        said = ended(driver)
    print(said.strip().splitlines()[-1])
    started = len(memory) // 5  # what comes before is the start of Python and dask
    return clock, [size for size in memory[started:] if size]


def say_memory(what, memory):
    print(f"memory of the driver {what}: {memory[0]:.1f} MiB at first, {memory[-1]:.1f} in the end, at most {max(memory):.1f}")


def measure(arguments, tree, expected, scratch):
    """How much of the processors' time goes into recordings, by those of the first folders."""
    part = scratch / "part"
    for folder in sorted(tree.iterdir())[:arguments.measure // FOLDER_SIZE]:
        (part / folder.name).mkdir(parents=True)
        for recording in folder.iterdir():
            os.link(recording, part / folder.name / recording.name)
    count = len(list(part.glob("*/*")))
    with Clock() as serial:
        serially(arguments, part, scratch / "serial")
    print(f"serially: {count} recordings in {serial.wall:.1f} s, {serial.processor:.1f} s of a processor")
    clock, memory = undisturbed(arguments, part, scratch / "calm")
    print(f"{arguments.workers} workers: {clock.wall:.1f} s, {clock.processor:.1f} s of processors: efficiency "
          f"{serial.wall / arguments.workers / clock.wall:.3f} by wall time, {serial.processor / clock.processor:.3f} by "
          "processor time")
    say_memory("of a calm run", memory)
    calm = contents(scratch / "calm")
    return check(calm == {name: expected[name] for name in calm}, f"undisturbed, all {len(calm)} results are those of the plain run")


def disturbed(arguments, tree, output):
    """A run whose workers and driver are killed at random moments; every image that was proven in between."""
    chance = random.Random(arguments.seed)
    # Late kills may miss a short run.
    moments = sorted(chance.sample(range(1, arguments.recordings * 3 // 4), arguments.kills))
    victims = ["driver" if kill % 2 else "worker" for kill in range(arguments.kills)]
    proven = {}
    deadline = time.monotonic() + PATIENCE
    driver = start_driver(arguments, tree, output)
    for moment, victim in zip(moments, victims):
        while driver.poll() is None and (len(finished(output)) < moment or not workers_of(driver.pid)):
            if time.monotonic() > deadline:
                raise SystemExit(f"no {moment} results within {PATIENCE:g} s")
            time.sleep(0.02)
        time.sleep(chance.uniform(0, 0.1))
        if driver.poll() is not None:
            print("the run ended before it was killed")
            break
        target = driver.pid if victim == "driver" else chance.choice(workers_of(driver.pid) or [driver.pid])
        os.kill(target, signal.SIGKILL)
        for name, state in finished(output).items():
            proven.setdefault(name, []).append(state)
        who = "the driver" if target == driver.pid else "a worker"
        print(f"{time.strftime('%H:%M:%S')} killed {who} at {len(proven)} results", flush=True)
        if target == driver.pid:
            driver.communicate()
            driver = start_driver(arguments, tree, output)
    print(ended(driver).strip().splitlines()[-1])
    return proven


def check(condition, text):
    print(("ok: " if condition else "FAILED: ") + text, flush=True)
    return condition


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program")
    parser.add_argument("--recordings", type=int, default=24)
    parser.add_argument("--kills", type=int, default=2)
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--size", type=int, nargs=3, default=(32, 24, 5), metavar=("WIDTH", "HEIGHT", "FRAMES"))
    parser.add_argument("--measure", type=int, default=0, metavar="N",
                        help=f"the efficiency for up to N recordings, a multiple of {FOLDER_SIZE}, and the driver's memory, too")
    parser.add_argument("--pause", type=float, default=0.2, help="seconds between looks at the driver's memory")
    parser.add_argument("--seed", type=int, default=1)
    parser.usage = "%(prog)s PROGRAM [OPTION...] [-- ENHANCE_OPTION...]"
    cut = sys.argv.index("--") if "--" in sys.argv else len(sys.argv)
    arguments = parser.parse_args(sys.argv[1:cut])
    arguments.options = sys.argv[cut + 1:]
    arguments.program = os.path.abspath(arguments.program)
    with tempfile.TemporaryDirectory(prefix="oravo-archive-") as scratch:
        return run(arguments, Path(scratch))


def run(arguments, scratch):
    tree, output = scratch / "recordings", scratch / "results"
    make_recordings(tree, arguments.recordings, *arguments.size)
    plainly(arguments, tree, scratch / "plain")
    expected = contents(scratch / "plain")
    good = [measure(arguments, tree, expected, scratch)] if arguments.measure else []
    proven = disturbed(arguments, tree, output)
    last = finished(output)
    again = sum(any(state != last.get(name) for state in states) for name, states in proven.items())
    good.append(check(again == 0, f"{again} of {len(proven)} results that were finished at a kill were made again"))
    good.append(check(set(last) == set(expected), f"{len(last)} of {len(expected)} results are there with their receipts"))
    good.append(check(contents(output) == expected, "killed, all results are those of the plain run"))
    left = list(output.glob("*/.*"))
    good.append(check(not left, f"{len(left)} unfinished files are left"))
    if arguments.measure:
        clock, memory = undisturbed(arguments, tree, output)
        print(f"all finished: {clock.wall:.1f} s, {clock.processor:.1f} s of processors")
        say_memory("then", memory)
        good.append(check(finished(output) == last, "nothing was made again"))
    return 0 if all(good) else 1


if __name__ == "__main__":
    sys.exit(main())
