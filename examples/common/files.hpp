#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace common {

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a file for reading. Throws InputError with the system's reason.
File openFile(const std::filesystem::path &file);

/// The extension in lower case, with its dot: `.png`.
std::string extensionOf(const std::filesystem::path &file);

/// Throws InputError if writeFile() cannot write there, before any long work is done. Only a regular file is
/// replaced; a link leads to what is replaced. `what` is the noun of the message: `the report`.
void checkPlace(const std::string &file, const std::string &what);

/// Writes a new file or replaces an existing one, wholly or not at all. Throws InputError as checkPlace()
/// does.
void writeFile(const std::string &file, const std::string &contents, const std::string &what);

} // namespace common
