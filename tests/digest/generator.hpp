// Pseudo-random inputs, the same with every C++ library, compiler and word size: integers only, and reals put
// together from them without rounding.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
#include <type_traits>
#include <vector>

namespace qzk::digest {

/// What the elements of one vector look like.
enum class Kind {
    small,    ///< a few significant bits; of reals multiples of 1/4, so that sums are exact and often equal
    ordinary, ///< uniform, of one magnitude
    wide,     ///< of reals all exponents; of integers the ends of the range too
    special,  ///< of reals also denormals, infinities, not-a-numbers and both zeros
};
constexpr Kind kinds[] = {Kind::small, Kind::ordinary, Kind::wide, Kind::special};

/// Draw at most once among the arguments of a call: in which order they are evaluated is up to the compiler.
class Generator {
public:
    /// The numbers of one name do not depend on what others have drawn.
    explicit Generator(std::string_view name) {
        for (const char letter : name)
            state_ = (state_ ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    }

    /// Weyl sequence with the mixing function of Stafford's "Better bit mixing", variant 13.
    std::uint64_t bits() {
        std::uint64_t z = state_ += 0x9E3779B97F4A7C15;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
        z = (z ^ z >> 27) * 0x94D049BB133111EB;
        return z ^ z >> 31;
    }

    /// At least 0 and below n.
    std::size_t below(std::size_t n) { return static_cast<std::size_t>(bits() % n); }

    /// From low to high, both included.
    std::int32_t between(std::int32_t low, std::int32_t high) {
        const auto span = static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
        return static_cast<std::int32_t>(low + static_cast<std::int64_t>(bits() % span));
    }

    void fill(void *memory, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; i += sizeof(std::uint64_t)) {
            const std::uint64_t eight = bits();
            std::memcpy(static_cast<char *>(memory) + i, &eight, std::min(bytes - i, sizeof eight));
        }
    }

    template <class Choices>
    auto oneOf(const Choices &choices) {
        return choices[below(std::size(choices))];
    }

    /// A vector of a kind that is drawn too.
    template <class T>
    std::vector<T> elements(std::size_t n) {
        return elements<T>(n, oneOf(kinds));
    }

    template <class T>
    std::vector<T> elements(std::size_t n, Kind kind) {
        std::vector<T> values(n);
        if constexpr (std::is_floating_point_v<T>) {
            const int exponent = between(-12, 16);
            for (T &value : values)
                value = real<T>(kind, exponent);
        } else {
            const auto width = static_cast<unsigned>(below(8 * sizeof(T)));
            for (T &value : values)
                value = integer<T>(kind, width);
        }
        return values;
    }

    /// A uniform real of up to this magnitude, a power of two, or from 0 to there.
    template <class T>
    T signedReal(T magnitude = 1) {
        return static_cast<T>(between(-0x7FFFFF, 0x7FFFFF)) * static_cast<T>(0x1p-23) * magnitude;
    }
    template <class T>
    T positiveReal(T magnitude = 1) {
        return static_cast<T>(between(1, 0x7FFFFF)) * static_cast<T>(0x1p-23) * magnitude;
    }

private:
    template <class T>
    T integer(Kind kind, unsigned width) {
        using Limits = std::numeric_limits<T>;
        constexpr T ends[] = {Limits::min(),
                              Limits::max(),
                              static_cast<T>(Limits::min() + 1),
                              static_cast<T>(Limits::max() - 1),
                              0,
                              1,
                              static_cast<T>(-1)};
        const auto uniform = static_cast<T>(bits());
        switch (kind) {
        case Kind::small:
            return static_cast<T>(uniform >> width);
        case Kind::ordinary:
            return uniform;
        case Kind::wide:
            return bits() % 4 == 0 ? oneOf(ends) : uniform;
        default:
            return oneOf(ends);
        }
    }

    template <class T>
    T real(Kind kind, int exponent) {
        using Limits = std::numeric_limits<T>;
        using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
        constexpr int mantissaBits = Limits::digits - 1, bias = Limits::max_exponent - 1;
        const auto compose = [&](int biased) {
            constexpr Bits sign = Bits{1} << (8 * sizeof(T) - 1), mantissa = (Bits{1} << mantissaBits) - 1;
            const auto random = static_cast<Bits>(bits());
            return std::bit_cast<T>(
                static_cast<Bits>((random & (sign | mantissa)) | static_cast<Bits>(biased) << mantissaBits));
        };
        constexpr T specials[] = {0,
                                  -T(0),
                                  Limits::infinity(),
                                  -Limits::infinity(),
                                  Limits::quiet_NaN(),
                                  -Limits::quiet_NaN(),
                                  Limits::denorm_min(),
                                  -Limits::denorm_min(),
                                  Limits::min(),
                                  Limits::max(),
                                  Limits::lowest(),
                                  1,
                                  -1};
        switch (kind) {
        case Kind::small:
            return static_cast<T>(between(-16, 16)) / 4;
        case Kind::ordinary:
            return compose(bias + exponent - static_cast<int>(below(8)));
        case Kind::wide:
            return compose(between(1, 2 * bias));
        default:
            return bits() % 6 == 0 ? oneOf(specials) : compose(between(bits() % 4 == 0 ? 0 : 1, 2 * bias));
        }
    }

    std::uint64_t state_ = 0xCBF29CE484222325;
};

} // namespace qzk::digest
