// Vector quantisation: the nearest code vectors of a codebook.
#include "common/unaligned.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

using namespace qzk;

namespace {

/// Partial exchange sort: ranks the `wanted` nearest codes first. Its exchanges decide the order of the rest.
template <class Distance>
std::int16_t *rank(const Distance *distances, std::size_t nCodes, std::size_t wanted, std::int16_t *best) {
    const auto distanceOf = [&](std::int16_t code) {
        return elementAt(distances, static_cast<std::uint16_t>(code));
    };
    for (std::size_t k = 0; k < nCodes; ++k)
        setElement(best, k, static_cast<std::int16_t>(k));
    for (std::size_t p = 0; p < wanted; ++p) {
        std::int16_t nearest = elementAt(best, p);
        Distance smallest = distanceOf(nearest);
        for (std::size_t q = p + 1; q < nCodes; ++q) {
            const std::int16_t code = elementAt(best, q);
            const Distance distance = distanceOf(code);
            if (smallest > distance) [[unlikely]] {
                setElement(best, q, nearest);
                nearest = code;
                smallest = distance;
            }
        }
        // Later rounds read only positions behind this one: its code becomes 1-based at once.
        setElement(best, p, static_cast<std::int16_t>(nearest + 1));
    }
    return best + wanted;
}

std::size_t countOf(std::int32_t count) { return static_cast<std::size_t>(std::max(count, 0)); }

template <class T>
std::int16_t *quantise(const simd::QuantiserKernelsOf<T> &kernels, const T *x, std::int32_t dim,
                       std::int32_t nCodes, const T *codebook, std::int32_t nBest, std::int16_t *best,
                       std::int32_t useSqrt, simd::CodeDistance<T> *distances) {
    kernels.codeDistances(x, countOf(dim), codebook, countOf(nCodes), useSqrt != 0, distances);
    if (nBest < 1) return best;
    return rank(distances, countOf(nCodes), countOf(std::min(nBest, nCodes)), best);
}

} // namespace

extern "C" {

int16_t *QZsVQKohonen(const float *x, int32_t dim, int32_t nCodes, const float *codebook, int32_t nBest,
                      int16_t *best, int32_t useSqrt, float *distances) {
    return quantise(simd::kernels().quantiser.ofFloats, x, dim, nCodes, codebook, nBest, best, useSqrt,
                    distances);
}

int16_t *QZwVQKohonen(const int16_t *x, int32_t dim, int32_t nCodes, const int16_t *codebook, int32_t nBest,
                      int16_t *best, int32_t useSqrt, int32_t, int32_t, int32_t *distances) {
    return quantise(simd::kernels().quantiser.ofWords, x, dim, nCodes, codebook, nBest, best, useSqrt,
                    distances);
}

} // extern "C"
