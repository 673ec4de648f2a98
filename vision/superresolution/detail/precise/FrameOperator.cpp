#include "vision/superresolution/detail/precise/FrameOperator.h"

#include <algorithm>

namespace oravo::vision::detail::precise {
namespace {

constexpr int kTaps = 4;  ///< rows that a pixel reaches
constexpr int kStride =
    8;  ///< rows that each step of a sweep goes on by, so that what it reads stays in the cache
constexpr int kSplineRows = 16;  ///< kept at a time; a power of two
constexpr int kJoinedRows = 32;
/// How many rows beyond each end of a band its sweep reads: the blur's adjoint takes gathered rows, these take runs that
/// reach them, and the blur makes the coefficients of these runs from further rows.
constexpr int kReach = kBlurRadius + (kTaps - 1) + kBlurRadius;
constexpr int kLeastBand = 32;  ///< rows; of fewer, most would be computed twice
static_assert(kLeastBand >= 2 * kReach, "a row is shared by two bands at most");
static_assert(kSplineRows >= kStride + kTaps && kJoinedRows >= kStride + 3 * kBlurRadius,
              "rows in use are kept");

}  // namespace

FrameOperator::SweepRows::SweepRows(const Grid& grid, const CameraBlur& shared)
    : blur(shared.withRowsOfItsOwn()),
      coefficients(grid, kSplineRows),
      gathered(grid, kSplineRows),
      joined(grid.columns(), kJoinedRows),
      values(static_cast<std::size_t>(grid.width)) {
}

FrameOperator::FrameOperator(const Grid& grid, const BlurShape& blur, const Threads& threads)
    : grid_(grid), blur_(grid, blur), threads_(threads), bands_(threads.bands(grid.rows(), kLeastBand)) {
    for (int slot = 0; slot < threads.count(); ++slot) rows_.emplace_back(grid, blur_);
}

void FrameOperator::place(const std::vector<FrameState>& frames) {
    weights_.clear();
    rowStarts_.assign(static_cast<std::size_t>(grid_.rows()) + 1, 0);
    for (const FrameState& frame : frames) {
        weights_.push_back(frame.weight);
        if (!frame.used) continue;
        for (const SampleRun& run : frame.runs) ++rowStarts_[static_cast<std::size_t>(run.row) + 1];
    }
    for (std::size_t row = 1; row < rowStarts_.size(); ++row) rowStarts_[row] += rowStarts_[row - 1];
    runs_.resize(rowStarts_.back());
    std::vector<std::size_t> next(rowStarts_);
    for (std::size_t k = 0; k < frames.size(); ++k) {
        if (!frames[k].used) continue;
        for (const SampleRun& run : frames[k].runs) {
            runs_[next[static_cast<std::size_t>(run.row)]++] = {run, k};
        }
    }
}

Band FrameOperator::extended(Band band, int by) const {
    return {std::max(band.first - by, 0), std::min(band.end + by, grid_.rows())};
}

template <class Task>
void FrameOperator::forBands(const Task& task) const {
    threads_.forEach(bands_,
                     [&](int band, int slot) { task(Threads::bandOf(band, bands_, grid_.rows()), slot); });
}

/// Visits all runs that reach a band of gathered rows, by the rows of the grid.
/// @param ready  called with a row before a run that reaches it is visited
/// @param visit  called with each run
/// @param done   called with rows of the band that all runs have added to
template <class Ready, class Visit, class Done>
void FrameOperator::sweep(const SplineImage& gathered, Band band, Ready ready, Visit visit, Done done) const {
    const int start = std::max(band.first - (kTaps - 1), 0);
    int entered = start;
    for (int first = start; first < band.end; first += kStride) {
        const int end = std::min(first + kStride, band.end);
        for (; entered < std::min(end + kTaps - 1, grid_.rows()); ++entered) {
            gathered.clearRow(entered);
            ready(entered);
        }
        for (std::size_t i = rowStarts_[static_cast<std::size_t>(first)];
             i < rowStarts_[static_cast<std::size_t>(end)]; ++i) {
            visit(runs_[i]);
        }
        if (end > band.first) done(Band{std::max(first, band.first), end});
    }
}

/// Rows of the band that are complete once the swept ones are gathered.
Band FrameOperator::finishRows(const SweepRows& rows, Band swept, Band band, const PaddedImage& out) const {
    for (int row = swept.first; row < swept.end; ++row) {
        rows.blur.joinRow(rows.gathered, row, rows.joined.row(row % kJoinedRows));
        rows.joined.mirrorRow(row % kJoinedRows);
    }
    // The filter's last rows wait for those below them.
    const int end = swept.end == grid_.rows() ? swept.end : swept.end - kBlurRadius;
    const Band complete{std::max(swept.first - kBlurRadius, band.first), std::min(end, band.end)};
    for (int row = complete.first; row < complete.end; ++row)
        rows.blur.filter([&](int y) { return rows.joined.row(y % kJoinedRows); }, row, out.row(row));
    return complete;
}

void FrameOperator::applyToBand(const PaddedImage& v, const BeforeRow& before, const AfterRow& after,
                                Band band, int slot, const PaddedImage& out) const {
    const PreciseKernels& kernels = preciseKernels();
    const SweepRows& rows = rows_[static_cast<std::size_t>(slot)];
    const SplineView from = rows.coefficients.view(), to = rows.gathered.view();
    // Rows that the neighbours read, too, have been prepared.
    const int sharedEnd = band.first == 0 ? 0 : band.first + kReach;
    const int ownEnd = band.end == grid_.rows() ? band.end : band.end - kReach;
    int read = sharedEnd;
    sweep(
        rows.gathered, extended(band, kBlurRadius),
        [&](int row) {
            for (; read < std::min(row + kBlurRadius + 1, ownEnd); ++read) {
                if (before) before(read);
                v.mirrorRow(read);
            }
            rows.blur.toRow(v, row, rows.coefficients);
        },
        [&](const PlacedRun& placed) {
            kernels.sampleAndSpread(from, placed.run,
                                    weights_[placed.frame].data() + grid_.rowStart(placed.run.y), to);
        },
        [&](Band swept) {
            const Band complete = finishRows(rows, swept, band, out);
            for (int y = complete.first; after && y < complete.end; ++y) after({y, slot, y == band.first});
        });
}

void FrameOperator::apply(const PaddedImage& v, const BeforeRow& before, const AfterRow& after,
                          const PaddedImage& out) {
    threads_.forEach(bands_ - 1, [&](int edge, int) {
        const int below = Threads::bandOf(edge, bands_, grid_.rows()).end;
        for (int y = below - kReach; y < below + kReach; ++y) {
            if (before) before(y);
            v.mirrorRow(y);
        }
    });
    forBands([&](Band band, int slot) { applyToBand(v, before, after, band, slot, out); });
}

void FrameOperator::toCoefficients(const PaddedImage& image, const SplineImage& coefficients) const {
    image.mirrorPads();
    forBands([&](Band band, int slot) {
        const CameraBlur& blur = rows_[static_cast<std::size_t>(slot)].blur;
        for (int y = band.first; y < band.end; ++y) blur.toRow(image, y, coefficients);
    });
}

template <class Done>
void FrameOperator::spreadRuns(const RunValues& values, const SweepRows& rows, Band band, Done done) const {
    const SplineView to = rows.gathered.view();
    sweep(
        rows.gathered, band, [](int) {},
        [&](const PlacedRun& placed) {
            values(placed.frame, placed.run, rows.values.data());
            preciseKernels().spread(to, placed.run, rows.values.data());
        },
        done);
}

void FrameOperator::gather(const RunValues& values, const PaddedImage& out) {
    forBands([&](Band band, int slot) {
        const SweepRows& rows = rows_[static_cast<std::size_t>(slot)];
        spreadRuns(values, rows, extended(band, kBlurRadius),
                   [&](Band swept) { finishRows(rows, swept, band, out); });
    });
}

void FrameOperator::spread(const RunValues& values, const PaddedImage& out) {
    forBands([&](Band band, int slot) {
        const SweepRows& rows = rows_[static_cast<std::size_t>(slot)];
        spreadRuns(values, rows, band, [&](Band swept) {
            for (int row = swept.first; row < swept.end; ++row)
                rows.blur.joinRow(rows.gathered, row, out.row(row));
        });
    });
}

}  // namespace oravo::vision::detail::precise
