#ifndef ORAVO_TOOLS_FORMATS_CSVMATRIX_H
#define ORAVO_TOOLS_FORMATS_CSVMATRIX_H

#include <opencv2/core.hpp>
#include <string>
#include <string_view>

namespace oravo::tools {

/// The matrix of numbers in a text as camera software exports it, row by row: separated by tabs, semicolons,
/// commas or spaces (judged by the line with the most digits), with a decimal point or, where the comma does not separate, a
/// decimal comma; numbers may be quoted and lines may end in a separator. ASCII, UTF-8 or, recognised by its
/// byte-order mark, UTF-16.
///
/// Lines before the matrix are skipped: it starts with the first line that holds as many numbers as the
/// fullest line does, and nothing else. From there on every line must be such a line. A header row that numbers
/// the columns does not count as one; where it has a corner before its numbers, the first column holds the
/// numbers of the rows and is left out. "nan" (in any case) is a pixel without a value.
///
/// Throws UserError that names the file, the line and the place in it. It also refuses commas that both separate numbers
/// and mark their decimals, 21,5,-22,5, rather than take this for four numbers. They are recognised by digits alone: as many in
/// every second field, and there no sign, where the fields between have a sign, never so many digits, or no leading 0 as
/// some decimals have. Where that does not decide, commas separate.
cv::Mat_<double> decodeCsv(std::string_view text, const std::string& name);

cv::Mat readCsv(const std::string& path);

/// The rows of an image of floats or 8-bit counts, numbers separated by commas, each as short as it may be to be read as the
/// same number; "nan" for NaN.
std::string encodeCsv(const cv::Mat& image);

}  // namespace oravo::tools

#endif
