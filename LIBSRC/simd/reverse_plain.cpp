#include "common/elements.hpp"
#include "simd/reverse.hpp"

namespace qzk::simd {
namespace {

using std::size_t;
using std::uint8_t;

template <class Element>
void reverse(const uint8_t *src, size_t srcSkipped, uint8_t *dst, size_t dstSkipped, size_t n) {
    const auto from = Source<Element>{src}.from(srcSkipped);
    const auto to = Target<Element>{dst}.from(dstSkipped);
    for (size_t i = 0; i < n; ++i)
        to.set(n - 1 - i, from.get(i));
}

} // namespace

void plain::install(ReverseKernels &kernels) { kernels = {reverse<Bit>, reverse<Nibble>, reverse<uint8_t>}; }

} // namespace qzk::simd
