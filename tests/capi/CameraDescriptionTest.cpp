#include "capi/CameraDescription.h"

#include <gtest/gtest.h>

#include <locale>
#include <utility>
#include <vector>

namespace oravo {
namespace {

TEST(CameraDescription, ChoosesThePointSpreadFunction) {
    const std::vector<std::pair<const char*, float>> cases = {
        {"c101 FOV 42", 0.81f},    {"101", 0.683f},           {"", 0.683f},
        {"FOV 10", 0.683f},        {"c102 FOV 30", 0.01f},    {"103FOV30", 0.01f},
        {"104 FOV 1", 0.01f},      {"105 FOV 1", 0.01f},      {"106 FOV 1", 0.625f},
        {"c107 FOV 22", 0.65f},    {"c107 FOV 23", 0.35f},    {"c107 FOV x", 0.65f},
        {"c107 FOV", 0.683f},      {"c107 FOV   \t", 0.683f}, {"c107 FOV -1", 0.683f},
        {"c107 FOV -2", 0.65f},    {"c107 FOV +23.9", 0.35f}, {"c107 FOV 99999999999", 0.35f},
        {"108 FOV 5", 0.34f},      {"108 101 FOV 10", 0.81f}, {"c101 fov 42", 0.683f},
        {"FOV 20 type 107", 0.65f}};
    for (const auto& [text, sigma] : cases) EXPECT_EQ(capi::psfSigmaOf(text), sigma) << text;
}

TEST(CameraDescription, IsReadTheSameWhateverTheLocaleOfTheHost) {
    struct Grouped : std::numpunct<char> {  // 22,5 is 225 to a locale that groups digits by commas
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouped));
    const float sigma = capi::psfSigmaOf("107 FOV 22,5");
    std::locale::global(before);
    EXPECT_EQ(sigma, 0.65f);
}

}  // namespace
}  // namespace oravo
