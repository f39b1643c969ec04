#include "hmm_mixture.hpp"

#include <algorithm>
#include <cmath>

namespace recognise {
namespace {

constexpr std::size_t mostComponents = 1000;

// Common logarithm of the largest sum of factors that a state has: densities divided by it are below 1, and
// no cost is negative.
double largestFactor(const std::vector<std::vector<Mixture>> &words) {
    double largest = -1e300;
    for (const std::vector<Mixture> &states : words)
        for (const Mixture &mixture : states) {
            const std::vector<double> factors = logFactors(mixture);
            const double first = *std::ranges::max_element(factors);
            double sum = 0;
            for (const double factor : factors)
                sum += std::pow(10, factor - first);
            largest = std::max(largest, first + std::log10(sum));
        }
    return largest + 1e-3;
}

} // namespace

template <class Kind>
void MixtureHmm<Kind>::train(const std::vector<Utterance> &references) {
    outputs.clear();
    for (MixtureWord &word : trainMixtureWords(references)) {
        addWord(word.label, word.reference, word.steps);
        outputs.push_back(std::move(word.outputs));
    }
}

template <class Kind>
void MixtureHmm<Kind>::write(ModelWriter &file) const {
    for (const std::vector<Mixture> &states : outputs)
        for (const Mixture &state : states) {
            file.reals(state.weights);
            file.matrix(state.means);
            file.matrix(state.variances);
        }
}

template <class Kind>
void MixtureHmm<Kind>::read(ModelReader &file) {
    for (const std::vector<Steps> &word : steps)
        for (Mixture &state : outputs.emplace_back(word.size())) {
            state.weights = file.reals(mostComponents);
            state.means = file.matrix(mostComponents, featureLength);
            state.variances = file.matrix(mostComponents, featureLength);
            if (state.weights.size() != state.means.rows() ||
                state.weights.size() != state.variances.rows() ||
                *std::ranges::min_element(state.weights) <= 0 || state.variances.least() <= 0)
                file.damaged();
        }
}

template <class Kind>
void MixtureHmm<Kind>::build() {
    servers.clear();
    firsts.clear();
    const double largest = largestFactor(outputs);
    for (std::size_t word = 0; word < outputs.size(); ++word) {
        firsts.push_back(servers.size());
        for (const Mixture &state : outputs[word])
            servers.add(state, largest);
        servers.addEnd(featureLength);
        const auto tables = chainTables<typename Kind::Element>(steps[word], Kind::impossible, Kind::cost);
        models.add(Kind::model(tables, servers.from(firsts[word]), featureLength + 1));
    }
}

template <class Kind>
Evaluate MixtureHmm<Kind>::evaluator(const Matrix &features) const {
    return [observed = std::make_shared<typename Kind::Observed>(features)](int32_t model, int32_t *best) {
        return Kind::modelCost(model, *observed, best);
    };
}

template <class Kind>
Hmm::CostOf MixtureHmm<Kind>::outputCosts(const Matrix &features, std::size_t word) const {
    const auto observed = std::make_shared<typename Kind::Observed>(features);
    return [observed, states = servers.from(firsts[word])](std::size_t state, std::size_t frame) {
        return Kind::outputCost(states[state], observed->data()[frame], featureLength + 1);
    };
}

template class MixtureHmm<FloatKind>;
template class MixtureHmm<FixedKind>;

} // namespace recognise
