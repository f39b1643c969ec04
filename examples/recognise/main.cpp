#include "audio.hpp"
#include "common/errors.hpp"
#include "common/program.hpp"
#include "evaluation.hpp"
#include "features.hpp"
#include "method.hpp"
#include "options.hpp"
#include "progress.hpp"
#include "report.hpp"
#include "text.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <unistd.h>
#include <utility>

namespace recognise {
namespace {

namespace fs = std::filesystem;

constexpr const char *programName = "recognise";

struct Input {
    fs::path file;
    std::size_t group;
    bool alone; ///< named by itself, not found in a directory
};

std::vector<Input> listInputs(const std::vector<std::string> &arguments) {
    std::vector<Input> inputs;
    for (std::size_t group = 0; group < arguments.size(); ++group) {
        const std::vector<fs::path> files = listFiles(arguments[group]);
        const bool alone = files.size() == 1 && files.front() == fs::path(arguments[group]);
        for (const fs::path &file : files)
            inputs.push_back({file, group, alone});
    }
    return inputs;
}

/// Throws InputError for a word or file name that is none of the tests.
void checkShown(const std::vector<std::string> &show, const std::vector<Input> &tests) {
    for (const std::string &name : show)
        if (std::ranges::none_of(tests, [&](const Input &test) { return isCalled(test.file, name); }))
            throw common::InputError("--show " + name + ": no test of this word or name");
}

/// Reads and analyses a file. A bad file of a directory is named and gives nothing; one that was asked for by
/// itself throws.
std::optional<Utterance> prepare(const FrontEnd &frontEnd, const Input &input, Progress &progress) {
    try {
        const Recording recording = readRecording(input.file);
        try {
            return Utterance{input.file, labelOf(input.file), recording.seconds(),
                             frontEnd.analyse(recording).features};
        } catch (const common::InputError &error) {
            throw common::InputError(input.file.string() + ": " + error.what());
        }
    } catch (const common::InputError &error) {
        if (input.alone) throw;
        progress.clear();
        common::complain(programName, std::string(error.what()) + " (skipped)");
        return std::nullopt;
    }
}

std::vector<Utterance> readReferences(const Options &options, const FrontEnd &frontEnd,
                                      std::size_t &skipped) {
    const std::vector<Input> inputs = listInputs(options.references);
    std::vector<std::size_t> usable(options.references.size());
    std::vector<Utterance> references;
    Progress progress("references", inputs.size());
    for (const Input &input : inputs) {
        if (std::optional<Utterance> utterance = prepare(frontEnd, input, progress)) {
            references.push_back(std::move(*utterance));
            ++usable[input.group];
        } else
            ++skipped;
        progress.advance();
    }
    for (std::size_t group = 0; group < usable.size(); ++group)
        if (!usable[group])
            throw common::InputError(options.references[group] + ": no usable recording in this directory");
    return references;
}

std::vector<std::string> labelsOf(const std::vector<Utterance> &references) {
    std::vector<std::string> labels;
    for (const Utterance &reference : references)
        labels.push_back(reference.label);
    std::ranges::sort(labels, naturalLess);
    labels.erase(std::unique(labels.begin(), labels.end()), labels.end());
    return labels;
}

std::string padded(const std::string &text, std::size_t width) {
    return text + std::string(width - std::min(width, characters(text)), ' ');
}

/// Prints the line of each test as soon as it is known, in columns that fit all of them; the heading before
/// the first.
class Listing {
public:
    Listing(const std::vector<Input> &inputs, const std::vector<std::string> &labels) {
        for (const Input &input : inputs) {
            widen(fileWidth, input.file.string());
            widen(expectedWidth, labelOf(input.file));
        }
        for (const std::string &label : labels)
            widen(recognisedWidth, label);
    }

    void print(const Result &result, const Evaluation &evaluation, std::size_t top) {
        if (!std::exchange(headed, true)) {
            printWords("file", "expected", "recognised");
            std::printf("  %8s  %7s\n", "distance", "margin");
        }
        if (result.recognised.empty()) {
            printWords(result.file, result.expected, "-");
            std::printf("  %8s  %7s", "-", "-");
        } else {
            printWords(result.file, result.expected, result.recognised);
            std::printf("  %8.3f  %7.3f", result.score, result.margin);
        }
        std::puts(result.right() ? "" : "  wrong");
        for (std::size_t k = 0; k < std::min(top, result.nearest.size()); ++k)
            std::printf("    %2zu. %7.3f  %s\n", k + 1, result.nearest[k].score,
                        evaluation.references[result.nearest[k].reference].c_str());
    }

private:
    static void widen(std::size_t &width, const std::string &text) {
        width = std::max(width, characters(text));
    }

    void printWords(const std::string &file, const std::string &expected,
                    const std::string &recognised) const {
        std::printf("%s  %s  %s", padded(file, fileWidth).c_str(), padded(expected, expectedWidth).c_str(),
                    padded(recognised, recognisedWidth).c_str());
    }

    std::size_t fileWidth = 4, expectedWidth = 8, recognisedWidth = 10;
    bool headed = false;
};

void recogniseTests(const Options &options, const std::vector<Input> &inputs, const FrontEnd &frontEnd,
                    const Method &method, Evaluation &evaluation) {
    for (const std::string &argument : options.tests)
        evaluation.groups.push_back({argument});
    Listing listing(inputs, evaluation.labels);
    Progress progress("tests", inputs.size());
    const bool listingOnTerminal = isatty(STDOUT_FILENO) == 1;
    for (const Input &input : inputs) {
        const auto start = std::chrono::steady_clock::now();
        const std::optional<Utterance> test = prepare(frontEnd, input, progress);
        if (test) {
            Result result;
            result.file = input.file;
            result.group = input.group;
            result.expected = test->label;
            decide(method, evaluation.labels, method.score(test->features),
                   static_cast<std::size_t>(options.top), result);
            evaluation.workSeconds +=
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            evaluation.speechSeconds += test->seconds;
            Group &group = evaluation.groups[input.group];
            ++group.total;
            group.right += result.right();
            if (listingOnTerminal) progress.clear();
            listing.print(result, evaluation, static_cast<std::size_t>(options.top));
            evaluation.results.push_back(std::move(result));
        } else
            ++evaluation.skipped;
        progress.advance();
    }
    for (const Group &group : evaluation.groups)
        if (!group.total) throw common::InputError(group.name + ": no usable recording in this directory");
}

void printCounts(const std::string &name, std::size_t width, std::size_t right, std::size_t total) {
    std::printf("accuracy  %s  %zu of %zu  %.2f %%\n", padded(name, width).c_str(), right, total,
                100.0 * static_cast<double>(right) / static_cast<double>(total));
}

void printSummary(const Evaluation &evaluation) {
    std::size_t unknown = 0;
    for (const Result &result : evaluation.results)
        unknown += !std::ranges::binary_search(evaluation.labels, result.expected, naturalLess);

    std::puts("");
    std::size_t width = 5;
    if (evaluation.groups.size() > 1)
        for (const Group &group : evaluation.groups)
            width = std::max(width, characters(group.name));
    if (evaluation.groups.size() > 1)
        for (const Group &group : evaluation.groups)
            printCounts(group.name, width, group.right, group.total);
    printCounts("total", width, evaluation.right(), evaluation.results.size());
    std::printf("speed     %.1f s of sound in %.2f s: %.0f times real time\n", evaluation.speechSeconds,
                evaluation.workSeconds, evaluation.timesRealTime());
    if (unknown)
        std::printf("unknown   %s whose word has no reference, counted as wrong\n",
                    counted(unknown, "test").c_str());
    if (evaluation.skipped)
        std::printf("skipped   %s that could not be used\n", counted(evaluation.skipped, "file").c_str());
}

void run(const Options &options) {
    if (!options.report.empty()) checkReportPlace(options.report);
    const std::vector<Input> tests = listInputs(options.tests);
    checkShown(options.show, tests);
    const std::unique_ptr<Method> method = makeMethod(options.method, {options.band});
    const FrontEnd frontEnd(method->arithmetic());

    Evaluation evaluation;
    evaluation.method = options.method;
    const std::vector<Utterance> references = readReferences(options, frontEnd, evaluation.skipped);
    evaluation.labels = labelsOf(references);
    for (const Utterance &reference : references)
        evaluation.references.push_back(reference.file);
    method->learn(references);
    evaluation.neighbours = method->neighbours();

    recogniseTests(options, tests, frontEnd, *method, evaluation);
    printSummary(evaluation);
    if (!options.report.empty()) {
        writeReport(options.report, evaluation, frontEnd, options.show);
        std::printf("report    %s\n", options.report.c_str());
    }
}

} // namespace
} // namespace recognise

int main(int argc, char **argv) {
    return common::runProgram(recognise::programName,
                              [&] { recognise::run(recognise::parseOptions(argc, argv)); });
}
