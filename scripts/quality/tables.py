"""The figures as a page in Markdown."""

import numpy as np

from . import peers
from .bursts import KINDS
from .targets import Table, silent_ones

LEGEND = """Gain over bicubic in dB: mean over the bursts (worst); then, where there are some, how many results are
below bicubic by more than 0.1 dB, and after the slash how many of these without a warning."""
PARTS = "flat", "hot", "cold", "plate"
RADIOMETRY = "noise_1", "noise_15", "dead", "columns_10", "object", "plate", "plate_moves"
# What a choice changes: method, what it is held against, and what it is.
CHOICES = [("float-long", "float", "float with `--relative-residue 0.001 --iterations 30`"),
           ("float-given", "float", "float, given the camera's true blur"),
           ("precise-given", "precise", "precise, given the camera's true blur"),
           ("precise-best", "precise", "precise with the weight that is best with the truth in hand"),
           ("precise-patternless", "precise", "precise without looking for fixed patterns"),
           ("precise-5", "precise", "precise, given the newest five frames only")]
# What the camera itself shows before the burst: kind, method's ending, and what is found out how.
SENSOR = [("dead", "listed", "list of `defects detect`, of a recording of another scene"),
          ("columns_10", "learnt", "`pattern learn` of two other scenes"),
          ("white_10", "learnt", "the same"),
          ("columns_3", "learnt", "the same"),
          ("white_3", "learnt", "the same"),
          ("blur_sharp", "measured", "`measure blur` of an edge"),
          ("blur_wide", "measured", "the same"),
          ("blur_far_off", "measured", "the same")]


def page(rows, outcome):
    parts = [LEGEND]
    for title, recorded in ("Recorded pictures and bursts", True), ("Rendered pictures", False):
        mine = [row for row in rows if row["recorded"] == recorded]
        if mine:
            parts += [f"## {title}", gains(mine, [m for m in Table(mine).methods if m in ("float", "precise")])]
    seen = {(row["kind"], row["view"]) for row in rows if row["method"] in peers.NAMES}
    if seen:
        some = [row for row in rows if (row["kind"], row["view"]) in seen]
        parts += ["## Peers", gains(some, ["float", "precise", *peers.NAMES])]
    known = knowing(rows)
    if known:
        parts += ["## Knowing the sensor", known]
    parts += ["## Temperatures", radiometry(rows), "## Choices", choices(rows), "## Targets", goals(outcome)]
    return "\n\n".join(part for part in parts if part) + "\n"


def gains(rows, methods):
    """Kinds of bursts against methods: what is gained over bicubic."""
    table = Table(rows)
    lines = [_row("burst", "number", "bicubic, dB", *methods), _rule(3 + len(methods))]
    for kind in table.kinds:
        base = table.figures(kind, "bicubic", "psnr")
        lines.append(_row(KINDS[kind].what, len(base), f"{base.mean():.1f}", *(_gain(table, kind, m) for m in methods)))
    return "\n".join(lines)


def _gain(table, kind, method):
    found = table.gains(kind, method)
    if not found.size:
        return ""
    mine = table.rows(kind, method)
    below, silent = sum(row["gain"] < -0.1 for row in mine), len(silent_ones(mine))
    return f"{found.mean():+.1f} ({found.min():+.1f})" + (f" {below}/{silent}" if below else "")


def knowing(rows):
    """What each pipeline gains by knowing its sensor, beside what it gains without, and with the truth in hand."""
    table = Table(rows)
    lines = [_row("burst", "known by", "number", "float", "float, knowing it", "precise", "precise, knowing it",
                  "precise, given the truth"), _rule(8)]
    for kind, way, how in SENSOR:
        if table.rows(kind, f"precise-{way}"):
            methods = "float", f"float-{way}", "precise", f"precise-{way}", "precise-given"
            number = len(table.rows(kind, f"precise-{way}"))
            lines.append(_row(KINDS[kind].what, how, number, *(_gain(table, kind, m) for m in methods)))
    return "\n".join(lines) if len(lines) > 2 else ""


def radiometry(rows):
    """Bias of parts of the picture, and similarity of the whole."""
    table = Table(rows)
    lines = [_row("burst", "method", *(f"{part}, mK" for part in PARTS), "SSIM"), _rule(3 + len(PARTS))]
    for kind in filter(table.kinds.__contains__, RADIOMETRY):
        for method in "bicubic", "float", "precise":
            if table.rows(kind, method):
                parts = (_bias(table.figures(kind, method, part + "_bias")) for part in PARTS)
                similar = table.figures(kind, method, "ssim").mean()
                lines.append(_row(KINDS[kind].what, method, *parts, f"{similar:.4f}"))
    return "\n".join(lines)


def _bias(found):
    return f"{1e3 * found.mean():+.0f} ({1e3 * max(found, key=abs):+.0f})" if found.size else ""


def choices(rows):
    """What other settings change."""
    table = Table(rows)
    lines = [_row("burst", "choice", "number", "changes the result by, dB"), _rule(4)]
    for method, base, what in CHOICES:
        for kind in table.kinds:
            found = table.difference(kind, method, kind, base)
            if found.size:
                lines.append(_row(KINDS[kind].what, what, len(found),
                                  f"{np.mean(found):+.2f} ({found.min():+.2f} to {found.max():+.2f})"))
    return "\n".join(lines) if len(lines) > 2 else ""


def goals(outcome):
    lines = [_row("target", "wanted", "measured", "met"), _rule(4)]
    lines += [_row(t["what"], t["wanted"], t["measured"], "yes" if t["met"] else "**no**") for t in outcome]
    return "\n".join(lines)


def _row(*cells):
    return f"| {' | '.join(map(str, cells))} |"


def _rule(columns):
    return "|---" * columns + "|"
