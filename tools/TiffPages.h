#ifndef ORAVO_TOOLS_TIFFPAGES_H
#define ORAVO_TOOLS_TIFFPAGES_H

#include <cstdint>
#include <string>
#include <vector>

namespace oravo::tools {

/// What the image codec does not tell about a page of a TIFF file.
struct TiffPage {
    enum SampleFormat : std::uint64_t { kUnsigned = 1, kSigned = 2, kFloat = 3 };

    std::uint64_t bitsPerSample = 1;
    std::uint64_t samplesPerPixel = 1;
    std::uint64_t sampleFormat = kUnsigned;
};

bool isTiff(const std::string& path);

/// The pages of a TIFF or BigTIFF file, in order. The codec fills up what a cut-off file lacks, so this is
/// also where truncation is found: every directory and every strip or tile must lie within the file.
/// Throws UserError, naming the file.
std::vector<TiffPage> readTiffPages(const std::string& path);

}  // namespace oravo::tools

#endif
