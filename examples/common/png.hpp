#pragma once

#include <png.h>

#include <csetjmp>
#include <string>
#include <vector>

namespace common {

/// Makes calls into libpng; false if one of them failed. A failure jumps out of the calls, so nothing in them
/// may own anything.
template <class Calls>
bool pngSucceeds(png_structp png, Calls &&calls) {
    if (setjmp(png_jmpbuf(png))) return false;
    calls();
    return true;
}

/// An image as a PNG file: packed rows as PNG has them (the first pixel in the highest bits), grey, or
/// numbers of a palette if there is one.
struct PngPicture {
    const png_byte *const *rows;
    std::size_t width, height;
    int bits;
    std::vector<png_color> palette = {};
    bool firstTransparent = false; ///< entry 0 of the palette is
};

std::string encodePng(const PngPicture &picture);

} // namespace common
