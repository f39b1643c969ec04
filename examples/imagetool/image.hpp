#pragma once

#include "qzk.h"

#include <cstdint>
#include <memory>
#include <string>

namespace imagetool {

/// Grey values from 0 (black) to 2^bits - 1 (white), packed as the library packs them, in a row table that
/// the library allocated.
class Image {
public:
    /// A black image of 1, 4 or 8 bits per pixel.
    Image(std::int32_t rows, std::int32_t columns, int bits);

    std::int32_t rows() const { return nRows; }
    std::int32_t columns() const { return nColumns; }
    int bits() const { return nBits; }
    unsigned white() const { return (1U << nBits) - 1; }
    std::int32_t bytesPerRow() const { return (nColumns * nBits + 7) / 8; }

    std::uint8_t **table() { return pixels.get(); }
    const std::uint8_t *const *table() const { return pixels.get(); }

    unsigned get(std::int32_t row, std::int32_t column) const {
        const Place place(column, nBits);
        return (pixels[place.of(row)][place.byte] >> place.shift) & white();
    }

    void set(std::int32_t row, std::int32_t column, unsigned value) {
        const Place place(column, nBits);
        std::uint8_t &byte = pixels[place.of(row)][place.byte];
        byte = static_cast<std::uint8_t>((byte & ~(white() << place.shift)) | value << place.shift);
    }

private:
    // The first pixel of a byte lies in its highest bits.
    struct Place {
        std::size_t byte;
        unsigned shift;

        Place(std::int32_t column, int bits)
            : byte(static_cast<std::size_t>(column * std::int64_t{bits} / 8)),
              shift(static_cast<unsigned>(8 - bits - column % (8 / bits) * bits)) {}

        static std::size_t of(std::int32_t row) { return static_cast<std::size_t>(row); }
    };

    struct Free {
        std::int32_t rows = 0;
        void operator()(std::uint8_t **table) const { QZyFree2(table, rows); }
    };

    std::int32_t nRows, nColumns;
    int nBits;
    std::unique_ptr<std::uint8_t *[], Free> pixels;
};

/// Throws InputError, in the file's name, for an image without pixels or with too many.
void checkSize(const std::string &file, std::int32_t rows, std::int32_t columns);

/// The image at another depth. Fewer bits are the highest ones, so that 1 bit tells the light half from the
/// dark; more bits spread the values over the whole range, so that white stays white.
Image converted(const Image &image, int bits);

} // namespace imagetool
