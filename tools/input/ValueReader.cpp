#include "tools/input/ValueReader.h"

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {

ValueReader::ValueReader(cv::Size storedSize, const ValueOptions& options, Findings& findings)
    : decode_(options.decode),
      correction_(options.sensor, decode_, options.reading, storedSize),
      rawCounts_(options.rawCounts),
      wantsSignedCounts_(options.signedCounts),
      defects_(options.defects),
      outside_(options.plausible) {
    if (!options.calibration.empty()) {
        calibration_.emplace(options.calibration, decode_, options.reading, storedSize, findings);
    }
}

ValueFrame ValueReader::read(const cv::Mat& stored, std::size_t number, const std::string& name) {
    cv::Mat_<float> values = decode_(stored, name);
    correction_.takeOffShutter(values, calibration_.has_value() || wantsSignedCounts_);
    if (calibration_) values = (*calibration_)(values, name);
    correction_.takeOffPattern(values, wantsSignedCounts_);
    if (wantsSignedCounts_) signedCounts(values, name);
    defects_.takeOut(values, wantsSignedCounts_);
    ValueFrame frame = outside_.take(values, number, name);
    if (number == 0 && frame.allOutside()) {
        throw inputError(name + ": all pixels lie outside " + outside_.rangeText() +
                         ", the most extreme is " + outside_.extremeText() + "; " + remedy());
    }
    return frame;
}

ValueFrame ValueReader::read(FrameReader& reader, std::size_t number) {
    return read(reader.read(number), number, reader.name(number));
}

void ValueReader::warnOfOutside(std::size_t frames, Findings& findings) const {
    const OutOfRange& o = outside_;
    if (o.pixels == 0) return;
    const std::string text = format("%zu pixel%s in %zu of %zu frames lie%s outside ", o.pixels,
                                    o.pixels == 1 ? "" : "s", o.frames, frames, o.pixels == 1 ? "s" : "") +
                             o.rangeText() +
                             " and count as defects: what they show is lost; the most extreme is " +
                             o.extremeText() + format(" in frame %zu (%s)", o.frame, o.name.c_str());
    findings.warn(Guard{"plausible range", o.frame, text, remedy()});
}

const char* ValueReader::remedy() const {
    if (calibration_) return "the calibration does not fit these counts";
    if (rawCounts_) return "decode the counts with --encoding, or --scale and --offset";
    return "pass --nuc for raw counts, or decode them to degrees with --encoding, or --scale and --offset";
}

}  // namespace oravo::tools
