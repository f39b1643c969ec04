#include "options.hpp"
#include "common/program.hpp"
#include "method.hpp"

#include <algorithm>

namespace recognise {
namespace {

constexpr const char *everyMethod = "all";

} // namespace

Options parseOptions(int argc, char **argv) {
    Options options;
    CLI::App app(
        "Recognises isolated words: compares every test recording with the reference recordings and names "
        "the word it is most like. Files are WAV, FLAC, OGG or headerless GSM 06.10 (.gsm); their names "
        "give the words: seven.wav and seven_anna_3.wav (word, speaker, number) are \"seven\", any other "
        "name is the word as a whole, and case counts. Subdirectories and hidden files are passed over.",
        "recognise");
    app.set_version_flag("--version", "recognise " RECOGNISE_VERSION);
    CLI::Option *references =
        app.add_option("--references", options.references, "Directories or files of the words to learn from")
            ->check(common::notEmpty())
            ->type_name("DIR");
    CLI::Option *tests =
        app.add_option("--tests", options.tests,
                       "Directories or files to recognise; several are counted one by one and together")
            ->check(common::notEmpty())
            ->type_name("DIR");
    std::vector<std::string> names = methodNames();
    names.emplace_back(everyMethod);
    app.add_option(
           "--method", options.methods,
           "dtw: time warping; hmm, semihmm, vqhmm: hidden Markov models (continuous, semicontinuous, "
           "discrete); mlp: perceptron; dtw16, hmm16: on 16-bit integers; several are compared, all of "
           "them with \"all\"")
        ->check(CLI::IsMember(names))
        ->type_name("NAME")
        ->capture_default_str();
    CLI::Option *load = app.add_option("--load", options.load,
                                       "Take what was learnt from this directory, not from references")
                            ->excludes(references)
                            ->check(common::notEmpty())
                            ->type_name("DIR");
    CLI::Option *save = app.add_option("--save", options.save, "Keep what was learnt in this directory")
                            ->excludes(load)
                            ->check(common::notEmpty())
                            ->type_name("DIR");
    CLI::Option *crossValidate =
        app.add_option("--cross-validate", options.crossValidate,
                       "Divide the references into N parts and recognise each with what the others teach")
            ->excludes(tests)
            ->excludes(load)
            ->excludes(save)
            ->check(common::wholeNumber(2, 1000))
            ->type_name("N");
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
    // What no single option can tell.
    app.callback([&] {
        if (references->empty() && load->empty()) throw CLI::RequiredError("--references or --load");
        if (tests->empty() && crossValidate->empty()) {
            if (save->empty()) throw CLI::RequiredError("--tests, --cross-validate or --save");
            if (!report->empty()) throw CLI::RequiresError("--report", "--tests or --cross-validate");
        }
    });
    common::parseArguments(app, argc, argv);
    if (std::ranges::count(options.methods, everyMethod)) options.methods = methodNames();
    std::vector<std::string> once;
    for (const std::string &name : options.methods)
        if (!std::ranges::count(once, name)) once.push_back(name);
    options.methods = once;
    return options;
}

} // namespace recognise
