// Sums of two doubles, hi + lo with |lo| at most half a unit in the last place of hi: about 106 bits. Plain
// IEEE additions and multiplications in the given order, so that every system computes the same bits.
//
// With u = 2^-53, and as long as no partial product underflows or overflows, the relative error of a sum is
// below 3 u^2 / (1 - 4u), of a product below 7 u^2 and of a quotient below 10 u^2 (Joldes, Muller, Popescu,
// "Tight and rigorous error bounds for basic building blocks of double-word arithmetic", 2017).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace qzk {

struct DoubleDouble {
    double hi = 0.0;
    double lo = 0.0;

    constexpr DoubleDouble() = default;
    constexpr DoubleDouble(double value) : hi(value) {}
    constexpr DoubleDouble(double high, double low) : hi(high), lo(low) {}
};

/// a + b exactly, for |a| >= |b| or a = 0.
constexpr DoubleDouble fastTwoSum(double a, double b) {
    const double sum = a + b;
    return {sum, b - (sum - a)};
}

/// a + b exactly.
constexpr DoubleDouble twoSum(double a, double b) {
    const double sum = a + b;
    const double partOfB = sum - a;
    return {sum, (a - (sum - partOfB)) + (b - partOfB)};
}

/// a * b exactly, for magnitudes below 2^996 whose product is above 2^-969 (Dekker, 1971). Without the fused
/// instruction, which not every processor has.
constexpr DoubleDouble twoProduct(double a, double b) {
    constexpr double splitter = 0x1p27 + 1.0;
    const double wideA = splitter * a, wideB = splitter * b;
    const double highA = wideA - (wideA - a), highB = wideB - (wideB - b);
    const double lowA = a - highA, lowB = b - highB;
    const double product = a * b;
    return {product, lowA * lowB - (((product - highA * highB) - lowA * highB) - highA * lowB)};
}

constexpr DoubleDouble operator-(DoubleDouble a) { return {-a.hi, -a.lo}; }

constexpr DoubleDouble operator+(DoubleDouble a, DoubleDouble b) {
    const DoubleDouble high = twoSum(a.hi, b.hi), low = twoSum(a.lo, b.lo);
    const DoubleDouble sum = fastTwoSum(high.hi, high.lo + low.hi);
    return fastTwoSum(sum.hi, low.lo + sum.lo);
}

constexpr DoubleDouble operator-(DoubleDouble a, DoubleDouble b) { return a + -b; }

constexpr DoubleDouble operator*(DoubleDouble a, DoubleDouble b) {
    const DoubleDouble product = twoProduct(a.hi, b.hi);
    return fastTwoSum(product.hi, product.lo + (a.hi * b.lo + a.lo * b.hi));
}

constexpr DoubleDouble operator/(DoubleDouble a, DoubleDouble b) {
    const double first = a.hi / b.hi;
    DoubleDouble rest = a - b * first;
    const double second = rest.hi / b.hi;
    rest = rest - b * second;
    return fastTwoSum(first, second) + rest.hi / b.hi;
}

/// hi + lo rounded once to float, for magnitudes within the float range. Rounding hi to odd first keeps the
/// two steps from rounding twice.
constexpr float roundedToFloat(DoubleDouble x) {
    auto bits = std::bit_cast<std::uint64_t>(x.hi);
    if (x.lo != 0.0 && bits % 2 == 0) {
        const bool awayFromZero = (x.lo > 0.0) == (x.hi > 0.0);
        bits = awayFromZero ? bits + 1 : bits - 1;
    }
    return static_cast<float>(std::bit_cast<double>(bits));
}

/// Horner's scheme for c[0] + c[1] x + c[2] x^2 + ... The terms from c[fromDouble] on are evaluated in
/// double, where their share of the result is below 2^-53.
template <std::size_t n>
constexpr DoubleDouble polynomial(const DoubleDouble (&c)[n], std::size_t fromDouble, DoubleDouble x) {
    double tail = 0.0;
    for (std::size_t k = n; k-- > fromDouble;)
        tail = tail * x.hi + c[k].hi;
    DoubleDouble sum = tail;
    for (std::size_t k = fromDouble; k-- > 0;)
        sum = sum * x + c[k];
    return sum;
}

} // namespace qzk
