#include "picture.hpp"
#include "common/png.hpp"

#include <algorithm>
#include <cmath>

namespace recognise {
namespace {

// Colours at equal distances, those between them interpolated.
template <std::size_t N>
Palette interpolated(const std::array<std::uint32_t, N> &stops) {
    Palette palette;
    for (std::size_t entry = 0; entry < palette.size(); ++entry) {
        const double at = static_cast<double>(entry) * (N - 1) / static_cast<double>(palette.size() - 1);
        const std::size_t stop = std::min(static_cast<std::size_t>(at), N - 2);
        for (unsigned channel = 0; channel < 3; ++channel) {
            const unsigned shift = 16 - 8 * channel;
            const double from = (stops[stop] >> shift) & 0xFF, to = (stops[stop + 1] >> shift) & 0xFF;
            palette[entry][channel] =
                static_cast<std::uint8_t>(std::lround(from + (to - from) * (at - static_cast<double>(stop))));
        }
    }
    return palette;
}

std::string base64(const std::string &bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t k = 0; k < bytes.size(); k += 3) {
        const std::size_t left = std::min<std::size_t>(3, bytes.size() - k);
        std::uint32_t group = 0;
        for (std::size_t b = 0; b < 3; ++b)
            group = group << 8 | (b < left ? static_cast<unsigned char>(bytes[k + b]) : 0U);
        for (std::size_t d = 0; d < 4; ++d)
            text += d <= left ? digits[(group >> (18 - 6 * d)) & 63] : '=';
    }
    return text;
}

} // namespace

const Palette &levelPalette() {
    static const Palette palette = interpolated(std::array<std::uint32_t, 9>{
        0x0b0724, 0x2a1160, 0x5a1a80, 0x8c2a81, 0xbd3a74, 0xe5545f, 0xf98a5f, 0xfdc37f, 0xfcf8c4});
    return palette;
}

const Palette &signedPalette() {
    static const Palette palette = interpolated(
        std::array<std::uint32_t, 7>{0x14508c, 0x3f8fc4, 0xa3cfe6, 0xf2f1ee, 0xf6c19b, 0xdd7441, 0x96330f});
    return palette;
}

std::string hexDigits(const Palette &palette) {
    std::string text;
    for (const auto &colour : palette)
        for (const unsigned channel : colour) {
            text += "0123456789abcdef"[channel >> 4];
            text += "0123456789abcdef"[channel & 15];
        }
    return text;
}

void Image::set(std::size_t row, std::size_t column, double value, double low, double high) {
    const double part = high > low ? std::clamp((value - low) / (high - low), 0.0, 1.0) : 0;
    (*this)[row][column] = static_cast<std::uint8_t>(1 + std::lround(254 * part));
}

std::string pngAddress(const Image &image, const Palette &palette) {
    std::vector<const std::uint8_t *> rows;
    for (std::size_t row = 0; row < image.height(); ++row)
        rows.push_back(image[row]);
    std::vector<png_color> colours;
    for (const auto &[red, green, blue] : palette)
        colours.push_back({red, green, blue});
    return "data:image/png;base64," +
           base64(common::encodePng({rows.data(), image.width(), image.height(), 8, colours, true}));
}

} // namespace recognise
