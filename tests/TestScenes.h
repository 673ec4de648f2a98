#ifndef ORAVO_TESTS_TESTSCENES_H
#define ORAVO_TESTS_TESTSCENES_H

#include <opencv2/core.hpp>
#include <vector>

#include "support/Exception.h"

/// The input of tests and benchmarks: rendered scenes, random images, bursts with known shifts.
namespace oravo::test {

using Image = cv::Mat_<float>;
using Point = cv::Point_<float>;

/// Uniform noise, the same for the same seed.
Image randomImage(int rows, int cols, unsigned seed, float low = -1.0f, float high = 1.0f);
std::vector<float> randomVector(int n, unsigned seed, float low = -1.0f, float high = 1.0f);

/// A scene known at every point of the plane: smooth blobs of `scale` pixels, some warmer and some colder
/// than 20, densely over the area given and around it.
class Scene {
  public:
    Scene(unsigned seed, int rows, int cols, double scale = 3.0);

    double at(double x, double y) const;
    /// The frame of a camera displaced by d: frame(p + d) = at(p). Pixel p of it lies at p * pitch.
    Image frame(int rows, int cols, Point d = {0, 0}, double pitch = 1.0) const;

  private:
    struct Blob {
        double x, y, width, height;
    };
    std::vector<Blob> blobs_;
};

/// One frame of a scene per shift, at a pitch of one pixel.
std::vector<Image> burst(const Scene& scene, int rows, int cols, const std::vector<Point>& shifts);

/// Masks of one value each for n frames, in the shape that the engines take. T is the type of an element.
template <class T>
struct MasksOf {
    MasksOf(int n, int pixels, T value = T(1))
        : values(static_cast<std::size_t>(n), std::vector<T>(static_cast<std::size_t>(pixels), value)) {
        for (std::vector<T>& mask : values) pointers.push_back(mask.data());
    }
    std::vector<std::vector<T>> values;
    std::vector<T*> pointers;
};
using Masks = MasksOf<char>;
using FloatMasks = MasksOf<float>;

std::vector<Image> clones(const std::vector<Image>& images);
std::vector<float*> pointers(std::vector<Image>& images);

/// frame(p + d) = image(p), wrapping around.
Image cyclicMove(const Image& image, int dx, int dy);

/// image * factor + offset
Image linear(const Image& image, double factor, double offset);

/// Same bits at every pixel; any NaN equals any other.
bool sameBits(const float* a, const float* b, std::size_t n);
bool sameBits(const Image& a, const Image& b);
double largestDifference(const Image& a, const Image& b);
/// Root mean square difference inside a border that is left out.
double rmsDifference(const Image& a, const Image& b, int border);

/// The oravo::Exception that a call throws; message "(nothing thrown)" when it throws none.
template <class Call>
Exception thrownBy(Call call) {
    try {
        call();
    } catch (const Exception& exception) {
        return exception;
    }
    return Exception("(nothing thrown)", "");
}

}  // namespace oravo::test

#endif
