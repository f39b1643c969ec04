// Minima, maxima and sums of one vector.
#include "common/bit_run.hpp"
#include "common/element_loop.hpp"
#include "qzk.h"

#include <algorithm>
#include <bit>
#include <limits>

using namespace qzk;

namespace {

using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::int8_t;
using std::size_t;
using std::uint32_t;
using std::uint8_t;

/// The first element is read whatever the length.
size_t lengthOrOne(int32_t len) { return len > 1 ? static_cast<size_t>(len) : 1; }

template <class Element>
const simd::ExtremeKernels<Element> &extremesOf() {
    return simd::kernels().reduction;
}

template <class T>
T elementOfRank(int32_t rank) {
    if constexpr (std::is_same_v<T, float>)
        return std::bit_cast<float>(simd::rankOfFloat(rank));
    else
        return static_cast<T>(rank);
}

template <class T>
T stored(simd::Extreme extreme, int32_t *index) {
    *index = static_cast<int32_t>(extreme.index);
    return elementOfRank<T>(extreme.rank);
}

template <class T>
T smallest(const T *src, int32_t len, int32_t *index) {
    return stored<T>(extremesOf<T>().smallest({src}, lengthOrOne(len)), index);
}

template <class T>
T largest(const T *src, int32_t len, int32_t *index) {
    return stored<T>(extremesOf<T>().largest({src}, lengthOrOne(len)), index);
}

/// kept: unlike all others, these two take the offset's lowest bit alone.
Source<Nibble> nibblesAtLowBit(const uint8_t *src, int32_t nibbleOffset) {
    return nibblesAt(src, nibbleOffset & 1);
}

template <class Element>
auto sumOf(simd::Operand<Element> src, int32_t len) {
    const simd::SumKernels<Element> &kernels = simd::kernels().reduction;
    return kernels.sum(src, lengthOf(len));
}

int64_t sumOfBits(const uint8_t *src, int32_t bitOffset, int32_t len) {
    if (len < 1) return 0;
    const BitRun run(bitOffset, len);
    unsigned outside = src[0] & ~run.firstMask & 0xFFu;
    if (run.last != 0) outside = outside << 8 | (src[run.last] & ~run.lastMask & 0xFFu);
    const int64_t all = simd::kernels().reduction.setBits(src, run.last + 1);
    return outside != 0 ? all - std::popcount(outside) : all;
}

/// value times 2^-count, rounded down; bits beyond the highest are lost.
int64_t shifted(int64_t value, int32_t count) {
    if (count >= 0) return value >> std::min(count, 63);
    const int64_t left = -int64_t{count};
    return left < 64 ? static_cast<int64_t>(static_cast<std::uint64_t>(value) << left) : 0;
}

/// The plain modes: the sum's low bits as T, shifted in the fixed mode.
template <class T>
T scaled(int64_t sum, int32_t scaleMode, int32_t *scaleFactor) {
    const auto value = static_cast<T>(sum);
    if (scaleMode == QZ_ScaleFixed) return static_cast<T>(shifted(value, *scaleFactor));
    *scaleFactor = 0;
    return value;
}

constexpr int32_t highest = std::numeric_limits<int32_t>::max();
constexpr int32_t lowest = std::numeric_limits<int32_t>::min();

/// The smallest shift to the right that brings a sum into the range of 32 bits; stored.
template <class T>
T fitted(T sum, int32_t *scaleFactor) {
    *scaleFactor = 0;
    for (; int64_t{sum} > highest || int64_t{sum} < lowest; sum >>= 1)
        ++*scaleFactor;
    return sum;
}

} // namespace

extern "C" {

uint8_t QZnMin(const uint8_t *src, int32_t nibbleOffset, int32_t len, int32_t *index) {
    return stored<uint8_t>(
        extremesOf<Nibble>().smallest(nibblesAtLowBit(src, nibbleOffset), lengthOrOne(len)), index);
}
uint8_t QZyMin(const uint8_t *src, int32_t len, int32_t *index) { return smallest(src, len, index); }
int8_t QZtMin(const int8_t *src, int32_t len, int32_t *index) { return smallest(src, len, index); }
int16_t QZwMin(const int16_t *src, int32_t len, int32_t *index) { return smallest(src, len, index); }
float QZsMin(const float *src, int32_t len, int32_t *index) { return smallest(src, len, index); }

uint8_t QZnMax(const uint8_t *src, int32_t nibbleOffset, int32_t len, int32_t *index) {
    return stored<uint8_t>(extremesOf<Nibble>().largest(nibblesAtLowBit(src, nibbleOffset), lengthOrOne(len)),
                           index);
}
uint8_t QZyMax(const uint8_t *src, int32_t len, int32_t *index) { return largest(src, len, index); }
int8_t QZtMax(const int8_t *src, int32_t len, int32_t *index) { return largest(src, len, index); }
int16_t QZwMax(const int16_t *src, int32_t len, int32_t *index) { return largest(src, len, index); }
float QZsMax(const float *src, int32_t len, int32_t *index) { return largest(src, len, index); }

int32_t QZbSum(const uint8_t *src, int32_t bitOffset, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    // A logical shift: the count is never negative.
    return scaled<int32_t>(sumOfBits(src, bitOffset, len), scaleMode, scaleFactor);
}

uint32_t QZnSum(const uint8_t *src, int32_t nibbleOffset, int32_t len, int32_t scaleMode,
                int32_t *scaleFactor) {
    return scaled<uint32_t>(sumOf<Nibble>(nibblesAt(src, nibbleOffset), len), scaleMode, scaleFactor);
}

uint32_t QZySum(const uint8_t *src, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    const auto sum = static_cast<uint32_t>(sumOf<uint8_t>({src}, len));
    switch (scaleMode) {
    case QZ_ScaleWrap:
    case QZ_ScaleFixed:
        return scaled<uint32_t>(sum, scaleMode, scaleFactor);
    case QZ_ScaleSaturate:
        *scaleFactor = 0;
        return std::min(sum, uint32_t{highest});
    default:
        return fitted(sum, scaleFactor);
    }
}

int32_t QZtSum(const int8_t *src, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    return scaled<int32_t>(sumOf<int8_t>({src}, len), scaleMode, scaleFactor);
}

int32_t QZwSum(const int16_t *src, int32_t len, int32_t scaleMode, int32_t *scaleFactor) {
    const int64_t sum = sumOf<int16_t>({src}, len);
    switch (scaleMode) {
    case QZ_ScaleWrap:
    case QZ_ScaleFixed:
        return static_cast<int32_t>(scaled<int64_t>(sum, scaleMode, scaleFactor));
    case QZ_ScaleSaturate:
        *scaleFactor = 0;
        return static_cast<int32_t>(std::clamp<int64_t>(sum, lowest, highest));
    default:
        return static_cast<int32_t>(fitted(sum, scaleFactor));
    }
}

float QZsSum(const float *src, int32_t len) { return static_cast<float>(sumOf<float>({src}, len)); }

} // extern "C"
