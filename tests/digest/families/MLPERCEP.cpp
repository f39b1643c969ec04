#include "families.hpp"
#include "operands.hpp"

#include <cmath>

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4};

struct Network {
    std::int32_t nInputs;
    std::vector<std::int32_t> layers;
    std::size_t nWeights = 0;

    explicit Network(Generator &random) : nInputs(random.between(-1, 40)) {
        const std::size_t nLayers = random.below(5);
        std::int32_t below = nInputs;
        for (std::size_t i = 0; i < nLayers; ++i) {
            const std::int32_t least = random.below(16) == 0 ? 0 : 1;
            layers.push_back(random.between(least, random.below(8) == 0 ? 70 : 20));
            nWeights += count(below) * count(layers.back());
            below = layers.back();
        }
    }
    std::int32_t nLayers() const { return static_cast<std::int32_t>(layers.size()); }
    std::size_t outputs() const { return layers.empty() ? 0 : count(layers.back()); }
};

void floats() {
    Generator random("QZsMLPerceptron");
    for (int i = 0; i < 500; ++i) {
        const Network network(random);
        const Kind kind = random.oneOf(kinds);
        const std::vector<float> input = random.elements<float>(count(network.nInputs), kind);
        std::vector<float> weights = random.elements<float>(network.nWeights, kind);
        if (i % 2 == 0) // sums where the activations are neither 0 nor 1
            for (float &weight : weights)
                weight = random.signedReal<float>();
        std::vector<float> output(network.outputs() + 2, -7.0f);
        call<QZsMLPerceptron>(network.nInputs, input.data(), network.nLayers(), network.layers.data(),
                              weights.data(), output.data());
        putElements<float>(output.data(), output.size());
    }
}

void words() {
    Generator random("QZwMLPerceptron");
    for (int i = 0; i < 800; ++i) {
        const Network network(random);
        const Kind kind = random.oneOf(kinds);
        const std::vector<std::int16_t> input = random.elements<std::int16_t>(count(network.nInputs), kind);
        const std::vector<std::int16_t> weights = random.elements<std::int16_t>(network.nWeights, kind);
        const bool moderate = i % 2 == 0;
        const std::int32_t inputScale = moderate ? -14 : random.between(-64, 64);
        const std::int32_t weightScale = moderate ? -14 : random.between(-64, 64);
        const std::int32_t mode = random.oneOf(modes);
        std::int32_t outputScale = random.between(-20, 5);
        std::vector<std::int16_t> output(network.outputs() + 2, -7);
        call<QZwMLPerceptron>(network.nInputs, inputScale, input.data(), network.nLayers(),
                              network.layers.data(), weightScale, weights.data(), output.data(), mode,
                              &outputScale);
        putElements<std::int16_t>(output.data(), output.size());
        put(outputScale);
    }
}

} // namespace

void perceptron() {
    floats();
    words();
}

} // namespace qzk::digest
