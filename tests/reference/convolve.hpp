// Convolution element by element as it is defined: a window of float rows for the interior, sums in the
// widest float type there is, and every element of the border read from the image as it is at that moment.
#pragma once

#include "qzk.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <vector>

namespace qzk::reference {

struct Convolution {
    const void *const *src;
    const void *const *mask;
    void *const *dst;
    std::int32_t srcType, maskType, dstType, nRows, nCols, maskRows, maskCols;
    const QZCopyRegion *region;
    std::int32_t scaleMode;
    std::int32_t *shift;
};

class Convolver {
public:
    explicit Convolver(const Convolution &call) : p(call) {}

    void run() {
        if (p.maskRows < 1 || p.maskCols < 1) return;
        std::int32_t top = 0, left = 0, bottom = p.nRows - 1, right = p.nCols - 1;
        if (p.region != nullptr) {
            top = p.region->leftTopRow < 0 ? 0 : p.region->leftTopRow;
            left = p.region->leftTopCol < 0 ? 0 : p.region->leftTopCol;
            if (p.region->rightBotRow < p.nRows) bottom = p.region->rightBotRow;
            if (p.region->rightBotCol < p.nCols) right = p.region->rightBotCol;
        }
        if (bottom < top || right < left) return;

        for (std::int32_t i = 0; i < p.maskRows; ++i) {
            mask.emplace_back();
            for (std::int32_t j = 0; j < p.maskCols; ++j)
                mask.back().push_back(
                    p.maskType == 1 ? static_cast<float>(static_cast<const std::int16_t *>(p.mask[i])[j])
                                    : static_cast<float>(static_cast<const std::int8_t *>(p.mask[i])[j]));
        }
        const std::int32_t aR = p.maskRows / 2, aC = p.maskCols / 2;
        const std::int32_t hR = (p.maskRows - 1) / 2, hC = (p.maskCols - 1) / 2;
        const std::int32_t r0 = std::max(aR, top), r1 = std::min(bottom, p.nRows - 1 - hR);
        const std::int32_t c0 = std::max(aC, left), c1 = std::min(right, p.nCols - 1 - hC);
        if (r1 >= r0 && c1 >= c0) {
            std::deque<std::vector<float>> window;
            const auto convert = [&](std::int32_t r) {
                std::vector<float> row;
                for (std::int32_t c = c0 - aC; c <= c1 + hC; ++c)
                    row.push_back(static_cast<float>(element(p.src[r], p.srcType, c)));
                window.push_back(row);
            };
            for (std::int32_t k = 0; k < p.maskRows - 1; ++k)
                convert(r0 - aR + k);
            for (std::int32_t r = r0; r <= r1; ++r) {
                convert(r + hR);
                for (std::int32_t c = c1; c >= c0; --c) {
                    long double sum = 0;
                    for (std::int32_t i = 0; i < p.maskRows; ++i)
                        for (std::int32_t j = 0; j < p.maskCols; ++j)
                            sum +=
                                static_cast<long double>(window[at(i)][at(c - c0 + j)]) * mask[at(i)][at(j)];
                    store(r, c, sum, p.scaleMode != 0 && p.scaleMode != 1);
                }
                window.pop_front();
            }
            border(top, r0 - 1, left, right);
            border(r1 + 1, bottom, left, right);
            for (std::int32_t r = r0; r <= bottom; ++r) {
                border(r, r, left, c0 - 1);
                border(r, r, c1 + 1, right);
            }
        } else {
            border(top, bottom, left, right);
        }
        if (p.scaleMode != 1) *p.shift = 0;
    }

private:
    static std::size_t at(std::int32_t i) { return static_cast<std::size_t>(i); }

    static int element(const void *row, std::int32_t type, std::int32_t c) {
        const int byte = static_cast<const std::uint8_t *>(row)[type == 3 ? c / 8 : type == 1 ? c / 2 : c];
        switch (type) {
        case 0:
            return byte < 128 ? byte : byte - 256;
        case 1:
            return c % 2 == 0 ? byte / 16 : byte % 16;
        case 3:
            return (byte & (128 >> c % 8)) != 0 ? 1 : 0;
        default:
            return byte;
        }
    }

    void border(std::int32_t top, std::int32_t bottom, std::int32_t left, std::int32_t right) {
        for (std::int32_t r = top; r <= bottom; ++r)
            for (std::int32_t c = left; c <= right; ++c) {
                double sum = 0;
                for (std::int32_t i = 0; i < p.maskRows; ++i)
                    for (std::int32_t j = 0; j < p.maskCols; ++j) {
                        const std::int32_t y = r - p.maskRows / 2 + i, x = c - p.maskCols / 2 + j;
                        if (y < 0 || y >= p.nRows || x < 0 || x >= p.nCols) continue;
                        sum += static_cast<double>(element(p.src[y], p.srcType, x)) *
                               static_cast<double>(mask[at(i)][at(j)]);
                    }
                store(r, c, sum, p.scaleMode == 3);
            }
    }

    void store(std::int32_t r, std::int32_t c, long double sum, bool saturates) {
        auto value = static_cast<std::int64_t>(std::llrint(static_cast<double>(sum)));
        if (p.scaleMode == 1) {
            for (std::int64_t k = 0; k < *p.shift && k < 64; ++k)
                value = value >= 0 ? value / 2 : -((1 - value) / 2); // floor
            for (std::int64_t k = 0; k > *p.shift && k > -64; --k)
                value = value * 2 % 256; // enough for the low bits
        } else if (saturates) {
            static constexpr int lowest[] = {-128, 0, 0, 0}, highest[] = {127, 15, 255, 1};
            value = std::clamp<std::int64_t>(value, lowest[p.dstType], highest[p.dstType]);
        }
        const int low = static_cast<int>(value & 255);
        auto *const row = static_cast<std::uint8_t *>(p.dst[r]);
        if (p.dstType == 3) {
            const int bit = 128 >> c % 8;
            row[c / 8] = static_cast<std::uint8_t>(low % 2 != 0 ? row[c / 8] | bit : row[c / 8] & ~bit);
        } else if (p.dstType == 1) {
            const int other = c % 2 == 0 ? row[c / 2] % 16 : row[c / 2] / 16 * 16;
            row[c / 2] = static_cast<std::uint8_t>(other + (c % 2 == 0 ? low % 16 * 16 : low % 16));
        } else {
            row[c] = static_cast<std::uint8_t>(low);
        }
    }

    Convolution p;
    std::vector<std::vector<float>> mask;
};

} // namespace qzk::reference
