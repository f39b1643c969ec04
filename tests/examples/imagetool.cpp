// The image tool as a program: what it writes for small images made here, and that it writes nothing when it
// refuses. Pixels are exact in every depth and format. In plain PGM and PBM they can be read here as text.

#include "program.hpp"

#include <png.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Png {
    unsigned width, height;
    int bits, colour;
    std::vector<Bytes> rows; ///< packed as in the file
    std::vector<png_color> palette = {};
    Bytes transparency = {}; ///< of the palette
    int transparentGrey = -1;
    bool interlaced = false;
};

void writePng(const fs::path &file, const Png &image) {
    std::FILE *out = std::fopen(file.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, out);
    png_set_IHDR(png, info, image.width, image.height, image.bits, image.colour,
                 image.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!image.palette.empty())
        png_set_PLTE(png, info, image.palette.data(), static_cast<int>(image.palette.size()));
    png_color_16 grey{};
    grey.gray = static_cast<png_uint_16>(image.transparentGrey);
    if (!image.transparency.empty())
        png_set_tRNS(png, info, image.transparency.data(), static_cast<int>(image.transparency.size()),
                     nullptr);
    if (image.transparentGrey >= 0) png_set_tRNS(png, info, nullptr, 0, &grey);
    std::vector<Bytes> rows = image.rows;
    std::vector<png_bytep> table;
    for (Bytes &row : rows)
        table.push_back(row.data());
    png_set_rows(png, info, table.data());
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(out);
}

Png readPng(const fs::path &file) {
    std::FILE *in = std::fopen(file.c_str(), "rb");
    if (!in) return {};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, in);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    Png image{png_get_image_width(png, info),
              png_get_image_height(png, info),
              png_get_bit_depth(png, info),
              png_get_color_type(png, info),
              {}};
    for (unsigned row = 0; row < image.height; ++row) {
        const png_bytep start = png_get_rows(png, info)[row];
        image.rows.emplace_back(start, start + png_get_rowbytes(png, info));
    }
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(in);
    return image;
}

class ImageTool : public ProgramTest {
protected:
    ImageTool() : ProgramTest(IMAGETOOL_PROGRAM) {}

    void save(const std::string &name, const std::string &bytes) const {
        std::ofstream(place / name, std::ios::binary) << bytes;
    }

    // What the command makes of the file, as plain PBM or PGM.
    std::string result(const std::string &command, const std::string &input) const {
        fs::remove(place / "result.pnm");
        const Outcome outcome = run(command + " --plain " + input + " result.pnm");
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_EQ(outcome.out + outcome.err, "") << command;
        return contents(place / "result.pnm");
    }

    // The same of an image given as text.
    std::string of(const std::string &command, const std::string &text) const {
        save("source.pnm", text);
        return result(command, "source.pnm");
    }

    // The directory but for the captured output.
    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const fs::directory_entry &entry : fs::directory_iterator(place))
            if (entry.path().filename() != "out" && entry.path().filename() != "err")
                names.insert(entry.path().filename());
        return names;
    }

    // Refused, and the directory is as it was.
    void expectNothing(const std::string &arguments, const std::string &named, const std::string &reason,
                       const std::string &before = "") const {
        const std::set<std::string> there = files();
        expectRefusal(arguments, named, reason, before);
        EXPECT_EQ(files(), there) << arguments;
    }
};

TEST_F(ImageTool, RotatesCounterClockwiseByNinetyDegrees) {
    EXPECT_EQ(of("rotate --angle 90", "P2 3 2 255  1 2 3  4 5 6"), "P2\n2 3\n255\n3 6\n2 5\n1 4\n");
    EXPECT_EQ(of("rotate --angle 90", "P2 3 2 15  1 2 3  4 5 6"), "P2\n2 3\n15\n3 6\n2 5\n1 4\n");
    EXPECT_EQ(of("rotate --angle 90", "P1 3 2  001 011"), "P1\n2 3\n1 1\n0 1\n0 0\n");
}

TEST_F(ImageTool, RotatesClockwiseByMinusNinetyDegrees) {
    EXPECT_EQ(of("rotate --angle -90", "P2 3 2 255  1 2 3  4 5 6"), "P2\n2 3\n255\n4 1\n5 2\n6 3\n");
    EXPECT_EQ(of("rotate --angle=-90", "P2 3 2 15  1 2 3  4 5 6"), "P2\n2 3\n15\n4 1\n5 2\n6 3\n");
    EXPECT_EQ(of("rotate --angle -90", "P1 3 2  001 011"), "P1\n2 3\n0 0\n1 0\n1 1\n");
}

TEST_F(ImageTool, RotatesByHalfATurn) {
    EXPECT_EQ(of("rotate --angle 180", "P2 3 2 255  1 2 3  4 5 6"), "P2\n3 2\n255\n6 5 4\n3 2 1\n");
    EXPECT_EQ(of("rotate --angle 180", "P2 3 2 15  1 2 3  4 5 6"), "P2\n3 2\n15\n6 5 4\n3 2 1\n");
    EXPECT_EQ(of("rotate --angle 180", "P1 3 2  001 011"), "P1\n3 2\n1 1 0\n1 0 0\n");
}

TEST_F(ImageTool, MirrorsEitherWay) {
    EXPECT_EQ(of("mirror", "P2 3 2 255  1 2 3  4 5 6"), "P2\n3 2\n255\n3 2 1\n6 5 4\n");
    EXPECT_EQ(of("mirror", "P2 3 2 15  1 2 3  4 5 6"), "P2\n3 2\n15\n3 2 1\n6 5 4\n");
    EXPECT_EQ(of("mirror", "P1 3 2  001 011"), "P1\n3 2\n1 0 0\n1 1 0\n");
    EXPECT_EQ(of("mirror --rows", "P2 3 2 255  1 2 3  4 5 6"), "P2\n3 2\n255\n4 5 6\n1 2 3\n");
    EXPECT_EQ(of("mirror --rows", "P2 3 2 15  1 2 3  4 5 6"), "P2\n3 2\n15\n4 5 6\n1 2 3\n");
    EXPECT_EQ(of("mirror --rows", "P1 3 2  001 011"), "P1\n3 2\n0 1 1\n0 0 1\n");
}

TEST_F(ImageTool, CopiesARegionWithBothItsEnds) {
    const std::string pixels = "  1 2 3 4  5 6 7 8  9 10 11 12";
    EXPECT_EQ(of("copy --region 1,1,2,3", "P2 4 3 255" + pixels), "P2\n3 2\n255\n6 7 8\n10 11 12\n");
    EXPECT_EQ(of("copy --region 1,1,2,3", "P2 4 3 15" + pixels), "P2\n3 2\n15\n6 7 8\n10 11 12\n");
    EXPECT_EQ(of("copy --region 1,1,2,3", "P1 4 3  0000 0110 1001"), "P1\n3 2\n1 1 0\n0 0 1\n");
    EXPECT_EQ(of("copy --region 0,3,0,3", "P2 4 3 255" + pixels), "P2\n1 1\n255\n4\n");
    EXPECT_EQ(of("copy", "P2 4 1 255 1 2 3 4"), "P2\n4 1\n255\n1 2 3 4\n");
}

TEST_F(ImageTool, CopiesIntoAnotherImage) {
    save("into.pgm", "P2 4 3 255  10 11 12 13  20 21 22 23  30 31 32 33");
    EXPECT_EQ(of("copy --region 0,1,1,2 --into into.pgm --at 1,2", "P2 3 2 255  1 2 3  4 5 6"),
              "P2\n4 3\n255\n10 11 12 13\n20 21 2 3\n30 31 5 6\n");
    EXPECT_EQ(of("copy --into into.pgm", "P2 2 1 255  1 2"),
              "P2\n4 3\n255\n1 2 12 13\n20 21 22 23\n30 31 32 33\n");
    EXPECT_EQ(contents(place / "into.pgm"), "P2 4 3 255  10 11 12 13  20 21 22 23  30 31 32 33");
    // What is copied gets the depth of the other image; --bits converts both.
    EXPECT_EQ(of("copy --into into.pgm --at 0,1", "P1 2 1  01"),
              "P2\n4 3\n255\n10 255 0 13\n20 21 22 23\n30 31 32 33\n");
    EXPECT_EQ(of("copy --into into.pgm --at 0,1 --bits 4", "P1 2 1  01"),
              "P2\n4 3\n15\n0 15 0 0\n1 1 1 1\n1 1 2 2\n");
    save("bits.pbm", "P1 4 1  1111");
    EXPECT_EQ(of("copy --into bits.pbm --at 0,2", "P2 2 1 255  127 128"), "P1\n4 1\n1 1 1 0\n");
}

const std::string flat = "P2 3 3 255  10 10 10  10 10 10  10 10 10",
                  step = "P2 4 3 255  0 0 10 10  0 0 10 10  0 0 10 10";

TEST_F(ImageTool, AveragesWithTheBox) {
    // Beyond the edges everything is black: 4, 6 or 9 ninths of white, rounded down.
    EXPECT_EQ(of("convolve --mask box", "P2 3 3 255  255 255 255  255 255 255  255 255 255"),
              "P2\n3 3\n255\n113 170 113\n170 255 170\n113 170 113\n");
    EXPECT_EQ(of("convolve --mask box", "P2 3 3 15  15 15 15  15 15 15  15 15 15"),
              "P2\n3 3\n15\n6 10 6\n10 15 10\n6 10 6\n");
    EXPECT_EQ(of("convolve --mask box", "P1 3 3  000 000 000"), "P1\n3 3\n1 1 1\n1 0 1\n1 1 1\n");
    // Just a ninth, and just below.
    EXPECT_EQ(of("convolve --mask box", "P2 3 3 255  0 0 0  0 9 0  0 0 0"),
              "P2\n3 3\n255\n1 1 1\n1 1 1\n1 1 1\n");
    EXPECT_EQ(of("convolve --mask box", "P2 3 3 255  0 0 0  0 8 0  0 0 0"),
              "P2\n3 3\n255\n0 0 0\n0 0 0\n0 0 0\n");
}

TEST_F(ImageTool, SharpensAndEmbossesClampedToTheDepth) {
    EXPECT_EQ(of("convolve --mask sharpen", flat), "P2\n3 3\n255\n30 20 30\n20 10 20\n30 20 30\n");
    EXPECT_EQ(of("convolve --mask sharpen", "P2 3 1 255  10 200 10"), "P2\n3 1\n255\n0 255 0\n");
    EXPECT_EQ(of("convolve --mask sharpen", "P2 3 1 15  4 5 4"), "P2\n3 1\n15\n15 15 15\n");
    EXPECT_EQ(of("convolve --mask emboss", flat), "P2\n3 3\n255\n50 40 10\n40 10 0\n10 0 0\n");
}

TEST_F(ImageTool, ShowsEdgesOfBothDirections) {
    EXPECT_EQ(of("convolve --mask sobel-x", step), "P2\n4 3\n255\n0 30 30 30\n0 40 40 40\n0 30 30 30\n");
    EXPECT_EQ(of("convolve --mask sobel-y", "P2 3 4 255  0 0 0  0 0 0  10 10 10  10 10 10"),
              "P2\n3 4\n255\n0 0 0\n30 40 30\n30 40 30\n30 40 30\n");
    EXPECT_EQ(of("convolve --mask sobel-x", "P2 4 1 15  0 0 2 2"), "P2\n4 1\n15\n0 4 4 4\n");
    EXPECT_EQ(of("convolve --mask sobel-x", "P1 4 1  1100"), "P1\n4 1\n1 0 0 0\n");
}

TEST_F(ImageTool, FitsTheSumsAsAsked) {
    const std::string sobel = "convolve --mask sobel-x ";
    EXPECT_EQ(of(sobel + "--saturate", step), "P2\n4 3\n255\n0 30 30 0\n0 40 40 0\n0 30 30 0\n");
    EXPECT_EQ(of(sobel + "--shift 0", step), "P2\n4 3\n255\n0 30 30 226\n0 40 40 216\n0 30 30 226\n");
    EXPECT_EQ(of(sobel + "--shift 3", step), "P2\n4 3\n255\n0 3 3 252\n0 5 5 251\n0 3 3 252\n");
    EXPECT_EQ(of(sobel + "--signed", step), "P2\n4 3\n255\n128 158 158 98\n128 168 168 88\n128 158 158 98\n");
    EXPECT_EQ(of(sobel + "--signed --shift 3", step),
              "P2\n4 3\n255\n128 131 131 124\n128 133 133 123\n128 131 131 124\n");
    EXPECT_EQ(of(sobel + "--signed", "P2 3 1 255  255 0 255"), "P2\n3 1\n255\n128 128 128\n");
    EXPECT_EQ(of(sobel + "--signed", "P2 3 1 255  255 0 0"), "P2\n3 1\n255\n128 0 128\n");
    EXPECT_EQ(of(sobel + "--signed", "P2 3 1 255  0 0 255"), "P2\n3 1\n255\n128 255 128\n");
    EXPECT_EQ(of("convolve --mask sharpen --absolute", "P2 3 1 255  10 20 10"), "P2\n3 1\n255\n30 80 30\n");
}

TEST_F(ImageTool, FiltersARegionAndLeavesTheRest) {
    EXPECT_EQ(of("convolve --mask sobel-x --region 1,1,1,3", step),
              "P2\n4 3\n255\n0 0 10 10\n0 40 40 40\n0 0 10 10\n");
    EXPECT_EQ(of("convolve --mask sobel-x --signed --region 1,1,1,3", step),
              "P2\n4 3\n255\n0 0 10 10\n0 168 168 88\n0 0 10 10\n");
    EXPECT_EQ(of("convolve --mask sobel-x --region 0,1,0,2", "P2 4 1 15  9 0 2 9"),
              "P2\n4 1\n15\n9 14 15 9\n");
}

TEST_F(ImageTool, ReadsMasksFromFiles) {
    // The later of two middle coefficients lies over the pixel; nothing is flipped.
    save("pair", "-1 1\n");
    EXPECT_EQ(of("convolve --mask pair", "P2 3 1 255  3 5 9"), "P2\n3 1\n255\n3 2 4\n");
    save("corner", "# remarks\n\n  0 0 0 # and more\n\t0 0 0\r\n0 -0 100");
    EXPECT_EQ(of("convolve --mask corner", "P2 2 2 255  0 0  1 2"), "P2\n2 2\n255\n200 0\n0 0\n");
    save("wide", "32767\n");
    EXPECT_EQ(of("convolve --mask wide --shift 15", "P2 3 1 255  1 128 255"), "P2\n3 1\n255\n0 127 254\n");
    save("negative", "-32767");
    EXPECT_EQ(of("convolve --mask negative --absolute", "P2 2 1 255  0 1"), "P2\n2 1\n255\n0 255\n");
}

TEST_F(ImageTool, ConvertsTheDepthFirst) {
    const std::map<std::pair<int, int>, std::string> expected{
        {{8, 1}, "P1\n4 1\n1 1 0 0\n"},
        {{8, 4}, "P2\n4 1\n15\n0 7 8 15\n"},
        {{8, 8}, "P2\n4 1\n255\n0 127 128 255\n"},
        {{4, 1}, "P1\n4 1\n1 1 0 0\n"},
        {{4, 4}, "P2\n4 1\n15\n0 7 8 15\n"},
        {{4, 8}, "P2\n4 1\n255\n0 119 136 255\n"},
        {{1, 1}, "P1\n4 1\n0 1 1 0\n"},
        {{1, 4}, "P2\n4 1\n15\n15 0 0 15\n"},
        {{1, 8}, "P2\n4 1\n255\n255 0 0 255\n"},
    };
    const std::map<int, std::string> sources{
        {8, "P2 4 1 255  0 127 128 255"}, {4, "P2 4 1 15  0 7 8 15"}, {1, "P1 4 1  0110"}};
    for (const auto &[depths, pixels] : expected)
        EXPECT_EQ(of("copy --bits " + std::to_string(depths.second), sources.at(depths.first)), pixels)
            << depths.first << " to " << depths.second;
    EXPECT_EQ(of("rotate --angle 180 --bits 1", sources.at(8)), "P1\n4 1\n0 0 1 1\n");
    EXPECT_EQ(of("mirror --bits 4", sources.at(8)), "P2\n4 1\n15\n15 8 7 0\n");
    EXPECT_EQ(of("convolve --mask sharpen --bits 1", sources.at(8)), "P1\n4 1\n1 1 0 0\n");
}

// Two rows of eleven pixels, so that no depth fills its last byte.
TEST_F(ImageTool, KeepsPixelsThroughEveryFormat) {
    const std::map<std::string, std::string> images{
        {"1", "P1\n11 2\n1 0 0 1 1 0 1 0 1 1 0\n0 1 1 0 0 1 0 1 0 0 1\n"},
        {"4", "P2\n11 2\n15\n0 1 2 3 4 5 6 7 8 9 10\n15 14 13 12 11 10 9 8 7 6 5\n"},
        {"8", "P2\n11 2\n255\n0 1 2 3 4 5 6 7 8 9 10\n255 254 253 128 127 64 32 16 8 4 2\n"},
    };
    for (const auto &[bits, text] : images) {
        save("text.pnm", text);
        for (const std::string name : {"png.png", "PNG.PNG", "raw.pgm", "raw.pnm", "raw.pbm"}) {
            if (name == "raw.pbm" && bits != "1") continue;
            EXPECT_EQ(run("copy text.pnm " + name).status, 0) << name;
            // A PGM of bits has white 1 and comes back as bits.
            EXPECT_EQ(result("copy", name), text) << name;
        }
        EXPECT_EQ(run("copy --plain text.pnm plain.pgm").status, 0);
        EXPECT_EQ(result("copy", "plain.pgm"), text);
        const Png png = readPng(place / "png.png");
        EXPECT_EQ(std::to_string(png.bits), bits);
        EXPECT_EQ(png.colour, PNG_COLOR_TYPE_GRAY);
        EXPECT_EQ(png.width, 11u);
        EXPECT_EQ(png.height, 2u);
    }
}

TEST_F(ImageTool, WritesTheBytesThatTheFormatsWant) {
    save("bits.pbm", "P1 11 1 10011010110");
    EXPECT_EQ(run("copy bits.pbm raw.pbm").status, 0);
    EXPECT_EQ(contents(place / "raw.pbm"), "P4\n11 1\n\x9A\xC0");
    EXPECT_EQ(run("copy bits.pbm raw.pgm").status, 0);
    EXPECT_EQ(contents(place / "raw.pgm"), std::string("P5\n11 1\n1\n\0\1\1\0\0\1\0\1\0\0\1", 21));
    EXPECT_EQ(run("copy bits.pbm bits.png").status, 0);
    // 1 is white in a PNG.
    const Png bits = readPng(place / "bits.png");
    ASSERT_EQ(bits.rows.size(), 1u);
    EXPECT_EQ(bits.rows[0][0], 0x65);
    EXPECT_EQ(bits.rows[0][1] & 0xE0, 0x20);

    save("nibbles.pgm", "P2 3 1 15  1 2 15");
    EXPECT_EQ(run("copy nibbles.pgm nibbles.png").status, 0);
    const Png nibbles = readPng(place / "nibbles.png");
    ASSERT_EQ(nibbles.rows.size(), 1u);
    EXPECT_EQ(nibbles.rows[0][0], 0x12);
    EXPECT_EQ(nibbles.rows[0][1] >> 4, 0xF);
    EXPECT_EQ(run("copy nibbles.pgm raw.pgm").status, 0);
    EXPECT_EQ(contents(place / "raw.pgm"), "P5\n3 1\n15\n\1\2\17");

    save("bytes.pgm", "P2 3 1 255  1 200 255");
    EXPECT_EQ(run("copy bytes.pgm bytes.png").status, 0);
    EXPECT_EQ(readPng(place / "bytes.png").rows, (std::vector<Bytes>{{1, 200, 255}}));
    EXPECT_EQ(run("copy bytes.pgm raw.pgm").status, 0);
    EXPECT_EQ(contents(place / "raw.pgm"), "P5\n3 1\n255\n\1\xC8\xFF");
}

TEST_F(ImageTool, KeepsLinesOfTextShort) {
    std::string source = "P2 100 1 255";
    for (int k = 0; k < 100; ++k)
        source += " 200";
    std::istringstream text(of("copy", source));
    std::size_t count = 0;
    for (std::string line; std::getline(text, line); ++count)
        EXPECT_LE(line.size(), 70u);
    // Seventeen values of four characters fill a line.
    EXPECT_EQ(count, 3u + 6u);
}

TEST_F(ImageTool, ReadsWhateverPnmAllows) {
    const std::string expected = "P2\n2 2\n255\n1 2\n3 4\n";
    EXPECT_EQ(of("copy", "P2\n# a remark\n2 # two\n2\n#\n255\n1\n\t2 # here too\n3\r\n4"), expected);
    EXPECT_EQ(of("copy", "P2#remark\n2 2 255 1 2 3 4 and whatever follows"), expected);
    EXPECT_EQ(of("copy", "P5 2 2 255\n\1\2\3\4 and more"), expected);
    EXPECT_EQ(of("copy", "P1 2 2\n01#remark\n1 0"), "P1\n2 2\n0 1\n1 0\n");
    EXPECT_EQ(of("copy", "P4 2 2\n\x7F\xBF"), "P1\n2 2\n0 1\n1 0\n");
    // Any other white is scaled to 8 bits, rounded.
    EXPECT_EQ(of("copy", "P2 4 1 100  0 1 50 100"), "P2\n4 1\n255\n0 3 128 255\n");
    EXPECT_EQ(of("copy", "P2 4 1 3  0 1 2 3"), "P2\n4 1\n255\n0 85 170 255\n");
    EXPECT_EQ(of("copy", "P2 4 1 65535  0 257 32896 65535"), "P2\n4 1\n255\n0 1 128 255\n");
    EXPECT_EQ(of("copy", std::string("P5 2 1 65535\n\x80\x80\x01\x01", 17)), "P2\n2 1\n255\n128 1\n");
}

TEST_F(ImageTool, ReadsEveryKindOfPng) {
    const auto read = [&](const Png &image) {
        writePng(place / "kind.png", image);
        return result("copy", "kind.png");
    };
    const std::string four = "P2\n4 1\n15\n0 5 10 15\n";
    EXPECT_EQ(read({4, 1, 2, PNG_COLOR_TYPE_GRAY, {{0x1B}}}), four);
    EXPECT_EQ(read({2, 1, 16, PNG_COLOR_TYPE_GRAY, {{0x80, 0x80, 0xFF, 0xFF}}}), "P2\n2 1\n255\n128 255\n");
    EXPECT_EQ(read({4, 1, 8, PNG_COLOR_TYPE_RGB, {{0, 0, 0, 255, 255, 255, 77, 77, 77, 255, 0, 0}}}),
              "P2\n4 1\n255\n0 255 77 54\n");
    EXPECT_EQ(read({3, 1, 2, PNG_COLOR_TYPE_PALETTE, {{0x18}}, {{255, 255, 255}, {10, 10, 10}, {0, 0, 0}}}),
              "P2\n3 1\n255\n255 10 0\n");
    // Half of grey 100 over white, and nothing of it.
    EXPECT_EQ(read({3, 1, 8, PNG_COLOR_TYPE_GRAY_ALPHA, {{100, 255, 100, 51, 100, 0}}}),
              "P2\n3 1\n255\n100 224 255\n");
    EXPECT_EQ(read({2, 1, 8, PNG_COLOR_TYPE_RGB_ALPHA, {{9, 9, 9, 255, 9, 9, 9, 0}}}),
              "P2\n2 1\n255\n9 255\n");
    EXPECT_EQ(read({2, 1, 1, PNG_COLOR_TYPE_PALETTE, {{0x40}}, {{0, 0, 0}, {7, 7, 7}}, {0}}),
              "P2\n2 1\n255\n255 7\n");
    Png grey{4, 1, 4, PNG_COLOR_TYPE_GRAY, {{0x01, 0x2F}}};
    EXPECT_EQ(read(grey), "P2\n4 1\n15\n0 1 2 15\n");
    grey.transparentGrey = 1;
    EXPECT_EQ(read(grey), "P2\n4 1\n255\n0 255 34 255\n");
    for (const int bits : {1, 8}) {
        Png interlaced{9, 2, bits, PNG_COLOR_TYPE_GRAY, {}};
        interlaced.interlaced = true;
        interlaced.rows = bits == 1
                              ? std::vector<Bytes>{{0xA5, 0x80}, {0x0F, 0x00}}
                              : std::vector<Bytes>{{0, 1, 2, 3, 4, 5, 6, 7, 8}, {9, 8, 7, 6, 5, 4, 3, 2, 1}};
        EXPECT_EQ(read(interlaced), bits == 1 ? "P1\n9 2\n0 1 0 1 1 0 1 0 0\n1 1 1 1 0 0 0 0 1\n"
                                              : "P2\n9 2\n255\n0 1 2 3 4 5 6 7 8\n9 8 7 6 5 4 3 2 1\n");
    }
}

TEST_F(ImageTool, RefusesInputThatCannotBeUsed) {
    fs::create_directory(place / "directory.png");
    save("empty.png", "");
    save("text.png", "no picture at all, only words\n");
    save("short.png", "\x89PNG\r\n\x1A\n");
    save("colour.ppm", "P6 1 1 255\n\1\2\3");
    save("other.pam", "P7\nWIDTH 1\n");
    save("magic.pgm", "P9 1 1 255\n0");
    save("none.pgm", "P2 0 1 255\n");
    save("white.pgm", "P2 1 1 0\n0");
    save("words.pgm", "P2 two 1 255\n0");
    save("minus.pgm", "P2 1 1 255\n-1");
    save("header.pgm", "P5 2");
    save("cut.pgm", "P5 2 2 255\n\1\2\3");
    save("cutwide.pgm", std::string("P5 1 1 65535\n\0", 14));
    save("cuttext.pgm", "P2 2 2 255\n1 2 3");
    save("above.pgm", "P2 1 1 255\n256");
    save("aboveraw.pgm", "P5 1 1 15\n\x10");
    save("cut.pbm", "P4 9 2\n\1\2\3");
    save("cuttext.pbm", "P1 2 2\n011");
    save("two.pbm", "P1 2 1\n02");
    save("huge.pgm", "P5 1000000 1000000 255\n");
    save("long.pgm", "P5 100000000 1 255\n");
    save("longer.pgm", "P5 99999999999999999999 1 255\n");
    for (const auto &[input, reason] : std::map<std::string, std::string>{
             {"missing.png", "No such file or directory"},
             {"directory.png", "is a directory"},
             {"empty.png", "not a PBM, PGM or PNG file"},
             {"text.png", "not a PBM, PGM or PNG file"},
             {"short.png", "damaged or cut off"},
             {"colour.ppm", "a colour PPM"},
             {"other.pam", "not a PBM, PGM or PNG file"},
             {"magic.pgm", "not a PBM, PGM or PNG file"},
             {"none.pgm", "without pixels"},
             {"white.pgm", "highest grey value is 0"},
             {"words.pgm", "a number was expected"},
             {"minus.pgm", "a number was expected"},
             {"header.pgm", "cut off"},
             {"cut.pgm", "cut off"},
             {"cutwide.pgm", "cut off"},
             {"cuttext.pgm", "cut off"},
             {"above.pgm", "above 255"},
             {"aboveraw.pgm", "above 15"},
             {"cut.pbm", "cut off"},
             {"cuttext.pbm", "cut off"},
             {"two.pbm", "0 or 1 was expected"},
             {"huge.pgm", "too large"},
             {"long.pgm", "too large"},
             {"longer.pgm", "a number is above"},
         })
        expectNothing("mirror " + input + " result.png", input + ": ", reason);
    if (geteuid() != 0) {
        fs::permissions(place / "above.pgm", fs::perms::none);
        expectNothing("mirror above.pgm result.png", "above.pgm", "Permission denied");
    }
}

TEST_F(ImageTool, RefusesAPngCutOffOrDamagedAnywhere) {
    std::vector<Bytes> rows(20, Bytes(30));
    for (std::size_t row = 0; row < rows.size(); ++row)
        for (std::size_t column = 0; column < rows[row].size(); ++column)
            rows[row][column] = static_cast<std::uint8_t>(row * 37 + column * column);
    writePng(place / "whole.png", {30, 20, 8, PNG_COLOR_TYPE_GRAY, rows});
    const std::string whole = contents(place / "whole.png");
    for (const std::size_t length : {std::size_t{8}, std::size_t{20}, std::size_t{33}, whole.size() / 2,
                                     whole.size() - 14, whole.size() - 1}) {
        save("part.png", whole.substr(0, length));
        expectNothing("mirror part.png result.png", "part.png: ", "damaged or cut off");
    }
    std::string damaged = whole;
    damaged[whole.size() / 2] ^= 0x10;
    save("part.png", damaged);
    expectNothing("mirror part.png result.png", "part.png: ", "damaged or cut off");
}

TEST_F(ImageTool, RefusesBadArguments) {
    save("in.pgm", flat);
    save("small.pgm", "P2 2 2 255 1 2 3 4");
    expectNothing("", "a command is required", "rotate");
    expectNothing("blur in.pgm result.png", "blur", "not expected");
    expectNothing("rotate in.pgm result.png", "--angle", "required");
    expectNothing("rotate --angle 90", "INPUT", "required");
    expectNothing("rotate --angle 90 in.pgm", "OUTPUT", "required");
    expectNothing("rotate --angle 90 in.pgm result.png more", "more", "not expected");
    for (const std::string angle : {"0", "270", "45", "-180", "right", "''"})
        expectNothing("rotate --angle " + angle + " in.pgm result.png", "--angle", "is none of 90, -90, 180");
    expectNothing("rotate --angle 90 '' result.png", "INPUT", "empty");
    expectNothing("rotate --angle 90 in.pgm ''", "OUTPUT", "empty");
    for (const std::string bits : {"0", "2", "16", "one"})
        expectNothing("mirror --bits " + bits + " in.pgm result.png", "--bits", "is none of 1, 4, 8");
    expectNothing("mirror --cols in.pgm result.png", "--cols", "not expected");

    for (const std::string command : {"copy", "convolve --mask box"}) {
        for (const std::string region :
             {"1", "0,0,1", "0,0,1,1,1", "0,0,1,", "-1,0,1,1", "0,0,x,1", "0 0 1 1", "0,0,1,99999999999"})
            expectNothing(command + " --region '" + region + "' in.pgm result.png", "--region",
                          "is not top,left,bottom,right");
        expectNothing(command + " --region 2,0,1,0 in.pgm result.png", "--region", "bottom above its top");
        expectNothing(command + " --region 0,2,0,1 in.pgm result.png", "--region", "right side left of");
        for (const std::string region : {"0,0,3,0", "0,0,0,3", "3,3,3,3", "0,0,2147483647,2147483647"})
            expectNothing(command + " --region " + region + " in.pgm result.png", "--region",
                          "reaches beyond in.pgm, which has 3 rows and 3 columns");
    }
    expectNothing("copy --at 0,0 in.pgm result.png", "--at", "--into");
    expectNothing("copy --into in.pgm --at 1 small.pgm result.png", "--at", "is not row,column");
    expectNothing("copy --into in.pgm --at 1,-1 small.pgm result.png", "--at", "is not row,column");
    expectNothing("copy --into in.pgm --at 2,0 small.pgm result.png", "--at 2,0",
                  "beyond in.pgm, which has 3 rows and 3 columns");
    expectNothing("copy --into in.pgm --at 0,2147483647 small.pgm result.png", "--at 0,2147483647",
                  "beyond in.pgm");
    expectNothing("copy --into small.pgm in.pgm result.png", "--at 0,0", "beyond small.pgm");
    expectNothing("copy --into missing.pgm in.pgm result.png", "missing.pgm", "No such file");

    const std::string convolve = "convolve --mask sobel-x ";
    expectNothing("convolve in.pgm result.png", "--mask", "required");
    expectNothing(convolve + "--shift 32 in.pgm result.png", "--shift", "not between 0 and 31");
    expectNothing(convolve + "--shift -1 in.pgm result.png", "--shift", "not between 0 and 31");
    expectNothing(convolve + "--shift x in.pgm result.png", "--shift", "not a number");
    expectNothing(convolve + "--shift 1 --saturate in.pgm result.png", "--shift", "--saturate");
    expectNothing(convolve + "--shift 1 --absolute in.pgm result.png", "--shift", "--absolute");
    expectNothing(convolve + "--saturate --absolute in.pgm result.png", "--saturate", "--absolute");
    expectNothing(convolve + "--signed --absolute in.pgm result.png", "--signed", "--absolute");
    expectNothing(convolve + "--signed --bits 4 in.pgm result.png", "--signed", "in.pgm has 4: add --bits 8");
}

TEST_F(ImageTool, RefusesBadMasks) {
    save("in.pgm", flat);
    fs::create_directory(place / "directory");
    save("empty", "");
    save("remarks", "# nothing else\n");
    save("words", "1 2\n3 four\n");
    save("real", "0.5 1\n");
    save("large", "1 32768\n");
    save("low", "-32768\n");
    save("huge", "99999999999\n");
    save("ragged", "1 2 3\n1 2\n");
    std::string row, tall;
    for (int k = 0; k < 256; ++k) {
        row += "1 ";
        tall += "1\n";
    }
    save("broad", row);
    save("tall", tall);
    std::string heavy;
    for (int k = 0; k < 255; ++k)
        heavy += "32767 -32767\n";
    save("heavy", heavy);
    for (const auto &[mask, reason] : std::map<std::string, std::string>{
             {"blur", "neither a mask (box, sharpen, sobel-x, sobel-y, emboss) nor a file"},
             {"directory", "is a directory"},
             {"empty", "no coefficients"},
             {"remarks", "no coefficients"},
             {"words", "line 2: \"four\" is not a whole number"},
             {"real", "line 1: \"0.5\" is not a whole number"},
             {"large", "line 1: \"32768\" is not"},
             {"low", "line 1: \"-32768\" is not"},
             {"huge", "line 1: \"99999999999\" is not"},
             {"ragged", "line 2: 2 coefficients after rows of 3"},
             {"broad", "more than 255"},
             {"tall", "line 256: more than 255"},
             {"heavy", "add up to more than 8421504"},
         })
        expectNothing("convolve --mask " + mask + " in.pgm result.png", mask, reason);
}

TEST_F(ImageTool, RefusesOutputThatCannotBeWritten) {
    save("in.pgm", flat);
    fs::create_directory(place / "taken.png");
    ASSERT_EQ(mkfifo((place / "pipe.png").c_str(), 0600), 0);
    for (const std::string name : {"result.jpg", "result", "png", ".png", "result.png.gz"})
        expectNothing("mirror in.pgm " + name, name + ": ", "the extension has to be");
    expectNothing("mirror in.pgm nowhere/result.png", "nowhere/result.png", "No such file or directory");
    expectNothing("mirror in.pgm taken.png", "taken.png", "Is a directory");
    expectNothing("mirror in.pgm pipe.png", "pipe.png", "not a regular file");
    expectNothing("mirror in.pgm result.pbm", "result.pbm", "1 bit per pixel, this image 8: add --bits 1");
    expectNothing("mirror --plain in.pgm result.png", "result.png", "--plain is for PBM and PGM");
    // Wrong output is told before the input is read.
    expectNothing("mirror missing.pgm result.jpg", "result.jpg", "extension");
}

TEST_F(ImageTool, KeepsTheOldOutputUnlessItSucceeds) {
    save("in.pgm", flat);
    save("cut.pgm", "P5 2 2 255\n\1");
    save("old.pgm", "old");
    expectNothing("mirror cut.pgm old.pgm", "cut.pgm", "cut off");
    EXPECT_EQ(contents(place / "old.pgm"), "old");
    // No room for it: files may have one block only.
    std::string large = "P5 500 500 255\n" + std::string(250000, 'x');
    save("large.pgm", large);
    expectNothing("mirror large.pgm old.pgm", "old.pgm", "cannot write the image",
                  "trap '' XFSZ && ulimit -f 1 && ");
    EXPECT_EQ(contents(place / "old.pgm"), "old");

    EXPECT_EQ(run("mirror --plain in.pgm old.pgm").status, 0);
    EXPECT_EQ(contents(place / "old.pgm"), "P2\n3 3\n255\n10 10 10\n10 10 10\n10 10 10\n");
    // The output may be the input, and a link leads to what is replaced.
    save("self.pgm", "P2 3 1 255 1 2 3");
    fs::create_symlink("self.pgm", place / "link.pgm");
    EXPECT_EQ(run("mirror --plain self.pgm link.pgm").status, 0);
    EXPECT_TRUE(fs::is_symlink(place / "link.pgm"));
    EXPECT_EQ(contents(place / "self.pgm"), "P2\n3 1\n255\n3 2 1\n");
}

// Larger images cross all block sizes: what is turned and turned back is the same.
TEST_F(ImageTool, TurnsLargerImagesThereAndBack) {
    std::string pixels;
    unsigned state = 1;
    for (int k = 0; k < 203 * 117; ++k)
        pixels += static_cast<char>((state = state * 1103515245 + 12345) >> 24);
    save("large.pgm", "P5\n203 117\n255\n" + pixels);
    for (const std::string bits : {"1", "4", "8"}) {
        const std::string depth = " --bits " + bits + " ";
        ASSERT_EQ(run("copy" + depth + "large.pgm same.pgm").status, 0);
        const std::string same = contents(place / "same.pgm");
        ASSERT_EQ(run("rotate --angle 90" + depth + "large.pgm a.pgm").status, 0);
        ASSERT_EQ(run("rotate --angle -90 a.pgm b.pgm").status, 0);
        EXPECT_EQ(contents(place / "b.pgm"), same);
        ASSERT_EQ(run("rotate --angle 180 a.pgm a.pgm").status, 0);
        ASSERT_EQ(run("rotate --angle 90 a.pgm a.pgm").status, 0);
        EXPECT_EQ(contents(place / "a.pgm"), same);
        ASSERT_EQ(run("mirror b.pgm b.pgm").status, 0);
        ASSERT_EQ(run("mirror --rows b.pgm b.pgm").status, 0);
        ASSERT_EQ(run("rotate --angle 180 b.pgm b.pgm").status, 0);
        EXPECT_EQ(contents(place / "b.pgm"), same);
    }
}

TEST_F(ImageTool, ExplainsItself) {
    const Outcome help = run("--help");
    EXPECT_EQ(help.status, 0);
    for (const char *text :
         {"rotate", "mirror", "copy", "convolve", "PBM", "PGM", "PNG", "Exit status", "1 is"})
        EXPECT_NE(help.out.find(text), std::string::npos) << text;
    const std::map<std::string, std::vector<std::string>> options{
        {"rotate", {"--angle", "counter-clockwise", "--bits", "--plain"}},
        {"mirror", {"--rows", "left and right", "--bits", "--plain"}},
        {"copy", {"--region", "TOP,LEFT,BOTTOM,RIGHT", "--into", "--at", "--bits", "--plain"}},
        {"convolve",
         {"--mask", "box", "sharpen", "sobel-x", "sobel-y", "emboss", "--shift", "--saturate", "--absolute",
          "--signed", "--region", "--bits", "--plain"}},
    };
    for (const auto &[command, texts] : options) {
        const Outcome about = run(command + " --help");
        EXPECT_EQ(about.status, 0);
        EXPECT_EQ(about.err, "");
        for (const std::string &text : texts)
            EXPECT_NE(about.out.find(text), std::string::npos) << command << ": " << text;
    }
    const Outcome version = run("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("imagetool ", 0), 0u) << version.out;
}

} // namespace
