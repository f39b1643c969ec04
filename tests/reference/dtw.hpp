// Dynamic time warping on the whole grid: every column kept, every rule written where it applies.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace qzk::test::reference {

constexpr double big = 3.4e38;

using Frames = std::vector<std::vector<float>>;

struct Warp {
    int N, M, b;
    double threshold;
    std::function<double(int, int)> distance; // of test frame i and reference frame j
};

inline long floorDivision(long a, long b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

inline int highest(const Warp &w, int i) {
    long k = floorDivision(2L * w.M - 2L * w.b - (w.N + 1), 3);
    if (k < 0) k = -1;
    return i > k ? w.M - 1 - (w.N - 1 - i) / 2 : 2 * i + w.b;
}

inline int lowest(const Warp &w, int i) {
    const long q = -floorDivision(-(4L * w.N + 2L * w.b - (2L * w.M + 2)), 3);
    return i < q ? i / 2 : w.M - 1 - w.b - 2 * (w.N - 1 - i);
}

/// Cells of one column; index j + 2, so that the two guards have a place.
struct Column {
    std::vector<double> cost;
    std::vector<bool> horizontal;
};

inline double warp(const Warp &w) {
    const auto at = [](int j) { return static_cast<std::size_t>(j + 2); };
    const auto size = static_cast<std::size_t>(w.M + 2);
    std::vector<double> lastDistance(size, 0.0);
    Column now = {std::vector<double>(size, big), std::vector<bool>(size, false)};

    bool alive = false;
    for (int j = 0; j <= highest(w, 0); j++) {
        const double cost = w.distance(0, j);
        if (w.threshold > cost) alive = true;
        now.cost[at(j)] = w.threshold > cost ? cost : big;
    }
    if (!alive) return w.threshold;

    for (int i = 1; i <= w.N - 2; i++) {
        const int lo = lowest(w, i), hi = highest(w, i);
        const Column before = now;
        alive = false;
        for (int j = lo; j <= hi; j++) {
            double cost = big;
            bool horizontal = false;
            if (!before.horizontal[at(j)]) {
                cost = before.cost[at(j)];
                horizontal = true;
            }
            if (before.cost[at(j - 1)] <= cost) {
                cost = before.cost[at(j - 1)];
                horizontal = false;
            }
            if (before.cost[at(j - 2)] < cost) {
                cost = before.cost[at(j - 2)];
                horizontal = false;
            }
            if (w.threshold > cost)
                alive = true;
            else
                cost = big;
            now.cost[at(j)] = cost;
            now.horizontal[at(j)] = horizontal;
        }
        now.cost[at(lo - 1)] = big;
        now.cost[at(lo - 2)] = big;
        if (!alive) return w.threshold;
        for (int j = lo; j <= hi; j++) {
            if (now.cost[at(j)] < big) lastDistance[at(j)] = w.distance(i, j);
            now.cost[at(j)] = lastDistance[at(j)] + now.cost[at(j)];
        }
    }

    double best = w.threshold, score = w.threshold;
    for (int j = w.M - 1; j >= lowest(w, w.N - 1); j--) {
        double cost = now.horizontal[at(j)] ? w.threshold : now.cost[at(j)];
        if (now.cost[at(j - 1)] <= cost) cost = now.cost[at(j - 1)];
        if (now.cost[at(j - 2)] < cost) cost = now.cost[at(j - 2)];
        const double total = w.distance(w.N - 1, j) + cost;
        if (total < w.threshold && total < best) {
            best = total;
            score = total;
        }
    }
    return score;
}

/// Totals of all paths that the constraints allow, for patterns of a few frames and at least two test frames.
inline std::vector<double> allPathTotals(const Warp &w) {
    std::vector<double> totals;
    std::function<void(int, int, bool, double)> walk = [&](int i, int j, bool held, double sum) {
        if (i == w.N - 1) {
            totals.push_back(sum);
            return;
        }
        for (int step = held ? 1 : 0; step <= 2; step++) {
            const int next = j + step;
            const int top = i + 1 == w.N - 1 ? w.M - 1 : highest(w, i + 1);
            if (next < lowest(w, i + 1) || next > top) continue;
            walk(i + 1, next, step == 0, sum + w.distance(i + 1, next));
        }
    };
    for (int j = 0; j <= highest(w, 0); j++)
        walk(0, j, false, w.distance(0, j));
    return totals;
}

inline double euclidean(const std::vector<float> &a, const std::vector<float> &b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); i++) {
        const double d = double(a[i]) - double(b[i]);
        sum = sum + d * d;
    }
    return std::sqrt(sum);
}

inline double cityBlock(const std::vector<float> &a, const std::vector<float> &b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); i++)
        sum = sum + std::abs(double(a[i]) - double(b[i]));
    return sum;
}

/// One reference of an evaluation: big when it cannot be compared.
inline double score(const Frames &test, const Frames &pattern, bool noBand, int width, double threshold,
                    bool useCityBlock) {
    const int N = static_cast<int>(test.size()), M = static_cast<int>(pattern.size());
    const long B = noBand ? 0 : std::labs(static_cast<long>(width));
    if (N < 1 || 2 * M < N || M < 1 || M > 2L * N - 1 + B || test[0].size() != pattern[0].size()) return big;
    const auto distance = [&](int i, int j) {
        const auto &a = test[static_cast<std::size_t>(i)], &b = pattern[static_cast<std::size_t>(j)];
        return useCityBlock ? cityBlock(a, b) : euclidean(a, b);
    };
    return warp({N, M, static_cast<int>(B < M - 1 ? B : M - 1), threshold, distance});
}

} // namespace qzk::test::reference
