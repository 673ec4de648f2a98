#include "tools/ValueReader.h"

#include <limits>

#include "tools/Guard.h"
#include "tools/Messages.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

/// What the pipeline does not take for a defect. The vector pipeline takes everything as it is.
PlausibleRange plausibleFor(const PipelineParameters& parameters) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (parameters.kind == PipelineKind::vector) return {-kInfinity, kInfinity};
    return PlausibleRange::of(parameters.rawCounts);
}

}  // namespace

ValueReader::ValueReader(FrameReader& reader, const EnhanceCommand& command)
    : reader_(reader),
      decode_(command.decode),
      rawCounts_(command.parameters.rawCounts),
      wantsSignedCounts_(rawCounts_ && command.parameters.kind == PipelineKind::reference),
      range_(plausibleFor(command.parameters)) {
    if (!command.calibration.empty()) {
        calibration_.emplace(command.calibration, decode_, command.reading, reader.storedSize());
    }
}

ValueReader::Frame ValueReader::read(std::size_t index) {
    const std::string name = reader_.name(index);
    Frame frame{decode_(reader_.read(index), name), true};
    if (calibration_) frame.values = (*calibration_)(frame.values, name);
    if (wantsSignedCounts_) signedCounts(frame.values, name);
    const double outside = range_.shareOutside(frame.values);
    if (outside > 0.5) {
        if (outside == 1.0 && index == 0) throw inputError(implausible(outside, name));
        if (!told_) warn(Guard{"plausible range", index, implausible(outside, name), ""});
        told_ = true;
        frame.plausible = false;
    }
    return frame;
}

std::string ValueReader::implausible(double outside, const std::string& name) const {
    const char* mend = "decode the counts with --encoding, or --scale and --offset";
    if (calibration_) {
        mend = "the calibration does not fit these counts";
    } else if (!rawCounts_) {
        mend =
            "pass --nuc for raw counts, or decode them to degrees with --encoding, or --scale and --offset";
    }
    return format("%s: %.0f %% of the pixels lie outside the plausible range %g .. %g; %s", name.c_str(),
                  100.0 * outside, static_cast<double>(range_.lowest), static_cast<double>(range_.highest),
                  mend);
}

}  // namespace oravo::tools
