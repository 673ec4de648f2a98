#include "capi/BurstEngine.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <exception>

#include "capi/BurstError.h"

namespace oravo::capi {
namespace {

[[noreturn]] void failByCallback(const char* what) {
    throw BurstFailure(ORAVO_BURST_FAILED, std::string("A callback threw an exception: ") + what);
}

/// Calls a function of the host. What it throws says nothing about the library, whatever its type is.
template <class Call>
auto called(Call call) {
    try {
        return call();
    } catch (const std::exception& exception) {
        failByCallback(exception.what());
    } catch (const char* text) {
        failByCallback(text);
    } catch (...) {
        failByCallback("of a type of its own");
    }
}

}  // namespace

void BurstCallbacks::begin() {
    cancelled_ = false;
    share_ = 0.0;
}

bool BurstCallbacks::goesOn(double share) {
    share_ = std::max(share_, share);
    if (ended_) cancelled_ = true;
    if (!cancelled_ && options_.progress != nullptr &&
        called([this] { return options_.progress(share_, options_.user); }) == 0)
        cancelled_ = true;
    return !cancelled_;
}

void BurstCallbacks::say(int level, const std::string& text) const {
    if (options_.log != nullptr) called([&] { options_.log(level, text.c_str(), options_.user); });
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
