// Rows of packed elements in reverse order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

struct ReverseKernels {
    /// Element n - 1 - i of the destination takes element i of the source. The rows begin at element
    /// `srcSkipped` of src and `dstSkipped` of dst; nothing outside the destination row changes. The plain
    /// form takes the elements one by one, i ascending, which shows where rows overlap; those of a level take
    /// rows that share no byte.
    using Row = void (*)(const std::uint8_t *src, std::size_t srcSkipped, std::uint8_t *dst,
                         std::size_t dstSkipped, std::size_t n);
    Row bits, nibbles, bytes;
};

namespace plain {
void install(ReverseKernels &kernels);
}
namespace sse2 {
void install(ReverseKernels &kernels);
}
namespace avx2 {
void install(ReverseKernels &kernels);
}
namespace avx512 {
void install(ReverseKernels &kernels);
}

} // namespace qzk::simd
