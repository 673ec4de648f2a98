#ifndef ORAVO_TOOLS_FORMATS_FILEMETADATA_H
#define ORAVO_TOOLS_FORMATS_FILEMETADATA_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

/// The metadata of the images in a file: TIFF, BigTIFF, JPEG, PNG; none of other formats, nor of what cannot be read.
class FileMetadata {
  public:
    explicit FileMetadata(const std::string& path);

    ImageMetadata of(std::size_t image) const;

  private:
    std::shared_ptr<const ByteSource> bytes_;  // of a TIFF file
    std::vector<std::uint64_t> directories_;   // of its images
    ImageMetadata only_;                       // of other files
};

}  // namespace oravo::tools

#endif
