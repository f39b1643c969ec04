#pragma once

#include <stdexcept>

namespace recognise {

/// Input that cannot be used; the text names it and fits on one line.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A report of the library.
struct LibraryError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace recognise
