// Quarter turns of images of packed elements.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// Rows of an image, from one of them on upwards or downwards.
template <class Byte>
struct Rows {
    Byte *const *first;
    std::ptrdiff_t step; // 1 or -1

    [[gnu::always_inline]] Byte *operator[](std::size_t i) const {
        return first[static_cast<std::ptrdiff_t>(i) * step];
    }
    [[gnu::always_inline]] Rows from(std::size_t i) const {
        return {first + static_cast<std::ptrdiff_t>(i) * step, step};
    }
};

struct RotateKernels {
    /// Rows and columns count elements of the source, of which there are `rows` times `columns`, at least
    /// one.
    struct Transpose {
        Rows<const std::uint8_t> src;
        Rows<std::uint8_t> dst;
        std::size_t srcColumn, dstColumn;
        std::size_t rows, columns;
    };

    /// Element dstColumn + j of destination row k takes element srcColumn + k of source row j; nothing else
    /// changes. The images share no byte.
    void (*bits)(const Transpose &transpose);
    void (*nibbles)(const Transpose &transpose);
    void (*bytes)(const Transpose &transpose);
};

namespace plain {
void install(RotateKernels &kernels);
}
namespace sse2 {
void install(RotateKernels &kernels);
}
namespace avx2 {
void install(RotateKernels &kernels);
}
namespace avx512 {
void install(RotateKernels &kernels);
}

} // namespace qzk::simd
