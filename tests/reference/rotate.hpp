// Image rotation element by element, over images that are plain matrices of values.
#pragma once

#include <algorithm>
#include <vector>

namespace qzk::test::reference {

using Matrix = std::vector<std::vector<int>>; // rows of elements

inline Matrix matrix(int rows, int columns) {
    return Matrix(static_cast<std::size_t>(std::max(rows, 0)),
                  std::vector<int>(static_cast<std::size_t>(std::max(columns, 0))));
}

/// The middle `rows` by `columns` elements: where they begin.
inline int middle(int extent, int part) { return (extent - part) / 2; }

/// Turns the picture by a quarter, counter-clockwise.
inline Matrix turned(const Matrix &m) {
    const int rows = static_cast<int>(m.size()), columns = rows == 0 ? 0 : static_cast<int>(m[0].size());
    Matrix result = matrix(columns, rows);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < columns; ++j)
            result[static_cast<std::size_t>(columns - 1 - j)][static_cast<std::size_t>(i)] =
                m[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
    return result;
}

/// Cuts the middle out of the source, turns it as often as needed and lays it on the destination's middle.
inline void rotate(const Matrix &src, Matrix &dst, int angle, int srcRows, int srcCols, int dstRows,
                   int dstCols) {
    const bool half = angle == 180;
    const int rows = std::min(srcRows, half ? dstRows : dstCols);
    const int columns = std::min(srcCols, half ? dstCols : dstRows);
    if (rows <= 0 || columns <= 0) return;
    Matrix part = matrix(rows, columns);
    const int top = middle(srcRows, rows), left = middle(srcCols, columns);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < columns; ++j)
            part[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] =
                src[static_cast<std::size_t>(top + i)][static_cast<std::size_t>(left + j)];

    part = turned(part);
    if (half) part = turned(part);
    if (angle == -90) part = turned(turned(part));

    const int dstTop = middle(dstRows, static_cast<int>(part.size()));
    const int dstLeft = middle(dstCols, static_cast<int>(part[0].size()));
    for (std::size_t i = 0; i < part.size(); ++i)
        for (std::size_t j = 0; j < part[0].size(); ++j)
            dst[static_cast<std::size_t>(dstTop) + i][static_cast<std::size_t>(dstLeft) + j] = part[i][j];
}

} // namespace qzk::test::reference
