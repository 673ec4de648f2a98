#ifndef ORAVO_TOOLS_OUTPUT_ENLARGEDSINK_H
#define ORAVO_TOOLS_OUTPUT_ENLARGEDSINK_H

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "tools/input/InputFiles.h"
#include "tools/output/ImageFile.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {

struct EnlargedOutput {
    std::string name;  ///< a file, a folder, names of files in a folder, or kStandardOutput
    bool every;        ///< an image for each frame, instead of one
    bool textBeside;   ///< something else is printed to standard output
    std::uint64_t imageBytes;
    PngOptions png;
};

/// Where enlarged images go: one file (TIFF with a page for each, see makeImageFile()), standard output likewise, or numbered
/// files in a folder; FOLDER/{}.png says in which format, else they are TIFF.
class EnlargedSink {
  public:
    /// Refuses outputs that cannot be, or would spoil the input, before the work.
    /// @param files  gets the file of pages; images in a folder are committed one by one
    EnlargedSink(const EnlargedOutput& output, const InputFiles& inputs, PendingFiles& files);

    void add(const cv::Mat& image, const ImageMetadata& metadata, std::size_t frame);
    /// Writes what is still held back.
    void close();
    /// Then puts out what is for standard output.
    void send();

    std::size_t count() const { return count_; }
    /// How the latest image is stored, where that is as counts.
    const std::optional<StoredCounts>& stored() const { return stored_; }
    /// For messages.
    std::string name() const;

  private:
    void prepareFolder(const InputFiles& inputs);
    void prepareFile(const InputFiles& inputs, PendingFiles& files);

    EnlargedOutput output_;
    std::string folder_;                          // as named; empty for a file
    std::unique_ptr<TargetFolder> targetFolder_;  // one of the two
    std::unique_ptr<ImageFile> file_;
    std::optional<StoredCounts> stored_;
    std::size_t count_ = 0;
};

}  // namespace oravo::tools

#endif
