#include <tiffio.h>

#include <fstream>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/Scratch.h"
#include "tools/formats/TiffFile.h"
#include "tools/formats/TiffWriter.h"

namespace oravo::tools {
namespace {

struct Storage {
    const char* mode = "w";
    int compression = COMPRESSION_NONE;
    int predictor = PREDICTOR_NONE;
    bool tiled = false;
    int photometric = PHOTOMETRIC_MINISBLACK;
    int bits = 0;  ///< of a pixel, where they are not those of the image
};

/// Writes with the TIFF library itself what other programs may hand in.
class TiffFile : public Scratch {
  protected:
    void store(const std::string& name, const cv::Mat& image, int sampleFormat, const Storage& how = {},
               int channels = 1) const {
        TIFF* file = TIFFOpen(path(name).c_str(), how.mode);
        ASSERT_NE(file, nullptr);
        const int stored = 8 * static_cast<int>(image.elemSize1());
        const int bits = how.bits != 0 ? how.bits : stored;
        TIFFSetField(file, TIFFTAG_IMAGEWIDTH, image.cols * stored / bits / channels);
        TIFFSetField(file, TIFFTAG_IMAGELENGTH, image.rows);
        TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, bits);
        TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, channels);
        TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, sampleFormat);
        TIFFSetField(file, TIFFTAG_PHOTOMETRIC, how.photometric);
        std::vector<std::uint16_t> colours(256, 7);
        if (how.photometric == PHOTOMETRIC_PALETTE) {
            TIFFSetField(file, TIFFTAG_COLORMAP, colours.data(), colours.data(), colours.data());
        }
        TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(file, TIFFTAG_COMPRESSION, how.compression);
        if (how.predictor != PREDICTOR_NONE) TIFFSetField(file, TIFFTAG_PREDICTOR, how.predictor);
        how.tiled ? writeTiles(file, image) : writeRows(file, image);
        TIFFClose(file);
    }

  private:
    static void writeRows(TIFF* file, const cv::Mat& image) {
        TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, 7);  // the last strip is shorter
        for (int r = 0; r < image.rows; ++r) {
            cv::Mat row = image.row(r).clone();  // may be overwritten by the writer
            ASSERT_EQ(TIFFWriteScanline(file, row.data, static_cast<std::uint32_t>(r), 0), 1);
        }
    }
    static void writeTiles(TIFF* file, const cv::Mat& image) {
        constexpr int kSide = 16;
        TIFFSetField(file, TIFFTAG_TILEWIDTH, kSide);
        TIFFSetField(file, TIFFTAG_TILELENGTH, kSide);
        cv::Mat padded;
        cv::copyMakeBorder(image, padded, 0, kSide, 0, kSide, cv::BORDER_CONSTANT, cv::Scalar(99));
        for (int y = 0; y < image.rows; y += kSide) {
            for (int x = 0; x < image.cols; x += kSide) {
                cv::Mat tile = padded(cv::Rect(x, y, kSide, kSide)).clone();
                ASSERT_GT(TIFFWriteTile(file, tile.data, static_cast<std::uint32_t>(x),
                                        static_cast<std::uint32_t>(y), 0, 0),
                          0);
            }
        }
    }
};

cv::Mat noise(int type) {
    cv::Mat image(37, 41, type);
    cv::RNG random(5);
    const bool isFloat = CV_MAT_DEPTH(type) >= CV_32F;
    random.fill(image, cv::RNG::UNIFORM, isFloat ? -1e3 : -40000.0, isFloat ? 1e3 : 70000.0, true);
    return image;
}

TEST_F(TiffFile, EveryPixelKindComesAsStoredHoweverItIsStored) {
    const struct {
        int type;
        int format;
        int predictor;
    } kKinds[] = {{CV_8U, SAMPLEFORMAT_UINT, PREDICTOR_HORIZONTAL},
                  {CV_8S, SAMPLEFORMAT_INT, PREDICTOR_HORIZONTAL},
                  {CV_16U, SAMPLEFORMAT_UINT, PREDICTOR_HORIZONTAL},
                  {CV_16S, SAMPLEFORMAT_INT, PREDICTOR_HORIZONTAL},
                  {CV_32F, SAMPLEFORMAT_IEEEFP, PREDICTOR_FLOATINGPOINT},
                  {CV_64F, SAMPLEFORMAT_IEEEFP, PREDICTOR_FLOATINGPOINT}};
    for (const auto& kind : kKinds) {
        const cv::Mat image = noise(kind.type);
        for (const Storage& how :
             {Storage{}, Storage{"wb"}, Storage{"w8"}, Storage{"wb8"}, Storage{"w", COMPRESSION_LZW},
              Storage{"wb", COMPRESSION_LZW}, Storage{"w", COMPRESSION_ADOBE_DEFLATE, kind.predictor},
              Storage{"wb", COMPRESSION_NONE, PREDICTOR_NONE, true},
              Storage{"w8", COMPRESSION_LZW, kind.predictor, true}}) {
            store("a.tif", image, kind.format, how);
            const cv::Mat found = TiffReader(path("a.tif")).read(0);
            ASSERT_EQ(found.type(), kind.type);
            EXPECT_EQ(cv::norm(found, image, cv::NORM_INF), 0.0)
                << kind.type << ' ' << how.mode << ' ' << how.compression << ' ' << how.tiled;
        }
    }
}

TEST_F(TiffFile, OtherKindsOfPixelsAreRefused) {
    store("int.tif", cv::Mat(9, 9, CV_32S, cv::Scalar(3)), SAMPLEFORMAT_INT);
    store("half.tif", cv::Mat(9, 9, CV_16U, cv::Scalar(3)), SAMPLEFORMAT_IEEEFP);
    store("complex.tif", cv::Mat(9, 9, CV_64F, cv::Scalar(3)), SAMPLEFORMAT_COMPLEXIEEEFP);
    store("rgb.tif", cv::Mat(9, 27, CV_8U, cv::Scalar(3)), SAMPLEFORMAT_UINT, {}, 3);
    const cv::Mat bytes(9, 24, CV_8U, cv::Scalar(0x12));
    store("palette.tif", bytes, SAMPLEFORMAT_UINT, {"w", COMPRESSION_NONE, 0, false, PHOTOMETRIC_PALETTE});
    for (const int bits : {1, 4, 12}) {
        store(std::to_string(bits) + "bits.tif", bytes, SAMPLEFORMAT_UINT,
              {"w", COMPRESSION_NONE, 0, false, PHOTOMETRIC_MINISBLACK, bits});
    }
    const std::string values = "export the values themselves, one channel of 16 bits or floating point";
    const std::string types = "; read are integers of 8 and 16 bits and floating point of 32 and 64";
    const std::pair<const char*, std::string> kCases[] = {
        {"palette.tif", ": holds palette colours, not values; " + values},
        {"1bits.tif", ": unsupported pixel type (integers, 1 bits)" + types},
        {"4bits.tif", ": unsupported pixel type (integers, 4 bits)" + types},
        {"12bits.tif", ": unsupported pixel type (integers, 12 bits)" + types},
        {"int.tif", ": unsupported pixel type (integers, 32 bits)" + types},
        {"complex.tif", ": unsupported pixel type (complex numbers, 64 bits)" + types},
        {"half.tif", ": unsupported pixel type (floating point, 16 bits)" + types},
        {"rgb.tif", ": has 3 channels: colours or bands, not one value a pixel; " + values}};
    for (const auto& [name, fault] : kCases) {
        const std::string file = path(name);
        EXPECT_EQ(complaint([&] { TiffReader reader(file); }, ExitCode::kInput), file + fault);
    }
}

/// A flat image packs into next to nothing and is read all the same; a claim that the bytes cannot hold is refused.
TEST_F(TiffFile, PackedPixelsMayBeManyButNotAnyNumber) {
    const cv::Mat flat(8200, 8200, CV_8U, cv::Scalar(3));
    for (const int compression : {COMPRESSION_ADOBE_DEFLATE, COMPRESSION_LZW, COMPRESSION_PACKBITS}) {
        store("flat.tif", flat, SAMPLEFORMAT_UINT, {"w", compression});
        EXPECT_LT(std::filesystem::file_size(path("flat.tif")), flat.total() / 20);
        EXPECT_EQ(cv::norm(TiffReader(path("flat.tif")).read(0), flat, cv::NORM_INF), 0.0) << compression;
    }
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_ADOBE_DEFLATE}) {
        TIFF* file = TIFFOpen(path("claim.tif").c_str(), "w");
        for (const auto& [tag, value] : {std::pair(TIFFTAG_IMAGEWIDTH, 30000),
                                         {TIFFTAG_IMAGELENGTH, 30000},
                                         {TIFFTAG_ROWSPERSTRIP, 30000},
                                         {TIFFTAG_BITSPERSAMPLE, 8},
                                         {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK},
                                         {TIFFTAG_COMPRESSION, compression}}) {
            TIFFSetField(file, static_cast<std::uint32_t>(tag), value);
        }
        char few[] = "few bytes";
        TIFFWriteRawStrip(file, 0, few, sizeof few);
        TIFFClose(file);
        const std::string message =
            complaint([&] { TiffReader reader(path("claim.tif")); }, ExitCode::kInput);
        const std::string damaged = path("claim.tif") + ": truncated or damaged TIFF file";
        const std::string size = std::to_string(std::filesystem::file_size(path("claim.tif")));
        EXPECT_EQ(message, compression == COMPRESSION_NONE
                               ? damaged
                               : damaged + ": its " + size + " bytes cannot hold 900000000 pixels");
    }
}

/// Wherever a file is cut off, it is refused: by the constructor or, at the latest, by the read.
TEST_F(TiffFile, NoCutOffFileIsReadAndNothingIsPrinted) {
    for (const Storage& how : {Storage{}, Storage{"wb8"}, Storage{"w", COMPRESSION_LZW}}) {
        store("whole.tif", noise(CV_16U), SAMPLEFORMAT_UINT, how);
        const auto size = std::filesystem::file_size(path("whole.tif"));
        testing::internal::CaptureStderr();
        for (std::uintmax_t length = 4; length < size; length += length < 64 || size - length < 64 ? 1 : 61) {
            std::filesystem::copy_file(path("whole.tif"), path("cut.tif"),
                                       std::filesystem::copy_options::overwrite_existing);
            std::filesystem::resize_file(path("cut.tif"), length);
            EXPECT_EQ(complaint([&] { TiffReader(path("cut.tif")).read(0); }, ExitCode::kInput),
                      path("cut.tif") + ": truncated or damaged TIFF file")
                << length << " of " << size;
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

TEST_F(TiffFile, DirectoriesInALoopAndDamagedPagesAreNamed) {
    {
        TiffWriter writer(path("two.tif"), "", 0);
        for (int i = 0; i < 2; ++i) writer.add(noise(CV_32F));
        writer.close();
    }
    std::ifstream in(path("two.tif"), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), {});
    const auto number = [&](std::size_t at, std::size_t size) {
        std::size_t value = 0;
        for (std::size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
        return value;
    };
    const auto linkOf = [&](std::size_t directory) { return directory + 2 + 12 * number(directory, 2); };
    const std::size_t first = number(4, 4);
    const std::size_t second = number(linkOf(first), 4);
    ASSERT_EQ(number(linkOf(second), 4), 0u);
    bytes.replace(linkOf(second), 4, bytes, 4, 4);
    std::ofstream(path("loop.tif"), std::ios::binary) << bytes;
    EXPECT_EQ(complaint([&] { TiffReader reader(path("loop.tif")); }, ExitCode::kInput),
              path("loop.tif") + " page 2: truncated or damaged TIFF file");
    bytes[linkOf(first) + 1] = 0x7f;
    std::ofstream(path("astray.tif"), std::ios::binary) << bytes;
    EXPECT_EQ(complaint([&] { TiffReader reader(path("astray.tif")); }, ExitCode::kInput),
              path("astray.tif") + " page 1: truncated or damaged TIFF file");
}

TEST_F(TiffFile, GrowsBeyondFourGigabytesAsBigTiffAndReportsAFullDisk) {
    for (const auto& [expected, magic] :
         {std::pair{std::uint64_t{4'100'000'000}, 43}, {std::uint64_t{1000}, 42}}) {
        TiffWriter writer(path("big.tif"), "", expected);
        writer.add(noise(CV_32F));
        writer.close();
        EXPECT_EQ(std::ifstream(path("big.tif")).ignore(2).get(), magic);
        EXPECT_EQ(cv::norm(cv::imread(path("big.tif"), cv::IMREAD_UNCHANGED), noise(CV_32F), cv::NORM_INF),
                  0.0);
    }
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    const auto write = [] {
        TiffWriter writer("/dev/full", "target.tif", 0);
        writer.add(noise(CV_32F));
        writer.close();
    };
    EXPECT_EQ(complaint(write, ExitCode::kOutput), "target.tif: cannot be written: No space left on device");
}

}  // namespace
}  // namespace oravo::tools
