// Image rotation: literal images. Everything is exact, and elements outside the picture keep their values.
#include "qzk.h"

#include <gtest/gtest.h>

#include <vector>

namespace qzk::test {
namespace {

/// Rows of packed bytes.
class Image {
public:
    Image(std::initializer_list<std::vector<std::uint8_t>> rows) : bytes_(rows) {
        for (auto &row : bytes_)
            pointers_.push_back(row.data());
    }
    Image(std::size_t rows, std::size_t rowBytes, std::uint8_t fill)
        : bytes_(rows, std::vector<std::uint8_t>(rowBytes, fill)) {
        for (auto &row : bytes_)
            pointers_.push_back(row.data());
    }
    Image(const Image &) = delete;
    Image &operator=(const Image &) = delete;

    std::uint8_t *const *rows() const { return pointers_.data(); }
    bool operator==(const Image &other) const { return bytes_ == other.bytes_; }
    friend void PrintTo(const Image &image, std::ostream *to) { *to << testing::PrintToString(image.bytes_); }

private:
    std::vector<std::vector<std::uint8_t>> bytes_;
    std::vector<std::uint8_t *> pointers_;
};

TEST(RotateBytes, CounterClockwise) {
    const Image src = {{1, 2, 3}, {4, 5, 6}};
    for (const std::int32_t angle : {90, 0, 270, -270, 91, -180, INT32_MIN}) {
        Image dst(3, 2, 0);
        QZyRotateImage(src.rows(), dst.rows(), angle, 2, 3, 3, 2);
        EXPECT_EQ((Image{{3, 6}, {2, 5}, {1, 4}}), dst) << angle;
    }
}

TEST(RotateBytes, Clockwise) {
    const Image src = {{1, 2, 3}, {4, 5, 6}};
    Image dst(3, 2, 0);
    QZyRotateImage(src.rows(), dst.rows(), -90, 2, 3, 3, 2);
    EXPECT_EQ((Image{{4, 1}, {5, 2}, {6, 3}}), dst);
}

TEST(RotateBytes, HalfTurn) {
    const Image src = {{1, 2, 3}, {4, 5, 6}};
    Image dst(2, 3, 0);
    QZyRotateImage(src.rows(), dst.rows(), 180, 2, 3, 2, 3);
    EXPECT_EQ((Image{{6, 5, 4}, {3, 2, 1}}), dst);
}

TEST(RotateBytes, SignedBytesTurnLikeUnsignedOnes) {
    std::int8_t top[] = {-1, 2}, bottom[] = {-128, 127}, first[2], second[2];
    const std::int8_t *const src[] = {top, bottom};
    std::int8_t *const dst[] = {first, second};
    QZtRotateImage(src, dst, 90, 2, 2, 2, 2);
    EXPECT_EQ(2, first[0]);
    EXPECT_EQ(127, first[1]);
    EXPECT_EQ(-1, second[0]);
    EXPECT_EQ(-128, second[1]);
    QZtRotateImage(src, dst, 180, 2, 2, 2, 2);
    EXPECT_EQ(127, first[0]);
    EXPECT_EQ(-1, second[1]);
}

TEST(RotateBytes, SmallerSourceIsCentred) {
    const Image src = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}};
    Image dst(8, 8, 99);
    QZyRotateImage(src.rows(), dst.rows(), 90, 4, 4, 8, 8);
    EXPECT_EQ((Image{{99, 99, 99, 99, 99, 99, 99, 99},
                     {99, 99, 99, 99, 99, 99, 99, 99},
                     {99, 99, 4, 8, 12, 16, 99, 99},
                     {99, 99, 3, 7, 11, 15, 99, 99},
                     {99, 99, 2, 6, 10, 14, 99, 99},
                     {99, 99, 1, 5, 9, 13, 99, 99},
                     {99, 99, 99, 99, 99, 99, 99, 99},
                     {99, 99, 99, 99, 99, 99, 99, 99}}),
              dst);
}

TEST(RotateBytes, OddDifferencesAreRoundedDown) {
    const Image src = {{1, 2, 3, 4}};
    Image dst(2, 4, 0); // two of four columns stay, the row goes to column 1
    QZyRotateImage(src.rows(), dst.rows(), 90, 1, 4, 2, 4);
    EXPECT_EQ((Image{{0, 3, 0, 0}, {0, 2, 0, 0}}), dst);
    Image narrow(1, 1, 0);
    QZyRotateImage(src.rows(), narrow.rows(), 180, 1, 4, 1, 1);
    EXPECT_EQ((Image{{2}}), narrow);
}

TEST(RotateBytes, LargerSourceGivesItsMiddle) {
    Image src(9, 9, 0), dst(5, 5, 0), clockwise(5, 5, 0), half(5, 5, 0);
    for (std::uint8_t i = 0; i < 81; ++i)
        src.rows()[i / 9][i % 9] = i;
    QZyRotateImage(src.rows(), dst.rows(), 90, 9, 9, 5, 5);
    QZyRotateImage(src.rows(), clockwise.rows(), -90, 9, 9, 5, 5);
    QZyRotateImage(src.rows(), half.rows(), 180, 9, 9, 5, 5);
    EXPECT_EQ((Image{{24, 33, 42, 51, 60},
                     {23, 32, 41, 50, 59},
                     {22, 31, 40, 49, 58},
                     {21, 30, 39, 48, 57},
                     {20, 29, 38, 47, 56}}),
              dst);
    EXPECT_EQ((Image{{56, 47, 38, 29, 20},
                     {57, 48, 39, 30, 21},
                     {58, 49, 40, 31, 22},
                     {59, 50, 41, 32, 23},
                     {60, 51, 42, 33, 24}}),
              clockwise);
    EXPECT_EQ((Image{{60, 59, 58, 57, 56},
                     {51, 50, 49, 48, 47},
                     {42, 41, 40, 39, 38},
                     {33, 32, 31, 30, 29},
                     {24, 23, 22, 21, 20}}),
              half);
}

TEST(RotateBytes, EmptyExtentsMoveNothing) {
    const Image src = {{1, 2}, {3, 4}};
    const Image before = {{7, 8}, {9, 10}};
    for (const std::int32_t angle : {90, -90, 180})
        for (const std::int32_t empty : {0, -1, INT32_MIN})
            for (int which = 0; which < 4; ++which) {
                std::int32_t extents[] = {2, 2, 2, 2};
                extents[which] = empty;
                Image dst = {{7, 8}, {9, 10}};
                QZyRotateImage(src.rows(), dst.rows(), angle, extents[0], extents[1], extents[2], extents[3]);
                QZbRotateImage(src.rows(), dst.rows(), angle, extents[0], extents[1], extents[2], extents[3]);
                QZnRotateImage(src.rows(), dst.rows(), angle, extents[0], extents[1], extents[2], extents[3]);
                EXPECT_EQ(before, dst);
                QZyRotateImage(nullptr, nullptr, angle, extents[0], extents[1], extents[2], extents[3]);
            }
}

TEST(RotateMembers, TheStatusIsNeitherReadNorChanged) {
    const Image src = {{0x12}};
    std::int8_t signedByte = 5, signedTarget = 0;
    const std::int8_t *const signedRow = &signedByte;
    std::int8_t *const signedTargetRow = &signedTarget;
    for (const std::int32_t angle : {90, -90, 180}) {
        Image bits = {{0}}, nibbles = {{0}}, bytes = {{0}};
        QZSetStatus(QZ_StsBadArg);
        QZbRotateImage(src.rows(), bits.rows(), angle, 1, 8, 1, 1); // column 3
        QZnRotateImage(src.rows(), nibbles.rows(), angle, 1, 1, 1, 1);
        QZyRotateImage(src.rows(), bytes.rows(), angle, 1, 1, 1, 1);
        QZtRotateImage(&signedRow, &signedTargetRow, angle, 1, 1, 1, 1);
        EXPECT_EQ(QZ_StsBadArg, QZGetStatus());
        QZSetStatus(QZ_StsOk);
        EXPECT_EQ((Image{{0x80}}), bits);
        EXPECT_EQ((Image{{0x10}}), nibbles);
        EXPECT_EQ((Image{{0x12}}), bytes);
        EXPECT_EQ(5, signedTarget);
    }
}

TEST(RotateBits, BitsBeforeAndBehindThePictureStay) {
    // Three columns and two rows, centred at column 4 of 10 and row 1 of 5.
    const Image src = {{0xA0}, {0x60}}; // 101, 011
    Image ones(5, 2, 0xFF), zeros(5, 2, 0x00);
    QZbRotateImage(src.rows(), ones.rows(), 90, 2, 3, 5, 10);
    EXPECT_EQ((Image{{0xFF, 0xFF}, {0xFF, 0xFF}, {0xF7, 0xFF}, {0xFB, 0xFF}, {0xFF, 0xFF}}), ones);
    QZbRotateImage(src.rows(), zeros.rows(), -90, 2, 3, 5, 10);
    EXPECT_EQ((Image{{0x00, 0x00}, {0x04, 0x00}, {0x08, 0x00}, {0x0C, 0x00}, {0x00, 0x00}}), zeros);
}

TEST(RotateBits, HalfTurnOfARowReversesIt) {
    const Image src = {{0xB1, 0x40}}; // 1011000101
    Image dst = {{0xFF, 0xFF}};
    QZbRotateImage(src.rows(), dst.rows(), 180, 1, 10, 1, 10);
    EXPECT_EQ((Image{{0xA3, 0x7F}}), dst); // 1010001101
    Image wide = {{0x00, 0x00, 0x00}};     // from column 5 on
    QZbRotateImage(src.rows(), wide.rows(), 180, 1, 10, 1, 20);
    EXPECT_EQ((Image{{0x05, 0x1A, 0x00}}), wide);
}

TEST(RotateBits, QuarterTurnOfARowIsAColumn) {
    const Image src = {{0xB1, 0x40}};
    Image dst(10, 1, 0x7F);
    QZbRotateImage(src.rows(), dst.rows(), 90, 1, 10, 10, 1);
    EXPECT_EQ((Image{{0xFF}, {0x7F}, {0xFF}, {0x7F}, {0x7F}, {0x7F}, {0xFF}, {0xFF}, {0x7F}, {0xFF}}), dst);
}

TEST(RotateNibbles, AnOddNumberOfRowsEndsInHalfBytes) {
    const Image src = {{0x12}, {0x34}, {0x56}};
    Image dst(2, 2, 0xFF);
    QZnRotateImage(src.rows(), dst.rows(), 90, 3, 2, 2, 3);
    EXPECT_EQ((Image{{0x24, 0x6F}, {0x13, 0x5F}}), dst);
    QZnRotateImage(src.rows(), dst.rows(), -90, 3, 2, 2, 3);
    EXPECT_EQ((Image{{0x53, 0x1F}, {0x64, 0x2F}}), dst);
}

TEST(RotateNibbles, HalfTurnBetweenHalvesOfBytes) {
    const Image src = {{0x12, 0x30}};
    Image dst = {{0xFF, 0xFF, 0xFF}}; // from column 1 on
    QZnRotateImage(src.rows(), dst.rows(), 180, 1, 3, 1, 6);
    EXPECT_EQ((Image{{0xF3, 0x21, 0xFF}}), dst);
    Image even = {{0xFF, 0xFF}};
    QZnRotateImage(src.rows(), even.rows(), 180, 1, 3, 1, 3);
    EXPECT_EQ((Image{{0x32, 0x1F}}), even);
}

TEST(RotateBytes, SmallerSourceIsCentredByEveryTurn) {
    const Image src = {{1, 2}, {3, 4}};
    for (const std::int32_t angle : {90, -90, 180}) {
        Image dst(4, 5, 99);
        QZyRotateImage(src.rows(), dst.rows(), angle, 2, 2, 4, 5);
        const Image left = {
            {99, 99, 99, 99, 99}, {99, 2, 4, 99, 99}, {99, 1, 3, 99, 99}, {99, 99, 99, 99, 99}};
        const Image right = {
            {99, 99, 99, 99, 99}, {99, 3, 1, 99, 99}, {99, 4, 2, 99, 99}, {99, 99, 99, 99, 99}};
        const Image half = {
            {99, 99, 99, 99, 99}, {99, 4, 3, 99, 99}, {99, 2, 1, 99, 99}, {99, 99, 99, 99, 99}};
        EXPECT_EQ(angle == 90 ? left : angle == -90 ? right : half, dst) << angle;
    }
}

TEST(RotatePacked, EveryOtherAngleIsCounterClockwise) {
    const Image bits = {{0xC0}, {0x80}}, nibbles = {{0x12}, {0x34}};
    for (const std::int32_t angle : {90, 0, 270, -270, 91, -180, 360, INT32_MIN, INT32_MAX}) {
        Image ofBits(2, 1, 0), ofNibbles(2, 1, 0);
        QZbRotateImage(bits.rows(), ofBits.rows(), angle, 2, 2, 2, 2);
        EXPECT_EQ((Image{{0x80}, {0xC0}}), ofBits) << angle;
        QZnRotateImage(nibbles.rows(), ofNibbles.rows(), angle, 2, 2, 2, 2);
        EXPECT_EQ((Image{{0x24}, {0x13}}), ofNibbles) << angle;
    }
}

// The letter F, one bit an element.
TEST(RotateBits, ABlockOfEightByEight) {
    const Image src = {{0x7E}, {0x40}, {0x40}, {0x78}, {0x40}, {0x40}, {0x40}, {0x00}};
    Image left(8, 1, 0xAA);
    Image right(8, 1, 0xAA);
    Image half(8, 1, 0xAA);
    QZbRotateImage(src.rows(), left.rows(), 90, 8, 8, 8, 8);
    EXPECT_EQ((Image{{0x00}, {0x80}, {0x80}, {0x90}, {0x90}, {0x90}, {0xFE}, {0x00}}), left);
    QZbRotateImage(src.rows(), right.rows(), -90, 8, 8, 8, 8);
    EXPECT_EQ((Image{{0x00}, {0x7F}, {0x09}, {0x09}, {0x09}, {0x01}, {0x01}, {0x00}}), right);
    QZbRotateImage(src.rows(), half.rows(), 180, 8, 8, 8, 8);
    EXPECT_EQ((Image{{0x00}, {0x02}, {0x02}, {0x02}, {0x1E}, {0x02}, {0x02}, {0x7E}}), half);
}

// The block lies across two bytes of each row, from column 3 on.
TEST(RotateBits, ABlockAcrossTwoBytes) {
    const Image src = {{0x7E}, {0x40}, {0x40}, {0x78}, {0x40}, {0x40}, {0x40}, {0x00}};
    Image left(8, 2, 0xFF);
    Image right(8, 2, 0xFF);
    Image half(8, 2, 0xFF);
    QZbRotateImage(src.rows(), left.rows(), 90, 8, 8, 8, 14);
    EXPECT_EQ((Image{{0xE0, 0x1F},
                     {0xF0, 0x1F},
                     {0xF0, 0x1F},
                     {0xF2, 0x1F},
                     {0xF2, 0x1F},
                     {0xF2, 0x1F},
                     {0xFF, 0xDF},
                     {0xE0, 0x1F}}),
              left);
    QZbRotateImage(src.rows(), right.rows(), -90, 8, 8, 8, 14);
    EXPECT_EQ((Image{{0xE0, 0x1F},
                     {0xEF, 0xFF},
                     {0xE1, 0x3F},
                     {0xE1, 0x3F},
                     {0xE1, 0x3F},
                     {0xE0, 0x3F},
                     {0xE0, 0x3F},
                     {0xE0, 0x1F}}),
              right);
    QZbRotateImage(src.rows(), half.rows(), 180, 8, 8, 8, 14);
    EXPECT_EQ((Image{{0xE0, 0x1F},
                     {0xE0, 0x5F},
                     {0xE0, 0x5F},
                     {0xE0, 0x5F},
                     {0xE3, 0xDF},
                     {0xE0, 0x5F},
                     {0xE0, 0x5F},
                     {0xEF, 0xDF}}),
              half);
}

// Columns 2 to 12 of fifteen.
TEST(RotateBits, TheMiddleOfALargerSource) {
    const Image src = {{0x82, 0xB7}, {0x0E, 0xEE}, {0x7F, 0x1A}, {0x50, 0x39}, {0xBE, 0xF0}};
    Image left(11, 1, 0x00);
    Image right(11, 1, 0x00);
    QZbRotateImage(src.rows(), left.rows(), 90, 5, 15, 11, 5);
    EXPECT_EQ((Image{{0x70}, {0xB8}, {0xD8}, {0x48}, {0xC8}, {0x20}, {0xE8}, {0x68}, {0x68}, {0x38}, {0x28}}),
              left);
    QZbRotateImage(src.rows(), right.rows(), -90, 5, 15, 11, 5);
    EXPECT_EQ((Image{{0xA0}, {0xE0}, {0xB0}, {0xB0}, {0xB8}, {0x20}, {0x98}, {0x90}, {0xD8}, {0xE8}, {0x70}}),
              right);
}

// Columns 3 to 39 of the source, which end where no byte does.
TEST(RotateBits, HalfTurnOfTheMiddleOfARow) {
    const Image src = {{0x7E, 0xC2, 0x34, 0x7F, 0x06, 0x6E}};
    Image half(1, 5, 0xFF);
    QZbRotateImage(src.rows(), half.rows(), 180, 1, 43, 1, 37);
    EXPECT_EQ((Image{{0x60, 0xFE, 0x2C, 0x43, 0x7F}}), half);
}

// Columns 1 and 2 of four, from column 1 on.
TEST(RotateNibbles, AnOddColumnOfTheSource) {
    const Image src = {{0xD0, 0x8F}, {0x5D, 0xC7}};
    Image left(2, 2, 0xFF);
    Image right(2, 2, 0xFF);
    QZnRotateImage(src.rows(), left.rows(), 90, 2, 4, 2, 4);
    EXPECT_EQ((Image{{0xF8, 0xCF}, {0xF0, 0xDF}}), left);
    QZnRotateImage(src.rows(), right.rows(), -90, 2, 4, 2, 4);
    EXPECT_EQ((Image{{0xFD, 0x0F}, {0xFC, 0x8F}}), right);
}

TEST(RotateNibbles, EightRowsGiveWholeBytes) {
    const Image src = {{0x51}, {0x24}, {0x47}, {0xE3}, {0x40}, {0x43}, {0x00}, {0x02}};
    Image left(2, 4, 0x00);
    Image right(2, 4, 0x00);
    QZnRotateImage(src.rows(), left.rows(), 90, 8, 2, 2, 8);
    EXPECT_EQ((Image{{0x14, 0x73, 0x03, 0x02}, {0x52, 0x4E, 0x44, 0x00}}), left);
    QZnRotateImage(src.rows(), right.rows(), -90, 8, 2, 2, 8);
    EXPECT_EQ((Image{{0x00, 0x44, 0xE4, 0x25}, {0x20, 0x30, 0x37, 0x41}}), right);
}

TEST(RotateNibbles, HalfTurnFromAnOddColumn) {
    const Image src = {{0x6B, 0x6E, 0x54}, {0x55, 0x94, 0xA0}};
    Image half(3, 2, 0xFF);
    QZnRotateImage(src.rows(), half.rows(), 180, 2, 6, 3, 3);
    EXPECT_EQ((Image{{0x49, 0x5F}, {0xE6, 0xBF}, {0xFF, 0xFF}}), half);
}

TEST(RotateBytes, ColumnsBeyondEight) {
    const Image src = {{0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A},
                       {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A},
                       {0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A}};
    Image left(11, 3, 0x00);
    Image right(11, 3, 0x00);
    QZyRotateImage(src.rows(), left.rows(), 90, 3, 11, 11, 3);
    EXPECT_EQ((Image{{0x0A, 0x1A, 0x2A},
                     {0x09, 0x19, 0x29},
                     {0x08, 0x18, 0x28},
                     {0x07, 0x17, 0x27},
                     {0x06, 0x16, 0x26},
                     {0x05, 0x15, 0x25},
                     {0x04, 0x14, 0x24},
                     {0x03, 0x13, 0x23},
                     {0x02, 0x12, 0x22},
                     {0x01, 0x11, 0x21},
                     {0x00, 0x10, 0x20}}),
              left);
    QZyRotateImage(src.rows(), right.rows(), -90, 3, 11, 11, 3);
    EXPECT_EQ((Image{{0x20, 0x10, 0x00},
                     {0x21, 0x11, 0x01},
                     {0x22, 0x12, 0x02},
                     {0x23, 0x13, 0x03},
                     {0x24, 0x14, 0x04},
                     {0x25, 0x15, 0x05},
                     {0x26, 0x16, 0x06},
                     {0x27, 0x17, 0x07},
                     {0x28, 0x18, 0x08},
                     {0x29, 0x19, 0x09},
                     {0x2A, 0x1A, 0x0A}}),
              right);
}

TEST(RotateBytes, HalfTurnThatCutsColumnsAndAddsRows) {
    const Image src = {
        {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E},
        {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E},
        {0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E}};
    Image half(5, 13, 0xFF);
    QZyRotateImage(src.rows(), half.rows(), 180, 3, 15, 5, 13);
    EXPECT_EQ((Image{{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                     {0x2D, 0x2C, 0x2B, 0x2A, 0x29, 0x28, 0x27, 0x26, 0x25, 0x24, 0x23, 0x22, 0x21},
                     {0x1D, 0x1C, 0x1B, 0x1A, 0x19, 0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11},
                     {0x0D, 0x0C, 0x0B, 0x0A, 0x09, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01},
                     {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}),
              half);
}

} // namespace
} // namespace qzk::test
