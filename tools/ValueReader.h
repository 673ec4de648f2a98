#ifndef ORAVO_TOOLS_VALUEREADER_H
#define ORAVO_TOOLS_VALUEREADER_H

#include <optional>

#include "tools/Calibration.h"
#include "tools/Commands.h"
#include "tools/FrameReader.h"

namespace oravo::tools {

/// A recording's frames in the unit of the output: decoded, and calibrated where that was asked for. Says once
/// per recording that values look like something else than the unit expected, and refuses a
/// recording that begins with nothing else.
class ValueReader {
  public:
    /// Reads the frames of the calibration. The reader has read a frame, by which the size of all is known, and outlives
    /// this object.
    ValueReader(FrameReader& reader, const EnhanceCommand& command);

    struct Frame {
        cv::Mat_<float> values;
        bool plausible;  ///< most of the values are
    };
    /// Throws UserError for what cannot be read, and for raw counts beyond 16 bits where these are wanted.
    Frame read(std::size_t index);

  private:
    std::string implausible(double outside, const std::string& name) const;

    FrameReader& reader_;
    Decode decode_;
    std::optional<Calibration> calibration_;
    bool rawCounts_;
    bool wantsSignedCounts_;
    PlausibleRange range_;
    bool told_ = false;
};

}  // namespace oravo::tools

#endif
