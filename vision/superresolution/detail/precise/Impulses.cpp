#include "vision/superresolution/detail/precise/Impulses.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/FrameNoise.h"
#include "vision/superresolution/detail/precise/Ring.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kFarOff = 10.0;          ///< standard deviations of the noise
constexpr double kRanges = 0.6;           ///< of a value's neighbours that it is off their mean by
constexpr double kLeastMissed = 0.5;      ///< share that the image misses of its difference from them
constexpr std::size_t kFewestOthers = 2;  ///< frames that show the place
constexpr double kAlone = 0.4;            ///< share of its misfit that those of its neighbours stay below
constexpr double kShareOfMany = 0.004;    ///< share of values from which on impulses are many
constexpr int kMostBeside = 2;            ///< neighbours that one of many impulses may have among themselves
constexpr double kSamePlace = 1.0;  ///< pixels of the scene that two values off one thing lie apart, at most

/// What a value's misfit has to be over those of other frames around the same place of the scene.
struct Margins {
    double middle;   ///< over the middle one, of other pixels
    double quarter;  ///< over that of a quarter of the frames, whichever the pixels
};
constexpr Margins kFew{4.0, 6.0};
constexpr Margins kMany{0.0, 4.0};  ///< where impulses are many, others of them lie around the place

double misfitOf(const FrameState& frame, std::size_t q) {
    return frame.inside[q] > 0.0f ? std::abs(static_cast<double>(frame.misfit[q])) : 0.0;
}

/// Where a frame's pixel lies in the scene, measured from the reference's centre.
Motion::Point placeOf(const Grid& grid, const FrameState& frame, std::size_t q) {
    const auto width = static_cast<std::size_t>(grid.width);
    const double x = static_cast<double>(q % width) - 0.5 * (grid.width - 1);
    const std::size_t row = q / width;
    const double y = static_cast<double>(row) - 0.5 * (grid.height - 1);
    return {frame.motion.x(x, y), frame.motion.y(x, y)};
}

/// The largest misfit among a frame's four pixels around a place of the scene.
struct MisfitAt {
    float all = 0.0f;
    float ofOthers = 0.0f;  ///< but for one pixel
};

/// None where the frame does not show the place.
std::optional<MisfitAt> misfitAt(const Grid& grid, const FrameState& frame, const Motion::Point& place,
                                 std::size_t pixel) {
    const Motion::Point from = frame.motion.origin(place);
    const double x = from.x + 0.5 * (grid.width - 1), y = from.y + 0.5 * (grid.height - 1);
    if (!(x >= 0.0 && y >= 0.0 && x <= grid.width - 1 && y <= grid.height - 1)) return std::nullopt;
    const int left = std::min(static_cast<int>(x), grid.width - 2);
    const int top = std::min(static_cast<int>(y), grid.height - 2);
    MisfitAt most;
    for (const int row : {top, top + 1}) {
        for (const int column : {left, left + 1}) {
            const auto q = static_cast<std::size_t>(grid.rowStart(row) + column);
            const auto misfit = static_cast<float>(misfitOf(frame, q));
            most.all = std::max(most.all, misfit);
            if (q != pixel) most.ofOthers = std::max(most.ofOthers, misfit);
        }
    }
    return most;
}

/// Whether the image explains what other frames show in the same place of the scene. A pixel that is often off counts little
/// against itself: many of the frames may show the place by it; but then some of them are explained by it, too.
bool isExplainedElsewhere(const Grid& grid, const std::vector<FrameState>& frames, std::size_t k,
                          std::size_t q, const Margins& margins) {
    const Motion::Point place = placeOf(grid, frames[k], q);
    std::vector<float> all, ofOthers;
    for (std::size_t other = 0; other < frames.size(); ++other) {
        if (other == k || !frames[other].used) continue;
        if (const std::optional<MisfitAt> most = misfitAt(grid, frames[other], place, q)) {
            all.push_back(most->all);
            ofOthers.push_back(most->ofOthers);
        }
    }
    const double misfit = misfitOf(frames[k], q);
    return all.size() >= kFewestOthers &&
           misfit > margins.middle * valueAtPlace(ofOthers, ofOthers.size() / 2) &&
           misfit > margins.quarter * valueAtPlace(all, (all.size() - 1) / 4);
}

/// A value that an image of all frames does not explain, while it explains those of other frames around the same place.
struct Odd {
    std::size_t frame, pixel;
    Motion::Point place;
    bool above;  ///< the image
};

bool isOdd(const Grid& grid, const std::vector<FrameState>& frames, std::size_t k, std::size_t q,
           const Margins& margins) {
    const FrameState& frame = frames[k];
    const double misfit = misfitOf(frame, q);
    if (!(misfit > kFarOff * frame.scale)) return false;
    const double offNeighbours = std::abs(frame.values[q] - ringAround(grid, frame, q).mean) / frame.gain;
    if (!(misfit > kLeastMissed * offNeighbours)) return false;
    return isExplainedElsewhere(grid, frames, k, q, margins);
}

std::vector<Odd> oddValues(const Grid& grid, const std::vector<FrameState>& frames, const Margins& margins,
                           const Threads& threads) {
    std::vector<Odd> odd;
    for (std::size_t k = 0; k < frames.size(); ++k) {
        if (!frames[k].used) continue;
        const auto oddOfRow = [&](int y, std::vector<Odd>& found) {
            for (std::size_t q = areaOf(y, grid.width); q < areaOf(y + 1, grid.width); ++q) {
                if (isOdd(grid, frames, k, q, margins))
                    found.push_back({k, q, placeOf(grid, frames[k], q), frames[k].misfit[q] > 0.0f});
            }
        };
        const std::vector<Odd> ofFrame = threads.gatherRows<Odd>(grid.height, oddOfRow);
        odd.insert(odd.end(), ofFrame.begin(), ofFrame.end());
    }
    return odd;
}

/// How many of a pixel's up to eight neighbours the image misses likewise.
int companions(const Grid& grid, const FrameState& frame, std::size_t q) {
    int count = 0;
    forEachNeighbour(grid, q, [&](std::size_t beside) {
        if (misfitOf(frame, beside) > kAlone * misfitOf(frame, q)) ++count;
    });
    return count;
}

/// Whether impulses are so many that some lie side by side, or in one place of the scene, by chance.
bool areMany(const Grid& grid, const std::vector<FrameState>& frames, const std::vector<Odd>& odd) {
    const auto alone = std::count_if(odd.begin(), odd.end(), [&](const Odd& one) {
        return companions(grid, frames[one.frame], one.pixel) == 0;
    });
    const auto used =
        std::count_if(frames.begin(), frames.end(), [](const FrameState& frame) { return frame.used; });
    return static_cast<double>(alone) >
           kShareOfMany * static_cast<double>(used) * static_cast<double>(frames.front().values.size());
}

bool areOneThing(const Odd& a, const Odd& b) {
    return a.frame != b.frame && a.pixel != b.pixel && a.above == b.above &&
           lengthOf(a.place.x - b.place.x, a.place.y - b.place.y) <= kSamePlace;
}

/// Odd values by bands of the scene and from left to right within each, where those around one are found without a look at all.
class OddByPlace {
  public:
    explicit OddByPlace(std::vector<Odd> all) : all_(std::move(all)) {
        std::sort(all_.begin(), all_.end(), [](const Odd& a, const Odd& b) {
            return bandOf(a) != bandOf(b) ? bandOf(a) < bandOf(b) : a.place.x < b.place.x;
        });
    }

    /// Whether the next frame or the one before shows the same thing, or two others do. One other may do so by
    /// chance.
    bool showAgain(const Odd& one) const {
        int others = 0;
        for (const double off : {-1.0, 0.0, 1.0}) {
            const double band = bandOf(one) + off;
            const auto isBefore = [&](const Odd& other) {
                return bandOf(other) != band ? bandOf(other) < band
                                             : one.place.x - other.place.x > kSamePlace;
            };
            for (auto other = std::partition_point(all_.begin(), all_.end(), isBefore);
                 other != all_.end() && bandOf(*other) == band && other->place.x - one.place.x <= kSamePlace;
                 ++other) {
                if (!areOneThing(one, *other)) continue;
                const bool isNext = other->frame + 1 == one.frame || one.frame + 1 == other->frame;
                if (isNext || ++others == 2) return true;
            }
        }
        return false;
    }

  private:
    /// Bands are higher than kSamePlace, so that two values off one thing lie in one or in neighbouring ones.
    static double bandOf(const Odd& odd) { return std::floor(odd.place.y / (2.0 * kSamePlace)); }

    std::vector<Odd> all_;
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
                                                   const Threads& threads) {
    std::vector<Odd> odd = oddValues(grid, frames, kFew, threads);
    const bool many = areMany(grid, frames, odd);
    if (many) odd = oddValues(grid, frames, kMany, threads);
    const OddByPlace byPlace(odd);
    std::vector<std::vector<std::size_t>> impulses(frames.size());
    for (const Odd& one : odd) {
        const int beside = companions(grid, frames[one.frame], one.pixel);
        if (many ? beside <= kMostBeside : beside == 0 && !byPlace.showAgain(one))
            impulses[one.frame].push_back(one.pixel);
    }
    return impulses;
}

}  // namespace oravo::vision::detail::precise
