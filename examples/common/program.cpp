#include "program.hpp"
#include "library.hpp"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace common {

CLI::Validator notEmpty() {
    return {[](const std::string &text) -> std::string { return text.empty() ? "the name is empty" : ""; },
            ""};
}

CLI::Validator wholeNumber(int least, int most) {
    return {[=](const std::string &text) -> std::string {
                const std::string shown = "\"" + text + "\"";
                const char *const end = text.data() + text.size();
                int value = 0;
                const auto [parsed, error] = std::from_chars(text.data(), end, value);
                if (parsed == text.data()) return shown + " is not a number";
                if (parsed != end) return shown + " is not a whole number";
                if (error != std::errc() || value < least || value > most)
                    return shown + " is not between " + std::to_string(least) + " and " +
                           std::to_string(most);
                return {};
            },
            ""};
}

CLI::Validator oneOf(std::vector<int> choices) {
    return {[=](const std::string &text) -> std::string {
                std::string all;
                for (const int choice : choices) {
                    if (text == std::to_string(choice)) return {};
                    all += (all.empty() ? "" : ", ") + std::to_string(choice);
                }
                return "\"" + text + "\" is none of " + all;
            },
            ""};
}

void parseArguments(CLI::App &app, int argc, char **argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &request) {
        std::exit(app.exit(request));
    } catch (const CLI::ParseError &error) {
        std::string line = error.what();
        std::ranges::replace(line, '\n', ' ');
        complain(app.get_name(), line + " (--help lists the arguments)");
        std::exit(2);
    }
}

void complain(const std::string &program, const std::string &text) {
    std::cerr << program << ": " << text << '\n';
}

int runProgram(const std::string &program, const std::function<void()> &work) {
    try {
        collectLibraryReports();
        work();
        if (std::fflush(stdout) != 0) throw std::runtime_error("cannot write the results");
        return 0;
    } catch (const std::exception &error) {
        std::fflush(stdout);
        complain(program, error.what());
        return 2;
    }
}

} // namespace common
