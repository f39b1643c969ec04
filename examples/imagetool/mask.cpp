#include "mask.hpp"
#include "common/errors.hpp"
#include "common/files.hpp"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace imagetool {
namespace {

constexpr int largestCoefficient = 32767; // its negative has to fit as well
constexpr std::size_t longestSide = 255;
// Whatever the pixels, a sum fits 32 bits.
constexpr long largestWeight = INT32_MAX / 255;

struct NamedMask {
    const char *name, *about;
    Mask mask;
};

const std::vector<NamedMask> &namedMasks() {
    // 9 * 7282 / 2^16 is so little above 1 that the result is the exact mean, rounded down.
    static const std::vector<NamedMask> masks{
        {"box",
         "mean of 3 x 3 pixels (nine times 7282, --shift 16)",
         {{{7282, 7282, 7282}, {7282, 7282, 7282}, {7282, 7282, 7282}}, {Fit::shift, 16}}},
        {"sharpen", "0 -1 0 / -1 5 -1 / 0 -1 0, --saturate", {{{0, -1, 0}, {-1, 5, -1}, {0, -1, 0}}, {}}},
        {"sobel-x",
         "edges between left and right: -1 0 1 / -2 0 2 / -1 0 1, --absolute",
         {{{-1, 0, 1}, {-2, 0, 2}, {-1, 0, 1}}, {Fit::absolute}}},
        {"sobel-y",
         "edges between top and bottom: -1 -2 -1 / 0 0 0 / 1 2 1, --absolute",
         {{{-1, -2, -1}, {0, 0, 0}, {1, 2, 1}}, {Fit::absolute}}},
        {"emboss",
         "relief lit from the upper left: -2 -1 0 / -1 1 1 / 0 1 2, --saturate",
         {{{-2, -1, 0}, {-1, 1, 1}, {0, 1, 2}}, {}}},
    };
    return masks;
}

std::vector<std::int16_t> coefficientsOf(const std::string &line, const std::string &place) {
    std::vector<std::int16_t> row;
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;) {
        int value = 0;
        const char *const end = word.data() + word.size();
        const auto [parsed, error] = std::from_chars(word.data(), end, value);
        if (parsed != end || error != std::errc() || std::abs(value) > largestCoefficient)
            throw common::InputError(place + "\"" + word + "\" is not a whole number from -32767 to 32767");
        row.push_back(static_cast<std::int16_t>(value));
    }
    return row;
}

Mask readMask(const std::string &file) {
    common::openFile(file);
    std::ifstream in(file);
    Mask mask;
    long weight = 0;
    std::size_t number = 0;
    for (std::string line; std::getline(in, line);) {
        const std::string place = file + ": line " + std::to_string(++number) + ": ";
        const std::vector<std::int16_t> row = coefficientsOf(line, place);
        if (row.empty()) continue;
        if (!mask.rows.empty() && row.size() != mask.columns())
            throw common::InputError(place + std::to_string(row.size()) + " coefficients after rows of " +
                                     std::to_string(mask.columns()));
        mask.rows.push_back(row);
        if (row.size() > longestSide || mask.rows.size() > longestSide)
            throw common::InputError(place + "more than 255 rows or columns of a mask");
        for (const int value : row)
            weight += std::abs(value);
    }
    if (mask.rows.empty()) throw common::InputError(file + ": no coefficients of a mask");
    if (weight > largestWeight)
        throw common::InputError(file + ": the magnitudes of the coefficients add up to more than " +
                                 std::to_string(largestWeight));
    return mask;
}

} // namespace

Mask Mask::negated() const {
    Mask negative = *this;
    for (std::vector<std::int16_t> &row : negative.rows)
        for (std::int16_t &value : row)
            value = static_cast<std::int16_t>(-value);
    return negative;
}

std::string describeMasks() {
    std::string lines;
    for (const NamedMask &named : namedMasks())
        lines += std::string("  ") + named.name + std::string(9 - std::string(named.name).size(), ' ') +
                 named.about + '\n';
    return lines;
}

Mask findMask(const std::string &nameOrFile) {
    const auto named = std::ranges::find(namedMasks(), nameOrFile, &NamedMask::name);
    if (named != namedMasks().end()) return named->mask;
    if (!std::filesystem::exists(nameOrFile)) {
        std::string names;
        for (const NamedMask &known : namedMasks())
            names += std::string(names.empty() ? "" : ", ") + known.name;
        throw common::InputError("--mask " + nameOrFile + ": neither a mask (" + names + ") nor a file");
    }
    return readMask(nameOrFile);
}

} // namespace imagetool
