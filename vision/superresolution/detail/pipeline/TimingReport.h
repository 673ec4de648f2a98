#ifndef ORAVO_VISION_DETAIL_PIPELINE_TIMINGREPORT_H
#define ORAVO_VISION_DETAIL_PIPELINE_TIMINGREPORT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "support/StopWatch.h"

namespace oravo::vision::detail {

/// Whether the environment leaves the report on: ORAVO_REPORT=off keeps it off standard output, which may be a pipe
/// without a reader, a data file, or the host's own.
inline bool reportWanted() {
    const char* variable = std::getenv("ORAVO_REPORT");
    return variable == nullptr || std::string_view(variable) != "off";
}

/// How long one stage of a run took.
struct StageTime {
    const char* name = "";
    double milliseconds = 0.0;
};

/// The stages of a run in their order; those that a failed run did not reach are missing.
class StageTimes {
  public:
    void clear() { count_ = 0; }
    void add(StageTime stage) { stages_[count_++] = stage; }

    std::size_t size() const { return count_; }
    const StageTime* begin() const { return stages_.data(); }
    const StageTime* end() const { return stages_.data() + count_; }

  private:
    static constexpr std::size_t kStages = 4;
    std::array<StageTime, kStages> stages_;
    std::size_t count_ = 0;
};

/// Measures the stages of a run, and prints them to standard output line by line as they end; without a title (null) it
/// prints nothing.
class TimingReport {
  public:
    /// @param times  receives the stages
    TimingReport(const char* title, StageTimes& times) : prints_(title != nullptr), times_(times) {
        times_.clear();
        if (prints_) std::cout << "++++++++++ " << title << " ++++++++++" << std::endl;
    }

    /// Starts timing a stage.
    void start() { watch_.start(); }

    /// Ends the stage that was started last.
    void end(const char* name) {
        const StageTime stage{name, watch_.stop() * 1000};
        times_.add(stage);
        if (prints_)
            std::cout << ' ' << name << ':' << padding(name) << stage.milliseconds << "[ms]" << std::endl;
    }

    void close() {
        if (prints_) std::cout << "+++++++++++++++++++++++++++++" << std::endl;
    }

  private:
    /// What brings the number of a line to its column.
    static std::string_view padding(std::string_view name) {
        constexpr std::string_view kSpaces = "                     ";
        return kSpaces.substr(std::min(name.size(), kSpaces.size()));
    }

    bool prints_;
    StageTimes& times_;
    StopWatch watch_;
};

}  // namespace oravo::vision::detail

#endif
