#include "hmm.hpp"
#include "common/library.hpp"

#include "qzk.h"

#include <algorithm>

namespace recognise {
namespace {

constexpr double unreachable = 1e30; // no path costs so much

std::vector<double> perFrame(std::vector<double> costs, std::size_t frames) {
    common::checkLibrary();
    for (double &cost : costs)
        if (cost != incomparable) cost /= static_cast<double>(frames);
    return costs;
}

} // namespace

void ModelClass::add(int32_t server) {
    if (identifier < 0) identifier = QZCreateHMMClass();
    servers.push_back(server);
    common::checkLibrary();
    if (server < 0 || identifier < 0) throw std::bad_alloc();
    join(server);
    common::checkLibrary();
}

void ModelClass::join(int32_t server) const {
    if (QZAddHMMToClass(identifier, server) < 0) throw std::bad_alloc();
}

void ModelClass::clear() {
    for (const int32_t server : servers)
        QZFreeHMMServer(server);
    if (identifier > 0) QZDeleteHMMClass(identifier);
    servers.clear();
    identifier = -1;
}

std::vector<double> ModelClass::all(const Evaluate &evaluate) const {
    std::vector<double> costs;
    for (const int32_t server : servers) {
        int32_t best = 0;
        const double cost = evaluate(server, &best);
        costs.push_back(cost < unreachable ? cost : incomparable);
    }
    return costs;
}

std::vector<double> ModelClass::cheapestTwo(const Evaluate &evaluate) const {
    std::vector<double> costs(servers.size(), incomparable);
    std::vector<int32_t> found;
    for (std::size_t rank = 0; rank < std::min<std::size_t>(2, servers.size()); ++rank) {
        int32_t best = 0;
        const double cost = evaluate(-identifier, &best);
        if (!(cost < unreachable)) break;
        costs[static_cast<std::size_t>(std::ranges::find(servers, best) - servers.begin())] = cost;
        // The second is the first of the class without the first.
        found.push_back(best);
        QZRemoveHMMFromClass(identifier, best);
    }
    for (const int32_t server : found)
        join(server);
    return costs;
}

void Hmm::addWord(const std::string &label, std::size_t reference, const std::vector<Steps> &wordSteps) {
    words.push_back({label, reference});
    steps.push_back(wordSteps);
}

void Hmm::learn(const std::vector<Utterance> &references) {
    models.clear();
    words.clear();
    steps.clear();
    train(references);
    build();
    common::checkLibrary();
}

void Hmm::save(ModelWriter &file) const {
    file.count(words.size());
    file.endLine();
    for (std::size_t word = 0; word < words.size(); ++word) {
        file.text(words[word].label);
        file.count(words[word].reference);
        file.count(steps[word].size());
        file.endLine();
        for (const Steps &state : steps[word])
            for (const float cost : state)
                file.real(cost);
        file.endLine();
    }
    write(file);
}

void Hmm::load(ModelReader &file, std::size_t references) {
    constexpr std::size_t mostWords = 1000000, mostStates = 1000;
    for (std::size_t left = file.count(1, mostWords); left > 0; --left) {
        const std::string label = file.text();
        const std::size_t reference = file.count(0, references - 1);
        std::vector<Steps> wordSteps(file.count(1, mostStates));
        for (Steps &state : wordSteps)
            for (float &cost : state)
                if ((cost = file.real()) < 0) file.damaged();
        addWord(label, reference, wordSteps);
    }
    read(file);
    build();
    common::checkLibrary();
}

std::vector<double> Hmm::score(const Matrix &features) const {
    return perFrame(models.all(evaluator(features)), features.rows());
}

std::vector<double> Hmm::scoreTwo(const Matrix &features) const {
    return perFrame(models.cheapestTwo(evaluator(features)), features.rows());
}

std::optional<StateCosts> Hmm::stateCosts(const Matrix &features, std::size_t word) const {
    const CostOf cost = outputCosts(features, word);
    StateCosts result{Matrix(steps[word].size(), features.rows()), {}};
    for (std::size_t state = 0; state < result.costs.rows(); ++state)
        for (std::size_t frame = 0; frame < features.rows(); ++frame)
            result.costs[state][frame] = static_cast<float>(cost(state, frame));
    common::checkLibrary();
    result.path = cheapestPath(features.rows(), steps[word], [&](std::size_t state, std::size_t frame) {
        return static_cast<double>(result.costs[state][frame]);
    });
    return result;
}

} // namespace recognise
