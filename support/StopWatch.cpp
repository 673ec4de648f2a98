#include "support/StopWatch.h"

namespace oravo {

StopWatch::StopWatch() : begin_(std::chrono::steady_clock::now()) {
}

void StopWatch::start() {
    begin_ = std::chrono::steady_clock::now();
}

double StopWatch::stop() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

}  // namespace oravo
