#pragma once

#include "image.hpp"

#include <cstdio>
#include <string>

namespace imagetool {

/// Reads a PNG. Grey ones of 1, 4 and 8 bits stay as they are, 2 bits become 4, 16 become 8; colours become
/// grey, and what is transparent is laid on white, both with 8 bits. Throws InputError.
Image readPng(std::FILE *in, const std::string &name);

} // namespace imagetool
