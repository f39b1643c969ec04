#include "recordings.hpp"
#include "audio.hpp"
#include "common/errors.hpp"
#include "common/program.hpp"
#include "program_name.hpp"

#include <chrono>

namespace recognise {
namespace {

namespace fs = std::filesystem;

Utterance read(const fs::path &file, const FrontEnd &frontEnd) {
    const Recording recording = readRecording(file);
    try {
        return {file, labelOf(file), recording.seconds(), frontEnd.analyse(recording).features};
    } catch (const common::InputError &error) {
        throw common::InputError(file.string() + ": " + error.what());
    }
}

} // namespace

Recordings::Recordings(const std::vector<std::string> &arguments) : arguments(arguments) {
    for (std::size_t group = 0; group < arguments.size(); ++group) {
        const std::vector<fs::path> found = listFiles(arguments[group]);
        const bool alone = found.size() == 1 && found.front() == fs::path(arguments[group]);
        for (const fs::path &file : found)
            files.push_back({file, group, alone});
    }
    for (auto &list : prepared)
        list.resize(files.size());
    complained.resize(files.size());
}

const Recordings::Prepared &Recordings::prepare(std::size_t input, const FrontEnd &frontEnd,
                                                Progress &progress) {
    std::optional<Prepared> &known = prepared[static_cast<std::size_t>(frontEnd.usedArithmetic())][input];
    if (known) return *known;
    const auto start = std::chrono::steady_clock::now();
    known.emplace();
    try {
        known->utterance = read(files[input].file, frontEnd);
    } catch (const common::InputError &error) {
        if (files[input].alone) throw;
        if (!complained[input]) {
            progress.clear();
            common::complain(programName, std::string(error.what()) + " (skipped)");
            complained[input] = true;
            ++bad;
        }
    }
    known->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return *known;
}

double Recordings::preparingSeconds(const FrontEnd &frontEnd) const {
    double sum = 0;
    for (const std::optional<Prepared> &file : prepared[static_cast<std::size_t>(frontEnd.usedArithmetic())])
        if (file) sum += file->seconds;
    return sum;
}

std::vector<Utterance> Recordings::prepareAll(const FrontEnd &frontEnd, const std::string &what) {
    std::vector<std::size_t> usable(arguments.size());
    std::vector<Utterance> utterances;
    Progress progress(what, files.size());
    for (std::size_t input = 0; input < files.size(); ++input) {
        if (const Prepared &file = prepare(input, frontEnd, progress); file.utterance) {
            utterances.push_back(*file.utterance);
            ++usable[files[input].group];
        }
        progress.advance();
    }
    for (std::size_t group = 0; group < usable.size(); ++group)
        if (!usable[group])
            throw common::InputError(arguments[group] + ": no usable recording in this directory");
    return utterances;
}

} // namespace recognise
