#include "hmm_codebook.hpp"

#include <algorithm>
#include <cmath>

namespace recognise {
namespace {

constexpr std::size_t mostCodes = 32767; // that the quantiser takes
constexpr std::size_t codesWanted = 256;

// What the end costs in a state of the word, and any code in that for the end.
constexpr float endCost = 100;

std::vector<float> symbolCosts(const float *weights, std::size_t codes) {
    std::vector<float> costs;
    for (std::size_t code = 0; code < codes; ++code)
        costs.push_back(std::min(-std::log10(weights[code]), endCost));
    return costs;
}

} // namespace

void CodebookHmm::train(const std::vector<Utterance> &references) {
    weights.clear();
    codebook = trainCodebook(references, codesWanted);
    for (CodeWord &word : trainCodeWords(references, codebook)) {
        addWord(word.label, word.reference, word.steps);
        weights.push_back(std::move(word.outputs));
    }
}

void CodebookHmm::write(ModelWriter &file) const {
    file.matrix(codebook.means);
    file.reals(codebook.variances);
    for (const Matrix &word : weights)
        file.matrix(word);
}

void CodebookHmm::read(ModelReader &file) {
    codebook.means = file.matrix(mostCodes, featureLength);
    codebook.variances = file.reals(featureLength);
    if (codebook.variances.size() != featureLength || *std::ranges::min_element(codebook.variances) <= 0)
        file.damaged();
    for (const std::vector<Steps> &word : steps) {
        weights.push_back(file.matrix(word.size(), codes()));
        if (weights.back().rows() != word.size() || weights.back().least() <= 0) file.damaged();
    }
}

void DiscreteHmm::build() {
    for (std::size_t word = 0; word < weights.size(); ++word) {
        const std::size_t states = weights[word].rows();
        Rows<float> outputs(states + 1, codes() + 1, endCost);
        for (std::size_t state = 0; state < states; ++state)
            std::ranges::copy(symbolCosts(weights[word][state], codes()), outputs[state]);
        outputs[states][codes()] = 0;
        const auto tables = chainTables<float>(steps[word], FloatKind::impossible, FloatKind::cost);
        models.add(QZsInitHMMServer(tables.transitions.data(), outputs.data(), tables.initial.data(),
                                    static_cast<int32_t>(states + 1), static_cast<int32_t>(codes() + 1),
                                    QZ_HMMCost));
    }
}

std::vector<int32_t> DiscreteHmm::nearestCodes(const Matrix &features) const {
    std::vector<int32_t> nearest;
    std::vector<int16_t> ranking(codes());
    std::vector<float> distances(codes());
    for (std::size_t frame = 0; frame < features.rows(); ++frame) {
        QZsVQKohonen(features[frame], featureLength, static_cast<int32_t>(codes()), codebook.means[0], 1,
                     ranking.data(), 0, distances.data());
        nearest.push_back(ranking[0] - 1);
    }
    return nearest;
}

Evaluate DiscreteHmm::evaluator(const Matrix &features) const {
    std::vector<int32_t> symbols = nearestCodes(features);
    symbols.push_back(static_cast<int32_t>(codes()));
    return [symbols](int32_t model, int32_t *best) -> double {
        return QZsEvalHMMViterbi(model, symbols.data(), static_cast<int32_t>(symbols.size()), best);
    };
}

Hmm::CostOf DiscreteHmm::outputCosts(const Matrix &features, std::size_t word) const {
    return [this, word, symbols = nearestCodes(features)](std::size_t state, std::size_t frame) -> double {
        return symbolCosts(weights[word][state], codes())[static_cast<std::size_t>(symbols[frame])];
    };
}

void SemicontinuousHmm::build() {
    servers.clear();
    for (std::size_t code = 0; code < codes(); ++code) {
        Mixture mixture{{1}, Matrix(1, featureLength), Matrix(1, featureLength)};
        std::copy_n(codebook.means[code], featureLength, mixture.means[0]);
        std::ranges::copy(codebook.variances, mixture.variances[0]);
        // All have the same variances: without their factor, no density is above 1.
        servers.add(mixture, logFactors(mixture).front());
    }
    servers.addEnd(featureLength);
    for (std::size_t word = 0; word < weights.size(); ++word) {
        const std::size_t states = weights[word].rows();
        Rows<float> outputs(states + 1, codes() + 1);
        for (std::size_t state = 0; state < states; ++state)
            std::copy_n(weights[word][state], codes(), outputs[state]);
        outputs[states][codes()] = 1;
        const auto tables = chainTables<float>(steps[word], FloatKind::impossible, FloatKind::cost);
        models.add(QZsInitSemicontHMMServer(tables.transitions.data(), outputs.data(), tables.initial.data(),
                                            servers.from(0), static_cast<int32_t>(states + 1),
                                            static_cast<int32_t>(codes() + 1), featureLength + 1,
                                            QZ_HMMCost));
    }
}

Evaluate SemicontinuousHmm::evaluator(const Matrix &features) const {
    return
        [observed = std::make_shared<FloatKind::Observed>(features)](int32_t model, int32_t *best) -> double {
            return QZsEvalSemicontHMMViterbi(model, observed->data(), observed->frames(), best);
        };
}

Hmm::CostOf SemicontinuousHmm::outputCosts(const Matrix &features, std::size_t word) const {
    const FloatKind::Observed observed(features);
    Matrix densities(features.rows(), codes());
    for (std::size_t frame = 0; frame < densities.rows(); ++frame)
        for (std::size_t code = 0; code < codes(); ++code)
            densities[frame][code] = static_cast<float>(
                QZsEvalGaussMix(servers.from(code)[0], observed.data()[frame], featureLength + 1));
    return [this, word, densities](std::size_t state, std::size_t frame) {
        return -std::log10(QZsDotP(weights[word][state], densities[frame], static_cast<int32_t>(codes())));
    };
}

} // namespace recognise
