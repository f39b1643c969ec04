#pragma once

#include "image.hpp"

#include <cstdio>
#include <string>

namespace imagetool {

/// Reads the first image of a PBM or PGM file, text or binary. A PGM whose white is 1, 15 or 255 has 1, 4 or
/// 8 bits per pixel; any other is scaled to 8. Throws InputError.
Image readPnm(std::FILE *in, const std::string &name);

/// As a PBM, where 1 is black; of 1 bit per pixel.
std::string encodePbm(const Image &image, bool plain);

/// As a PGM whose white is 1, 15 or 255.
std::string encodePgm(const Image &image, bool plain);

} // namespace imagetool
