// Literal minima, maxima and sums.
#include "qzk.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// An element and its place.
template <class T>
using Found = std::pair<T, std::int32_t>;

template <class T>
Found<T> find(T (*member)(const T *, std::int32_t, std::int32_t *), const std::vector<T> &src) {
    std::int32_t index = -1;
    const T found = member(src.data(), static_cast<std::int32_t>(src.size()), &index);
    return {found, index};
}

Found<std::uint8_t> findNibble(std::uint8_t (*member)(const std::uint8_t *, std::int32_t, std::int32_t,
                                                      std::int32_t *),
                               const Bytes &src, std::int32_t offset, std::int32_t len) {
    std::int32_t index = -1;
    const std::uint8_t found = member(src.data(), offset, len, &index);
    return {found, index};
}

TEST(Extremes, TheFirstOfEqualOnesWins) {
    EXPECT_EQ(Found<std::uint8_t>(2, 1), find<std::uint8_t>(QZyMin, {5, 2, 7, 2}));
    EXPECT_EQ(Found<std::uint8_t>(7, 1), find<std::uint8_t>(QZyMax, {5, 7, 2, 7}));
    EXPECT_EQ(Found<std::int8_t>(-3, 0), find<std::int8_t>(QZtMin, {-3, -3}));
    EXPECT_EQ(Found<std::int16_t>(9, 2), find<std::int16_t>(QZwMax, {1, 8, 9, 9}));
    EXPECT_EQ(Found<float>(1.5f, 1), find<float>(QZsMin, {2.0f, 1.5f, 1.5f}));
}

TEST(Extremes, IntegersCompareInTheirOwnSign) {
    EXPECT_EQ(Found<std::uint8_t>(0, 2), find<std::uint8_t>(QZyMin, {255, 128, 0, 127}));
    EXPECT_EQ(Found<std::uint8_t>(255, 0), find<std::uint8_t>(QZyMax, {255, 128, 0, 127}));
    EXPECT_EQ(Found<std::int8_t>(-128, 1), find<std::int8_t>(QZtMin, {-1, -128, 0, 127}));
    EXPECT_EQ(Found<std::int8_t>(127, 3), find<std::int8_t>(QZtMax, {-1, -128, 0, 127}));
    EXPECT_EQ(Found<std::int16_t>(-32768, 1), find<std::int16_t>(QZwMin, {-1, -32768, 0, 32767}));
    EXPECT_EQ(Found<std::int16_t>(32767, 3), find<std::int16_t>(QZwMax, {-1, -32768, 0, 32767}));
}

using FloatBits = std::vector<std::uint32_t>;
constexpr std::uint32_t zero = 0, minusZero = 0x80000000, infinity = 0x7F800000, minusInfinity = 0xFF800000,
                        nan = 0x7FC00001, minusNan = 0xFFC00001, tiny = 1, minusTiny = 0x80000001;

Found<std::uint32_t> findFloat(float (*member)(const float *, std::int32_t, std::int32_t *),
                               const FloatBits &src) {
    std::int32_t index = -1;
    const float found =
        member(reinterpret_cast<const float *>(src.data()), static_cast<std::int32_t>(src.size()), &index);
    return {std::bit_cast<std::uint32_t>(found), index};
}

TEST(Extremes, FloatsCompareByTheirBits) {
    using Bits = Found<std::uint32_t>;
    EXPECT_EQ(Bits(minusZero, 1), findFloat(QZsMin, {zero, minusZero}));
    EXPECT_EQ(Bits(zero, 1), findFloat(QZsMax, {minusZero, zero}));
    EXPECT_EQ(Found<float>(-3.0f, 1), find<float>(QZsMin, {-1.0f, -3.0f}));
    EXPECT_EQ(Found<float>(-1.0f, 0), find<float>(QZsMax, {-1.0f, -3.0f}));

    const FloatBits rising = {minusNan, minusInfinity, 0xBF800000, minusTiny, minusZero,
                              zero,     tiny,          0x3F800000, infinity,  nan};
    for (std::size_t i = 0; i < rising.size(); ++i)
        for (std::size_t j = 0; j < rising.size(); ++j) {
            EXPECT_EQ(Bits(rising[j < i ? j : i], j < i), findFloat(QZsMin, {rising[i], rising[j]}));
            EXPECT_EQ(Bits(rising[j > i ? j : i], j > i), findFloat(QZsMax, {rising[i], rising[j]}));
        }
}

TEST(Extremes, NibblesAreCountedFromTheFirstOfTheVector) {
    using Nibble = Found<std::uint8_t>;
    const Bytes src = {0x91, 0x37, 0x1F};
    EXPECT_EQ(Nibble(1, 0), findNibble(QZnMin, src, 0, 5));
    EXPECT_EQ(Nibble(1, 1), findNibble(QZnMin, src, 1, 6));
    EXPECT_EQ(Nibble(3, 2), findNibble(QZnMin, {0x98, 0x37}, 1, 4));
    EXPECT_EQ(Nibble(15, 4), findNibble(QZnMax, src, 0, 5));
    EXPECT_EQ(Nibble(9, 0), findNibble(QZnMax, src, 1, 5));
    EXPECT_EQ(Nibble(15, 5), findNibble(QZnMax, src, 1, 6));
    EXPECT_EQ(Nibble(7, 2), findNibble(QZnMax, src, 0, 4));
}

TEST(Extremes, OfNibblesTakeTheLowestBitOfTheOffset) {
    using Nibble = Found<std::uint8_t>;
    const Bytes src = {0x05, 0x4F};
    EXPECT_EQ(Nibble(0, 0), findNibble(QZnMin, src, 1, 3));
    EXPECT_EQ(Nibble(0, 0), findNibble(QZnMin, src, 3, 3));
    EXPECT_EQ(Nibble(4, 1), findNibble(QZnMin, src, 2, 3));
    EXPECT_EQ(Nibble(15, 2), findNibble(QZnMax, src, -2, 3));
    EXPECT_EQ(Nibble(5, 1), findNibble(QZnMax, src, -1, 3));
}

TEST(Extremes, LengthsBelowOneGiveTheFirstElement) {
    for (const std::int32_t len : {1, 0, -1, INT32_MIN}) {
        const auto check = [&]<class T>(T (*member)(const T *, std::int32_t, std::int32_t *)) {
            const T src[] = {T{50}, T{1}, T{100}};
            std::int32_t index = -1;
            EXPECT_EQ(T{50}, member(src, len, &index));
            EXPECT_EQ(0, index);
        };
        check(QZyMin), check(QZyMax), check(QZtMin), check(QZtMax);
        check(QZwMin), check(QZwMax), check(QZsMin), check(QZsMax);
        const Bytes nibbles = {0x38, 0x1F};
        using Nibble = Found<std::uint8_t>;
        EXPECT_EQ(Nibble(3, 0), findNibble(QZnMin, nibbles, 1, len));
        EXPECT_EQ(Nibble(8, 0), findNibble(QZnMin, nibbles, 0, len));
        EXPECT_EQ(Nibble(3, 0), findNibble(QZnMax, nibbles, 1, len));
        EXPECT_EQ(Nibble(8, 0), findNibble(QZnMax, nibbles, 0, len));
    }
}

/// A sum and the scale factor it leaves.
using Scaled = std::pair<std::int64_t, std::int32_t>;
constexpr std::int32_t unset = 77;

template <class Sum>
Scaled scaled(std::int32_t scaleFactor, Sum sum) {
    const auto result = sum(&scaleFactor);
    return {result, scaleFactor};
}

Scaled sumBits(const Bytes &src, std::int32_t offset, std::int32_t len, std::int32_t mode,
               std::int32_t factor = unset) {
    return scaled(factor, [&](auto *scale) { return QZbSum(src.data(), offset, len, mode, scale); });
}
Scaled sumNibbles(const Bytes &src, std::int32_t offset, std::int32_t len, std::int32_t mode,
                  std::int32_t factor = unset) {
    return scaled(factor, [&](auto *scale) { return QZnSum(src.data(), offset, len, mode, scale); });
}
template <class T, class Member>
Scaled sumOf(Member member, const std::vector<T> &src, std::int32_t mode, std::int32_t factor = unset) {
    return scaled(factor, [&](auto *scale) {
        return member(src.data(), static_cast<std::int32_t>(src.size()), mode, scale);
    });
}

TEST(Sums, OfBits) {
    EXPECT_EQ(Scaled(1, 0), sumBits({0xFD, 0x7F}, 1, 3, 0));
    EXPECT_EQ(Scaled(3, 0), sumBits({0x03, 0x80}, 1, 3, 0));
    EXPECT_EQ(Scaled(3, 0), sumBits({0x03, 0x80}, 9, 3, 0)); // the low three bits of the offset
    EXPECT_EQ(Scaled(3, 0), sumBits({0x03, 0x80}, -7, 3, 0));
    EXPECT_EQ(Scaled(1, 0), sumBits({0x10}, 4, 1, 2));
    EXPECT_EQ(Scaled(0, 0), sumBits({0xEF}, 4, 1, 3));
    EXPECT_EQ(Scaled(12, 0), sumBits({0xFF, 0xFF, 0xFF}, 5, 12, -9));
    EXPECT_EQ(Scaled(0, 0), sumBits({0xFF}, 7, 0, 0));
    EXPECT_EQ(Scaled(0, 0), sumBits({0xFF}, 7, INT32_MIN, 2));
}

TEST(Sums, OfNibbles) {
    EXPECT_EQ(Scaled(15 + 1 + 2, 0), sumNibbles({0x9F, 0x12}, 0, 3, 0));
    EXPECT_EQ(Scaled(9 + 15 + 1, 0), sumNibbles({0x9F, 0x12}, 1, 3, 2));
    EXPECT_EQ(Scaled(9 + 15 + 1, 0), sumNibbles({0x9F, 0x12}, 2, 3, 3)); // any offset but 0: the high half
    EXPECT_EQ(Scaled(0, 0), sumNibbles({0x9F}, 1, -1, 44));
}

TEST(Sums, TheFixedModeShiftsAndLeavesTheFactor) {
    EXPECT_EQ(Scaled(3, 2), sumBits({0xFF, 0xF8}, 7, 16, 1, 2));
    EXPECT_EQ(Scaled(52, -2), sumBits({0xFF, 0xF8}, 7, 16, 1, -2));
    EXPECT_EQ(Scaled(6, 2), sumNibbles({0x9F, 0x12}, 1, 4, 1, 2));
    EXPECT_EQ(Scaled(0xB0000000, -28), sumNibbles({0x9F, 0x12}, 1, 4, 1, -28));
    EXPECT_EQ(Scaled(127, 2), sumOf<std::uint8_t>(QZySum, {255, 255}, 1, 2));
    EXPECT_EQ(Scaled(0xFE000000, -24), sumOf<std::uint8_t>(QZySum, {255, 255}, 1, -24));
    EXPECT_EQ(Scaled(-4, 1), sumOf<std::int8_t>(QZtSum, {-3, -4}, 1, 1));
    EXPECT_EQ(Scaled(-14, -1), sumOf<std::int8_t>(QZtSum, {-3, -4}, 1, -1));
    EXPECT_EQ(Scaled(-2, 14), sumOf<std::int16_t>(QZwSum, {-32768, 1}, 1, 14));
    EXPECT_EQ(Scaled(INT32_MIN, -16), sumOf<std::int16_t>(QZwSum, {-32767, -1}, 1, -16));
}

TEST(Sums, LongShiftsLeaveTheSignOrNothing) {
    for (const std::int32_t count : {32, 33, 64, 1000, INT32_MAX}) {
        EXPECT_EQ(Scaled(0, count), sumBits({0xFF}, 7, 8, 1, count));
        EXPECT_EQ(Scaled(0, count), sumNibbles({0xFF}, 1, 2, 1, count));
        EXPECT_EQ(Scaled(0, count), sumOf<std::uint8_t>(QZySum, {255}, 1, count));
        EXPECT_EQ(Scaled(-1, count), sumOf<std::int8_t>(QZtSum, {-3}, 1, count));
        EXPECT_EQ(Scaled(0, count), sumOf<std::int8_t>(QZtSum, {3}, 1, count));
        EXPECT_EQ(Scaled(-1, count), sumOf<std::int16_t>(QZwSum, {-300}, 1, count));
        EXPECT_EQ(Scaled(0, count), sumOf<std::int16_t>(QZwSum, {300}, 1, count));
    }
    for (const std::int32_t count : {-32, -33, -64, -1000, INT32_MIN}) {
        EXPECT_EQ(Scaled(0, count), sumBits({0xFF}, 7, 8, 1, count));
        EXPECT_EQ(Scaled(0, count), sumNibbles({0xFF}, 1, 2, 1, count));
        EXPECT_EQ(Scaled(0, count), sumOf<std::uint8_t>(QZySum, {255}, 1, count));
        EXPECT_EQ(Scaled(0, count), sumOf<std::int8_t>(QZtSum, {-3}, 1, count));
        EXPECT_EQ(Scaled(0, count), sumOf<std::int16_t>(QZwSum, {-300}, 1, count));
    }
}

TEST(Sums, ThatFitStayAsTheyAreInAllOtherModes) {
    for (const std::int32_t mode :
         {QZ_ScaleWrap, QZ_ScaleAuto, QZ_ScaleSaturate, -1, 4, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(Scaled(13, 0), sumBits({0xFF, 0xF8}, 7, 16, mode));
        EXPECT_EQ(Scaled(27, 0), sumNibbles({0x9F, 0x12}, 1, 4, mode));
        EXPECT_EQ(Scaled(263, 0), sumOf<std::uint8_t>(QZySum, {255, 8}, mode));
        EXPECT_EQ(Scaled(-130, 0), sumOf<std::int8_t>(QZtSum, {-128, -2}, mode));
        EXPECT_EQ(Scaled(-65536, 0), sumOf<std::int16_t>(QZwSum, {-32768, -32768}, mode));
        EXPECT_EQ(Scaled(0, 0), sumOf<std::uint8_t>(QZySum, {}, mode));
        EXPECT_EQ(Scaled(0, 0), sumOf<std::int8_t>(QZtSum, {}, mode));
        EXPECT_EQ(Scaled(0, 0), sumOf<std::int16_t>(QZwSum, {}, mode));
    }
}

TEST(Sums, OfWordsBeyondThirtyTwoBits) {
    // 2^16 times 2^15, and the same downwards.
    std::vector<std::int16_t> low(1 << 16, -32768), high(1 << 16, 32767);
    high.insert(high.end(), {32767, 32767, 2});
    EXPECT_EQ(Scaled(INT32_MIN, 0), sumOf(QZwSum, low, QZ_ScaleAuto));
    EXPECT_EQ(Scaled(1 << 30, 1), sumOf(QZwSum, high, QZ_ScaleAuto));
    EXPECT_EQ(Scaled(1 << 30, 1), sumOf(QZwSum, high, 17));
    EXPECT_EQ(Scaled(INT32_MIN, 0), sumOf(QZwSum, high, QZ_ScaleWrap));
    EXPECT_EQ(Scaled(INT32_MAX, 0), sumOf(QZwSum, high, QZ_ScaleSaturate));
    EXPECT_EQ(Scaled(1 << 29, 2), sumOf(QZwSum, high, QZ_ScaleFixed, 2));
    EXPECT_EQ(Scaled(0, -1), sumOf(QZwSum, high, QZ_ScaleFixed, -1));

    low.push_back(-1);
    EXPECT_EQ(Scaled((INT32_MIN / 2) - 1, 1), sumOf(QZwSum, low, QZ_ScaleAuto));
    EXPECT_EQ(Scaled(INT32_MAX, 0), sumOf(QZwSum, low, QZ_ScaleWrap));
    EXPECT_EQ(Scaled(INT32_MIN, 0), sumOf(QZwSum, low, QZ_ScaleSaturate));
    EXPECT_EQ(Scaled(INT32_MIN / 2 - 1, 1), sumOf(QZwSum, low, QZ_ScaleFixed, 1));

    high.pop_back();
    high.push_back(1);
    EXPECT_EQ(Scaled(INT32_MAX, 0), sumOf(QZwSum, high, QZ_ScaleAuto));
    // The shift is counted in the exact sum, not in its low bits.
    const std::vector<std::int16_t> longest((1 << 18) + 1, -32768);
    EXPECT_EQ(Scaled(-1073741824 - 4096, 3), sumOf(QZwSum, longest, QZ_ScaleAuto));
    EXPECT_EQ(Scaled(-3, 32), sumOf(QZwSum, longest, QZ_ScaleFixed, 32));
}

TEST(Sums, OfBytesBeyondThirtyOneBits) {
    std::vector<std::uint8_t> bytes((1u << 31) / 255 + 1, 255);
    const auto len = static_cast<std::int64_t>(bytes.size());
    bytes.back() = static_cast<std::uint8_t>((std::int64_t{1} << 31) - (len - 1) * 255 - 1);
    EXPECT_EQ(Scaled(INT32_MAX, 0), sumOf(QZySum, bytes, QZ_ScaleAuto));
    EXPECT_EQ(Scaled(INT32_MAX, 0), sumOf(QZySum, bytes, QZ_ScaleSaturate));
    ++bytes.back();
    EXPECT_EQ(Scaled(0x80000000, 0), sumOf(QZySum, bytes, QZ_ScaleWrap));
    EXPECT_EQ(Scaled(0x40000000, 1), sumOf(QZySum, bytes, QZ_ScaleAuto));
    EXPECT_EQ(Scaled(0x40000000, 1), sumOf(QZySum, bytes, -3));
    EXPECT_EQ(Scaled(INT32_MAX, 0), sumOf(QZySum, bytes, QZ_ScaleSaturate));
    EXPECT_EQ(Scaled(0x08000000, 4), sumOf(QZySum, bytes, QZ_ScaleFixed, 4)); // logical
}

/// Sums wrap to 32 bits before a mode looks at them; only those of words are exact.
TEST(Sums, OfBytesBeyondThirtyTwoBits) {
    constexpr std::int64_t wrap = std::int64_t{1} << 32;
    std::vector<std::uint8_t> bytes(wrap / 255 + 1, 255);
    const auto others = static_cast<std::int64_t>(bytes.size()) - 1;
    bytes.back() = static_cast<std::uint8_t>(wrap + 5 - others * 255);
    for (const std::int32_t mode : {QZ_ScaleWrap, QZ_ScaleAuto, QZ_ScaleSaturate, -1})
        EXPECT_EQ(Scaled(5, 0), sumOf(QZySum, bytes, mode));
    EXPECT_EQ(Scaled(2, 1), sumOf(QZySum, bytes, QZ_ScaleFixed, 1));

    std::vector<std::int8_t> lowest(1 << 24, -128);
    EXPECT_EQ(Scaled(INT32_MIN / 2, 1), sumOf(QZtSum, lowest, QZ_ScaleFixed, 1));
    lowest.push_back(-1);
    for (const std::int32_t mode : {QZ_ScaleWrap, QZ_ScaleAuto, QZ_ScaleSaturate, -1})
        EXPECT_EQ(Scaled(INT32_MAX, 0), sumOf(QZtSum, lowest, mode));
    EXPECT_EQ(Scaled(INT32_MAX / 2, 1), sumOf(QZtSum, lowest, QZ_ScaleFixed, 1));
}

TEST(Sums, OfNibblesBeyondThirtyTwoBits) {
    constexpr std::int64_t wrap = std::int64_t{1} << 32;
    const Bytes bytes(wrap / 30 + 1, 0xFF);
    // 15 * 2^28 has the highest bit, which shifts to the right without a sign.
    EXPECT_EQ(Scaled(0x0F000000, 4), sumNibbles(bytes, 1, 1 << 28, QZ_ScaleFixed, 4));
    const auto len = static_cast<std::int32_t>(wrap / 15 + 1);
    const std::int64_t sum = std::int64_t{15} * len - wrap;
    EXPECT_EQ(Scaled(sum >> 1, 1), sumNibbles(bytes, 1, len, QZ_ScaleFixed, 1));
}

TEST(Sums, OfFloats) {
    const auto sum = [](const std::vector<float> &src) {
        return QZsSum(src.data(), static_cast<std::int32_t>(src.size()));
    };
    EXPECT_EQ(15.0f, sum({1, 2, 3, 4, 5}));
    EXPECT_EQ(0.1f + 0.2f, sum({0.1f, 0.2f}));
    EXPECT_EQ(0u, std::bit_cast<std::uint32_t>(sum({})));
    EXPECT_EQ(0u, std::bit_cast<std::uint32_t>(sum({-0.0f})));
    EXPECT_EQ(0.0f, QZsSum(nullptr, INT32_MIN));
    constexpr float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(inf, sum({1, inf, 2, 3, 4, 5}));
    EXPECT_TRUE(std::isnan(sum({inf, 1, 2, 3, 4, -inf})));
    EXPECT_EQ(inf, sum({3e38f, 3e38f}));
    EXPECT_EQ(3e38f, sum({3e38f, 3e38f, -3e38f})); // beyond the range of floats only on the way
}

// Next to 2^60, doubles are 256 apart: a term of 100 alone is lost, two together are not.
TEST(Sums, OfFloatsRunInGroupsOfFourFromTheEnd) {
    constexpr float big = 0x1p60f;
    const auto sum = [](const std::vector<float> &src) {
        return QZsSum(src.data(), static_cast<std::int32_t>(src.size()));
    };
    // Within a place the later group comes first.
    EXPECT_EQ(0.0f, sum({-big, 0, 0, 0, 100, 0, 0, 0, big, 0, 0, 0}));
    EXPECT_EQ(100.0f, sum({100, 0, 0, 0, -big, 0, 0, 0, big, 0, 0, 0}));
    // The places add from the first to the last.
    EXPECT_EQ(100.0f, sum({big, -big, 100, 0}));
    EXPECT_EQ(0.0f, sum({big, 100, -big, 0}));
    EXPECT_EQ(0.0f, sum({100, big, -big, 0}));
    EXPECT_EQ(100.0f, sum({0, big, -big, 100}));
    // What is left over follows, from the last to the first.
    EXPECT_EQ(100.0f, sum({100, -big, big, 0, 0, 0}));
    EXPECT_EQ(0.0f, sum({-big, 100, big, 0, 0, 0}));
    EXPECT_EQ(256.0f, sum({-big, 100, 100, 0, big}));
    EXPECT_EQ(0.0f, sum({-big, 0, big, 100, 100, 0}));
    EXPECT_EQ(0.0f, sum({-big, 100, 100, 0, 0, 0, big}));
}

} // namespace
} // namespace qzk::test
