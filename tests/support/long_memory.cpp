#include "support/long_memory.hpp"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace qzk::test {

#if defined(_WIN32)

LongMemory::LongMemory() {
    // Finds free addresses; views cannot be mapped over a reservation.
    base_ = static_cast<std::uint8_t *>(VirtualAlloc(nullptr, bytes + page, MEM_RESERVE, PAGE_NOACCESS));
    VirtualFree(base_, 0, MEM_RELEASE);
    const HANDLE file = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, window, nullptr);
    for (std::size_t at = 0; at < bytes; at += window)
        MapViewOfFileEx(file, FILE_MAP_ALL_ACCESS, 0, 0, window, base_ + at);
    CloseHandle(file);
    VirtualAlloc(base_ + bytes, page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

LongMemory::~LongMemory() {
    for (std::size_t at = 0; at < bytes; at += window)
        UnmapViewOfFile(base_ + at);
    VirtualFree(base_ + bytes, 0, MEM_RELEASE);
}

#else

LongMemory::LongMemory() {
    const int file = memfd_create("long", 0);
    const bool sized = ftruncate(file, window) == 0;
    void *const block = mmap(nullptr, bytes + page, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    base_ = static_cast<std::uint8_t *>(block);
    for (std::size_t at = 0; sized && at < bytes; at += window)
        mmap(base_ + at, window, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0);
    close(file);
}

LongMemory::~LongMemory() { munmap(base_, bytes + page); }

#endif

} // namespace qzk::test
