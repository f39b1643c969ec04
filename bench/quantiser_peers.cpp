#include "quantiser_peers.hpp"

namespace peers {
namespace {

template <class T, class Distance>
int nearest(const T *x, int dim, int nCodes, const T *codebook, Distance *distances) {
    int best = 0;
    for (int k = 0; k < nCodes; ++k) {
        double sum = 0.0;
        for (int i = 0; i < dim; ++i) {
            const double d = static_cast<double>(x[i]) - static_cast<double>(codebook[k * dim + i]);
            sum += d * d;
        }
        distances[k] = sum < 2147483647.0 ? static_cast<Distance>(sum) : static_cast<Distance>(2147483647.0);
        if (distances[k] < distances[best]) best = k;
    }
    return best;
}

} // namespace

int quantise(const float *x, int dim, int nCodes, const float *codebook, float *distances) {
    return nearest(x, dim, nCodes, codebook, distances);
}

int quantise(const std::int16_t *x, int dim, int nCodes, const std::int16_t *codebook,
             std::int32_t *distances) {
    return nearest(x, dim, nCodes, codebook, distances);
}

} // namespace peers
