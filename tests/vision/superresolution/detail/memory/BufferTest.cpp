#include "vision/superresolution/detail/memory/Buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

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

}  // namespace
}  // namespace oravo::vision::detail
