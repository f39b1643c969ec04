#include "files.hpp"
#include "errors.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace common {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void cannotWrite(const std::string &file, const std::string &what) {
    throw InputError(file + ": cannot write " + what + ": " + std::strerror(errno));
}

// Renaming would replace a link, a device or a pipe by a file: links are followed, the others refused.
fs::path targetOf(const std::string &file, const std::string &what) {
    std::error_code error;
    if (fs::is_directory(file, error)) errno = EISDIR, cannotWrite(file, what);
    if (fs::exists(fs::symlink_status(file, error)) && !fs::is_regular_file(file, error))
        throw InputError(file + ": cannot write " + what + ": not a regular file");
    const fs::path target = fs::weakly_canonical(fs::absolute(file), error);
    if (error) errno = error.value(), cannotWrite(file, what);
    return target;
}

} // namespace

File openFile(const fs::path &file) {
    if (std::error_code error; fs::is_directory(file, error))
        throw InputError(file.string() + ": is a directory");
    File opened(std::fopen(file.c_str(), "rb"));
    if (!opened) throw InputError(file.string() + ": " + std::strerror(errno));
    return opened;
}

std::string extensionOf(const fs::path &file) {
    std::string extension = file.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

void checkPlace(const std::string &file, const std::string &what) {
    if (access(targetOf(file, what).parent_path().c_str(), W_OK | X_OK) != 0) cannotWrite(file, what);
}

void writeFile(const std::string &file, const std::string &contents, const std::string &what) {
    const fs::path target = targetOf(file, what);
    const std::string temporary = target.string() + ".part" + std::to_string(getpid());
    std::FILE *out = std::fopen(temporary.c_str(), "wb");
    if (!out) cannotWrite(file, what);
    bool written = std::fwrite(contents.data(), 1, contents.size(), out) == contents.size();
    written = std::fclose(out) == 0 && written;
    if (written && std::rename(temporary.c_str(), target.c_str()) == 0) return;
    const int reason = errno;
    std::remove(temporary.c_str());
    errno = reason;
    cannotWrite(file, what);
}

} // namespace common
