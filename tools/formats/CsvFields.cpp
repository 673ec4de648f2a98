#include "tools/formats/CsvFields.h"

#include <algorithm>
#include <charconv>

namespace oravo::tools {
namespace {

constexpr char kSpace[] = " \t\r";
constexpr char kSpaceSeparated = ' ';

/// What separates the numbers of a line of the matrix.
char separatorIn(std::string_view line) {
    for (const char separator : {'\t', ';'}) {
        if (line.find(separator) != std::string_view::npos) return separator;
    }
    const std::string_view inner = trimmed(line);
    for (std::size_t i = 1; i < inner.size(); ++i) {
        const bool spaceAfterNumber = inner[i] == ' ' && inner[i - 1] != ' ' && inner[i - 1] != ',';
        if (spaceAfterNumber && inner[inner.find_first_not_of(' ', i)] != ',') return kSpaceSeparated;
    }
    return ',';
}

/// Splits off the first field.
std::string_view nextField(std::string_view& rest, char separator) {
    const std::size_t start = rest.find_first_not_of(kSpace);
    std::size_t from = 0;
    if (start != std::string_view::npos && rest[start] == '"') {  // a separator in quotes separates nothing
        from = std::min(rest.find('"', start + 1), rest.size());
    }
    const std::size_t end = std::min(rest.find(separator, from), rest.size());
    const std::string_view field = trimmed(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (separator == kSpaceSeparated) rest = trimmed(rest);
    return field;
}

}  // namespace

std::string asciiOfUtf16(std::string_view bytes, bool bigEndian) {
    std::string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        const char low = bytes[bigEndian ? i + 1 : i];
        const char high = bytes[bigEndian ? i : i + 1];
        text += high == 0 && static_cast<unsigned char>(low) < 128 ? low : '?';
    }
    return text;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

char separatorOf(std::string_view text) {
    std::string_view richest;
    std::ptrdiff_t most = -1;
    forEachLine(text, [&](std::string_view line, std::uint32_t) {
        const auto digits =
            std::count_if(line.begin(), line.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (digits <= most) return;
        most = digits;
        richest = line;
    });
    return separatorIn(richest);
}

bool parseNumber(std::string_view field, double& value) {
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"') {
        field = trimmed(field.substr(1, field.size() - 2));
    }
    if (!field.empty() && field.front() == '+') field.remove_prefix(1);
    std::string text(field.substr(0, 64));
    std::replace(text.begin(), text.end(), ',', '.');
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
    return fault == std::errc() && end == text.data() + text.size() && field.size() == text.size();
}

Fields::Fields(std::string_view line, char separator) : rest_(trimmed(line)), separator_(separator) {
    if (!rest_.empty() && rest_.back() == separator) rest_.remove_suffix(1);
    // A tab before the first number is an empty field, which trimming would have lost.
    if (separator == '\t' && !line.empty() && line.front() == '\t')
        rest_ = line.substr(0, line.find_last_not_of(kSpace) + 1);
}

std::string_view Fields::next() {
    return nextField(rest_, separator_);
}

}  // namespace oravo::tools
