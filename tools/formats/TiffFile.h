#ifndef ORAVO_TOOLS_FORMATS_TIFFFILE_H
#define ORAVO_TOOLS_FORMATS_TIFFFILE_H

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

struct tiff;

namespace oravo::tools {

/// Whether the file begins like a TIFF or BigTIFF file. Throws UserError when it cannot be opened.
bool isTiff(const std::string& path);

/// A TIFF or BigTIFF file of single-channel pages, open for reading. Values come as they are stored, whatever
/// the byte order, compression and arrangement: signed and unsigned integers of 8 and 16 bits, float and
/// double. (The image codec reads signed numbers as unsigned and fills up what a cut-off file lacks.)
///
/// Failures are UserErrors of the input kind that name the file and, where there are several, the page.
class TiffReader {
  public:
    /// Checks every page: its kind of pixels, and that its data lie within the file.
    explicit TiffReader(const std::string& path);
    ~TiffReader();
    TiffReader(const TiffReader&) = delete;
    TiffReader& operator=(const TiffReader&) = delete;

    const std::string& path() const { return path_; }
    std::size_t pages() const { return pages_.size(); }
    cv::Mat read(std::size_t page);
    /// Where the page's tags lie in the file.
    std::uint64_t directory(std::size_t page) const { return pages_.at(page).directory; }

  private:
    struct Page {
        std::uint64_t directory;  ///< its place in the file
        cv::Size size;
        int depth;
    };

    Page describe(std::uint64_t fileSize) const;
    void checkKind() const;
    void checkExtent(std::uint64_t fileSize) const;
    /// Refuses more pixels than the file can hold, before room is made for them.
    void checkClaim(std::uint64_t fileSize, std::uint64_t pixels) const;
    void readStrips(cv::Mat& image);
    void readTiles(cv::Mat& image);
    [[noreturn]] void fail(const std::string& fault) const;

    std::string path_;
    tiff* file_;
    std::vector<Page> pages_;
    std::string current_;  // the page being looked at, for messages
};

}  // namespace oravo::tools

#endif
