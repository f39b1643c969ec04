#pragma once

#include <stdexcept>

namespace common {

/// Input that cannot be used, or output that cannot be written; the text names it and fits on one line.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A report of the library.
struct LibraryError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace common
