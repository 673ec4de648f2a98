#ifndef ORAVO_SUPPORT_STOPWATCH_H
#define ORAVO_SUPPORT_STOPWATCH_H

#include <chrono>

#include "support/Export.h"

namespace oravo {

/// A monotonic timer, running from its construction.
class ORAVO_EXPORT StopWatch {
  public:
    StopWatch();  ///< starts

    /// Starts again from zero.
    void start();

    /// Seconds since construction or the last start(). The watch runs on, so it may be read again.
    double stop();

  private:
    std::chrono::steady_clock::time_point begin_;
};

}  // namespace oravo

#endif
