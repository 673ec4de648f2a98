// The pipelines beside each other, on a burst whose truth is known: image files of degrees Celsius or hundredths of
// a kelvin.
//
//     c++ -std=c++17 compare.cpp $(pkg-config --cflags --libs oravo-superresolution) -lopencv_imgcodecs -lopencv_imgproc -o compare
//     ./compare TRUTH REFERENCE FRAME...
//
// REFERENCE is the index of the frame on whose grid the truth lies. Prints the peak signal-to-noise ratio of each result,
// eight pixels along the borders left out, and of an enlargement of the reference frame by linear interpolation.
#include <cstdlib>
#include <iostream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SrPrecise.h"

namespace {

// As in archive.cpp: each example is one file, complete by itself.
cv::Mat_<float> celsius(const std::string& path) {
    const cv::Mat stored = cv::imread(path, cv::IMREAD_UNCHANGED);
    if (stored.empty() || stored.channels() != 1) throw std::runtime_error(path + ": no frame");
    cv::Mat_<float> values;
    const bool counts = stored.depth() == CV_16U;
    stored.convertTo(values, CV_32F, counts ? 0.01 : 1.0, counts ? -273.15 : 0.0);
    return values;
}

void print(const std::string& name, const cv::Mat_<float>& image, const cv::Mat_<float>& truth) {
    const cv::Rect inner(8, 8, truth.cols - 16, truth.rows - 16);
    double low = 0.0, high = 0.0;
    cv::minMaxLoc(truth, &low, &high);
    std::cout << name << ' ' << cv::PSNR(image(inner), truth(inner), high - low) << " dB" << std::endl;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 4) {
        std::cerr << "usage: compare TRUTH REFERENCE FRAME...\n";
        return 2;
    }
    setenv("ORAVO_REPORT", "off", 1);  // a report of each run would go to standard output
    std::vector<cv::Mat_<float>> frames;
    for (int i = 3; i < argc; ++i) frames.push_back(celsius(argv[i]));
    const cv::Mat_<float> truth = celsius(argv[1]);
    const int width = frames[0].cols, height = frames[0].rows, count = static_cast<int>(frames.size());
    const int reference = std::stoi(argv[2]);

    cv::Mat_<float> enlarged;
    cv::resize(frames.at(static_cast<std::size_t>(reference)), enlarged, truth.size());
    print("linear", enlarged, truth);

    oravo::vision::SrFloat<oravo::vision::SrFloatRegistration2> window(width, height, 5,
                                                                       2.0f);  // its usual number
    window.setReferenceIndex(count - 1 - reference);                           // counted back from the newest
    for (const cv::Mat_<float>& frame : frames) window.addFrame(frame);
    window.computeSR(enlarged);
    print("float", enlarged, truth);

    const oravo::vision::SrPrecise engine(width, height);
    print("precise", engine.compute(frames, reference).image, truth);
    return 0;
} catch (const char* refused) {  // a value that a pipeline does not take
    std::cerr << "compare: " << refused << '\n';
    return 1;
} catch (const std::exception& error) {
    std::cerr << "compare: " << error.what() << '\n';
    return 1;
}
