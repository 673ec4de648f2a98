#include "tools/formats/VideoFile.h"

#include <fstream>

#include "tests/tools/Program.h"
#include "tests/tools/input/RadiometricFile.h"

namespace oravo::tools {
namespace {

/// Videos that ffmpeg makes of raw frames.
class Videos : public Program {
  protected:
    static constexpr int kFrames = 4;

    void SetUp() override {
        if (!isInstalled("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
        std::ofstream raw(path("r.raw"), std::ios::binary);
        cv::RNG random(3);
        for (cv::Mat_<ushort>& frame : frames_) {
            frame = cv::Mat_<ushort>(12, 16);
            random.fill(frame, cv::RNG::UNIFORM, 0, 4096);
            raw << RadiometricFile::plain(frame, false);
        }
    }

    void make(const std::string& arguments) const {
        const std::string line =
            "cd " + folder_.string() +
            " && ffmpeg -nostdin -v error -y -f rawvideo -pix_fmt gray16le -s 16x12 -i r.raw " + arguments;
        ASSERT_EQ(std::system(line.c_str()), 0) << line;
    }

    /// PNG images as they are, one after the other.
    void pack(const std::string& name, const std::vector<cv::Mat>& images) const {
        std::ofstream all(path("all.bin"), std::ios::binary);
        for (const cv::Mat& image : images) all << RadiometricFile::png(image, false);
        all.close();
        make("-f image2pipe -c:v png -i all.bin -map 1 -c copy " + name);
    }

    std::string faultOf(const std::string& name) const {
        return complaint(
            [&] {
                FrameReader reader({path(name)});
                for (std::size_t i = 0; i < reader.count(); ++i) reader.read(i);
            },
            ExitCode::kInput);
    }

    cv::Mat_<ushort> frames_[kFrames];
};

TEST_F(Videos, GreyWithoutLossIsReadAsStored) {
    make("-c:v ffv1 -level 3 'file:-x y.mkv' -c:v png p.mov -c:v rawvideo -metadata:s:v rotate=90 n.nut");
    // Colours beside the grey.
    make("-map 0 -map 0 -c:v:0 mpeg4 -pix_fmt:v:0 yuv420p -c:v:1 ffv1 two.avi");
    FrameReader reader({folder_.string()});
    ASSERT_EQ(reader.count(), std::size_t{4 * kFrames});
    for (int file = 0; file < 4; ++file) {
        // Forward, over one, and back.
        for (const int i : file == 0 ? std::vector<int>{0, 1, 3, 2} : std::vector<int>{0, 3}) {
            const auto index = static_cast<std::size_t>(file * kFrames + i);
            const cv::Mat frame = reader.read(index);
            ASSERT_EQ(frame.type(), CV_16UC1) << reader.name(index);
            EXPECT_EQ(cv::norm(frame, frames_[i], cv::NORM_INF), 0.0) << reader.name(index);
        }
    }
}

TEST_F(Videos, WhatLosesValuesIsRefusedWithWhatToDo) {
    make(
        "-c:v mpeg4 -pix_fmt yuv420p c.mkv -c:v ffv1 -pix_fmt gray g.mkv -c:v jpeg2000 -pix_fmt gray16le "
        "j.mkv");
    make("-map 0 -map 0 -c:v ffv1 d.mkv");
    const struct {
        const char* name;
        const char* fault;
    } kCases[] = {{"c.mkv", "its video is yuv420p in mpeg4: colours or grey levels for the eye"},
                  {"g.mkv", "its video is gray in ffv1: grey of 8 bits, too coarse for temperatures"},
                  {"j.mkv", "its video is gray16le in jpeg2000, a codec that loses values, or may"},
                  {"d.mkv", "holds 2 streams of grey frames; ffmpeg -i IN -map 0:0 -c copy OUT.mkv"}};
    for (const auto& c : kCases) {
        const std::string fault = faultOf(c.name);
        EXPECT_EQ(fault.rfind(path(c.name) + ": " + c.fault, 0), 0u) << fault;
    }
    EXPECT_NE(faultOf("g.mkv").find("ffmpeg -i frame_%04d.png -c:v ffv1"), std::string::npos);
}

TEST_F(Videos, DamageAndChangesAreRefused) {
    make("-c:v ffv1 -level 3 whole.mkv");
    std::string bytes = text(path("whole.mkv"));
    std::ofstream(path("cut.mkv"), std::ios::binary) << bytes.substr(0, bytes.size() * 3 / 4);
    std::ofstream(path("head.mkv"), std::ios::binary) << bytes.substr(0, 30);
    bytes[bytes.size() / 2] ^= 0x55;
    std::ofstream(path("flipped.mkv"), std::ios::binary) << bytes;
    cv::Mat_<uchar> shallow(12, 16, uchar{7});
    pack("turned.mkv", {frames_[0], frames_[1], frames_[2].t(), frames_[3]});
    pack("shallow.mkv", {frames_[0], frames_[1], shallow});
    for (const char* name : {"cut.mkv", "head.mkv"}) {
        const std::string fault = faultOf(name);
        EXPECT_EQ(fault.rfind(path(name) + ": is damaged or cut short (", 0), 0u) << fault;
    }
    for (const char* name : {"flipped.mkv", "turned.mkv", "shallow.mkv"}) {
        const std::string fault = faultOf(name);
        EXPECT_EQ(fault.rfind(path(name) + ": decoding fails at frame ", 0), 0u) << fault;
    }
    const std::string before = std::getenv("PATH");
    ::setenv("PATH", folder_.c_str(), 1);
    EXPECT_EQ(faultOf("whole.mkv"), path("whole.mkv") +
                                        ": is a video, which ffprobe reads, and that is not installed "
                                        "(Debian package ffmpeg)");
    ::setenv("PATH", before.c_str(), 1);
}

}  // namespace
}  // namespace oravo::tools
