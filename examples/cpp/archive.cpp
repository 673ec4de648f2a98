// An archive: each recording, a folder of image files of degrees Celsius or hundredths of a kelvin, becomes a float TIFF, on
// all processors. One that fails does not keep the others from being done, and a second run goes on where the first was ended.
//
//     c++ -std=c++17 archive.cpp $(pkg-config --cflags --libs oravo-superresolution) -lopencv_imgcodecs -pthread -o archive
//     ./archive RECORDINGS/ RESULTS/
#include <atomic>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <opencv2/imgcodecs.hpp>
#include <thread>

#include "vision/superresolution/SrPrecise.h"

namespace {

namespace fs = std::filesystem;

// As in compare.cpp: each example is one file, complete by itself.
cv::Mat_<float> celsius(const std::string& path) {
    const cv::Mat stored = cv::imread(path, cv::IMREAD_UNCHANGED);
    if (stored.empty() || stored.channels() != 1) throw std::runtime_error(path + ": no frame");
    cv::Mat_<float> values;
    const bool counts = stored.depth() == CV_16U;
    stored.convertTo(values, CV_32F, counts ? 0.01 : 1.0, counts ? -273.15 : 0.0);
    return values;
}

/// Enlarges a recording, and says how that went.
std::string enlarge(const fs::path& recording, const fs::path& result) {
    std::vector<std::string> files;
    cv::glob(recording / "*", files);  // sorted by name
    constexpr std::size_t kMost = 12;  // the newest ones
    files.erase(files.begin(), files.end() - static_cast<std::ptrdiff_t>(std::min(kMost, files.size())));
    if (files.empty()) throw std::runtime_error("no frames");
    std::vector<cv::Mat_<float>> frames;
    for (const std::string& file : files) frames.push_back(celsius(file));
    const oravo::vision::SrPrecise engine(frames[0].cols, frames[0].rows);
    const auto made = engine.compute(frames, static_cast<int>(frames.size()) / 2);
    // The file gets its name once it is whole, so that what has a name is finished.
    const fs::path part = fs::path(result).replace_extension("part.tif");
    if (!cv::imwrite(part, made.image)) throw std::runtime_error("the image cannot be written");
    fs::rename(part, result);
    return made.trusted ? std::to_string(made.gain) + " dB better than bicubic enlargement" : "doubtful";
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: archive RECORDINGS/ RESULTS/\n";
        return 2;
    }
    std::vector<fs::path> recordings;
    for (const fs::directory_entry& entry : fs::directory_iterator(argv[1]))
        if (entry.is_directory()) recordings.push_back(entry.path());
    fs::create_directories(argv[2]);

    std::atomic<std::size_t> next{0};
    std::atomic<int> failed{0};
    std::mutex output;
    const auto work = [&] {
        for (std::size_t i = next++; i < recordings.size(); i = next++) {
            const fs::path result = argv[2] / recordings[i].filename().concat(".tif");
            std::string said = "finished before";
            try {
                if (!fs::exists(result)) said = enlarge(recordings[i], result);
            } catch (const std::exception& error) {
                said = std::string("failed: ") + error.what();
                ++failed;
            }
            const std::lock_guard<std::mutex> alone(output);
            std::cout << result.string() << ": " << said << '\n';
        }
    };
    std::vector<std::thread> others(std::max(std::thread::hardware_concurrency(), 1u) - 1);
    for (std::thread& other : others) other = std::thread(work);
    work();
    for (std::thread& other : others) other.join();
    return failed == 0 ? 0 : 1;
} catch (const std::exception& error) {
    std::cerr << "archive: " << error.what() << '\n';
    return 1;
}
