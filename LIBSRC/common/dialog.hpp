// The two questions of the message-box error handler and the immediate end of the process.
#pragma once

#include <cstddef>
#include <cstdio>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

namespace qzk {

enum class Buttons { okCancel, yesNo };

/// Characters of a dialog's text and caption, the closing zero included.
constexpr std::size_t maxDialogText = 1000;
constexpr std::size_t maxDialogCaption = 100;

/// Formats into the buffer and cuts off what does not fit.
template <std::size_t size, class... Args>
void formatText(char (&buffer)[size], const char *format, Args... args) {
#if defined(_WIN32)
    constexpr std::size_t systemLimit = 1024; // wsprintfA never writes more
    static_assert(size <= systemLimit);
    char whole[systemLimit + 1] = {};
    wsprintfA(whole, format, args...);
    whole[size - 1] = '\0';
    __builtin_memcpy(buffer, whole, size);
#else
    std::snprintf(buffer, size, format, args...);
#endif
}

/// Shows the text under the caption and waits for the answer: true for OK or Yes.
bool confirm(Buttons buttons, const char *text, const char *caption);

/// Ends the process without running exit handlers.
[[noreturn]] void terminateAtOnce(const char *text);

} // namespace qzk
