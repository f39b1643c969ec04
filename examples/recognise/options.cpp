#include "options.hpp"
#include "method.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace recognise {
namespace {

std::string checkName(const std::string &text) { return text.empty() ? "the name is empty" : ""; }

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

} // namespace

Options parseOptions(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Recognises isolated words: compares every test recording with the reference recordings and names "
        "the word it is most like. Files are WAV, FLAC, OGG or headerless GSM 06.10 (.gsm); their names "
        "give the words: seven.wav and seven_anna_3.wav (word, speaker, number) are \"seven\", any other "
        "name "
        "is the word as a whole, and case counts. Subdirectories and hidden files are passed over.",
        "recognise");
    app.set_version_flag("--version", "recognise " RECOGNISE_VERSION);
    app.add_option("--references", options.references, "Directories or files of the words to compare with")
        ->required()
        ->check(checkName)
        ->type_name("DIR");
    app.add_option("--tests", options.tests,
                   "Directories or files to recognise; several are counted one by one and together")
        ->required()
        ->check(checkName)
        ->type_name("DIR");
    app.add_option("--method", options.method, "dtw: time warping; dtw16: the same on 16-bit integers")
        ->check(CLI::IsMember(methodNames()))
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--band", options.band, "Frames (10 ms) by which begin and end of a word may shift")
        ->check(wholeNumber(0, 1000))
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--top", options.top, "List the N best references under every test")
        ->check(wholeNumber(0, 1000000))
        ->type_name("N");
    CLI::Option *report =
        app.add_option("--report", options.report, "Write a report with pictures into this file")
            ->check(checkName)
            ->type_name("FILE.html");
    app.add_option("--show", options.show, "Words or file names that the report pictures even if recognised")
        ->needs(report)
        ->check(checkName)
        ->type_name("WORD");
    app.footer("Exit status: 0, or 2 when an argument, the input or the output cannot be used.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &request) {
        std::exit(app.exit(request));
    } catch (const CLI::ParseError &error) {
        std::string line = error.what();
        std::ranges::replace(line, '\n', ' ');
        std::cerr << "recognise: " << line << " (--help lists the arguments)\n";
        std::exit(2);
    }
    return options;
}

} // namespace recognise
