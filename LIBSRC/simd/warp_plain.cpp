#include "simd/warp.hpp"

#include <algorithm>
#include <cmath>

namespace qzk::simd {
namespace {

struct Step {
    double cost;
    bool horizontal;
};

/// Best way into cell j from the previous column; ties go to the diagonal. A horizontal step may not follow
/// another one: `barred` stands in for it.
Step bestStep(const double *D, std::int32_t j, bool afterHorizontal, double barred) {
    Step best = afterHorizontal ? Step{barred, false} : Step{D[j], true};
    if (D[j - 1] <= best.cost) best = {D[j - 1], false};
    if (D[j - 2] < best.cost) best = {D[j - 2], false};
    return best;
}

/// Marks the cells that are not below the threshold as dead; false if no cell is left.
bool prune(double *D, FrameRange range, double threshold) {
    bool alive = false;
    for (std::int32_t j = range.hi; j >= range.lo; --j) {
        if (threshold > D[j])
            alive = true;
        else
            D[j] = deadCell;
    }
    return alive;
}

/// One column, in place: downwards, so that the cells below still belong to the previous column.
bool advance(const WarpTest &test, const WarpReference &reference, std::int32_t i) {
    double *const D = test.accumulated;
    double *const Dl = test.local;
    std::int32_t *const F = test.horizontal;
    const FrameRange range = test.ranges[i];
    for (std::int32_t j = range.hi; j >= range.lo; --j) {
        const Step step = bestStep(D, j, F[j] == 1, deadCell);
        D[j] = step.cost;
        F[j] = step.horizontal;
    }
    D[range.lo - 1] = deadCell;
    D[range.lo - 2] = deadCell;
    if (!prune(D, range, test.threshold)) return false;
    for (std::int32_t j = range.hi; j >= range.lo; --j)
        if (D[j] < deadCell) Dl[j] = test.distance(test.frames[i], reference.frames[j], test.dim);
    for (std::int32_t j = range.hi; j >= range.lo; --j)
        D[j] = Dl[j] + D[j]; // kept: a dead cell gains the last distance computed in its row
    return true;
}

double bestEnd(const WarpTest &test, const WarpReference &reference) {
    double *const D = test.accumulated;
    const std::int32_t last = test.nFrames - 1;
    double best = test.threshold;
    for (std::int32_t j = reference.nFrames - 1; j >= test.ranges[last].lo; --j) {
        const Step step = bestStep(D, j, test.horizontal[j] == 1, test.threshold);
        const double total = test.distance(test.frames[last], reference.frames[j], test.dim) + step.cost;
        if (total < best) best = total;
    }
    return best;
}

std::size_t packedSize(std::int32_t, std::int32_t, std::int32_t) { return 0; }

void prepare(WarpTest &) {}

} // namespace

/// The parallelogram of slopes 1/2 and 2 between the corners, widened by the band at the start and at the
/// end. With b at most M - 1 and M at most 2 N - 1 + B, every bound lies in 0 .. M - 1 and the bounds never
/// decrease.
void plain::setRanges(FrameRange *ranges, std::int32_t nTest, std::int32_t nReference, std::int32_t band) {
    const std::int64_t N = nTest, M = nReference, b = band;
    constexpr double third = 1.0 / 3.0;
    const auto crossing = std::floor(static_cast<double>(2 * M - 2 * b - (N + 1)) * third);
    const auto k = std::max(static_cast<std::int64_t>(crossing), std::int64_t{-1});
    for (std::int64_t i = N - 1; i > k; --i)
        ranges[i].hi = static_cast<std::int32_t>(M - 1 - (N - 1 - i) / 2);
    for (std::int64_t i = k; i >= 0; --i)
        ranges[i].hi = static_cast<std::int32_t>(2 * i + b);

    const auto q = std::min(
        static_cast<std::int64_t>(std::ceil(static_cast<double>(4 * N + 2 * b - (2 * M + 2)) * third)), N);
    for (std::int64_t i = 0; i < q; ++i)
        ranges[i].lo = static_cast<std::int32_t>(i / 2);
    for (std::int64_t i = q; i < N; ++i)
        ranges[i].lo = static_cast<std::int32_t>(M - 1 - b - 2 * (N - 1 - i));
}

double plain::warpScore(const WarpTest &test, const WarpReference &reference) {
    double *const D = test.accumulated;
    std::fill(D - 2, D + reference.nFrames, deadCell);
    std::fill(test.horizontal - 2, test.horizontal + reference.nFrames, 0);
    std::fill(test.local, test.local + reference.nFrames, 0.0);
    plain::setRanges(test.ranges, test.nFrames, reference.nFrames, reference.band);

    const FrameRange first = {0, test.ranges[0].hi};
    for (std::int32_t j = first.hi; j >= first.lo; --j)
        D[j] = test.distance(test.frames[0], reference.frames[j], test.dim);
    if (!prune(D, first, test.threshold)) return test.threshold;
    for (std::int32_t i = 1; i < test.nFrames - 1; ++i)
        if (!advance(test, reference, i)) return test.threshold;
    return bestEnd(test, reference);
}

void plain::install(WarpKernels &kernels) { kernels = {packedSize, prepare, warpScore}; }

} // namespace qzk::simd
