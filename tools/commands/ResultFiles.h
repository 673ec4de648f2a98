#ifndef ORAVO_TOOLS_COMMANDS_RESULTFILES_H
#define ORAVO_TOOLS_COMMANDS_RESULTFILES_H

#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "support/StopWatch.h"
#include "tools/base/Guard.h"
#include "tools/commands/Commands.h"
#include "tools/input/InputFiles.h"
#include "tools/output/ImageFile.h"
#include "tools/output/ImageWriter.h"
#include "tools/report/Report.h"
#include "tools/values/PlausibleRange.h"

namespace oravo::tools {

/// The lowest and highest value out of "LOW:HIGH". Throws UserError of the usage kind.
std::pair<double, double> parseRange(const std::string& text);

/// The files beside the last enlarged image of a recording: what lets people see it and judge it.
/// Reports hold all findings up to the end.
class ResultFiles {
  public:
    /// Refuses targets that cannot be written, before the work.
    /// @param command  has to outlive this object, and so have the reader of the inputs and the findings
    ResultFiles(const EnhanceCommand& command, const InputFiles& inputs, const Findings& findings);

    /// Each enlarged image. Writes its preview where a folder is to hold those of all.
    void take(const Enlarged& enlarged, const ImageMetadata& metadata);
    /// @param outside  what of the recording lies outside the plausible range
    /// @param stored   how the image is stored, where that is as counts
    void write(PendingFiles& files, const OutOfRange& outside,
               const std::optional<StoredCounts>& stored) const;

  private:
    void checkPreviewFolder(const InputFiles& inputs);
    void writeMaps(PendingFiles& files, const cv::Mat_<float>& deviation) const;
    cv::Mat previewOf(const cv::Mat_<float>& image) const;
    ColourScale scaleOf(const cv::Mat_<float>& image) const;
    std::vector<ReportedFrame> frames() const;
    cv::Mat_<uchar> coverage() const;
    Report report(const cv::Mat_<float>& noise, const OutOfRange& outside,
                  const std::optional<StoredCounts>& stored) const;

    const EnhanceCommand& command_;
    const ResultOptions& options_;
    const FrameReader& reader_;
    const Findings& findings_;
    std::string unit_;
    std::unique_ptr<TargetFolder> previews_;  // of all images
    Enlarged last_;
    ImageMetadata metadata_;  // of the last image
    std::vector<ReportedImage> images_;
    StopWatch watch_;
};

}  // namespace oravo::tools

#endif
