// Transforms against FFTW (planned by measurement, in place) and KissFFT.
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <fftw3.h>
#include <kiss_fft.h>
#include <kiss_fftr.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <vector>

namespace {

// A transform that is repeated in place grows its data by sqrt(n) each time: every row starts from the same
// small samples again, and its peer pays for the same copy.
template <class T>
class Data {
public:
    explicit Data(std::size_t n) : source_(2 * n), work_(static_cast<T *>(fftwf_malloc(bytes()))) {
        for (float &value : source_)
            value = static_cast<float>(std::rand() % 2001 - 1000) * 0.001f;
    }
    ~Data() { fftwf_free(work_); }
    Data(const Data &) = delete;
    Data &operator=(const Data &) = delete;

    T *fresh(std::size_t n) {
        std::memcpy(work_, source_.data(), n * sizeof(T));
        return work_;
    }
    T *get() { return work_; }

private:
    std::size_t bytes() const { return source_.size() * sizeof(float) + 64; }

    std::vector<float> source_;
    T *work_;
};

std::size_t points(const benchmark::State &state) { return std::size_t{1} << state.range(0); }

void complexFft(benchmark::State &state, int32_t flags) {
    const std::size_t n = points(state);
    Data<QZComplexFloat> data(n);
    for (auto _ : state) {
        auto *x = data.fresh(n);
        QZcFft(x, static_cast<int32_t>(state.range(0)), flags);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
}

void complexFftw(benchmark::State &state, int sign) {
    const std::size_t n = points(state);
    Data<fftwf_complex> data(n);
    const auto plan = fftwf_plan_dft_1d(static_cast<int>(n), data.get(), data.get(), sign, FFTW_MEASURE);
    for (auto _ : state) {
        auto *x = data.fresh(n);
        fftwf_execute(plan);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}

void complexKiss(benchmark::State &state, int inverse) {
    const std::size_t n = points(state);
    Data<kiss_fft_cpx> data(n);
    std::vector<kiss_fft_cpx> out(n);
    const auto plan = kiss_fft_alloc(static_cast<int>(n), inverse, nullptr, nullptr);
    for (auto _ : state) {
        kiss_fft(plan, data.fresh(n), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    kiss_fft_free(plan);
}

void realFft(benchmark::State &state) {
    const std::size_t n = points(state);
    Data<float> data(n);
    for (auto _ : state) {
        auto *x = data.fresh(n);
        QZsRealFft(x, static_cast<int32_t>(state.range(0)), QZ_FORWARD);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
}

/// Split pass in single precision: the spectrum of n real samples from the transform of n/2 points.
__attribute__((target_clones("default", "arch=x86-64-v3", "arch=x86-64-v4"))) void
splitSingle(float *z, const float *cosines, const float *sines, std::size_t h) {
    const float re = z[0], im = z[1];
    z[0] = re + im;
    z[1] = re - im;
    for (std::size_t k = 1; k < h / 2; ++k) {
        const std::size_t p = h - k;
        const float evenRe = 0.5f * (z[2 * k] + z[2 * p]), evenIm = 0.5f * (z[2 * k + 1] - z[2 * p + 1]);
        const float oddRe = 0.5f * (z[2 * k + 1] + z[2 * p + 1]), oddIm = 0.5f * (z[2 * p] - z[2 * k]);
        const float turnedRe = oddRe * cosines[k] + oddIm * sines[k];
        const float turnedIm = oddIm * cosines[k] - oddRe * sines[k];
        z[2 * k] = evenRe + turnedRe;
        z[2 * k + 1] = evenIm + turnedIm;
        z[2 * p] = evenRe - turnedRe;
        z[2 * p + 1] = turnedIm - evenIm;
    }
    z[h + 1] = -z[h + 1];
}

void realFftwHalf(benchmark::State &state) {
    const std::size_t n = points(state), h = n / 2;
    Data<float> data(n);
    auto *x = data.get();
    std::vector<float> cosines(h), sines(h);
    for (std::size_t k = 0; k < h; ++k) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n);
        cosines[k] = static_cast<float>(std::cos(angle));
        sines[k] = static_cast<float>(std::sin(angle));
    }
    auto *z = reinterpret_cast<fftwf_complex *>(x);
    const auto plan = fftwf_plan_dft_1d(static_cast<int>(h), z, z, FFTW_FORWARD, FFTW_MEASURE);
    for (auto _ : state) {
        data.fresh(n);
        fftwf_execute(plan);
        splitSingle(x, cosines.data(), sines.data(), h);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}

void realFftw(benchmark::State &state) {
    const std::size_t n = points(state);
    Data<float> data(n + 2);
    auto *x = data.get();
    const auto plan =
        fftwf_plan_dft_r2c_1d(static_cast<int>(n), x, reinterpret_cast<fftwf_complex *>(x), FFTW_MEASURE);
    for (auto _ : state) {
        data.fresh(n);
        fftwf_execute(plan);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}

void realKiss(benchmark::State &state) {
    const std::size_t n = points(state);
    Data<float> data(n);
    std::vector<kiss_fft_cpx> out(n / 2 + 1);
    const auto plan = kiss_fftr_alloc(static_cast<int>(n), 0, nullptr, nullptr);
    for (auto _ : state) {
        kiss_fftr(plan, data.fresh(n), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    kiss_fft_free(plan);
}

void ccsInverse(benchmark::State &state) {
    const std::size_t n = points(state);
    Data<float> data(n);
    for (auto _ : state) {
        auto *x = data.fresh(n);
        QZsCcsFft(x, static_cast<int32_t>(state.range(0)), QZ_INVERSE);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
}

void ccsFftw(benchmark::State &state) {
    const std::size_t n = points(state);
    Data<float> data(n + 2);
    auto *x = data.get();
    const auto plan =
        fftwf_plan_dft_c2r_1d(static_cast<int>(n), reinterpret_cast<fftwf_complex *>(x), x, FFTW_MEASURE);
    for (auto _ : state) {
        data.fresh(n + 2);
        fftwf_execute(plan);
        benchmark::DoNotOptimize(x);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}

void ccsKiss(benchmark::State &state) {
    const std::size_t n = points(state);
    Data<kiss_fft_cpx> data(n / 2 + 1);
    std::vector<float> out(n);
    const auto plan = kiss_fftr_alloc(static_cast<int>(n), 1, nullptr, nullptr);
    for (auto _ : state) {
        kiss_fftri(plan, data.fresh(n / 2 + 1), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    kiss_fft_free(plan);
}

constexpr int lowest = 6, highest = 16;

} // namespace

BENCHMARK_CAPTURE(complexFft, forward, QZ_FORWARD)->Name("QZcFft-forward/qzk")->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexFftw, forward, FFTW_FORWARD)
    ->Name("QZcFft-forward/fftw")
    ->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexKiss, forward, 0)->Name("QZcFft-forward/kissfft")->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexFft, inverse, QZ_INVERSE)->Name("QZcFft-inverse/qzk")->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexFftw, inverse, FFTW_BACKWARD)
    ->Name("QZcFft-inverse/fftw")
    ->DenseRange(lowest, highest);
BENCHMARK_CAPTURE(complexKiss, inverse, 1)->Name("QZcFft-inverse/kissfft")->DenseRange(lowest, highest);
BENCHMARK(realFft)->Name("QZsRealFft-forward/qzk")->DenseRange(lowest, highest);
BENCHMARK(realFftwHalf)->Name("QZsRealFft-forward/fftw-half")->DenseRange(lowest, highest);
BENCHMARK(realFftw)->Name("QZsRealFft-forward/fftw-r2c")->DenseRange(lowest, highest);
BENCHMARK(realKiss)->Name("QZsRealFft-forward/kissfft")->DenseRange(lowest, highest);
BENCHMARK(ccsInverse)->Name("QZsCcsFft-inverse/qzk")->DenseRange(lowest, highest);
BENCHMARK(ccsFftw)->Name("QZsCcsFft-inverse/fftw-c2r")->DenseRange(lowest, highest);
BENCHMARK(ccsKiss)->Name("QZsCcsFft-inverse/kissfft")->DenseRange(lowest, highest);
