// Copies and mirror images at every level against moves of single elements: random sizes and all places of
// the first element in its byte. Whole memories are compared, so that changes beside the picture show; reads
// and writes past the images meet inaccessible pages. Images that overlap are compared with the packed copies
// and with the moves in their order. Everything is exact.
#include "qzk.h"
#include "support/levels.hpp"
#include "support/packed_image.hpp"
#include "support/random.hpp"

#include <algorithm>
#include <vector>

namespace qzk::test {
namespace {

using Copy = void (*)(const std::uint8_t *const *, std::uint8_t *const *, const QZCopyRegion *, std::int32_t,
                      std::int32_t);
using Mirror = void (*)(const std::uint8_t *const *, std::uint8_t *const *, std::int32_t, std::int32_t,
                        std::int32_t);

const std::int8_t *const *asSigned(const std::uint8_t *const *image) {
    return reinterpret_cast<const std::int8_t *const *>(image);
}
std::int8_t *const *asSigned(std::uint8_t *const *image) {
    return reinterpret_cast<std::int8_t *const *>(image);
}

constexpr struct Member {
    const char *name;
    Copy copy;
    Mirror mirror;
    unsigned width;
} members[] = {
    {"bits", QZbCopyImage, QZbMirrorImage, 1},
    {"nibbles", QZnCopyImage, QZnMirrorImage, 4},
    {"bytes", QZyCopyImage, QZyMirrorImage, 8},
    {"signed bytes",
     [](const std::uint8_t *const *src, std::uint8_t *const *dst, const QZCopyRegion *region,
        std::int32_t orgRow,
        std::int32_t orgCol) { QZtCopyImage(asSigned(src), asSigned(dst), region, orgRow, orgCol); },
     [](const std::uint8_t *const *src, std::uint8_t *const *dst, std::int32_t rows, std::int32_t columns,
        std::int32_t flipRows) { QZtMirrorImage(asSigned(src), asSigned(dst), rows, columns, flipRows); },
     8}};

class ImageLevels : public LevelTest {
protected:
    /// Two destinations with the same bytes.
    void fillAlike(PackedImage &a, PackedImage &b) {
        Random same(random_.bits()), again = same;
        a.fill([&] { return same.bits(); });
        b.fill([&] { return again.bits(); });
    }

    void compareCopy(const Member &member, int rows, int columns, int srcRow, int srcCol, int dstRow,
                     int dstCol) {
        // Nothing lies to the right of the region in the source: reads beyond it meet the page behind.
        PackedImage src(srcRow + rows, srcCol + columns, member.width);
        PackedImage dst(dstRow + rows + 1, dstCol + columns + 9, member.width, 1);
        PackedImage expected(dstRow + rows + 1, dstCol + columns + 9, member.width, 1);
        src.fill([&] { return random_.bits(); });
        fillAlike(dst, expected);
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < columns; ++j)
                expected.set(dstRow + i, dstCol + j, src.get(srcRow + i, srcCol + j));
        const QZCopyRegion region = {srcRow, srcCol, srcRow + rows - 1, srcCol + columns - 1};
        member.copy(src.rows(), dst.rows(), &region, dstRow, dstCol);
        ASSERT_EQ(expected.bytes(), dst.bytes())
            << rows << " x " << columns << ' ' << member.name << " from " << srcRow << ", " << srcCol
            << " to " << dstRow << ", " << dstCol << ", seed " << seed();
    }

    void compareMirror(const Member &member, int rows, int columns, bool flipRows, std::size_t gap) {
        PackedImage src(rows, columns, member.width), dst(rows, columns, member.width, gap);
        PackedImage expected(rows, columns, member.width, gap);
        src.fill([&] { return random_.bits(); });
        fillAlike(dst, expected);
        for (int i = 0; i < rows; ++i)
            for (int j = 0; j < columns; ++j)
                expected.set(flipRows ? rows - 1 - i : i, flipRows ? j : columns - 1 - j, src.get(i, j));
        member.mirror(src.rows(), dst.rows(), rows, columns, flipRows ? 1 : 0);
        ASSERT_EQ(expected.bytes(), dst.bytes())
            << rows << " x " << columns << ' ' << member.name << (flipRows ? ", rows" : ", columns")
            << ", seed " << seed();
    }

    int number(std::int64_t low, std::int64_t high) { return static_cast<int>(random_.integer(low, high)); }

    Random random_;
};
INSTANTIATE_TEST_SUITE_P(Levels, ImageLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(ImageLevels, CopiesFromAndToEveryPlaceInAByte) {
    for (const Member &member : members) {
        const int perByte = static_cast<int>(8 / member.width);
        for (int srcCol = 0; srcCol < perByte; ++srcCol)
            for (int dstCol = 0; dstCol < perByte; ++dstCol)
                for (int columns = 1; columns <= 130; columns += columns < 40 ? 1 : 9)
                    compareCopy(member, 2, columns, number(0, 1), srcCol, number(0, 1), dstCol);
    }
}

TEST_P(ImageLevels, CopiesOfAnySize) {
    for (const Member &member : members)
        for (int round = 0; round < 300; ++round) {
            const int widest = round % 30 == 0 ? 5000 : 200;
            compareCopy(member, number(1, 9), number(1, widest), number(0, 5), number(0, 70), number(0, 5),
                        number(0, 70));
        }
}

TEST_P(ImageLevels, MirrorsOfEveryWidth) {
    for (const Member &member : members)
        for (const bool flipRows : {false, true}) {
            for (int columns = 1; columns <= 300; ++columns)
                compareMirror(member, number(1, 3), columns, flipRows, static_cast<std::size_t>(columns % 2));
            for (int round = 0; round < 40; ++round)
                compareMirror(member, number(1, 40), number(1, 5000), flipRows, random_.index(70));
        }
}

/// Two images of which the second begins anywhere in the memory of the first.
TEST_P(ImageLevels, OverlappingImages) {
    constexpr int rows = 3, rowBytes = 90;
    for (const Member &member : members)
        for (int round = 0; round < 400; ++round) {
            const auto before = random_.elements<std::uint8_t>(2 * rows * rowBytes);
            const auto srcAt = random_.index(rows * rowBytes), dstAt = random_.index(rows * rowBytes);
            const int columns = number(1, rowBytes * 8 / static_cast<int>(member.width));
            const bool flipRows = round % 2 != 0;
            const auto tables = [&](std::vector<std::uint8_t> &memory) {
                std::vector<std::uint8_t *> table;
                for (const std::size_t at : {srcAt, dstAt})
                    for (std::size_t row = 0; row < rows; ++row)
                        table.push_back(memory.data() + at + row * rowBytes);
                return table;
            };
            auto expected = before, actual = before;
            auto wanted = tables(expected), moved = tables(actual);
            for (int i = 0; i < rows; ++i) {
                const std::uint8_t *const from = wanted[static_cast<std::size_t>(i)];
                std::uint8_t *const to =
                    wanted[static_cast<std::size_t>(rows + (flipRows ? rows - 1 - i : i))];
                if (flipRows) {
                    if (member.width == 1) QZbbCopy(from, to, 7, 7, columns);
                    if (member.width == 4) QZnbCopy(from, to, 1, 1, columns);
                    if (member.width == 8) QZybCopy(from, to, columns);
                    continue;
                }
                const int perByte = static_cast<int>(8 / member.width), mask = (1 << member.width) - 1;
                for (int j = 0; j < columns; ++j) {
                    const int last = columns - 1 - j, width = static_cast<int>(member.width);
                    const int value = from[j / perByte] >> (8 - width - j % perByte * width) & mask;
                    const int shift = 8 - width - last % perByte * width;
                    std::uint8_t &byte = to[last / perByte];
                    byte = static_cast<std::uint8_t>((byte & ~(mask << shift)) | value << shift);
                }
            }
            member.mirror(moved.data(), moved.data() + rows, rows, columns, flipRows ? 1 : 0);
            ASSERT_EQ(expected, actual) << columns << ' ' << member.name << " from byte " << srcAt << " to "
                                        << dstAt << ", seed " << seed();

            // A copy is row by row the packed copy.
            expected = actual = before;
            wanted = tables(expected);
            moved = tables(actual);
            const int srcCol = number(0, columns - 1), dstCol = number(0, columns - 1);
            const int count = number(1, columns - std::max(srcCol, dstCol));
            for (std::size_t i = 0; i < rows; ++i) {
                const std::uint8_t *const from = wanted[i];
                std::uint8_t *const to = wanted[rows + i];
                if (member.width == 1)
                    QZbbCopy(from + srcCol / 8, to + dstCol / 8, 7 - srcCol % 8, 7 - dstCol % 8, count);
                if (member.width == 4)
                    QZnbCopy(from + srcCol / 2, to + dstCol / 2, 1 - srcCol % 2, 1 - dstCol % 2, count);
                if (member.width == 8) QZybCopy(from + srcCol, to + dstCol, count);
            }
            const QZCopyRegion region = {0, srcCol, rows - 1, srcCol + count - 1};
            member.copy(moved.data(), moved.data() + rows, &region, 0, dstCol);
            ASSERT_EQ(expected, actual)
                << count << ' ' << member.name << " from " << srcAt << ", column " << srcCol << " to "
                << dstAt << ", column " << dstCol << ", seed " << seed();
        }
}

/// Rows whose distance is about their length: the last byte of one may be the first of the other.
TEST_P(ImageLevels, RowsThatAlmostOverlap) {
    constexpr std::size_t size = 90;
    for (const Member &member : members) {
        const int perByte = static_cast<int>(8 / member.width);
        for (int columns = 1; columns <= 40 * perByte; ++columns)
            for (int more = -1; more <= 1; ++more) {
                const int distance = columns / perByte + more;
                if (distance < 0) continue;
                for (const bool upwards : {false, true}) {
                    auto expected = random_.elements<std::uint8_t>(size);
                    auto actual = expected;
                    const auto from = static_cast<std::size_t>(upwards ? 0 : distance);
                    const auto to = static_cast<std::size_t>(upwards ? distance : 0);
                    if (member.width == 1)
                        QZbbCopy(expected.data() + from, expected.data() + to, 7, 7, columns);
                    if (member.width == 4)
                        QZnbCopy(expected.data() + from, expected.data() + to, 1, 1, columns);
                    if (member.width == 8) QZybCopy(expected.data() + from, expected.data() + to, columns);
                    const std::uint8_t *const src = actual.data() + from;
                    std::uint8_t *const dst = actual.data() + to;
                    member.mirror(&src, &dst, 1, columns, 1);
                    ASSERT_EQ(expected, actual)
                        << columns << ' ' << member.name << " from " << from << " to " << to;
                }
            }
    }
}

} // namespace
} // namespace qzk::test
