#ifndef ORAVO_TOOLS_INPUT_VALUEREADER_H
#define ORAVO_TOOLS_INPUT_VALUEREADER_H

#include <optional>
#include <string>
#include <vector>

#include "tools/base/Guard.h"
#include "tools/input/Calibration.h"
#include "tools/input/FrameReader.h"
#include "tools/input/SensorCorrection.h"
#include "tools/values/PlausibleRange.h"

namespace oravo::tools {

/// How stored numbers become values.
struct ValueOptions {
    const Decode& decode;
    const std::vector<std::string>& calibration;  ///< none, or the four texts that Calibration takes
    const SensorFiles& sensor;
    const ReadOptions& reading;  ///< of the frames
    PlausibleRange plausible;    ///< what the pipeline does not take for a defect
    bool rawCounts;              ///< the output is in counts
    bool signedCounts;           ///< and these have to be integers of 16 bits
};

/// A recording's frames in the unit of the output: decoded, and corrected and calibrated where that was asked for. Keeps count of
/// values outside the plausible range, and refuses a recording that begins with nothing else.
class ValueReader {
  public:
    /// Reads the frames of the calibration. The reader has read a frame, by which the size of all is known, and outlives
    /// this object.
    ValueReader(FrameReader& reader, const ValueOptions& options, Findings& findings);

    struct Frame {
        cv::Mat_<float> values;
        cv::Mat_<float>
            plausible;  ///< the same where all of them are, or none; else NaN for those that are not
        bool outside;   ///< there are some that are not
    };
    /// Throws UserError for what cannot be read, and for raw counts beyond 16 bits where these are wanted.
    Frame read(std::size_t index);

    /// In the frames read.
    const OutOfRange& outside() const { return outside_; }
    /// A finding: how many values lie outside, how far, and what to do; none where none do.
    void warnOfOutside(Findings& findings) const;

  private:
    const char* remedy() const;

    FrameReader& reader_;
    Decode decode_;
    SensorCorrection correction_;
    std::optional<Calibration> calibration_;
    bool rawCounts_;
    bool wantsSignedCounts_;
    OutOfRange outside_;
};

}  // namespace oravo::tools

#endif
