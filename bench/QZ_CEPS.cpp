// Cepstra per frame: 24 filters, 13 coefficients. The peers get the same frame and write as many
// coefficients.
#include "qzk.h"

#include <aubio/aubio.h>
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>
#include <vector>

namespace {

constexpr int32_t nFilters = 24, nCoeffs = 13, rate = 16000;

int32_t order(const benchmark::State &state) { return static_cast<int32_t>(state.range(0)); }

std::vector<float> frame(int32_t order) {
    std::vector<float> samples(std::size_t{1} << order);
    for (std::size_t t = 0; t < samples.size(); ++t)
        samples[t] = static_cast<float>(std::sin(0.2 * static_cast<double>(t)) +
                                        0.3 * std::sin(1e-3 * static_cast<double>(t * t)));
    return samples;
}

void mfcc(benchmark::State &state, int32_t timeSignal) {
    const auto samples = frame(order(state));
    QZMFCCFilters *const filters = QZsMFCCInit(order(state), nFilters, 0, rate / 2, rate, 0, 0, 0);
    float cepstrum[nCoeffs];
    for (auto _ : state) {
        QZsCepstralMFCC(timeSignal, samples.data(), filters, cepstrum, nCoeffs);
        benchmark::DoNotOptimize(cepstrum);
    }
    QZsFreeMFCCFilters(filters);
}

void realFft(benchmark::State &state) {
    const auto samples = frame(order(state));
    std::vector<float> spectrum(samples.size());
    for (auto _ : state) {
        QZsRealFftNip(samples.data(), spectrum.data(), order(state), QZ_FORWARD);
        benchmark::DoNotOptimize(spectrum.data());
    }
}

void logMagnitudes(benchmark::State &state) {
    const auto samples = frame(order(state));
    std::vector<QZComplexFloat> spectrum(samples.size() / 2 + 1);
    for (std::size_t b = 0; b < spectrum.size(); ++b)
        spectrum[b] = {samples[b] + 2.0f, samples[samples.size() - 1 - b]};
    std::vector<float> magnitudes(spectrum.size());
    for (auto _ : state) {
        QZcsbConvert(spectrum.data(), magnitudes.data(), static_cast<int32_t>(spectrum.size()), 1 | 4);
        benchmark::DoNotOptimize(magnitudes.data());
    }
}

/// Without the phases, which cepstra do not need.
void mfccAubio(benchmark::State &state) {
    const auto samples = frame(order(state));
    const auto n = static_cast<uint_t>(samples.size());
    fvec_t *const in = new_fvec(n), *const complexSpectrum = new_fvec(n), *const cepstrum = new_fvec(nCoeffs);
    std::copy(samples.begin(), samples.end(), in->data);
    cvec_t *const spectrum = new_cvec(n);
    aubio_fft_t *const fft = new_aubio_fft(n);
    aubio_mfcc_t *const mfcc = new_aubio_mfcc(n, nFilters, nCoeffs, rate);
    for (auto _ : state) {
        aubio_fft_do_complex(fft, in, complexSpectrum);
        aubio_fft_get_norm(complexSpectrum, spectrum);
        aubio_mfcc_do(mfcc, spectrum, cepstrum);
        benchmark::DoNotOptimize(cepstrum->data);
    }
    del_aubio_mfcc(mfcc);
    del_aubio_fft(fft);
    del_cvec(spectrum);
    del_fvec(cepstrum);
    del_fvec(complexSpectrum);
    del_fvec(in);
}

/// Triangles in single precision, each as its bins, on a planned transform: what a caller would write.
void mfccFftw(benchmark::State &state) {
    auto samples = frame(order(state));
    const std::size_t n = samples.size(), half = n / 2 + 1;
    std::vector<std::complex<float>> spectrum(half);
    const fftwf_plan plan =
        fftwf_plan_dft_r2c_1d(static_cast<int>(n), samples.data(),
                              reinterpret_cast<fftwf_complex *>(spectrum.data()), FFTW_PATIENT);
    samples = frame(order(state));

    std::vector<std::vector<std::pair<std::size_t, float>>> filters(nFilters);
    const double step = 2595.0 * std::log10(1.0 + rate / 2 / 700.0) / (nFilters + 1);
    const auto edge = [&](int i) { return 700.0 * (std::pow(10.0, i * step / 2595.0) - 1.0); };
    for (int j = 0; j < nFilters; ++j) {
        for (std::size_t b = 0; b < n; ++b) {
            const double f = static_cast<double>(b) * rate / 2 / static_cast<double>(n - 1);
            if (edge(j) >= f || f >= edge(j + 2)) continue;
            const double weight = f <= edge(j + 1) ? (f - edge(j)) / (edge(j + 1) - edge(j))
                                                   : (f - edge(j + 2)) / (edge(j + 1) - edge(j + 2));
            filters[static_cast<std::size_t>(j)].emplace_back(b < half ? b : n - b,
                                                              static_cast<float>(weight));
        }
    }
    float factors[nCoeffs][nFilters];
    for (int k = 0; k < nCoeffs; ++k)
        for (int j = 0; j < nFilters; ++j)
            factors[k][j] = static_cast<float>(2.0 * std::cos(M_PI * k * (j + 0.5) / nFilters));

    std::vector<float> magnitudes(half);
    float sums[nFilters], cepstrum[nCoeffs];
    for (auto _ : state) {
        fftwf_execute(plan);
        for (std::size_t b = 0; b < half; ++b)
            magnitudes[b] = 0.5f * std::log10(std::norm(spectrum[b]));
        for (std::size_t j = 0; j < nFilters; ++j) {
            sums[j] = 0.0f;
            for (const auto &[bin, weight] : filters[j])
                sums[j] += weight * magnitudes[bin];
        }
        for (std::size_t k = 0; k < nCoeffs; ++k) {
            cepstrum[k] = 0.0f;
            for (std::size_t j = 0; j < nFilters; ++j)
                cepstrum[k] += sums[j] * factors[k][j];
        }
        benchmark::DoNotOptimize(cepstrum);
    }
    fftwf_destroy_plan(plan);
}

} // namespace

BENCHMARK_CAPTURE(mfcc, samples, 1)->Name("QZsCepstralMFCC/qzk")->Arg(8)->Arg(9);
BENCHMARK(mfccAubio)->Name("QZsCepstralMFCC/aubio")->Arg(8)->Arg(9);
BENCHMARK(mfccFftw)->Name("QZsCepstralMFCC/fftw")->Arg(8)->Arg(9);
BENCHMARK_CAPTURE(mfcc, spectrum, 0)->Name("QZsCepstralMFCC, log spectrum given/qzk")->Arg(8)->Arg(9);
BENCHMARK(realFft)->Name("QZsCepstralMFCC, its transform/qzk")->Arg(8)->Arg(9);
BENCHMARK(logMagnitudes)->Name("QZsCepstralMFCC, its log magnitudes/qzk")->Arg(8)->Arg(9);
