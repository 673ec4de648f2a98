#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <optional>

#include "tests/tools/Program.h"
#include "tools/base/Messages.h"
#include "tools/commands/Commands.h"
#include "tools/commands/DefectsCommand.h"
#include "tools/enhance/Pipelines.h"
#include "tools/formats/ShiftTable.h"
#include "tools/input/FrameReader.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/memory/ReservedMemory.h"

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

TEST_F(Program, DecodesCountsAndSaysWhatMendsImplausibleOnes) {
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

TEST_F(Program, FailsWithItsCodeOneLineAndNoFile) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    ASSERT_EQ(run("simulate -o four --frames 4 --width 64 --height 48").code, 0);
    ASSERT_EQ(run("simulate -o far --width 64 --height 48 --shifts '0,0;0,0;0,0;0,0;0,0'").code, 0);
    for (int i = 0; i < 5; ++i) {
        writeImage(path("far/frame_00" + std::to_string(i) + ".tif"), cv::Mat_<float>(48, 64, 20.0f));
    }
    const std::size_t before = entries();
    const struct {
        const char* arguments;
        int code;
    } kCases[] = {{"", 1},
                  {"enhanse b -o o.tif", 1},
                  {"enhance b -o ''", 1},
                  {"enhance b -o o.tif --camera ''", 1},
                  {"enhance b", 1},
                  {"enhance b -o o.tif --psf-sigma nan", 1},
                  {"enhance b -o o.tif --psf-sigma 0", 1},
                  {"enhance b -o o.tif --reference-index 5", 1},
                  {"enhance b -o o.tif --registration-error 1.5", 1},
                  {"enhance b -o o.tif --camera '101 FOV 3' --psf-sigma 1", 1},
                  {"enhance b -o o.tif --encoding furlongs", 1},
                  {"enhance b -o o.tif --encoding kelvin --scale 2", 1},
                  {"enhance b -o o.tif --scale 0", 1},
                  {"enhance b -o o.tif --raw 64x48", 1},
                  {"enhance b/frame_000.tif -o o.tif --raw 64x48:u16le", 2},
                  {"enhance b -o o.tif --crop 65x48", 2},
                  {"enhance b -o o.tif --palette plaid", 1},
                  {"enhance b -o o.tif --preview p.jpg", 3},
                  {"enhance b -o o.tif --coverage nowhere/c.tif", 3},
                  {"enhance b -o o.tif --pipeline fixed", 1},
                  {"enhance b -o o.tif --pipeline reference --registration corners", 1},
                  {"enhance b -o o.tif --pipeline reference --reference-index 3", 1},
                  {"simulate -o new --frames 3 --shifts '0,0;1,1'", 1},
                  {"enhance nothing -o o.tif", 2},
                  {"enhance four -o o.tif --pipeline float", 2},
                  {"enhance four -o new/ --every", 2},
                  {"enhance /dev/null -o o.tif", 2},
                  {"enhance b four/../b/truth.tif -o o.tif", 2},
                  {"evaluate b/frame_000.tif b/truth.tif", 2},
                  {"enhance b -o nowhere/o.tif", 3},
                  {"enhance b -o o.jpg", 3},
                  {"enhance b -o b/frame_004.tif", 3},
                  {"enhance b -o b/../b/ --every", 3},
                  {"enhance b -o b", 3},
                  {"enhance b -o new/", 3},
                  {"enhance b -o o.tif --shifts nowhere/s.csv", 3},
                  {"evaluate b/truth.tif b/truth.tif >/dev/full", 3},
                  {"simulate -o b --frames 3 --width 64 --height 48", 3},
                  {"simulate -o new --defects 900 --width 64 --height 48", 1},
                  {"enhance far -o o.tif --no-guard --pipeline float", 4}};
    for (const auto& c : kCases) {
        const Outcome outcome = run(c.arguments);
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.err;
        EXPECT_EQ(outcome.out, "") << c.arguments;
        const std::size_t complaintAt = outcome.err.find("oravo-superres: ");
        ASSERT_NE(complaintAt, std::string::npos) << c.arguments << '\n' << outcome.err;
        EXPECT_EQ(outcome.err.find('\n', complaintAt), outcome.err.size() - 1) << c.arguments << outcome.err;
        EXPECT_EQ(entries(), before) << c.arguments;
    }
    EXPECT_EQ(run("enhance far -o new/ --every --no-guard --pipeline float").code,
              4);  // with a warning for each refused frame
    EXPECT_EQ(entries(), before);
    for (const char* command : {"", "enhance ", "simulate ", "evaluate "}) {
        const Outcome help = run(std::string(command) + "--help");
        EXPECT_EQ(help.code, 0);
        EXPECT_NE(help.out.find("Exit codes"), std::string::npos) << command;
    }
}

TEST_F(Program, SaysWhichNumberOrSizeIsWrong) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    const struct {
        const char* arguments;
        int code;
        const char* words;
    } kCases[] = {{"enhance b --registration-error 1e-50", 1, "1e-50 is not a number above 0 to 1 "},
                  {"enhance b --relative-residue 1e-6", 1, "1e-6 is not a number from 1.00000011e-06 "},
                  {"enhance b --tv-weight 1e39", 1, "1e39 is not a number from 1 to 3.40282347e+38 "},
                  {"enhance b --pipeline float --registration phase --crop 63x48", 1,
                   "; --crop 62x48 leaves a column out"},
                  {"enhance b --pipeline float --registration phase --crop 64x1", 2,
                   "phase correlation takes at least 2 x 2"},
                  {"enhance b --crop 7x48", 2,
                   "7 x 48 pixels are too small; the precise pipeline takes at least 8 x 8"},
                  {"enhance b --pipeline float --crop 2x48", 2,
                   "2 x 48 pixels are too small; aligning them by corners takes at least 3 x 3"},
                  {"enhance b --shift-right 2", 2, "is no whole number; --shift-right drops bits of counts"},
                  {"simulate --seed -1", 1, "-1 is not a whole number from 0 to 18446744073709551615"},
                  {"simulate --seed 18446744073709551616", 1, "is not a whole number"},
                  {"evaluate b/truth.tif b/truth.tif --reference b #", 2, "b: is a folder, not an image"}};
    for (const auto& c : kCases) {
        const Outcome outcome = run(std::string(c.arguments) + " -o new.tif");
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.err;
        EXPECT_NE(outcome.err.find(c.words), std::string::npos) << c.arguments << '\n' << outcome.err;
        EXPECT_EQ(outcome.out, "") << c.arguments;
    }
    EXPECT_EQ(
        run("enhance b --pipeline float -o o.tif --relative-residue 1.00000011e-6 --tv-weight 0.99999999")
            .code,
        0);
}

/// Shifts against the second of five frames, the first and the last of which hardly move.
std::string burstWithOneFarFrame(const std::string& third, const std::string& size) {
    return "simulate -o far --reference 1 --noise 0 --shifts '0.2,0.1;0,0;" + third + ";0.4,0.3;0.7,0.1' " +
           size;
}

TEST_F(Program, NamesTheFrameThatMovedTooFar) {
    ASSERT_EQ(run(burstWithOneFarFrame("11,0", "--width 320 --height 20")).code, 0);
    const Outcome refused = run("enhance far -o o.tif --no-guard --pipeline float");
    EXPECT_EQ(refused.code, 4);
    EXPECT_NE(refused.err.find("no enlarged image: frame 2 moved by (11."), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find(" pixels, half the frame height or more\n"), std::string::npos) << refused.err;
    EXPECT_EQ(entries(), 1u);
    std::filesystem::remove_all(path("far"));
    ASSERT_EQ(run(burstWithOneFarFrame("0.1,13", "--width 160 --height 120")).code, 0);
    const Outcome warned = run("enhance far -o o.tif --no-guard --pipeline float");
    EXPECT_EQ(warned.code, 0);
    EXPECT_NE(warned.err.find("warning: frame 4: frame 2 moved by (0.1, 13.0) pixels, more than a tenth of"),
              std::string::npos)
        << warned.err;
}

/// A frame that cannot be used costs the images of the windows that hold it, and no others.
TEST_F(Program, ARecordingGoesOnBehindABadFrame) {
    ASSERT_EQ(run("simulate -o b --frames 11 --width 64 --height 48").code, 0);
    cv::Mat_<float> bad = image("b/frame_005.tif");
    bad(cv::Rect(20, 20, 9, 9)) = pixelOf(vision::CODE_BAD_PIXEL);
    writeImage(path("b/frame_005.tif"), bad);
    const Outcome guarded = run("enhance b -o guarded/ --every --pipeline float");
    EXPECT_NE(guarded.err.find("guarded/: 6 images of 128 x 96 pixels, none for frames 5\n"),
              std::string::npos)
        << guarded.err;
    EXPECT_FALSE(std::filesystem::exists(path("guarded/frame_000005.tif")));
    const Outcome outcome = run("enhance b -o each/ --every --no-guard --pipeline float");
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("each/: 2 images of 128 x 96 pixels, none for frames 5 to 9\n"),
              std::string::npos);
    FrameReader files({path("each")});
    ASSERT_EQ(files.count(), 2u);
    EXPECT_EQ(files.name(0), path("each/frame_000004.tif"));
    EXPECT_EQ(files.name(1), path("each/frame_000010.tif"));
    std::filesystem::remove(path("b/frame_010.tif"));
    EXPECT_EQ(run("enhance b -o last.tif --no-guard --pipeline float").code,
              4);  // its window still holds the bad frame
    EXPECT_EQ(run("enhance b -o last.tif --pipeline float").code, 0);
    EXPECT_EQ(cv::norm(image("last.tif"), image("guarded/frame_000009.tif")), 0.0);
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

/// The last of a run's files is the one that there is no room for.
TEST_F(Program, AFailedOutputLeavesAllOthersAsTheyWere) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    writeText(path("o.tif"), "before");
    struct rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const struct rlimit room { 60000, before.rlim_max };
    ::setrlimit(RLIMIT_FSIZE, &room);
    const Outcome outcome = run("enhance --pipeline float b -o o.tif --shifts s.csv --report r.html");
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(outcome.code, 3);
    EXPECT_NE(outcome.err.find("r.html: cannot be written: File too large\n"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(text(path("o.tif")), "before");
    EXPECT_EQ(entries(), 2u);
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

TEST(Sizes, ThatCannotBeEnlargedAreNamedWithTheirFile) {
    PipelineParameters parameters;
    parameters.kind = PipelineKind::floatingPoint;
    settlePipeline(parameters);
    for (const cv::Size size : {cv::Size(40000, 20000), cv::Size(3, 16777217)}) {
        EXPECT_EQ(complaint([&] { requireUsableSize(size, parameters, "a.raw"); }, ExitCode::kInput),
                  format("a.raw: frames of %d x %d pixels are too large to be enlarged by 2", size.width,
                         size.height));
    }
    requireUsableSize({20000, 20000}, parameters, "a.raw");
}

/// Files and devices that never end, or claim without end, are refused early and in few words.
TEST_F(Program, ReadsNoMoreThanItNeeds) {
    constexpr long kMost = 400 << 10;  // KiB; the program alone takes 60 MiB
    const auto peak = [] {
        struct rusage used {};
        ::getrusage(RUSAGE_CHILDREN, &used);
        return used.ru_maxrss;
    };
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    const long before = std::max(peak(), kMost);
    const std::uintmax_t kHuge = 3'000'000'000;
    std::ofstream(path("x.csv"));
    std::filesystem::resize_file(path("x.csv"), kHuge);
    const std::string header = "{'descr': '|u1', 'fortran_order': False, 'shape': (1000000000, 1, 2), }";
    std::ofstream(path("x.npy"), std::ios::binary)
        << "\x93NUMPY\x01" << '\0' << static_cast<char>(header.size()) << '\0' << header;
    std::filesystem::resize_file(path("x.npy"), 10 + header.size() + 2'000'000'000);
    const struct {
        const char* arguments;
        const char* words;
    } kCases[] = {
        {"defects repair /dev/zero b -o n/", "/dev/zero: line 1: is longer than any line of a list"},
        {"defects merge b x.csv -o n.csv", "b: cannot be read"},
        {"simulate -o n --shifts x.csv", "x.csv: \"????????????????????????????????????????...\" is longer"},
        {"evaluate x.csv b/truth.tif", "x.csv: is larger than 1 GiB, too large for one image"},
        {"enhance x.npy -o n.tif", "x.npy frame 0: frames of 2 x 1 pixels are too small"},
        {"simulate -o n --width 8192 --height 8192 --frames 100000",
         "100000 frames of 8192 x 8192 pixels need more memory than there is"}};
    for (const auto& c : kCases) {
        const Outcome outcome = run(c.arguments);
        EXPECT_EQ(outcome.code, 2) << c.arguments;
        EXPECT_NE(outcome.err.find(c.words), std::string::npos) << c.arguments << '\n' << outcome.err;
        EXPECT_LT(outcome.err.size(), 250u) << c.arguments;
        EXPECT_LE(peak(), before) << c.arguments;
    }
}

/// Where nothing is left, what takes much of it is refused before it begins, with the name of its input.
TEST_F(Program, EveryCommandAsksForItsMemory) {
    ASSERT_EQ(run("simulate -o b --width 320 --height 240").code, 0);
    std::ofstream text(path("large.csv"));
    for (int i = 0; i < 2000 * 1000; ++i) text << "7" << (i % 1000 == 999 ? '\n' : ';');
    text.close();
    std::ofstream(path("dark.raw"));
    std::filesystem::resize_file(path("dark.raw"), 5 * 880 * 880);
    EnhanceCommand enlarge;
    enlarge.inputs = {path("dark.raw")};
    enlarge.reading.raw = parseRawFormat("880x880:u8");
    enlarge.output = path("o.tif");
    SimulateCommand render;
    render.folder = path("new");
    render.width = 640;
    render.height = 480;
    EvaluateCommand compare;
    compare.result = compare.truth = path("b/truth.tif");
    struct Hoard {  // each piece too small to be asked about
        const std::size_t kPiece = std::size_t{15} << 20, kPieces = 1 << 20;
        Hoard() {
            for (std::size_t i = 0; i < kPieces; ++i) vision::detail::reserveMemory(kPiece);
        }
        ~Hoard() { vision::detail::releaseMemory(kPiece * kPieces); }
    } hoard;
    const std::pair<std::function<void()>, std::string> kCases[] = {
        {[&] { enhance(enlarge); }, path("dark.raw") + " frame 0: frames of 880 x 880 pixels"},
        {[&] { simulate(render); }, "5 frames of 640 x 480 pixels"},
        {[&] { evaluate(compare); }, path("b/truth.tif") + ": images of 640 x 480 pixels"},
        {[&] { readSingleImage(path("large.csv")); }, path("large.csv") + ": its numbers"}};
    for (const auto& [command, what] : kCases) {
        EXPECT_EQ(complaint(command, ExitCode::kInput), what + " need more memory than there is");
    }
    EXPECT_EQ(entries(), 3u);
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

TEST_F(Program, FramesBeyondTheMemoryAreRefused) {
    constexpr std::uint64_t kSide = 32768;
    if (20 * kSide * kSide < 4096ull * static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) / 4 * 3) {
        GTEST_SKIP() << "so much memory that the frame may fit";
    }
    std::ofstream(path("large.raw"));
    std::filesystem::resize_file(path("large.raw"), 5 * 8 * kSide * kSide);
    const Outcome outcome = run("enhance large.raw --raw 32768x32768:f64le -o o.tif");
    EXPECT_EQ(outcome.code, 2);
    EXPECT_EQ(outcome.err,
              "oravo-superres: large.raw: frames of 32768 x 32768 pixels need more memory than there is\n");
}

}  // namespace
}  // namespace oravo::tools
