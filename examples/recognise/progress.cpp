#include "progress.hpp"

#include <cstdio>
#include <unistd.h>
#include <utility>

namespace recognise {

Progress::Progress(std::string what, std::size_t total)
    : what(std::move(what)), total(total), terminal(isatty(STDERR_FILENO) == 1) {
    show();
}

void Progress::advance() {
    ++done;
    show();
}

void Progress::show() {
    const int percent = static_cast<int>(100 * done / total);
    if (!terminal || percent == shownPercent) return;
    constexpr int width = 32;
    const std::string bar(static_cast<std::size_t>(percent * width / 100), '#');
    std::fprintf(stderr, "\r%s [%-*s] %3d %%", what.c_str(), width, bar.c_str(), percent);
    std::fflush(stderr);
    shownPercent = percent;
}

void Progress::clear() {
    if (!terminal || shownPercent < 0) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    shownPercent = -1;
}

} // namespace recognise
