#pragma once

#include "evaluation.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace recognise {

/// Prints the line of each test as soon as it is known, in columns that fit all of them; the heading before
/// the first.
class Listing {
public:
    Listing(const std::vector<std::filesystem::path> &files, const std::vector<std::string> &labels);

    void print(const Result &result);

private:
    void printWords(const std::string &file, const std::string &expected,
                    const std::string &recognised) const;

    std::size_t fileWidth = 4, expectedWidth = 8, recognisedWidth = 10;
    bool headed = false;
};

/// Accuracy, speed and what was left out.
void printSummary(const Evaluation &evaluation);

/// A line for each method: accuracy by group, and the time to learn and to score.
void printComparison(const std::vector<Evaluation> &evaluations);

} // namespace recognise
