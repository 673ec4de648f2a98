#include "tools/CsvMatrix.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

#include "tools/FrameFile.h"
#include "tools/Messages.h"
#include "tools/PixelFormat.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

constexpr char kBlanks[] = " \t\r";
constexpr char kBlankSeparated = ' ';
constexpr std::size_t kShownOfField = 24;

struct Row {
    std::size_t line = 0;
    std::vector<double> values;  ///< NaN for a field that is no number
    std::size_t faults = 0;      ///< fields that are no numbers
    std::size_t firstFault = 0;  ///< the place of the first of them
    std::string fault;           ///< and its text

    bool isNumeric() const { return faults == 0; }
};

/// The ASCII characters of UTF-16 text behind its byte-order mark, '?' for all others.
std::string fromUtf16(std::string_view bytes, bool bigEndian) {
    std::string text;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        const char low = bytes[bigEndian ? i + 1 : i];
        const char high = bytes[bigEndian ? i : i + 1];
        text += high == 0 && static_cast<unsigned char>(low) < 128 ? low : '?';
    }
    return text;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

/// What separates the numbers of a line of the matrix.
char separatorIn(std::string_view line) {
    for (const char separator : {'\t', ';'}) {
        if (line.find(separator) != std::string_view::npos) return separator;
    }
    const std::string_view inner = trimmed(line);
    for (std::size_t i = 1; i < inner.size(); ++i) {
        const bool blankAfterNumber = inner[i] == ' ' && inner[i - 1] != ' ' && inner[i - 1] != ',';
        if (blankAfterNumber && inner[inner.find_first_not_of(' ', i)] != ',') return kBlankSeparated;
    }
    return ',';
}

/// Splits off the first field.
std::string_view nextField(std::string_view& rest, char separator) {
    const std::size_t start = rest.find_first_not_of(kBlanks);
    std::size_t from = 0;
    if (start != std::string_view::npos && rest[start] == '"') {  // a separator in quotes separates nothing
        from = std::min(rest.find('"', start + 1), rest.size());
    }
    const std::size_t end = std::min(rest.find(separator, from), rest.size());
    const std::string_view field = trimmed(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (separator == kBlankSeparated) rest = trimmed(rest);
    return field;
}

/// A number with a decimal point or comma, in quotes or not; false for anything else.
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

Row rowOf(std::string_view line, std::size_t number, char separator) {
    Row row;
    row.line = number;
    std::string_view rest = trimmed(line);
    if (!rest.empty() && rest.back() == separator) rest.remove_suffix(1);
    // A tab before the first number is an empty field, which trimming would have lost.
    if (separator == '\t' && !line.empty() && line.front() == '\t')
        rest = line.substr(0, line.find_last_not_of(kBlanks) + 1);
    while (!rest.empty()) {
        const std::string_view field = nextField(rest, separator);
        double value = 0.0;
        if (!parseNumber(field, value)) {
            value = std::numeric_limits<double>::quiet_NaN();
            if (row.faults++ == 0) {
                row.firstFault = row.values.size() + 1;
                row.fault = field.substr(0, kShownOfField);
            }
        }
        row.values.push_back(value);
    }
    return row;
}

/// Whether the values from the given one on are whole numbers one after the other, from 0 or 1.
bool countsUp(const std::vector<double>& values, std::size_t from) {
    if (values.size() < from + 3 || (values[from] != 0.0 && values[from] != 1.0)) return false;
    return std::adjacent_find(values.begin() + static_cast<std::ptrdiff_t>(from), values.end(),
                              [](double a, double b) { return b != a + 1.0; }) == values.end();
}

UserError faultAt(const std::string& name, const Row& row, const std::string& fault) {
    return inputError(format("%s: line %zu ", name.c_str(), row.line) + fault);
}

/// Printable, since it goes to a terminal.
std::string shown(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

std::string faultIn(const Row& row) {
    if (row.fault.empty()) return format("has nothing in column %zu", row.firstFault);
    return format("has \"%s\" in column %zu, where a number is wanted", shown(row.fault).c_str(),
                  row.firstFault);
}

void checkRow(const Row& row, std::size_t columns, const std::string& name) {
    if (!row.isNumeric()) throw faultAt(name, row, faultIn(row));
    if (row.values.size() != columns) {
        throw faultAt(name, row, format("has %zu numbers, but others have %zu", row.values.size(), columns));
    }
}

/// What the whole numbers in front of a decimal comma have in common, or the decimals behind it.
struct Digits {
    std::set<std::size_t> counts;
    bool sign = false;
    bool leadingZero = false;

    /// False for a field that holds something else.
    bool add(std::string_view field) {
        const bool isSigned = !field.empty() && (field.front() == '-' || field.front() == '+');
        if (isSigned) field.remove_prefix(1);
        counts.insert(field.size());
        sign |= isSigned;
        leadingZero |= field.size() > 1 && field.front() == '0';
        return !field.empty() && field.find_first_not_of("0123456789") == std::string_view::npos;
    }
};

/// Whether the numbers that commas separate look like halves of numbers with a decimal comma.
bool looksHalved(const std::vector<Row>& rows, const std::vector<std::string_view>& lines) {
    Digits wholes, decimals;
    for (const Row& row : rows) {
        if (row.values.size() % 2 != 0) return false;
        std::string_view rest = trimmed(lines[row.line - 1]);
        for (std::size_t i = 0; i < row.values.size(); ++i) {
            if (!(i % 2 == 0 ? wholes : decimals).add(nextField(rest, ','))) return false;
        }
    }
    if (decimals.sign || decimals.counts.size() != 1) return false;
    return wholes.sign || wholes.counts.count(*decimals.counts.begin()) == 0 ||
           (decimals.leadingZero && !wholes.leadingZero);
}

/// Takes off what stands in front of the numbers of most lines, words or nothing.
void takeOffWords(std::vector<Row>& rows) {
    const auto isLabelled = [](const Row& row) {
        return row.faults == 1 && row.firstFault == 1 && row.values.size() > 2;
    };
    const auto isNumeric = [](const Row& row) { return row.isNumeric(); };
    if (std::count_if(rows.begin(), rows.end(), isLabelled) <=
        std::count_if(rows.begin(), rows.end(), isNumeric))
        return;
    for (Row& row : rows) {
        if (!isLabelled(row)) continue;
        row.values.erase(row.values.begin());
        row.faults = 0;
    }
}

/// Whether the first numbers of the rows count them; in a ramp the second ones would count as well.
bool areNumbered(std::vector<Row>::const_iterator first, std::vector<Row>::const_iterator last) {
    constexpr std::ptrdiff_t kEnough = 8;  // rows; fewer pixels may well happen to count up
    if (last - first < kEnough || first->values.size() < 2) return false;
    const auto column = [&](std::size_t index) {
        std::vector<double> values;
        std::for_each(first, last, [&](const Row& row) { values.push_back(row.values[index]); });
        return values;
    };
    return countsUp(column(0), 0) && !countsUp(column(1), 0);
}

/// The rows of the matrix out of all lines that hold something, and whether their first number is their label.
std::pair<std::vector<Row>, bool> matrixRows(std::vector<Row> rows, const std::string& name) {
    takeOffWords(rows);
    std::size_t columns = 0;
    for (const Row& row : rows) {
        if (row.isNumeric()) columns = std::max(columns, row.values.size());
    }
    if (columns == 0) {
        const Row& longest = *std::max_element(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
            return a.values.size() < b.values.size();
        });
        throw inputError(name + format(": holds no matrix of numbers; line %zu ", longest.line) +
                         faultIn(longest));
    }
    auto first = std::find_if(rows.begin(), rows.end(), [&](const Row& row) {
        return row.isNumeric() && row.values.size() == columns;
    });
    const bool corner = first != rows.begin() && (first - 1)->values.size() == columns &&
                        (first - 1)->faults == 1 && (first - 1)->firstFault == 1 &&
                        countsUp((first - 1)->values, 1);
    for (auto row = rows.begin(); row != first - (corner ? 1 : 0); ++row) {
        // A heading may hold a few numbers; half a row of them is a damaged row.
        if (row->values.size() - row->faults > columns / 2 && columns > 4) checkRow(*row, columns, name);
    }
    std::for_each(first, rows.end(), [&](const Row& row) { checkRow(row, columns, name); });
    const bool several = rows.end() - first > 1;
    const bool heading = several && countsUp(first->values, 0) && !countsUp((first + 1)->values, 0);
    const bool headingOfLabelled =
        several && countsUp(first->values, 1) && areNumbered(first + 1, rows.end());
    if (heading || headingOfLabelled) ++first;
    const bool labelled = corner || areNumbered(first, rows.end());
    rows.erase(rows.begin(), first);
    return {std::move(rows), labelled};
}

}  // namespace

cv::Mat_<double> decodeCsv(std::string_view text, const std::string& name) {
    using namespace std::string_view_literals;
    if (text.substr(0, 2) == "\xFF\xFE"sv) return decodeCsv(fromUtf16(text, false), name);
    if (text.substr(0, 2) == "\xFE\xFF"sv) return decodeCsv(fromUtf16(text, true), name);
    if (text.substr(0, 3) == "\xEF\xBB\xBF"sv) text.remove_prefix(3);
    const std::vector<std::string_view> lines = linesOf(text);
    const auto holdsSomething = [](std::string_view line) { return !trimmed(line).empty(); };
    if (std::none_of(lines.begin(), lines.end(), holdsSomething)) throw inputError(name + ": is empty");
    // Rows of the matrix have far more digits than what stands around them.
    const auto digits = [](std::string_view line) {
        return std::count_if(line.begin(), line.end(), [](char c) { return c >= '0' && c <= '9'; });
    };
    const char separator = separatorIn(
        *std::max_element(lines.begin(), lines.end(), [&](auto a, auto b) { return digits(a) < digits(b); }));
    std::vector<Row> all;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (holdsSomething(lines[i])) all.push_back(rowOf(lines[i], i + 1, separator));
    }
    const auto [rows, labelled] = matrixRows(std::move(all), name);
    if (separator == ',' && looksHalved(rows, lines)) {
        throw inputError(name +
                         ": commas seem to separate numbers and to mark their decimals as well; "
                         "separate numbers by semicolons or tabs, or write decimal points");
    }
    const std::size_t skipped = labelled ? 1 : 0;
    const std::size_t columns = rows.front().values.size() - skipped;
    if (!isPossibleSize(columns, rows.size())) {
        throw inputError(
            format("%s: a matrix of %zu x %zu cannot be an image", name.c_str(), rows.size(), columns));
    }
    cv::Mat_<double> matrix(static_cast<int>(rows.size()), static_cast<int>(columns));
    for (int r = 0; r < matrix.rows; ++r) {
        const std::vector<double>& values = rows[static_cast<std::size_t>(r)].values;
        std::copy(values.begin() + static_cast<std::ptrdiff_t>(skipped), values.end(), matrix[r]);
    }
    return matrix;
}

cv::Mat readCsv(const std::string& path) {
    return decodeCsv(contentOfFile(path), path);
}

}  // namespace oravo::tools
