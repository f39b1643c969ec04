#include "qzk.h"

#include <benchmark/benchmark.h>
#include <volk/volk.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

std::vector<float> signal(std::size_t n, float amplitude) {
    std::vector<float> values(n);
    std::uint32_t state = 12345;
    for (float &value : values) {
        state = state * 1664525u + 1013904223u;
        value = amplitude * (static_cast<float>(state >> 8) * 0x1p-23f - 1.0f);
    }
    return values;
}

/// Integers of reals below 30000 in magnitude, by convert(src, dst, n, mode).
template <class S, class T, class Convert>
void down(benchmark::State &state, Convert convert) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const auto mode = static_cast<int32_t>(state.range(1));
    const auto floats = signal(n, 30000.0f);
    const std::vector<S> src(floats.begin(), floats.end());
    std::vector<T> dst(n);
    for (auto _ : state) {
        convert(src.data(), dst.data(), n, mode);
        benchmark::ClobberMemory();
    }
}

template <auto function, class S, class T>
void downOurs(benchmark::State &state) {
    int32_t scale = 1;
    down<S, T>(state, [&scale](const S *src, T *dst, std::size_t n, int32_t mode) {
        function(src, dst, static_cast<int32_t>(n), mode, &scale);
    });
}

/// Every mode against the same peer: multiply, clamp, round.
template <auto function, class T>
void downVolk(benchmark::State &state) {
    down<float, T>(state, [](const float *src, T *dst, std::size_t n, int32_t) {
        function(dst, src, 0.5f, static_cast<unsigned>(n));
    });
}

void convertToShorts(int16_t *dst, const float *src, float scale, unsigned n) {
    volk_32f_s32f_convert_16i(dst, src, scale, n);
}
void convertToInts(int32_t *dst, const float *src, float scale, unsigned n) {
    volk_32f_s32f_convert_32i(dst, src, scale, n);
}

template <class S, class T>
void up(benchmark::State &state, void (*function)(const S *, T *, int32_t, int32_t)) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const std::vector<S> src(n, S(1234));
    std::vector<T> dst(n);
    for (auto _ : state) {
        function(src.data(), dst.data(), static_cast<int32_t>(n), 1);
        benchmark::ClobberMemory();
    }
}

void shortsToFloats(benchmark::State &state) { up(state, QZwsbConvertUp); }
void shortsToDoubles(benchmark::State &state) { up(state, QZwdbConvertUp); }
void intsToFloats(benchmark::State &state) { up(state, QZisbConvertUp); }
void intsToDoubles(benchmark::State &state) { up(state, QZidbConvertUp); }

void shortsToFloatsVolk(benchmark::State &state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const std::vector<int16_t> src(n, 1234);
    std::vector<float> dst(n);
    for (auto _ : state) {
        volk_16i_s32f_convert_32f(dst.data(), src.data(), 2.0f, static_cast<unsigned>(n));
        benchmark::ClobberMemory();
    }
}

void intsToFloatsVolk(benchmark::State &state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const std::vector<int32_t> src(n, 1234);
    std::vector<float> dst(n);
    for (auto _ : state) {
        volk_32i_s32f_convert_32f(dst.data(), src.data(), 2.0f, static_cast<unsigned>(n));
        benchmark::ClobberMemory();
    }
}

void reduce(benchmark::State &state, int32_t flags) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const auto parts = signal(2 * n, 1000.0f);
    std::vector<QZComplexFloat> src(n);
    std::memcpy(src.data(), parts.data(), 2 * n * sizeof(float));
    std::vector<float> dst(n);
    for (auto _ : state) {
        QZcsbConvert(src.data(), dst.data(), static_cast<int32_t>(n), flags);
        benchmark::ClobberMemory();
    }
}

void magnitude(benchmark::State &state) { reduce(state, 1); }
void power(benchmark::State &state) { reduce(state, 2); }
void logMagnitude(benchmark::State &state) { reduce(state, 1 | 4); }
void logPower(benchmark::State &state) { reduce(state, 2 | 4); }

void magnitudeVolk(benchmark::State &state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const auto parts = signal(2 * n, 1000.0f);
    const auto *const src = reinterpret_cast<const lv_32fc_t *>(parts.data());
    std::vector<float> dst(n);
    for (auto _ : state) {
        volk_32fc_magnitude_32f(dst.data(), src, static_cast<unsigned>(n));
        benchmark::ClobberMemory();
    }
}

void powerVolk(benchmark::State &state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const auto parts = signal(2 * n, 1000.0f);
    const auto *const src = reinterpret_cast<const lv_32fc_t *>(parts.data());
    std::vector<float> dst(n);
    for (auto _ : state) {
        volk_32fc_magnitude_squared_32f(dst.data(), src, static_cast<unsigned>(n));
        benchmark::ClobberMemory();
    }
}

/// The peer's logarithm is an approximation to about single precision.
void logPowerVolk(benchmark::State &state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    const auto parts = signal(2 * n, 1000.0f);
    const auto *const src = reinterpret_cast<const lv_32fc_t *>(parts.data());
    std::vector<float> dst(n);
    for (auto _ : state) {
        volk_32fc_magnitude_squared_32f(dst.data(), src, static_cast<unsigned>(n));
        volk_32f_log2_32f(dst.data(), dst.data(), static_cast<unsigned>(n));
        volk_32f_s32f_multiply_32f(dst.data(), dst.data(), 0.30103f, static_cast<unsigned>(n));
        benchmark::ClobberMemory();
    }
}

void lengths(benchmark::internal::Benchmark *row) {
    for (const int n : {256, 4096, 1 << 20})
        row->Arg(n);
}

void lengthsAndModes(benchmark::internal::Benchmark *row) {
    for (const int n : {256, 4096, 1 << 20})
        for (const int mode : {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate})
            row->Args({n, mode});
}

void spectrumLengths(benchmark::internal::Benchmark *row) {
    for (const int n : {257, 4096})
        row->Arg(n);
}

} // namespace

BENCHMARK((downOurs<QZswbConvertDown, float, int16_t>))->Name("QZswbConvertDown/qzk")->Apply(lengthsAndModes);
BENCHMARK((downVolk<convertToShorts, int16_t>))->Name("QZswbConvertDown/volk")->Apply(lengthsAndModes);
BENCHMARK((downOurs<QZsibConvertDown, float, int32_t>))->Name("QZsibConvertDown/qzk")->Apply(lengthsAndModes);
BENCHMARK((downVolk<convertToInts, int32_t>))->Name("QZsibConvertDown/volk")->Apply(lengthsAndModes);
BENCHMARK((downOurs<QZdwbConvertDown, double, int16_t>))
    ->Name("QZdwbConvertDown/qzk")
    ->Apply(lengthsAndModes);
BENCHMARK((downOurs<QZdibConvertDown, double, int32_t>))
    ->Name("QZdibConvertDown/qzk")
    ->Apply(lengthsAndModes);
BENCHMARK(shortsToFloats)->Name("QZwsbConvertUp/qzk")->Apply(lengths);
BENCHMARK(shortsToFloatsVolk)->Name("QZwsbConvertUp/volk")->Apply(lengths);
BENCHMARK(intsToFloats)->Name("QZisbConvertUp/qzk")->Apply(lengths);
BENCHMARK(intsToFloatsVolk)->Name("QZisbConvertUp/volk")->Apply(lengths);
BENCHMARK(shortsToDoubles)->Name("QZwdbConvertUp/qzk")->Apply(lengths);
BENCHMARK(intsToDoubles)->Name("QZidbConvertUp/qzk")->Apply(lengths);
BENCHMARK(magnitude)->Name("QZcsbConvert_magnitude/qzk")->Apply(spectrumLengths);
BENCHMARK(magnitudeVolk)->Name("QZcsbConvert_magnitude/volk")->Apply(spectrumLengths);
BENCHMARK(power)->Name("QZcsbConvert_power/qzk")->Apply(spectrumLengths);
BENCHMARK(powerVolk)->Name("QZcsbConvert_power/volk")->Apply(spectrumLengths);
BENCHMARK(logMagnitude)->Name("QZcsbConvert_logMagnitude/qzk")->Apply(spectrumLengths);
BENCHMARK(logPower)->Name("QZcsbConvert_logPower/qzk")->Apply(spectrumLengths);
BENCHMARK(logPowerVolk)->Name("QZcsbConvert_logPower/volk")->Apply(spectrumLengths);
