#include "tools/commands/EnhanceSetup.h"

#include "capi/CameraDescription.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/DefectFiles.h"

namespace oravo::tools {

EnhanceParameters withCamera(const EnhanceCommand& command, Findings& findings) {
    EnhanceParameters parameters = command.parameters;
    if (command.camera.empty()) return parameters;
    parameters.psfSigma = capi::psfSigmaOf(command.camera);
    if (parameters.psfSigma == capi::psfSigmaOf("")) {
        findings.warn(
            format("camera \"%s\": no known model number with a field of view; the default blur is taken",
                   command.camera.c_str()));
    }
    note(format("camera \"%s\": point-spread sigma %g", command.camera.c_str(),
                static_cast<double>(parameters.psfSigma)));
    return parameters;
}

namespace {

/// The listed pixels of frames.
DefectMask defectsOf(const EnhanceCommand& command, cv::Size storedSize, const std::string& frame) {
    if (command.defects.empty()) return {};
    return {readDefectMask(command.defects, command.reading, storedSize, frame),
            command.parameters.kind != PipelineKind::precise};
}

}  // namespace

ValueOptions valueOptions(const EnhanceCommand& command, cv::Size storedSize, const std::string& frame) {
    const PipelineParameters& p = command.parameters;
    return {command.decode,
            command.calibration,
            command.sensor,
            command.reading,
            plausibleFor(p),
            p.rawCounts,
            p.rawCounts && p.kind == PipelineKind::reference,
            defectsOf(command, storedSize, frame)};
}

EnhanceCommand withTemperatures(const EnhanceCommand& command, const FrameReader& reader) {
    EnhanceCommand settled = command;
    settled.decode = reader.decodeOf(command.decode);
    const char* forCounts = command.parameters.rawCounts   ? "--nuc"
                            : !command.calibration.empty() ? "--calibration"
                                                           : nullptr;
    if (!reader.radiometricFile().empty() && forCounts != nullptr) {
        throw UserError(ExitCode::kUsage,
                        std::string(forCounts) + ": is for counts, and " + reader.radiometricFile() +
                            " is a radiometric JPEG file, whose constants give degrees Celsius");
    }
    return settled;
}

void warnOfConstants(const FrameReader& reader, Findings& findings) {
    if (const std::optional<Guard>& difference = reader.radiometric().difference())
        findings.warn(*difference);
}

}  // namespace oravo::tools
