#include "vision/superresolution/detail/precise/FirstGuess.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/Elementary.h"
#include "vision/superresolution/detail/precise/FrameNoise.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr int kFarthest = 40;          ///< longest shift that is searched, in pixels of the coarsest level
constexpr int kPeaks = 3;              ///< of the correlation
constexpr std::size_t kFinalists = 2;  ///< candidates that finer levels go on with
constexpr int kRefinePixels = 20000;   ///< that candidates are compared by
constexpr double kRefineStill = 5e-4;  ///< of a step, in pixels
constexpr double kNoWorse = 1.05;  ///< ratio of misfits up to which two fits are taken for the same motion
constexpr double kLeastOverlap = 0.3;  ///< of the frame; candidates of less lose against others

// A motion model beyond a translation has to be significant: blurred noise is correlated, so the errors of least squares
// are several times too small.
constexpr double kSignificance = 20.0;
constexpr double kVisibleTurn = 0.01;  ///< pixels at the frame's end
constexpr double kVisibleShear = 0.05;

// Agreement of blurred frames: misfits beyond kTolerance standard deviations, of noise and of so many pixels of
// displacement.
constexpr double kDisplacement = 0.03;
constexpr double kTolerance = 2.0;
constexpr double kMostMisfit = 20.0;     ///< standard deviations that one pixel may add to its neighbourhood
constexpr double kLeastExplained = 0.5;  ///< share of the variance, below which a frame shows something else
// Frames that show the same differ by 0.2 to 2 times their noise, compressed ones by up to 10 times, but those are alike to
// 0.1 %; a mirrored scene, which has its own levels and outlines, is alike to 45 to 94 %, and 10 to 80 times off.
constexpr double kStrange = 6.0;
constexpr double kExplainedOfStrange = 0.98;
// Of n independent values a fit of p parameters explains p / n where there is nothing to explain. Blurred by a Gaussian,
// 4 pi sigma^2 pixels make one such value: in small frames that is far from nothing.
constexpr double kPixelsPerValue = 4.0 * kPi * kFrameBlur * kFrameBlur;
constexpr double kParameters = 8.0;
constexpr double kLeastDoubt = 0.1;  ///< of the variance left to explain by chance, however small the frame

/// Lower is better; what hardly overlaps is no match however well it fits.
double costOf(const FitOutcome& outcome) {
    if (!outcome.valid) return 1e30;
    return outcome.covered < kLeastOverlap ? 10.0 * outcome.misfit : outcome.misfit;
}

}  // namespace

FirstGuess::FirstGuess(int width, int height, const Threads& threads)
    : width_(width), height_(height), threads_(threads), fits_(threads) {
}

void FirstGuess::setReference(const FrameState& reference) {
    reference_ = framePyramid(reference, width_, height_, threads_);
    splines_.clear();
    fits_ = PerSlot<Fits>(threads_);
    finest_.emplace(reference_.front().grid, threads_);
    for (const PyramidLevel& level : reference_) {
        const SplineImage spline(level.grid);
        for (int y = 0; y < level.grid.height; ++y)
            std::copy_n(level.image.row(y), level.grid.width, spline.row(y, 0));
        splines_.push_back(spline);
    }
    const PyramidLevel& finest = reference_.front();
    known_ = SplineImage(finest.grid);
    for (int y = 0; y < height_; ++y)
        std::copy_n(finest.known.data() + areaOf(y, width_), width_, known_.row(y, 0));
}

double FirstGuess::correlation(const PyramidLevel& level, int dx, int dy) const {
    const PaddedImage& reference = reference_.back().image;
    const int width = level.grid.width, height = level.grid.height;
    double n = 0.0, a = 0.0, b = 0.0, aa = 0.0, bb = 0.0, ab = 0.0;
    for (int y = std::max(0, -dy); y < std::min(height, height - dy); ++y) {
        const float* moved = reference.row(y + dy) + dx;
        const float* here = level.image.row(y);
        for (int x = std::max(0, -dx); x < std::min(width, width - dx); ++x) {
            const double u = here[x], v = moved[x];
            n += 1.0;
            a += u;
            b += v;
            aa += u * u;
            bb += v * v;
            ab += u * v;
        }
    }
    const double variances = (aa - a * a / n) * (bb - b * b / n);
    return variances > 0.0 ? (ab - a * b / n) / std::sqrt(variances) : -1.0;
}

std::vector<Motion> FirstGuess::correlationPeaks(const PyramidLevel& level) const {
    struct Shift {
        double correlation;
        int dx, dy;
    };
    const int mostX = std::min(level.grid.width / 3, kFarthest);
    const int mostY = std::min(level.grid.height / 3, kFarthest);
    const int columns = 2 * mostX + 1, rows = 2 * mostY + 1;
    std::vector<Shift> shifts(areaOf(columns, rows));
    threads_.forRows(rows, [&](int first, int end, int) {
        for (int dy = first - mostY; dy < end - mostY; ++dy) {
            Shift* row = shifts.data() + areaOf(dy + mostY, columns);
            for (int dx = -mostX; dx <= mostX; ++dx) row[dx + mostX] = {correlation(level, dx, dy), dx, dy};
        }
    });
    std::stable_sort(shifts.begin(), shifts.end(),
                     [](const Shift& p, const Shift& q) { return p.correlation > q.correlation; });
    std::vector<Motion> peaks;
    for (const Shift& shift : shifts) {
        bool apart = true;
        for (const Motion& peak : peaks) {
            apart = apart && std::max(std::abs(peak.tx - shift.dx), std::abs(peak.ty - shift.dy)) >= 3.0;
        }
        if (!apart) continue;
        Motion motion;
        motion.tx = shift.dx;
        motion.ty = shift.dy;
        peaks.push_back(motion);
        if (peaks.size() == kPeaks) break;
    }
    return peaks;
}

void FirstGuess::refine(std::vector<Candidate>& candidates, const std::vector<PyramidLevel>& levels) {
    const std::size_t top = levels.size() - 1;
    for (std::size_t level = top + 1; level-- > 0;) {
        const Buffer<float> shown = denseCopy(levels[level].shown);
        const MotionModel model = level == top ? MotionModel::translation : MotionModel::similarity;
        FitLimits limits;
        limits.steps = level == top ? 8 : 5;
        limits.pixels = kRefinePixels;
        limits.still = kRefineStill;
        threads_.forEach(static_cast<int>(candidates.size()), [&](int i, int slot) {
            Candidate& candidate = candidates[static_cast<std::size_t>(i)];
            if (level != top) {
                candidate.pose.motion.tx *= 2.0;
                candidate.pose.motion.ty *= 2.0;
            }
            const FramePose before = candidate.pose;
            candidate.outcome = fit(slot, level)
                                    .fit(splines_[level], shown.data(), levels[level].balance.data(), model,
                                         limits, candidate.pose);
            if (!candidate.outcome.valid) candidate.pose = before;
        });
        std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& p, const Candidate& q) {
            return costOf(p.outcome) < costOf(q.outcome);
        });
        if (candidates.size() > kFinalists) candidates.resize(kFinalists);
    }
}

void FirstGuess::chooseModel(const PyramidLevel& finest, FrameState& frame, Candidate& best) {
    const Buffer<float> shown = denseCopy(finest.shown);
    const double unit = 0.5 * std::max(width_, height_);
    Buffer<float> weight = finest.balance;
    const auto fit = [&](MotionModel model, FramePose pose) {
        Candidate candidate{pose, {}};
        candidate.outcome =
            finest_->fit(splines_[0], shown.data(), weight.data(), model, FitLimits(), candidate.pose);
        return candidate;
    };
    // Steep places determine a motion best, unless they move on their own: then most pixels fit worse.
    const Candidate refined = fit(MotionModel::similarity, best.pose);
    if (refined.outcome.valid) best = refined;
    weight = finest.known;
    const Candidate plain = fit(MotionModel::similarity, best.pose);
    if (plain.outcome.valid && plain.outcome.misfit < kNoWorse * best.outcome.misfit) {
        best = plain;
    } else {
        weight = finest.balance;
    }
    const auto seen = [&](double share, const Candidate& candidate, double least) {
        return share * unit > std::max(least, kSignificance * candidate.outcome.errors.corner);
    };
    frame.model = MotionModel::similarity;
    const Candidate affine = fit(MotionModel::affine, best.pose);
    const Motion& a = affine.pose.motion;
    if (affine.outcome.valid && seen(0.5 * lengthOf(a.axx - a.ayy, a.axy + a.ayx), affine, kVisibleShear)) {
        frame.model = MotionModel::affine;
        best = affine;
        return;
    }
    if (seen(lengthOf(best.pose.motion.axx, best.pose.motion.axy), best, kVisibleTurn)) return;
    FramePose still = best.pose;
    still.motion.axx = still.motion.axy = still.motion.ayx = still.motion.ayy = 0.0;
    const Candidate translation = fit(MotionModel::translation, still);
    if (!translation.outcome.valid) return;
    frame.model = MotionModel::translation;
    best = translation;
}

FirstGuess::Misfit FirstGuess::misfitOf(const PyramidLevel& finest, const Candidate& best) const {
    const std::size_t area = areaOf(width_, height_);
    Misfit result;
    for (Buffer<float>* buffer : {&result.misfit, &result.slope, &result.inside})
        *buffer = Buffer<float>(area);
    const auto shown = [&](int y, int x) {
        return (finest.shown.row(y)[x] - best.pose.offset) / best.pose.gain;
    };
    const std::vector<SampleRun> runs = sampleRuns(finest.grid, best.pose.motion);
    threads_.forRows(static_cast<int>(runs.size()), [&](int first, int end, int) {
        std::vector<float> value(static_cast<std::size_t>(width_)), dx(value), dy(value), known(value);
        for (int r = first; r < end; ++r) {
            const SampleRun& run = runs[static_cast<std::size_t>(r)];
            preciseKernels().sampleGradient(splines_[0].view(), run, value.data(), dx.data(), dy.data());
            preciseKernels().sample(known_.view(), run, known.data());
            for (int i = run.first; i < run.first + run.count; ++i) {
                const std::size_t x = static_cast<std::size_t>(i), at = areaOf(run.y, width_) + x;
                if (!(finest.known[at] > 0.0f) || known[x] < kLeastKnown) continue;
                result.misfit[at] = static_cast<float>(shown(run.y, i) - value[x]);
                result.slope[at] = std::sqrt(dx[x] * dx[x] + dy[x] * dy[x]);
                result.inside[at] = 1.0f;
            }
        }
    });
    std::vector<Sums> sums(static_cast<std::size_t>(height_));
    threads_.forEachRow(height_, [&](int y) {
        for (int x = 0; x < width_; ++x) {
            const std::size_t at = areaOf(y, width_) + static_cast<std::size_t>(x);
            if (result.inside[at] > 0.0f)
                sums[static_cast<std::size_t>(y)].add(result.misfit[at], shown(y, x));
        }
    });
    for (const Sums& row : sums) result.sums.add(row);
    return result;
}

bool FirstGuess::showsTheReference(const Misfit& misfit, double scale, const PyramidLevel& finest,
                                   const FrameState& frame) const {
    const Sums& sums = misfit.sums;
    const double count = sums.count;
    const auto possible = std::count(finest.known.begin(), finest.known.end(), 1.0f);
    if (!(count > kLeastOverlap * static_cast<double>(possible))) return false;
    const double variance = sums.squares / count - sums.values * sums.values / (count * count);
    const double doubt = std::max(kLeastDoubt, 1.0 - kParameters * kPixelsPerValue / std::max(count, 1.0));
    const auto explains = [&](double share) {
        return sums.residual / count < (1.0 - share) * doubt * variance;
    };
    if (!explains(kLeastExplained)) return false;
    if (explains(kExplainedOfStrange)) return true;
    // Where even the better half of the pixels differs by far more than noise, only a match that is otherwise close counts.
    const double blurredNoise =
        std::sqrt(2.0 / kPixelsPerValue);  // of a difference of two frames, over a frame's
    return !(scale > kStrange * blurredNoise * frameNoise(frame, width_, height_));
}

void FirstGuess::judge(const PyramidLevel& finest, const Candidate& best, FrameState& frame) {
    const Misfit misfit = misfitOf(finest, best);
    std::vector<float> work;
    const auto known = [&](std::size_t i) {
        return misfit.inside[i] > 0.0f ? std::optional<float>(misfit.misfit[i]) : std::nullopt;
    };
    const double quartile = quantileOfMagnitudes(misfit.misfit.size(), 0.25, known, work);
    const double scale = kSigmaPerQuartile * quartile + 1e-6;
    frame.used = showsTheReference(misfit, scale, finest, frame);
    const std::size_t area = areaOf(width_, height_);
    Buffer<float> squared(area), mean(area);
    const auto forEachPixel = [&](const auto& body) {
        threads_.forEachRow(height_, [&](int y) {
            for (std::size_t i = areaOf(y, width_); i < areaOf(y + 1, width_); ++i) body(i);
        });
    };
    forEachPixel([&](std::size_t i) {
        const double u = misfit.misfit[i] / lengthOf(scale, kDisplacement * misfit.slope[i]);
        squared[i] = static_cast<float>(std::min(u * u, kMostMisfit * kMostMisfit));
    });
    boxMean(squared, misfit.inside, width_, height_, 1, mean, threads_);
    forEachPixel([&](std::size_t i) {
        const double excess = mean[i] / (kTolerance * kTolerance);
        frame.agreement[i] = excess <= 1.0 ? 1.0f : static_cast<float>(1.0 / (excess * excess));
    });
}

void FirstGuess::place(const std::vector<Motion>& hints, FrameState& frame) {
    const std::vector<PyramidLevel> levels = framePyramid(frame, width_, height_, threads_);
    const double toTop = std::ldexp(1.0, 1 - static_cast<int>(levels.size()));
    std::vector<Candidate> candidates(1);
    for (const Motion& peak : correlationPeaks(levels.back())) {
        candidates.emplace_back();
        candidates.back().pose.motion = peak;
    }
    for (const Motion& hint : hints) {
        candidates.emplace_back();
        candidates.back().pose.motion = hint;
        candidates.back().pose.motion.tx *= toTop;
        candidates.back().pose.motion.ty *= toTop;
    }
    refine(candidates, levels);
    Candidate best = candidates.front();
    if (!best.outcome.valid) {
        frame.used = false;
        return;
    }
    chooseModel(levels.front(), frame, best);
    frame.motion = best.pose.motion;
    frame.gain = best.pose.gain;
    frame.offset = best.pose.offset;
    frame.errors = best.outcome.errors;
    judge(levels.front(), best, frame);
}

}  // namespace oravo::vision::detail::precise
