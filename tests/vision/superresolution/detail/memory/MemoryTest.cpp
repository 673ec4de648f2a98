#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "vision/superresolution/detail/memory/AvailableMemory.h"
#include "vision/superresolution/detail/memory/Buffer.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORAVO_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORAVO_ADDRESS_SANITIZER
#endif
#endif
#ifdef ORAVO_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace oravo::vision::detail {
namespace {

TEST(Buffer, IsZeroedAndAlignedAndEndsWhereItSays) {
    for (const std::size_t size : {1U, 13U, 16U, 1000U, (4U << 18) - 1, (4U << 18) + 1, 3U << 20}) {
        const Buffer<float> buffer(size);
        EXPECT_TRUE(std::all_of(buffer.begin(), buffer.end(), [](float value) { return value == 0.0f; }))
            << size;
#ifdef ORAVO_ADDRESS_SANITIZER
        EXPECT_TRUE(__asan_address_is_poisoned(buffer.end())) << size;
        EXPECT_TRUE(__asan_address_is_poisoned(buffer.begin() - 1)) << size;
#else
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % 64, 0U) << size;
#endif
    }
}

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
