#include "QZ_DTW_peers.hpp"

#include <algorithm>
#include <cmath>
#include <immintrin.h>

namespace peers {
namespace {

constexpr double unreachable = 3.4e38;

double plainDistance(const float *a, const float *b, int dim) {
    double sum = 0.0;
    for (int c = 0; c < dim; ++c) {
        const double d = static_cast<double>(a[c]) - static_cast<double>(b[c]);
        sum += d * d;
    }
    return std::sqrt(sum);
}

#if defined(__AVX512F__)

double vectorDistance(const float *a, const float *b, int dim) {
    __m512d sum = _mm512_setzero_pd();
    int c = 0;
    for (; c + 8 <= dim; c += 8) {
        const __m512d d =
            _mm512_sub_pd(_mm512_cvtps_pd(_mm256_loadu_ps(a + c)), _mm512_cvtps_pd(_mm256_loadu_ps(b + c)));
        sum = _mm512_fmadd_pd(d, d, sum);
    }
    if (c < dim) {
        const auto rest = static_cast<__mmask8>((1u << (dim - c)) - 1);
        const __m512d d = _mm512_sub_pd(_mm512_cvtps_pd(_mm256_maskz_loadu_ps(rest, a + c)),
                                        _mm512_cvtps_pd(_mm256_maskz_loadu_ps(rest, b + c)));
        sum = _mm512_fmadd_pd(d, d, sum);
    }
    return std::sqrt(_mm512_reduce_add_pd(sum));
}

#else

double vectorDistance(const float *a, const float *b, int dim) {
    __m256d sum = _mm256_setzero_pd();
    int c = 0;
    for (; c + 4 <= dim; c += 4) {
        const __m256d d =
            _mm256_sub_pd(_mm256_cvtps_pd(_mm_loadu_ps(a + c)), _mm256_cvtps_pd(_mm_loadu_ps(b + c)));
        sum = _mm256_fmadd_pd(d, d, sum);
    }
    const __m128d pair = _mm_add_pd(_mm256_castpd256_pd128(sum), _mm256_extractf128_pd(sum, 1));
    double total = _mm_cvtsd_f64(_mm_add_sd(pair, _mm_unpackhi_pd(pair, pair)));
    for (; c < dim; ++c) {
        const double d = static_cast<double>(a[c]) - static_cast<double>(b[c]);
        total += d * d;
    }
    return std::sqrt(total);
}

#endif

int floorThird(int n) { return n >= 0 ? n / 3 : -((2 - n) / 3); }

template <class Distance>
double warp(Pattern test, Pattern reference, int dim, double *work, Distance distance) {
    const int N = test.nFrames, M = reference.nFrames;
    double *const cost = work + 2, *const stay = work + M + 4;
    std::fill(work, work + 2 * M + 4, unreachable);
    const int k = std::max(floorThird(2 * M - (N + 1)), -1), q = -floorThird(-(4 * N - (2 * M + 2)));
    const auto highest = [=](int i) { return i > k ? M - 1 - (N - 1 - i) / 2 : 2 * i; };
    const auto lowest = [=](int i) { return i < q ? i / 2 : M - 1 - 2 * (N - 1 - i); };
    const auto best = [=](int j) { return std::min(std::min(cost[j - 1], stay[j]), cost[j - 2]); };

    for (int j = highest(0); j >= 0; --j)
        cost[j] = stay[j] = distance(test.frames[0], reference.frames[j], dim);
    for (int i = 1; i < N - 1; ++i) {
        const int lo = lowest(i);
        for (int j = highest(i); j >= lo; --j) {
            const double from = best(j);
            const bool horizontal = from < cost[j - 1] && from == stay[j];
            cost[j] = from + distance(test.frames[i], reference.frames[j], dim);
            stay[j] = horizontal ? unreachable : cost[j];
        }
        cost[lo - 1] = cost[lo - 2] = unreachable;
    }
    double result = unreachable;
    for (int j = M - 1; j >= lowest(N - 1); --j)
        result = std::min(result, best(j) + distance(test.frames[N - 1], reference.frames[j], dim));
    return result;
}

} // namespace

double warpPlain(Pattern test, Pattern reference, int dim, double *work) {
    return warp(test, reference, dim, work, plainDistance);
}

double warpVectors(Pattern test, Pattern reference, int dim, double *work) {
    return warp(test, reference, dim, work, vectorDistance);
}

} // namespace peers
