// Convolution as one writes it by hand for this processor, in floats.
#pragma once

#include <cstddef>
#include <cstdint>

namespace native {

/// Filters a byte image with zeros around it; results are rounded and saturated. Sizes are odd, and `window`
/// has room for maskRows rows of columns + maskCols + 64 floats.
void convolve(const std::uint8_t *src, const float *mask, std::uint8_t *dst, std::ptrdiff_t rows,
              std::ptrdiff_t columns, std::ptrdiff_t maskRows, std::ptrdiff_t maskCols, float *window);

} // namespace native
