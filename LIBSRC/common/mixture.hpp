// Gaussian mixture servers, for those who evaluate many of them.
#pragma once

#include "qzk.h"

#include <cstdint>

/// Borrows all arrays from the client. Exactly one of InverseCov and InverseCovD is not null.
struct QZsGaussMixServer {
    const float *weights;
    const float *const *means;
    const float *const *const *InverseCov;
    const float *const *InverseCovD;
    void *reserved;
    std::int32_t nMix;
    std::int32_t useExpTables;
};

struct QZwGaussMixServer {
    const std::int16_t *weights;
    const std::int16_t *const *means;
    const std::int16_t *const *const *InverseCov;
    const std::int16_t *const *InverseCovD;
    void *reserved;
    std::int32_t nMix;
    std::int32_t useExpTables;
    std::int32_t scale; // the quadratic form of the raw integers counts 2^scale times
};

namespace qzk {

// Shared by all servers, from the first evaluation that looks an exponential up to the release of a server
// that does: 100 entries e^-i and 1000 entries e^(-i / 1000).
extern float *integralExpTable;
extern float *fractionalExpTable;
extern std::int32_t expTablesBuilt;

/// values[i] = QZsEvalGaussMix(servers[i], x, dim) for i from 0 upwards, reports included. False if one
/// of them failed, for which it is 0.
bool evaluateMixtures(const QZsGaussMixServer *const *servers, std::int32_t count, const float *x,
                      std::int32_t dim, double *values);

/// The values that QZwEvalGaussMix(servers[i], x, dim, ...) converts, reports included.
bool evaluateMixtures(const QZwGaussMixServer *const *servers, std::int32_t count, const std::int16_t *x,
                      std::int32_t dim, double *values);

/// Bounds of the values at `count` vectors, side by side as simd::MixtureKernelsOf wants them; minus infinity
/// and infinity where none are known, as with servers that look exponentials up.
void boundMixture(const QZsGaussMixServer &server, const double *columns, std::int32_t count,
                  std::int32_t dim, double *lower, double *upper);
void boundMixture(const QZwGaussMixServer &server, const double *columns, std::int32_t count,
                  std::int32_t dim, double *lower, double *upper);

} // namespace qzk
