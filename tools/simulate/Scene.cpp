#include "tools/simulate/Scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace oravo::tools {
namespace {

constexpr int kSamples = 4;  // per pixel and direction
constexpr double kPi = 3.14159265358979323846;

/// A number in [-1, 1] for each lattice point, the same in every picture.
double latticeValue(int x, int y, int octave) {
    std::uint32_t h = static_cast<std::uint32_t>(x) * 0x9E3779B1u ^
                      static_cast<std::uint32_t>(y) * 0x85EBCA77u ^
                      static_cast<std::uint32_t>(octave) * 0xC2B2AE3Du;
    h = (h ^ h >> 15) * 0x2C1B3C6Du;
    h = (h ^ h >> 12) * 0x297A2D39u;
    h ^= h >> 15;
    return static_cast<double>(h) / 2147483647.5 - 1.0;
}

/// Value noise: lattice values a cell apart, joined smoothly.
double valueNoise(double x, double y, double cell, int octave) {
    const double u = x / cell;
    const double v = y / cell;
    const int i = static_cast<int>(std::floor(u));
    const int j = static_cast<int>(std::floor(v));
    const auto ease = [](double t) { return t * t * (3.0 - 2.0 * t); };
    const double s = ease(u - i);
    const double t = ease(v - j);
    const auto row = [&](int jj) {
        return latticeValue(i, jj, octave) * (1.0 - s) + latticeValue(i + 1, jj, octave) * s;
    };
    return row(j) * (1.0 - t) + row(j + 1) * t;
}

double texture(double x, double y) {
    return 1.1 * valueNoise(x, y, 29.0, 0) + 0.7 * valueNoise(x, y, 11.0, 1) +
           0.45 * valueNoise(x, y, 5.0, 2);
}

bool inBox(double x, double y, double left, double top, double width, double height) {
    return x >= left && x < left + width && y >= top && y < top + height;
}

/// Distance from the segment (ax, ay)-(bx, by).
double segmentDistance(double x, double y, double ax, double ay, double bx, double by) {
    const double dx = bx - ax;
    const double dy = by - ay;
    const double t = std::clamp(((x - ax) * dx + (y - ay) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
    return std::hypot(x - ax - t * dx, y - ay - t * dy);
}

class Scene {
  public:
    explicit Scene(cv::Size picture)
        : w_(picture.width), h_(picture.height), unit_(std::min(w_ / 4.0, h_ / 3.0) / 80.0) {}

    double at(double x, double y) const {
        double t = ground(x, y);
        plumes(x, y, t);
        building(x, y, t);
        pipes(x, y, t);
        machines(x, y, t);
        bars(x, y, t);
        star(x, y, t);
        return t;
    }

  private:
    double ground(double x, double y) const { return 14.0 + 7.0 * y / h_ + 2.0 * x / w_ + texture(x, y); }

    /// Soft edges: warm and cold air.
    void plumes(double x, double y, double& t) const {
        const auto blob = [&](double cx, double cy, double radius, double height) {
            const double d = std::hypot(x - cx * w_, y - cy * h_) / (radius * unit_);
            t += height * std::exp(-0.5 * d * d);
        };
        blob(0.30, 0.78, 14.0, 16.0);
        blob(0.88, 0.40, 18.0, -9.0);
        blob(0.62, 0.20, 7.0, 9.0);
    }

    void building(double x, double y, double& t) const {
        const double angle = -0.06;
        const double u = ((x - 0.06 * w_) * std::cos(angle) - (y - 0.14 * h_) * std::sin(angle)) / unit_;
        const double v = ((x - 0.06 * w_) * std::sin(angle) + (y - 0.14 * h_) * std::cos(angle)) / unit_;
        if (!inBox(u, v, 0.0, 0.0, 110.0, 78.0)) return;
        t = 4.0 + 0.03 * v + 0.4 * valueNoise(x, y, 7.0, 3);
        const double column = std::fmod(u - 8.0, 20.0);
        const double row = std::fmod(v - 10.0, 23.0);
        if (u < 8.0 || v < 10.0 || column >= 11.0 || row >= 13.0) return;
        const bool mullion = (column > 5.0 && column < 6.0) || (row > 6.0 && row < 7.0);
        const int window = static_cast<int>((u - 8.0) / 20.0) + 5 * static_cast<int>((v - 10.0) / 23.0);
        t = mullion ? 6.0 : 11.0 + 2.5 * latticeValue(window, 0, 4);
    }

    void pipes(double x, double y, double& t) const {
        const auto pipe = [&](double ax, double ay, double bx, double by, double radius, double value) {
            const double d = segmentDistance(x, y, ax * w_, ay * h_, bx * w_, by * h_);
            // Warmest along its middle, as a cylinder seen from the side.
            if (d < radius) t = value - 0.3 * (value - 15.0) * (d / radius) * (d / radius);
        };
        pipe(0.05, 0.60, 0.58, 0.95, 4.0 * unit_, 42.0);
        pipe(0.05, 0.72, 0.44, 0.98, 2.0, 31.0);
        pipe(0.47, 0.02, 0.99, 0.16, 0.8, 27.0);  // wires, thinner than a low-resolution pixel
        pipe(0.47, 0.05, 0.99, 0.22, 0.8, 2.0);
    }

    void machines(double x, double y, double& t) const {
        const double hot = std::hypot(x - 0.72 * w_, y - 0.42 * h_) / unit_;
        if (hot < 17.0) t = hot < 6.0 ? 71.0 : 47.0 + 0.5 * (17.0 - hot);
        const double rim = std::abs(hot - 13.0);
        if (rim < 0.8) t = 36.0;
        const double cold = std::hypot((x - 0.91 * w_) / 1.0, (y - 0.66 * h_) / 1.4) / unit_;
        if (cold < 14.0) t = -6.0 + 0.02 * cold * cold;
    }

    /// Plates with bars whose periods, in pixels of this picture, run from coarse to finer than the
    /// low-resolution grid resolves (4).
    void bars(double x, double y, double& t) const {
        double left = std::floor(0.60 * w_);
        const double top = std::floor(0.70 * h_);
        const double size = 24.0 * std::max(unit_ / 1.0, 0.4);
        for (const double period : {6.0, 4.0, 3.2}) {
            for (const bool upright : {true, false}) {
                const double plateTop = upright ? top : top + size + 3.0;
                if (!inBox(x, y, left, plateTop, size, size)) continue;
                const double along = upright ? x - left : y - plateTop;
                t = std::fmod(along, period) < 0.5 * period ? 29.0 : 18.0;
            }
            left += size + 3.0;
        }
    }

    void star(double x, double y, double& t) const {
        const double dx = x - 0.53 * w_;
        const double dy = y - 0.43 * h_;
        if (std::hypot(dx, dy) >= 26.0 * unit_) return;
        const double sector = (std::atan2(dy, dx) / kPi + 1.0) * 9.0;
        t = sector - std::floor(sector) < 0.5 ? 26.0 : 15.0;
    }

    double w_;
    double h_;
    double unit_;  // pixels of this picture for one of a 320 x 240 picture
};

}  // namespace

cv::Mat_<float> renderScene(cv::Size picture, int margin) {
    const Scene scene(picture);
    cv::Mat_<float> image(picture.height + 2 * margin, picture.width + 2 * margin);
    for (int r = 0; r < image.rows; ++r) {
        for (int c = 0; c < image.cols; ++c) {
            double sum = 0.0;
            for (int k = 0; k < kSamples * kSamples; ++k) {
                const int row = k / kSamples;
                const double x = c - margin + (k % kSamples + 0.5) / kSamples;
                const double y = r - margin + (row + 0.5) / kSamples;
                sum += scene.at(x, y);
            }
            image(r, c) = static_cast<float>(sum / (kSamples * kSamples));
        }
    }
    return image;
}

}  // namespace oravo::tools
