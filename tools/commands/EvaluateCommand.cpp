#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>

#include "tools/base/FileNames.h"
#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/Commands.h"
#include "tools/input/FrameReader.h"
#include "tools/measure/FrameMeasures.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/pictures/Comparison.h"

namespace oravo::tools {
namespace {

cv::Mat_<float> readFloat(const std::string& path) {
    return Decode{}(readSingleImage(path));
}

/// An image beside the truth.
struct Judged {
    std::string name;
    std::string file;
    cv::Mat_<float> image;
    Quality quality;
    RegionErrors regions;
};

std::string inWords(const Judged& judged, bool regions) {
    const Quality& q = judged.quality;
    std::string lines =
        format("%-8s  PSNR %6.2f dB  RMSE %8.4f  SSIM %.4f\n", judged.name.c_str(), q.psnr, q.rmse, q.ssim);
    if (q.leftOut > 0) {
        lines +=
            format("%-8s  %lld of %lld pixels left out: no value\n", "", q.leftOut, q.leftOut + q.compared);
    }
    if (regions) {
        lines += format("%-8s  RMSE of flat places %.4f, hot ones %.4f, cold ones %.4f\n", "",
                        judged.regions.flat, judged.regions.hot, judged.regions.cold);
    }
    return lines;
}

nlohmann::ordered_json number(double value) {
    return std::isfinite(value) ? nlohmann::ordered_json(value) : nlohmann::ordered_json(nullptr);
}

std::string asJson(const std::vector<Judged>& all) {
    nlohmann::ordered_json images = nlohmann::ordered_json::array();
    for (const Judged& judged : all) {
        const Quality& q = judged.quality;
        images.push_back({{"name", judged.name},
                          {"file", judged.file},
                          {"psnr", number(q.psnr)},
                          {"rmse", number(q.rmse)},
                          {"ssim", number(q.ssim)},
                          {"compared", q.compared},
                          {"left_out", q.leftOut},
                          {"flat_rmse", number(judged.regions.flat)},
                          {"hot_rmse", number(judged.regions.hot)},
                          {"cold_rmse", number(judged.regions.cold)}});
    }
    return nlohmann::ordered_json{{"images", images}}.dump(2, ' ', false,
                                                           nlohmann::ordered_json::error_handler_t::replace) +
           "\n";
}

std::string caption(const Quality& q) {
    return format("%.2f dB, RMSE %.3g, SSIM %.3f", q.psnr, q.rmse, q.ssim);
}

cv::Mat_<float> nearest(const cv::Mat_<float>& frame, cv::Size size) {
    cv::Mat_<float> result;
    cv::resize(frame, result, size, 0.0, 0.0, cv::INTER_NEAREST);
    return result;
}

/// The figures compare pixel by pixel: an image of another frame's grid would seem bad, whatever it shows.
void warnIfDisplaced(const std::string& name, const cv::Mat_<float>& image, const cv::Mat_<float>& truth) {
    constexpr int kSmallest = 32;    // pixels; below, too little to align
    constexpr double kBeside = 0.5;  // pixels
    if (std::min(truth.rows, truth.cols) < kSmallest) return;
    const cv::Mat_<float> sound = repaired(truth);
    const cv::Mat_<float> soundImage = repaired(image);
    const cv::Point2d moved = displacementBetween(sound, soundImage);
    if (!(std::hypot(moved.x, moved.y) >= kBeside)) return;  // nor where it is no number
    const FrameDetail here(sound), there(soundImage);
    if (misfit(here, there, cv::Point2f(moved)) > 0.5 * misfit(here, there, {})) return;
    warn(
        format("%s lies (%.1f, %.1f) pixels from the truth: they are not on one grid, and the figures mostly "
               "measure that",
               name.c_str(), moved.x, moved.y));
}

Judged judge(const std::string& name, const std::string& file, const cv::Mat_<float>& image,
             const cv::Mat_<float>& truth, int crop) {
    Judged judged{name, file, image, compareWithTruth(image, truth, crop), {}};
    judged.regions = regionErrors(image, truth, crop);
    warnIfDisplaced(name == "bicubic" ? "the enlarged reference frame" : "the " + name, image, truth);
    return judged;
}

void refuseToOverwrite(const EvaluateCommand& command) {
    if (command.picture.empty()) return;
    checkTarget(command.picture, {".png"});
    std::vector<std::string> inputs = command.others;
    inputs.insert(inputs.end(), {command.result, command.truth, command.reference});
    for (const std::string& input : inputs) {
        if (isSameFile(input, command.picture)) throw outputError(command.picture + ": is an input");
    }
}

std::vector<Panel> panelsOf(const std::vector<Judged>& all, const cv::Mat_<float>& truth,
                            const cv::Mat_<float>& frame) {
    std::vector<Panel> panels;
    if (!frame.empty()) {
        panels.push_back({nearest(frame, truth.size()), "reference frame",
                          format("%d x %d pixels", frame.cols, frame.rows)});
    }
    // The image that this is about stands beside the truth.
    for (auto judged = all.rbegin(); judged != all.rend(); ++judged) {
        const std::string title = judged->name == "result" ? "super-resolution" : judged->name;
        panels.push_back({judged->image, title, caption(judged->quality)});
    }
    panels.push_back({truth, "truth", format("%d x %d pixels", truth.cols, truth.rows)});
    return panels;
}

}  // namespace

void evaluate(const EvaluateCommand& command) {
    refuseToOverwrite(command);
    const cv::Mat_<float> result = readFloat(command.result);
    const cv::Mat_<float> truth = readFloat(command.truth);
    constexpr std::uint64_t kBytesPerPixel = 80;  // measured, with a reference frame and a picture
    constexpr std::uint64_t kBytesPerOther = 12;
    requireMemory((kBytesPerPixel + kBytesPerOther * command.others.size()) * truth.total(),
                  format("%s: images of %d x %d pixels", command.truth.c_str(), truth.cols, truth.rows));
    std::vector<Judged> all{judge("result", command.result, result, truth, command.crop)};
    for (const std::string& file : command.others) {
        const std::string name = std::filesystem::path(file).stem().string();
        all.push_back(judge(name, file, readFloat(file), truth, command.crop));
    }
    cv::Mat_<float> frame;
    if (!command.reference.empty()) {
        frame = readFloat(command.reference);
        all.push_back(
            judge("bicubic", command.reference, bicubic(repaired(frame), truth.size()), truth, command.crop));
    }
    if (!command.picture.empty()) writeImage(command.picture, drawComparison(panelsOf(all, truth, frame)));
    // Printed only where all of it worked.
    if (command.json) {
        std::cout << asJson(all);
        return;
    }
    for (const Judged& judged : all) std::cout << inWords(judged, command.regions);
}

}  // namespace oravo::tools
