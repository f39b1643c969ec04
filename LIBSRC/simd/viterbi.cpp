#include "simd/viterbi.hpp"
#include "simd/logarithm.hpp"
#include "simd/vec.hpp"

#define QZK_INLINED __attribute__((always_inline))

// Vectors run over the target states and read the rows of `lanes`. The least of all sums does not depend on
// their order, as equal costs have equal bits. Costs are handled as their bits.
namespace qzk::simd {
namespace {

using Words = Vec<std::int32_t>;
using Quad = std::int32_t __attribute__((vector_size(16)));
constexpr std::size_t lanes = lanesOf<std::int32_t>;
constexpr std::int32_t largest = INT32_MAX;

template <class V>
struct SameSize {
    typedef float Floats __attribute__((vector_size(sizeof(V))));
    typedef std::uint32_t Bits __attribute__((vector_size(sizeof(V))));
};

#if QZK_SIMD_LEVEL == 1
QZK_INLINE Quad lesser(Quad a, Quad b) {
    const Quad less = a < b;
    return (a & less) | (b & ~less);
}
QZK_INLINE Words greater(Words a, Words b) {
    const Words less = a < b;
    return (b & less) | (a & ~less);
}
#else
QZK_INLINE Quad lesser(Quad a, Quad b) { return (Quad)_mm_min_epi32((__m128i)a, (__m128i)b); }
#endif
QZK_INLINE unsigned signs(Quad v) { return static_cast<unsigned>(_mm_movemask_ps((__m128)v)); }
#if QZK_SIMD_LEVEL == 2
QZK_INLINE Words lesser(Words a, Words b) { return (Words)_mm256_min_epi32((__m256i)a, (__m256i)b); }
QZK_INLINE Words greater(Words a, Words b) { return (Words)_mm256_max_epi32((__m256i)a, (__m256i)b); }
QZK_INLINE unsigned signs(Words v) { return static_cast<unsigned>(_mm256_movemask_ps((__m256)v)); }
#elif QZK_SIMD_LEVEL == 3
QZK_INLINE Words lesser(Words a, Words b) { return (Words)_mm512_min_epi32((__m512i)a, (__m512i)b); }
QZK_INLINE Words greater(Words a, Words b) { return (Words)_mm512_max_epi32((__m512i)a, (__m512i)b); }
QZK_INLINE unsigned signs(Words v) { return _mm512_movepi32_mask((__m512i)v); }
#endif

template <class Cost>
QZK_INLINE Words loadBits(const Cost *from) {
    return load(reinterpret_cast<const std::int32_t *>(from));
}

template <class Cost>
QZK_INLINE void storeBits(Cost *to, Words v) {
    store(reinterpret_cast<std::int32_t *>(to), v);
}

template <class Cost>
QZK_INLINE Words splatBits(const Cost *from) {
    std::int32_t word;
    __builtin_memcpy(&word, from, sizeof word);
    return splat(word);
}

/// All bits of the lanes from `first` on.
QZK_INLINE Words lanesFrom(std::size_t first) {
    Words numbers;
    for (std::size_t i = 0; i < lanes; ++i)
        numbers[i] = static_cast<std::int32_t>(i);
    return numbers >= splat(static_cast<std::int32_t>(first));
}

/// The lesser from the lane `first` on, a before.
QZK_INLINE Words lesserFrom(std::size_t first, Words a, Words b) {
#if QZK_SIMD_LEVEL == 3
    const auto mask = static_cast<__mmask16>(0xFFFFu << first);
    return (Words)_mm512_mask_min_epi32((__m512i)a, mask, (__m512i)a, (__m512i)b);
#else
    const Words behind = lanesFrom(first);
    return lesser(a, (b & behind) | (~behind & largest));
#endif
}

/// The lane that prevails over all others, in every lane.
template <class Choose>
QZK_INLINE Words inAllLanes(Words v, Choose choose) {
#if QZK_SIMD_LEVEL == 3
    v = choose(v, (Words)_mm512_shuffle_i64x2((__m512i)v, (__m512i)v, 0x4E));
    v = choose(v, (Words)_mm512_shuffle_i64x2((__m512i)v, (__m512i)v, 0xB1));
    v = choose(v, (Words)_mm512_shuffle_epi32((__m512i)v, _MM_PERM_BADC));
    return choose(v, (Words)_mm512_shuffle_epi32((__m512i)v, _MM_PERM_CDAB));
#elif QZK_SIMD_LEVEL == 2
    v = choose(v, (Words)_mm256_permute2x128_si256((__m256i)v, (__m256i)v, 1));
    v = choose(v, (Words)_mm256_shuffle_epi32((__m256i)v, 0x4E));
    return choose(v, (Words)_mm256_shuffle_epi32((__m256i)v, 0xB1));
#else
    v = choose(v, (Words)_mm_shuffle_epi32((__m128i)v, 0x4E));
    return choose(v, (Words)_mm_shuffle_epi32((__m128i)v, 0xB1));
#endif
}

/// Bit i: lane i of v is at least `from` and less than `to`.
QZK_INLINE unsigned lanesBetween(Words from, Words v, Words to) {
#if QZK_SIMD_LEVEL == 3
    return _mm512_mask_cmplt_epi32_mask(_mm512_cmple_epi32_mask((__m512i)from, (__m512i)v), (__m512i)v,
                                        (__m512i)to);
#else
    return signs((v >= from) & (v < to));
#endif
}

struct FloatSums {
    using Cost = float;
    static constexpr bool isSafe = true;
    template <class V>
    QZK_INLINE V step(V a, V b) {
        using Floats = typename SameSize<V>::Floats;
        return (V)((Floats)a + (Floats)b);
    }
    template <class V>
    QZK_INLINE V output(V a, V b) {
        return step(a, b);
    }
    /// A little more than the difference.
    QZK_INLINE Words margin(Words a, Words b) {
        return (Words)((Vec<float>)a * (1.0f + 0x1p-20f) - (Vec<float>)b);
    }
};

template <class V>
QZK_INLINE V wrappedSum(V a, V b) {
    using Bits = typename SameSize<V>::Bits;
    return (V)((Bits)a + (Bits)b);
}

struct SaturatingSums {
    using Cost = std::int32_t;
    static constexpr bool isSafe = true;
    template <class V>
    QZK_INLINE V step(V a, V b) {
        const V s = wrappedSum(a, b), overflow = (s ^ a) & (s ^ b), end = (a >> 31) ^ largest;
#if QZK_SIMD_LEVEL == 3
        if constexpr (sizeof(V) == sizeof(Words))
            return (V)_mm512_mask_mov_epi32((__m512i)s, _mm512_movepi32_mask((__m512i)overflow),
                                            (__m512i)end);
#endif
        const V mask = overflow >> 31;
        return (end & mask) | (s & ~mask);
    }
    template <class V>
    QZK_INLINE V output(V a, V b) {
        return step(a, b);
    }
    QZK_INLINE Words margin(Words a, Words b) {
        return (Words)((Vec<std::uint32_t>)a - (Vec<std::uint32_t>)b + 1);
    }
};

/// Plain sums, which are the same as long as all path costs and outputs are far from the ends of the range:
/// steps have 16 bits.
struct ShortSums {
    using Cost = std::int32_t;
    static constexpr bool isSafe = false;
    template <class V>
    QZK_INLINE V step(V a, V b) {
        return wrappedSum(a, b);
    }
    template <class V>
    QZK_INLINE V output(V a, V b) {
        return wrappedSum(a, b);
    }
    QZK_INLINE Words margin(Words a, Words b) { return SaturatingSums::margin(a, b); }
};

/// Collects whether a cost leaves [-2^30, 2^30), the half of the range in which sums may be short.
template <class Sums, class V = Words>
class Bounds {
public:
    QZK_INLINED void see(V costs) {
        if constexpr (!Sums::isSafe) left_ |= costs ^ wrappedSum(costs, costs);
    }
    QZK_INLINED bool areLeft() const { return !Sums::isSafe && signs(left_) != 0; }

private:
    V left_ = {};
};

/// The frames to run. Those with plain sums end with the first frame that leaves the bounds, or before one of
/// which an output might; all return how many frames they ran.
template <class Cost>
struct Sequence {
    const ViterbiModel<Cost> &model;
    const Cost *const *outputs;
    const std::int32_t *symbols;
    std::size_t nFrames;

    QZK_INLINED const Cost *output(std::size_t t) const { return outputs[symbols[t]]; }
    QZK_INLINED std::size_t stride() const { return viterbiStride(model.nStates); }

    /// Whether a frame has outputs of 2^29 or more, or below -2^29: others keep sums with costs within the
    /// bounds in range.
    template <class Sums>
    QZK_INLINED bool isWild(std::size_t t, std::size_t nStates) const {
        if constexpr (Sums::isSafe) return false;
        Vec<std::uint32_t> bits = {};
        for (std::size_t j = 0; j < nStates; j += lanes)
            bits |= (Vec<std::uint32_t>)loadBits(output(t) + j) + (1u << 29);
        return signs((Words)(bits | bits << 1)) != 0;
    }
};

constexpr std::size_t at(int k) { return static_cast<std::size_t>(k) * lanes; }

/// Adds a source to `blocks` vectors of targets; `row` holds its steps.
template <class Sums, int blocks, class Cost>
QZK_INLINE void addSource(const Cost *now, const Cost *row, Words *least) {
    const Words cost = splatBits(now);
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k)
        least[k] = lesser(least[k], Sums::step(cost, loadBits(row + at(k))));
}

/// Adds the sources from `i` to `end` to `blocks` vectors of targets, the first of which begins at `to`.
template <class Sums, int blocks, class Cost>
QZK_INLINE void addSources(const Sequence<Cost> &run, const Cost *now, std::size_t i, std::size_t end,
                           std::size_t to, Words *least) {
    const std::size_t stride = run.stride();
    const Cost *row = run.model.lanes + i * stride + to;
    for (; i < end; ++i, row += stride)
        addSource<Sums, blocks>(now + i, row, least);
}

/// The same for the sources of the targets' own vectors, which have no steps back.
template <class Sums, int blocks, class Cost>
QZK_INLINE void addTriangle(const Sequence<Cost> &run, const Cost *now, std::size_t to, Words *least) {
    const std::size_t n = run.model.nStates, end = to + lanes < n ? to + lanes : n, stride = run.stride();
    const Cost *row = run.model.lanes + to * stride + to;
    for (std::size_t i = to; i < end; ++i, row += stride) {
        const Words cost = splatBits(now + i);
        least[0] = lesserFrom(i - to, least[0], Sums::step(cost, loadBits(row)));
#pragma GCC unroll 8
        for (int k = 1; k < blocks; ++k)
            least[k] = lesser(least[k], Sums::step(cost, loadBits(row + at(k))));
    }
    if constexpr (blocks > 1) addTriangle<Sums, blocks - 1>(run, now, to + lanes, least + 1);
}

/// Adds the outputs to the least costs and stores them.
template <class Sums, int blocks, class Cost>
QZK_INLINE void finish(const Words *least, const Cost *output, Cost *next, Bounds<Sums> &bounds) {
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k) {
        const Words costs = Sums::output(loadBits(output + at(k)), least[k]);
        bounds.see(costs);
        storeBits(next + at(k), costs);
    }
}

template <class Sums, bool leftRight, int blocks, class Cost>
QZK_INLINE void advanceBlocks(const Sequence<Cost> &run, const ViterbiPaths<Cost> &paths, const Cost *output,
                              std::size_t to, Bounds<Sums> &bounds) {
    Words least[blocks];
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k)
        least[k] = splat(largest);
    addSources<Sums, blocks>(run, paths.now, 0, leftRight ? to : run.model.nStates, to, least);
    if constexpr (leftRight) addTriangle<Sums, blocks>(run, paths.now, to, least);
    finish<Sums, blocks>(least, output + to, paths.next + to, bounds);
}

template <int number>
struct Constant {
    static constexpr int value = number;
};

/// Calls advance(Constant<blocks>(), to) for all targets in turn, `blocks` vectors of them from `to` on.
template <class Advance>
QZK_INLINE void forEachBlocks(std::size_t nStates, Advance advance) {
    constexpr int most = 4;
    std::size_t to = 0;
    for (; to + at(most - 1) < nStates; to += at(most))
        advance(Constant<most>(), to);
    switch (to < nStates ? (nStates - to + lanes - 1) / lanes : 0) {
    case 3:
        advance(Constant<3>(), to);
        break;
    case 2:
        advance(Constant<2>(), to);
        break;
    case 1:
        advance(Constant<1>(), to);
        break;
    default:
        break;
    }
}

template <class Cost>
QZK_INLINE void exchange(ViterbiPaths<Cost> &paths) {
    Cost *const advanced = paths.next;
    paths.next = paths.now;
    paths.now = advanced;
}

template <class Sums, bool leftRight, class Cost>
QZK_INLINE std::size_t runColumns(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    std::size_t t = 0;
    for (bool left = false; t < run.nFrames && !left && !run.template isWild<Sums>(t, run.model.nStates);
         ++t) {
        const Cost *const output = run.output(t);
        Bounds<Sums> bounds;
        forEachBlocks(run.model.nStates, [&](auto blocks, std::size_t to) QZK_INLINED {
            advanceBlocks<Sums, leftRight, blocks.value>(run, paths, output, to, bounds);
        });
        left = bounds.areLeft();
        exchange(paths);
    }
    return t;
}

constexpr std::size_t maskBits = 64;

/// A frame of a general model to which only the sources that matter are added. Let the key of a source be its
/// cost with its least step: one whose key is not below the highest of the costs that others lead to changes
/// none of them. So first the sources with keys below a limit are added, then those of the others whose keys
/// are below the highest cost. Every limit gives the same costs.
template <class Sums>
struct NearFrame {
    using Cost = typename Sums::Cost;

    const Sequence<Cost> &run;
    const Cost *now, *output;
    Cost *next;
    const std::int32_t *keys; // up to a multiple of maskBits, the largest ones behind the last state
    Words limit;
    Words highest = splat(INT32_MIN); // cost that sources below the limit led to
    Bounds<Sums> bounds{};
    std::ptrdiff_t added = 0; // vectors

    template <int blocks>
    QZK_INLINED void advance(std::size_t to) {
        Words least[blocks];
#pragma GCC unroll 8
        for (int k = 0; k < blocks; ++k)
            least[k] = splat(largest);
        addBetween<blocks>(splat(INT32_MIN), limit, to, least);
        Words most = least[0];
#pragma GCC unroll 8
        for (int k = 1; k < blocks; ++k)
            most = greater(most, least[k]);
        most = inAllLanes(most, [](Words a, Words b) QZK_INLINED { return greater(a, b); });
        highest = greater(highest, most);
        addBetween<blocks>(limit, most, to, least);
        finish<Sums, blocks>(least, output + to, next + to, bounds);
    }

private:
    template <int blocks>
    QZK_INLINED void addBetween(Words from, Words end, std::size_t to, Words *least) {
        const std::size_t n = run.model.nStates, stride = run.stride();
        const Cost *const lane = run.model.lanes + to, *const costs = now;
        for (std::size_t first = 0; first < n; first += maskBits) {
            std::uint64_t sources = 0;
#pragma GCC unroll 16
            for (std::size_t i = 0; i < maskBits; i += lanes)
                sources |= static_cast<std::uint64_t>(lanesBetween(from, load(keys + first + i), end)) << i;
            for (; sources != 0; sources &= sources - 1) {
                const std::size_t i = first + static_cast<unsigned>(__builtin_ctzll(sources));
                addSource<Sums, blocks>(costs + i, lane + i * stride, least);
                added += blocks;
            }
        }
    }
};

/// Stores the keys of a frame; the lowest of them in all lanes.
template <class Sums, class Cost>
QZK_INLINE Words storeKeys(const Sequence<Cost> &run, const Cost *now, std::int32_t *to) {
    const std::size_t n = run.model.nStates;
    const Cost *const leastSteps = run.model.lanes + n * run.stride();
    Words lowest = splat(largest);
    for (std::size_t i = 0; i < n; i += lanes) {
        Words keys = Sums::step(loadBits(now + i), loadBits(leastSteps + i));
        if (i + lanes > n) {
            const Words behind = lanesFrom(n - i);
            keys = (keys & ~behind) | (behind & largest);
        }
        store(to + i, keys);
        lowest = lesser(lowest, keys);
    }
    return inAllLanes(lowest, [](Words a, Words b) QZK_INLINED { return lesser(a, b); });
}

/// Sums of floats are in the order of their bits as long as no cost is negative.
template <class Cost>
QZK_INLINE bool isNegative(Words costs) {
    return !std::is_integral_v<Cost> && signs(costs) != 0;
}

/// Models and sequences for which choosing sources pays, and the states whose keys have room on the stack.
constexpr std::size_t fewestNear = 48, fewestFrames = 4, mostNear = 1024;

/// Limits the keys of a frame as far above the lowest as the highest cost was in the frame before, so that
/// few sources are left over. Ends where so many matter that adding all takes less time.
template <class Sums, class Cost>
std::size_t runNear(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    const std::size_t n = run.model.nStates;
    alignas(viterbiAlignment) std::int32_t keys[mostNear];
    for (std::size_t i = n / maskBits * maskBits; i < mostNear && i < n + maskBits; i += lanes)
        store(keys + i, splat(largest));
    const auto all = static_cast<std::ptrdiff_t>(n * ((n + lanes - 1) / lanes)), most = 4 * all;
    std::ptrdiff_t allowance = all;
    Words margin = {};
    std::size_t t = 0;
    while (t < run.nFrames && allowance >= 0) {
        const Words lowest = storeKeys<Sums>(run, paths.now, keys);
        if (isNegative<Cost>(lowest) || run.template isWild<Sums>(t, run.model.nStates)) break;
        const Words limit = t == 0 ? splat(largest) : Sums::step(lowest, margin);
        NearFrame<Sums> frame = {run, paths.now, run.output(t++), paths.next, keys, limit};
        forEachBlocks(n, [&](auto blocks, std::size_t to)
                             QZK_INLINED { frame.template advance<blocks.value>(to); });
        exchange(paths);
        if (frame.bounds.areLeft()) break;
        margin = Sums::margin(frame.highest, lowest);
        allowance += all * 5 / 8 - frame.added;
        if (allowance > most) allowance = most;
    }
    return t;
}

template <class Sums, class Cost>
QZK_INLINE bool areLeft(const Cost *costs, std::size_t n) {
    Bounds<Sums> bounds;
    for (std::size_t j = 0; j < n; j += lanes)
        bounds.see(loadBits(costs + j));
    return bounds.areLeft();
}

template <class Sums, class Cost>
QZK_INLINE std::size_t runGeneral(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    const std::size_t n = run.model.nStates;
    Words leastSteps = {};
    for (std::size_t i = 0; i < n; i += lanes)
        leastSteps |= loadBits(run.model.lanes + n * run.stride() + i);
    if (n < fewestNear || n > mostNear || run.nFrames < fewestFrames || isNegative<Cost>(leastSteps))
        return runColumns<Sums, false>(run, paths);
    std::size_t t = 0, pause = 32;
    for (bool isNear = true; t < run.nFrames && !areLeft<Sums>(paths.now, n); isNear = !isNear) {
        const std::size_t rest = run.nFrames - t, count = isNear || rest < pause ? rest : pause;
        const Sequence<Cost> frames = {run.model, run.outputs, run.symbols + t, count};
        const std::size_t done =
            isNear ? runNear<Sums>(frames, paths) : runColumns<Sums, false>(frames, paths);
        t += done;
        if (isNear) continue;
        if (done < count) break;
        pause *= 2;
    }
    return t;
}

template <int number>
QZK_INLINE Quad lane(Quad v) {
    return __builtin_shufflevector(v, v, number, number, number, number);
}

/// The largest costs before the lane `first`.
template <int first>
QZK_INLINE Quad quadFrom(Quad v) {
    const Quad dearest = {largest, largest, largest, largest};
    return __builtin_shufflevector(v, dearest, first > 0 ? 4 : 0, first > 1 ? 5 : 1, first > 2 ? 6 : 2, 3);
}

constexpr int quadLanes = 4;

/// Models of n states, few enough to keep everything in registers. Quads, as taking one lane of them is
/// quick.
template <class Sums, bool leftRight, int n>
class Few {
public:
    using Cost = typename Sums::Cost;

    QZK_INLINE std::size_t run(const Sequence<Cost> &run, Cost *costs) {
        Few model;
#pragma GCC unroll 8
        for (int i = 0; i < n; ++i)
#pragma GCC unroll 2
            for (int q = 0; q < quads; ++q)
                model.steps_[i][q] =
                    loadQuad(run.model.lanes + static_cast<std::size_t>(i) * viterbiStride(n), q);
#pragma GCC unroll 2
        for (int q = 0; q < quads; ++q)
            model.now_[q] = loadQuad(costs, q);
        std::size_t t = 0;
        for (bool left = false; t < run.nFrames && !left && !run.template isWild<Sums>(t, n); ++t)
            left = model.advance(run.output(t));

#pragma GCC unroll 2
        for (int q = 0; q < quads; ++q)
            __builtin_memcpy(costs + q * quadLanes, &model.now_[q], sizeof(Quad));
        return t;
    }

private:
    static constexpr int quads = (n + quadLanes - 1) / quadLanes;

    QZK_INLINE Quad loadQuad(const Cost *from, int q) {
        Quad v;
        __builtin_memcpy(&v, from + q * quadLanes, sizeof v);
        return v;
    }

    /// The least over `count` sources from `first` on, for the targets of a quad.
    template <int q, int first, int count>
    QZK_INLINED Quad least() const {
        if constexpr (count == 1) {
            const Quad costs = Sums::step(lane<first % quadLanes>(now_[first / quadLanes]), steps_[first][q]);
            if constexpr (leftRight && first > q * quadLanes) return quadFrom<first % quadLanes>(costs);
            return costs;
        } else {
            return lesser(least<q, first, count / 2>(), least<q, first + count / 2, count - count / 2>());
        }
    }

    template <int q>
    QZK_INLINED Quad advanced(const Cost *output) const {
        constexpr int sources = leftRight && (q + 1) * quadLanes < n ? (q + 1) * quadLanes : n;
        return Sums::output(loadQuad(output, q), least<q, 0, sources>());
    }

    QZK_INLINED bool advance(const Cost *output) {
        Bounds<Sums, Quad> bounds;
        const Quad first = advanced<0>(output);
        bounds.see(first);
        if constexpr (quads > 1) {
            now_[1] = advanced<1>(output);
            bounds.see(now_[1]);
        }
        now_[0] = first;
        return bounds.areLeft();
    }

    Quad steps_[n][quads], now_[quads];
};

template <class Sums, bool leftRight, class Cost>
std::size_t runModel(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    switch (run.model.nStates) {
    case 1:
        return Few<Sums, leftRight, 1>::run(run, paths.now);
    case 2:
        return Few<Sums, leftRight, 2>::run(run, paths.now);
    case 3:
        return Few<Sums, leftRight, 3>::run(run, paths.now);
    case 4:
        return Few<Sums, leftRight, 4>::run(run, paths.now);
    case 5:
        return Few<Sums, leftRight, 5>::run(run, paths.now);
    case 6:
        return Few<Sums, leftRight, 6>::run(run, paths.now);
    case 7:
        return Few<Sums, leftRight, 7>::run(run, paths.now);
    case 8:
        return Few<Sums, leftRight, 8>::run(run, paths.now);
    default:
        if constexpr (leftRight)
            return runColumns<Sums, true>(run, paths);
        else
            return runGeneral<Sums>(run, paths);
    }
}

/// The vector that begins `back` lanes before `v`; `before` is the one in front of it.
template <int back>
QZK_INLINE Words shiftedIn(Words before, Words v) {
#if QZK_SIMD_LEVEL == 1
    return (Words)_mm_or_si128(_mm_slli_si128((__m128i)v, 4 * back),
                               _mm_srli_si128((__m128i)before, 16 - 4 * back));
#elif QZK_SIMD_LEVEL == 2
    const __m256i middle = _mm256_permute2x128_si256((__m256i)before, (__m256i)v, 0x21);
    return (Words)_mm256_alignr_epi8((__m256i)v, middle, 16 - 4 * back);
#else
    return (Words)_mm512_alignr_epi32((__m512i)v, (__m512i)before, 16 - back);
#endif
}

/// The vector of new costs of the states whose vector is `now`, in front of which `before` lies. The states
/// before the first one have the largest bits, which never win: as a float they are a not-a-number, which the
/// steps of 0 leave as it is.
template <class Sums, class Cost>
QZK_INLINE Words advancedDiagonals(const Cost *stay, std::size_t stride, Words before, Words now,
                                   const Cost *output) {
    const Cost *const step = stay + stride, *const jump = step + stride;
    Words least = Sums::step(now, loadBits(stay));
    least = lesser(least, Sums::step(shiftedIn<1>(before, now), loadBits(step)));
    least = lesser(least, Sums::step(shiftedIn<2>(before, now), loadBits(jump)));
    return Sums::output(loadBits(output), least);
}

/// In place, with all costs in `blocks` registers.
template <class Sums, int blocks, class Cost>
QZK_INLINE std::size_t runDiagonals(const Sequence<Cost> &run, Cost *costs) {
    Words now[blocks];
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k)
        now[k] = loadBits(costs + at(k));
    std::size_t t = 0;
    for (bool left = false; t < run.nFrames && !left && !run.template isWild<Sums>(t, run.model.nStates);
         ++t) {
        const Cost *const output = run.output(t);
        Bounds<Sums> bounds;
        Words before = splat(largest);
#pragma GCC unroll 8
        for (int k = 0; k < blocks; ++k) {
            const Words advanced = advancedDiagonals<Sums>(run.model.lanes + at(k), run.stride(), before,
                                                           now[k], output + at(k));
            before = now[k];
            now[k] = advanced;
            bounds.see(advanced);
        }
        left = bounds.areLeft();
    }
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k)
        storeBits(costs + at(k), now[k]);
    return t;
}

template <class Sums, class Cost>
QZK_INLINE std::size_t runLongDiagonals(const Sequence<Cost> &run, Cost *costs) {
    std::size_t t = 0;
    for (bool left = false; t < run.nFrames && !left && !run.template isWild<Sums>(t, run.model.nStates);
         ++t) {
        const Cost *const output = run.output(t);
        Bounds<Sums> bounds;
        Words before = splat(largest);
        for (std::size_t j = 0; j < run.model.nStates; j += lanes) {
            const Words now = loadBits(costs + j);
            const Words advanced =
                advancedDiagonals<Sums>(run.model.lanes + j, run.stride(), before, now, output + j);
            before = now;
            storeBits(costs + j, advanced);
            bounds.see(advanced);
        }
        left = bounds.areLeft();
    }
    return t;
}

template <class Sums, class Cost>
std::size_t runBakis(const Sequence<Cost> &run, Cost *costs) {
    switch ((run.model.nStates + lanes - 1) / lanes) {
    case 1:
        return runDiagonals<Sums, 1>(run, costs);
    case 2:
        return runDiagonals<Sums, 2>(run, costs);
    case 3:
        return runDiagonals<Sums, 3>(run, costs);
    case 4:
        return runDiagonals<Sums, 4>(run, costs);
    default:
        return runLongDiagonals<Sums>(run, costs);
    }
}

template <class Sums, class Cost>
std::size_t runFrames(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    switch (run.model.topology) {
    case ViterbiTopology::leftRight:
        return runModel<Sums, true>(run, paths);
    case ViterbiTopology::bakis:
        return runBakis<Sums>(run, paths.now);
    default:
        return runModel<Sums, false>(run, paths);
    }
}

void advanceFloats(const ViterbiModel<float> &model, ViterbiPaths<float> &paths, const float *const *outputs,
                   const std::int32_t *symbols, std::size_t nFrames) {
    runFrames<FloatSums, float>({model, outputs, symbols, nFrames}, paths);
}

/// Plain sums until the costs leave the bounds, for which they may be too high to come back.
void advanceWords(const ViterbiModel<std::int32_t> &model, ViterbiPaths<std::int32_t> &paths,
                  const std::int32_t *const *outputs, const std::int32_t *symbols, std::size_t nFrames) {
    std::size_t done = 0;
    if (!areLeft<ShortSums>(paths.now, model.nStates))
        done = runFrames<ShortSums, std::int32_t>({model, outputs, symbols, nFrames}, paths);
    if (done < nFrames)
        runFrames<SaturatingSums, std::int32_t>({model, outputs, symbols + done, nFrames - done}, paths);
}

constexpr std::size_t doubleLanes = lanesOf<double>;

/// As many integers as a vector has doubles.
QZK_INLINE Vec<double> loadDoubles(const std::int32_t *from) {
#if QZK_SIMD_LEVEL == 1
    return (Vec<double>)_mm_cvtepi32_pd(_mm_loadl_epi64((const __m128i *)from));
#elif QZK_SIMD_LEVEL == 2
    return (Vec<double>)_mm256_cvtepi32_pd(_mm_loadu_si128((const __m128i *)from));
#else
    return (Vec<double>)_mm512_cvtepi32_pd(_mm256_loadu_si256((const __m256i *)from));
#endif
}

/// Truncated; -2^31 for what 32 bits cannot hold.
QZK_INLINE Vec<double> truncated(Vec<double> x) {
#if QZK_SIMD_LEVEL == 1
    return (Vec<double>)_mm_cvtepi32_pd(_mm_cvttpd_epi32((__m128d)x));
#elif QZK_SIMD_LEVEL == 2
    return (Vec<double>)_mm256_cvtepi32_pd(_mm256_cvttpd_epi32((__m256d)x));
#else
    return (Vec<double>)_mm512_cvtepi32_pd(_mm512_cvttpd_epi32((__m512d)x));
#endif
}

/// Doubles that are 32-bit integers.
QZK_INLINE void storeIntegers(std::int32_t *to, Vec<double> x) {
#if QZK_SIMD_LEVEL == 1
    _mm_storel_epi64((__m128i *)to, _mm_cvttpd_epi32((__m128d)x));
#elif QZK_SIMD_LEVEL == 2
    _mm_storeu_si128((__m128i *)to, _mm256_cvttpd_epi32((__m256d)x));
#else
    _mm256_storeu_si256((__m256i *)to, _mm512_cvttpd_epi32((__m512d)x));
#endif
}

using Longs = Vec<std::int64_t>;

/// Runs block(from, to) on doubleLanes densities at a time, which tells the lanes that it left undecided, and
/// define(i) on the element of each of these.
template <class Density, class Cost, class Block, class Define>
QZK_INLINE void costsOf(const Density *densities, Cost *costs, std::size_t n, Block block, Define define) {
    for (std::size_t i = 0; i < n; i += doubleLanes) {
        const std::size_t count = n - i < doubleLanes ? n - i : doubleLanes;
        unsigned undecided;
        if (count == doubleLanes) {
            undecided = block(densities + i, costs + i);
        } else {
            Density filled[doubleLanes];
            Cost last[doubleLanes];
            for (std::size_t lane = 0; lane < doubleLanes; ++lane)
                filled[lane] = lane < count ? densities[i + lane] : Density(1);
            undecided = block(filled, last);
            __builtin_memcpy(costs + i, last, count * sizeof(Cost));
        }
        for (std::size_t lane = 0; undecided != 0 && lane < count; ++lane)
            if ((undecided >> lane & 1) != 0) define(i + lane);
    }
}

void floatCosts(const double *densities, float *costs, std::size_t n) {
    // The instructions of the highest level take subnormal numbers as well.
    constexpr double smallest = QZK_SIMD_LEVEL == 3 ? 0.0 : 0x1p-1022;
    costsOf(
        densities, costs, n,
        [](const double *from, float *to) QZK_INLINED {
            const Vec<double> x = load(from);
            const ApproximateLogarithm logarithm = approximateLogarithm(x, 1.0);
            storeNarrowed(to, -logarithm.value);
            const Longs ordinary = x >= smallest;
            return logarithm.undecided | signBits((Vec<double>)~ordinary);
        },
        [=](std::size_t i) { plain::viterbi.floatCosts(densities + i, costs + i, 1); });
}

/// Logarithms of 32-bit integers are below 10: with their error below 2^-44 of them and the rounding of the
/// difference, differences are within 2^-40 of the defined ones. Where the products with the ends of that
/// interval are truncated to the same integer, so is the defined one.
void wordCosts(const std::int32_t *densities, std::int32_t *costs, std::size_t n, double multiplier) {
    constexpr double error = 0x1p-40;
    costsOf(
        densities, costs, n,
        [=](const std::int32_t *from, std::int32_t *to) QZK_INLINED {
            const Vec<double> x = loadDoubles(from);
            const Longs present = x > 0.0;
            const auto safe = (Vec<double>)(((Longs)x & present) | ((Longs)splat(1.0) & ~present));
            const Vec<double> difference = splat(log10Of29Bits) - approximateLogarithm(safe, 1.0).value;
            const Vec<double> low = truncated((difference - error) * multiplier);
            const Vec<double> high = truncated((difference + error) * multiplier);
            const auto cost =
                (Vec<double>)(((Longs)low & present) | ((Longs)splat<double>(impossibleOutput) & ~present));
            storeIntegers(to, cost);
            const Longs undecided = (low != high) | (low == -0x1p31);
            return signBits((Vec<double>)(undecided & present));
        },
        [=](std::size_t i) { plain::viterbi.wordCosts(densities + i, costs + i, 1, multiplier); });
}

} // namespace

void QZK_LEVEL::install(ViterbiKernels &kernels) {
    kernels = {{advanceFloats}, {advanceWords}, floatCosts, wordCosts};
}

} // namespace qzk::simd
