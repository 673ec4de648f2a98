#include "tools/commands/DefectFiles.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/output/ImageWriter.h"
#include "vision/superresolution/BadPixel.h"

namespace oravo::tools {
namespace {

/// The frame in grey, from the 1st to the 99th percentile of its sound pixels.
cv::Mat_<cv::Vec3b> greyPicture(const cv::Mat& frame, const cv::Mat_<uchar>& defects) {
    cv::Mat_<float> values;
    frame.convertTo(values, CV_32F);
    std::vector<float> sound;
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            if (defects(y, x) == 0) sound.push_back(values(y, x));
        }
    }
    if (sound.empty()) sound.push_back(0.0f);
    std::sort(sound.begin(), sound.end());
    const double dark = static_cast<double>(sound[(sound.size() - 1) / 100]);
    const double bright = static_cast<double>(sound[(sound.size() - 1) * 99 / 100]);
    const double scale = 255.0 / std::max(bright - dark, 1.0);
    cv::Mat levels;
    values.convertTo(levels, CV_8U, scale, -dark * scale);
    cv::Mat_<cv::Vec3b> picture;
    cv::cvtColor(levels, picture, cv::COLOR_GRAY2BGR);
    return picture;
}

}  // namespace

const cv::Mat& requireCounts(const cv::Mat& frame, const std::string& name) {
    if (frame.depth() != CV_16U && frame.depth() != CV_16S) {
        throw inputError(name + ": holds no counts of 16 bits; bad pixels are sought in raw frames");
    }
    return frame;
}

const cv::Mat& requireRepairable(const cv::Mat& frame, const std::string& name) {
    return frame.depth() == CV_32F ? frame : requireCounts(frame, name);
}

cv::Mat_<uchar> readDefectMask(const std::string& path, const ReadOptions& reading, cv::Size storedSize,
                               const std::string& frame) {
    const DefectList list = readDefectList(path);
    const bool isCropped = reading.crop && list.frameSize == reading.crop->size();
    if (!isCropped) requireFrameSize(list, path, storedSize, frame);
    const cv::Mat_<uchar> whole = list.mask();
    const cv::Mat_<uchar> mask = isCropped || !reading.crop ? whole : whole(*reading.crop).clone();
    const int count = cv::countNonZero(mask);
    if (count == mask.size().area()) {
        throw inputError(path + ": lists every pixel, and nothing is left to make an image of");
    }
    note(count == 0 ? path + ": lists no pixel of the frames"
                    : format("%s: %d bad pixel%s of every frame left out", path.c_str(), count,
                             count == 1 ? "" : "s"));
    return mask;
}

void refuseInput(const FrameReader& reader, const std::string& target) {
    if (reader.readsFrom(target)) throw outputError(target + ": is one of the inputs");
}

void summarise(const std::string& path, const DefectList& list, const char* remedy) {
    const double share = 100.0 * list.rows.rows / static_cast<double>(list.frameSize.area());
    note(format("%s: %d bad pixels of %d x %d (%.2f %%)", path.c_str(), list.rows.rows, list.frameSize.width,
                list.frameSize.height, share));
    if (list.isComplete()) {
        warn(path + ": " + kNothingHealthy);
    } else if (const int stranded = list.withoutReplacement()) {
        warn(format("%s: %d bad pixels have no good pixel near enough to replace them; %s", path.c_str(),
                    stranded, remedy));
    }
}

/// Enlarged, so that a square fits into the pixel that it marks: in a dense pattern larger ones would hide
/// all.
void writeMarked(const std::string& path, const cv::Mat& frame, const DefectList& list) {
    const int zoom = std::max(frame.cols, frame.rows) <= 2048 ? 4 : 1;
    cv::Mat_<cv::Vec3b> picture;
    cv::resize(greyPicture(frame, list.mask()), picture, {}, zoom, zoom, cv::INTER_NEAREST);
    if (list.rows.rows > 0) {
        cv::Mat centres;
        const int middle = zoom / 2;
        list.rows.convertTo(centres, CV_16U, zoom, middle);
        vision::BadPixel::drawBadPixels(centres, picture, cv::Scalar(0, 0, 255), static_cast<unsigned>(zoom),
                                        false);
    }
    writeImage(path, picture);
}

}  // namespace oravo::tools
