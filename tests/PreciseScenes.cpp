#include "tests/PreciseScenes.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

namespace oravo::test {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kWaves = 48;
constexpr double kFinest = 0.75;  ///< cycles a pixel
constexpr int kBorder = 8;        ///< of an enlarged image, not compared

double sinc(double x) {
    return std::abs(x) < 1e-9 ? 1.0 : std::sin(x) / x;
}

/// A step at 0, blurred.
double edge(double x, double sigma) {
    return 0.5 * std::erfc(-x / (std::sqrt(2.0) * sigma));
}

}  // namespace

Pose Pose::similarity(double dx, double dy, double degrees, double zoom) {
    const double angle = degrees * kPi / 180.0;
    const double c = (1.0 + zoom) * std::cos(angle), s = (1.0 + zoom) * std::sin(angle);
    return {dx, dy, {{c - 1.0, -s}, {s, c - 1.0}}};
}

cv::Point2d Pose::seen(double x, double y) const {
    const double xx = 1.0 + linear[0][0], yy = 1.0 + linear[1][1], xy = linear[0][1], yx = linear[1][0];
    const double determinant = xx * yy - xy * yx, u = x - dx, v = y - dy;
    return {(yy * u - xy * v) / determinant, (xx * v - yx * u) / determinant};
}

AnalyticScene& AnalyticScene::addWaves(unsigned seed, double contrast) {
    const std::vector<float> random = randomVector(3 * kWaves, seed, 0.0f, 1.0f);
    double squares = 0.0;
    for (std::size_t i = 0; i < kWaves; ++i) {
        const double frequency = 0.03 + (kFinest - 0.03) * static_cast<double>(random[3 * i]);
        const double direction = 2.0 * kPi * static_cast<double>(random[3 * i + 1]);
        const double k = 2.0 * kPi * frequency;
        const double amplitude = 1.0 / (0.1 + frequency);  // as natural scenes fall off
        waves_.push_back({amplitude, k * std::cos(direction), k * std::sin(direction),
                          2.0 * kPi * static_cast<double>(random[3 * i + 2])});
        squares += 0.5 * amplitude * amplitude;
    }
    for (std::size_t i = waves_.size() - kWaves; i < waves_.size(); ++i)
        waves_[i].amplitude *= contrast / std::sqrt(squares);
    return *this;
}

AnalyticScene& AnalyticScene::addPlate(cv::Point2d centre, cv::Size2d half, double height, double softness) {
    plates_.push_back({centre, half, height, softness});
    return *this;
}

double AnalyticScene::Plate::at(double x, double y, double blur) const {
    const double c = std::cos(kPi / 9.0), s = std::sin(kPi / 9.0);
    const double u = c * (x - centre.x) + s * (y - centre.y), v = c * (y - centre.y) - s * (x - centre.x);
    const double sigma = std::hypot(softness, blur);
    return height * edge(half.width + u, sigma) * edge(half.width - u, sigma) * edge(half.height + v, sigma) *
           edge(half.height - v, sigma);
}

double AnalyticScene::at(double x, double y) const {
    double value = level_;
    for (const Wave& wave : waves_)
        value += wave.amplitude * std::cos(wave.kx * x + wave.ky * y + wave.phase);
    for (const Plate& plate : plates_) value += plate.at(x, y, 0.0);
    return value;
}

Image AnalyticScene::frame(const Pose& pose) const {
    const double nodes[] = {-std::sqrt(0.15), 0.0, std::sqrt(0.15)},
                 shares[] = {5.0 / 18.0, 8.0 / 18.0, 5.0 / 18.0};
    const cv::Point2d origin = pose.seen(0.0, 0.0), right = pose.seen(1.0, 0.0) - origin,
                      down = pose.seen(0.0, 1.0) - origin;
    std::vector<Wave> waves = waves_;
    for (Wave& wave : waves) {
        // The wave in the frame's own coordinates, in which the pixel is a unit square.
        const double kx = wave.kx * right.x + wave.ky * right.y, ky = wave.kx * down.x + wave.ky * down.y;
        wave.phase += wave.kx * origin.x + wave.ky * origin.y;
        wave.amplitude *=
            std::exp(-0.5 * kOptics * kOptics * (kx * kx + ky * ky)) * sinc(0.5 * kx) * sinc(0.5 * ky);
        wave.kx = kx;
        wave.ky = ky;
    }
    Image image(size_);
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            const double qx = x - 0.5 * (size_.width - 1), qy = y - 0.5 * (size_.height - 1);
            double value = level_;
            for (const Wave& wave : waves)
                value += wave.amplitude * std::cos(wave.kx * qx + wave.ky * qy + wave.phase);
            for (int n = 0; n < 9; ++n) {
                const cv::Point2d p = pose.seen(qx + nodes[n % 3], qy + nodes[n / 3]);
                for (const Plate& plate : plates_)
                    value += shares[n % 3] * shares[n / 3] * plate.at(p.x, p.y, kOptics);
            }
            image(y, x) = static_cast<float>(value);
        }
    }
    return image;
}

Image AnalyticScene::truth(int factor) const {
    Image image(size_ * factor);
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            // Frame pixel i lies at factor i + (factor - 1) / 2.
            image(y, x) = static_cast<float>(
                at((x - 0.5 * (image.cols - 1)) / factor, (y - 0.5 * (image.rows - 1)) / factor));
        }
    }
    return image;
}

cv::Mat_<uchar> AnalyticScene::flat(int factor) const {
    const cv::Mat around = cv::Mat::ones(6 * factor + 1, 6 * factor + 1, CV_8U);
    Image highest, lowest;
    cv::dilate(truth(factor), highest, around);
    cv::erode(truth(factor), lowest, around);
    return cv::Mat_<uchar>(highest - lowest < 1e-3);
}

Image noisy(const Image& image, unsigned seed, double sigma) {
    constexpr int kSum = 12;  // uniform values of variance 1 / 3
    const std::vector<float> random = randomVector(kSum * image.rows * image.cols, seed);
    Image out(image.size());
    for (int i = 0; i < out.rows * out.cols; ++i) {
        double sum = 0.0;
        for (int n = 0; n < kSum; ++n)
            sum += static_cast<double>(random[static_cast<std::size_t>(kSum * i + n)]);
        out(i / out.cols, i % out.cols) =
            static_cast<float>(image(i / out.cols, i % out.cols) + sigma * 0.5 * sum);
    }
    return out;
}

std::vector<Image> burst(const AnalyticScene& scene, const std::vector<Pose>& poses, double noise,
                         unsigned seed) {
    std::vector<Image> frames;
    for (const Pose& pose : poses)
        frames.push_back(noisy(scene.frame(pose), 1000 * seed + static_cast<unsigned>(frames.size()), noise));
    return frames;
}

std::vector<Pose> handHeld(int n, double degrees, double zoom) {
    const std::vector<float> random = randomVector(4 * n, 77);
    std::vector<Pose> poses;
    for (int k = 0; k < n; ++k) {
        const float* r = &random[static_cast<std::size_t>(4 * k)];
        poses.push_back(
            k == n / 2
                ? Pose()
                : Pose::similarity(1.5 * static_cast<double>(r[0]), 1.5 * static_cast<double>(r[1]),
                                   degrees * static_cast<double>(r[2]), zoom * static_cast<double>(r[3])));
    }
    return poses;
}

vision::SrPreciseResult enhance(const std::vector<Image>& frames, int reference,
                                const vision::SrPreciseOptions& options) {
    return vision::SrPrecise(frames.front().cols, frames.front().rows, options).compute(frames, reference);
}

Image bicubic(const Image& frame, int factor) {
    Image out;
    cv::resize(frame, out, frame.size() * factor, 0.0, 0.0, cv::INTER_CUBIC);
    return out;
}

double gainOverBicubic(const Image& image, const Image& reference, const Image& truth) {
    return 20.0 * std::log10(rmsDifference(bicubic(reference), truth, kBorder) /
                             rmsDifference(image, truth, kBorder));
}

}  // namespace oravo::test
