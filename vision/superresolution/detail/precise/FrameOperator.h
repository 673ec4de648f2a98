#ifndef ORAVO_VISION_DETAIL_PRECISE_FRAMEOPERATOR_H
#define ORAVO_VISION_DETAIL_PRECISE_FRAMEOPERATOR_H

#include <functional>
#include <vector>

#include "vision/superresolution/detail/precise/CameraBlur.h"
#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// The normal operator of all frames, sum_k B^T S_k^T w_k S_k B, with B the camera's blur and S_k the sampling of a
/// spline image where frame k's pixels lie.
///
/// One sweep down the grid does all of it: a row of coefficients is made when the first pixel needs it, pixels are visited in
/// the order of the grid's rows, and a row that no further pixel reaches goes through the blur's adjoint at once. So a few
/// dozen rows are in use at a time, and they stay in the cache.
class FrameOperator {
  public:
    using RowTask = std::function<void(int)>;
    /// Fills out[run.first] to out[run.first + run.count - 1] with values of frame k.
    using RunValues = std::function<void(std::size_t k, const SampleRun& run, float* out)>;

    FrameOperator(const Grid& grid, const BlurShape& blur);

    /// Takes the places and weights of the frames' pixels, for all that follows. Weights may change later, places may not.
    void place(const std::vector<FrameState>& frames);

    /// out = sum_k B^T S_k^T w_k S_k B v
    /// @param before  called with each row of v before it is read
    /// @param after   called with each row of out when it is there; by then before() has been called for two rows more
    void apply(const PaddedImage& v, const RowTask& before, const RowTask& after, const PaddedImage& out);
    /// out = sum_k B^T S_k^T values_k
    void gather(const RunValues& values, const PaddedImage& out);
    /// out = sum_k S_k^T values_k
    void spread(const RunValues& values, const PaddedImage& out);

    const CameraBlur& blur() const { return blur_; }

  private:
    struct PlacedRun {
        SampleRun run;
        std::size_t frame;
    };

    template <class Ready, class Visit, class Done>
    void sweep(Ready ready, Visit visit, Done done);
    template <class Done>
    void spreadRuns(const RunValues& values, Done done);
    void finishRows(int first, int end, const PaddedImage& out, const RowTask& after);

    Grid grid_;
    CameraBlur blur_;
    std::vector<PlacedRun> runs_;         ///< by the topmost row of the grid that they reach
    std::vector<std::size_t> rowStarts_;  ///< of each row's runs
    std::vector<Buffer<float>> weights_;
    SplineImage coefficients_, gathered_;  ///< the latest few rows
    PaddedImage joined_;                   ///< the latest few rows
    Buffer<float> values_;
};

}  // namespace oravo::vision::detail::precise

#endif
