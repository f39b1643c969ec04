// Vector quantisation as told: distances one by one, then exchanges.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

namespace qzk::test::reference {

template <class T>
using QuantiserDistance = std::conditional_t<std::is_same_v<T, float>, float, std::int32_t>;

template <class T>
std::vector<QuantiserDistance<T>> codeDistances(const std::vector<T> &x, const std::vector<T> &codebook,
                                                std::size_t nCodes, bool root) {
    std::vector<QuantiserDistance<T>> distances;
    for (std::size_t k = 0; k < nCodes; k++) {
        double sum = 0;
        for (std::size_t i = 0; i < x.size(); i++) {
            double difference = double(x[i]) - double(codebook[k * x.size() + i]);
            sum = sum + difference * difference;
        }
        if (root) sum = std::sqrt(sum);
        if (std::is_same_v<T, std::int16_t> && sum > 2147483647.0) sum = 2147483647.0;
        distances.push_back(static_cast<QuantiserDistance<T>>(sum));
    }
    return distances;
}

template <class Distance>
std::vector<std::int16_t> rankedCodes(const std::vector<Distance> &distances, int nBest) {
    const int n = int(distances.size()), ranked = nBest < n ? nBest : n;
    std::vector<std::int16_t> list;
    for (int k = 0; k < n; k++)
        list.push_back(std::int16_t(k));
    for (int p = 0; p < ranked; p++)
        for (int q = p + 1; q < n; q++)
            if (distances[std::size_t(list[std::size_t(p)])] > distances[std::size_t(list[std::size_t(q)])])
                std::swap(list[std::size_t(p)], list[std::size_t(q)]);
    for (int p = 0; p < ranked; p++)
        list[std::size_t(p)] = std::int16_t(list[std::size_t(p)] + 1);
    return list;
}

} // namespace qzk::test::reference
