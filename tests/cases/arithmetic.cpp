// Literal results of element-wise arithmetic.
#include "qzk.h"
#include "support/bits.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using SignedBytes = std::vector<std::int8_t>;
using Words = std::vector<std::int16_t>;

constexpr std::int32_t unset = 77;

TEST(AddWords, AutomaticScaleHalvesEverythingAfterOneOverflow) {
    const Words src1 = {1, 1, 1, 30000}, src2 = {1, 1, 1, 10000};
    Words dst(4);
    std::int32_t scaleFactor = unset;
    QZwbAdd3(src1.data(), src2.data(), dst.data(), 4, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Words{1, 1, 1, 20000}), dst);
    EXPECT_EQ(1, scaleFactor);
}

TEST(AddWords, AutomaticScaleWithoutOverflowIsZero) {
    const Words src1 = {32766, -32767, 5}, src2 = {1, -1, 6};
    Words dst(3);
    std::int32_t scaleFactor = unset;
    QZwbAdd3(src1.data(), src2.data(), dst.data(), 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Words{32767, -32768, 11}), dst);
    EXPECT_EQ(0, scaleFactor);
}

TEST(AddWords, AutomaticScaleRoundsDownwards) {
    const Words src = {-1, -3, -32768};
    Words srcDst = {0, 0, -32768};
    std::int32_t scaleFactor = unset;
    QZwbAdd2(src.data(), srcDst.data(), 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Words{-1, -2, -32768}), srcDst);
    EXPECT_EQ(1, scaleFactor);
}

TEST(AddWords, SaturationClampsAtBothEnds) {
    const Words src1 = {32767, -32768, 5}, src2 = {1, -1, 6};
    for (const std::int32_t mode : {QZ_ScaleSaturate, 4, -1, INT32_MIN, INT32_MAX}) {
        Words dst(3);
        std::int32_t scaleFactor = unset;
        QZwbAdd3(src1.data(), src2.data(), dst.data(), 3, mode, &scaleFactor);
        EXPECT_EQ((Words{32767, -32768, 11}), dst);
        EXPECT_EQ(0, scaleFactor);
    }
}

TEST(AddWords, WrapIgnoresTheScaleFactor) {
    const Words src1 = {32767, -32768}, src2 = {1, -1};
    Words dst(2);
    std::int32_t scaleFactor = unset;
    QZwbAdd3(src1.data(), src2.data(), dst.data(), 2, QZ_ScaleWrap, &scaleFactor);
    EXPECT_EQ((Words{-32768, 32767}), dst);
    EXPECT_EQ(0, scaleFactor);
}

TEST(AddWords, FixedScaleShiftsTheExactSum) {
    const Words src1 = {32767, -32768, -3}, src2 = {32767, -32768, 0};
    const auto sums = [&](std::int32_t scaleFactor) {
        Words dst(3);
        const std::int32_t before = scaleFactor;
        QZwbAdd3(src1.data(), src2.data(), dst.data(), 3, QZ_ScaleFixed, &scaleFactor);
        EXPECT_EQ(before, scaleFactor);
        return dst;
    };
    EXPECT_EQ((Words{32767, -32768, -2}), sums(1));
    EXPECT_EQ((Words{-2, 0, -3}), sums(0));
    EXPECT_EQ((Words{-4, 0, -6}), sums(-1));
    EXPECT_EQ((Words{0, -1, -1}), sums(16));
    EXPECT_EQ((Words{0, -1, -1}), sums(INT32_MAX));
    EXPECT_EQ((Words{0, 0, 0}), sums(-32));
    EXPECT_EQ((Words{0, 0, 0}), sums(INT32_MIN));
}

TEST(AddBytes, ShiftsThatLeaveNothingClear) {
    const SignedBytes src1 = {5, -3}, src2 = {1, 1};
    SignedBytes dst = {9, 9, 9};
    std::int32_t scaleFactor = -8;
    QZtbAdd3(src1.data(), src2.data(), dst.data(), 2, QZ_ScaleFixed, &scaleFactor);
    EXPECT_EQ((SignedBytes{0, 0, 9}), dst);

    Bytes srcDst = {255, 255, 9};
    scaleFactor = 9;
    QZybAdd2s(255, srcDst.data(), 2, QZ_ScaleFixed, &scaleFactor);
    EXPECT_EQ((Bytes{0, 0, 9}), srcDst);
    EXPECT_EQ(9, scaleFactor);
}

TEST(AddNibbles, ShiftsThatLeaveNothingClearTheNibblesOfTheVectorOnly) {
    Bytes srcDst = {0x12, 0x34, 0x56};
    std::int32_t scaleFactor = -4;
    QZnbAdd2s(1, srcDst.data(), 0, 4, QZ_ScaleFixed, &scaleFactor);
    EXPECT_EQ((Bytes{0x10, 0x00, 0x06}), srcDst);

    for (const std::int32_t len : {0, -1, INT32_MIN}) {
        QZnbAdd2s(1, srcDst.data(), 0, len, QZ_ScaleFixed, &scaleFactor);
        EXPECT_EQ((Bytes{0x10, 0x00, 0x06}), srcDst);
    }
}

TEST(AddNibbles, TheOtherNibbleOfTheFirstByteStays) {
    const Bytes src = {0xF1, 0x23};
    Bytes srcDst = {0xA4, 0x56, 0x7B};
    std::int32_t scaleFactor = unset;
    QZnbAdd2(src.data(), srcDst.data(), 0, 0, 3, QZ_ScaleWrap, &scaleFactor);
    EXPECT_EQ((Bytes{0xA5, 0x79, 0x7B}), srcDst);
    EXPECT_EQ(0, scaleFactor);
}

TEST(AddNibbles, RealignsSourcesOfTheOtherOffset) {
    const Bytes src1 = {0x12, 0x30}, src2 = {0x45, 0x60};
    Bytes dst = {0xF0, 0x00, 0xFF};
    std::int32_t scaleFactor = unset;
    QZnbAdd3(src1.data(), src2.data(), dst.data(), 1, 0, 3, QZ_ScaleWrap, &scaleFactor);
    EXPECT_EQ((Bytes{0xF5, 0x79, 0xFF}), dst);
}

TEST(AddNibbles, AnyOffsetButZeroIsTheHighHalf) {
    for (const std::int32_t offset : {1, 2, 3, -1}) {
        Bytes srcDst = {0x12};
        std::int32_t scaleFactor = unset;
        QZnbAdd2s(0x31, srcDst.data(), offset, 1, QZ_ScaleWrap, &scaleFactor);
        EXPECT_EQ((Bytes{0x22}), srcDst);
    }
}

TEST(AddNibbles, OffsetsThatDifferMayStillBeTheSameHalf) {
    const Bytes src = {0x12, 0x34};
    for (const std::int32_t srcOffset : {1, 2, -1})
        for (const std::int32_t dstOffset : {1, 2, 3}) {
            Bytes srcDst = {0x11, 0x11}, dst(2);
            std::int32_t scaleFactor = unset;
            QZnbAdd2(src.data(), srcDst.data(), srcOffset, dstOffset, 4, QZ_ScaleWrap, &scaleFactor);
            EXPECT_EQ((Bytes{0x23, 0x45}), srcDst);
            QZnbAdd3(src.data(), src.data(), dst.data(), srcOffset, dstOffset, 4, QZ_ScaleWrap, &scaleFactor);
            EXPECT_EQ((Bytes{0x24, 0x68}), dst);
        }
}

TEST(AddNibbles, CarriesStayWithinTheirNibble) {
    Bytes srcDst = {0x8F, 0xF8};
    std::int32_t scaleFactor = unset;
    QZnbAdd2s(8, srcDst.data(), 1, 4, QZ_ScaleWrap, &scaleFactor);
    EXPECT_EQ((Bytes{0x07, 0x70}), srcDst);

    srcDst = {0x8F, 0x18};
    QZnbAdd2s(8, srcDst.data(), 1, 4, QZ_ScaleSaturate, &scaleFactor);
    EXPECT_EQ((Bytes{0xFF, 0x9F}), srcDst);

    srcDst = {0x8F, 0x18};
    QZnbAdd2s(8, srcDst.data(), 1, 4, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Bytes{0x8B, 0x48}), srcDst);
    EXPECT_EQ(1, scaleFactor);
}

TEST(SubtractBytes, UnsignedDifferencesHaveNoAutomaticScale) {
    const Bytes src = {5, 3, 255};
    Bytes srcDst = {3, 5, 0};
    std::int32_t scaleFactor = unset;
    QZybSub2(src.data(), srcDst.data(), 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Bytes{0, 2, 0}), srcDst);
    EXPECT_EQ(0, scaleFactor);

    Bytes nibbles = {0x35};
    QZnbSub2s(4, nibbles.data(), 1, 2, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Bytes{0x01}), nibbles);
    EXPECT_EQ(0, scaleFactor);
}

TEST(SubtractBytes, FormThreeTakesTheFirstFromTheSecond) {
    const SignedBytes src1 = {1, -100, 100}, src2 = {3, 100, -100};
    SignedBytes dst(3);
    std::int32_t scaleFactor = unset;
    QZtbSub3(src1.data(), src2.data(), dst.data(), 3, QZ_ScaleSaturate, &scaleFactor);
    EXPECT_EQ((SignedBytes{2, 127, -128}), dst);
    QZtbSub3(src1.data(), src2.data(), dst.data(), 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((SignedBytes{1, 100, -100}), dst);
    EXPECT_EQ(1, scaleFactor);
}

TEST(SubtractBytes, FixedScaleOfNegativeDifferencesIsArithmetic) {
    Bytes srcDst = {0, 3};
    std::int32_t scaleFactor = 9;
    QZybSub2s(3, srcDst.data(), 2, QZ_ScaleFixed, &scaleFactor);
    EXPECT_EQ((Bytes{255, 0}), srcDst);
}

TEST(MultiplyBytes, AutomaticScaleFitsTheLargestProduct) {
    const Bytes src1 = {10, 10, 10}, src2 = {10, 30, 100};
    Bytes dst(3);
    std::int32_t scaleFactor = unset;
    QZybMpy3(src1.data(), src2.data(), dst.data(), 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Bytes{25, 75, 250}), dst);
    EXPECT_EQ(2, scaleFactor);

    Bytes srcDst = src2;
    QZybMpy2(src1.data(), srcDst.data(), 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ(dst, srcDst);
    EXPECT_EQ(2, scaleFactor);
}

TEST(MultiplyBytes, ClearingShiftsAreOrdinaryHere) {
    SignedBytes srcDst = {-3, 4};
    std::int32_t scaleFactor = -8;
    QZtbMpy2s(5, srcDst.data(), 2, QZ_ScaleFixed, &scaleFactor);
    EXPECT_EQ((SignedBytes{0, 0}), srcDst);
    srcDst = {-3, 4};
    scaleFactor = 20;
    QZtbMpy2s(5, srcDst.data(), 2, QZ_ScaleFixed, &scaleFactor);
    EXPECT_EQ((SignedBytes{-1, 0}), srcDst);
}

TEST(MultiplyNibbles, AutomaticScaleAndSaturation) {
    Bytes srcDst = {0x12, 0xF0};
    std::int32_t scaleFactor = unset;
    QZnbMpy2s(15, srcDst.data(), 1, 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Bytes{0x01, 0xE0}), srcDst);
    EXPECT_EQ(4, scaleFactor);
    srcDst = {0x12, 0xF7};
    QZnbMpy2s(15, srcDst.data(), 1, 3, QZ_ScaleSaturate, &scaleFactor);
    EXPECT_EQ((Bytes{0xFF, 0xF7}), srcDst);
    EXPECT_EQ(0, scaleFactor);
}

TEST(MultiplyWords, ShiftsProductsAsUnsignedValues) {
    const Words src1 = {-32768, -1, 256}, src2 = {32767, 1, 256};
    const auto products = [&](std::int32_t scaleFactor) {
        Words dst(3);
        QZwbMpy3(src1.data(), src2.data(), dst.data(), 3, QZ_ScaleFixed, &scaleFactor);
        return dst;
    };
    EXPECT_EQ((Words{0x0C00, 0x0FFF, 0}), products(20)); // arithmetically 0xFC00, -1, 0
    EXPECT_EQ((Words{-16384, -1, 1}), products(16));
    EXPECT_EQ((Words{1, 1, 0}), products(31));
    EXPECT_EQ((Words{0, 0, 0}), products(32));
    EXPECT_EQ((Words{-32768, -1, 0}), products(0));
    EXPECT_EQ((Words{0, -2, 0}), products(-1));
    EXPECT_EQ((Words{0, 0, 0}), products(-16));
}

TEST(MultiplyWords, TheLargestProductNeedsSixteenBits) {
    const Words src = {-32768, 3};
    Words srcDst = {-32768, 21846};
    std::int32_t scaleFactor = unset;
    QZwbMpy2(src.data(), srcDst.data(), 2, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Words{16384, 1}), srcDst);
    EXPECT_EQ(16, scaleFactor);
}

TEST(MultiplyWords, TheProductOfLargerMagnitudeDecides) {
    const SignedBytes src = {16, 1};
    SignedBytes srcDst = {-16, 127};
    std::int32_t scaleFactor = unset;
    QZtbMpy2(src.data(), srcDst.data(), 2, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((SignedBytes{-128, 63}), srcDst); // -256 needs one shift, 256 would need two
    EXPECT_EQ(1, scaleFactor);
}

TEST(MultiplyFloats, MultipliesInPlace) {
    const std::vector<float> src = {2.0f, -0.5f, 0.1f, 3.0f, -1.0f};
    std::vector<float> srcDst = {3.0f, 8.0f, 0.1f, 1e38f, 0.0f};
    QZsbMpy2(src.data(), srcDst.data(), 5);
    EXPECT_TRUE(sameBits({6.0f, -4.0f, 0.1f * 0.1f, 3e38f, -0.0f}, srcDst));
}

TEST(Floats, SubtractionTakesTheFirstFromTheSecond) {
    const std::vector<float> src1 = {1.0f, 2.5f}, src2 = {4.0f, 1.0f};
    std::vector<float> dst(2), srcDst = src2;
    QZsbSub3(src1.data(), src2.data(), dst.data(), 2);
    EXPECT_TRUE(sameBits({3.0f, -1.5f}, dst));
    QZsbSub2(src1.data(), srcDst.data(), 2);
    EXPECT_TRUE(sameBits({3.0f, -1.5f}, srcDst));
    QZsbSub2s(0.5f, srcDst.data(), 2);
    EXPECT_TRUE(sameBits({2.5f, -2.0f}, srcDst));
}

TEST(Lengths, BelowOneWriteNoElement) {
    const std::uint8_t src = 2;
    const float floatSrc = 2.0f;
    for (const std::int32_t len : {0, -1, INT32_MIN}) {
        std::uint8_t srcDst = 0x34;
        float floatSrcDst = 3.0f;
        for (const std::int32_t mode : {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate}) {
            std::int32_t scaleFactor = -unset;
            QZybAdd2(&src, &srcDst, len, mode, &scaleFactor);
            QZnbMpy3(&src, &src, &srcDst, 1, 0, len, mode, &scaleFactor);
            QZnbSub2s(3, &srcDst, 0, len, mode, &scaleFactor);
            EXPECT_EQ(0x34, srcDst);
            EXPECT_EQ(mode == QZ_ScaleFixed ? -unset : 0, scaleFactor);
        }
        QZsbMpy2(&floatSrc, &floatSrcDst, len);
        QZsbAdd3(&floatSrc, &floatSrc, &floatSrcDst, len);
        QZsbSub2s(1.0f, &floatSrcDst, len);
        EXPECT_EQ(3.0f, floatSrcDst);
    }
}

// Each result is a source of the next one.
TEST(Overlap, SumsRunFromTheLastElementToTheFirst) {
    Words memory = {1, 2, 3, 4, 5};
    std::int32_t scaleFactor = unset;
    QZwbAdd2(memory.data() + 1, memory.data(), 4, QZ_ScaleWrap, &scaleFactor);
    EXPECT_EQ((Words{15, 14, 12, 9, 5}), memory);
}

TEST(Overlap, AutomaticSumsRereadWhatTheyHaveHalved) {
    SignedBytes memory = {100, 100, 20, 1};
    std::int32_t scaleFactor = unset;
    // 20 + 1 = 21 is stored; 100 + 21 = 121 too; 100 + 121 overflows, so both are halved before 100 + 60 is.
    QZtbAdd2(memory.data() + 1, memory.data(), 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((SignedBytes{80, 60, 10, 1}), memory);
    EXPECT_EQ(1, scaleFactor);
}

TEST(Overlap, AutomaticProductsRunFromTheFirstElementToTheLast) {
    Bytes memory = {2, 3, 4, 5};
    std::int32_t scaleFactor = unset;
    QZybMpy2(memory.data(), memory.data() + 1, 3, QZ_ScaleAuto, &scaleFactor);
    EXPECT_EQ((Bytes{2, 6, 24, 120}), memory);
    EXPECT_EQ(0, scaleFactor);
}

} // namespace
} // namespace qzk::test
