#include "tools/input/RadiometricFrames.h"

#include <algorithm>

#include "tools/base/Messages.h"
#include "tools/formats/RadiometricJpeg.h"

namespace oravo::tools {
namespace {

std::vector<std::string> allTags() {
    std::vector<std::string> tags;
    for (const RadiometricQuantity& q : radiometricQuantities()) tags.emplace_back(q.tag);
    return tags;
}

RadiometricConstants constantsOf(const RadiometricImage& image) {
    constexpr double kPercent = 100.0;
    RadiometricConstants constants;
    for (const RadiometricQuantity& q : radiometricQuantities()) {
        const auto found = image.numbers.find(q.tag);
        if (found != image.numbers.end()) constants.*q.member = found->second;
    }
    // exiftool gives a share.
    if (constants.humidity) *constants.humidity *= kPercent;
    return constants;
}

}  // namespace

RadiometricFrame::RadiometricFrame(const std::string& path, const RadiometricAccess& access)
    : path_(path), access_(access) {
    if (!access_.exiftool) access_.exiftool = std::make_shared<ExifTool>();
}

cv::Mat RadiometricFrame::read(std::size_t) {
    static const std::vector<std::string> tags = allTags();
    const RadiometricImage image = readRadiometricJpeg(path_, tags, *access_.exiftool);
    constants_ = constantsOf(image).with(access_.given);
    const TemperatureCurve curve(*constants_, path_);
    cv::Mat_<float> celsius(image.counts.size());
    std::transform(image.counts.begin(), image.counts.end(), celsius.begin(),
                   [&](ushort counts) { return static_cast<float>(curve.celsius(counts)); });
    return cv::Mat(celsius);
}

void RadiometricRecord::add(const RadiometricConstants& constants, std::size_t number,
                            const std::string& name) {
    if (!first_) {
        first_ = constants;
        firstName_ = name;
    }
    const auto text = [](const std::optional<double>& n) {
        return n ? format("%g", *n) : std::string("none");
    };
    for (const RadiometricQuantity& q : radiometricQuantities()) {
        const auto &here = constants.*q.member, &there = *first_.*q.member;
        if (q.option == nullptr || here == there || difference_) continue;
        difference_ =
            Guard{"radiometric constants", number,
                  format("%s: its %s is %s, that of %s is %s", name.c_str(), q.tag, text(here).c_str(),
                         firstName_.c_str(), text(there).c_str()),
                  format("each frame becomes temperatures by its own, unless %s sets one for all", q.option)};
    }
}

std::string radiometricSummary(const RadiometricConstants& constants) {
    std::string all;
    for (const RadiometricQuantity& q : radiometricQuantities()) {
        const auto& number = constants.*q.member;
        if (q.option == nullptr || !number) continue;
        all += (all.empty() ? "" : ", ") + std::string(q.tag) + format(" %g", *number) + q.unit;
    }
    return all;
}

std::string radiometricNote(const RadiometricRecord& record) {
    return record.first() ? ", temperatures by " + radiometricSummary(*record.first()) : "";
}

}  // namespace oravo::tools
