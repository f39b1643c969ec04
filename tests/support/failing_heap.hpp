// A heap that fails on request and keeps a log, for allocation-failure tests.
#pragma once

#include "common/memory.hpp"

#include <cstddef>
#include <vector>

namespace qzk::test {

/// While it lives, the library allocates here. One at a time.
class FailingHeap {
public:
    /// The allocation with this number, counted from 0, fails; -1: none does.
    explicit FailingHeap(int failAt = -1);
    ~FailingHeap();
    FailingHeap(const FailingHeap &) = delete;
    FailingHeap &operator=(const FailingHeap &) = delete;

    struct Event {
        enum Kind { allocated, failed, released } kind;
        void *block;
        std::size_t bytes; // 0 for released
    };
    /// Everything that happened, in order.
    const std::vector<Event> &events() const;
    /// Allocations asked for so far, the failed one included.
    int requests() const;
    /// Blocks allocated here and not released yet.
    int live() const;

private:
    Heap previous_;
};

} // namespace qzk::test
