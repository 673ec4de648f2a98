#ifndef ORAVO_TOOLS_IMAGEWRITER_H
#define ORAVO_TOOLS_IMAGEWRITER_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tools/PendingFile.h"
#include "tools/TiffFile.h"

namespace oravo::tools {

// Files appear whole or not at all: each is written under a hidden name in its folder and then renamed to its
// target, which it replaces. Failures are UserErrors of the output kind that name the target.

/// Refuses a target in a folder that is missing or not writable, one that is itself a folder, and one whose
/// name does not end in one of the extensions (in lower case, with the dot). To be asked before the work.
void checkTarget(const std::string& path, const std::vector<std::string>& extensions);

/// A folder to write to: created, with those above it, where it is missing, and removed again where nothing
/// came of that.
class TargetFolder {
  public:
    explicit TargetFolder(const std::string& path);
    ~TargetFolder();
    TargetFolder(const TargetFolder&) = delete;
    TargetFolder& operator=(const TargetFolder&) = delete;

  private:
    std::string path_;
    bool isNew_ = false;
};

/// One image in the format that the name's extension tells: TIFF with values as they are, 8-bit or 16-bit
/// PNG.
void writeImage(const std::string& path, const cv::Mat& image);

/// The name that stands for standard output.
constexpr char kStandardOutput[] = "-";

/// A TIFF file written page by page. Without finish() nothing of it stays. What is meant for standard output is
/// written to a temporary file first, since the format cannot be written in one go.
class TiffPages {
  public:
    /// @param expectedBytes  of all pages together, at most
    TiffPages(const std::string& path, std::uint64_t expectedBytes);
    void add(const cv::Mat& image);
    void finish();

  private:
    void sendToStandardOutput() const;

    bool toStandardOutput_;
    PendingFile pending_;
    TiffWriter writer_;
};

void writeText(const std::string& path, const std::string& text);

}  // namespace oravo::tools

#endif
