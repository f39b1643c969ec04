#pragma once

#include "evaluation.hpp"

#include <string>
#include <vector>

namespace recognise {

/// Throws InputError if no report can be written there, before any long work is done. Only a regular file is
/// ever replaced, and of a symbolic link the file that it leads to.
void checkReportPlace(const std::string &file);

/// Writes one HTML file with everything in it: accuracy, confusions, a map of the distances, and pictures of
/// the tests that were not recognised or whose word or file name is in `show`, beside their references. Of
/// several methods it compares all and shows the first. Whole or not at all; throws InputError.
void writeReport(const std::string &file, const std::vector<Evaluation> &evaluations,
                 const FrontEnd &frontEnd, const std::vector<std::string> &show);

} // namespace recognise
