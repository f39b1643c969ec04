// Far more addresses than memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::test {

/// 2^28 bytes of addresses over one megabyte of memory, and one page of their own behind them.
class LongMemory {
public:
    LongMemory();
    ~LongMemory();
    LongMemory(const LongMemory &) = delete;
    LongMemory &operator=(const LongMemory &) = delete;

    std::uint8_t *data() { return base_; }
    std::uint8_t *end() { return base_ + bytes; }

private:
    static constexpr std::size_t bytes = std::size_t{1} << 28, window = std::size_t{1} << 20, page = 1 << 16;
    std::uint8_t *base_;
};

} // namespace qzk::test
