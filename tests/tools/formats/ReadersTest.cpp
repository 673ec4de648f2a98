#include <fstream>
#include <functional>
#include <limits>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/Scratch.h"
#include "tools/base/Messages.h"
#include "tools/formats/CsvMatrix.h"
#include "tools/formats/NpyFile.h"
#include "tools/formats/PgmFile.h"
#include "tools/formats/PngFile.h"
#include "tools/formats/RawFile.h"
#include "tools/formats/TiffFile.h"
#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Encoding.h"

namespace oravo::tools {
namespace {

using Readers = Scratch;
using namespace std::string_literals;

void save(const std::string& path, const std::string& bytes) {
    std::filesystem::remove(path);  // overwriting makes some file systems wait for the disk
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A NumPy file of the given version.
std::string npy(const std::string& dictionary, const std::string& pixels, char version = '\x01') {
    const auto length = static_cast<char>(dictionary.size());
    return "\x93NUMPY"s + version + "\0"s + length + (version == 1 ? "\0"s : "\0\0\0"s) + dictionary + pixels;
}

std::string described(const std::string& type, const std::string& shape, const std::string& order = "False") {
    return "{'descr': '" + type + "', 'fortran_order': " + order + ", 'shape': " + shape + ", }  \n";
}

TEST_F(Readers, EveryTypeAndByteOrderKeepsItsValues) {
    const struct {
        const char* name;
        std::string bytes;  ///< big-endian, of one number
        double value;
        int depth;
    } kCases[] = {{"u8", "\xfe", 254, CV_8U},
                  {"i8", "\xfe", -2, CV_8S},
                  {"u16", "\xff\xfe"s, 65534, CV_16U},
                  {"i16", "\xff\xfe"s, -2, CV_16S},
                  {"u32", "\xff\xff\xff\xfe"s, 4294967294.0, CV_64F},
                  {"i32", "\xff\xff\xff\xfe"s, -2, CV_32S},
                  {"u64", "\0\0\1\0\0\0\0\1"s, 1099511627777.0, CV_64F},
                  {"i64", "\xff\xff\xff\xff\xff\xff\xff\xfe"s, -2, CV_64F},
                  {"f16", "\xc1\0"s, -2.5, CV_32F},
                  {"f32", "\xc0\x20\0\0"s, -2.5, CV_32F},
                  {"f64", "\xc0\x04\0\0\0\0\0\0"s, -2.5, CV_64F}};
    for (const auto& c : kCases) {
        for (const bool bigEndian : {false, true}) {
            const std::string order = c.bytes.size() == 1 ? "" : bigEndian ? "be" : "le";
            const std::string one = bigEndian ? c.bytes : std::string(c.bytes.rbegin(), c.bytes.rend());
            const std::string zeros(one.size(), '\0');
            save(path("a.raw"), "head" + zeros + one + zeros + zeros + one + zeros);
            const cv::Mat image =
                readSingleImage(path("a.raw"), parseRawFormat("2x3:" + (c.name + order) + "@4"));
            ASSERT_EQ(image.type(), c.depth) << c.name;
            cv::Mat_<double> values;
            image.convertTo(values, CV_64F);
            const cv::Mat_<double> expected = (cv::Mat_<double>(3, 2) << 0, c.value, 0, 0, c.value, 0);
            EXPECT_EQ(cv::norm(values, expected, cv::NORM_INF), 0.0) << c.name << order;
            std::string back(one.size(), 'x');
            pack(cv::Mat_<double>(1, 1, c.value), parsePixelFormat(c.name + order, ""), back.data());
            EXPECT_EQ(back, one) << c.name << order;
        }
    }
}

TEST_F(Readers, IntegersAreWrittenToTheNearestWithinTheirRange) {
    const double kNone = std::numeric_limits<double>::quiet_NaN();
    const cv::Mat_<double> numbers = (cv::Mat_<double>(1, 7) << 1.5, 2.5, -0.5, -1e30, 1e30, kNone, 2.49);
    const auto packed = [&](const char* type, auto number) {
        std::vector<decltype(number)> all(numbers.total());
        pack(numbers, parsePixelFormat(type, ""), reinterpret_cast<char*>(all.data()));
        return std::vector<double>(all.begin(), all.end());
    };
    const auto expected = [](double lowest, double highest) {
        return std::vector<double>{2, 2, 0, lowest, highest, 0, 2};
    };
    EXPECT_EQ(packed("u8", std::uint8_t()), expected(0, 255));
    EXPECT_EQ(packed("u16le", std::uint16_t()), expected(0, 65535));
    EXPECT_EQ(packed("i16le", std::int16_t()), expected(-32768, 32767));
    EXPECT_EQ(packed("i32le", std::int32_t()), expected(-2147483648.0, 2147483647.0));
    EXPECT_EQ(packed("u64le", std::uint64_t()), expected(0, 18446744073709551615.0));
}

TEST_F(Readers, RawFilesHoldWholeFrames) {
    save(path("a.raw"), std::string(100, 'x'));
    const auto layout = [&](const char* text) {
        return rawLayout(parseRawFormat(text), sizeOfFile(path("a.raw")), path("a.raw"));
    };
    EXPECT_EQ(layout("5x2:u16le").frames, 5u);
    EXPECT_EQ(layout("5x2:u8@90").frames, 1u);
    EXPECT_EQ(complaint([&] { layout("6x2:f32be"); }, ExitCode::kInput),
              path("a.raw") +
                  ": its 100 bytes are no whole number of frames of 6 x 2 pixels of f32be (48 bytes each)");
    for (const char* none : {"5x2:u8@100", "5x2:u8@101", "32768x32768:f64le", "5x2:u8@999999999999999999"}) {
        EXPECT_NE(complaint([&] { layout(none); }, ExitCode::kInput), "") << none;
    }
    for (const char* wrong : {"", "5x2", "5x2:u16", "5x2:u8le", "0x2:u8", "5x2:f8", "-5x2:u8",
                              "65536x65536:u8", "5x2:u8@", "9999999999x9999999999:u8", "5x2:u16le "}) {
        EXPECT_NE(complaint([&] { parseRawFormat(wrong); }, ExitCode::kUsage), "") << wrong;
    }
    EXPECT_NE(complaint([&] { parseRawFormat("5x2:u8" + std::string(1 << 20, '8')); }, ExitCode::kUsage), "");
}

TEST_F(Readers, NumpyArraysOfEveryVersionAndArrangement) {
    const std::string six("\1\0\2\0\3\0\4\0\5\0\6\0", 12);
    const cv::Mat_<ushort> rows = (cv::Mat_<ushort>(2, 3) << 1, 2, 3, 4, 5, 6);
    const cv::Mat_<ushort> columns = (cv::Mat_<ushort>(2, 3) << 1, 3, 5, 2, 4, 6);
    for (const char version : {'\1', '\2', '\3'}) {
        for (const char* shape : {"(2, 3)", "(1,2,3)", "(2, 3, 1)"}) {
            save(path("a.npy"), npy(described("<u2", shape), six, version));
            EXPECT_EQ(cv::norm(readSingleImage(path("a.npy")), rows, cv::NORM_INF), 0.0) << shape;
        }
    }
    save(path("a.npy"), npy(described("<u2", "(2, 3)", "True"), six));
    EXPECT_EQ(cv::norm(readSingleImage(path("a.npy")), columns, cv::NORM_INF), 0.0);
    save(path("a.npy"),
         npy("{\"shape\":(3,1,2),\"descr\":\"|u1\",\"fortran_order\":False}", six.substr(0, 6)));
    FrameReader recording({path("a.npy")});
    ASSERT_EQ(recording.count(), 3u);
    EXPECT_EQ(recording.name(2), path("a.npy") + " frame 2");
    EXPECT_EQ(recording.read(2).at<uchar>(0, 0), 3);
    EXPECT_EQ(recording.read(0).at<uchar>(0, 0), 1);
}

TEST(NumpyFile, SaysWhatIsWrong) {
    const struct {
        std::string bytes;
        const char* fault;
    } kCases[] = {
        {"\x93NUMP", "is not a NumPy file"},
        {"\x93NUMPY\1", "truncated NumPy file"},
        {npy("", "", '\4'), "version 4 of NumPy's format is not known"},
        {npy(described("<u2", "(2, 3)"), "12345678901"),
         "holds 11 bytes of pixels, which is less than its header tells (2 x 3 of u16le)"},
        {npy(described("<u2", "(2, 3)"), "1234567890123"),
         "holds 13 bytes of pixels, which is more than its header tells (2 x 3 of u16le)"},
        {npy(described("<u2", "(4294967296, 4294967296)"), "12"),
         "its array of 4294967296 x 4294967296 cannot be an image"},
        {npy(described("<u2", "(9223372036854775808, 2, 3)"), "12"),
         "holds 2 bytes of pixels, which is less than its header tells (9223372036854775808 x 2 x 3 of "
         "u16le)"},
        {npy(described("<u2", "(99999999999999999999, 3)"), "12"), "damaged header of a NumPy file"},
        {npy(described("<u2", "(0, 3)"), ""), "its array of 0 x 3 cannot be an image"},
        {npy(described("<u2", "(2, 3, 4, 5)"), ""),
         "holds an array of 2 x 3 x 4 x 5; rows x columns, or frames x rows x columns are wanted"},
        {npy(described("<u2", "()"), "12"), "holds a single number, not an image"},
        {npy(described("<c8", "(1, 1)"), "12345678"), "unsupported type of numbers \"<c8\""},
        {npy("{'descr': [('a', '<u2')], 'fortran_order': False, 'shape': (1, 1)}", "12"),
         "holds records, not an array of numbers"},
        {npy(described("<u2", "(2, 1, 3)", "True"), "123456789012"),
         "a recording in column (Fortran) order; save numpy.ascontiguousarray of it"},
        {npy("{'descr': '<u2', 'shape': (1, 1", "12"), "damaged header of a NumPy file"}};
    for (const auto& c : kCases) {
        const auto read = [&] { npyLayout(c.bytes, c.bytes.size(), "a.npy"); };
        EXPECT_EQ(complaint(read, ExitCode::kInput), "a.npy: "s + c.fault);
    }
}

TEST(PgmFile, IsReadAsStoredOrRefused) {
    const cv::Mat small = decodePgm("P5 # comment\n2\t2\n255\n\1\2\3\4"s, "a.pgm");
    EXPECT_EQ(cv::norm(small, cv::Mat_<uchar>((cv::Mat_<uchar>(2, 2) << 1, 2, 3, 4)), cv::NORM_INF), 0.0);
    const cv::Mat_<ushort> deep = (cv::Mat_<ushort>(1, 2) << 258, 772);
    EXPECT_EQ(cv::norm(decodePgm("P5 2 1 16383 \1\2\3\4"s, "a.pgm"), deep, cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(decodePgm("P2 2 1 16383 258 #\n 772\n", "a.pgm"), deep, cv::NORM_INF), 0.0);
    const struct {
        std::string bytes;
        const char* fault;
    } kCases[] = {{"P6 1 1 255 abc", "is not a PGM file"},
                  {"P5 2", "truncated PGM file"},
                  {"P5 2 x", "damaged PGM file"},
                  {"P5 99999999999 1 255 a", "damaged PGM file"},
                  {"P5 65536 65536 255 a", "65536 x 65536 pixels cannot be"},
                  {"P5 1 1 65536 a", "65536 cannot be the largest value of a PGM file"},
                  {"P5 2 2 255 abc", "truncated PGM file: holds 3 bytes of pixels, 4 are needed at least"},
                  {"P5 2 2 255", "truncated PGM file: holds 0 bytes of pixels, 4 are needed at least"},
                  {"P2 30000 30000 255 1",
                   "truncated PGM file: holds 1 bytes of pixels, 1799999999 are needed at least"},
                  {"P5 2 2 255 abcde", "holds 1 bytes after its image"},
                  {"P2 1 1 9 10", "holds 10, above its largest value 9"}};
    for (const auto& c : kCases) {
        EXPECT_EQ(complaint([&] { decodePgm(c.bytes, "a.pgm"); }, ExitCode::kInput), "a.pgm: "s + c.fault);
    }
}

/// Whatever the bytes, a reader returns an image or throws a UserError that names the file.
TEST_F(Readers, SurviveDamagedFiles) {
    cv::Mat_<ushort> image(9, 11);
    cv::randu(image, 0, 65536);
    std::vector<uchar> png;
    cv::imencode(".png", image, png);
    writeImage(path("a.tif"), image);
    const std::string pixels(image.ptr<char>(), image.ptr<char>() + 2 * image.total());
    const auto readAny = [](const std::string& p) { return readSingleImage(p); };
    const struct {
        std::string bytes;
        std::function<cv::Mat(const std::string&)> read;
    } kReaders[] = {
        {npy(described("<u2", "(9, 11)"), pixels), readAny},
        {"head;er\n1,5;2;3\n4;5;6\n\"7\";8;9\n", readCsv},
        {"P5 11 9 65535\n" + pixels, readPgm},
        {"P2 3 2 200\n1 2 3\n# x\n4 5 6\n", readPgm},
        {std::string(png.begin(), png.end()), readPng},
        {contentOfFile(path("a.tif")), [](const std::string& p) { return TiffReader(p).read(0); }},
        {pixels, [](const std::string& p) { return readSingleImage(p, parseRawFormat("11x9:u16le")); }}};
    cv::RNG random(7);
    for (const auto& reader : kReaders) {
        int refused = 0;
        for (int i = 0; i < 400; ++i) {
            std::string bytes = reader.bytes;
            if (i % 4 == 0)
                bytes.resize(static_cast<std::size_t>(random.uniform(0, static_cast<int>(bytes.size()))));
            const int head = std::min(static_cast<int>(bytes.size()), 120);  // where the headers are
            for (int k = 0; k < i % 4 && head > 0; ++k) {
                bytes[static_cast<std::size_t>(random.uniform(0, head))] =
                    static_cast<char>(random.uniform(0, 256));
            }
            save(path("damaged"), bytes);
            const std::string message = complaint([&] { reader.read(path("damaged")); }, ExitCode::kInput);
            EXPECT_TRUE(message.empty() || message.rfind(path("damaged"), 0) == 0) << message;
            refused += message.empty() ? 0 : 1;
        }
        EXPECT_GT(refused, 50);
    }
    // A PNG that claims far more than its bytes can hold must not get the memory for it.
    png[16] = png[20] = 0x01;
    save(path("lying.png"),
         std::string(png.begin(), png.end()).replace(29, 4, "\x5b\x72\x98\x74"));  // the checksum
    EXPECT_NE(complaint([&] { readPng(path("lying.png")); }, ExitCode::kInput).find("cannot hold 16777227 x"),
              std::string::npos);
}

TEST_F(Readers, FoldersPreferImagesAndCropsStayInside) {
    save(path("shifts.csv"), "1;2\n3;4\n");
    FrameReader matrices({folder_.string()});
    EXPECT_EQ(matrices.name(0), path("shifts.csv"));
    save(path("a.npy"), npy(described("|u1", "(2, 3)"), "abcdef"));
    save(path("x.raw"), "abcdef");
    FrameReader images({folder_.string()}, {std::nullopt, parseCrop("2x1+1+1")});
    ASSERT_EQ(images.count(), 1u);
    EXPECT_EQ(cv::norm(images.read(0), cv::Mat_<uchar>((cv::Mat_<uchar>(1, 2) << 'e', 'f')), cv::NORM_INF),
              0.0);
    FrameReader raw({folder_.string()}, {parseRawFormat("3x1:u8"), std::nullopt});
    EXPECT_EQ(raw.count(), 2u);
    FrameReader beyond({path("a.npy")}, {std::nullopt, parseCrop("2x1+2+1")});
    EXPECT_EQ(complaint([&] { beyond.read(0); }, ExitCode::kInput),
              path("a.npy") + ": is 3 x 2 pixels; a crop of 2x1+2+1 reaches beyond");
    EXPECT_NE(complaint([&] { FrameReader({path("x.raw")}); }, ExitCode::kInput).find("--raw"),
              std::string::npos);
    for (const char* wrong : {"", "2", "0x1", "2x1+1", "2x1-1+1", "9999999x1"}) {
        EXPECT_NE(complaint([&] { parseCrop(wrong); }, ExitCode::kUsage), "") << wrong;
    }
    EXPECT_NE(complaint([&] { encodingNamed("furlongs"); }, ExitCode::kUsage).find("centikelvin"),
              std::string::npos);
}

}  // namespace
}  // namespace oravo::tools
