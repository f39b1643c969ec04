#include "rotate_peers.hpp"

#include <algorithm>
#include <cstring>

namespace peers {
namespace {

constexpr int rowsOfGroup = 8, blockRows = 64, blockBytes = 64;

/// Groups of eight rows by one byte of each, block by block: work(first row, byte).
template <class Work>
void inBlocks(int rows, int rowBytes, Work work) {
    for (int top = 0; top < rows; top += blockRows)
        for (int left = 0; left < rowBytes; left += blockBytes)
            for (int byte = left; byte < std::min(left + blockBytes, rowBytes); ++byte)
                for (int row = top; row < std::min(top + blockRows, rows); row += rowsOfGroup)
                    work(row, byte);
}

std::uint64_t swapped(std::uint64_t word, int distance, std::uint64_t lower) {
    const std::uint64_t difference = (word ^ word >> distance) & lower;
    return word ^ difference ^ difference << distance;
}

} // namespace

void turnBits(const std::uint8_t *const *src, std::uint8_t *const *dst, int rows, int columns) {
    inBlocks(rows, columns / 8, [=](int row, int byte) {
        std::uint64_t word = 0;
        for (int r = 0; r < rowsOfGroup; ++r)
            word = word << 8 | src[row + r][byte];
        word = swapped(word, 7, 0x00AA00AA00AA00AA);
        word = swapped(word, 14, 0x0000CCCC0000CCCC);
        word = swapped(word, 28, 0x00000000F0F0F0F0);
        std::uint8_t *const *const to = dst + (columns - 8 - 8 * byte);
        for (int k = 0; k < 8; ++k)
            to[k][row / 8] = static_cast<std::uint8_t>(word >> 8 * k);
    });
}

void turnNibbles(const std::uint8_t *const *src, std::uint8_t *const *dst, int rows, int columns) {
    inBlocks(rows, columns / 2, [=](int row, int byte) {
        std::uint32_t even = 0, odd = 0;
        for (int r = rowsOfGroup - 2; r >= 0; r -= 2) {
            even = even << 8 | src[row + r][byte];
            odd = odd << 8 | src[row + r + 1][byte];
        }
        const std::uint32_t high = (even & 0xF0F0F0F0) | (odd >> 4 & 0x0F0F0F0F);
        const std::uint32_t low = (even << 4 & 0xF0F0F0F0) | (odd & 0x0F0F0F0F);
        std::memcpy(dst[columns - 1 - 2 * byte] + row / 2, &high, sizeof high);
        std::memcpy(dst[columns - 2 - 2 * byte] + row / 2, &low, sizeof low);
    });
}

void turnBytes(const std::uint8_t *const *src, std::uint8_t *const *dst, int rows, int columns) {
    inBlocks(rows, columns, [=](int row, int column) {
        std::uint64_t word = 0;
        for (int r = rowsOfGroup - 1; r >= 0; --r)
            word = word << 8 | src[row + r][column];
        std::memcpy(dst[columns - 1 - column] + row, &word, sizeof word);
    });
}

} // namespace peers
