// Vectors of one length with the row pointers that the exports take.
#pragma once

#include "generator.hpp"

#include <cstddef>
#include <utility>
#include <vector>

namespace qzk::digest {

template <class T>
class Rows {
public:
    explicit Rows(std::vector<std::vector<T>> rows) : rows_(std::move(rows)) {
        for (const auto &row : rows_)
            pointers_.push_back(row.data());
        pointers_.push_back(nullptr); // no rows are still a table
    }
    Rows(Generator &random, std::size_t rows, std::size_t columns, Kind kind)
        : Rows(drawn(random, rows, columns, kind)) {}

    const T *const *get() const { return pointers_.data(); }

private:
    static std::vector<std::vector<T>> drawn(Generator &random, std::size_t rows, std::size_t columns,
                                             Kind kind) {
        std::vector<std::vector<T>> values;
        for (std::size_t i = 0; i < rows; ++i)
            values.push_back(random.elements<T>(columns, kind));
        return values;
    }

    std::vector<std::vector<T>> rows_; // moving it moves no element
    std::vector<const T *> pointers_;
};

} // namespace qzk::digest
