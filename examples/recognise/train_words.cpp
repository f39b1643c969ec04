#include "train_words.hpp"
#include "evaluation.hpp"
#include "train_kmeans.hpp"

#include <algorithm>
#include <cmath>
#include <map>

namespace recognise {
namespace {

constexpr double framesPerState = 4;
constexpr std::size_t leastStates = 3, mostStates = 24;
constexpr MixtureSettings mixtureSettings{.mostComponents = 4, .framesPerComponent = 20, .priorFrames = 20};
constexpr MixtureSettings firstSettings{.mostComponents = 1, .framesPerComponent = 1, .priorFrames = 1e6};

// Frames scatter less around a mean that was made of them than those of another recording will.
constexpr float stateSpread = 2, codeSpread = 4;
// Before any states are known, they are taken to scatter by this part of what all frames do.
constexpr float firstPart = 0.3F;
// However alike they are: this part of the variance of all frames, and something where that is 0.
constexpr float leastPart = 0.1F, leastVariance = 1e-4F;
constexpr std::size_t framesPerCode = 8;
constexpr float leastWeight = 1e-4F; // of a code in a state

Matrix gather(const std::vector<const Utterance *> &takes, const std::vector<FrameOf> &frames) {
    Matrix rows(frames.size(), takes.front()->features.columns());
    for (std::size_t row = 0; row < frames.size(); ++row)
        std::copy_n(takes[frames[row].recording]->features[frames[row].frame], rows.columns(), rows[row]);
    return rows;
}

Matrix allFrames(const std::vector<Utterance> &references) {
    std::size_t count = 0, row = 0;
    for (const Utterance &reference : references)
        count += reference.features.rows();
    Matrix frames(count, references.front().features.columns());
    for (const Utterance &reference : references)
        for (std::size_t frame = 0; frame < reference.features.rows(); ++frame)
            std::copy_n(reference.features[frame], frames.columns(), frames[row++]);
    return frames;
}

// Times a factor, but no less than a part of the variances of all frames.
std::vector<float> spreadOut(std::vector<float> variances, float factor, const std::vector<float> &overall) {
    for (std::size_t k = 0; k < variances.size(); ++k)
        variances[k] = std::max({variances[k] * factor, leastPart * overall[k], leastVariance});
    return variances;
}

struct Word {
    std::string label;
    std::vector<std::size_t> references;
    std::vector<const Utterance *> takes;
    std::vector<std::size_t> lengths;

    ChainTask task() const {
        return {statesFor(lengths, framesPerState, leastStates, mostStates), lengths, {}, {}};
    }

    // The take whose path costs least per frame.
    std::size_t typical(const Chain &chain, const ChainTask &task) const {
        double least = 1e300;
        std::size_t best = 0;
        for (std::size_t take = 0; take < takes.size(); ++take) {
            double sum = 0;
            for (std::size_t frame = 0; frame < lengths[take]; ++frame)
                sum += task.cost(chain.paths[take][frame], {take, frame});
            if (const double cost = sum / static_cast<double>(lengths[take]); cost < least) {
                least = cost;
                best = take;
            }
        }
        return references[best];
    }
};

std::vector<Word> wordsOf(const std::vector<Utterance> &references) {
    std::vector<Word> words;
    for (Takes &takes : takesByWord(references)) {
        Word &word = words.emplace_back(Word{std::move(takes.label), std::move(takes.references), {}, {}});
        for (const std::size_t reference : word.references) {
            word.takes.push_back(&references[reference]);
            word.lengths.push_back(references[reference].features.rows());
        }
    }
    return words;
}

// Adds the squared distances of a word's frames from the mean of their state; returns how many frames.
std::size_t addScatter(const Word &word, const Chain &chain, std::vector<double> &squares) {
    std::map<std::size_t, std::vector<FrameOf>> byState;
    for (std::size_t take = 0; take < word.takes.size(); ++take)
        for (std::size_t frame = 0; frame < word.lengths[take]; ++frame)
            byState[chain.paths[take][frame]].push_back({take, frame});
    std::size_t count = 0;
    for (const auto &[state, frames] : byState) {
        const std::vector<float> variances = variancesOf(gather(word.takes, frames));
        for (std::size_t k = 0; k < variances.size(); ++k)
            squares[k] += static_cast<double>(variances[k]) * static_cast<double>(frames.size());
        count += frames.size();
    }
    return count;
}

Chain trainMixtures(const Word &word, const std::vector<float> &variances, const MixtureSettings &settings,
                    std::vector<Mixture> &states, std::size_t &typical) {
    ChainTask task = word.task();
    states.assign(task.states, {});
    std::vector<std::vector<double>> factors(task.states);
    task.fit = [&](const std::vector<std::vector<FrameOf>> &frames) {
        for (std::size_t state = 0; state < states.size(); ++state) {
            if (frames[state].empty()) continue; // passed over by all: stays as it was
            states[state] = fitMixture(gather(word.takes, frames[state]), variances, settings);
            factors[state] = logFactors(states[state]);
        }
    };
    task.cost = [&](std::size_t state, FrameOf at) {
        return mixtureCost(states[state], factors[state], word.takes[at.recording]->features[at.frame]);
    };
    Chain chain = trainChain(task);
    typical = word.typical(chain, task);
    return chain;
}

} // namespace

std::vector<Takes> takesByWord(const std::vector<Utterance> &references) {
    std::map<std::string, Takes, decltype(&naturalLess)> words(naturalLess);
    for (std::size_t reference = 0; reference < references.size(); ++reference) {
        Takes &takes = words[references[reference].label];
        takes.label = references[reference].label;
        takes.references.push_back(reference);
    }
    std::vector<Takes> list;
    for (auto &[label, takes] : words)
        list.push_back(std::move(takes));
    return list;
}

std::vector<MixtureWord> trainMixtureWords(const std::vector<Utterance> &references) {
    const std::vector<Word> words = wordsOf(references);
    // First with one density and the same variances in every state, to see how far frames of a state scatter.
    const std::vector<float> overall = variancesOf(allFrames(references)),
                             first = spreadOut(overall, firstPart, overall);
    std::vector<double> squares(first.size());
    std::size_t count = 0, typical = 0;
    std::vector<Mixture> states;
    for (const Word &word : words)
        count += addScatter(word, trainMixtures(word, first, firstSettings, states, typical), squares);
    std::vector<float> pooled;
    for (const double square : squares)
        pooled.push_back(static_cast<float>(square / static_cast<double>(count)));
    pooled = spreadOut(pooled, stateSpread, overall);

    std::vector<MixtureWord> models;
    for (const Word &word : words) {
        Chain chain = trainMixtures(word, pooled, mixtureSettings, states, typical);
        models.push_back({word.label, typical, std::move(chain.steps), states});
    }
    return models;
}

Codebook trainCodebook(const std::vector<Utterance> &references, std::size_t codes) {
    const Matrix frames = allFrames(references);
    const Clusters clusters =
        cluster(frames, std::clamp(frames.rows() / framesPerCode, std::size_t{1}, codes));
    std::vector<double> squares(frames.columns());
    for (std::size_t frame = 0; frame < frames.rows(); ++frame)
        for (std::size_t k = 0; k < frames.columns(); ++k) {
            const double distance = frames[frame][k] - clusters.centres[clusters.members[frame]][k];
            squares[k] += distance * distance;
        }
    std::vector<float> variances;
    for (const double square : squares)
        variances.push_back(static_cast<float>(square / static_cast<double>(frames.rows())));
    return {clusters.centres, spreadOut(variances, codeSpread, variancesOf(frames))};
}

std::vector<float> codeShares(const Codebook &codebook, const float *frame) {
    std::vector<double> exponents;
    for (std::size_t code = 0; code < codebook.means.rows(); ++code) {
        double form = 0;
        for (std::size_t k = 0; k < codebook.means.columns(); ++k) {
            const double distance = frame[k] - codebook.means[code][k];
            form += distance * distance / codebook.variances[k];
        }
        exponents.push_back(-0.5 * form);
    }
    const double largest = *std::ranges::max_element(exponents);
    double sum = 0;
    for (double &exponent : exponents)
        sum += exponent = std::exp(exponent - largest);
    std::vector<float> shares;
    for (const double part : exponents)
        shares.push_back(static_cast<float>(part / sum));
    return shares;
}

std::vector<CodeWord> trainCodeWords(const std::vector<Utterance> &references, const Codebook &codebook) {
    std::vector<CodeWord> models;
    for (const Word &word : wordsOf(references)) {
        std::vector<Matrix> shares;
        for (const Utterance *take : word.takes) {
            Matrix &rows = shares.emplace_back(take->features.rows(), codebook.means.rows());
            for (std::size_t frame = 0; frame < rows.rows(); ++frame)
                std::ranges::copy(codeShares(codebook, take->features[frame]), rows[frame]);
        }
        ChainTask task = word.task();
        Matrix weights(task.states, codebook.means.rows());
        task.fit = [&](const std::vector<std::vector<FrameOf>> &frames) {
            for (std::size_t state = 0; state < frames.size(); ++state) {
                if (frames[state].empty()) continue;
                std::vector<double> sums(weights.columns());
                for (const auto &[take, frame] : frames[state])
                    for (std::size_t code = 0; code < sums.size(); ++code)
                        sums[code] += shares[take][frame][code];
                for (std::size_t code = 0; code < sums.size(); ++code) {
                    const auto share =
                        static_cast<float>(sums[code] / static_cast<double>(frames[state].size()));
                    weights[state][code] =
                        (share + leastWeight) / (1 + leastWeight * static_cast<float>(weights.columns()));
                }
            }
        };
        // Of a state's weights and a frame's shares: what the frame's density is but for a factor of its own.
        task.cost = [&](std::size_t state, FrameOf at) {
            double sum = 0;
            for (std::size_t code = 0; code < weights.columns(); ++code)
                sum += static_cast<double>(weights[state][code]) *
                       static_cast<double>(shares[at.recording][at.frame][code]);
            return -std::log10(sum);
        };
        Chain chain = trainChain(task);
        models.push_back({word.label, word.typical(chain, task), std::move(chain.steps), std::move(weights)});
    }
    return models;
}

} // namespace recognise
