#include "png_reader.hpp"
#include "common/errors.hpp"
#include "common/png.hpp"

namespace imagetool {
namespace {

class PngReader {
public:
    PngReader(std::FILE *in, const std::string &name) : name(name) {
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reason, fail, ignore);
        info = png ? png_create_info_struct(png) : nullptr;
        if (!info) {
            png_destroy_read_struct(&png, nullptr, nullptr);
            throw common::InputError(name + ": no memory to read it");
        }
        png_init_io(png, in);
    }

    ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
    PngReader(const PngReader &) = delete;
    PngReader &operator=(const PngReader &) = delete;

    Image read() {
        attempt([&] {
            // Sizes are limited once they are known.
            png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
            png_read_info(png, info);
        });
        const auto rows = static_cast<std::int32_t>(png_get_image_height(png, info));
        const auto columns = static_cast<std::int32_t>(png_get_image_width(png, info));
        checkSize(name, rows, columns);
        const int bits = png_get_bit_depth(png, info);
        const bool colour = png_get_color_type(png, info) & PNG_COLOR_MASK_COLOR;
        const bool transparent =
            png_get_color_type(png, info) & PNG_COLOR_MASK_ALPHA || png_get_valid(png, info, PNG_INFO_tRNS);
        const bool asItIs = !colour && !transparent && (bits == 1 || bits == 4);
        attempt([&] {
            if (!asItIs) png_set_expand(png);
            if (bits == 16) png_set_scale_16(png);
            if (colour) png_set_rgb_to_gray(png, PNG_ERROR_ACTION_NONE, -1, -1);
            png_set_interlace_handling(png);
            png_read_update_info(png, info);
        });
        Image image(rows, transparent ? 2 * columns : columns, asItIs ? bits : 8);
        attempt([&] {
            png_read_image(png, image.table());
            png_read_end(png, nullptr);
        });
        if (transparent) return onWhite(image);
        return !colour && bits == 2 ? converted(image, 4) : std::move(image);
    }

private:
    template <class Calls>
    void attempt(Calls calls) {
        if (!common::pngSucceeds(png, calls))
            throw common::InputError(name + ": damaged or cut off: " + reason);
    }

    static void fail(png_structp png, png_const_charp message) {
        *static_cast<std::string *>(png_get_error_ptr(png)) = message;
        png_longjmp(png, 1);
    }

    static void ignore(png_structp, png_const_charp) {}

    // Pairs of grey and opacity.
    static Image onWhite(const Image &pairs) {
        Image image(pairs.rows(), pairs.columns() / 2, 8);
        for (std::int32_t row = 0; row < image.rows(); ++row)
            for (std::int32_t column = 0; column < image.columns(); ++column) {
                const unsigned grey = pairs.get(row, 2 * column), opacity = pairs.get(row, 2 * column + 1);
                image.set(row, column, (grey * opacity + 255 * (255 - opacity) + 127) / 255);
            }
        return image;
    }

    const std::string &name;
    std::string reason;
    png_structp png = nullptr;
    png_infop info = nullptr;
};

} // namespace

Image readPng(std::FILE *in, const std::string &name) { return PngReader(in, name).read(); }

} // namespace imagetool
