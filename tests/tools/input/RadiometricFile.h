#ifndef ORAVO_TESTS_TOOLS_INPUT_RADIOMETRICFILE_H
#define ORAVO_TESTS_TOOLS_INPUT_RADIOMETRICFILE_H

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <vector>

namespace oravo::tools {

/// A JPEG file with a raw thermal image and its constants, as thermal cameras write them and exiftool describes them.
class RadiometricFile {
  public:
    // The constants of a camera; temperatures in kelvin, humidity as a share.
    float emissivity = 0.95f, distance = 1.0f, reflected = 293.15f, atmosphere = 293.15f;
    float windowTemperature = 293.15f, windowTransmission = 1.0f, humidity = 0.5f;
    float r1 = 21106.77f, b = 1501.0f, f = 1.0f, r2 = 0.012545258f;
    int o = -7340;
    std::string model = "Model <7>";  ///< of the camera
    bool bigEndian = false;           ///< of the raw image's record

    static std::string png(const cv::Mat& image, bool swapped) {
        cv::Mat stored = image.clone();
        if (swapped) {
            for (ushort& count : cv::Mat_<ushort>(stored))
                count = static_cast<ushort>(count << 8 | count >> 8);
        }
        std::vector<uchar> bytes;
        cv::imencode(".png", stored, bytes);
        return {bytes.begin(), bytes.end()};
    }

    static std::string plain(const cv::Mat_<ushort>& image, bool bigEndian) {
        std::string bytes;
        for (const ushort count : image) bytes += number(count, 2, bigEndian);
        return bytes;
    }

    /// @param image    bytes of the raw image
    /// @param segment  bytes of each segment
    std::string bytes(cv::Size size, const std::string& image, std::size_t segment = 60000) const {
        const std::string all = records(rawRecord(size) + image, constants());
        const std::size_t count = (all.size() + segment - 1) / segment;
        std::string segments;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string part = all.substr(i * segment, segment);
            segments += "\xff\xe1" + number(part.size() + 10, 2, true) + std::string("FLIR\0\1", 6) +
                        number(i, 1, true) + number(count - 1, 1, true) + part;
        }
        std::vector<uchar> picture;
        cv::imencode(".jpg", cv::Mat_<uchar>(8, 8, uchar{99}), picture);
        const std::string jpeg(picture.begin(), picture.end());
        return jpeg.substr(0, 2) + segments + jpeg.substr(2);
    }

  private:
    static std::string number(std::size_t value, std::size_t bytes, bool bigEndian) {
        std::string text;
        for (std::size_t i = 0; i < bytes; ++i) {
            text += static_cast<char>(value >> 8 * (bigEndian ? bytes - 1 - i : i) & 0xff);
        }
        return text;
    }

    std::string rawRecord(cv::Size size) const {
        std::string record = number(2, 2, bigEndian) +
                             number(static_cast<std::size_t>(size.width), 2, bigEndian) +
                             number(static_cast<std::size_t>(size.height), 2, bigEndian);
        record.resize(32, '\0');
        return record;
    }

    std::string constants() const {
        std::string record(0x400, '\0');
        record[0] = 2;
        const struct {
            std::size_t at;
            float value;
        } kNumbers[] = {{0x20, emissivity},
                        {0x24, distance},
                        {0x28, reflected},
                        {0x2c, atmosphere},
                        {0x30, windowTemperature},
                        {0x34, windowTransmission},
                        {0x3c, humidity},
                        {0x58, r1},
                        {0x5c, b},
                        {0x60, f},
                        {0x70, 0.006569f},
                        {0x74, 0.01262f},
                        {0x78, -0.002276f},
                        {0x7c, -0.00667f},
                        {0x80, 1.9f},
                        {0x30c, r2}};
        for (const auto& n : kNumbers) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, &n.value, sizeof bits);
            record.replace(n.at, 4, number(bits, 4, false));
        }
        record.replace(0xd4, model.size(), model);
        return record.replace(0x308, 4, number(static_cast<std::uint32_t>(o), 4, false));
    }

    /// A header, a directory, and the two records.
    static std::string records(const std::string& image, const std::string& constants) {
        constexpr std::size_t kHeader = 64, kEntry = 32;
        const auto entry = [](std::size_t type, std::size_t offset, std::size_t size) {
            std::string text = number(type, 2, true) + number(2, 2, true) + number(100, 4, true) +
                               number(1, 4, true) + number(offset, 4, true) + number(size, 4, true);
            text.resize(kEntry, '\0');
            return text;
        };
        std::string header("FFF\0", 4);
        header.resize(20, '\0');
        header += number(101, 4, true) + number(kHeader, 4, true) + number(2, 4, true);
        header.resize(kHeader, '\0');
        const std::size_t start = kHeader + 2 * kEntry;
        return header + entry(1, start, image.size()) + entry(32, start + image.size(), constants.size()) +
               image + constants;
    }
};

}  // namespace oravo::tools

#endif
