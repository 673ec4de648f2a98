#ifndef ORAVO_TOOLS_OUTPUT_ENLARGEDMETADATA_H
#define ORAVO_TOOLS_OUTPUT_ENLARGEDMETADATA_H

#include <opencv2/core.hpp>
#include <string>

#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

/// How the grid of an image lies on that of the stored frame which it enlarges: each pixel of the frame has factor x factor
/// pixels of the image in its place, so that the corners of both pixels, not their centres, coincide.
struct EnlargedGrid {
    int factor = 2;
    cv::Point origin;  ///< the frame's pixel, before any crop, at the image's corner
    cv::Size size;     ///< of the image

    /// Where a place of the frame lies in the image, both counted from the upper left corner ...
    double corner(double place, int start) const { return factor * (place - start); }
    /// ... and both from the centre of the first pixel.
    double centre(double place, int start) const { return corner(place, start) + 0.5 * (factor - 1); }
};

/// What a frame's metadata become for the image: GeoTIFF's and RPC's coordinates, places, resolutions and sizes in pixels are
/// those of the new grid; descriptions that state the layout of a file go.
ImageMetadata onGrid(ImageMetadata metadata, const EnlargedGrid& grid);

/// Adds how the image was made, and leaves what the camera wrote: the program is the software only where none is named, and so
/// with the description.
/// @param history  goes to the end of the image's history, on a line of its own; ASCII
void addNote(ImageMetadata& metadata, const std::string& program, const std::string& description,
             const std::string& history);

}  // namespace oravo::tools

#endif
