#include "tools/formats/ShiftTable.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "tools/base/Messages.h"
#include "tools/base/TextLines.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

std::optional<float> toNumber(const std::string& text) {
    const std::size_t last = text.find_last_not_of(" \t\r");
    if (last == std::string::npos) return std::nullopt;
    const std::string trimmed = text.substr(0, last + 1);
    char* end = nullptr;
    const float value = std::strtof(trimmed.c_str(), &end);
    if (*end != '\0' || !std::isfinite(value)) return std::nullopt;
    return value;
}

/// The last two columns of a line.
std::optional<cv::Point2f> toShift(const std::string& line) {
    const std::size_t second = line.rfind(',');
    if (second == std::string::npos) return std::nullopt;
    const std::size_t first = second == 0 ? std::string::npos : line.rfind(',', second - 1);
    const std::size_t start = first == std::string::npos ? 0 : first + 1;
    const std::optional<float> x = toNumber(line.substr(start, second - start));
    const std::optional<float> y = toNumber(line.substr(second + 1));
    if (!x || !y) return std::nullopt;
    return cv::Point2f(*x, *y);
}

std::vector<cv::Point2f> parseLines(std::istream& lines, char separator, const std::string& where,
                                    bool headingAllowed) {
    constexpr std::size_t kLongestLine = 1000;
    std::vector<cv::Point2f> shifts;
    std::string line;
    while (readLine(lines, separator, kLongestLine, line)) {
        if (line.size() > kLongestLine) {
            throw inputError(where + ": " + excerpt(line) + " is longer than a line of shifts");
        }
        if (line.find_first_not_of(" \t\r") == std::string::npos || line.front() == '#') continue;
        const std::optional<cv::Point2f> shift = toShift(line);
        if (shift) {
            shifts.push_back(*shift);
        } else if (!headingAllowed) {
            throw inputError(where + ": " + excerpt(line) + " is not a shift dx,dy");
        }
        headingAllowed = false;
        if (shifts.size() > kMostShifts) {
            throw inputError(format("%s: holds more than %zu shifts", where.c_str(), kMostShifts));
        }
    }
    if (shifts.empty()) throw inputError(where + ": holds no shifts");
    return shifts;
}

}  // namespace

std::string shiftTable(const std::vector<cv::Point2f>& shifts, const std::vector<std::size_t>& frames,
                       const std::string& comment) {
    std::string text = "# " + comment + "\nframe,dx,dy\n";
    for (std::size_t i = 0; i < shifts.size(); ++i) {
        text += format("%zu,%.6f,%.6f\n", frames[i], static_cast<double>(shifts[i].x),
                       static_cast<double>(shifts[i].y));
    }
    return text;
}

std::vector<cv::Point2f> parseShifts(const std::string& textOrFile) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(textOrFile, ignored)) {
        std::ifstream file(textOrFile);
        if (!file) throw inputError(textOrFile + ": cannot be opened");
        return parseLines(file, '\n', textOrFile, true);
    }
    if (textOrFile.find(',') == std::string::npos) {
        const bool mayBeName = textOrFile.size() < 256;
        throw inputError((mayBeName ? textOrFile : excerpt(textOrFile)) +
                         ": neither a file nor shifts dx,dy;dx,dy;...");
    }
    std::istringstream text(textOrFile);
    return parseLines(text, ';', "shifts", false);
}

}  // namespace oravo::tools
