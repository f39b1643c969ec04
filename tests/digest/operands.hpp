// Where the operands of the vector families lie: apart or over one another, at every alignment.
#pragma once

#include "generator.hpp"
#include "record.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace qzk::digest {

/// None, few, and around the widths of vectors and blocks.
constexpr std::int32_t lengths[] = {-2147483647 - 1,
                                    -1,
                                    0,
                                    1,
                                    2,
                                    3,
                                    4,
                                    5,
                                    7,
                                    8,
                                    9,
                                    13,
                                    15,
                                    16,
                                    17,
                                    23,
                                    31,
                                    32,
                                    33,
                                    47,
                                    63,
                                    64,
                                    65,
                                    79,
                                    96,
                                    127,
                                    128,
                                    129,
                                    130,
                                    191,
                                    255,
                                    256,
                                    257,
                                    1000,
                                    2049,
                                    4100};

constexpr std::size_t count(std::int32_t len) { return len > 0 ? static_cast<std::size_t>(len) : 0; }

/// Two sources and a destination in one memory of random bytes. One time in two they lie apart, each at any
/// address; otherwise some are the same or overlap at distances of `unit` bytes.
class Operands {
public:
    Operands(Generator &random, std::size_t bytes, int unit)
        : storage_(3 * (bytes + 2 * margin) + alignment) {
        const auto address = reinterpret_cast<std::uintptr_t>(storage_.data());
        begin_ = storage_.data() + (alignment - address % alignment) % alignment;
        bytes_ = storage_.size() - alignment;
        random.fill(begin_, bytes_);
        const auto apart = [&](std::size_t slot) {
            return begin_ + slot * (bytes + 2 * margin) + margin + random.below(alignment);
        };
        const auto near = [&](std::uint8_t *place) {
            constexpr int below = margin, above = margin / 2;
            const int steps = random.between(-below / unit, above / unit);
            return place + steps * unit;
        };
        a = apart(0);
        b = apart(1);
        dst = apart(2);
        switch (random.below(12)) {
        case 0:
            dst = a;
            break;
        case 1:
            dst = b;
            break;
        case 2:
            dst = near(a);
            break;
        case 3:
            dst = near(b);
            break;
        case 4:
            a = b;
            break;
        case 5:
            dst = near(b), a = near(b);
            break;
        default:
            break;
        }
    }

    std::uint8_t *a, *b, *dst;

    /// Random elements of a random kind at a source.
    template <class T>
    void fill(Generator &random, std::uint8_t *place, std::size_t n) {
        const std::vector<T> values = random.elements<T>(n);
        if (n > 0) std::memcpy(place, values.data(), n * sizeof(T));
    }

    /// The whole memory.
    void put() const { putBytes(begin_, bytes_); }

    /// The whole memory, in which n elements at the destination may be undefined not-a-numbers.
    template <class T>
    void put(std::size_t n) const {
        const std::uint8_t *const end = dst + n * sizeof(T);
        putBytes(begin_, static_cast<std::size_t>(dst - begin_));
        putElements<T>(dst, n);
        putBytes(end, static_cast<std::size_t>(begin_ + bytes_ - end));
    }

private:
    static constexpr std::size_t alignment = 64, margin = 96;

    std::vector<std::uint8_t> storage_;
    std::uint8_t *begin_;
    std::size_t bytes_;
};

template <class T>
T *as(std::uint8_t *place) {
    return reinterpret_cast<T *>(place);
}

} // namespace qzk::digest
