#include "tests/plain/PlainBadPixel.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

namespace oravo::plain {
namespace {

using Match = std::function<bool(int)>;

/// Enters matching pixels until the list is full; false when that was before the last pixel was visited.
bool visit(const cv::Mat_<short>& image, const Match& matches, cv::Mat_<ushort>& list, int cap, int& count) {
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            if (count == cap) return false;
            if (!matches(image(y, x))) continue;
            list(count, 0) = static_cast<ushort>(x);
            list(count, 1) = static_cast<ushort>(y);
            ++count;
        }
    }
    return true;
}

long long binSum(const cv::Mat_<int>& histogram, int first, int last) {
    const int* bins = histogram.ptr<int>(0);
    const int end = std::min(last, histogram.cols - 1) + 1;
    return std::accumulate(bins + std::max(first, 0), bins + end, 0LL);
}

bool uses(const cv::Mat_<ushort>& list, int row, int x, int y) {
    for (int c = 2; c < 10; c += 2) {
        if (list(row, c) == x && list(row, c + 1) == y) return true;
    }
    return false;
}

}  // namespace

bool neighbourSearch(const cv::Mat_<short>& image, cv::Mat_<int>& histogram, cv::Mat_<ushort>& list, int lo,
                     int hi, int maxCount, int span) {
    const int n = histogram.cols;
    const int cap = list.rows % 65536;
    int count = 0;
    bool success = true;
    list = 0;
    int& first = histogram(0, 0);
    int& last = histogram(0, n - 1);
    if (first + last > cap) {
        list = cv::Mat_<ushort>();
        return false;
    }
    if (first > 0 || last > 0) {
        const Match outOfRange = [&](int v) { return v <= lo || v >= hi; };
        visit(image, outOfRange, list, cap, count);
        first = last = 0;
    }
    for (int b = 0; b < n && success; ++b) {
        if (histogram(0, b) <= 0) continue;
        const long long left = b == 0 ? 0 : binSum(histogram, b - span, b);
        const long long centre = binSum(histogram, b - span / 2, b + span / 2);
        const long long right = binSum(histogram, b, b + span);
        if (left >= maxCount || centre >= maxCount || right >= maxCount) continue;
        success = visit(
            image, [&](int v) { return v == lo + b; }, list, cap, count);
    }
    list = count > 0 ? cv::Mat_<ushort>(list.rowRange(0, count).clone()) : cv::Mat_<ushort>();
    for (int i = 0; i < count; ++i) {
        list(i, 2) = static_cast<ushort>(image.cols);
        list(i, 3) = static_cast<ushort>(image.rows);
    }
    return success;
}

Query replacePixelQuery(int n) {
    Query query(4);
    for (int r = 0; r <= n; ++r) {
        for (int c = 0; c <= n; ++c) {
            const auto d = static_cast<float>(std::sqrt(static_cast<double>(c * c + r * r)));
            if (d > static_cast<float>(n - 1)) continue;
            query[0].insert({d, {c, r + 1}});
            if (c != 0) query[0].insert({d, {-c, r + 1}});
        }
    }
    for (const auto& [d, p] : query[0]) {
        query[1].insert({d, {-p.y, p.x}});
        query[2].insert({d, {-p.x, -p.y}});
        query[3].insert({d, {p.y, -p.x}});
    }
    return query;
}

bool chooseReplacements(cv::Mat_<ushort>& list, int row, cv::Size size, const Query& query) {
    const auto isClean = [&](int x, int y) {
        if (x < 0 || y < 0 || x >= size.width || y >= size.height) return false;
        for (int i = 0; i < list.rows; ++i) {
            if (list(i, 0) + list(i, 1) * size.width == x + y * size.width) return false;
        }
        return true;
    };
    std::multimap<float, cv::Point> chosen;
    while (chosen.size() < 4) {
        for (std::size_t k = 0; k < 4 && chosen.size() < 4; ++k) {
            for (const auto& [d, offset] : query[k]) {
                const cv::Point p(list(row, 0) + offset.x, list(row, 1) + offset.y);
                if (!isClean(p.x, p.y)) continue;
                chosen.insert({d, p});
                break;
            }
        }
        if (chosen.empty()) return false;
    }
    int column = 2;
    for (const auto& [d, p] : chosen) {
        list(row, column++) = static_cast<ushort>(p.x);
        list(row, column++) = static_cast<ushort>(p.y);
    }
    return true;
}

void append(const cv::Mat_<ushort>& newList, cv::Mat_<ushort>& list, cv::Size size, int n) {
    const int old = list.rows;
    for (int i = 0; i < newList.rows; ++i) list.push_back(newList.row(i));
    std::vector<int> collected;
    for (int j = 0; j < old; ++j) {
        for (int i = old; i < list.rows; ++i) {
            if (uses(list, j, list(i, 0), list(i, 1))) collected.push_back(j);
        }
    }
    for (int i = old; i < list.rows; ++i) {
        bool stale = uses(list, i, list(i, 0), list(i, 1));
        for (int j = 0; j < old; ++j) stale = stale || uses(list, i, list(j, 0), list(j, 1));
        for (int c = 2; c < 10; c += 2) {
            stale = stale || list(i, c) >= size.width || list(i, c + 1) >= size.height;
        }
        if (stale) collected.push_back(i);
    }
    for (const int i : collected) chooseReplacements(list, i, size, replacePixelQuery(n));
}

}  // namespace oravo::plain
