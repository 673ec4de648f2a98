#include <cmath>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/Program.h"
#include "tools/formats/PngFile.h"
#include "tools/output/ImageFile.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Decode.h"

namespace oravo::tools {
namespace {

class ImageFiles : public Program {
  protected:
    cv::Mat_<float> values(const std::string& name) const { return Decode{}(readSingleImage(path(name))); }
    /// How an image went into a file.
    std::optional<StoredCounts> store(const std::string& name, const cv::Mat_<float>& image,
                                      const PngOptions& png = {}) const {
        std::optional<StoredCounts> stored;
        PendingFiles files;
        const auto file = makeImageFile(files, path(name), {false, 0, png}, stored);
        file->add(image);
        file->close();
        commit(files);
        return stored;
    }
};

/// The largest difference; NaN has to meet NaN.
double difference(const cv::Mat_<float>& a, const cv::Mat_<float>& b) {
    if (a.size() != b.size()) return HUGE_VAL;
    double worst = 0.0;
    for (int y = 0; y < a.rows; ++y) {
        for (int x = 0; x < a.cols; ++x) {
            if (std::isnan(a(y, x)) && std::isnan(b(y, x))) continue;
            const double d = std::abs(static_cast<double>(a(y, x)) - static_cast<double>(b(y, x)));
            worst = std::isnan(d) ? HUGE_VAL : std::max(worst, d);
        }
    }
    return worst;
}

cv::Mat_<float> scene(float low, float high) {
    cv::Mat_<float> image(9, 11);
    cv::RNG random(3);
    random.fill(image, cv::RNG::UNIFORM, low, high);
    image(0, 0) = low;
    image(8, 10) = high;
    image(4, 5) = std::nanf("");
    return image;
}

TEST_F(ImageFiles, GiveBackTheirValues) {
    const float kRanges[][2] = {{-20.5f, 120.25f}, {20.0f, 20.001f},  {295.15f, 300.15f}, {0.0f, 1e-6f},
                                {-274.f, 5000.0f}, {-1e30f, 1e30f},   {7.0f, 7.0f},       {0.0f, 0.0f},
                                {-0.001f, 0.0f},   {16777216.f, 2e7f}};
    for (const auto& range : kRanges) {
        SCOPED_TRACE(range[1]);
        const cv::Mat_<float> image = scene(range[0], range[1]);
        for (const char* name : {"a.npy", "a.csv", "a.tif"}) {
            store(name, image);
            EXPECT_EQ(difference(values(name), image), 0.0) << name;
        }
        const std::optional<StoredCounts> stored = store("a.png", image, {{}, "\u00b0C"});
        ASSERT_TRUE(stored);
        const double rounding = 1e-7 * std::max(std::abs(range[0]), std::abs(range[1]));  // of a float
        EXPECT_LE(difference(values("a.png"), image), 0.5001 * stored->scale.scale + rounding);
        EXPECT_EQ(stored->clipped, 0u);
        // As fine as 16 bits allow, but no finer than floats.
        EXPECT_LE(stored->scale.scale,
                  std::max({2.5001 * (range[1] - range[0]) / 64000.0, 1.5 * rounding, 1e-3}));
    }
}

TEST_F(ImageFiles, StateWhatTheirCountsStandFor) {
    store("a.png", scene(20.0f, 30.0f), {{}, "\u00b0C"});
    const std::string file = text(path("a.png"));
    for (const auto& [keyword, content] :
         {std::pair("iTXtScale", "0.0002"), {"iTXtOffset", "19.8"}, {"iTXtUnit", "\u00b0C"}})
        EXPECT_NE(file.find(keyword + std::string(5, '\0') + content), std::string::npos) << keyword;
    const cv::Mat counts = cv::imread(path("a.png"), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(counts.type(), CV_16U);
    EXPECT_EQ(counts.at<ushort>(4, 5), 0);
    EXPECT_EQ(counts.at<ushort>(0, 0), 1000);
    EXPECT_EQ(counts.at<ushort>(8, 10), 51000);

    // Given values are kept, and what does not fit is reported.
    const std::optional<StoredCounts> stored = store("b.png", scene(-10.0f, 700.0f), {{0.01, 0.0}, ""});
    EXPECT_GT(stored->clipped, 0u);
    const cv::Mat_<float> back = values("b.png");
    EXPECT_EQ(back(0, 0), 0.01f);
    EXPECT_EQ(back(8, 10), 655.35f);
    EXPECT_EQ(store("c.png", scene(1.0f, 2.0f), {{0.25, {}}, ""})->scale.offset, 0.75);
    EXPECT_EQ(store("c.png", scene(1.0f, 2.0f), {{{}, -100.0}, ""})->scale.scale, 0.002);
}

TEST_F(ImageFiles, OfCountsWithAnotherMeaningStayCounts) {
    const cv::Mat_<ushort> counts(2, 2, ushort{1000});
    std::string file = encodePng(counts, {0.5, 2.0, "K"});
    EXPECT_EQ(decodePng(file, "").at<float>(0, 0), 502.0f);
    const std::size_t type = file.find("pCAL") + 4 + 6 + 8;
    file[type] = 1;  // an exponential curve, and no checksum of it
    EXPECT_EQ(decodePng(file, "").at<ushort>(0, 0), 1000);
}

TEST_F(ImageFiles, OfEightBitsAreCalibratedByTheirOwnRange) {
    const std::string wide = encodePng(cv::Mat_<ushort>(2, 2, ushort{1000}), {0.5, 2.0, "K"});
    const std::size_t chunk = wide.find("pCAL") - 4, end = wide.find("iTXt", chunk);
    std::vector<uchar> bytes;
    ASSERT_TRUE(cv::imencode(".png", cv::Mat_<uchar>(2, 2, uchar{100}), bytes));
    std::string narrow(bytes.begin(), bytes.end());
    constexpr std::size_t kHead = 33;  // signature and IHDR
    narrow.insert(kHead, wide.substr(chunk, end - 4 - chunk));
    // A sample stands for the same share of the range: 100 of 255 for 25700 of 65535.
    EXPECT_EQ(decodePng(narrow, "").at<float>(0, 0), 2.0f + 0.5f * 25700.0f);
}

/// The program's image is the same in every format, whatever its files are named by.
TEST_F(ImageFiles, AreChosenByTheirNames) {
    ASSERT_EQ(run("simulate -o b --width 32 --height 24 --frames 6").code, 0);
    const std::string enhance = "enhance b --pipeline float --encoding celsius -o ";
    ASSERT_EQ(run(enhance + "a.tif --every").code, 0);
    ASSERT_EQ(run(enhance + "a.npy --every").code, 0);
    FrameReader pages({path("a.tif")}), layers({path("a.npy")});
    ASSERT_EQ(layers.count(), 2u);
    for (const std::size_t i : {0u, 1u}) EXPECT_EQ(cv::norm(pages.read(i), layers.read(i)), 0.0);

    ASSERT_EQ(run(enhance + "'f/{}.csv' --every").code, 0);
    EXPECT_EQ(difference(values("f/frame_000005.csv"), pages.read(1)), 0.0);
    const Outcome png = run(enhance + "a.png --report a.json --coverage a.csv --noise-map n.npy");
    ASSERT_EQ(png.code, 0) << png.err;
    const nlohmann::json parameters = nlohmann::json::parse(text(path("a.json")))["parameters"];
    const double step = parameters["output-scale"];
    constexpr double kRounding = 1e-5;  // of floats
    EXPECT_LE(difference(values("a.png"), pages.read(1)), 0.5 * step + kRounding);
    EXPECT_NE(png.err.find("pixels, value = " + parameters["output-offset"].dump() + " + "),
              std::string::npos)
        << png.err;
    EXPECT_EQ(readSingleImage(path("a.csv")).size(), cv::Size(64, 48));
    EXPECT_EQ(readSingleImage(path("n.npy")).type(), CV_32F);

    const Outcome clipped = run(enhance + "c.png --output-scale 0.0001 --output-offset 20");
    EXPECT_NE(clipped.err.find(" values of its image lie outside 20.0001 to 26.5535 and are clipped"),
              std::string::npos)
        << clipped.err;
    ASSERT_EQ(run("enhance b f/../b/../b -o 'o/{}.npy' --jobs 1 --pipeline float").code, 1);
    ASSERT_EQ(run("enhance b -o 'o/{}.npy' --jobs 1 --pipeline float").code, 0);
    EXPECT_EQ(difference(values("o/b.npy"), pages.read(1)), 0.0);

    const char* const kRefused[][2] = {
        {"a.png --every", "a.png: holds one image; "},
        {"a.csv --every", "a.csv: holds one image; "},
        {"a.jpg", "must end in .tif, .tiff, .png, .npy, .csv"},
        {"a.tif --output-scale 1", "are for an output whose name ends in .png"},
        {"'b/{}.png' --every", "b: is a folder of input frames"}};
    for (const auto& [arguments, reason] : kRefused) {
        const Outcome refused = run(enhance + arguments);
        EXPECT_NE(refused.code, 0) << arguments;
        EXPECT_NE(refused.err.find(reason), std::string::npos) << refused.err;
    }
}

TEST_F(ImageFiles, AreWholeOrNotThere) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    for (const char* name : {"a.tif", "a.png", "a.npy", "a.csv"}) {
        const std::string line = "cd " + folder_.string() +
                                 " && ulimit -f 8 && " ORAVO_SUPERRES " enhance b --pipeline float -o " +
                                 name + " 2>message";  // 4 KiB
        EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), 3) << name;
        EXPECT_NE(text(path("message")).find(std::string(name) + ": cannot be written: File too large"),
                  std::string::npos)
            << text(path("message"));
        EXPECT_EQ(entries(), 2u) << name;
    }
}

}  // namespace
}  // namespace oravo::tools
