"""Archives: which recordings there are, what is finished, and what a run makes of good and bad ones."""

import contextlib
import fcntl
import json
import os
import subprocess
import sys
from concurrent.futures import CancelledError, Future
from pathlib import Path
from types import SimpleNamespace
from unittest.mock import MagicMock

import numpy as np
import pytest

from oravo_superres.archive import ArchiveError, Duplicates, _workers, run_archive
from oravo_superres.archive._items import Item, Settings, run_items
from oravo_superres.archive._plan import Plan, listed, recordings_in
from oravo_superres.archive._receipts import Confirmed, is_certainly_finished
from oravo_superres.archive._run import _drive

PROGRAM = os.environ.get("ORAVO_SUPERRES", "")
needs_program = pytest.mark.skipif(not PROGRAM, reason="ORAVO_SUPERRES does not name the program")


def touch(folder, *names):
    for name in names:
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_bytes(b"")


def found(tree, **options):
    return [os.path.relpath(path, tree) for path, _ in recordings_in(str(tree), **options)]


def test_tree_is_divided_into_recordings(tmp_path):
    touch(tmp_path, "b.npy", "A.TIF", "notes.txt", ".hidden.npy", ".cache/x.npy", "burst/frame_1.tif", "burst/truth.tif",
          "burst/previews/a.png", "stills/2.png", "stills/1.csv", "day/x.npy", "day/x.png", "raw/r.bin", "out/y.tif")
    without = str(tmp_path / "out")
    assert found(tmp_path, without=without) == ["A.TIF", "b.npy", "burst", "day/x.npy", "stills"]
    assert found(tmp_path, without=without, mode="files") == [
        "A.TIF", "b.npy", "burst/frame_1.tif", "burst/previews/a.png", "burst/truth.tif", "day/x.npy", "day/x.png",
        "stills/1.csv", "stills/2.png"]
    assert found(tmp_path / "burst", mode="folders") == [".", "previews"]
    assert found(tmp_path, raw=True) == ["raw/r.bin"]
    assert found(tmp_path / "stills") == ["."]


def test_of_jpegs_only_radiometric_ones_are_frames(tmp_path):
    touch(tmp_path, "photos/1.jpg", "films/a.mkv", "films/b.txt", "walk/1.jpg", "walk/2.JPG")
    (tmp_path / "walk/2.JPG").write_bytes(b"\xff\xd8\xff\xe1\0\x10FLIR\0\1\0\0")
    assert found(tmp_path) == ["films/a.mkv", "walk"]
    assert found(tmp_path, mode="files") == ["films/a.mkv", "walk/2.JPG"]
    os.mkfifo(tmp_path / "walk/3.jpg")  # nobody will write to it
    assert found(tmp_path, mode="files") == ["films/a.mkv", "walk/2.JPG", "walk/3.jpg"]


def test_folder_that_cannot_be_read_hides_no_others(tmp_path, monkeypatch):
    touch(tmp_path, "a/x.npy", "b/y.npy", "c/z.npy")
    scan = os.scandir

    def refusing(folder):
        if folder.endswith("b"):
            raise PermissionError(13, "Permission denied", folder)
        return scan(folder)

    monkeypatch.setattr(os, "scandir", refusing)
    assert list(recordings_in(str(tmp_path))) == [
        (str(tmp_path / "a/x.npy"), False), (str(tmp_path / "b"), True), (str(tmp_path / "c/z.npy"), False)]


def test_results_are_named_like_recordings(tmp_path):
    touch(tmp_path, "day.2/a.b.npy", "x.tif", "burst.1/frame_1.tif")
    plan = Plan(recordings_in(str(tmp_path)), str(tmp_path))
    items = list(plan.items("/out"))
    assert items == [Item(str(tmp_path / "burst.1"), "/out/burst.1.tif", "burst.1"),
                     Item(str(tmp_path / "day.2/a.b.npy"), "/out/day.2/a.b.tif", "day.2/a.b"),
                     Item(str(tmp_path / "x.tif"), "/out/x.tif", "x")]
    assert list(Plan(listed([str(tmp_path / "burst.1")]), str(tmp_path / "burst.1")).items("/o"))[0].name == "burst.1"
    shares = [list(plan.items("/out", (i, 3))) for i in (1, 2, 3)]
    assert sorted(sum(shares, []), key=lambda item: item.name) == items
    assert sum(plan.count((i, 3)) for i in (1, 2, 3)) == plan.count() == 3
    with pytest.raises(ValueError, match="/elsewhere/a.npy: does not lie in"):
        Plan(listed(["/elsewhere/a.npy"]), str(tmp_path))


def test_names_that_would_clash_are_refused_before_the_work(tmp_path):
    touch(tmp_path, "a.npy", "a.tif", "b/c.npy", "b/c/frame_1.tif", "b/d.npy")
    with pytest.raises(Duplicates) as clash:
        run_archive(str(tmp_path), str(tmp_path / "out"), program="true" if not PROGRAM else PROGRAM, scheduler="none")
    text = str(clash.value)
    assert f"{tmp_path}/a.npy and {tmp_path}/a.tif would both become a.tif" in text
    assert f"{tmp_path}/b/c and {tmp_path}/b/c.npy would both become b/c.tif" in text and "d.npy" not in text
    assert os.listdir(tmp_path / "out") == ["archive.jsonl"]


def receipt_for(tmp_path):
    """A recording with its result, as the program would leave them, long after the recording was written."""
    touch(tmp_path, "burst/frame_1.tif", "out/a.tif", "out/a.json")

    def state(path, name):
        known = os.stat(path)
        return {"file": name, "size": known.st_size if path.is_file() else 0, "modified": known.st_mtime_ns,
                "changed": known.st_ctime_ns, "sha256": "0" if path.is_file() else ""}

    burst, frame = tmp_path / "burst", tmp_path / "burst/frame_1.tif"
    return {"receipt": 1, "version": "1", "options": ["--nuc"], "exit_code": 6, "recording": [str(burst)],
            "folders": [state(burst, str(burst))], "inputs": [state(frame, str(frame))],
            "outputs": [state(tmp_path / "out" / name, name) for name in ("a.tif", "a.json")]}


CHANGES = {
    "nothing": lambda tmp, receipt: None,
    "version": lambda tmp, receipt: receipt.update(version="2"),
    "options": lambda tmp, receipt: receipt.update(options=[]),
    "recording": lambda tmp, receipt: receipt.update(recording=["/other"]),
    "format": lambda tmp, receipt: receipt.update(receipt=2),
    "no times": lambda tmp, receipt: receipt["inputs"][0].update(changed=0, modified=0),
    "input": lambda tmp, receipt: (tmp / "burst/frame_1.tif").write_bytes(b"x"),
    "input gone": lambda tmp, receipt: (tmp / "burst/frame_1.tif").unlink(),
    "new frame": lambda tmp, receipt: touch(tmp, "burst/frame_2.tif"),
    "result": lambda tmp, receipt: (tmp / "out/a.json").write_bytes(b"x"),
    "result gone": lambda tmp, receipt: (tmp / "out/a.tif").unlink(),
    "result unknown": lambda tmp, receipt: receipt["outputs"].pop(),
    "cut": lambda tmp, receipt: receipt.pop("outputs"),
}


@pytest.mark.parametrize("change", CHANGES)
def test_only_what_has_not_changed_is_left_alone(tmp_path, change):
    receipt = receipt_for(tmp_path)
    CHANGES[change](tmp_path, receipt)
    wanted = [str(tmp_path / "out/a.tif"), str(tmp_path / "out/a.json")]
    Path(wanted[0] + ".receipt").write_text(json.dumps(receipt))
    code = is_certainly_finished(str(tmp_path / "burst"), wanted, Confirmed("1", ("--nuc",)))
    assert code == (6 if change == "nothing" else None)


def record(path, seed, frames=5):
    y, x = np.mgrid[0:24, 0:32]
    noise = np.random.default_rng(seed)
    path.parent.mkdir(parents=True, exist_ok=True)
    np.save(path, np.float32([20 + 4 * np.sin((x - d) / 3) * np.cos((y + d) / 4) + noise.normal(0, 0.05, x.shape)
                              for d in (0, 0.4, -0.3, 0.7, 0.1)[:frames]]))


def lines(summary):
    return {Path(line["recording"]).name: line for line in map(json.loads, Path(summary.report).read_text().splitlines())}


@needs_program
def test_bad_recordings_stop_no_others(tmp_path):
    for name in ("a/good.npy", "a/short.npy", "b/crashing.npy", "b/other.npy"):
        record(tmp_path / "in" / name, seed=len(name), frames=2 if "short" in name else 5)
    (tmp_path / "in/a/broken.tif").write_text("nonsense")
    program = tmp_path / "program"
    program.write_text(f"#!/bin/sh\ncase $2 in */crash*) kill -SEGV $$;; esac\nexec {PROGRAM} \"$@\"\n")
    program.chmod(0o755)
    out = tmp_path / "out"
    options = ("--pipeline", "float", f"--report={out}/side/{{}}.json")
    seen = []
    summary = run_archive(str(tmp_path / "in"), str(out), options=options, program=str(program), scheduler="none",
                          progress=lambda so_far: seen.append(so_far.ended))
    assert (summary.recordings, summary.done, summary.failed, summary.exit_code) == (5, 2, 3, 5) and seen
    made = sorted(str(path.relative_to(out)) for path in out.rglob("*") if path.is_file())
    assert made == ["a/good.tif", "a/good.tif.receipt", "archive.jsonl", "b/other.tif", "b/other.tif.receipt",
                    "side/a/good.json", "side/b/other.json"]
    reasons = {"broken.tif": "is of no format that is read", "short.npy": "short.npy: too few frames: 2 given",
               "crashing.npy": "ended by SIGSEGV"}
    said = lines(summary)
    for name, reason in reasons.items():
        assert said[name]["state"] == "failed" and reason in said[name]["message"], said[name]
    assert {Path(failure.recording).name for failure in summary.failures} == set(reasons)
    # One that is set right is done, the others are left as they are.
    record(tmp_path / "in/a/short.npy", seed=3)
    summary = run_archive(str(tmp_path / "in"), str(out), options=options, program=PROGRAM, share=(1, 1))
    assert (summary.done, summary.unchanged, summary.failed, summary.exit_code) == (2, 2, 1, 2)
    assert summary.report == str(out / "archive-1-of-1.jsonl") and lines(summary)["good.npy"]["state"] == "unchanged"
    # Results are no recordings, by whatever name their folder is called.
    (tmp_path / "link").symlink_to(tmp_path)
    assert run_archive(str(tmp_path), str(tmp_path / "link/out"), options=options, program=PROGRAM, scheduler="none",
                       root=str(tmp_path / "in")).recordings == 5


def test_recording_that_takes_too_long_has_failed(tmp_path):
    program = tmp_path / "program"
    program.write_text("#!/bin/sh\nexec sleep 60\n")
    program.chmod(0o755)
    settings = Settings(str(program), (), str(tmp_path), timeout=0.05)
    outcome, = run_items(settings, [Item("a.npy", str(tmp_path / "a.tif"), "a")])
    assert outcome.failed and outcome.message == "took longer than 0.05 s"


def test_interrupt_ends_what_is_running(tmp_path):
    """Without waiting for it: what is left behind would be done by then."""
    touch(tmp_path, "in/a.npy", "in/b.npy", "in/c.npy")
    program = tmp_path / "program"
    work = f"sleep 3 2>&-; touch {tmp_path}/$$.done"
    program.write_text(f"#!/bin/sh\ncase $2 in */a.npy) exit 4;; *.npy) {work};; -o) exit 1;; esac\nexit 2\n")
    program.chmod(0o755)

    def interrupt(_):
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        run_archive(str(tmp_path / "in"), str(tmp_path / "out"), program=str(program), scheduler="none", workers=2,
                    progress=interrupt)
    assert not list(tmp_path.glob("*.done"))


def test_lost_scheduler_ends_the_run(tmp_path, monkeypatch):
    """Its recordings are not taken for failed ones."""
    failed = Future()
    failed.set_exception(CancelledError("lost"))
    lost = MagicMock(status="running")
    executor = lost.get_executor.return_value
    executor.submit.side_effect = lambda *_: setattr(lost, "status", "closed") or failed
    executor.shutdown.side_effect = OSError("no connection")
    lost.nthreads.return_value = {}
    lost.__enter__.return_value = lost
    lost.__exit__.return_value = None
    module = SimpleNamespace(Client=lambda *_, **__: lost, config=SimpleNamespace(set=lambda _: contextlib.nullcontext()))
    monkeypatch.setattr(_workers, "_dask", lambda: (module, module))
    with pytest.raises(ArchiveError, match=r"tcp://head:8786: the scheduler was lost \(lost\); the same command goes on"):
        with _workers.workers_of("tcp://head:8786", None) as workers:
            _drive(workers, None, iter([Item("a.npy", "a.tif", "a")]), None)


@needs_program
@pytest.mark.parametrize("given, reason", [
    (dict(options=["--frame", "7"]), "following arguments were not expected: --frame|--frame"),
    (dict(options=["--report", "r.html"]), "--report: its file has to hold {} for the name"),
    (dict(options=["--jobs", "2"]), "--jobs: is set for each recording"),
    (dict(options=["-o", "x"]), "-o: is set for each recording"),
    (dict(options=["--report=r.html", "--preview={}.png"]), "--report: its file has to hold {} for the name"),
    (dict(options=["--nuc", "x.npy"]), "--nuc x.npy: name an input besides options"),
    (dict(timeout=0.0), "timeout: 0 s is not above 0"),
    (dict(output="in/../in"), "/in: is the folder of the recordings"),
    (dict(program="/no/program"), "/no/program: cannot be run: No such file"),
    (dict(program="false"), "false: is not oravo-superres, or does not work here: exit code 1"),
    (dict(share=(4, 3)), "share: 4/3 is not"),
    (dict(workers=0), "workers: 0 is less"),
    (dict(recordings="some"), "recordings: 'some' is none of auto, files"),
    (dict(source="/no/folder"), "/no/folder: is no folder"),
])
def test_runs_that_cannot_be_are_refused(tmp_path, given, reason):
    record(tmp_path / "in/a.npy", 1)
    whole = {"source": str(tmp_path / "in"), "output": "out", "program": PROGRAM, "scheduler": "none", **given}
    whole["output"] = str(tmp_path / whole["output"])
    with pytest.raises(ArchiveError, match=reason):
        run_archive(**whole)
    assert not list(tmp_path.glob("*/*.tif"))


@needs_program
def test_one_run_at_a_time_but_shares_together(tmp_path):
    record(tmp_path / "in/a.npy", 1)
    out = tmp_path / "out"
    out.mkdir()
    run = lambda **more: run_archive(str(tmp_path / "in"), str(out), program=PROGRAM, scheduler="none", **more)
    folder = os.open(out, os.O_RDONLY)
    fcntl.flock(folder, fcntl.LOCK_EX)  # as --jobs does
    for share in (None, (1, 2)):
        with pytest.raises(ArchiveError, match="out: another run is writing there"):
            run(share=share)
    fcntl.flock(folder, fcntl.LOCK_SH)  # as the other share does
    assert sum(run(share=(i, 2)).done for i in (1, 2)) == 1
    with pytest.raises(ArchiveError, match="out: another run is writing there"):
        run()
    os.close(folder)
    assert run().unchanged == 1


@needs_program
def test_command_reads_lists_and_shows_failures(tmp_path):
    record(tmp_path / "in/a.npy", 1)
    names = f"in/a.npy\n{tmp_path}/in/no\x1b.npy\n"
    command = [sys.executable, "-m", "oravo_superres.archive", "-", "--list", "-o", "out", "--scheduler", "none", "--program",
               PROGRAM, "--", "--pipeline", "float"]
    run = subprocess.run(command, cwd=tmp_path, input=names, capture_output=True, text=True)
    assert run.returncode == 2 and (tmp_path / "out/in/a.tif").exists() and "\x1b" not in run.stderr
    assert run.stderr.splitlines()[1].split() == ["failed", "code", "reason"]
    assert f"{tmp_path}/in/no?.npy     2  {tmp_path}/in/no?.npy: no such file" in run.stderr
    assert run.stderr.endswith("out: 2 recordings: 1 done, 0 finished before, 1 failed\n")
    refused = subprocess.run([*command[:4], "--share", "9/8", "-o", "x"], cwd=tmp_path, input=names, capture_output=True, text=True)
    assert refused.returncode == 1 and "9/8 is not I/N" in refused.stderr
