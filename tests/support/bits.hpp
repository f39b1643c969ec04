// Exact comparison of floating-point data: equal bits, except that a not-a-number equals any other one, since
// which operand's payload survives is the compiler's choice of operand order.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace qzk::test {

template <class T>
bool sameBits(T a, T b) {
    using Word = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    return (a != a && b != b) || std::bit_cast<Word>(a) == std::bit_cast<Word>(b);
}

template <class T>
testing::AssertionResult sameBits(const std::vector<T> &expected, const std::vector<T> &actual) {
    if (expected.size() != actual.size()) return testing::AssertionFailure() << "sizes differ";
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (!sameBits(expected[i], actual[i]))
            return testing::AssertionFailure()
                   << "element " << i << ": expected " << testing::PrintToString(expected[i]) << ", got "
                   << testing::PrintToString(actual[i]);
    return testing::AssertionSuccess();
}

} // namespace qzk::test
