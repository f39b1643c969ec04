#pragma once

#include "image.hpp"

#include <string>

namespace imagetool {

/// Reads a PBM, PGM or PNG file, told apart by what they hold. Throws InputError.
Image readImage(const std::string &file);

/// Throws InputError if writeImage() cannot write this file, whatever the image: an unknown extension, a bad
/// place, or plain text asked of a PNG.
void checkOutput(const std::string &file, bool plain);

/// Writes the format of the extension: .png, .pbm, .pgm, or .pnm for whichever of the latter two fits; those
/// as text if `plain`. The file is written wholly or not at all. Throws InputError.
void writeImage(const std::string &file, const Image &image, bool plain);

} // namespace imagetool
