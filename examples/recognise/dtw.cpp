#include "dtw.hpp"
#include "common/library.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace recognise {
namespace {

constexpr std::size_t mostNeighbours = 3;

// Features are a few units large; in 2^-7 they keep three digits and stay far inside 16 bits.
constexpr int featureScale = -7;
constexpr float largestFeature = 255;

std::vector<const float *> rowsOf(const Matrix &matrix) {
    std::vector<const float *> rows;
    for (std::size_t row = 0; row < matrix.rows(); ++row)
        rows.push_back(matrix[row]);
    return rows;
}

// The same features in 16 bits, with their rows.
class FixedPattern {
public:
    explicit FixedPattern(const Matrix &features) : values(features.rows() * features.columns()) {
        for (std::size_t row = 0; row < features.rows(); ++row) {
            std::vector<float> bounded(features[row], features[row] + features.columns());
            for (float &value : bounded)
                value = std::clamp(value, -largestFeature, largestFeature);
            int16_t *frame = values.data() + row * features.columns();
            int32_t scale = featureScale;
            QZswbConvertDown(bounded.data(), frame, static_cast<int32_t>(bounded.size()), QZ_ScaleFixed,
                             &scale);
            rows.push_back(frame);
        }
    }

    const int16_t *const *data() const { return rows.data(); }

private:
    std::vector<int16_t> values;
    std::vector<const int16_t *> rows;
};

} // namespace

void Dtw::learn(const std::vector<Utterance> &references) {
    std::map<std::string, std::size_t> perLabel;
    for (std::size_t reference = 0; reference < references.size(); ++reference) {
        identifiers.push_back(store(references[reference].features));
        common::checkLibrary();
        templates.push_back({references[reference].label, reference});
        ++perLabel[references[reference].label];
    }
    // A word with fewer references than the others would be judged by its best one alone: as many for each.
    nearest = mostNeighbours;
    for (const auto &[label, count] : perLabel)
        nearest = std::min(nearest, count);
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
