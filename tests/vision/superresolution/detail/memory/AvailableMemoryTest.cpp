#include "vision/superresolution/detail/memory/AvailableMemory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace oravo::vision::detail {
namespace {

TEST(AvailableMemory, KeepsToTheLimitOfAControlGroup) {
    std::string folder = (std::filesystem::temp_directory_path() / "oravo-groups-XXXXXX").string();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    const auto availableWith = [&](const std::string& file, const char* content) {
        std::filesystem::create_directories(std::filesystem::path(folder + file).parent_path());
        std::ofstream(folder + file) << content << '\n';
        const std::uint64_t available = availableMemory(folder);
        std::filesystem::remove(folder + file);
        return available;
    };
    constexpr std::uint64_t kOwn = 6 << 20;
    EXPECT_GT(availableMemory(folder), kOwn);  // the machine's
    EXPECT_EQ(availableWith("/memory.max", "8388608"), kOwn);
    EXPECT_EQ(availableWith("/memory/memory.limit_in_bytes", "8388608"), kOwn);
    EXPECT_GT(availableWith("/memory.max", "max"), kOwn);
    EXPECT_LT(availableWith("/memory.max", "9223372036854771712"),
              std::uint64_t{1} << 50);  // how version 1 says "max"
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace oravo::vision::detail
