#pragma once

#include "features.hpp"
#include "method.hpp"
#include "progress.hpp"

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace recognise {

struct Input {
    std::filesystem::path file;
    std::size_t group; ///< the argument that named it
    bool alone;        ///< named by itself, not found in a directory
};

/// The files that arguments name, made ready when they are asked for, once for each kind of arithmetic.
class Recordings {
public:
    /// Throws InputError when there is none.
    explicit Recordings(const std::vector<std::string> &arguments);

    const std::vector<Input> &inputs() const { return files; }

    struct Prepared {
        std::optional<Utterance> utterance; ///< nothing of a file that cannot be used
        double seconds = 0;                 ///< that it took
    };

    /// Reads and analyses a file. A bad file of a directory is named and counted; one that was asked for by
    /// itself throws InputError.
    const Prepared &prepare(std::size_t input, const FrontEnd &frontEnd, Progress &progress);

    /// All that can be used. Throws InputError if that leaves nothing of a directory.
    std::vector<Utterance> prepareAll(const FrontEnd &frontEnd, const std::string &what);

    /// What it took to make ready all files so far.
    double preparingSeconds(const FrontEnd &frontEnd) const;

    /// Files that could not be used so far.
    std::size_t skipped() const { return bad; }

private:
    std::vector<std::string> arguments;
    std::vector<Input> files;
    std::array<std::vector<std::optional<Prepared>>, 2> prepared; // by the arithmetic
    std::vector<bool> complained;
    std::size_t bad = 0;
};

} // namespace recognise
