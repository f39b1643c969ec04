#include "options.hpp"
#include "method.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace recognise {

Options parseOptions(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Recognises isolated words: compares every test recording with the reference recordings and names "
        "the word it is most like. Files are WAV, FLAC, OGG or headerless GSM 06.10 (.gsm); their names "
        "give the words: seven.wav or seven_anna_3.wav is \"seven\".",
        "recognise");
    app.set_version_flag("--version", "recognise " RECOGNISE_VERSION);
    app.add_option("--references", options.references, "Directories or files of the words to compare with")
        ->required()
        ->type_name("DIR");
    app.add_option("--tests", options.tests,
                   "Directories or files to recognise; several are counted one by one and together")
        ->required()
        ->type_name("DIR");
    app.add_option("--method", options.method, "dtw: time warping; dtw16: the same on 16-bit integers")
        ->check(CLI::IsMember(methodNames()))
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--band", options.band, "Frames (10 ms) by which begin and end of a word may shift")
        ->check(CLI::Range(0, 1000))
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--top", options.top, "List the N best references under every test")
        ->check(CLI::Range(0, 1000000))
        ->type_name("N");
    app.add_option("--report", options.report, "Write a report with pictures into this file")
        ->type_name("FILE.html");
    app.add_option("--show", options.show, "Words or file names that the report pictures even if recognised")
        ->type_name("WORD");
    app.footer("Exit status: 0, or 2 when an argument or the input cannot be used.");
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
