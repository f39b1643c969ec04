#include "families.hpp"
#include "image.hpp"

#include <algorithm>

namespace qzk::digest {
namespace {

/// Between two places of an image or of two.
template <auto f, class T>
void exercise(void (*)(const T *const *, T *const *, const QZCopyRegion *, std::int32_t, std::int32_t)) {
    Generator random(nameOf<f>());
    const std::size_t width = widthOf(nameOf<f>()[2]);
    for (int i = 0; i < 600; ++i) {
        const std::int32_t rows = std::max(extent(random), 1), columns = 8 * std::max(extent(random), 1);
        const Image one(random, rows, columns, width), two(random, rows, columns, width);
        const Image &dst = random.below(2) == 0 ? one : two;
        QZCopyRegion region;
        region.leftTopRow = random.between(0, rows - 1);
        region.rightBotRow = random.between(region.leftTopRow, rows - 1);
        region.leftTopCol = random.between(0, columns - 1);
        region.rightBotCol = random.between(region.leftTopCol, columns - 1);
        std::int32_t row = random.between(0, rows - 1 - (region.rightBotRow - region.leftTopRow));
        std::int32_t column = random.between(0, columns - 1 - (region.rightBotCol - region.leftTopCol));
        if (random.below(8) == 0) { // one or more faults, each of which is reported
            std::int32_t *const numbers[] = {&region.leftTopRow,
                                             &region.leftTopCol,
                                             &region.rightBotRow,
                                             &region.rightBotCol,
                                             &row,
                                             &column};
            for (std::size_t faults = 1 + random.below(3); faults > 0; --faults)
                *random.oneOf(numbers) = -random.between(1, 9);
        }
        if (random.below(24) == 0) QZSetStatus(QZ_StsError);
        call<f>(one.rows<T>(), dst.rows<T>(), static_cast<const QZCopyRegion *>(&region), row, column);
        one.put();
        two.put();
    }
}

template <auto f, class T>
void exercise(void (*)(const T *const *, T *const *, std::int32_t, std::int32_t, std::int32_t)) {
    Generator random(nameOf<f>());
    const std::size_t width = widthOf(nameOf<f>()[2]);
    for (int i = 0; i < 600; ++i) {
        const std::int32_t rows = extent(random), columns = wideExtent(random);
        const Image one(random, rows, columns, width), two(random, rows, columns, width);
        const Image &dst = random.below(3) == 0 ? one : two;
        call<f>(one.rows<T>(), dst.rows<T>(), rows, columns, random.between(-1, 1));
        one.put();
        two.put();
    }
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void image() {
    exerciseAll<QZbCopyImage, QZnCopyImage, QZyCopyImage, QZtCopyImage>();
    exerciseAll<QZbMirrorImage, QZnMirrorImage, QZyMirrorImage, QZtMirrorImage>();
}

} // namespace qzk::digest
