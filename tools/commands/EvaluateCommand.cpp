#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
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

std::string figures(const char* name, const Quality& q) {
    std::string lines = format("%-8s  PSNR %6.2f dB  RMSE %8.4f  SSIM %.4f\n", name, q.psnr, q.rmse, q.ssim);
    if (q.leftOut > 0) {
        lines +=
            format("%-8s  %lld of %lld pixels left out: no value\n", "", q.leftOut, q.leftOut + q.compared);
    }
    return lines;
}

std::string figures(const RegionErrors& e) {
    return format("%-8s  RMSE of flat places %.4f, hot ones %.4f, cold ones %.4f\n", "", e.flat, e.hot,
                  e.cold);
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
void warnIfDisplaced(const char* name, const cv::Mat_<float>& image, const cv::Mat_<float>& truth) {
    constexpr int kSmallest = 32;    // pixels; below, too little to align
    constexpr double kBeside = 0.5;  // pixels
    if (std::min(truth.rows, truth.cols) < kSmallest) return;
    const cv::Mat_<float> sound = repaired(truth);
    const cv::Mat_<float> soundImage = repaired(image);
    const cv::Point2d moved = displacementBetween(sound, soundImage);
    if (!(std::hypot(moved.x, moved.y) >= kBeside)) return;  // nor where it is no number
    const FrameDetail here(sound), there(soundImage);
    if (misfit(here, there, cv::Point2f(moved)) > 0.5 * misfit(here, there, {})) return;
    warn(format(
        "%s lies (%.1f, %.1f) pixels from the truth: they are not on one grid, and the figures mostly tell "
        "of that",
        name, moved.x, moved.y));
}

}  // namespace

void evaluate(const EvaluateCommand& command) {
    if (!command.picture.empty()) {
        checkTarget(command.picture, {".png"});
        for (const std::string& input : {command.result, command.truth, command.reference}) {
            if (isSameFile(input, command.picture)) throw outputError(command.picture + ": is an input");
        }
    }
    const cv::Mat_<float> result = readFloat(command.result);
    const cv::Mat_<float> truth = readFloat(command.truth);
    constexpr std::uint64_t kBytesPerPixel = 80;  // measured, with a reference frame and a picture
    requireMemory(kBytesPerPixel * truth.total(),
                  format("%s: images of %d x %d pixels", command.truth.c_str(), truth.cols, truth.rows));
    const Quality ours = compareWithTruth(result, truth, command.crop);
    warnIfDisplaced("the result", result, truth);
    std::string lines = figures("result", ours);
    if (command.regions) lines += figures(regionErrors(result, truth, command.crop));
    std::vector<Panel> panels{{result, "super-resolution", caption(ours)}, {truth, "truth", ""}};
    if (!command.reference.empty()) {
        const cv::Mat_<float> frame = readFloat(command.reference);
        const cv::Mat_<float> enlarged = bicubic(repaired(frame), truth.size());
        warnIfDisplaced("the enlarged reference frame", enlarged, truth);
        const Quality plain = compareWithTruth(enlarged, truth, command.crop);
        lines += figures("bicubic", plain);
        if (command.regions) lines += figures(regionErrors(enlarged, truth, command.crop));
        panels.insert(panels.begin(), {{nearest(frame, truth.size()), "reference frame",
                                        format("%d x %d pixels", frame.cols, frame.rows)},
                                       {enlarged, "bicubic", caption(plain)}});
    }
    panels.back().caption = format("%d x %d pixels", truth.cols, truth.rows);
    if (!command.picture.empty()) writeImage(command.picture, drawComparison(panels));
    std::cout << lines;  // only where all of it worked
}

}  // namespace oravo::tools
