// Literal results, in-place order, and every report of the convolution.
#include "qzk.h"
#include "support/failing_heap.hpp"
#include "support/levels.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <vector>

namespace qzk::test {
namespace {

constexpr std::int32_t untouched = 77;
constexpr const char *file = "..\\LIBSRC\\QZ_CONV";

/// Rows of bytes, as an image or as a mask.
struct Rows {
    std::vector<std::vector<std::uint8_t>> rows;

    Rows(std::initializer_list<std::vector<std::uint8_t>> values) : rows(values) {}
    Rows(std::size_t count, std::vector<std::uint8_t> row) : rows(count, row) {}
    bool operator==(const Rows &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const Rows &image) {
        return out << testing::PrintToString(image.rows);
    }

    std::vector<const void *> table() const {
        std::vector<const void *> pointers;
        for (const auto &row : rows)
            pointers.push_back(row.data());
        return pointers;
    }
    std::vector<void *> target() {
        std::vector<void *> pointers;
        for (auto &row : rows)
            pointers.push_back(row.data());
        return pointers;
    }
};

std::uint8_t byte(int value) { return static_cast<std::uint8_t>(value); }

struct Call {
    std::int32_t srcType = QZ_ImageByte, dstType = QZ_ImageByte, nRows = 1, nCols = 1, maskRows = 1,
                 maskCols = 1, scaleMode = QZ_ScaleWrap, shift = 0;
    const QZCopyRegion *region = nullptr;
    std::int32_t maskType = QZ_Mask8Bits;

    /// What the destination holds afterwards.
    Rows operator()(const Rows &src, const Rows &mask, Rows dst) {
        QZMaskConvolve(src.table().data(), mask.table().data(), dst.target().data(), srcType, maskType,
                       dstType, nRows, nCols, maskRows, maskCols, region, scaleMode, &shift);
        return dst;
    }
    Rows inPlace(Rows image, const Rows &mask) {
        const auto rows = image.target();
        const std::vector<const void *> src(rows.begin(), rows.end());
        QZMaskConvolve(src.data(), mask.table().data(), rows.data(), srcType, maskType, dstType, nRows, nCols,
                       maskRows, maskCols, region, scaleMode, &shift);
        return image;
    }
};

class ConvolveCases : public LevelTest {
protected:
    ~ConvolveCases() override { EXPECT_TRUE(reports.all().empty()); }
    RecordedReports reports;
};
INSTANTIATE_TEST_SUITE_P(Levels, ConvolveCases, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(ConvolveCases, MaskOfOneCopies) {
    const Rows bytes = {{1, 200, 255, 0}, {7, 128, 127, 9}};
    Call call{.nRows = 2, .nCols = 4, .shift = untouched};
    EXPECT_EQ(bytes, call(bytes, {{1}}, Rows(2, {0, 0, 0, 0})));
    EXPECT_EQ(0, call.shift);

    // Low bits where the destination holds fewer: 1, 8, 15, 0 and 7, 0, 15, 9 as nibbles.
    call.dstType = QZ_ImageNibble;
    EXPECT_EQ((Rows{{0x18, 0xF0}, {0x70, 0xF9}}), call(bytes, {{1}}, Rows(2, {0xEE, 0xEE})));
    call.dstType = QZ_ImageBit;
    EXPECT_EQ((Rows{{0xAF}, {0xBF}}), call(bytes, {{1}}, Rows(2, {0xFF})));
    EXPECT_EQ((Rows{{0xA0}, {0xB0}}), call(bytes, {{1}}, Rows(2, {0x00})));

    call = {.srcType = QZ_ImageNibble, .dstType = QZ_ImageSignedByte, .nCols = 3};
    EXPECT_EQ((Rows{{15, 2, 9, 99}}), call({{0xF2, 0x9A}}, {{1}}, {{0, 0, 0, 99}}));
    call = {.srcType = QZ_ImageBit, .nCols = 9};
    EXPECT_EQ((Rows{{1, 0, 1, 1, 0, 0, 0, 1, 1, 99}}),
              call({{0xB1, 0x80}}, {{1}}, {{0, 0, 0, 0, 0, 0, 0, 0, 0, 99}}));
    call = {.srcType = QZ_ImageSignedByte, .nCols = 3, .scaleMode = QZ_ScaleSaturate};
    EXPECT_EQ((Rows{{0, 0, 127}}), call({{0x80, 0xFF, 0x7F}}, {{1}}, {{9, 9, 9}}));
}

TEST_P(ConvolveCases, OnesOnABitImage) {
    const Rows ones(3, {0xF0}), mask(3, {1, 1, 1});
    Call call{.srcType = QZ_ImageBit, .nRows = 3, .nCols = 4, .maskRows = 3, .maskCols = 3};
    EXPECT_EQ((Rows{{4, 6, 6, 4}, {6, 9, 9, 6}, {4, 6, 6, 4}}), call(ones, mask, Rows(3, {0, 0, 0, 0})));
    call.dstType = QZ_ImageBit, call.scaleMode = QZ_ScaleSaturate;
    EXPECT_EQ(Rows(3, {0xF5}), call(ones, mask, Rows(3, {0x05})));
    call.scaleMode = QZ_ScaleWrap; // odd sums
    EXPECT_EQ((Rows{{0x05}, {0x65}, {0x05}}), call(ones, mask, Rows(3, {0xA5})));
}

TEST_P(ConvolveCases, EvenMasksReachUpAndLeft) {
    const Rows src = {{1, 2, 3}, {10, 20, 30}, {100, 50, 5}};
    Call call{.nRows = 3, .nCols = 3, .maskRows = 2, .maskCols = 2};
    EXPECT_EQ((Rows{{1, 3, 5}, {11, 33, 55}, {110, 180, 105}}),
              call(src, Rows(2, {1, 1}), Rows(3, {0, 0, 0})));
    // Element (1, 1) of the mask lies over the element itself, (0, 0) over its neighbour above and left.
    EXPECT_EQ((Rows{{1, 2, 3}, {10, 22, 34}, {100, 70, 45}}),
              call(src, {{2, 0}, {0, 1}}, Rows(3, {0, 0, 0})));
}

TEST_P(ConvolveCases, TheMaskIsNotFlipped) {
    Call call{.nCols = 5, .maskCols = 3};
    EXPECT_EQ((Rows{{32, 252, 64, 187, 10}}), call({{1, 2, 12, 0, 1}}, {{100, 10, 11}}, {{0, 0, 0, 0, 0}}))
        << "100 + 20 + 132, then 320 and 1211";
    const Rows impulse = {{0, 0, 1, 0, 0}};
    EXPECT_EQ((Rows{{0, 3, 2, 1, 0}}), call(impulse, {{1, 2, 3}}, {{9, 9, 9, 9, 9}}));
}

TEST_P(ConvolveCases, Shifts) {
    // A sum of -5 inside and at the border, and one of 3.
    const auto shifted = [](int sum, std::int32_t shift, std::int32_t columns = 1) {
        Call call{
            .dstType = QZ_ImageSignedByte, .nCols = columns, .scaleMode = QZ_ScaleFixed, .shift = shift};
        Rows dst =
            call(Rows(1, std::vector<std::uint8_t>(static_cast<std::size_t>(columns), 1)), {{byte(sum)}},
                 Rows(1, std::vector<std::uint8_t>(static_cast<std::size_t>(columns), 99)));
        EXPECT_EQ(shift, call.shift);
        EXPECT_EQ(dst.rows[0].front(), dst.rows[0].back());
        return static_cast<std::int8_t>(dst.rows[0].front());
    };
    for (const std::int32_t columns : {1, 100}) {
        EXPECT_EQ(-2, shifted(-5, 2, columns));
        EXPECT_EQ(6, shifted(3, -1, columns));
        EXPECT_EQ(-5, shifted(-5, 0, columns));
        EXPECT_EQ(-1, shifted(-5, 31, columns));
        EXPECT_EQ(-1, shifted(-5, 32, columns));
        EXPECT_EQ(-1, shifted(-5, INT32_MAX, columns));
        EXPECT_EQ(0, shifted(5, INT32_MAX, columns));
        EXPECT_EQ(-128, shifted(3, -7, columns));
        EXPECT_EQ(0, shifted(3, -8, columns));
        EXPECT_EQ(0, shifted(3, -32, columns));
        EXPECT_EQ(0, shifted(3, INT32_MIN, columns));
        EXPECT_EQ(-2, shifted(127, -1, columns)) << "nothing is clamped";
    }
}

TEST_P(ConvolveCases, SumsWrapOrSaturate) {
    Call call{.dstType = QZ_ImageSignedByte};
    EXPECT_EQ((Rows{{byte(-56)}}), call({{200}}, {{1}}, {{0}}));
    call.scaleMode = QZ_ScaleSaturate, call.shift = untouched;
    EXPECT_EQ((Rows{{127}}), call({{200}}, {{1}}, {{0}}));
    EXPECT_EQ(0, call.shift);
    EXPECT_EQ((Rows{{byte(-128)}}), call({{200}}, {{byte(-1)}}, {{0}}));
    call.dstType = QZ_ImageByte;
    EXPECT_EQ((Rows{{0}}), call({{200}}, {{byte(-1)}}, {{9}}));
    EXPECT_EQ((Rows{{255}}), call({{200}}, {{2}}, {{9}}));
    call.dstType = QZ_ImageNibble;
    EXPECT_EQ((Rows{{0xF3}}), call({{200}}, {{1}}, {{0x93}}));
    EXPECT_EQ((Rows{{0x03}}), call({{200}}, {{byte(-1)}}, {{0x93}}));
    call.dstType = QZ_ImageBit;
    EXPECT_EQ((Rows{{0x80}}), call({{200}}, {{1}}, {{0}}));
    EXPECT_EQ((Rows{{0x7F}}), call({{200}}, {{byte(-1)}}, {{0xFF}}));
}

// Mode 2 and whatever else is no mode of its own.
TEST_P(ConvolveCases, OtherModesSaturateInsideAndWrapAtTheBorder) {
    const Rows src(3, {200, 200, 200, 200}), mask = {{0, 0, 0}, {0, 2, 0}, {0, 0, 0}};
    for (const std::int32_t mode : {2, 4, -1, INT32_MAX, INT32_MIN}) {
        Call call{
            .nRows = 3, .nCols = 4, .maskRows = 3, .maskCols = 3, .scaleMode = mode, .shift = untouched};
        EXPECT_EQ((Rows{{144, 144, 144, 144}, {144, 255, 255, 144}, {144, 144, 144, 144}}),
                  call(src, mask, Rows(3, {0, 0, 0, 0})));
        EXPECT_EQ(0, call.shift);
        call.nRows = 2; // no interior
        EXPECT_EQ(Rows(2, {144, 144, 144, 144}), call(src, mask, Rows(2, {0, 0, 0, 0})));
    }
}

TEST_P(ConvolveCases, MaskTypes) {
    // 16-bit coefficients 300 and -300, at an odd address.
    const Rows words = {{0, 0x2C, 0x01, 0xD4, 0xFE}};
    const std::vector<const void *> mask = {words.rows[0].data() + 1};
    const Rows src = {{1, 2, 5}};
    const std::vector<std::pair<std::int32_t, Rows>> expected = {
        {QZ_Mask16Bits, {{byte(-300), byte(300 * 1 - 300 * 2), byte(300 * 2 - 300 * 5)}}},
        {QZ_Mask8Bits, {{byte(0x01), byte(0x2C * 1 + 0x01 * 2), byte(0x2C * 2 + 0x01 * 5)}}}};
    for (const auto &[type, result] : expected) {
        Rows dst = {{0, 0, 0}};
        std::int32_t shift = 0;
        QZMaskConvolve(src.table().data(), mask.data(), dst.target().data(), QZ_ImageByte, type, QZ_ImageByte,
                       1, 3, 1, 2, nullptr, QZ_ScaleWrap, &shift);
        EXPECT_EQ(result, dst);
    }
    for (const std::int32_t type : {2, -1, 257, INT32_MIN}) {
        Call call{.maskType = type};
        EXPECT_EQ((Rows{{10}}), call({{5}}, {{2, 1}}, {{0}})) << "8 bits";
    }
}

TEST_P(ConvolveCases, Regions) {
    const Rows src = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, none(3, {90, 90, 90});
    const auto within = [&](QZCopyRegion region, std::int32_t shiftAfter = 0) {
        Call call{.nRows = 3, .nCols = 3, .shift = untouched, .region = &region};
        const Rows dst = call(src, {{1}}, none);
        EXPECT_EQ(shiftAfter, call.shift);
        return dst;
    };
    EXPECT_EQ((Rows{{90, 90, 90}, {90, 5, 6}, {90, 90, 90}}), within({1, 1, 1, 2}));
    EXPECT_EQ((Rows{{1, 90, 90}, {4, 90, 90}, {90, 90, 90}}), within({-5, INT32_MIN, 1, 0}));
    EXPECT_EQ((Rows{{90, 90, 90}, {90, 90, 90}, {90, 90, 9}}), within({2, 2, INT32_MAX, 3}));
    EXPECT_EQ(src, within({INT32_MIN, -1, 3, INT32_MAX}));
    EXPECT_EQ(none, within({3, 0, 5, 2}, untouched)) << "below";
    EXPECT_EQ(none, within({0, 3, 2, 5}, untouched)) << "to the right";
    EXPECT_EQ(none, within({-5, 0, -1, 2}, untouched)) << "above";
    EXPECT_EQ(none, within({0, INT32_MIN, 2, -1}, untouched)) << "to the left";
    EXPECT_EQ(none, within({2, 0, 1, 2}, untouched)) << "upside down";
    EXPECT_EQ(none, within({INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN}, untouched));
}

TEST_P(ConvolveCases, RegionsKeepTheBitsBesideThem) {
    const QZCopyRegion region = {0, 1, 0, 2};
    Call call{.srcType = QZ_ImageNibble, .dstType = QZ_ImageNibble, .nCols = 4, .region = &region};
    EXPECT_EQ((Rows{{0xA2, 0x3B}}), call({{0x12, 0x34}}, {{1}}, {{0xAA, 0xBB}}));
    const QZCopyRegion bits = {0, 3, 0, 10};
    call = {.srcType = QZ_ImageBit, .dstType = QZ_ImageBit, .nCols = 16, .region = &bits};
    EXPECT_EQ((Rows{{0xE0, 0x1F}}), call({{0, 0}}, {{1}}, {{0xFF, 0xFF}}));
    EXPECT_EQ((Rows{{0x1F, 0xE0}}), call({{0xFF, 0xFF}}, {{1}}, {{0, 0}}));
}

// A region is filtered with what lies around it.
TEST_P(ConvolveCases, RegionsSeeTheWholeSource) {
    const QZCopyRegion region = {1, 1, 1, 1};
    Call call{.nRows = 3, .nCols = 3, .maskRows = 3, .maskCols = 3, .region = &region};
    EXPECT_EQ((Rows{{0, 0, 0}, {0, 45, 0}, {0, 0, 0}}),
              call({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, Rows(3, {1, 1, 1}), Rows(3, {0, 0, 0})));
}

TEST_P(ConvolveCases, SmallerThanTheMask) {
    Call call{.nRows = 2, .nCols = 2, .maskRows = 5, .maskCols = 3, .shift = untouched};
    EXPECT_EQ((Rows{{10, 10}, {10, 10}}), call({{1, 2}, {3, 4}}, Rows(5, {1, 1, 1}), Rows(2, {0, 0})));
    EXPECT_EQ(0, call.shift);
    call = {.maskRows = 9, .maskCols = 9};
    EXPECT_EQ((Rows{{14}}), call({{7}}, Rows(9, {1, 1, 1, 1, 2, 1, 1, 1, 1}), {{0}}));
    // A mask far wider than what is read at once.
    call = {.nCols = 3, .maskCols = 300};
    EXPECT_EQ((Rows{{6, 6, 6}}), call({{1, 2, 3}}, {std::vector<std::uint8_t>(300, 1)}, {{0, 0, 0}}));
}

TEST_P(ConvolveCases, NothingToDo) {
    const auto expectNothing = [](Call call) {
        call.shift = untouched;
        FailingHeap heap;
        EXPECT_EQ((Rows{{99}}), call({{5}}, {{1}}, {{99}}));
        EXPECT_EQ(untouched, call.shift);
        EXPECT_EQ(0, heap.requests());
    };
    for (const std::int32_t none : {0, -1, INT32_MIN}) {
        expectNothing({.maskRows = none});
        expectNothing({.maskCols = none});
        expectNothing({.nRows = none});
        expectNothing({.nCols = none});
    }
}

TEST_P(ConvolveCases, SumsBeyond32BitsAreExact) {
    constexpr std::int32_t size = 33;
    std::vector<std::uint8_t> row;
    for (std::int32_t j = 0; j < size; ++j)
        row.insert(row.end(), {0xFF, 0x7F});
    const Rows src(size, std::vector<std::uint8_t>(size, 255));
    Rows dst(size, std::vector<std::uint8_t>(size, 0));
    constexpr std::int64_t sum = std::int64_t{size} * size * 255 * 32767;
    static_assert(sum > INT64_C(0x100000000));
    const QZCopyRegion middle = {16, 16, 16, 16};
    const auto middleOf = [&](std::int32_t mode, std::int32_t shift, std::int32_t type = QZ_ImageByte) {
        Call call{.dstType = type,
                  .nRows = size,
                  .nCols = size,
                  .maskRows = size,
                  .maskCols = size,
                  .scaleMode = mode,
                  .shift = shift,
                  .region = &middle,
                  .maskType = QZ_Mask16Bits};
        return call(src, Rows(size, row), dst).rows[16][16];
    };
    EXPECT_EQ(65, middleOf(QZ_ScaleWrap, 0));
    EXPECT_EQ(135, middleOf(QZ_ScaleFixed, 26));
    EXPECT_EQ(2, middleOf(QZ_ScaleFixed, 32));
    EXPECT_EQ(1, middleOf(QZ_ScaleFixed, 33));
    EXPECT_EQ(0, middleOf(QZ_ScaleFixed, 34));
    EXPECT_EQ(255, middleOf(QZ_ScaleSaturate, 0));
    EXPECT_EQ(127, middleOf(QZ_ScaleSaturate, 0, QZ_ImageSignedByte));
}

// 258 * 255 * 32768 leaves 32 bits by less than one part in 254.
TEST_P(ConvolveCases, SumsJustBeyond32BitsAreExact) {
    constexpr std::int32_t size = 258;
    std::vector<std::uint8_t> lowest;
    for (std::int32_t j = 0; j < size; ++j)
        lowest.insert(lowest.end(), {0x00, 0x80});
    Call call{.nCols = size, .maskCols = size, .scaleMode = QZ_ScaleSaturate, .maskType = QZ_Mask16Bits};
    const Rows dst = call(Rows(1, std::vector<std::uint8_t>(size, 255)), {lowest},
                          Rows(1, std::vector<std::uint8_t>(size, 99)));
    EXPECT_EQ(0, dst.rows[0][size / 2]) << "the sum is -2155806720";
}

TEST_P(ConvolveCases, MaskWithinTheDestination) {
    // Columns 1 to 3 of the destination are the mask.
    const std::uint8_t src[] = {1, 10, 100, 0, 1, 1};
    std::uint8_t dst[] = {99, 1, 2, 3, 99, 99};
    const void *const srcRow = src, *const mask = dst + 1;
    void *const dstRow = dst;
    std::int32_t shift = 0;
    QZMaskConvolve(&srcRow, &mask, &dstRow, QZ_ImageByte, QZ_Mask8Bits, QZ_ImageByte, 1, 6, 1, 3, nullptr,
                   QZ_ScaleSaturate, &shift);
    EXPECT_EQ((std::vector<std::uint8_t>{32, 255, 210, 103, 5, 3}),
              std::vector<std::uint8_t>(std::begin(dst), std::end(dst)));
}

TEST_P(ConvolveCases, InPlace) {
    // The interior is that of a copy. The border comes later, and sees it and what the border has before.
    Call call{.nRows = 3, .nCols = 4, .maskRows = 3, .maskCols = 3};
    const Rows ones(3, {1, 1, 1}), image = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}};
    // Inside: 54 and 63. Above: 1 + 2 + 5 + 54, then 62 + 2 + 3 + 5 + 54 + 63, ... Below: 5 + 54 + 9 + 10,
    // ... Then left and right of row 1, and the corners below a second time: 97 + 54 + 78 + 221, ...
    EXPECT_EQ((Rows{{62, 189, 65, 140}, {97, 54, 63, 73}, {194, 221, 113, 189}}), call.inPlace(image, ones));
}

TEST_P(ConvolveCases, RowsMovedByOne) {
    // Destination row r is source row r + 1, which the mask reaches after it has been written.
    Rows image = {{1, 2, 3}, {10, 20, 30}, {40, 50, 60}, {7, 7, 7}};
    auto rows = image.target();
    const std::vector<const void *> src(rows.begin(), rows.end());
    std::int32_t shift = 0;
    const std::uint8_t two = 2;
    const void *const mask = &two;
    QZMaskConvolve(src.data(), &mask, rows.data() + 1, QZ_ImageByte, 0, QZ_ImageByte, 3, 3, 1, 1, nullptr,
                   QZ_ScaleWrap, &shift);
    EXPECT_EQ((Rows{{1, 2, 3}, {2, 4, 6}, {4, 8, 12}, {8, 16, 24}}), image);
}

class ConvolveFailures : public testing::Test {
protected:
    /// 8 x 10 elements under a mask of 3 x 4.
    void convolve() {
        dst = Rows(8, std::vector<std::uint8_t>(10, 99));
        call.shift = untouched;
        dst = call(src, Rows(3, {1, 1, 1, 1}), dst);
    }
    void expectNothing() {
        EXPECT_EQ(Rows(8, std::vector<std::uint8_t>(10, 99)), dst);
        EXPECT_EQ(untouched, call.shift);
    }
    static Report trace(std::int32_t line) { return {QZ_StsBackTrace, "QZMaskConvolve", "", file, line}; }
    static Report noMemory(const char *function, const char *message, std::int32_t line) {
        return {QZ_StsNoMem, function, message, "..\\LIBSRC\\QZ_ALLOC", line};
    }

    RecordedReports reports;
    Call call{.nRows = 8, .nCols = 10, .maskRows = 3, .maskCols = 4};
    const Rows src = Rows(8, std::vector<std::uint8_t>(10, 1));
    Rows dst = src;
};

TEST_F(ConvolveFailures, EachRequest) {
    const Report expected[] = {
        noMemory("QZsAllocTable", "The pointers vector can not be allocated", 537),
        noMemory("QZsAllocTable", "2D array vector can not be allocated", 543),
        noMemory("QZsAlloc2", "The pointers vector can not be allocated", 302),
        noMemory("QZsAlloc2", "Current vector can not be allocated", 311),
        noMemory("QZsAlloc2", "Current vector can not be allocated", 311),
        noMemory("QZsAlloc2", "Current vector can not be allocated", 311),
    };
    for (int failAt = 0; failAt < 6; ++failAt) {
        FailingHeap heap(failAt);
        convolve();
        expectNothing();
        EXPECT_EQ((std::vector<Report>{expected[failAt], trace(failAt < 2 ? 1869 : 1910)}), reports.all());
        EXPECT_EQ(failAt + 1, heap.requests());
        // The allocation of a table keeps its pointer vector when the block fails.
        EXPECT_EQ(failAt == 1 ? 1 : 0, heap.live());
        if (heap.live() != 0) std::free(heap.events()[0].block);
        reports.clear();
        QZSetStatus(QZ_StsOk);
    }
    FailingHeap heap(6);
    convolve();
    EXPECT_EQ(6, heap.requests());
    EXPECT_EQ(0, heap.live());
    EXPECT_EQ(12, dst.rows[4][4]);
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(ConvolveFailures, Requests) {
    FailingHeap heap;
    convolve();
    using Event = FailingHeap::Event;
    const auto &events = heap.events();
    ASSERT_EQ(12u, events.size());
    EXPECT_EQ(3 * sizeof(void *), events[0].bytes);
    EXPECT_EQ(3 * 4 * sizeof(float), events[1].bytes);
    EXPECT_EQ(3 * sizeof(void *), events[2].bytes);
    for (std::size_t i = 3; i < 6; ++i)
        EXPECT_LE((4 + 64) * sizeof(std::int16_t), events[i].bytes) << "a block of 64 under 4 columns";
    // The window goes first, then the mask.
    for (std::size_t i = 6; i < 12; ++i)
        EXPECT_EQ(Event::released, events[i].kind);
    EXPECT_EQ(events[2].block, events[9].block);
    EXPECT_EQ(events[1].block, events[10].block);
    EXPECT_EQ(events[0].block, events[11].block);
}

TEST_F(ConvolveFailures, NoWindowWithoutInterior) {
    call.nRows = 2;
    FailingHeap heap(2);
    convolve();
    EXPECT_EQ(2, heap.requests());
    EXPECT_EQ(0, heap.live());
    EXPECT_EQ(0, call.shift);
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(ConvolveFailures, StatusFromBefore) {
    QZSetStatus(QZ_StsBadArg);
    FailingHeap heap;
    convolve();
    expectNothing();
    EXPECT_EQ(std::vector<Report>{trace(1869)}, reports.all());
    EXPECT_EQ(0, heap.live());
}

// A handler may leave the status alone.
TEST_F(ConvolveFailures, StatusThatNobodySets) {
    const QZErrorHandler recorder = QZRedirectError([](std::int32_t, const char *, const char *, const char *,
                                                       std::int32_t) -> std::int32_t { return 0; });
    for (const int failAt : {0, 1, 2, 4}) {
        FailingHeap heap(failAt);
        convolve();
        expectNothing();
        if (heap.live() != 0) std::free(heap.events()[0].block); // the pointers of a table
    }
    EXPECT_EQ(QZ_StsOk, QZGetStatus());
    QZRedirectError(recorder);
}

} // namespace
} // namespace qzk::test
