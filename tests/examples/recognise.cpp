// The recogniser as a program: what it prints, writes and returns. The words are made here: steady and
// gliding formants over a pitch, different in pitch and tempo from take to take. They are far apart, so every
// one of them must be recognised in every format.

#include "program.hpp"

#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <map>
#include <numbers>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Formants {
    double first, second;
};

// Begin and end of each of the word's equal parts, in Hz.
using Word = std::vector<Formants>;

const std::map<std::string, Word> vocabulary{
    {"arra", {{700, 1200}, {700, 1200}, {350, 1500}, {700, 1200}}},
    {"ee", {{300, 2300}, {280, 2400}, {300, 2300}}},
    {"oyo", {{450, 800}, {300, 2200}, {450, 800}}},
    {"uwa", {{320, 700}, {320, 800}, {750, 1300}}},
    {"yai", {{300, 2300}, {750, 1400}, {300, 2200}}},
};

std::vector<float> speak(const Word &word, double seconds, double pitch, unsigned seed, int rate = 8000) {
    std::mt19937 random(seed);
    std::normal_distribution<double> breath(0, 0.001);
    const auto silence = static_cast<std::size_t>(0.15 * rate),
               length = static_cast<std::size_t>(seconds * rate);
    std::vector<float> samples(length + 2 * silence);
    for (float &sample : samples)
        sample = static_cast<float>(breath(random));
    for (std::size_t n = 0; n < length; ++n) {
        const double part =
            static_cast<double>(n) / static_cast<double>(length) * static_cast<double>(word.size() - 1);
        const auto from = static_cast<std::size_t>(part);
        const double way = part - static_cast<double>(from);
        const auto glide = [&](double Formants::*formant) {
            return word[from].*formant * (1 - way) + word[from + 1].*formant * way;
        };
        double sum = 0;
        for (int harmonic = 1; harmonic * pitch < 3600; ++harmonic) {
            const auto resonance = [&](double centre) {
                const double distance = (harmonic * pitch - centre) / 120;
                return 1 / (1 + distance * distance);
            };
            sum += (resonance(glide(&Formants::first)) + 0.6 * resonance(glide(&Formants::second))) *
                   std::cos(2 * std::numbers::pi * harmonic * pitch * static_cast<double>(n) / rate);
        }
        const double place = static_cast<double>(n) / static_cast<double>(length);
        samples[silence + n] += static_cast<float>(0.12 * sum * std::sin(std::numbers::pi * place));
    }
    return samples;
}

void save(const fs::path &file, const std::vector<float> &samples,
          int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16, int rate = 8000, int channels = 1) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE *sound = sf_open(file.c_str(), SFM_WRITE, &info);
    ASSERT_NE(sound, nullptr) << file << ": " << sf_strerror(nullptr);
    for (const float sample : samples) {
        const std::vector<float> frame(static_cast<std::size_t>(channels), sample);
        EXPECT_EQ(sf_writef_float(sound, frame.data(), 1), 1);
    }
    sf_close(sound);
}

// References and tests of every word.
class Recognise : public ProgramTest {
protected:
    Recognise() : ProgramTest(RECOGNISE_PROGRAM) {}

    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(ProgramTest::SetUp());
        fs::create_directory(place / "references");
        fs::create_directory(place / "tests");
        unsigned seed = 1;
        for (const auto &[name, word] : vocabulary) {
            save(place / "references" / (name + ".wav"), speak(word, 0.5, 110, ++seed));
            save(place / "tests" / (name + "_other_1.wav"), speak(word, 0.58, 125, ++seed));
        }
    }
};

const std::vector<std::string> methods{"dtw", "dtw16", "hmm", "hmm16", "semihmm", "vqhmm", "mlp"};

TEST_F(Recognise, NamesEveryWordWithEveryMethod) {
    for (const std::string &method : methods) {
        const Outcome outcome = run("--references references --tests tests --method " + method);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "") << "nothing to complain of, and no bar without a terminal";
        EXPECT_NE(outcome.out.find("accuracy  total  5 of 5  100.00 %"), std::string::npos) << outcome.out;
        EXPECT_NE(outcome.out.find("times real time"), std::string::npos);
        std::istringstream table(outcome.out);
        std::string line;
        std::getline(table, line);
        for (const auto &[name, word] : vocabulary) {
            std::string file, expected, recognised;
            double score = 0, margin = 0;
            ASSERT_TRUE(table >> file >> expected >> recognised >> score >> margin) << outcome.out;
            EXPECT_EQ(file, "tests/" + name + "_other_1.wav");
            EXPECT_EQ(expected, name);
            EXPECT_EQ(recognised, name);
            EXPECT_GT(score, 0);
            EXPECT_GT(margin, 0) << method;
        }
    }
}

TEST_F(Recognise, SixteenBitScoresAreCloseToTheFloatOnes) {
    const auto scores = [&](const std::string &method) {
        std::istringstream table(run("--references references --tests tests --method " + method).out);
        std::vector<double> values;
        std::string line, file, expected, recognised;
        std::getline(table, line);
        for (double score, margin; table >> file >> expected >> recognised >> score >> margin;)
            values.insert(values.end(), {score, margin});
        return values;
    };
    const std::vector<double> real = scores("dtw"), integer = scores("dtw16");
    ASSERT_EQ(real.size(), 2 * vocabulary.size());
    ASSERT_EQ(integer.size(), real.size());
    // Truncation to 2^-7 of a unit in 26 dimensions moves a distance by less than 0.04 on either side, the
    // coarser cepstra add as much again.
    for (std::size_t k = 0; k < real.size(); ++k)
        EXPECT_NEAR(integer[k], real[k], 0.15);
}

TEST_F(Recognise, ReadsEveryFormatRateAndChannelCount) {
    const fs::path formats = place / "formats";
    fs::create_directory(formats);
    struct Format {
        const char *name;
        int format, rate, channels;
    };
    const std::vector<Format> all{
        {".wav", SF_FORMAT_WAV | SF_FORMAT_GSM610, 8000, 1},
        {".flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 2},
        {".ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 16000, 1},
        {".gsm", SF_FORMAT_RAW | SF_FORMAT_GSM610, 8000, 1},
        {".aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 11025, 3},
    };
    for (const auto &[extension, format, rate, channels] : all)
        for (const auto &[name, word] : vocabulary)
            save(formats / (name + "_coded_" + std::to_string(format) + extension),
                 speak(word, 0.55, 118, 77, rate), format, rate, channels);
    const Outcome outcome = run("--references references --tests formats");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("accuracy  total  25 of 25  100.00 %"), std::string::npos) << outcome.out;
}

TEST_F(Recognise, TakesLabelsFromNames) {
    const std::vector<float> word = speak(vocabulary.at("ee"), 0.5, 110, 3);
    const fs::path names = place / "names";
    fs::create_directory(names);
    const std::map<std::string, std::string> labels{
        {"seven_anna_3.wav", "seven"}, {"7_anna_12.wav", "7"}, {"a_p.wav", "a_p"},
        {"day-0.wav", "day-0"},        {"x_y_z.wav", "x_y_z"}, {"a_b_c_4.wav", "a_b_c_4"},
        {"_b_4.wav", "_b_4"},          {"w__4.wav", "w__4"},   {"two_.wav", "two_"},
        {"one.two.wav", "one.two"},
    };
    for (const auto &[file, label] : labels)
        save(names / file, word);
    const Outcome outcome = run("--references references --tests names");
    EXPECT_EQ(outcome.status, 0);
    for (const auto &[file, label] : labels) {
        const std::size_t at = outcome.out.find("names/" + file + " ");
        ASSERT_NE(at, std::string::npos) << file;
        std::istringstream line(outcome.out.substr(at));
        std::string name, expected;
        line >> name >> expected;
        EXPECT_EQ(expected, label) << file;
    }
    EXPECT_NE(outcome.out.find("10 tests whose word has no reference"), std::string::npos) << outcome.out;
}

TEST_F(Recognise, ListsTheBestReferences) {
    const Outcome outcome = run("--references references --tests tests/ee_other_1.wav --top 3");
    EXPECT_EQ(outcome.status, 0);
    std::istringstream table(outcome.out);
    std::string line;
    std::getline(table, line);
    std::getline(table, line);
    double previous = 0;
    for (int rank = 1; rank <= 3; ++rank) {
        std::string number, file;
        double score = 0;
        ASSERT_TRUE(table >> number >> score >> file) << outcome.out;
        EXPECT_EQ(number, std::to_string(rank) + ".");
        if (rank == 1) {
            EXPECT_EQ(file, "references/ee.wav");
        }
        EXPECT_GE(score, previous);
        previous = score;
    }
    EXPECT_EQ(outcome.out.find(" 4. "), std::string::npos);
}

TEST_F(Recognise, CountsSeveralArgumentsOneByOne) {
    fs::create_directory(place / "quiet");
    std::vector<float> quiet = speak(vocabulary.at("uwa"), 0.5, 100, 9);
    for (float &sample : quiet)
        sample *= 0.05F;
    save(place / "quiet" / "uwa.wav", quiet);
    const Outcome outcome = run("--references references --tests tests quiet");
    EXPECT_NE(outcome.out.find("accuracy  tests  5 of 5  100.00 %"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("accuracy  quiet  1 of 1  100.00 %"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("accuracy  total  6 of 6  100.00 %"), std::string::npos) << outcome.out;
}

TEST_F(Recognise, FindsTheWordInALongRecording) {
    const std::vector<float> word = speak(vocabulary.at("arra"), 0.5, 110, 4);
    std::mt19937 random(5);
    std::normal_distribution<float> noise(0, 0.003F);
    std::vector<float> recording(3 * 8000);
    std::copy(word.begin(), word.end(), recording.begin() + 10000);
    for (float &sample : recording)
        sample += noise(random);
    recording[2000] = recording[2001] = 0.7F; // a click
    save(place / "arra_long_1.wav", recording);
    const Outcome outcome = run("--references references --tests arra_long_1.wav");
    EXPECT_NE(outcome.out.find("accuracy  total  1 of 1"), std::string::npos) << outcome.out;
}

TEST_F(Recognise, SaysWhenNothingIsComparable) {
    save(place / "ee_slow_1.wav", speak(vocabulary.at("ee"), 6, 110, 4));
    const Outcome outcome = run("--references references --tests ee_slow_1.wav --top 2 --report r.html");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("ee_slow_1.wav  ee        -"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("accuracy  total  0 of 1  0.00 %"), std::string::npos) << outcome.out;
    const std::string html = contents(place / "r.html");
    EXPECT_NE(html.find("</html>"), std::string::npos);
    EXPECT_NE(html.find("<div class='pair'>"), std::string::npos) << "one recording, one column";
}

TEST_F(Recognise, WritesAReportThatNeedsNothingElse) {
    save(place / "tests" / "ee_wrong_2.wav", speak(vocabulary.at("arra"), 0.5, 110, 4));
    const Outcome outcome = run("--references references --tests tests --report report.html --show oyo");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string html = contents(place / "report.html");
    EXPECT_EQ(html.find("http"), std::string::npos);
    EXPECT_EQ(html.find("<link"), std::string::npos);
    EXPECT_EQ(html.find("src="), std::string::npos);
    EXPECT_NE(html.find("tests/ee_wrong_2.wav"), std::string::npos) << "the misrecognised one is pictured";
    EXPECT_NE(html.find("Test: tests/oyo_other_1.wav"), std::string::npos)
        << "and the one that was asked for";
    EXPECT_EQ(html.find("Test: tests/uwa_other_1.wav"), std::string::npos);
    EXPECT_NE(html.find("data:image/png;base64,"), std::string::npos);
    EXPECT_EQ(html.substr(html.size() - 8), "</html>\n");
    for (const auto &entry : fs::directory_iterator(place))
        EXPECT_EQ(entry.path().filename().string().find(".part"), std::string::npos) << entry.path();
}

TEST_F(Recognise, KeepsTheReportSmall) {
    fs::create_directory(place / "many");
    const std::vector<float> word = speak(vocabulary.at("oyo"), 0.5, 110, 4);
    save(place / "one.wav", word);
    for (int k = 0; k < 400; ++k)
        fs::create_symlink(place / "one.wav", place / "many" / ("wrong" + std::to_string(k) + ".wav"));
    for (int k = 0; k < 150; ++k)
        fs::create_symlink(place / "references" / "ee.wav",
                           place / "references" / ("extra" + std::to_string(k) + ".wav"));
    const Outcome outcome = run("--references references --tests many --report report.html");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_LT(fs::file_size(place / "report.html"), 2'000'000u);
}

TEST_F(Recognise, EscapesNamesInTheReport) {
    save(place / "tests" / "<b>&'\"_x_1.wav", speak(vocabulary.at("ee"), 0.5, 110, 4));
    EXPECT_EQ(run("--references references --tests tests --report report.html").status, 0);
    const std::string html = contents(place / "report.html");
    EXPECT_EQ(html.find("<b>&"), std::string::npos);
    EXPECT_NE(html.find("&lt;b&gt;&amp;&#39;&quot;"), std::string::npos);
}

// Bytes of every kind: well-formed, overlong, a surrogate, cut short, alone.
TEST_F(Recognise, WritesValidTextWhateverTheNamesHold) {
    const std::string input = "\u00E9\u20AC\U0001F600-\xC0\xAF-\xED\xA0\x80-\xF0\x9F\x98-\x80-\xFF_x_1.wav",
                      bad = "\uFFFD",
                      output = "\u00E9\u20AC\U0001F600-" + bad + bad + "-" + bad + bad + bad + "-" + bad +
                               bad + bad + "-" + bad + "-" + bad + "_x_1.wav";
    save(place / "tests" / input, speak(vocabulary.at("ee"), 0.5, 110, 4));
    EXPECT_EQ(run("--references references --tests tests --report report.html").status, 0);
    const std::string html = contents(place / "report.html");
    EXPECT_NE(html.find("<td>tests/" + output + "</td>"), std::string::npos);
    EXPECT_EQ(html.find('\xFF'), std::string::npos);
}

TEST_F(Recognise, AlignsColumnsByCharacters) {
    save(place / "tests" / "\u00E9\u00E9\u00E9_b_1.wav", speak(vocabulary.at("ee"), 0.5, 110, 4));
    save(place / "tests" / "eee_b_1.wav", speak(vocabulary.at("ee"), 0.5, 110, 4));
    std::istringstream table(run("--references references --tests tests").out);
    std::map<std::string, std::string> found;
    for (std::string line; std::getline(table, line);)
        if (const std::size_t end = line.find("_b_1.wav"); end != std::string::npos)
            found[line.substr(6, end - 6)] = line.substr(end);
    ASSERT_EQ(found.size(), 2u);
    std::string accented = found["\u00E9\u00E9\u00E9"];
    const std::size_t word = accented.find("\u00E9\u00E9\u00E9");
    ASSERT_NE(word, std::string::npos);
    EXPECT_EQ(accented.replace(word, 6, "eee"), found["eee"]);
}

TEST_F(Recognise, SaysHowManyReferencesDecide) {
    const std::string arguments = "--references references --tests tests --report report.html";
    EXPECT_EQ(run(arguments).status, 0);
    EXPECT_NE(contents(place / "report.html").find("that of its nearest reference"), std::string::npos);
    unsigned seed = 40;
    for (const auto &[name, word] : vocabulary)
        save(place / "references" / (name + "_again_2.wav"), speak(word, 0.52, 115, ++seed));
    EXPECT_EQ(run(arguments).status, 0);
    EXPECT_NE(contents(place / "report.html").find("the mean over its 2 nearest references"),
              std::string::npos);
}

TEST_F(Recognise, CountsInTheSingular) {
    fs::create_directory(place / "one");
    save(place / "one" / "eh.wav", speak(vocabulary.at("ee"), 0.5, 110, 4));
    std::ofstream(place / "one" / "text.wav") << "not a sound";
    const Outcome outcome = run("--references references/ee.wav --tests one --report report.html");
    EXPECT_NE(outcome.out.find("1 test whose word has no reference"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("1 file that could not be used"), std::string::npos) << outcome.out;
    const std::string html = contents(place / "report.html");
    for (const char *text : {">test right<", ">word in 1 reference<", ">file not usable<"})
        EXPECT_NE(html.find(text), std::string::npos) << text;
}

// A link leads to what is replaced; whatever is no regular file stays as it was.
TEST_F(Recognise, ReplacesRegularFilesOnly) {
    const std::string arguments = "--references references --tests tests --report ";
    fs::create_directory(place / "elsewhere");
    std::ofstream(place / "elsewhere" / "old.html") << "old";
    fs::create_symlink("elsewhere/old.html", place / "link.html");
    EXPECT_EQ(run(arguments + "link.html").status, 0);
    EXPECT_TRUE(fs::is_symlink(place / "link.html"));
    EXPECT_FALSE(fs::is_symlink(place / "elsewhere" / "old.html"));
    EXPECT_NE(contents(place / "elsewhere" / "old.html").find("</html>"), std::string::npos);

    ASSERT_EQ(mkfifo((place / "pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", place / "pipelink");
    fs::create_symlink("nothing", place / "dangling");
    fs::create_symlink("loop", place / "loop");
    for (const std::string name : {"pipe", "pipelink", "dangling", "loop"})
        expectRefusal(arguments + name, name, "not a regular file");
    EXPECT_TRUE(fs::is_fifo(place / "pipe"));
    for (const std::string name : {"pipelink", "dangling", "loop"})
        EXPECT_TRUE(fs::is_symlink(place / name)) << name;
    EXPECT_FALSE(fs::exists(place / "nothing"));
}

TEST_F(Recognise, RefusesAReportThatCannotBeWritten) {
    fs::create_directory(place / "taken");
    expectRefusal("--references references --tests tests --report nowhere/report.html", "nowhere/report.html",
                  "No such file or directory");
    expectRefusal("--references references --tests tests --report taken", "taken", "Is a directory");
}

TEST_F(Recognise, NamesInputThatCannotBeUsed) {
    fs::create_directory(place / "empty");
    save(place / "short.wav", std::vector<float>(255, 0.5F));
    save(place / "none.wav", {});
    save(place / "silence.wav", std::vector<float>(8000, 0.0F));
    save(place / "faint.wav", std::vector<float>(8000, 0.0002F));
    std::ofstream(place / "text.wav") << "these are words, but only in writing";
    std::ofstream(place / "text.gsm") << "these are words, but only in writing, and long enough for a frame";
    std::ofstream(place / "zero.wav");
    fs::create_directory(place / "useless");
    fs::copy(place / "text.wav", place / "useless");
    for (const auto &[input, reason] : std::map<std::string, std::string>{
             {"missing", "no such file or directory"},
             {"missing.wav", "no such file or directory"},
             {"empty", "no files"},
             {"short.wav", "shorter than one frame"},
             {"none.wav", "shorter than one frame"},
             {"silence.wav", "silence"},
             {"faint.wav", "silence"},
             {"text.wav", "not a sound file"},
             {"text.gsm", "not a sound file"},
             {"zero.wav", "not a sound file"},
         }) {
        expectRefusal("--references references --tests " + input, input, reason);
        expectRefusal("--tests tests --references " + input, input, reason);
    }
    // The file and then the directory that nothing remains of.
    const Outcome outcome = run("--references references --tests useless");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lines(outcome.err), 2u) << outcome.err;
    EXPECT_EQ(outcome.out, "") << "no heading without a row";
    if (geteuid() != 0) {
        fs::permissions(place / "short.wav", fs::perms::none);
        expectRefusal("--references references --tests short.wav", "short.wav", "Permission denied");
    }
}

TEST_F(Recognise, SkipsAndCountsBadFilesOfADirectory) {
    std::ofstream(place / "tests" / "broken.wav") << "not a sound";
    save(place / "references" / "nothing.wav", std::vector<float>(8000, 0.0F));
    const Outcome outcome = run("--references references --tests tests --report report.html");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(lines(outcome.err), 2u) << outcome.err;
    EXPECT_NE(outcome.err.find("tests/broken.wav: not a sound file"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("references/nothing.wav: nothing but silence"), std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.out.find("skipped   2 files"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("accuracy  total  5 of 5"), std::string::npos) << outcome.out;
}

TEST_F(Recognise, RefusesBadArgumentsInOneLine) {
    const std::string input = "--references references --tests tests ";
    expectRefusal("", "--references", "required");
    expectRefusal("--references references", "--tests", "required");
    expectRefusal(input + "--method guess", "--method", "guess");
    expectRefusal(input + "--method dtw guess", "--method", "guess");
    expectRefusal(input + "--save ''", "--save", "empty");
    expectRefusal("--load '' --tests tests", "--load", "empty");
    expectRefusal(input + "--load kept", "--load", "--references");
    expectRefusal("--load kept --save kept --tests tests", "--load", "--save");
    expectRefusal("--load kept", "--tests", "required");
    expectRefusal(input + "--cross-validate 2", "--cross-validate", "--tests");
    expectRefusal("--references references --cross-validate 1", "--cross-validate", "not between 2 and 1000");
    expectRefusal("--references references --cross-validate two", "--cross-validate", "not a number");
    expectRefusal("--references references --cross-validate 2", "--cross-validate 2", "no word has 2 takes");
    expectRefusal("--references references --save kept --report r.html", "--report", "--tests");
    expectRefusal(input + "--band wide", "--band", "\"wide\" is not a number");
    expectRefusal(input + "--band 1.5", "--band", "not a whole number");
    expectRefusal(input + "--band -1", "--band", "-1");
    expectRefusal(input + "--band 1001", "--band", "not between 0 and 1000");
    expectRefusal(input + "--band 99999999999", "--band", "not between 0 and 1000");
    expectRefusal(input + "--top -3", "--top", "-3");
    expectRefusal(input + "--louder", "--louder", "not expected");
    expectRefusal(input + "--report ''", "--report", "empty");
    expectRefusal("--references '' --tests tests", "--references", "empty");
    expectRefusal("--references references --tests ''", "--tests", "empty");
    expectRefusal(input + "--show ee", "--show", "--report");
    expectRefusal(input + "--report report.html --show ee nay", "nay", "no test");
    EXPECT_FALSE(fs::exists(place / "report.html"));
}

TEST_F(Recognise, ExplainsItself) {
    const Outcome help = run("--help");
    EXPECT_EQ(help.status, 0);
    for (const char *option : {"--references", "--tests", "--method", "--band", "--report", "--top", "--show",
                               "--save", "--load", "--cross-validate"})
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
    const Outcome version = run("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("recognise ", 0), 0u) << version.out;
}

// The tests' lines, without what a run takes.
std::string linesOfTests(const std::string &out) { return out.substr(0, out.find("\n\n")); }

TEST_F(Recognise, ScoresTheSameWithWhatWasKept) {
    for (const std::string &method : methods) {
        const std::string arguments = "--tests tests --top 2 --method " + method;
        const Outcome learnt = run("--references references --save kept " + arguments);
        EXPECT_EQ(learnt.status, 0) << learnt.err;
        EXPECT_NE(learnt.out.find("saved     kept/" + method + ".model"), std::string::npos) << learnt.out;
        const Outcome loaded = run("--load kept " + arguments);
        EXPECT_EQ(loaded.status, 0) << loaded.err;
        EXPECT_NE(loaded.out.find("references/ee.wav"), std::string::npos) << "the names of the references";
        EXPECT_EQ(linesOfTests(loaded.out), linesOfTests(learnt.out)) << method;
    }
    for (const auto &entry : fs::directory_iterator(place / "kept"))
        EXPECT_EQ(entry.path().extension(), ".model") << "nothing half-written";
}

TEST_F(Recognise, LearnsTheSameEveryTime) {
    for (const std::string method : {"hmm", "semihmm", "mlp"}) {
        for (const std::string directory : {"first", "second"}) {
            const Outcome outcome =
                run("--references references --method " + method + " --save " + directory);
            EXPECT_EQ(outcome.status, 0) << outcome.err;
            EXPECT_EQ(outcome.out, "saved     " + directory + "/" + method + ".model\n")
                << "no tests, no more";
        }
        const std::string file = method + ".model";
        EXPECT_EQ(contents(place / "first" / file), contents(place / "second" / file)) << method;
    }
}

// Of the words that a class is searched for and those that are scored one by one, the best are the same.
TEST_F(Recognise, FindsTheBestOfAClassAsOneByOne) {
    for (const std::string method : {"hmm", "hmm16", "semihmm", "vqhmm"}) {
        const std::string arguments = "--references references --tests tests --method " + method;
        EXPECT_EQ(linesOfTests(run(arguments).out),
                  linesOfTests(run(arguments + " --report report.html").out))
            << method;
    }
}

// No path may end half-way through a word that begins like another.
TEST_F(Recognise, TellsAWordFromItsBeginning) {
    const Word whole{{700, 1200}, {300, 2300}, {700, 1200}, {450, 800}}, part{{700, 1200}, {300, 2300}};
    for (const std::string directory : {"two", "again"})
        fs::create_directory(place / directory);
    save(place / "two" / "whole.wav", speak(whole, 0.6, 110, 21));
    save(place / "two" / "part.wav", speak(part, 0.3, 110, 22));
    save(place / "again" / "whole_b_1.wav", speak(whole, 0.66, 120, 23));
    save(place / "again" / "part_b_1.wav", speak(part, 0.33, 120, 24));
    for (const std::string method : {"hmm", "hmm16", "semihmm", "vqhmm"}) {
        const Outcome outcome = run("--references two --tests again --method " + method);
        EXPECT_NE(outcome.out.find("accuracy  total  2 of 2"), std::string::npos) << method << outcome.out;
    }
}

TEST_F(Recognise, RefusesModelsThatAreNone) {
    EXPECT_EQ(run("--references references --method hmm vqhmm --save kept").status, 0);
    const fs::path file = place / "kept" / "hmm.model";
    const std::string good = contents(file);
    const auto expectBad = [&](const std::string &bytes, const std::string &reason) {
        std::ofstream(file, std::ios::binary) << bytes;
        expectRefusal("--load kept --tests tests --method hmm", "kept/hmm.model", reason);
    };
    expectBad("", "not a model");
    expectBad("recog", "not a model");
    expectBad("A text of somebody's.\n", "not a model");
    expectBad(contents(place / "references" / "ee.wav"), "not a model");
    expectBad("recognise-model 2 hmm\n", "another version");
    expectBad(contents(place / "kept" / "vqhmm.model"), "not a model of the method hmm");
    for (const std::size_t length : {good.size() - 1, good.size() / 2, std::size_t{30}, std::size_t{22}})
        expectBad(good.substr(0, length), "damaged or cut short");
    expectBad(good + "\n", "damaged or cut short");
    for (const std::size_t at : {std::size_t{40}, good.size() / 3, good.size() - 3}) {
        std::string bad = good;
        bad[at] = bad[at] == '1' ? '2' : '1';
        expectBad(bad, "damaged or cut short");
    }
    fs::remove(file);
    expectRefusal("--load kept --tests tests --method hmm", "kept/hmm.model", "No such file");
    expectRefusal("--load missing --tests tests", "missing/dtw.model", "No such file");
    expectRefusal("--load kept --tests tests --method all", "kept/dtw.model", "No such file");
}

TEST_F(Recognise, RefusesADirectoryThatCannotTakeModels) {
    std::ofstream(place / "file") << "old";
    fs::create_directories(place / "kept" / "dtw.model");
    const std::string arguments = "--references references --tests tests --save ";
    expectRefusal(arguments + "file", "file", "not a directory");
    expectRefusal(arguments + "nowhere/kept", "nowhere", "No such file or directory");
    expectRefusal(arguments + "kept", "kept/dtw.model", "Is a directory");
    EXPECT_EQ(contents(place / "file"), "old");
    EXPECT_EQ(run(arguments + "new/").status, 0) << "made when it is missing";
    EXPECT_TRUE(fs::exists(place / "new" / "dtw.model"));
}

TEST_F(Recognise, CrossValidates) {
    fs::create_directory(place / "takes");
    unsigned seed = 60;
    for (const auto &[name, word] : vocabulary)
        for (int take = 0; take < 4; ++take)
            save(place / "takes" / (name + "_a_" + std::to_string(take) + ".wav"),
                 speak(word, 0.5 + 0.03 * take, 108 + 6 * take, ++seed));
    std::ofstream(place / "takes" / "broken_a_1.wav") << "not a sound";
    for (const std::string method : {"dtw", "hmm", "vqhmm"}) {
        const Outcome outcome = run("--references takes --cross-validate 2 --method " + method);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(lines(outcome.err), 1u) << outcome.err;
        for (const char *text : {"accuracy  part 1  10 of 10", "accuracy  part 2  10 of 10",
                                 "accuracy  total   20 of 20", "skipped   1 file"})
            EXPECT_NE(outcome.out.find(text), std::string::npos) << method << '\n' << outcome.out;
        for (const auto &[name, word] : vocabulary) // each take is a test once
            for (int take = 0; take < 4; ++take) {
                const std::string file = "takes/" + name + "_a_" + std::to_string(take) + ".wav ";
                const std::size_t at = outcome.out.find(file);
                ASSERT_NE(at, std::string::npos) << file;
                EXPECT_EQ(outcome.out.find(file, at + 1), std::string::npos) << file;
            }
    }
    // The take itself is never among its references: a word of a single take cannot be recognised.
    save(place / "takes" / "only_a_1.wav", speak(vocabulary.at("ee"), 0.2, 200, 99));
    const Outcome outcome = run("--references takes --cross-validate 4 --report report.html");
    EXPECT_NE(outcome.out.find("accuracy  total   20 of 21"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("1 test whose word has no reference"), std::string::npos) << outcome.out;
    EXPECT_NE(contents(place / "report.html").find("part 4"), std::string::npos);
}

// What a part was compared with are the references of that part, and its words are not those of another.
TEST_F(Recognise, PicturesTheReferencesOfEachPart) {
    fs::create_directory(place / "takes");
    unsigned seed = 80;
    for (const auto &[name, word] : vocabulary)
        for (int take = 0; take < 3; ++take)
            save(place / "takes" / (name + "_a_" + std::to_string(take) + ".wav"),
                 speak(word, 0.5 + 0.03 * take, 108 + 6 * take, ++seed));
    save(place / "takes" / "all_a_1.wav", speak(vocabulary.at("ee"), 0.2, 200, 99));
    for (const std::string method : {"dtw", "hmm"}) {
        const Outcome outcome = run("--references takes --cross-validate 3 --top 1 --report report.html "
                                    "--show arra ee oyo uwa yai --method " +
                                    method);
        const std::string html = contents(place / "report.html");
        std::istringstream table(linesOfTests(outcome.out.substr(outcome.out.find('\n') + 1)));
        std::string file, expected, recognised, score, margin, rest, reference;
        int compared = 0;
        while (table >> file >> expected >> recognised >> score >> margin && std::getline(table, rest) &&
               table >> rest >> score >> reference) {
            if (expected == "all") continue;
            EXPECT_EQ(recognised, expected) << outcome.out;
            EXPECT_NE(reference, file);
            const std::size_t at = html.find("<h4>Test: " + file + "<small>");
            ASSERT_NE(at, std::string::npos) << file;
            const std::string best = "<h4>Best reference of “" + expected + "”<small>";
            const std::size_t found = html.find(best, at);
            ASSERT_NE(found, std::string::npos) << file;
            EXPECT_EQ(html.substr(found + best.size(), reference.size()), reference) << file;
            ++compared;
        }
        EXPECT_EQ(compared, 15) << outcome.out;
        EXPECT_NE(html.find("\"columns\":[\"all\",\"arra\",\"ee\",\"oyo\",\"uwa\",\"yai\"]"),
                  std::string::npos);
        EXPECT_NE(html.find(">words in 16 references<"), std::string::npos);
    }
}

// Bars go to a terminal alone, which `script` provides.
TEST_F(Recognise, ShowsWhatTakesLong) {
    const auto shown = [&](const std::string &arguments) {
        const std::string command = "cd '" + place.string() + "' && script -qec \"'" + program + "' " +
                                    arguments + " >out\" /dev/null >err";
        EXPECT_EQ(std::system(command.c_str()), 0);
        return contents(place / "err");
    };
    const std::string learning = shown("--references references --tests tests --method hmm");
    for (const char *bar : {"references [", "learning by hmm [", "tests ["})
        EXPECT_NE(learning.find(bar), std::string::npos) << bar << '\n' << learning;
    const std::string parts = shown("--references references tests --cross-validate 2 --method dtw vqhmm");
    for (const char *bar : {"cross-validation of dtw [  ", "cross-validation of vqhmm [  ",
                            "cross-validation of vqhmm [################################] 100 %"})
        EXPECT_NE(parts.find(bar), std::string::npos) << bar << '\n' << parts;
    EXPECT_TRUE(parts.ends_with("\r\033[K")) << "taken away at the end";
}

TEST_F(Recognise, ComparesMethods) {
    const Outcome outcome =
        run("--references references --tests tests --method all --report report.html --show uwa");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::smatch heading; // as wide as the times below it
    ASSERT_TRUE(std::regex_search(outcome.out, heading, std::regex("\nmethod +total +learning +scoring\n")))
        << outcome.out;
    const auto table = static_cast<std::size_t>(heading.position());
    const std::string html = contents(place / "report.html");
    for (const std::string &method : methods) {
        EXPECT_NE(outcome.out.find("method    " + method + "\n"), std::string::npos) << method;
        EXPECT_NE(outcome.out.find("\n" + method + " ", table), std::string::npos) << outcome.out;
        EXPECT_NE(html.find("<tr><td>" + method + "</td>"), std::string::npos) << method;
        const bool hasStates = method.find("hmm") != std::string::npos;
        EXPECT_EQ(html.find("<h3>" + method + "</h3>") != std::string::npos, hasStates) << method;
    }
    EXPECT_NE(html.find("No method missed a test."), std::string::npos);
    EXPECT_NE(html.find("What each frame of tests/uwa_other_1.wav costs"), std::string::npos);
    EXPECT_NE(html.find("Model of “uwa”"), std::string::npos);
    EXPECT_NE(html.find("<path class='way' d='M"), std::string::npos);
    EXPECT_EQ(html.find("http"), std::string::npos);

    const Outcome twice = run("--references references --tests tests --method vqhmm dtw vqhmm");
    EXPECT_EQ(lines(twice.out.substr(twice.out.rfind("\n\n") + 2)), 3u) << "a method named twice runs once";
}

TEST_F(Recognise, FailsWhenTheResultsCannotBeWritten) {
    const std::string command = "cd '" + place.string() +
                                "' && '" RECOGNISE_PROGRAM
                                "' --references references --tests tests >/dev/full 2>err";
    const int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_EQ(lines(contents(place / "err")), 1u) << contents(place / "err");
}

} // namespace
