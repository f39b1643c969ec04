#pragma once

#include "method.hpp"

#include <cstddef>
#include <vector>

namespace recognise {

/// The part in which each recording is a test: the takes of a word, in the order of their names, go round the
/// parts. Throws InputError if no word has a take for each.
std::vector<std::size_t> assignParts(const std::vector<Utterance> &recordings, std::size_t parts);

} // namespace recognise
