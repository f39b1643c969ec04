// The distances of two vectors, term by term in the order that decides their rounding.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qzk::test::reference {

template <class T>
double dotProduct(const std::vector<T> &a, const std::vector<T> &b) {
    double sum = 0;
    if constexpr (sizeof(T) == 4)
        for (std::size_t i = 0; i < a.size(); i++)
            sum = sum + double(a[i]) * double(b[i]);
    else
        for (std::size_t i = a.size(); i > 0; i--)
            sum = sum + double(a[i - 1]) * double(b[i - 1]);
    return sum;
}

template <class T>
double l1Norm(const std::vector<T> &a, const std::vector<T> &b) {
    double sum = 0;
    if constexpr (sizeof(T) == 4)
        for (std::size_t i = 0; i < a.size(); i++)
            sum = sum + std::abs(double(a[i]) - double(b[i]));
    else
        for (std::size_t i = a.size(); i > 0; i--)
            sum = sum + std::abs(double(a[i - 1]) - double(b[i - 1]));
    return sum;
}

template <class T>
double l2Norm(const std::vector<T> &a, const std::vector<T> &b) {
    double sum = 0;
    if constexpr (sizeof(T) == 4)
        for (std::size_t i = 0; i < a.size(); i++)
            sum = sum + (double(a[i]) - double(b[i])) * (double(a[i]) - double(b[i]));
    else
        for (std::size_t i = a.size(); i > 0; i--)
            sum = sum + (double(a[i - 1]) - double(b[i - 1])) * (double(a[i - 1]) - double(b[i - 1]));
    return sum;
}

template <class T>
double mahalanobisD(const std::vector<T> &a, const std::vector<T> &b, const std::vector<T> &diagonal) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); i++) {
        const double difference = double(a[i]) - double(b[i]);
        const double squared = difference * difference;
        sum = sum + double(diagonal[i]) * squared;
    }
    return sum;
}

template <class T>
double mahalanobis(const std::vector<T> &a, const std::vector<T> &b, const std::vector<std::vector<T>> &m) {
    std::vector<double> d;
    for (std::size_t i = 0; i < a.size(); i++)
        d.push_back(double(a[i]) - double(b[i]));
    double onDiagonal = 0, offDiagonal = 0;
    for (std::size_t i = 0; i < d.size(); i++) {
        const double weighted = double(m[i][i]) * d[i];
        onDiagonal = onDiagonal + weighted * d[i];
    }
    for (std::size_t i = 0; i < d.size(); i++)
        for (std::size_t j = 0; j < i; j++) {
            const double weighted = d[j] * double(m[i][j]);
            offDiagonal = offDiagonal + weighted * d[i];
        }
    return 2.0 * offDiagonal + onDiagonal;
}

} // namespace qzk::test::reference
