#include "vision/superresolution/detail/precise/PreciseKernels.h"

namespace oravo::vision::detail::precise {

extern const PreciseKernels preciseKernelsBaseline;
#ifdef ORAVO_X86_LEVELS
extern const PreciseKernels preciseKernelsAvx2;
extern const PreciseKernels preciseKernelsAvx512;
#endif

const PreciseKernels& preciseKernels(InstructionSet set) {
#ifdef ORAVO_X86_LEVELS
    if (set == InstructionSet::avx512) return preciseKernelsAvx512;
    if (set == InstructionSet::avx2) return preciseKernelsAvx2;
#endif
    (void)set;
    return preciseKernelsBaseline;
}

const PreciseKernels& preciseKernels() {
    return preciseKernels(instructionSet());
}

}  // namespace oravo::vision::detail::precise
