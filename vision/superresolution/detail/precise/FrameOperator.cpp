#include "vision/superresolution/detail/precise/FrameOperator.h"

#include <algorithm>

namespace oravo::vision::detail::precise {
namespace {

constexpr int kTaps = 4;  ///< rows that a pixel reaches
constexpr int kStride =
    8;  ///< rows that each step of a sweep goes on by, so that what it reads stays in the cache
constexpr int kSplineRows = 16;  ///< kept at a time; a power of two
constexpr int kJoinedRows = 32;
static_assert(kSplineRows >= kStride + kTaps && kJoinedRows >= kStride + 3 * kBlurRadius,
              "rows in use are kept");

}  // namespace

FrameOperator::FrameOperator(const Grid& grid, const BlurShape& blur)
    : grid_(grid),
      blur_(grid, blur),
      coefficients_(grid, kSplineRows),
      gathered_(grid, kSplineRows),
      joined_(grid.columns(), kJoinedRows),
      values_(static_cast<std::size_t>(grid.width)) {
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

/// Visits all runs, by the rows of the grid.
/// @param ready  called with a row before a run that reaches it is visited
/// @param visit  called with each run
/// @param done   called with the rows of gathered_, first and one beyond the last, that all runs have added to
template <class Ready, class Visit, class Done>
void FrameOperator::sweep(Ready ready, Visit visit, Done done) {
    const int rows = grid_.rows();
    int entered = 0;
    for (int first = 0; first < rows; first += kStride) {
        const int end = std::min(first + kStride, rows);
        for (; entered < std::min(end + kTaps - 1, rows); ++entered) {
            gathered_.clearRow(entered);
            ready(entered);
        }
        for (std::size_t i = rowStarts_[static_cast<std::size_t>(first)];
             i < rowStarts_[static_cast<std::size_t>(end)]; ++i) {
            visit(runs_[i]);
        }
        done(first, end);
    }
}

void FrameOperator::finishRows(int first, int end, const PaddedImage& out, const RowTask& after) {
    for (int row = first; row < end; ++row) {
        blur_.joinRow(gathered_, row, joined_.row(row % kJoinedRows));
        joined_.mirrorRow(row % kJoinedRows);
    }
    // The filter's last rows wait for those below them.
    const int begin = std::max(0, first - kBlurRadius);
    const int complete = end == grid_.rows() ? end : end - kBlurRadius;
    for (int row = begin; row < complete; ++row)
        blur_.filter([this](int y) { return joined_.row(y % kJoinedRows); }, row, out.row(row));
    for (int row = begin; after && row < complete; ++row) after(row);
}

void FrameOperator::apply(const PaddedImage& v, const RowTask& before, const RowTask& after,
                          const PaddedImage& out) {
    const PreciseKernels& kernels = preciseKernels();
    const SplineView from = coefficients_.view(), to = gathered_.view();
    int read = 0;
    sweep(
        [&](int row) {
            for (; read < std::min(row + kBlurRadius + 1, grid_.rows()); ++read) {
                if (before) before(read);
                v.mirrorRow(read);
            }
            blur_.toRow(v, row, coefficients_);
        },
        [&](const PlacedRun& placed) {
            kernels.sampleAndSpread(from, placed.run,
                                    weights_[placed.frame].data() + grid_.rowStart(placed.run.y), to);
        },
        [&](int first, int end) { finishRows(first, end, out, after); });
}

template <class Done>
void FrameOperator::spreadRuns(const RunValues& values, Done done) {
    const SplineView to = gathered_.view();
    sweep([](int) {},
          [&](const PlacedRun& placed) {
              values(placed.frame, placed.run, values_.data());
              preciseKernels().spread(to, placed.run, values_.data());
          },
          done);
}

void FrameOperator::gather(const RunValues& values, const PaddedImage& out) {
    spreadRuns(values, [&](int first, int end) { finishRows(first, end, out, {}); });
}

void FrameOperator::spread(const RunValues& values, const PaddedImage& out) {
    spreadRuns(values, [&](int first, int end) {
        for (int row = first; row < end; ++row) blur_.joinRow(gathered_, row, out.row(row));
    });
}

}  // namespace oravo::vision::detail::precise
