#include "vision/superresolution/detail/solver/SolverKernels.h"

namespace oravo::vision::detail {

extern const SolverKernels solverKernelsBaseline;
#ifdef ORAVO_X86_LEVELS
extern const SolverKernels solverKernelsAvx2;
extern const SolverKernels solverKernelsAvx512;
#endif

const SolverKernels& solverKernels(InstructionSet set) {
#ifdef ORAVO_X86_LEVELS
    if (set == InstructionSet::avx512) return solverKernelsAvx512;
    if (set == InstructionSet::avx2) return solverKernelsAvx2;
#endif
    (void)set;
    return solverKernelsBaseline;
}

}  // namespace oravo::vision::detail
