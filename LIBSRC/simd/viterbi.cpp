#include "simd/viterbi.hpp"
#include "simd/logarithm.hpp"
#include "simd/vec.hpp"

#define QZK_INLINED __attribute__((always_inline))

// Vectors run over the target states and read the rows of `lanes`. The least of all sums does not depend on
// their order, as equal costs have equal bits. Costs are handled as their bits.
//
// Saturation would cost more than everything else: as long as all path costs keep away from the ends of the
// range by as much as a step can add, plain additions are the same; a frame in which one does not runs the
// definition. The costs of the outputs are always added with saturation.
namespace qzk::simd {
namespace {

using Words = Vec<std::int32_t>;
using Bits = Vec<std::uint32_t>;
constexpr std::size_t lanes = lanesOf<std::int32_t>;
constexpr std::int32_t largest = INT32_MAX;

#if QZK_SIMD_LEVEL == 1
QZK_INLINE Words lesser(Words a, Words b) {
    const Words less = a < b;
    return (a & less) | (b & ~less);
}
QZK_INLINE bool any(Words mask) { return _mm_movemask_epi8((__m128i)mask) != 0; }
#elif QZK_SIMD_LEVEL == 2
QZK_INLINE Words lesser(Words a, Words b) { return (Words)_mm256_min_epi32((__m256i)a, (__m256i)b); }
QZK_INLINE bool any(Words mask) { return _mm256_movemask_epi8((__m256i)mask) != 0; }
#else
QZK_INLINE Words lesser(Words a, Words b) { return (Words)_mm512_min_epi32((__m512i)a, (__m512i)b); }
QZK_INLINE bool any(Words mask) { return _mm512_test_epi32_mask((__m512i)mask, (__m512i)mask) != 0; }
#endif

QZK_INLINE Words select(Words mask, Words yes, Words no) { return (yes & mask) | (no & ~mask); }

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

/// The lesser in the lanes from `lane` on, `a` in those before.
QZK_INLINE Words lesserFrom(std::size_t lane, Words a, Words b) {
#if QZK_SIMD_LEVEL == 3
    const auto mask = static_cast<__mmask16>(0xFFFFu << lane);
    return (Words)_mm512_mask_min_epi32((__m512i)a, mask, (__m512i)a, (__m512i)b);
#else
    Words numbers;
    for (std::size_t i = 0; i < lanes; ++i)
        numbers[i] = static_cast<std::int32_t>(i);
    const Words before = numbers < splat(static_cast<std::int32_t>(lane));
    return select(before, a, lesser(a, b));
#endif
}

template <class Cost>
struct Arithmetic;

template <>
struct Arithmetic<float> {
    static constexpr bool saturates = false;
    QZK_INLINE Words step(Words a, Words b) { return (Words)((Vec<float>)a + (Vec<float>)b); }
    QZK_INLINE Words output(Words a, Words b) { return step(a, b); }
};

template <>
struct Arithmetic<std::int32_t> {
    static constexpr bool saturates = true;
    /// For sums within the range.
    QZK_INLINE Words step(Words a, Words b) { return (Words)((Bits)a + (Bits)b); }
    QZK_INLINE Words output(Words a, Words b) {
        const Words s = step(a, b), overflow = ((s ^ a) & (s ^ b)) >> 31;
        return select(overflow, (a >> 31) ^ largest, s);
    }
};

/// Collects whether a path cost is so near to an end of the range that a step could leave it.
template <class Cost>
class Ends {
public:
    QZK_INLINED void see(Words costs) {
        if constexpr (Arithmetic<Cost>::saturates)
            near_ |= (costs > splat(largest - 32767)) | (costs < splat(INT32_MIN + 32768));
    }
    QZK_INLINED bool isNear() const { return Arithmetic<Cost>::saturates && any(near_); }

private:
    Words near_ = {};
};

template <class Cost>
struct Frame {
    const ViterbiModel<Cost> &model;
    std::size_t stride;
    const Cost *now, *output;
    Cost *next;
};

/// Adds the sources from `i` to `end` to `blocks` vectors of targets, the first of which begins at `to`.
template <class Cost, int blocks>
QZK_INLINE void addSources(const Frame<Cost> &frame, std::size_t i, std::size_t end, std::size_t to,
                           Words *least) {
    const Cost *row = frame.model.lanes + i * frame.stride + to;
    for (; i < end; ++i, row += frame.stride) {
        const Words cost = splatBits(frame.now + i);
#pragma GCC unroll 8
        for (int k = 0; k < blocks; ++k)
            least[k] = lesser(
                least[k], Arithmetic<Cost>::step(cost, loadBits(row + static_cast<std::size_t>(k) * lanes)));
    }
}

/// The same for the sources of the first vector's own states, which cannot step back in it, and those after
/// them, each vector being without sources behind its last state.
template <class Cost, int blocks>
QZK_INLINE void addTriangle(const Frame<Cost> &frame, std::size_t to, Words *least) {
    const std::size_t n = frame.model.nStates, end = to + lanes < n ? to + lanes : n;
    const Cost *row = frame.model.lanes + to * frame.stride + to;
    for (std::size_t i = to; i < end; ++i, row += frame.stride) {
        const Words cost = splatBits(frame.now + i);
        least[0] = lesserFrom(i - to, least[0], Arithmetic<Cost>::step(cost, loadBits(row)));
#pragma GCC unroll 8
        for (int k = 1; k < blocks; ++k)
            least[k] = lesser(
                least[k], Arithmetic<Cost>::step(cost, loadBits(row + static_cast<std::size_t>(k) * lanes)));
    }
    if constexpr (blocks > 1) addTriangle<Cost, blocks - 1>(frame, to + lanes, least + 1);
}

template <class Cost, bool leftRight, int blocks>
QZK_INLINE void advanceBlocks(const Frame<Cost> &frame, std::size_t to, Ends<Cost> &ends) {
    Words least[blocks];
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k)
        least[k] = splat(largest);
    addSources<Cost, blocks>(frame, 0, leftRight ? to : frame.model.nStates, to, least);
    if constexpr (leftRight) addTriangle<Cost, blocks>(frame, to, least);
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k) {
        const std::size_t j = to + static_cast<std::size_t>(k) * lanes;
        const Words costs = Arithmetic<Cost>::output(loadBits(frame.output + j), least[k]);
        ends.see(costs);
        storeBits(frame.next + j, costs);
    }
}

constexpr int mostBlocks = 4;

template <class Cost, bool leftRight>
QZK_INLINE bool advanceFrame(const Frame<Cost> &frame) {
    Ends<Cost> ends;
    std::size_t to = 0;
    for (; to + (mostBlocks - 1) * lanes < frame.model.nStates; to += mostBlocks * lanes)
        advanceBlocks<Cost, leftRight, mostBlocks>(frame, to, ends);
    switch (to < frame.model.nStates ? (frame.model.nStates - to + lanes - 1) / lanes : 0) {
    case 3:
        advanceBlocks<Cost, leftRight, 3>(frame, to, ends);
        break;
    case 2:
        advanceBlocks<Cost, leftRight, 2>(frame, to, ends);
        break;
    case 1:
        advanceBlocks<Cost, leftRight, 1>(frame, to, ends);
        break;
    default:
        break;
    }
    return ends.isNear();
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
template <class Cost>
QZK_INLINE Words advancedDiagonals(const Cost *stay, std::size_t stride, Words before, Words now,
                                   const Cost *output) {
    const Cost *const step = stay + stride, *const jump = step + stride;
    Words least = Arithmetic<Cost>::step(now, loadBits(stay));
    least = lesser(least, Arithmetic<Cost>::step(shiftedIn<1>(before, now), loadBits(step)));
    least = lesser(least, Arithmetic<Cost>::step(shiftedIn<2>(before, now), loadBits(jump)));
    return Arithmetic<Cost>::output(loadBits(output), least);
}

template <class Cost>
struct Sequence {
    const ViterbiModel<Cost> &model;
    const Cost *const *outputs;
    const std::int32_t *symbols;
    std::size_t nFrames;
};

/// Runs frames until the costs are near an end of the range, in place, and returns how many. These take
/// `blocks` vectors, which stay in registers.
template <class Cost, int blocks>
QZK_INLINE std::size_t runDiagonals(const Sequence<Cost> &run, Cost *costs) {
    const std::size_t stride = viterbiStride(run.model.nStates);
    Words now[blocks];
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k)
        now[k] = loadBits(costs + static_cast<std::size_t>(k) * lanes);
    std::size_t t = 0;
    for (bool near = false; t < run.nFrames && !near; ++t) {
        const Cost *const output = run.outputs[run.symbols[t]];
        Ends<Cost> ends;
        Words before = splat(largest);
#pragma GCC unroll 8
        for (int k = 0; k < blocks; ++k) {
            const std::size_t j = static_cast<std::size_t>(k) * lanes;
            const Words advanced = advancedDiagonals(run.model.lanes + j, stride, before, now[k], output + j);
            before = now[k];
            now[k] = advanced;
            ends.see(advanced);
        }
        near = ends.isNear();
    }
#pragma GCC unroll 8
    for (int k = 0; k < blocks; ++k)
        storeBits(costs + static_cast<std::size_t>(k) * lanes, now[k]);
    return t;
}

/// The same for any number of states.
template <class Cost>
QZK_INLINE std::size_t runLongDiagonals(const Sequence<Cost> &run, Cost *costs) {
    const std::size_t stride = viterbiStride(run.model.nStates);
    std::size_t t = 0;
    for (bool near = false; t < run.nFrames && !near; ++t) {
        const Cost *const output = run.outputs[run.symbols[t]];
        Ends<Cost> ends;
        Words before = splat(largest);
        for (std::size_t j = 0; j < run.model.nStates; j += lanes) {
            const Words now = loadBits(costs + j);
            const Words advanced = advancedDiagonals(run.model.lanes + j, stride, before, now, output + j);
            before = now;
            storeBits(costs + j, advanced);
            ends.see(advanced);
        }
        near = ends.isNear();
    }
    return t;
}

template <class Cost>
std::size_t runBakis(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    switch ((run.model.nStates + lanes - 1) / lanes) {
    case 1:
        return runDiagonals<Cost, 1>(run, paths.now);
    case 2:
        return runDiagonals<Cost, 2>(run, paths.now);
    case 3:
        return runDiagonals<Cost, 3>(run, paths.now);
    case 4:
        return runDiagonals<Cost, 4>(run, paths.now);
    default:
        return runLongDiagonals(run, paths.now);
    }
}

/// One lane of `v` in all of them.
QZK_INLINE Words lane([[maybe_unused]] Words v, [[maybe_unused]] Words number) {
#if QZK_SIMD_LEVEL == 2
    return (Words)_mm256_permutevar8x32_epi32((__m256i)v, (__m256i)number);
#elif QZK_SIMD_LEVEL == 3
    return (Words)_mm512_permutexvar_epi32((__m512i)number, (__m512i)v);
#else
    return v;
#endif
}

/// As runDiagonals, for models whose steps fit one vector.
template <class Cost, bool leftRight>
QZK_INLINE std::size_t runOneVector(const Sequence<Cost> &run, Cost *costs) {
    const std::size_t stride = viterbiStride(run.model.nStates);
    Words now = loadBits(costs);
    std::size_t t = 0;
    for (bool near = false; t < run.nFrames && !near; ++t) {
        Words number = {};
        const Cost *row = run.model.lanes;
        Words least = Arithmetic<Cost>::step(lane(now, number), loadBits(row));
        for (std::size_t i = 1; i < run.model.nStates; ++i) {
            number += 1;
            row += stride;
            const Words candidate = Arithmetic<Cost>::step(lane(now, number), loadBits(row));
            least = leftRight ? lesserFrom(i, least, candidate) : lesser(least, candidate);
        }
        now = Arithmetic<Cost>::output(loadBits(run.outputs[run.symbols[t]]), least);
        Ends<Cost> ends;
        ends.see(now);
        near = ends.isNear();
    }
    storeBits(costs, now);
    return t;
}

template <class Cost, bool leftRight>
std::size_t runColumns(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    constexpr bool permutes = QZK_SIMD_LEVEL > 1;
    if (permutes && run.model.nStates <= lanes) return runOneVector<Cost, leftRight>(run, paths.now);
    const std::size_t stride = viterbiStride(run.model.nStates);
    std::size_t t = 0;
    for (bool near = false; t < run.nFrames && !near; ++t) {
        near = advanceFrame<Cost, leftRight>(
            {run.model, stride, paths.now, run.outputs[run.symbols[t]], paths.next});
        Cost *const advanced = paths.next;
        paths.next = paths.now;
        paths.now = advanced;
    }
    return t;
}

template <class Cost>
QZK_INLINE bool areNear(const Cost *costs, std::size_t n) {
    Ends<Cost> ends;
    if constexpr (Arithmetic<Cost>::saturates)
        for (std::size_t j = 0; j < n; j += lanes)
            ends.see(loadBits(costs + j));
    return ends.isNear();
}

QZK_INLINE const ViterbiKernelsOf<float> &definition(const float *) { return plain::viterbi.ofFloats; }
QZK_INLINE const ViterbiKernelsOf<std::int32_t> &definition(const std::int32_t *) {
    return plain::viterbi.ofWords;
}

template <class Cost>
std::size_t runFrames(const Sequence<Cost> &run, ViterbiPaths<Cost> &paths) {
    switch (run.model.topology) {
    case ViterbiTopology::leftRight:
        return runColumns<Cost, true>(run, paths);
    case ViterbiTopology::bakis:
        return runBakis(run, paths);
    default:
        return runColumns<Cost, false>(run, paths);
    }
}

template <class Cost>
void advance(const ViterbiModel<Cost> &model, ViterbiPaths<Cost> &paths, const Cost *const *outputs,
             const std::int32_t *symbols, std::size_t nFrames) {
    while (nFrames > 0) {
        std::size_t done = 1;
        if (areNear(paths.now, model.nStates)) [[unlikely]]
            definition(paths.now).advance(model, paths, outputs, symbols, done);
        else
            done = runFrames<Cost>({model, outputs, symbols, nFrames}, paths);
        symbols += done;
        nFrames -= done;
    }
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
    kernels = {{advance<float>}, {advance<std::int32_t>}, floatCosts, wordCosts};
}

} // namespace qzk::simd
