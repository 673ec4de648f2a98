#ifndef ORAVO_VISION_DETAIL_NUMERICS_INSTRUCTIONSET_H
#define ORAVO_VISION_DETAIL_NUMERICS_INSTRUCTIONSET_H

namespace oravo::vision::detail {

/// The levels that hot loops are compiled for, widest last. All give the same bits.
enum class InstructionSet { baseline, avx2, avx512 };

/// Whether this machine can run a level.
bool machineHas(InstructionSet set);

/// The level this process works at, decided by the first call: the widest that the machine has, or
/// the one that the environment variable ORAVO_SIMD names (baseline, avx2, avx512) if the machine has it.
InstructionSet instructionSet();

}  // namespace oravo::vision::detail

#endif
