#ifndef ORAVO_TOOLS_INPUT_RADIOMETRICFRAMES_H
#define ORAVO_TOOLS_INPUT_RADIOMETRICFRAMES_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/base/Guard.h"
#include "tools/formats/ExifTool.h"
#include "tools/input/FrameSource.h"
#include "tools/values/TemperatureCurve.h"

namespace oravo::tools {

/// A radiometric JPEG file, whose frame are temperatures in degrees Celsius by the file's own constants, with NaN where there is
/// none.
class RadiometricFrame final : public FrameSource {
  public:
    /// @param access  exiftool, and constants that count in place of the file's
    RadiometricFrame(const std::string& path, const RadiometricAccess& access);
    std::size_t count() const override { return 1; }
    const char* unit() const override { return "image"; }
    cv::Mat read(std::size_t index) override;
    bool holdsTemperatures() const override { return true; }
    const RadiometricConstants* constants() const override { return constants_ ? &*constants_ : nullptr; }

  private:
    std::string path_;
    RadiometricAccess access_;
    std::optional<RadiometricConstants> constants_;  ///< of the frame once it is read
};

/// By which constants a recording's temperatures were computed. Frames have their own, and those of the object should be the
/// same in all of them.
class RadiometricRecord {
  public:
    /// @param number  of the frame in the recording
    void add(const RadiometricConstants& constants, std::size_t number, const std::string& name);

    /// Of the first frame; none where no frame is radiometric.
    const std::optional<RadiometricConstants>& first() const { return first_; }
    /// Where a constant of the object differs from that of the first frame, and what is done; none where none does.
    const std::optional<Guard>& difference() const { return difference_; }

  private:
    std::optional<RadiometricConstants> first_;
    std::string firstName_;
    std::optional<Guard> difference_;
};

/// The constants that have an option and are known: name, and value with its unit.
std::string radiometricSummary(const RadiometricConstants& constants);
/// The same of a recording, for the end of a line; empty where it has none.
std::string radiometricNote(const RadiometricRecord& record);

}  // namespace oravo::tools

#endif
