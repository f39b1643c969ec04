// Dot products, norms and distances: small values whose results are known exactly.
#include "qzk.h"
#include "support/bits.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace qzk::test {
namespace {

TEST(FloatDistances, OfThreeAndFour) {
    const float a[] = {3, 0}, b[] = {0, 4}, diagonal[] = {2, 0.5f};
    EXPECT_EQ(0.0, QZsDotP(a, b, 2));
    EXPECT_EQ(9.0, QZsDotP(a, a, 2));
    EXPECT_EQ(7.0, QZsL1Norm(a, b, 2));
    EXPECT_EQ(25.0, QZsL2Norm(a, b, 2, 0));
    EXPECT_EQ(5.0, QZsL2Norm(a, b, 2, 1));
    EXPECT_EQ(5.0, QZsL2Norm(a, b, 2, -7));
    EXPECT_EQ(26.0, QZsMahalanobisD(a, b, diagonal, 2, 0));
    EXPECT_EQ(std::sqrt(26.0), QZsMahalanobisD(a, b, diagonal, 2, 1));
}

TEST(FloatDistances, FullMahalanobis) {
    const float a[] = {4, 2}, b[] = {3, 1};
    const float unit0[] = {1, 0}, unit1[] = {0, 1};
    const float *const unit[] = {unit0, unit1};
    EXPECT_EQ(2.0, QZsMahalanobis(a, b, unit, 2, 0));
    EXPECT_EQ(std::sqrt(2.0), QZsMahalanobis(a, b, unit, 2, 1));

    const float lower0[] = {0, 77}, lower1[] = {1, 0};
    const float *const lower[] = {lower0, lower1};
    EXPECT_EQ(2.0, QZsMahalanobis(a, b, lower, 2, 0)) << "the upper triangle is not read";
}

TEST(FloatDistances, UpperTriangleIsNeverTouched) {
    // Rows as long as the lower triangle: the address sanitizer sees any read beyond.
    const std::vector<float> a = {1, 2, 3}, b = {0, 0, 0};
    const std::vector<float> row0 = {1}, row1 = {2, 3}, row2 = {4, 5, 6};
    const float *const rows[] = {row0.data(), row1.data(), row2.data()};
    EXPECT_EQ(2.0 * (1 * 2 * 2 + 1 * 4 * 3 + 2 * 5 * 3) + (1 + 3 * 4 + 6 * 9),
              QZsMahalanobis(a.data(), b.data(), rows, 3, 0));
    const std::vector<int16_t> wa = {1, 2, 3}, wb = {0, 0, 0};
    const std::vector<int16_t> wrow0 = {1}, wrow1 = {2, 3}, wrow2 = {4, 5, 6};
    const int16_t *const wrows[] = {wrow0.data(), wrow1.data(), wrow2.data()};
    int32_t scale = 9;
    EXPECT_EQ(159, QZwMahalanobis(wa.data(), wb.data(), wrows, 3, 0, QZ_ScaleWrap, &scale));
    EXPECT_EQ(0, scale);
}

TEST(FloatDistances, AddFromTheFirstElementToTheLast) {
    // 2^53 + 1 rounds back to 2^53, so the ones count only when they come first.
    const std::vector<float> onesFirst = {1, 1, 0x1p53f}, onesLast = {0x1p53f, 1, 1};
    const std::vector<float> unit = {1, 1, 1}, zero = {0, 0, 0};
    EXPECT_EQ(0x1p53 + 2, QZsDotP(onesFirst.data(), unit.data(), 3));
    EXPECT_EQ(0x1p53, QZsDotP(onesLast.data(), unit.data(), 3));
    EXPECT_EQ(0x1p53 + 2, QZsL1Norm(onesFirst.data(), zero.data(), 3));
    EXPECT_EQ(0x1p53, QZsL1Norm(onesLast.data(), zero.data(), 3));

    const std::vector<float> smallFirst = {1.25f, 1.25f, 0x1p27f}, smallLast = {0x1p27f, 1.25f, 1.25f};
    EXPECT_EQ(0x1p54 + 4, QZsL2Norm(smallFirst.data(), zero.data(), 3, 0));
    EXPECT_EQ(0x1p54, QZsL2Norm(smallLast.data(), zero.data(), 3, 0));
    EXPECT_EQ(0x1p53 + 2, QZsMahalanobisD(unit.data(), zero.data(), onesFirst.data(), 3, 0));
    EXPECT_EQ(0x1p53, QZsMahalanobisD(unit.data(), zero.data(), onesLast.data(), 3, 0));

    const std::vector<float> big = {0x1p53f, 0, 0}, one1 = {0, 1, 0}, one2 = {0, 0, 1};
    const float *const bigFirst[] = {big.data(), one1.data(), one2.data()};
    EXPECT_EQ(0x1p53, QZsMahalanobis(unit.data(), zero.data(), bigFirst, 3, 0));
    const std::vector<float> row1 = {0x1p53f, 0, 0}, row2 = {1, 1, 0};
    const float *const offDiagonal[] = {zero.data(), row1.data(), row2.data()};
    EXPECT_EQ(0x1p54, QZsMahalanobis(unit.data(), zero.data(), offDiagonal, 3, 0));
}

TEST(FloatDistances, WidenBeforeSubtracting) {
    const float a = 0x1.000002p0f, b = -0x1p-29f;
    EXPECT_EQ(static_cast<double>(a) - static_cast<double>(b), QZsL1Norm(&a, &b, 1));
    const float huge = std::numeric_limits<float>::max(), negative = -huge;
    EXPECT_EQ(2.0 * static_cast<double>(huge), QZsL1Norm(&huge, &negative, 1));
}

TEST(FloatDistances, LengthsBelowOneGiveZero) {
    for (const int32_t len : {0, -1, std::numeric_limits<int32_t>::min()}) {
        EXPECT_TRUE(sameBits(0.0, QZsDotP(nullptr, nullptr, len)));
        EXPECT_TRUE(sameBits(0.0, QZsL1Norm(nullptr, nullptr, len)));
        EXPECT_TRUE(sameBits(0.0, QZsL2Norm(nullptr, nullptr, len, 0)));
        EXPECT_TRUE(sameBits(0.0, QZsL2Norm(nullptr, nullptr, len, 1)));
        EXPECT_TRUE(sameBits(0.0, QZsMahalanobisD(nullptr, nullptr, nullptr, len, 1)));
        EXPECT_TRUE(sameBits(0.0, QZsMahalanobis(nullptr, nullptr, nullptr, len, 1)));
    }
}

TEST(WordDistances, LengthsBelowOneGiveZero) {
    for (const int32_t len : {0, -1, std::numeric_limits<int32_t>::min()}) {
        int32_t scale = 5;
        EXPECT_EQ(0, QZwDotP(nullptr, nullptr, len, QZ_ScaleAuto, &scale));
        EXPECT_EQ(0, scale);
        EXPECT_EQ(0, QZwL1Norm(nullptr, nullptr, len, QZ_ScaleWrap, &scale));
        EXPECT_EQ(0, QZwL2Norm(nullptr, nullptr, len, 1, QZ_ScaleWrap, &scale));
        EXPECT_EQ(0, QZwMahalanobisD(nullptr, nullptr, nullptr, len, 1, QZ_ScaleWrap, &scale));
        EXPECT_EQ(0, QZwMahalanobis(nullptr, nullptr, nullptr, len, 1, QZ_ScaleWrap, &scale));
    }
}

TEST(WordDistances, OfThreeAndFour) {
    const int16_t a[] = {3, 0}, b[] = {0, 4}, diagonal[] = {2, -1};
    int32_t scale = 7;
    EXPECT_EQ(9, QZwDotP(a, a, 2, QZ_ScaleWrap, &scale));
    EXPECT_EQ(0, scale);
    EXPECT_EQ(7, QZwL1Norm(a, b, 2, QZ_ScaleWrap, &scale));
    EXPECT_EQ(25, QZwL2Norm(a, b, 2, 0, QZ_ScaleWrap, &scale));
    EXPECT_EQ(5, QZwL2Norm(a, b, 2, 1, QZ_ScaleWrap, &scale));
    EXPECT_EQ(2, QZwMahalanobisD(a, b, diagonal, 2, 0, QZ_ScaleWrap, &scale));
    EXPECT_EQ(1, QZwMahalanobisD(a, b, diagonal, 2, 1, QZ_ScaleWrap, &scale)) << "the root of 2, truncated";
}

TEST(WordDistances, RootIsTakenBeforeTheConversion) {
    // The sum is 2 * 65535^2, beyond 32 bits; its root times 2^4 is not.
    const int16_t a[] = {32767, 32767}, b[] = {-32768, -32768};
    int32_t scale = -4;
    EXPECT_EQ(static_cast<int32_t>(std::sqrt(2.0 * 65535.0 * 65535.0) * 16.0),
              QZwL2Norm(a, b, 2, 1, QZ_ScaleFixed, &scale));
    EXPECT_EQ(-4, scale);
}

TEST(WordDistances, ScaleModesReachTheConversion) {
    const int16_t a[] = {32767, 32767, 32767}, b[] = {-32768, -32768, -32768};
    const double sum = 3.0 * 65535.0 * 65535.0; // 12884508675
    int32_t scale = 3;
    EXPECT_EQ(static_cast<int32_t>(12884508675 - 3 * (std::int64_t{1} << 32)),
              QZwL2Norm(a, b, 3, 0, QZ_ScaleWrap, &scale));
    EXPECT_EQ(0, scale);
    scale = 3;
    EXPECT_EQ(static_cast<int32_t>(sum / 8), QZwL2Norm(a, b, 3, 0, QZ_ScaleFixed, &scale));
    EXPECT_EQ(3, scale);
    EXPECT_EQ(static_cast<int32_t>(sum / 8), QZwL2Norm(a, b, 3, 0, QZ_ScaleAuto, &scale));
    EXPECT_EQ(3, scale);
    EXPECT_EQ(2147483647, QZwL2Norm(a, b, 3, 0, QZ_ScaleSaturate, &scale));
    EXPECT_EQ(0, scale);
    EXPECT_EQ(-2147483647 - 1, QZwDotP(a, b, 3, QZ_ScaleSaturate, &scale));
}

// Sums beyond 2^53 keep ones only if these come first. The large terms are multiples of 4.
constexpr int16_t large = 32767, small = 0;

int32_t lowBits(int64_t sum) { return static_cast<int32_t>(sum); }

TEST(WordDistances, PlainSumsAddFromTheLastElementToTheFirst) {
    constexpr std::size_t products = std::size_t{1} << 23;
    std::vector<int16_t> a(products + 8, -32768);
    std::fill(a.end() - 8, a.end(), int16_t{1});
    const auto len = [](const auto &vector) { return static_cast<int32_t>(vector.size()); };
    int32_t scale = 0;
    EXPECT_EQ(8, QZwDotP(a.data(), a.data(), len(a), QZ_ScaleWrap, &scale));
    std::reverse(a.begin(), a.end());
    EXPECT_EQ(0, QZwDotP(a.data(), a.data(), len(a), QZ_ScaleWrap, &scale));

    constexpr std::size_t squares = (std::size_t{1} << 21) + 256;
    constexpr int64_t sum = int64_t{squares} * 65534 * 65534;
    std::vector<int16_t> c(squares + 8, large), d(squares + 8, -large);
    std::fill(c.end() - 8, c.end(), int16_t{1});
    std::fill(d.end() - 8, d.end(), small);
    EXPECT_EQ(lowBits(sum + 8), QZwL2Norm(c.data(), d.data(), len(c), 0, QZ_ScaleWrap, &scale));
    std::reverse(c.begin(), c.end());
    std::reverse(d.begin(), d.end());
    EXPECT_EQ(lowBits(sum), QZwL2Norm(c.data(), d.data(), len(c), 0, QZ_ScaleWrap, &scale));
}

TEST(WordDistances, DiagonalMahalanobisAddsFromTheFirstElementToTheLast) {
    constexpr std::size_t terms = 200;
    constexpr int64_t sum = int64_t{terms} * 16384 * 65534 * 65534;
    std::vector<int16_t> a(terms + 8, large), b(terms + 8, -large), diagonal(terms + 8, 16384);
    std::fill(a.begin(), a.begin() + 8, int16_t{1});
    std::fill(b.begin(), b.begin() + 8, small);
    std::fill(diagonal.begin(), diagonal.begin() + 8, int16_t{1});
    const auto distance = [&] {
        int32_t scale = 0;
        return QZwMahalanobisD(a.data(), b.data(), diagonal.data(), static_cast<int32_t>(a.size()), 0,
                               QZ_ScaleWrap, &scale);
    };
    EXPECT_EQ(lowBits(sum + 8), distance());
    std::reverse(a.begin(), a.end());
    std::reverse(b.begin(), b.end());
    std::reverse(diagonal.begin(), diagonal.end());
    EXPECT_EQ(lowBits(sum), distance());
}

TEST(WordDistances, FullMahalanobisAddsRowByRow) {
    // 136 large terms below the diagonal of 17 elements, 10 ones below that of 5.
    constexpr std::size_t many = 17, few = 5, n = many + few;
    constexpr int64_t sum = int64_t{136} * 16384 * 65534 * 65534;
    for (const bool onesFirst : {true, false}) {
        std::vector<int16_t> a(n), b(n);
        std::vector<std::vector<int16_t>> matrix(n, std::vector<int16_t>(n));
        const auto isOne = [&](std::size_t i) { return onesFirst ? i < few : i >= many; };
        for (std::size_t i = 0; i < n; ++i) {
            a[i] = isOne(i) ? int16_t{1} : large;
            b[i] = isOne(i) ? small : int16_t{-large};
            for (std::size_t j = 0; j < i; ++j)
                if (isOne(i) == isOne(j)) matrix[i][j] = isOne(i) ? 1 : 16384;
        }
        std::vector<const int16_t *> rows;
        for (const auto &row : matrix)
            rows.push_back(row.data());
        int32_t scale = 0;
        EXPECT_EQ(lowBits(2 * (onesFirst ? sum + 10 : sum)),
                  QZwMahalanobis(a.data(), b.data(), rows.data(), int32_t{n}, 0, QZ_ScaleWrap, &scale));
    }
}

TEST(WordDistances, ReportOnlyWhatTheConversionReports) {
    const int16_t a[] = {1}, b[] = {0}, diagonal[] = {1};
    const int16_t *const rows[] = {diagonal};
    const Report expected = {QZ_StsBadArg, "QZ_diConvert", "Unknown value   4 for doScale",
                             "..\\LIBSRC\\QZ_CNVRT", 2055};
    RecordedReports reports;
    int32_t scale = 11;
    const auto lowHalf = [](int32_t value) { return value & 0xFFFF; };
    EXPECT_EQ(0, lowHalf(QZwDotP(a, b, 1, 4, &scale)));
    EXPECT_EQ(0, lowHalf(QZwL1Norm(a, b, 1, 4, &scale)));
    EXPECT_EQ(0, lowHalf(QZwL2Norm(a, b, 1, 0, 4, &scale)));
    EXPECT_EQ(0, lowHalf(QZwMahalanobisD(a, b, diagonal, 1, 0, 4, &scale)));
    EXPECT_EQ(0, lowHalf(QZwMahalanobis(a, b, rows, 1, 0, 4, &scale)));
    EXPECT_EQ(std::vector<Report>(5, expected), reports.all());
    EXPECT_EQ(11, scale);
}

} // namespace
} // namespace qzk::test
