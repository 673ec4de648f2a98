#include "tools/formats/CsvMatrix.h"

#include <cmath>
#include <fstream>
#include <limits>
#include <string>

#include "tests/tools/Scratch.h"
#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

using namespace std::string_literals;

TEST(CsvMatrix, UnderstandsWhatCameraSoftwareExports) {
    const cv::Mat_<double> expected = (cv::Mat_<double>(2, 3) << 21.5, -2.25, 3, 1e3, 5, 6);
    const std::string kTexts[] = {"21.5,-2.25,3\n1e3,5,6\n",
                                  "21.5, -2.25, 3,\r\n1E3, 5, +6,\r\n\r\n",
                                  "21,5;-2,25;3\n1000;5;6",
                                  "\xEF\xBB\xBF"
                                  "File;x.jpg;\nEmissivity;0,95\n\n21,5;-2,25;3;\n1000,0;5;6;\n",
                                  "21,5\t-2,25\t3\n1000\t5\t6\t\n",
                                  "  21,5  -2,25 3 \n1000 5   6\n",
                                  "\"21,5\",\"-2,25\",\"3\"\n\"1000\",\"5\",\"6\"\n",
                                  ",0,1,2\n0,21.5,-2.25,3\n1,1000,5,6\n",
                                  "Y/X\t1\t2\t3\n1\t21,5\t-2,25\t3\n2\t1000\t5\t6\n",
                                  "0,1,2\n21.5,-2.25,3\n1000,5,6\n",
                                  "Image\n;0;1;2\nFrame 1;21,5;-2,25;3\n;1000;5;6\n",
                                  "320;240\n21,5;-2,25;3\n1000;5;6"};
    for (const std::string& text : kTexts) {
        std::string wide = "\xFF\xFE";
        for (const char c : text) wide += c + "\0"s;
        EXPECT_EQ(cv::norm(decodeCsv(text, "a.csv"), expected, cv::NORM_INF), 0.0) << text;
        if (text.front() == '\xEF') continue;
        EXPECT_EQ(cv::norm(decodeCsv(wide, "a.csv"), expected, cv::NORM_INF), 0.0) << text;
    }
    EXPECT_TRUE(std::isnan(decodeCsv("1,NaN,3\n4,5,6", "a.csv")(0, 1)));
    EXPECT_EQ(decodeCsv("0,1,2\n1,2,3\n", "ramp.csv").rows, 2);  // a picture, not a header row
    std::string numbered, ramp;
    for (int row = 0; row < 8; ++row) {
        numbered += format("%d,21.5,%d,7\n", row, row);
        ramp += format("%d,%d,%d\n", row, row + 1, row + 2);
    }
    for (const char* header : {"", "0,1,2,3\n", "0,0,1,2\n", "time,12\n"}) {
        EXPECT_EQ(decodeCsv(header + numbered, "a.csv").size(), cv::Size(3, 8)) << header;
    }
    EXPECT_EQ(decodeCsv(ramp, "ramp.csv").cols, 3);
    for (const int first : {0, 1, 2}) {  // rows count from 0 or 1
        for (const int rows : {7, 8, 9}) {
            std::string text;
            for (int i = 0; i < rows; ++i) text += format("%d;%d;9\n", first + i, 50 - i);
            const cv::Mat_<double> matrix = decodeCsv(text, "a.csv");
            const bool counted = first < 2 && rows > 7;
            EXPECT_EQ(matrix.size(), cv::Size(counted ? 2 : 3, rows)) << first;
            EXPECT_EQ(matrix(rows - 1, counted ? 0 : 1), 51 - rows);
        }
    }
    EXPECT_EQ(decodeCsv("21,50,22,7\n8,30,19,55\n", "counts.csv").cols, 4);
}

TEST(CsvMatrix, SaysWhereItIsWrong) {
    const struct {
        const char* text;
        const char* fault;
    } kCases[] = {
        {"", "is empty"},
        {" \n\t\n", "is empty"},
        {"no numbers\nhere", "holds no matrix of numbers; line 1 has \"no\" in column 1"},
        {"1;2;--;4;5;6\n4;5;6;7;8;9", "line 1 has \"--\" in column 3, where a number is wanted"},
        {"1;2;3\n4;5\n7;8;9", "line 2 has 2 numbers, but others have 3"},
        {"1;2;3;4;5;6\n\n4;5;6;7;8;9;10\n7;8;9;10;11;12;13", "line 1 has 6 numbers, but others have 7"},
        {"1;2;3\n4;x\x1b[31m;6", "line 2 has \"x?[31m\" in column 2, where a number is wanted"},
        {"1;2;3\n4;;6", "line 2 has nothing in column 2"},
        {"1;2;3\n4;1.234,5;6", "line 2 has \"1.234,5\" in column 2, where a number is wanted"},
        {"21,5,22,5\n21,4,20,7", "commas seem to separate numbers and to mark their decimals as well"},
        {"21,5,22,5\n21,4,-2,7", "commas seem to separate numbers"},
        {"21,05,22,50\n11,40,30,67", "commas seem to separate numbers"},
        {"1;2;3\n4;1e999;6", "line 2 has \"1e999\" in column 2, where a number is wanted"},
        {"1;2;3\n4;5;6\nend of file", "line 3 has \"end of file\" in column 1, where a number is wanted"}};
    for (const auto& c : kCases) {
        const std::string message = complaint([&] { decodeCsv(c.text, "a.csv"); }, ExitCode::kInput);
        EXPECT_EQ(message.rfind("a.csv: "s + c.fault, 0), 0u) << message;
    }
}

/// The most memory that this process has held, in bytes.
std::size_t peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::size_t kibibytes = 0;
        if (word == "VmHWM:" && status >> kibibytes) return 1024 * kibibytes;
    }
    return 0;
}

TEST(CsvMatrix, TakesMemoryInProportionToItsText) {
    const struct {
        const char* row;
        std::size_t most;  ///< bytes for each of the text
    } kCases[] = {{"1;2;3;4;5;6;7;8;9;1;2;3;4;5;6;7\n", 12}, {"0\n", 32}};
    for (const auto& c : kCases) {
        std::string text;
        while (text.size() < (8u << 20)) text += c.row;
        const std::size_t before = peakMemory();
        EXPECT_GT(decodeCsv(text, "a.csv").rows, 1000);
        EXPECT_LT(peakMemory() - before, c.most * text.size()) << c.row;
    }
}

}  // namespace
}  // namespace oravo::tools
