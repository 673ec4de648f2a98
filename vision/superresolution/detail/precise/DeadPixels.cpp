#include "vision/superresolution/detail/precise/DeadPixels.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/Misfit.h"
#include "vision/superresolution/detail/precise/Ring.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kDeadDisplacement = 0.1;
constexpr double kDeadRange = 0.15;  ///< of the values around a pixel: structure that an image may miss
constexpr double kDeadUnexplained =
    0.3;  ///< share of a pixel's difference from its neighbours that the image misses
constexpr double kDeadMost = 10.0;  ///< standard deviations that one frame adds to the mean
constexpr double kStuckRange =
    5.0;  ///< standard deviations that values of a stuck pixel differ from frame to frame
constexpr double kStuckShare = 0.05;       ///< of how much its neighbours differ
constexpr double kStuckOfPredicted = 0.8;  ///< of how much the image's values there differ
constexpr double kFarOff =
    60.0;  ///< standard deviations from its neighbours at which a stuck pixel shows by itself
constexpr double kFarOffRanges = 2.0;  ///< and ranges of these neighbours
constexpr float kDeadMisfit = 3.0f;    ///< mean misfit over the frames from which a pixel is dead
constexpr int kDeadFrames = 3;
// Of pixels that were found dead before. A stuck one misses all of the image's change, and has a misfit of some standard
// deviations at least; noise alone has 0.8.
constexpr double kTellingChange = 2.0;
constexpr double kFollowingShare = 0.4;
constexpr double kSoundMisfit = 1.3;
constexpr double kStillStuckRange = 7.0;  ///< as kStuckRange, but that it was found stuck before
constexpr int kAside = 3;                 ///< pixels, that a dead pixel hardly reaches
constexpr float kStandsOut = 3.0f;        ///< deviation of a dead pixel over that kAside pixels away
/// A pixel whose values have a range of kStuckShare of its neighbours' differs from them by 1 / kStuckShare of that range
/// in sum, of which the image has to miss kDeadUnexplained; half of that, as gains differ.
constexpr float kMissedRange = static_cast<float>(0.5 * kDeadUnexplained / kStuckShare);

/// Summary of a pixel over all frames, cheap enough for every pixel.
struct Glance {
    float deviation = 0.0f;    ///< mean misfit, in standard deviations of each frame, kDeadMost at most
    float unexplained = 0.0f;  ///< sum of misfits
    float range = 0.0f;        ///< of the values
    int count = 0;             ///< frames with a misfit there
};

Glance glanceAt(const std::vector<FrameState>& frames, std::size_t q) {
    Glance seen;
    float lowest = 1e30f, highest = -1e30f;
    for (const FrameState& frame : frames) {
        if (!(frame.inside[q] > 0.0f)) continue;
        const float misfit = std::abs(frame.misfit[q]);
        seen.unexplained += misfit;
        seen.deviation += std::min(misfit / static_cast<float>(frame.scale), static_cast<float>(kDeadMost));
        lowest = std::min(lowest, frame.values[q]);
        highest = std::max(highest, frame.values[q]);
        ++seen.count;
    }
    if (seen.count == 0) return seen;
    seen.deviation /= static_cast<float>(seen.count);
    seen.range = highest - lowest;
    return seen;
}

/// Whether a pixel deviates more than those kAside pixels away, which a dead pixel does not reach. Where the scene itself
/// changes they all do.
bool standsOut(const Grid& grid, const std::vector<float>& deviation, std::size_t q) {
    const int x = static_cast<int>(q % static_cast<std::size_t>(grid.width));
    const int y = static_cast<int>(q / static_cast<std::size_t>(grid.width));
    float sum = 0.0f;
    int count = 0;
    for (int j = -kAside; j <= kAside; ++j) {
        for (int i = -kAside; i <= kAside; ++i) {
            if (std::max(std::abs(i), std::abs(j)) < kAside || x + i < 0 || x + i >= grid.width ||
                y + j < 0 || y + j >= grid.height) {
                continue;
            }
            sum += deviation[static_cast<std::size_t>(grid.rowStart(y + j) + x + i)];
            ++count;
        }
    }
    return deviation[q] * static_cast<float>(count) > kStandsOut * sum;
}

/// What the image has at a pixel of a frame.
double predictedAt(const FrameState& frame, std::size_t q) {
    return (frame.values[q] - frame.offset) / frame.gain - frame.misfit[q];
}

/// How far a pixel is from following the scene, in standard deviations on average over the frames; 0 where it may be
/// the image that is wrong, or fewer than `enough` frames show it.
double strangeness(const Grid& grid, const std::vector<FrameState>& frames, std::size_t q, int enough) {
    double moving = 0.0, stuck = 0.0, unexplained = 0.0, peculiar = 0.0, ranges = 0.0, noise = 0.0;
    double lowest = 1e30, highest = -1e30, lowestAround = 1e30, highestAround = -1e30;
    double lowestPredicted = 1e30, highestPredicted = -1e30;
    int count = 0;
    for (const FrameState& frame : frames) {
        if (!(frame.inside[q] > 0.0f)) continue;
        const Ring ring = ringAround(grid, frame, q);
        const double misfit = std::abs(frame.misfit[q]);
        const double edge = kDeadDisplacement * frame.slope[q];
        stuck += std::min(misfit / lengthOf(frame.scale, edge), kDeadMost);
        moving +=
            std::min(misfit / lengthOf(lengthOf(frame.scale, edge), kDeadRange * ring.range), kDeadMost);
        unexplained += misfit;
        peculiar += std::abs(frame.values[q] - ring.mean) / frame.gain;
        ranges += ring.range;
        noise = std::max(noise, frame.scale);
        lowest = std::min(lowest, static_cast<double>(frame.values[q]));
        highest = std::max(highest, static_cast<double>(frame.values[q]));
        lowestAround = std::min(lowestAround, ring.mean);
        highestAround = std::max(highestAround, ring.mean);
        lowestPredicted = std::min(lowestPredicted, predictedAt(frame, q));
        highestPredicted = std::max(highestPredicted, predictedAt(frame, q));
        ++count;
    }
    if (count < enough) return 0.0;
    const double range = highest - lowest;
    // A pixel far off smooth neighbours, whose value stays while the scene moves, is no detail of the scene: such a spot would
    // change with every fraction of a pixel. An image with little prior may explain it all the same.
    if (range < kStuckRange * noise && peculiar > kFarOff * noise * count &&
        peculiar > kFarOffRanges * ranges) {
        return kDeadMost;
    }
    const bool missed = unexplained > kDeadUnexplained * peculiar;
    // Beside a sharp edge a good pixel changes little as well, while its neighbours do, but the image explains it.
    if (missed && range < kStuckRange * noise && range < kStuckShare * (highestAround - lowestAround)) {
        return kDeadMost;
    }
    // A value that stays the same where the image predicts a change is stuck, however much the scene varies around it.
    const double predicted = highestPredicted - lowestPredicted;
    if (range < kStuckRange * noise && range < kStuckOfPredicted * predicted) return stuck / count;
    return missed ? moving / count : 0.0;
}

/// How a pixel fits an image that it has no part in, over the frames.
struct Fit {
    double change =
        0.0;  ///< of the image's values there, about their mean, in standard deviations on average
    double misfit = 0.0;   ///< of the pixel's own values, likewise
    bool isStuck = true;   ///< its values are the same in all frames
    bool isKnown = false;  ///< enough frames show it
};

Fit fitAt(const std::vector<FrameState>& frames, std::size_t q, int enough) {
    double sum = 0.0, noise = 0.0, lowest = 1e30, highest = -1e30;
    int count = 0;
    for (const FrameState& frame : frames) {
        if (!(frame.inside[q] > 0.0f)) continue;
        sum += predictedAt(frame, q);
        noise = std::max(noise, frame.scale);
        lowest = std::min(lowest, static_cast<double>(frame.values[q]));
        highest = std::max(highest, static_cast<double>(frame.values[q]));
        ++count;
    }
    Fit fit;
    if (count < enough) return fit;
    fit.isKnown = true;
    fit.isStuck = highest - lowest < kStillStuckRange * noise;
    for (const FrameState& frame : frames) {
        if (!(frame.inside[q] > 0.0f)) continue;
        const double unit = count * lengthOf(frame.scale, kDeadDisplacement * frame.slope[q]);
        fit.change += std::abs(predictedAt(frame, q) - sum / count) / unit;
        fit.misfit += std::abs(static_cast<double>(frame.misfit[q])) / unit;
    }
    return fit;
}

/// Whether one of a pixel's eight neighbours is among the pixels, which are ascending.
bool hasNeighbour(const Grid& grid, const std::vector<std::size_t>& pixels, std::size_t q) {
    bool found = false;
    forEachNeighbour(grid, q, [&](std::size_t beside) {
        found = found || std::binary_search(pixels.begin(), pixels.end(), beside);
    });
    return found;
}

/// The frames that show what the reference shows.
std::vector<FrameState> usualOnes(const std::vector<FrameState>& all) {
    const double usual = medianScale(all);
    std::vector<FrameState> frames;
    std::copy_if(all.begin(), all.end(), std::back_inserter(frames),
                 [usual](const FrameState& frame) { return fitsUsually(frame, usual); });
    return frames;
}

int enoughOf(const std::vector<FrameState>& frames) {
    return std::max(kDeadFrames, static_cast<int>(frames.size()) / 2);
}

}  // namespace

std::vector<std::size_t> findSound(const Grid& grid, const std::vector<FrameState>& all,
                                   const std::vector<std::size_t>& pixels) {
    const std::vector<FrameState> frames = usualOnes(all);
    const int enough = enoughOf(frames);
    std::vector<std::size_t> sound;
    for (const std::size_t q : pixels) {
        const Fit fit = fitAt(frames, q, enough);
        if (!fit.isKnown) continue;
        const bool follows = fit.change >= kTellingChange && fit.misfit <= kFollowingShare * fit.change;
        if (fit.misfit <= kSoundMisfit || follows || (!fit.isStuck && hasNeighbour(grid, pixels, q)))
            sound.push_back(q);
    }
    return sound;
}

std::vector<std::size_t> findDeadPixels(const Grid& grid, const std::vector<FrameState>& all,
                                        const Threads& threads) {
    const std::vector<FrameState> frames = usualOnes(all);
    const std::size_t area = static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height);
    std::vector<float> score(area), deviation(area);
    const int enough = enoughOf(frames);
    const auto possibleOfRow = [&](int y, std::vector<std::size_t>& possible) {
        for (std::size_t q = areaOf(y, grid.width); q < areaOf(y + 1, grid.width); ++q) {
            const Glance seen = glanceAt(frames, q);
            deviation[q] = seen.deviation;
            if (seen.count >= enough &&
                (seen.deviation >= kDeadMisfit || seen.unexplained > kMissedRange * seen.range)) {
                possible.push_back(q);
            }
        }
    };
    const auto possible = threads.gatherRows<std::size_t>(grid.height, possibleOfRow);
    for (const std::size_t q : possible) {
        if (standsOut(grid, deviation, q))
            score[q] = static_cast<float>(strangeness(grid, frames, q, enough));
    }
    std::vector<std::size_t> dead;
    for (const std::size_t q : possible) {
        bool highest = score[q] >= kDeadMisfit;
        if (highest)
            forEachNeighbour(grid, q, [&](std::size_t p) { highest = highest && score[p] <= score[q]; });
        if (highest) dead.push_back(q);
    }
    return dead;
}

}  // namespace oravo::vision::detail::precise
