// What the processor says about itself.
#pragma once

#include <cstdint>

namespace qzk::simd {

/// Leaf 1 of the CPUID instruction.
struct ProcessorId {
    std::uint32_t signature; // stepping in bits 0 to 3, model in 4 to 7, family in 8 to 11
    std::uint32_t features;
};

/// Where there is no such instruction: family 1, which has no name, and no features.
ProcessorId processorId();

/// Whether there is an instruction for the bits set in each lane of an AVX-512 vector.
bool countsBitsOfVectors();

} // namespace qzk::simd
