#pragma once

#include "commands.hpp"

#include <optional>
#include <string>
#include <variant>

namespace imagetool {

struct Rotate {
    int angle = 0;
};

struct Mirror {
    bool upsideDown = false;
};

struct Copy {
    std::optional<QZCopyRegion> region;
    std::string into; ///< empty: an image of its own
    Place at;
};

struct Convolve {
    std::string mask;
    std::optional<QZCopyRegion> region;
    std::optional<Scaling> scaling; ///< the mask's own if absent
};

struct Options {
    std::string input, output;
    int bits = 0; ///< 0: as the input has
    bool plain = false;
    std::variant<Rotate, Mirror, Copy, Convolve> command;
};

/// Ends the process for `--help` and `--version` (status 0) and for bad arguments (one line, status 2).
Options parseOptions(int argc, char **argv);

} // namespace imagetool
