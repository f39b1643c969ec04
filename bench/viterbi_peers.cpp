#include "viterbi_peers.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#if defined(__AVX512F__)
#include <immintrin.h>
#endif

namespace peers {
namespace {

template <class Step>
float run(const Model &model, const std::int32_t *symbols, int nFrames, float *work, Step step) {
    const int n = model.n;
    float *now = work, *next = work + n;
    const float *b = model.b + static_cast<std::ptrdiff_t>(symbols[0]) * n;
    for (int j = 0; j < n; ++j)
        now[j] = model.pi[j] + b[j];
    for (int t = 1; t < nFrames; ++t) {
        step(model, model.b + static_cast<std::ptrdiff_t>(symbols[t]) * n, now, next);
        std::swap(now, next);
    }
    return *std::min_element(now, now + n);
}

/// Row by row, so that the inner loop runs over neighbouring targets.
template <bool leftRight>
void stepLoop(const Model &model, const float *b, const float *__restrict now, float *__restrict next) {
    const int n = model.n;
    for (int j = 0; j < n; ++j)
        next[j] = now[0] + model.a[j];
    for (int i = 1; i < n; ++i) {
        const float *const row = model.a + static_cast<std::ptrdiff_t>(i) * n;
        const float cost = now[i];
        for (int j = leftRight ? i : 0; j < n; ++j) {
            const float candidate = cost + row[j];
            next[j] = candidate < next[j] ? candidate : next[j];
        }
    }
    for (int j = 0; j < n; ++j)
        next[j] += b[j];
}

/// As the recurrence reads: the least over all sources, target by target; a holds the columns.
template <bool leftRight>
void stepColumns(const Model &model, const float *b, const float *__restrict now, float *__restrict next) {
    const int n = model.n;
    for (int j = 0; j < n; ++j) {
        const float *const column = model.a + static_cast<std::ptrdiff_t>(j) * n;
        const int end = leftRight ? j + 1 : n;
        float least = now[0] + column[0];
        for (int i = 1; i < end; ++i) {
            const float candidate = now[i] + column[i];
            least = candidate < least ? candidate : least;
        }
        next[j] = least + b[j];
    }
}

/// The same with the bits of the floats compared.
template <bool leftRight>
void stepColumnBits(const Model &model, const float *b, const float *__restrict now, float *__restrict next) {
    const int n = model.n;
    for (int j = 0; j < n; ++j) {
        const float *const column = model.a + static_cast<std::ptrdiff_t>(j) * n;
        const int end = leftRight ? j + 1 : n;
        int least = 0x7FFFFFFF;
        for (int i = 0; i < end; ++i) {
            const float candidate = now[i] + column[i];
            int bits;
            __builtin_memcpy(&bits, &candidate, sizeof bits);
            least = bits < least ? bits : least;
        }
        float cost;
        __builtin_memcpy(&cost, &least, sizeof cost);
        next[j] = cost + b[j];
    }
}

void stepBakis(const Model &model, const float *__restrict b, const float *__restrict now,
               float *__restrict next) {
    const int n = model.n;
    const float *const stay = model.a, *const step = stay + n, *const jump = step + n;
    next[0] = now[0] + stay[0] + b[0];
    next[1] = std::min(now[1] + stay[1], now[0] + step[1]) + b[1];
    for (int j = 2; j < n; ++j) {
        float least = now[j] + stay[j];
        const float one = now[j - 1] + step[j], two = now[j - 2] + jump[j];
        least = one < least ? one : least;
        least = two < least ? two : least;
        next[j] = least + b[j];
    }
}

#if defined(__AVX512F__)
template <bool leftRight>
void stepVectors(const Model &model, const float *b, const float *now, float *next) {
    const int n = model.n;
    for (int to = 0; to < n; to += 64) {
        const int end = leftRight ? to + 64 : n;
        __m512 least[4];
        for (auto &v : least)
            v = _mm512_set1_ps(3.4e38f);
        for (int i = 0; i < end; ++i) {
            const __m512 cost = _mm512_set1_ps(now[i]);
            const float *const row = model.a + static_cast<std::ptrdiff_t>(i) * n + to;
#pragma GCC unroll 4
            for (int k = 0; k < 4; ++k)
                least[k] = _mm512_min_ps(least[k], _mm512_add_ps(cost, _mm512_load_ps(row + 16 * k)));
        }
#pragma GCC unroll 4
        for (int k = 0; k < 4; ++k)
            _mm512_store_ps(next + to + 16 * k, _mm512_add_ps(least[k], _mm512_load_ps(b + to + 16 * k)));
    }
}
#endif

double density(const Mixtures &m, int state, const float *x) {
    double sum = 0.0;
    for (int k = 0; k < m.nMix; ++k) {
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(state) * m.nMix + k;
        const float *const mean = m.means + at * m.dim, *const inverse = m.inverse + at * m.dim;
        double q = 0.0;
        for (int c = 0; c < m.dim; ++c) {
            const double d = static_cast<double>(x[c]) - static_cast<double>(mean[c]);
            q += static_cast<double>(inverse[c]) * d * d;
        }
        sum += static_cast<double>(m.weights[at]) * std::exp(-0.5 * q);
    }
    return sum;
}

} // namespace

float generalRows(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepLoop<false>);
}
float leftRightRows(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepLoop<true>);
}
float generalColumns(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepColumns<false>);
}
float leftRightColumns(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepColumns<true>);
}
float generalBits(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepColumnBits<false>);
}
float leftRightBits(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepColumnBits<true>);
}
float bakisLoop(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepBakis);
}

#if defined(__AVX512F__)
float generalVectors(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepVectors<false>);
}
float leftRightVectors(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepVectors<true>);
}
#else
float generalVectors(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return generalRows(model, symbols, nFrames, work);
}
float leftRightVectors(const Model &model, const std::int32_t *symbols, int nFrames, float *work) {
    return leftRightRows(model, symbols, nFrames, work);
}
#endif

float continuousLoop(const Model &model, const Mixtures &mixtures, const float *const *frames, int nFrames,
                     float *work, float (*search)(const Model &, const std::int32_t *, int, float *)) {
    const std::ptrdiff_t n = model.n;
    std::vector<float> costs(static_cast<std::size_t>(n * nFrames));
    std::vector<std::int32_t> rows(static_cast<std::size_t>(nFrames));
    for (int t = 0; t < nFrames; ++t) {
        rows[static_cast<std::size_t>(t)] = t;
        for (int j = 0; j < model.n; ++j)
            costs[static_cast<std::size_t>(t * n + j)] =
                static_cast<float>(-std::log10(density(mixtures, j, frames[t])));
    }
    return search({model.n, model.a, costs.data(), model.pi}, rows.data(), nFrames, work);
}

} // namespace peers
