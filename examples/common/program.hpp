#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace common {

/// Checks of options; the messages follow the option's name.
CLI::Validator notEmpty();
CLI::Validator wholeNumber(int least, int most);
CLI::Validator oneOf(std::vector<int> choices);

/// Ends the process for `--help` and `--version` (status 0) and for bad arguments (one line, status 2).
void parseArguments(CLI::App &app, int argc, char **argv);

/// Writes a line to standard error, after the program's name.
void complain(const std::string &program, const std::string &text);

/// Runs the program with the library's reports collected. Returns the exit status: 2 after one line on
/// standard error if it threw or its output could not be written.
int runProgram(const std::string &program, const std::function<void()> &work);

} // namespace common
