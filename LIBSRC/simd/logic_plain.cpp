#include "simd/logic.hpp"
#include "simd/logic_operations.hpp"

#include <cstring>

namespace qzk::simd {
namespace {

using std::size_t;
using std::uint32_t;
using std::uint64_t;
using std::uint8_t;

struct LoadWord {
    uint32_t operator()(const uint8_t *from) const {
        uint32_t word;
        std::memcpy(&word, from, sizeof word);
        return word;
    }
};

/// Four bytes as bits run through them, and the byte that follows.
struct LoadBigEndian {
    uint64_t operator()(const uint8_t *from) const {
        return uint64_t{from[0]} << 32 | uint64_t{from[1]} << 24 | uint64_t{from[2]} << 16 |
               uint64_t{from[3]} << 8 | from[4];
    }
};

void storeBigEndian(uint8_t *to, uint32_t word) {
    for (int i = 0; i < 4; ++i)
        to[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
}

template <class Operation>
void pattern(uint32_t pattern, uint8_t *dst, size_t n) {
    uint8_t bytes[4];
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<uint8_t>(pattern >> (8 * i));
    for (size_t i = 0; i < n; ++i)
        dst[i] = Operation::combine(bytes[i % 4], dst[i]);
}

/// Single bytes up to a word boundary of the destination, blocks of four words, then single bytes, which the
/// logic operations take from the last to the first. Operands that overlap show this order.
template <class Operation>
void bytes(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, size_t n) {
    constexpr size_t word = 4, block = 16;
    const Pair<Operation> source = {src1, src2};
    const auto moveByte = [=](size_t i) { dst[i] = source.read(LoadByte{}, i); };

    size_t i = 0;
    if (n >= word)
        for (; reinterpret_cast<std::uintptr_t>(dst + i) % word != 0; ++i)
            moveByte(i);
    for (; n - i >= block; i += block)
        for (size_t j = i; j < i + block; j += word) {
            const uint32_t moved = source.read(LoadWord{}, j);
            std::memcpy(dst + j, &moved, word);
        }
    if constexpr (Operation::remainderDescends)
        for (size_t j = n; j-- > i;)
            moveByte(j);
    else
        for (; i < n; ++i)
            moveByte(i);
}

/// Four bytes at a time, each step reading before it writes, then single bytes.
template <class Operation, class Source>
void shift(Source source, uint8_t *dst, size_t n, unsigned left) {
    constexpr size_t word = 4;
    size_t k = 0;
    for (; n - k >= word; k += word) {
        const auto moved = static_cast<uint32_t>(source.read(LoadBigEndian{}, k) << left >> 8);
        const auto kept = static_cast<uint32_t>(uint32_t{dst[k]} << 24 | uint32_t{dst[k + 1]} << 16 |
                                                uint32_t{dst[k + 2]} << 8 | dst[k + 3]);
        storeBigEndian(dst + k, Operation::combine(moved, kept));
    }
    for (; k < n; ++k) {
        const unsigned pair = source.read(LoadByte{}, k) * 256u + source.read(LoadByte{}, k + 1);
        dst[k] = Operation::combine(static_cast<uint8_t>(pair << left >> 8), dst[k]);
    }
}

template <class Operation>
void shifted(const uint8_t *src, uint8_t *srcDst, size_t n, unsigned left) {
    shift<Operation>(Single{src}, srcDst, n, left);
}

template <class Operation>
void shiftedPair(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, size_t n, unsigned left) {
    shift<Copy>(Pair<Operation>{src1, src2}, dst, n, left);
}

template <class Operation>
void installLogic(LogicKernels &kernels) {
    kernels.*Operation::kernels = {pattern<Operation>, bytes<Operation>, shifted<Operation>,
                                   shiftedPair<Operation>};
}

} // namespace

void plain::install(LogicKernels &kernels) {
    kernels.copy = {pattern<Copy>, bytes<Copy>, shifted<Copy>, nullptr};
    installLogic<And>(kernels);
    installLogic<Or>(kernels);
    installLogic<Xor>(kernels);
}

} // namespace qzk::simd
