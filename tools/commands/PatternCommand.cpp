#include "tools/commands/PatternCommand.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "tools/base/Messages.h"
#include "tools/base/Progress.h"
#include "tools/base/UserError.h"
#include "tools/enhance/PatternLearner.h"
#include "tools/input/ValueReader.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

constexpr std::size_t kFewest = 5;  ///< frames of a stretch
constexpr int kMostPasses = 3;

/// The inputs as recordings: scenes differ from one to the next.
std::vector<FrameReader> recordingsOf(const LearnPatternCommand& command) {
    std::vector<FrameReader> recordings;
    std::vector<std::string> single;
    const auto endRun = [&] {
        if (!single.empty()) recordings.emplace_back(single, command.reading);
        single.clear();
    };
    for (const std::string& input : command.inputs) {
        FrameReader reader({input}, command.reading);
        if (reader.count() == 1) {
            single.push_back(input);
            continue;
        }
        endRun();
        recordings.push_back(std::move(reader));
    }
    endRun();
    return recordings;
}

/// The standard deviation of a pattern's columns, rows and what is left of single pixels.
struct Parts {
    double columns, rows, pixels;
};

double deviationOf(const cv::Mat& values) {
    cv::Scalar mean, deviation;
    cv::meanStdDev(values, mean, deviation);
    return deviation[0];
}

Parts partsOf(const cv::Mat_<float>& pattern) {
    cv::Mat_<float> columns, rows;
    cv::reduce(pattern, columns, 0, cv::REDUCE_AVG, CV_32F);
    cv::reduce(pattern, rows, 1, cv::REDUCE_AVG, CV_32F);
    cv::Mat_<float> rest = pattern.clone();
    for (int y = 0; y < rest.rows; ++y) {
        for (int x = 0; x < rest.cols; ++x) rest(y, x) -= columns(0, x) + rows(y, 0);
    }
    return {deviationOf(columns), deviationOf(rows), deviationOf(rest)};
}

/// A pass over recordings of frames of one size.
class Pass {
  public:
    Pass(const LearnPatternCommand& command, PatternLearner& learner, std::size_t frames)
        : command_(command), learner_(learner), progress_("frame", frames) {}

    /// Stretch by stretch; fewer frames than one takes are left over at the end.
    void over(FrameReader& recording, Findings& findings) {
        const PipelineParameters& p = command_.parameters;
        const std::vector<std::string> noCalibration;
        ValueReader values(recording.storedSize(),
                           {command_.decode, noCalibration, command_.sensor, command_.reading,
                            PlausibleRange::of(p.rawCounts), p.rawCounts, false},
                           findings);
        std::vector<cv::Mat_<float>> stretch;
        for (std::size_t i = 0; i < recording.count(); ++i) {
            stretch.push_back(values.read(recording, i).plausible);
            if (stretch.size() == static_cast<std::size_t>(p.frames)) {
                learner_.learn(stretch);
                stretch.clear();
            }
            progress_.done(++done_);
        }
        if (stretch.size() >= kFewest) learner_.learn(stretch);
    }

  private:
    const LearnPatternCommand& command_;
    PatternLearner& learner_;
    Progress progress_;
    std::size_t done_ = 0;
};

void requireFound(const PatternLearner::Pass& pass) {
    if (pass.showsPattern()) return;
    std::string why = format(
        "no fixed pattern could be separated from noise and scene; nothing was written (%d of %d stretches "
        "of "
        "frames show one",
        pass.found, pass.found + pass.without + pass.still);
    if (pass.still > 0) why += format("; in %d the scene hardly moves, which it has to", pass.still);
    throw UserError(ExitCode::kReconstruction, why + ")");
}

/// Refuses recordings that are too short, and frames of different sizes.
void requireAlike(std::vector<FrameReader>& recordings, const std::string& output) {
    const cv::Size size = recordings.front().first().size();
    for (FrameReader& recording : recordings) {
        const std::string name = recording.name(0);
        if (recording.readsFrom(output)) throw outputError(output + ": is one of the inputs");
        if (recording.count() < kFewest) {
            throw inputError(format("%s: a recording of %zu frame%s tells no pattern; %zu are the least",
                                    name.c_str(), recording.count(), recording.count() == 1 ? "" : "s",
                                    kFewest));
        }
        const cv::Size its = recording.first().size();
        if (its != size) {
            throw inputError(format("%s: is %d x %d pixels, but the frames before are %d x %d", name.c_str(),
                                    its.width, its.height, size.width, size.height));
        }
    }
}

}  // namespace

void learnPattern(const LearnPatternCommand& asked) {
    LearnPatternCommand command = asked;
    checkTarget(command.output, {".tif", ".tiff"});
    std::vector<FrameReader> recordings = recordingsOf(command);
    for (const FrameReader& recording : recordings) command.decode = recording.decodeOf(command.decode);
    requireAlike(recordings, command.output);
    std::size_t frames = 0;
    for (const FrameReader& recording : recordings) frames += recording.count();
    PatternLearner learner(recordings.front().first().size(), command.parameters);
    PatternLearner::Pass first;
    for (int round = 0; round < kMostPasses; ++round) {
        Findings findings;
        Pass pass(command, learner, frames);
        for (FrameReader& recording : recordings) pass.over(recording, findings);
        const PatternLearner::Pass found = learner.endPass();
        if (round == 0) requireFound(first = found);
        if (!found.showsPattern()) break;
    }
    writeImage(command.output, learner.pattern());
    const Parts parts = partsOf(learner.pattern());
    const std::string unit = command.decode.unit.empty() ? "" : " " + command.decode.unit;
    const std::string known = first.error > 0.0 ? format(", known to %.2g%s", first.error, unit.c_str()) : "";
    note(
        format("%s: a fixed pattern of %.2g%s (columns %.2g, rows %.2g, pixels %.2g)%s, from %zu frames in "
               "%d stretches of %zu recording%s",
               command.output.c_str(), deviationOf(learner.pattern()), unit.c_str(), parts.columns,
               parts.rows, parts.pixels, known.c_str(), first.frames, first.found, recordings.size(),
               recordings.size() == 1 ? "" : "s"));
}

}  // namespace oravo::tools
