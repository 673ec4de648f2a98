#ifndef ORAVO_VISION_SUPERRESOLUTIONBADPIXELHANDLING_H
#define ORAVO_VISION_SUPERRESOLUTIONBADPIXELHANDLING_H

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/Defaults.h"

namespace oravo::vision {
namespace detail {
template <class Point, class Mask>
class ReconstructionRun;
}

/// Status codes that a frame pixel may carry in place of a value, recognised by the pixel's raw 32-bit
/// pattern (as floats they are denormal numbers, and are never compared as such).
constexpr std::uint32_t CODE_OVER_RANGE = 0x81;   ///< the sensor value was above its range
constexpr std::uint32_t CODE_UNDER_RANGE = 0x82;  ///< the sensor value was below its range
constexpr std::uint32_t CODE_BAD_PIXEL = 0x84;    ///< defective pixel
constexpr std::uint32_t CODE_INVALID = 0x85;      ///< no valid value

/// Keeps defective and out-of-range pixels out of a reconstruction.
///
/// On intake every frame is repaired in place, and a defect map (one byte per pixel) joins a history that
/// runs in step with the caller's frames: map i belongs to stored frame i, oldest first. After a
/// reconstruction the maps are projected into the enlarged image and the pixels found there are refilled from
/// the frames' clean samples.
///
/// A pixel is valid when its pattern is none of the four codes and its value is finite and within the
/// plausible range, which is [-274, 5000] at first (radiometric values, degrees Celsius included).
///
/// Classes of a defect map: 0 valid, 1 CODE_UNDER_RANGE, 2 CODE_OVER_RANGE, 3 CODE_BAD_PIXEL, CODE_INVALID or
/// NaN, 4 below the range (-infinity too), 5 above it (+infinity too).
///
/// Copies share the maps that they have in common, which none of them changes: a new frame's map is written into
/// the memory of the one that rolls out of the history only when no copy holds that one.
class ORAVO_EXPORT SuperResolutionBadPixelHandling {
  public:
    /// @param maxDefectMaps  length of the history: the number of frames that the owner keeps, at least 1
    ///                       (0 counts as 1)
    explicit SuperResolutionBadPixelHandling(unsigned int maxDefectMaps);
    SuperResolutionBadPixelHandling(const SuperResolutionBadPixelHandling&) = default;  ///< see above
    SuperResolutionBadPixelHandling& operator=(const SuperResolutionBadPixelHandling&) =
        default;  ///< see above
    virtual ~SuperResolutionBadPixelHandling();

    /// Sets the plausible range for frames to come: true for signed 16-bit counts, [-32768, 32767]; false for
    /// radiometric values, [-274, 5000].
    void setDataIsNUC(bool isNUC);

    /// Repairs a frame in place and appends its defect map.
    ///
    /// A bad pixel becomes the mean of its left, right, upper and lower neighbours when all that exist are
    /// valid and there are at least three of them (so a corner never does). Otherwise it falls back:
    /// CODE_OVER_RANGE to the frame's largest valid value, CODE_UNDER_RANGE to its smallest; a value above
    /// the range to the largest, below it to the smallest; anything else to 0, which counts as unrepairable.
    /// Pixels are visited in scan order, and repaired ones count as neighbours with their new values.
    /// @param frame  any size
    /// @return 0, or -2 when a pixel that carried neither range code needed a fallback
    /// Throws oravo::Exception "Too many defect pixels. No processing possible." when more than 10 pixels
    /// were unrepairable; the frame keeps its repairs and the map its place in the history.
    int detectAndReplaceBadPixel(cv::Mat_<float>& frame);

    /// The smallest and largest valid value and, where the pointers are not null, their positions (x =
    /// column, y = row); the first in scan order wins a tie. Without any valid pixel minVal is the upper
    /// bound of the plausible range, maxVal the lower one, and positions are left alone.
    void getMinMaxVal(const cv::Mat_<float>& frame, float& minVal, float& maxVal, cv::Point_<int>* minLoc,
                      cv::Point_<int>* maxLoc) const;

    /// Marks what the defects of all stored frames touch in the enlarged image: a 7 x 7 block around twice
    /// the defect's position less its frame's shift, whatever the enlargement, receives CODE_UNDER_RANGE for
    /// class 1, CODE_OVER_RANGE for class 2 and CODE_BAD_PIXEL for all others; the last write wins. Defects
    /// that fall beyond the right edge still mark the part of their block inside; those beyond the bottom
    /// edge mark nothing.
    /// @param image   the enlarged image, changed
    /// @param shifts  one per defect map, in low-resolution pixels, frame(p + d) = reference(p)
    /// Throws oravo::Exception when there is not exactly one shift per map.
    void maskBadPixel(cv::Mat_<float>& image, const std::vector<cv::Point_<float>>& shifts);

    /// Refills every pixel of the enlarged image that carries CODE_OVER_RANGE, CODE_UNDER_RANGE or
    /// CODE_BAD_PIXEL with the mean of the stored frames' samples at half its position plus the frame's shift,
    /// truncated, leaving out samples that were bad on intake. A pixel without a valid sample in any frame
    /// keeps its code.
    /// @param image   the enlarged image, changed
    /// @param shifts  one per defect map, in low-resolution pixels, frame(p + d) = reference(p)
    /// @param frames  the stored frames after their repair, in the order of the maps
    /// Throws oravo::Exception when no map is stored, fewer frames or shifts come than there are maps, or
    /// frames and maps are not all of one size.
    void replaceMaskedPixel(cv::Mat_<float>& image, const std::vector<cv::Point_<float>>& shifts,
                            const std::vector<cv::Mat_<float>>& frames);

    /// Paints the range codes of an image into a colour view (B, G, R) of at least its size: CODE_OVER_RANGE
    /// red, CODE_UNDER_RANGE blue. Other pixels of the view stay as they are. Throws oravo::Exception when the view
    /// has fewer rows or columns.
    static void colorBadPixel(const cv::Mat_<float>& image, cv::Mat_<cv::Vec3b>& view);

  protected:
    /// The mean of the valid ones among the four neighbours of (x, y), written to value when there is any;
    /// true when it may replace the pixel: four are valid, or three at the image border.
    bool getReplacementValue_(const cv::Mat_<float>& frame, int x, int y, float& value) const;

  private:
    template <class Point, class Mask>
    friend class detail::ReconstructionRun;

    unsigned char classify(float value) const;
    bool isValid(float value) const { return classify(value) == 0; }
    cv::Mat& openDefectMap(int rows, int cols);
    /// What replaceMaskedPixel() throws.
    void requireRefillable(const std::vector<cv::Point_<float>>& shifts,
                           const std::vector<cv::Mat_<float>>& frames) const;
    /// The rows first to end - 1 of it.
    void replaceMaskedRows(cv::Mat_<float>& image, const std::vector<cv::Point_<float>>& shifts,
                           const std::vector<cv::Mat_<float>>& frames, int first, int end) const;

    unsigned int maxDefectMaps_;
    float minValue_ = defaults::kLowestValue;
    float maxValue_ = defaults::kHighestValue;
    bool dataIsNUC_ = false;
    std::array<cv::Point_<int>, 4> neighbourOffsets_;
    std::vector<cv::Mat> defectMaps_;
};

}  // namespace oravo::vision

#endif
