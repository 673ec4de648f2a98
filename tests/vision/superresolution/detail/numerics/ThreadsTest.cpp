#include "vision/superresolution/detail/numerics/Threads.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tbb/global_control.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>

#include "support/Exception.h"

namespace oravo::vision::detail {
namespace {

constexpr int kParts = 200;

/// Lets 16 threads work at once on machines of fewer processors, too.
class ThreadsTest : public ::testing::Test {
    tbb::global_control workers_{tbb::global_control::max_allowed_parallelism, 16};
};

std::string refusalOf(int count) {
    try {
        const Threads threads(count);
    } catch (const Exception& refused) {
        return refused.what();
    }
    return "none";
}

}  // namespace

TEST_F(ThreadsTest, DoEachPartOnceInASlotOfItsOwn) {
    for (const int count : {1, 2, 16, 0}) {
        const Threads threads(count);
        std::vector<int> done(kParts);
        std::vector<std::atomic<int>> busy(static_cast<std::size_t>(threads.count()));
        std::atomic<int> shared{0};
        threads.forEach(kParts, [&](int part, int slot) {
            std::atomic<int>& mine = busy.at(static_cast<std::size_t>(slot));
            shared += mine++ != 0 ? 1 : 0;
            ++done[static_cast<std::size_t>(part)];
            --mine;
        });
        EXPECT_EQ(done, std::vector<int>(kParts, 1)) << count;
        EXPECT_EQ(shared, 0) << count;
    }
}

TEST_F(ThreadsTest, LeaveAForkedProcessToItsOnlyThread) {
    const Threads before(4);
    before.forEach(kParts, [](int, int) {});
    const pid_t child = fork();
    if (child == 0) {
        int done = 0;
        const auto count = [&done](int, int slot) { done += slot == 0 ? 1 : 0; };
        before.forEach(kParts, count);
        Threads(3).forEach(kParts, count);
        before.inOrder(kParts, count, [](int) {});
        _exit(done == 3 * kParts ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(ThreadsTest, FinishInOrderWhateverTheOrderOfTheWork) {
    for (const int count : {1, 2, 16}) {
        std::vector<int> done(kParts), order;
        Threads(count).inOrder(
            kParts, [&](int part, int) { done[static_cast<std::size_t>(part)] = part + 1; },
            [&](int part) {
                EXPECT_EQ(done[static_cast<std::size_t>(part)], part + 1);
                order.push_back(part);
            });
        ASSERT_EQ(order.size(), static_cast<std::size_t>(kParts));
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end())) << count;
    }
}

TEST_F(ThreadsTest, PassOnWhatAPartThrows) {
    const Threads threads(4);
    const auto fail = [](int part, int) {
        if (part == 7) throw std::runtime_error("seventh");
    };
    EXPECT_THROW(threads.forEach(kParts, fail), std::runtime_error);
    EXPECT_THROW(threads.inOrder(kParts, fail, [](int) {}), std::runtime_error);
}

TEST(Threads, DivideRowsWithoutAGap) {
    for (const int bands : {1, 3, 7}) {
        int next = 0;
        for (int band = 0; band < bands; ++band) {
            const Band rows = Threads::bandOf(band, bands, 100);
            EXPECT_EQ(rows.first, next);
            EXPECT_GE(rows.end - rows.first, 100 / bands);
            next = rows.end;
        }
        EXPECT_EQ(next, 100);
    }
    EXPECT_EQ(Threads(4).bands(100, 40), 2);
    EXPECT_EQ(Threads(4).bands(10, 40), 1);
}

TEST(Threads, RefuseNumbersThatAreNone) {
    for (const int count : {-1, Threads::kMost + 1})
        EXPECT_NE(refusalOf(count).find("number of threads " + std::to_string(count)), std::string::npos);
    EXPECT_GE(Threads(0).count(), 1);
}

}  // namespace oravo::vision::detail
