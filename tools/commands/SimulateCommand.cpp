#include <algorithm>
#include <filesystem>
#include <numeric>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/Commands.h"
#include "tools/formats/ShiftTable.h"
#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"
#include "tools/simulate/BurstSimulator.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

constexpr int kDefaultFrames = 5;
constexpr int kDefaultReferenceIndex = 3;

constexpr char kTruth[] = "truth.tif";
constexpr char kShifts[] = "shifts.csv";

std::string frameName(std::size_t index) {
    return format("frame_%03zu.tif", index);
}

/// Whatever is there already may be an input of this very run, or somebody's recording.
void refuseToReplace(const fs::path& folder) {
    refuseFolderOfFrames(folder.string());
    for (const char* name : {kTruth, kShifts}) {
        std::error_code ignored;
        if (fs::exists(folder / name, ignored)) {
            throw outputError((folder / name).string() +
                              ": is there already; name another folder, or remove it");
        }
    }
}

/// The frame that an enlargement of the whole recording refers to by default.
int defaultReference(int frames) {
    return std::max(frames - 1 - kDefaultReferenceIndex, 0);
}

SimulationParameters parametersOf(const SimulateCommand& c) {
    SimulationParameters p;
    p.frameSize = {c.width, c.height};
    p.psfSigma = c.psfSigma;
    p.noise = c.noise;
    p.defects = c.defects;
    p.seed = c.seed;
    if (!c.scene.empty()) p.scene = c.sceneDecode(readSingleImage(c.scene));
    if (!c.shifts.empty()) p.shifts = parseShifts(c.shifts);
    const int given = static_cast<int>(p.shifts.size());
    const int frames = c.frames != 0 ? c.frames : given != 0 ? given : kDefaultFrames;
    if (given != 0 && given != frames) {
        throw UserError(ExitCode::kUsage, format("%d shifts given for %d frames", given, frames));
    }
    const int reference = c.reference < 0 ? defaultReference(frames) : c.reference;
    if (reference >= frames) {
        throw UserError(ExitCode::kUsage, format("reference %d given for %d frames", reference, frames));
    }
    if (given == 0) p.shifts = randomShifts(frames, reference, c.maxShift, c.seed);
    const cv::Point2f own = p.shifts[static_cast<std::size_t>(reference)];
    if (own != cv::Point2f()) {
        warn(format(
            "frame %d, the reference, is itself shifted by (%g, %g): the truth does not lie on its grid",
            reference, static_cast<double>(own.x), static_cast<double>(own.y)));
    }
    return p;
}

}  // namespace

void simulate(const SimulateCommand& command) {
    const SimulationParameters parameters = parametersOf(command);
    const fs::path folder(command.folder);
    TargetFolder target(command.folder);
    target.reserve();
    refuseToReplace(folder);
    const Burst burst = simulateBurst(parameters);
    std::vector<std::size_t> numbers(burst.frames.size());
    std::iota(numbers.begin(), numbers.end(), std::size_t{0});
    for (std::size_t i = 0; i < burst.frames.size(); ++i) {
        writeImage((folder / frameName(i)).string(), burst.frames[i]);
    }
    writeImage((folder / kTruth).string(), burst.truth);
    writeText(
        (folder / kShifts).string(),
        shiftTable(parameters.shifts, numbers,
                   "true shifts in frame pixels; frame(p + d) = reference(p); the truth has shift 0,0"));
    note(format("%s: %zu frames of %d x %d pixels, %s, %s", command.folder.c_str(), burst.frames.size(),
                command.width, command.height, kTruth, kShifts));
}

}  // namespace oravo::tools
