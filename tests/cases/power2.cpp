// Powers of two: rounded to 15 digits within the tables, exact beyond them.
#include "qzk.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace qzk::test {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(PowersOfTwo, ExactOnes) {
    EXPECT_EQ(1024.0, QZPower2(10));
    EXPECT_EQ(0.125, QZPower2(-3));
    EXPECT_EQ(1.0, QZPower2(0));
    EXPECT_EQ(0x1p49, QZPower2(49));
    EXPECT_EQ(0x1p-21, QZPower2(-21));
}

TEST(PowersOfTwo, RoundedOnes) {
    EXPECT_EQ(1125899906842620.0, QZPower2(50));
    EXPECT_EQ(1.84467440737096e19, QZPower2(64));
    EXPECT_NE(0x1p64, QZPower2(64));
    EXPECT_EQ(2.38418579101562e-7, QZPower2(-22));
    EXPECT_EQ(5.42101086242752e-20, QZPower2(-64));
}

TEST(PowersOfTwo, OnesOfAnotherLastDigit) {
    EXPECT_EQ(5.76460752303424e17, QZPower2(59));
    EXPECT_EQ(9.31322574615478e-10, QZPower2(-30));
    EXPECT_EQ(1.45519152283668e-11, QZPower2(-36));
}

TEST(PowersOfTwo, AllOthersOfTheTablesAreTheNearestOfFifteenDigits) {
    for (int32_t n = -64; n <= 64; ++n) {
        if (n == 59 || n == -30 || n == -36) continue;
        char digits[40];
        const std::uint64_t exponent = static_cast<std::uint64_t>(1023 + n);
        std::snprintf(digits, sizeof digits, "%.14e", std::bit_cast<double>(exponent << 52));
        EXPECT_EQ(std::strtod(digits, nullptr), QZPower2(n)) << n;
        EXPECT_EQ(-21 <= n && n <= 49, QZPower2(n) == std::bit_cast<double>(exponent << 52)) << n;
    }
}

TEST(PowersOfTwo, BeyondTheTables) {
    EXPECT_EQ(0x1p65, QZPower2(65));
    EXPECT_EQ(0x1p-65, QZPower2(-65));
    EXPECT_EQ(0x1p1023, QZPower2(1023));
    EXPECT_EQ(0x1p-1022, QZPower2(-1022));
    for (int32_t n = 65; n <= 1022; ++n) {
        EXPECT_EQ(2.0, QZPower2(n + 1) / QZPower2(n)) << n;
        EXPECT_EQ(1.0, QZPower2(n) * QZPower2(-n)) << n;
    }
}

TEST(PowersOfTwo, AtTheEndsOfTheRange) {
    EXPECT_EQ(infinity, QZPower2(1024));
    EXPECT_EQ(infinity, QZPower2(INT32_MAX));
    EXPECT_EQ(0x1p-1023, QZPower2(-1023));
    EXPECT_EQ(0x1p-1074, QZPower2(-1074));
    for (const int32_t n : {-1075, -1076, INT32_MIN})
        EXPECT_EQ(0u, std::bit_cast<std::uint64_t>(QZPower2(n))) << n;
}

} // namespace
} // namespace qzk::test
