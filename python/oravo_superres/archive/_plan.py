"""Which recordings an archive holds, and which image each becomes."""

import os
import sqlite3
import zlib
from pathlib import PurePath
from typing import Iterable, Iterator, List, Optional, Set, Tuple

from ._items import Item

# Formats that hold many frames in a file, and those that hold one.
MANY_FRAMES = (".tif", ".tiff", ".npy", ".mkv", ".avi", ".mov", ".nut")
ONE_FRAME = (".png", ".pgm", ".csv", ".tsv", ".asc")
JPEG = (".jpg", ".jpeg")
RAW = (".raw", ".bin", ".dat")

Found = Tuple[str, bool]  # path of a recording, and whether it is a folder
Share = Tuple[int, int]  # (i, n): the i-th of n

MODES = ("auto", "files", "folders")


class Duplicates(ValueError):
    """Two recordings would become one image."""


def _has(name: str, extensions: Tuple[str, ...]) -> bool:
    return name.lower().endswith(extensions)


def _is_radiometric(path: str) -> bool:
    """Whether a JPEG file holds a raw thermal image, as its first segments tell; pictures for the eye are no recordings."""
    start = 256 * 1024
    if not os.path.isfile(path):  # a pipe is one to wait for
        return True
    try:
        with open(path, "rb") as file:
            return b"FLIR\0" in file.read(start)
    except OSError:  # the program says why it cannot be read
        return True


def _pictures(tree: str, files: List[str]) -> Set[str]:
    """The JPEG files for the eye."""
    return {name for name in files if _has(name, JPEG) and not _is_radiometric(os.path.join(tree, name))}


def _is_recording(files: List[str], mode: str, raw: bool) -> bool:
    """Whether the frames of a folder are one recording: those named "frame...", or files of one frame each."""
    extensions = RAW if raw else MANY_FRAMES + ONE_FRAME + JPEG
    if mode != "auto":
        return mode == "folders" and any(_has(name, extensions) for name in files)
    if any(name.startswith("frame") and _has(name, extensions) for name in files):
        return True
    if raw or any(_has(name, MANY_FRAMES) for name in files):
        return False
    return any(_has(name, ONE_FRAME + JPEG) for name in files)


def recordings_in(tree: str, *, mode: str = "auto", raw: bool = False, without: str = "") -> Iterator[Found]:
    """Walks a tree, folder by folder in the order of names, and gives each recording.

    :param mode: ``files``: each file that can hold frames is a recording; ``folders``: each folder that holds such files;
        ``auto``: a folder whose frames are named "frame..." or whose files hold one frame each is one, else its files are.
        A folder that cannot be read is one, too: its failure says why
    :param raw: frames are raw dumps
    :param without: a folder that is left out, such as that of the results, without links in its name
    """
    alone = RAW if raw else MANY_FRAMES if mode == "auto" else MANY_FRAMES + ONE_FRAME + JPEG
    try:
        with os.scandir(tree) as found:
            entries = sorted((entry.name, entry.is_dir(follow_symlinks=False)) for entry in found if entry.name[0] != ".")
    except OSError:
        yield tree, True
        return
    files = [name for name, is_folder in entries if not is_folder]
    pictures = set() if raw else _pictures(tree, files)
    files = [name for name in files if name not in pictures]
    whole = _is_recording(files, mode, raw)
    if whole:
        yield tree, True
        if mode == "auto":
            return
    for name, is_folder in entries:
        path = os.path.join(tree, name)
        if is_folder:
            if os.path.realpath(path) != without:
                yield from recordings_in(path, mode=mode, raw=raw, without=without)
        elif not whole and mode != "folders" and name not in pictures and _has(name, alone):
            yield path, False


def listed(names: Iterable[str]) -> Iterator[Found]:
    """Recordings by their names."""
    for name in names:
        yield name, os.path.isdir(name)


def result_name(recording: str, is_folder: bool, root: str) -> str:
    """The path of a recording's image below the results' folder, without its extension: that of the recording below root.

    :raises ValueError: it lies elsewhere
    """
    below = PurePath(os.path.relpath(recording, root))
    if below.parts[:1] == ("..",):
        raise ValueError(f"{recording}: does not lie in {root}, below which results are named")
    if not below.parts:  # the tree itself is one
        return os.path.basename(os.path.abspath(recording))
    return str(below if is_folder else below.with_suffix(""))


class Plan:
    """The recordings of a run with the names of their results, in the order of these; on disk, since there may be millions."""

    _SHOWN = 5

    def __init__(self, recordings: Iterable[Found], root: str) -> None:
        """:raises Duplicates: two would become one image"""
        self._table = sqlite3.connect("")  # a temporary file without a name
        self._table.execute("CREATE TABLE item (result BLOB PRIMARY KEY, recording BLOB) WITHOUT ROWID")
        double: List[Tuple[str, str, str]] = []
        count = 0
        for recording, is_folder in recordings:
            name = result_name(recording, is_folder, os.path.abspath(root))
            row = os.fsencode(name), os.fsencode(os.path.abspath(recording))
            if self._table.execute("INSERT OR IGNORE INTO item VALUES (?, ?)", row).rowcount == 0:
                count += 1
                if len(double) < self._SHOWN:
                    double.append((self._recording_of(row[0]), recording, name))
        if double:
            lines = [f"{first} is listed twice" if first == os.path.abspath(second) else
                     f"{first} and {second} would both become {name}.tif" for first, second, name in double]
            if count > len(double):
                lines.append(f"and {count - len(double)} more")
            raise Duplicates("\n".join(lines))

    def _recording_of(self, name: bytes) -> str:
        row = self._table.execute("SELECT recording FROM item WHERE result = ?", (name,)).fetchone()
        return os.fsdecode(row[0])

    def count(self, share: Optional[Share] = None) -> int:
        return sum(1 for _ in self._rows(share))

    def folders(self, output: str) -> Iterator[str]:
        """Those that results go to, each once or a few times."""
        last = None
        for name, _ in self._rows(None):
            folder = os.path.dirname(os.path.join(output, os.fsdecode(name)))
            if folder != last:
                yield folder
            last = folder

    def items(self, output: str, share: Optional[Share] = None) -> Iterator[Item]:
        """All items, or the i-th of n shares of them, which stay the same while recordings are added or taken away."""
        for name, recording in self._rows(share):
            result = os.path.join(output, os.fsdecode(name)) + ".tif"
            yield Item(os.fsdecode(recording), result, os.fsdecode(name))

    def _rows(self, share: Optional[Share]) -> Iterator[Tuple[bytes, bytes]]:
        for row in self._table.execute("SELECT result, recording FROM item ORDER BY result"):
            if share is None or zlib.crc32(row[0]) % share[1] == share[0] - 1:
                yield row
