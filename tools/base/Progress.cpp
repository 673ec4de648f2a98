#include "tools/base/Progress.h"

#include <algorithm>
#include <cmath>

#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

constexpr double kQuiet = 1.0;     // seconds in which nothing is shown
constexpr double kInterval = 0.2;  // between two lines

}  // namespace

Progress::~Progress() {
    showStatus("");
}

bool Progress::isTime(double elapsed) {
    if (elapsed < kQuiet || elapsed - shown_ < kInterval) return false;
    shown_ = elapsed;
    return true;
}

void Progress::done(double share) {
    const double elapsed = watch_.stop();
    if (share <= 0.0 || share >= 1.0 || !isTime(elapsed)) return;
    showStatus(format("%s, %.0f %% done, %s left", what_.c_str(), 100.0 * share,
                      roughTime(elapsed / share * (1.0 - share)).c_str()));
}

void Progress::done(std::size_t count) {
    const double elapsed = watch_.stop();
    if (count == 0 || count >= total_ || !isTime(elapsed)) return;
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
