#pragma once

#include "method.hpp"
#include "train_chain.hpp"
#include "train_mixture.hpp"

namespace recognise {

/// The recordings of one word, as places in the list of references.
struct Takes {
    std::string label;
    std::vector<std::size_t> references;
};

/// In the order of the words.
std::vector<Takes> takesByWord(const std::vector<Utterance> &references);

/// A word as a chain of states; what a frame costs in a state is said by the kind of model.
template <class Outputs>
struct WordModel {
    std::string label;
    std::size_t reference; ///< the take that fits best, for display
    std::vector<Steps> steps;
    Outputs outputs;
};

/// A mixture for each state.
using MixtureWord = WordModel<std::vector<Mixture>>;

std::vector<MixtureWord> trainMixtureWords(const std::vector<Utterance> &references);

/// Gaussian densities for all words together, all with the same variances.
struct Codebook {
    Matrix means;
    std::vector<float> variances;
};

/// How much of each code belongs to a state: a row for each state, sum 1.
using CodeWord = WordModel<Matrix>;

/// Up to so many codes, fewer for few frames.
Codebook trainCodebook(const std::vector<Utterance> &references, std::size_t codes);
std::vector<CodeWord> trainCodeWords(const std::vector<Utterance> &references, const Codebook &codebook);

/// The share that each code has in a frame: its density over the sum of all.
std::vector<float> codeShares(const Codebook &codebook, const float *frame);

} // namespace recognise
