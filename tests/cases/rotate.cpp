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

TEST(RotateBytes, TheStatusIsNeitherReadNorChanged) {
    const Image src = {{1, 2}};
    Image dst = {{0, 0}};
    QZSetStatus(QZ_StsBadArg);
    QZyRotateImage(src.rows(), dst.rows(), 180, 1, 2, 1, 2);
    EXPECT_EQ(QZ_StsBadArg, QZGetStatus());
    QZSetStatus(QZ_StsOk);
    EXPECT_EQ((Image{{2, 1}}), dst);
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

} // namespace
} // namespace qzk::test
