#pragma once

#include <cstddef>
#include <string>

namespace recognise {

/// A bar on standard error while long work runs; nothing at all when that is no terminal.
class Progress {
public:
    Progress(std::string what, std::size_t total);
    ~Progress() { clear(); }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void advance();

    /// Takes the bar away, so that a line can be printed in its place.
    void clear();

private:
    void show();

    std::string what;
    std::size_t total, done = 0;
    int shownPercent = -1;
    bool terminal;
};

} // namespace recognise
