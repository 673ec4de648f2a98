#ifndef ORAVO_TOOLS_INPUT_VALUEREADER_H
#define ORAVO_TOOLS_INPUT_VALUEREADER_H

#include <optional>
#include <string>
#include <vector>

#include "tools/base/Guard.h"
#include "tools/input/Calibration.h"
#include "tools/input/FrameReader.h"
#include "tools/input/KnownDefects.h"
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
    DefectMask defects = {};     ///< in every frame
};

/// A recording's frames in the unit of the output: decoded, and corrected and calibrated where that was asked for. Keeps count of
/// values outside the plausible range, and refuses a recording that begins with nothing else.
class ValueReader {
  public:
    /// Reads the frames of the calibration.
    /// @param storedSize  of the frames before the crop
    ValueReader(cv::Size storedSize, const ValueOptions& options, Findings& findings);

    /// @param number  of the frame in the recording
    /// Throws UserError, naming the frame, for raw counts beyond 16 bits where these are wanted.
    ValueFrame read(const cv::Mat& stored, std::size_t number, const std::string& name);
    /// The same for a frame of a reader. Throws UserError for one that cannot be read.
    ValueFrame read(FrameReader& reader, std::size_t number);

    /// In the frames read.
    const OutOfRange& outside() const { return outside_; }
    /// A finding: how many values lie outside, how far, and what to do; none where none do.
    /// @param frames  of the recording
    void warnOfOutside(std::size_t frames, Findings& findings) const;

  private:
    const char* remedy() const;

    Decode decode_;
    SensorCorrection correction_;
    std::optional<Calibration> calibration_;
    bool rawCounts_;
    bool wantsSignedCounts_;
    KnownDefects defects_;
    OutOfRange outside_;
};

}  // namespace oravo::tools

#endif
