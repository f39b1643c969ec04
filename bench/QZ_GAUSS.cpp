// Mixtures of 16 components of dimension 39. In "clusters" the vector belongs to one component, as with
// trained models; in "even" all components weigh about the same, which is the most work.
#include "QZ_GAUSS_peers.hpp"
#include "common/mixture.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

constexpr int components = 16;
constexpr int dim = 39;
constexpr int vectors = 64;

template <class T>
struct Data {
    std::vector<T> weights;
    std::vector<std::vector<T>> means, diagonals, x;
    std::vector<std::vector<std::vector<T>>> matrices;
    std::vector<const T *> meanRows, diagonalRows;
    std::vector<std::vector<const T *>> matrixRows;
    std::vector<const T *const *> matrixPointers;

    explicit Data(bool clusters) {
        std::mt19937 engine(11);
        std::normal_distribution<double> normal;
        std::uniform_real_distribution<double> uniform;
        const double size = std::is_same_v<T, float> ? 1.0 : 2000.0;
        const auto vector = [&](auto value) {
            std::vector<T> made(dim);
            for (T &element : made)
                element = static_cast<T>(size * value());
            return made;
        };
        const double spread = clusters ? 1.0 : 0.2;
        for (int m = 0; m < components; ++m) {
            weights.push_back(static_cast<T>((0.2 + uniform(engine)) * (size == 1.0 ? 1.0 : 20000.0)));
            means.push_back(vector([&] { return spread * normal(engine); }));
            diagonals.push_back(vector([&] { return 0.5 + 2.0 * uniform(engine); }));
            matrices.emplace_back();
            for (int r = 0; r < dim; ++r) {
                matrices.back().push_back(vector([&] { return 0.05 * (uniform(engine) - 0.5); }));
                matrices.back().back()[static_cast<std::size_t>(r)] =
                    diagonals.back()[static_cast<std::size_t>(r)];
            }
        }
        for (int i = 0; i < vectors; ++i) {
            x.push_back(vector([&] { return 0.8 * normal(engine); }));
            for (std::size_t c = 0; c < dim; ++c)
                x.back()[c] =
                    static_cast<T>(x.back()[c] + means[static_cast<std::size_t>(i) % components][c]);
        }
        for (const auto &row : means)
            meanRows.push_back(row.data());
        for (const auto &row : diagonals)
            diagonalRows.push_back(row.data());
        for (const auto &matrix : matrices) {
            matrixRows.emplace_back();
            for (const auto &row : matrix)
                matrixRows.back().push_back(row.data());
        }
        for (const auto &rows : matrixRows)
            matrixPointers.push_back(rows.data());
    }

    auto *server(bool full, bool tables) const {
        const auto *const *const matrix = full ? matrixPointers.data() : nullptr;
        const T *const *const diagonal = full ? nullptr : diagonalRows.data();
        if constexpr (std::is_same_v<T, float>)
            return QZsInitGaussMixServer(weights.data(), meanRows.data(), matrix, diagonal, nullptr,
                                         components, tables ? 1 : 0);
        else
            return QZwInitGaussMixServer(weights.data(), meanRows.data(), matrix, diagonal, nullptr,
                                         components, tables ? 1 : 0, -33);
    }
};

void freeServer(QZsGaussMixServer *server) { QZsFreeGaussMixServer(server); }
void freeServer(QZwGaussMixServer *server) { QZwFreeGaussMixServer(server); }

double evaluate(const QZsGaussMixServer &server, const float *x, int n) {
    return QZsEvalGaussMix(&server, x, n);
}
double evaluate(const QZwGaussMixServer &server, const std::int16_t *x, int n) {
    std::int32_t scale = -15;
    return QZwEvalGaussMix(&server, x, n, QZ_ScaleFixed, &scale);
}

template <class T, class Evaluate>
void add(const std::string &name, bool clusters, bool full, bool tables, Evaluate evaluateOne) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        const Data<T> data(clusters);
        auto *const server = data.server(full, tables);
        std::size_t i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(evaluateOne(*server, data.x[i].data(), dim));
            i = (i + 1) % vectors;
        }
        freeServer(server);
    });
}

template <class T>
void addRows(const std::string &letter) {
    for (const bool clusters : {true, false})
        for (const bool full : {false, true})
            for (const bool tables : {false, true}) {
                const std::string row = "QZ" + letter + "EvalGaussMix" + (full ? "Full" : "Diagonal") +
                                        (tables ? "Tables" : "") + (clusters ? "Clusters" : "Even");
                const auto library = [](const auto &server, const T *x, int n) {
                    return evaluate(server, x, n);
                };
                const auto loop = [](const auto &server, const T *x, int n) {
                    return peers::mixture(server, x, n);
                };
                const auto extended = [](const auto &server, const T *x, int n) {
                    return peers::extendedMixture(server, x, n);
                };
                add<T>(row + "/qzk", clusters, full, tables, library);
                add<T>(row + "/double_loop", clusters, full, tables, loop);
                add<T>(row + "/long_double_loop", clusters, full, tables, extended);
            }
}

const int registered = [] {
    addRows<float>("s");
    addRows<std::int16_t>("w");
    return 0;
}();

} // namespace
