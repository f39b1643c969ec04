#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace imagetool {

/// How a sum becomes a pixel.
enum class Fit {
    saturate, ///< clamped to black and white
    absolute, ///< its magnitude, clamped to white
    shift,    ///< divided by 2^shift, rounded down; the low bits are kept
};

struct Scaling {
    Fit fit = Fit::saturate;
    int shift = 0;
    bool middle = false; ///< 0 becomes 128
};

/// Rows of coefficients; the one at (rows / 2, columns / 2) lies over the pixel that is computed.
struct Mask {
    std::vector<std::vector<std::int16_t>> rows;
    Scaling scaling;

    std::size_t columns() const { return rows.front().size(); }
    Mask negated() const;
};

/// Lines about the named masks for the help.
std::string describeMasks();

/// The mask of this name, or that of a text file: whole numbers from -32767 to 32767, a line per row, `#`
/// before remarks. Throws InputError.
Mask findMask(const std::string &nameOrFile);

} // namespace imagetool
