#pragma once

#include "matrix.hpp"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace recognise {

/// A trained model as text: a version line, numbers and words, and a checksum in the last line. Numbers come
/// back bit by bit.
class ModelWriter {
public:
    explicit ModelWriter(const std::string &method);

    void count(std::size_t value);
    void real(float value);
    void text(const std::string &value);
    void reals(const std::vector<float> &values);
    void matrix(const Matrix &values);
    void endLine() { contents.back() == ' ' ? void(contents.back() = '\n') : void(contents += '\n'); }

    /// Writes the file, wholly or not at all. Throws InputError.
    void save(const std::filesystem::path &file);

private:
    std::string contents;
};

/// Reads what a ModelWriter wrote. The constructor and every member throw InputError for what is none.
class ModelReader {
public:
    ModelReader(const std::filesystem::path &file, const std::string &method);
    ModelReader(const ModelReader &) = delete;
    ModelReader &operator=(const ModelReader &) = delete;

    std::size_t count(std::size_t least, std::size_t most);
    float real();
    std::string text();
    std::vector<float> reals(std::size_t most);
    Matrix matrix(std::size_t mostRows, std::size_t columns);

    /// Throws InputError if anything is left.
    void finish();

    [[noreturn]] void damaged() const;

private:
    std::string_view word();

    std::filesystem::path file;
    std::string contents;
    std::string_view rest;
};

/// The noun of messages about the file.
constexpr const char *modelNoun = "the model";

std::filesystem::path modelFile(const std::filesystem::path &directory, const std::string &method);

/// Throws InputError if saveModel() could not write there.
void checkModelPlace(const std::filesystem::path &directory, const std::string &method);

} // namespace recognise
