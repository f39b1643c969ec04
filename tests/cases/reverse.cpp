// Reversed rows: literal values. Everything is exact.
#include "common/reverse.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(Reverse, Bits) {
    const Bytes src = {0xB1, 0x40}; // 1011000101
    Bytes dst = {0xFF, 0xFF};
    reverseRow<Bit>(src.data(), 0, dst.data(), 0, 10);
    EXPECT_EQ((Bytes{0xA3, 0x7F}), dst); // 1010001101
    dst = {0x00, 0x00};
    reverseRow<Bit>(src.data(), 2, dst.data(), 5, 4); // 1100 to 0011
    EXPECT_EQ((Bytes{0x01, 0x80}), dst);
}

TEST(Reverse, Nibbles) {
    const Bytes src = {0x12, 0x34};
    Bytes dst = {0xFF, 0xFF};
    reverseRow<Nibble>(src.data(), 0, dst.data(), 0, 3);
    EXPECT_EQ((Bytes{0x32, 0x1F}), dst);
    reverseRow<Nibble>(src.data(), 1, dst.data(), 1, 3);
    EXPECT_EQ((Bytes{0x34, 0x32}), dst);
}

TEST(Reverse, Bytes) {
    const Bytes src = {1, 2, 3, 4};
    Bytes dst(4, 9);
    reverseRow<std::uint8_t>(src.data(), 1, dst.data(), 0, 3);
    EXPECT_EQ((Bytes{4, 3, 2, 9}), dst);
}

TEST(Reverse, ARowOntoItselfKeepsItsFirstHalf) {
    Bytes row = {1, 2, 3, 4, 5};
    reverseRow<std::uint8_t>(row.data(), 0, row.data(), 0, 5);
    EXPECT_EQ((Bytes{1, 2, 3, 2, 1}), row);
    row = {0x12, 0x34};
    reverseRow<Nibble>(row.data(), 0, row.data(), 0, 4);
    EXPECT_EQ((Bytes{0x12, 0x21}), row);
    row = {0x01, 0xB2}; // the source's last seven bits lie in the destination's only byte
    reverseRow<Bit>(row.data(), 7, row.data() + 1, 0, 8);
    EXPECT_EQ((Bytes{0x01, 0xBB}), row);
    row = {0xD0};
    reverseRow<Bit>(row.data(), 0, row.data(), 0, 8);
    EXPECT_EQ((Bytes{0xDB}), row);
}

TEST(Reverse, NothingOfNothing) {
    const Bytes src = {0x5A};
    Bytes dst = {0xA5};
    reverseRow<Bit>(src.data(), 3, dst.data(), 6, 0);
    reverseRow<Nibble>(src.data(), 1, dst.data(), 1, 0);
    reverseRow<std::uint8_t>(src.data(), 0, dst.data(), 0, 0);
    EXPECT_EQ(Bytes{0xA5}, dst);
    for (int level = 0; level <= static_cast<int>(simd::highestLevel()); ++level)
        simd::kernelsOf(static_cast<simd::Level>(level)).reverse.bits(nullptr, 3, nullptr, 6, 0);
}

} // namespace
} // namespace qzk::test
