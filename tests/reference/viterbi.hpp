// The least cost of all paths of states, each of them walked: n^T paths. Shares nothing with the library.
#pragma once

#include "reference/elementary.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace qzk::test::reference {

inline float plus(float a, float b) { return a + b; }

inline std::int32_t plus(std::int32_t a, std::int32_t b) {
    const std::int64_t exact = std::int64_t{a} + b;
    return static_cast<std::int32_t>(std::clamp(exact, std::int64_t{-2147483648}, std::int64_t{2147483647}));
}

/// Costs that are not negative are in the order of their values.
template <class Cost>
bool costsLess(Cost a, Cost b) {
    return a < b;
}

/// outputs[t][j] is the cost of state j in frame t; there is at least one frame and one state.
template <class Cost>
struct Search {
    std::vector<std::vector<Cost>> a;
    std::vector<Cost> pi;
    std::vector<std::vector<Cost>> outputs;

    Cost bestCost() const {
        Cost best = std::numeric_limits<Cost>::max();
        bool found = false;
        for (std::size_t j = 0; j < pi.size(); ++j)
            walk(j, 0, plus(pi[j], outputs[0][j]), best, found);
        return best;
    }

    /// The same by the recurrence, for models too large for all paths.
    Cost bestCostByRecurrence() const {
        std::vector<Cost> costs;
        for (std::size_t j = 0; j < pi.size(); ++j)
            costs.push_back(plus(pi[j], outputs[0][j]));
        for (std::size_t t = 1; t < outputs.size(); ++t) {
            std::vector<Cost> next;
            for (std::size_t j = 0; j < pi.size(); ++j) {
                Cost least = plus(costs[0], a[0][j]);
                for (std::size_t i = 1; i < pi.size(); ++i)
                    least = std::min(least, plus(costs[i], a[i][j]), costsLess<Cost>);
                next.push_back(plus(least, outputs[t][j]));
            }
            costs = next;
        }
        return *std::min_element(costs.begin(), costs.end(), costsLess<Cost>);
    }

private:
    void walk(std::size_t state, std::size_t t, Cost cost, Cost &best, bool &found) const {
        if (t + 1 == outputs.size()) {
            if (!found || costsLess(cost, best)) best = cost;
            found = true;
            return;
        }
        for (std::size_t next = 0; next < pi.size(); ++next)
            walk(next, t + 1, plus(plus(cost, a[state][next]), outputs[t + 1][next]), best, found);
    }
};

/// -log10 of a density, rounded to float.
inline float outputCost(double density) { return -log10<float>(density); }

/// The same of a density with 29 fractional bits, in the fixed point of `scale`.
inline std::int32_t outputCost(std::int32_t density, std::int32_t scale) {
    if (density <= 0) return 0x1FFFFFFF;
    const double cost = std::ldexp(8.729869874255455 - log10(density), -scale);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::int64_t>(cost)));
}

} // namespace qzk::test::reference
