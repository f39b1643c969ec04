// Fill, copy and bitwise logic of packed runs. A two-operand form moves one source through its operation, a
// three-operand form moves the joined sources by a plain copy; a nibble run is a bit run four times as long.
#include "common/bit_run.hpp"
#include "common/overlap.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"
#include "simd/logic_operations.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

using namespace qzk;

namespace {

using simd::And;
using simd::Copy;
using simd::Or;
using simd::Pair;
using simd::Single;
using simd::Xor;
using std::int32_t;
using std::int64_t;
using std::size_t;
using std::uint32_t;
using std::uint8_t;

template <class Operation>
const simd::LogicKernels::Operation &kernelsFor(const simd::Kernels &table) {
    return table.logic.*Operation::kernels;
}

/// Operands closer than this take the definition's own steps.
constexpr size_t worthwhile = 64;

/// Runs work(table, i, count) over n bytes in steps that may each read ahead of their writes. Always inlined:
/// handing over what `work` captures costs more than a short run.
template <class Work>
[[gnu::always_inline]] inline void inSteps(size_t n, size_t step, Work work) {
    if (step >= n) return work(simd::kernels(), size_t{0}, n);
    if (step < worthwhile) return work(simd::kernelsOf(simd::Level::plain), size_t{0}, n);
    const simd::Kernels &table = simd::kernels();
    for (size_t i = 0; i < n; i += step)
        work(table, i, std::min(step, n - i));
}

void copyBytes(const uint8_t *src, uint8_t *dst, size_t n) {
    const size_t step = ascendingStep(src, dst, n);
    if (step >= n)
        std::memmove(dst, src, n);
    else if (step < worthwhile)
        kernelsFor<Copy>(simd::kernelsOf(simd::Level::plain)).bytes(src, dst, dst, n);
    else
        for (size_t i = 0; i < n; i += step)
            std::memcpy(dst + i, src + i, std::min(step, n - i));
}

/// Bytes that logic may read ahead. Its remainder descends: there, a source that begins a few bytes above the
/// destination changes before it is read.
size_t stepOfLogic(const uint8_t *src, const uint8_t *dst, size_t n) {
    constexpr size_t longestRemainder = 15;
    const auto above = reinterpret_cast<std::uintptr_t>(src) - reinterpret_cast<std::uintptr_t>(dst);
    if (above != 0 && above < longestRemainder) return 0;
    return ascendingStep(src, dst, n);
}

template <class Operation>
void joinBytes(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, size_t n, size_t step) {
    inSteps(n, step, [=](const simd::Kernels &table, size_t i, size_t count) {
        kernelsFor<Operation>(table).bytes(src1 + i, src2 + i, dst + i, count);
    });
}

template <class Operation>
void moveBytes(Single source, uint8_t *dst, size_t n) {
    if constexpr (std::is_same_v<Operation, Copy>)
        copyBytes(source.src, dst, n);
    else
        joinBytes<Operation>(source.src, dst, dst, n, stepOfLogic(source.src, dst, n));
}

template <class, class Joint>
void moveBytes(Pair<Joint> source, uint8_t *dst, size_t n) {
    const size_t step = std::min(stepOfLogic(source.src1, dst, n), stepOfLogic(source.src2, dst, n));
    joinBytes<Joint>(source.src1, source.src2, dst, n, step);
}

/// dst[k] takes the bits of source[k] and source[k + 1], moved to the left by 1 to 7.
template <class Operation>
void shiftBytes(Single source, uint8_t *dst, size_t n, unsigned left) {
    inSteps(n, ascendingStep(source.src, dst, n, 1), [=](const simd::Kernels &table, size_t i, size_t count) {
        kernelsFor<Operation>(table).shifted(source.src + i, dst + i, count, left);
    });
}

template <class, class Joint>
void shiftBytes(Pair<Joint> source, uint8_t *dst, size_t n, unsigned left) {
    const size_t step =
        std::min(ascendingStep(source.src1, dst, n, 1), ascendingStep(source.src2, dst, n, 1));
    inSteps(n, step, [=](const simd::Kernels &table, size_t i, size_t count) {
        kernelsFor<Joint>(table).shiftedPair(source.src1 + i, source.src2 + i, dst + i, count, left);
    });
}

template <class Operation>
void combineMasked(uint8_t value, uint8_t *dst, uint8_t mask) {
    const uint8_t result = Operation::combine(value, *dst);
    *dst = static_cast<uint8_t>((*dst & ~mask) | (result & mask));
}

/// Both sources of a pair start at srcOffset. The source may begin up to seven bits later or earlier in its
/// byte than the destination.
template <class Operation, class Source>
void combineBits(Source source, uint8_t *dst, int32_t srcOffset, int32_t dstOffset, int64_t len) {
    if (len < 1) return;
    const BitRun run(dstOffset, len);
    const size_t sourceLast = BitRun(srcOffset, len).last;
    const unsigned left = (static_cast<unsigned>(dstOffset) - static_cast<unsigned>(srcOffset)) & 7;
    const size_t before = (srcOffset & 7) > (dstOffset & 7) ? 1 : 0;

    // Destination byte k takes source bytes k - before and the next one. Bytes outside the source run are
    // never read: their bits would fall outside the masks.
    const auto combineEdge = [=](size_t k, uint8_t mask) {
        const size_t later = k - before + 1;
        unsigned bits = k >= before ? source.read(simd::LoadByte{}, k - before) * 256u : 0u;
        if (left != 0 && later <= sourceLast) bits += source.read(simd::LoadByte{}, later);
        combineMasked<Operation>(static_cast<uint8_t>(bits << left >> 8), dst + k, mask);
    };
    combineEdge(0, run.firstMask);
    if (run.last == 0) return;
    if (left == 0)
        moveBytes<Operation>(source.from(1), dst + 1, run.last - 1);
    else
        shiftBytes<Operation>(source.from(1 - before), dst + 1, run.last - 1, left);
    combineEdge(run.last, run.lastMask);
}

template <class Operation>
void combinePattern(uint32_t pattern, uint8_t *dst, size_t n) {
    const auto byte = static_cast<uint8_t>(pattern);
    if (std::is_same_v<Operation, Copy> && pattern == byte * 0x01010101u)
        std::memset(dst, byte, n);
    else
        kernelsFor<Operation>(simd::kernels()).pattern(pattern, dst, n);
}

/// Combines every byte of a run with one value.
template <class Operation>
void combineBits(uint8_t value, uint8_t *dst, int32_t bitOffset, int64_t len) {
    if (len < 1) return;
    const BitRun run(bitOffset, len);
    combineMasked<Operation>(value, dst, run.firstMask);
    if (run.last == 0) return;
    combinePattern<Operation>(value * 0x01010101u, dst + 1, run.last - 1);
    combineMasked<Operation>(value, dst + run.last, run.lastMask);
}

int32_t bitOffsetOf(int32_t nibbleOffset) { return nibbleOffset != 0 ? 7 : 3; }

template <class Operation, class Source>
void combineNibbles(Source source, uint8_t *dst, int32_t srcOffset, int32_t dstOffset, int32_t len) {
    combineBits<Operation>(source, dst, bitOffsetOf(srcOffset), bitOffsetOf(dstOffset), int64_t{4} * len);
}

template <class Operation>
void combineNibbles(unsigned value, uint8_t *dst, int32_t nibbleOffset, int32_t len) {
    const auto bothHalves = static_cast<uint8_t>((value & 15) * 17);
    combineBits<Operation>(bothHalves, dst, bitOffsetOf(nibbleOffset), int64_t{4} * len);
}

/// kept: a run of no nibbles that starts in a low half takes the whole byte. Clients that clear or invert the
/// byte of an empty run rely on it.
template <class Operation>
void combineNibblesOrFirstByte(unsigned value, uint8_t *dst, int32_t nibbleOffset, int32_t len) {
    if (len == 0 && nibbleOffset == 0)
        combineNibbles<Operation>(value, dst, 1, 2);
    else
        combineNibbles<Operation>(value, dst, nibbleOffset, len);
}

uint8_t allBits(uint8_t value) { return (value & 1) != 0 ? 0xFF : 0; }

template <class T>
uint32_t patternOf(T value) {
    if constexpr (sizeof(T) == 1)
        return std::bit_cast<uint8_t>(value) * 0x01010101u;
    else if constexpr (sizeof(T) == 2)
        return std::bit_cast<std::uint16_t>(value) * 0x00010001u;
    else
        return std::bit_cast<uint32_t>(value);
}

template <class T>
const uint8_t *asBytes(const T *elements) {
    return reinterpret_cast<const uint8_t *>(elements);
}

template <class T>
uint8_t *asBytes(T *elements) {
    return reinterpret_cast<uint8_t *>(elements);
}

template <class T>
size_t bytesOf(int32_t len) {
    return static_cast<size_t>(len) * sizeof(T);
}

template <class Operation, class T>
void combine(T value, T *srcDst, int32_t len) {
    if (len < 1) return;
    combinePattern<Operation>(patternOf(value), asBytes(srcDst), bytesOf<T>(len));
}

template <class Operation, class T>
void combine(const T *src, T *srcDst, int32_t len) {
    if (len < 1) return;
    moveBytes<Operation>(Single{asBytes(src)}, asBytes(srcDst), bytesOf<T>(len));
}

template <class Operation, class T>
void combine(const T *src1, const T *src2, T *dst, int32_t len) {
    if (len < 1) return;
    moveBytes<Copy>(Pair<Operation>{asBytes(src1), asBytes(src2)}, asBytes(dst), bytesOf<T>(len));
}

} // namespace

extern "C" {

void QZbbZero(uint8_t *dst, int32_t bitOffset, int32_t len) {
    combineBits<Copy>(uint8_t{0}, dst, bitOffset, len);
}
void QZnbZero(uint8_t *dst, int32_t nibbleOffset, int32_t len) {
    combineNibblesOrFirstByte<Copy>(0, dst, nibbleOffset, len);
}
void QZybZero(uint8_t *dst, int32_t len) { combine<Copy>(uint8_t{0}, dst, len); }
void QZtbZero(int8_t *dst, int32_t len) { combine<Copy>(int8_t{0}, dst, len); }
void QZwbZero(int16_t *dst, int32_t len) { combine<Copy>(int16_t{0}, dst, len); }
void QZsbZero(float *dst, int32_t len) { combine<Copy>(float{0}, dst, len); }

void QZbbSet(uint8_t value, uint8_t *dst, int32_t bitOffset, int32_t len) {
    combineBits<Copy>(allBits(value), dst, bitOffset, len);
}
void QZnbSet(uint8_t value, uint8_t *dst, int32_t nibbleOffset, int32_t len) {
    combineNibbles<Copy>(value, dst, nibbleOffset, len);
}
void QZybSet(uint8_t value, uint8_t *dst, int32_t len) { combine<Copy>(value, dst, len); }
void QZtbSet(int8_t value, int8_t *dst, int32_t len) { combine<Copy>(value, dst, len); }
void QZwbSet(int16_t value, int16_t *dst, int32_t len) { combine<Copy>(value, dst, len); }
void QZsbSet(float value, float *dst, int32_t len) { combine<Copy>(value, dst, len); }

void QZbbCopy(const uint8_t *src, uint8_t *dst, int32_t srcBitOffset, int32_t dstBitOffset, int32_t len) {
    combineBits<Copy>(Single{src}, dst, srcBitOffset, dstBitOffset, len);
}
void QZnbCopy(const uint8_t *src, uint8_t *dst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
              int32_t len) {
    combineNibbles<Copy>(Single{src}, dst, srcNibbleOffset, dstNibbleOffset, len);
}
void QZybCopy(const uint8_t *src, uint8_t *dst, int32_t len) { combine<Copy>(src, dst, len); }
void QZtbCopy(const int8_t *src, int8_t *dst, int32_t len) { combine<Copy>(src, dst, len); }
void QZwbCopy(const int16_t *src, int16_t *dst, int32_t len) { combine<Copy>(src, dst, len); }
void QZsbCopy(const float *src, float *dst, int32_t len) { combine<Copy>(src, dst, len); }

void QZbbNot(uint8_t *srcDst, int32_t bitOffset, int32_t len) {
    combineBits<Xor>(uint8_t{0xFF}, srcDst, bitOffset, len);
}
void QZnbNot(uint8_t *srcDst, int32_t nibbleOffset, int32_t len) {
    combineNibblesOrFirstByte<Xor>(15, srcDst, nibbleOffset, len);
}
void QZybNot(uint8_t *srcDst, int32_t len) { combine<Xor>(uint8_t{0xFF}, srcDst, len); }
void QZwbNot(int16_t *srcDst, int32_t len) { combine<Xor>(int16_t{-1}, srcDst, len); }

void QZbbAnd2(const uint8_t *src, uint8_t *srcDst, int32_t srcBitOffset, int32_t dstBitOffset, int32_t len) {
    combineBits<And>(Single{src}, srcDst, srcBitOffset, dstBitOffset, len);
}
void QZnbAnd2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
              int32_t len) {
    combineNibbles<And>(Single{src}, srcDst, srcNibbleOffset, dstNibbleOffset, len);
}
void QZybAnd2(const uint8_t *src, uint8_t *srcDst, int32_t len) { combine<And>(src, srcDst, len); }
void QZwbAnd2(const int16_t *src, int16_t *srcDst, int32_t len) { combine<And>(src, srcDst, len); }
void QZbbAnd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcBitOffset,
              int32_t dstBitOffset, int32_t len) {
    combineBits<Copy>(Pair<And>{src1, src2}, dst, srcBitOffset, dstBitOffset, len);
}
void QZnbAnd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
              int32_t dstNibbleOffset, int32_t len) {
    combineNibbles<Copy>(Pair<And>{src1, src2}, dst, srcNibbleOffset, dstNibbleOffset, len);
}
void QZybAnd3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len) {
    combine<And>(src1, src2, dst, len);
}
void QZwbAnd3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len) {
    combine<And>(src1, src2, dst, len);
}
void QZnbAnd2s(uint8_t value, uint8_t *srcDst, int32_t nibbleOffset, int32_t len) {
    combineNibbles<And>(value, srcDst, nibbleOffset, len);
}
void QZybAnd2s(uint8_t value, uint8_t *srcDst, int32_t len) { combine<And>(value, srcDst, len); }
void QZwbAnd2s(int16_t value, int16_t *srcDst, int32_t len) { combine<And>(value, srcDst, len); }

void QZbbOr2(const uint8_t *src, uint8_t *srcDst, int32_t srcBitOffset, int32_t dstBitOffset, int32_t len) {
    combineBits<Or>(Single{src}, srcDst, srcBitOffset, dstBitOffset, len);
}
void QZnbOr2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
             int32_t len) {
    combineNibbles<Or>(Single{src}, srcDst, srcNibbleOffset, dstNibbleOffset, len);
}
void QZybOr2(const uint8_t *src, uint8_t *srcDst, int32_t len) { combine<Or>(src, srcDst, len); }
void QZwbOr2(const int16_t *src, int16_t *srcDst, int32_t len) { combine<Or>(src, srcDst, len); }
void QZbbOr3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcBitOffset,
             int32_t dstBitOffset, int32_t len) {
    combineBits<Copy>(Pair<Or>{src1, src2}, dst, srcBitOffset, dstBitOffset, len);
}
void QZnbOr3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
             int32_t dstNibbleOffset, int32_t len) {
    combineNibbles<Copy>(Pair<Or>{src1, src2}, dst, srcNibbleOffset, dstNibbleOffset, len);
}
void QZybOr3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len) {
    combine<Or>(src1, src2, dst, len);
}
void QZwbOr3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len) {
    combine<Or>(src1, src2, dst, len);
}
void QZnbOr2s(uint8_t value, uint8_t *srcDst, int32_t nibbleOffset, int32_t len) {
    combineNibbles<Or>(value, srcDst, nibbleOffset, len);
}
void QZybOr2s(uint8_t value, uint8_t *srcDst, int32_t len) { combine<Or>(value, srcDst, len); }
void QZwbOr2s(int16_t value, int16_t *srcDst, int32_t len) { combine<Or>(value, srcDst, len); }

void QZbbXor2(const uint8_t *src, uint8_t *srcDst, int32_t srcBitOffset, int32_t dstBitOffset, int32_t len) {
    combineBits<Xor>(Single{src}, srcDst, srcBitOffset, dstBitOffset, len);
}
void QZnbXor2(const uint8_t *src, uint8_t *srcDst, int32_t srcNibbleOffset, int32_t dstNibbleOffset,
              int32_t len) {
    combineNibbles<Xor>(Single{src}, srcDst, srcNibbleOffset, dstNibbleOffset, len);
}
void QZybXor2(const uint8_t *src, uint8_t *srcDst, int32_t len) { combine<Xor>(src, srcDst, len); }
void QZwbXor2(const int16_t *src, int16_t *srcDst, int32_t len) { combine<Xor>(src, srcDst, len); }
void QZbbXor3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcBitOffset,
              int32_t dstBitOffset, int32_t len) {
    combineBits<Copy>(Pair<Xor>{src1, src2}, dst, srcBitOffset, dstBitOffset, len);
}
void QZnbXor3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t srcNibbleOffset,
              int32_t dstNibbleOffset, int32_t len) {
    combineNibbles<Copy>(Pair<Xor>{src1, src2}, dst, srcNibbleOffset, dstNibbleOffset, len);
}
void QZybXor3(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, int32_t len) {
    combine<Xor>(src1, src2, dst, len);
}
void QZwbXor3(const int16_t *src1, const int16_t *src2, int16_t *dst, int32_t len) {
    combine<Xor>(src1, src2, dst, len);
}
void QZnbXor2s(uint8_t value, uint8_t *srcDst, int32_t nibbleOffset, int32_t len) {
    combineNibbles<Xor>(value, srcDst, nibbleOffset, len);
}
void QZybXor2s(uint8_t value, uint8_t *srcDst, int32_t len) { combine<Xor>(value, srcDst, len); }
void QZwbXor2s(int16_t value, int16_t *srcDst, int32_t len) { combine<Xor>(value, srcDst, len); }

} // extern "C"
