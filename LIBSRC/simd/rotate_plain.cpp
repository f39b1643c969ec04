#include "common/elements.hpp"
#include "simd/rotate.hpp"

namespace qzk::simd {
namespace {

using std::size_t;
using std::uint8_t;

template <class Element>
void transpose(const RotateKernels::Transpose &t) {
    for (size_t j = 0; j < t.rows; ++j) {
        const auto source = Source<Element>{t.src[j]}.from(t.srcColumn);
        for (size_t k = 0; k < t.columns; ++k)
            Target<Element>{t.dst[k]}.set(t.dstColumn + j, source.get(k));
    }
}

} // namespace

void plain::install(RotateKernels &kernels) {
    kernels = {transpose<Bit>, transpose<Nibble>, transpose<uint8_t>};
}

} // namespace qzk::simd
