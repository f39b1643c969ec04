// The warping of every level against the definition, bit for bit, with canaries around the packed storage.
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace qzk::test {
namespace {

class WarpLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, WarpLevels, testing::ValuesIn(availableLevels()), levelTestName);

const auto &plainDistances() { return simd::kernelsOf(simd::Level::plain).distance.ofFloats; }

double euclidean(const float *a, const float *b, int32_t dim) {
    return std::sqrt(plainDistances().squaredEuclidean(a, b, static_cast<std::size_t>(dim)));
}

double cityBlockDistance(const float *a, const float *b, int32_t dim) {
    return plainDistances().cityBlock(a, b, static_cast<std::size_t>(dim));
}

/// One test and one reference with all the room that scoring needs.
struct Problem {
    std::vector<Guarded<float>> testRows, referenceRows;
    std::vector<const float *> testFrames, referenceFrames;
    std::vector<double> accumulated, local;
    std::vector<int32_t> horizontal;
    std::vector<simd::FrameRange> ranges;
    simd::WarpTest test = {};
    simd::WarpReference reference = {};

    template <class Row>
    Problem(int N, int M, int dim, int band, bool cityBlock, double threshold, Row row) {
        const auto n = static_cast<std::size_t>(dim);
        const auto fill = [&](std::vector<Guarded<float>> &rows, std::vector<const float *> &frames,
                              int count) {
            for (int i = 0; i < count; ++i) {
                rows.emplace_back(n, static_cast<std::size_t>(i % 5));
                rows.back().assign(row(n));
            }
            for (const auto &guarded : rows)
                frames.push_back(guarded.data());
        };
        fill(testRows, testFrames, N);
        fill(referenceRows, referenceFrames, M);
        const auto cells = static_cast<std::size_t>(M);
        accumulated.resize(cells + 2);
        local.resize(cells);
        horizontal.resize(cells + 2);
        ranges.resize(static_cast<std::size_t>(N));
        test = {testFrames.data(),
                N,
                dim,
                threshold,
                cityBlock,
                cityBlock ? cityBlockDistance : euclidean,
                accumulated.data() + 2,
                local.data(),
                horizontal.data() + 2,
                ranges.data(),
                nullptr};
        reference = {referenceFrames.data(), M, std::min(band, M - 1)};
    }

    /// The score of a level; `longest` is the longest reference that the storage is made for.
    double score(const simd::WarpKernels &kernels, int longest) const {
        Guarded<double> packed(kernels.packedSize(test.nFrames, longest, test.dim));
        simd::WarpTest prepared = test;
        if (packed.size() > 0) {
            prepared.packed = packed.data();
            kernels.prepare(prepared);
        }
        const double result = kernels.score(prepared, reference);
        EXPECT_TRUE(packed.intact());
        return result;
    }
};

TEST_P(WarpLevels, AllSizes) {
    Random random;
    const auto &kernels = simd::kernelsOf(GetParam()).warp;
    for (int N = 1; N <= 34; ++N) {
        for (int M = (N + 1) / 2; M <= 2 * N + 3; M += 1 + N / 8) {
            const int band = std::max(static_cast<int>(random.integer(0, 3)), M - 2 * N + 1);
            const bool cityBlock = random.bits() % 2 == 0;
            const Problem problem(N, M, (N * 7 + M) % 41, band, cityBlock, simd::deadCell,
                                  [&](std::size_t n) { return random.reals<float>(n); });
            const double expected = simd::plain::warpScore(problem.test, problem.reference);
            const double actual = problem.score(kernels, M + (N + M) % 3 * 7);
            ASSERT_TRUE(sameBits(expected, actual))
                << N << " against " << M << ", band " << band << ", " << expected << " is not " << actual
                << ", seed " << seed();
            auto pruned = problem;
            pruned.test.threshold = expected * random.real(0.5, 1.2);
            ASSERT_TRUE(
                sameBits(simd::plain::warpScore(pruned.test, pruned.reference), pruned.score(kernels, M)))
                << N << " against " << M << ", threshold " << pruned.test.threshold << ", seed " << seed();
        }
    }
}

TEST_P(WarpLevels, LongPatterns) {
    Random random;
    const auto &kernels = simd::kernelsOf(GetParam()).warp;
    for (const int N : {130, 257, 400}) {
        for (const int M : {N / 2 + 1, N - 1, N, 2 * N - 1}) {
            const Problem problem(N, M, 13, M % 9, false, simd::deadCell,
                                  [&](std::size_t n) { return random.reals<float>(n); });
            ASSERT_TRUE(
                sameBits(simd::plain::warpScore(problem.test, problem.reference), problem.score(kernels, M)))
                << N << " against " << M << ", seed " << seed();
        }
    }
}

TEST_P(WarpLevels, TiesAndSpecialValues) {
    Random random;
    const auto &kernels = simd::kernelsOf(GetParam()).warp;
    constexpr double thresholds[] = {simd::deadCell, 1e300, std::numeric_limits<double>::infinity(), 5.0};
    for (int round = 0; round < 600; ++round) {
        const int N = static_cast<int>(random.integer(1, 25)), band = static_cast<int>(random.integer(0, 5));
        const int M = static_cast<int>(random.integer((N + 1) / 2, 2 * N - 1 + band));
        const int kind = round % 3;
        const Problem problem(N, M, 1 + round % 7, band, round % 2 == 0, thresholds[random.bits() % 4],
                              [&](std::size_t n) {
                                  if (kind == 0) return random.anyReals<float>(n, random.bits() % 16 == 0);
                                  if (kind == 1) return random.reals<float>(n, -3.4e38, 3.4e38);
                                  std::vector<float> row(n);
                                  for (float &value : row)
                                      value = static_cast<float>(random.integer(0, 1));
                                  return row;
                              });
        ASSERT_TRUE(
            sameBits(simd::plain::warpScore(problem.test, problem.reference), problem.score(kernels, M)))
            << "round " << round << ", " << N << " against " << M << ", threshold " << problem.test.threshold
            << ", seed " << seed();
    }
}

TEST_P(WarpLevels, OneValueThatIsNotFinite) {
    const auto &kernels = simd::kernelsOf(GetParam()).warp;
    for (int at = 0; at < 2 * 9 * 6; ++at) {
        int next = 0;
        const Problem problem(9, 9, 6, 1, false, simd::deadCell, [&](std::size_t n) {
            std::vector<float> row(n);
            for (float &value : row) {
                value = next == at ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(next % 7);
                ++next;
            }
            return row;
        });
        ASSERT_TRUE(
            sameBits(simd::plain::warpScore(problem.test, problem.reference), problem.score(kernels, 9)))
            << "position " << at;
    }
}

TEST_P(WarpLevels, SizesBeyondReasonAreNotPacked) {
    const auto &kernels = simd::kernelsOf(GetParam()).warp;
    constexpr int most = std::numeric_limits<int32_t>::max();
    EXPECT_EQ(0u, kernels.packedSize(most, most, most));
    EXPECT_EQ(0u, kernels.packedSize(most, 1, 1));
    EXPECT_EQ(0u, kernels.packedSize(1, most, 1));
    EXPECT_EQ(0u, kernels.packedSize(1, 1, most));
}

} // namespace
} // namespace qzk::test
