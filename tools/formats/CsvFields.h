#ifndef ORAVO_TOOLS_FORMATS_CSVFIELDS_H
#define ORAVO_TOOLS_FORMATS_CSVFIELDS_H

#include <cstdint>
#include <string>
#include <string_view>

namespace oravo::tools {

// The text of a matrix of numbers, as lines and fields; see CsvMatrix.h.

/// The ASCII characters of UTF-16 text after its byte-order mark, '?' for all others.
std::string asciiOfUtf16(std::string_view bytes, bool bigEndian);

/// The text without spaces, tabs and carriage returns at its ends.
std::string_view trimmed(std::string_view text);

/// Calls action(line, its number) for each line that holds something.
template <class Action>
void forEachLine(std::string_view text, Action action) {
    for (std::uint32_t number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        if (!trimmed(line).empty()) action(line, number);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

/// What separates the numbers, judged by the line with the most digits: rows of the matrix have far more of them than
/// what stands around.
char separatorOf(std::string_view text);

/// A number with a decimal point or comma, in quotes or not; false for anything else.
bool parseNumber(std::string_view field, double& value);

/// The fields of a line, one after the other, without the space around them.
class Fields {
  public:
    Fields(std::string_view line, char separator);
    bool more() const { return !rest_.empty(); }
    std::string_view next();

  private:
    std::string_view rest_;
    char separator_;
};

}  // namespace oravo::tools

#endif
