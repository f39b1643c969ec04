// Fill, copy and logic of packed runs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

struct LogicKernels {
    /// The forms of one operation. The plain forms are the definition, overlapping operands included; those
    /// of a level read ahead of their writes, so they take operands where no write reaches a later read.
    struct Operation {
        /// dst = pattern op dst, the pattern repeated from dst[0] on as it lies in memory.
        void (*pattern)(std::uint32_t pattern, std::uint8_t *dst, std::size_t n);
        /// dst = src1 op src2. The two-operand form has dst for src2; the copy ignores src2, and no level
        /// replaces it: the C library copies where the order does not show.
        void (*bytes)(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n);
        /// srcDst[k] = (src[k] << left | src[k + 1] >> (8 - left)) op srcDst[k], left 1 to 7.
        void (*shifted)(const std::uint8_t *src, std::uint8_t *srcDst, std::size_t n, unsigned left);
        /// dst = src1 op src2, shifted in the same way. The copy has none.
        void (*shiftedPair)(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst,
                            std::size_t n, unsigned left);
    };
    Operation copy, bitAnd, bitOr, bitXor;
};

namespace plain {
void install(LogicKernels &kernels);
}
namespace sse2 {
void install(LogicKernels &kernels);
}
namespace avx2 {
void install(LogicKernels &kernels);
}
namespace avx512 {
void install(LogicKernels &kernels);
}

} // namespace qzk::simd
