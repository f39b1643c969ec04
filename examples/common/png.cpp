#include "png.hpp"

#include <stdexcept>

namespace common {
namespace {

void append(png_structp png, png_bytep data, png_size_t length) {
    static_cast<std::string *>(png_get_io_ptr(png))->append(reinterpret_cast<const char *>(data), length);
}

} // namespace

std::string encodePng(const PngPicture &picture) {
    std::string bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const bool encoded =
        info && pngSucceeds(png, [&] {
            png_set_write_fn(png, &bytes, append, nullptr);
            png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width),
                         static_cast<png_uint_32>(picture.height), picture.bits,
                         picture.palette.empty() ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_PALETTE,
                         PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            if (!picture.palette.empty())
                png_set_PLTE(png, info, picture.palette.data(), static_cast<int>(picture.palette.size()));
            const png_byte transparent = 0;
            if (picture.firstTransparent) png_set_tRNS(png, info, &transparent, 1, nullptr);
            png_write_info(png, info);
            for (std::size_t row = 0; row < picture.height; ++row)
                png_write_row(png, picture.rows[row]);
            png_write_end(png, nullptr);
        });
    png_destroy_write_struct(&png, &info);
    if (!encoded) throw std::runtime_error("cannot make a PNG: no memory");
    return bytes;
}

} // namespace common
