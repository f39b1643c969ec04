#include "text.hpp"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace recognise {
namespace {

// Length of the character that the text begins with; 0 if its first byte belongs to none.
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t k) {
        return k < text.size() ? static_cast<unsigned char>(text[k]) : 0U;
    };
    const unsigned lead = byte(0);
    if (lead < 0x80) return 1;
    // The bounds of the second byte keep out overlong forms, surrogates and what lies beyond U+10FFFF.
    const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (lead < 0xC2 || lead > 0xF4 || byte(1) < low || byte(1) > high) return 0;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    for (std::size_t k = 2; k < length; ++k)
        if ((byte(k) & 0xC0) != 0x80) return 0;
    return length;
}

} // namespace

std::size_t characters(const std::string &text) {
    std::size_t count = 0;
    for (std::string_view rest = text; !rest.empty(); ++count)
        rest.remove_prefix(std::max<std::size_t>(characterLength(rest), 1));
    return count;
}

std::string validUtf8(const std::string &text) {
    std::string valid;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t length = characterLength(rest);
        valid += length ? rest.substr(0, length) : "\xEF\xBF\xBD";
        rest.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}

std::string plural(std::size_t count, const std::string &noun) { return count == 1 ? noun : noun + "s"; }

std::string counted(std::size_t count, const std::string &noun) {
    return std::to_string(count) + " " + plural(count, noun);
}

std::string number(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string percent(std::size_t part, std::size_t whole, int digits) {
    return whole ? number(100.0 * static_cast<double>(part) / static_cast<double>(whole), digits) + " %"
                 : "–";
}

} // namespace recognise
