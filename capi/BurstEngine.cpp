#include "capi/BurstEngine.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace oravo::capi {

void BurstCallbacks::begin() {
    cancelled_ = false;
    share_ = 0.0;
}

bool BurstCallbacks::goesOn(double share) {
    share_ = std::max(share_, share);
    if (!cancelled_ && options_.progress != nullptr && options_.progress(share_, options_.user) == 0)
        cancelled_ = true;
    return !cancelled_;
}

void BurstCallbacks::say(int level, const std::string& text) const {
    if (options_.log != nullptr) options_.log(level, text.c_str(), options_.user);
}

std::string namesOf(const std::vector<std::size_t>& frames) {
    std::string text = frames.size() == 1 ? "frame" : "frames";
    for (const std::size_t frame : frames) {
        text += frame == frames.front() ? " " : ", ";
        text += std::to_string(frame);
    }
    return text;
}

std::string formatted(const char* pattern, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

}  // namespace oravo::capi
