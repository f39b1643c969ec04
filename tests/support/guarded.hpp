// A destination with known bytes around it, at any alignment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace qzk::test {

/// n elements of T, `misalignment` bytes past a 64-byte boundary, between two stretches of known bytes.
template <class T>
class Guarded {
public:
    explicit Guarded(std::size_t n, std::size_t misalignment = 0)
        : bytes_(n * sizeof(T)), storage_(margin + 64 + misalignment + bytes_ + margin, fill) {
        const auto address = reinterpret_cast<std::uintptr_t>(storage_.data() + margin);
        offset_ = margin + (64 - address % 64) % 64 + misalignment;
    }

    T *data() { return reinterpret_cast<T *>(storage_.data() + offset_); }
    const T *data() const { return reinterpret_cast<const T *>(storage_.data() + offset_); }
    std::size_t size() const { return bytes_ / sizeof(T); }

    void assign(const std::vector<T> &values) {
        if (!values.empty()) std::memcpy(data(), values.data(), values.size() * sizeof(T));
    }
    std::vector<T> values() const {
        std::vector<T> result(size());
        if (bytes_ != 0) std::memcpy(result.data(), data(), bytes_);
        return result;
    }

    /// True while no byte around the elements has changed.
    bool intact() const {
        for (std::size_t i = 0; i < storage_.size(); ++i)
            if ((i < offset_ || i >= offset_ + bytes_) && storage_[i] != fill) return false;
        return true;
    }

private:
    static constexpr std::uint8_t fill = 0xA5;
    static constexpr std::size_t margin = 192;

    std::size_t bytes_;
    std::vector<std::uint8_t> storage_;
    std::size_t offset_ = 0;
};

} // namespace qzk::test
