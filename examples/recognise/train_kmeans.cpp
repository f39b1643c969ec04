#include "train_kmeans.hpp"

#include "qzk.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace recognise {
namespace {

constexpr int mostRounds = 10;
constexpr double splitReach = 0.3; // of a cluster's deviation

// The nearest centre of every point.
std::vector<std::size_t> assign(const Matrix &points, const Matrix &centres) {
    const auto count = static_cast<int32_t>(centres.rows());
    std::vector<int16_t> ranking(centres.rows());
    std::vector<float> distances(centres.rows());
    std::vector<std::size_t> members;
    for (std::size_t point = 0; point < points.rows(); ++point) {
        QZsVQKohonen(points[point], static_cast<int32_t>(points.columns()), count, centres[0], 1,
                     ranking.data(), 0, distances.data());
        members.push_back(static_cast<std::size_t>(ranking[0] - 1));
    }
    return members;
}

struct Cells {
    std::vector<std::size_t> counts;
    Matrix means, deviations;
    std::vector<double> scatters; ///< sum of squared distances from the mean
};

Cells measure(const Matrix &points, const std::vector<std::size_t> &members, std::size_t count) {
    const std::size_t columns = points.columns();
    Cells cells{std::vector<std::size_t>(count), Matrix(count, columns), Matrix(count, columns),
                std::vector<double>(count)};
    std::vector<double> sums(count * columns), squares(count * columns);
    for (std::size_t point = 0; point < points.rows(); ++point) {
        const std::size_t cell = members[point];
        ++cells.counts[cell];
        for (std::size_t k = 0; k < columns; ++k) {
            const double value = points[point][k];
            sums[cell * columns + k] += value;
            squares[cell * columns + k] += value * value;
        }
    }
    for (std::size_t cell = 0; cell < count; ++cell)
        for (std::size_t k = 0; k < columns && cells.counts[cell]; ++k) {
            const auto n = static_cast<double>(cells.counts[cell]);
            const double mean = sums[cell * columns + k] / n;
            const double variance = std::max(0.0, squares[cell * columns + k] / n - mean * mean);
            cells.means[cell][k] = static_cast<float>(mean);
            cells.deviations[cell][k] = static_cast<float>(std::sqrt(variance));
            cells.scatters[cell] += variance * n;
        }
    return cells;
}

// Means of the cells that hold points.
Matrix meansOf(const Cells &cells) {
    const auto used =
        cells.counts.size() - static_cast<std::size_t>(std::ranges::count(cells.counts, std::size_t{0}));
    Matrix means(used, cells.means.columns());
    std::size_t row = 0;
    for (std::size_t cell = 0; cell < cells.counts.size(); ++cell)
        if (cells.counts[cell]) std::copy_n(cells.means[cell], means.columns(), means[row++]);
    return means;
}

// Two centres in place of one for the cells with most scatter, to twice as many at most.
Matrix split(const Cells &cells, std::size_t count) {
    std::vector<std::size_t> order(cells.counts.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::erase_if(order, [&](std::size_t cell) { return cells.counts[cell] == 0; });
    std::ranges::stable_sort(order, std::greater{}, [&](std::size_t cell) { return cells.scatters[cell]; });
    const std::size_t halved = std::min(order.size(), count - order.size());
    Matrix centres(order.size() + halved, cells.means.columns());
    for (std::size_t rank = 0; rank < order.size(); ++rank) {
        const float *mean = cells.means[order[rank]], *deviation = cells.deviations[order[rank]];
        for (std::size_t k = 0; k < centres.columns(); ++k) {
            const float reach = rank < halved ? static_cast<float>(splitReach) * deviation[k] : 0;
            centres[rank][k] = mean[k] + reach;
            if (rank < halved) centres[order.size() + rank][k] = mean[k] - reach;
        }
    }
    return centres;
}

} // namespace

Clusters cluster(const Matrix &points, std::size_t count) {
    Clusters clusters{Matrix(1, points.columns()), std::vector<std::size_t>(points.rows())};
    Cells cells = measure(points, clusters.members, 1);
    clusters.centres = meansOf(cells);
    while (clusters.centres.rows() < count) {
        const std::size_t before = clusters.centres.rows();
        clusters.centres = split(cells, count);
        for (int round = 0; round < mostRounds; ++round) {
            std::vector<std::size_t> members = assign(points, clusters.centres);
            const bool settled = members == clusters.members;
            clusters.members = std::move(members);
            if (settled) break;
            cells = measure(points, clusters.members, clusters.centres.rows());
            clusters.centres = meansOf(cells);
        }
        clusters.members = assign(points, clusters.centres);
        cells = measure(points, clusters.members, clusters.centres.rows());
        if (clusters.centres.rows() <= before) break; // as many as the points can tell apart
    }
    return clusters;
}

} // namespace recognise
