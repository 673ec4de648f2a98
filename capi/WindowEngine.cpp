#include <algorithm>
#include <cmath>
#include <limits>

#include "capi/BurstEngine.h"
#include "capi/BurstError.h"
#include "support/CodeLocation.h"
#include "vision/superresolution/detail/Status.h"
#include "vision/superresolution/detail/choice/Doubts.h"
#include "vision/superresolution/detail/defects/StatusCodes.h"

namespace oravo::capi {
namespace {

using vision::detail::StageTime;
using vision::detail::WindowParameters;
using vision::detail::WindowPipeline;
namespace status = vision::status;

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kWhere = "oravo::capi::WindowEngine::run";

oravo_burst_frame infoOf(cv::Point2f shift) {
    return {1,
            static_cast<double>(shift.x),
            static_cast<double>(shift.y),
            kUnknown,
            kUnknown,
            {0, 0, 0, 0},
            1.0,
            0.0,
            kUnknown,
            kUnknown};
}

bool hasValue(float pixel) {
    return std::isfinite(pixel) && !vision::detail::isStatusCode(pixel);
}

/// The first frame that moved by at least this many pixels in x or y, in words.
std::string displacement(const std::vector<cv::Point2f>& shifts, int pixels) {
    const auto limit = static_cast<float>(pixels);
    for (std::size_t i = 0; i < shifts.size(); ++i) {
        const cv::Point2f d = shifts[i];
        if (std::abs(d.x) < limit && std::abs(d.y) < limit) continue;
        return formatted("frame %zu moved by (%.1f, %.1f) pixels", i, static_cast<double>(d.x),
                         static_cast<double>(d.y));
    }
    return "a frame moved";
}

class WindowEngine final : public BurstEngine {
  public:
    WindowEngine(const BurstSettings& settings, BurstCallbacks& callbacks)
        : size_(settings.size), parameters_(settings.window), callbacks_(callbacks) {
        parameters_.progress = [this](double share) { report(share); };
        pipeline_ = vision::detail::makeWindowPipeline(size_, parameters_);
    }

    void add(const cv::Mat_<float>& frame, const std::vector<cv::Mat_<float>>& held) override {
        fill(held);
        try {
            take(frame);
        } catch (...) {
            // The pipeline keeps even frames that it refuses, so those that are held go into a fresh one.
            const std::unique_ptr<WindowPipeline> spoilt = std::move(pipeline_);
            lastMasks_ = masksOf(*spoilt);
            throw;
        }
    }

    void clear() override {
        standIns_.clear();
        pipeline_.reset();  // one that was cleared could not run before it is full again
    }

    void run(const std::vector<cv::Mat_<float>>& frames, int reference, BurstResult& result) override {
        fill(frames);
        report(0.0);
        pipeline_->setReferenceIndex(reference);
        const float gain = compute(result.image);
        const std::vector<cv::Point2f> shifts = pipeline_->completeShifts();
        result.frames.clear();
        for (std::size_t i = 0; i < frames.size(); ++i) result.frames.push_back(infoOf(shifts.at(i)));
        result.figures = {{"resolution_gain", gain >= 0.0f ? static_cast<double>(gain) : kUnknown}};
        for (const StageTime& stage : pipeline_->stageTimes()) {
            if (stage.name == std::string("registration"))
                result.figures.push_back({"registration_seconds", 1e-3 * stage.milliseconds});
            if (stage.name == std::string("minimization"))
                result.figures.push_back({"solver_seconds", 1e-3 * stage.milliseconds});
        }
        result.warnings = warnings(gain, {shifts.begin(), shifts.begin() + static_cast<long>(frames.size())});
        const std::size_t place = frames.size() - 1 - static_cast<std::size_t>(reference);
        if (frames.size() > 1 && vision::detail::mayBeInPhase(shifts) &&
            vision::detail::samePhase(frames, shifts, place))
            result.warnings.emplace_back(
                "the frames lie whole pixels apart (a tripod?): they hold no more detail than one does");
        report(1.0);
    }

    std::vector<cv::Mat_<unsigned char>> masks() const override {
        return pipeline_ ? masksOf(*pipeline_) : lastMasks_;
    }

  private:
    void report(double share) {
        if (!callbacks_.goesOn(share))
            raise(ErrorKind::cancelled, "Cancelled.", {"capi/WindowEngine", __LINE__, kWhere});
    }

    std::vector<cv::Mat_<unsigned char>> masksOf(const WindowPipeline& pipeline) const {
        std::vector<cv::Mat_<unsigned char>> masks = pipeline.masks();
        if (masks.size() > standIns_.size()) masks.resize(standIns_.size());  // of a window that is not full
        return masks;
    }

    void fill(const std::vector<cv::Mat_<float>>& held) {
        if (pipeline_) return;
        pipeline_ = vision::detail::makeWindowPipeline(size_, parameters_);
        standIns_.clear();
        try {
            for (const cv::Mat_<float>& frame : held) take(frame);
        } catch (...) {
            pipeline_.reset();
            throw;
        }
    }

    void take(const cv::Mat_<float>& frame) {
        const bool standIn = pipeline_->addFrame(frame) == status::fallbackPixel;
        if (standIns_.size() == static_cast<std::size_t>(parameters_.windowSize))
            standIns_.erase(standIns_.begin());
        standIns_.push_back(standIn);
    }

    float compute(cv::Mat_<float>& image) {
        float gain = 0.0f;
        try {
            gain = pipeline_->computeSR(image);
        } catch (const Exception& exception) {
            if (exception.kind() != ErrorKind::tooLargeDisplacement) throw;
            throw BurstFailure(
                ORAVO_BURST_FRAME,
                "Too large displacement: " + displacement(pipeline_->completeShifts(), size_.height / 2) +
                    ", half the frame height or more.");
        }
        if (status::isStatus(gain, status::registrationFailed))
            throw BurstFailure(ORAVO_BURST_NO_DETAIL,
                               "Some frame shows no detail that could be followed into it.");
        const bool delivered = gain >= 0.0f || status::isStatus(gain, status::tooLargeDisplacement) ||
                               status::isStatus(gain, status::tooFewValidPixels);
        if (!delivered) {
            raise(ErrorKind::other, formatted("The solver failed with status %g.", static_cast<double>(gain)),
                  {"capi/WindowEngine", __LINE__, kWhere});
        }
        if (std::none_of(image.begin(), image.end(), hasValue))
            throw BurstFailure(
                ORAVO_BURST_NO_DETAIL,
                "No pixel of the image has a value: the frames are even, or hold hardly any values.");
        return gain;
    }

    std::vector<std::string> warnings(float gain, const std::vector<cv::Point2f>& shifts) const {
        std::vector<std::string> found;
        if (shifts.size() == 1) found.emplace_back("the image rests on one frame alone");
        if (status::isStatus(gain, status::tooLargeDisplacement))
            found.push_back(displacement(shifts, size_.height / 10) +
                            ", more than a tenth of the frame height");
        if (status::isStatus(gain, status::tooFewValidPixels))
            found.emplace_back("at least half of a frame's pixels do not agree with the reference frame");
        std::vector<std::size_t> standIns;
        for (std::size_t i = 0; i < standIns_.size(); ++i) {
            if (standIns_[i]) standIns.push_back(i);
        }
        if (!standIns.empty())
            found.push_back(
                "a stand-in value was used for a defective pixel without enough good neighbours "
                "in " +
                namesOf(standIns));
        return found;
    }

    cv::Size size_;
    WindowParameters parameters_;
    BurstCallbacks& callbacks_;
    std::unique_ptr<WindowPipeline> pipeline_;
    std::vector<cv::Mat_<unsigned char>> lastMasks_;  // of the last run, while there is no pipeline
    std::vector<bool> standIns_;                      // for each frame of the window, whether a pixel got one
};

}  // namespace

std::unique_ptr<BurstEngine> makeWindowEngine(const BurstSettings& settings, BurstCallbacks& callbacks) {
    return std::make_unique<WindowEngine>(settings, callbacks);
}

}  // namespace oravo::capi
