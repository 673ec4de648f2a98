#include "support/Version.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace oravo {
namespace {

TEST(Version, OfLibraryAndHeadersAreOne) {
    int major = -1, minor = -1, patch = -1;
    EXPECT_EQ(std::sscanf(version(), "%d.%d.%d", &major, &minor, &patch), 3) << version();
    EXPECT_EQ(ORAVO_VERSION_NUMBER, 10000 * major + 100 * minor + patch);
    EXPECT_STREQ(version(), oravo_version());
}

}  // namespace
}  // namespace oravo
