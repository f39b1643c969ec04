// Memory between two pages that nobody may touch: a read or write past either end stops the test at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace qzk::test {

class Fenced {
public:
    explicit Fenced(std::size_t atLeast)
        : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          size_((atLeast + page_ - 1) / page_ * page_) {
        void *const block = mmap(nullptr, size_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        base_ = static_cast<std::uint8_t *>(block);
        mprotect(base_ + page_, size_, PROT_READ | PROT_WRITE);
    }
    ~Fenced() { munmap(base_, size_ + 2 * page_); }
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
