#include "QZ_DTW_peers.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <vector>

namespace {

/// A test pattern and references of about its length, all of random frames.
struct Patterns {
    static constexpr int dim = 13;
    std::vector<std::vector<float>> rows;
    std::vector<const float *> test;
    std::vector<std::vector<const float *>> references;

    Patterns(int nFrames, int nReferences) {
        std::mt19937 engine(7);
        std::uniform_real_distribution<float> value(-1.0f, 1.0f);
        const auto frames = static_cast<std::size_t>(nFrames);
        rows.assign(frames * static_cast<std::size_t>(nReferences + 1), std::vector<float>(dim));
        std::vector<const float *> pointers;
        for (auto &row : rows) {
            for (float &coefficient : row)
                coefficient = value(engine);
            pointers.push_back(row.data());
        }
        test.assign(pointers.begin(), pointers.begin() + nFrames);
        for (int k = 1; k <= nReferences; ++k)
            references.emplace_back(pointers.begin() + k * nFrames, pointers.begin() + (k + 1) * nFrames);
    }
};

void evaluate(benchmark::State &state, qzk::simd::Level level, int32_t mode) {
    qzk::simd::setLevel(level);
    const int nFrames = static_cast<int>(state.range(0)), nReferences = static_cast<int>(state.range(1));
    const Patterns patterns(nFrames, nReferences);
    std::vector<int32_t> ids;
    for (const auto &reference : patterns.references)
        ids.push_back(QZsPatternIni(reference.data(), nFrames, Patterns::dim));
    std::vector<double> scores(ids.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(QZsEvalDTW(ids.data(), nReferences, patterns.test.data(), nFrames,
                                            Patterns::dim, mode, 0.0, 0, scores.data()));
        benchmark::ClobberMemory();
    }
    QZsPatternFreeAll();
    qzk::simd::setLevel(qzk::simd::highestLevel());
}

void evaluateHighest(benchmark::State &state) { evaluate(state, qzk::simd::highestLevel(), QZ_DTWNoBand); }

void evaluateCityBlock(benchmark::State &state) {
    evaluate(state, qzk::simd::highestLevel(), QZ_DTWNoBand | QZ_DTWCityBlock);
}

void evaluateDefinition(benchmark::State &state) { evaluate(state, qzk::simd::Level::plain, QZ_DTWNoBand); }

template <double (*warp)(peers::Pattern, peers::Pattern, int, double *)>
void evaluatePeer(benchmark::State &state) {
    const int nFrames = static_cast<int>(state.range(0)), nReferences = static_cast<int>(state.range(1));
    const Patterns patterns(nFrames, nReferences);
    std::vector<double> work(2 * static_cast<std::size_t>(nFrames) + 4);
    for (auto _ : state) {
        for (const auto &reference : patterns.references)
            benchmark::DoNotOptimize(warp({patterns.test.data(), nFrames}, {reference.data(), nFrames},
                                          Patterns::dim, work.data()));
        benchmark::ClobberMemory();
    }
}

/// Storing and freeing one pattern beside `state.range(1)` others.
void insertAndFree(benchmark::State &state) {
    const int nFrames = static_cast<int>(state.range(0)), others = static_cast<int>(state.range(1));
    const Patterns patterns(nFrames, 1);
    for (int k = 0; k < others; ++k)
        QZsPatternIni(patterns.references[0].data(), nFrames, Patterns::dim);
    for (auto _ : state)
        QZsPatternFree(QZsPatternIni(patterns.references[0].data(), nFrames, Patterns::dim));
    QZsPatternFreeAll();
}

void sizes(benchmark::internal::Benchmark *row) { row->Args({60, 1})->Args({60, 10})->Args({200, 1}); }

} // namespace

BENCHMARK(evaluateHighest)->Name("QZsEvalDTW/qzk")->Apply(sizes);
BENCHMARK(evaluatePeer<peers::warpVectors>)->Name("QZsEvalDTW/vectors")->Apply(sizes);
BENCHMARK(evaluatePeer<peers::warpPlain>)->Name("QZsEvalDTW/loop")->Apply(sizes);
BENCHMARK(evaluateDefinition)->Name("QZsEvalDTW/definition")->Apply(sizes);
BENCHMARK(evaluateCityBlock)->Name("QZsEvalDTW_cityBlock/qzk")->Apply(sizes);
BENCHMARK(insertAndFree)->Name("QZsPatternIni/qzk")->Args({60, 0})->Args({60, 100});
