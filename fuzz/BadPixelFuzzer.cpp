/// The bad-pixel utility with lists of any content for images of any size: nothing is thrown but what the
/// header lists, and where the arguments are good ones the results are those of the plain loops.

#include "fuzz/Input.h"
#include "support/Exception.h"
#include "tests/plain/PlainBadPixel.h"
#include "vision/superresolution/BadPixel.h"

namespace oravo::fuzz {
namespace {

using vision::BadPixel;
using List = cv::Mat_<ushort>;

bool sameList(const List& a, const List& b) {
    return a.rows == b.rows && std::equal(a.begin(), a.end(), b.begin());
}

/// An image of exactly its size in memory, now and then a region of a larger one.
cv::Mat_<short> anyImage(Input& in) {
    cv::Mat_<short> image(in.between(0, 24), in.between(0, 24));
    in.fill(image.ptr<short>(), image.total(), 90.0, in.oneOf({91.0, 100.0, 5000.0}));
    if (image.rows > 4 && image.cols > 4 && in.between(0, 3) == 0)
        return image(cv::Rect(1, 1, image.cols - 3, 3));
    return image;
}

/// Rows around an image of this size, most of them inside.
List anyList(Input& in, cv::Size size) {
    List list(in.between(0, 12), 10);
    const int most = std::clamp(std::max(size.width, size.height), 0, 65534) + 1;
    for (ushort& value : list) {
        value = in.between(0, 15) == 0 ? in.take<ushort>() : static_cast<ushort>(in.between(0, most));
    }
    return list;
}

bool liesInside(const List& list, cv::Size size) {
    for (int i = 0; i < list.rows; ++i) {
        if (list(i, 0) >= size.width || list(i, 1) >= size.height) return false;
    }
    return true;
}

void search(Input& in, const cv::Mat_<short>& image) {
    const int low = in.between(0, 7) == 0 ? in.take<short>() : in.between(80, 95);
    const int high = in.between(0, 7) == 0 ? in.take<short>() : in.between(90, 4000);
    const auto lo = static_cast<short>(low);
    const auto hi = static_cast<short>(high);
    cv::Mat_<int> histogram(1, in.between(0, 3));
    histogram = in.take<int>();
    const bool built = BadPixel::buildValueHistogram(image, histogram, lo, hi);
    require(built == (!image.empty() && lo < hi), "a histogram is built of any image with a range");
    const auto maxCount = static_cast<ushort>(in.between(0, 40));
    const auto span = static_cast<ushort>(in.between(0, 7) == 0 ? in.take<ushort>() : in.between(0, 30));
    List list(in.between(0, 60), 10);
    list = 7;
    List twinList = list.clone();
    cv::Mat_<int> twinHistogram = histogram.clone();
    const bool found = BadPixel::performNeighbourSearch(image, histogram, list, lo, hi, maxCount, span);
    if (!built || maxCount < 1 || span < 2) return;
    require(found == plain::neighbourSearch(image, twinHistogram, twinList, lo, hi, maxCount, span),
            "the search succeeds where the plain one does");
    require(sameList(list, twinList), "the search lists what the plain one does");
}

/// A search radius, of any size where the search stays short: it ends at the farthest corner.
unsigned anyRadius(Input& in, const List& list, cv::Size size) {
    constexpr int kShort = 100;
    const bool near =
        list.empty() || std::all_of(list.begin(), list.end(), [](ushort v) { return v < kShort; });
    const bool any = near && std::max(size.width, size.height) < kShort && in.between(0, 3) == 0;
    return any ? in.take<unsigned>() : static_cast<unsigned>(in.between(0, 12));
}

void replace(Input& in, cv::Size size) {
    const List added = anyList(in, size);
    List list = anyList(in, size);
    List twin = list.clone();
    const bool inside = liesInside(list, size) && liesInside(added, size) && !size.empty();
    const int n = in.between(0, 12);
    if (BadPixel::appendBadPixel(added, list, size, static_cast<unsigned>(n)) && inside) {
        plain::append(added, twin, size, n);
        require(sameList(list, twin), "appending chooses what the plain loops do");
    }
    BadPixel::calculateReplacePixels(list, size, anyRadius(in, list, size));
    const auto row = static_cast<ushort>(in.between(0, 15));
    BadPixel::calculateSingleReplacePixel(list, row, size, in.between(-3, 9));
    BadPixel::calculateSingleReplacePixelSimpleNhood(list, row, size);
}

void draw(Input& in, const List& list, cv::Size size) {
    cv::Mat_<cv::Vec3b> view(size, cv::Vec3b());
    try {
        const unsigned side =
            in.between(0, 3) == 0 ? in.take<unsigned>() : static_cast<unsigned>(in.between(0, 9));
        BadPixel::drawBadPixels(list, view, {1, 2, 3}, side, in.between(0, 1) != 0);
        require(liesInside(list, size), "a row outside the image is refused");
    } catch (const Exception&) {
        require(!liesInside(list, size), "a good list is drawn");
    }
}

}  // namespace
}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace oravo::fuzz;
    Input in(data, size);
    while (!in.empty()) {
        cv::Mat_<short> image = anyImage(in);
        const cv::Size claimed =
            in.between(0, 15) == 0 ? cv::Size(in.take<int>(), in.take<int>()) : image.size();
        search(in, image);
        replace(in, claimed);
        const List list = anyList(in, image.size());
        const bool repaired = BadPixel::removeBadPixel(image, list);
        require(!repaired || list.empty() || liesInside(list, image.size()),
                "a row outside the image fails the repair");
        draw(in, list, image.size());
    }
    return 0;
}
