#include "QZ_WIND_peers.hpp"

namespace native {

void preEmphasize(float *x, float a, std::size_t n) {
    double previous = x[0];
    for (std::size_t k = 1; k < n; ++k) {
        const double current = x[k];
        x[k] = static_cast<float>(current - previous * static_cast<double>(a));
        previous = current;
    }
}

void preEmphasize(std::int16_t *x, float a, std::size_t n) {
    double previous = x[0];
    for (std::size_t k = 1; k < n; ++k) {
        const double current = x[k];
        x[k] = static_cast<std::int16_t>(static_cast<int>(current - previous * static_cast<double>(a)));
        previous = current;
    }
}

} // namespace native
