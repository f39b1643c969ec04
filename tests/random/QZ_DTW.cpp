// Evaluations against the grid written out, bit for bit; and the grid against the enumeration of all paths.
#include "qzk.h"
#include "reference/dtw.hpp"
#include "simd/warp.hpp"
#include "support/bits.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace qzk::test {
namespace {

using reference::Frames;

class RandomWarping : public LevelTest {
protected:
    ~RandomWarping() override {
        QZsPatternFreeAll();
        QZwPatternFreeAll();
    }
    Random random;

    enum class Kind { reals, ties, huge, special, constant };

    Frames frames(int n, int dim, Kind kind) {
        Frames rows;
        for (int i = 0; i < n; ++i) {
            const auto size = static_cast<std::size_t>(dim);
            std::vector<float> row(size, 1.0f);
            if (kind == Kind::reals) row = random.reals<float>(size, -10, 10);
            if (kind == Kind::special) row = random.anyReals<float>(size);
            for (float &value : row) {
                if (kind == Kind::ties) value = static_cast<float>(random.integer(0, 2));
                if (kind == Kind::huge) value = static_cast<float>(random.real(-3.4e38, 3.4e38));
            }
            rows.push_back(row);
        }
        return rows;
    }

    static std::vector<const float *> pointersTo(const Frames &rows) {
        std::vector<const float *> pointers;
        for (const auto &row : rows)
            pointers.push_back(row.data());
        return pointers;
    }

    double anyThreshold(const std::vector<double> &scores) {
        constexpr double infinity = std::numeric_limits<double>::infinity();
        const double fixed[] = {0.0,          -1.0,           1e300,   infinity, -infinity,
                                std::nan(""), reference::big, 3.41e38, 1e-300};
        if (random.bits() % 4 == 0) return fixed[random.index(std::size(fixed))];
        const double score = scores[random.index(scores.size())];
        return random.bits() % 3 == 0 ? score : score * random.real(0.0, 1.5);
    }
};

INSTANTIATE_TEST_SUITE_P(Levels, RandomWarping, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(RandomWarping, OfFloatPatterns) {
    for (int round = 0; round < 1500; ++round) {
        const auto kind = static_cast<Kind>(random.integer(0, 4));
        const int N = static_cast<int>(random.integer(1, round % 50 == 0 ? 120 : 30));
        const int dim = static_cast<int>(random.integer(round % 10 == 0 ? 0 : 1, 20));
        const int width =
            static_cast<int>(random.bits() % 4 == 0 ? random.integer(-200, 200) : random.integer(-4, 4));
        const bool noBand = random.bits() % 4 == 0, cityBlock = random.bits() % 2 == 0;
        const int B = noBand ? 0 : std::abs(width);
        const Frames test = frames(N, dim, kind);
        std::vector<Frames> patterns;
        std::vector<int32_t> ids;
        for (int k = 0; k < 4; ++k) {
            const int M = static_cast<int>(random.integer(std::max(1, N / 2 - 1), std::min(2 * N + B, 150)));
            patterns.push_back(frames(M, dim, kind));
            ids.push_back(QZsPatternIni(pointersTo(patterns.back()).data(), M, dim));
        }
        const auto expectedScores = [&](double threshold) {
            std::vector<double> scores;
            for (const auto &pattern : patterns)
                scores.push_back(reference::score(test, pattern, noBand, width, threshold, cityBlock));
            return scores;
        };
        const int32_t mode = (noBand ? QZ_DTWNoBand : 0) | (cityBlock ? QZ_DTWCityBlock : 0) | 256;
        const auto free = expectedScores(reference::big);
        const double threshold = anyThreshold(free);
        for (const bool pruned : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << "round " << round << ", N " << N << ", dim " << dim << ", width " << width
                         << ", mode " << mode << ", kind " << static_cast<int>(kind) << ", threshold "
                         << threshold << ", pruned " << pruned << ", seed " << seed());
            const auto expected = pruned ? expectedScores(threshold) : free;
            std::vector<double> scores(ids.size(), -1.0);
            const int32_t best =
                QZsEvalDTW(ids.data(), 4, pointersTo(test).data(), N, dim,
                           mode | (pruned ? QZ_DTWThreshold : 0), threshold, width, scores.data());
            ASSERT_TRUE(sameBits(expected, scores));
            int32_t expectedBest = 0;
            double smallest = static_cast<double>(3.4e38f);
            for (std::size_t k = 0; k < expected.size(); ++k)
                if (smallest > expected[k]) {
                    smallest = expected[k];
                    expectedBest = static_cast<int32_t>(k);
                }
            ASSERT_EQ(expectedBest, best);
        }
        QZsPatternFreeAll();
    }
}

TEST_P(RandomWarping, OfWordPatterns) {
    for (int round = 0; round < 200; ++round) {
        const int N = static_cast<int>(random.integer(1, 30)), dim = static_cast<int>(random.integer(1, 16));
        const int width = static_cast<int>(random.integer(-4, 4));
        const auto words = [&](int n) {
            std::vector<std::vector<int16_t>> rows;
            for (int i = 0; i < n; ++i)
                rows.push_back(random.elements<int16_t>(static_cast<std::size_t>(dim)));
            return rows;
        };
        const auto scaled = [](const std::vector<std::vector<int16_t>> &rows, int scale) {
            Frames result;
            for (const auto &row : rows) {
                result.emplace_back();
                for (const int16_t value : row)
                    result.back().push_back(std::ldexp(static_cast<float>(value), scale));
            }
            return result;
        };
        const auto pointers = [](const std::vector<std::vector<int16_t>> &rows) {
            std::vector<const int16_t *> result;
            for (const auto &row : rows)
                result.push_back(row.data());
            return result;
        };
        const int testScale = static_cast<int>(random.integer(-6, 2));
        const auto testWords = words(N);
        const Frames test = scaled(testWords, testScale);
        std::vector<int32_t> ids;
        std::vector<double> doubles;
        const bool cityBlock = random.bits() % 2 == 0, pruned = random.bits() % 2 == 0;
        const auto thresholdValue = static_cast<int32_t>(random.integer(0, 1 << 20));
        const int thresholdScale = static_cast<int>(random.integer(-3, 3));
        const double threshold = pruned ? std::ldexp(thresholdValue, thresholdScale) : reference::big;
        for (int k = 0; k < 3; ++k) {
            const int M = static_cast<int>(random.integer((N + 1) / 2, 2 * N - 1));
            const int scale = static_cast<int>(random.integer(-6, 2));
            const auto pattern = words(M);
            ids.push_back(QZwPatternIni(pointers(pattern).data(), M, dim, scale));
            doubles.push_back(
                reference::score(test, scaled(pattern, scale), false, width, threshold, cityBlock));
        }
        std::vector<int32_t> expected(3), scores(3);
        int32_t expectedScale = 0, scale = 0;
        QZdibConvertDown(doubles.data(), expected.data(), 3, QZ_ScaleAuto, &expectedScale);
        const int32_t mode = (cityBlock ? QZ_DTWCityBlock : 0) | (pruned ? QZ_DTWThreshold : 0);
        const int32_t best =
            QZwEvalDTW(ids.data(), 3, pointers(testWords).data(), N, dim, testScale, mode, thresholdValue,
                       thresholdScale, width, scores.data(), QZ_ScaleAuto, &scale);
        ASSERT_EQ(expected, scores) << "round " << round << ", seed " << seed();
        ASSERT_EQ(expectedScale, scale);
        ASSERT_EQ(std::min_element(doubles.begin(), doubles.end()) - doubles.begin(), best);
        QZwPatternFreeAll();
    }
}

TEST_P(RandomWarping, ScoreIsTheTotalOfAnAllowedPath) {
    int optimal = 0;
    constexpr int rounds = 400;
    for (int round = 0; round < rounds; ++round) {
        const int N = static_cast<int>(random.integer(2, 7)), width = static_cast<int>(random.integer(0, 3));
        const int M = static_cast<int>(random.integer((N + 1) / 2, 2 * N - 1 + width));
        const Frames test = frames(N, 2, Kind::reals), pattern = frames(M, 2, Kind::reals);
        const auto totals =
            reference::allPathTotals({N, M, std::min(width, M - 1), reference::big, [&](int i, int j) {
                                          return reference::euclidean(test[static_cast<std::size_t>(i)],
                                                                      pattern[static_cast<std::size_t>(j)]);
                                      }});
        const int32_t id = QZsPatternIni(pointersTo(pattern).data(), M, 2);
        double score = 0;
        QZsEvalDTW(&id, 1, pointersTo(test).data(), N, 2, 0, 0.0, width, &score);
        QZsPatternFreeAll();
        ASSERT_EQ(1, std::count(totals.begin(), totals.end(), score))
            << N << " against " << M << ", width " << width << ", seed " << seed();
        optimal += score == *std::min_element(totals.begin(), totals.end());
    }
    // Which way led into a cell is settled before it is known whether the next step wants to be horizontal,
    // so the best path is missed now and then, and only then.
    EXPECT_LT(rounds * 3 / 4, optimal);
    EXPECT_GT(rounds, optimal);
}

TEST(WarpRanges, FollowTheBoundsInsideTheReference) {
    for (int N = 1; N <= 45; ++N) {
        for (int B = 0; B <= 50; B = B < 6 ? B + 1 : B * 2 - 3) {
            for (int M = (N + 1) / 2; M <= 2 * N - 1 + B; ++M) {
                const int b = std::min(B, M - 1);
                std::vector<simd::FrameRange> ranges(static_cast<std::size_t>(N), {-99, -99});
                simd::plain::setRanges(ranges.data(), N, M, b);
                const reference::Warp w = {N, M, b, 0.0, nullptr};
                int lowestBefore = 0, highestBefore = 0;
                for (int i = 0; i < N; ++i) {
                    const auto range = ranges[static_cast<std::size_t>(i)];
                    ASSERT_EQ(reference::lowest(w, i), range.lo) << N << ' ' << M << ' ' << b << ' ' << i;
                    ASSERT_EQ(reference::highest(w, i), range.hi) << N << ' ' << M << ' ' << b << ' ' << i;
                    ASSERT_LE(0, range.lo);
                    ASSERT_LT(range.hi, M);
                    ASSERT_LE(lowestBefore, range.lo);
                    lowestBefore = range.lo;
                    ASSERT_LE(highestBefore, range.hi);
                    highestBefore = range.hi;
                }
            }
        }
    }
}

TEST(WarpRanges, DivideByThreeExactly) {
    // Whatever the lengths, a third of an exact multiple is not rounded past it.
    for (const int N : {1000003, 2000000, 715827882, 1073741823}) {
        for (int offset = 0; offset < 9; ++offset) {
            const int M = N / 2 + 2 + offset;
            const reference::Warp w = {N, M, 0, 0.0, nullptr};
            const double third = 1.0 / 3.0;
            for (const long dividend : {2L * M - (N + 1), 4L * N - (2L * M + 2)}) {
                ASSERT_EQ(static_cast<double>(reference::floorDivision(dividend, 3)),
                          std::floor(static_cast<double>(dividend) * third));
                ASSERT_EQ(static_cast<double>(-reference::floorDivision(-dividend, 3)),
                          std::ceil(static_cast<double>(dividend) * third));
            }
        }
    }
}

} // namespace
} // namespace qzk::test
