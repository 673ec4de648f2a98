// The best image of a burst, by the C++ class: image files in, of degrees Celsius or hundredths of a kelvin, a float TIFF out.
//
//     c++ -std=c++17 burst.cpp $(pkg-config --cflags --libs oravo-superresolution) -lopencv_imgcodecs -o burst
//     ./burst ENLARGED.tif FRAME...
#include <iostream>
#include <opencv2/imgcodecs.hpp>

#include "vision/superresolution/SrPrecise.h"

int main(int argc, char** argv) try {
    if (argc < 3) {
        std::cerr << "usage: burst ENLARGED.tif FRAME...\n";
        return 2;
    }
    std::vector<cv::Mat_<float>> frames;
    for (int i = 2; i < argc; ++i) {
        const cv::Mat frame = cv::imread(argv[i], cv::IMREAD_UNCHANGED);
        if (frame.empty() || frame.channels() != 1)
            throw std::runtime_error(std::string(argv[i]) + ": no frame");
        cv::Mat_<float> celsius;
        if (frame.depth() == CV_16U)
            frame.convertTo(celsius, CV_32F, 0.01, -273.15);
        else
            frame.convertTo(celsius, CV_32F);
        frames.push_back(celsius);
    }
    const oravo::vision::SrPrecise engine(frames[0].cols, frames[0].rows);
    const int reference = static_cast<int>(frames.size()) / 2;  // the image lies on this frame's grid
    const oravo::vision::SrPreciseResult result = engine.compute(frames, reference);

    std::cout << result.usedFrames() << " of " << frames.size() << " frames, " << result.gain
              << " dB better than bicubic enlargement at withheld pixels"
              << (result.trusted ? "" : "; not to be trusted") << '\n';
    for (const oravo::vision::SrPreciseFrame& frame : result.frames)
        std::cout << "  moved by " << frame.dx << ", " << frame.dy << (frame.used ? "" : ", left out")
                  << '\n';
    return cv::imwrite(argv[1], result.image) ? 0 : 1;
} catch (const std::exception& error) {  // what a frame lacks, by name and value
    std::cerr << "burst: " << error.what() << '\n';
    return 1;
}
