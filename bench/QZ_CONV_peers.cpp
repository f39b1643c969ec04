#include "QZ_CONV_peers.hpp"

#include <algorithm>
#include <cstring>

namespace native {
namespace {

#ifdef __AVX512F__
constexpr std::ptrdiff_t lanes = 16;
#else
constexpr std::ptrdiff_t lanes = 8;
#endif
typedef float Floats __attribute__((vector_size(4 * lanes)));
typedef std::int32_t Integers __attribute__((vector_size(4 * lanes)));
typedef std::uint8_t Bytes __attribute__((vector_size(lanes)));

Floats loadFloats(const float *from) {
    Floats v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

/// `blocks` vectors of results of one row.
template <int blocks>
void convolveBlocks(const float *const *rows, const float *mask, std::uint8_t *dst, std::ptrdiff_t c,
                    std::ptrdiff_t maskRows, std::ptrdiff_t maskCols) {
    Floats sums[blocks] = {};
    for (std::ptrdiff_t i = 0; i < maskRows; ++i)
        for (std::ptrdiff_t j = 0; j < maskCols; ++j)
            for (int b = 0; b < blocks; ++b)
                sums[b] += loadFloats(rows[i] + c + j + b * lanes) * mask[i * maskCols + j];
    for (int b = 0; b < blocks; ++b) {
        const Floats clamped = sums[b] < 0.0f ? Floats{} : sums[b] > 255.0f ? Floats{} + 255.0f : sums[b];
        const auto bytes = __builtin_convertvector(__builtin_convertvector(clamped + 0.5f, Integers), Bytes);
        std::memcpy(dst + c + b * lanes, &bytes, sizeof bytes);
    }
}

} // namespace

void convolve(const std::uint8_t *src, const float *mask, std::uint8_t *dst, std::ptrdiff_t rows,
              std::ptrdiff_t columns, std::ptrdiff_t maskRows, std::ptrdiff_t maskCols, float *window) {
    const std::ptrdiff_t above = maskRows / 2, before = maskCols / 2, stride = columns + maskCols + 64;
    const auto rowOf = [&](std::ptrdiff_t r) { return window + (r + maskRows) % maskRows * stride; };
    const auto take = [&](std::ptrdiff_t r) {
        float *const to = rowOf(r);
        std::fill(to, to + stride, 0.0f);
        if (r >= 0 && r < rows)
            for (std::ptrdiff_t c = 0; c < columns; ++c)
                to[before + c] = src[r * columns + c];
    };
    for (std::ptrdiff_t r = -above; r < above; ++r)
        take(r);
    const float *ordered[64];
    for (std::ptrdiff_t r = 0; r < rows; ++r) {
        take(r + above);
        for (std::ptrdiff_t i = 0; i < maskRows; ++i)
            ordered[i] = rowOf(r - above + i);
        std::ptrdiff_t c = 0;
        for (; c + 8 * lanes <= columns; c += 8 * lanes)
            convolveBlocks<8>(ordered, mask, dst + r * columns, c, maskRows, maskCols);
        for (; c < columns; c += lanes) // the last one ends with the row
            convolveBlocks<1>(ordered, mask, dst + r * columns, std::min(c, columns - lanes), maskRows,
                              maskCols);
    }
}

} // namespace native
