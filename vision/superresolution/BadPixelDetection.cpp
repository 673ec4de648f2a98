#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>

#include "vision/superresolution/BadPixel.h"
#include "vision/superresolution/detail/defects/BadPixelList.h"

namespace oravo::vision {
namespace {

constexpr int kValues = 65536;
constexpr int kMinValue = std::numeric_limits<short>::min();
constexpr int kMaxValue = std::numeric_limits<short>::max();
constexpr int kCapacityModulus = 65536;

/// What a pixel value means for a search; the flags combine.
enum ValueClass : std::uint8_t { kOutOfRange = 1, kIsolated = 2 };

std::size_t indexOf(int value) {
    return static_cast<std::uint16_t>(value);
}

/// A pixel of an isolated value in one number, whose order is that of listing: by value, then row, then
/// column.
struct Finding {
    static std::uint64_t pack(short value, int x, int y) {
        const auto shifted = static_cast<std::uint64_t>(value - kMinValue);
        return shifted << 32 | static_cast<std::uint64_t>(y) << 16 | static_cast<std::uint64_t>(x);
    }
    static int value(std::uint64_t finding) { return static_cast<int>(finding >> 32) + kMinValue; }
    static unsigned short y(std::uint64_t finding) { return static_cast<unsigned short>(finding >> 16); }
    static unsigned short x(std::uint64_t finding) { return static_cast<unsigned short>(finding); }
};

/// The three running sums over the bins to the left of, around and to the right of a bin.
class WindowSums {
  public:
    /// Stands at bin 0. The left sum starts without bin 0, which is empty at that time.
    WindowSums(const int* bins, int count, int span) : bins_(bins), count_(count), span_(span) {
        for (int b = 0; b < count && b <= span; ++b) {
            right_ += bins[b];
            if (b <= span / 2) centre_ += bins[b];
        }
    }

    /// Moves on to bin b, the next one; false when a sum would fall below zero, which only negative counts cause.
    bool moveTo(int b) {
        const int half = span_ / 2;
        if (b > span_ && !take(left_, b - span_ - 1)) return false;
        left_ += bins_[b];
        if (b > half && !take(centre_, b - half - 1)) return false;
        if (b < count_ - half) centre_ += bins_[b + half];
        if (!take(right_, b - 1)) return false;
        if (b < count_ - span_) right_ += bins_[b + span_];
        return true;
    }

    bool allBelow(int limit) const { return left_ < limit && centre_ < limit && right_ < limit; }

  private:
    bool take(std::int64_t& sum, int b) const {
        if (sum < bins_[b]) return false;
        sum -= bins_[b];
        return true;
    }

    const int* bins_;
    int count_;
    int span_;
    std::int64_t left_ = 0;
    std::int64_t centre_ = 0;
    std::int64_t right_ = 0;
};

/// Appends the isolated bins, ascending; false when the walk over the bins was broken off.
bool findIsolatedBins(const int* bins, int count, int maxCount, int span, std::vector<int>& isolated) {
    WindowSums sums(bins, count, span);
    for (int b = 0; b < count; ++b) {
        if (b > 0 && !sums.moveTo(b)) return false;
        if (bins[b] > 0 && sums.allBelow(maxCount)) isolated.push_back(b);
    }
    return true;
}

/// Enters positions as rows of a list until its capacity is reached.
class ListWriter {
  public:
    ListWriter(cv::Mat_<unsigned short>& list, int capacity) : list_(list), capacity_(capacity) {}

    bool isFull() const { return count_ == capacity_; }
    int count() const { return count_; }
    void enter(unsigned short x, unsigned short y) {
        unsigned short* row = list_.ptr<unsigned short>(count_++);
        row[0] = x;
        row[1] = y;
    }

  private:
    cv::Mat_<unsigned short>& list_;
    int capacity_;
    int count_ = 0;
};

/// Values from first to last; none when last is the smaller one.
struct ValueRange {
    int first;
    int last;
};

/// Which values a search lists, and the range between them that holds most pixels: nearly all blocks of pixels
/// lie within it and are skipped whole.
struct ListedValues {
    std::vector<std::uint8_t> classes;
    ValueRange quiet;
};

ValueRange quietRange(const int* bins, int count, const std::vector<int>& isolated, int lo, int hi) {
    ValueRange best{0, -1};
    std::int64_t most = 0;
    // The first and last bin are left out, as they may stand for listed values.
    for (std::size_t i = 0; i <= isolated.size(); ++i) {
        const int first = i == 0 ? 1 : isolated[i - 1] + 1;
        const int end = i == isolated.size() ? count - 1 : isolated[i];
        if (first >= end) continue;
        const std::int64_t pixels = std::accumulate(bins + first, bins + end, std::int64_t{0});
        if (pixels > most) {
            most = pixels;
            best = {lo + first, std::min(lo + end, hi) - 1};
        }
    }
    return best;
}

std::vector<std::uint8_t> classifyValues(bool listOutOfRange, const std::vector<int>& isolated, int lo,
                                         int hi) {
    std::vector<std::uint8_t> classes(kValues, 0);
    const auto markOutOfRange = [&classes](int first, int last) {
        for (int v = first; v <= last; ++v) classes[indexOf(v)] = kOutOfRange;
    };
    if (listOutOfRange) {
        markOutOfRange(kMinValue, lo);
        markOutOfRange(hi, kMaxValue);
    }
    for (const int bin : isolated) {
        // Exceeds the values of a pixel only when the histogram does not belong to lo and hi.
        if (lo + bin <= kMaxValue) classes[indexOf(lo + bin)] |= kIsolated;
    }
    return classes;
}

/// Branch-free, so that it compiles to vector code.
bool allWithin(const ValueRange& range, const short* pixels, int count) {
    if (range.last < range.first) return false;
    const auto first = static_cast<std::uint16_t>(range.first);
    const auto width = static_cast<std::uint16_t>(range.last - range.first);
    std::uint16_t outside = 0;
    for (int i = 0; i < count; ++i) {
        const auto distance = static_cast<std::uint16_t>(static_cast<std::uint16_t>(pixels[i]) - first);
        outside |= static_cast<std::uint16_t>(distance > width);
    }
    return outside == 0;
}

/// The only pass over the image: enters out-of-range pixels and collects those of isolated values.
std::vector<std::uint64_t> scan(const cv::Mat_<short>& image, const ListedValues& listed, ListWriter& list) {
    constexpr int kBlock = 64;
    std::vector<std::uint64_t> findings;
    const auto visit = [&](short value, int x, int y) {
        const std::uint8_t kind = listed.classes[indexOf(value)];
        if ((kind & kOutOfRange) != 0 && !list.isFull()) {
            list.enter(static_cast<unsigned short>(x), static_cast<unsigned short>(y));
        }
        if ((kind & kIsolated) != 0) findings.push_back(Finding::pack(value, x, y));
    };
    for (int y = 0; y < image.rows; ++y) {
        const short* pixels = image.ptr<short>(y);
        for (int begin = 0; begin < image.cols; begin += kBlock) {
            const int end = std::min(begin + kBlock, image.cols);
            if (allWithin(listed.quiet, pixels + begin, end - begin)) continue;
            for (int x = begin; x < end; ++x) visit(pixels[x], x, y);
        }
    }
    return findings;
}

/// Enters the pixels of each isolated value as if the image were visited once per value, a visit that stops
/// when the list is full; false when one stopped before the last pixel.
bool enterIsolated(std::vector<std::uint64_t>& findings, const std::vector<int>& isolated, int lo,
                   const cv::Mat_<short>& image, ListWriter& list) {
    std::sort(findings.begin(), findings.end());
    auto next = findings.begin();
    for (const int bin : isolated) {
        if (list.isFull() && !image.empty()) return false;
        for (; next != findings.end() && Finding::value(*next) == lo + bin; ++next) {
            const unsigned short x = Finding::x(*next);
            const unsigned short y = Finding::y(*next);
            list.enter(x, y);
            const bool atLastPixel = y == image.rows - 1 && x == image.cols - 1;
            if (list.isFull() && !atLastPixel) return false;
        }
    }
    return true;
}

bool canBeSearched(const cv::Mat_<short>& image, const cv::Mat_<int>& histogram) {
    const bool isHistogram =
        !histogram.empty() && detail::isPlane(histogram, CV_32SC1) && histogram.rows == 1;
    return isHistogram && detail::isPlane(image, CV_16SC1) && detail::fitsList(image.size());
}

/// Cuts a list to the rows that were entered, whose replacement pixels are marked as not computed yet.
void trimList(cv::Mat_<unsigned short>& list, int count, cv::Size imageSize) {
    if (count == 0) {
        list = cv::Mat_<unsigned short>();
        return;
    }
    list = list.rowRange(0, count).clone();
    list.col(detail::kFirstReplacementColumn).setTo(imageSize.width);
    list.col(detail::kFirstReplacementColumn + 1).setTo(imageSize.height);
}

}  // namespace

bool BadPixel::buildValueHistogram(const cv::Mat_<short>& image, cv::Mat_<int>& histogram, short lo,
                                   short hi) {
    const bool countable = image.total() <= static_cast<std::size_t>(std::numeric_limits<int>::max());
    if (image.empty() || !detail::isPlane(image, CV_16SC1) || !countable || lo >= hi) return false;
    histogram = cv::Mat_<int>::zeros(1, hi - lo + 1);
    int* bins = histogram.ptr<int>(0);
    for (int y = 0; y < image.rows; ++y) {
        const short* pixels = image.ptr<short>(y);
        for (int x = 0; x < image.cols; ++x) ++bins[std::clamp(pixels[x], lo, hi) - lo];
    }
    return true;
}

bool BadPixel::performNeighbourSearch(const cv::Mat_<short>& image, cv::Mat_<int>& histogram,
                                      cv::Mat_<unsigned short>& list, short lo, short hi,
                                      unsigned short maxCount, unsigned short span) {
    if (!canBeSearched(image, histogram) || maxCount == 0 || span < 2 || !detail::isBadPixelList(list)) {
        return false;
    }
    list.setTo(0);
    const int capacity = list.rows % kCapacityModulus;
    int& first = histogram(0, 0);
    int& last = histogram(0, histogram.cols - 1);
    if (std::int64_t{first} + last > capacity) {
        list = cv::Mat_<unsigned short>();
        return false;
    }
    const bool listOutOfRange = first > 0 || last > 0;
    if (listOutOfRange) first = last = 0;

    std::vector<int> isolated;
    const int* bins = histogram.ptr<int>(0);
    const bool walked = findIsolatedBins(bins, histogram.cols, maxCount, span, isolated);
    ListWriter writer(list, capacity);
    std::vector<std::uint64_t> findings;
    if (listOutOfRange || !isolated.empty()) {
        const ListedValues listed{classifyValues(listOutOfRange, isolated, lo, hi),
                                  quietRange(bins, histogram.cols, isolated, lo, hi)};
        findings = scan(image, listed, writer);
    }
    const bool allEntered = enterIsolated(findings, isolated, lo, image, writer);
    trimList(list, writer.count(), image.size());
    return allEntered && walked;
}

}  // namespace oravo::vision
