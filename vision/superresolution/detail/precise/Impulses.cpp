#include "vision/superresolution/detail/precise/Impulses.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/FrameNoise.h"
#include "vision/superresolution/detail/precise/Ring.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kFarOff = 10.0;       ///< standard deviations of the noise
constexpr double kRanges = 0.6;        ///< of a value's neighbours that it is off their mean by
constexpr double kDisplacement = 0.5;  ///< pixels that an image's edges may be off by
constexpr double kLeastMissed = 0.5;   ///< share of a spike that the image misses
constexpr double kMostMissed = 1.5;    ///< beyond it is the image that is off, not the value
constexpr double kSamePlace = 1.0;  ///< pixels of the scene that two spikes of one thing lie apart, at most
constexpr double kAlone = 0.4;      ///< share of its misfit that those of its neighbours stay below

/// The largest misfit among a pixel's up to eight neighbours.
double misfitAround(const Grid& grid, const FrameState& frame, std::size_t q) {
    double most = 0.0;
    forEachNeighbour(grid, q, [&](std::size_t beside) {
        if (frame.inside[beside] > 0.0f)
            most = std::max(most, std::abs(static_cast<double>(frame.misfit[beside])));
    });
    return most;
}

double offNeighbours(const Grid& grid, const FrameState& frame, std::size_t q) {
    return (frame.values[q] - ringAround(grid, frame, q).mean) / frame.gain;
}

bool isUnexplained(const Grid& grid, const FrameState& frame, std::size_t q) {
    if (!(frame.inside[q] > 0.0f)) return false;
    const double missed = frame.misfit[q] / offNeighbours(grid, frame, q);
    const double size = std::abs(static_cast<double>(frame.misfit[q]));
    return missed > kLeastMissed && missed < kMostMissed &&
           size > lengthOf(kFarOff * frame.scale, kDisplacement * frame.slope[q]) &&
           misfitAround(grid, frame, q) < kAlone * size;
}

/// A spike, and its place in the scene.
struct Seen {
    std::size_t frame, pixel;
    double x, y;
    bool above;  ///< its neighbours
};

std::vector<Seen> placesOf(const Grid& grid, const std::vector<FrameState>& frames,
                           const std::vector<std::vector<std::size_t>>& spikes) {
    std::vector<Seen> places;
    for (std::size_t k = 0; k < frames.size(); ++k) {
        for (const std::size_t q : spikes[k]) {
            const std::size_t row = q / static_cast<std::size_t>(grid.width);
            const double x =
                static_cast<double>(q % static_cast<std::size_t>(grid.width)) - 0.5 * (grid.width - 1);
            const double y = static_cast<double>(row) - 0.5 * (grid.height - 1);
            const Motion& motion = frames[k].motion;
            places.push_back({k, q, motion.x(x, y), motion.y(x, y), offNeighbours(grid, frames[k], q) > 0.0});
        }
    }
    return places;
}

bool areOneThing(const Seen& a, const Seen& b) {
    return a.frame != b.frame && a.pixel != b.pixel && a.above == b.above &&
           lengthOf(a.x - b.x, a.y - b.y) <= kSamePlace;
}

/// Spikes by bands of the scene and from left to right within each, where those around one are found without a look at all.
class SpikesByPlace {
  public:
    explicit SpikesByPlace(std::vector<Seen> all) : all_(std::move(all)) {
        std::sort(all_.begin(), all_.end(), [](const Seen& a, const Seen& b) {
            return bandOf(a) != bandOf(b) ? bandOf(a) < bandOf(b) : a.x < b.x;
        });
    }

    /// Whether another of them is the same thing.
    bool showAgain(const Seen& one) const {
        for (const double off : {-1.0, 0.0, 1.0}) {
            const double band = bandOf(one) + off;
            const auto isBefore = [&](const Seen& other) {
                return bandOf(other) != band ? bandOf(other) < band : one.x - other.x > kSamePlace;
            };
            for (auto other = std::partition_point(all_.begin(), all_.end(), isBefore);
                 other != all_.end() && bandOf(*other) == band && other->x - one.x <= kSamePlace; ++other) {
                if (areOneThing(one, *other)) return true;
            }
        }
        return false;
    }

  private:
    /// Bands are higher than kSamePlace, so that two spikes of one thing lie in one or in neighbouring ones.
    static double bandOf(const Seen& spike) { return std::floor(spike.y / (2.0 * kSamePlace)); }

    std::vector<Seen> all_;
};

}  // namespace

std::vector<std::size_t> findSpikes(const Grid& grid, const FrameState& frame, const Threads& threads) {
    const double noise = frameNoise(frame, grid.width, grid.height);
    const auto spikesOfRow = [&](int y, std::vector<std::size_t>& spikes) {
        for (std::size_t q = areaOf(y, grid.width); q < areaOf(y + 1, grid.width); ++q) {
            if (!(frame.present[q] > 0.0f)) continue;
            const Ring ring = ringAround(grid, frame, q);
            const double off = std::abs(frame.values[q] - ring.mean);
            if (off > kFarOff * noise && off > kRanges * ring.range) spikes.push_back(q);
        }
    };
    return threads.gatherRows<std::size_t>(grid.height, spikesOfRow);
}

std::vector<std::vector<std::size_t>> findImpulses(const Grid& grid, const std::vector<FrameState>& frames,
                                                   const std::vector<std::vector<std::size_t>>& spikes) {
    const std::vector<Seen> places = placesOf(grid, frames, spikes);
    const SpikesByPlace spikesByPlace(places);
    std::vector<std::vector<std::size_t>> impulses(frames.size());
    for (const Seen& one : places) {
        if (isUnexplained(grid, frames[one.frame], one.pixel) && !spikesByPlace.showAgain(one))
            impulses[one.frame].push_back(one.pixel);
    }
    return impulses;
}

}  // namespace oravo::vision::detail::precise
