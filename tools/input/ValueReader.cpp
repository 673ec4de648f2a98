#include "tools/input/ValueReader.h"

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {

ValueReader::ValueReader(FrameReader& reader, const ValueOptions& options, Findings& findings)
    : reader_(reader),
      decode_(options.decode),
      correction_(options.sensor, decode_, options.reading, reader.storedSize()),
      rawCounts_(options.rawCounts),
      wantsSignedCounts_(options.signedCounts),
      outside_(options.plausible) {
    if (!options.calibration.empty()) {
        calibration_.emplace(options.calibration, decode_, options.reading, reader.storedSize(), findings);
    }
}

ValueReader::Frame ValueReader::read(std::size_t index) {
    const std::string name = reader_.name(index);
    Frame frame{decode_(reader_.read(index), name), {}, false};
    correction_.takeOffShutter(frame.values, calibration_.has_value() || wantsSignedCounts_);
    if (calibration_) frame.values = (*calibration_)(frame.values, name);
    correction_.takeOffPattern(frame.values, wantsSignedCounts_);
    if (wantsSignedCounts_) signedCounts(frame.values, name);
    const std::size_t outside = outside_.add(frame.values, index, name);
    if (index == 0 && outside == frame.values.total()) {
        throw inputError(name + ": all pixels lie outside " + outside_.rangeText() +
                         ", the most extreme is " + outside_.extremeText() + "; " + remedy());
    }
    frame.outside = outside > 0;
    const bool some = frame.outside && outside < frame.values.total();
    frame.plausible = some ? outside_.range.within(frame.values) : frame.values;
    return frame;
}

void ValueReader::warnOfOutside(Findings& findings) const {
    const OutOfRange& o = outside_;
    if (o.pixels == 0) return;
    const std::string text =
        format("%zu pixel%s in %zu of %zu frames lie%s outside ", o.pixels, o.pixels == 1 ? "" : "s",
               o.frames, reader_.count(), o.pixels == 1 ? "s" : "") +
        o.rangeText() + " and count as defects: what they show is lost; the most extreme is " +
        o.extremeText() + format(" in frame %zu (%s)", o.frame, o.name.c_str());
    findings.warn(Guard{"plausible range", o.frame, text, remedy()});
}

const char* ValueReader::remedy() const {
    if (calibration_) return "the calibration does not fit these counts";
    if (rawCounts_) return "decode the counts with --encoding, or --scale and --offset";
    return "pass --nuc for raw counts, or decode them to degrees with --encoding, or --scale and --offset";
}

}  // namespace oravo::tools
