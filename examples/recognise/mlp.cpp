#include "mlp.hpp"
#include "common/library.hpp"
#include "train_words.hpp"

#include "qzk.h"

#include <algorithm>
#include <cmath>

namespace recognise {
namespace {

constexpr std::size_t points = 20; // in time, of a stretched recording
constexpr std::size_t inputs = points * featureLength + 1;
constexpr std::size_t hidden = 128, rounds = 80;
constexpr std::size_t variants = 4;       // of a reference, in each round
constexpr std::size_t leastExamples = 60; // of a round
constexpr float leastOutput = 1e-10F;     // taken for the cost of an output of 0

// How a variant of a recording differs from it: its ends and its middle move by as much as these parts of its
// length, and its features by this much at random.
constexpr float endReach = 0.1F, middleReach = 0.08F, noiseReach = 1;

/// The time in the recording, from 0 to 1, that a point of the stretched one shows.
struct Warp {
    float begin = 0, middle = 0.5F, end = 1;

    float at(float place) const {
        return place < 0.5F ? begin + (middle - begin) * 2 * place
                            : middle + (end - middle) * (2 * place - 1);
    }
};

std::vector<float> stretched(const Matrix &features, const Warp &warp) {
    std::vector<float> input;
    const auto last = static_cast<float>(features.rows() - 1);
    for (std::size_t point = 0; point < points; ++point) {
        const float place = warp.at((static_cast<float>(point) + 0.5F) / points);
        const float time = std::clamp(place, 0.0F, 1.0F) * last;
        const auto before = static_cast<std::size_t>(time);
        const std::size_t after = std::min(before + 1, features.rows() - 1);
        const float part = time - static_cast<float>(before);
        for (std::size_t k = 0; k < featureLength; ++k)
            input.push_back(features[before][k] * (1 - part) + features[after][k] * part);
    }
    input.push_back(1);
    return input;
}

std::vector<float> variant(const Matrix &features, Random &random) {
    const Warp warp{endReach * random.even(), 0.5F + middleReach * random.even(),
                    1 + endReach * random.even()};
    std::vector<float> input = stretched(features, warp);
    for (std::size_t k = 0; k + 1 < inputs; ++k)
        input[k] += noiseReach * random.even();
    return input;
}

} // namespace

void Perceptron::learn(const std::vector<Utterance> &references) {
    words.clear();
    std::vector<std::size_t> outputOf(references.size());
    for (const Takes &takes : takesByWord(references)) {
        for (const std::size_t reference : takes.references)
            outputOf[reference] = words.size();
        words.push_back({takes.label, takes.references.front()});
    }
    Random random(2);
    network = trainNetwork(inputs, hidden, words.size(), rounds, [&](std::size_t) {
        std::vector<Example> examples;
        const std::size_t each = std::max(variants, leastExamples / references.size());
        for (std::size_t reference = 0; reference < references.size(); ++reference)
            for (std::size_t count = 0; count < each; ++count)
                examples.push_back({variant(references[reference].features, random), outputOf[reference]});
        return examples;
    });
}

void Perceptron::save(ModelWriter &file) const {
    file.count(words.size());
    file.endLine();
    for (const Candidate &word : words) {
        file.text(word.label);
        file.count(word.reference);
        file.endLine();
    }
    file.count(static_cast<std::size_t>(network.layers.front()));
    file.reals(network.weights);
}

void Perceptron::load(ModelReader &file, std::size_t references) {
    constexpr std::size_t mostWords = 1000000, mostUnits = 100000;
    for (std::size_t left = file.count(1, mostWords); left > 0; --left) {
        const std::string label = file.text();
        words.push_back({label, file.count(0, references - 1)});
    }
    const std::size_t units = file.count(1, mostUnits), weights = units * (inputs + words.size());
    network = {
        inputs, {static_cast<int32_t>(units), static_cast<int32_t>(words.size())}, file.reals(weights)};
    if (network.weights.size() != weights) file.damaged();
}

std::vector<double> Perceptron::score(const Matrix &features) const {
    const std::vector<float> input = stretched(features, {});
    std::vector<float> outputs(words.size());
    QZsMLPerceptron(static_cast<int32_t>(network.inputs), input.data(),
                    static_cast<int32_t>(network.layers.size()), network.layers.data(),
                    network.weights.data(), outputs.data());
    common::checkLibrary();
    std::vector<double> costs;
    for (const float output : outputs)
        costs.push_back(-std::log10(std::max(output, leastOutput)));
    return costs;
}

} // namespace recognise
