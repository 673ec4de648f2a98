#include "tools/defects/DefectList.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <fstream>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/TextLines.h"
#include "tools/base/UserError.h"
#include "tools/formats/PixelFormat.h"
#include "vision/superresolution/BadPixel.h"

namespace oravo::tools {
namespace {

constexpr char kFormat[] = "# oravo bad pixels, format 1, width ";
constexpr char kHeight[] = ", height ";
constexpr char kColumnLine[] = "x,y,x1,y1,x2,y2,x3,y3,x4,y4";
constexpr std::size_t kLongestLine = 100;  // the format and two numbers, or ten numbers
constexpr std::array<const char*, DefectList::kColumns> kNames = {"x",  "y",  "x1", "y1", "x2",
                                                                  "y2", "x3", "y3", "x4", "y4"};

/// Digits only: no sign, space or fraction.
bool toCount(const std::string& text, ushort& value) {
    const char* end = text.data() + text.size();
    const auto [rest, failed] = std::from_chars(text.data(), end, value);
    return failed == std::errc() && rest == end;
}

class Parser {
  public:
    explicit Parser(const std::string& path) : path_(path), file_(path, std::ios::binary) {
        if (!file_) throw inputError(path + ": cannot be opened");
    }

    DefectList parse() {
        DefectList list;
        if (!nextLine())
            throw inputError(path_ + ": line 1: is missing; a list of bad pixels starts with one");
        list.frameSize = size();
        const auto pixels = static_cast<std::size_t>(list.frameSize.area());
        const bool second = nextLine();
        number_ = 2;  // also when there is none
        if (!second || line_ != kColumnLine) fail(format("must name the columns: %s", kColumnLine));
        while (nextLine()) {
            if (static_cast<std::size_t>(list.rows.rows) == pixels)
                fail("is one more than the frame has pixels");
            list.rows.push_back(row(list.frameSize));
        }
        return list;
    }

  private:
    [[noreturn]] void fail(const std::string& why) const {
        throw inputError(format("%s: line %zu: %s", path_.c_str(), number_, why.c_str()));
    }

    bool nextLine() {
        if (!readLine(file_, '\n', kLongestLine, line_)) {
            if (file_.bad()) throw inputError(path_ + ": cannot be read");
            return false;
        }
        ++number_;
        if (line_.size() > kLongestLine) fail("is longer than any line of a list of bad pixels");
        // A last number that lost digits would still be one.
        if (file_.eof()) fail("ends without a line break; the file is cut off");
        if (!line_.empty() && line_.back() == '\r') line_.pop_back();
        return true;
    }

    cv::Size size() const {
        const std::string start = kFormat;
        const std::size_t comma = line_.find(kHeight, start.size());
        if (line_.rfind(start, 0) != 0 || comma == std::string::npos) {
            fail(format("must read \"%sW%sH\"", kFormat, kHeight));
        }
        const cv::Size size(extent("width", line_.substr(start.size(), comma - start.size())),
                            extent("height", line_.substr(comma + std::string(kHeight).size())));
        if (!isPossibleSize(static_cast<std::uint64_t>(size.width),
                            static_cast<std::uint64_t>(size.height))) {
            fail(format("no frame has %d x %d pixels", size.width, size.height));
        }
        requireMemory(static_cast<std::uint64_t>(size.area()),
                      format("%s: frames of %d x %d pixels", path_.c_str(), size.width, size.height));
        return size;
    }

    int extent(const char* name, const std::string& text) const {
        ushort value = 0;
        if (!toCount(text, value) || value == 0) {
            fail(format("%s %s is not a whole number from 1 to 65535", name, excerpt(text).c_str()));
        }
        return value;
    }

    cv::Mat_<ushort> row(cv::Size size) const {
        cv::Mat_<ushort> values(1, DefectList::kColumns);
        std::size_t start = 0;
        int count = 0;
        for (bool more = true; more; ++count) {
            const std::size_t comma = line_.find(',', start);
            more = comma != std::string::npos;
            const std::string text = line_.substr(start, more ? comma - start : comma);
            start = comma + 1;
            if (count >= DefectList::kColumns) continue;
            if (!toCount(text, values(count))) {
                fail(format("%s %s is not a whole number from 0 to 65535",
                            kNames[static_cast<std::size_t>(count)], excerpt(text).c_str()));
            }
        }
        if (count != DefectList::kColumns) fail(format("has %d values; a bad pixel has 10", count));
        checkInside(values, size);
        return values;
    }

    void checkInside(const cv::Mat_<ushort>& values, cv::Size size) const {
        for (int i = 0; i < DefectList::kColumns; i += 2) {
            const bool unknown = values(i) == size.width && values(i + 1) == size.height;
            if (i > 0 && unknown) continue;
            const int wrong = values(i) >= size.width ? i : values(i + 1) >= size.height ? i + 1 : -1;
            if (wrong < 0) continue;
            fail(format("%s = %d lies outside the frame of %d x %d pixels",
                        kNames[static_cast<std::size_t>(wrong)], static_cast<int>(values(wrong)), size.width,
                        size.height));
        }
    }

    std::string path_;
    std::ifstream file_;
    std::string line_;
    std::size_t number_ = 0;
};

}  // namespace

cv::Mat_<uchar> DefectList::mask() const {
    cv::Mat_<uchar> listed(frameSize, uchar{0});
    for (int i = 0; i < rows.rows; ++i) listed(rows(i, 1), rows(i, 0)) = 255;
    return listed;
}

bool DefectList::isComplete() const {
    return cv::countNonZero(mask()) == frameSize.area();
}

int DefectList::withoutReplacement() const {
    int count = 0;
    for (int i = 0; i < rows.rows; ++i) {
        bool outside = false;
        for (int c = 2; c < kColumns; c += 2) {
            outside |= rows(i, c) >= frameSize.width || rows(i, c + 1) >= frameSize.height;
        }
        count += outside ? 1 : 0;
    }
    return count;
}

std::string defectTable(const DefectList& list) {
    std::string text = kFormat + std::to_string(list.frameSize.width) + kHeight +
                       std::to_string(list.frameSize.height) + '\n' + kColumnLine + '\n';
    for (int i = 0; i < list.rows.rows; ++i) {
        for (int c = 0; c < DefectList::kColumns; ++c) {
            text += std::to_string(list.rows(i, c)) + (c + 1 < DefectList::kColumns ? ',' : '\n');
        }
    }
    return text;
}

DefectList readDefectList(const std::string& path) {
    return Parser(path).parse();
}

void requireFrameSize(const DefectList& list, const std::string& path, cv::Size size,
                      const std::string& other) {
    if (list.frameSize == size) return;
    throw inputError(format("%s: line 1: is a list for frames of %d x %d pixels, but %s is for %d x %d",
                            path.c_str(), list.frameSize.width, list.frameSize.height, other.c_str(),
                            size.width, size.height));
}

int mergeDefects(const cv::Mat_<ushort>& found, DefectList& list, int radius) {
    cv::Mat_<uchar> listed = list.mask();
    cv::Mat_<ushort> fresh(0, DefectList::kColumns);
    for (int i = 0; i < found.rows; ++i) {
        uchar& known = listed(found(i, 1), found(i, 0));
        if (known == 0) fresh.push_back(found.row(i));
        known = 255;
    }
    // The half-discs of size n begin one pixel away, so that n is the farthest that they reach.
    if (!vision::BadPixel::appendBadPixel(fresh, list.rows, list.frameSize, static_cast<unsigned>(radius))) {
        throw inputError(format("frames of %d x %d pixels are too large for a list of bad pixels",
                                list.frameSize.width, list.frameSize.height));
    }
    return fresh.rows;
}

}  // namespace oravo::tools
