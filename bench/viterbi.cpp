#include "qzk.h"
#include "simd/kernels.hpp"
#include "viterbi_peers.hpp"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <random>
#include <vector>

namespace {

constexpr int nFrames = 100, nSymbols = 32, dim = 13, nMix = 4;

enum Topology { general, leftRight, bakis };

template <class T>
struct Aligned {
    using value_type = T;
    Aligned() = default;
    template <class U>
    Aligned(const Aligned<U> &) {}
    T *allocate(std::size_t n) {
        return static_cast<T *>(::operator new (n * sizeof(T), std::align_val_t{64}));
    }
    void deallocate(T *p, std::size_t) { ::operator delete (p, std::align_val_t{64}); }
    bool operator==(const Aligned &) const { return true; }
};
using Floats = std::vector<float, Aligned<float>>;

/// A random model in the layouts of client and peers.
struct Problem {
    int n;
    Floats a, diagonals, b, pi, work, weights, means, inverse, frames;
    std::vector<const float *> aRows, bRows, meanRows, inverseRows, frameRows;
    std::vector<std::int16_t> aWords, bWords, piWords;
    std::vector<const std::int16_t *> aWordRows, bWordRows;
    std::vector<std::int32_t> symbols;
    std::vector<QZsGaussMixServer *> servers;

    Problem(int states, Topology topology) : n(states) {
        std::mt19937 engine(5);
        std::uniform_real_distribution<float> value(0.0f, 10.0f);
        const auto count = [](int rows, int columns) {
            return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
        };
        a.assign(count(n, n), 1e30f);
        diagonals.assign(count(3, n), 1e30f);
        for (int i = 0; i < n; ++i)
            for (int j = topology == general ? 0 : i; j < n && (topology != bakis || j <= i + 2); ++j) {
                a[count(i, n) + static_cast<std::size_t>(j)] = value(engine);
                if (topology == bakis)
                    diagonals[count(j - i, n) + static_cast<std::size_t>(j)] =
                        a[count(i, n) + static_cast<std::size_t>(j)];
            }
        Floats symbolRows(count(n, nSymbols));
        b.resize(count(nSymbols, n));
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < nSymbols; ++k)
                symbolRows[count(j, nSymbols) + static_cast<std::size_t>(k)] =
                    b[count(k, n) + static_cast<std::size_t>(j)] = value(engine);
        for (int j = 0; j < n; ++j)
            pi.push_back(value(engine));
        work.resize(count(3, n));
        for (int t = 0; t < nFrames; ++t)
            symbols.push_back(static_cast<std::int32_t>(engine() % nSymbols));
        outputs.swap(symbolRows);
        for (int i = 0; i < n; ++i) {
            aRows.push_back(a.data() + count(i, n));
            bRows.push_back(outputs.data() + count(i, nSymbols));
        }
        for (const float x : a)
            aWords.push_back(static_cast<std::int16_t>(x > 100.0f ? 32767.0f : 100.0f * x));
        for (const float x : outputs)
            bWords.push_back(static_cast<std::int16_t>(100.0f * x));
        for (const float x : pi)
            piWords.push_back(static_cast<std::int16_t>(100.0f * x));
        for (int i = 0; i < n; ++i) {
            aWordRows.push_back(aWords.data() + count(i, n));
            bWordRows.push_back(bWords.data() + count(i, nSymbols));
        }
        std::uniform_real_distribution<float> coefficient(-1.0f, 1.0f), variance(0.2f, 1.0f);
        for (std::size_t i = 0; i < count(n, nMix); ++i)
            weights.push_back(0.25f);
        for (std::size_t i = 0; i < count(n, nMix * dim); ++i) {
            means.push_back(coefficient(engine));
            inverse.push_back(variance(engine));
        }
        for (std::size_t i = 0; i < count(nFrames, dim); ++i)
            frames.push_back(coefficient(engine));
        for (int i = 0; i < n * nMix; ++i) {
            meanRows.push_back(means.data() + count(i, dim));
            inverseRows.push_back(inverse.data() + count(i, dim));
        }
        for (int t = 0; t < nFrames; ++t)
            frameRows.push_back(frames.data() + count(t, dim));
        for (int j = 0; j < n; ++j)
            servers.push_back(QZsInitGaussMixServer(weights.data() + count(j, nMix),
                                                    meanRows.data() + count(j, nMix), nullptr,
                                                    inverseRows.data() + count(j, nMix), nullptr, nMix, 0));
    }
    ~Problem() {
        QZHMMFreeAll();
        for (auto *const server : servers)
            QZsFreeGaussMixServer(server);
    }
    Problem(const Problem &) = delete;
    Problem &operator=(const Problem &) = delete;

    peers::Model model(Topology topology) const {
        return {n, topology == bakis ? diagonals.data() : a.data(), b.data(), pi.data()};
    }

private:
    Floats outputs;
};

template <Topology topology, bool inWords>
void discrete(benchmark::State &state, qzk::simd::Level level) {
    qzk::simd::setLevel(level);
    const Problem problem(static_cast<int>(state.range(0)), topology);
    const std::int32_t id = inWords
                                ? QZwInitHMMServer(problem.aWordRows.data(), problem.bWordRows.data(),
                                                   problem.piWords.data(), problem.n, nSymbols, QZ_HMMCost)
                                : QZsInitHMMServer(problem.aRows.data(), problem.bRows.data(),
                                                   problem.pi.data(), problem.n, nSymbols, QZ_HMMCost);
    std::int32_t best = 0, scale = 0;
    for (auto _ : state) {
        if constexpr (inWords)
            benchmark::DoNotOptimize(
                QZwEvalHMMViterbi(id, problem.symbols.data(), nFrames, &best, QZ_ScaleWrap, &scale));
        else
            benchmark::DoNotOptimize(QZsEvalHMMViterbi(id, problem.symbols.data(), nFrames, &best));
    }
    qzk::simd::setLevel(qzk::simd::highestLevel());
}

template <Topology topology, bool inWords>
void highest(benchmark::State &state) {
    discrete<topology, inWords>(state, qzk::simd::highestLevel());
}

template <Topology topology, bool inWords>
void definition(benchmark::State &state) {
    discrete<topology, inWords>(state, qzk::simd::Level::plain);
}

using Peer = float (*)(const peers::Model &, const std::int32_t *, int, float *);

template <Topology topology, Peer search>
void peer(benchmark::State &state) {
    Problem problem(static_cast<int>(state.range(0)), topology);
    const peers::Model model = problem.model(topology);
    for (auto _ : state)
        benchmark::DoNotOptimize(search(model, problem.symbols.data(), nFrames, problem.work.data()));
}

template <Topology topology>
void continuous(benchmark::State &state) {
    const Problem problem(static_cast<int>(state.range(0)), topology);
    const std::int32_t id = QZsInitContHMMServer(problem.aRows.data(), problem.pi.data(),
                                                 problem.servers.data(), problem.n, dim, QZ_HMMCost);
    std::int32_t best = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(QZsEvalContHMMViterbi(id, problem.frameRows.data(), nFrames, &best));
}

template <Topology topology, Peer search>
void continuousPeer(benchmark::State &state) {
    Problem problem(static_cast<int>(state.range(0)), topology);
    const peers::Model model = problem.model(topology);
    const peers::Mixtures mixtures = {nMix, dim, problem.weights.data(), problem.means.data(),
                                      problem.inverse.data()};
    for (auto _ : state)
        benchmark::DoNotOptimize(peers::continuousLoop(model, mixtures, problem.frameRows.data(), nFrames,
                                                       problem.work.data(), search));
}

void sizes(benchmark::internal::Benchmark *row) { row->Arg(5)->Arg(64); }

} // namespace

BENCHMARK(highest<general, false>)->Name("QZsEvalHMMViterbi_general/qzk")->Apply(sizes);
BENCHMARK(peer<general, peers::generalRows>)->Name("QZsEvalHMMViterbi_general/rows")->Apply(sizes);
BENCHMARK(peer<general, peers::generalVectors>)->Name("QZsEvalHMMViterbi_general/vectors")->Arg(64);
BENCHMARK(peer<general, peers::generalColumns>)->Name("QZsEvalHMMViterbi_general/columns")->Apply(sizes);
BENCHMARK(peer<general, peers::generalBits>)->Name("QZsEvalHMMViterbi_general/bits")->Apply(sizes);
BENCHMARK(definition<general, false>)->Name("QZsEvalHMMViterbi_general/definition")->Apply(sizes);
BENCHMARK(highest<leftRight, false>)->Name("QZsEvalHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(peer<leftRight, peers::leftRightRows>)->Name("QZsEvalHMMViterbi_leftRight/rows")->Apply(sizes);
BENCHMARK(peer<leftRight, peers::leftRightVectors>)->Name("QZsEvalHMMViterbi_leftRight/vectors")->Arg(64);
BENCHMARK(peer<leftRight, peers::leftRightColumns>)
    ->Name("QZsEvalHMMViterbi_leftRight/columns")
    ->Apply(sizes);
BENCHMARK(peer<leftRight, peers::leftRightBits>)->Name("QZsEvalHMMViterbi_leftRight/bits")->Apply(sizes);
BENCHMARK(highest<bakis, false>)->Name("QZsEvalHMMViterbi_bakis/qzk")->Apply(sizes);
BENCHMARK(peer<bakis, peers::bakisLoop>)->Name("QZsEvalHMMViterbi_bakis/loop")->Apply(sizes);
BENCHMARK(highest<general, true>)->Name("QZwEvalHMMViterbi_general/qzk")->Apply(sizes);
BENCHMARK(definition<general, true>)->Name("QZwEvalHMMViterbi_general/definition")->Apply(sizes);
BENCHMARK(highest<leftRight, true>)->Name("QZwEvalHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(highest<bakis, true>)->Name("QZwEvalHMMViterbi_bakis/qzk")->Apply(sizes);
BENCHMARK(continuous<general>)->Name("QZsEvalContHMMViterbi_general/qzk")->Apply(sizes);
BENCHMARK(continuousPeer<general, peers::generalRows>)
    ->Name("QZsEvalContHMMViterbi_general/loop")
    ->Apply(sizes);
BENCHMARK(continuous<leftRight>)->Name("QZsEvalContHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(continuousPeer<leftRight, peers::leftRightRows>)
    ->Name("QZsEvalContHMMViterbi_leftRight/loop")
    ->Apply(sizes);
BENCHMARK(continuous<bakis>)->Name("QZsEvalContHMMViterbi_bakis/qzk")->Apply(sizes);
BENCHMARK(continuousPeer<bakis, peers::bakisLoop>)->Name("QZsEvalContHMMViterbi_bakis/loop")->Apply(sizes);
