#include "tools/simulate/BurstSimulator.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "support/FloatBits.h"
#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/simulate/Camera.h"
#include "tools/simulate/Scene.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::tools {
namespace {

constexpr int kFactor = Camera::kFactor;
constexpr int kDefectSpacing = 3;  // so that every defect has sound neighbours

/// Streams of one seed that have nothing to do with each other.
cv::RNG randomStream(std::uint64_t seed, std::uint64_t stream) {
    std::uint64_t z = (seed * 4 + stream + 1) * 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    return cv::RNG(z ^ z >> 31);
}

/// How far the scene has to reach beyond what an unshifted frame shows, in its own pixels.
int marginFor(const std::vector<cv::Point2f>& shifts, const Camera& camera) {
    float largest = 0.0f;
    for (const cv::Point2f& d : shifts) largest = std::max({largest, std::abs(d.x), std::abs(d.y)});
    return kFactor * (static_cast<int>(std::ceil(largest)) + 1) + camera.reach();
}

/// Throws UserError when there is no memory for all frames and for rendering the scene.
void requireRoom(const SimulationParameters& p) {
    constexpr std::uint64_t kBytesPerScenePixel = 16;  // measured: 15 with the frame that is being taken
    const auto width = static_cast<std::uint64_t>(p.frameSize.width);
    const auto height = static_cast<std::uint64_t>(p.frameSize.height);
    const auto margins = 2 * static_cast<std::uint64_t>(marginFor(p.shifts, Camera(p.psfSigma)));
    const std::uint64_t scene = (kFactor * width + margins) * (kFactor * height + margins);
    requireMemory(
        kBytesPerScenePixel * scene + sizeof(float) * p.shifts.size() * width * height,
        format("%zu frames of %d x %d pixels", p.shifts.size(), p.frameSize.width, p.frameSize.height));
}

/// A scene that is rendered once, with room for every shift.
class Stage {
  public:
    explicit Stage(const SimulationParameters& p)
        : camera_(p.psfSigma), frameSize_(p.frameSize), margin_(marginFor(p.shifts, camera_)) {
        const cv::Size high = frameSize_ * kFactor;
        scene_ = p.scene.empty() ? renderScene(high, margin_) : middleOf(p.scene);
    }

    cv::Mat_<float> truth() const {
        return scene_(cv::Rect({margin_, margin_}, frameSize_ * kFactor)).clone();
    }

    cv::Mat_<float> frame(cv::Point2f shift) const {
        const double first = margin_ + 0.5 * (kFactor - 1);
        return camera_.frame(scene_, frameSize_, {first, first}, shift);
    }

  private:
    cv::Mat_<float> middleOf(const cv::Mat_<float>& picture) const {
        const cv::Size needed = frameSize_ * kFactor + cv::Size(2 * margin_, 2 * margin_);
        if (picture.cols < needed.width || picture.rows < needed.height) {
            throw UserError(ExitCode::kUsage,
                            format("a scene of %d x %d pixels is too small: %d x %d needed", picture.cols,
                                   picture.rows, needed.width, needed.height));
        }
        const cv::Point origin((picture.cols - needed.width) / 2, (picture.rows - needed.height) / 2);
        return picture(cv::Rect(origin, needed));
    }

    Camera camera_;
    cv::Size frameSize_;
    int margin_;
    cv::Mat_<float> scene_;
};

/// Isolated places off the border.
std::vector<cv::Point> defectPlaces(cv::Size size, int count, cv::RNG random) {
    std::vector<cv::Point> places;
    const auto tooNear = [](cv::Point a, cv::Point b) {
        return std::abs(a.x - b.x) < kDefectSpacing && std::abs(a.y - b.y) < kDefectSpacing;
    };
    for (int attempt = 0; attempt < 100 * count && static_cast<int>(places.size()) < count; ++attempt) {
        const cv::Point place(random.uniform(1, size.width - 1), random.uniform(1, size.height - 1));
        const bool free = std::none_of(places.begin(), places.end(),
                                       [&](cv::Point other) { return tooNear(place, other); });
        if (free) places.push_back(place);
    }
    if (static_cast<int>(places.size()) < count) {
        throw UserError(ExitCode::kUsage, format("%d isolated defects do not fit into %d x %d pixels", count,
                                                 size.width, size.height));
    }
    return places;
}

void plantDefects(const std::vector<cv::Point>& places, cv::Mat_<float>& frame) {
    constexpr std::array<std::uint32_t, 3> kCodes{vision::CODE_BAD_PIXEL, vision::CODE_OVER_RANGE,
                                                  vision::CODE_UNDER_RANGE};
    for (std::size_t i = 0; i < places.size(); ++i) frame(places[i]) = floatOf(kCodes[i % kCodes.size()]);
}

void addNoise(double deviation, cv::RNG& random, cv::Mat_<float>& frame) {
    cv::Mat_<float> noise(frame.size());
    random.fill(noise, cv::RNG::NORMAL, 0.0, deviation);
    frame += noise;
}

}  // namespace

std::vector<cv::Point2f> randomShifts(int count, int reference, double largest, std::uint64_t seed) {
    cv::RNG random = randomStream(seed, 0);
    const auto draw = [&] {
        return static_cast<float>(std::round(random.uniform(-largest, largest) * 1e6) / 1e6);
    };
    std::vector<cv::Point2f> shifts(static_cast<std::size_t>(count));
    for (cv::Point2f& shift : shifts) {
        const float x = draw();
        shift = cv::Point2f(x, draw());
    }
    shifts.at(static_cast<std::size_t>(reference)) = {0.0f, 0.0f};
    return shifts;
}

Burst simulateBurst(const SimulationParameters& p) {
    const auto limit = static_cast<float>(std::min(p.frameSize.width, p.frameSize.height));
    for (const cv::Point2f& d : p.shifts) {
        if (std::abs(d.x) < limit && std::abs(d.y) < limit) continue;
        throw UserError(ExitCode::kUsage, format("shift (%g, %g) is larger than the frame",
                                                 static_cast<double>(d.x), static_cast<double>(d.y)));
    }
    requireRoom(p);
    const Stage stage(p);
    Burst burst;
    burst.truth = stage.truth();
    const std::vector<cv::Point> defects = defectPlaces(p.frameSize, p.defects, randomStream(p.seed, 1));
    cv::RNG noise = randomStream(p.seed, 2);
    for (const cv::Point2f& shift : p.shifts) {
        burst.frames.push_back(stage.frame(shift));
        addNoise(p.noise, noise, burst.frames.back());
        plantDefects(defects, burst.frames.back());
    }
    return burst;
}

}  // namespace oravo::tools
