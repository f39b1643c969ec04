#include "qzk.h"

#include <benchmark/benchmark.h>
#include <volk/volk.h>

#include <vector>

namespace {

void multiplyFloats(benchmark::State &state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    std::vector<float> src(n, 1.0f), srcDst(n, 2.0f);
    for (auto _ : state) {
        QZsbMpy2(src.data(), srcDst.data(), static_cast<int32_t>(n));
        benchmark::DoNotOptimize(srcDst.data());
    }
}

void multiplyFloatsVolk(benchmark::State &state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    std::vector<float> src(n, 1.0f), srcDst(n, 2.0f);
    for (auto _ : state) {
        volk_32f_x2_multiply_32f(srcDst.data(), srcDst.data(), src.data(), static_cast<unsigned>(n));
        benchmark::DoNotOptimize(srcDst.data());
    }
}

} // namespace

BENCHMARK(multiplyFloats)->Name("QZsbMpy2/qzk")->Arg(256)->Arg(4096);
BENCHMARK(multiplyFloatsVolk)->Name("QZsbMpy2/volk")->Arg(256)->Arg(4096);
