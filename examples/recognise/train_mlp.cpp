#include "train_mlp.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace recognise {
namespace {

constexpr float firstRate = 0.01F, momentum = 0.8F; // the rate falls to 0 towards the end
constexpr float constantWeight = 20;                // 1 / (1 + e^-20) is 1 in single precision

float logistic(float sum) { return 1 / (1 + std::exp(-sum)); }

// One layer: weights of its units one after another, and their latest changes.
struct Layer {
    Layer(std::size_t inputs, std::size_t units)
        : inputs(inputs), units(units), weights(inputs * units), changes(inputs * units), values(units),
          errors(units) {}

    void forward(const float *input) {
        for (std::size_t unit = 0; unit < units; ++unit) {
            // Sums side by side, for the compiler to put into lanes.
            constexpr std::size_t lanes = 16;
            float sums[lanes] = {};
            const float *row = weights.data() + unit * inputs;
            std::size_t k = 0;
            for (; k + lanes <= inputs; k += lanes)
                for (std::size_t lane = 0; lane < lanes; ++lane)
                    sums[lane] += input[k + lane] * row[k + lane];
            float sum = std::accumulate(sums, sums + lanes, 0.0F);
            for (; k < inputs; ++k)
                sum += input[k] * row[k];
            values[unit] = logistic(sum);
        }
    }

    void learn(const float *input, float rate) {
        for (std::size_t unit = 0; unit < units; ++unit) {
            float *row = weights.data() + unit * inputs, *change = changes.data() + unit * inputs;
            const float step = rate * errors[unit];
            for (std::size_t k = 0; k < inputs; ++k) {
                change[k] = momentum * change[k] + step * input[k];
                row[k] += change[k];
            }
        }
    }

    std::size_t inputs, units;
    std::vector<float> weights, changes, values, errors;
};

void scatter(Layer &layer, Random &random) {
    const float reach = 1 / std::sqrt(static_cast<float>(layer.inputs));
    for (float &weight : layer.weights)
        weight = reach * random.even();
}

} // namespace

// SplitMix64 (Steele, Lea and Flood 2014).
std::uint64_t Random::next() {
    std::uint64_t z = state += 0x9e3779b97f4a7c15;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
}

float Random::even() { return static_cast<float>(next() >> 40) / static_cast<float>(1 << 23) - 1; }

std::size_t Random::below(std::size_t end) { return static_cast<std::size_t>(next() % end); }

Network trainNetwork(std::size_t inputs, std::size_t hidden, std::size_t outputs, std::size_t rounds,
                     const std::function<std::vector<Example>(std::size_t)> &examples) {
    Random random(1);
    Layer below(inputs, hidden + 1), above(hidden + 1, outputs);
    scatter(below, random);
    scatter(above, random);
    // The hidden unit that stands for 1 learns nothing.
    for (std::size_t k = 0; k < inputs; ++k)
        below.weights[hidden * inputs + k] = k + 1 == inputs ? constantWeight : 0;

    for (std::size_t round = 0; round < rounds; ++round) {
        const float rate = firstRate * static_cast<float>(rounds - round) / static_cast<float>(rounds);
        std::vector<Example> all = examples(round);
        for (std::size_t k = all.size(); k > 1; --k)
            std::swap(all[k - 1], all[random.below(k)]);
        for (const Example &example : all) {
            below.forward(example.input.data());
            above.forward(below.values.data());
            // Of the cross entropy: the error of an output is what it lacks.
            for (std::size_t unit = 0; unit < outputs; ++unit)
                above.errors[unit] = (unit == example.output ? 1.0F : 0.0F) - above.values[unit];
            std::ranges::fill(below.errors, 0.0F);
            for (std::size_t unit = 0; unit < outputs; ++unit)
                for (std::size_t k = 0; k < hidden; ++k)
                    below.errors[k] += above.errors[unit] * above.weights[unit * above.inputs + k];
            for (std::size_t k = 0; k < hidden; ++k)
                below.errors[k] *= below.values[k] * (1 - below.values[k]);
            above.learn(below.values.data(), rate);
            below.learn(example.input.data(), rate);
        }
    }
    Network network{inputs, {static_cast<std::int32_t>(hidden + 1), static_cast<std::int32_t>(outputs)}, {}};
    for (const Layer *layer : {&below, &above})
        network.weights.insert(network.weights.end(), layer->weights.begin(), layer->weights.end());
    return network;
}

} // namespace recognise
