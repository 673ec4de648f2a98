#include "tests/TestScenes.h"

#include <cmath>
#include <cstring>
#include <random>

namespace oravo::test {
namespace {

// The distributions of the standard library differ between implementations; the engine does not.
class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}
    double operator()(double low, double high) {
        return low + (high - low) * (static_cast<double>(engine_()) / 4294967296.0);
    }

  private:
    std::mt19937 engine_;
};

}  // namespace

std::vector<float> randomVector(int n, unsigned seed, float low, float high) {
    Random random(seed);
    std::vector<float> values(static_cast<std::size_t>(n));
    for (float& value : values) {
        value = static_cast<float>(random(static_cast<double>(low), static_cast<double>(high)));
    }
    return values;
}

Image randomImage(int rows, int cols, unsigned seed, float low, float high) {
    std::vector<float> values = randomVector(rows * cols, seed, low, high);
    return Image(rows, cols, values.data()).clone();
}

Scene::Scene(unsigned seed, int rows, int cols, double scale) {
    Random random(seed);
    const double margin = 8.0 * scale;
    const double area = (rows + 2.0 * margin) * (cols + 2.0 * margin);
    const int count = static_cast<int>(area / (16.0 * scale * scale));
    for (int i = 0; i < count; ++i) {
        blobs_.push_back({random(-margin, cols + margin), random(-margin, rows + margin),
                          scale * random(0.6, 1.4), random(2.0, 8.0) * (i % 2 == 0 ? 1.0 : -1.0)});
    }
}

double Scene::at(double x, double y) const {
    double value = 20.0;
    for (const Blob& blob : blobs_) {
        const double dx = (x - blob.x) / blob.width;
        const double dy = (y - blob.y) / blob.width;
        const double squared = dx * dx + dy * dy;
        if (squared < 64.0) value += blob.height * std::exp(-0.5 * squared);
    }
    return value;
}

Image Scene::frame(int rows, int cols, Point d, double pitch) const {
    Image image(rows, cols);
    for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < cols; ++x) {
            image(y, x) = static_cast<float>(
                at((x - static_cast<double>(d.x)) * pitch, (y - static_cast<double>(d.y)) * pitch));
        }
    }
    return image;
}

std::vector<Image> burst(const Scene& scene, int rows, int cols, const std::vector<Point>& shifts) {
    std::vector<Image> frames;
    for (const Point& shift : shifts) frames.push_back(scene.frame(rows, cols, shift));
    return frames;
}

std::vector<Image> clones(const std::vector<Image>& images) {
    std::vector<Image> copies;
    for (const Image& image : images) copies.push_back(image.clone());
    return copies;
}

std::vector<float*> pointers(std::vector<Image>& images) {
    std::vector<float*> result;
    for (Image& image : images) result.push_back(image.ptr<float>());
    return result;
}

Image cyclicMove(const Image& image, int dx, int dy) {
    Image moved(image.rows, image.cols);
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            moved((y + dy + image.rows) % image.rows, (x + dx + image.cols) % image.cols) = image(y, x);
        }
    }
    return moved;
}

Image linear(const Image& image, double factor, double offset) {
    Image result;
    image.convertTo(result, CV_32F, factor, offset);
    return result;
}

bool sameBits(const float* a, const float* b, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        if (std::memcmp(a + i, b + i, sizeof(float)) == 0) continue;
        if (!std::isnan(a[i]) || !std::isnan(b[i])) return false;
    }
    return true;
}

bool sameBits(const Image& a, const Image& b) {
    if (a.size() != b.size()) return false;
    for (int y = 0; y < a.rows; ++y) {
        if (!sameBits(a.ptr<float>(y), b.ptr<float>(y), static_cast<std::size_t>(a.cols))) return false;
    }
    return true;
}

double largestDifference(const Image& a, const Image& b) {
    return cv::norm(a, b, cv::NORM_INF);
}

double rmsDifference(const Image& a, const Image& b, int border) {
    const cv::Rect inner(border, border, a.cols - 2 * border, a.rows - 2 * border);
    return cv::norm(a(inner), b(inner), cv::NORM_L2) / std::sqrt(static_cast<double>(inner.area()));
}

}  // namespace oravo::test
