#include "tools/base/Progress.h"

#include <algorithm>
#include <cmath>

#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

constexpr double kQuiet = 2.0;     // seconds in which nothing is shown
constexpr double kInterval = 0.2;  // between two lines

}  // namespace

Progress::~Progress() {
    showStatus("");
}

void Progress::done(std::size_t count) {
    const double elapsed = watch_.stop();
    if (elapsed < kQuiet || elapsed - shown_ < kInterval || count == 0 || count >= total_) return;
    shown_ = elapsed;
    const double left = elapsed / static_cast<double>(count) * static_cast<double>(total_ - count);
    showStatus(format("%s %zu of %zu, %s left", what_.c_str(), count, total_, roughTime(left).c_str()));
}

std::string roughTime(double seconds) {
    if (seconds < 59.5) return format("%.0f s", std::max(seconds, 1.0));
    const long minutes = std::lround(seconds / 60.0);
    if (minutes < 60) return format("%ld min", minutes);
    return format("%ld h %ld min", minutes / 60, minutes % 60);
}

}  // namespace oravo::tools
