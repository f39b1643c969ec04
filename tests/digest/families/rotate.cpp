#include "families.hpp"
#include "image.hpp"

namespace qzk::digest {
namespace {

template <auto f, class T>
void exercise(void (*)(const T *const *, T *const *, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                       std::int32_t)) {
    Generator random(nameOf<f>());
    const std::size_t width = widthOf(nameOf<f>()[2]);
    constexpr std::int32_t angles[] = {180, -90, 90, 180, -90, 90, 0, 270};
    for (int i = 0; i < 900; ++i) {
        const std::int32_t srcRows = extent(random), srcColumns = extent(random);
        // One time in two the turned picture fits.
        const bool fits = random.below(2) == 0;
        const std::int32_t angle = random.oneOf(angles);
        const std::int32_t dstRows = !fits ? extent(random) : angle == 180 ? srcRows : srcColumns;
        const std::int32_t dstColumns = !fits ? extent(random) : angle == 180 ? srcColumns : srcRows;
        const Image src(random, srcRows, srcColumns, width), dst(random, dstRows, dstColumns, width);
        call<f>(src.rows<T>(), dst.rows<T>(), angle, srcRows, srcColumns, dstRows, dstColumns);
        dst.put();
    }
}

template <auto... functions>
void exerciseAll() {
    (exercise<functions>(functions), ...);
}

} // namespace

void rotation() { exerciseAll<QZbRotateImage, QZnRotateImage, QZyRotateImage, QZtRotateImage>(); }

} // namespace qzk::digest
