// Memory between two pages that nobody may touch: a read or write past either end stops the test at once.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::test {

class Fenced {
public:
    explicit Fenced(std::size_t atLeast);
    ~Fenced();
    Fenced(const Fenced &) = delete;
    Fenced &operator=(const Fenced &) = delete;

    /// The first byte, right behind the lower fence.
    std::uint8_t *begin() { return base_ + page_; }
    /// One past the last byte, where the upper fence begins.
    std::uint8_t *end() { return begin() + size_; }
    std::size_t size() const { return size_; }
    /// `bytes` bytes against the upper fence, or else against the lower one.
    std::uint8_t *place(std::size_t bytes, bool atEnd) { return atEnd ? end() - bytes : begin(); }

private:
    std::size_t page_, size_;
    std::uint8_t *base_;
};

} // namespace qzk::test
