#include "quantiser_peers.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <opencv2/features2d.hpp>

#include <random>
#include <type_traits>
#include <vector>

namespace {

template <class T>
struct Codebook {
    int dim, nCodes;
    std::vector<T> x, codes;

    explicit Codebook(const benchmark::State &state)
        : dim(static_cast<int>(state.range(1))), nCodes(static_cast<int>(state.range(0))),
          x(static_cast<std::size_t>(dim)), codes(static_cast<std::size_t>(dim * nCodes)) {
        std::mt19937 engine(5);
        std::normal_distribution<float> value;
        for (auto *const values : {&x, &codes})
            for (T &element : *values)
                element = static_cast<T>(std::is_same_v<T, float> ? value(engine) : 1000.0f * value(engine));
    }
};

void sizes(benchmark::internal::Benchmark *row) {
    row->Args({256, 13})->Args({256, 39})->Args({1024, 13})->Args({1024, 39});
}

void floatsOurs(benchmark::State &state) {
    const Codebook<float> book(state);
    std::vector<float> distances(static_cast<std::size_t>(book.nCodes));
    std::vector<int16_t> best(distances.size());
    for (auto _ : state) {
        QZsVQKohonen(book.x.data(), book.dim, book.nCodes, book.codes.data(), 1, best.data(), 0,
                     distances.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(floatsOurs)->Name("QZsVQKohonen/qzk")->Apply(sizes);

void wordsOurs(benchmark::State &state) {
    const Codebook<int16_t> book(state);
    std::vector<int32_t> distances(static_cast<std::size_t>(book.nCodes));
    std::vector<int16_t> best(distances.size());
    for (auto _ : state) {
        QZwVQKohonen(book.x.data(), book.dim, book.nCodes, book.codes.data(), 1, best.data(), 0, 0, 0,
                     distances.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(wordsOurs)->Name("QZwVQKohonen/qzk")->Apply(sizes);

template <class T, class Distance>
void loop(benchmark::State &state) {
    const Codebook<T> book(state);
    std::vector<Distance> distances(static_cast<std::size_t>(book.nCodes));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            peers::quantise(book.x.data(), book.dim, book.nCodes, book.codes.data(), distances.data()));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(loop<float, float>)->Name("QZsVQKohonen/loop")->Apply(sizes);
BENCHMARK(loop<int16_t, int32_t>)->Name("QZwVQKohonen/loop")->Apply(sizes);

/// Sums in single precision, in no order.
void openCv(benchmark::State &state) {
    cv::setNumThreads(1);
    Codebook<float> book(state);
    const cv::Mat query(1, book.dim, CV_32F, book.x.data());
    const cv::Mat codes(book.nCodes, book.dim, CV_32F, book.codes.data());
    const cv::BFMatcher matcher(cv::NORM_L2SQR);
    std::vector<cv::DMatch> matches;
    for (auto _ : state) {
        matcher.match(query, codes, matches);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(openCv)->Name("QZsVQKohonen/opencv")->Apply(sizes);

} // namespace
