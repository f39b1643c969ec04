#include "image.hpp"
#include "common/errors.hpp"
#include "common/library.hpp"

namespace imagetool {
namespace {

std::uint8_t **allocate(std::int32_t rows, std::int32_t columns, int bits) {
    return bits == 1   ? QZbAlloc2(rows, columns)
           : bits == 4 ? QZnAlloc2(rows, columns)
                       : QZyAlloc2(rows, columns);
}

} // namespace

Image::Image(std::int32_t rows, std::int32_t columns, int bits)
    : nRows(rows), nColumns(columns), nBits(bits), pixels(allocate(rows, columns, bits), {rows}) {
    common::checkLibrary();
    for (std::int32_t row = 0; row < rows; ++row)
        QZybZero(table()[row], bytesPerRow());
}

void checkSize(const std::string &file, std::int32_t rows, std::int32_t columns) {
    constexpr std::int32_t longestSide = 1'000'000;
    constexpr std::int64_t mostPixels = 1 << 29;
    if (rows < 1 || columns < 1) throw common::InputError(file + ": an image without pixels");
    if (rows > longestSide || columns > longestSide || std::int64_t{rows} * columns > mostPixels)
        throw common::InputError(file + ": an image of " + std::to_string(rows) + " rows and " +
                                 std::to_string(columns) + " columns is too large");
}

Image converted(const Image &image, int bits) {
    Image result(image.rows(), image.columns(), bits);
    const unsigned from = image.white(), to = result.white();
    for (std::int32_t row = 0; row < image.rows(); ++row)
        for (std::int32_t column = 0; column < image.columns(); ++column) {
            const unsigned value = image.get(row, column);
            // Both widths are powers of two, so the wider range is a whole multiple of the narrower one.
            result.set(row, column, to < from ? value >> (image.bits() - bits) : value * (to / from));
        }
    return result;
}

} // namespace imagetool
