#include "support/ImageIO.h"

#include <gtest/gtest.h>

namespace oravo {
namespace {

TEST(ImageIO, IsClosedAndDeclinesEveryImage) {
    exp::ImageIO log(2);
    EXPECT_FALSE(log.isOpen());
    EXPECT_FALSE(log << cv::Mat::zeros(2, 2, CV_32F));
    log.close();
    EXPECT_FALSE(log.isOpen());
}

}  // namespace
}  // namespace oravo
