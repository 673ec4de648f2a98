// A host of the C++ classes, built against an installation: host WIDTH HEIGHT COUNT FRAMES ENLARGED
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "all_headers.h"

namespace {

using Pipeline = oravo::vision::SrFloat<oravo::vision::SrFloatRegistration2>;

/// What the library throws is caught here by type, which needs its type information exported.
bool refusesAnImpossibleSize() {
    try {
        Pipeline(-1, 4, 5, 2.0f);
    } catch (const oravo::Exception& e) {
        return !e.message().empty();
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6 || !refusesAnImpossibleSize()) return EXIT_FAILURE;
    const int width = std::stoi(argv[1]);
    const int height = std::stoi(argv[2]);
    Pipeline pipeline(width, height, 5, 2.0f);
    pipeline.setReferenceIndex(3);
    std::ifstream frames(argv[4], std::ios::binary);
    cv::Mat_<float> frame(height, width);
    for (int i = 0; i < std::stoi(argv[3]); ++i) {
        if (!frames.read(reinterpret_cast<char*>(frame.data),
                         static_cast<std::streamsize>(frame.total() * 4)))
            return EXIT_FAILURE;
        if (pipeline.addFrame(frame) != 0) return EXIT_FAILURE;
    }
    cv::Mat_<float> enlarged;
    const float gain = pipeline.computeSR(enlarged);
    std::vector<cv::Point_<float>> shifts;
    pipeline.getCompleteShifts(shifts);
    if (!(gain > 1.0f) || shifts.size() != 5) return EXIT_FAILURE;
    std::ofstream out(argv[5], std::ios::binary);
    out.write(reinterpret_cast<const char*>(enlarged.data),
              static_cast<std::streamsize>(enlarged.total() * 4));
    return out.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
