// Packed fill, copy and logic: literal runs. Everything is exact.
#include "qzk.h"
#include "support/failing_heap.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <numeric>
#include <vector>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::int16_t>;

constexpr std::array<std::int32_t, 3> emptyLengths = {0, -1, INT32_MIN};

TEST(LogicBits, SetChangesTheRunAlone) {
    Bytes dst = {0x00, 0x00};
    QZbbSet(1, dst.data(), 5, 3);
    EXPECT_EQ((Bytes{0x38, 0x00}), dst);
    dst = {0xFF, 0xFF};
    QZbbSet(0, dst.data(), 5, 3);
    EXPECT_EQ((Bytes{0xC7, 0xFF}), dst);
}

TEST(LogicBits, BitZeroOfTheValueDecides) {
    Bytes dst = {0x00};
    QZbbSet(0xFE, dst.data(), 7, 8);
    EXPECT_EQ(Bytes{0x00}, dst);
    QZbbSet(0xFF, dst.data(), 7, 8);
    EXPECT_EQ(Bytes{0xFF}, dst);
}

TEST(LogicBits, ZeroCrossesIntoTheNextByte) {
    Bytes dst = {0xFF, 0xFF};
    QZbbZero(dst.data(), 2, 5);
    EXPECT_EQ((Bytes{0xF8, 0x3F}), dst);
}

TEST(LogicBits, RunOfThreeFromBitOne) {
    Bytes dst = {0x00, 0x00};
    QZbbNot(dst.data(), 1, 3);
    EXPECT_EQ((Bytes{0x03, 0x80}), dst);
}

TEST(LogicBits, OnlyTheLowThreeBitsOfAnOffsetCount) {
    const Bytes src = {0x0F, 0xA5, 0x96};
    for (const std::int32_t turns : {8, -8, 256, INT32_MIN}) {
        Bytes expected = {0x00, 0x00, 0x00}, dst = expected;
        QZbbCopy(src.data(), expected.data(), 3, 6, 14);
        QZbbCopy(src.data(), dst.data(), 3 + turns, 6 + turns, 14);
        EXPECT_EQ(expected, dst);
        QZbbXor2(src.data(), expected.data(), 2, 5, 14);
        QZbbXor2(src.data(), dst.data(), 2 + turns, 5, 14);
        EXPECT_EQ(expected, dst);
        QZbbNot(expected.data(), 4, 9);
        QZbbNot(dst.data(), 4 + turns, 9);
        EXPECT_EQ(expected, dst);
    }
}

TEST(LogicBits, CopyToTheLeft) {
    // Twenty bits from bit 3: ten zeros and ten ones; the destination's bit 7 and its last three bits stay.
    const Bytes src = {0xF0, 0x03, 0xFF};
    Bytes dst = {0xFF, 0xFF, 0xFF};
    QZbbCopy(src.data(), dst.data(), 3, 6, 20);
    EXPECT_EQ((Bytes{0x80, 0x1F, 0xFF}), dst);
    dst = {0x00, 0x00, 0x00};
    QZbbCopy(src.data(), dst.data(), 3, 6, 20);
    EXPECT_EQ((Bytes{0x00, 0x1F, 0xF8}), dst);
}

TEST(LogicBits, CopyToTheRight) {
    const Bytes src = {0xFF, 0x00, 0xFF};
    Bytes dst = {0x00, 0x00, 0x00, 0x00};
    QZbbCopy(src.data(), dst.data(), 6, 3, 20);
    EXPECT_EQ((Bytes{0x0F, 0xE0, 0x1F, 0x00}), dst);
}

TEST(LogicBits, RunInsideOneByte) {
    const Bytes src = {0x2C};
    for (std::int32_t offset = 7; offset >= 2; --offset) {
        Bytes dst = {0xFF};
        QZbbCopy(src.data(), dst.data(), 5, offset, 3);
        EXPECT_EQ(Bytes{static_cast<std::uint8_t>(~(2u << (offset - 2)))}, dst) << offset;
    }
}

TEST(LogicBits, RunInsideOneByteFromTwoSourceBytes) {
    const Bytes src = {0x01, 0x80};
    Bytes dst = {0x00};
    QZbbCopy(src.data(), dst.data(), 1, 6, 4);
    EXPECT_EQ(Bytes{0x30}, dst);
}

TEST(LogicBits, TwoOperands) {
    const Bytes src = {0xF0, 0xF0, 0xF0};
    Bytes dst = {0xCC, 0xCC, 0xCC};
    QZbbAnd2(src.data(), dst.data(), 5, 5, 20);
    EXPECT_EQ((Bytes{0xC0, 0xC0, 0xC0}), dst);
    dst = {0xCC, 0xCC, 0xCC};
    QZbbOr2(src.data(), dst.data(), 7, 7, 22);
    EXPECT_EQ((Bytes{0xFC, 0xFC, 0xFC}), dst);
    dst = {0xCC, 0xCC, 0xCC};
    QZbbXor2(src.data(), dst.data(), 7, 3, 16);
    EXPECT_EQ((Bytes{0xC3, 0xC3, 0xCC}), dst);
}

TEST(LogicBits, ThreeOperandsShareTheSourceOffset) {
    const Bytes src1 = {0x0F, 0xF0}, src2 = {0x33, 0x33};
    Bytes dst = {0x00, 0x00};
    QZbbAnd3(src1.data(), src2.data(), dst.data(), 3, 7, 8);
    EXPECT_EQ((Bytes{0x33, 0x00}), dst);
    QZbbOr3(src1.data(), src2.data(), dst.data(), 3, 7, 8);
    EXPECT_EQ((Bytes{0xFF, 0x00}), dst);
    QZbbXor3(src1.data(), src2.data(), dst.data(), 7, 3, 12);
    EXPECT_EQ((Bytes{0xF3, 0xCC}), dst);
}

TEST(LogicBits, EmptyRunsDoNothing) {
    const Bytes src = {0x5A};
    Bytes dst = {0xA5};
    for (const std::int32_t len : emptyLengths)
        for (std::int32_t offset = 0; offset < 8; ++offset) {
            QZbbZero(dst.data(), offset, len);
            QZbbSet(1, dst.data(), offset, len);
            QZbbNot(dst.data(), offset, len);
            QZbbCopy(src.data(), dst.data(), 3, offset, len);
            QZbbXor2(src.data(), dst.data(), 3, offset, len);
            QZbbOr3(src.data(), src.data(), dst.data(), 3, offset, len);
        }
    EXPECT_EQ(Bytes{0xA5}, dst);
}

TEST(LogicNibbles, SetFromALowHalf) {
    Bytes dst = {0x70, 0x00, 0x00};
    QZnbSet(0x3A, dst.data(), 0, 3);
    EXPECT_EQ((Bytes{0x7A, 0xAA, 0x00}), dst);
}

TEST(LogicNibbles, ZeroOfThreeKeepsTheFirstHighHalf) {
    Bytes dst = {0xFF, 0xFF, 0xFF};
    QZnbZero(dst.data(), 0, 3);
    EXPECT_EQ((Bytes{0xF0, 0x00, 0xFF}), dst);
}

TEST(LogicNibbles, OneElementInTheHighHalf) {
    Bytes dst = {0xFF};
    QZnbAnd2s(0x5, dst.data(), 1, 1);
    EXPECT_EQ(Bytes{0x5F}, dst);
    QZnbOr2s(0xFA, dst.data(), 1, 1);
    EXPECT_EQ(Bytes{0xFF}, dst);
    QZnbXor2s(0x13, dst.data(), 1, 1);
    EXPECT_EQ(Bytes{0xCF}, dst);
    QZnbNot(dst.data(), 1, 1);
    EXPECT_EQ(Bytes{0x3F}, dst);
}

TEST(LogicNibbles, ScalarOnBothEnds) {
    Bytes dst = {0xFF, 0xFF, 0xFF};
    QZnbAnd2s(0xF6, dst.data(), 0, 4);
    EXPECT_EQ((Bytes{0xF6, 0x66, 0x6F}), dst);
    QZnbXor2s(0x0F, dst.data(), 0, 4);
    EXPECT_EQ((Bytes{0xF9, 0x99, 0x9F}), dst);
    QZnbOr2s(0x02, dst.data(), 0, 4);
    EXPECT_EQ((Bytes{0xFB, 0xBB, 0xBF}), dst);
}

TEST(LogicNibbles, CopyFromHighToLow) {
    const Bytes src = {0x12, 0x34};
    Bytes dst = {0xF0, 0x00, 0x0F};
    QZnbCopy(src.data(), dst.data(), 1, 0, 4);
    EXPECT_EQ((Bytes{0xF1, 0x23, 0x4F}), dst);
}

TEST(LogicNibbles, CopyFromLowToHigh) {
    const Bytes src = {0x01, 0x23};
    Bytes dst = {0x00, 0x0F};
    QZnbCopy(src.data(), dst.data(), 0, 1, 3);
    EXPECT_EQ((Bytes{0x12, 0x3F}), dst);
}

TEST(LogicNibbles, TwoAndThreeOperands) {
    const Bytes src1 = {0xC6, 0xC6}, src2 = {0xAA, 0xAA};
    Bytes dst = {0x00, 0x00, 0x00};
    QZnbAnd3(src1.data(), src2.data(), dst.data(), 1, 0, 4);
    EXPECT_EQ((Bytes{0x08, 0x28, 0x20}), dst);
    QZnbOr3(src1.data(), src2.data(), dst.data(), 1, 1, 3);
    EXPECT_EQ((Bytes{0xEE, 0xE8, 0x20}), dst);
    QZnbXor3(src1.data(), src2.data(), dst.data(), 0, 1, 2);
    EXPECT_EQ((Bytes{0xC6, 0xE8, 0x20}), dst);
    QZnbAnd2(src2.data(), dst.data(), 1, 1, 2);
    QZnbOr2(src2.data(), dst.data(), 1, 1, 1);
    QZnbXor2(src2.data(), dst.data(), 0, 0, 1);
    EXPECT_EQ((Bytes{0xA8, 0xE8, 0x20}), dst);
}

TEST(LogicNibbles, AnyNonZeroOffsetIsTheHighHalf) {
    const Bytes src = {0x12, 0x34};
    for (const std::int32_t high : {2, 4, -1, 256, INT32_MIN}) {
        Bytes dst = {0x00, 0x00};
        QZnbCopy(src.data(), dst.data(), high, high, 3);
        EXPECT_EQ((Bytes{0x12, 0x30}), dst);
        QZnbSet(0x7, dst.data(), high, 1);
        EXPECT_EQ((Bytes{0x72, 0x30}), dst);
        QZnbZero(dst.data(), high, 0);
        QZnbNot(dst.data(), high, 0);
        EXPECT_EQ((Bytes{0x72, 0x30}), dst);
    }
}

TEST(LogicNibbles, ZeroAndNotOfNothingInALowHalfTakeTheWholeByte) {
    Bytes dst = {0x5A, 0x5A};
    QZnbNot(dst.data(), 0, 0);
    EXPECT_EQ((Bytes{0xA5, 0x5A}), dst);
    QZnbZero(dst.data(), 0, 0);
    EXPECT_EQ((Bytes{0x00, 0x5A}), dst);
}

TEST(LogicNibbles, OtherEmptyRunsDoNothing) {
    const Bytes src = {0x5A};
    Bytes dst = {0xA5};
    for (const std::int32_t len : emptyLengths)
        for (const std::int32_t offset : {0, 1}) {
            if (len < 0 || offset != 0) {
                QZnbZero(dst.data(), offset, len);
                QZnbNot(dst.data(), offset, len);
            }
            QZnbSet(0xF, dst.data(), offset, len);
            QZnbCopy(src.data(), dst.data(), 1, offset, len);
            QZnbAnd2(src.data(), dst.data(), 0, offset, len);
            QZnbXor3(src.data(), src.data(), dst.data(), 0, offset, len);
            QZnbAnd2s(0, dst.data(), offset, len);
            QZnbOr2s(0xF, dst.data(), offset, len);
            QZnbXor2s(0xF, dst.data(), offset, len);
        }
    EXPECT_EQ(Bytes{0xA5}, dst);
}

TEST(LogicElements, Fill) {
    Bytes bytes(5, 0x11);
    QZybSet(0xC3, bytes.data() + 1, 3);
    EXPECT_EQ((Bytes{0x11, 0xC3, 0xC3, 0xC3, 0x11}), bytes);
    QZybZero(bytes.data() + 1, 2);
    EXPECT_EQ((Bytes{0x11, 0x00, 0x00, 0xC3, 0x11}), bytes);

    std::vector<std::int8_t> signedBytes(4, 1);
    QZtbSet(-128, signedBytes.data(), 3);
    EXPECT_EQ((std::vector<std::int8_t>{-128, -128, -128, 1}), signedBytes);
    QZtbZero(signedBytes.data() + 1, 3);
    EXPECT_EQ((std::vector<std::int8_t>{-128, 0, 0, 0}), signedBytes);

    std::vector<float> floats(4, 1.0f);
    QZsbSet(-0.1f, floats.data(), 3);
    EXPECT_EQ((std::vector<float>{-0.1f, -0.1f, -0.1f, 1.0f}), floats);
    QZsbZero(floats.data(), 2);
    EXPECT_EQ((std::vector<float>{0.0f, 0.0f, -0.1f, 1.0f}), floats);
}

TEST(LogicElements, WordFillOfOddLengthWritesTheLastAlone) {
    for (std::size_t len = 1; len < 80; len += 2) {
        Words words(len + 1, -1), expected(len, 0x1234);
        expected.push_back(-1);
        QZwbSet(0x1234, words.data(), static_cast<std::int32_t>(len));
        EXPECT_EQ(expected, words);
    }
    Words words = {1, 2, 3};
    QZwbZero(words.data(), 2);
    EXPECT_EQ((Words{0, 0, 3}), words);
}

TEST(LogicElements, FillOfFloatsKeepsEveryBit) {
    for (const std::uint32_t bits : {0x80000000u, 0x00000001u, 0x7F800000u, 0x7FC12345u, 0xFFC54321u}) {
        std::vector<float> floats(19, 1.0f);
        QZsbSet(std::bit_cast<float>(bits), floats.data(), 19);
        std::vector<float> copies(19, 2.0f);
        QZsbCopy(floats.data(), copies.data(), 19);
        for (int i = 0; i < 19; ++i) {
            EXPECT_EQ(bits, std::bit_cast<std::uint32_t>(floats[static_cast<std::size_t>(i)]));
            EXPECT_EQ(bits, std::bit_cast<std::uint32_t>(copies[static_cast<std::size_t>(i)]));
        }
    }
}

TEST(LogicElements, Copy) {
    const Bytes bytes = {1, 2, 3};
    Bytes bytesOut(4, 9);
    QZybCopy(bytes.data(), bytesOut.data(), 3);
    EXPECT_EQ((Bytes{1, 2, 3, 9}), bytesOut);
    const std::vector<std::int8_t> signedBytes = {-1, -2, -3};
    std::vector<std::int8_t> signedOut(4, 9);
    QZtbCopy(signedBytes.data(), signedOut.data(), 3);
    EXPECT_EQ((std::vector<std::int8_t>{-1, -2, -3, 9}), signedOut);
    const Words words = {-1, 300, -32768};
    Words wordsOut(4, 9);
    QZwbCopy(words.data(), wordsOut.data(), 3);
    EXPECT_EQ((Words{-1, 300, -32768, 9}), wordsOut);
}

TEST(LogicElements, Not) {
    Bytes bytes = {0x00, 0xFF, 0x5A, 0x77};
    QZybNot(bytes.data(), 3);
    EXPECT_EQ((Bytes{0xFF, 0x00, 0xA5, 0x77}), bytes);
    Words words = {0, -1, 0x1234, 0x77};
    QZwbNot(words.data(), 3);
    EXPECT_EQ((Words{-1, 0, ~0x1234, 0x77}), words);
}

TEST(LogicElements, TwoOperands) {
    const Bytes src = {0xF0, 0xF0, 0xF0};
    Bytes dst = {0xCC, 0xCC, 0xCC};
    QZybAnd2(src.data(), dst.data(), 1);
    QZybOr2(src.data() + 1, dst.data() + 1, 1);
    QZybXor2(src.data() + 2, dst.data() + 2, 1);
    EXPECT_EQ((Bytes{0xC0, 0xFC, 0x3C}), dst);
    const Words wordSrc = {0x0FF0, 0x0FF0, 0x0FF0};
    Words wordDst = {0x3333, 0x3333, 0x3333};
    QZwbAnd2(wordSrc.data(), wordDst.data(), 1);
    QZwbOr2(wordSrc.data() + 1, wordDst.data() + 1, 1);
    QZwbXor2(wordSrc.data() + 2, wordDst.data() + 2, 1);
    EXPECT_EQ((Words{0x0330, 0x3FF3, 0x3CC3}), wordDst);
}

TEST(LogicElements, ThreeOperands) {
    const Bytes src1 = {0xF0}, src2 = {0xCC};
    Bytes dst(3);
    QZybAnd3(src1.data(), src2.data(), dst.data(), 1);
    QZybOr3(src1.data(), src2.data(), dst.data() + 1, 1);
    QZybXor3(src1.data(), src2.data(), dst.data() + 2, 1);
    EXPECT_EQ((Bytes{0xC0, 0xFC, 0x3C}), dst);
    const Words words1 = {0x0FF0}, words2 = {0x3333};
    Words words(3);
    QZwbAnd3(words1.data(), words2.data(), words.data(), 1);
    QZwbOr3(words1.data(), words2.data(), words.data() + 1, 1);
    QZwbXor3(words1.data(), words2.data(), words.data() + 2, 1);
    EXPECT_EQ((Words{0x0330, 0x3FF3, 0x3CC3}), words);
}

TEST(LogicElements, Scalars) {
    Bytes dst = {0xCC, 0xCC, 0xCC};
    QZybAnd2s(0xF0, dst.data(), 1);
    QZybOr2s(0xF0, dst.data() + 1, 1);
    QZybXor2s(0xF0, dst.data() + 2, 1);
    EXPECT_EQ((Bytes{0xC0, 0xFC, 0x3C}), dst);
    for (std::int32_t len = 0; len < 70; ++len) {
        Words words(70, 0x3333);
        QZwbAnd2s(0x0FF0, words.data(), len);
        QZwbOr2s(-32768, words.data(), len);
        QZwbXor2s(0x0001, words.data(), len);
        for (std::int32_t i = 0; i < 70; ++i)
            ASSERT_EQ(i < len ? static_cast<std::int16_t>(0x8331) : 0x3333,
                      words[static_cast<std::size_t>(i)]);
    }
}

TEST(LogicElements, EmptyRunsDoNothing) {
    const Bytes src = {0x5A};
    const Words wordSrc = {0x5A5A};
    const float floatSrc = 1.0f;
    Bytes dst = {0xA5};
    std::int8_t signedDst = 7;
    Words words = {-1234};
    float floatDst = 2.0f;
    for (const std::int32_t len : emptyLengths) {
        QZybZero(dst.data(), len), QZybSet(1, dst.data(), len), QZybCopy(src.data(), dst.data(), len);
        QZybNot(dst.data(), len), QZybAnd2(src.data(), dst.data(), len), QZybOr2s(2, dst.data(), len);
        QZybXor3(src.data(), src.data(), dst.data(), len);
        const auto signedSrc = std::int8_t{1};
        QZtbZero(&signedDst, len), QZtbSet(1, &signedDst, len), QZtbCopy(&signedSrc, &signedDst, len);
        QZwbZero(words.data(), len), QZwbSet(1, words.data(), len);
        QZwbCopy(wordSrc.data(), words.data(), len), QZwbNot(words.data(), len);
        QZwbXor2(wordSrc.data(), words.data(), len), QZwbAnd2s(0, words.data(), len);
        QZwbOr3(wordSrc.data(), wordSrc.data(), words.data(), len);
        QZsbZero(&floatDst, len), QZsbSet(1, &floatDst, len), QZsbCopy(&floatSrc, &floatDst, len);
    }
    EXPECT_EQ(Bytes{0xA5}, dst);
    EXPECT_EQ(7, signedDst);
    EXPECT_EQ(Words{-1234}, words);
    EXPECT_EQ(2.0f, floatDst);
}

TEST(LogicOverlap, CopyToALowerAddressMoves) {
    for (const std::size_t distance : {1u, 2u, 3u, 4u, 15u, 16u, 17u, 63u, 64u, 65u}) {
        Bytes bytes(300);
        std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
        Bytes expected = bytes;
        for (std::size_t i = 0; i < 200; ++i)
            expected[i + 8] = bytes[i + 8 + distance];
        QZybCopy(bytes.data() + 8 + distance, bytes.data() + 8, 200);
        EXPECT_EQ(expected, bytes) << distance;
    }
}

TEST(LogicOverlap, CopyToAHigherAddressRepeats) {
    // The destination lies on a multiple of four bytes, so that words repeat as words.
    for (const std::size_t distance : {1u, 2u, 3u, 4u, 5u, 16u, 17u, 40u}) {
        std::vector<float> floats(100);
        std::iota(floats.begin(), floats.end(), 1.0f);
        std::vector<float> expected = floats;
        for (std::size_t i = 0; i + distance < 100; ++i)
            expected[i + distance] = expected[i];
        QZsbCopy(floats.data(), floats.data() + distance, static_cast<std::int32_t>(100 - distance));
        EXPECT_EQ(expected, floats) << distance;
    }
}

TEST(LogicOverlap, BytesWithinAWordMoveTogether) {
    alignas(16) std::uint8_t bytes[24] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    QZybCopy(bytes + 3, bytes + 4, 18);
    const std::uint8_t expected[24] = {1, 2, 3, 4, 4, 5, 6, 7, 7, 9, 0, 0,
                                       0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(Bytes(expected, expected + 24), Bytes(bytes, bytes + 24));
}

TEST(LogicOverlap, LogicTakesItsRemainderBackwards) {
    Bytes bytes = {1, 2, 4};
    QZybOr2(bytes.data(), bytes.data() + 1, 2);
    EXPECT_EQ((Bytes{1, 3, 6}), bytes);
    bytes = {1, 2, 4};
    QZybOr2(bytes.data() + 1, bytes.data(), 2);
    EXPECT_EQ((Bytes{7, 6, 4}), bytes);
}

TEST(Logic, TakesNoMemoryAndReportsNothing) {
    RecordedReports reports;
    FailingHeap heap(0);
    QZSetStatus(QZ_StsNoMem);
    Bytes bytes(400, 0x5A);
    QZbbCopy(bytes.data(), bytes.data() + 200, 3, 5, 1000);
    QZnbAnd3(bytes.data(), bytes.data() + 100, bytes.data() + 200, 1, 0, 100);
    QZwbSet(3, reinterpret_cast<std::int16_t *>(bytes.data()), 100);
    EXPECT_EQ(QZ_StsNoMem, QZGetStatus());
    EXPECT_TRUE(reports.all().empty());
    EXPECT_EQ(0, heap.requests());
}

} // namespace
} // namespace qzk::test
