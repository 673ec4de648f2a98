#ifndef ORAVO_CAPI_BURSTENGINE_H
#define ORAVO_CAPI_BURSTENGINE_H

#include <atomic>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "capi/Burst.h"
#include "capi/BurstOptions.h"

namespace oravo::capi {

/// What a burst reports to its host while it works.
class BurstCallbacks {
  public:
    explicit BurstCallbacks(const oravo_burst_options& options) : options_(options) {}

    /// Begins a run.
    void begin();
    /// False when the run is to end.
    bool goesOn(double share);
    void cancel() { cancelled_ = true; }
    /// Cancels this run and any that is about to begin.
    void end() { ended_ = true; }

    void info(const std::string& text) const { say(ORAVO_BURST_INFO, text); }
    void warn(const std::string& text) const { say(ORAVO_BURST_WARNING, text); }

  private:
    void say(int level, const std::string& text) const;

    oravo_burst_options options_;
    std::atomic<bool> cancelled_{false}, ended_{false};
    double share_ = 0.0;
};

struct BurstFigure {
    const char* name;
    double value;
};

/// An image and what is known about it. What the pipeline does not give is empty.
struct BurstResult {
    cv::Mat_<float> image, deviation, weight;
    bool knowsSensor = false;  ///< its pattern, which is empty where none was found, and its dead pixels
    cv::Mat_<float> pattern;
    std::vector<cv::Point> deadPixels;
    std::vector<oravo_burst_frame> frames;
    std::vector<BurstFigure> figures;
    std::vector<std::string> warnings;
};

/// A pipeline, as a burst needs it.
class BurstEngine {
  public:
    BurstEngine() = default;
    BurstEngine(const BurstEngine&) = delete;
    BurstEngine& operator=(const BurstEngine&) = delete;
    virtual ~BurstEngine() = default;

    /// Looks at the next frame. What it throws says that the frame cannot be taken in; then all is as before.
    virtual void add(const cv::Mat_<float>& frame, const std::vector<cv::Mat_<float>>& held) = 0;
    virtual void clear() = 0;
    /// @param frames     all that were added, as far as they are still held
    /// @param reference  counted back from the newest; there are more frames than that
    virtual void run(const std::vector<cv::Mat_<float>>& frames, int reference, BurstResult& result) = 0;
    /// Of the last run, of the frames' size; empty where the pipeline has none.
    virtual std::vector<cv::Mat_<unsigned char>> masks() const { return {}; }
};

/// @param callbacks  have to live as long as the engine
std::unique_ptr<BurstEngine> makePreciseEngine(const BurstSettings& settings, BurstCallbacks& callbacks);
std::unique_ptr<BurstEngine> makeWindowEngine(const BurstSettings& settings, BurstCallbacks& callbacks);

/// "frame 2", "frames 2, 5".
std::string namesOf(const std::vector<std::size_t>& frames);

/// printf into a string.
std::string formatted(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

}  // namespace oravo::capi

#endif
