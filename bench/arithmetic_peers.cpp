#include "arithmetic_peers.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <type_traits>

namespace loops {
namespace {

template <class T>
using Exact = std::conditional_t<std::is_integral_v<T>, std::int32_t, T>;

template <class T>
Exact<T> exact(Add, T a, T b) {
    return Exact<T>{b} + a;
}
template <class T>
Exact<T> exact(Subtract, T a, T b) {
    return Exact<T>{b} - a;
}
template <class T>
Exact<T> exact(Multiply, T a, T b) {
    return Exact<T>{b} * a;
}

template <class T>
T clamped(std::int32_t result) {
    return static_cast<T>(
        std::clamp<std::int32_t>(result, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

} // namespace

template <class Operation, class T>
void wrap(const T *src1, const T *src2, T *dst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = static_cast<T>(exact(Operation{}, src1[i], src2[i]));
}

template <class Operation, class T>
void saturate(const T *src1, const T *src2, T *dst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = clamped<T>(exact(Operation{}, src1[i], src2[i]));
}

template <class Operation, class T>
void fixed(const T *src1, const T *src2, T *dst, std::size_t n, int shift) {
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = static_cast<T>(exact(Operation{}, src1[i], src2[i]) >> shift);
}

template <class Operation, class T>
int automatic(const T *src1, const T *src2, T *dst, std::size_t n) {
    std::int32_t largest = 0, smallest = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::int32_t result = exact(Operation{}, src1[i], src2[i]);
        largest = std::max(largest, result);
        smallest = std::min(smallest, result);
    }
    int shift = 0;
    while (largest >> shift > std::numeric_limits<T>::max() ||
           smallest >> shift < std::numeric_limits<T>::min())
        ++shift;
    fixed<Operation>(src1, src2, dst, n, shift);
    return shift;
}

template <class Operation, class T>
void wrapScalar(T scalar, T *srcDst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        srcDst[i] = static_cast<T>(exact(Operation{}, scalar, srcDst[i]));
}

template <class Operation, class T>
void saturateScalar(T scalar, T *srcDst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        srcDst[i] = clamped<T>(exact(Operation{}, scalar, srcDst[i]));
}

template <class Operation, class T>
void fixedScalar(T scalar, T *srcDst, std::size_t n, int shift) {
    for (std::size_t i = 0; i < n; ++i)
        srcDst[i] = static_cast<T>(exact(Operation{}, scalar, srcDst[i]) >> shift);
}

namespace {

template <class Operation, class Fit>
void nibbles(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n, Fit fit) {
    for (std::size_t i = 0; i < n / 2; ++i) {
        const auto high = exact(Operation{}, static_cast<std::uint8_t>(src1[i] >> 4),
                                static_cast<std::uint8_t>(src2[i] >> 4));
        const auto low = exact(Operation{}, static_cast<std::uint8_t>(src1[i] & 15),
                               static_cast<std::uint8_t>(src2[i] & 15));
        dst[i] = static_cast<std::uint8_t>((fit(high) & 15) << 4 | (fit(low) & 15));
    }
}

} // namespace

template <class Operation>
void wrapNibbles(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n) {
    nibbles<Operation>(src1, src2, dst, n, [](std::int32_t result) { return result; });
}

template <class Operation>
void saturateNibbles(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n) {
    nibbles<Operation>(src1, src2, dst, n,
                       [](std::int32_t result) { return std::clamp<std::int32_t>(result, 0, 15); });
}

template <class Operation>
void fixedNibbles(const std::uint8_t *src1, const std::uint8_t *src2, std::uint8_t *dst, std::size_t n,
                  int shift) {
    nibbles<Operation>(src1, src2, dst, n, [shift](std::int32_t result) { return result >> shift; });
}

void shiftNibblesLeft(std::uint8_t *srcDst, std::size_t n, int count) {
    for (std::size_t i = 0; i < n / 2; ++i)
        srcDst[i] =
            static_cast<std::uint8_t>((srcDst[i] >> 4 << count & 15) << 4 | ((srcDst[i] & 15) << count & 15));
}

void shiftNibblesRight(std::uint8_t *srcDst, std::size_t n, int count) {
    for (std::size_t i = 0; i < n / 2; ++i)
        srcDst[i] = static_cast<std::uint8_t>((srcDst[i] >> 4 >> count) << 4 | (srcDst[i] & 15) >> count);
}

template <class T>
void magnitudes(const T *src, T *dst, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = static_cast<T>(std::abs(src[i]));
}

template <class T>
void shiftLeft(T *srcDst, std::size_t n, int count) {
    for (std::size_t i = 0; i < n; ++i)
        srcDst[i] = static_cast<T>(srcDst[i] << count);
}

template <class T>
void shiftRight(T *srcDst, std::size_t n, int count) {
    for (std::size_t i = 0; i < n; ++i)
        srcDst[i] = static_cast<T>(srcDst[i] >> count);
}

template void wrap<Add>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void saturate<Add>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void fixed<Add>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t, int);
template int automatic<Add>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void wrapScalar<Add>(std::uint8_t, std::uint8_t *, std::size_t);
template void saturateScalar<Add>(std::uint8_t, std::uint8_t *, std::size_t);
template void fixedScalar<Add>(std::uint8_t, std::uint8_t *, std::size_t, int);
template void wrap<Add>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void saturate<Add>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void fixed<Add>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t, int);
template int automatic<Add>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void wrapScalar<Add>(std::int8_t, std::int8_t *, std::size_t);
template void saturateScalar<Add>(std::int8_t, std::int8_t *, std::size_t);
template void fixedScalar<Add>(std::int8_t, std::int8_t *, std::size_t, int);
template void wrap<Add>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void saturate<Add>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void fixed<Add>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t, int);
template int automatic<Add>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void wrapScalar<Add>(std::int16_t, std::int16_t *, std::size_t);
template void saturateScalar<Add>(std::int16_t, std::int16_t *, std::size_t);
template void fixedScalar<Add>(std::int16_t, std::int16_t *, std::size_t, int);
template void wrap<Add>(const float *, const float *, float *, std::size_t);
template void wrapScalar<Add>(float, float *, std::size_t);
template void wrapNibbles<Add>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void saturateNibbles<Add>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void fixedNibbles<Add>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t, int);
template void wrap<Subtract>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void saturate<Subtract>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void fixed<Subtract>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t, int);
template int automatic<Subtract>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void wrapScalar<Subtract>(std::uint8_t, std::uint8_t *, std::size_t);
template void saturateScalar<Subtract>(std::uint8_t, std::uint8_t *, std::size_t);
template void fixedScalar<Subtract>(std::uint8_t, std::uint8_t *, std::size_t, int);
template void wrap<Subtract>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void saturate<Subtract>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void fixed<Subtract>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t, int);
template int automatic<Subtract>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void wrapScalar<Subtract>(std::int8_t, std::int8_t *, std::size_t);
template void saturateScalar<Subtract>(std::int8_t, std::int8_t *, std::size_t);
template void fixedScalar<Subtract>(std::int8_t, std::int8_t *, std::size_t, int);
template void wrap<Subtract>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void saturate<Subtract>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void fixed<Subtract>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t, int);
template int automatic<Subtract>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void wrapScalar<Subtract>(std::int16_t, std::int16_t *, std::size_t);
template void saturateScalar<Subtract>(std::int16_t, std::int16_t *, std::size_t);
template void fixedScalar<Subtract>(std::int16_t, std::int16_t *, std::size_t, int);
template void wrap<Subtract>(const float *, const float *, float *, std::size_t);
template void wrapScalar<Subtract>(float, float *, std::size_t);
template void wrapNibbles<Subtract>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void saturateNibbles<Subtract>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *,
                                        std::size_t);
template void fixedNibbles<Subtract>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t,
                                     int);
template void wrap<Multiply>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void saturate<Multiply>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void fixed<Multiply>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t, int);
template int automatic<Multiply>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void wrapScalar<Multiply>(std::uint8_t, std::uint8_t *, std::size_t);
template void saturateScalar<Multiply>(std::uint8_t, std::uint8_t *, std::size_t);
template void fixedScalar<Multiply>(std::uint8_t, std::uint8_t *, std::size_t, int);
template void wrap<Multiply>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void saturate<Multiply>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void fixed<Multiply>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t, int);
template int automatic<Multiply>(const std::int8_t *, const std::int8_t *, std::int8_t *, std::size_t);
template void wrapScalar<Multiply>(std::int8_t, std::int8_t *, std::size_t);
template void saturateScalar<Multiply>(std::int8_t, std::int8_t *, std::size_t);
template void fixedScalar<Multiply>(std::int8_t, std::int8_t *, std::size_t, int);
template void wrap<Multiply>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void saturate<Multiply>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void fixed<Multiply>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t, int);
template int automatic<Multiply>(const std::int16_t *, const std::int16_t *, std::int16_t *, std::size_t);
template void wrapScalar<Multiply>(std::int16_t, std::int16_t *, std::size_t);
template void saturateScalar<Multiply>(std::int16_t, std::int16_t *, std::size_t);
template void fixedScalar<Multiply>(std::int16_t, std::int16_t *, std::size_t, int);
template void wrap<Multiply>(const float *, const float *, float *, std::size_t);
template void wrapScalar<Multiply>(float, float *, std::size_t);
template void wrapNibbles<Multiply>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t);
template void saturateNibbles<Multiply>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *,
                                        std::size_t);
template void fixedNibbles<Multiply>(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::size_t,
                                     int);

template void magnitudes(const std::int8_t *, std::int8_t *, std::size_t);
template void magnitudes(const std::int16_t *, std::int16_t *, std::size_t);
template void magnitudes(const float *, float *, std::size_t);
template void shiftLeft(std::uint8_t *, std::size_t, int);
template void shiftRight(std::uint8_t *, std::size_t, int);
template void shiftLeft(std::int8_t *, std::size_t, int);
template void shiftRight(std::int8_t *, std::size_t, int);
template void shiftLeft(std::int16_t *, std::size_t, int);
template void shiftRight(std::int16_t *, std::size_t, int);

} // namespace loops
