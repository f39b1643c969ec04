#include "QZ_GAUSS_peers.hpp"

#include <cmath>

namespace peers {
namespace {

template <class Real, class Server, class T>
double value(const Server &server, Real scale, const T *x, int dim) {
    double sum = 0.0;
    for (int m = 0; m < server.nMix; ++m) {
        const T *const mean = server.means[m];
        Real form = 0;
        if (server.InverseCovD != nullptr) {
            const T *const diagonal = server.InverseCovD[m];
            for (int c = 0; c < dim; ++c) {
                const Real d = static_cast<Real>(x[c]) - mean[c];
                form += diagonal[c] * (d * d);
            }
        } else {
            for (int r = 0; r < dim; ++r) {
                const T *const row = server.InverseCov[m][r];
                const Real d = static_cast<Real>(x[r]) - mean[r];
                for (int c = 0; c < dim; ++c)
                    form += (static_cast<Real>(x[c]) - mean[c]) * row[c] * d;
            }
        }
        sum = static_cast<double>(sum + std::exp(Real(-0.5) * form * scale) * server.weights[m]);
    }
    return sum;
}

} // namespace

double mixture(const QZsGaussMixServer &server, const float *x, int dim) {
    return value<double>(server, 1.0, x, dim);
}
double mixture(const QZwGaussMixServer &server, const std::int16_t *x, int dim) {
    return value<double>(server, std::ldexp(1.0, server.scale), x, dim);
}
double extendedMixture(const QZsGaussMixServer &server, const float *x, int dim) {
    return value<long double>(server, 1.0L, x, dim);
}
double extendedMixture(const QZwGaussMixServer &server, const std::int16_t *x, int dim) {
    return value<long double>(server, std::ldexp(1.0L, server.scale), x, dim);
}

} // namespace peers
