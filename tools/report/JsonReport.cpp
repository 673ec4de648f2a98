#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "tools/base/Messages.h"
#include "tools/pictures/Preview.h"
#include "tools/report/Report.h"
#include "tools/report/Verdict.h"

namespace oravo::tools {
namespace {

using Json = nlohmann::ordered_json;

Json number(double value) {
    constexpr double kWhole = 1e15;  // beyond, integers and other numbers look the same
    if (!std::isfinite(value)) return nullptr;
    if (std::abs(value) < kWhole && value == std::floor(value)) return static_cast<std::int64_t>(value);
    return value;
}

/// As --timing prints it.
double inSixDigits(double value) {
    return std::strtod(format("%.6g", value).c_str(), nullptr);
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json object(const std::vector<Fact>& facts) {
    Json result = Json::object();
    for (const Fact& fact : facts) {
        std::visit([&](const auto& value) { result[fact.name] = value; }, fact.value);
        const double* real = std::get_if<double>(&fact.value);
        if (real != nullptr) result[fact.name] = number(*real);
        const std::string* text = std::get_if<std::string>(&fact.value);
        if (text != nullptr) result[fact.name] = textOrNull(*text);
    }
    return result;
}

Json spot(const Spots::Spot& where, const Report& report) {
    return {{"x", where.at.x},
            {"y", where.at.y},
            {"value", number(static_cast<double>(where.value))},
            {"in_reference_frame", number(referenceValueAt(report, where.at))},
            {"bicubic", number(bicubicValueAt(report, where.at))},
            {"seen_by_camera", number(seenValueAt(report, where.at))}};
}

Json spots(const Report& report) {
    const std::optional<Spots> found = Spots::of(report.image);
    if (!found) return nullptr;
    return {{"hottest", spot(found->hottest, report)}, {"coldest", spot(found->coldest, report)}};
}

/// By how much the image reads above the reference frame where the scene is flat.
Json flatBias(const std::optional<FlatBias>& bias) {
    if (!bias) return nullptr;
    return {{"pixels", bias->pixels},
            {"difference", number(bias->difference)},
            {"standard_error", number(bias->error)},
            {"worst_area",
             {{"x", bias->worstAt.x},
              {"y", bias->worstAt.y},
              {"difference", number(bias->worst)},
              {"standard_error", number(bias->worstError)}}}};
}

Json frame(const ReportedFrame& f) {
    const cv::Point2d phase = phaseOf(f.shift);
    Json result{{"number", f.number},
                {"name", f.name},
                {"shift", {number(static_cast<double>(f.shift.x)), number(static_cast<double>(f.shift.y))}},
                {"phase", {number(phase.x), number(phase.y)}},
                {"valid_share", number(f.validShare)},
                {"status", f.status}};
    if (!f.fit) return result;
    const auto row = [&](int i) { return Json{number(f.fit->linear[i][0]), number(f.fit->linear[i][1])}; };
    result["shift_error"] = {number(f.fit->dxError), number(f.fit->dyError)};
    result["linear"] = {row(0), row(1)};
    result["gain"] = number(f.fit->gain);
    result["offset"] = number(f.fit->offset);
    result["misfit"] = number(f.fit->misfit);
    return result;
}

Json verdict(const Report& report) {
    const Verdict found = verdictOn(report);
    return {{"level", nameOf(found.level)}, {"headline", found.headline}, {"explanation", found.explanation}};
}

/// Of the image (precise pipeline), or of the frames around it.
Json deviation(const Report& report) {
    const DeviationFigures all = deviationOf(report);
    if (!all.known) return nullptr;
    return {{"median", number(all.median)},
            {"most", number(all.most)},
            {"worst", {{"x", all.at.x}, {"y", all.at.y}, {"value", number(all.worst)}}}};
}

Json weightMedian(const Report& report) {
    return report.coverage.empty() ? Json(nullptr) : number(medianOf(weightOf(report)));
}

Json orNull(const std::optional<double>& value) {
    return value ? number(*value) : Json(nullptr);
}

/// What the precise pipeline found out about the image and the sensor.
Json precise(const Report& report) {
    if (!report.precise) return nullptr;
    const vision::SrPreciseResult& p = *report.precise;
    const bool predicted = p.withheldPixels > 0;
    Json dead = Json::array();
    for (const cv::Point& pixel : p.deadPixels) dead.push_back({pixel.x, pixel.y});
    return {{"trusted", p.trusted},
            {"leaning_on_reference", number(p.leaning)},
            {"share_on_reference", number(p.shareOnReference)},
            {"withheld_pixels", p.withheldPixels},
            {"withheld_error", predicted ? number(p.withheldError) : Json(nullptr)},
            {"bicubic_error", predicted ? number(p.bicubicError) : Json(nullptr)},
            {"contrast", number(p.contrast)},
            {"noise", number(p.noise)},
            {"smoothness", number(p.smoothness)},
            {"dead_pixels", dead},
            {"fixed_pattern", orNull(patternOf(report))}};
}

Json resolutionGain(const ReportedImage& image) {
    return image.gain > 0.0 && image.warning.empty() ? number(image.gain) : Json(nullptr);
}

/// Pixels that are NaN in the file.
Json withoutValue(const WithoutValue& pixels) {
    return {{"pixels", pixels.total()},
            {"over_range", pixels.overRange},
            {"under_range", pixels.underRange},
            {"bad", pixels.bad}};
}

Json outOfRange(const std::optional<OutOfRange>& outside) {
    if (!outside) return nullptr;
    return {{"pixels", outside->pixels},
            {"frames", outside->frames},
            {"lowest_plausible", number(static_cast<double>(outside->range.lowest))},
            {"highest_plausible", number(static_cast<double>(outside->range.highest))},
            {"most_extreme",
             {{"value", number(static_cast<double>(outside->extreme))},
              {"x", outside->at.x},
              {"y", outside->at.y},
              {"frame", outside->frame},
              {"name", outside->name}}}};
}

/// The share of pixels at which N frames are valid, for each N from 0.
Json coverage(const Report& report) {
    if (report.coverage.empty()) return nullptr;
    Json shares = Json::array();
    for (std::size_t count = 0; count <= report.frames.size(); ++count) {
        const int pixels = cv::countNonZero(report.coverage == static_cast<int>(count));
        shares.push_back(pixels / std::max(1.0, static_cast<double>(report.coverage.total())));
    }
    return shares;
}

Json lastImage(const Report& report) {
    Json frames = Json::array();
    for (const ReportedFrame& f : report.frames) frames.push_back(frame(f));
    Json leftOut = Json::array();
    for (const LeftOutFrame& frame : report.leftOut) {
        leftOut.push_back({{"number", frame.number}, {"name", frame.name}, {"reason", frame.reason}});
    }
    const ReportedImage& last = report.images.back();
    return {{"file", report.output},
            {"width", report.image.cols},
            {"height", report.image.rows},
            {"unit", textOrNull(report.unit)},
            {"verdict", verdict(report)},
            {"newest_frame", last.newest},
            {"gain", resolutionGain(last)},
            {"decibels_over_bicubic", orNull(last.decibels)},
            {"warning", textOrNull(last.warning)},
            {"without_value", withoutValue(last.withoutValue)},
            {"phases_reached", phasesReached(report.frames)},
            {"frames", frames},
            {"left_out", leftOut},
            {"left_out_or_corrected", leftOutOf(report)},
            {"precise", precise(report)},
            {"coverage_shares", coverage(report)},
            {"weight_median", weightMedian(report)},
            {"deviation", deviation(report)},
            {"noise_median", number(medianOf(report.noise))},
            {"spots", spots(report)},
            {"flat_bias", flatBias(report.flatBias)}};
}

Json images(const std::vector<ReportedImage>& all) {
    Json result = Json::array();
    for (const ReportedImage& image : all) {
        result.push_back({{"newest_frame", image.newest},
                          {"gain", resolutionGain(image)},
                          {"decibels_over_bicubic", orNull(image.decibels)},
                          {"doubtful", image.doubtful},
                          {"warning", textOrNull(image.warning)},
                          {"without_value", withoutValue(image.withoutValue)},
                          {"seconds", number(image.seconds)}});
    }
    return result;
}

Json guards(const std::vector<Guard>& all) {
    Json result = Json::array();
    for (const Guard& guard : all) {
        result.push_back({{"name", guard.name},
                          {"frame", guard.frame ? Json(*guard.frame) : Json(nullptr)},
                          {"text", guard.text},
                          {"action", textOrNull(guard.action)}});
    }
    return result;
}

}  // namespace

std::string jsonReport(const Report& report) {
    Json stages = Json::object();
    for (const vision::detail::StageTime& stage : report.stages) {
        stages[stage.name] = number(inSixDigits(stage.milliseconds));
    }
    const Json all{{"versions", object(report.versions)},
                   {"created", report.created},
                   {"input", object(report.input)},
                   {"parameters", object(report.parameters)},
                   {"image", lastImage(report)},
                   {"images", images(report.images)},
                   {"out_of_range", outOfRange(report.outside)},
                   {"guards", guards(report.guards)},
                   {"timings", {{"stages_ms", stages}, {"total_seconds", number(report.seconds)}}}};
    // File names may be anything; what is no UTF-8 in them is replaced.
    return all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace oravo::tools
