#include "simd/logic.hpp"
#include "simd/logic_operations.hpp"

#include <bit>
#include <cstring>

namespace qzk::simd {
namespace {

using std::size_t;
using std::uint32_t;
using std::uint8_t;

constexpr size_t wordBytes = 4;

struct LoadWord {
    uint32_t operator()(const uint8_t *from) const {
        uint32_t word;
        std::memcpy(&word, from, sizeof word);
        return word;
    }
};

uint32_t inRunOrder(uint32_t word) {
    return std::endian::native == std::endian::little ? __builtin_bswap32(word) : word;
}

/// Four bytes with the first one on top, as bits run through them.
struct LoadRun {
    uint32_t operator()(const uint8_t *from) const { return inRunOrder(LoadWord{}(from)); }
};

void storeWord(uint8_t *to, uint32_t word) { std::memcpy(to, &word, sizeof word); }

template <class Operation>
void pattern(uint32_t pattern, uint8_t *dst, size_t n) {
    uint8_t bytes[wordBytes];
    storeWord(bytes, pattern);
    size_t i = 0;
    for (; n - i >= wordBytes; i += wordBytes)
        storeWord(dst + i, Operation::combine(pattern, LoadWord{}(dst + i)));
    for (; i < n; ++i)
        dst[i] = Operation::combine(bytes[i % wordBytes], dst[i]);
}

/// Single bytes up to a word boundary of the destination, blocks of four words, then single bytes, which the
/// logic operations take from the last to the first. Operands that overlap show this order.
template <class Operation>
void bytes(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, size_t n) {
    constexpr size_t blockBytes = 16;
    const Pair<Operation> source = {src1, src2};
    const auto moveByte = [=](size_t i) { dst[i] = source.read(LoadByte{}, i); };

    size_t i = 0;
    if (n >= wordBytes)
        for (; reinterpret_cast<std::uintptr_t>(dst + i) % wordBytes != 0; ++i)
            moveByte(i);
    for (; n - i >= blockBytes; i += blockBytes)
        for (size_t j = i; j < i + blockBytes; j += wordBytes)
            storeWord(dst + j, source.read(LoadWord{}, j));
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
    size_t k = 0;
    for (; n - k >= wordBytes; k += wordBytes) {
        const uint32_t next = source.read(LoadByte{}, k + wordBytes);
        const uint32_t moved = source.read(LoadRun{}, k) << left | next >> (8 - left);
        storeWord(dst + k, inRunOrder(Operation::combine(moved, LoadRun{}(dst + k))));
    }
    for (; k < n; ++k) {
        const int moved = source.read(LoadByte{}, k) << left | source.read(LoadByte{}, k + 1) >> (8 - left);
        dst[k] = Operation::combine(static_cast<uint8_t>(moved), dst[k]);
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
