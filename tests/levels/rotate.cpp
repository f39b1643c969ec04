// Image rotation at every level: the members against the reference, sizes whose centring gives every place of
// a byte, and the kernels against the plain ones at every offset. Whole memories are compared, so that
// changes outside the picture show; reads and writes past the images, or past any row that lies in pages of
// its own, meet inaccessible ones. Everything is exact.
#include "reference/rotate.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"
#include "support/fenced.hpp"
#include "support/levels.hpp"
#include "support/packed_image.hpp"
#include "support/random.hpp"

#include <cstring>
#include <deque>

namespace qzk::test {
namespace {

using reference::Matrix;

void rotateSigned(const std::uint8_t *const *src, std::uint8_t *const *dst, std::int32_t angle,
                  std::int32_t srcRows, std::int32_t srcCols, std::int32_t dstRows, std::int32_t dstCols) {
    QZtRotateImage(reinterpret_cast<const std::int8_t *const *>(src),
                   reinterpret_cast<std::int8_t *const *>(dst), angle, srcRows, srcCols, dstRows, dstCols);
}

constexpr struct {
    const char *name;
    decltype(&QZbRotateImage) rotate;
    unsigned width;
} members[] = {{"bits", QZbRotateImage, 1},
               {"nibbles", QZnRotateImage, 4},
               {"bytes", QZyRotateImage, 8},
               {"signed bytes", rotateSigned, 8}};

constexpr std::int32_t angles[] = {90, -90, 180, 0, 270, -270, 91, -180, 360, INT32_MIN, INT32_MAX};

class RotateLevels : public LevelTest {
protected:
    void compare(int srcRows, int srcCols, int dstRows, int dstCols, std::int32_t angle) {
        for (const auto &member : members) {
            PackedImage src(srcRows, srcCols, member.width, 1), dst(dstRows, dstCols, member.width, 1);
            PackedImage expected(dstRows, dstCols, member.width, 1);
            src.fill([&] { return random_.bits(); });
            Random same(random_.bits());
            Random again = same;
            dst.fill([&] { return same.bits(); });
            expected.fill([&] { return again.bits(); });

            Matrix source = reference::matrix(srcRows, srcCols), result = reference::matrix(dstRows, dstCols);
            copy(src, source);
            copy(expected, result);
            reference::rotate(source, result, angle, srcRows, srcCols, dstRows, dstCols);
            for (int i = 0; i < dstRows; ++i)
                for (int j = 0; j < dstCols; ++j)
                    expected.set(i, j, result[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)]);
            member.rotate(src.rows(), dst.rows(), angle, srcRows, srcCols, dstRows, dstCols);
            ASSERT_EQ(expected.bytes(), dst.bytes())
                << member.name << ", " << srcRows << " x " << srcCols << " to " << dstRows << " x " << dstCols
                << " by " << angle << ", seed " << seed();
        }
    }

    static void copy(const PackedImage &image, Matrix &matrix) {
        for (std::size_t i = 0; i < matrix.size(); ++i)
            for (std::size_t j = 0; j < matrix[i].size(); ++j)
                matrix[i][j] = image.get(static_cast<int>(i), static_cast<int>(j));
    }

    int extent(std::int64_t most) { return static_cast<int>(random_.integer(0, most)); }
    std::int32_t angle() { return angles[random_.index(random_.bits() % 2 == 0 ? 3 : std::size(angles))]; }

    Random random_;
};
INSTANTIATE_TEST_SUITE_P(Levels, RotateLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(RotateLevels, SmallSizes) {
    for (int round = 0; round < 900; ++round)
        compare(extent(70), extent(70), extent(70), extent(70), angle());
}

TEST_P(RotateLevels, NearSizesAreMovedAlmostWhole) {
    for (int round = 0; round < 400; ++round) {
        const int rows = extent(140), columns = extent(140);
        const int facing = std::max(0, columns + static_cast<int>(random_.integer(-18, 18)));
        const int other = std::max(0, rows + static_cast<int>(random_.integer(-18, 18)));
        const std::int32_t by = angle();
        if (by == 180)
            compare(rows, columns, other, facing, by);
        else
            compare(rows, columns, facing, other, by);
    }
}

TEST_P(RotateLevels, LargerSizes) {
    for (int round = 0; round < 12; ++round)
        compare(extent(700), extent(700), extent(700), extent(700), angle());
    for (const std::int32_t by : angles) {
        compare(257, 300, 300, 257, by);
        compare(150, 513, 520, 161, by);
    }
}

TEST_P(RotateLevels, KernelsAtEveryOffset) {
    using simd::RotateKernels;
    constexpr struct {
        void (*RotateKernels::*transpose)(const RotateKernels::Transpose &);
        unsigned width;
    } kernels[] = {{&RotateKernels::bits, 1}, {&RotateKernels::nibbles, 4}, {&RotateKernels::bytes, 8}};
    for (const auto &kernel : kernels)
        for (const int rows : {1, 2, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, 71, 127, 130, 145})
            for (const int columns : {1, 5, 8, 13, 16, 33, 64, 127, 128, 141, 300})
                for (int srcColumn = 0; srcColumn < static_cast<int>(8 / kernel.width); ++srcColumn) {
                    const auto dstColumn = static_cast<int>(random_.index(16));
                    PackedImage src(rows, srcColumn + columns, kernel.width);
                    PackedImage dst(columns, dstColumn + rows, kernel.width);
                    PackedImage expected(columns, dstColumn + rows, kernel.width);
                    src.fill([&] { return random_.bits(); });
                    std::uint64_t byte = random_.bits();
                    const std::uint64_t first = byte;
                    const auto next = [&byte] { return byte = byte * 6364136223846793005u + 1; };
                    dst.fill([&] { return next() >> 56; });
                    byte = first;
                    expected.fill([&] { return next() >> 56; });
                    RotateKernels::Transpose transpose = {
                        {src.rows() + rows - 1, -1},         {expected.rows(), 1},
                        static_cast<std::size_t>(srcColumn), static_cast<std::size_t>(dstColumn),
                        static_cast<std::size_t>(rows),      static_cast<std::size_t>(columns)};
                    (simd::kernelsOf(simd::Level::plain).rotate.*kernel.transpose)(transpose);
                    transpose.dst.first = dst.rows();
                    (simd::kernelsOf(GetParam()).rotate.*kernel.transpose)(transpose);
                    ASSERT_EQ(expected.bytes(), dst.bytes())
                        << kernel.width << " bits, " << rows << " x " << columns << " from " << srcColumn
                        << " to " << dstColumn << ", seed " << seed();
                }
}

/// Rows that have pages of their own between inaccessible ones.
class FencedRows {
public:
    FencedRows() {
        for (std::size_t i = 0; i < most; ++i)
            memory_.emplace_back(1);
    }

    /// Places rows of the given bytes at the ends, or else the beginnings, of their pages. The first
    /// `skipped` bytes of each lie behind the fence: nothing may touch them.
    std::uint8_t *const *place(const std::vector<std::vector<std::uint8_t>> &rows, std::size_t skipped,
                               bool atEnd) {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::size_t n = rows[i].size();
            std::uint8_t *const first = atEnd ? memory_[i].end() - n : memory_[i].begin();
            std::memcpy(first, rows[i].data(), n);
            rows_[i] = first - skipped;
        }
        return rows_;
    }

    static constexpr std::size_t most = 160;

private:
    std::deque<Fenced> memory_;
    std::uint8_t *rows_[most] = {};
};

TEST_P(RotateLevels, NothingBesideAnyRowIsTouched) {
    using simd::RotateKernels;
    using Rows = std::vector<std::vector<std::uint8_t>>;
    constexpr struct {
        void (*RotateKernels::*transpose)(const RotateKernels::Transpose &);
        std::size_t perByte;
    } kernels[] = {{&RotateKernels::bits, 8}, {&RotateKernels::nibbles, 2}, {&RotateKernels::bytes, 1}};
    FencedRows srcMemory, dstMemory;
    const auto compare = [&](auto kernel, std::size_t rows, std::size_t columns, std::size_t srcPart,
                             std::size_t dstPart, bool atEnd) {
        const std::size_t srcBytes = (srcPart + columns + kernel.perByte - 1) / kernel.perByte;
        const std::size_t dstBytes = (dstPart + rows + kernel.perByte - 1) / kernel.perByte;
        Rows src, expected;
        for (std::size_t i = 0; i < rows; ++i)
            src.push_back(random_.elements<std::uint8_t>(srcBytes));
        for (std::size_t i = 0; i < columns; ++i)
            expected.push_back(random_.elements<std::uint8_t>(dstBytes));
        const std::size_t srcSkipped = random_.index(3), dstSkipped = random_.index(3);
        std::uint8_t *const *const srcRows = srcMemory.place(src, srcSkipped, atEnd);
        std::uint8_t *const *const dstRows = dstMemory.place(expected, dstSkipped, atEnd);
        const bool down = random_.bits() % 2 == 0;
        (simd::kernelsOf(GetParam()).rotate.*
         kernel.transpose)({{down ? srcRows : srcRows + rows - 1, down ? 1 : -1},
                            {dstRows, 1},
                            srcSkipped * kernel.perByte + srcPart,
                            dstSkipped * kernel.perByte + dstPart,
                            rows,
                            columns});

        std::vector<const std::uint8_t *> from;
        std::vector<std::uint8_t *> to;
        for (auto &row : src)
            from.push_back(row.data());
        for (auto &row : expected)
            to.push_back(row.data());
        (simd::kernelsOf(simd::Level::plain).rotate.*
         kernel.transpose)({{down ? from.data() : from.data() + rows - 1, down ? 1 : -1},
                            {to.data(), 1},
                            srcPart,
                            dstPart,
                            rows,
                            columns});
        for (std::size_t i = 0; i < columns; ++i)
            ASSERT_EQ(0, std::memcmp(expected[i].data(), dstRows[i] + dstSkipped, dstBytes))
                << "row " << i << ", " << kernel.perByte << " a byte, " << rows << " x " << columns
                << " from " << srcPart << " to " << dstPart << ", seed " << seed();
    };
    constexpr std::size_t everySize = 40;
    for (const auto &kernel : kernels) {
        const auto part = [&] { return random_.index(kernel.perByte); };
        const auto size = [&] { return 1 + random_.index(FencedRows::most); };
        for (std::size_t rows = 1; rows <= everySize; ++rows)
            for (std::size_t columns = 1; columns <= everySize; ++columns)
                for (const bool atEnd : {false, true})
                    compare(kernel, rows, columns, part(), part(), atEnd);
        for (int round = 0; round < 200; ++round)
            compare(kernel, size(), size(), part(), part(), round % 2 != 0);
    }
}

} // namespace
} // namespace qzk::test
