"""A quick look at the receipts that ``oravo-superres enhance --resume`` writes beside its images.

The program alone decides what is finished. Starting it takes two thousand times as long as a look at its receipt, though, and so
items are left alone without it when nothing can have changed: same version and options as in a receipt that the program
has just written or confirmed, and same sizes and times of all files.
"""

import json
import os
from typing import Any, List, NamedTuple, Optional, Tuple


class Confirmed(NamedTuple):
    """What all receipts of a run have in common."""

    version: str
    options: Tuple[str, ...]


def _receipt(result: str) -> Any:
    try:
        with open(result + ".receipt", encoding="utf-8") as file:
            return json.load(file)
    except (OSError, ValueError):
        return None


def confirmed_by(result: str) -> Optional[Confirmed]:
    """To be called when the program has just ended with success."""
    receipt = _receipt(result)
    return Confirmed(receipt["version"], tuple(receipt["options"])) if receipt else None


def _is_unchanged(state: Any) -> bool:
    if not state["changed"]:
        return False
    found = os.stat(state["file"])
    marks = 0 if os.path.isdir(state["file"]) else found.st_size, found.st_mtime_ns, found.st_ctime_ns
    return marks == (state["size"], state["modified"], state["changed"])


def _is_there(state: Any, folder: str) -> bool:
    found = os.stat(os.path.join(folder, state["file"]))
    return (found.st_size, found.st_mtime_ns) == (state["size"], state["modified"])


def is_certainly_finished(recording: str, wanted: List[str], known: Confirmed) -> Optional[int]:
    """The exit code that the recording ended with, or None where the program has to decide.

    :param wanted: all result files, the image first
    """
    receipt = _receipt(wanted[0])
    folder = os.path.dirname(wanted[0])
    try:
        if (receipt is None or receipt["receipt"] != 1 or receipt["version"] != known.version
                or tuple(receipt["options"]) != known.options or receipt["recording"] != [recording]):
            return None
        made = {os.path.normpath(os.path.join(folder, state["file"])) for state in receipt["outputs"]}
        if not made.issuperset(map(os.path.normpath, wanted)):
            return None
        if not all(map(_is_unchanged, receipt["folders"] + receipt["inputs"])):
            return None
        if not all(_is_there(state, folder) for state in receipt["outputs"]):
            return None
        return int(receipt["exit_code"])
    except (OSError, KeyError, TypeError, ValueError):
        return None
