#pragma once

#include <string>
#include <vector>

namespace recognise {

struct Options {
    std::vector<std::string> references, tests;
    std::string method = "dtw";
    int band = 12;
    int top = 0;
    std::string report; ///< empty: none
    std::vector<std::string> show;
};

/// Ends the process for `--help` and `--version` (status 0) and for bad arguments (one line, status 2).
Options parseOptions(int argc, char **argv);

} // namespace recognise
