// Quarter and half turns of images. A turn places source element (i, j) of the part that is moved by one
// formula; a quarter turn is a transposition that takes the rows of one image backwards, a half turn takes
// the rows of one image backwards and reverses each.
#include "common/reverse.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

using namespace qzk;

namespace {

using simd::Rows;
using std::int32_t;
using std::int64_t;
using std::ptrdiff_t;
using std::size_t;
using std::uint8_t;

/// What is moved along one dimension: the smaller extent, from the middle of the larger one.
struct Fit {
    size_t count, srcOffset, dstOffset;

    Fit(int32_t srcExtent, int32_t dstExtent)
        : count(static_cast<size_t>(std::max(0, std::min(srcExtent, dstExtent)))), srcOffset(0),
          dstOffset(0) {
        if (dstExtent >= srcExtent)
            dstOffset = static_cast<size_t>((int64_t{dstExtent} - srcExtent) >> 1);
        else
            srcOffset = static_cast<size_t>((int64_t{srcExtent} - dstExtent) >> 1);
    }
};

/// Row i of the result is row offset + i of the image, or row offset + count - 1 - i where it is taken
/// backwards.
template <class Byte>
Rows<Byte> rowsOf(Byte *const *image, size_t offset, size_t count, bool backwards) {
    return {image + offset + (backwards ? count - 1 : 0), backwards ? -1 : 1};
}

template <class Element>
void transpose(const simd::RotateKernels::Transpose &transpose) {
    const simd::RotateKernels &kernels = simd::kernels().rotate;
    if constexpr (std::is_same_v<Element, Bit>)
        kernels.bits(transpose);
    else if constexpr (std::is_same_v<Element, Nibble>)
        kernels.nibbles(transpose);
    else
        kernels.bytes(transpose);
}

template <class Element>
void quarterTurn(const uint8_t *const *src, uint8_t *const *dst, bool clockwise, Fit rows, Fit columns) {
    transpose<Element>({rowsOf(src, rows.srcOffset, rows.count, clockwise),
                        rowsOf(dst, columns.dstOffset, columns.count, !clockwise), columns.srcOffset,
                        rows.dstOffset, rows.count, columns.count});
}

template <class Element>
void halfTurn(const uint8_t *const *src, uint8_t *const *dst, Fit rows, Fit columns) {
    constexpr size_t perByte = 8 / Source<Element>::width;
    const size_t srcByte = columns.srcOffset / perByte, dstByte = columns.dstOffset / perByte;
    for (size_t i = 0; i < rows.count; ++i)
        reverseRow<Element>(src[rows.srcOffset + i] + srcByte, columns.srcOffset % perByte,
                            dst[rows.dstOffset + rows.count - 1 - i] + dstByte, columns.dstOffset % perByte,
                            columns.count);
}

template <class Element>
void rotate(const uint8_t *const *src, uint8_t *const *dst, int32_t angle, int32_t srcRows, int32_t srcCols,
            int32_t dstRows, int32_t dstCols) {
    // kept: every angle but these two turns counter-clockwise, 0 and 270 included.
    constexpr int32_t clockwise = -90, half = 180;
    const Fit rows(srcRows, angle == half ? dstRows : dstCols);
    const Fit columns(srcCols, angle == half ? dstCols : dstRows);
    if (rows.count == 0 || columns.count == 0) return;
    if (angle == half)
        halfTurn<Element>(src, dst, rows, columns);
    else
        quarterTurn<Element>(src, dst, angle == clockwise, rows, columns);
}

} // namespace

extern "C" {

void QZbRotateImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t angle, int32_t srcRows,
                    int32_t srcCols, int32_t dstRows, int32_t dstCols) {
    rotate<Bit>(srcImage, dstImage, angle, srcRows, srcCols, dstRows, dstCols);
}
void QZnRotateImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t angle, int32_t srcRows,
                    int32_t srcCols, int32_t dstRows, int32_t dstCols) {
    rotate<Nibble>(srcImage, dstImage, angle, srcRows, srcCols, dstRows, dstCols);
}
void QZyRotateImage(const uint8_t *const *srcImage, uint8_t *const *dstImage, int32_t angle, int32_t srcRows,
                    int32_t srcCols, int32_t dstRows, int32_t dstCols) {
    rotate<uint8_t>(srcImage, dstImage, angle, srcRows, srcCols, dstRows, dstCols);
}
void QZtRotateImage(const int8_t *const *srcImage, int8_t *const *dstImage, int32_t angle, int32_t srcRows,
                    int32_t srcCols, int32_t dstRows, int32_t dstCols) {
    rotate<uint8_t>(reinterpret_cast<const uint8_t *const *>(srcImage),
                    reinterpret_cast<uint8_t *const *>(dstImage), angle, srcRows, srcCols, dstRows, dstCols);
}

} // extern "C"
