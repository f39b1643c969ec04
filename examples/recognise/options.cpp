#include "options.hpp"
#include "common/program.hpp"
#include "method.hpp"

namespace recognise {
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
        ->check(common::notEmpty())
        ->type_name("DIR");
    app.add_option("--tests", options.tests,
                   "Directories or files to recognise; several are counted one by one and together")
        ->required()
        ->check(common::notEmpty())
        ->type_name("DIR");
    app.add_option("--method", options.method, "dtw: time warping; dtw16: the same on 16-bit integers")
        ->check(CLI::IsMember(methodNames()))
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--band", options.band, "Frames (10 ms) by which begin and end of a word may shift")
        ->check(common::wholeNumber(0, 1000))
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--top", options.top, "List the N best references under every test")
        ->check(common::wholeNumber(0, 1000000))
        ->type_name("N");
    CLI::Option *report =
        app.add_option("--report", options.report, "Write a report with pictures into this file")
            ->check(common::notEmpty())
            ->type_name("FILE.html");
    app.add_option("--show", options.show, "Words or file names that the report pictures even if recognised")
        ->needs(report)
        ->check(common::notEmpty())
        ->type_name("WORD");
    app.footer("Exit status: 0, or 2 when an argument, the input or the output cannot be used.");
    common::parseArguments(app, argc, argv);
    return options;
}

} // namespace recognise
