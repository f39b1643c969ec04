#include "families.hpp"
#include "image.hpp"
#include "rows.hpp"

namespace qzk::digest {
namespace {

constexpr std::int32_t types[] = {QZ_ImageSignedByte, QZ_ImageNibble, QZ_ImageByte, QZ_ImageBit};
constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4};

std::int32_t maskExtent(Generator &random) {
    const std::int32_t least = random.below(24) == 0 ? 0 : 1;
    return random.between(least, random.below(2) == 0 ? 3 : 9);
}

template <class T>
void maskBy(Generator &random, std::int32_t maskType) {
    for (const std::int32_t srcType : types)
        for (const std::int32_t dstType : types)
            for (int i = 0; i < 40; ++i) {
                const std::int32_t rows = extent(random), columns = wideExtent(random);
                const std::int32_t maskRows = maskExtent(random), maskColumns = maskExtent(random);
                // Room for elements of any type, as the source may be the destination.
                const Image one(random, rows, columns, 8), two(random, rows, columns, 8);
                const Image &dst = random.below(3) == 0 ? one : two;
                const Rows<T> mask(random, static_cast<std::size_t>(maskRows),
                                   static_cast<std::size_t>(maskColumns), random.oneOf(kinds));
                QZCopyRegion region;
                region.leftTopRow = random.between(-3, rows);
                region.rightBotRow = random.between(region.leftTopRow - 1, rows + 3);
                region.leftTopCol = random.between(-3, columns);
                region.rightBotCol = random.between(region.leftTopCol - 1, columns + 3);
                const QZCopyRegion *const wanted = random.below(2) == 0 ? nullptr : &region;
                const std::int32_t mode = random.oneOf(modes);
                std::int32_t shift = random.below(8) == 0 ? random.between(-80, 80) : random.between(-3, 12);
                if (random.below(48) == 0) QZSetStatus(QZ_StsError);
                call<QZMaskConvolve>(one.rows<const void>(),
                                     reinterpret_cast<const void *const *>(mask.get()), dst.rows<void>(),
                                     srcType, maskType, dstType, rows, columns, maskRows, maskColumns, wanted,
                                     mode, &shift);
                one.put();
                two.put();
                put(shift);
            }
}

} // namespace

void convolution() {
    Generator random("QZMaskConvolve");
    maskBy<std::int8_t>(random, QZ_Mask8Bits);
    maskBy<std::int16_t>(random, QZ_Mask16Bits);
    maskBy<std::int8_t>(random, 7);
}

} // namespace qzk::digest
