// Counts of a raw sensor become temperatures by two frames of known temperature, then an image: image files of 16-bit
// counts in, a float TIFF of degrees Celsius out.
//
//     c++ -std=c++17 calibrated.cpp $(pkg-config --cflags --libs oravo-superresolution) -lopencv_imgcodecs -o calibrated
//     ./calibrated ENLARGED.tif COLD COLD_CELSIUS HOT HOT_CELSIUS FRAME...
//
// COLD and HOT show an even surface that fills the view. Between them temperature is taken to be linear in the count,
// pixel by pixel, which takes off the sensor's fixed pattern as well.
#include <iostream>
#include <limits>
#include <opencv2/imgcodecs.hpp>

#include "vision/superresolution/SrPrecise.h"

namespace {

cv::Mat_<double> counts(const std::string& path) {
    const cv::Mat stored = cv::imread(path, cv::IMREAD_UNCHANGED);
    if (stored.empty() || stored.channels() != 1) throw std::runtime_error(path + ": no frame");
    cv::Mat_<double> values;
    stored.convertTo(values, CV_64F);
    return values;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 7) {
        std::cerr << "usage: calibrated ENLARGED.tif COLD COLD_CELSIUS HOT HOT_CELSIUS FRAME...\n";
        return 2;
    }
    const cv::Mat_<double> low = counts(argv[2]), high = counts(argv[4]);
    const double cold = std::stod(argv[3]), hot = std::stod(argv[5]);
    const cv::Mat dead = high <= low;  // a pixel that does not tell hot from cold shows nothing
    std::cout << cv::countNonZero(dead) << " of " << dead.total() << " pixels do not react\n";
    const cv::Mat_<double> gain = (hot - cold) / (high - low);

    std::vector<cv::Mat_<float>> frames;
    for (int i = 6; i < argc; ++i) {
        cv::Mat_<float> celsius = cv::Mat_<float>(gain.mul(counts(argv[i]) - low) + cold);
        celsius.setTo(std::numeric_limits<float>::quiet_NaN(), dead);  // NaN is left out
        frames.push_back(celsius);
    }
    const oravo::vision::SrPrecise engine(low.cols, low.rows);
    const int newest = static_cast<int>(frames.size()) - 1;
    const oravo::vision::SrPreciseResult result = engine.compute(frames, std::max(newest - 3, 0));
    std::cout << result.gain << " dB better than bicubic enlargement at withheld pixels\n";
    return cv::imwrite(argv[1], result.image) ? 0 : 1;
} catch (const std::exception& error) {
    std::cerr << "calibrated: " << error.what() << '\n';
    return 1;
}
