#include "tools/report/Verdict.h"

#include <algorithm>
#include <map>

#include "tools/base/Messages.h"
#include "tools/measure/Metrics.h"
#include "tools/report/ReportText.h"

namespace oravo::tools {
namespace {

std::string sentence(std::string text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text + ".";
}

std::string predictionText(const Report& r) {
    const vision::SrPreciseResult& p = *r.precise;
    if (p.withheldPixels == 0) return "";
    return "Pixels of the other frames that were withheld are predicted to " +
           figure(p.withheldError, r.unit, 3) + " by the image and to " + figure(p.bicubicError, r.unit, 3) +
           format(" by bicubic enlargement of the reference frame (root mean square, %s). ",
                  counted(p.withheldPixels, "pixel").c_str()) +
           (p.noise < p.withheldError
                ? "Both figures contain the noise of the frames, " + figure(p.noise, r.unit) + "."
                : "");
}

/// About the other images of the recording; empty where nothing speaks against them.
std::string doubtsAboutOthers(const Report& r) {
    std::vector<std::size_t> doubtful;
    for (const ReportedImage& image : r.images) {
        if (image.doubtful && image.newest != r.images.back().newest) doubtful.push_back(image.newest);
    }
    if (doubtful.empty()) return "";
    return format(
        " Of the %zu other images of the recording, %zu %s not known to be better than bicubic enlargement: "
        "of frame%s %s.",
        r.images.size() - 1, doubtful.size(), doubtful.size() == 1 ? "is" : "are",
        doubtful.size() == 1 ? "" : "s", ranges(doubtful).c_str());
}

Verdict preciseVerdict(const Report& r) {
    const ReportedImage& last = r.images.back();
    const std::string doubt = last.warning.empty() ? "" : sentence(last.warning) + " ";
    const std::string others = doubtsAboutOthers(r);
    const std::string explanation = doubt + predictionText(r) + others;
    if (last.doubtful || !last.decibels) {
        return {Verdict::Level::doubtful, "Not known to be better than bicubic enlargement", explanation};
    }
    return {doubt.empty() && others.empty() ? Verdict::Level::better : Verdict::Level::caution,
            format("%.1f dB better than bicubic enlargement", *last.decibels), explanation};
}

Verdict unmeasuredVerdict(const Report& r) {
    const ReportedImage& last = r.images.back();
    if (!last.warning.empty()) {
        return {Verdict::Level::caution, "An image with a warning", sentence(last.warning)};
    }
    const std::string measured =
        "Only the precise pipeline withholds pixels and measures how much better than bicubic enlargement an "
        "image is.";
    if (!(last.gain > 0.0)) return {Verdict::Level::unmeasured, "Quality not measured", measured};
    return {Verdict::Level::unmeasured, format("Gain of resolution %.2f, quality not measured", last.gain),
            "The gain counts the frames that agree with the reference frame, 2 at most, wherever they lie; "
            "it does not "
            "measure sharpness. " +
                measured};
}

bool leavesOut(const Guard& guard) {
    return guard.action.find("left out") != std::string::npos ||
           guard.action.find("skipped") != std::string::npos;
}

/// Of the precise pipeline, whose frames that were left out are known one by one.
bool isListedByFrame(const Report& r, const Guard& guard) {
    return r.precise != nullptr && guard.name == "alignment";
}

std::string framesLeftOut(const std::string& reason, const std::vector<std::size_t>& numbers) {
    return format("Frame%s %s: ", numbers.size() == 1 ? "" : "s", ranges(numbers).c_str()) + reason + ".";
}

void addPixels(const Report& r, std::vector<std::string>& all) {
    if (const int defective = countWithoutValue(r.reference); defective > 0) {
        all.push_back(counted(static_cast<std::size_t>(defective), "pixel") +
                      " of the reference frame without a value: marked as defective, or out of range. Other "
                      "frames serve "
                      "there.");
    }
    if (r.precise && !r.precise->deadPixels.empty()) {
        const std::size_t count = r.precise->deadPixels.size();
        all.push_back(counted(count, "pixel") +
                      format(" of the sensor, in every frame: %s not follow the scene.",
                             count == 1 ? "it does" : "they do"));
    }
    const std::optional<double> pattern = patternOf(r);
    if (pattern) {
        all.push_back("A fixed pattern of the sensor, " + figure(*pattern, r.unit) +
                      " (root mean square), was subtracted: it stays in place while the scene moves.");
    }
    const WithoutValue& none = r.images.back().withoutValue;
    if (none.total() > 0) {
        all.push_back(
            counted(static_cast<std::size_t>(none.total()), "pixel") +
            format(
                " of the image without a value (NaN), since no frame has one there: %d too hot, %d too cold, "
                "%d defective.",
                none.overRange, none.underRange, none.bad));
    }
}

}  // namespace

std::string nameOf(Verdict::Level level) {
    switch (level) {
        case Verdict::Level::better:
            return "better";
        case Verdict::Level::caution:
            return "caution";
        case Verdict::Level::doubtful:
            return "doubtful";
        case Verdict::Level::unmeasured:
            break;
    }
    return "unmeasured";
}

Verdict verdictOn(const Report& report) {
    return report.precise ? preciseVerdict(report) : unmeasuredVerdict(report);
}

std::vector<std::string> leftOutOf(const Report& r) {
    std::vector<std::string> all;
    std::map<std::string, std::vector<std::size_t>> numbers;
    for (const LeftOutFrame& frame : r.leftOut) numbers[frame.reason].push_back(frame.number);
    all.reserve(numbers.size());
    for (const auto& [reason, frames] : numbers) all.push_back(framesLeftOut(reason, frames));
    for (const Guard& guard : r.guards) {
        if (leavesOut(guard) && !isListedByFrame(r, guard))
            all.push_back(sentence(guard.text + "; " + guard.action));
    }
    std::size_t first = r.frames.front().number;
    if (!r.leftOut.empty()) first = std::min(first, r.leftOut.front().number);
    if (first > 0) {
        all.push_back(counted(first, "frame") +
                      format(" before frame %zu: an image is made of the newest frames, up to %d.", first,
                             r.mostFrames));
    }
    addPixels(r, all);
    return all;
}

std::vector<Guard> warningsOf(const Report& r) {
    std::vector<Guard> all;
    for (const Guard& guard : r.guards) {
        const bool inVerdict = guard.name == "result" && guard.frame == r.images.back().newest;
        const bool otherImage = isListedByFrame(r, guard) && r.images.size() > 1;
        if (!inVerdict && (!leavesOut(guard) || otherImage)) all.push_back(guard);
    }
    return all;
}

}  // namespace oravo::tools
