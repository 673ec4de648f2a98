"""The command: python3 -m oravo_superres.archive."""

import argparse
import sys
from typing import Iterator, List, Optional, Tuple

from ._plan import MODES
from ._run import Summary, run_archive
from ._workers import ArchiveError

_USAGE, _OUTPUT, _INTERRUPTED = 1, 3, 130
_WIDEST = 100  # column of the table

_DESCRIPTION = """\
Enhances every recording of an archive by oravo-superres. The image of SOURCE/day/a.npy becomes OUTPUT/day/a.tif. What a
run before this one finished is left as it is, so that one that was ended goes on by the same command. OUTPUT/archive.jsonl
gets a line for each recording."""

_CODES = """\
What follows -- goes to oravo-superres enhance, such as -- --pipeline float --report 'reports/{}.html'; {} stands for day/a.

Exit codes: 0 all done, 1 the run cannot be or has lost its scheduler, 3 the folder cannot be written, 6 all done, but
an image is not known to be better than bicubic enlargement; where recordings failed, the highest code of theirs: 2
unreadable, 3 not to be written, 4 not to be reconstructed, 5 internal failure."""


def _share(text: str) -> Tuple[int, int]:
    number, _, of = text.partition("/")
    try:
        share = int(number), int(of)
    except ValueError:
        share = 0, 0
    if not 1 <= share[0] <= share[1]:
        raise argparse.ArgumentTypeError(f"{text} is not I/N with 1 <= I <= N, such as 3/64")
    return share


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser("oravo_superres.archive", description=_DESCRIPTION, epilog=_CODES,
                                     usage="python3 -m oravo_superres.archive SOURCE -o OUTPUT [OPTION...] [-- ENHANCE_OPTION...]",
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    add = parser.add_argument
    add("source", metavar="SOURCE", help="a folder tree; with --list a file of names, one a line, or - for standard input")
    add("-o", "--output", required=True, help="the folder of the results")
    add("--list", action="store_true", help="SOURCE is a list of recordings: files, and folders of frames")
    add("--root", help="the folder below which results are named like recordings (default: SOURCE; of a list, this one)")
    add("--recordings", choices=MODES, default="auto",
        help="what is one in a tree: each file, each folder of files, or (auto) each folder whose files are named frame... "
             "or hold one frame each, and each file elsewhere")
    add("--scheduler", metavar="ADDRESS", help="dask.distributed's, such as tcp://head:8786 (default: workers of this machine's "
                                               "own); none: without dask")
    add("--workers", type=int, metavar="N", help="recordings at a time on this machine (default: one each processor)")
    add("--share", type=_share, metavar="I/N", help="only the I-th of N shares, which others do elsewhere at the same time; "
                                                    "without dask, unless --scheduler is given")
    add("--program", default="oravo-superres", help="where workers find it (default: on the path)")
    add("--timeout", type=float, metavar="SECONDS", help="after which a recording has failed")
    return parser


def _names(file: str) -> Iterator[str]:
    try:
        with open(0 if file == "-" else file, encoding="utf-8", errors="surrogateescape") as lines:
            for line in lines:
                if line.rstrip("\n"):
                    yield line.rstrip("\n")
    except OSError as error:
        raise ArchiveError(f"{file}: cannot be read: {error.strerror}") from error


def _printable(text: str) -> str:
    return "".join(c if c.isprintable() else "?" for c in text)


def _say(text: str) -> None:
    print(_printable(text), file=sys.stderr)


def _show(summary: Summary) -> None:
    text = f"{summary.ended} of {summary.recordings} recordings, {summary.failed} failed"
    print(f"\r{text}", end="\x1b[K", file=sys.stderr, flush=True)


def _conclude(summary: Summary, output: str) -> int:
    if summary.failures:
        width = min(_WIDEST, max(len(_printable(failure.recording)) for failure in summary.failures))
        _say("")
        _say(f"{'failed':{width}}  code  reason")
        for failure in summary.failures:
            _say(f"{_printable(failure.recording):{width}}  {failure.exit_code:4}  {failure.message}")
        if summary.failed > len(summary.failures):
            _say(f"and {summary.failed - len(summary.failures)} more: see {summary.report}")
    parts = [f"{summary.done} done", f"{summary.unchanged} finished before", f"{summary.failed} failed"]
    if summary.doubtful:
        parts.append(f"{summary.doubtful} not known to be better than bicubic enlargement")
    _say(f"{output}: {summary.recordings} recordings: {', '.join(parts)}")
    return summary.exit_code


def main(arguments: Optional[List[str]] = None) -> int:
    given = sys.argv[1:] if arguments is None else arguments
    cut = given.index("--") if "--" in given else len(given)
    try:
        options = _parser().parse_args(given[:cut])
    except SystemExit as end:
        return _USAGE if end.code else 0
    progress = _show if sys.stderr.isatty() else None
    try:
        summary = run_archive(_names(options.source) if options.list else options.source, options.output,
                              options=given[cut + 1:], root=options.root, recordings=options.recordings,
                              scheduler=options.scheduler, workers=options.workers, share=options.share,
                              program=options.program, timeout=options.timeout, progress=progress)
    except (ArchiveError, ValueError, OSError) as error:  # of which Duplicates is one
        for line in str(error).splitlines():
            _say(f"oravo_superres.archive: {line}")
        return _OUTPUT if isinstance(error, OSError) else _USAGE
    except KeyboardInterrupt:
        _say("oravo_superres.archive: interrupted; the same command goes on")
        return _INTERRUPTED
    if progress is not None:
        print("\r\x1b[K", end="", file=sys.stderr)
    return _conclude(summary, options.output)


if __name__ == "__main__":
    sys.exit(main())
