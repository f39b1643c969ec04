// Whether long double has its precision, and what a process has chosen for it: precision, rounding and traps.
#pragma once

#include <cstdint>

namespace qzk::test {

/// Whether the processor computes long double in 64 bits. Valgrind does not.
inline bool hasExtendedPrecision() {
    volatile long double small = 0x1p-60L;
    return 1.0L + small != 1.0L;
}

#if defined(__x86_64__) || defined(__i386__)

inline std::uint16_t controlWord() {
    std::uint16_t control;
    __asm__ volatile("fnstcw %0" : "=m"(control));
    return control;
}

/// Forgets what exceptions there were: one that is no longer masked would trap at once.
inline void setControlWord(std::uint16_t control) { __asm__ volatile("fnclex; fldcw %0" : : "m"(control)); }

/// Calls evaluate() under each choice: 24 and 53 bits, rounding downwards and towards zero, and traps for
/// every exception. Then calls compare(control, control word afterwards, result) under the initial one.
template <class Evaluate, class Compare>
void underControlWords(Evaluate evaluate, Compare compare) {
    const std::uint16_t initial = controlWord();
    for (const int control : {0x007F, 0x027F, 0x077F, 0x0F7F, 0x0240}) {
        setControlWord(static_cast<std::uint16_t>(control));
        const auto result = evaluate();
        const std::uint16_t after = controlWord();
        setControlWord(initial);
        compare(control, after, result);
    }
}

#endif

} // namespace qzk::test
