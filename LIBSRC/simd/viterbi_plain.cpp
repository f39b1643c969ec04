#include "common/elementary.hpp"
#include "simd/convert.hpp"
#include "simd/truncation.hpp"
#include "simd/viterbi.hpp"

#include <limits>
#include <utility>

namespace qzk::simd {
namespace {

template <class Cost>
Cost lesser(Cost kept, Cost candidate) {
    return isLess(candidate, kept) ? candidate : kept;
}

/// The least of costs[i] + column[i], from the last state down to the first.
template <class Cost>
Cost leastOf(const Cost *costs, const Cost *column, std::size_t length) {
    Cost least = pathSum(costs[length - 1], column[length - 1]);
    for (std::size_t i = length - 1; i-- > 0;)
        least = lesser(least, pathSum(costs[i], column[i]));
    return least;
}

/// Left-to-right columns end on the diagonal, so that states can be replaced from the last one down.
template <class Cost>
void advanceColumns(const Cost *column, std::size_t n, bool leftRight, const Cost *now, Cost *next,
                    const Cost *output) {
    for (std::size_t j = n; j-- > 0;) {
        const std::size_t length = leftRight ? j + 1 : n;
        next[j] = pathSum(output[j], leastOf(now, column, length));
        column += packedLength<Cost>(length);
    }
}

/// The three diagonals by target state.
template <class Cost>
struct Diagonals {
    const Cost *stay, *step, *jump;
};

Diagonals<float> diagonalsOf(const float *packed, std::size_t n) {
    return {packed, packed + n - 1, packed + 2 * n - 3};
}

Diagonals<std::int32_t> diagonalsOf(const std::int32_t *packed, std::size_t n) {
    const std::size_t length = packedLength<std::int32_t>(n);
    return {packed, packed + length, packed + 2 * length};
}

template <class Cost>
void advanceDiagonals(const Diagonals<Cost> &a, std::size_t n, Cost *costs, const Cost *output) {
    for (std::size_t j = n; j-- > 0;) {
        Cost least = pathSum(costs[j], a.stay[j]);
        if (j >= 1) least = lesser(least, pathSum(costs[j - 1], a.step[j]));
        if (j >= 2) least = lesser(least, pathSum(costs[j - 2], a.jump[j]));
        costs[j] = pathSum(output[j], least);
    }
}

template <class Cost>
void advance(const ViterbiModel<Cost> &model, ViterbiPaths<Cost> &paths, const Cost *const *outputs,
             const std::int32_t *symbols, std::size_t nFrames) {
    for (std::size_t t = 0; t < nFrames; ++t) {
        const Cost *const output = outputs[symbols[t]];
        switch (model.topology) {
        case ViterbiTopology::bakis:
            advanceDiagonals(diagonalsOf(model.packed, model.nStates), model.nStates, paths.now, output);
            break;
        case ViterbiTopology::leftRight:
            advanceColumns(model.packed, model.nStates, true, paths.now, paths.now, output);
            break;
        case ViterbiTopology::general:
            advanceColumns(model.packed, model.nStates, false, paths.now, paths.next, output);
            std::swap(paths.now, paths.next);
        }
    }
}

void floatCosts(const double *densities, float *costs, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        costs[i] = densities[i] >= 0.0 ? -roundedLogarithm(densities[i], 1.0)
                                       : std::numeric_limits<float>::quiet_NaN();
}

void wordCosts(const std::int32_t *densities, std::int32_t *costs, std::size_t n, double multiplier) {
    for (std::size_t i = 0; i < n; ++i)
        costs[i] = densities[i] > 0
                       ? wrapped<std::int32_t>((log10Of29Bits - log10(densities[i])) * multiplier)
                       : impossibleOutput;
}

} // namespace

const ViterbiKernels plain::viterbi = {{advance<float>}, {advance<std::int32_t>}, floatCosts, wordCosts};

void plain::install(ViterbiKernels &kernels) { kernels = viterbi; }

} // namespace qzk::simd
