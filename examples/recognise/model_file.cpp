#include "model_file.hpp"
#include "common/errors.hpp"
#include "common/files.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace recognise {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view magic = "recognise-model ", version = "1";
constexpr std::string_view checksumName = "checksum ";
constexpr std::size_t checksumDigits = 16;
constexpr std::size_t longestText = 65536;

// FNV-1a (Fowler, Noll, Vo): a change of any one byte changes it.
std::uint64_t checksum(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return hash;
}

std::string hexadecimal(std::uint64_t value) {
    char digits[checksumDigits + 1];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value));
    return digits;
}

// All of a file that begins like a model; of any other no more than the beginning.
std::string readModel(const fs::path &file) {
    const common::File in = common::openFile(file);
    std::string contents;
    std::array<char, 65536> block;
    for (std::size_t got; (got = std::fread(block.data(), 1, block.size(), in.get())) > 0;) {
        contents.append(block.data(), got);
        if (!contents.starts_with(magic)) break;
    }
    return contents;
}

} // namespace

ModelWriter::ModelWriter(const std::string &method)
    : contents(std::string(magic) + std::string(version) + " " + method + "\n") {}

void ModelWriter::count(std::size_t value) { contents += std::to_string(value) + " "; }

void ModelWriter::real(float value) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    contents.append(digits, end) += ' ';
}

void ModelWriter::text(const std::string &value) {
    count(value.size());
    contents += value + "\n";
}

void ModelWriter::reals(const std::vector<float> &values) {
    count(values.size());
    for (const float value : values)
        real(value);
    endLine();
}

void ModelWriter::matrix(const Matrix &values) {
    count(values.rows());
    endLine();
    for (std::size_t row = 0; row < values.rows(); ++row) {
        for (std::size_t column = 0; column < values.columns(); ++column)
            real(values[row][column]);
        endLine();
    }
}

void ModelWriter::save(const fs::path &file) {
    std::error_code error;
    fs::create_directory(file.parent_path(), error);
    const std::string whole = contents + std::string(checksumName) + hexadecimal(checksum(contents)) + "\n";
    common::writeFile(file.string(), whole, modelNoun);
}

ModelReader::ModelReader(const fs::path &path, const std::string &method)
    : file(path), contents(readModel(path)), rest(contents) {
    const auto refuse = [&](const std::string &reason) {
        throw common::InputError(file.string() + ": " + reason);
    };
    if (!rest.starts_with(magic)) refuse("not a model of this program");
    const std::string_view heading = rest.substr(magic.size(), rest.find('\n') - magic.size());
    const std::size_t blank = heading.find(' ');
    if (heading.substr(0, blank) != version) refuse("a model of another version of this program");
    const std::size_t last = checksumName.size() + checksumDigits + 1;
    if (contents.size() < last) damaged();
    rest.remove_suffix(last);
    if (contents.substr(rest.size()) != std::string(checksumName) + hexadecimal(checksum(rest)) + "\n")
        damaged();
    if (blank == std::string_view::npos || heading.substr(blank + 1) != method)
        refuse("not a model of the method " + method);
    rest.remove_prefix(rest.find('\n') + 1);
}

void ModelReader::damaged() const { throw common::InputError(file.string() + ": damaged or cut short"); }

// Up to the next blank or line end, which is taken too.
std::string_view ModelReader::word() {
    const std::size_t end = rest.find_first_of(" \n");
    if (end == std::string_view::npos) damaged();
    const std::string_view found = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return found;
}

std::size_t ModelReader::count(std::size_t least, std::size_t most) {
    const std::string_view digits = word();
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || value < least || value > most)
        damaged();
    return value;
}

float ModelReader::real() {
    const std::string_view digits = word();
    float value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || !std::isfinite(value)) damaged();
    return value;
}

std::string ModelReader::text() {
    const std::size_t length = count(0, longestText);
    if (rest.size() <= length || rest[length] != '\n') damaged();
    std::string value(rest.substr(0, length));
    rest.remove_prefix(length + 1);
    return value;
}

std::vector<float> ModelReader::reals(std::size_t most) {
    std::vector<float> values(count(0, std::min(most, rest.size())));
    for (float &value : values)
        value = real();
    return values;
}

Matrix ModelReader::matrix(std::size_t mostRows, std::size_t columns) {
    const std::size_t rows = count(1, mostRows);
    if (columns > rest.size() || rows > rest.size() / std::max<std::size_t>(columns, 1)) damaged();
    Matrix values(rows, columns);
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t column = 0; column < columns; ++column)
            values[row][column] = real();
    return values;
}

void ModelReader::finish() {
    if (!rest.empty()) damaged();
}

fs::path modelFile(const fs::path &directory, const std::string &method) {
    return directory / (method + ".model");
}

void checkModelPlace(const fs::path &directory, const std::string &method) {
    // A directory that is missing is made when there is something to put into it.
    std::error_code error;
    if (fs::is_directory(directory, error)) {
        common::checkPlace(modelFile(directory, method).string(), modelNoun);
        return;
    }
    if (fs::exists(fs::symlink_status(directory, error)))
        throw common::InputError(directory.string() + ": cannot write " + modelNoun + ": not a directory");
    const fs::path plain = directory.filename().empty() ? directory.parent_path() : directory;
    common::checkPlace(plain.string(), modelNoun);
}

} // namespace recognise
