#pragma once

#include "train_chain.hpp"

#include <cstddef>
#include <vector>

namespace recognise {

/// Rows of equal length, and pointers to them as the library takes them.
template <class Element>
class Rows {
public:
    Rows(std::size_t rows, std::size_t columns, Element value = 0)
        : values(rows * columns, value), pointers(rows) {
        for (std::size_t row = 0; row < rows; ++row)
            pointers[row] = values.data() + row * columns;
    }
    Rows(Rows &&) = default;
    Rows &operator=(Rows &&) = default;

    Element *operator[](std::size_t row) { return values.data() + (pointers[row] - values.data()); }
    const Element *const *data() const { return pointers.data(); }
    std::size_t size() const { return pointers.size(); }

private:
    std::vector<Element> values;
    std::vector<const Element *> pointers;
};

/// Transitions and initial vector of a chain with the state for the end behind it, as costs.
template <class Element>
struct ChainTables {
    Rows<Element> transitions;
    std::vector<Element> initial;
};

template <class Element, class Convert>
ChainTables<Element> chainTables(const std::vector<Steps> &steps, Element impossible, Convert convert) {
    const std::size_t end = steps.size();
    ChainTables<Element> tables{Rows<Element>(end + 1, end + 1, impossible),
                                std::vector<Element>(end + 1, impossible)};
    tables.initial[0] = 0;
    for (std::size_t state = 0; state < end; ++state)
        for (std::size_t step = 0; step < 3 && state + step < end; ++step)
            tables.transitions[state][state + step] = convert(steps[state][step]);
    tables.transitions[end - 1][end] = convert(steps[end - 1][1]);
    tables.transitions[end][end] = 0;
    return tables;
}

} // namespace recognise
