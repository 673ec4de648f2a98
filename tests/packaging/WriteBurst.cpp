// Writes a burst for hosts built outside the tree, and what the library of this tree makes of it, as raw floats:
//
//   oravo_write_burst FRAMES ENLARGED      prints "WIDTH HEIGHT COUNT"
//
// The burst is a recorded one when ORAVO_TEST_DATA names their folder, else a rendered one.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <opencv2/imgcodecs.hpp>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration2.h"

namespace {

using oravo::test::Image;

constexpr int kFrames = 5;

std::vector<Image> recordedBurst(const std::string& folder) {
    std::vector<Image> frames;
    for (int i = 0; i < kFrames; ++i) {
        const std::string path = folder + "/bursts/mwir_fields/frame_00" + std::to_string(i) + ".tif";
        const cv::Mat stored = cv::imread(path, cv::IMREAD_UNCHANGED);
        if (stored.empty()) throw std::runtime_error(path + " cannot be read");
        Image frame;
        stored.convertTo(frame, CV_32F);
        frames.push_back(frame);
    }
    return frames;
}

std::vector<Image> renderedBurst() {
    return oravo::test::burst(oravo::test::Scene(11, 90, 128), 90, 128,
                              {{0.0f, 0.0f}, {0.4f, -0.3f}, {-0.6f, 0.2f}, {1.3f, 0.7f}, {0.1f, -1.2f}});
}

void write(std::ofstream& file, const Image& image) {
    file.write(reinterpret_cast<const char*>(image.data),
               static_cast<std::streamsize>(image.total() * sizeof(float)));
    if (!file.flush()) throw std::runtime_error("a file cannot be written");
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3) return EXIT_FAILURE;
    const char* folder = std::getenv("ORAVO_TEST_DATA");
    const std::vector<Image> frames = folder != nullptr ? recordedBurst(folder) : renderedBurst();
    const Image& first = frames.front();
    oravo::vision::SrFloat<oravo::vision::SrFloatRegistration2> pipeline(first.cols, first.rows, kFrames,
                                                                         2.0f);
    pipeline.setReferenceIndex(3);
    std::ofstream framesFile(argv[1], std::ios::binary);
    for (const Image& frame : frames) {
        write(framesFile, frame);
        pipeline.addFrame(frame);
    }
    Image enlarged;
    std::cout.setstate(std::ios::failbit);  // the report
    const float gain = pipeline.computeSR(enlarged);
    std::cout.clear();
    if (!(gain > 1.0f)) throw std::runtime_error("the burst has no gain: " + std::to_string(gain));
    std::ofstream enlargedFile(argv[2], std::ios::binary);
    write(enlargedFile, enlarged);
    std::cout << first.cols << ' ' << first.rows << ' ' << kFrames << '\n';
    return EXIT_SUCCESS;
} catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return EXIT_FAILURE;
}
