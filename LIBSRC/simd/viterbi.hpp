// The recurrences of the Viterbi search over the costs of one hidden Markov model, and the costs of
// densities.
#pragma once

#include "simd/truncation.hpp"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace qzk::simd {

constexpr std::size_t viterbiLanes = 16; // 32-bit words in the longest vector
constexpr std::size_t viterbiAlignment = 4 * viterbiLanes;

/// Words that n states take where vectors read them.
[[gnu::always_inline]] constexpr std::size_t viterbiStride(std::size_t nStates) {
    return (nStates + viterbiLanes - 1) / viterbiLanes * viterbiLanes;
}

/// Length of a packed vector of costs: integers are filled up to an even number.
template <class Cost, class Length>
[[gnu::always_inline]] constexpr Length packedLength(Length length) {
    return std::is_integral_v<Cost> ? length + length % 2 : length;
}

enum class ViterbiTopology { general, leftRight, bakis };

/// Cost is float or a 32-bit integer that was widened from 16 bits.
template <class Cost>
struct ViterbiModel {
    ViterbiTopology topology;
    std::size_t nStates; // at least 1
    /// Columns or diagonals, as a server packs them.
    const Cost *packed;
    /// The same as rows of viterbiStride(nStates), at a multiple of viterbiAlignment: row i holds the steps
    /// from state i to every state; with Bakis row d those into every state from d states below. Entries for
    /// steps that there are not, and behind the last state, are 0. In general models one more row holds the
    /// least step from every state, by isLess.
    const Cost *lanes;
};

/// Path costs of all states. Both vectors have viterbiStride(nStates) words at a multiple of
/// viterbiAlignment; kernels may exchange them.
template <class Cost>
struct ViterbiPaths {
    Cost *now;
    Cost *next;
};

/// Path costs: sums are rounded to float, or saturate.
[[gnu::always_inline]] static inline float pathSum(float a, float b) { return a + b; }

[[gnu::always_inline]] static inline std::int32_t pathSum(std::int32_t a, std::int32_t b) {
    return saturated<std::int32_t>(static_cast<double>(a) + static_cast<double>(b));
}

/// Floats are compared by their bits, which puts costs that are not negative into their order.
template <class Cost>
[[gnu::always_inline]] static inline bool isLess(Cost a, Cost b) {
    return __builtin_bit_cast(std::int32_t, a) < __builtin_bit_cast(std::int32_t, b);
}

/// What an output of no density costs in 16-bit models.
constexpr std::int32_t impossibleOutput = 0x1FFFFFFF;
/// log10(2^29): densities have 29 fractional bits.
constexpr double log10Of29Bits = 8.729869874255455;

template <class Cost>
struct ViterbiKernelsOf {
    /// One frame after the other: the new path cost of state j is the least of the path costs of all states
    /// i, each plus the step from i to j, plus outputs[symbols[t]][j], which can be read up to
    /// viterbiStride(nStates).
    void (*advance)(const ViterbiModel<Cost> &model, ViterbiPaths<Cost> &paths, const Cost *const *outputs,
                    const std::int32_t *symbols, std::size_t nFrames);
};

struct ViterbiKernels {
    ViterbiKernelsOf<float> ofFloats;
    ViterbiKernelsOf<std::int32_t> ofWords;

    /// costs[i] = the real number -log10(densities[i]) rounded once to float; not-a-numbers for what is below
    /// 0.
    void (*floatCosts)(const double *densities, float *costs, std::size_t n);
    /// costs[i] = (log10Of29Bits - log10(densities[i])) * multiplier truncated, of which the low 32 bits
    /// count, with a correctly rounded logarithm and difference and a power of two as multiplier;
    /// impossibleOutput where there is no density. 0 for what 64 bits cannot hold.
    void (*wordCosts)(const std::int32_t *densities, std::int32_t *costs, std::size_t n, double multiplier);
};

namespace plain {
extern const ViterbiKernels viterbi;
void install(ViterbiKernels &kernels);
} // namespace plain
namespace sse2 {
void install(ViterbiKernels &kernels);
}
namespace avx2 {
void install(ViterbiKernels &kernels);
}
namespace avx512 {
void install(ViterbiKernels &kernels);
}

} // namespace qzk::simd
