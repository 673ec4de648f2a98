// How files that cannot be read as frames are refused.

#include <fstream>
#include <iterator>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/Scratch.h"
#include "tools/input/FrameReader.h"

namespace oravo::tools {
namespace {

const std::string kForeign = "is of no format that is read";
const std::string kSound = "export the values themselves, one channel of 16 bits or floating point";
const std::string kEye =
    " (JPEG image data); it holds no raw thermal image, only colours for the eye; save radiometric JPEGs in "
    "the camera, or " +
    kSound;

class UnreadableFiles : public Scratch {
  protected:
    UnreadableFiles() { cv::imwrite(path("small.png"), cv::Mat_<uchar>(3, 4, uchar{7})); }

    void write(const std::string& name, const std::string& bytes = {}) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    void truncate(const std::string& name, std::uintmax_t bytes) const {
        std::filesystem::resize_file(path(name), bytes);
    }
    void writePhoto(const std::string& name) const {
        cv::imwrite(path("whole.jpg"), cv::Mat_<uchar>(64, 64, uchar{7}));
        truncate("whole.jpg", std::filesystem::file_size(path("whole.jpg")) / 2);
        std::filesystem::rename(path("whole.jpg"), path(name));
    }

    struct Fault {
        const char* file;
        std::string text;
    };
    /// Read as the second of two frames, each file fails with its name and text, and no library says more.
    void expect(const std::vector<Fault>& faults) const {
        testing::internal::CaptureStderr();
        for (const Fault& fault : faults) {
            const auto read = [&] {
                FrameReader reader({path("small.png"), path(fault.file)});
                for (std::size_t i = 0; i < reader.count(); ++i) reader.read(i);
            };
            EXPECT_EQ(complaint(read, ExitCode::kInput), path(fault.file) + ": " + fault.text);
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
};

TEST_F(UnreadableFiles, OfForeignFormatsAreNamedWithTheWayOut) {
    for (const char* name : {"jpeg.png", "photo.jpg"}) writePhoto(name);
    for (const char* name : {"text.png", "clip.csq", "words"})
        write(name, "some words, and some more of them\n");
    write("slice.png", std::string(128, '\0') + "DICM");
    write("clip.mpg", std::string("\0\0\1\xba", 4) + std::string(12, '\0'));
    write("radiometric.jpg", "\xff\xd8\xff\xe1N\"" + std::string(20000, 'T') + "\xff\xd9");
    write("page.txt", "\n<!DOCTYPE html>\n<html><body>Please log in</body></html>\n");
    write("frames.zip", "PK\3\4\24" + std::string(60, '\0'));
    write("frames.npz", "PK\x03\x04");
    const std::string kText =
        " (ASCII text); matrices of numbers are read from files named .csv, .tsv, .asc or .txt";
    expect({{"text.png", kForeign + kText},
            {"clip.csq", kForeign + kText},
            {"words", kForeign + kText},
            {"jpeg.png", kForeign + kEye},
            {"photo.jpg", kForeign + kEye},
            {"radiometric.jpg", kForeign + " (JPEG image data); its picture holds colours, but 20 kB of its "
                                           "metadata may hold the temperatures in a form that is not read; "
                                           "extract them by the camera's software, and save them as TIFF "
                                           "or PNG of 16 bits"},
            {"slice.png",
             kForeign + " (DICOM medical imaging data); save its frames as TIFF or as NumPy array (.npy)"},
            {"clip.mpg", kForeign +
                             " (MPEG sequence); where the video holds 16-bit grey, ffmpeg -i IN -c:v ffv1 "
                             "-level 3 OUT.mkv makes a file "
                             "that is read; else " +
                             kSound},
            {"page.txt",
             kForeign + " (HTML document); a page from the web in place of a file? Fetch the file itself"},
            {"frames.zip", kForeign + " (Zip archive data); unpack it first"},
            {"frames.npz",
             "is an archive of arrays (.npz); save the one that holds the frames with numpy.save, as .npy"}});
}

TEST_F(UnreadableFiles, WithUnfitImagesSayWhatIsWrong) {
    cv::imwrite(path("colour.png"), cv::Mat(3, 4, CV_8UC3, cv::Scalar(1, 2, 3)));
    cv::imwrite(path("large.png"), cv::Mat_<uchar>(30, 4, uchar{7}));
    std::ifstream grey(path("small.png"), std::ios::binary);
    std::string palette((std::istreambuf_iterator<char>(grey)), {});
    using namespace std::string_literals;
    palette.replace(25, 8, "\x03\0\0\0\x83\x2a\x5e\xf4"s)
        .insert(33,
                "\0\0\0\x03"
                "PLTEabc\x6d\x1f\xa5\x0a"s);  // with its checksums
    write("palette.png", palette);
    for (const char* name : {"cut.png", "cut.pgm"}) {
        cv::imwrite(path(name), cv::Mat_<uchar>(40, 40, uchar{7}));
        truncate(name, std::filesystem::file_size(path(name)) - 20);
    }
    expect({{"colour.png", "has 3 channels: colours for the eye, not temperatures; " + kSound},
            {"large.png", "is 4 x 30 pixels, but the frames before it are 4 x 3"},
            {"palette.png", "holds palette colours, not values; " + kSound},
            {"cut.png", "truncated or damaged PNG file"},
            {"cut.pgm", "truncated PGM file: holds 1580 bytes of pixels, 1600 are needed at least"}});
}

TEST_F(UnreadableFiles, ThatHoldNoImageAreNamed) {
    write("empty.tif");
    write("pointer.csv", "version https://git-lfs.github.com/spec/v1\noid sha256:4d7a\n");
    for (const char* name : {"hollow", "photos"}) std::filesystem::create_directory(path(name));
    for (const char* name : {"photos/a.jpg", "photos/b.jpg"}) writePhoto(name);
    const std::string kNoImages =
        "folder holds no image files (.tif, .tiff, .png, .pgm, .npy, .csv), radiometric JPEGs or videos";
    expect({{"missing.tif", "no such file or folder"},
            {"empty.tif", "is empty"},
            {"pointer.csv", "is a pointer of Git LFS in place of the file; fetch it by git lfs pull"},
            {"hollow", kNoImages},
            {"photos", kNoImages + "; of 2 files there " + path("photos/a.jpg") + " " + kForeign + kEye}});
}

}  // namespace
}  // namespace oravo::tools
