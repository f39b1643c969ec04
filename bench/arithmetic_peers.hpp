// What the compiler makes of plain loops for this processor.
#pragma once

#include <cstddef>
#include <cstdint>

namespace loops {

struct Add {};
struct Subtract {};
struct Multiply {};

/// dst[i] = src1[i] op src2[i], reduced to T; subtraction takes the first from the second.
template <class Operation, class T>
void wrap(const T *src1, const T *src2, T *dst, std::size_t n);
template <class Operation, class T>
void saturate(const T *src1, const T *src2, T *dst, std::size_t n);
/// Shifted to the right.
template <class Operation, class T>
void fixed(const T *src1, const T *src2, T *dst, std::size_t n, int shift);
/// Two passes: the shift that makes all results fit, then the results.
template <class Operation, class T>
int automatic(const T *src1, const T *src2, T *dst, std::size_t n);

/// One element in place of src1.
template <class Operation, class T>
void wrapScalar(T scalar, T *srcDst, std::size_t n);
template <class Operation, class T>
void saturateScalar(T scalar, T *srcDst, std::size_t n);
template <class Operation, class T>
void fixedScalar(T scalar, T *srcDst, std::size_t n, int shift);

/// n nibbles from a byte's high half on, a byte at a time.
template <class Operation>
void wrapNibbles(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n);
template <class Operation>
void saturateNibbles(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n);
template <class Operation>
void fixedNibbles(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n,
                  int shift);

template <class T>
void magnitudes(const T *src, T *dst, std::size_t n);
template <class T>
void shiftLeft(T *srcDst, std::size_t n, int count);
template <class T>
void shiftRight(T *srcDst, std::size_t n, int count);

void shiftNibblesLeft(std::uint8_t *srcDst, std::size_t n, int count);
void shiftNibblesRight(std::uint8_t *srcDst, std::size_t n, int count);

} // namespace loops
