// Literal results of magnitudes and shifts.
#include "qzk.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cstring>
#include <vector>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using SignedBytes = std::vector<std::int8_t>;
using Words = std::vector<std::int16_t>;
using FloatBits = std::vector<std::uint32_t>;

TEST(Magnitudes, TheLowestIntegerStays) {
    SignedBytes bytes = {-128, -5, 0, 5, 127, -127};
    QZtbAbs(bytes.data(), 6);
    EXPECT_EQ((SignedBytes{-128, 5, 0, 5, 127, 127}), bytes);

    Words words = {-32768, -5, 0, 5, 32767, -32767};
    QZwbAbs(words.data(), 6);
    EXPECT_EQ((Words{-32768, 5, 0, 5, 32767, 32767}), words);
}

TEST(Magnitudes, OfFloatsOnlyTheSignBitChanges) {
    const FloatBits src = {0x80000000, 0xBF800000, 0x3F800000, 0xFF800000,
                           0xFFC12345, 0xFF812345, 0x7F812345};
    const FloatBits expected = {0, 0x3F800000, 0x3F800000, 0x7F800000, 0x7FC12345, 0x7F812345, 0x7F812345};
    FloatBits dst(7), srcDst = src;
    QZsbAbs2(reinterpret_cast<const float *>(src.data()), reinterpret_cast<float *>(dst.data()), 7);
    EXPECT_EQ(expected, dst);
    QZsbAbs(reinterpret_cast<float *>(srcDst.data()), 7);
    EXPECT_EQ(expected, srcDst);
}

TEST(Magnitudes, OutOfPlaceIntegersAlwaysGetElementZero) {
    for (const std::int32_t len : {1, 0, -1, INT32_MIN}) {
        const std::int8_t byte[] = {-7, -8};
        std::int8_t byteDst[] = {50, 51};
        QZtbAbs2(byte, byteDst, len);
        EXPECT_EQ(7, byteDst[0]);
        EXPECT_EQ(51, byteDst[1]);

        const std::int16_t word[] = {-700, -8};
        std::int16_t wordDst[] = {50, 51};
        QZwbAbs2(word, wordDst, len);
        EXPECT_EQ(700, wordDst[0]);
        EXPECT_EQ(51, wordDst[1]);
    }
}

TEST(Magnitudes, TheOthersDoNothingForLengthsBelowOne) {
    for (const std::int32_t len : {0, -1, INT32_MIN}) {
        std::int8_t byte = -7;
        QZtbAbs(&byte, len);
        EXPECT_EQ(-7, byte);
        std::int16_t word = -7;
        QZwbAbs(&word, len);
        EXPECT_EQ(-7, word);
        float value = -7.0f;
        QZsbAbs(&value, len);
        EXPECT_EQ(-7.0f, value);
        const float src = -3.0f;
        QZsbAbs2(&src, &value, len);
        EXPECT_EQ(-7.0f, value);
    }
}

TEST(Shifts, RightIsArithmeticForSignedElements) {
    SignedBytes bytes = {-8, -1, 127};
    QZtbShiftR(bytes.data(), 3, 1);
    EXPECT_EQ((SignedBytes{-4, -1, 63}), bytes);
    Words words = {-8, -1, 32767};
    QZwbShiftR(words.data(), 3, 2);
    EXPECT_EQ((Words{-2, -1, 8191}), words);
    Bytes unsignedBytes = {248, 1};
    QZybShiftR(unsignedBytes.data(), 2, 1);
    EXPECT_EQ((Bytes{124, 0}), unsignedBytes);
}

TEST(Shifts, LeftDropsWhatLeavesTheElement) {
    Bytes bytes = {200, 1};
    QZybShiftL(bytes.data(), 2, 1);
    EXPECT_EQ((Bytes{144, 2}), bytes);
    SignedBytes signedBytes = {-128, 64};
    QZtbShiftL(signedBytes.data(), 2, 1);
    EXPECT_EQ((SignedBytes{0, -128}), signedBytes);
    Words words = {0x4321, -1};
    QZwbShiftL(words.data(), 2, 4);
    EXPECT_EQ((Words{0x3210, -16}), words);
}

TEST(Shifts, OnlyFiveBitsOfTheCountMatter) {
    Bytes bytes = {200};
    QZybShiftL(bytes.data(), 1, 33);
    EXPECT_EQ((Bytes{144}), bytes);
    QZybShiftR(bytes.data(), 1, 32);
    EXPECT_EQ((Bytes{144}), bytes);
    Words words = {-5};
    QZwbShiftR(words.data(), 1, 31);
    EXPECT_EQ((Words{-1}), words);
    QZwbShiftL(words.data(), 1, 16);
    EXPECT_EQ((Words{0}), words);
}

TEST(Shifts, NibblesStayWithinTheirHalf) {
    Bytes bytes = {0x93, 0x93, 0x93};
    QZnbShiftL(bytes.data(), 1, 2, 1);
    EXPECT_EQ((Bytes{0x26, 0x93, 0x93}), bytes);
    QZnbShiftR(bytes.data() + 1, 0, 2, 1);
    EXPECT_EQ((Bytes{0x26, 0x91, 0x43}), bytes);
    QZnbShiftL(bytes.data(), 0, 3, 4);
    EXPECT_EQ((Bytes{0x20, 0x00, 0x43}), bytes);
    QZnbShiftR(bytes.data(), 2, 1, 1);
    EXPECT_EQ((Bytes{0x10, 0x00, 0x43}), bytes);
}

TEST(Shifts, LengthsBelowOneDoNothing) {
    for (const std::int32_t len : {0, -1, INT32_MIN}) {
        std::uint8_t byte = 0x93;
        for (const std::int32_t offset : {0, 1}) {
            QZnbShiftL(&byte, offset, len, 1);
            QZnbShiftR(&byte, offset, len, 1);
        }
        QZybShiftL(&byte, len, 1);
        QZybShiftR(&byte, len, 1);
        EXPECT_EQ(0x93, byte);
        std::int8_t signedByte = 3;
        QZtbShiftL(&signedByte, len, 1);
        QZtbShiftR(&signedByte, len, 1);
        EXPECT_EQ(3, signedByte);
        std::int16_t word = 3;
        QZwbShiftL(&word, len, 1);
        QZwbShiftR(&word, len, 1);
        EXPECT_EQ(3, word);
    }
}

} // namespace
} // namespace qzk::test
