#ifndef ORAVO_TOOLS_OUTPUT_ENLARGEDSINK_H
#define ORAVO_TOOLS_OUTPUT_ENLARGEDSINK_H

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {

struct EnhanceCommand;

/// Whether a file holds frames, or an image of the calibration.
bool isInput(const EnhanceCommand& command, const FrameReader& reader, const std::string& path);

/// Where enlarged images go: one TIFF file with a page for each, standard output likewise, or numbered files in
/// a folder.
class EnlargedSink {
  public:
    /// Refuses outputs that cannot be, or would spoil the input, before the work.
    /// @param files  gets the file of pages; images in a folder are committed one by one
    EnlargedSink(const EnhanceCommand& command, const FrameReader& reader, std::uint64_t imageBytes,
                 PendingFiles& files);

    void add(const cv::Mat& image, std::size_t frame);
    /// Writes what is still held back.
    void close();
    /// Then puts out what is for standard output.
    void send();

    std::size_t count() const { return count_; }
    /// For messages.
    std::string name() const;

  private:
    std::string output_;
    std::unique_ptr<TargetFolder> targetFolder_;  // one of the two
    std::unique_ptr<TiffPages> pages_;
    std::size_t count_ = 0;
};

}  // namespace oravo::tools

#endif
