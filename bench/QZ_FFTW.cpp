// 16-bit transforms against FFTW between conversions by compiled loops, and against KissFFT for 16 bits,
// which no package holds: it is built where KISSFFT_SOURCE names the directory of its source.
#include "QZ_FFTW_peers.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <fftw3.h>
#ifdef FIXED_POINT
#include <kiss_fft.h>
#include <kiss_fftr.h>
#endif

#include <cstdlib>
#include <vector>

namespace {

std::size_t points(const benchmark::State &state) { return std::size_t{1} << state.range(0); }
int32_t order(const benchmark::State &state) { return static_cast<int32_t>(state.range(0)); }

std::vector<int16_t> samples(std::size_t n) {
    std::vector<int16_t> values(n);
    for (int16_t &value : values)
        value = static_cast<int16_t>(std::rand() % 20001 - 10000);
    return values;
}

/// Repeats a transform from the samples to a destination of the same size.
template <class Run>
void measure(benchmark::State &state, std::size_t values, Run run) {
    const auto src = samples(values);
    std::vector<int16_t> dst(values + 2);
    for (auto _ : state) {
        run(src.data(), dst.data());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
}

void complexQzk(benchmark::State &state, int32_t flags, int32_t mode) {
    measure(state, 2 * points(state), [&](const int16_t *src, int16_t *dst) {
        int32_t scale = 6;
        QZvFftNip(reinterpret_cast<const QZComplexShort *>(src), reinterpret_cast<QZComplexShort *>(dst),
                  order(state), flags, mode, &scale);
    });
}

void realQzk(benchmark::State &state, int32_t mode) {
    measure(state, points(state), [&](const int16_t *src, int16_t *dst) {
        int32_t scale = 6;
        QZwRealFftNip(src, dst, order(state), QZ_FORWARD, mode, &scale);
    });
}

void ccsQzk(benchmark::State &state, int32_t mode) {
    measure(state, points(state), [&](const int16_t *src, int16_t *dst) {
        int32_t scale = 6;
        QZwCcsFftNip(src, dst, order(state), QZ_INVERSE, mode, &scale);
    });
}

/// Widens `values` integers, runs the plan that `makePlan` gives in place and narrows.
template <class MakePlan>
void measureFftw(benchmark::State &state, std::size_t values, bool automatic, float factor,
                 MakePlan makePlan) {
    auto *work = static_cast<float *>(fftwf_malloc((values + 2) * sizeof(float)));
    const fftwf_plan plan = makePlan(static_cast<int>(points(state)), work);
    measure(state, values, [&](const int16_t *src, int16_t *dst) {
        peers::widen(src, work, values);
        fftwf_execute(plan);
        peers::narrow(work, dst, values, automatic ? peers::automaticFactor(work, values) : factor);
    });
    fftwf_destroy_plan(plan);
    fftwf_free(work);
}

void complexFftw(benchmark::State &state, int sign, bool automatic) {
    const float factor = sign == FFTW_FORWARD ? 0x1p-6f : 1.0f / static_cast<float>(points(state));
    measureFftw(state, 2 * points(state), automatic, factor, [&](int n, float *work) {
        auto *x = reinterpret_cast<fftwf_complex *>(work);
        return fftwf_plan_dft_1d(n, x, x, sign, FFTW_MEASURE);
    });
}

void realFftw(benchmark::State &state, bool automatic) {
    measureFftw(state, points(state), automatic, 0x1p-6f, [&](int n, float *work) {
        return fftwf_plan_dft_r2c_1d(n, work, reinterpret_cast<fftwf_complex *>(work), FFTW_MEASURE);
    });
}

void ccsFftw(benchmark::State &state, bool automatic) {
    measureFftw(
        state, points(state), automatic, 1.0f / static_cast<float>(points(state)), [&](int n, float *work) {
            return fftwf_plan_dft_c2r_1d(n, reinterpret_cast<fftwf_complex *>(work), work, FFTW_MEASURE);
        });
}

#ifdef FIXED_POINT

// Divides by n in either direction: its results lose one bit per order.
void complexKiss(benchmark::State &state) {
    const auto plan = kiss_fft_alloc(static_cast<int>(points(state)), 0, nullptr, nullptr);
    measure(state, 2 * points(state), [&](const int16_t *src, int16_t *dst) {
        kiss_fft(plan, reinterpret_cast<const kiss_fft_cpx *>(src), reinterpret_cast<kiss_fft_cpx *>(dst));
    });
    kiss_fft_free(plan);
}

void realKiss(benchmark::State &state) {
    const auto plan = kiss_fftr_alloc(static_cast<int>(points(state)), 0, nullptr, nullptr);
    measure(state, points(state), [&](const int16_t *src, int16_t *dst) {
        kiss_fftr(plan, src, reinterpret_cast<kiss_fft_cpx *>(dst));
    });
    kiss_fft_free(plan);
}

#endif

constexpr int lowest = 6, highest = 16;

} // namespace

BENCHMARK_CAPTURE(complexQzk, auto, QZ_FORWARD, QZ_ScaleAuto) -> Name("QZvFft-forward-auto/qzk")
    -> DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexFftw, auto, FFTW_FORWARD, true) -> Name("QZvFft-forward-auto/fftw")
    -> DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexQzk, fixed, QZ_FORWARD, QZ_ScaleFixed)
    ->Name("QZvFft-forward-fixed/qzk")
    ->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexFftw, fixed, FFTW_FORWARD, false)
    ->Name("QZvFft-forward-fixed/fftw")
    ->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexQzk, inverse, QZ_INVERSE, QZ_ScaleWrap)
    ->Name("QZvFft-inverse-wrap/qzk")
    ->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexFftw, inverse, FFTW_BACKWARD, false)
    ->Name("QZvFft-inverse-wrap/fftw")
    ->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(realQzk, auto, QZ_ScaleAuto) -> Name("QZwRealFft-forward-auto/qzk")
    -> DenseRange(lowest, highest);
BENCHMARK_CAPTURE(realFftw, auto, true) -> Name("QZwRealFft-forward-auto/fftw")
    -> DenseRange(lowest, highest);
BENCHMARK_CAPTURE(ccsQzk, wrap, QZ_ScaleWrap)
    ->Name("QZwCcsFft-inverse-wrap/qzk")
    ->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(ccsFftw, wrap, false)->Name("QZwCcsFft-inverse-wrap/fftw")->DenseRange(lowest, highest);
#ifdef FIXED_POINT
BENCHMARK(complexKiss)->Name("QZvFft-forward-auto/kissfft")->DenseRange(lowest, highest);
BENCHMARK(realKiss)->Name("QZwRealFft-forward-auto/kissfft")->DenseRange(lowest, highest);
#endif
