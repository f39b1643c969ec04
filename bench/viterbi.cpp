#include "qzk.h"
#include "simd/kernels.hpp"
#include "viterbi_peers.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <random>
#include <type_traits>
#include <vector>

namespace {

constexpr int nFrames = 100, nSymbols = 32, dim = 13, nMix = 4, costBits = 9;

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
template <class T>
using Values = std::vector<T, Aligned<T>>;

template <class Element>
constexpr bool isWord = std::is_integral_v<Element>;
template <class Element>
using CostOf = std::conditional_t<isWord<Element>, std::int32_t, float>;
template <class Element>
using MixtureOf = std::conditional_t<isWord<Element>, QZwGaussMixServer, QZsGaussMixServer>;

std::size_t product(int a, int b) { return static_cast<std::size_t>(a) * static_cast<std::size_t>(b); }

template <class T>
std::vector<const T *> rowsOf(const Values<T> &values, int length) {
    std::vector<const T *> rows;
    for (std::size_t i = 0; i < values.size(); i += static_cast<std::size_t>(length))
        rows.push_back(values.data() + i);
    return rows;
}

/// A random model with costs up to 10, in the layouts of client and peers. Its outputs are also the weights
/// of a codebook of nSymbols mixtures.
template <class Element>
struct Problem {
    using Cost = CostOf<Element>;

    int n;
    Topology topology;
    Values<Element> a, b, pi, weights, means, inverse, vectors;
    Values<Cost> costRows, costColumns, diagonals, symbolRows, starts, work;
    std::vector<const Element *> aRows, bRows, meanRows, inverseRows, vectorRows;
    std::vector<std::int32_t> symbols;
    std::vector<MixtureOf<Element> *> servers;

    Problem(int states, Topology kind, float dearestOutput = 10.0f) : n(states), topology(kind) {
        std::mt19937 engine(5);
        std::uniform_real_distribution<float> value(0.0f, 10.0f);
        const auto cost = [&](float factor = 1.0f) {
            return static_cast<Element>(value(engine) * factor * (isWord<Element> ? 100.0f : 1.0f));
        };
        constexpr auto impossible = static_cast<Element>(isWord<Element> ? 32767.0f : 1e30f);
        const auto at = [](int i, int j, int columns) {
            return product(i, columns) + static_cast<std::size_t>(j);
        };
        a.assign(product(n, n), impossible);
        diagonals.assign(product(3, n), impossible);
        costColumns.resize(a.size());
        for (int i = 0; i < n; ++i)
            for (int j = topology == general ? 0 : i; j < n && (topology != bakis || j <= i + 2); ++j) {
                a[at(i, j, n)] = cost();
                if (topology == bakis) diagonals[at(j - i, j, n)] = a[at(i, j, n)];
            }
        costRows.assign(a.begin(), a.end());
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                costColumns[at(j, i, n)] = costRows[at(i, j, n)];
        b.resize(product(n, nSymbols));
        symbolRows.resize(b.size());
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < nSymbols; ++k)
                symbolRows[at(k, j, n)] = b[at(j, k, nSymbols)] = cost(dearestOutput / 10.0f);
        for (int j = 0; j < n; ++j)
            pi.push_back(cost());
        starts.assign(pi.begin(), pi.end());
        work.resize(product(2, n));
        for (int t = 0; t < nFrames; ++t)
            symbols.push_back(static_cast<std::int32_t>(engine() % nSymbols));

        std::uniform_real_distribution<float> coefficient(-1.0f, 1.0f), variance(0.2f, 1.0f);
        constexpr float unit = isWord<Element> ? 256.0f : 1.0f;
        const int nServers = std::max(n, nSymbols);
        weights.assign(product(nServers, nMix), static_cast<Element>(isWord<Element> ? 1.0f : 0.25f));
        for (std::size_t i = 0; i < product(nServers, nMix * dim); ++i) {
            means.push_back(static_cast<Element>(unit * coefficient(engine)));
            inverse.push_back(static_cast<Element>(unit * variance(engine)));
        }
        for (std::size_t i = 0; i < product(nFrames, dim); ++i)
            vectors.push_back(static_cast<Element>(unit * coefficient(engine)));
        aRows = rowsOf(a, n);
        bRows = rowsOf(b, nSymbols);
        meanRows = rowsOf(means, dim);
        inverseRows = rowsOf(inverse, dim);
        vectorRows = rowsOf(vectors, dim);
        for (int j = 0; j < nServers; ++j) {
            const auto first = product(j, nMix);
            if constexpr (isWord<Element>)
                servers.push_back(QZwInitGaussMixServer(weights.data() + first, meanRows.data() + first,
                                                        nullptr, inverseRows.data() + first, nullptr, nMix, 0,
                                                        -24));
            else
                servers.push_back(QZsInitGaussMixServer(weights.data() + first, meanRows.data() + first,
                                                        nullptr, inverseRows.data() + first, nullptr, nMix,
                                                        0));
        }
    }
    ~Problem() {
        QZHMMFreeAll();
        for (auto *const server : servers)
            if constexpr (isWord<Element>)
                QZwFreeGaussMixServer(server);
            else
                QZsFreeGaussMixServer(server);
    }
    Problem(const Problem &) = delete;
    Problem &operator=(const Problem &) = delete;

    peers::Model<Cost> model() const {
        return {n, costRows.data(), costColumns.data(), diagonals.data(), symbolRows.data(), starts.data()};
    }
    peers::Mixtures<Element> mixtures() const {
        return {nMix, dim, weights.data(), means.data(), inverse.data(), isWord<Element> ? 0x1p-24 : 1.0};
    }

    std::int32_t discrete() const {
        if constexpr (isWord<Element>)
            return QZwInitHMMServer(aRows.data(), bRows.data(), pi.data(), n, nSymbols, QZ_HMMCost);
        else
            return QZsInitHMMServer(aRows.data(), bRows.data(), pi.data(), n, nSymbols, QZ_HMMCost);
    }
    Cost evaluate(std::int32_t id) const {
        std::int32_t best = 0, scale = 0;
        if constexpr (isWord<Element>)
            return QZwEvalHMMViterbi(id, symbols.data(), nFrames, &best, QZ_ScaleWrap, &scale);
        else
            return QZsEvalHMMViterbi(id, symbols.data(), nFrames, &best);
    }
    std::int32_t continuous() const {
        return QZsInitContHMMServer(aRows.data(), pi.data(), servers.data(), n, dim, QZ_HMMCost);
    }
    Cost evaluateContinuous(std::int32_t id) const {
        std::int32_t best = 0;
        return QZsEvalContHMMViterbi(id, vectorRows.data(), nFrames, &best);
    }
    std::int32_t semicontinuous() const {
        if constexpr (isWord<Element>)
            return QZwInitSemicontHMMServer(aRows.data(), bRows.data(), pi.data(), servers.data(), n,
                                            nSymbols, dim, QZ_HMMCost, -costBits);
        else
            return QZsInitSemicontHMMServer(aRows.data(), bRows.data(), pi.data(), servers.data(), n,
                                            nSymbols, dim, QZ_HMMCost);
    }
    Cost evaluateSemicontinuous(std::int32_t id) const {
        std::int32_t best = 0, scale = 0;
        if constexpr (isWord<Element>)
            return QZwEvalSemicontHMMViterbi(id, vectorRows.data(), nFrames, &best, QZ_ScaleWrap, &scale);
        else
            return QZsEvalSemicontHMMViterbi(id, vectorRows.data(), nFrames, &best);
    }
};

int statesOf(const benchmark::State &state) { return static_cast<int>(state.range(0)); }

template <class Element, Topology topology>
void discrete(benchmark::State &state, qzk::simd::Level level, float dearestOutput = 10.0f) {
    qzk::simd::setLevel(level);
    const Problem<Element> problem(statesOf(state), topology, dearestOutput);
    const std::int32_t id = problem.discrete();
    for (auto _ : state)
        benchmark::DoNotOptimize(problem.evaluate(id));
    qzk::simd::setLevel(qzk::simd::highestLevel());
}

template <class Element, Topology topology>
void highest(benchmark::State &state) {
    discrete<Element, topology>(state, qzk::simd::highestLevel());
}

template <class Element, Topology topology>
void definition(benchmark::State &state) {
    discrete<Element, topology>(state, qzk::simd::Level::plain);
}

/// Peers have to find the same cost.
template <class Element, Topology topology, peers::Search<CostOf<Element>> search>
void peer(benchmark::State &state, float dearestOutput) {
    Problem<Element> problem(statesOf(state), topology, dearestOutput);
    const auto model = problem.model();
    const auto find = [&] { return search(model, problem.symbols.data(), nFrames, problem.work.data()); };
    if (find() != problem.evaluate(problem.discrete())) state.SkipWithError("another cost");
    for (auto _ : state)
        benchmark::DoNotOptimize(find());
}

template <class Element, Topology topology, peers::Search<CostOf<Element>> search>
void peer(benchmark::State &state) {
    peer<Element, topology, search>(state, 10.0f);
}

/// Outputs that cost next to nothing, so that all states matter to all others.
constexpr float cheapest = 0.1f;

void alike(benchmark::State &state) { discrete<float, general>(state, qzk::simd::highestLevel(), cheapest); }

void alikePeer(benchmark::State &state) { peer<float, general, peers::generalRows<float>>(state, cheapest); }

template <Topology topology>
void continuous(benchmark::State &state) {
    const Problem<float> problem(statesOf(state), topology);
    const std::int32_t id = problem.continuous();
    for (auto _ : state)
        benchmark::DoNotOptimize(problem.evaluateContinuous(id));
}

template <Topology topology, peers::Search<float> search>
void continuousPeer(benchmark::State &state) {
    Problem<float> problem(statesOf(state), topology);
    for (auto _ : state)
        benchmark::DoNotOptimize(peers::continuousLoop(problem.model(), problem.mixtures(),
                                                       problem.vectorRows.data(), nFrames,
                                                       problem.work.data(), search));
}

template <class Element>
void semicontinuous(benchmark::State &state) {
    const Problem<Element> problem(statesOf(state), leftRight);
    const std::int32_t id = problem.semicontinuous();
    for (auto _ : state)
        benchmark::DoNotOptimize(problem.evaluateSemicontinuous(id));
}

template <class Element>
void semicontinuousPeer(benchmark::State &state) {
    using Cost = CostOf<Element>;
    Problem<Element> problem(statesOf(state), leftRight);
    const auto search = [&] {
        if constexpr (isWord<Element>)
            return peers::semicontinuousLoop(problem.model(), problem.mixtures(), nSymbols,
                                             problem.bRows.data(), problem.vectorRows.data(), nFrames,
                                             costBits, problem.work.data(), peers::leftRightRows<Cost>);
        else
            return peers::semicontinuousLoop(problem.model(), problem.mixtures(), nSymbols,
                                             problem.bRows.data(), problem.vectorRows.data(), nFrames,
                                             problem.work.data(), peers::leftRightRows<Cost>);
    };
    for (auto _ : state)
        benchmark::DoNotOptimize(search());
}

void sizes(benchmark::internal::Benchmark *row) { row->Arg(5)->Arg(64); }

using Word = std::int16_t;
using Cost = std::int32_t;

} // namespace

BENCHMARK(highest<float, general>)->Name("QZsEvalHMMViterbi_general/qzk")->Apply(sizes);
BENCHMARK(peer<float, general, peers::generalRows<float>>)
    ->Name("QZsEvalHMMViterbi_general/rows")
    ->Apply(sizes);
BENCHMARK(peer<float, general, peers::generalVectors>)->Name("QZsEvalHMMViterbi_general/vectors")->Arg(64);
BENCHMARK(peer<float, general, peers::generalColumns<float>>)
    ->Name("QZsEvalHMMViterbi_general/columns")
    ->Apply(sizes);
BENCHMARK(peer<float, general, peers::generalBits>)->Name("QZsEvalHMMViterbi_general/bits")->Apply(sizes);
BENCHMARK(definition<float, general>)->Name("QZsEvalHMMViterbi_general/definition")->Apply(sizes);
BENCHMARK(alike)->Name("QZsEvalHMMViterbi_generalAlike/qzk")->Arg(64);
BENCHMARK(alikePeer)->Name("QZsEvalHMMViterbi_generalAlike/rows")->Arg(64);
BENCHMARK(highest<float, leftRight>)->Name("QZsEvalHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(peer<float, leftRight, peers::leftRightRows<float>>)
    ->Name("QZsEvalHMMViterbi_leftRight/rows")
    ->Apply(sizes);
BENCHMARK(peer<float, leftRight, peers::leftRightVectors>)
    ->Name("QZsEvalHMMViterbi_leftRight/vectors")
    ->Arg(64);
BENCHMARK(peer<float, leftRight, peers::leftRightColumns<float>>)
    ->Name("QZsEvalHMMViterbi_leftRight/columns")
    ->Apply(sizes);
BENCHMARK(peer<float, leftRight, peers::leftRightBits>)
    ->Name("QZsEvalHMMViterbi_leftRight/bits")
    ->Apply(sizes);
BENCHMARK(highest<float, bakis>)->Name("QZsEvalHMMViterbi_bakis/qzk")->Apply(sizes);
BENCHMARK(peer<float, bakis, peers::bakisLoop<float>>)->Name("QZsEvalHMMViterbi_bakis/loop")->Apply(sizes);

BENCHMARK(highest<Word, general>)->Name("QZwEvalHMMViterbi_general/qzk")->Apply(sizes);
BENCHMARK(peer<Word, general, peers::generalRows<Cost>>)
    ->Name("QZwEvalHMMViterbi_general/rows")
    ->Apply(sizes);
BENCHMARK(peer<Word, general, peers::generalColumns<Cost>>)
    ->Name("QZwEvalHMMViterbi_general/columns")
    ->Apply(sizes);
BENCHMARK(definition<Word, general>)->Name("QZwEvalHMMViterbi_general/definition")->Apply(sizes);
BENCHMARK(highest<Word, leftRight>)->Name("QZwEvalHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(peer<Word, leftRight, peers::leftRightRows<Cost>>)
    ->Name("QZwEvalHMMViterbi_leftRight/rows")
    ->Apply(sizes);
BENCHMARK(peer<Word, leftRight, peers::leftRightColumns<Cost>>)
    ->Name("QZwEvalHMMViterbi_leftRight/columns")
    ->Apply(sizes);
BENCHMARK(highest<Word, bakis>)->Name("QZwEvalHMMViterbi_bakis/qzk")->Apply(sizes);
BENCHMARK(peer<Word, bakis, peers::bakisLoop<Cost>>)->Name("QZwEvalHMMViterbi_bakis/loop")->Apply(sizes);

BENCHMARK(continuous<general>)->Name("QZsEvalContHMMViterbi_general/qzk")->Apply(sizes);
BENCHMARK(continuousPeer<general, peers::generalRows<float>>)
    ->Name("QZsEvalContHMMViterbi_general/loop")
    ->Apply(sizes);
BENCHMARK(continuous<leftRight>)->Name("QZsEvalContHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(continuousPeer<leftRight, peers::leftRightRows<float>>)
    ->Name("QZsEvalContHMMViterbi_leftRight/loop")
    ->Apply(sizes);
BENCHMARK(continuous<bakis>)->Name("QZsEvalContHMMViterbi_bakis/qzk")->Apply(sizes);
BENCHMARK(continuousPeer<bakis, peers::bakisLoop<float>>)
    ->Name("QZsEvalContHMMViterbi_bakis/loop")
    ->Apply(sizes);
BENCHMARK(semicontinuous<float>)->Name("QZsEvalSemicontHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(semicontinuousPeer<float>)->Name("QZsEvalSemicontHMMViterbi_leftRight/loop")->Apply(sizes);
BENCHMARK(semicontinuous<Word>)->Name("QZwEvalSemicontHMMViterbi_leftRight/qzk")->Apply(sizes);
BENCHMARK(semicontinuousPeer<Word>)->Name("QZwEvalSemicontHMMViterbi_leftRight/loop")->Apply(sizes);
