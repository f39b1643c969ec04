// What the compiler makes of plain loops for this processor.
#pragma once

#include <cstddef>
#include <cstdint>

namespace loops {

/// The first smallest element's place.
template <class T>
std::size_t placeOfSmallest(const T *src, std::size_t n);
/// The same of floats by their bits.
std::size_t placeOfSmallestBits(const float *src, std::size_t n);

/// In any order.
template <class T>
std::int64_t sum(const T *src, std::size_t n);
/// One after the other, in double.
double sum(const float *src, std::size_t n);
/// In the order of four partial sums from the end.
double sumOfFours(const float *src, std::size_t n);
std::int64_t sumOfNibbles(const std::uint8_t *src, std::size_t bytes);
/// Of whole words of 64 bits.
std::int64_t setBits(const std::uint8_t *src, std::size_t bytes);

} // namespace loops
