// Convolution of image rows with an integer mask.
//
// Source rows pass through a window of `mask.rows` rows whose elements are all of 0 to 255: to signed bytes
// 128 is added, which `start` takes back from every sum. Sums are integers and exact, so their order is free.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

struct Mask {
    const std::int16_t *coefficients; // row by row
    std::size_t rows, columns;        // at least 1
    std::int64_t start;               // what every sum begins with
};

/// What becomes of a sum: shifted to the right by 0 to 63 and to the left by 0 to 8 bits, then clamped.
struct Fit {
    std::int32_t right = 0, left = 0;
    bool clamps = false;
    std::int32_t lowest = 0, highest = 0;
};

namespace {

/// Low eight bits of a fitted sum: an element holds no more.
[[gnu::always_inline]] inline std::uint8_t fitted(const Fit &fit, std::int64_t sum) {
    std::uint64_t value = static_cast<std::uint64_t>(sum >> fit.right) << fit.left;
    if (fit.clamps)
        value = static_cast<std::uint64_t>(sum < fit.lowest    ? fit.lowest
                                           : sum > fit.highest ? fit.highest
                                                               : sum);
    return static_cast<std::uint8_t>(value);
}

} // namespace

struct ConvolveKernels {
    /// Elements first ... first + n - 1 of a row, each as a byte. Indexed by the type code of the image.
    using Unpack = void (*)(const std::uint8_t *row, std::size_t first, std::size_t n,
                            std::uint8_t *elements);
    Unpack unpack[4];

    /// Stores the low bits of bytes as elements first ... first + n - 1 of a row; the other elements keep
    /// their values. Indexed by the type code, too.
    using Pack = void (*)(const std::uint8_t *values, std::size_t n, std::uint8_t *row, std::size_t first);
    Pack pack[4];

    /// Bytes as words. The bytes may be the last n of the 2 n that the words take.
    void (*widen)(const std::uint8_t *elements, std::size_t n, std::int16_t *words);

    /// values[c] = fitted sum of the window under the mask, whose first column is at window column first + c.
    /// Reads no window element from first + n + mask.columns on, or from block + mask.columns on where that
    /// is more.
    using Row = void (*)(const Mask &mask, float *const *window, std::size_t first, std::size_t n,
                         const Fit &fit, std::uint8_t *values);
    static constexpr std::size_t block = 64;

    /// Of a window of bytes. Coefficients are of 8 bits; the sum of their magnitudes times the largest
    /// element of the window is at most 32767.
    Row ofBytes;
    /// Of a window of words. The sum of the coefficients' magnitudes times 255 is below 2^31, but for the
    /// definition, which takes any.
    Row ofWords;
};

namespace plain {
void install(ConvolveKernels &kernels);
}
namespace sse2 {
void install(ConvolveKernels &kernels);
}
namespace avx2 {
void install(ConvolveKernels &kernels);
}
namespace avx512 {
void install(ConvolveKernels &kernels);
}

} // namespace qzk::simd
