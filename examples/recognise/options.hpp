#pragma once

#include <string>
#include <vector>

namespace recognise {

struct Options {
    std::vector<std::string> references, tests;
    std::vector<std::string> methods{"dtw"};
    std::string save, load; ///< directories; empty: none
    int crossValidate = 0;  ///< into how many parts; 0: not
    int band = 12;
    int top = 0;
    std::string report; ///< empty: none
    std::vector<std::string> show;
};

/// Ends the process for `--help` and `--version` (status 0) and for bad arguments (one line, status 2).
Options parseOptions(int argc, char **argv);

} // namespace recognise
