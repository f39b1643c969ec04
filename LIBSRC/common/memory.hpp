// Heap access of the library. Blocks given to clients come from the C heap, so that a client may replace or
// free a single row; failure is a null pointer, never an exception.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace qzk {

struct Heap {
    void *(*allocate)(std::size_t bytes);
    void (*release)(void *block);
};

/// Installs another heap and returns the one in force; tests use it to make allocations fail.
Heap setHeap(Heap heap);

/// A block of at least one byte, or null.
void *allocate(std::size_t bytes);
void release(void *block);

/// Bytes of `count` elements, or an impossible size when `count` is negative or the product overflows, so
/// that the allocation fails instead of giving a block that is too small.
constexpr std::size_t arrayBytes(std::int64_t count, std::size_t elementBytes) {
    constexpr auto impossible = std::numeric_limits<std::size_t>::max();
    if (count < 0) return impossible;
    const auto elements = static_cast<std::uint64_t>(count);
    if (elementBytes != 0 && elements > (impossible - 4096) / elementBytes) return impossible;
    return static_cast<std::size_t>(elements) * elementBytes;
}

template <class T>
T *allocateArray(std::int64_t count) {
    static_assert(std::is_trivial_v<T>);
    return static_cast<T *>(allocate(arrayBytes(count, sizeof(T))));
}

/// Bytes of two parts of one block, impossible where one of them or the sum is.
constexpr std::size_t bothBytes(std::size_t a, std::size_t b) {
    constexpr auto impossible = std::numeric_limits<std::size_t>::max();
    return a > impossible - b ? impossible : a + b;
}

/// A block filled with zeros, or null.
inline void *allocateZeroed(std::size_t bytes) {
    void *const block = allocate(bytes);
    if (block != nullptr) std::memset(block, 0, bytes);
    return block;
}

template <class T>
T *alignUp(T *pointer, std::size_t alignment) {
    const auto address = reinterpret_cast<std::uintptr_t>(pointer);
    return reinterpret_cast<T *>((address + alignment - 1) / alignment * alignment);
}

/// Owner of one array from the library's heap; empty when the allocation failed.
template <class T>
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::int64_t count) : data_(allocateArray<T>(count)) {}
    Buffer(Buffer &&other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
    Buffer &operator=(Buffer &&other) noexcept {
        std::swap(data_, other.data_);
        return *this;
    }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;
    ~Buffer() { release(data_); }

    explicit operator bool() const { return data_ != nullptr; }
    T *get() const { return data_; }
    T &operator[](std::ptrdiff_t index) const { return data_[index]; }

private:
    T *data_ = nullptr;
};

} // namespace qzk
