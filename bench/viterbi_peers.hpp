// The same searches as they are usually written.
#pragma once

#include <cstdint>

namespace peers {

/// Steps a[i * n + j], outputs b[k * n + j] of symbol k; work has 2 n floats.
struct Model {
    int n;
    const float *a, *b, *pi;
};

float generalRows(const Model &model, const std::int32_t *symbols, int nFrames, float *work);
float leftRightRows(const Model &model, const std::int32_t *symbols, int nFrames, float *work);
/// As the recurrence reads, target by target: a[j * n + i] is the step from i to j. Floats or their bits are
/// compared.
float generalColumns(const Model &model, const std::int32_t *symbols, int nFrames, float *work);
float leftRightColumns(const Model &model, const std::int32_t *symbols, int nFrames, float *work);
float generalBits(const Model &model, const std::int32_t *symbols, int nFrames, float *work);
float leftRightBits(const Model &model, const std::int32_t *symbols, int nFrames, float *work);
/// a holds the three diagonals by target state, n floats each.
float bakisLoop(const Model &model, const std::int32_t *symbols, int nFrames, float *work);

/// Vectors over the target states; n is a multiple of 64, and all vectors are so aligned.
float generalVectors(const Model &model, const std::int32_t *symbols, int nFrames, float *work);
float leftRightVectors(const Model &model, const std::int32_t *symbols, int nFrames, float *work);

/// nMix components of dim elements per state.
struct Mixtures {
    int nMix, dim;
    const float *weights, *means, *inverse;
};

/// b is not used; work has 3 n floats.
float continuousLoop(const Model &model, const Mixtures &mixtures, const float *const *frames, int nFrames,
                     float *work, float (*search)(const Model &, const std::int32_t *, int, float *));

} // namespace peers
