#pragma once

#include "evaluation.hpp"
#include "picture.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace recognise {

/// Text made safe for HTML, in attributes too.
std::string escaped(const std::string &text);

/// One recording of a comparison.
struct Shown {
    std::filesystem::path file;
    std::string title, remark;
};

/// Spectrograms and cepstrograms of recordings side by side, on one time axis. A recording that can no longer
/// be read is said to be so in its place.
std::string comparison(const std::vector<Shown> &recordings, const FrontEnd &frontEnd);

/// Map of the mean distances: a row per expected word, a column per word that was compared.
struct ScoreMap {
    std::vector<std::string> rows, columns;
    std::vector<std::vector<double>> scores; ///< not-a-number where nothing was comparable
};
std::string scoreMap(const ScoreMap &map);

/// What each frame costs in each state of a model, the first state at the bottom, and the cheapest way
/// through. Costs above the mark look alike.
std::string statePicture(const StateCosts &states, double mark);

/// A colour bar with the values at its ends.
std::string legend(const std::string &low, const std::string &high, const Palette &palette, bool reversed);

} // namespace recognise
