#pragma once

#include "method.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace recognise {

/// Files that were named by one argument.
struct Group {
    std::string name;
    std::size_t right = 0, total = 0;
};

/// A test file and what came of it.
struct Result {
    std::filesystem::path file;
    std::size_t group;
    std::string expected, recognised; ///< recognised is empty when nothing was comparable
    bool known = false;               ///< the expected word was learnt
    double score = 0, margin = 0;     ///< margin: how much worse the runner-up is
    std::vector<float> labelScores;   ///< in the order of Evaluation::labels
    struct Near {
        std::filesystem::path reference;
        double score;
    };
    std::vector<Near> nearest; ///< best references first
    /// Best reference of the recognised and of the expected word; empty if there is none.
    std::filesystem::path recognisedReference, expectedReference;

    bool right() const { return recognised == expected; }
};

/// What the frames of a test cost in the states of words.
struct StatesShown {
    std::filesystem::path file;
    std::string expected;
    struct OfWord {
        std::string label;
        double score;
        StateCosts states;
    };
    std::vector<OfWord> words; ///< the expected one first, then the best of all others
};

struct Evaluation {
    std::string method;
    bool templates = true;           ///< tests are compared with references, not with models of words
    std::size_t neighbours = 1;      ///< of a word's references decide together
    std::vector<std::string> labels; ///< sorted
    std::vector<std::filesystem::path> references;
    std::vector<Group> groups;
    std::vector<Result> results;
    std::size_t skipped = 0;
    double speechSeconds = 0;                        ///< of the tests
    double preparingSeconds = 0, scoringSeconds = 0; ///< of the tests
    double learnSeconds = 0;                         ///< without preparing the references
    bool loaded = false;                             ///< learnt before
    std::optional<StatesShown> states;

    std::size_t right() const;
    double workSeconds() const { return preparingSeconds + scoringSeconds; }
    double timesRealTime() const { return speechSeconds / workSeconds(); }
    double millisecondsPerTest() const { return 1000 * scoringSeconds / static_cast<double>(results.size()); }
};

/// Decides one test by the scores of the method's candidates: fills everything of the result but its file,
/// group and expected word. Keeps the given number of nearest references. `labels` may be more than those of
/// the candidates.
void decide(const Method &method, const std::vector<std::filesystem::path> &references,
            const std::vector<std::string> &labels, const std::vector<double> &scores, std::size_t keep,
            Result &result);

/// Nothing for a method without states.
std::optional<StatesShown> showStates(const Method &method, const Utterance &test);

/// Order of labels: numbers in them count by their value, 2 before 10.
bool naturalLess(const std::string &a, const std::string &b);

/// The words of candidates or recordings, in their order.
template <class Labelled>
std::vector<std::string> labelsOf(const std::vector<Labelled> &all) {
    std::vector<std::string> labels;
    for (const Labelled &one : all)
        labels.push_back(one.label);
    std::ranges::sort(labels, naturalLess);
    labels.erase(std::unique(labels.begin(), labels.end()), labels.end());
    return labels;
}

} // namespace recognise
