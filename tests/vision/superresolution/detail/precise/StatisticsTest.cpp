#include "vision/superresolution/detail/precise/Statistics.h"

#include <gtest/gtest.h>

#include "tests/TestScenes.h"

namespace oravo::vision::detail::precise {

TEST(Statistics, MagnitudesAtAPlaceAreThoseOfASort) {
    std::vector<float> magnitudes = test::randomVector(999, 3);
    for (float& value : magnitudes) value = std::abs(value * value * value);
    magnitudes.insert(magnitudes.end(), {0.0f, 0.0f, 1e-40f, 3e38f, magnitudes[7], magnitudes[7]});
    std::vector<float> sorted = magnitudes;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t place = 0; place < sorted.size(); ++place) {
        std::vector<float> work = magnitudes;
        ASSERT_EQ(magnitudeAtPlace(work, place), sorted[place]) << place;
    }
}

TEST(Statistics, QuantilesOfManyValuesComeFromSomeAndOfFewFromAll) {
    constexpr std::size_t kPlaces = 300000;
    std::vector<float> work;
    const auto rising = [](std::size_t i) { return std::optional<float>(-1e-3f * static_cast<float>(i)); };
    EXPECT_NEAR(quantileOfMagnitudes(kPlaces, 0.25, rising, work), 75.0, 0.75);
    const auto rare = [](std::size_t i) {
        return i % 100000 == 77777 ? std::optional<float>(static_cast<float>(i)) : std::nullopt;
    };
    EXPECT_EQ(quantileOfMagnitudes(kPlaces, 0.5, rare, work), 177777.0);
    const auto none = [](std::size_t) { return std::optional<float>(); };
    EXPECT_EQ(quantileOfMagnitudes(kPlaces, 0.5, none, work), 0.0);
}

}  // namespace oravo::vision::detail::precise
