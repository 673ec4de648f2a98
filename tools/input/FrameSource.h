#ifndef ORAVO_TOOLS_INPUT_FRAMESOURCE_H
#define ORAVO_TOOLS_INPUT_FRAMESOURCE_H

#include <cstddef>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "tools/formats/ExifTool.h"
#include "tools/formats/RawFile.h"
#include "tools/values/TemperatureCurve.h"

namespace oravo::tools {

/// One file as a sequence of frames, whatever its format. Failures are UserErrors of one line that name the
/// file.
class FrameSource {
  public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;

    virtual std::size_t count() const = 0;
    /// What one of several is called in messages.
    virtual const char* unit() const = 0;
    virtual cv::Mat read(std::size_t index) = 0;
    /// Whether its frames are degrees Celsius by constants of the file's own.
    virtual bool holdsTemperatures() const { return false; }
    /// These constants, of the frame read last; null for none.
    virtual const RadiometricConstants* constants() const { return nullptr; }
};

/// How radiometric images are read.
struct RadiometricAccess {
    RadiometricConstants given;          ///< count in place of those of the files
    std::shared_ptr<ExifTool> exiftool;  ///< one for all files; null: one for this file
};

/// Opens a file by its first bytes: TIFF, NumPy arrays, PGM, PNG, radiometric JPEG; of others those whose names end in .csv, .tsv, .asc
/// or .txt as matrices of numbers; with a raw format every file as that. Refuses all others, naming the format where
/// it is a common one. TIFF, NumPy and raw files are checked as a whole, others when they are read.
std::unique_ptr<FrameSource> openFrames(const std::string& path, const std::optional<RawFormat>& raw,
                                        const RadiometricAccess& radiometric = {});

/// What a name says about a file of a folder: an image of numbers, a matrix as text, raw frames, a JPEG image.
bool isImageName(const std::string& name);
bool isMatrixName(const std::string& name);
bool isRawName(const std::string& name);
bool isJpegName(const std::string& name);

}  // namespace oravo::tools

#endif
