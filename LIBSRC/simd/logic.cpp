#include "simd/logic.hpp"
#include "simd/bit_shift.hpp"
#include "simd/logic_operations.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

using std::size_t;
using std::uint16_t;
using std::uint32_t;
using std::uint64_t;
using std::uint8_t;

// The blocks below tell what goes to dst[i], dst[i + 1]...: from(i) moves the place, at(load, j) gives the
// word of the loader's width at j, a multiple of four.

template <class Operation>
struct PatternBlock {
    uint32_t pattern;
    const uint8_t *dst;

    [[gnu::always_inline]] PatternBlock from(size_t i) const {
        const unsigned turn = i % 4 * 8;
        return {pattern >> turn | pattern << (32 - turn) % 32, dst + i};
    }
    template <class Load>
    [[gnu::always_inline]] auto at(Load load, size_t j) const {
        const auto kept = load(dst + j);
        return Operation::combine(repeated<decltype(load(dst))>(pattern), kept);
    }
};

template <class Operation>
struct ByteBlock {
    Pair<Operation> source;

    [[gnu::always_inline]] ByteBlock from(size_t i) const { return {source.from(i)}; }
    template <class Load>
    [[gnu::always_inline]] auto at(Load load, size_t j) const {
        return source.read(load, j);
    }
};

template <class Operation, class Source>
struct ShiftBlock {
    Source source;
    const uint8_t *dst;
    BitShift shift;

    [[gnu::always_inline]] ShiftBlock from(size_t i) const { return {source.from(i), dst + i, shift}; }
    template <class Load>
    [[gnu::always_inline]] auto at(Load load, size_t j) const {
        return Operation::combine(shift(source.read(load, j), source.read(load, j + 1)), load(dst + j));
    }
};

/// n bytes, between one and two words of T.
template <class T, class Block>
QZK_INLINE void produceEnds(uint8_t *dst, size_t n, Block block) {
    const T first = block.at(Load<T>{}, 0);
    const T last = block.from(n - sizeof(T)).at(Load<T>{}, 0);
    put(dst, first);
    put(dst + n - sizeof(T), last);
}

/// n bytes from one vector upwards. The first and the last vector overlap the aligned ones between them: both
/// are computed before anything is written and hold what the aligned ones hold, also where the destination is
/// a source.
template <class T, class Block>
QZK_INLINE void produceVectors(uint8_t *dst, size_t n, Block block) {
    constexpr size_t step = sizeof(T);
    const T first = block.at(Load<T>{}, 0);
    const T last = block.from(n - step).at(Load<T>{}, 0);
    const size_t aligned = step - reinterpret_cast<std::uintptr_t>(dst) % step;
    const Block middle = block.from(aligned);
    uint8_t *const to = dst + aligned;
    const size_t end = n - aligned;
    size_t j = 0;
    for (; j + 4 * step <= end; j += 4 * step) {
        const T v0 = middle.at(Load<T>{}, j);
        const T v1 = middle.at(Load<T>{}, j + step);
        const T v2 = middle.at(Load<T>{}, j + 2 * step);
        const T v3 = middle.at(Load<T>{}, j + 3 * step);
        put(to + j, v0);
        put(to + j + step, v1);
        put(to + j + 2 * step, v2);
        put(to + j + 3 * step, v3);
    }
    for (; j + step <= end; j += step)
        put(to + j, middle.at(Load<T>{}, j));
    put(dst, first);
    put(dst + n - step, last);
}

template <class Block>
QZK_INLINE void produce(uint8_t *dst, size_t n, Block block) {
#if QZK_SIMD_LEVEL == 3
    // A read of what several stores have just written waits for all of them, the longer the wider they are.
    // Over short runs that outweighs the width.
    constexpr size_t worthFullWidth = 1024;
    typedef uint16_t Bytes32 __attribute__((vector_size(32)));
    if (n >= worthFullWidth) return produceVectors<Vec<uint16_t>>(dst, n, block);
    if (n >= sizeof(Bytes32)) return produceVectors<Bytes32>(dst, n, block);
#else
    if (n >= sizeof(Vec<uint16_t>)) return produceVectors<Vec<uint16_t>>(dst, n, block);
#endif
    if (n >= sizeof(Bytes16))
        produceEnds<Bytes16>(dst, n, block);
    else if (n >= sizeof(uint64_t))
        produceEnds<uint64_t>(dst, n, block);
    else if (n >= sizeof(uint32_t))
        produceEnds<uint32_t>(dst, n, block);
    else if (n >= sizeof(uint16_t))
        produceEnds<uint16_t>(dst, n, block);
    else if (n != 0)
        produceEnds<uint8_t>(dst, n, block);
}

template <class Operation>
void pattern(uint32_t pattern, uint8_t *dst, size_t n) {
    produce(dst, n, PatternBlock<Operation>{pattern, dst});
}

template <class Operation>
void bytes(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, size_t n) {
    produce(dst, n, ByteBlock<Operation>{{src1, src2}});
}

template <class Operation>
void shifted(const uint8_t *src, uint8_t *srcDst, size_t n, unsigned left) {
    produce(srcDst, n, ShiftBlock<Operation, Single>{{src}, srcDst, {left}});
}

template <class Operation>
void shiftedPair(const uint8_t *src1, const uint8_t *src2, uint8_t *dst, size_t n, unsigned left) {
    produce(dst, n, ShiftBlock<Copy, Pair<Operation>>{{src1, src2}, dst, {left}});
}

template <class Operation>
void installLogic(LogicKernels &kernels) {
    kernels.*Operation::kernels = {pattern<Operation>, bytes<Operation>, shifted<Operation>,
                                   shiftedPair<Operation>};
}

} // namespace

void QZK_LEVEL::install(LogicKernels &kernels) {
    kernels.copy.pattern = pattern<Copy>;
    kernels.copy.shifted = shifted<Copy>;
    installLogic<And>(kernels);
    installLogic<Or>(kernels);
    installLogic<Xor>(kernels);
}

} // namespace qzk::simd
