// Frames out of a pipe, images into another.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>

#include "tests/tools/Program.h"
#include "tools/base/Guard.h"
#include "tools/enhance/FrameNumbers.h"
#include "tools/measure/Metrics.h"
#include "tools/values/Encoding.h"

namespace oravo::tools {
namespace {

const cv::Size kSize(64, 48);
constexpr std::size_t kFrameBytes = 2 * 64 * 48;
constexpr std::size_t kImageBytes = 4 * kFrameBytes;
const std::string kRead = " --raw 64x48:u16le --every --pipeline float --encoding centikelvin ";

class Live : public Program {
  protected:
    void SetUp() override {
        ASSERT_EQ(run("simulate -o b --frames 7 --width 64 --height 48").code, 0);
        const Decode centikelvin = encodingNamed("centikelvin").decode;
        std::ofstream recording(path("r.raw"), std::ios::binary);
        for (const int i : {0, 1, 2, 3, 4, 5, 5, 6}) {
            recording << packed(centikelvin.stored(image("b/frame_00" + std::to_string(i) + ".tif")),
                                "u16le");
        }
    }

    static std::string packed(const cv::Mat_<double>& numbers, const char* type) {
        const PixelFormat format = parsePixelFormat(type, "");
        std::string bytes(numbers.total() * static_cast<std::size_t>(format.bytes), '\0');
        pack(numbers, format, bytes.data());
        return bytes;
    }

    /// What a shell script returns in which $p is the program, standing before the arguments of a stream. It is ended
    /// should it hang.
    int script(const std::string& lines) const {
        std::ofstream(path("script")) << "p='" << ORAVO_SUPERRES << " enhance'; read='" << kRead << "'\n"
                                      << lines;
        const int status = std::system(("cd " + folder_.string() + " && timeout 100 bash script").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(Live, GivesEachFrameTheImageThatARecordingGives) {
    ASSERT_EQ(run("enhance r.raw -o each/" + kRead).code, 0);
    const Outcome outcome = run("enhance - -o - --raw-output f32le" + kRead + "<r.raw");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_NE(outcome.err.find("standard output: 8 images of 128 x 96 pixels of f32le, 4 enlarged from one "
                               "frame, 1 repeated, 1 repeated frame skipped\n"),
              std::string::npos)
        << outcome.err;
    ASSERT_EQ(outcome.out.size(), 8 * 2 * kImageBytes);
    const RawFormat frames = parseRawFormat("64x48:u16le");
    FrameReader reader({path("r.raw")}, {frames, std::nullopt});
    std::string counts;
    for (std::size_t i = 0; i < reader.count(); ++i) {
        const Decode& decode = encodingNamed("centikelvin").decode;
        const cv::Mat_<float> expected =
            i < 4 ? bicubic(decode(reader.read(i)), kSize * 2)
                  : image("each/frame_00000" + std::to_string(i == 6 ? 5 : i) + ".tif");
        EXPECT_TRUE(outcome.out.substr(i * 2 * kImageBytes, 2 * kImageBytes) ==
                    packed(Decode{}.stored(expected), "f32le"))
            << i;
        counts += packed(decode.stored(expected), "u16le");
    }
    EXPECT_FALSE(std::filesystem::exists(path("each/frame_000006.tif")));
    EXPECT_TRUE(run("enhance - -o -" + kRead + "<r.raw").out == counts);
}

TEST_F(Live, WarnsOfValuesThatTheTypeDoesNotHold) {
    const Outcome outcome = run("enhance - -o - --raw-output u8" + kRead + "<r.raw");
    EXPECT_EQ(outcome.out, std::string(8 * kImageBytes / 2, '\xff'));
    const std::string warning =
        "frame 0: 12288 values of its image lie outside what u8 holds and are clipped; --raw-output takes";
    EXPECT_NE(outcome.err.find(warning), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("frame 1: 1"), std::string::npos) << outcome.err;
}

TEST_F(Live, ComesThroughPipesOfAnyKind) {
    EXPECT_EQ(script("$p - $read -o - <r.raw >expected && mkfifo pipe && { cat r.raw >pipe & }\n"
                     "$p pipe $read -o - | cmp - expected && cat r.raw | $p /dev/stdin $read -o - | cmp - "
                     "expected &&\n"
                     "$p <(cat r.raw) $read -o - | cmp - expected &&\n"
                     "{ printf header; cat r.raw; } | $p - ${read/u16le/u16le@6} -o - | cmp - expected"),
              0);
}

TEST_F(Live, PassesThroughOtherPrograms) {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
    EXPECT_EQ(
        script("set -o pipefail; f='ffmpeg -nostdin -v error -f rawvideo -pix_fmt gray16le'\n"
               "$p - $read -o - <r.raw >expected\n"
               "$f -s 64x48 -i r.raw -c:v ffv1 r.mkv && ffmpeg -nostdin -v error -i r.mkv -f rawvideo - |\n"
               "    $p - $read -o - | ffmpeg -v error -f rawvideo -pix_fmt gray16le -s 128x96 -i - -c:v ffv1 "
               "o.mkv &&\n"
               "ffmpeg -nostdin -v error -i o.mkv -f rawvideo - | cmp - expected"),
        0);
}

/// The next frame comes only when the image of the one before has been read.
TEST_F(Live, HoldsNothingBack) {
    EXPECT_EQ(script("mkfifo in out; $p in $read -o - >out & exec 4<out 3>in\n"
                     "for i in 0 1 2 3 4 5; do\n"
                     "    dd if=r.raw bs=" +
                     std::to_string(kFrameBytes) +
                     " skip=$i count=1 status=none >&3\n"
                     "    [ $(head -c " +
                     std::to_string(kImageBytes) + " <&4 | wc -c) = " + std::to_string(kImageBytes) +
                     " ] || exit 1\n"
                     "done; exec 3>&-; wait $!"),
              0);
}

TEST_F(Live, EndsWithItsInput) {
    const std::pair<std::size_t, std::pair<int, const char*>> kLengths[] = {
        {0, {2, "standard input: ends before the first frame"}},
        {100,
         {2, "standard input: ends within frame 0, after 100 of its 6144 bytes (64 x 48 pixels of u16le)"}},
        {3 * kFrameBytes, {4, "no frame could be enlarged together with others"}},
        {5 * kFrameBytes, {0, "5 images of 128 x 96 pixels of u16le, 4 enlarged from one frame"}},
        {6 * kFrameBytes + 1, {2, "standard input: ends within frame 6, after 1 of its 6144 bytes"}}};
    for (const auto& [length, expected] : kLengths) {
        std::filesystem::copy(path("r.raw"), path("part"), std::filesystem::copy_options::overwrite_existing);
        std::filesystem::resize_file(path("part"), length);
        const Outcome outcome = run("enhance - -o -" + kRead + "<part");
        EXPECT_EQ(outcome.code, expected.first) << length;
        EXPECT_EQ(outcome.out.size(), length / kFrameBytes * kImageBytes);
        EXPECT_NE(outcome.err.find(expected.second), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(run("enhance /dev/stdin -o -" + kRead + "</dev/null").err,
              "oravo-superres: /dev/stdin: ends before the first frame\n");
}

/// Even where whoever started the program ignores the signal that reports it.
TEST_F(Live, EndsWithItsReader) {
    for (const char* before : {"", "trap '' PIPE; "}) {
        EXPECT_EQ(
            script(std::string(before) +
                   "mkfifo in; { $p in $read -o - 2>err; echo $? >code; } | head -c 100 >start & exec 3>in\n"
                   "while cat r.raw >&3 2>/dev/null; do :; done; wait; exit $(cat code)"),
            0);
        EXPECT_NE(text(path("err")).find("; its reader has gone\n"), std::string::npos) << text(path("err"));
        EXPECT_EQ(text(path("err")).find("oravo-superres: "),
                  text(path("err")).find("oravo-superres: warning"));
        std::filesystem::remove(path("in"));
    }
}

/// An image that has begun is finished: the pipe takes a part of it, then nothing until the signal has come.
TEST_F(Live, SignalsLeaveNoPartOfAnImage) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const std::string kill = "kill -" + std::to_string(signal) + " $!\n";
        EXPECT_EQ(
            script("set -m; mkfifo out; head -c 400000 /dev/zero | tr '\\0' '\\7' >large\n"
                   "$p - --raw 200x200:u16le --every --pipeline float --nuc -o - <large >out & exec 3<out\n"
                   "[ $(head -c 1 <&3 | wc -c) = 1 ] || exit 9; " +
                   kill + "[ $(cat <&3 | wc -c) = 319999 ] || exit 8; wait $!"),
            128 + signal);
        EXPECT_EQ(script("set -m; rm out; mkfifo in; $p in $read -o - >out & exec 3>in; cat r.raw >&3\n"
                         "while [ $(stat -c %s out) -lt 196608 ]; do sleep 0.01; done; " +
                         kill + "wait $!; [ $? = " + std::to_string(128 + signal) +
                         " ] && [ $(stat -c %s out) = 196608 ]; code=$?; rm in out; exit $code"),
                  0);
    }
}

TEST_F(Live, MemoryDoesNotGrowWithTheStream) {
#ifdef ORAVO_SANITIZED
    GTEST_SKIP() << "sanitizers keep what is freed";
#endif
    // Frames of nothing but noise: every window is tried again, and something is wrong with each.
    EXPECT_EQ(
        script(
            "head -c 38400 /dev/urandom >noise\n"
            "mkfifo in; $p in --raw 16x12:u16le --every --pipeline float --nuc -o - >out 2>err & exec 3>in\n"
            "resident() { grep VmRSS /proc/$!/status | tr -dc 0-9; }\n"
            "pass() { cat noise >&3; while [ $(stat -c %s out) -lt $((153600 * $1)) ]; do sleep 0.01; done; "
            "}\n"
            "pass 1; early=$(resident); for i in 2 3 4 5; do pass $i; done; late=$(resident); exec 3>&-; "
            "wait $!\n"
            "echo from $early to $late kB; [ $late -lt $((early + 200)) ]"),
        0);
    const std::string said = text(path("err"));
    EXPECT_LT(std::count(said.begin(), said.end(), '\n'), 250) << "of 500 frames that all give rise to doubt";
}

TEST(Findings, OfAStreamAreGivenForTheFirstOfFramesInARow) {
    std::string said;
    Findings findings([&said](const std::string& line) { said += line; });
    for (int frame = 0; frame < 6; ++frame) {
        findings.nextFrame();
        const std::string number = std::to_string(frame);
        if (frame != 3) findings.warn(Guard{"alignment", {}, "a" + number, ""});
        if (frame > 0) findings.warn(Guard{"defects", {}, "d" + number, ""});
    }
    EXPECT_EQ(said, "a0d1a4");
    EXPECT_TRUE(findings.all().empty());
}

TEST(FrameNumbers, AreForgottenOnceNoWindowReachesThem) {
    FrameNumbers numbers;
    for (std::size_t i = 0; i < 3 * FrameNumbers::kRemembered; ++i) EXPECT_TRUE(numbers.add(i));
    EXPECT_EQ(numbers.size(), FrameNumbers::kRemembered + 1);
    EXPECT_FALSE(numbers.add(2 * FrameNumbers::kRemembered));
    EXPECT_FALSE(numbers.hold(7));
}

TEST_F(Live, RefusesWhatAStreamHasNot) {
    const std::pair<std::string, std::string> kRefused[] = {
        {"- r.raw -o -" + kRead, "a pipe is the only input of a run"},
        {"- --every -o -", "frames out of a pipe are raw; --raw states their size and type"},
        {"- --raw 64x48:u16le -o -", "a pipe has no last frame to wait for; --every makes an image for each"},
        {"- -o o.tif" + kRead, "-o o.tif: images of a pipe go to a pipe, -o -"},
        {"- -o - --report r.html" + kRead, "--report: a pipe has no last image to write it for"},
        {"- -o - --shifts s.csv" + kRead, "--shifts: a pipe has no last image to write it for"},
        {"- -o - --jobs 2" + kRead, "--jobs: a pipe is one recording"},
        {"- -o - --resume" + kRead, "--resume: a pipe is gone once it was read"},
        {"- -o - --timing" + kRead, "--timing: prints to standard output, where images go"},
        {"r.raw -o - --raw-output u8" + kRead, "--raw-output: is the type of images out of a pipe"},
        {"- -o - --raw-output u17" + kRead, "--raw-output u17 is no type; u8 and i8 are"},
        {"- -o - --raw 64x48:u16le --every --pipeline float --calibration a.tif 1 b.tif 2",
         "--calibration: gives each pixel a line of its own"}};
    for (const auto& [arguments, reason] : kRefused) {
        const Outcome outcome = run("enhance " + arguments + " <r.raw");
        EXPECT_EQ(outcome.code, 1) << arguments;
        EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(run("enhance - -o - " + kRead + "<r.raw >/dev/full").code, 3);
}

}  // namespace
}  // namespace oravo::tools
