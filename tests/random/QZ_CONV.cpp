// Convolution of random images against the reference, at every level. Sums are integers, so everything is
// exact; the whole memory is compared, so that changes outside the rectangle show.
#include "reference/convolve.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Rows of an image by their places in one memory.
using Places = std::vector<std::size_t>;

std::vector<const void *> sourceRows(const Bytes &memory, const Places &places) {
    std::vector<const void *> rows;
    for (const std::size_t place : places)
        rows.push_back(memory.data() + place);
    return rows;
}

std::vector<void *> targetRows(Bytes &memory, const Places &places) {
    std::vector<void *> rows;
    for (const std::size_t place : places)
        rows.push_back(memory.data() + place);
    return rows;
}

std::size_t rowBytes(std::int32_t type, std::int32_t columns) {
    const int width = type == QZ_ImageBit ? 1 : type == QZ_ImageNibble ? 4 : 8;
    return static_cast<std::size_t>((columns * width + 7) / 8);
}

/// One call on one memory.
struct Problem {
    reference::Convolution call = {};
    Bytes memory;
    Places src, dst;
    std::vector<Bytes> coefficients;
    QZCopyRegion region = {};
    bool whole = true;
    std::int32_t shift = 0;

    std::string text() const {
        std::string s = "types " + std::to_string(call.srcType) + " " + std::to_string(call.maskType) + " " +
                        std::to_string(call.dstType) + ", image " + std::to_string(call.nRows) + " x " +
                        std::to_string(call.nCols) + ", mask " + std::to_string(call.maskRows) + " x " +
                        std::to_string(call.maskCols) + ", mode " + std::to_string(call.scaleMode) +
                        ", shift " + std::to_string(shift);
        if (!whole)
            s += ", region " + std::to_string(region.leftTopRow) + " " + std::to_string(region.leftTopCol) +
                 " " + std::to_string(region.rightBotRow) + " " + std::to_string(region.rightBotCol);
        return s + ", seed " + std::to_string(seed());
    }

    /// The call on another memory: by the reference, or by the library at the level in force.
    std::pair<Bytes, std::int32_t> result(bool byReference) const {
        Bytes result = memory;
        std::int32_t shiftAfter = shift;
        const auto from = sourceRows(result, src);
        const auto to = targetRows(result, dst);
        std::vector<const void *> mask;
        for (const Bytes &row : coefficients)
            mask.push_back(row.data());
        reference::Convolution c = call;
        c.src = from.data(), c.dst = to.data(), c.mask = mask.data();
        c.region = whole ? nullptr : &region, c.shift = &shiftAfter;
        if (byReference)
            reference::Convolver(c).run();
        else
            QZMaskConvolve(c.src, c.mask, c.dst, c.srcType, c.maskType, c.dstType, c.nRows, c.nCols,
                           c.maskRows, c.maskCols, c.region, c.scaleMode, c.shift);
        return {result, shiftAfter};
    }

    void compare() const {
        const auto expected = result(true);
        for (const simd::Level level : availableLevels()) {
            const ScopedLevel scoped(level);
            const auto actual = result(false);
            ASSERT_EQ(expected.second, actual.second) << simd::levelName(level) << ": " << text();
            ASSERT_TRUE(expected.first == actual.first) << simd::levelName(level) << ": " << text();
        }
    }
};

enum class Coefficients { small, any, largest };

class ConvolveRandom : public testing::Test {
protected:
    std::int32_t pick(std::int32_t low, std::int32_t high) {
        return static_cast<std::int32_t>(random.integer(low, high));
    }

    void setMask(Problem &p, std::int32_t type, std::int32_t rows, std::int32_t columns, Coefficients kind) {
        p.call.maskType = type, p.call.maskRows = rows, p.call.maskCols = columns;
        for (std::int32_t i = 0; i < rows; ++i) {
            Bytes row;
            for (std::int32_t j = 0; j < columns; ++j) {
                const std::int16_t value = kind == Coefficients::small
                                               ? static_cast<std::int16_t>(pick(-3, 3))
                                           : kind == Coefficients::any ? random.element<std::int16_t>()
                                           : random.bits() % 16 != 0   ? std::int16_t{INT16_MIN}
                                                                       : std::int16_t{INT16_MAX};
                row.push_back(static_cast<std::uint8_t>(value));
                if (type == QZ_Mask16Bits) row.push_back(static_cast<std::uint8_t>(value >> 8));
            }
            p.coefficients.push_back(row);
        }
    }

    void setImages(Problem &p, std::int32_t srcType, std::int32_t dstType, std::int32_t rows,
                   std::int32_t columns) {
        p.call.srcType = srcType, p.call.dstType = dstType, p.call.nRows = rows, p.call.nCols = columns;
        std::size_t end = 64;
        const auto place = [&](Places &places, std::size_t bytes) {
            for (std::int32_t r = 0; r < rows; ++r) {
                places.push_back(end);
                end += bytes + random.index(3);
            }
            end += 64;
        };
        place(p.src, rowBytes(srcType, columns));
        place(p.dst, rowBytes(dstType, columns));
        p.memory = random.elements<std::uint8_t>(end);
    }

    void setMode(Problem &p) {
        const std::int32_t modes[] = {0, 1, 1, 1, 2, 3, 3, -1, 4, INT32_MAX, INT32_MIN};
        p.call.scaleMode = modes[random.index(std::size(modes))];
        const std::int32_t shifts[] = {INT32_MIN, INT32_MAX, -8, 16, 32};
        p.shift = random.bits() % 8 == 0   ? shifts[random.index(std::size(shifts))]
                  : random.bits() % 2 == 0 ? pick(0, 8)
                                           : pick(-40, 40);
    }

    void setRegion(Problem &p) {
        p.whole = random.bits() % 3 == 0;
        const auto bound = [&](std::int32_t size) {
            const std::int32_t ends[] = {INT32_MIN, INT32_MAX, -1, 0, size - 1, size};
            return random.bits() % 4 == 0 ? ends[random.index(std::size(ends))] : pick(-2, size + 2);
        };
        p.region = {bound(p.call.nRows), bound(p.call.nCols), bound(p.call.nRows), bound(p.call.nCols)};
        if (random.bits() % 8 == 0) return;
        if (p.region.rightBotRow < p.region.leftTopRow) std::swap(p.region.rightBotRow, p.region.leftTopRow);
        if (p.region.rightBotCol < p.region.leftTopCol) std::swap(p.region.rightBotCol, p.region.leftTopCol);
    }

    Random random{31};
};

TEST_F(ConvolveRandom, AllTypesMasksModesAndRegions) {
    for (std::int32_t srcType = 0; srcType < 4; ++srcType)
        for (std::int32_t dstType = 0; dstType < 4; ++dstType)
            for (std::int32_t maskType = -1; maskType < 3; ++maskType)
                for (int round = 0; round < 40; ++round) {
                    Problem p;
                    setImages(p, srcType, dstType, pick(1, 12), pick(1, round % 4 == 0 ? 300 : 40));
                    setMask(p, maskType, pick(1, 9), pick(1, 9),
                            round % 2 == 0 ? Coefficients::small : Coefficients::any);
                    setMode(p);
                    setRegion(p);
                    ASSERT_NO_FATAL_FAILURE(p.compare());
                }
}

TEST_F(ConvolveRandom, WidthsAroundTheVectors) {
    for (std::int32_t columns = 1; columns <= 140; ++columns)
        for (const Coefficients kind : {Coefficients::small, Coefficients::any}) {
            Problem p;
            setImages(p, pick(0, 3), pick(0, 3), 4, columns);
            setMask(p, QZ_Mask16Bits, pick(1, 4), pick(1, 5), kind);
            setMode(p);
            ASSERT_NO_FATAL_FAILURE(p.compare());
        }
}

// Rows of the destination are stored in parts where they have to be packed.
TEST_F(ConvolveRandom, WideImages) {
    for (std::int32_t dstType = 0; dstType < 4; ++dstType)
        for (const std::int32_t columns : {1023, 1024, 1025, 1030, 2100})
            for (const std::int32_t maskCols : {1, 3, 4, columns - 1, columns}) {
                Problem p;
                setImages(p, pick(0, 3), dstType, 2, columns);
                setMask(p, QZ_Mask8Bits, pick(1, 2), maskCols, Coefficients::any);
                setMode(p);
                ASSERT_NO_FATAL_FAILURE(p.compare());
            }
}

// 514 coefficients of -32768 under elements of 255 leave 32 bits.
TEST_F(ConvolveRandom, SumsBeyond32Bits) {
    for (std::int32_t dstType = 0; dstType < 4; ++dstType)
        for (const std::int32_t srcType : {QZ_ImageSignedByte, QZ_ImageByte})
            for (const std::int32_t mode : {0, 1, 1, 1, 2, 3}) {
                Problem p;
                setImages(p, srcType, dstType, 25, 33);
                std::fill(p.memory.begin(), p.memory.begin() + static_cast<std::ptrdiff_t>(p.dst[0]), 0x80);
                if (srcType == QZ_ImageByte)
                    for (std::size_t i = 0; i < p.dst[0]; ++i)
                        p.memory[i] = static_cast<std::uint8_t>(255 - random.index(2));
                setMask(p, QZ_Mask16Bits, 24, 23, Coefficients::largest);
                p.call.scaleMode = mode;
                p.shift = pick(-3, 34);
                ASSERT_NO_FATAL_FAILURE(p.compare());
            }
}

TEST_F(ConvolveRandom, OverlappingImages) {
    for (int round = 0; round < 3000; ++round) {
        Problem p;
        const std::int32_t rows = pick(1, 12), columns = pick(1, round % 4 == 0 ? 200 : 20);
        setImages(p, pick(0, 3), pick(0, 3), rows, columns);
        setMask(p, QZ_Mask8Bits, pick(1, 5), pick(1, 5),
                round % 2 == 0 ? Coefficients::small : Coefficients::any);
        setMode(p);
        setRegion(p);
        const std::size_t room = p.memory.size() - 64 - rowBytes(QZ_ImageByte, columns);
        switch (round % 4) {
        case 0: // in place
            p.dst = p.src;
            p.call.dstType = p.call.srcType;
            break;
        case 1: // the same rows, moved
            for (std::size_t r = 0; r < p.dst.size(); ++r)
                p.dst[r] = p.src[(r + random.index(3)) % p.src.size()] + random.index(2);
            break;
        case 2: // rows of the destination that share bytes, anywhere
            for (std::size_t &place : p.dst)
                place = random.index(room);
            break;
        default: // rows of either image in any order
            for (std::size_t r = 1; r < p.dst.size(); ++r) {
                std::swap(p.dst[r], p.dst[random.index(r)]);
                std::swap(p.src[r], p.dst[random.index(r)]);
            }
            p.memory.resize(p.memory.size() + 400);
        }
        ASSERT_NO_FATAL_FAILURE(p.compare());
    }
}

} // namespace
} // namespace qzk::test
