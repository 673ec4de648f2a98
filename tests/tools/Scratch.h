#ifndef ORAVO_TESTS_TOOLS_SCRATCH_H
#define ORAVO_TESTS_TOOLS_SCRATCH_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/FloatBits.h"
#include "tools/base/UserError.h"

namespace oravo::tools {

/// A folder of the test's own, removed at its end.
class Scratch : public ::testing::Test {
  protected:
    Scratch() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        folder_ = std::filesystem::temp_directory_path() /
                  ("oravo-" + std::string(test->name()) + "-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_);
    }
    ~Scratch() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    std::size_t entries() const {
        const std::filesystem::directory_iterator all(folder_);
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    std::filesystem::path folder_;
};

/// The message of the UserError that the action throws, empty when it throws none.
template <class Action>
std::string complaint(Action action, ExitCode expected) {
    try {
        action();
    } catch (const UserError& e) {
        EXPECT_EQ(e.code(), expected) << e.what();
        EXPECT_EQ(std::string(e.what()).find('\n'), std::string::npos) << e.what();
        return e.what();
    }
    return {};
}

/// Whether a text holds some words.
inline bool says(const std::string& text, const std::string& words) {
    return text.find(words) != std::string::npos;
}

}  // namespace oravo::tools

#endif
