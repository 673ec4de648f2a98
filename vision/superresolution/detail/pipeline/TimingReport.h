#ifndef ORAVO_VISION_DETAIL_PIPELINE_TIMINGREPORT_H
#define ORAVO_VISION_DETAIL_PIPELINE_TIMINGREPORT_H

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

/// The report that a run prints to standard output, line by line as its stages end; without a title (null) a
/// run is silent.
class TimingReport {
  public:
    explicit TimingReport(const char* title) : silent_(title == nullptr) {
        if (!silent_) std::cout << "++++++++++ " << title << " ++++++++++" << std::endl;
    }

    /// Starts timing a stage.
    void start() { watch_.start(); }

    /// Prints the time since the last start, behind a label of fixed width.
    void line(const char* label) {
        if (!silent_) std::cout << label << watch_.stop() * 1000 << "[ms]" << std::endl;
    }

    void close() {
        if (!silent_) std::cout << "+++++++++++++++++++++++++++++" << std::endl;
    }

  private:
    bool silent_;
    StopWatch watch_;
};

}  // namespace oravo::vision::detail

#endif
