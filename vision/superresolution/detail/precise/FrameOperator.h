#ifndef ORAVO_VISION_DETAIL_PRECISE_FRAMEOPERATOR_H
#define ORAVO_VISION_DETAIL_PRECISE_FRAMEOPERATOR_H

#include <functional>
#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/CameraBlur.h"
#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// The normal operator of all frames, sum_k B^T S_k^T w_k S_k B, with B the camera's blur and S_k the sampling of a
/// spline image where frame k's pixels lie.
///
/// One sweep down the grid does all of it: a row of coefficients is made when the first pixel needs it, pixels are visited in
/// the order of the grid's rows, and a row that no further pixel reaches goes through the blur's adjoint at once. So a few
/// dozen rows are in use at a time, and they stay in the cache. Threads sweep a band of the grid each; what a band's first and
/// last rows take from beyond it is computed by both neighbours, so no sum depends on the bands.
class FrameOperator {
  public:
    /// A row that a sweep has come to.
    struct SweptRow {
        int y;
        int slot;        ///< of the thread, see Threads
        bool opensBand;  ///< the row above was not the thread's last
    };
    using BeforeRow = std::function<void(int)>;
    using AfterRow = std::function<void(const SweptRow&)>;
    /// Fills out[run.first] to out[run.first + run.count - 1] with values of frame k.
    using RunValues = std::function<void(std::size_t k, const SampleRun& run, float* out)>;

    FrameOperator(const Grid& grid, const BlurShape& blur, const Threads& threads = Threads());

    /// Takes the places and weights of the frames' pixels, for all that follows. Weights may change later, places may not.
    void place(const std::vector<FrameState>& frames);

    /// out = sum_k B^T S_k^T w_k S_k B v
    /// @param before  called once with each row of v, before anything reads it
    /// @param after   called with each row of out when it is there; by then before() has been called for two rows more. Rows of
    ///                a band come in order
    void apply(const PaddedImage& v, const BeforeRow& before, const AfterRow& after, const PaddedImage& out);
    /// out = sum_k B^T S_k^T values_k
    void gather(const RunValues& values, const PaddedImage& out);
    /// out = sum_k S_k^T values_k
    void spread(const RunValues& values, const PaddedImage& out);

    /// coefficients = B image; fills the image's pads.
    void toCoefficients(const PaddedImage& image, const SplineImage& coefficients) const;

    const CameraBlur& blur() const { return blur_; }

  private:
    struct PlacedRun {
        SampleRun run;
        std::size_t frame;
    };
    /// The latest few rows of a sweep; each thread has its own.
    struct SweepRows {
        SweepRows(const Grid& grid, const CameraBlur& shared);
        CameraBlur blur;
        SplineImage coefficients, gathered;
        PaddedImage joined;
        Buffer<float> values;
    };

    template <class Ready, class Visit, class Done>
    void sweep(const SplineImage& gathered, Band band, Ready ready, Visit visit, Done done) const;
    template <class Done>
    void spreadRuns(const RunValues& values, const SweepRows& rows, Band band, Done done) const;
    Band finishRows(const SweepRows& rows, Band swept, Band band, const PaddedImage& out) const;
    void applyToBand(const PaddedImage& v, const BeforeRow& before, const AfterRow& after, Band band,
                     int slot, const PaddedImage& out) const;
    Band extended(Band band, int by) const;
    template <class Task>
    void forBands(const Task& task) const;

    Grid grid_;
    CameraBlur blur_;
    Threads threads_;
    int bands_;
    std::vector<PlacedRun> runs_;         ///< by the topmost row of the grid that they reach
    std::vector<std::size_t> rowStarts_;  ///< of each row's runs
    std::vector<Buffer<float>> weights_;
    std::vector<SweepRows> rows_;  ///< of each slot
};

}  // namespace oravo::vision::detail::precise

#endif
