#include "simd/quantiser.hpp"

#include "common/unaligned.hpp"

#include <cmath>
#include <limits>

namespace qzk::simd {
namespace {

void storeDistance(float *to, double distance) { *to = static_cast<float>(distance); }

void storeDistance(std::int32_t *to, double distance) {
    constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
    *to = distance < largest ? static_cast<std::int32_t>(distance) : largest;
}

template <class T>
void codeDistances(const T *x, std::size_t dim, const T *codebook, std::size_t nCodes, bool root,
                   CodeDistance<T> *distances) {
    for (std::size_t k = 0; k < nCodes; ++k) {
        double sum = 0.0;
        for (std::size_t i = 0; i < dim; ++i) {
            const double d =
                static_cast<double>(elementAt(x, i)) - static_cast<double>(elementAt(codebook, k * dim + i));
            sum += d * d;
        }
        storeDistance(distances + k, root ? std::sqrt(sum) : sum);
    }
}

} // namespace

const QuantiserKernels plain::quantiser = {{codeDistances<float>}, {codeDistances<std::int16_t>}};

void plain::install(QuantiserKernels &kernels) { kernels = quantiser; }

} // namespace qzk::simd
