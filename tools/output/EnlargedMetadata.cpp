#include "tools/output/EnlargedMetadata.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <regex>

namespace oravo::tools {
namespace {

constexpr std::uint16_t kResolutions[] = {282, 283}, kFocalPlaneResolutions[] = {41486, 41487};
constexpr std::uint16_t kExifSize[] = {40962, 40963};
constexpr std::uint16_t kSubjectArea = 37396, kSubjectLocation = 41492;
constexpr std::uint16_t kPixelScale = 33550, kTiepoints = 33922, kTransformation = 34264, kGeoKeys = 34735;
constexpr std::uint16_t kGdalMetadata = 42112, kGdalNoData = 42113, kRationalPolynomial = 50844;

void change(TagDirectory& tags, std::uint16_t id, const std::function<void(Tag&)>& edit) {
    const auto found = tags.find(id);
    if (found != tags.end()) edit(found->second);
}

void changeDoubles(TagDirectory& tags, std::uint16_t id,
                   const std::function<void(std::vector<double>&)>& edit) {
    change(tags, id, [&](Tag& tag) {
        std::vector<double> numbers = tag.doubles();
        if (numbers.empty()) return;
        edit(numbers);
        tag = Tag::numbers(tag.type, numbers);
    });
}

/// So many times a fraction of 32-bit numbers, the unknown 0/0 left alone.
void multiply(Tag& tag, std::uint32_t factor) {
    std::vector<std::uint32_t> parts = tag.integers();
    if (tag.type != TagType::fraction || parts.size() != 2) return;
    if (parts[0] <= std::numeric_limits<std::uint32_t>::max() / factor) {
        parts[0] *= factor;
    } else {
        parts[1] /= factor;
    }
    tag = Tag::numbers(tag.type, parts);
}

/// GeoTIFF counts raster places from the corner of the first pixel, unless its key 1025 says from its centre (2).
bool countsFromCentres(const TagDirectory& tags) {
    constexpr std::uint32_t kRasterType = 1025, kPixelIsPoint = 2;
    const auto found = tags.find(kGeoKeys);
    if (found == tags.end()) return false;
    const std::vector<std::uint32_t> keys =
        found->second.integers();  // by four: key, -, -, value; the first four a header
    for (std::size_t i = 4; i + 4 <= keys.size(); i += 4) {
        if (keys[i] == kRasterType) return keys[i + 3] == kPixelIsPoint;
    }
    return false;
}

class Georeference {
  public:
    Georeference(const EnlargedGrid& grid, bool fromCentres) : grid_(grid), fromCentres_(fromCentres) {}

    /// Raster and ground coordinates, three each.
    void moveTiepoints(std::vector<double>& points) const {
        for (std::size_t i = 0; i + 6 <= points.size(); i += 6) {
            points[i] = place(points[i], grid_.origin.x);
            points[i + 1] = place(points[i + 1], grid_.origin.y);
        }
    }
    void divideScale(std::vector<double>& scale) const {
        for (std::size_t i = 0; i < std::min<std::size_t>(scale.size(), 2); ++i) scale[i] /= grid_.factor;
    }
    /// Ground = M (column, row, height, 1) for M row by row; of the frame, column = image's column / factor + start.
    void scaleTransformation(std::vector<double>& m) const {
        if (m.size() != 16) return;
        for (std::size_t row = 0; row < 16; row += 4) {
            m[row + 3] += m[row] * start(grid_.origin.x) + m[row + 1] * start(grid_.origin.y);
            m[row] /= grid_.factor;
            m[row + 1] /= grid_.factor;
        }
    }

  private:
    double place(double frame, int origin) const {
        return fromCentres_ ? grid_.centre(frame, origin) : grid_.corner(frame, origin);
    }
    double start(int origin) const { return origin - place(0.0, 0) / grid_.factor; }

    EnlargedGrid grid_;
    bool fromCentres_;
};

/// Offsets and scales of line and sample, the offsets from the centre of the first pixel (RPCs in GeoTIFF).
void scaleRationalPolynomial(std::vector<double>& numbers, const EnlargedGrid& grid) {
    constexpr std::size_t kLineOffset = 2, kSampleOffset = 3, kLineScale = 7, kSampleScale = 8;
    if (numbers.size() <= kSampleScale) return;
    numbers[kLineOffset] = grid.centre(numbers[kLineOffset], grid.origin.y);
    numbers[kSampleOffset] = grid.centre(numbers[kSampleOffset], grid.origin.x);
    numbers[kLineScale] *= grid.factor;
    numbers[kSampleScale] *= grid.factor;
}

/// GDAL's items on stored numbers (their statistics, and what turns them into values) are not those of the image.
void dropItemsOnNumbers(Tag& tag) {
    constexpr std::size_t kLongest = 1u << 16;  // for a search that goes deep
    if (tag.content.size() > kLongest) return;
    static const std::regex item(
        "[ \t]*<Item [^>]*(name=\"STATISTICS_|role=\"(scale|offset|unittype)\")[^>]*>[^<]*</Item>\n?");
    tag = Tag::text(std::regex_replace(tag.asText(), item, ""));
}

/// Whether a description is read by programs as the layout of the file, which is another one now.
bool statesLayout(const std::string& description) {
    return description.rfind("ImageJ=", 0) == 0 || description.rfind("{\"shape\"", 0) == 0 ||
           description.find("<OME ") != std::string::npos;
}

/// Column and row of a centre, then width and height or diameter, as in EXIF.
void moveArea(Tag& tag, const EnlargedGrid& grid) {
    const std::vector<std::uint32_t> before = tag.integers();
    if (tag.type != TagType::uint16 || before.size() < 2) return;
    std::vector<std::uint16_t> after;
    for (std::size_t i = 0; i < before.size(); ++i) {
        const double number = before[i];
        const double moved =
            i < 2 ? grid.centre(number, i == 0 ? grid.origin.x : grid.origin.y) : grid.factor * number;
        after.push_back(static_cast<std::uint16_t>(std::clamp(moved, 0.0, 65535.0)));
    }
    tag = Tag::numbers(tag.type, after);
}

void moveGeoreference(TagDirectory& tags, const EnlargedGrid& grid) {
    const Georeference georeference(grid, countsFromCentres(tags));
    changeDoubles(tags, kTiepoints, [&](auto& numbers) { georeference.moveTiepoints(numbers); });
    changeDoubles(tags, kPixelScale, [&](auto& numbers) { georeference.divideScale(numbers); });
    changeDoubles(tags, kTransformation, [&](auto& numbers) { georeference.scaleTransformation(numbers); });
    changeDoubles(tags, kRationalPolynomial, [&](auto& numbers) { scaleRationalPolynomial(numbers, grid); });
    change(tags, kGdalMetadata, dropItemsOnNumbers);
    change(tags, kGdalNoData, [](Tag& tag) { tag = Tag::text("nan"); });
}

}  // namespace

ImageMetadata onGrid(ImageMetadata metadata, const EnlargedGrid& grid) {
    moveGeoreference(metadata.image, grid);
    const auto factor = static_cast<std::uint32_t>(grid.factor);
    for (const std::uint16_t id : kResolutions)
        change(metadata.image, id, [&](Tag& t) { multiply(t, factor); });
    for (TagDirectory* tags : {&metadata.image, &metadata.exif}) {
        for (const std::uint16_t id : kFocalPlaneResolutions)
            change(*tags, id, [&](Tag& t) { multiply(t, factor); });
        for (const std::uint16_t id : {kSubjectArea, kSubjectLocation})
            change(*tags, id, [&](Tag& t) { moveArea(t, grid); });
        for (int i = 0; i < 2; ++i) {
            const auto size = static_cast<std::uint32_t>(i == 0 ? grid.size.width : grid.size.height);
            change(*tags, kExifSize[i],
                   [&](Tag& t) { t = Tag::numbers(TagType::uint32, std::vector{size}); });
        }
    }
    const auto description = metadata.image.find(tag::kDescription);
    if (description != metadata.image.end() && statesLayout(description->second.asText())) {
        metadata.image.erase(description);
    }
    return metadata;
}

void addNote(ImageMetadata& metadata, const std::string& program, const std::string& description,
             const std::string& history) {
    TagDirectory& tags = metadata.image;
    tags.emplace(tag::kSoftware, Tag::text(program));
    tags.emplace(tag::kDescription, Tag::text(description));
    tags[tag::kProcessingSoftware] = Tag::text(program);
    // TIFF/EP wants the history beside the image's other tags, but tools write it among EXIF's.
    TagDirectory& place = metadata.exif.count(tag::kHistory) != 0 ? metadata.exif : tags;
    const auto before = place.find(tag::kHistory);
    place[tag::kHistory] =
        Tag::text(before == place.end() ? history : before->second.asText() + '\n' + history);
}

}  // namespace oravo::tools
