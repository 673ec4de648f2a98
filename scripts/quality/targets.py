"""What the precise engine is meant to reach, and whether it does."""

import numpy as np

SILENT = -0.1  # dB against bicubic, below which a result has to say something
GOOD = 0.3  # dB against bicubic, above which it has no reason to


def judged(rows):
    """A list of targets with what was measured; those without a measurement are left out.

    Gains count on recorded pictures, where there are some: the sharp edges of rendered ones suit the prior too well.
    """
    plates = [row for row in rows if row["kind"].startswith("plate")]
    recorded = [row for row in rows if row["recorded"]]
    table = Table(recorded + plates if recorded else rows)
    found = []

    def target(what, wanted, measured, met):
        found.append({"what": what, "wanted": wanted, "measured": measured, "met": bool(met)})

    for part in (against_float, against_undisturbed, with_patterns, on_recordings, with_twelve_frames, readings,
                 chosen_weight):
        part(table, target)
    warnings([row for row in rows if row["method"] == "precise"], target)
    return found


def against_float(table, target):
    for kind, mean in ("noise_1", 2.8), ("noise_5", 0.9), ("noise_15", 4.3):
        gains = table.difference(kind, "precise", kind, "float-unguarded")
        if gains.size:
            target(f"{kind}: over float --no-guard", f"mean +{mean}, worst -0.2 dB", in_words(gains),
                   gains.mean() >= mean and gains.min() >= -0.2)


def against_undisturbed(table, target):
    for kind in "turn_1", "turn_2", "zoom", "drift", "gain", "jump", "dead":
        most = 0.5 if kind == "dead" else 0.4
        losses = table.difference("noise_1", "precise", kind, "precise")
        if losses.size:
            target(f"{kind}: below the undisturbed burst", f"mean at most {most} dB", in_words(losses, worst=max),
                   losses.mean() <= most)


def with_patterns(table, target):
    for kind in "white_10", "columns_10", "white_10_24", "columns_10_24":
        gains = table.gains(kind, "precise")
        if gains.size:
            target(f"{kind}: over bicubic", "mean +3 dB", in_words(gains), gains.mean() >= 3)
    for kind in "noise_1", "white_3", "columns_3":
        gains = table.difference(kind, "precise", kind, "precise-patternless")
        if gains.size:
            target(f"{kind}: over the same without a search for patterns", "worst -0.1 dB", in_words(gains),
                   gains.min() >= -0.1)


def on_recordings(table, target):
    gains = np.concatenate([table.gains(kind, "precise") for kind in ("real", "real_video")])
    if gains.size:
        target("recorded, five frames: over bicubic", "mean +1.6 dB", in_words(gains), gains.mean() >= 1.6)


def with_twelve_frames(table, target):
    for kind in "frames_12", "frames_12_noisy", "real_12", "real_video_12":
        gains = table.difference(kind, "precise", kind, "float")
        if gains.size:
            target(f"{kind}: over float's five", "mean +1, worst 0 dB", in_words(gains),
                   gains.mean() >= 1 and gains.min() >= 0)


def readings(table, target):
    for kind in "plate", "plate_moves":
        errors = 1e3 * abs(table.figures(kind, "precise", "plate_bias"))
        if errors.size:
            target(f"{kind}: reading of 45 degrees", "within 100 mK", f"worst {errors.max():.0f} mK",
                   errors.max() <= 100)
    errors = 1e3 * table.figures("noise_1", "precise", "flat_bias")
    if errors.size:
        target("flat areas: bias", "below 5 mK", f"mean {abs(errors).mean():.1f}, worst {abs(errors).max():.1f} mK",
               abs(errors).mean() < 5)


def chosen_weight(table, target):
    losses = np.concatenate([table.difference(kind, "precise-best", kind, "precise") for kind in table.kinds])
    if losses.size:
        target("weight chosen without truth: below the best", "mean 0.3, worst 0.8 dB", in_words(losses, worst=max),
               losses.mean() <= 0.3 and losses.max() <= 0.8)


def warnings(rows, target):
    if not rows:
        return
    silent, good = silent_ones(rows), [row for row in rows if row["gain"] > GOOD]
    # A tripod's image is better than bicubic, but shows nothing that one frame does not, and may say so.
    alarms = [row for row in good if row["warnings"] and row["kind"] != "tripod"]
    target("below bicubic by more than 0.1 dB without a warning", "none", f"{len(silent)} of {len(rows)}", not silent)
    target("warnings about results better by 0.3 dB", "below 2 %", f"{len(alarms)} of {len(good)}",
           len(alarms) < max(1, 0.02 * len(good)))


def in_words(differences, worst=min):
    return f"mean {differences.mean():+.2f}, worst {worst(differences):+.2f} dB"


def silent_ones(rows):
    """Results worse than bicubic by more than they may be without a word."""
    return [row for row in rows if row["gain"] < SILENT and not row["warnings"]]


class Table:
    """Rows by kind and method."""

    def __init__(self, rows):
        self._rows = {(row["kind"], row["method"], row["view"]): row for row in rows}
        self.kinds = list(dict.fromkeys(row["kind"] for row in rows))
        self.methods = list(dict.fromkeys(row["method"] for row in rows))

    def rows(self, kind, method):
        return [row for (k, m, _), row in self._rows.items() if (k, m) == (kind, method)]

    def gains(self, kind, method):
        """Over bicubic, dB, of each burst."""
        return np.array([row["gain"] for row in self.rows(kind, method)])

    def figures(self, kind, method, name):
        return np.array([row["figures"][name] for row in self.rows(kind, method) if name in row["figures"]])

    def difference(self, kind, method, other_kind, other_method):
        """How much closer to the truth the former is than the latter, dB, of each view that both have."""
        other = {row["view"]: row for row in self.rows(other_kind, other_method)}
        return np.array([20 * np.log10(other[row["view"]]["figures"]["rmse"] / row["figures"]["rmse"])
                         for row in self.rows(kind, method) if row["view"] in other])
