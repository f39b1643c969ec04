#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace recognise {

/// Rows of equal length in one block; a row is a frame, time runs downwards.
class Matrix {
public:
    Matrix() = default;
    Matrix(std::size_t rows, std::size_t columns, float value = 0)
        : rowCount(rows), columnCount(columns), values(rows * columns, value) {}

    std::size_t rows() const { return rowCount; }
    std::size_t columns() const { return columnCount; }
    float *operator[](std::size_t row) { return values.data() + row * columnCount; }
    const float *operator[](std::size_t row) const { return values.data() + row * columnCount; }

    /// The smallest value of a matrix that has any.
    float least() const { return *std::min_element(values.begin(), values.end()); }

private:
    std::size_t rowCount = 0, columnCount = 0;
    std::vector<float> values;
};

} // namespace recognise
