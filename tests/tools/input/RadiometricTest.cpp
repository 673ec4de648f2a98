#include <cmath>
#include <cstdlib>
#include <fstream>

#include "tests/tools/Program.h"
#include "tests/tools/input/RadiometricFile.h"
#include "tools/base/ChildProcess.h"
#include "tools/formats/CameraTags.h"
#include "tools/formats/FileMetadata.h"
#include "tools/formats/RadiometricJpeg.h"

namespace oravo::tools {
namespace {

/// Files as cameras write them, read by exiftool.
class Radiometric : public Program {
  protected:
    void SetUp() override {
        if (!isInstalled("exiftool")) GTEST_SKIP() << "exiftool is not installed";
        for (int y = 0; y < counts_.rows; ++y) {
            for (int x = 0; x < counts_.cols; ++x)
                counts_(y, x) = static_cast<ushort>(16000 + 300 * x + 77 * y);
        }
    }

    void save(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    std::string plainImage() const { return RadiometricFile::plain(counts_, false); }

    static cv::Mat_<float> read(const std::string& file, const RadiometricConstants& given = {}) {
        return FrameReader({file}, {std::nullopt, std::nullopt, given}).read(0);
    }

    cv::Mat_<ushort> counts_ = cv::Mat_<ushort>(10, 12);
    RadiometricFile file_;
};

TEST_F(Radiometric, ImagesOfAllKindsBecomeTemperatures) {
    const cv::Size size = counts_.size();
    RadiometricFile high = file_;
    high.bigEndian = true;
    save("a.jpg", file_.bytes(size, RadiometricFile::png(counts_, true)));
    save("b.jpg", file_.bytes(size, RadiometricFile::png(counts_, false)));
    save("-c $x @y|.jpg", file_.bytes(size, plainImage(), 100));
    save(" d#.jpeg", high.bytes(size, RadiometricFile::plain(counts_, true)));
    // The reader of the folder asks one exiftool four times.
    FrameReader reader({folder_.string()});
    ASSERT_EQ(reader.count(), 4u);
    for (std::size_t i = 0; i < reader.count(); ++i) {
        const cv::Mat_<float> celsius = reader.read(i);
        ASSERT_EQ(celsius.size(), size) << reader.name(i);
        // Of the constants as the file holds them, in single precision; the figures are those of the curve's own test.
        EXPECT_NEAR(static_cast<double>(celsius(0, 0)), 10.89755, 2e-4) << reader.name(i);
        EXPECT_NEAR(static_cast<double>(celsius(5, 8)), 27.62584, 2e-4) << reader.name(i);
    }
    EXPECT_FALSE(reader.radiometric().difference());
}

TEST_F(Radiometric, GivenConstantsCountInPlaceOfTheFiles) {
    RadiometricFile other = file_;
    other.emissivity = 0.0f;
    other.distance = 3.0f;
    save("a.jpg", file_.bytes(counts_.size(), plainImage()));
    save("b.jpg", other.bytes(counts_.size(), plainImage()));
    RadiometricConstants given;
    given.emissivity = 1.0;
    FrameReader reader({path("a.jpg"), path("b.jpg")}, {std::nullopt, std::nullopt, given});
    const cv::Mat_<float> near = reader.read(0), far = reader.read(1);
    EXPECT_LT(far(0, 0), near(0, 0));  // colder than the air, of which there is more
    ASSERT_TRUE(reader.radiometric().difference());
    EXPECT_EQ(reader.radiometric().difference()->text,
              path("b.jpg") + ": its ObjectDistance is 3, that of " + path("a.jpg") + " is 1");
    given.distance = 0.0;
    const double expected = 1501.0 / std::log(21106.77 / (0.012545258 * (16000.0 - 7340.0)) + 1.0) - 273.15;
    for (const char* name : {"a.jpg", "b.jpg"}) {
        EXPECT_NEAR(static_cast<double>(read(path(name), given)(0, 0)), expected, 1e-4) << name;
    }
}

TEST_F(Radiometric, WhatHoldsNoTemperaturesIsRefused) {
    const cv::Size size = counts_.size();
    cv::Mat_<uchar> shallow(size, uchar{7});
    RadiometricFile noEmissivity = file_;
    noEmissivity.emissivity = 0.0f;
    const std::string whole = file_.bytes(size, plainImage());
    const std::string advice = "save its temperatures as TIFF or CSV by the camera's software";
    const struct {
        const char* name;
        std::string bytes, fault;
    } kCases[] = {
        {"none.jpg", file_.bytes(size, ""), "is a JPEG file without a raw thermal image; " + advice},
        {"cut.jpg", whole.substr(0, 150), "is a JPEG file without a raw thermal image ("},
        {"zero.jpg", file_.bytes({0, 0}, ""), "is a JPEG file without a raw thermal image"},
        {"large.jpg", file_.bytes({65535, 65535}, plainImage()),
         "its raw thermal image is of type DAT, which is not read; read are PNG and uncompressed ones of 16 "
         "bits"},
        {"shallow.jpg", file_.bytes(size, RadiometricFile::png(shallow, false)),
         "its raw thermal image does not hold counts of 16 bits"},
        {"damaged.jpg", file_.bytes(size, RadiometricFile::png(counts_, true).substr(0, 60)),
         "raw thermal image: truncated or damaged PNG file"},
        {"dark.jpg", noEmissivity.bytes(size, plainImage()), "its Emissivity is 0, and has to be above 0"},
        {"two\nlines.jpg", whole,
         "its name holds the end of a line, which exiftool cannot be given; rename it"}};
    std::vector<std::string> files;
    for (const auto& c : kCases) {
        save(c.name, c.bytes);
        files.push_back(path(c.name));
    }
    FrameReader reader(files);
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string message = complaint([&] { reader.read(i); }, ExitCode::kInput);
        EXPECT_NE(message.find(": " + kCases[i].fault), std::string::npos) << message;
    }
}

TEST_F(Radiometric, OptionsAreForRadiometricFilesAndOthersAreNot) {
    save("a.jpg", file_.bytes(counts_.size(), plainImage()));
    std::ofstream(path("b.csv")) << "1;2\n3;4\n";
    expectRefusals(
        {{"enhance b.csv -o o.tif --emissivity 0.9", 1,
          "--emissivity 0.9: is for radiometric JPEG files, and there is none among the inputs"},
         {"enhance a.jpg -o o.tif --emissivity 0", 1, "--emissivity: 0 is not a number above 0 to 1"},
         {"enhance a.jpg -o o.tif --humidity 50 --raw 12x10:u16le", 1, "--raw excludes --humidity"},
         {"enhance a.jpg -o o.tif --encoding kelvin", 1,
          "a.jpg: is a radiometric JPEG file, whose constants"},
         {"enhance a.jpg -o o.tif --nuc", 1, "--nuc: is for counts, and a.jpg is a radiometric JPEG file"},
         {"measure blur a.jpg --scale 2", 1, "a.jpg: is a radiometric JPEG file, whose constants"},
         {"enhance a.jpg -o o.tif --humidity 40", 6,
          "temperatures by Emissivity 0.95, ObjectDistance 1 m, RelativeHumidity 40 %"}});
}

TEST_F(Radiometric, WithoutExiftoolItsPackageIsNamed) {
    save("a.jpg", file_.bytes(counts_.size(), plainImage()));
    const std::string before = std::getenv("PATH");
    ::setenv("PATH", folder_.c_str(), 1);
    EXPECT_EQ(complaint([&] { read(path("a.jpg")); }, ExitCode::kInput),
              path("a.jpg") +
                  ": is a JPEG file that may hold temperatures, which exiftool reads, and that is not "
                  "installed (Debian package libimage-exiftool-perl)");
    // One that ends at once, and one that talks without end.
    const std::pair<const char*, const char*> kFakes[] = {{"echo broken >&2", "does not answer: broken"},
                                                          {"exec /usr/bin/yes", "says too much"}};
    for (const auto& [script, fault] : kFakes) {
        std::ofstream(path("exiftool")) << "#!/bin/sh\n" << script << "\n";
        std::filesystem::permissions(path("exiftool"), std::filesystem::perms::owner_all);
        EXPECT_EQ(complaint([&] { read(path("a.jpg")); }, ExitCode::kInput),
                  path("a.jpg") + ": exiftool " + fault);
    }
    ::setenv("PATH", before.c_str(), 1);
}

TEST_F(Radiometric, WhatTheCameraSaysGoesIntoTheImage) {
    const double kShifts[] = {0.0, 0.4, -0.3, 0.7, 0.1};
    for (int i = 0; i < 5; ++i) {
        cv::Mat_<ushort> frame(24, 32);
        for (int y = 0; y < frame.rows; ++y) {
            for (int x = 0; x < frame.cols; ++x) {
                const double wave = std::sin((x - kShifts[i]) / 3.0) * std::cos((y + kShifts[i]) / 4.0);
                frame(y, x) = static_cast<ushort>(16000.0 + 900.0 * wave);
            }
        }
        save("frame_" + std::to_string(i) + ".jpg",
             file_.bytes(frame.size(), RadiometricFile::plain(frame, false)));
    }
    ASSERT_EQ(run("enhance . -o a.tif --pipeline float --emissivity 0.9").code, 0);
    const std::string xmp = FileMetadata(path("a.tif")).of(0).image[tag::kXmp].content;
    EXPECT_NE(xmp.find("<camera:CameraModel>Model &lt;7&gt;</camera:CameraModel>"), std::string::npos) << xmp;
    EXPECT_NE(xmp.find("<camera:Emissivity>0.94999998"), std::string::npos) << xmp;
    EXPECT_EQ(xmp.find("RawThermalImage"), std::string::npos) << xmp;
}

TEST_F(Radiometric, WhatTheCameraSaysIsAddedToItsXmp) {
    const std::optional<std::string> both =
        withCameraTags("<rdf:RDF><a/></rdf:RDF><?xpacket end='w'?>", {{"O", "-7340"}});
    EXPECT_EQ(both,
              "<rdf:RDF><a/><rdf:Description rdf:about='' xmlns:camera='urn:oravo-superres:camera/'>\n"
              "<camera:O>-7340</camera:O>\n</rdf:Description>\n</rdf:RDF><?xpacket end='w'?>");
    EXPECT_FALSE(withCameraTags("damaged", {{"O", "1"}}));
    save("a.jpg", file_.bytes(counts_.size(), plainImage()));
    ImageMetadata damaged;
    damaged.image[tag::kXmp] = Tag::text("damaged");
    ExifTool exiftool;
    addCameraTags(damaged, path("a.jpg"), exiftool);
    EXPECT_EQ(damaged.leftOut, std::vector<std::string>{"the camera's own tags"});
    EXPECT_EQ(damaged.image[tag::kXmp].asText(), "damaged");
}

}  // namespace
}  // namespace oravo::tools
