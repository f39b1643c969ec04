// The transform in lanes of four.
//
// The first pass splits n points into four independent transforms of n/4 points. From then on lane e of
// every vector belongs to the transform that holds the output indexes 4k + e: all four take the same steps,
// a twiddle factor is one broadcast number, and nothing is exchanged between lanes any more.
//
// A chunk is four real parts followed by four imaginary parts, one for each lane, in the room of four
// points. Element j = 4u + l of the four transforms is chunk l * n/16 + u: the first pass reads four columns
// from the four quarters of the data and leaves their chunks in the same places. The chunks of one l make a
// plane, and all passes but the last ones work within planes.
//
// After the last pass, the outputs of the four lanes of a chunk are neighbours in natural order, so that the
// bit reversal moves whole chunks: chunk (l, u) to (reversed l, reversed u), which the last pass does by
// treating the columns u and reversed u together.
#include "simd/fft.hpp"
#include "simd/vec.hpp"

namespace qzk::simd {
namespace {

// Four lanes at every level: wider vectors of doubles convert from and to single at no higher rate.
typedef float QuadFloat __attribute__((vector_size(16)));
#if QZK_SIMD_LEVEL >= 2
typedef double Quad __attribute__((vector_size(32)));

QZK_INLINE Quad widen(const float *from) { return (Quad)_mm256_cvtps_pd(_mm_loadu_ps(from)); }
QZK_INLINE QuadFloat narrow(Quad v) { return (QuadFloat)_mm256_cvtpd_ps((__m256d)v); }
QZK_INLINE Quad broadcast(double value) { return value - Quad{}; }

/// a0 b0 a2 b2 and a1 b1 a3 b3.
QZK_INLINE Quad evenLanes(Quad a, Quad b) { return __builtin_shufflevector(a, b, 0, 4, 2, 6); }
QZK_INLINE Quad oddLanes(Quad a, Quad b) { return __builtin_shufflevector(a, b, 1, 5, 3, 7); }
/// The first lane of one, the others of the other.
QZK_INLINE Quad firstLaneOf(Quad first, Quad others) {
    return __builtin_shufflevector(first, others, 0, 5, 6, 7);
}
QZK_INLINE Quad reversedLanes(Quad v) { return __builtin_shufflevector(v, v, 3, 2, 1, 0); }
#else
struct Quad {
    Vec<double> low, high;
};

QZK_INLINE Quad operator+(Quad a, Quad b) { return {a.low + b.low, a.high + b.high}; }
QZK_INLINE Quad operator-(Quad a, Quad b) { return {a.low - b.low, a.high - b.high}; }
QZK_INLINE Quad operator*(Quad a, Quad b) { return {a.low * b.low, a.high * b.high}; }
QZK_INLINE Quad operator*(Quad a, double b) { return {a.low * b, a.high * b}; }
QZK_INLINE Quad operator-(Quad a) { return {-a.low, -a.high}; }

QZK_INLINE Quad widen(const float *from) { return {loadWidened(from), loadWidened(from + 2)}; }
QZK_INLINE QuadFloat narrow(Quad v) {
    return (QuadFloat)_mm_movelh_ps(_mm_cvtpd_ps((__m128d)v.low), _mm_cvtpd_ps((__m128d)v.high));
}
QZK_INLINE Quad broadcast(double value) { return {splat(value), splat(value)}; }

QZK_INLINE Quad evenLanes(Quad a, Quad b) {
    return {__builtin_shufflevector(a.low, b.low, 0, 2), __builtin_shufflevector(a.high, b.high, 0, 2)};
}
QZK_INLINE Quad oddLanes(Quad a, Quad b) {
    return {__builtin_shufflevector(a.low, b.low, 1, 3), __builtin_shufflevector(a.high, b.high, 1, 3)};
}
QZK_INLINE Quad firstLaneOf(Quad first, Quad others) {
    return {__builtin_shufflevector(first.low, others.low, 0, 3), others.high};
}
QZK_INLINE Quad reversedLanes(Quad v) {
    return {__builtin_shufflevector(v.high, v.high, 1, 0), __builtin_shufflevector(v.low, v.low, 1, 0)};
}
#endif

QZK_INLINE void store(float *to, QuadFloat v) { __builtin_memcpy(to, &v, sizeof v); }

// The conversions keep the adders busy while the multipliers have time: these sums are products with 1 and a
// sum, which is the same single rounding, on the multipliers.
QZK_INLINE Quad sumOnMultiplier(Quad a, Quad b) {
#if QZK_SIMD_LEVEL >= 2
    return (Quad)_mm256_fmadd_pd((__m256d)a, _mm256_set1_pd(1.0), (__m256d)b);
#else
    return a + b;
#endif
}

QZK_INLINE Quad differenceOnMultiplier(Quad a, Quad b) {
#if QZK_SIMD_LEVEL >= 2
    return (Quad)_mm256_fmsub_pd((__m256d)a, _mm256_set1_pd(1.0), (__m256d)b);
#else
    return a - b;
#endif
}

/// One point per lane.
template <class V>
struct PointOf {
    V re, im;
};
using Point = PointOf<Quad>;

QZK_INLINE Point operator+(Point a, Point b) { return {a.re + b.re, a.im + b.im}; }
QZK_INLINE Point operator-(Point a, Point b) { return {a.re - b.re, a.im - b.im}; }
QZK_INLINE Point operator*(Point a, Point b) {
    return {differenceOnMultiplier(a.re * b.re, a.im * b.im), sumOnMultiplier(a.re * b.im, a.im * b.re)};
}

QZK_INLINE Point sumOnMultiplier(Point a, Point b) {
    return {sumOnMultiplier(a.re, b.re), sumOnMultiplier(a.im, b.im)};
}

QZK_INLINE Point differenceOnMultiplier(Point a, Point b) {
    return {differenceOnMultiplier(a.re, b.re), differenceOnMultiplier(a.im, b.im)};
}

/// Four points in natural order as lanes in the order 0, 2, 1, 3, which costs one exchange per vector.
QZK_INLINE Point loadPoints(const float *from) {
    const Quad low = widen(from), high = widen(from + 4);
    return {evenLanes(low, high), oddLanes(low, high)};
}

QZK_INLINE void storePoints(float *to, Point value) {
    store(to, narrow(evenLanes(value.re, value.im)));
    store(to + 4, narrow(oddLanes(value.re, value.im)));
}

constexpr std::size_t chunkFloats = 8;

QZK_INLINE Point loadChunk(const float *from) { return {widen(from), widen(from + 4)}; }

QZK_INLINE void storeChunk(float *to, Point value) {
    store(to, narrow(value.re));
    store(to + 4, narrow(value.im));
}

/// Inputs of a radix-4 column.
struct Inputs {
    Point a, b, c, d;
};

/// Its outputs, before the products.
struct Butterfly {
    Point y0, y1, y2, y3;
};

QZK_INLINE Butterfly butterfly(Inputs in) {
    const Point sumAC = sumOnMultiplier(in.a, in.c), sumBD = sumOnMultiplier(in.b, in.d),
                differenceAC = differenceOnMultiplier(in.a, in.c),
                differenceBD = differenceOnMultiplier(in.b, in.d);
    return {sumAC + sumBD,
            {differenceAC.re + differenceBD.im, differenceAC.im - differenceBD.re},
            sumAC - sumBD,
            {differenceAC.re - differenceBD.im, differenceAC.im + differenceBD.re}};
}

/// The three factors of a column.
struct Factors {
    Point w1, w2, w3;
};

QZK_INLINE Butterfly times(Butterfly y, Factors w) { return {y.y0, y.y1 * w.w1, y.y2 * w.w2, y.y3 * w.w3}; }

/// The products of the column in the middle of a block.
QZK_INLINE Butterfly timesEighthRoots(Butterfly y) {
    return {y.y0,
            {(y.y1.re + y.y1.im) * sqrtHalf, (y.y1.im - y.y1.re) * sqrtHalf},
            {y.y2.im, -y.y2.re},
            {(y.y3.im - y.y3.re) * sqrtHalf, (-y.y3.re - y.y3.im) * sqrtHalf}};
}

/// Factors of a column: from the table, or one of the two columns of a block that do without.
enum class Column { table, unit, eighthRoots };

template <bool inverse>
QZK_INLINE Point loadColumns(const float *from) {
    const Point points = loadPoints(from);
    return inverse ? Point{points.re, -points.im} : points;
}

QZK_INLINE Point firstLaneOf(Point first, Point others) {
    return {firstLaneOf(first.re, others.re), firstLaneOf(first.im, others.im)};
}

/// Four columns of four outputs as four chunks, one for each plane.
QZK_INLINE void storeTransposed(float *to, std::size_t plane, Butterfly y) {
#if QZK_SIMD_LEVEL >= 2
    typedef float ChunkFloat __attribute__((vector_size(32)));
    const auto chunk = [](Point value) __attribute__((always_inline)) {
        const QuadFloat re = narrow(value.re), im = narrow(value.im);
        return __builtin_shufflevector(re, im, 0, 1, 2, 3, 4, 5, 6, 7);
    };
    const ChunkFloat y0 = chunk(y.y0), y1 = chunk(y.y1), y2 = chunk(y.y2), y3 = chunk(y.y3);
    const ChunkFloat low01 = __builtin_shufflevector(y0, y1, 0, 8, 1, 9, 4, 12, 5, 13);
    const ChunkFloat high01 = __builtin_shufflevector(y0, y1, 2, 10, 3, 11, 6, 14, 7, 15);
    const ChunkFloat low23 = __builtin_shufflevector(y2, y3, 0, 8, 1, 9, 4, 12, 5, 13);
    const ChunkFloat high23 = __builtin_shufflevector(y2, y3, 2, 10, 3, 11, 6, 14, 7, 15);
    const ChunkFloat columns[4] = {__builtin_shufflevector(low01, low23, 0, 1, 8, 9, 4, 5, 12, 13),
                                   __builtin_shufflevector(high01, high23, 0, 1, 8, 9, 4, 5, 12, 13),
                                   __builtin_shufflevector(low01, low23, 2, 3, 10, 11, 6, 7, 14, 15),
                                   __builtin_shufflevector(high01, high23, 2, 3, 10, 11, 6, 7, 14, 15)};
    for (std::size_t l = 0; l < 4; ++l)
        __builtin_memcpy(to + l * plane, &columns[l], sizeof columns[l]);
#else
    const auto transpose = [=](float *at, Quad v0, Quad v1, Quad v2, Quad v3) __attribute__((always_inline)) {
        const QuadFloat y0 = narrow(v0), y1 = narrow(v1), y2 = narrow(v2), y3 = narrow(v3);
        const QuadFloat low01 = __builtin_shufflevector(y0, y1, 0, 4, 1, 5);
        const QuadFloat high01 = __builtin_shufflevector(y0, y1, 2, 6, 3, 7);
        const QuadFloat low23 = __builtin_shufflevector(y2, y3, 0, 4, 1, 5);
        const QuadFloat high23 = __builtin_shufflevector(y2, y3, 2, 6, 3, 7);
        store(at, __builtin_shufflevector(low01, low23, 0, 1, 4, 5));
        store(at + plane, __builtin_shufflevector(high01, high23, 0, 1, 4, 5));
        store(at + 2 * plane, __builtin_shufflevector(low01, low23, 2, 3, 6, 7));
        store(at + 3 * plane, __builtin_shufflevector(high01, high23, 2, 3, 6, 7));
    };
    transpose(to, y.y0.re, y.y1.re, y.y2.re, y.y3.re);
    transpose(to + 4, y.y0.im, y.y1.im, y.y2.im, y.y3.im);
#endif
}

/// Four columns of the first pass; for the special columns, the first of them.
template <Column column>
QZK_INLINE void firstStep(float *x, std::size_t plane, Inputs in, const float *table) {
    const Butterfly sums = butterfly(in);
    Butterfly y = times(sums, {loadChunk(table), loadChunk(table + 8), loadChunk(table + 16)});
    if (column != Column::table) {
        const Butterfly special = column == Column::unit ? sums : timesEighthRoots(sums);
        y = {y.y0, firstLaneOf(special.y1, y.y1), firstLaneOf(special.y2, y.y2),
             firstLaneOf(special.y3, y.y3)};
    }
    storeTransposed(x, plane, y);
}

/// Steps from .. to - 1. The inputs of a step are loaded before the one in front of it is computed: their
/// conversions then wait for nothing while its chain of sums and products runs.
template <class Load, class Compute>
QZK_INLINE void forSteps(std::size_t from, std::size_t to, Load load, Compute compute) {
    if (from == to) return;
    Inputs next = load(from);
    for (std::size_t u = from; u < to; ++u) {
        const Inputs in = next;
        next = load(u + 1 < to ? u + 1 : u);
        compute(u, in);
    }
}

template <bool inverse>
void firstPass(const float *src, float *x, std::size_t chunks, const float *table) {
    const std::size_t plane = chunks * chunkFloats, middle = chunks / 2;
    const auto load = [=](std::size_t u) __attribute__((always_inline)) {
        const float *from = src + u * chunkFloats;
        return Inputs{loadColumns<inverse>(from), loadColumns<inverse>(from + plane),
                      loadColumns<inverse>(from + 2 * plane), loadColumns<inverse>(from + 3 * plane)};
    };
    const auto compute = [=](std::size_t u, Inputs in) __attribute__((always_inline)) {
        firstStep<Column::table>(x + u * chunkFloats, plane, in, table + u * 24);
    };
    firstStep<Column::unit>(x, plane, load(0), table);
    forSteps(1, middle, load, compute);
    firstStep<Column::eighthRoots>(x + middle * chunkFloats, plane, load(middle), table + middle * 24);
    forSteps(middle + 1, chunks, load, compute);
}

/// One column in every block of a pass within a plane.
template <Column column>
QZK_INLINE void stepInBlocks(float *x, std::size_t row, std::size_t blocks, const double *table) {
    for (const float *end = x + blocks * 4 * row; x != end; x += 4 * row) {
        Butterfly y =
            butterfly({loadChunk(x), loadChunk(x + row), loadChunk(x + 2 * row), loadChunk(x + 3 * row)});
        if (column == Column::table)
            y = times(y, {{broadcast(table[0]), broadcast(table[1])},
                          {broadcast(table[2]), broadcast(table[3])},
                          {broadcast(table[4]), broadcast(table[5])}});
        else if (column == Column::eighthRoots)
            y = timesEighthRoots(y);
        storeChunk(x, y.y0);
        storeChunk(x + row, y.y2);
        storeChunk(x + 2 * row, y.y1);
        storeChunk(x + 3 * row, y.y3);
    }
}

/// One pass over blocks of `count` chunks of plane l.
void pass(float *x, std::size_t count, std::size_t blocks, std::size_t l, const double *table) {
    const std::size_t columns = count / 4, row = columns * chunkFloats;
    for (std::size_t u = 0; u < columns; ++u, x += chunkFloats, table += 6)
        if (4 * u + l == 0)
            stepInBlocks<Column::unit>(x, row, blocks, table);
        else if (2 * (4 * u + l) == count)
            stepInBlocks<Column::eighthRoots>(x, row, blocks, table);
        else
            stepInBlocks<Column::table>(x, row, blocks, table);
}

/// All passes within plane l. Blocks that do not fit the first-level cache finish one after the other.
void planePasses(float *x, std::size_t count, std::size_t l, const double *table) {
    constexpr std::size_t cachedChunks = 512;
    std::size_t blocks = 1;
    for (; count >= 4 && count <= cachedChunks; blocks *= 4, count /= 4, table += 6 * count)
        pass(x, count, blocks, l, table);
    if (count <= cachedChunks) return;
    pass(x, count, 1, l, table);
    for (std::size_t block = 0; block < 4; ++block)
        planePasses(x + block * (count / 4) * chunkFloats, count / 4, l, table + 6 * (count / 4));
}

/// The radix-4 pass of an odd order whose columns have two elements in each of two planes.
void passAcrossPlanes(float *x, std::size_t chunks) {
    const std::size_t plane = chunks * chunkFloats;
    const auto step = [=](float *at, bool middle) __attribute__((always_inline)) {
        float *rows[4] = {at, at + 2 * plane, at + chunkFloats, at + 2 * plane + chunkFloats};
        Butterfly y =
            butterfly({loadChunk(rows[0]), loadChunk(rows[1]), loadChunk(rows[2]), loadChunk(rows[3])});
        if (middle) y = timesEighthRoots(y);
        storeChunk(rows[0], y.y0);
        storeChunk(rows[1], y.y2);
        storeChunk(rows[2], y.y1);
        storeChunk(rows[3], y.y3);
    };
    for (const float *end = x + plane; x != end; x += 2 * chunkFloats) {
        step(x, false);
        step(x + plane, true);
    }
}

/// The outputs of one column of the four planes, row by row in natural order.
struct Outputs {
    QuadFloat re[4], im[4];
};

/// Radix 4 for an even order, two pairs for an odd one; the inverse is conjugated and scaled.
template <bool inverse, bool odd>
QZK_INLINE Outputs lastStep(const float *x, std::size_t plane, QuadFloat factor) {
    const Point a = loadChunk(x), b = loadChunk(x + plane), c = loadChunk(x + 2 * plane),
                d = loadChunk(x + 3 * plane);
    const Butterfly y = odd ? Butterfly{a + b, c + d, a - b, c - d} : butterfly({a, b, c, d});
    Outputs outputs = {{narrow(y.y0.re), narrow(y.y1.re), narrow(y.y2.re), narrow(y.y3.re)},
                       {narrow(y.y0.im), narrow(y.y1.im), narrow(y.y2.im), narrow(y.y3.im)}};
    if (inverse)
        for (int row = 0; row < 4; ++row) {
            outputs.re[row] *= factor;
            outputs.im[row] = -outputs.im[row] * factor;
        }
    return outputs;
}

QZK_INLINE void storeOutputs(float *x, std::size_t plane, const Outputs &outputs) {
    for (std::size_t row = 0; row < 4; ++row, x += plane) {
        store(x, __builtin_shufflevector(outputs.re[row], outputs.im[row], 0, 4, 1, 5));
        store(x + 4, __builtin_shufflevector(outputs.re[row], outputs.im[row], 2, 6, 3, 7));
    }
}

template <bool inverse, bool odd>
void lastPass(float *x, std::size_t chunks, const std::uint32_t *reversed, float factor) {
    const std::size_t plane = chunks * chunkFloats;
    const QuadFloat factors = factor - QuadFloat{};
    for (std::size_t i = 0; i < chunks; ++i) {
        // Beyond the second-level cache, four neighbours of u and four of its reverse make one turn each, so
        // that cache lines are used whole while they are there.
        const std::size_t u = chunks < 2048 ? i : (i & 3) + (i >> 4) * 4 + (i >> 2 & 3) * (chunks / 4);
        const std::size_t other = reversed[u] >> 4; // the table has the four bits of lane and plane too
        if (other < u) continue;
        float *here = x + u * chunkFloats, *there = x + other * chunkFloats;
        const Outputs outputs = lastStep<inverse, odd>(here, plane, factors);
        if (other != u) storeOutputs(here, plane, lastStep<inverse, odd>(there, plane, factors));
        storeOutputs(there, plane, outputs);
    }
}

template <bool inverse>
void transformLanes(const float *src, float *x, std::int32_t order, const std::uint32_t *reversed,
                    const LaneTwiddles &table, float factor) {
    const std::size_t chunks = std::size_t{1} << (order - 4);
    firstPass<inverse>(src, x, chunks, table.first);
    for (std::size_t l = 0; l < 4; ++l)
        planePasses(x + l * chunks * chunkFloats, chunks, l, table.planes + l * table.perPlane);
    if (order % 2 != 0) {
        passAcrossPlanes(x, chunks);
        lastPass<inverse, true>(x, chunks, reversed, factor);
    } else {
        lastPass<inverse, false>(x, chunks, reversed, factor);
    }
}

void transform(const QZComplexFloat *src, QZComplexFloat *x, std::int32_t order, std::int32_t sign,
               const std::uint32_t *reversed, const LaneTwiddles &table, double factor) {
    // The factor is a power of two: the product in single precision is the one in double, rounded.
    const auto *from = reinterpret_cast<const float *>(src);
    auto *floats = reinterpret_cast<float *>(x);
    if (sign < 0)
        transformLanes<true>(from, floats, order, reversed, table, static_cast<float>(factor));
    else
        transformLanes<false>(from, floats, order, reversed, table, static_cast<float>(factor));
}

QZK_INLINE Point reversedLanes(Point v) { return {reversedLanes(v.re), reversedLanes(v.im)}; }

/// Points k of the first half of a spectrum and their partners p = h - k.
template <class V>
struct Pair {
    PointOf<V> k, p;
};

/// Four pairs, the lanes in the order of loadPoints. `above` is the last partner, the lowest one.
struct FourPairs {
    static constexpr std::size_t count = 4;

    __attribute__((always_inline)) static Pair<Quad> load(const float *below, const float *above) {
        return {loadPoints(below), reversedLanes(loadPoints(above))};
    }
    __attribute__((always_inline)) static Point loadFactors(const float *from) { return loadPoints(from); }
    __attribute__((always_inline)) static void store(float *below, float *above, Pair<Quad> pairs) {
        storePoints(below, pairs.k);
        storePoints(above, reversedLanes(pairs.p));
    }
};

#if QZK_SIMD_LEVEL == 3

/// Eight pairs, the k in natural order: here two shuffles of floats split or join points and reverse them
/// too.
struct EightPairs {
    static constexpr std::size_t count = 8;

    __attribute__((always_inline)) static PointOf<Vec<double>> split(const float *from, __m256i re,
                                                                     __m256i im) {
        const __m256 low = _mm256_loadu_ps(from), high = _mm256_loadu_ps(from + 8);
        return {(Vec<double>)_mm512_cvtps_pd(_mm256_permutex2var_ps(low, re, high)),
                (Vec<double>)_mm512_cvtps_pd(_mm256_permutex2var_ps(low, im, high))};
    }
    __attribute__((always_inline)) static void join(float *to, PointOf<Vec<double>> points, __m256i low,
                                                    __m256i high) {
        const __m256 re = _mm512_cvtpd_ps((__m512d)points.re), im = _mm512_cvtpd_ps((__m512d)points.im);
        _mm256_storeu_ps(to, _mm256_permutex2var_ps(re, low, im));
        _mm256_storeu_ps(to + 8, _mm256_permutex2var_ps(re, high, im));
    }
    __attribute__((always_inline)) static PointOf<Vec<double>> loadFactors(const float *from) {
        return split(from, _mm256_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14),
                     _mm256_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15));
    }
    __attribute__((always_inline)) static Pair<Vec<double>> load(const float *below, const float *above) {
        return {loadFactors(below), split(above, _mm256_setr_epi32(14, 12, 10, 8, 6, 4, 2, 0),
                                          _mm256_setr_epi32(15, 13, 11, 9, 7, 5, 3, 1))};
    }
    __attribute__((always_inline)) static void store(float *below, float *above, Pair<Vec<double>> pairs) {
        join(below, pairs.k, _mm256_setr_epi32(0, 8, 1, 9, 2, 10, 3, 11),
             _mm256_setr_epi32(4, 12, 5, 13, 6, 14, 7, 15));
        join(above, pairs.p, _mm256_setr_epi32(7, 15, 6, 14, 5, 13, 4, 12),
             _mm256_setr_epi32(3, 11, 2, 10, 1, 9, 0, 8));
    }
};

#endif

template <class Pairs, class Step>
QZK_INLINE void forPairs(float *z, std::size_t h, const float *factors, Step step) {
    for (std::size_t k = 1; k < h / 2; k += Pairs::count) {
        float *below = z + 2 * k, *above = z + 2 * (h - k - (Pairs::count - 1));
        Pairs::store(below, above, step(Pairs::load(below, above), Pairs::loadFactors(factors + 2 * k)));
    }
}

/// Runs a split pass over all pairs. The last lane of the last step is the middle element, its own partner:
/// the caller stores that afterwards.
template <class Step>
QZK_INLINE void forPairs(float *z, std::size_t h, const QZComplexFloat *table, Step step) {
    const auto *factors = reinterpret_cast<const float *>(table);
#if QZK_SIMD_LEVEL == 3
    if (h >= 2 * EightPairs::count) return forPairs<EightPairs>(z, h, factors, step);
#endif
    forPairs<FourPairs>(z, h, factors, step);
}

/// The sums of the split pass, on the multipliers where that pays.
QZK_INLINE Quad sum(Quad a, Quad b) { return a + b; }
QZK_INLINE Quad difference(Quad a, Quad b) { return a - b; }
#if QZK_SIMD_LEVEL == 3
QZK_INLINE Vec<double> sum(Vec<double> a, Vec<double> b) {
    return (Vec<double>)_mm512_fmadd_pd((__m512d)a, _mm512_set1_pd(1.0), (__m512d)b);
}
QZK_INLINE Vec<double> difference(Vec<double> a, Vec<double> b) {
    return (Vec<double>)_mm512_fmsub_pd((__m512d)a, _mm512_set1_pd(1.0), (__m512d)b);
}
#endif

QZK_INLINE QZComplexFloat loadPoint(const QZComplexFloat *from) {
    QZComplexFloat value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}

QZK_INLINE void storePoint(QZComplexFloat *to, double re, double im) {
    const QZComplexFloat value = {static_cast<float>(re), static_cast<float>(im)};
    __builtin_memcpy(to, &value, sizeof value);
}

QZK_INLINE void splitFirst(QZComplexFloat *z) {
    const QZComplexFloat first = loadPoint(z);
    const double re = first.re, im = first.im;
    storePoint(z, re + im, re - im);
}

void splitReal(QZComplexFloat *z, std::size_t h, std::int32_t sign, const QZComplexFloat *table) {
    auto *floats = reinterpret_cast<float *>(z);
    const QZComplexFloat middle = loadPoint(z + h / 2);
    if (sign < 0)
        forPairs(
            floats, h, table, []<class V>(Pair<V> z, PointOf<V> t) __attribute__((always_inline)) {
                const V dr = z.k.re - z.p.re, si = z.p.im + z.k.im;
                const V re = difference(dr * t.im, si * t.re), im = sum(dr * t.re, si * t.im);
                return Pair<V>{{difference(z.k.re, re), difference(z.k.im, im)},
                               {sum(z.p.re, re), difference(z.p.im, im)}};
            });
    else
        forPairs(
            floats, h, table, []<class V>(Pair<V> z, PointOf<V> t) __attribute__((always_inline)) {
                const V dr = z.k.re - z.p.re, si = z.p.im + z.k.im;
                const V re = sum(si * t.re, dr * t.im), im = difference(si * t.im, dr * t.re);
                return Pair<V>{{sum(z.p.re, re), difference(im, z.p.im)},
                               {difference(z.k.re, re), difference(im, z.k.im)}};
            });
    storePoint(z + h / 2, middle.re, sign < 0 ? middle.im : -middle.im);
    splitFirst(z);
}

void splitCcs(QZComplexFloat *z, std::size_t h, std::int32_t sign, const QZComplexFloat *twiddle) {
    auto *floats = reinterpret_cast<float *>(z);
    const QZComplexFloat middle = loadPoint(z + h / 2);
    const auto step = [sign]<class V>(Pair<V> z, PointOf<V> w) __attribute__((always_inline)) {
        const V dr = z.k.re - z.p.re, sr = z.k.re + z.p.re, di = z.k.im - z.p.im, si = z.k.im + z.p.im;
        const V im = sign < 0 ? w.im * si + w.re * dr : w.re * dr - w.im * si;
        const V re = sign < 0 ? dr * w.im - si * w.re : -dr * w.im - si * w.re;
        return Pair<V>{{sr + re, di + im}, {sr - re, im - di}};
    };
    forPairs(floats, h, twiddle, step);
    storePoint(z + h / 2, 2.0 * middle.re, (sign < 0 ? -2.0 : 2.0) * middle.im);
    splitFirst(z);
}

void scale(float *x, std::size_t n, double factor) {
    // A power of two: the product in single precision is the one in double, rounded.
    const auto single = static_cast<float>(factor);
    constexpr auto lanes = lanesOf<float>;
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        store(x + i, load(x + i) * single);
    for (; i < n; ++i) {
        float value;
        __builtin_memcpy(&value, x + i, sizeof value);
        value *= single;
        __builtin_memcpy(x + i, &value, sizeof value);
    }
}

} // namespace

void QZK_LEVEL::install(FftKernels &kernels) {
    kernels.transform = transform;
    kernels.splitReal = splitReal;
    kernels.splitCcs = splitCcs;
    kernels.scale = scale;
}

} // namespace qzk::simd
