#include "commands.hpp"
#include "common/library.hpp"

#include <algorithm>

namespace imagetool {
namespace {

/// The library's functions for a depth.
struct Functions {
    decltype(&QZyRotateImage) rotate;
    decltype(&QZyMirrorImage) mirror;
    decltype(&QZyCopyImage) copy;
    std::int32_t type; ///< of QZMaskConvolve()
};

Functions functionsFor(int bits) {
    if (bits == 1) return {QZbRotateImage, QZbMirrorImage, QZbCopyImage, QZ_ImageBit};
    if (bits == 4) return {QZnRotateImage, QZnMirrorImage, QZnCopyImage, QZ_ImageNibble};
    return {QZyRotateImage, QZyMirrorImage, QZyCopyImage, QZ_ImageByte};
}

void convolve(const Image &image, const Mask &mask, const QZCopyRegion &region, Image &result,
              std::int32_t resultType) {
    std::vector<const void *> rows;
    for (const std::vector<std::int16_t> &row : mask.rows)
        rows.push_back(row.data());
    constexpr std::int32_t wordMask = 1;
    std::int32_t shift = mask.scaling.shift;
    QZMaskConvolve(reinterpret_cast<const void *const *>(image.table()), rows.data(),
                   reinterpret_cast<void *const *>(result.table()), functionsFor(image.bits()).type, wordMask,
                   resultType, image.rows(), image.columns(), static_cast<std::int32_t>(mask.rows.size()),
                   static_cast<std::int32_t>(mask.columns()), &region,
                   mask.scaling.fit == Fit::shift ? QZ_ScaleFixed : QZ_ScaleSaturate, &shift);
    common::checkLibrary();
}

} // namespace

Image rotated(const Image &image, int angle) {
    const bool turned = angle != 180;
    Image result(turned ? image.columns() : image.rows(), turned ? image.rows() : image.columns(),
                 image.bits());
    functionsFor(image.bits())
        .rotate(image.table(), result.table(), angle, image.rows(), image.columns(), result.rows(),
                result.columns());
    return result;
}

Image mirrored(const Image &image, bool upsideDown) {
    Image result(image.rows(), image.columns(), image.bits());
    functionsFor(image.bits())
        .mirror(image.table(), result.table(), image.rows(), image.columns(), upsideDown);
    return result;
}

Image cut(const Image &image, const QZCopyRegion &region) {
    Image result(region.rightBotRow - region.leftTopRow + 1, region.rightBotCol - region.leftTopCol + 1,
                 image.bits());
    paste(image, region, result, {});
    return result;
}

void paste(const Image &image, const QZCopyRegion &region, Image &into, Place at) {
    functionsFor(image.bits()).copy(image.table(), into.table(), &region, at.row, at.column);
    common::checkLibrary();
}

Image convolved(const Image &image, const Mask &mask, const QZCopyRegion &region) {
    Image result = cut(image, wholeOf(image));
    if (mask.scaling.middle) {
        // Signed bytes around 0 become unsigned ones around 128 with their highest bit turned over.
        convolve(image, mask, region, result, QZ_ImageSignedByte);
        for (std::int32_t row = region.leftTopRow; row <= region.rightBotRow; ++row)
            QZybXor2s(0x80, result.table()[row] + region.leftTopCol,
                      region.rightBotCol - region.leftTopCol + 1);
        return result;
    }
    const std::int32_t type = functionsFor(image.bits()).type;
    convolve(image, mask, region, result, type);
    if (mask.scaling.fit == Fit::absolute) {
        // Clamped at 0, either the sum or its negative is left.
        Image negative(image.rows(), image.columns(), image.bits());
        convolve(image, mask.negated(), region, negative, type);
        for (std::int32_t row = region.leftTopRow; row <= region.rightBotRow; ++row)
            QZybOr2(negative.table()[row], result.table()[row], result.bytesPerRow());
    }
    return result;
}

QZCopyRegion wholeOf(const Image &image) { return {0, 0, image.rows() - 1, image.columns() - 1}; }

} // namespace imagetool
