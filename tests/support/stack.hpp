// Calls on a stack whose alignment is less than the compiler's own convention, as clients of 32-bit Windows
// keep it.
#pragma once

#include <type_traits>

namespace qzk::test {

#if defined(__i386__)

/// Calls action() with a stack pointer that is `past` bytes, a multiple of 4, above a multiple of 16.
template <class Action>
[[gnu::noinline]] void withStackAt(unsigned past, Action &&action) {
    void (*const call)(void *) = [](void *it) { (*static_cast<std::remove_reference_t<Action> *>(it))(); };
    // The argument takes 4 bytes and the saved stack pointer is kept in a register that calls preserve.
    __asm__ volatile("movl %%esp, %%esi\n\t"
                     "andl $-16, %%esp\n\t"
                     "subl $32, %%esp\n\t"
                     "addl %[past], %%esp\n\t"
                     "movl %[action], (%%esp)\n\t"
                     "call *%[call]\n\t"
                     "movl %%esi, %%esp"
                     :
                     : [past] "b"(past), [call] "D"(call), [action] "a"(&action)
                     : "esi", "ecx", "edx", "cc", "memory");
}

#else

template <class Action>
void withStackAt(unsigned, Action &&action) {
    action();
}

#endif

} // namespace qzk::test
