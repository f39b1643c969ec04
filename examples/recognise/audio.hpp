#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace recognise {

constexpr int sampleRate = 8000;

/// One channel at sampleRate, in the units of 16-bit samples.
struct Recording {
    std::vector<float> samples;

    double seconds() const { return static_cast<double>(samples.size()) / sampleRate; }
};

/// Reads any file that libsndfile knows, and headerless GSM 06.10 in a file named *.gsm. Channels are
/// averaged and other rates converted. Throws InputError.
Recording readRecording(const std::filesystem::path &file);

/// The word that a file's name stands for: `seven` of `seven.wav` and of `seven_anna_3.wav` (word, speaker
/// and a number of the take), the whole stem of any other name.
std::string labelOf(const std::filesystem::path &file);

/// Whether a file is meant by its word, by its name with or without extension, or by its path.
bool isCalled(const std::filesystem::path &file, const std::string &name);

/// The files of a directory in the order of their names, or the file itself. Subdirectories and hidden files
/// are left out.
/// Throws InputError when there is none.
std::vector<std::filesystem::path> listFiles(const std::filesystem::path &fileOrDirectory);

} // namespace recognise
