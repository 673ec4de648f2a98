#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "support/CodeLocation.h"
#include "support/Exception.h"
#include "support/ImageIO.h"
#include "support/StopWatch.h"
#include "support/Version.h"
#include "tests/TestScenes.h"

namespace oravo {

TEST(Exception, joinsMessageAndLocation) {
    const Exception thrown = test::thrownBy([] {
        raise(ErrorKind::notReady, "Broken.", {"a/File", 7, "oravo::f"});
    });
    EXPECT_EQ(thrown.kind(), ErrorKind::notReady);
    EXPECT_EQ(thrown.message(), "Broken.");
    EXPECT_EQ(thrown.location(), "a/File: 7: oravo::f(..)\n");
    EXPECT_STREQ(thrown.what(), "Broken.\na/File: 7: oravo::f(..)\n");
    EXPECT_STREQ(Exception(thrown).what(), thrown.what());
    EXPECT_EQ(Exception("Broken.", "").kind(), ErrorKind::other);
}

TEST(StopWatch, runsOnUntilRestarted) {
    StopWatch watch;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double first = watch.stop();
    EXPECT_GE(first, 0.02);
    EXPECT_GE(watch.stop(), first);
    watch.start();
    EXPECT_LT(watch.stop(), first);
}

TEST(ImageIO, isClosedAndDeclinesEveryImage) {
    exp::ImageIO log(2);
    EXPECT_FALSE(log.isOpen());
    EXPECT_FALSE(log << cv::Mat::zeros(2, 2, CV_32F));
    log.close();
    EXPECT_FALSE(log.isOpen());
}

TEST(Version, ofLibraryAndHeadersAreOne) {
    int major = -1, minor = -1, patch = -1;
    EXPECT_EQ(std::sscanf(version(), "%d.%d.%d", &major, &minor, &patch), 3) << version();
    EXPECT_EQ(ORAVO_VERSION_NUMBER, 10000 * major + 100 * minor + patch);
    EXPECT_STREQ(version(), oravo_version());
}

}  // namespace oravo
