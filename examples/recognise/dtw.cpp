#include "dtw.hpp"
#include "common/library.hpp"
#include "fixed.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace recognise {
namespace {

constexpr std::size_t mostNeighbours = 3;
constexpr std::size_t mostFrames = 1000000; // of a pattern in a file

} // namespace

void Dtw::learn(const std::vector<Utterance> &references) {
    for (const int32_t identifier : std::exchange(identifiers, {}))
        release(identifier);
    templates.clear();
    patterns.clear();
    for (std::size_t reference = 0; reference < references.size(); ++reference)
        add(references[reference].label, reference, references[reference].features);
    chooseNeighbours();
}

void Dtw::add(const std::string &label, std::size_t reference, const Matrix &features) {
    identifiers.push_back(store(features));
    common::checkLibrary();
    templates.push_back({label, reference});
    patterns.push_back(features);
}

void Dtw::chooseNeighbours() {
    std::map<std::string, std::size_t> perLabel;
    for (const Candidate &candidate : templates)
        ++perLabel[candidate.label];
    // A word with fewer references than the others would be judged by its best one alone: as many for each.
    nearest = mostNeighbours;
    for (const auto &[label, count] : perLabel)
        nearest = std::min(nearest, count);
}

void Dtw::save(ModelWriter &file) const {
    file.count(patterns.size());
    file.endLine();
    for (std::size_t pattern = 0; pattern < patterns.size(); ++pattern) {
        file.text(templates[pattern].label);
        file.count(templates[pattern].reference);
        file.matrix(patterns[pattern]);
    }
}

void Dtw::load(ModelReader &file, std::size_t references) {
    for (std::size_t left = file.count(1, references); left > 0; --left) {
        const std::string label = file.text();
        const std::size_t reference = file.count(0, references - 1);
        add(label, reference, file.matrix(mostFrames, featureLength));
    }
    chooseNeighbours();
}

int FloatDtw::store(const Matrix &features) {
    return QZsPatternIni(rowsOf(features).data(), static_cast<int32_t>(features.rows()),
                         static_cast<int32_t>(features.columns()));
}

std::vector<double> FloatDtw::score(const Matrix &features) const {
    std::vector<double> scores(identifiers.size());
    QZsEvalDTW(identifiers.data(), static_cast<int32_t>(identifiers.size()), rowsOf(features).data(),
               static_cast<int32_t>(features.rows()), static_cast<int32_t>(features.columns()), 0, 0, band,
               scores.data());
    common::checkLibrary();
    for (double &score : scores)
        score = score < 1e38 ? score / static_cast<double>(features.rows()) : incomparable;
    return scores;
}

int FixedDtw::store(const Matrix &features) {
    return QZwPatternIni(FixedPattern(features).data(), static_cast<int32_t>(features.rows()),
                         static_cast<int32_t>(features.columns()), 0);
}

// References and test are declared as plain integers: the integer scores then resolve 2^-7 of a unit, and the
// score of a reference that cannot be compared saturates instead of taking the resolution of all others.
std::vector<double> FixedDtw::score(const Matrix &features) const {
    std::vector<int32_t> sums(identifiers.size());
    int32_t scoreScale = 0;
    QZwEvalDTW(identifiers.data(), static_cast<int32_t>(identifiers.size()), FixedPattern(features).data(),
               static_cast<int32_t>(features.rows()), static_cast<int32_t>(features.columns()), 0, 0, 0, 0,
               band, sums.data(), QZ_ScaleSaturate, &scoreScale);
    common::checkLibrary();
    std::vector<double> scores;
    for (const int32_t sum : sums)
        scores.push_back(sum < std::numeric_limits<int32_t>::max()
                             ? std::ldexp(sum, featureScale) / static_cast<double>(features.rows())
                             : incomparable);
    return scores;
}

} // namespace recognise
