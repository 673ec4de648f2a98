#include "support/Exception.h"

#include <gtest/gtest.h>

#include "support/CodeLocation.h"
#include "tests/TestScenes.h"

namespace oravo {
namespace {

TEST(Exception, JoinsMessageAndLocation) {
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

}  // namespace
}  // namespace oravo
