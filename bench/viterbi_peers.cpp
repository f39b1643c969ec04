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

template <class Cost, class Step>
Cost run(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work, Step step) {
    const int n = model.n;
    Cost *now = work, *next = work + n;
    const Cost *b = model.b + static_cast<std::ptrdiff_t>(symbols[0]) * n;
    for (int j = 0; j < n; ++j)
        now[j] = model.pi[j] + b[j];
    for (int t = 1; t < nFrames; ++t) {
        step(model, model.b + static_cast<std::ptrdiff_t>(symbols[t]) * n, now, next);
        std::swap(now, next);
    }
    return *std::min_element(now, now + n);
}

template <bool leftRight, class Cost>
void stepRows(const Model<Cost> &model, const Cost *b, const Cost *__restrict now, Cost *__restrict next) {
    const int n = model.n;
    for (int j = 0; j < n; ++j)
        next[j] = now[0] + model.rows[j];
    for (int i = 1; i < n; ++i) {
        const Cost *const row = model.rows + static_cast<std::ptrdiff_t>(i) * n;
        const Cost cost = now[i];
        for (int j = leftRight ? i : 0; j < n; ++j) {
            const Cost candidate = cost + row[j];
            next[j] = candidate < next[j] ? candidate : next[j];
        }
    }
    for (int j = 0; j < n; ++j)
        next[j] += b[j];
}

template <bool leftRight, class Cost>
void stepColumns(const Model<Cost> &model, const Cost *b, const Cost *__restrict now, Cost *__restrict next) {
    const int n = model.n;
    for (int j = 0; j < n; ++j) {
        const Cost *const column = model.columns + static_cast<std::ptrdiff_t>(j) * n;
        const int end = leftRight ? j + 1 : n;
        Cost least = now[0] + column[0];
        for (int i = 1; i < end; ++i) {
            const Cost candidate = now[i] + column[i];
            least = candidate < least ? candidate : least;
        }
        next[j] = least + b[j];
    }
}

template <bool leftRight>
void stepColumnBits(const Model<float> &model, const float *b, const float *__restrict now,
                    float *__restrict next) {
    const int n = model.n;
    for (int j = 0; j < n; ++j) {
        const float *const column = model.columns + static_cast<std::ptrdiff_t>(j) * n;
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

template <class Cost>
void stepBakis(const Model<Cost> &model, const Cost *__restrict b, const Cost *__restrict now,
               Cost *__restrict next) {
    const int n = model.n;
    const Cost *const stay = model.diagonals, *const step = stay + n, *const jump = step + n;
    next[0] = now[0] + stay[0] + b[0];
    next[1] = std::min(now[1] + stay[1], now[0] + step[1]) + b[1];
    for (int j = 2; j < n; ++j) {
        Cost least = now[j] + stay[j];
        const Cost one = now[j - 1] + step[j], two = now[j - 2] + jump[j];
        least = one < least ? one : least;
        least = two < least ? two : least;
        next[j] = least + b[j];
    }
}

#if defined(__AVX512F__)
template <bool leftRight>
void stepVectors(const Model<float> &model, const float *b, const float *now, float *next) {
    const int n = model.n;
    for (int to = 0; to < n; to += 64) {
        const int end = leftRight ? to + 64 : n;
        __m512 least[4];
        for (auto &v : least)
            v = _mm512_set1_ps(3.4e38f);
        for (int i = 0; i < end; ++i) {
            const __m512 cost = _mm512_set1_ps(now[i]);
            const float *const row = model.rows + static_cast<std::ptrdiff_t>(i) * n + to;
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

template <class Element>
double density(const Mixtures<Element> &m, int number, const Element *x) {
    double sum = 0.0;
    for (int k = 0; k < m.nMix; ++k) {
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(number) * m.nMix + k;
        const Element *const mean = m.means + at * m.dim, *const inverse = m.inverse + at * m.dim;
        double q = 0.0;
        for (int c = 0; c < m.dim; ++c) {
            const double d = static_cast<double>(x[c]) - static_cast<double>(mean[c]);
            q += static_cast<double>(inverse[c]) * d * d;
        }
        sum += static_cast<double>(m.weights[at]) * std::exp(-0.5 * m.factor * q);
    }
    return sum;
}

/// Searches with a row of outputs per frame, which setRow(t, row) computes.
template <class Cost, class SetRow>
Cost searchRows(Model<Cost> model, int nFrames, Cost *work, Search<Cost> search, SetRow setRow) {
    std::vector<Cost> costs(static_cast<std::size_t>(model.n) * static_cast<std::size_t>(nFrames));
    std::vector<std::int32_t> rows(static_cast<std::size_t>(nFrames));
    for (int t = 0; t < nFrames; ++t) {
        rows[static_cast<std::size_t>(t)] = t;
        setRow(t, costs.data() + static_cast<std::ptrdiff_t>(t) * model.n);
    }
    model.b = costs.data();
    return search(model, rows.data(), nFrames, work);
}

} // namespace

template <class Cost>
Cost generalRows(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work) {
    return run(model, symbols, nFrames, work, stepRows<false, Cost>);
}
template <class Cost>
Cost leftRightRows(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work) {
    return run(model, symbols, nFrames, work, stepRows<true, Cost>);
}
template <class Cost>
Cost generalColumns(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work) {
    return run(model, symbols, nFrames, work, stepColumns<false, Cost>);
}
template <class Cost>
Cost leftRightColumns(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work) {
    return run(model, symbols, nFrames, work, stepColumns<true, Cost>);
}
template <class Cost>
Cost bakisLoop(const Model<Cost> &model, const std::int32_t *symbols, int nFrames, Cost *work) {
    return run(model, symbols, nFrames, work, stepBakis<Cost>);
}

template float generalRows(const Model<float> &, const std::int32_t *, int, float *);
template float leftRightRows(const Model<float> &, const std::int32_t *, int, float *);
template float generalColumns(const Model<float> &, const std::int32_t *, int, float *);
template float leftRightColumns(const Model<float> &, const std::int32_t *, int, float *);
template float bakisLoop(const Model<float> &, const std::int32_t *, int, float *);
template std::int32_t generalRows(const Model<std::int32_t> &, const std::int32_t *, int, std::int32_t *);
template std::int32_t leftRightRows(const Model<std::int32_t> &, const std::int32_t *, int, std::int32_t *);
template std::int32_t generalColumns(const Model<std::int32_t> &, const std::int32_t *, int, std::int32_t *);
template std::int32_t leftRightColumns(const Model<std::int32_t> &, const std::int32_t *, int,
                                       std::int32_t *);
template std::int32_t bakisLoop(const Model<std::int32_t> &, const std::int32_t *, int, std::int32_t *);

float generalBits(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepColumnBits<false>);
}
float leftRightBits(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepColumnBits<true>);
}

#if defined(__AVX512F__)
float generalVectors(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepVectors<false>);
}
float leftRightVectors(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work) {
    return run(model, symbols, nFrames, work, stepVectors<true>);
}
#else
float generalVectors(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work) {
    return generalRows(model, symbols, nFrames, work);
}
float leftRightVectors(const Model<float> &model, const std::int32_t *symbols, int nFrames, float *work) {
    return leftRightRows(model, symbols, nFrames, work);
}
#endif

float continuousLoop(const Model<float> &model, const Mixtures<float> &mixtures, const float *const *frames,
                     int nFrames, float *work, Search<float> search) {
    return searchRows(model, nFrames, work, search, [&](int t, float *row) {
        for (int j = 0; j < model.n; ++j)
            row[j] = static_cast<float>(-std::log10(density(mixtures, j, frames[t])));
    });
}

float semicontinuousLoop(const Model<float> &model, const Mixtures<float> &codebook, int size,
                         const float *const *weights, const float *const *frames, int nFrames, float *work,
                         Search<float> search) {
    std::vector<float> values(static_cast<std::size_t>(size));
    return searchRows(model, nFrames, work, search, [&](int t, float *row) {
        for (int k = 0; k < size; ++k)
            values[static_cast<std::size_t>(k)] = static_cast<float>(density(codebook, k, frames[t]));
        for (int j = 0; j < model.n; ++j) {
            double sum = 0.0;
            for (int k = 0; k < size; ++k)
                sum += static_cast<double>(weights[j][k]) *
                       static_cast<double>(values[static_cast<std::size_t>(k)]);
            row[j] = static_cast<float>(-std::log10(sum));
        }
    });
}

std::int32_t semicontinuousLoop(const Model<std::int32_t> &model, const Mixtures<std::int16_t> &codebook,
                                int size, const std::int16_t *const *weights,
                                const std::int16_t *const *frames, int nFrames, int costBits,
                                std::int32_t *work, Search<std::int32_t> search) {
    std::vector<std::int16_t> values(static_cast<std::size_t>(size));
    const double unit = std::ldexp(1.0, costBits);
    return searchRows(model, nFrames, work, search, [&](int t, std::int32_t *row) {
        for (int k = 0; k < size; ++k)
            values[static_cast<std::size_t>(k)] = static_cast<std::int16_t>(
                static_cast<std::int32_t>(32768.0 * density(codebook, k, frames[t])));
        for (int j = 0; j < model.n; ++j) {
            std::int32_t sum = 0;
            for (int k = 0; k < size; ++k)
                sum += weights[j][k] * values[static_cast<std::size_t>(k)];
            row[j] = sum > 0 ? static_cast<std::int32_t>((8.729869874255455 - std::log10(sum)) * unit)
                             : 0x1FFFFFFF;
        }
    });
}

} // namespace peers
