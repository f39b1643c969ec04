#include "audio.hpp"
#include "common/errors.hpp"
#include "common/files.hpp"

#include <samplerate.h>
#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <memory>

namespace recognise {
namespace {

namespace fs = std::filesystem;

struct CloseSound {
    void operator()(SNDFILE *file) const { sf_close(file); }
};

// Every 33-byte GSM 06.10 frame starts with the four bits 1101.
bool startsLikeGsm(const fs::path &file) {
    std::array<char, 33> frame{};
    std::ifstream in(file, std::ios::binary);
    return in.read(frame.data(), frame.size()) && (static_cast<unsigned char>(frame[0]) >> 4) == 0xD;
}

std::vector<float> readMono(const fs::path &file, int &rate) {
    SF_INFO info{};
    const bool headerlessGsm = common::extensionOf(file) == ".gsm" && startsLikeGsm(file);
    if (headerlessGsm) {
        info.format = SF_FORMAT_RAW | SF_FORMAT_GSM610;
        info.samplerate = 8000;
        info.channels = 1;
    }
    const std::unique_ptr<SNDFILE, CloseSound> sound(sf_open(file.c_str(), SFM_READ, &info));
    // After some extensions libsndfile takes any bytes for headerless sound.
    const bool guessed = !headerlessGsm && (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RAW;
    if (!sound || guessed) throw common::InputError(file.string() + ": not a sound file that can be read");
    rate = info.samplerate;

    // The frame count of a damaged header is not to be trusted with an allocation: read until the end.
    const auto channels = static_cast<std::size_t>(info.channels);
    constexpr sf_count_t blockFrames = 8192;
    std::vector<float> block(blockFrames * channels), mono;
    sf_count_t got;
    while ((got = sf_readf_float(sound.get(), block.data(), blockFrames)) > 0)
        for (sf_count_t frame = 0; frame < got; ++frame) {
            const float *values = block.data() + static_cast<std::size_t>(frame) * channels;
            double sum = 0;
            for (std::size_t channel = 0; channel < channels; ++channel)
                sum += values[channel];
            mono.push_back(static_cast<float>(sum * 32768.0 / info.channels));
        }
    if (sf_error(sound.get()) != SF_ERR_NO_ERROR)
        throw common::InputError(file.string() + ": damaged sound data");
    if (!std::ranges::all_of(mono, [](float sample) { return std::isfinite(sample); }))
        throw common::InputError(file.string() + ": holds samples that are not numbers");
    return mono;
}

std::vector<float> resample(const fs::path &file, const std::vector<float> &in, int rate) {
    const double ratio = static_cast<double>(sampleRate) / rate;
    std::vector<float> out(static_cast<std::size_t>(static_cast<double>(in.size()) * ratio) + 1);
    SRC_DATA data{};
    data.data_in = in.data();
    data.input_frames = static_cast<long>(in.size());
    data.data_out = out.data();
    data.output_frames = static_cast<long>(out.size());
    data.src_ratio = ratio;
    if (const int failure = src_simple(&data, SRC_SINC_MEDIUM_QUALITY, 1))
        throw common::InputError(file.string() + ": cannot convert from " + std::to_string(rate) +
                                 " Hz: " + src_strerror(failure));
    out.resize(static_cast<std::size_t>(data.output_frames_gen));
    return out;
}

} // namespace

Recording readRecording(const fs::path &file) {
    // Opened first by plain means: the system's reason is clearer than the decoder's.
    common::openFile(file);

    int rate = 0;
    Recording recording{readMono(file, rate)};
    if (rate != sampleRate && !recording.samples.empty())
        recording.samples = resample(file, recording.samples, rate);
    return recording;
}

std::string labelOf(const fs::path &file) {
    const std::string stem = file.stem().string();
    const std::size_t first = stem.find('_'), last = stem.rfind('_');
    if (first == std::string::npos || first == 0 || stem.find('_', first + 1) != last || last == first + 1)
        return stem;
    const std::string take = stem.substr(last + 1);
    const bool numbered =
        !take.empty() && std::ranges::all_of(take, [](unsigned char c) { return std::isdigit(c); });
    return numbered ? stem.substr(0, first) : stem;
}

bool isCalled(const fs::path &file, const std::string &name) {
    return name == labelOf(file) || name == file.filename() || name == file.stem() || name == file;
}

std::vector<fs::path> listFiles(const fs::path &fileOrDirectory) {
    std::error_code error;
    const fs::file_status status = fs::status(fileOrDirectory, error);
    if (!fs::exists(status))
        throw common::InputError(fileOrDirectory.string() + ": no such file or directory");
    if (!fs::is_directory(status)) return {fileOrDirectory};

    std::vector<fs::path> files;
    fs::directory_iterator entry(fileOrDirectory, error), end;
    for (; !error && entry != end; entry.increment(error))
        if (!entry->is_directory(error) && entry->path().filename().string().front() != '.')
            files.push_back(entry->path());
    if (error) throw common::InputError(fileOrDirectory.string() + ": " + error.message());
    if (files.empty()) throw common::InputError(fileOrDirectory.string() + ": no files in this directory");
    std::ranges::sort(files);
    return files;
}

} // namespace recognise
