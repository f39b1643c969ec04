#pragma once

#include "image.hpp"
#include "mask.hpp"

#include <optional>
#include <string>

namespace imagetool {

struct Place {
    std::int32_t row = 0, column = 0;
};

/// Counter-clockwise by 90, clockwise by -90, or by 180 degrees.
Image rotated(const Image &image, int angle);

/// Upside down, or left for right.
Image mirrored(const Image &image, bool upsideDown);

/// The region alone.
Image cut(const Image &image, const QZCopyRegion &region);

/// Copies the region so that its top left pixel lies at a place of the other image, which is as deep.
void paste(const Image &image, const QZCopyRegion &region, Image &into, Place at);

/// The sums of the mask's coefficients times the pixels below them, of the region; the rest of the image
/// stays. Beyond its edges everything is black. Scaling::middle is for 8 bits.
Image convolved(const Image &image, const Mask &mask, const QZCopyRegion &region);

/// All of an image.
QZCopyRegion wholeOf(const Image &image);

} // namespace imagetool
