#include "listing.hpp"
#include "audio.hpp"
#include "text.hpp"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace recognise {
namespace {

std::string padded(const std::string &text, std::size_t width) {
    return text + std::string(width - std::min(width, characters(text)), ' ');
}

std::string flushRight(const std::string &text, std::size_t width) {
    return std::string(width - std::min(width, characters(text)), ' ') + text;
}

void widen(std::size_t &width, const std::string &text) { width = std::max(width, characters(text)); }

void printCounts(const std::string &name, std::size_t width, std::size_t right, std::size_t total) {
    std::printf("accuracy  %s  %zu of %zu  %s\n", padded(name, width).c_str(), right, total,
                percent(right, total, 2).c_str());
}

} // namespace

Listing::Listing(const std::vector<std::filesystem::path> &files, const std::vector<std::string> &labels) {
    for (const std::filesystem::path &file : files) {
        widen(fileWidth, file.string());
        widen(expectedWidth, labelOf(file));
    }
    for (const std::string &label : labels)
        widen(recognisedWidth, label);
}

void Listing::print(const Result &result) {
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
    for (std::size_t k = 0; k < result.nearest.size(); ++k)
        std::printf("    %2zu. %7.3f  %s\n", k + 1, result.nearest[k].score,
                    result.nearest[k].reference.c_str());
}

void Listing::printWords(const std::string &file, const std::string &expected,
                         const std::string &recognised) const {
    std::printf("%s  %s  %s", padded(file, fileWidth).c_str(), padded(expected, expectedWidth).c_str(),
                padded(recognised, recognisedWidth).c_str());
}

void printSummary(const Evaluation &evaluation) {
    const auto unknown =
        static_cast<std::size_t>(std::ranges::count(evaluation.results, false, &Result::known));

    std::puts("");
    std::size_t width = 5;
    if (evaluation.groups.size() > 1)
        for (const Group &group : evaluation.groups)
            widen(width, group.name);
    if (evaluation.groups.size() > 1)
        for (const Group &group : evaluation.groups)
            printCounts(group.name, width, group.right, group.total);
    printCounts("total", width, evaluation.right(), evaluation.results.size());
    std::printf("speed     %.1f s of sound in %.2f s: %.0f times real time\n", evaluation.speechSeconds,
                evaluation.workSeconds(), evaluation.timesRealTime());
    if (unknown)
        std::printf("unknown   %s whose word has no reference, counted as wrong\n",
                    counted(unknown, "test").c_str());
    if (evaluation.skipped)
        std::printf("skipped   %s that could not be used\n", counted(evaluation.skipped, "file").c_str());
}

void printComparison(const std::vector<Evaluation> &evaluations) {
    std::vector<std::vector<std::string>> table{{"method"}};
    const bool grouped = evaluations.front().groups.size() > 1;
    if (grouped)
        for (const Group &group : evaluations.front().groups)
            table[0].push_back(group.name);
    for (const char *heading : {"total", "learning", "scoring"})
        table[0].emplace_back(heading);
    for (const Evaluation &evaluation : evaluations) {
        std::vector<std::string> &row = table.emplace_back();
        row.push_back(evaluation.method);
        if (grouped)
            for (const Group &group : evaluation.groups)
                row.push_back(percent(group.right, group.total, 2));
        row.push_back(percent(evaluation.right(), evaluation.results.size(), 2));
        row.push_back(evaluation.loaded ? "loaded" : number(evaluation.learnSeconds, 2) + " s");
        row.push_back(number(evaluation.millisecondsPerTest(), 2) + " ms");
    }
    std::puts("");
    for (const std::vector<std::string> &row : table) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            std::size_t width = 0;
            for (const auto &each : table)
                widen(width, each[column]);
            std::printf("%s%s", column ? "  " : "",
                        (column ? flushRight(row[column], width) : padded(row[column], width)).c_str());
        }
        std::puts("");
    }
}

} // namespace recognise
