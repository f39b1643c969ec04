#include "MLPERCEP_peers.hpp"
#include "qzk.h"

#include <benchmark/benchmark.h>
#include <cblas.h>
#include <fann.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

constexpr int32_t nInputs = 39;
const std::vector<int32_t> layers = {128, 64, 10};

template <class T>
struct Network {
    std::vector<T> input, weights, output;

    explicit Network(float unit) : input(nInputs), output(10) {
        std::mt19937 engine(5);
        std::normal_distribution<float> value;
        for (T &x : input)
            x = static_cast<T>(unit * value(engine));
        int below = nInputs;
        for (const int32_t size : layers) {
            for (int32_t i = 0; i < below * size; ++i)
                weights.push_back(static_cast<T>(unit * 0.2f * value(engine)));
            below = size;
        }
    }
};

void floatsOurs(benchmark::State &state) {
    Network<float> network(1.0f);
    for (auto _ : state) {
        QZsMLPerceptron(nInputs, network.input.data(), 3, layers.data(), network.weights.data(),
                        network.output.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(floatsOurs)->Name("QZsMLPerceptron/qzk");

void openBlas(benchmark::State &state) {
    Network<float> network(1.0f);
    std::vector<float> below(128), units(128);
    openblas_set_num_threads(1);
    for (auto _ : state) {
        std::copy(network.input.begin(), network.input.end(), below.begin());
        const float *weights = network.weights.data();
        int nBelow = nInputs;
        for (const int32_t size : layers) {
            cblas_sgemv(CblasRowMajor, CblasNoTrans, size, nBelow, 1.0f, weights, nBelow, below.data(), 1,
                        0.0f, units.data(), 1);
            peers::logistic(units.data(), static_cast<std::size_t>(size));
            weights += size * nBelow;
            nBelow = size;
            below.swap(units);
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(openBlas)->Name("QZsMLPerceptron/openblas");

/// Has biases in addition.
void fannRun(benchmark::State &state) {
    Network<float> network(1.0f);
    fann *const net = fann_create_standard(4, nInputs, layers[0], layers[1], layers[2]);
    fann_set_activation_function_hidden(net, FANN_SIGMOID);
    fann_set_activation_function_output(net, FANN_SIGMOID);
    fann_randomize_weights(net, -0.4f, 0.4f);
    for (auto _ : state) {
        benchmark::DoNotOptimize(fann_run(net, network.input.data()));
        benchmark::ClobberMemory();
    }
    fann_destroy(net);
}
BENCHMARK(fannRun)->Name("QZsMLPerceptron/fann");

void wordsOurs(benchmark::State &state) {
    Network<int16_t> network(4096.0f);
    int32_t scale = -15;
    for (auto _ : state) {
        QZwMLPerceptron(nInputs, -12, network.input.data(), 3, layers.data(), -12, network.weights.data(),
                        network.output.data(), QZ_ScaleFixed, &scale);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(wordsOurs)->Name("QZwMLPerceptron/qzk");

void wordsLoop(benchmark::State &state) {
    Network<int16_t> network(4096.0f);
    std::vector<double> values[2] = {std::vector<double>(128), std::vector<double>(128)};
    const std::vector<std::size_t> sizes(layers.begin(), layers.end());
    for (auto _ : state) {
        peers::perceptron(network.input.data(), nInputs, 0x1p-12, sizes, network.weights.data(), 0x1p-12,
                          values);
        for (std::size_t k = 0; k < network.output.size(); ++k)
            network.output[k] = static_cast<int16_t>(values[0][k] * 0x1p15);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(wordsLoop)->Name("QZwMLPerceptron/loop");

} // namespace
