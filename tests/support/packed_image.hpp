// Images of packed elements, each row against an inaccessible page or between known bytes.
#pragma once

#include "support/fenced.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace qzk::test {

/// Rows of `columns` elements of `width` bits, the first one in the most significant bits of its byte. All
/// bytes of the rows lie in one block that ends where an inaccessible page begins; `gap` bytes part the rows.
class PackedImage {
public:
    PackedImage(int rows, int columns, unsigned width, std::size_t gap = 0)
        : width_(width), rowBytes_((static_cast<std::size_t>(columns) * width + 7) / 8), gap_(gap),
          bytes_(static_cast<std::size_t>(rows) * (rowBytes_ + gap_)), memory_(bytes_ + 1),
          begin_(memory_.end() - bytes_) {
        for (int i = 0; i < rows; ++i)
            rows_.push_back(begin_ + gap_ + static_cast<std::size_t>(i) * (rowBytes_ + gap_));
    }

    std::uint8_t *const *rows() const { return rows_.data(); }

    template <class Byte>
    void fill(Byte next) {
        for (std::size_t i = 0; i < bytes_; ++i)
            begin_[i] = static_cast<std::uint8_t>(next());
    }

    int get(int row, int column) const {
        const std::size_t bit = static_cast<std::size_t>(column) * width_;
        return rows_[static_cast<std::size_t>(row)][bit / 8] >> (8 - width_ - bit % 8) & ((1 << width_) - 1);
    }
    void set(int row, int column, int value) {
        const std::size_t bit = static_cast<std::size_t>(column) * width_;
        const std::size_t shift = 8 - width_ - bit % 8;
        std::uint8_t &byte = rows_[static_cast<std::size_t>(row)][bit / 8];
        byte = static_cast<std::uint8_t>((byte & ~(((1 << width_) - 1) << shift)) | value << shift);
    }

    /// Every byte, those between the rows and behind their last elements included.
    std::vector<std::uint8_t> bytes() const { return {begin_, begin_ + bytes_}; }

private:
    unsigned width_;
    std::size_t rowBytes_, gap_, bytes_;
    Fenced memory_;
    std::uint8_t *begin_;
    std::vector<std::uint8_t *> rows_;
};

} // namespace qzk::test
