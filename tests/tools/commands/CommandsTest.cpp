#include <cstdlib>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <optional>

#include "tests/tools/Program.h"
#include "tools/commands/Commands.h"
#include "tools/commands/DefectsCommand.h"
#include "tools/enhance/Pipelines.h"
#include "tools/formats/ShiftTable.h"
#include "tools/input/FrameReader.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Decode.h"

namespace oravo::tools {
namespace {

TEST_F(Program, EnlargesASimulatedBurstBetterThanBicubic) {
    for (const auto& [noise, pipeline] : {std::pair("0", "float"),
                                          {"0.05", "float --registration phase"},
                                          {"0.2", "float"},
                                          {"0", "precise"},
                                          {"0.2", "precise"}}) {
        std::filesystem::remove_all(path("b"));
        ASSERT_EQ(
            run(std::string("simulate -o b --width 96 --height 72 --defects 4 --seed 2 --noise ") + noise)
                .code,
            0);
        const Outcome enhanced = run(std::string("enhance b -o o.tif --shifts s.csv --pipeline ") + pipeline);
        ASSERT_EQ(enhanced.code, 0) << enhanced.err;
        EXPECT_EQ(enhanced.out, "");
        const Quality ours = compareWithTruth(image("o.tif"), image("b/truth.tif"), 3);
        const cv::Mat_<float> plain = bicubic(repaired(image("b/frame_001.tif")), {192, 144});
        EXPECT_LT(ours.rmse, 0.8 * compareWithTruth(plain, image("b/truth.tif"), 3).rmse) << noise;
        const auto found = parseShifts(path("s.csv"));
        const auto given = parseShifts(path("b/shifts.csv"));
        ASSERT_EQ(found.size(), given.size());
        for (std::size_t i = 0; i < found.size(); ++i) EXPECT_LT(cv::norm(found[i] - given[i]), 0.05) << i;
    }
    const Outcome evaluated = run("evaluate o.tif b/truth.tif --reference b/frame_001.tif --picture c.png");
    EXPECT_EQ(evaluated.code, 0) << evaluated.err;
    EXPECT_NE(evaluated.out.find("bicubic"), std::string::npos);
    EXPECT_EQ(evaluated.err, "");
    const Outcome figures =
        run("evaluate o.tif b/truth.tif --beside b/truth.tif --reference b/frame_001.tif --json");
    const auto images = nlohmann::json::parse(figures.out)["images"];
    ASSERT_EQ(images.size(), 3u);
    EXPECT_EQ(images[0]["name"], "result");
    EXPECT_EQ(images[1]["name"], "truth");
    EXPECT_EQ(images[1]["rmse"], 0.0);
    EXPECT_TRUE(images[1]["psnr"].is_null());
    EXPECT_EQ(images[2]["file"], "b/frame_001.tif");
    EXPECT_LT(images[0]["rmse"], images[2]["rmse"]);
    EXPECT_NE(
        run("evaluate o.tif b/truth.tif --reference b/frame_000.tif").err.find("they are not on one grid"),
        std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(path("c.png")));
    setenv("ORAVO_REPORT", "off", 1);  // for hosts of the library
    EXPECT_NE(run("enhance b -o o.tif --timing --pipeline float").out.find("minimization"),
              std::string::npos);
    unsetenv("ORAVO_REPORT");
}

TEST_F(Program, SimulatesFramesOfAGivenPicture) {
    cv::Mat_<ushort> picture(160, 200);
    cv::theRNG().fill(picture, cv::RNG::UNIFORM, 7000, 9000);
    writeImage(path("picture.png"), picture);
    ASSERT_EQ(run("simulate -o b --scene picture.png --scale 0.01 --offset -50 --width 64 --height 48").code,
              0);
    cv::Mat_<float> expected;
    picture(cv::Rect((200 - 128) / 2, (160 - 96) / 2, 128, 96)).convertTo(expected, CV_32F, 0.01, -50.0);
    EXPECT_LT(cv::norm(image("b/truth.tif"), expected, cv::NORM_INF), 1e-5);
    const Outcome small = run("simulate -o new --scene picture.png --width 100 --height 48");
    EXPECT_EQ(small.code, 1);
    EXPECT_NE(small.err.find("a scene of 200 x 160 pixels is too small: 240 x "), std::string::npos)
        << small.err;
    EXPECT_FALSE(std::filesystem::exists(path("new")));
}

TEST_F(Program, EveryGivesOneImagePerFrameFromTheFifth) {
    ASSERT_EQ(run("simulate -o b --frames 7 --width 64 --height 48").code, 0);
    ASSERT_EQ(run("enhance b -o all.tif --every --pipeline float").code, 0);
    ASSERT_EQ(run("enhance b -o each/ --every --pipeline float").code, 0);
    ASSERT_EQ(run("enhance b -o last.tif --pipeline float").code, 0);
    FrameReader pages({path("all.tif")});
    FrameReader files({path("each")});
    ASSERT_EQ(pages.count(), 3u);
    ASSERT_EQ(files.count(), 3u);
    EXPECT_EQ(files.name(0), path("each/frame_000004.tif"));
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(cv::norm(pages.read(i), files.read(i)), 0.0);
    EXPECT_EQ(cv::norm(pages.read(2), image("last.tif")), 0.0);
}

TEST_F(Program, DecodesCountsAndSaysWhatFixesImplausibleOnes) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    std::filesystem::create_directory(path("counts"));
    for (int i = 0; i < 5; ++i) {
        const std::string name = "/frame_00" + std::to_string(i) + ".tif";
        cv::Mat counts;
        image("b" + name).convertTo(counts, CV_16U, 50.0, 10000.0);
        writeImage(path("counts" + name), counts);
    }
    ASSERT_EQ(run("enhance b -o degrees.tif --pipeline float").code, 0);
    const Outcome decoded = run("enhance counts -o decoded.tif --scale 0.02 --offset -200 --pipeline float");
    EXPECT_EQ(decoded.code, 0) << decoded.err;
    EXPECT_EQ(decoded.err.find("warning"), std::string::npos) << decoded.err;
    EXPECT_LT(compareWithTruth(image("decoded.tif"), image("degrees.tif"), 3).rmse, 0.05);
    // The same counts as a dump whose frames end in a row of telemetry.
    std::ofstream dump(path("dump.bin"), std::ios::binary);
    for (int i = 0; i < 5; ++i) {
        const cv::Mat counts = readSingleImage(path("counts/frame_00" + std::to_string(i) + ".tif"));
        dump.write(counts.ptr<char>(), 64 * 48 * 2) << std::string(64 * 2, 'T');
    }
    dump.close();
    const Outcome dumped =
        run("enhance --pipeline float dump.bin --raw 64x49:u16le --crop 64x48 -o dumped.tif --scale 0.02 "
            "--offset -200");
    ASSERT_EQ(dumped.code, 0) << dumped.err;
    EXPECT_EQ(cv::norm(image("dumped.tif"), image("decoded.tif")), 0.0);
    const Outcome plain = run("enhance --pipeline float counts -o plain.tif");
    EXPECT_EQ(plain.code, 2);
    EXPECT_NE(plain.err.find("all pixels lie outside the plausible range -274 .. 5000, the most "),
              std::string::npos)
        << plain.err;
    EXPECT_NE(plain.err.find("; pass --nuc for raw counts, or "), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(path("plain.tif")));
    const Outcome nuc = run("enhance --pipeline float counts -o nuc.tif --nuc");
    EXPECT_EQ(nuc.code, 0) << nuc.err;
    EXPECT_EQ(nuc.err.find("warning"), std::string::npos) << nuc.err;
}

TEST_F(Program, SaysOnceWhatIsWrongWithUnitsAndCamera) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    for (const char* all : {"--scale 100 --offset 27315", "--scale 1e300"}) {
        const Outcome outcome = run(std::string("enhance b -o none.tif ") + all);
        EXPECT_EQ(outcome.code, 2);
        EXPECT_NE(outcome.err.find(": all pixels lie outside the plausible range"), std::string::npos);
        EXPECT_FALSE(std::filesystem::exists(path("none.tif")));
    }
    const Outcome kelvin = run("enhance --pipeline float b -o o.tif --no-guard --offset 4988");
    const auto count = [&](const std::string& text, const std::string& what) {
        std::size_t found = 0;
        for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++found;
        return found;
    };
    EXPECT_EQ(count(kelvin.err, "warning: "), 1u) << kelvin.err;
    for (const auto& [camera, sigma, warnings] : {std::tuple{"107 FOV 20", "sigma 0.65\n", 0u},
                                                  {"101", "sigma 0.683\n", 1u},
                                                  {"mine", "sigma 0.683\n", 1u}}) {
        const Outcome outcome =
            run(std::string("enhance --pipeline float b -o o.tif --camera '") + camera + "'");
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(count(outcome.err, "warning: "), warnings) << outcome.err;
        EXPECT_EQ(count(outcome.err, sigma), 1u) << outcome.err;
    }
}

TEST_F(Program, FilesMayHaveAnyNameAndPngAndPgmFramesDoAsWell) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    for (const char* extension : {".png", ".pgm"}) {
        const std::string folder = std::string("wärme bild") + extension;
        std::filesystem::create_directory(path(folder));
        for (int i = 0; i < 5; ++i) {
            cv::Mat counts;
            image("b/frame_00" + std::to_string(i) + ".tif").convertTo(counts, CV_16U, 50.0, 1000.0);
            cv::imwrite(path(folder + "/" + std::to_string(i + 8) + extension), counts);
        }
        const Outcome outcome = run("enhance --pipeline float './" + folder + "/../" + folder + "' -o '" +
                                    folder + "/ö ut.TIF' --scale 0.02 --offset -20");
        ASSERT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_LT(compareWithTruth(image(folder + "/ö ut.TIF"), image("b/truth.tif"), 3).rmse, 1.5);
    }
}

/// What this process has read so far, in bytes; none where the system does not count.
std::optional<double> bytesRead() {
    std::ifstream counters("/proc/self/io");
    std::string name;
    double bytes = 0.0;
    if (counters >> name >> bytes) return bytes;
    return std::nullopt;
}

TEST_F(Program, EveryFrameIsDecodedOnce) {
    if (!bytesRead()) GTEST_SKIP() << "the system does not count what is read";
    cv::Mat_<float> frame(200, 300);
    cv::randu(frame, 7000, 9000);
    std::ofstream dump(path("f.raw"), std::ios::binary);
    for (int i = 0; i < 5; ++i) dump.write(frame.ptr<char>(), 200 * 300 * 4);
    dump.close();
    EnhanceCommand enlarge;
    enlarge.parameters.kind = PipelineKind::floatingPoint;
    enlarge.inputs = {path("f.raw")};
    enlarge.reading.raw = parseRawFormat("300x200:f32le");
    enlarge.output = path("o.tif");
    enlarge.metadata = false;  // without a digest of the file
    enlarge.parameters.rawCounts = true;
    enlarge.parameters.guarded = false;
    DetectDefectsCommand detect;
    detect.frames = enlarge.inputs;
    detect.reading = enlarge.reading;
    detect.output = path("l.csv");
    RepairDefectsCommand repair;
    repair.frames = enlarge.inputs;
    repair.reading = enlarge.reading;
    repair.list = detect.output;
    repair.output = path("r/");
    const std::pair<const char*, std::function<void()>> kCommands[] = {
        {"enhance", [&] { enhance(enlarge); }},
        {"detect", [&] { detectDefects(detect); }},
        {"repair", [&] { repairDefects(repair); }}};
    for (const auto& [name, command] : kCommands) {
        const double before = bytesRead().value();
        command();
        const double frames = (bytesRead().value() - before) / (200 * 300 * 4);
        EXPECT_GE(frames, 5.0) << name;
        EXPECT_LT(frames, 5.5) << name;
    }
}

/// What other programs leave behind: ignored signals, children, and closed streams, whose numbers new files would take.
TEST_F(Program, MindsNothingThatItInherits) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    std::filesystem::copy(path("b"), path("c"));
    for (const char* start : {"(exit 7) & exec ", "(exit 7) & exec env --ignore-signal=CHLD "}) {
        const std::string batch = std::string(ORAVO_SUPERRES) + " enhance b c -o out/ --jobs 2 2>err";
        EXPECT_EQ(
            run("--version; cd " + folder_.string() + "; exec timeout 100 sh -c '" + start + batch + "'")
                .code,
            0)
            << start << text(path("err"));
        EXPECT_NE(text(path("err")).find("out/: 2 recordings\n"), std::string::npos) << text(path("err"));
    }
    ASSERT_EQ(run("enhance b -o o.tif --pipeline float").code, 0);
    const std::pair<const char*, int> kClosed[] = {
        {"2>&-", 0}, {"<&- 2>&-", 0}, {">&- 2>&-", 0}, {"--timing --every <&- >&-", 3}};
    for (const auto& [closed, code] : kClosed) {
        EXPECT_EQ(run(std::string("enhance b --pipeline float -o p.tif ") + closed).code, code) << closed;
        EXPECT_TRUE(text(path("p.tif")) == text(path("o.tif"))) << closed;
        std::filesystem::remove(path("p.tif"));
    }
    EXPECT_EQ(run("evaluate b/truth.tif b/truth.tif >&-").code, 3);
}

}  // namespace
}  // namespace oravo::tools
