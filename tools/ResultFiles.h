#ifndef ORAVO_TOOLS_RESULTFILES_H
#define ORAVO_TOOLS_RESULTFILES_H

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/ColourScale.h"
#include "tools/Enhancer.h"
#include "tools/FrameReader.h"

namespace oravo::tools {

/// What is written beside the enlarged image; empty names are not.
struct ResultOptions {
    std::string preview;   ///< FILE.png
    std::string coverage;  ///< FILE.tif for numbers, FILE.png for a picture
    std::string noiseMap;  ///< likewise
    std::string palette = kDefaultPalette;
    std::optional<std::pair<double, double>> range;  ///< of the palette; none: that of the image
};

/// The lowest and highest value out of "LOW:HIGH". Throws UserError of the usage kind.
std::pair<double, double> parseRange(const std::string& text);

/// The files beside the last enlarged image of a recording: what lets people see it and judge it.
class ResultFiles {
  public:
    /// Refuses targets that cannot be written, before the work.
    ResultFiles(const ResultOptions& options, const FrameReader& reader);

    /// Each enlarged image.
    void take(const Enlarged& enlarged);
    /// @param unit      of the values, may be empty
    /// @param psfSigma  that the image was computed with
    void write(const std::string& unit, float psfSigma) const;

  private:
    ColourScale scaleOf(const cv::Mat_<float>& image) const;
    void writePreview(const std::string& unit) const;
    void writeCoverage() const;
    void writeNoiseMap(const std::string& unit, float psfSigma) const;

    ResultOptions options_;
    Enlarged last_;
};

}  // namespace oravo::tools

#endif
