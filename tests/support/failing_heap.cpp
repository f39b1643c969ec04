#include "support/failing_heap.hpp"

#include <algorithm>
#include <cstdlib>

namespace qzk::test {
namespace {

std::vector<FailingHeap::Event> log;
int remaining;

void *allocateHere(std::size_t bytes) {
    void *const block = remaining-- == 0 ? nullptr : std::malloc(bytes);
    log.push_back(
        {block != nullptr ? FailingHeap::Event::allocated : FailingHeap::Event::failed, block, bytes});
    return block;
}

void releaseHere(void *block) {
    log.push_back({FailingHeap::Event::released, block, 0});
    std::free(block);
}

int count(FailingHeap::Event::Kind kind) {
    return static_cast<int>(std::count_if(log.begin(), log.end(), [=](auto &e) { return e.kind == kind; }));
}

} // namespace

FailingHeap::FailingHeap(int failAt) {
    log.clear();
    remaining = failAt;
    previous_ = setHeap({allocateHere, releaseHere});
}

FailingHeap::~FailingHeap() { setHeap(previous_); }

const std::vector<FailingHeap::Event> &FailingHeap::events() const { return log; }
int FailingHeap::requests() const { return count(Event::allocated) + count(Event::failed); }

int FailingHeap::live() const {
    // A block that was allocated before this heap came into force may be released here too.
    std::vector<void *> blocks;
    for (const Event &event : log) {
        if (event.kind == Event::allocated) blocks.push_back(event.block);
        if (event.kind == Event::released) std::erase(blocks, event.block);
    }
    return static_cast<int>(blocks.size());
}

} // namespace qzk::test
