#include "simd/warp.hpp"
#include "simd/vec.hpp"

// Lanes are reference frames: every frame distance is its own ordered sum, and a column's cells depend only
// on the column before. What the lanes compute differs from the definition in dead cells alone, and invisibly
// so as long as every distance is finite and the threshold is at most deadCell: a dead cell is then at or
// above deadCell in both, whatever it gained since, loses against every live cell, and is pruned again.
namespace qzk::simd {
namespace {

using Doubles = Vec<double>;
constexpr std::ptrdiff_t lanes = lanesOf<double>;

QZK_INLINE Doubles squareRoot(Doubles v) {
#if QZK_SIMD_LEVEL == 1
    return (Doubles)_mm_sqrt_pd((__m128d)v);
#elif QZK_SIMD_LEVEL == 2
    return (Doubles)_mm256_sqrt_pd((__m256d)v);
#else
    return (Doubles)_mm512_sqrt_pd((__m512d)v);
#endif
}

QZK_INLINE Doubles magnitude(Doubles v) {
    return (Doubles)((Vec<std::int64_t>)v & splat<std::int64_t>(INT64_MAX));
}

using Mask = decltype(Doubles{} < Doubles{});

QZK_INLINE bool any(Mask mask) {
#if QZK_SIMD_LEVEL == 1
    return _mm_movemask_pd((__m128d)mask) != 0;
#elif QZK_SIMD_LEVEL == 2
    return _mm256_movemask_pd((__m256d)mask) != 0;
#else
    return _mm512_movepi64_mask((__m512i)mask) != 0;
#endif
}

/// The last `count` lanes of `below` and the first ones of `v`: lane i is the cell `count` below that of v.
template <int count>
QZK_INLINE Doubles shiftedUp(Doubles below, Doubles v) {
#if QZK_SIMD_LEVEL == 1
    return __builtin_shufflevector(below, v, 2 - count, 3 - count);
#elif QZK_SIMD_LEVEL == 2
    return __builtin_shufflevector(below, v, 4 - count, 5 - count, 6 - count, 7 - count);
#else
    return (Doubles)_mm512_alignr_epi64((__m512i)v, (__m512i)below, 8 - count);
#endif
}

/// Frames may have any address.
QZK_INLINE float coefficient(const float *frame, std::size_t c) {
    float value;
    __builtin_memcpy(&value, frame + c, sizeof value);
    return value;
}

/// to[0 .. 3] = the four floats, widened.
QZK_INLINE void storeFourWidened(double *to, __m128 v) {
#if QZK_SIMD_LEVEL == 1
    _mm_storeu_pd(to, _mm_cvtps_pd(v));
    _mm_storeu_pd(to + 2, _mm_cvtps_pd(_mm_movehl_ps(v, v)));
#else
    _mm256_storeu_pd(to, _mm256_cvtps_pd(v));
#endif
}

constexpr std::size_t line = 64 / sizeof(double);

QZK_INLINE std::size_t wholeLines(std::size_t n) { return (n + line - 1) / line * line; }

/// An odd number of cache lines, so that the rows of one column do not compete for the same set of the cache.
QZK_INLINE std::size_t strideFor(std::int32_t nReference) {
    return (wholeLines(static_cast<std::size_t>(nReference)) / line | 1) * line;
}

/// Layout of WarpTest::packed: the test frames, one column of costs and the reference with a row per
/// coefficient. Costs and rows start at vectors' boundaries and fill whole vectors: a column is worked on in
/// the same blocks of lanes as the column before, so that what one has stored the next one loads whole.
struct Packed {
    double *test;
    double *arrival;   // accumulated distance of the cells; the block below cell 0 is there and dead
    double *staying;   // cost of staying on the cell's reference frame: a dead cell's after a horizontal step
    double *reference; // frame j of coefficient c at c * stride + j
    std::size_t stride;

    Packed(const WarpTest &task, std::int32_t nReference) : stride(strideFor(nReference)) {
        const auto start = (reinterpret_cast<std::uintptr_t>(task.packed) + 63) / 64 * 64;
        test = reinterpret_cast<double *>(start);
        arrival = test +
                  wholeLines(static_cast<std::size_t>(task.nFrames) * static_cast<std::size_t>(task.dim)) +
                  line;
        staying = arrival + stride;
        reference = staying + stride;
    }
};

std::size_t packedSize(std::int32_t nTest, std::int32_t longest, std::int32_t dim) {
    constexpr double most = 0x1p26; // beyond any pattern of speech; keeps the size within 32 bits
    if ((static_cast<double>(nTest) + longest + 16) * (static_cast<double>(dim) + 2) > most) return 0;
    return line + wholeLines(static_cast<std::size_t>(nTest) * static_cast<std::size_t>(dim)) + line +
           strideFor(longest) * (static_cast<std::size_t>(dim) + 2);
}

/// A zero for finite lanes, else not a number.
QZK_INLINE __m128 finiteCheck(__m128 v) { return _mm_mul_ps(v, _mm_setzero_ps()); }

QZK_INLINE bool allFinite(__m128 check) {
    return _mm_movemask_ps(_mm_cmpeq_ps(check, _mm_setzero_ps())) == 0xF;
}

/// Widens the test frames; false if they hold a value that is not finite.
bool packTest(double *to, const WarpTest &test) {
    const auto dim = static_cast<std::size_t>(test.dim);
    __m128 check = _mm_setzero_ps();
    for (std::int32_t i = 0; i < test.nFrames; ++i, to += dim) {
        const float *const frame = test.frames[i];
        std::size_t c = 0;
        for (; c + 4 <= dim; c += 4) {
            const __m128 four = _mm_loadu_ps(frame + c);
            check = _mm_add_ps(check, finiteCheck(four));
            storeFourWidened(to + c, four);
        }
        for (; c < dim; ++c) {
            check = _mm_add_ps(check, finiteCheck(_mm_set_ss(coefficient(frame, c))));
            to[c] = static_cast<double>(coefficient(frame, c));
        }
    }
    return allFinite(check);
}

/// Turns four coefficients of four frames into four coefficient rows.
QZK_INLINE void packTile(const float *const *frames, std::size_t c, double *to, std::size_t stride,
                         __m128 &check) {
    __m128 row0 = _mm_loadu_ps(frames[0] + c), row1 = _mm_loadu_ps(frames[1] + c);
    __m128 row2 = _mm_loadu_ps(frames[2] + c), row3 = _mm_loadu_ps(frames[3] + c);
    check = _mm_add_ps(check, _mm_add_ps(_mm_add_ps(finiteCheck(row0), finiteCheck(row1)),
                                         _mm_add_ps(finiteCheck(row2), finiteCheck(row3))));
    _MM_TRANSPOSE4_PS(row0, row1, row2, row3);
    storeFourWidened(to, row0);
    storeFourWidened(to + stride, row1);
    storeFourWidened(to + 2 * stride, row2);
    storeFourWidened(to + 3 * stride, row3);
}

/// Turns the reference into one row per coefficient; false if it holds a value that is not finite. The last
/// tiles overlap those before them; the lanes behind the last frame are zero.
bool packReference(const Packed &packed, const WarpReference &reference, std::size_t dim) {
    const auto n = static_cast<std::size_t>(reference.nFrames);
    __m128 check = _mm_setzero_ps();
    for (std::size_t c = 0; c < dim; ++c)
        for (std::size_t j = n / line * line; j < packed.stride; j += static_cast<std::size_t>(lanes))
            store(packed.reference + c * packed.stride + j, Doubles{});
    if (n >= 4 && dim >= 4) {
        for (std::size_t j = 0; j < n; j += 4) {
            const std::size_t frame = j + 4 <= n ? j : n - 4;
            for (std::size_t c = 0; c < dim; c += 4) {
                const std::size_t row = c + 4 <= dim ? c : dim - 4;
                packTile(reference.frames + frame, row, packed.reference + row * packed.stride + frame,
                         packed.stride, check);
            }
        }
        return allFinite(check);
    }
    for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t c = 0; c < dim; ++c) {
            const float value = coefficient(reference.frames[j], c);
            check = _mm_add_ps(check, finiteCheck(_mm_set_ss(value)));
            packed.reference[c * packed.stride + j] = static_cast<double>(value);
        }
    }
    return allFinite(check);
}

/// Vectors loaded from here start or end with dead lanes and are zero elsewhere.
struct Edges {
    double values[3 * lanes];

    constexpr Edges() : values{} {
        for (std::ptrdiff_t i = 0; i < lanes; ++i)
            values[i] = values[2 * lanes + i] = deadCell;
    }
};
constexpr Edges edges;

/// One test frame against the reference frames lo .. hi.
struct Column {
    const double *testFrame;
    std::ptrdiff_t lo, hi;
};

/// What does not change from column to column.
struct Grid {
    Packed packed;
    std::size_t dim;
    Doubles threshold;
};

/// Distances of the column's test frame to the reference frames from the j-th on.
template <bool cityBlock, int blocks>
QZK_INLINE void frameDistances(const Grid &grid, const Column &column, std::ptrdiff_t j,
                               Doubles (&sum)[blocks]) {
    const double *row = grid.packed.reference + j;
    for (int block = 0; block < blocks; ++block)
        sum[block] = Doubles{};
    for (std::size_t c = 0; c < grid.dim; ++c, row += grid.packed.stride) {
        const Doubles value = splat(column.testFrame[c]);
        for (int block = 0; block < blocks; ++block) {
            const Doubles difference = value - load(row + block * lanes);
            sum[block] += cityBlock ? magnitude(difference) : difference * difference;
        }
    }
    if constexpr (!cityBlock)
        for (int block = 0; block < blocks; ++block)
            sum[block] = squareRoot(sum[block]);
}

QZK_INLINE Doubles larger(Doubles a, Doubles b) { return a < b ? b : a; }

QZK_INLINE Doubles smaller(Doubles a, Doubles b) { return a < b ? a : b; }

/// The costs of the block from the j-th cell on, dead where the cells lie outside the column's range.
QZK_INLINE Doubles confined(const Column &column, std::ptrdiff_t j, Doubles cost) {
    const std::ptrdiff_t below = column.lo > j ? column.lo - j : 0;
    const std::ptrdiff_t within = column.hi < j + lanes ? column.hi + 1 - j : lanes;
    return larger(larger(cost, load(edges.values + lanes - below)), load(edges.values + 2 * lanes - within));
}

/// Cells of the first column from the j-th on; returns the smaller of `lowest` and their costs, lane by lane.
template <bool cityBlock, int blocks>
QZK_INLINE Doubles startCells(const Grid &grid, const Column &column, std::ptrdiff_t j, Doubles lowest) {
    Doubles cost[blocks];
    frameDistances<cityBlock, blocks>(grid, column, j, cost);
    for (int block = 0; block < blocks; ++block) {
        cost[block] = confined(column, j + block * lanes, cost[block]);
        lowest = smaller(cost[block], lowest);
        cost[block] = cost[block] < grid.threshold ? cost[block] : splat(deadCell);
        store(grid.packed.arrival + j + block * lanes, cost[block]);
        store(grid.packed.staying + j + block * lanes, cost[block]);
    }
    return lowest;
}

/// Cheapest ways into the cells from the j-th on. Costs are neither negative zeros nor not-a-numbers, so that
/// the smallest is the one that the definition's comparisons choose.
template <int blocks>
QZK_INLINE void bestSteps(const Packed &packed, std::ptrdiff_t j, Doubles (&cost)[blocks],
                          Mask (&held)[blocks]) {
    Doubles below = load(packed.arrival + j - lanes);
    for (int block = 0; block < blocks; ++block) {
        const Doubles stay = load(packed.staying + j + block * lanes);
        const Doubles own = load(packed.arrival + j + block * lanes);
        const Doubles diagonal = shiftedUp<1>(below, own), skip = shiftedUp<2>(below, own);
        cost[block] = smaller(skip, smaller(stay, diagonal));
        held[block] = (stay < diagonal) & (stay <= skip);
        below = own;
    }
}

/// Cells of a column between the first and the last; returns the smaller of `lowest` and the costs of their
/// steps.
template <bool cityBlock, int blocks>
QZK_INLINE Doubles advanceCells(const Grid &grid, const Column &column, std::ptrdiff_t j, Doubles lowest) {
    Doubles cost[blocks], distance[blocks];
    Mask held[blocks];
    bestSteps<blocks>(grid.packed, j, cost, held);
    frameDistances<cityBlock, blocks>(grid, column, j, distance);
    for (int block = 0; block < blocks; ++block) {
        const Doubles step = confined(column, j + block * lanes, cost[block]);
        lowest = smaller(step, lowest);
        const Doubles arrival = step < grid.threshold ? step + distance[block] : splat(deadCell);
        store(grid.packed.arrival + j + block * lanes, arrival);
        store(grid.packed.staying + j + block * lanes, held[block] ? splat(deadCell) : arrival);
    }
    return lowest;
}

/// Cells of the last column; returns the smaller of `lowest` and their totals.
template <bool cityBlock, int blocks>
QZK_INLINE Doubles endCells(const Grid &grid, const Column &column, std::ptrdiff_t j, Doubles lowest) {
    Doubles cost[blocks], distance[blocks];
    Mask held[blocks];
    bestSteps<blocks>(grid.packed, j, cost, held);
    frameDistances<cityBlock, blocks>(grid, column, j, distance);
    for (int block = 0; block < blocks; ++block)
        lowest = smaller(confined(column, j + block * lanes, distance[block] + cost[block]), lowest);
    return lowest;
}

template <int count>
struct Blocks {
    static constexpr int number = count;
};

/// Visits the blocks that cover the column's range from the top down, several at a time: a block's
/// predecessors are its own cells and those below, which still belong to the previous column.
template <class Visit>
QZK_INLINE void visitBlocks(const Column &column, Visit visit) {
    const std::ptrdiff_t first = column.lo / lanes;
    std::ptrdiff_t end = column.hi / lanes + 1;
    for (; end - first >= 4; end -= 4)
        visit(Blocks<4>{}, (end - 4) * lanes);
    if (end - first == 3) visit(Blocks<3>{}, first * lanes);
    if (end - first == 2) visit(Blocks<2>{}, first * lanes);
    if (end - first == 1) visit(Blocks<1>{}, first * lanes);
}

/// What earlier columns left in the block below a column's lowest one is out of reach from now on.
QZK_INLINE void closeColumn(const Grid &grid, const Column &column) {
    store(grid.packed.arrival + (column.lo / lanes - 1) * lanes, splat(deadCell));
}

template <bool cityBlock>
double scorePacked(const WarpTest &test, const WarpReference &reference, const Grid &grid) {
    const Doubles dead = splat(deadCell);
    Column column = {grid.packed.test, 0, test.ranges[0].hi};
    Doubles lowest = dead;
    visitBlocks(column, [&](auto blocks, std::ptrdiff_t j) {
        lowest = startCells<cityBlock, blocks.number>(grid, column, j, lowest);
    });

    const std::int32_t last = test.nFrames - 1;
    for (std::int32_t i = 1; i < last && any(lowest < grid.threshold); ++i) {
        column = {column.testFrame + grid.dim, test.ranges[i].lo, test.ranges[i].hi};
        lowest = dead;
        visitBlocks(column, [&](auto blocks, std::ptrdiff_t j) {
            lowest = advanceCells<cityBlock, blocks.number>(grid, column, j, lowest);
        });
        closeColumn(grid, column);
    }
    if (!any(lowest < grid.threshold)) return test.threshold;

    column = {grid.packed.test + static_cast<std::size_t>(last) * grid.dim, test.ranges[last].lo,
              reference.nFrames - 1};
    lowest = grid.threshold;
    visitBlocks(column, [&](auto blocks, std::ptrdiff_t j) {
        lowest = endCells<cityBlock, blocks.number>(grid, column, j, lowest);
    });
    double best = test.threshold;
    for (int lane = 0; lane < lanes; ++lane)
        best = lowest[lane] < best ? lowest[lane] : best;
    return best;
}

void prepare(WarpTest &test) {
    if (!(test.threshold <= deadCell) || !packTest(Packed(test, 0).test, test)) test.packed = nullptr;
}

double score(const WarpTest &test, const WarpReference &reference) {
    if (test.packed == nullptr) return plain::warpScore(test, reference);
    Grid grid = {Packed(test, reference.nFrames), static_cast<std::size_t>(test.dim), splat(test.threshold)};
    if (!packReference(grid.packed, reference, grid.dim)) return plain::warpScore(test, reference);
    plain::setRanges(test.ranges, test.nFrames, reference.nFrames, reference.band);
    const auto cells = static_cast<std::ptrdiff_t>(grid.packed.stride);
    store(grid.packed.arrival - lanes, splat(deadCell));
    for (std::ptrdiff_t j = 0; j < cells; j += lanes) {
        store(grid.packed.arrival + j, splat(deadCell));
        store(grid.packed.staying + j, splat(deadCell));
    }
    return test.cityBlock ? scorePacked<true>(test, reference, grid)
                          : scorePacked<false>(test, reference, grid);
}

} // namespace

void QZK_LEVEL::install(WarpKernels &kernels) { kernels = {packedSize, prepare, score}; }

} // namespace qzk::simd
