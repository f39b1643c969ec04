// Frames of zeros: working in place over and over leaves them as they are.
#include "QZ_WIND_peers.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <volk/volk.h>

#include <vector>

namespace {

std::size_t length(const benchmark::State &state) { return static_cast<std::size_t>(state.range(0)); }

template <void apply(float *, int32_t)>
void window(benchmark::State &state) {
    std::vector<float> frame(length(state));
    for (auto _ : state) {
        apply(frame.data(), static_cast<int32_t>(frame.size()));
        benchmark::DoNotOptimize(frame.data());
    }
}

/// The multiplication alone, by a window that the caller keeps.
void windowVolk(benchmark::State &state) {
    std::vector<float> frame(length(state)), coefficients(frame.size(), 0.5f);
    for (auto _ : state) {
        volk_32f_x2_multiply_32f(frame.data(), frame.data(), coefficients.data(),
                                 static_cast<unsigned>(frame.size()));
        benchmark::DoNotOptimize(frame.data());
    }
}

void preEmphasizeFloats(benchmark::State &state) {
    std::vector<float> frame(length(state));
    for (auto _ : state) {
        QZsPreemphasize(frame.data(), 0.95f, static_cast<int32_t>(frame.size()));
        benchmark::DoNotOptimize(frame.data());
    }
}

void preEmphasizeShorts(benchmark::State &state) {
    std::vector<int16_t> frame(length(state));
    int32_t scale;
    for (auto _ : state) {
        QZwPreemphasize(frame.data(), 0.95f, static_cast<int32_t>(frame.size()), QZ_ScaleWrap, &scale);
        benchmark::DoNotOptimize(frame.data());
    }
}

template <class T>
void preEmphasizeNative(benchmark::State &state) {
    std::vector<T> frame(length(state));
    for (auto _ : state) {
        native::preEmphasize(frame.data(), 0.95f, frame.size());
        benchmark::DoNotOptimize(frame.data());
    }
}

} // namespace

BENCHMARK(window<QZsWinHamming>)->Name("QZsWinHamming/qzk")->Arg(256)->Arg(512)->Arg(4096);
BENCHMARK(windowVolk)->Name("QZsWinHamming/volk")->Arg(256)->Arg(512)->Arg(4096);
BENCHMARK(preEmphasizeFloats)->Name("QZsPreemphasize/qzk")->Arg(256)->Arg(512)->Arg(4096);
BENCHMARK(preEmphasizeNative<float>)->Name("QZsPreemphasize/native")->Arg(256)->Arg(512)->Arg(4096);
BENCHMARK(preEmphasizeShorts)->Name("QZwPreemphasize/qzk")->Arg(256)->Arg(512)->Arg(4096);
BENCHMARK(preEmphasizeNative<int16_t>)->Name("QZwPreemphasize/native")->Arg(256)->Arg(512)->Arg(4096);
