#include "vision/superresolution/detail/numerics/InstructionSet.h"

#include <cstdlib>
#include <string_view>

namespace oravo::vision::detail {
namespace {

InstructionSet choose() {
    const char* variable = std::getenv("ORAVO_SIMD");
    const std::string_view wanted = variable != nullptr ? variable : "";
    if (wanted == "baseline") return InstructionSet::baseline;
    if (wanted != "avx2" && machineHas(InstructionSet::avx512)) return InstructionSet::avx512;
    return machineHas(InstructionSet::avx2) ? InstructionSet::avx2 : InstructionSet::baseline;
}

}  // namespace

bool machineHas(InstructionSet set) {
    if (set == InstructionSet::baseline) return true;
#ifdef ORAVO_X86_LEVELS
    if (set == InstructionSet::avx2) return __builtin_cpu_supports("avx2") != 0;
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq");
#else
    return false;
#endif
}

InstructionSet instructionSet() {
    static const InstructionSet chosen = choose();
    return chosen;
}

}  // namespace oravo::vision::detail
