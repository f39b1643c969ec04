#include "simd/quantiser.hpp"

#include "common/unaligned.hpp"

#include <cmath>
#include <limits>

namespace qzk::simd {
namespace {

template <class Distance>
Distance stored(double distance) {
    if constexpr (std::is_same_v<Distance, std::int32_t>) {
        constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
        if (!(distance < largest)) return largest;
    }
    return static_cast<Distance>(distance);
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
        setElement(distances, k, stored<CodeDistance<T>>(root ? std::sqrt(sum) : sum));
    }
}

} // namespace

const QuantiserKernels plain::quantiser = {{codeDistances<float>}, {codeDistances<std::int16_t>}};

void plain::install(QuantiserKernels &kernels) { kernels = quantiser; }

} // namespace qzk::simd
