// Element-wise arithmetic, element by element in the stated order, with exact results in 64 bits and shifts
// as multiplications and divisions. Every element is read where it lies at the time it is needed, so that
// overlapping operands give what the order gives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace qzk::test::reference {

enum class Operation { add, subtract, multiply };
enum class Letter { n, y, t, w };

inline std::int64_t lowestOf(Letter letter) {
    return letter == Letter::t ? -128 : letter == Letter::w ? -32768 : 0;
}
inline std::int64_t highestOf(Letter letter) {
    return letter == Letter::n ? 15 : letter == Letter::y ? 255 : letter == Letter::t ? 127 : 32767;
}

struct Vector {
    Letter letter;
    std::uint8_t *bytes;
    std::int32_t nibbleOffset;

    std::int64_t get(std::int64_t i) const {
        switch (letter) {
        case Letter::n: {
            const std::int64_t half = nibbleOffset != 0 ? i : i + 1;
            return half % 2 == 0 ? bytes[half / 2] / 16 : bytes[half / 2] % 16;
        }
        case Letter::y:
            return bytes[i];
        case Letter::t:
            return bytes[i] < 128 ? bytes[i] : bytes[i] - 256;
        default: {
            std::int16_t word;
            std::memcpy(&word, bytes + 2 * i, 2);
            return word;
        }
        }
    }

    void put(std::int64_t i, std::int64_t value) const {
        switch (letter) {
        case Letter::n: {
            const std::int64_t half = nibbleOffset != 0 ? i : i + 1;
            const int nibble = static_cast<int>(value & 15), byte = bytes[half / 2];
            bytes[half / 2] =
                static_cast<std::uint8_t>(half % 2 == 0 ? nibble * 16 + byte % 16 : byte / 16 * 16 + nibble);
            break;
        }
        case Letter::w: {
            const auto word = static_cast<std::uint16_t>(value);
            std::memcpy(bytes + 2 * i, &word, 2);
            break;
        }
        default:
            bytes[i] = static_cast<std::uint8_t>(value);
        }
    }
};

inline std::int64_t floorShift(std::int64_t value, std::int64_t count) {
    for (; count > 0 && value != 0 && value != -1; --count)
        value = (value - (value % 2 != 0 && value < 0 ? 1 : 0)) / 2;
    return count > 0 && value > 0 ? 0 : value;
}

inline std::int64_t shifted(Operation operation, Letter letter, std::int64_t exact, std::int64_t k) {
    if (k < 0) {
        for (std::int64_t i = 0; i < -k && i < 40; ++i)
            exact = exact * 2 % (std::int64_t{1} << 40);
        return exact;
    }
    // 16-bit products shift as unsigned 32-bit numbers.
    if (operation == Operation::multiply && letter == Letter::w && exact < 0) exact += std::int64_t{1} << 32;
    return floorShift(exact, k);
}

struct Call {
    Operation operation;
    Letter letter;
    std::optional<std::int64_t> scalar; // in place of a
    Vector a, b, dst;
    std::int64_t len;

    std::int64_t exact(std::int64_t i) const {
        std::int64_t x = scalar ? *scalar : a.get(i);
        if (scalar && letter == Letter::n) x &= 15;
        const std::int64_t y = b.get(i);
        switch (operation) {
        case Operation::add:
            return y + x;
        case Operation::subtract:
            return y - x;
        default:
            return y * x;
        }
    }
    bool fits(std::int64_t value) const { return value >= lowestOf(letter) && value <= highestOf(letter); }
};

inline std::int32_t automaticSum(const Call &call) {
    for (std::int64_t k = call.len - 1; k >= 0; --k) {
        if (!call.fits(call.exact(k))) {
            for (std::int64_t i = call.len - 1; i > k; --i)
                call.dst.put(i, floorShift(call.dst.get(i), 1));
            for (std::int64_t i = k; i >= 0; --i)
                call.dst.put(i, floorShift(call.exact(i), 1));
            return 1;
        }
        call.dst.put(k, call.exact(k));
    }
    return 0;
}

inline std::int32_t automaticNibbleSum(const Call &call) {
    std::int32_t scale = 0;
    for (std::int64_t i = 0; i < call.len; ++i)
        if (call.exact(i) > 15) scale = 1;
    for (std::int64_t i = call.len - 1; i >= 0; --i)
        call.dst.put(i, floorShift(call.exact(i), scale));
    return scale;
}

/// The first product out of range is one value, whatever its storing does to its factors.
inline std::int32_t automaticProduct(const Call &call) {
    for (std::int64_t k = 0; k < call.len; ++k) {
        const std::int64_t first = call.exact(k);
        call.dst.put(k, first);
        if (call.fits(first)) continue;

        std::int64_t largest = first, smallest = first;
        for (std::int64_t i = k + 1; i < call.len; ++i) {
            const std::int64_t product = call.exact(i);
            if (product > largest) largest = product;
            if (product < smallest) smallest = product;
        }
        std::int64_t deciding = -smallest > largest ? smallest : largest;
        std::int32_t count = 0;
        for (; !call.fits(deciding); deciding = floorShift(deciding, 1))
            ++count;
        for (std::int64_t i = 0; i < k; ++i)
            call.dst.put(i, floorShift(call.dst.get(i), count));
        call.dst.put(k, floorShift(first, count));
        for (std::int64_t i = k + 1; i < call.len; ++i)
            call.dst.put(i, floorShift(call.exact(i), count));
        return count;
    }
    return 0;
}

inline void scaled(const Call &call, std::int32_t scaleMode, std::int32_t &scaleFactor) {
    const bool isUnsigned = call.letter == Letter::n || call.letter == Letter::y;
    if (scaleMode == 0) {
        for (std::int64_t i = call.len - 1; i >= 0; --i)
            call.dst.put(i, call.exact(i));
        scaleFactor = 0;
    } else if (scaleMode == 1) {
        for (std::int64_t i = call.len - 1; i >= 0; --i)
            call.dst.put(i, shifted(call.operation, call.letter, call.exact(i), scaleFactor));
    } else if (scaleMode == 2 && call.operation == Operation::multiply) {
        scaleFactor = automaticProduct(call);
    } else if (scaleMode == 2 && call.operation == Operation::add && call.letter == Letter::n) {
        scaleFactor = automaticNibbleSum(call);
    } else if (scaleMode == 2 && !(call.operation == Operation::subtract && isUnsigned)) {
        scaleFactor = automaticSum(call);
    } else {
        for (std::int64_t i = call.len - 1; i >= 0; --i) {
            std::int64_t result = call.exact(i);
            if (result > highestOf(call.letter)) result = highestOf(call.letter);
            if (result < lowestOf(call.letter)) result = lowestOf(call.letter);
            call.dst.put(i, result);
        }
        scaleFactor = 0;
    }
}

inline float exactFloat(Operation operation, float a, float b) {
    switch (operation) {
    case Operation::add:
        return b + a;
    case Operation::subtract:
        return b - a;
    default:
        return b * a;
    }
}

} // namespace qzk::test::reference
