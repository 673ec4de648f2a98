#include "support/StopWatch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace oravo {
namespace {

TEST(StopWatch, RunsOnUntilRestarted) {
    StopWatch watch;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double first = watch.stop();
    EXPECT_GE(first, 0.02);
    EXPECT_GE(watch.stop(), first);
    watch.start();
    EXPECT_LT(watch.stop(), first);
}

}  // namespace
}  // namespace oravo
