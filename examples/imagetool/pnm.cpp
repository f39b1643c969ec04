#include "pnm.hpp"
#include "common/errors.hpp"

#include <cctype>

namespace imagetool {
namespace {

constexpr std::size_t longestLine = 70; // of a text file, as the format wants it

class PnmReader {
public:
    PnmReader(std::FILE *in, const std::string &name) : in(in), name(name) {}

    [[noreturn]] void fail(const std::string &reason) const {
        throw common::InputError(name + ": " + reason);
    }

    int next() {
        const int c = std::getc(in);
        if (c == EOF) fail("the file is cut off");
        return c;
    }

    // A whole number after white space and comments.
    unsigned number(unsigned most) {
        const int first = afterSpace();
        if (!std::isdigit(first)) fail("damaged: a number was expected");
        unsigned value = digit(first);
        int c;
        while ((c = std::getc(in)) != EOF && std::isdigit(c)) {
            value = 10 * value + digit(c);
            if (value > most) break;
        }
        if (value > most) fail("a number is above " + std::to_string(most));
        if (c != EOF) std::ungetc(c, in);
        return value;
    }

    // A pixel of a text bitmap: a digit that needs no space beside it.
    unsigned bit() {
        const int c = afterSpace();
        if (c != '0' && c != '1') fail("damaged: 0 or 1 was expected");
        return digit(c);
    }

    // The one white space between a header and binary pixels.
    void endHeader() {
        if (!std::isspace(next())) fail("damaged header");
    }

private:
    static unsigned digit(int c) { return static_cast<unsigned>(c - '0'); }

    int afterSpace() {
        for (int c;;) {
            if ((c = next()) == '#')
                while (c != '\n' && c != '\r')
                    c = next();
            else if (!std::isspace(c))
                return c;
        }
    }

    std::FILE *in;
    const std::string &name;
};

// Calls set(row, column) for every pixel in the order of the file.
template <class Set>
void forPixels(const Image &image, Set set) {
    for (std::int32_t row = 0; row < image.rows(); ++row)
        for (std::int32_t column = 0; column < image.columns(); ++column)
            set(row, column);
}

Image readBitmap(PnmReader &reader, std::int32_t rows, std::int32_t columns, bool plain) {
    Image image(rows, columns, 1);
    if (plain) {
        forPixels(image, [&](auto row, auto column) { image.set(row, column, 1 - reader.bit()); });
        return image;
    }
    reader.endHeader();
    for (std::int32_t row = 0; row < rows; ++row) {
        std::uint8_t *pixels = image.table()[row];
        for (std::int32_t byte = 0; byte < image.bytesPerRow(); ++byte)
            pixels[byte] = static_cast<std::uint8_t>(reader.next());
        QZbbNot(pixels, 7, columns);
    }
    return image;
}

Image readGreymap(PnmReader &reader, std::int32_t rows, std::int32_t columns, bool plain) {
    const unsigned white = reader.number(65535);
    if (white == 0) reader.fail("damaged: the highest grey value is 0");
    Image image(rows, columns, white == 1 ? 1 : white == 15 ? 4 : 8);
    if (!plain) reader.endHeader();
    const auto value = [&]() -> unsigned {
        if (plain) return reader.number(white);
        unsigned binary = static_cast<unsigned>(reader.next());
        if (white > 255) binary = binary << 8 | static_cast<unsigned>(reader.next());
        if (binary > white) reader.fail("damaged: a grey value is above " + std::to_string(white));
        return binary;
    };
    forPixels(image, [&](auto row, auto column) {
        image.set(row, column, (value() * image.white() + white / 2) / white);
    });
    return image;
}

std::string header(char kind, const Image &image) {
    return std::string("P") + kind + '\n' + std::to_string(image.columns()) + ' ' +
           std::to_string(image.rows()) + '\n';
}

// The rows as text, each on lines of its own.
template <class Value>
std::string text(const Image &image, Value value) {
    std::string all;
    for (std::int32_t row = 0; row < image.rows(); ++row) {
        std::size_t lineStart = all.size();
        for (std::int32_t column = 0; column < image.columns(); ++column) {
            const std::string shown = std::to_string(value(image.get(row, column)));
            if (all.size() + shown.size() + 1 - lineStart > longestLine) {
                all += '\n';
                lineStart = all.size();
            } else if (column)
                all += ' ';
            all += shown;
        }
        all += '\n';
    }
    return all;
}

} // namespace

Image readPnm(std::FILE *in, const std::string &name) {
    PnmReader reader(in, name);
    reader.next();
    const int kind = reader.next();
    const bool bitmap = kind == '1' || kind == '4', plain = kind == '1' || kind == '2';
    if (kind == '3' || kind == '6') reader.fail("a colour PPM: only PBM, PGM and PNG are read");
    if (!bitmap && kind != '2' && kind != '5') reader.fail("not a PBM, PGM or PNG file");
    const auto columns = static_cast<std::int32_t>(reader.number(INT32_MAX / 16));
    const auto rows = static_cast<std::int32_t>(reader.number(INT32_MAX / 16));
    checkSize(name, rows, columns);
    return bitmap ? readBitmap(reader, rows, columns, plain) : readGreymap(reader, rows, columns, plain);
}

std::string encodePbm(const Image &image, bool plain) {
    if (plain) return header('1', image) + text(image, [](unsigned value) { return 1 - value; });
    std::string all = header('4', image);
    const auto length = static_cast<std::size_t>(image.bytesPerRow());
    std::string line(length, '\0');
    for (std::int32_t row = 0; row < image.rows(); ++row) {
        auto *bytes = reinterpret_cast<std::uint8_t *>(line.data());
        QZbbCopy(image.table()[row], bytes, 7, 7, image.columns());
        QZbbNot(bytes, 7, image.columns());
        all += line;
    }
    return all;
}

std::string encodePgm(const Image &image, bool plain) {
    std::string all = header(plain ? '2' : '5', image) + std::to_string(image.white()) + '\n';
    if (plain) return all + text(image, [](unsigned value) { return value; });
    forPixels(image, [&](auto row, auto column) { all += static_cast<char>(image.get(row, column)); });
    return all;
}

} // namespace imagetool
