"""The figures as a page in Markdown."""

from . import peers
from .bursts import KINDS
from .targets import Table, silent_ones


def page(rows, outcome):
    parts = []
    for title, recorded in ("Recorded pictures and bursts", True), ("Rendered pictures", False):
        mine = [row for row in rows if row["recorded"] == recorded]
        if mine:
            parts += [f"## {title}", gains([row for row in mine if row["method"] not in peers.NAMES])]
    seen = {(row["kind"], row["view"]) for row in rows if row["method"] in peers.NAMES}
    if seen:
        parts += ["## Peers", gains([row for row in rows if (row["kind"], row["view"]) in seen and row["method"] in
                                     ("bicubic", "float", "precise", *peers.NAMES)])]
    return "\n\n".join(parts + [LEGEND, "## Further figures", details(rows), "## Targets", goals(outcome)]) + "\n"


LEGEND = ("Gain over bicubic in dB: mean (worst); then how many results are below bicubic by more than 0.1 dB, and, behind "
          "a stroke, how many of these without a warning.")
PARTS = "flat", "hot", "cold", "plate"


def gains(rows):
    """Kinds of bursts against methods: what is gained over bicubic."""
    table = Table(rows)
    methods = [method for method in table.methods if method != "bicubic"]
    lines = [_row("burst", "number", "bicubic, dB", *methods), _rule(3 + len(methods))]
    for kind in table.kinds:
        base = table.figures(kind, "bicubic", "psnr")
        lines.append(_row(KINDS[kind].what, len(base), f"{base.mean():.2f}", *(_gain(table, kind, m) for m in methods)))
    return "\n".join(lines)


def _gain(table, kind, method):
    found = table.gains(kind, method)
    if not found.size:
        return ""
    mine = table.rows(kind, method)
    below, silent = sum(row["gain"] < -0.1 for row in mine), len(silent_ones(mine))
    return f"{found.mean():+.2f} ({found.min():+.2f})" + (f" {below}/{silent}" if below else "")


def details(rows):
    """Further figures, means over the bursts of a kind."""
    table = Table(rows)
    lines = [_row("burst", "method", "RMSE", "SSIM", *(f"{part}, mK" for part in PARTS), "seconds"), _rule(9)]
    for kind in table.kinds:
        for method in table.methods:
            mine = table.rows(kind, method)
            if not mine:
                continue
            seconds = [row["facts"]["seconds"] for row in mine]
            lines.append(_row(KINDS[kind].what, method, f"{table.figures(kind, method, 'rmse').mean():.4f}",
                              f"{table.figures(kind, method, 'ssim').mean():.4f}",
                              *(_bias(table.figures(kind, method, part + "_bias")) for part in PARTS),
                              f"{sum(seconds) / len(seconds):.2f}"))
    lines.append("")
    lines.append("Bias of flat areas (where the truth changes by less than 2 % of its range within 9 x 9 pixels), of "
                 "the hottest and coldest hundredth, and of a plate of 45 degrees: mean over the bursts (largest).")
    return "\n".join(lines)


def _bias(found):
    if not found.size:
        return ""
    return f"{1e3 * found.mean():+.1f} ({1e3 * max(found, key=abs):+.1f})"


def goals(outcome):
    lines = [_row("target", "wanted", "measured", "met"), _rule(4)]
    lines += [_row(t["what"], t["wanted"], t["measured"], "yes" if t["met"] else "**no**") for t in outcome]
    return "\n".join(lines)


def _row(*cells):
    return f"| {' | '.join(map(str, cells))} |"


def _rule(columns):
    return "|---" * columns + "|"
