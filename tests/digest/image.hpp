// Images of packed elements among random bytes.
#pragma once

#include "generator.hpp"
#include "record.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qzk::digest {

/// Bits of an element by its letter.
constexpr std::size_t widthOf(char letter) { return letter == 'b' ? 1 : letter == 'n' ? 4 : 8; }

/// Rows of elements of `width` bits, a few bytes apart from one another.
class Image {
public:
    Image(Generator &random, std::int32_t rows, std::int32_t columns, std::size_t width) {
        constexpr std::size_t margin = 16, alignment = 64;
        const std::size_t nRows = rows > 0 ? static_cast<std::size_t>(rows) : 0;
        const std::size_t nColumns = columns > 0 ? static_cast<std::size_t>(columns) : 0;
        const std::size_t rowBytes = (nColumns * width + 7) / 8, gap = random.below(9);
        storage_.resize(alignment + 2 * margin + nRows * (rowBytes + gap));
        const auto address = reinterpret_cast<std::uintptr_t>(storage_.data());
        begin_ = storage_.data() + (alignment - address % alignment) % alignment;
        bytes_ = storage_.size() - alignment;
        random.fill(begin_, bytes_);
        for (std::size_t i = 0; i < nRows; ++i)
            rows_.push_back(begin_ + margin + i * (rowBytes + gap));
        rows_.push_back(nullptr); // no rows are still a table
    }
    Image(const Image &) = delete;
    Image &operator=(const Image &) = delete;

    /// The row pointers, as those of another element type if wanted.
    template <class T = std::uint8_t>
    T *const *rows() const {
        return reinterpret_cast<T *const *>(rows_.data());
    }

    /// Every byte, those around the rows included.
    void put() const { putBytes(begin_, bytes_); }

private:
    std::vector<std::uint8_t> storage_;
    std::uint8_t *begin_;
    std::size_t bytes_;
    std::vector<std::uint8_t *> rows_;
};

/// Few rows and up to as many columns as some vectors hold.
inline std::int32_t extent(Generator &random) {
    constexpr std::int32_t most[] = {1, 3, 9, 17, 33, 70, 140};
    const std::int32_t least = random.below(24) == 0 ? -1 : 1;
    return random.between(least, random.oneOf(most));
}
inline std::int32_t wideExtent(Generator &random) {
    const std::int32_t factor = random.below(2) == 0 ? 1 : 8;
    return factor * extent(random);
}

} // namespace qzk::digest
