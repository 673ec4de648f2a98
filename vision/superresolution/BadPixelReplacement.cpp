#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "vision/superresolution/BadPixel.h"
#include "vision/superresolution/detail/defects/BadPixelList.h"
#include "vision/superresolution/detail/memory/ReservedMemory.h"

namespace oravo::vision {
namespace {

using Candidate = std::pair<float, cv::Point_<int>>;
using Directions = std::array<std::array<cv::Point_<int>, 7>, 4>;

constexpr std::size_t kDirections = 4;
constexpr int kSimpleNeighbourhood = 3;

/// Up, right, down, left.
const Directions& simpleNeighbourhood() {
    static const Directions table{{{{{0, -1}, {0, -2}, {-1, -1}, {1, -1}, {-1, -2}, {1, -2}, {0, -3}}},
                                   {{{1, 0}, {2, 0}, {1, -1}, {1, 1}, {2, -1}, {2, 1}, {3, 0}}},
                                   {{{0, 1}, {0, 2}, {1, 1}, {-1, 1}, {1, 2}, {-1, 2}, {0, 3}}},
                                   {{{-1, 0}, {-2, 0}, {-1, 1}, {-1, -1}, {-2, 1}, {-2, -1}, {-3, 0}}}}};
    return table;
}

bool isListed(const cv::Mat& list, unsigned short x, unsigned short y) {
    for (int i = 0; i < list.rows; ++i) {
        const unsigned short* row = list.ptr<unsigned short>(i);
        if (row[0] == x && row[1] == y) return true;
    }
    return false;
}

/// Map 0 of the query in key order.
std::vector<Candidate> halfDiscBelow(int n) {
    std::vector<Candidate> offsets;
    const auto limit = static_cast<float>(static_cast<std::int64_t>(n) - 1);
    for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n; ++c) {
            const auto square = static_cast<float>(std::int64_t{c} * c + std::int64_t{r} * r);
            const auto distance = static_cast<float>(std::sqrt(static_cast<double>(square)));
            if (distance > limit) break;  // and so are all further columns
            offsets.push_back({distance, {c, r + 1}});
            if (c != 0) offsets.push_back({distance, {-c, r + 1}});
        }
    }
    std::stable_sort(offsets.begin(), offsets.end(),
                     [](const Candidate& a, const Candidate& b) { return a.first < b.first; });
    return offsets;
}

/// The first offset of one direction that leads to a clean pixel; the position as (x, y).
std::optional<Candidate> firstClean(const std::multimap<float, cv::Point_<int>>& offsets,
                                    const unsigned short* row, const cv::Size_<int>& imageSize,
                                    const std::set<unsigned int>& badPositions) {
    const auto width = static_cast<unsigned int>(imageSize.width);
    const auto height = static_cast<unsigned int>(imageSize.height);
    for (const auto& [distance, offset] : offsets) {
        // Unsigned, so that positions left of and above the image are far outside.
        const unsigned int x = row[0] + static_cast<unsigned int>(offset.x);
        const unsigned int y = row[1] + static_cast<unsigned int>(offset.y);
        if (x >= width || y >= height || badPositions.count(x + y * width) != 0) continue;
        return Candidate(distance, {static_cast<int>(x), static_cast<int>(y)});
    }
    return std::nullopt;
}

bool hasRow(const cv::Mat& list, unsigned short row) {
    return detail::isBadPixelList(list) && row < list.rows;
}

}  // namespace

namespace detail {

std::set<unsigned int> linearPositions(const cv::Mat& list, int imageWidth) {
    std::set<unsigned int> positions;
    for (int i = 0; i < list.rows; ++i) {
        const unsigned short* row = list.ptr<unsigned short>(i);
        positions.insert(row[0] + row[1] * static_cast<unsigned int>(imageWidth));
    }
    return positions;
}

BadPixel::ReplacementQuery queryFor(const cv::Mat& list, const cv::Size_<int>& imageSize, unsigned int n) {
    int reach = std::max(imageSize.width, imageSize.height);
    for (int i = 0; i < list.rows; ++i) {
        const unsigned short* row = list.ptr<unsigned short>(i);
        reach = std::max({reach, static_cast<int>(row[0]), static_cast<int>(row[1])});
    }
    // Offsets of use have |dx|, |dy| <= reach, so keys up to sqrt(2) reach.
    const int enough = static_cast<int>(std::ceil(1.4143 * reach)) + 2;
    return BadPixel::computeReplacePixelQuery(std::min(static_cast<int>(n), enough));
}

bool chooseReplacements(unsigned short* row, const cv::Size_<int>& imageSize,
                        const BadPixel::ReplacementQuery& query, const std::set<unsigned int>& badPositions) {
    std::vector<Candidate> candidates;
    for (std::size_t k = 0; k < kDirections; ++k) {
        if (const auto candidate = firstClean(query[k], row, imageSize, badPositions)) {
            candidates.push_back(*candidate);
        }
    }
    if (candidates.empty()) return false;

    std::multimap<float, cv::Point_<int>> chosen;
    for (std::size_t i = 0; i < kReplacements; ++i) chosen.insert(candidates[i % candidates.size()]);
    unsigned short* column = row + kFirstReplacementColumn;
    for (const auto& [distance, position] : chosen) {
        *column++ = static_cast<unsigned short>(position.x);
        *column++ = static_cast<unsigned short>(position.y);
    }
    return true;
}

}  // namespace detail

BadPixel::ReplacementQuery BadPixel::computeReplacePixelQuery(int n) {
    // Refused before memory is full: each of the four maps holds half a disc of offsets.
    constexpr double kEntryBytes = 64.0;
    const double entries = 4.0 * 1.58 * std::max(n, 0) * std::max(n, 0);
    const auto bytes = static_cast<std::size_t>(std::min(kEntryBytes * entries, 1e18));
    detail::requireMemory(bytes);

    ReplacementQuery query(kDirections);
    for (const auto& [distance, offset] : halfDiscBelow(n)) {
        const int x = offset.x;
        const int y = offset.y;
        const std::array<cv::Point_<int>, kDirections> turned{{{x, y}, {-y, x}, {-x, -y}, {y, -x}}};
        // In key order every entry goes to the end, which the hint makes free of searching.
        for (std::size_t k = 0; k < kDirections; ++k) {
            query[k].emplace_hint(query[k].end(), distance, turned[k]);
        }
    }
    return query;
}

bool BadPixel::calculateReplacePixels(cv::Mat_<unsigned short>& list, cv::Size_<int> imageSize,
                                      unsigned int n) {
    if (list.empty() && list.cols == 0 && list.type() == CV_16UC1) return true;
    if (!detail::isBadPixelList(list) || !detail::fitsList(imageSize)) return false;
    const std::set<unsigned int> badPositions = detail::linearPositions(list, imageSize.width);
    const ReplacementQuery query = detail::queryFor(list, imageSize, n);
    bool allFound = true;
    for (int i = 0; i < list.rows; ++i) {
        unsigned short* row = list.ptr<unsigned short>(i);
        if (!detail::chooseReplacements(row, imageSize, query, badPositions)) allFound = false;
    }
    return allFound;
}

bool BadPixel::calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short row,
                                           cv::Size_<int> imageSize, const ReplacementQuery& query,
                                           std::set<unsigned int>& badPositions) {
    if (!hasRow(list, row) || !detail::fitsList(imageSize) || query.size() != kDirections) return false;
    if (badPositions.empty()) badPositions = detail::linearPositions(list, imageSize.width);
    return detail::chooseReplacements(list.ptr<unsigned short>(row), imageSize, query, badPositions);
}

bool BadPixel::calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short row,
                                           cv::Size_<int> imageSize, const ReplacementQuery& query) {
    std::set<unsigned int> badPositions;
    return calculateSingleReplacePixel(list, row, imageSize, query, badPositions);
}

bool BadPixel::calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short row,
                                           cv::Size_<int> imageSize, int n) {
    if (n == kSimpleNeighbourhood) return calculateSingleReplacePixelSimpleNhood(list, row, imageSize);
    if (!hasRow(list, row) || !detail::fitsList(imageSize)) return false;
    const unsigned int radius = static_cast<unsigned int>(std::max(n, 0));
    return calculateSingleReplacePixel(list, row, imageSize, detail::queryFor(list, imageSize, radius));
}

bool BadPixel::calculateSingleReplacePixelSimpleNhood(cv::Mat_<unsigned short>& list, unsigned short row,
                                                      cv::Size_<int> imageSize) {
    if (!hasRow(list, row) || !detail::fitsList(imageSize)) return false;
    const Directions& table = simpleNeighbourhood();
    unsigned short* columns = list.ptr<unsigned short>(row);
    int found = 0;
    const auto takeFirstClean = [&](std::size_t direction) {
        for (const cv::Point_<int>& offset : table[direction]) {
            const auto x = static_cast<unsigned short>(columns[0] + offset.x);
            const auto y = static_cast<unsigned short>(columns[1] + offset.y);
            if (x >= imageSize.width || y >= imageSize.height || isListed(list, x, y)) continue;
            columns[detail::kFirstReplacementColumn + 2 * found] = x;
            columns[detail::kFirstReplacementColumn + 2 * found + 1] = y;
            ++found;
            return true;
        }
        return false;
    };
    for (std::size_t turn = 0; turn < kDirections; ++turn) {
        for (std::size_t i = 0; i < kDirections; ++i) {
            if (takeFirstClean((turn + i) % kDirections)) break;
        }
    }
    return found == detail::kReplacements;
}

}  // namespace oravo::vision
