#ifndef ORAVO_VISION_BADPIXEL_H
#define ORAVO_VISION_BADPIXEL_H

#include <map>
#include <opencv2/core.hpp>
#include <set>
#include <vector>

#include "support/Export.h"

namespace oravo::vision {

/// Bad pixels of raw 16-bit sensor images: a record of one, and static functions that find them, keep them in
/// a list, choose the pixels that replace them, and repair images.
///
/// Intended order: buildValueHistogram, performNeighbourSearch, appendBadPixel into the running list (or
/// calculateReplacePixels on a list of its own), then removeBadPixel on every image; drawBadPixels shows a
/// list.
///
/// The bad-pixel list is a matrix of type CV_16UC1 with one row per bad pixel and exactly 10 columns: x
/// (column) and y (row) of the bad pixel, then x, y of its four replacement pixels. A replacement position
/// outside the image means that it is not computed yet; the search marks its rows so, with (image width,
/// image height) in columns 2 and 3. The empty matrix of CV_16U that a search without findings leaves counts
/// as a list of no rows, except where noted.
///
/// Every function that takes a list refuses another type or column count. Every matrix may be a region of a
/// larger one, and callers own all of them. Positions are 16-bit: functions that write positions refuse image
/// sizes above 65535 (and negative ones); those that only use a list (removeBadPixel, drawBadPixels) take
/// images of any size. A list may have more than 65536 rows where no row number is a parameter. Matrices of
/// more than two dimensions are refused.
///
/// The static functions that return bool report failure as false and do not throw for bad values (running out
/// of memory still throws). They share no state.
class ORAVO_EXPORT BadPixel {
  public:
    /// One map per direction: below, left, above, right of the bad pixel. The key is a distance, the value an
    /// offset (dx, dy) from the bad pixel.
    using ReplacementQuery = std::vector<std::multimap<float, cv::Point_<int>>>;

    /// A record at (0, 0) without replacement pixels and reasons.
    BadPixel();
    /// Row first, column second. Both vectors are stored as they are, repeated reasons included.
    BadPixel(unsigned int y, unsigned int x, const std::vector<cv::Point_<unsigned int>>& replacementPixels,
             const std::vector<unsigned short>& defectReasons);
    BadPixel(const BadPixel&) = default;             ///< copies every list
    BadPixel& operator=(const BadPixel&) = default;  ///< copies every list
    virtual ~BadPixel();

    /// (column, row).
    cv::Point_<unsigned int> pos() const;
    /// Row first, column second.
    void pos(unsigned int& y, unsigned int& x) const;
    /// The column.
    unsigned int x() const;

    /// Row first, column second.
    void set(unsigned int y, unsigned int x);
    /// Takes p.x as the row and p.y as the column. Hosts rely on this order, so that set(pos()) swaps the two
    /// coordinates.
    void set(const cv::Point_<unsigned int>& p);

    /// Appends p, (column, row).
    void addReplacementPixel(const cv::Point_<unsigned int>& p);
    /// Appends the point (x, y); row first.
    void addReplacementPixel(unsigned int y, unsigned int x);
    /// (column, row) each, in the order of their adding.
    std::vector<cv::Point_<unsigned int>> getReplacementPixels() const;
    unsigned int getNumberOfReplacementPixels() const;  ///< as many as getReplacementPixels() has
    void clearReplacements();                           ///< forgets the replacement pixels

    /// Appends every code that is not present yet, in the given order. The host chooses what codes mean.
    void addDefectReasons(const std::vector<unsigned short>& reasons);
    std::vector<unsigned short> retrieveDefectReasons() const;  ///< codes in the order of their adding

    /// Counts the values of an image. Bin b counts value lo + b; bin 0 also counts everything below lo, the
    /// last bin everything above hi.
    /// @param image      of any size
    /// @param histogram  becomes 1 row of hi - lo + 1 columns
    /// @param lo,hi      the values of the first and of the last bin, lo < hi
    /// @return false, with the histogram untouched, when the image is empty or has more than 2^31 - 1 pixels,
    ///         or lo >= hi
    static bool buildValueHistogram(const cv::Mat_<short>& image, cv::Mat_<int>& histogram, short lo,
                                    short hi);

    /// Lists the pixels whose values stand apart from those of all others: out of range (v <= lo or v >= hi),
    /// or isolated. Bin b with W = span is isolated when it is not empty and each of the bin sums over
    /// [b - W, b], [b - W/2, b + W/2] (integer division) and [b, b + W], clipped to the histogram, is below
    /// maxCount. For the sums the first and last bin count as empty once their pixels have been entered.
    ///
    /// Rows come in the order of finding: the out-of-range pixels in scan order, then the pixels of each
    /// isolated value, ascending, each in scan order. The image is read once, whatever the number of isolated
    /// values.
    ///
    /// The number of rows of the list on entry, modulo 65536, is the capacity. Entering stops when it is
    /// reached, and the search then fails when an isolated value had its last row entered before the
    /// last pixel of the image, or had none entered at all for lack of room. So a list that is filled exactly
    /// usually comes with false; leave one spare row to distinguish "all" from "as many as fit".
    ///
    /// @param image      up to 65535 rows and columns
    /// @param histogram  from buildValueHistogram with the same image, lo and hi. When out-of-range pixels
    ///                   are counted, its first and last bin are set to 0, so a second search needs a new
    ///                   histogram
    /// @param list       on entry 10 columns; on return as many rows as were found, or an empty CV_16U matrix
    ///                   when none were
    /// @param lo,hi      the values at and beyond which a pixel is out of range
    /// @param maxCount   at least 1
    /// @param span       W, at least 2
    /// @return true when all was listed. False with nothing touched when the histogram is not one row of at
    ///         least one bin, or a value is outside the limits above. False with an empty list and the
    ///         histogram untouched when more pixels are out of range than the capacity. False with the
    ///         rows found so far when the capacity ends the search, or the histogram is found corrupt
    ///         (negative counts that take a sum below zero).
    static bool performNeighbourSearch(const cv::Mat_<short>& image, cv::Mat_<int>& histogram,
                                       cv::Mat_<unsigned short>& list, short lo, short hi,
                                       unsigned short maxCount, unsigned short span);

    /// Appends newList's rows to list and recomputes, as calculateReplacePixels with n = query does, the
    /// replacement pixels of old rows that used a newly listed pixel and of new rows that use an old one,
    /// themselves, or a position outside the image (as rows fresh from the search do). A row that finds no
    /// replacement keeps its columns. Rows that list a pixel twice are kept.
    /// @param newList    the rows to append
    /// @param list       an empty matrix takes newList's type and column count, even when the call fails then
    /// @param imageSize  of the images, columns x rows
    /// @param query      search radius + 1, as n of calculateReplacePixels
    /// @return true; also when newList has no rows, whatever its type. False when newList or a list that is
    ///         not empty is no bad-pixel list, or the image size is out of bounds
    static bool appendBadPixel(const cv::Mat& newList, cv::Mat& list, cv::Size_<int> imageSize,
                               unsigned int query);

    /// Replaces each listed pixel by the mean of its four replacement pixels, truncated toward zero, in list
    /// order: a replacement pixel that is itself listed earlier contributes its repaired value.
    /// @return false when the image is empty, the list is refused, or a row names a position outside the
    ///         image; such a row is left out and all others are repaired. True for a list without rows
    static bool removeBadPixel(cv::Mat_<short>& image, cv::Mat_<unsigned short> list);

    /// Offsets of candidates for replacement, in half-discs of radius n - 1 in four directions.
    ///
    /// Map 0 holds for all integers r, c in [0, n] with d = sqrt(c^2 + r^2) <= n - 1 the offsets (c, r + 1)
    /// and, for c > 0, (-c, r + 1) under the key d: the rows below the bad pixel. The key belongs to row r,
    /// one row nearer than the offset, so that the pixel directly below has distance 0. Equal keys are in the
    /// order of r, then c, then sign (positive first). Maps 1, 2 and 3 are map 0 turned by 90, 180 and 270
    /// degrees: (-dy, dx), (-dx, -dy), (dy, -dx).
    /// @param n  any value; the maps are empty for n <= 0. Each holds about 1.57 n^2 entries of some 50 bytes;
    ///           a query beyond the machine's memory is refused by an oravo::Exception
    static ReplacementQuery computeReplacePixelQuery(int n);

    /// Chooses replacement pixels for every row of a list, by the search below with
    /// computeReplacePixelQuery(n).
    /// @param list       its columns 2 to 9 are written
    /// @param imageSize  of the images, columns x rows
    /// @param n          search radius + 1. Offsets that lead out of the image from every listed position are left
    ///                   out, so a large n costs no more than about 1.5 times the size of the image. 0 and values
    ///                   above 2^31 - 1 leave no candidates
    /// @return true when every row succeeded (so for no rows); all rows are attempted
    static bool calculateReplacePixels(cv::Mat_<unsigned short>& list, cv::Size_<int> imageSize,
                                       unsigned int n);

    /// Chooses the four replacement pixels of one row: from each direction the nearest offset of the query
    /// that leads to a pixel inside the image that is not in badPositions. Directions without one are made up
    /// for by repeating the others in turn, so near a border or in a cluster a pixel may be written more than
    /// once, which weights it. Written nearest first, ties in the order of directions.
    /// @param list          columns 2 to 9 of the row are written
    /// @param row           of the list, from 0
    /// @param imageSize     of the images, columns x rows
    /// @param query         four maps of offsets, as of computeReplacePixelQuery
    /// @param badPositions  x + y * width of every bad pixel, in unsigned arithmetic; when empty it is filled
    ///                      from the list, so that a loop over rows can share it
    /// @return false, with the row untouched, when there is no candidate at all, row is not a row of the
    ///         list, the query has not four maps, or list or size are refused
    static bool calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short row,
                                            cv::Size_<int> imageSize, const ReplacementQuery& query,
                                            std::set<unsigned int>& badPositions);
    /// The same with positions taken from the list.
    static bool calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short row,
                                            cv::Size_<int> imageSize, const ReplacementQuery& query);
    /// The same with computeReplacePixelQuery(n), or, for n = 3, calculateSingleReplacePixelSimpleNhood.
    static bool calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short row,
                                            cv::Size_<int> imageSize, int n);

    /// Chooses the four replacement pixels of one row from a fixed table of 28 offsets, seven per direction,
    /// the nearest first. Turn s of four takes the first clean pixel of directions s, s + 1, s + 2, s + 3
    /// (modulo 4; up, right, down, left), so a pixel repeats when a direction is blocked. Positions wrap at
    /// 16 bits, which makes those left of or above the image fall outside.
    /// @return false, with the row untouched, when no offset leads to a clean pixel inside the image, row is
    ///         not a row of the list, or list or size are refused
    static bool calculateSingleReplacePixelSimpleNhood(cv::Mat_<unsigned short>& list, unsigned short row,
                                                       cv::Size_<int> imageSize);

    /// Marks every listed pixel by the outline of a square, 1 pixel thick, that begins at (x - size / 2,
    /// y - size / 2) and is size wide and high (0 draws nothing).
    /// @param list          the pixels to mark
    /// @param image         blue, green, red
    /// @param size          side of the squares in pixels
    /// @param colour        of all squares, unless
    /// @param randomColour  is set: each square then takes three values from cv::theRNG()
    /// Throws oravo::Exception when the list is not CV_16UC1 with 10 columns (an empty matrix included), and
    /// when a row lies outside the image; the squares before it stay.
    static void drawBadPixels(const cv::Mat& list, cv::Mat_<cv::Vec3b>& image,
                              const cv::Scalar_<double>& colour, unsigned int size, bool randomColour);

  private:
    std::vector<cv::Point_<unsigned int>> replacementPixels_;
    unsigned int x_ = 0;
    unsigned int y_ = 0;
    std::vector<unsigned short> defectReasons_;
};

}  // namespace oravo::vision

#endif
