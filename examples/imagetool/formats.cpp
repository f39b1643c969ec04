#include "formats.hpp"
#include "common/errors.hpp"
#include "common/files.hpp"
#include "common/png.hpp"
#include "png_reader.hpp"
#include "pnm.hpp"

#include <array>
#include <cctype>

namespace imagetool {
namespace {

constexpr const char *noun = "the image";

} // namespace

Image readImage(const std::string &file) {
    const common::File in = common::openFile(file);
    std::array<unsigned char, 8> start{};
    const std::size_t length = std::fread(start.data(), 1, start.size(), in.get());
    std::rewind(in.get());
    if (length == start.size() && png_sig_cmp(start.data(), 0, start.size()) == 0)
        return readPng(in.get(), file);
    if (length > 2 && start[0] == 'P' && std::isdigit(start[1]) &&
        (std::isspace(start[2]) || start[2] == '#'))
        return readPnm(in.get(), file);
    throw common::InputError(file + ": not a PBM, PGM or PNG file");
}

void checkOutput(const std::string &file, bool plain) {
    const std::string extension = common::extensionOf(file);
    if (extension != ".png" && extension != ".pbm" && extension != ".pgm" && extension != ".pnm")
        throw common::InputError(file + ": the extension has to be .png, .pbm, .pgm or .pnm");
    if (plain && extension == ".png") throw common::InputError(file + ": --plain is for PBM and PGM only");
    common::checkPlace(file, noun);
}

void writeImage(const std::string &file, const Image &image, bool plain) {
    const std::string extension = common::extensionOf(file);
    const bool bitmap = extension == ".pbm" || (extension == ".pnm" && image.bits() == 1);
    if (bitmap && image.bits() != 1)
        throw common::InputError(file + ": PBM has 1 bit per pixel, this image " +
                                 std::to_string(image.bits()) + ": add --bits 1, or write PGM or PNG");
    const auto rows = static_cast<std::size_t>(image.rows()),
               columns = static_cast<std::size_t>(image.columns());
    common::writeFile(file,
                      extension == ".png" ? common::encodePng({image.table(), columns, rows, image.bits()})
                      : bitmap            ? encodePbm(image, plain)
                                          : encodePgm(image, plain),
                      noun);
}

} // namespace imagetool
