#include "support/fenced.hpp"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace qzk::test {

#if defined(_WIN32)

namespace {

std::size_t pageSize() {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return system.dwPageSize;
}

void *reserve(std::size_t bytes) { return VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS); }
void open(void *pages, std::size_t bytes) { VirtualAlloc(pages, bytes, MEM_COMMIT, PAGE_READWRITE); }
void giveBack(void *pages, std::size_t) { VirtualFree(pages, 0, MEM_RELEASE); }

} // namespace

#else

namespace {

std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

void *reserve(std::size_t bytes) {
    return mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
}
void open(void *pages, std::size_t bytes) { mprotect(pages, bytes, PROT_READ | PROT_WRITE); }
void giveBack(void *pages, std::size_t bytes) { munmap(pages, bytes); }

} // namespace

#endif

Fenced::Fenced(std::size_t atLeast)
    : page_(pageSize()), size_((atLeast + page_ - 1) / page_ * page_),
      base_(static_cast<std::uint8_t *>(reserve(size_ + 2 * page_))) {
    open(base_ + page_, size_);
}

Fenced::~Fenced() { giveBack(base_, size_ + 2 * page_); }

} // namespace qzk::test
