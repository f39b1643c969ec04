#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace recognise {

using Palette = std::array<std::array<std::uint8_t, 3>, 256>;

/// Dark to bright, for levels; and two colours that meet in a light grey, for values of both signs.
const Palette &levelPalette();
const Palette &signedPalette();

/// Palette as hexadecimal digits, six per entry.
std::string hexDigits(const Palette &palette);

/// Cells of palette numbers, the first row on top. Number 0 is transparent: no value there.
class Image {
public:
    Image(std::size_t width, std::size_t height) : columns(width), cells(width * height) {}

    std::size_t width() const { return columns; }
    std::size_t height() const { return cells.size() / columns; }
    std::uint8_t *operator[](std::size_t row) { return cells.data() + row * columns; }
    const std::uint8_t *operator[](std::size_t row) const { return cells.data() + row * columns; }

    /// Sets a cell by where the value lies between low and high; values beyond them take the last colours.
    void set(std::size_t row, std::size_t column, double value, double low, double high);

private:
    std::size_t columns;
    std::vector<std::uint8_t> cells;
};

/// The image as a PNG in a data: address.
std::string pngAddress(const Image &image, const Palette &palette);

} // namespace recognise
