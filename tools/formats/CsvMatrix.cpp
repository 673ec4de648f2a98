#include "tools/formats/CsvMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <vector>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/TextLines.h"
#include "tools/base/UserError.h"
#include "tools/formats/CsvFields.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/NumberText.h"
#include "tools/formats/PixelFormat.h"

namespace oravo::tools {
namespace {

/// A line of the text and its numbers, which lie elsewhere. Small: a line may be as short as one digit.
struct Row {
    const double* values = nullptr;  ///< NaN for a field that is no number
    std::uint32_t start = 0;         ///< of the line, in a text of at most 1 GiB
    std::uint32_t length = 0;
    std::uint32_t line = 0;  ///< its number, from 1
    std::uint32_t fields = 0;
    std::uint32_t faults = 0;      ///< fields that are no numbers
    std::uint32_t firstFault = 0;  ///< the place of the first of them, from 1

    bool isNumeric() const { return faults == 0; }
};

using Rows = std::vector<Row>;

/// What stands around the numbers.
struct Form {
    std::string name;
    std::string_view text;
    char separator;

    std::string_view line(const Row& row) const { return text.substr(row.start, row.length); }
};

/// Reads a line, whose numbers go to the end of those given.
Row rowOf(std::string_view line, std::uint32_t number, const Form& form, std::vector<double>& numbers) {
    Row row{numbers.data() + numbers.size(), static_cast<std::uint32_t>(line.data() - form.text.data()),
            static_cast<std::uint32_t>(line.size()), number};
    for (Fields fields(line, form.separator); fields.more();) {
        double value = 0.0;
        ++row.fields;
        if (!parseNumber(fields.next(), value)) {
            value = std::numeric_limits<double>::quiet_NaN();
            if (row.faults++ == 0) row.firstFault = row.fields;
        }
        numbers.push_back(value);
    }
    return row;
}

/// Whether the values from the given one on are consecutive integers, from 0 or 1.
bool countsUp(const double* first, const double* last) {
    if (last - first < 3 || (*first != 0.0 && *first != 1.0)) return false;
    return std::adjacent_find(first, last, [](double a, double b) { return b != a + 1.0; }) == last;
}

bool countsUp(const Row& row, std::uint32_t from) {
    return from < row.fields && countsUp(row.values + from, row.values + row.fields);
}

UserError faultAt(const std::string& name, const Row& row, const std::string& fault) {
    return inputError(format("%s: line %u ", name.c_str(), row.line) + fault);
}

std::string faultIn(const Row& row, const Form& form) {
    Fields fields(form.line(row), form.separator);
    for (std::uint32_t i = 1; i < row.firstFault; ++i) fields.next();
    const std::string_view fault = fields.next();
    if (fault.empty()) return format("has nothing in column %u", row.firstFault);
    return format("has %s in column %u, where a number is wanted", excerpt(fault).c_str(), row.firstFault);
}

void checkRow(const Row& row, std::uint32_t columns, const Form& form) {
    if (!row.isNumeric()) throw faultAt(form.name, row, faultIn(row, form));
    if (row.fields != columns) {
        throw faultAt(form.name, row, format("has %u numbers, but others have %u", row.fields, columns));
    }
}

/// What the digits before a decimal comma have in common from number to number, or those after it.
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
bool looksHalved(const Rows& rows, const Form& form) {
    Digits wholes, decimals;
    for (const Row& row : rows) {
        if (row.fields % 2 != 0) return false;
        Fields rest(form.line(row), form.separator);
        for (std::uint32_t i = 0; i < row.fields; ++i) {
            if (!(i % 2 == 0 ? wholes : decimals).add(rest.next())) return false;
        }
    }
    if (decimals.sign || decimals.counts.size() != 1) return false;
    return wholes.sign || wholes.counts.count(*decimals.counts.begin()) == 0 ||
           (decimals.leadingZero && !wholes.leadingZero);
}

/// Takes off what stands in front of the numbers of most lines, words or nothing.
void takeOffWords(Rows& rows) {
    const auto isLabelled = [](const Row& row) {
        return row.faults == 1 && row.firstFault == 1 && row.fields > 2;
    };
    const auto isNumeric = [](const Row& row) { return row.isNumeric(); };
    if (std::count_if(rows.begin(), rows.end(), isLabelled) <=
        std::count_if(rows.begin(), rows.end(), isNumeric))
        return;
    for (Row& row : rows) {
        if (!isLabelled(row)) continue;
        ++row.values;
        --row.fields;
        row.faults = 0;
    }
}

/// Whether the first numbers of the rows count them; in a ramp the second ones would count as well.
bool areNumbered(Rows::const_iterator first, Rows::const_iterator last) {
    constexpr std::ptrdiff_t kEnough = 8;  // rows; fewer pixels may well happen to count up
    if (last - first < kEnough || first->fields < 2) return false;
    const auto columnCountsUp = [&](std::size_t column) {
        const double start = first->values[column];
        double expected = start;
        return (start == 0.0 || start == 1.0) &&
               std::all_of(first, last, [&](const Row& row) { return row.values[column] == expected++; });
    };
    return columnCountsUp(0) && !columnCountsUp(1);
}

/// Of the widest row of numbers. Throws UserError, naming the widest line, where there is none.
std::uint32_t columnsOf(const Rows& rows, const Form& form) {
    std::uint32_t columns = 0;
    for (const Row& row : rows) {
        if (row.isNumeric()) columns = std::max(columns, row.fields);
    }
    if (columns > 0) return columns;
    const Row& longest = *std::max_element(rows.begin(), rows.end(),
                                           [](const Row& a, const Row& b) { return a.fields < b.fields; });
    throw inputError(form.name + format(": holds no matrix of numbers; line %u ", longest.line) +
                     faultIn(longest, form));
}

/// Whether a row numbers the columns, with a word in the corner above the labels of the rows.
bool numbersColumnsAfterACorner(const Row& row, std::uint32_t columns) {
    return row.fields == columns && row.faults == 1 && row.firstFault == 1 && countsUp(row, 1);
}

/// Whether the first row numbers the columns of those after it, from 0 or, where the rows are numbered, from 1.
bool beginsWithNumbers(Rows::const_iterator first, Rows::const_iterator end) {
    if (end - first < 2) return false;
    return (countsUp(*first, 0) && !countsUp(*(first + 1), 0)) ||
           (countsUp(*first, 1) && areNumbered(first + 1, end));
}

/// A header row may hold a few numbers; half a row of them is a damaged row.
void refuseDamagedRows(Rows::const_iterator begin, Rows::const_iterator end, std::uint32_t columns,
                       const Form& form) {
    for (auto row = begin; row != end; ++row) {
        if (row->fields - row->faults > columns / 2 && columns > 4) checkRow(*row, columns, form);
    }
}

/// The rows of the matrix out of all lines that hold something, and whether their first number is their label.
std::pair<Rows, bool> matrixRows(Rows rows, const Form& form) {
    takeOffWords(rows);
    const std::uint32_t columns = columnsOf(rows, form);
    auto first = std::find_if(rows.begin(), rows.end(),
                              [&](const Row& row) { return row.isNumeric() && row.fields == columns; });
    const bool corner = first != rows.begin() && numbersColumnsAfterACorner(*(first - 1), columns);
    refuseDamagedRows(rows.begin(), first - (corner ? 1 : 0), columns, form);
    std::for_each(first, rows.end(), [&](const Row& row) { checkRow(row, columns, form); });
    if (beginsWithNumbers(first, rows.end())) ++first;
    const bool labelled = corner || areNumbered(first, rows.end());
    rows.erase(rows.begin(), first);
    return {std::move(rows), labelled};
}

/// All lines that hold something. Their numbers go to `numbers`, which has to outlive them.
Rows linesOf(const Form& form, std::vector<double>& numbers) {
    std::size_t lines = 0;
    forEachLine(form.text, [&](std::string_view, std::uint32_t) { ++lines; });
    if (lines == 0) throw inputError(form.name + ": is empty");
    const std::size_t fields =
        lines + static_cast<std::size_t>(std::count(form.text.begin(), form.text.end(), form.separator));
    // Twice for the matrix in the end.
    requireMemory(lines * sizeof(Row) + 2 * fields * sizeof(double), form.name + ": its numbers");
    numbers.reserve(fields);  // rows point to them
    Rows all;
    all.reserve(lines);
    forEachLine(form.text, [&](std::string_view line, std::uint32_t number) {
        all.push_back(rowOf(line, number, form, numbers));
    });
    return all;
}

/// @param skipped  numbers at the beginning of each row that are left out
cv::Mat_<double> matrixOf(const Rows& rows, std::size_t skipped, const std::string& name) {
    const std::size_t columns = rows.front().fields - skipped;
    if (!isPossibleSize(columns, rows.size())) {
        throw inputError(
            format("%s: a matrix of %zu x %zu cannot be an image", name.c_str(), rows.size(), columns));
    }
    cv::Mat_<double> matrix(static_cast<int>(rows.size()), static_cast<int>(columns));
    for (int r = 0; r < matrix.rows; ++r) {
        std::copy_n(rows[static_cast<std::size_t>(r)].values + skipped, columns, matrix[r]);
    }
    return matrix;
}

}  // namespace

cv::Mat_<double> decodeCsv(std::string_view text, const std::string& name) {
    using namespace std::string_view_literals;
    if (text.substr(0, 2) == "\xFF\xFE"sv) return decodeCsv(asciiOfUtf16(text, false), name);
    if (text.substr(0, 2) == "\xFE\xFF"sv) return decodeCsv(asciiOfUtf16(text, true), name);
    if (text.substr(0, 3) == "\xEF\xBB\xBF"sv) text.remove_prefix(3);
    const Form form{name, text, separatorOf(text)};
    std::vector<double> numbers;
    const auto [rows, labelled] = matrixRows(linesOf(form, numbers), form);
    if (form.separator == ',' && looksHalved(rows, form)) {
        throw inputError(name +
                         ": commas seem to separate numbers and to mark their decimals as well; "
                         "separate numbers by semicolons or tabs, or write decimal points");
    }
    return matrixOf(rows, labelled ? 1 : 0, name);
}

cv::Mat readCsv(const std::string& path) {
    return decodeCsv(contentOfFile(path), path);
}

std::string encodeCsv(const cv::Mat& image) {
    const bool counts = image.depth() == CV_8U;
    std::string text;
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            if (x > 0) text += ',';
            text += counts ? std::to_string(image.at<uchar>(y, x)) : numberText(image.at<float>(y, x));
        }
        text += '\n';
    }
    return text;
}

}  // namespace oravo::tools
