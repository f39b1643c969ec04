#include "distance_peers.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <benchmark/benchmark.h>
#include <volk/volk.h>

#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

template <class T>
struct Operands {
    std::vector<T> a, b, weights;
    std::vector<std::vector<T>> matrix;
    std::vector<const T *> rows;

    explicit Operands(int n) {
        std::mt19937 engine(5);
        const auto vector = [&] {
            std::vector<T> values(static_cast<std::size_t>(n));
            std::uniform_real_distribution<float> value(-1.0f, 1.0f);
            for (T &element : values)
                element = static_cast<T>(std::is_same_v<T, float> ? value(engine) : 3000.0f * value(engine));
            return values;
        };
        a = vector();
        b = vector();
        weights = vector();
        for (int i = 0; i < n; ++i)
            matrix.push_back(vector());
        for (const auto &row : matrix)
            rows.push_back(row.data());
    }
};

template <class T, class Distance>
void measure(benchmark::State &state, Distance distance) {
    const int n = static_cast<int>(state.range(0));
    const Operands<T> x(n);
    for (auto _ : state) {
        benchmark::DoNotOptimize(distance(x, n));
        benchmark::ClobberMemory();
    }
}

template <class T, class Distance>
void add(const std::string &name, Distance distance) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) { measure<T>(state, distance); })
        ->Arg(13)
        ->Arg(39)
        ->Arg(1024);
}

/// The library's sums, without the conversion that follows the 16-bit ones, beside the loops.
template <class T>
void addRows(const std::string &letter, const qzk::simd::DistanceKernelsOf<T> &kernels) {
    using X = const Operands<T> &;
    const auto row = [&](const char *name, const char *who) { return "QZ" + letter + name + "/" + who; };
    const auto size = [](int n) { return static_cast<std::size_t>(n); };
    const auto *const k = &kernels;
    add<T>(row("DotP", "qzk"), [=](X x, int n) { return k->dotProduct(x.a.data(), x.b.data(), size(n)); });
    add<T>(row("DotP", "loop"), [](X x, int n) { return peers::dotProduct(x.a.data(), x.b.data(), n); });
    add<T>(row("L1Norm", "qzk"), [=](X x, int n) { return k->cityBlock(x.a.data(), x.b.data(), size(n)); });
    add<T>(row("L1Norm", "loop"), [](X x, int n) { return peers::cityBlock(x.a.data(), x.b.data(), n); });
    add<T>(row("L2Norm", "qzk"),
           [=](X x, int n) { return k->squaredEuclidean(x.a.data(), x.b.data(), size(n)); });
    add<T>(row("L2Norm", "loop"),
           [](X x, int n) { return peers::squaredEuclidean(x.a.data(), x.b.data(), n); });
    add<T>(row("MahalanobisD", "qzk"), [=](X x, int n) {
        return k->diagonalMahalanobis(x.a.data(), x.b.data(), x.weights.data(), size(n));
    });
    add<T>(row("MahalanobisD", "loop"), [](X x, int n) {
        return peers::diagonalMahalanobis(x.a.data(), x.b.data(), x.weights.data(), n);
    });
    add<T>(row("Mahalanobis", "qzk"),
           [=](X x, int n) { return k->mahalanobis(x.a.data(), x.b.data(), x.rows.data(), size(n)); });
    add<T>(row("Mahalanobis", "loop"),
           [](X x, int n) { return peers::mahalanobis(x.a.data(), x.b.data(), x.rows.data(), n); });
}

const int registered = [] {
    addRows<float>("s", qzk::simd::kernels().distance.ofFloats);
    addRows<std::int16_t>("w", qzk::simd::kernels().distance.ofWords);
    // In single precision and in no order: what the order costs.
    add<float>("QZsDotP/volk_unordered", [](const Operands<float> &x, int n) {
        float result;
        volk_32f_x2_dot_prod_32f(&result, x.a.data(), x.b.data(), static_cast<unsigned>(n));
        return static_cast<double>(result);
    });
    return 0;
}();

} // namespace
