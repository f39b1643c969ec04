#include "options.hpp"
#include "common/errors.hpp"
#include "common/program.hpp"

#include <array>
#include <charconv>
#include <vector>

namespace imagetool {
namespace {

// Whole numbers from 0 with commas between them; false for anything else.
template <std::size_t N>
bool parseNumbers(const std::string &text, std::array<std::int32_t, N> &numbers) {
    const char *at = text.data(), *const end = at + text.size();
    for (std::size_t k = 0; k < N; ++k) {
        if (k && (at == end || *at++ != ',')) return false;
        const auto [parsed, error] = std::from_chars(at, end, numbers[k]);
        if (error != std::errc() || numbers[k] < 0) return false;
        at = parsed;
    }
    return at == end;
}

std::string checkRegion(const std::string &text) {
    std::array<std::int32_t, 4> numbers{};
    const std::string shown = "\"" + text + "\"";
    if (!parseNumbers(text, numbers)) return shown + " is not top,left,bottom,right: whole numbers from 0";
    if (numbers[2] < numbers[0]) return shown + " has its bottom above its top";
    if (numbers[3] < numbers[1]) return shown + " has its right side left of its left side";
    return {};
}

std::string checkPlace(const std::string &text) {
    std::array<std::int32_t, 2> numbers{};
    return parseNumbers(text, numbers) ? "" : "\"" + text + "\" is not row,column: whole numbers from 0";
}

std::optional<QZCopyRegion> regionOf(const std::string &text) {
    std::array<std::int32_t, 4> numbers{};
    if (!parseNumbers(text, numbers)) return std::nullopt;
    return QZCopyRegion{numbers[0], numbers[1], numbers[2], numbers[3]};
}

Place placeOf(const std::string &text) {
    std::array<std::int32_t, 2> numbers{};
    parseNumbers(text, numbers);
    return {numbers[0], numbers[1]};
}

CLI::App *addCommand(CLI::App &app, Options &options, const std::string &name, const std::string &about,
                     const std::string &more) {
    CLI::App *command = app.add_subcommand(name, about);
    command->add_option("INPUT", options.input, "PBM, PGM or PNG file to read")
        ->required()
        ->check(common::notEmpty())
        ->type_name("");
    command->add_option("OUTPUT", options.output, "File to write: .png, .pgm, .pbm, or .pnm (PBM or PGM)")
        ->required()
        ->check(common::notEmpty())
        ->type_name("");
    command
        ->add_option("--bits", options.bits,
                     "Convert to 1, 4 or 8 bits per pixel first. Fewer bits are\nthe highest ones: 1 bit "
                     "tells the light half from the dark")
        ->check(common::oneOf({1, 4, 8}))
        ->type_name("1|4|8");
    command->add_flag("--plain", options.plain, "Write PBM and PGM as text (P1, P2)");
    command->footer(more);
    return command;
}

constexpr const char *regionHelp = "TOP,LEFT,BOTTOM,RIGHT";

} // namespace

Options parseOptions(int argc, char **argv) {
    Options options;
    CLI::App app("Turns, mirrors, copies and filters grey images of 1, 4 or 8 bits per pixel.", "imagetool");
    app.set_version_flag("--version", "imagetool " IMAGETOOL_VERSION);
    app.require_subcommand(0, 1);
    app.footer(
        "Reads PBM (P1, P4), PGM (P2, P5) and PNG, told apart by what they hold; writes the format of the\n"
        "output's extension, with the depth that the image has. Grey PNG of 1, 4 and 8 bits and PGM whose\n"
        "white is 1, 15 or 255 are taken as they are, PNG of 2 bits with 4, everything else with 8. Colours\n"
        "become grey; what is transparent lies on white. Black is 0 in every format but PBM, where 1 is\n"
        "black, as the format has it.\n"
        "\n"
        "The output is written wholly or not at all, and may be the input. Exit status: 0, or 2 when an\n"
        "argument, the input or the output cannot be used.\n"
        "\n"
        "imagetool COMMAND --help tells a command's options.");

    Rotate rotate;
    CLI::App *rotateCommand = addCommand(
        app, options, "rotate", "Turn by 90, -90 or 180 degrees",
        "90 turns counter-clockwise, so that the right side comes to the top; -90 turns clockwise.\n"
        "\n"
        "Example: imagetool rotate --angle 90 photo.png turned.png");
    rotateCommand->add_option("--angle", rotate.angle, "90 counter-clockwise, -90 clockwise, or 180 degrees")
        ->required()
        ->check(common::oneOf({90, -90, 180}))
        ->type_name("90|-90|180");

    Mirror mirror;
    CLI::App *mirrorCommand = addCommand(app, options, "mirror", "Exchange left and right, or top and bottom",
                                         "Example: imagetool mirror photo.png mirrored.png");
    mirrorCommand->add_flag("--rows", mirror.upsideDown,
                            "Turn upside down, instead of exchanging left and right");

    Copy copy;
    std::string region, at;
    CLI::App *copyCommand = addCommand(
        app, options, "copy", "Copy a region, also into another image; or convert a file",
        "Rows and columns count from 0 at the top left; bottom and right are part of the region.\n"
        "With --into, the output is the other image with the region in it, as deep as the other image\n"
        "unless --bits is given.\n"
        "\n"
        "Examples: imagetool copy --region 10,20,109,219 photo.png part.png    (100 rows, 200 columns)\n"
        "          imagetool copy --into page.png --at 40,60 photo.png page2.png\n"
        "          imagetool copy --bits 1 photo.png photo.pbm");
    copyCommand->add_option("--region", region, "The part to copy [all]")
        ->check(checkRegion)
        ->type_name(regionHelp);
    CLI::Option *into =
        copyCommand
            ->add_option("--into", copy.into, "Image that the region is copied into; the file is not changed")
            ->check(common::notEmpty())
            ->type_name("FILE");
    copyCommand->add_option("--at", at, "Where its top left pixel comes to lie there [0,0]")
        ->needs(into)
        ->check(checkPlace)
        ->type_name("ROW,COLUMN");

    Convolve convolve;
    Scaling scaling;
    bool saturated = false, unsignedSums = false;
    CLI::App *convolveCommand = addCommand(
        app, options, "convolve", "Filter with a mask of whole numbers",
        "Every pixel becomes the sum of the mask's coefficients times the pixels below them, fitted to its\n"
        "depth. The mask is not flipped; beyond the edges everything is black. Masks and how they fit the "
        "sum\n"
        "unless told otherwise:\n" +
            describeMasks() +
            "  FILE     text: whole numbers from -32767 to 32767, a line per row, # before remarks; "
            "--saturate.\n"
            "           The middle lies over the pixel (of an even number, the later one)\n"
            "\n"
            "Examples: imagetool convolve --mask sobel-x photo.png edges.png\n"
            "          imagetool convolve --mask sobel-x --shift 3 --signed photo.png slopes.png");
    convolveCommand->add_option("--mask", convolve.mask, "box, sharpen, sobel-x, sobel-y, emboss, or a file")
        ->required()
        ->check(common::notEmpty())
        ->type_name("NAME|FILE");
    convolveCommand->add_option("--region", region, "The part to filter, as of copy; the rest stays [all]")
        ->check(checkRegion)
        ->type_name(regionHelp);
    CLI::Option *saturate = convolveCommand->add_flag("--saturate", saturated,
                                                      "Sums below black become black, above white white");
    CLI::Option *absolute = convolveCommand->add_flag(
        "--absolute", unsignedSums,
        "The same of the sum without its sign: edges of both\ndirections are light");
    CLI::Option *shift =
        convolveCommand
            ->add_option("--shift", scaling.shift,
                         "Divide by 2^N, rounding down; what still does not fit\nkeeps its low bits")
            ->check(common::wholeNumber(0, 31))
            ->excludes(saturate)
            ->excludes(absolute)
            ->type_name("N");
    absolute->excludes(saturate);
    convolveCommand
        ->add_flag("--signed", scaling.middle,
                   "Show 0 as 128, with darker and lighter for -128 to 127,\nclamped unless --shift is "
                   "given; 8 bits only")
        ->excludes(absolute);

    common::parseArguments(app, argc, argv);
    if (app.get_subcommands().empty())
        throw common::InputError(
            "a command is required: rotate, mirror, copy or convolve (--help tells more)");

    if (!region.empty()) copy.region = convolve.region = regionOf(region);
    copy.at = placeOf(at);
    scaling.fit = *shift ? Fit::shift : unsignedSums ? Fit::absolute : Fit::saturate;
    if (*shift || unsignedSums || saturated || scaling.middle) convolve.scaling = scaling;
    if (*rotateCommand)
        options.command = rotate;
    else if (*mirrorCommand)
        options.command = mirror;
    else if (*copyCommand)
        options.command = copy;
    else
        options.command = convolve;
    return options;
}

} // namespace imagetool
