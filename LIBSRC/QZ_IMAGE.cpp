// Copies of image regions and mirror images, row by row.
#include "common/overlap.hpp"
#include "common/report.hpp"
#include "common/reverse.hpp"
#include "qzk.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace qzk;

namespace {

using std::int32_t;
using std::int64_t;
using std::ptrdiff_t;
using std::size_t;
using std::uint8_t;

constexpr Reporter report("..\\LIBSRC\\QZ_IMAGE");

/// What one copy reports under.
struct Member {
    const char *name;
    int32_t line;
};

/// A place in a row of packed elements. Element is Bit, Nibble or uint8_t.
template <class Element>
struct Column {
    static constexpr int32_t perByte = 8 / Source<Element>::width;

    explicit Column(int32_t column) : byte(column / perByte), offset(perByte - 1 - column % perByte) {}

    ptrdiff_t byte;
    int32_t offset; // as the packed copies count it: from the end of the byte
};

template <class Element>
void copyPacked(const uint8_t *src, uint8_t *dst, int32_t srcOffset, int32_t dstOffset, int32_t n) {
    if constexpr (std::is_same_v<Element, Bit>)
        QZbbCopy(src, dst, srcOffset, dstOffset, n);
    else
        QZnbCopy(src, dst, srcOffset, dstOffset, n);
}

/// At least one element. Where both rows begin with a byte and share none, all but the last byte's elements
/// are plain bytes, whose copy costs less than a packed one.
template <class Element>
void copyRow(const uint8_t *src, uint8_t *dst, Column<Element> from, Column<Element> to, int32_t n) {
    constexpr int32_t perByte = Column<Element>::perByte, first = perByte - 1;
    src += from.byte;
    dst += to.byte;
    if constexpr (perByte == 1) {
        QZybCopy(src, dst, n);
    } else {
        int32_t done = 0;
        if (from.offset == first && to.offset == first) {
            const auto bytes = static_cast<size_t>(n / perByte);
            if (apart(src, dst, bytes + 1)) {
                std::memcpy(dst, src, bytes);
                src += bytes;
                dst += bytes;
                done = n - n % perByte;
            }
        }
        if (done < n) copyPacked<Element>(src, dst, from.offset, to.offset, n - done);
    }
}

template <class Byte>
const uint8_t *sourceRow(const Byte *const *image, int64_t row) {
    return reinterpret_cast<const uint8_t *>(image[static_cast<ptrdiff_t>(row)]);
}
template <class Byte>
uint8_t *targetRow(Byte *const *image, int64_t row) {
    return reinterpret_cast<uint8_t *>(image[static_cast<ptrdiff_t>(row)]);
}

/// Reports everything that is wrong. False when the status is negative afterwards, be it from an earlier
/// failure. kept: a region that is not there skips its checks, and no more.
bool isClear(const Member &member, const QZCopyRegion *region, int32_t orgRow, int32_t orgCol) {
    const auto check = [&](bool failed, const char *message) {
        if (failed) report(QZ_StsBadArg, member.name, message, member.line);
    };
    check(orgRow < 0, "orgRow < 0");
    check(orgCol < 0, "orgCol < 0");
    if (region != nullptr) {
        check(region->leftTopRow < 0, "copyRgn->leftTopRow < 0");
        check(region->leftTopCol < 0, "copyRgn->leftTopCol < 0");
        check(region->rightBotRow < region->leftTopRow, "copyRgn->rightBotRow < copyRgn->leftTopRow");
        check(region->rightBotCol < region->leftTopCol, "copyRgn->rightBotCol < copyRgn->leftTopCol");
    }
    return QZGetStatus() >= 0;
}

template <class Element, class Byte>
void copyImage(const Member &member, const Byte *const *src, Byte *const *dst, const QZCopyRegion *copyRgn,
               int32_t orgRow, int32_t orgCol) {
    if (!isClear(member, copyRgn, orgRow, orgCol)) return;
    const QZCopyRegion region = *copyRgn;
    const int64_t columns = int64_t{region.rightBotCol} - region.leftTopCol + 1;
    if (columns < 1 || columns > std::numeric_limits<int32_t>::max()) return;
    const Column<Element> from(region.leftTopCol), to(orgCol);
    for (int64_t row = region.leftTopRow, dstRow = orgRow; row <= region.rightBotRow; ++row, ++dstRow)
        copyRow(sourceRow(src, row), targetRow(dst, dstRow), from, to, static_cast<int32_t>(columns));
}

template <class Element, class Byte>
void mirrorImage(const Byte *const *src, Byte *const *dst, int32_t nRows, int32_t nCols, int32_t flipRows) {
    if (nCols < 1) return;
    const Column<Element> first(0);
    for (int32_t row = 0; row < nRows; ++row)
        if (flipRows != 0)
            copyRow(sourceRow(src, row), targetRow(dst, nRows - 1 - row), first, first, nCols);
        else
            reverseRow<Element>(sourceRow(src, row), 0, targetRow(dst, row), 0, static_cast<size_t>(nCols));
}

} // namespace

extern "C" {

void QZbCopyImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, const QZCopyRegion *copyRgn,
                  int32_t orgRow, int32_t orgCol) {
    copyImage<Bit>({__func__, 238}, srcImage, dstImage, copyRgn, orgRow, orgCol);
}
void QZnCopyImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, const QZCopyRegion *copyRgn,
                  int32_t orgRow, int32_t orgCol) {
    copyImage<Nibble>({__func__, 275}, srcImage, dstImage, copyRgn, orgRow, orgCol);
}
void QZyCopyImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, const QZCopyRegion *copyRgn,
                  int32_t orgRow, int32_t orgCol) {
    copyImage<uint8_t>({__func__, 312}, srcImage, dstImage, copyRgn, orgRow, orgCol);
}
void QZtCopyImage(const int8_t *const *srcImage, int8_t *const *dstImage, const QZCopyRegion *copyRgn,
                  int32_t orgRow, int32_t orgCol) {
    copyImage<uint8_t>({__func__, 347}, srcImage, dstImage, copyRgn, orgRow, orgCol);
}

void QZbMirrorImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t nRows, int32_t nCols,
                    int32_t flipRows) {
    mirrorImage<Bit>(srcImage, dstImage, nRows, nCols, flipRows);
}
void QZnMirrorImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t nRows, int32_t nCols,
                    int32_t flipRows) {
    mirrorImage<Nibble>(srcImage, dstImage, nRows, nCols, flipRows);
}
void QZyMirrorImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t nRows, int32_t nCols,
                    int32_t flipRows) {
    mirrorImage<uint8_t>(srcImage, dstImage, nRows, nCols, flipRows);
}
void QZtMirrorImage(const int8_t *const *srcImage, int8_t *const *dstImage, int32_t nRows, int32_t nCols,
                    int32_t flipRows) {
    mirrorImage<uint8_t>(srcImage, dstImage, nRows, nCols, flipRows);
}

} // extern "C"
