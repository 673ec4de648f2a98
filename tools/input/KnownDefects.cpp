#include "tools/input/KnownDefects.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "tools/values/Decode.h"

namespace oravo::tools {
namespace {

/// Whether the library repairs the pixel: all of its four neighbours are sound, and three of them exist at least.
bool isSingle(const cv::Mat_<unsigned char>& listed, cv::Point at) {
    int sound = 0;
    for (const cv::Point step : {cv::Point(-1, 0), {1, 0}, {0, -1}, {0, 1}}) {
        const cv::Point beside = at + step;
        if (!cv::Rect({}, listed.size()).contains(beside)) continue;
        if (listed(beside) != 0) return false;
        ++sound;
    }
    return sound >= 3;
}

/// The sound pixels of the smallest square about a pixel that has any.
std::vector<cv::Point> nearestSound(const cv::Mat_<unsigned char>& listed, cv::Point at) {
    std::vector<cv::Point> found;
    const int most = std::max(listed.cols, listed.rows);
    for (int reach = 1; found.empty() && reach < most; ++reach) {
        const cv::Rect around =
            cv::Rect(at.x - reach, at.y - reach, 2 * reach + 1, 2 * reach + 1) & cv::Rect({}, listed.size());
        for (int y = around.y; y < around.br().y; ++y) {
            for (int x = around.x; x < around.br().x; ++x) {
                if (listed(y, x) == 0) found.emplace_back(x, y);
            }
        }
    }
    return found;
}

}  // namespace

KnownDefects::KnownDefects(const DefectMask& mask) : listed_(mask.listed) {
    if (!mask.repairsSingleOnes) return;
    for (int y = 0; y < listed_.rows; ++y) {
        for (int x = 0; x < listed_.cols; ++x) {
            if (listed_(y, x) != 0 && !isSingle(listed_, {x, y}))
                filled_.push_back({{x, y}, nearestSound(listed_, {x, y})});
        }
    }
}

void KnownDefects::takeOut(cv::Mat_<float>& frame, bool whole) const {
    if (listed_.empty()) return;
    frame.setTo(std::numeric_limits<float>::quiet_NaN(), listed_);
    for (const Filled& pixel : filled_) {
        double sum = 0.0, count = 0.0;
        for (const cv::Point from : pixel.from) {
            if (!isValue(frame(from))) continue;
            sum += static_cast<double>(frame(from));
            count += 1.0;
        }
        if (count > 0.0)
            frame(pixel.at) = static_cast<float>(whole ? std::nearbyint(sum / count) : sum / count);
    }
}

}  // namespace oravo::tools
