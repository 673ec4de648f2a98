#include "tools/output/Receipt.h"

#include <fstream>
#include <functional>

#include "tests/tools/Scratch.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

/// Two frames of a recording and two results, of plain text.
class Receipts : public Scratch {
  protected:
    Receipts() {
        fs::create_directory(path("recording"));
        fs::create_directory(path("out"));
        put("recording/a", "first");
        put("recording/b", "other");
    }

    void put(const std::string& name, const std::string& content) const {
        std::ofstream(path(name)) << content;
    }
    Order order() const {
        return {options_,
                {path("recording")},
                {path("recording/a"), path("recording/b")},
                {path("out/image"), path("out/report")}};
    }
    /// Carries the order out unless it is finished. Returns whether it had to.
    bool make() const {
        const Receipt receipt(order());
        if (receipt.finished()) return false;
        PendingFiles files;
        for (const std::string& name : order().outputs) writeText(files, name, "result");
        receipt.write(files, ExitCode::kSuccess);
        commit(files);
        return true;
    }

    static void replace(const std::string& file, const std::string& old, const std::string& with) {
        std::stringstream all;
        all << std::ifstream(file).rdbuf();
        std::string text = all.str();
        ASSERT_NE(text.find(old), std::string::npos) << text;
        std::ofstream(file) << text.replace(text.find(old), old.size(), with);
    }

    std::vector<std::string> options_{"--frames", "7"};
};

TEST_F(Receipts, ProveThatNothingHasChanged) {
    ASSERT_TRUE(make());
    const std::string receipt = path("out/image.receipt");
    const struct {
        const char* name;
        std::function<void()> change;
        bool makes;
    } kChanges[] = {
        {"nothing", [] {}, false},
        {"times of an input", [&] { put("recording/a", "first"); }, false},
        {"times of a result", [&] { put("out/image", "result"); }, false},
        {"an input", [&] { put("recording/b", "OTHER"); }, true},
        {"an input, its time kept",
         [&] {
             const auto time = fs::last_write_time(path("recording/b"));
             put("recording/b", "other");
             fs::last_write_time(path("recording/b"), time);
         },
         true},
        {"the order of inputs",
         [&] {
             put("recording/a", "other");
             put("recording/b", "first");
         },
         true},
        {"a result", [&] { put("out/report", "RESULT"); }, true},
        {"a result is gone", [&] { fs::remove(path("out/image")); }, true},
        {"an option", [&] { options_.back() = "8"; }, true},
        {"an option is gone", [&] { options_.clear(); }, true},
        {"the version", [&] { replace(receipt, "\"version\":\"", "\"version\":\"9"); }, true},
        {"the receipt's format", [&] { replace(receipt, "\"receipt\":1", "\"receipt\":2"); }, true},
        {"the receipt, cut", [&] { fs::resize_file(receipt, 70); }, true},
        {"the receipt is gone", [&] { fs::remove(receipt); }, true},
        {"all of it is somewhere else",
         [&] {
             fs::rename(path("out"), path("moved"));
             fs::copy(path("moved"), path("out"));
             fs::rename(path("recording"), path("old"));
             fs::copy(path("old"), path("recording"));
         },
         false},
    };
    for (const auto& c : kChanges) {
        c.change();
        EXPECT_EQ(make(), c.makes) << c.name;
        EXPECT_FALSE(make()) << c.name;
    }
}

/// What is old enough is known by size and times: nobody reads an archive again to find that it is finished.
TEST_F(Receipts, KnowInputsByTheirTimes) {
    ASSERT_TRUE(make());
    const FileState fresh = withoutFreshTimes(marksOf(path("recording/a")));
    EXPECT_EQ(fresh.changed, 0) << "may change within the same tick";
    EXPECT_FALSE(isSurelyUnchanged(fresh));
    const FileState settled = marksOf(path("recording/a"));
    EXPECT_TRUE(isSurelyUnchanged(settled));
    put("recording/a", "longer");
    EXPECT_FALSE(isSurelyUnchanged(settled));
    // An unreadable input is reported by name, a result is made again.
    fs::remove(path("out/report"));
    fs::create_directory(path("out/report"));
    EXPECT_FALSE(Receipt(order()).finished());
    fs::remove(path("recording/b"));
    fs::create_directory(path("recording/b"));
    EXPECT_EQ(complaint([&] { Receipt{order()}; }, ExitCode::kInput),
              path("recording/b") + ": cannot be read: Is a directory");
}

TEST_F(Receipts, AppearAfterTheResults) {
    const Receipt receipt(order());
    PendingFiles files;
    writeText(files, path("out/image"), "result");
    receipt.write(files, ExitCode::kDoubtful);
    EXPECT_EQ(files.back().target(), path("out/image.receipt"));
    EXPECT_FALSE(Receipt(order()).finished());
    writeText(files, path("out/report"), "result");  // which the receipt says nothing of
    commit(files);
    EXPECT_FALSE(Receipt(order()).finished());
    Order image = order();
    image.outputs.pop_back();
    EXPECT_EQ(Receipt(image).finished(), ExitCode::kDoubtful);
}

}  // namespace
}  // namespace oravo::tools
