#include "common/memory.hpp"

#include <cstdlib>

namespace qzk {
namespace {

Heap heap = {std::malloc, std::free};

} // namespace

Heap setHeap(Heap other) { return std::exchange(heap, other); }

void *allocate(std::size_t bytes) {
    if (bytes == std::numeric_limits<std::size_t>::max()) return nullptr;
    return heap.allocate(bytes == 0 ? 1 : bytes);
}

void release(void *block) {
    if (block != nullptr) heap.release(block);
}

} // namespace qzk
