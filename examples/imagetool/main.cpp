#include "commands.hpp"
#include "common/errors.hpp"
#include "common/program.hpp"
#include "formats.hpp"
#include "options.hpp"

namespace imagetool {
namespace {

using common::InputError;

std::string sizeOf(const Image &image) {
    return std::to_string(image.rows()) + " rows and " + std::to_string(image.columns()) + " columns";
}

/// The region, or all of the image. Throws InputError for one that is not inside.
QZCopyRegion regionIn(const Image &image, const std::optional<QZCopyRegion> &region,
                      const std::string &file) {
    const QZCopyRegion whole = wholeOf(image);
    if (!region) return whole;
    if (region->rightBotRow > whole.rightBotRow || region->rightBotCol > whole.rightBotCol)
        throw InputError("--region: reaches beyond " + file + ", which has " + sizeOf(image));
    return *region;
}

Image readAtDepth(const std::string &file, int bits) {
    Image image = readImage(file);
    return bits == 0 || bits == image.bits() ? std::move(image) : converted(image, bits);
}

Image run(const Rotate &rotate, const Image &image, const Options &) { return rotated(image, rotate.angle); }

Image run(const Mirror &mirror, const Image &image, const Options &) {
    return mirrored(image, mirror.upsideDown);
}

Image run(const Copy &copy, const Image &image, const Options &options) {
    const QZCopyRegion region = regionIn(image, copy.region, options.input);
    if (copy.into.empty()) return cut(image, region);
    Image into = readAtDepth(copy.into, options.bits);
    if (region.rightBotRow - region.leftTopRow >= into.rows() - copy.at.row ||
        region.rightBotCol - region.leftTopCol >= into.columns() - copy.at.column)
        throw InputError("--at " + std::to_string(copy.at.row) + "," + std::to_string(copy.at.column) +
                         ": what is copied reaches beyond " + copy.into + ", which has " + sizeOf(into));
    if (image.bits() == into.bits())
        paste(image, region, into, copy.at);
    else
        paste(converted(image, into.bits()), region, into, copy.at);
    return into;
}

Image run(const Convolve &convolve, const Image &image, const Options &options) {
    const QZCopyRegion region = regionIn(image, convolve.region, options.input);
    Mask mask = findMask(convolve.mask);
    if (convolve.scaling) mask.scaling = *convolve.scaling;
    if (mask.scaling.middle && image.bits() != 8)
        throw InputError("--signed: needs 8 bits per pixel, " + options.input + " has " +
                         std::to_string(image.bits()) + ": add --bits 8");
    return convolved(image, mask, region);
}

void run(const Options &options) {
    checkOutput(options.output, options.plain);
    const Image image = readAtDepth(options.input, options.bits);
    writeImage(options.output,
               std::visit([&](const auto &command) { return run(command, image, options); }, options.command),
               options.plain);
}

} // namespace
} // namespace imagetool

int main(int argc, char **argv) {
    return common::runProgram("imagetool", [&] { imagetool::run(imagetool::parseOptions(argc, argv)); });
}
