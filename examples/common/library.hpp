#pragma once

namespace common {

/// Takes the library's reports away from standard error, so that checkLibrary() can throw them.
void collectLibraryReports();

/// Throws a LibraryError with the first report since the last call, if there was one.
void checkLibrary();

} // namespace common
