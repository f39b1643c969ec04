// Seeded random data, biased to the values where arithmetic goes wrong.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

namespace qzk::test {

/// Seed of the run: QZK_TEST_SEED, else a fixed number. Print it with SCOPED_TRACE where data decide a
/// failure.
inline std::uint64_t seed() {
    const char *text = std::getenv("QZK_TEST_SEED");
    return text != nullptr ? std::strtoull(text, nullptr, 10) : 20261120u;
}

class Random {
public:
    explicit Random(std::uint64_t salt = 0) : engine_(seed() * 0x9E3779B97F4A7C15u + salt) {}

    std::uint64_t bits() { return engine_(); }

    /// Uniform in [0, n).
    std::size_t index(std::size_t n) { return static_cast<std::size_t>(bits() % n); }

    /// Uniform in [low, high].
    std::int64_t integer(std::int64_t low, std::int64_t high) {
        return low + static_cast<std::int64_t>(bits() % (static_cast<std::uint64_t>(high - low) + 1));
    }

    /// Uniform in [low, high).
    double real(double low, double high) {
        return low + (high - low) * (static_cast<double>(bits() >> 11) * 0x1p-53);
    }

    /// Any integer, one in four at the ends of the range or next to zero.
    template <class T>
    T element() {
        static_assert(std::is_integral_v<T>);
        using Limits = std::numeric_limits<T>;
        if (bits() % 4 != 0) return static_cast<T>(bits());
        constexpr T extremes[] = {Limits::min(),
                                  Limits::max(),
                                  static_cast<T>(Limits::min() + 1),
                                  static_cast<T>(Limits::max() - 1),
                                  0,
                                  1,
                                  static_cast<T>(-1)};
        return extremes[bits() % std::size(extremes)];
    }

    template <class T>
    std::vector<T> elements(std::size_t n) {
        std::vector<T> values(n);
        for (T &value : values)
            value = element<T>();
        return values;
    }

    /// Uniform reals in [low, high).
    template <class T>
    std::vector<T> reals(std::size_t n, double low = -1.0, double high = 1.0) {
        std::vector<T> values(n);
        for (T &value : values)
            value = static_cast<T>(real(low, high));
        return values;
    }

    /// Reals of all magnitudes and both signs, with zeros, infinities and not-a-numbers where asked for.
    template <class T>
    std::vector<T> anyReals(std::size_t n, bool specials = true) {
        using Limits = std::numeric_limits<T>;
        const T special[] = {0,
                             -T(0),
                             Limits::infinity(),
                             -Limits::infinity(),
                             Limits::quiet_NaN(),
                             Limits::denorm_min(),
                             Limits::min(),
                             Limits::max(),
                             Limits::lowest(),
                             1,
                             -1};
        std::vector<T> values(n);
        for (T &value : values) {
            const int exponent = static_cast<int>(integer(Limits::min_exponent, Limits::max_exponent - 1));
            value = static_cast<T>(std::ldexp(real(-1.0, 1.0), exponent));
            if (specials && bits() % 8 == 0) value = special[bits() % std::size(special)];
        }
        return values;
    }

private:
    std::mt19937_64 engine_;
};

} // namespace qzk::test
