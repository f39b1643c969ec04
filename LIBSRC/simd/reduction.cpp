#include "simd/reduction.hpp"
#include "simd/blocks.hpp"
#include "simd/processor.hpp"

namespace qzk::simd {
namespace {

using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::int8_t;
using std::size_t;
using std::uint32_t;
using std::uint64_t;
using std::uint8_t;

/// Equality of lanes as bits: one for each lane, below AVX-512 one for each byte.
template <class T>
QZK_INLINE uint64_t equalLanes(Vec<T> a, Vec<T> b) {
#if QZK_SIMD_LEVEL == 3
    if constexpr (sizeof(T) == 1)
        return _mm512_cmpeq_epi8_mask((__m512i)a, (__m512i)b);
    else if constexpr (sizeof(T) == 2)
        return _mm512_cmpeq_epi16_mask((__m512i)a, (__m512i)b);
    else
        return _mm512_cmpeq_epi32_mask((__m512i)a, (__m512i)b);
#else
    return static_cast<unsigned>(QZK_INTRINSIC(movemask_epi8)((Integers)(a == b)));
#endif
}
template <class T>
constexpr size_t bitsOfLane = QZK_SIMD_LEVEL == 3 ? 1 : sizeof(T);
template <class T>
constexpr uint64_t allLanes = ~uint64_t{0} >> (64 - bitsOfLane<T> * lanesOf<T>);

template <class T>
QZK_INLINE size_t firstLane(uint64_t lanes) {
    return static_cast<size_t>(__builtin_ctzll(lanes)) / bitsOfLane<T>;
}

template <class T>
struct Sixteen {
    typedef T type __attribute__((vector_size(16)));
};

/// The winner of all lanes.
template <class Order, class T>
QZK_INLINE T winner(Vec<T> v) {
    using Part = typename Sixteen<T>::type;
    Part parts[sizeof v / sizeof(Part)];
    __builtin_memcpy(parts, &v, sizeof v);
    Part best = parts[0];
    for (size_t i = 1; i < sizeof v / sizeof(Part); ++i)
        best = Order::of(best, parts[i]);
    // Every step halves the lanes that count; what the others hold does not matter.
    const auto against = [&](__m128i upper) { best = Order::of(best, (Part)upper); };
    against(_mm_srli_si128((__m128i)best, 8));
    against(_mm_srli_si128((__m128i)best, 4));
    if constexpr (sizeof(T) <= 2) against(_mm_srli_si128((__m128i)best, 2));
    if constexpr (sizeof(T) == 1) against(_mm_srli_si128((__m128i)best, 1));
    return best[0];
}

/// Ranks of a vector of elements; those of two nibbles in a byte are that of the winner.
template <class Element>
struct RankOf {
    using type = Element;
};
template <>
struct RankOf<Nibble> {
    using type = uint8_t;
};
template <>
struct RankOf<float> {
    using type = int32_t;
};

template <class Element, class Order>
struct RankBlock {
    using Rank = typename RankOf<Element>::type;

    const std::conditional_t<std::is_same_v<Element, Nibble>, uint8_t, Element> *src;

    template <class Load>
    [[gnu::always_inline]] Vec<Rank> at(Load load, size_t i) const {
        const auto ranks = (Vec<Rank>)load(src + i);
        if constexpr (std::is_same_v<Element, float>) {
            return rankOfFloat(ranks);
        } else if constexpr (std::is_same_v<Element, Nibble>) {
            const Bytes nibble = splat<uint8_t>(15);
            return Order::of((Bytes)((Words)ranks >> 4) & nibble, ranks & nibble);
        } else {
            return ranks;
        }
    }
};

template <class T>
struct LaneNumbers {
    T of[lanesOf<T>];

    constexpr LaneNumbers() : of() {
        for (size_t i = 0; i < lanesOf<T>; ++i)
            of[i] = static_cast<T>(i);
    }
};
template <class T>
constexpr LaneNumbers<T> laneNumbers;

/// The lanes from n on take the value of the first.
template <class T>
QZK_INLINE Vec<T> repeatedFrom(size_t n, Vec<T> v) {
    return load(laneNumbers<T>.of) < splat(static_cast<T>(n)) ? v : splat<T>(v[0]);
}

/// Whole vectors are compared a span at a time. Only where a span beats all before it does its place matter,
/// and only the winning span is searched for it.
template <class Order, class Block>
QZK_INLINE Extreme findExtreme(Block block, size_t n) {
    using T = typename Block::Rank;
    constexpr size_t lanes = lanesOf<T>, span = 16 * lanes;
    if (n < lanes) {
        const Vec<T> few = repeatedFrom<T>(n, block.at(LoadFew{n}, 0));
        const T best = winner<Order, T>(few);
        return {best, firstLane<T>(equalLanes<T>(few, splat(best)))};
    }
    Vec<T> best = splat<T>(block.at(LoadAll{}, 0)[0]);
    size_t start = 0;
    const auto challenge = [&](Vec<T> challenger, size_t i) {
        if (equalLanes<T>(Order::of(challenger, best), best) == allLanes<T>) return;
        best = splat(winner<Order, T>(challenger));
        start = i;
    };
    size_t i = 0;
    for (; i + span <= n; i += span) {
        Vec<T> v[4];
        for (size_t k = 0; k < 4; ++k)
            v[k] = block.at(LoadAll{}, i + k * lanes);
        for (size_t j = 4 * lanes; j < span; j += 4 * lanes)
            for (size_t k = 0; k < 4; ++k)
                v[k] = Order::of(v[k], block.at(LoadAll{}, i + j + k * lanes));
        challenge(Order::of(Order::of(v[0], v[1]), Order::of(v[2], v[3])), i);
    }
    const size_t last = n - lanes;
    if (i < n) {
        Vec<T> v = block.at(LoadAll{}, last);
        for (size_t j = i; j < last; j += lanes)
            v = Order::of(v, block.at(LoadAll{}, j));
        challenge(v, i);
    }
    for (size_t j = start;; j += lanes) {
        if (j > last) j = last; // the last vector overlaps the one before it
        const uint64_t equal = equalLanes<T>(block.at(LoadAll{}, j), best);
        if (equal != 0) return {best[0], j + firstLane<T>(equal)};
    }
}

template <class Element, class Order>
Extreme extreme(Source<Element> src, size_t n) {
    return findExtreme<Order>(RankBlock<Element, Order>{src.first}, n);
}

template <class Order>
Extreme extremeOfNibbles(Operand<Nibble> src, size_t n) {
    const WholeBytes whole(src, n);
    Extreme found = {src.get(0), 0};
    if (whole.bytes != 0) {
        const Source<Nibble> middle = src.from(whole.before);
        const Extreme inBytes = findExtreme<Order>(RankBlock<Nibble, Order>{middle.first}, whole.bytes);
        const size_t half = middle.get(2 * inBytes.index) == inBytes.rank ? 0 : 1;
        if (whole.before == 0 || Order::wins(inBytes.rank, found.rank))
            found = {inBytes.rank, whole.before + 2 * inBytes.index + half};
    }
    if (whole.after != 0 && Order::wins(src.get(n - 1), found.rank)) found = {src.get(n - 1), n - 1};
    return found;
}

using Quads = Vec<uint64_t>;

QZK_INLINE int64_t total(Quads sums) {
    uint64_t sum = 0;
    for (size_t lane = 0; lane < lanesOf<uint64_t>; ++lane)
        sum += sums[lane];
    return static_cast<int64_t>(sum);
}

/// The bytes added in eights.
QZK_INLINE Quads addBytes(Bytes v) { return (Quads)QZK_INTRINSIC(sad_epu8)((Integers)v, (Integers)Bytes{}); }

/// The sum of what `add` gives for the vectors that cover n elements, zeros filling up the last one.
template <class T, class Add>
QZK_INLINE int64_t sumOfVectors(const T *src, size_t n, Add add) {
    constexpr size_t lanes = lanesOf<T>;
    Quads sums[4] = {};
    size_t i = 0;
    for (; i + 4 * lanes <= n; i += 4 * lanes)
        for (size_t k = 0; k < 4; ++k)
            sums[k] += add(LoadAll{}(src + i + k * lanes));
    for (; i + lanes <= n; i += lanes)
        sums[0] += add(LoadAll{}(src + i));
    if (i < n) sums[1] += add(LoadFew{n - i}(src + i));
    return total((sums[0] + sums[1]) + (sums[2] + sums[3]));
}

int64_t sumOfBytes(Source<uint8_t> src, size_t n) {
    return sumOfVectors(src.first, n, [](Bytes v) { return addBytes(v); });
}

int64_t sumOfNibbles(Operand<Nibble> src, size_t n) {
    const WholeBytes whole(src, n);
    const int64_t inBytes = sumOfVectors(src.from(whole.before).first, whole.bytes, [](Bytes v) {
        const Bytes nibble = splat<uint8_t>(15);
        return addBytes(((Bytes)((Words)v >> 4) & nibble) + (v & nibble));
    });
    return inBytes + (whole.before != 0 ? src.get(0) : 0) + (whole.after != 0 ? src.get(n - 1) : 0);
}

/// Raised by 128, a signed byte is an unsigned one.
int64_t sumOfSignedBytes(Source<int8_t> src, size_t n) {
    constexpr size_t lanes = lanesOf<int8_t>;
    const int64_t raised =
        sumOfVectors(src.first, n, [](Bytes v) { return addBytes(v ^ splat<uint8_t>(0x80)); });
    return raised - 128 * static_cast<int64_t>((n + lanes - 1) / lanes * lanes);
}

#if QZK_SIMD_LEVEL == 2
/// For both lanes of 16 bytes, the bits set in the numbers from 0 to 15.
struct SetBitsOfNibbles {
    uint8_t of[QZK_VECTOR_BYTES];

    constexpr SetBitsOfNibbles() : of() {
        for (int i = 0; i < QZK_VECTOR_BYTES; ++i)
            of[i] = static_cast<uint8_t>((i & 1) + (i >> 1 & 1) + (i >> 2 & 1) + (i >> 3 & 1));
    }
};
constexpr SetBitsOfNibbles setBitsOfNibbles;
#endif

/// The number of bits set in each eight bytes.
QZK_INLINE Quads setBitsOf(Bytes v) {
#if QZK_SIMD_LEVEL == 3
    // The instruction is not among those of the level: the compiler must not use it elsewhere.
    Quads counts;
    __asm__("vpopcntq %1, %0" : "=v"(counts) : "v"(v));
    return counts;
#elif QZK_SIMD_LEVEL == 2
    const auto table = (Integers)load(setBitsOfNibbles.of);
    const Bytes nibble = splat<uint8_t>(15);
    return addBytes((Bytes)QZK_INTRINSIC(shuffle_epi8)(table, (Integers)(v & nibble)) +
                    (Bytes)QZK_INTRINSIC(shuffle_epi8)(table, (Integers)((Bytes)((Words)v >> 4) & nibble)));
#else
    const Bytes pairs = v - ((Bytes)((Words)v >> 1) & splat<uint8_t>(0x55));
    const Bytes two = splat<uint8_t>(0x33);
    const Bytes fours = (pairs & two) + ((Bytes)((Words)pairs >> 2) & two);
    return addBytes((fours + (Bytes)((Words)fours >> 4)) & splat<uint8_t>(15));
#endif
}

int64_t setBits(const uint8_t *bytes, size_t n) {
    return sumOfVectors(bytes, n, [](Bytes v) { return setBitsOf(v); });
}

QZK_INLINE Vec<int32_t> addPairs(Words v) {
    return (Vec<int32_t>)QZK_INTRINSIC(madd_epi16)((Integers)v, (Integers)splat<std::uint16_t>(1));
}

/// A lane of four sums takes one pair of each vector, whose magnitude is 2^16 at most.
constexpr size_t mostWords = (size_t{1} << 14) * lanesOf<int16_t>;

/// Of at most mostWords words.
QZK_INLINE int64_t sumOfPairs(const int16_t *src, size_t n) {
    constexpr size_t lanes = lanesOf<int16_t>;
    Vec<int32_t> sums[4] = {};
    size_t i = 0;
    for (; i + 4 * lanes <= n; i += 4 * lanes)
        for (size_t k = 0; k < 4; ++k)
            sums[k] += addPairs(LoadAll{}(src + i + k * lanes));
    for (; i + lanes <= n; i += lanes)
        sums[0] += addPairs(LoadAll{}(src + i));
    if (i < n) sums[1] += addPairs(LoadFew{n - i}(src + i));
    // Raised by 2^31, the lanes are unsigned.
    const Vec<int32_t> sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    const Quads raised = (Quads)(sum ^ splat(INT32_MIN));
    constexpr int64_t raise = int64_t{1} << 31;
    return total((raised & splat<uint64_t>(0xFFFFFFFF)) + (raised >> 32)) - raise * int64_t{lanesOf<int32_t>};
}

int64_t sumOfWords(Source<int16_t> src, size_t n) {
    int64_t sum = 0;
    for (size_t i = 0; i < n; i += mostWords)
        sum += sumOfPairs(src.first + i, n - i < mostWords ? n - i : mostWords);
    return sum;
}

#if QZK_SIMD_LEVEL >= 2
/// A sum of floats for each place in the groups of four.
typedef double Places __attribute__((vector_size(4 * sizeof(double))));

// Floats of a block. Below the least, the additions in order are faster.
constexpr size_t leastOfBlock = 192, mostOfBlock = 2048, stepOfBlock = 2 * lanesOf<float>;
static_assert(leastOfBlock >= stepOfBlock);

/// What decides whether the order of its additions shows in the sums of a block.
struct FloatBlock {
    Places sums;
    uint32_t largest;       // bits of the largest magnitude
    uint32_t smallestLess1; // bits of the smallest magnitude but 0, less 1; all ones where all are 0
};

/// Of a multiple of stepOfBlock floats.
QZK_INLINE FloatBlock sumBlock(const float *src, size_t n) {
    constexpr size_t lanes = lanesOf<float>, half = lanesOf<double>;
    Vec<double> sums[4] = {};
    Vec<uint32_t> largest = {}, smallestLess1 = splat(UINT32_MAX);
    for (size_t i = 0; i < n; i += stepOfBlock)
        for (size_t k = 0; k < 2; ++k) {
            const float *const from = src + i + k * lanes;
            const auto bits = (Vec<uint32_t>)load(from);
            const Vec<uint32_t> magnitudes = bits & splat<uint32_t>(0x7FFFFFFF);
            largest = Largest::of(largest, magnitudes);
            smallestLess1 = Smallest::of(smallestLess1, magnitudes - splat<uint32_t>(1));
            sums[2 * k] += loadWidened(from);
            sums[2 * k + 1] += loadWidened(from + half);
        }
    const Vec<double> all = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    Places parts[sizeof all / sizeof(Places)];
    __builtin_memcpy(parts, &all, sizeof all);
    Places places = parts[0];
    for (size_t i = 1; i < sizeof all / sizeof(Places); ++i)
        places += parts[i];
    return {places, winner<Largest, uint32_t>(largest), winner<Smallest, uint32_t>(smallestLess1)};
}

/// Blocks are added in any order as long as that is exact: while all elements are multiples of some 2^grain
/// and no sum can reach 2^53 times that. From the first block on for which this is not sure, the order is
/// kept.
double sumOfFloats(Source<float> src, size_t n) {
    constexpr size_t places = 4;
    constexpr int32_t bias = 1023, mantissaBits = 23, finestGrain = -149, coarsestGrain = 127;
    Places sums = {};
    size_t i = n;
    for (int32_t grain = coarsestGrain; i >= leastOfBlock;) {
        const size_t length = (i < mostOfBlock ? i : mostOfBlock) / stepOfBlock * stepOfBlock;
        const FloatBlock block = sumBlock(src.first + i - length, length);
        const auto exponent = static_cast<int32_t>((block.smallestLess1 + 1) >> mantissaBits);
        const int32_t grainOfBlock = exponent > 0 ? exponent - 1 + finestGrain : finestGrain;
        if (block.largest != 0 && grainOfBlock < grain) grain = grainOfBlock;

        double before = 0.0;
        for (size_t place = 0; place < places; ++place) {
            const double sum = __builtin_fabs(sums[place]);
            before = sum > before ? sum : before;
        }
        const auto largest = static_cast<double>(__builtin_bit_cast(float, block.largest));
        const auto exact = __builtin_bit_cast(double, static_cast<uint64_t>(bias + 53 + grain) << 52);
        // Infinities are above any bound; with a not-a-number the order does not matter.
        if (before + largest * static_cast<double>(length / places) >= exact) break;
        sums += block.sums;
        i -= length;
    }
    for (; i >= places; i -= places) {
        typedef float Group __attribute__((vector_size(places * sizeof(float))));
        Group group;
        __builtin_memcpy(&group, src.first + i - places, sizeof group);
        sums += __builtin_convertvector(group, Places);
    }
    double total = sums[0] + sums[1] + sums[2] + sums[3];
    while (i-- > 0)
        total += static_cast<double>(src.get(i));
    return total;
}
#endif

template <class Element>
void installExtremes(ExtremeKernels<Element> &kernels) {
    kernels = {extreme<Element, Smallest>, extreme<Element, Largest>};
}

} // namespace

void QZK_LEVEL::install(ReductionKernels &kernels) {
    static_cast<ExtremeKernels<Nibble> &>(kernels) = {extremeOfNibbles<Smallest>, extremeOfNibbles<Largest>};
    installExtremes<uint8_t>(kernels);
    installExtremes<int8_t>(kernels);
    installExtremes<int16_t>(kernels);
    installExtremes<float>(kernels);
    static_cast<SumKernels<Nibble> &>(kernels) = {sumOfNibbles};
    static_cast<SumKernels<uint8_t> &>(kernels) = {sumOfBytes};
    static_cast<SumKernels<int8_t> &>(kernels) = {sumOfSignedBytes};
    static_cast<SumKernels<int16_t> &>(kernels) = {sumOfWords};
#if QZK_SIMD_LEVEL >= 2
    static_cast<SumKernels<float> &>(kernels) = {sumOfFloats};
#endif
    if (QZK_SIMD_LEVEL < 3 || countsBitsOfVectors()) kernels.setBits = setBits;
}

} // namespace qzk::simd
