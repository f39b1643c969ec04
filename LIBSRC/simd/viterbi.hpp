// The recurrences of the Viterbi search over the costs of one hidden Markov model.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

constexpr std::size_t viterbiLanes = 16; // 32-bit words in the longest vector
constexpr std::size_t viterbiAlignment = 4 * viterbiLanes;

[[gnu::always_inline]] constexpr std::size_t viterbiStride(std::size_t nStates) {
    return (nStates + viterbiLanes - 1) / viterbiLanes * viterbiLanes;
}

} // namespace qzk::simd
