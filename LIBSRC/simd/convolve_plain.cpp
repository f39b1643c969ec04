#include "simd/convolve.hpp"

#include "common/elements.hpp"

namespace qzk::simd {
namespace {

using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::int8_t;
using std::size_t;
using std::uint8_t;

template <class Element>
void unpack(const uint8_t *row, size_t first, size_t n, uint8_t *elements) {
    const Source<Element> source = {reinterpret_cast<decltype(Source<Element>::first)>(row)};
    constexpr int32_t bias = Source<Element>::isSigned ? 128 : 0;
    for (size_t i = 0; i < n; ++i)
        elements[i] = static_cast<uint8_t>(source.get(first + i) + bias);
}

template <class Element>
void pack(const uint8_t *values, size_t n, uint8_t *row, size_t first) {
    const Target<Element> target = {reinterpret_cast<decltype(Target<Element>::first)>(row)};
    for (size_t i = 0; i < n; ++i)
        target.set(first + i, values[i]);
}

void widen(const uint8_t *elements, size_t n, int16_t *words) {
    for (size_t i = 0; i < n; ++i) {
        const int16_t word = elements[i];
        words[i] = word;
    }
}

template <class Pixel>
void convolveRow(const Mask &mask, float *const *window, size_t first, size_t n, const Fit &fit,
                 uint8_t *values) {
    for (size_t c = 0; c < n; ++c) {
        int64_t sum = mask.start;
        for (size_t i = 0; i < mask.rows; ++i) {
            const int16_t *const coefficients = mask.coefficients + i * mask.columns;
            const auto *const elements = reinterpret_cast<const Pixel *>(window[i]) + first + c;
            for (size_t j = 0; j < mask.columns; ++j)
                sum += int32_t{elements[j]} * coefficients[j];
        }
        values[c] = fitted(fit, sum);
    }
}

} // namespace

void plain::install(ConvolveKernels &kernels) {
    kernels = {{unpack<int8_t>, unpack<Nibble>, unpack<uint8_t>, unpack<Bit>},
               {pack<int8_t>, pack<Nibble>, pack<uint8_t>, pack<Bit>},
               widen,
               convolveRow<uint8_t>,
               convolveRow<int16_t>};
}

} // namespace qzk::simd
