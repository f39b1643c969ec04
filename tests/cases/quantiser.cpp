// Vector quantisation: small codebooks whose distances and order are known.
#include "qzk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace qzk::test {
namespace {

using Numbers = std::vector<int16_t>;

/// Ranks one-dimensional codes about 0, so that each distance is the square of its code.
Numbers rankSquares(const std::vector<float> &codes, int32_t nBest) {
    const float x = 0;
    const auto n = static_cast<int32_t>(codes.size());
    Numbers best(codes.size(), -7);
    std::vector<float> distances(codes.size());
    const int16_t *const end = QZsVQKohonen(&x, 1, n, codes.data(), nBest, best.data(), 0, distances.data());
    EXPECT_EQ(best.data() + std::max(0, std::min(nBest, n)), end);
    for (std::size_t k = 0; k < codes.size(); ++k)
        EXPECT_EQ(codes[k] * codes[k], distances[k]);
    return best;
}

TEST(Quantiser, RanksByDistanceAndNeverExchangesEqualOnes) {
    EXPECT_EQ(Numbers({2, 3, 1}), rankSquares({5, 3, 3}, 3));
    EXPECT_EQ(Numbers({1, 3, 2}), rankSquares({3, 5, 3}, 3));
    EXPECT_EQ(Numbers({1, 2, 3}), rankSquares({3, 3, 3}, 3));
}

TEST(Quantiser, LeavesTheOtherCodesAsTheExchangesLeftThem) {
    // Round 0 exchanges 5 with 4, 4 with 2 and 2 with 1; each goes where its successor was.
    EXPECT_EQ(Numbers({5, 0, 2, 1, 3}), rankSquares({5, 4, 9, 2, 1}, 1));
    EXPECT_EQ(Numbers({5, 4, 2, 0, 1}), rankSquares({5, 4, 9, 2, 1}, 2));
}

TEST(Quantiser, ListStaysUntouchedWithoutWantedCodes) {
    EXPECT_EQ(Numbers({-7, -7}), rankSquares({2, 1}, 0));
    EXPECT_EQ(Numbers({-7, -7}), rankSquares({2, 1}, -5));
}

TEST(Quantiser, RanksAllCodesWhereMoreAreWanted) { EXPECT_EQ(Numbers({2, 1}), rankSquares({2, 1}, 99)); }

TEST(Quantiser, FindsTheCodeItself) {
    const std::vector<float> codebook = {1, 2, 3, 4, 5, 6, 7, 8};
    const std::vector<float> x = {5, 6};
    Numbers best(4);
    std::vector<float> distances(4);
    QZsVQKohonen(x.data(), 2, 4, codebook.data(), 1, best.data(), 1, distances.data());
    EXPECT_EQ(3, best[0]);
    EXPECT_EQ(0.0f, distances[2]);
    EXPECT_EQ(static_cast<float>(std::sqrt(32.0)), distances[0]);
    EXPECT_EQ(static_cast<float>(std::sqrt(8.0)), distances[3]);

    const Numbers words = {1, 2, 3, 4, 5, 6, 7, 8}, wx = {5, 6};
    std::vector<int32_t> wdistances(4);
    QZwVQKohonen(wx.data(), 2, 4, words.data(), 1, best.data(), 0, 11, 12, wdistances.data());
    EXPECT_EQ(3, best[0]);
    EXPECT_EQ((std::vector<int32_t>{32, 8, 0, 8}), wdistances);
}

TEST(Quantiser, TruncatesDistancesOfWords) {
    const int16_t x[] = {0, 0}, codebook[] = {1, 1, 3, 3, -2, 2, 0, 0};
    int32_t distances[4];
    QZwVQKohonen(x, 2, 4, codebook, 0, nullptr, 1, 0, 0, distances);
    EXPECT_EQ(1, distances[0]) << "root of 2";
    EXPECT_EQ(4, distances[1]) << "root of 18";
    EXPECT_EQ(2, distances[2]) << "root of 8";
    EXPECT_EQ(0, distances[3]);
}

TEST(Quantiser, LimitsDistancesOfWords) {
    const int16_t x[] = {32767, 0}, codebook[] = {-13573, 0, -13574, 0, -13573, 211, -32768, -32768};
    int32_t distances[4];
    Numbers best(4);
    QZwVQKohonen(x, 2, 4, codebook, 4, best.data(), 0, 0, 0, distances);
    EXPECT_EQ(2147395600, distances[0]) << "46340 squared";
    EXPECT_EQ(2147483647, distances[1]) << "46341 squared is 2147488281";
    EXPECT_EQ(2147440121, distances[2]);
    EXPECT_EQ(2147483647, distances[3]);
    EXPECT_EQ(Numbers({1, 3, 2, 4}), best) << "limited distances are equal";
    QZwVQKohonen(x, 2, 4, codebook, 0, nullptr, 1, 0, 0, distances);
    EXPECT_EQ(73270, distances[3]);
}

TEST(Quantiser, SumsFromTheFirstElement) {
    // 2^54 + 2^30 lies in the middle of two floats. Three ones raise it only when they come first: each alone
    // is lost in rounding to double.
    const std::vector<float> x(5, 0.0f);
    const std::vector<float> codebook = {1, 1, 1, 0x1p15f, 0x1p27f, 0x1p27f, 0x1p15f, 1, 1, 1};
    float distances[2];
    QZsVQKohonen(x.data(), 5, 2, codebook.data(), 0, nullptr, 0, distances);
    EXPECT_EQ(0x1p54f + 0x1p31f, distances[0]);
    EXPECT_EQ(0x1p54f, distances[1]);
}

TEST(Quantiser, NotANumberIsNeitherNearerNorFarther) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float inf = std::numeric_limits<float>::infinity();
    const float x = 0, codebook[] = {nan, 1, inf, 2};
    float distances[4];
    Numbers best(4);
    QZsVQKohonen(&x, 1, 4, codebook, 4, best.data(), 0, distances);
    EXPECT_TRUE(std::isnan(distances[0]));
    EXPECT_EQ(inf, distances[2]);
    EXPECT_EQ(Numbers({1, 2, 4, 3}), best);
}

TEST(Quantiser, NumbersAbove32767WrapAround) {
    constexpr std::size_t n = 65535;
    const float x = 0;
    std::vector<float> codebook(n, 9.0f), distances(n);
    codebook[39999] = 1;
    codebook[65534] = 2;
    Numbers best(n);
    QZsVQKohonen(&x, 1, n, codebook.data(), 2, best.data(), 0, distances.data());
    EXPECT_EQ(40000 - 65536, best[0]);
    EXPECT_EQ(65535 - 65536, best[1]);
    EXPECT_EQ(0, best[39999]);
    EXPECT_EQ(1, best[65534]);
}

TEST(Quantiser, EmptyVectorsAndEmptyCodebooks) {
    const float x = 1;
    float distances[] = {9, 9};
    Numbers best = {-7, -7};
    EXPECT_EQ(best.data() + 1, QZsVQKohonen(&x, 0, 2, &x, 1, best.data(), 1, distances));
    EXPECT_EQ(0.0f, distances[0]);
    EXPECT_EQ(0.0f, distances[1]);
    EXPECT_EQ(Numbers({1, 1}), best);
    distances[0] = 9;
    best = {-7, -7};
    for (const int32_t nCodes : {0, -1, INT32_MIN}) {
        EXPECT_EQ(best.data(), QZsVQKohonen(&x, 1, nCodes, &x, 3, best.data(), 0, distances));
        EXPECT_EQ(9.0f, distances[0]);
        EXPECT_EQ(Numbers({-7, -7}), best);
    }
    EXPECT_EQ(best.data() + 1, QZsVQKohonen(&x, INT32_MIN, 1, &x, 1, best.data(), 0, distances));
    EXPECT_EQ(0.0f, distances[0]);
}

} // namespace
} // namespace qzk::test
