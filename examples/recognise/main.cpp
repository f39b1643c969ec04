#include "audio.hpp"
#include "common/errors.hpp"
#include "common/program.hpp"
#include "cross_validation.hpp"
#include "evaluation.hpp"
#include "features.hpp"
#include "listing.hpp"
#include "method.hpp"
#include "options.hpp"
#include "program_name.hpp"
#include "progress.hpp"
#include "recordings.hpp"
#include "report.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace recognise {
namespace {

namespace fs = std::filesystem;

/// Seconds since its beginning.
class Clock {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

private:
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

/// Throws InputError for a word or file name that is none of the tests.
void checkShown(const std::vector<std::string> &show, const std::vector<Input> &tests) {
    for (const std::string &name : show)
        if (std::ranges::none_of(tests, [&](const Input &test) { return isCalled(test.file, name); }))
            throw common::InputError("--show " + name + ": no test of this word or name");
}

std::vector<fs::path> filesOf(const std::vector<Utterance> &recordings) {
    std::vector<fs::path> files;
    for (const Utterance &recording : recordings)
        files.push_back(recording.file);
    return files;
}

void learn(Method &method, const std::vector<Utterance> &references, Evaluation &evaluation) {
    const Clock clock;
    method.learn(references);
    evaluation.learnSeconds += clock.seconds();
}

/// Scores tests and prints them.
class Trial {
public:
    Trial(const Options &options, bool firstMethod, Evaluation &evaluation)
        : options(options), evaluation(evaluation), top(static_cast<std::size_t>(options.top)),
          // The report maps all distances of the first method.
          wantsAll(options.top > 0 || (firstMethod && !options.report.empty())) {}

    /// `references` are those that the method has learnt.
    void score(const Method &method, const std::vector<fs::path> &references, const Utterance &test,
               std::size_t group) {
        const Clock clock;
        Result result;
        result.file = test.file;
        result.group = group;
        result.expected = test.label;
        decide(method, references, evaluation.labels,
               wantsAll ? method.score(test.features) : method.scoreTwo(test.features), top, result);
        evaluation.scoringSeconds += clock.seconds();
        evaluation.speechSeconds += test.seconds;
        Group &counts = evaluation.groups[group];
        ++counts.total;
        counts.right += result.right();
        if (!options.report.empty() && !evaluation.states && isPictured(test.file))
            evaluation.states = showStates(method, test);
        evaluation.results.push_back(std::move(result));
    }

    /// The line of the latest result.
    void print(Listing &listing, Progress &progress) const {
        if (listingOnTerminal) progress.clear();
        listing.print(evaluation.results.back());
    }

private:
    bool isPictured(const fs::path &file) const {
        return options.show.empty() || isCalled(file, options.show.front());
    }

    const Options &options;
    Evaluation &evaluation;
    std::size_t top;
    bool wantsAll;
    bool listingOnTerminal = isatty(STDOUT_FILENO) == 1;
};

void checkGroups(const Evaluation &evaluation) {
    for (const Group &group : evaluation.groups)
        if (!group.total) throw common::InputError(group.name + ": no usable recording in this directory");
}

void recogniseTests(const Options &options, Recordings &tests, const FrontEnd &frontEnd, const Method &method,
                    bool first, Evaluation &evaluation) {
    std::vector<fs::path> files;
    for (const Input &input : tests.inputs())
        files.push_back(input.file);
    for (const std::string &argument : options.tests)
        evaluation.groups.push_back({argument});
    Listing listing(files, evaluation.labels);
    Trial trial(options, first, evaluation);
    Progress progress("tests", files.size());
    for (std::size_t input = 0; input < files.size(); ++input) {
        const Recordings::Prepared &test = tests.prepare(input, frontEnd, progress);
        if (test.utterance) {
            evaluation.preparingSeconds += test.seconds;
            trial.score(method, evaluation.references, *test.utterance, tests.inputs()[input].group);
            trial.print(listing, progress);
        }
        progress.advance();
    }
    checkGroups(evaluation);
}

/// Every recording is a test once, for a method that learnt the other parts.
void crossValidate(const Options &options, Recordings &recordings, const FrontEnd &frontEnd, Method &method,
                   bool first, Evaluation &evaluation) {
    const std::vector<Utterance> all = recordings.prepareAll(frontEnd, "recordings");
    evaluation.preparingSeconds = recordings.preparingSeconds(frontEnd);
    evaluation.references = filesOf(all);
    evaluation.labels = labelsOf(all);
    const auto parts = static_cast<std::size_t>(options.crossValidate);
    const std::vector<std::size_t> part = assignParts(all, parts);
    Listing listing(evaluation.references, evaluation.labels);
    Trial trial(options, first, evaluation);
    Progress progress("cross-validation of " + evaluation.method, all.size());
    for (std::size_t test = 0; test < parts; ++test) {
        std::vector<Utterance> references;
        for (std::size_t recording = 0; recording < all.size(); ++recording)
            if (part[recording] != test) references.push_back(all[recording]);
        learn(method, references, evaluation);
        const std::vector<fs::path> learnt = filesOf(references);
        evaluation.groups.push_back({"part " + std::to_string(test + 1)});
        for (std::size_t recording = 0; recording < all.size(); ++recording)
            if (part[recording] == test) {
                trial.score(method, learnt, all[recording], test);
                trial.print(listing, progress);
                progress.advance();
            }
    }
    checkGroups(evaluation);
}

/// Learns or loads, saves, and tries the method.
Evaluation evaluate(const Options &options, const std::string &name, bool first, Recordings &references,
                    Recordings &tests) {
    const std::unique_ptr<Method> method = makeMethod(name, {options.band});
    const FrontEnd frontEnd(method->arithmetic());
    Evaluation evaluation;
    evaluation.method = name;
    if (options.crossValidate) {
        crossValidate(options, references, frontEnd, *method, first, evaluation);
    } else {
        if (options.load.empty()) {
            const std::vector<Utterance> learnt = references.prepareAll(frontEnd, "references");
            const Progress progress("learning by " + name, 1);
            learn(*method, learnt, evaluation);
            evaluation.references = filesOf(learnt);
        } else {
            evaluation.references = loadMethod(*method, name, options.load);
            evaluation.loaded = true;
        }
        evaluation.labels = labelsOf(method->candidates());
        if (!options.save.empty()) saveMethod(*method, name, options.save, evaluation.references);
        if (!tests.inputs().empty()) recogniseTests(options, tests, frontEnd, *method, first, evaluation);
    }
    evaluation.templates = method->comparesReferences();
    evaluation.neighbours = method->neighbours();
    evaluation.skipped = references.skipped() + tests.skipped();
    return evaluation;
}

void checkPlaces(const Options &options) {
    if (!options.report.empty()) checkReportPlace(options.report);
    for (const std::string &name : options.methods) {
        if (!options.save.empty()) checkModelPlace(options.save, name);
        // Before any other work is done for nothing.
        if (!options.load.empty()) loadMethod(*makeMethod(name, {options.band}), name, options.load);
    }
}

void run(const Options &options) {
    checkPlaces(options);
    Recordings references(options.references), tests(options.tests);
    checkShown(options.show, (options.crossValidate ? references : tests).inputs());

    std::vector<Evaluation> evaluations;
    for (const std::string &name : options.methods) {
        if (options.methods.size() > 1)
            std::printf("%smethod    %s\n", evaluations.empty() ? "" : "\n", name.c_str());
        evaluations.push_back(evaluate(options, name, evaluations.empty(), references, tests));
        if (!evaluations.back().results.empty()) printSummary(evaluations.back());
        if (!options.save.empty()) std::printf("saved     %s\n", modelFile(options.save, name).c_str());
    }
    if (evaluations.front().results.empty()) return;
    if (evaluations.size() > 1) printComparison(evaluations);
    if (!options.report.empty()) {
        const FrontEnd frontEnd(makeMethod(options.methods.front(), {options.band})->arithmetic());
        writeReport(options.report, evaluations, frontEnd, options.show);
        std::printf("report    %s\n", options.report.c_str());
    }
}

} // namespace
} // namespace recognise

int main(int argc, char **argv) {
    return common::runProgram(recognise::programName,
                              [&] { recognise::run(recognise::parseOptions(argc, argv)); });
}
