#pragma once

#include "qzk.h"

#include <memory>

namespace recognise {

/// Takes the library's reports away from standard error, so that checkLibrary() can throw them.
void collectLibraryReports();

/// Throws a LibraryError with the first report since the last call, if there was one.
void checkLibrary();

struct FreeFilters {
    void operator()(QZMFCCFilters *filters) const { QZsFreeMFCCFilters(filters); }
};
using Filters = std::unique_ptr<QZMFCCFilters, FreeFilters>;

} // namespace recognise
