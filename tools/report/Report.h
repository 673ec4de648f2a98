#ifndef ORAVO_TOOLS_REPORT_REPORT_H
#define ORAVO_TOOLS_REPORT_REPORT_H

#include <cstddef>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tools/base/Guard.h"
#include "tools/enhance/Enlarged.h"
#include "tools/measure/Radiometry.h"
#include "tools/pictures/ColourScale.h"
#include "tools/values/PlausibleRange.h"
#include "vision/superresolution/detail/pipeline/TimingReport.h"

namespace oravo::tools {

/// Something with a name.
struct Fact {
    using Value = std::variant<std::string, double, bool, std::vector<std::string>>;
    std::string name;
    Value value;
};

constexpr char kReference[] = "reference";

/// A frame that the image was computed from.
struct ReportedFrame {
    std::size_t number = 0;
    std::string name;
    cv::Point2f shift;        ///< frame(p + d) = reference(p)
    double validShare = 0.0;  ///< of its pixels that agree with the reference; NaN where that is unknown
    std::string status;       ///< kReference, "used", or "used, though ..." with a reservation
    std::optional<vision::SrPreciseFrame> fit;  ///< by the precise pipeline
};

/// A frame that the image could have been computed from, and was not.
struct LeftOutFrame {
    std::size_t number = 0;
    std::string name;
    std::string reason;  ///< in words that follow "frame 7: "
};

/// An image of the recording.
struct ReportedImage {
    std::size_t newest = 0;  ///< frame
    double gain = 0.0;       ///< of resolution; 0 where it is unknown
    std::optional<double>
        decibels;           ///< better than bicubic enlargement at withheld pixels, where that is known
    bool doubtful = false;  ///< measured, and not known to be better than bicubic enlargement
    std::string warning;
    WithoutValue withoutValue;
    double seconds = 0.0;  ///< that it took, its registration included
};

/// All there is to say about a recording and the last image made of it.
struct Report {
    std::vector<Fact> versions;    ///< of what, and which
    std::vector<Fact> input;       ///< what it was and how it was read
    std::vector<Fact> parameters;  ///< names as on the command line
    std::string created;           ///< UTC, ISO 8601
    std::string output;
    std::string unit;  ///< of the values; may be empty

    std::size_t recorded = 0;           ///< frames of the recording
    int mostFrames = 0;                 ///< that an image is made of
    std::vector<ReportedImage> images;  ///< oldest first; the last one is that of the following
    std::vector<ReportedFrame> frames;  ///< that take part, oldest first
    std::vector<LeftOutFrame> leftOut;  ///< oldest first
    std::shared_ptr<const vision::SrPreciseResult> precise;  ///< null for other pipelines
    cv::Mat_<float> image;
    cv::Mat_<float> reference;  ///< the frame that it lies on
    cv::Mat_<uchar> coverage;   ///< frames per pixel of the image; empty where that is unknown
    cv::Mat_<float> noise;      ///< per pixel of the image: its own (precise pipeline) or that of the frames
    cv::Mat_<float> seen;       ///< the image as its camera would show it again in the reference frame
    std::optional<FlatBias>
        flatBias;       ///< of the image against the reference frame, where there are flat areas
    ColourScale scale;  ///< of image and reference in pictures

    std::optional<OutOfRange> outside;  ///< of the recording's values, where there are such
    std::vector<Guard> guards;          ///< what was found along the way
    vision::detail::StageTimes stages;  ///< of the last image
    double seconds = 0.0;               ///< of the whole run, until now
};

/// Where a frame samples the scene within a pixel of the reference frame: what its shift leaves of whole
/// pixels, from [0, 1) per axis.
cv::Point2d phaseOf(cv::Point2f shift);

/// The nearest of the four phases at which samples of a twofold enlargement lie, as 0 or 1 half pixels per axis.
cv::Point halfPhaseOf(cv::Point2f shift);

/// How many of the four phases the frames reach: an image of twice the size has detail to gain from four.
int phasesReached(const std::vector<ReportedFrame>& frames);

/// What the reference frame shows where the image has a pixel, which may overshoot it beside a sharp edge; NaN where
/// that pixel of the frame is defective.
double referenceValueAt(const Report& report, cv::Point pixel);

/// What a bicubic enlargement of the reference frame shows at a pixel of the image.
double bicubicValueAt(const Report& report, cv::Point pixel);

/// What the camera would show of the image at that pixel of the frame; NaN where that is unknown. Next to
/// referenceValueAt() it shows whether a spot that the image shows hotter than any frame did agrees with the frame.
double seenValueAt(const Report& report, cv::Point pixel);

/// The median of the values other than NaN; NaN where there are none.
double medianOf(const cv::Mat_<float>& image);

/// What a map of standard deviations says, in the unit of the image.
struct DeviationFigures {
    bool known = false;
    double median = 0.0;
    double most = 0.0;   ///< 95 % of the pixels have less
    double worst = 0.0;  ///< the largest, and the first pixel that has it
    cv::Point at;
};
DeviationFigures deviationOf(const Report& report);

/// The sensor's fixed pattern as a root mean square; none where none was found.
std::optional<double> patternOf(const Report& report);

/// How many frames' worth of values each pixel of the image rests on; 0 where it has none. The report has to hold a coverage.
cv::Mat_<float> weightOf(const Report& report);

/// For programs: see the keys in JsonReport.cpp. Unavailable values are null, numbers and texts alike.
std::string jsonReport(const Report& report);

/// For people: one page that needs nothing beside itself.
std::string htmlReport(const Report& report);

}  // namespace oravo::tools

#endif
