#ifndef ORAVO_TOOLS_OUTPUT_IMAGEWRITER_H
#define ORAVO_TOOLS_OUTPUT_IMAGEWRITER_H

#include <deque>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tools/formats/ImageMetadata.h"
#include "tools/output/PendingFile.h"

namespace oravo::tools {

// Files appear whole or not at all: each is written under a hidden name in its folder and then renamed to its
// target, which it replaces. Given a collection of pending files, the functions here leave the renaming to its
// commit(). Failures are UserErrors of the output kind that name the target.

/// Refuses a target in a folder that is missing or not writable, one that is itself a folder, and one whose
/// name does not end in one of the extensions (in lower case, with the dot). To be asked before the work.
void checkTarget(const std::string& path, const std::vector<std::string>& extensions);

/// A folder to write to: created, with those above it, where it is missing. Those that are empty in the end are removed
/// again, by endCleanlyOnSignals() too.
class TargetFolder {
  public:
    explicit TargetFolder(const std::string& path);
    ~TargetFolder();
    TargetFolder(const TargetFolder&) = delete;
    TargetFolder& operator=(const TargetFolder&) = delete;

    /// Keeps other runs that reserve the folder out of it for as long as this object lives, as far as the file system
    /// has locks. To be asked before what is in the folder. Throws UserError where another run holds it.
    void reserve();

  private:
    void removeEmpty();

    std::string path_;
    std::deque<Leftover> made_;  // from the highest on
    int lock_ = -1;
};

/// One image in the format that the name's extension states: TIFF, a NumPy array or text with values as they are, 8-bit or
/// 16-bit PNG.
void writeImage(const std::string& path, const cv::Mat& image);
/// @param metadata  go into TIFF files
void writeImage(PendingFiles& files, const std::string& path, const cv::Mat& image,
                const ImageMetadata& metadata = {});

void writeText(const std::string& path, const std::string& text);
void writeText(PendingFiles& files, const std::string& path, const std::string& text);

}  // namespace oravo::tools

#endif
