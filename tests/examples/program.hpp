#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <utility>

namespace fs = std::filesystem;

struct Outcome {
    int status = -1;
    std::string out, err;
};

inline std::string contents(const fs::path &file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::size_t lines(const std::string &text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// Runs a program as its users do, in a temporary directory of each test's own.
class ProgramTest : public testing::Test {
protected:
    explicit ProgramTest(std::string program) : program(std::move(program)) {}

    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "example-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        place = pattern;
    }

    void TearDown() override { fs::remove_all(place); }

    // The shell commands before it may set up what the program runs in.
    Outcome run(const std::string &arguments, const std::string &before = "") const {
        const std::string command = "cd '" + place.string() + "' && " + before + "'" + program + "' " +
                                    arguments + " >'" + (place / "out").string() + "' 2>'" +
                                    (place / "err").string() + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(place / "out"),
                contents(place / "err")};
    }

    // A single line on standard error that names what is wrong, and status 2.
    void expectRefusal(const std::string &arguments, const std::string &named, const std::string &reason,
                       const std::string &before = "") const {
        const Outcome outcome = run(arguments, before);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_EQ(lines(outcome.err), 1u) << arguments << '\n' << outcome.err;
        EXPECT_NE(outcome.err.find(named), std::string::npos) << arguments << '\n' << outcome.err;
        EXPECT_NE(outcome.err.find(reason), std::string::npos) << arguments << '\n' << outcome.err;
    }

    std::string program;
    fs::path place;
};
