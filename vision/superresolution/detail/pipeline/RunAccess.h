#ifndef ORAVO_VISION_DETAIL_PIPELINE_RUNACCESS_H
#define ORAVO_VISION_DETAIL_PIPELINE_RUNACCESS_H

#include <functional>

#include "vision/superresolution/detail/pipeline/TimingReport.h"

namespace oravo::vision::detail {

/// What code that is linked with the library's objects may do with a pipeline (SrFloat, SrFloatNeon, SuperResolution)
/// beyond its public interface. The sources of the pipelines instantiate the functions.
struct RunAccess {
    /// The stages of the pipeline's last run, whether they were printed or not.
    template <class Pipeline>
    static const StageTimes& stageTimes(const Pipeline& pipeline);

    /// Keeps the pipeline's runs from printing, or lets them print; at first the environment decides (reportWanted).
    template <class Pipeline>
    static void setReports(Pipeline& pipeline, bool reports);

    /// Has the pipeline's runs report the share that is done; see ReconstructionRun.
    template <class Pipeline>
    static void setProgress(Pipeline& pipeline, const std::function<void(double)>& progress);
};

}  // namespace oravo::vision::detail

#endif
