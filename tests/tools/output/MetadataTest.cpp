#include <tiffio.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "support/Version.h"
#include "tests/tools/Program.h"
#include "tools/formats/FileMetadata.h"
#include "tools/formats/JpegMetadata.h"
#include "tools/formats/PngFile.h"
#include "tools/formats/PngMetadata.h"
#include "tools/formats/TiffWriter.h"
#include "tools/output/EnlargedMetadata.h"
#include "tools/output/ImageFile.h"

namespace oravo::tools {
namespace {

using Fractions = std::vector<std::uint32_t>;

std::string note(const ImageMetadata& metadata) {
    return metadata.image.at(tag::kHistory).asText();
}

/// One of everything; the order of bytes and the program's note come and go.
ImageMetadata everything() {
    ImageMetadata all;
    all.image = {{271, Tag::text("Maker")},
                 {282, Tag::numbers(TagType::fraction, Fractions{72, 1})},
                 {33550, Tag::numbers(TagType::float64, std::vector{0.5, 0.25, 0.0})},
                 {65000, Tag::numbers(TagType::fraction, Fractions{0, 0, 4294967295u, 7})},
                 {65001, Tag::numbers(TagType::float32, std::vector{1.5f})},
                 {tag::kXmp, {TagType::byte, "<x:xmpmeta/>"}}};
    all.exif = {{33434, Tag::numbers(TagType::fraction, Fractions{1, 60})},
                {tag::kMakerNote, {TagType::undefined, std::string("IIab\0\1", 6)}}};
    all.gps = {{2, Tag::numbers(TagType::fraction, Fractions{48, 1, 7, 1, 44444444, 1000000})}};
    all.interoperability = {{1, Tag::text("R98")}};
    return all;
}

bool same(const TagDirectory& a, const TagDirectory& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& one, const auto& other) {
        return one.first == other.first && one.second.type == other.second.type &&
               one.second.content == other.second.content;
    });
}

void expectSame(const ImageMetadata& found, const ImageMetadata& wanted) {
    EXPECT_TRUE(same(found.image, wanted.image));
    EXPECT_TRUE(same(found.exif, wanted.exif));
    EXPECT_TRUE(same(found.gps, wanted.gps));
    EXPECT_TRUE(same(found.interoperability, wanted.interoperability));
    EXPECT_EQ(found.texts, wanted.texts);
    EXPECT_TRUE(found.leftOut.empty()) << found.leftOut.front();
}

class Metadata : public Program {
  protected:
    void write(const std::string& name, const std::vector<ImageMetadata>& pages,
               std::uint64_t size = 0) const {
        TiffWriter writer(path(name), name, size);
        for (const ImageMetadata& page : pages) writer.add(cv::Mat_<float>(3, 4, 20.5f), page);
        writer.close();
    }
    void save(const std::string& name, const std::string& bytes) const { std::ofstream(path(name)) << bytes; }
};

TEST_F(Metadata, GoThroughEveryContainerAndByteOrder) {
    for (const bool bigEndian : {false, true}) {
        ImageMetadata all = everything();
        all.bigEndian = bigEndian;
        ImageMetadata second = all;
        second.image[271] = Tag::text("another");
        for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{5'000'000'000}}) {
            write("a.tif", {all, second}, size);
            EXPECT_EQ(text(path("a.tif")).substr(0, 2), bigEndian ? "MM" : "II");
            const FileMetadata file(path("a.tif"));
            expectSame(file.of(0), all);
            expectSame(file.of(1), second);
            FrameReader reader({path("a.tif")});
            for (const std::size_t i : {0u, 1u})
                EXPECT_EQ(cv::norm(reader.read(i), cv::Mat_<float>(3, 4, 20.5f)), 0.0);
            TIFF* const tiff = TIFFOpen(path("a.tif").c_str(), "r");
            std::uint64_t exif = 0;
            float exposure = 0.0f;
            EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_EXIFIFD, &exif), 1);
            EXPECT_EQ(TIFFReadEXIFDirectory(tiff, exif), 1);
            EXPECT_EQ(TIFFGetField(tiff, EXIFTAG_EXPOSURETIME, &exposure), 1);
            EXPECT_FLOAT_EQ(exposure, 1.0f / 60.0f);
            TIFFClose(tiff);
        }
        all.texts = {{"Title", "\u00fc"}};
        const std::string png = encodePng(cv::Mat_<ushort>(2, 2, ushort{7}), {1.0, 0.0, ""}, all);
        expectSame(pngMetadata(png), all);
        EXPECT_EQ(png.find("eXIf"), png.rfind("eXIf"));
        const auto segment = [](char kind, const std::string& content) {
            const std::size_t length = content.size() + 2;
            return std::string{'\xff', kind, static_cast<char>(length >> 8),
                               static_cast<char>(length & 0xff)} +
                   content;
        };
        all.texts.clear();
        const std::string jpeg = "\xff\xd8" + segment('\xe0', "JFIF") + '\xff' +
                                 segment('\xe1', std::string("Exif\0\0", 6) + exifBlock(all)) +
                                 segment('\xe1', std::string("http://ns.adobe.com/xap/1.0/\0<x/>", 33)) +
                                 segment('\xda', "pixels");
        all.image[tag::kXmp].content = "<x/>";
        save("a.jpg", jpeg);
        expectSame(jpegMetadata(path("a.jpg")), all);
    }
}

/// Whatever is cut off or turned over, what can be read is read, and the rest is named.
TEST_F(Metadata, DamagedOnesAreLeftOut) {
    ImageMetadata all = everything();
    const std::string block = exifBlock(all);
    std::size_t named = 0;
    for (std::size_t i = 0; i < block.size(); ++i) {
        named += readMetadata(block.substr(0, i)).leftOut.size();
        for (const char value : {'\0', '\xff'}) {
            std::string damaged = block;
            damaged[i] = value;
            const ImageMetadata found = readMetadata(damaged);
            exifBlock(onGrid(found, {2, {}, {8, 6}}));
            named += found.leftOut.size();
        }
    }
    EXPECT_GT(named, block.size());
    EXPECT_EQ(readMetadata("").leftOut, std::vector<std::string>{"what is no EXIF block"});
    // A directory that is its own child, or a tag as large as the address space, ends.
    const std::string loop("II*\0\x08\0\0\0\1\0\x69\x87\4\0\1\0\0\0\x08\0\0\0\0\0\0\0", 26);
    EXPECT_EQ(readMetadata(loop).leftOut.size(), 0u);

    ASSERT_EQ(run("simulate -o b --width 32 --height 24 --frames 5").code, 0);
    const std::string before = text(path("b/frame_001.tif"));
    const std::size_t directory = before.size();
    std::string bytes = before;
    // The reference frame gets a further entry whose content lies beyond the file.
    TIFF* const tiff = TIFFOpen(path("b/frame_001.tif").c_str(), "r+");
    TIFFSetField(tiff, TIFFTAG_MAKE, "a maker with a long name");
    TIFFRewriteDirectory(tiff);
    TIFFClose(tiff);
    bytes = text(path("b/frame_001.tif"));
    ASSERT_GT(bytes.size(), directory);
    const std::size_t entry = bytes.find(std::string("\x0f\1\2\0", 4));
    ASSERT_NE(entry, std::string::npos);
    bytes[entry + 11] = '\x7f';
    save("b/frame_001.tif", bytes);
    const Outcome outcome = run("enhance b -o a.tif --pipeline float --report a.json");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_NE(outcome.err.find(
                  "warning: frame 1 (b/frame_001.tif): metadata that cannot be read are left out: tag 271\n"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(nlohmann::json::parse(text(path("a.json")))["guards"][0]["name"], "metadata");
}

TEST(EnlargedMetadata, LieOnTheNewGrid) {
    const EnlargedGrid grid{2, {5, 3}, {48, 32}};
    ImageMetadata frame = everything();
    frame.image[33922] = Tag::numbers(TagType::float64, std::vector{10.0, 20.0, 0.0, 1.0, 2.0, 3.0});
    frame.image[50844] = Tag::numbers(TagType::float64, std::vector<double>(92, 100.0));
    frame.image[tag::kDescription] = Tag::text("ImageJ=1.53\nimages=9\n");
    frame.image[42112] = Tag::text(
        "<GDALMetadata>\n  <Item name=\"OFFSET\" sample=\"0\" role=\"offset\">-273.15</Item>\n"
        "  <Item name=\"DAY\">1</Item>\n</GDALMetadata>\n");
    frame.exif[41492] = Tag::numbers(TagType::uint16, std::vector<std::uint16_t>{10, 20});
    frame.exif[40962] = Tag::numbers(TagType::uint16, std::vector<std::uint16_t>{32});
    ImageMetadata image = onGrid(frame, grid);
    EXPECT_EQ(image.image[33550].doubles(), (std::vector{0.25, 0.125, 0.0}));
    EXPECT_EQ(image.image[33922].doubles(), (std::vector{10.0, 34.0, 0.0, 1.0, 2.0, 3.0}));
    EXPECT_EQ(image.image[50844].doubles()[2], 2 * (100.0 - 3) + 0.5);
    EXPECT_EQ(image.image[50844].doubles()[8], 200.0);
    EXPECT_EQ(image.image[282].integers(), (Fractions{144, 1}));
    EXPECT_EQ(image.image.count(tag::kDescription), 0u);
    EXPECT_EQ(image.image[42112].asText(),
              "<GDALMetadata>\n  <Item name=\"DAY\">1</Item>\n</GDALMetadata>\n");
    EXPECT_EQ(image.exif[41492].integers(), (std::vector<std::uint32_t>{10, 34}));
    EXPECT_EQ(image.exif[40962].integers(), std::vector<std::uint32_t>{48});
    EXPECT_EQ(image.image[65000].content, frame.image[65000].content);
}

/// Equal runs give equal files, wherever and when; pages have the metadata of their own reference frames.
TEST_F(Metadata, OfEachReferenceFrameGoIntoItsImage) {
    ASSERT_EQ(run("simulate -o b --width 32 --height 24 --frames 6").code, 0);
    FrameReader reader({path("b")});
    TiffWriter writer(path("all.tif"), "", 0);
    for (std::size_t i = 0; i < reader.count(); ++i) {
        ImageMetadata frame = everything();
        frame.image[tag::kDescription] = Tag::text("frame " + std::to_string(i));
        writer.add(reader.read(i), frame);
    }
    writer.close();
    const std::string enhance = "enhance all.tif --pipeline float -o ";
    ASSERT_EQ(run(enhance + "pages.tif --every").code, 0);
    const FileMetadata pages(path("pages.tif"));
    for (const std::size_t i : {0u, 1u}) {
        const ImageMetadata page = pages.of(i);
        EXPECT_EQ(page.image.at(tag::kDescription).asText(), "frame " + std::to_string(i + 1));
        EXPECT_EQ(page.image.at(tag::kSoftware).asText(), std::string("oravo-superres ") + version());
        const nlohmann::json found = nlohmann::json::parse(note(page));
        EXPECT_EQ(found["reference"], i + 1);
        EXPECT_EQ(found["files"][0]["file"], "all.tif");
        EXPECT_EQ(found["parameters"]["pipeline"], "float");
        EXPECT_EQ(page.exif.at(33434).content, everything().exif.at(33434).content);
    }
    ASSERT_EQ(run("enhance all.tif -o 'j/{}.tif' --every --jobs 1 --pipeline float --threads 2").code, 0);
    EXPECT_EQ(text(path("j/all.tif")), text(path("pages.tif")));
    ASSERT_EQ(run(enhance + "last.tif --noise-map noise.tif --coverage cover.tif").code, 0);
    for (const char* map : {"noise.tif", "cover.tif", "last.tif"}) {
        EXPECT_EQ(FileMetadata(path(map)).of(0).image.at(33550).doubles()[0], 0.25) << map;
    }
    ASSERT_EQ(run(enhance + "bare.tif --no-metadata").code, 0);
    EXPECT_TRUE(FileMetadata(path("bare.tif")).of(0).empty());
    EXPECT_EQ(cv::norm(image("bare.tif"), image("last.tif"), cv::NORM_INF), 0.0);
    // Frames that have none give a note alone.
    ASSERT_EQ(run("enhance b -o note.tif --pipeline float").code, 0);
    const ImageMetadata alone = FileMetadata(path("note.tif")).of(0);
    EXPECT_EQ(alone.image.size(), 4u);
    EXPECT_EQ(alone.image.at(tag::kDescription).asText(),
              "Enlarged to twice the size out of 5 frames by oravo-superres " + std::string(version()));
}

}  // namespace
}  // namespace oravo::tools
