// The same searches as they are usually written.
#pragma once

#include <cstdint>

namespace peers {

/// Costs of a model of n states. Cost is float or a 32-bit integer, whose sums stay in range.
template <class Cost>
struct Model {
    int n;
    const Cost *rows;      // the step from i to j at i * n + j
    const Cost *columns;   // and at j * n + i
    const Cost *diagonals; // Bakis: the steps into j from j, j - 1 and j - 2 at j, n + j and 2 * n + j
    const Cost *b;         // of state j and symbol k at k * n + j
    const Cost *pi;
};

/// work has 2 n elements.
template <class Cost>
using Search = Cost (*)(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work);

/// Source by source, so that the inner loop runs over neighbouring targets.
template <class Cost>
Cost generalRows(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work);
template <class Cost>
Cost leftRightRows(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work);
/// As the recurrence reads, target by target.
template <class Cost>
Cost generalColumns(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work);
template <class Cost>
Cost leftRightColumns(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work);
template <class Cost>
Cost bakisLoop(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work);

/// Target by target, with the bits of the floats compared.
float generalBits(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work);
float leftRightBits(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work);

/// Vectors over the target states; n is a multiple of 64, and all vectors are so aligned.
float generalVectors(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work);
float leftRightVectors(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work);

/// Mixtures of nMix components of dim elements.
template <class Element>
struct Mixtures {
    int nMix, dim;
    const Element *weights, *means, *inverse;
    double factor; // of the exponents
};

/// One mixture per state. b is not used.
float continuousLoop(const Model<float> &model, const Mixtures<float> &mixtures, const float *const *frames,
                     int nFrames, float *work, Search<float> search);

/// A codebook of mixtures, weighted by state: weights[j] has `size` of them. b is not used. Integers have 15
/// fractional bits in densities, and costs `costBits`.
float semicontinuousLoop(const Model<float> &model, const Mixtures<float> &codebook, int size,
                         const float *const *weights, const float *const *frames, int nFrames, float *work,
                         Search<float> search);
std::int32_t semicontinuousLoop(const Model<std::int32_t> &model, const Mixtures<std::int16_t> &codebook,
                                int size, const std::int16_t *const *weights,
                                const std::int16_t *const *frames, int nFrames, int costBits,
                                std::int32_t *work, Search<std::int32_t> search);

} // namespace peers
