#include "evaluation.hpp"

#include <algorithm>
#include <cctype>
#include <limits>
#include <numeric>

namespace recognise {

std::size_t Evaluation::right() const {
    return std::accumulate(groups.begin(), groups.end(), std::size_t{0},
                           [](std::size_t sum, const Group &group) { return sum + group.right; });
}

void decide(const Method &method, const std::vector<std::filesystem::path> &references,
            const std::vector<std::string> &labels, const std::vector<double> &scores, std::size_t keep,
            Result &result) {
    const std::vector<Candidate> &candidates = method.candidates();
    result.known = std::ranges::count(candidates, result.expected, &Candidate::label) > 0;
    std::vector<std::size_t> order(scores.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [&](std::size_t candidate) { return scores[candidate]; });

    // Best candidates first: a word's score is the mean of its first ones.
    struct Sum {
        double score = 0;
        std::size_t count = 0;
        std::filesystem::path reference;
    };
    std::vector<Sum> sums(labels.size());
    for (const std::size_t candidate : order) {
        if (scores[candidate] == incomparable) break;
        const auto &[label, reference] = candidates[candidate];
        const auto index = std::ranges::lower_bound(labels, label, naturalLess) - labels.begin();
        Sum &sum = sums[static_cast<std::size_t>(index)];
        if (sum.count < method.neighbours()) {
            sum.score += scores[candidate];
            ++sum.count;
        }
        if (sum.reference.empty()) sum.reference = references[reference];
        if (result.nearest.size() < keep)
            result.nearest.push_back({references[reference], scores[candidate]});
    }

    double best = incomparable, second = incomparable;
    for (std::size_t label = 0; label < labels.size(); ++label) {
        const Sum &sum = sums[label];
        if (labels[label] == result.expected) result.expectedReference = sum.reference;
        result.labelScores.push_back(std::numeric_limits<float>::quiet_NaN());
        if (!sum.count) continue;
        const double score = sum.score / static_cast<double>(sum.count);
        result.labelScores.back() = static_cast<float>(score);
        second = std::min(second, std::max(best, score));
        if (score < best) {
            best = score;
            result.recognised = labels[label];
            result.recognisedReference = sum.reference;
        }
    }
    if (best == incomparable) return;
    result.score = best;
    result.margin = second == incomparable ? 0 : second - best;
}

std::optional<StatesShown> showStates(const Method &method, const Utterance &test) {
    const std::vector<Candidate> &candidates = method.candidates();
    const std::vector<double> scores = method.score(test.features);
    const auto best = [&](bool expected) {
        std::ptrdiff_t found = -1;
        for (std::size_t candidate = 0; candidate < scores.size(); ++candidate)
            if ((candidates[candidate].label == test.label) == expected && scores[candidate] < incomparable &&
                (found < 0 || scores[candidate] < scores[static_cast<std::size_t>(found)]))
                found = static_cast<std::ptrdiff_t>(candidate);
        return found;
    };
    StatesShown shown{test.file, test.label, {}};
    for (const bool expected : {true, false})
        if (const std::ptrdiff_t found = best(expected); found >= 0) {
            const auto candidate = static_cast<std::size_t>(found);
            std::optional<StateCosts> states = method.stateCosts(test.features, candidate);
            if (states)
                shown.words.push_back({candidates[candidate].label, scores[candidate], std::move(*states)});
        }
    return shown.words.empty() ? std::nullopt : std::optional(std::move(shown));
}

bool naturalLess(const std::string &a, const std::string &b) {
    const auto isDigit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (!isDigit(a[i]) || !isDigit(b[j])) {
            if (a[i] != b[j]) return a[i] < b[j];
            ++i, ++j;
            continue;
        }
        const auto run = [&](const std::string &text, std::size_t &at) {
            const std::size_t begin = at;
            while (at < text.size() && isDigit(text[at]))
                ++at;
            const std::size_t significant = std::min(text.find_first_not_of('0', begin), at);
            return text.substr(significant, at - significant);
        };
        const std::string left = run(a, i), right = run(b, j);
        if (left.size() != right.size()) return left.size() < right.size();
        if (left != right) return left < right;
    }
    if (a.size() - i != b.size() - j) return a.size() - i < b.size() - j;
    return a < b;
}

} // namespace recognise
