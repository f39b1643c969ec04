// Built once per level: the exponentials in lanes, which exist in sources of levels only, as functions.
#include "simd/vector_exponential.hpp"

#include "support/vector_exponential.hpp"

namespace qzk::test::QZK_LEVEL {

double exponential(double x) { return simd::exponential(simd::splat(x))[0]; }

#if QZK_SIMD_LEVEL >= 2
ExponentialPair exponentialPair(double x) {
    const simd::Pair pair = simd::exponentialPair(simd::splat(x));
    return {pair.hi[0], pair.lo[0]};
}
#endif

} // namespace qzk::test::QZK_LEVEL
