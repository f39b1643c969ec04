// The exponentials in lanes, which exist in sources of levels only, as functions.
#pragma once

namespace qzk::test {

struct ExponentialPair {
    double hi, lo;
};

namespace sse2 {
double exponential(double x);
}
namespace avx2 {
double exponential(double x);
ExponentialPair exponentialPair(double x);
} // namespace avx2
namespace avx512 {
double exponential(double x);
ExponentialPair exponentialPair(double x);
} // namespace avx512

} // namespace qzk::test
