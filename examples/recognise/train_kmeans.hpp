#pragma once

#include "matrix.hpp"

#include <cstddef>
#include <vector>

namespace recognise {

struct Clusters {
    Matrix centres;
    std::vector<std::size_t> members; ///< the centre of each point
};

/// Up to `count` centres of the points by k-means (Lloyd 1982), each row a point: the mean is split in two,
/// the halves again, as in Linde, Buzo and Gray 1980. Nothing random in it: the same points, the same
/// centres.
Clusters cluster(const Matrix &points, std::size_t count);

} // namespace recognise
