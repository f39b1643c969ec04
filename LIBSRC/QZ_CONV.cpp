// Convolution of images with integer masks.
//
// A sum is an integer. The largest product is 255 * 32768, below 2^23, so that floats of the elements and
// coefficients, summed in double, would give it exactly up to 2^30 terms, whose mask alone takes four
// gigabytes, and with the 64 bits of extended precision up to 2^40. Integers of 64 bits hold it that far,
// too, and rounding it to an integer changes nothing. So sums are formed in integers, in any order, and with
// fewer bits where the mask's coefficients prove that enough.
#include "common/elements.hpp"
#include "common/memory.hpp"
#include "common/overlap.hpp"
#include "common/report.hpp"
#include "common/unaligned.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>

using namespace qzk;

namespace {

using simd::ConvolveKernels;
using simd::Fit;
using simd::Mask;
using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::int8_t;
using std::size_t;
using std::uint8_t;

constexpr Reporter report("..\\LIBSRC\\QZ_CONV");

struct ImageType {
    size_t width; // bits
    int32_t lowest, highest;
    uint8_t bias; // what a row window's elements are larger by

    size_t bytes(int64_t columns) const { return (static_cast<size_t>(columns) * width + 7) / 8; }
};

constexpr ImageType imageTypes[] = {{8, -128, 127, 128}, {4, 0, 15, 0}, {8, 0, 255, 0}, {1, 0, 1, 0}};
static_assert(QZ_ImageSignedByte == 0 && QZ_ImageNibble == 1 && QZ_ImageByte == 2 && QZ_ImageBit == 3);

/// Both ends inclusive. 64 bits, so that no sum with a mask's reach overflows.
struct Area {
    int64_t top, left, bottom, right;

    bool empty() const { return bottom < top || right < left; }
    int64_t rows() const { return bottom - top + 1; }
    int64_t columns() const { return right - left + 1; }
    bool operator==(const Area &) const = default;
};

class Convolution {
public:
    Convolution(const void *const *src, void *const *dst, int32_t srcType, int32_t dstType, int64_t nRows,
                int64_t nCols, int64_t maskRows, int64_t maskCols)
        : src_(src), dst_(dst), srcType_(srcType), dstType_(dstType), nRows_(nRows), nCols_(nCols),
          above_(maskRows / 2), before_(maskCols / 2), below_((maskRows - 1) / 2),
          after_((maskCols - 1) / 2), mask_{nullptr, static_cast<size_t>(maskRows),
                                            static_cast<size_t>(maskCols), 0} {}

    /// The part of a region whose elements have the whole mask inside the image.
    Area interiorOf(const Area &region) const {
        return {std::max(above_, region.top), std::max(before_, region.left),
                std::min(region.bottom, nRows_ - 1 - below_), std::min(region.right, nCols_ - 1 - after_)};
    }

    void setMask(const void *const *mask, int32_t maskType, float *room);

    /// Elements per row of the window for an interior. A row of as many floats has room for the elements of
    /// the region around it, zeros outside the image included, as words: those are less than twice as many.
    int32_t windowColumns(const Area &interior) const {
        const auto columns = interior.columns() + static_cast<int64_t>(mask_.columns) - 1;
        const auto least = static_cast<int64_t>(mask_.columns + ConvolveKernels::block);
        constexpr int64_t most = std::numeric_limits<int32_t>::max();
        return static_cast<int32_t>(std::max(columns, std::min(least, most)));
    }

    bool apart(const Area &region) const;

    /// All elements of an area, row by row. Each source row is read before the first destination row that it
    /// belongs to is written.
    void convolve(const Area &area, const Fit &fit, float **window) const {
        if (ofBytes_)
            slide<uint8_t>(area, fit, window, simd::kernels().convolve.ofBytes);
        else
            slide<int16_t>(area, fit, window,
                           fits32Bits_ ? simd::kernels().convolve.ofWords : plain().ofWords);
    }

    /// The elements of an area one by one, each reading the source as the others have left it.
    void convolveSingly(const Area &area, const Fit &fit) const {
        for (int64_t r = area.top; r <= area.bottom; ++r)
            for (int64_t c = area.left; c <= area.right; ++c) {
                const uint8_t value = simd::fitted(fit, sumAt(r, c));
                plain().pack[dstType_](&value, 1, dstRow(r), static_cast<size_t>(c));
            }
    }

private:
    static const ConvolveKernels &plain() { return simd::kernelsOf(simd::Level::plain).convolve; }

    const uint8_t *srcRow(int64_t r) const { return static_cast<const uint8_t *>(src_[r]); }
    uint8_t *dstRow(int64_t r) const { return static_cast<uint8_t *>(dst_[r]); }

    template <class Element>
    int64_t sumOf(int64_t r, int64_t c) const;
    int64_t sumAt(int64_t r, int64_t c) const;
    template <class Pixel>
    void slide(const Area &area, const Fit &fit, float **window, ConvolveKernels::Row row) const;
    template <class Pixel>
    void fetch(int64_t r, int64_t first, int64_t n, Pixel *to) const;
    void store(int64_t r, const Area &area, const Fit &fit, float *const *window,
               ConvolveKernels::Row row) const;

    const void *const *src_;
    void *const *dst_;
    int32_t srcType_, dstType_;
    int64_t nRows_, nCols_;
    int64_t above_, before_, below_, after_; // reach of the mask
    Mask mask_;
    bool ofBytes_ = false, fits32Bits_ = false;
};

/// Copies the coefficients and chooses the sums that they allow.
void Convolution::setMask(const void *const *mask, int32_t maskType, float *room) {
    auto *const coefficients = reinterpret_cast<int16_t *>(room);
    int64_t sum = 0, magnitudes = 0;
    bool of8Bits = true;
    for (size_t i = 0; i < mask_.rows; ++i)
        for (size_t j = 0; j < mask_.columns; ++j) {
            const int32_t coefficient = maskType == QZ_Mask16Bits
                                            ? elementAt(static_cast<const int16_t *>(mask[i]), j)
                                            : static_cast<const int8_t *>(mask[i])[j];
            coefficients[i * mask_.columns + j] = static_cast<int16_t>(coefficient);
            sum += coefficient;
            magnitudes += coefficient < 0 ? -coefficient : coefficient;
            of8Bits = of8Bits && coefficient == static_cast<int8_t>(coefficient);
        }
    const ImageType &type = imageTypes[srcType_];
    mask_.coefficients = coefficients;
    mask_.start = -type.bias * sum;
    ofBytes_ = of8Bits && magnitudes * (type.highest + type.bias) <= std::numeric_limits<int16_t>::max();
    fits32Bits_ = magnitudes * 255 <= std::numeric_limits<int32_t>::max();
}

/// True where the order of the elements does not show: no row of the destination shares bytes with another
/// one or with the source rows that the region needs.
bool Convolution::apart(const Area &region) const {
    const int64_t first = std::max<int64_t>(0, region.top - above_);
    const int64_t last = std::min(nRows_ - 1, region.bottom + below_);
    return rowsApart(src_ + first, last - first + 1, imageTypes[srcType_].bytes(nCols_), dst_ + region.top,
                     region.rows(), imageTypes[dstType_].bytes(region.right + 1));
}

template <class Element>
int64_t Convolution::sumOf(int64_t r, int64_t c) const {
    const auto maskRows = static_cast<int64_t>(mask_.rows), maskCols = static_cast<int64_t>(mask_.columns);
    const int64_t firstRow = std::max<int64_t>(0, above_ - r),
                  lastRow = std::min(maskRows, nRows_ + above_ - r);
    const int64_t firstCol = std::max<int64_t>(0, before_ - c),
                  lastCol = std::min(maskCols, nCols_ + before_ - c);
    int64_t sum = 0;
    for (int64_t i = firstRow; i < lastRow; ++i) {
        const Source<Element> source = {
            reinterpret_cast<decltype(Source<Element>::first)>(srcRow(r - above_ + i))};
        const int16_t *const coefficients = mask_.coefficients + i * maskCols;
        for (int64_t j = firstCol; j < lastCol; ++j)
            sum += source.get(static_cast<size_t>(c - before_ + j)) * coefficients[j];
    }
    return sum;
}

int64_t Convolution::sumAt(int64_t r, int64_t c) const {
    switch (srcType_) {
    case QZ_ImageSignedByte:
        return sumOf<int8_t>(r, c);
    case QZ_ImageNibble:
        return sumOf<Nibble>(r, c);
    case QZ_ImageByte:
        return sumOf<uint8_t>(r, c);
    default:
        return sumOf<Bit>(r, c);
    }
}

/// n elements of source row r; those outside the image are 0.
template <class Pixel>
void Convolution::fetch(int64_t r, int64_t first, int64_t n, Pixel *to) const {
    const uint8_t zero = imageTypes[srcType_].bias;
    const int64_t begin = std::clamp<int64_t>(-first, 0, n);
    const int64_t end = r < 0 || r >= nRows_ ? begin : std::clamp<int64_t>(nCols_ - first, begin, n);
    // Words are widened in place.
    uint8_t *const elements = reinterpret_cast<uint8_t *>(to) + (sizeof(Pixel) - 1) * static_cast<size_t>(n);
    std::memset(elements, zero, static_cast<size_t>(begin));
    if (begin < end)
        simd::kernels().convolve.unpack[srcType_](srcRow(r), static_cast<size_t>(first + begin),
                                                  static_cast<size_t>(end - begin), elements + begin);
    std::memset(elements + end, zero, static_cast<size_t>(n - end));
    if constexpr (sizeof(Pixel) == 2) simd::kernels().convolve.widen(elements, static_cast<size_t>(n), to);
}

template <class Pixel>
void Convolution::slide(const Area &area, const Fit &fit, float **window, ConvolveKernels::Row row) const {
    const int64_t columns = area.columns() + before_ + after_;
    const auto take = [&](int64_t r) {
        fetch(r, area.left - before_, columns, reinterpret_cast<Pixel *>(window[0]));
        std::rotate(window, window + 1, window + mask_.rows);
    };
    for (int64_t r = area.top - above_; r < area.top + below_; ++r)
        take(r);
    for (int64_t r = area.top; r <= area.bottom; ++r) {
        take(r + below_);
        store(r, area, fit, window, row);
    }
}

/// Destination row r within an area.
void Convolution::store(int64_t r, const Area &area, const Fit &fit, float *const *window,
                        ConvolveKernels::Row row) const {
    const auto left = static_cast<size_t>(area.left), columns = static_cast<size_t>(area.columns());
    if (imageTypes[dstType_].width == 8) return row(mask_, window, 0, columns, fit, dstRow(r) + left);
    uint8_t values[1024];
    for (size_t c = 0, count; c < columns; c += count) {
        count = std::min(std::size(values), columns - c);
        row(mask_, window, c, count, fit, values);
        simd::kernels().convolve.pack[dstType_](values, count, dstRow(r), left + c);
    }
}

Fit shifted(int32_t shift) {
    Fit fit;
    if (shift >= 0)
        fit.right = std::min(shift, 63); // the sign is left, whatever the sum
    else
        fit.left = shift > -8 ? -shift : 8; // nothing is left of the low eight bits
    return fit;
}

Fit saturated(const ImageType &type) {
    Fit fit;
    fit.clamps = true;
    fit.lowest = type.lowest;
    fit.highest = type.highest;
    return fit;
}

/// The border, in an order that shows where the images overlap: the rows above the interior, those below,
/// then both sides of all rows from the interior's first on. kept: the corners below are computed twice.
void convolveBorder(const Convolution &convolution, const Area &region, const Area &interior,
                    const Fit &fit) {
    if (interior.empty()) return convolution.convolveSingly(region, fit);
    convolution.convolveSingly({region.top, region.left, interior.top - 1, region.right}, fit);
    convolution.convolveSingly({interior.bottom + 1, region.left, region.bottom, region.right}, fit);
    for (int64_t r = interior.top; r <= region.bottom; ++r) {
        convolution.convolveSingly({r, region.left, r, interior.left - 1}, fit);
        convolution.convolveSingly({r, interior.right + 1, r, region.right}, fit);
    }
}

} // namespace

extern "C" {

void QZMaskConvolve(const void *const *srcImage, const void *const *mask, void *const *dstImage,
                    int32_t srcType, int32_t maskType, int32_t dstType, int32_t nRows, int32_t nCols,
                    int32_t maskRows, int32_t maskCols, const QZCopyRegion *convRgn, int32_t scaleMode,
                    int32_t *pShift) {
    if (maskRows < 1 || maskCols < 1) return;
    Area region = {0, 0, int64_t{nRows} - 1, int64_t{nCols} - 1};
    if (convRgn != nullptr)
        region = {std::max<int64_t>(region.top, convRgn->leftTopRow),
                  std::max<int64_t>(region.left, convRgn->leftTopCol),
                  std::min<int64_t>(region.bottom, convRgn->rightBotRow),
                  std::min<int64_t>(region.right, convRgn->rightBotCol)};
    if (region.empty()) return;

    float **const room = QZsAllocTable(maskRows, maskCols);
    if (QZGetStatus() < 0 || room == nullptr) { // kept: a status from before the call stops it, too
        if (room != nullptr) QZsFreeTable(room);
        report.backTrace(__func__, 1869);
        return;
    }
    Convolution convolution(srcImage, dstImage, srcType, dstType, nRows, nCols, maskRows, maskCols);
    convolution.setMask(mask, maskType, room[0]);

    Fit inside = saturated(imageTypes[dstType]), outside;
    if (scaleMode == QZ_ScaleWrap || scaleMode == QZ_ScaleFixed)
        inside = outside = shifted(scaleMode == QZ_ScaleFixed ? *pShift : 0);
    else if (scaleMode == QZ_ScaleSaturate)
        outside = inside;
    // kept: with any other mode the interior is clamped and the border is not.

    const Area interior = convolution.interiorOf(region);
    bool complete = false;
    if (!interior.empty()) {
        float **const window = QZsAlloc2(maskRows, convolution.windowColumns(interior));
        if (QZGetStatus() < 0 || window == nullptr) {
            if (window != nullptr) QZsFree2(window, maskRows);
            QZsFreeTable(room);
            report.backTrace(__func__, 1910);
            return;
        }
        complete = convolution.apart(region);
        const bool alike = inside.clamps == outside.clamps;
        if (complete) convolution.convolve(region, outside, window);
        if (!complete || !alike) convolution.convolve(interior, inside, window);
        QZsFree2(window, maskRows);
    }
    if (!complete) convolveBorder(convolution, region, interior, outside);
    if (scaleMode != QZ_ScaleFixed) *pShift = 0;
    QZsFreeTable(room);
}

} // extern "C"
