// Literal copies and mirror images, and every report of the copies.
#include "qzk.h"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

using Bytes = std::vector<uint8_t>;
using Reports = std::vector<Report>;

constexpr const char *file = "..\\LIBSRC\\QZ_IMAGE";

/// Rows of bytes.
template <class Byte>
class ImageOf {
public:
    ImageOf(std::initializer_list<std::vector<Byte>> rows) : bytes_(rows) {
        for (auto &row : bytes_)
            rows_.push_back(row.data());
    }
    ImageOf(const ImageOf &) = delete;
    ImageOf &operator=(const ImageOf &) = delete;

    Byte *const *rows() const { return rows_.data(); }
    bool operator==(const ImageOf &other) const { return bytes_ == other.bytes_; }
    friend void PrintTo(const ImageOf &image, std::ostream *to) {
        *to << testing::PrintToString(image.bytes_);
    }

private:
    std::vector<std::vector<Byte>> bytes_;
    std::vector<Byte *> rows_;
};
using Image = ImageOf<uint8_t>;
using SignedImage = ImageOf<int8_t>;

void copy(decltype(&QZbCopyImage) member, const Image &src, const Image &dst, const QZCopyRegion &region,
          int32_t orgRow, int32_t orgCol) {
    member(src.rows(), dst.rows(), &region, orgRow, orgCol);
}

TEST(CopyImage, OneBitLeavesTheOtherBitsOfItsByte) {
    const Image ones = {{0xFF, 0xFF}, {0xFF, 0xFF}}, zeros = {{0, 0}, {0, 0}};
    Image dst = {{0x00, 0x00}, {0x00, 0x00}};
    copy(QZbCopyImage, ones, dst, {0, 3, 0, 3}, 1, 9);
    EXPECT_EQ((Image{{0x00, 0x00}, {0x00, 0x40}}), dst);
    Image set = {{0xFF, 0xFF}, {0xFF, 0xFF}};
    copy(QZbCopyImage, zeros, set, {1, 15, 1, 15}, 0, 0);
    EXPECT_EQ((Image{{0x7F, 0xFF}, {0xFF, 0xFF}}), set);
}

TEST(CopyImage, OneNibbleLeavesTheOtherOne) {
    const Image src = {{0x12, 0x34}};
    Image dst = {{0xAB, 0xCD}};
    copy(QZnCopyImage, src, dst, {0, 1, 0, 1}, 0, 2);
    EXPECT_EQ((Image{{0xAB, 0x2D}}), dst);
    copy(QZnCopyImage, src, dst, {0, 2, 0, 2}, 0, 1);
    EXPECT_EQ((Image{{0xA3, 0x2D}}), dst);
    copy(QZnCopyImage, src, dst, {0, 3, 0, 3}, 0, 3);
    EXPECT_EQ((Image{{0xA3, 0x24}}), dst);
}

TEST(CopyImage, OneByte) {
    const Image src = {{1, 2, 3}, {4, 5, 6}};
    Image dst = {{10, 11}, {12, 13}};
    copy(QZyCopyImage, src, dst, {1, 2, 1, 2}, 0, 1);
    EXPECT_EQ((Image{{10, 6}, {12, 13}}), dst);
}

TEST(CopyImage, BitsMoveAcrossBytes) {
    // Columns 3 .. 12 hold 10011 01011; they go to columns 6 .. 15.
    const Image src = {{0b11110011, 0b01011111, 0xFF}};
    Image ones = {{0xFF, 0xFF, 0xFF}}, zeros = {{0, 0, 0}};
    copy(QZbCopyImage, src, ones, {0, 3, 0, 12}, 0, 6);
    EXPECT_EQ((Image{{0b11111110, 0b01101011, 0xFF}}), ones);
    copy(QZbCopyImage, src, zeros, {0, 3, 0, 12}, 0, 6);
    EXPECT_EQ((Image{{0b00000010, 0b01101011, 0x00}}), zeros);
}

TEST(CopyImage, RowsKeepTheirOrder) {
    const Image src = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    Image dst = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    copy(QZyCopyImage, src, dst, {1, 0, 2, 1}, 2, 1);
    EXPECT_EQ((Image{{0, 0, 0}, {0, 0, 0}, {0, 4, 5}, {0, 7, 8}}), dst);

    Image nibbles = {{0xFF, 0xFF}, {0xFF, 0xFF}};
    copy(QZnCopyImage, {{0x12, 0x34}, {0x56, 0x78}}, nibbles, {0, 1, 1, 2}, 0, 0);
    EXPECT_EQ((Image{{0x23, 0xFF}, {0x67, 0xFF}}), nibbles);
}

TEST(CopyImage, SignedBytes) {
    const SignedImage src = {{-1, 2, -128}, {127, -5, 6}};
    SignedImage dst = {{0, 0, 0}, {0, 0, 0}};
    const QZCopyRegion region = {0, 1, 1, 2};
    QZtCopyImage(src.rows(), dst.rows(), &region, 0, 0);
    EXPECT_EQ((SignedImage{{2, -128, 0}, {-5, 6, 0}}), dst);
}

TEST(CopyImage, WithinOneImageRowsGoOneAfterTheOther) {
    // Downwards, a row is written before it is read.
    Image image = {{1, 2}, {3, 4}, {5, 6}};
    copy(QZyCopyImage, image, image, {0, 0, 1, 1}, 1, 0);
    EXPECT_EQ((Image{{1, 2}, {1, 2}, {1, 2}}), image);
    Image upwards = {{1, 2}, {3, 4}, {5, 6}};
    copy(QZyCopyImage, upwards, upwards, {1, 0, 2, 1}, 0, 0);
    EXPECT_EQ((Image{{3, 4}, {5, 6}, {5, 6}}), upwards);
    // To the right, the beginning of a row repeats as the packed copy tells.
    Image bits = {{0b10110000, 0}};
    copy(QZbCopyImage, bits, bits, {0, 0, 0, 7}, 0, 4);
    EXPECT_EQ((Image{{0b10111011, 0b10110000}}), bits);
}

TEST(CopyImage, WiderThanALengthCopiesNothing) {
    const RecordedReports reports;
    const Image src = {{0xFF}};
    Image dst = {{0x00}};
    for (const auto member : {QZbCopyImage, QZnCopyImage, QZyCopyImage})
        copy(member, src, dst, {0, 0, 0, INT32_MAX}, 0, 0);
    EXPECT_EQ((Image{{0x00}}), dst);
    EXPECT_EQ(Reports{}, reports.all());
}

/// The copies with images of bytes, and their lines.
const struct Member {
    const char *name;
    void (*copy)(const uint8_t *const *, uint8_t *const *, const QZCopyRegion *, int32_t, int32_t);
    int32_t line;

    Report operator()(const char *message) const { return {QZ_StsBadArg, name, message, file, line}; }
} members[] = {{"QZbCopyImage", QZbCopyImage, 238},
               {"QZnCopyImage", QZnCopyImage, 275},
               {"QZyCopyImage", QZyCopyImage, 312},
               {"QZtCopyImage",
                [](const uint8_t *const *src, uint8_t *const *dst, const QZCopyRegion *region, int32_t orgRow,
                   int32_t orgCol) {
                    QZtCopyImage(reinterpret_cast<const int8_t *const *>(src),
                                 reinterpret_cast<int8_t *const *>(dst), region, orgRow, orgCol);
                },
                347}};

TEST(CopyImageReports, EachCheck) {
    RecordedReports reports;
    for (const Member &member : members) {
        const auto expectReports = [&](const QZCopyRegion &region, int32_t orgRow, int32_t orgCol,
                                       std::initializer_list<const char *> messages) {
            reports.clear();
            QZSetStatus(QZ_StsOk);
            const Image src = {{0xFF, 0xFF}};
            Image dst = {{0x5A, 0x5A}};
            member.copy(src.rows(), dst.rows(), &region, orgRow, orgCol);
            Reports expected;
            for (const char *message : messages)
                expected.push_back(member(message));
            EXPECT_EQ(expected, reports.all());
            EXPECT_EQ((Image{{0x5A, 0x5A}}), dst);
            EXPECT_EQ(QZ_StsBadArg, QZGetStatus());
        };
        expectReports({0, 0, 0, 0}, -1, 0, {"orgRow < 0"});
        expectReports({0, 0, 0, 0}, 0, INT32_MIN, {"orgCol < 0"});
        expectReports({-1, 0, 0, 0}, 0, 0, {"copyRgn->leftTopRow < 0"});
        expectReports({0, -1, 0, 0}, 0, 0, {"copyRgn->leftTopCol < 0"});
        expectReports({1, 0, 0, 0}, 0, 0, {"copyRgn->rightBotRow < copyRgn->leftTopRow"});
        expectReports({0, 1, 0, 0}, 0, 0, {"copyRgn->rightBotCol < copyRgn->leftTopCol"});
        expectReports({0, 1, 0, 0}, -1, 0, {"orgRow < 0", "copyRgn->rightBotCol < copyRgn->leftTopCol"});
        expectReports({-1, -1, -2, -2}, -1, -1,
                      {"orgRow < 0", "orgCol < 0", "copyRgn->leftTopRow < 0", "copyRgn->leftTopCol < 0",
                       "copyRgn->rightBotRow < copyRgn->leftTopRow",
                       "copyRgn->rightBotCol < copyRgn->leftTopCol"});
    }
}

TEST(CopyImageReports, ARegionThatIsNotThereSkipsItsChecks) {
    RecordedReports reports;
    for (const Member &member : members) {
        reports.clear();
        QZSetStatus(QZ_StsOk);
        Image dst = {{0x5A}};
        member.copy(dst.rows(), dst.rows(), nullptr, -1, -1);
        EXPECT_EQ((Reports{member("orgRow < 0"), member("orgCol < 0")}), reports.all());
        EXPECT_EQ((Image{{0x5A}}), dst);
    }
}

TEST(CopyImageReports, NothingIsCopiedAfterAnEarlierFailure) {
    RecordedReports reports;
    const QZCopyRegion region = {0, 0, 0, 0};
    for (const Member &member : members) {
        const Image src = {{0xFF}};
        Image dst = {{0x00}};
        QZSetStatus(QZ_StsUnderflow);
        member.copy(src.rows(), dst.rows(), &region, 0, 0);
        EXPECT_EQ((Image{{0x00}}), dst);
        EXPECT_EQ(QZ_StsUnderflow, QZGetStatus());
        QZSetStatus(1); // only negative ones are failures
        member.copy(src.rows(), dst.rows(), &region, 0, 0);
        EXPECT_NE((Image{{0x00}}), dst);
        EXPECT_EQ(1, QZGetStatus());
    }
    EXPECT_EQ(Reports{}, reports.all());
}

int32_t ignore(int32_t, const char *, const char *, const char *, int32_t) { return 0; }

TEST(CopyImageReports, AHandlerThatClearsTheStatusLeavesAnEmptyRegionEmpty) {
    QZRedirectError(ignore);
    for (const Member &member : members)
        for (const QZCopyRegion &region :
             {QZCopyRegion{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 7, 0, 3}, {0, INT32_MAX, 0, INT32_MIN}}) {
            const Image src = {{0xFF, 0xFF}, {0xFF, 0xFF}};
            Image dst = {{0x00, 0x00}, {0x00, 0x00}};
            member.copy(src.rows(), dst.rows(), &region, 0, 0);
            EXPECT_EQ((Image{{0x00, 0x00}, {0x00, 0x00}}), dst) << member.name;
        }
    QZSetStdError();
}

TEST(MirrorImage, RowsUpsideDown) {
    const Image src = {{1, 2}, {3, 4}, {5, 6}};
    for (const int32_t flipRows : {1, -1, 256, INT32_MIN}) {
        Image dst = {{0, 0}, {0, 0}, {0, 0}};
        QZyMirrorImage(src.rows(), dst.rows(), 3, 2, flipRows);
        EXPECT_EQ((Image{{5, 6}, {3, 4}, {1, 2}}), dst);
    }
    Image bits = {{0x5A, 0x5A}, {0x5A, 0x5A}};
    QZbMirrorImage(Image{{0xFF, 0xFF}, {0x00, 0x00}}.rows(), bits.rows(), 2, 11, 1);
    EXPECT_EQ((Image{{0x00, 0x1A}, {0xFF, 0xFA}}), bits);
    Image nibbles = {{0xAB, 0xCD}, {0xAB, 0xCD}};
    QZnMirrorImage(Image{{0x12, 0x34}, {0x56, 0x78}}.rows(), nibbles.rows(), 2, 3, 1);
    EXPECT_EQ((Image{{0x56, 0x7D}, {0x12, 0x3D}}), nibbles);
    SignedImage bytes = {{0, 0}, {0, 0}};
    QZtMirrorImage(SignedImage{{-1, 2}, {-3, 4}}.rows(), bytes.rows(), 2, 2, 1);
    EXPECT_EQ((SignedImage{{-3, 4}, {-1, 2}}), bytes);
}

TEST(MirrorImage, BitsLeftToRight) {
    Image dst = {{0x00, 0x15}};
    QZbMirrorImage(Image{{0x80, 0x00}}.rows(), dst.rows(), 1, 10, 0);
    EXPECT_EQ((Image{{0x00, 0x55}}), dst); // column 9 is bit 6 of byte 1
    Image ones = {{0xFF, 0xFF}};
    QZbMirrorImage(Image{{0x40, 0x00}}.rows(), ones.rows(), 1, 10, 0);
    EXPECT_EQ((Image{{0x00, 0xBF}}), ones);
    Image rows = {{0}, {0}};
    QZbMirrorImage(Image{{0b10110000}, {0b00000001}}.rows(), rows.rows(), 2, 8, 0);
    EXPECT_EQ((Image{{0b00001101}, {0b10000000}}), rows);
}

TEST(MirrorImage, NibblesLeftToRight) {
    Image dst = {{0xFF, 0xFE}};
    QZnMirrorImage(Image{{0x12, 0x34}}.rows(), dst.rows(), 1, 3, 0);
    EXPECT_EQ((Image{{0x32, 0x1E}}), dst);
    QZnMirrorImage(Image{{0x12, 0x34}}.rows(), dst.rows(), 1, 4, 0);
    EXPECT_EQ((Image{{0x43, 0x21}}), dst);
}

TEST(MirrorImage, BytesLeftToRight) {
    Image dst = {{0, 0, 0, 9}, {0, 0, 0, 9}};
    QZyMirrorImage(Image{{1, 2, 3}, {4, 5, 6}}.rows(), dst.rows(), 2, 3, 0);
    EXPECT_EQ((Image{{3, 2, 1, 9}, {6, 5, 4, 9}}), dst);
    SignedImage bytes = {{0, 0}};
    QZtMirrorImage(SignedImage{{-1, 2}}.rows(), bytes.rows(), 1, 2, 0);
    EXPECT_EQ((SignedImage{{2, -1}}), bytes);
}

TEST(MirrorImage, OneImageIsNoMirrorOfItself) {
    Image rows = {{1}, {2}, {3}};
    QZyMirrorImage(rows.rows(), rows.rows(), 3, 1, 1);
    EXPECT_EQ((Image{{1}, {2}, {1}}), rows);
    Image columns = {{1, 2, 3, 4}};
    QZyMirrorImage(columns.rows(), columns.rows(), 1, 4, 0);
    EXPECT_EQ((Image{{1, 2, 2, 1}}), columns);
    Image bits = {{0b11010010, 0b00101100}};
    QZbMirrorImage(bits.rows(), bits.rows(), 1, 16, 0);
    EXPECT_EQ((Image{{0b11010010, 0b01001011}}), bits);
    Image nibbles = {{0x12, 0x34, 0x56}};
    QZnMirrorImage(nibbles.rows(), nibbles.rows(), 1, 5, 0);
    EXPECT_EQ((Image{{0x12, 0x32, 0x16}}), nibbles);
}

TEST(MirrorImage, WithoutRowsOrColumnsNothingHappens) {
    const RecordedReports reports;
    QZSetStatus(QZ_StsError); // not looked at
    Image image = {{0x12}, {0x34}};
    for (const auto member : {QZbMirrorImage, QZnMirrorImage, QZyMirrorImage})
        for (const int32_t flipRows : {0, 1}) {
            for (const int32_t rows : {0, -1, INT32_MIN})
                member(nullptr, nullptr, rows, 8, flipRows);
            for (const int32_t columns : {0, -1, INT32_MIN})
                member(Image{{0xFF}, {0xFF}}.rows(), image.rows(), 2, columns, flipRows);
        }
    EXPECT_EQ((Image{{0x12}, {0x34}}), image);
    EXPECT_EQ(Reports{}, reports.all());

    QZyMirrorImage(Image{{0xFF}, {0xFE}}.rows(), image.rows(), 2, 1, 1);
    EXPECT_EQ((Image{{0xFE}, {0xFF}}), image);
}

TEST(MirrorImage, TablesOfTheLibraryPassAsTheyAre) {
    uint8_t **const src = QZbAlloc2(2, 9), **const dst = QZbAllocTable(2, 9);
    for (int row = 0; row < 2; ++row)
        for (int byte = 0; byte < 2; ++byte) {
            src[row][byte] = static_cast<uint8_t>(0x81 + row);
            dst[row][byte] = 0;
        }
    QZbMirrorImage(src, dst, 2, 9, 0);
    EXPECT_EQ(0b11000000, dst[0][0]);
    EXPECT_EQ(0b10000000, dst[0][1]);
    const QZCopyRegion region = {0, 0, 1, 8};
    QZbCopyImage(src, dst, &region, 0, 0);
    EXPECT_EQ(0x82, dst[1][0]);
    QZbFree2(src, 2);
    QZbFreeTable(dst);
}

} // namespace
} // namespace qzk::test
