// Extended precision: 64-bit mantissas, as long double has them on all systems that the library runs on.
#pragma once

#include <cstdint>
#include <limits>

namespace qzk::simd {
namespace {

static_assert(std::numeric_limits<long double>::digits == 64, "results are defined in mantissas of 64 bits");

/// While it lives, the processor computes long double in full precision, to nearest and without traps. A
/// process may have chosen anything else: on Windows, 53 bits are common. Work under it belongs into
/// functions that are not inlined, since the compiler moves arithmetic past the change.
class ExtendedPrecision {
public:
#if defined(__x86_64__) || defined(__i386__)
    ExtendedPrecision() {
        std::uint16_t control;
        __asm__ volatile("fnstcw %0" : "=m"(control));
        changed_ = (control & meaningful) != full;
        if (!changed_) return;
        __asm__ volatile("fnstenv %0" : "=m"(environment_));
        __asm__ volatile("fldcw %0" : : "m"(full) : "memory");
    }
    ~ExtendedPrecision() {
        if (changed_) __asm__ volatile("fldenv %0" : : "m"(environment_) : "memory");
    }
#else
    ExtendedPrecision() {}
    ~ExtendedPrecision() {}
#endif
    ExtendedPrecision(const ExtendedPrecision &) = delete;
    ExtendedPrecision &operator=(const ExtendedPrecision &) = delete;

private:
    static constexpr std::uint16_t meaningful = 0x0F3F; // rounding, precision and the six masks
    static constexpr std::uint16_t full = 0x033F;
    struct {
        std::uint32_t words[7];
    } environment_;
    bool changed_ = false;
};

} // namespace
} // namespace qzk::simd
