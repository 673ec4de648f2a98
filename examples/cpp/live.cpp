// A live camera of float frames, by the C++ class of the float pipeline: raw values in and out, one image a frame.
//
//     c++ -std=c++17 live.cpp $(pkg-config --cflags --libs oravo-superresolution) -o live
//     camera | ./live WIDTH HEIGHT | display
#include <cstdlib>
#include <iostream>
#include <vector>

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration2.h"

namespace {

constexpr int kWindow = 5;
constexpr float kFactor = 2.0f;

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: live WIDTH HEIGHT < FRAMES > IMAGES\n";
        return 2;
    }
    setenv("ORAVO_REPORT", "off", 1);  // a report of each run would go to standard output, where images go
    const int width = std::atoi(argv[1]), height = std::atoi(argv[2]);
    oravo::vision::SrFloat<oravo::vision::SrFloatRegistration2> pipeline(width, height, kWindow, kFactor);
    pipeline.setReferenceIndex(3);  // counted back from the newest frame: an image lags by three

    cv::Mat_<float> frame(height, width), enlarged;
    const std::streamsize bytes = static_cast<std::streamsize>(frame.total() * sizeof(float));
    for (int taken = 1; std::cin.read(frame.ptr<char>(), bytes); ++taken) {
        pipeline.addFrame(frame);
        if (taken < kWindow) continue;
        pipeline.computeSR(enlarged);
        std::cout.write(enlarged.ptr<char>(), static_cast<std::streamsize>(enlarged.total() * sizeof(float)))
            .flush();
        if (!std::cout) return 1;
    }
    return 0;
} catch (const char* refused) {  // a value that a pipeline does not take
    std::cerr << "live: " << refused << '\n';
    return 1;
} catch (const std::exception& error) {
    std::cerr << "live: " << error.what() << '\n';
    return 1;
}
