#ifndef ORAVO_TOOLS_BASE_PROGRESS_H
#define ORAVO_TOOLS_BASE_PROGRESS_H

#include <cstddef>
#include <string>

#include "support/StopWatch.h"

namespace oravo::tools {

/// How far long work has come and how long it will take, shown on a terminal after the first second.
class Progress {
  public:
    /// @param what  is counted, such as "frame", or done, such as "enlarging"
    explicit Progress(const std::string& what, std::size_t total = 0) : what_(what), total_(total) {}
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void done(std::size_t count);
    /// Of a single piece of work: how much of it is done, from 0 to 1.
    void done(double share);

  private:
    bool isTime(double elapsed);

    std::string what_;
    std::size_t total_;
    StopWatch watch_;
    double shown_ = 0.0;  // seconds after the start
};

/// "45 s", "3 min", "2 h 5 min".
std::string roughTime(double seconds);

}  // namespace oravo::tools

#endif
