#include "fixed.hpp"

#include "qzk.h"

#include <algorithm>

namespace recognise {
namespace {

constexpr float largestFeature = 255;

} // namespace

FixedPattern::FixedPattern(const Matrix &features) : values(features.rows() * features.columns()) {
    for (std::size_t row = 0; row < features.rows(); ++row) {
        std::vector<float> bounded(features[row], features[row] + features.columns());
        for (float &value : bounded)
            value = std::clamp(value, -largestFeature, largestFeature);
        int16_t *frame = values.data() + row * features.columns();
        int32_t scale = featureScale;
        QZswbConvertDown(bounded.data(), frame, static_cast<int32_t>(bounded.size()), QZ_ScaleFixed, &scale);
        rows.push_back(frame);
    }
}

std::vector<const float *> rowsOf(const Matrix &matrix) {
    std::vector<const float *> rows;
    for (std::size_t row = 0; row < matrix.rows(); ++row)
        rows.push_back(matrix[row]);
    return rows;
}

} // namespace recognise
