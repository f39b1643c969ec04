#pragma once

#include "matrix.hpp"

#include <cstdint>
#include <vector>

namespace recognise {

/// Features are a few units large; in 2^-7 they keep three digits and stay far inside 16 bits.
constexpr int featureScale = -7;

/// The features, which may lie between -255 and 255, as the library takes 16-bit integers: with a pointer to
/// each row.
class FixedPattern {
public:
    explicit FixedPattern(const Matrix &features);

    const std::int16_t *const *data() const { return rows.data(); }
    const std::int16_t *operator[](std::size_t row) const { return rows[row]; }

private:
    std::vector<std::int16_t> values;
    std::vector<const std::int16_t *> rows;
};

/// The same of floats: pointers to the rows.
std::vector<const float *> rowsOf(const Matrix &matrix);

} // namespace recognise
