// What the message-box handler asks through and shows on systems without message boxes of their own. The
// dialog programs are scripts that record what they are given.
#include "qzk.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <pty.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace qzk::test {
namespace {

namespace fs = std::filesystem;

std::string contentsOf(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Directory that is removed with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (fs::temp_directory_path() / "qzk-dialog-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~TemporaryDirectory() { fs::remove_all(path_); }
    const fs::path &path() const { return path_; }

private:
    fs::path path_;
};

/// What `action` writes to standard error.
template <class Action>
std::string standardError(Action action) {
    const TemporaryDirectory directory;
    const fs::path path = directory.path() / "stderr";
    const int kept = dup(STDERR_FILENO);
    const int file = open(path.c_str(), O_CREAT | O_WRONLY, 0600);
    dup2(file, STDERR_FILENO);
    close(file);
    action();
    std::fflush(stderr);
    dup2(kept, STDERR_FILENO);
    close(kept);
    return contentsOf(path);
}

using Arguments = std::vector<std::string>;

/// Sets an environment variable, or removes it, for one scope.
class ScopedVariable {
public:
    ScopedVariable(const char *name, const char *value) : name_(name) {
        if (const char *const previous = std::getenv(name)) previous_ = previous;
        set(value);
    }
    ~ScopedVariable() { set(previous_ ? previous_->c_str() : nullptr); }

private:
    void set(const char *value) const {
        if (value != nullptr)
            setenv(name_, value, 1);
        else
            unsetenv(name_);
    }

    const char *name_;
    std::optional<std::string> previous_;
};

class MessageBox : public testing::Test {
protected:
    void TearDown() override {
        QZSetStatus(QZ_StsOk);
        QZSetErrMode(QZ_ErrorModeReport);
    }

    /// A dialog program that records its arguments and answers the two boxes with these exit codes.
    void addProgram(const std::string &name, int firstBox, int secondBox = 99) {
        const fs::path path = directory_.path() / name;
        std::ofstream(path) << "#!/bin/sh\n"
                            << "printf '%s\\0' '" << name << "' \"$@\" >> '" << log().string() << "'\n"
                            << "printf '\\n\\0' >> '" << log().string() << "'\n"
                            << "case \"$*\" in *'Terminate the application?'*) exit " << secondBox
                            << " ;; esac\nexit " << firstBox << "\n";
        fs::permissions(path, fs::perms::owner_all);
    }
    fs::path log() const { return directory_.path() / "log"; }
    const fs::path &directory() const { return directory_.path(); }

    /// Every call so far: the program's name and its arguments.
    std::vector<Arguments> calls() const {
        std::vector<Arguments> all;
        Arguments current;
        std::istringstream in(contentsOf(log()));
        for (std::string word; std::getline(in, word, '\0');) {
            if (word == "\n") {
                all.push_back(current);
                current.clear();
            } else {
                current.push_back(word);
            }
        }
        return all;
    }

    std::vector<std::string> programs() const {
        std::vector<std::string> names;
        for (const Arguments &call : calls())
            names.push_back(call[0]);
        return names;
    }

    void report(int32_t status) { EXPECT_EQ(status, QZWinError(status, "f", "m", "s", 1)); }

private:
    TemporaryDirectory directory_;
    ScopedVariable path_{"PATH", directory_.path().c_str()};
    ScopedVariable display_{"DISPLAY", ":0"};
    ScopedVariable wayland_{"WAYLAND_DISPLAY", nullptr};
};

const std::string secondText = "QZStdErrMode=QZ_ErrorModeLeaf\n  Terminate the application?";

Arguments zenity(const std::string &text, const std::string &caption, bool okCancel = true) {
    return {"zenity",
            "--question",
            "--no-markup",
            "--title=" + caption,
            "--text=" + text,
            okCancel ? "--ok-label=OK" : "--ok-label=Yes",
            okCancel ? "--cancel-label=Cancel" : "--cancel-label=No"};
}

TEST_F(MessageBox, AsksThroughZenityFirst) {
    for (const char *const name : {"zenity", "kdialog", "xmessage"})
        addProgram(name, 0);
    EXPECT_EQ(-5, QZWinError(-5, "QZbAlloc2", "message", "..\\LIBSRC\\QZ_ALLOC", 96));
    EXPECT_EQ((std::vector<Arguments>{zenity("in function\n[..\\LIBSRC\\QZ_ALLOC:96]:QZbAlloc2():\nmessage",
                                             "QZK Error: Bad argument")}),
              calls());
    EXPECT_EQ(-5, QZGetStatus());
}

TEST_F(MessageBox, AsksThroughKdialogSecond) {
    for (const char *const name : {"kdialog", "xmessage"})
        addProgram(name, 0);
    QZWinError(-5, "f", "a\\b", "..\\s", 1);
    EXPECT_EQ((std::vector<Arguments>{{"kdialog", "--title=QZK Error: Bad argument", "--yes-label", "OK",
                                       "--no-label", "Cancel", "--warningyesno",
                                       "in function\n[..\\\\s:1]:f():\na\\\\b"}}),
              calls());
}

TEST_F(MessageBox, AsksThroughXmessageThird) {
    addProgram("xmessage", 0);
    report(-5);
    EXPECT_EQ((std::vector<Arguments>{{"xmessage", "-center", "-title", "QZK Error: Bad argument", "-buttons",
                                       "OK:0,Cancel:1", "in function\n[s:1]:f():\nm"}}),
              calls());
}

TEST_F(MessageBox, TextsOfTheThreeKinds) {
    addProgram("zenity", 0);
    QZSetStatus(-4);
    report(-1);
    report(-8);
    report(-20);
    report(7);
    EXPECT_EQ((std::vector<Arguments>{
                  zenity("called from\n[s:1]:f():\nm", "QZK Error: Out of memory"),
                  zenity("called from\n[s:1]:f(m)", "QZK Error: Out of memory"),
                  zenity("in function\n[s:1]:f():\nm", "QZK Error: Overflow occured"),
                  zenity("in function\n[s:1]:f():\nm", "QZK Error: Unknown status code 7"),
              }),
              calls());
    EXPECT_EQ(7, QZGetStatus());
}

TEST_F(MessageBox, DefaultsOfMissingArguments) {
    addProgram("zenity", 0);
    QZWinError(-5, nullptr, nullptr, nullptr, -3);
    QZWinError(-8, nullptr, nullptr, nullptr, INT32_MIN);
    EXPECT_EQ((std::vector<Arguments>{
                  zenity("in function\n[:0]:<unknown>():\n", "QZK Error: Bad argument"),
                  zenity("called from\n[:0]:<unknown>()", "QZK Error: Bad argument"),
              }),
              calls());
}

TEST_F(MessageBox, TextsArriveAsTheyAre) {
    addProgram("zenity", 0);
    const std::string message = "--x \"q\" 'q' $(id) `id` %s %n <b>&amp;</b> a\\nb\n--next\n-\n";
    QZWinError(-5, "-f", message.c_str(), "-s", 1);
    EXPECT_EQ(
        (std::vector<Arguments>{zenity("in function\n[-s:1]:-f():\n" + message, "QZK Error: Bad argument")}),
        calls());
}

TEST_F(MessageBox, LongTextsAreCut) {
    addProgram("zenity", 0);
    const std::string message(5000, 'x');
    QZWinError(-5, "f", message.c_str(), "s", 1);
    const std::string whole = "in function\n[s:1]:f():\n" + message;
    ASSERT_EQ(1u, calls().size());
    EXPECT_EQ("--text=" + whole.substr(0, 999), calls()[0][4]);
}

TEST_F(MessageBox, SilentModeAsksNothing) {
    addProgram("zenity", 1);
    QZSetErrMode(QZ_ErrorModeSilent);
    EXPECT_EQ("", standardError([&] {
                  report(-5);
                  report(-1);
                  report(-8);
              }));
    EXPECT_EQ(-5, QZGetStatus());
    EXPECT_TRUE(calls().empty());
}

TEST_F(MessageBox, LeafModeAsksASecondTime) {
    addProgram("zenity", 0, 1);
    QZSetErrMode(QZ_ErrorModeLeaf);
    report(-5);
    EXPECT_EQ((std::vector<Arguments>{zenity("in function\n[s:1]:f():\nm", "QZK Error: Bad argument"),
                                      zenity(secondText, "QZK Error: Bad argument", false)}),
              calls());
}

TEST_F(MessageBox, LeafModeAsksTwiceForTraceRecordsToo) {
    addProgram("zenity", 0, 1);
    QZSetErrMode(QZ_ErrorModeLeaf);
    QZSetStatus(-4);
    report(-1);
    report(-8);
    EXPECT_EQ((std::vector<Arguments>{zenity("called from\n[s:1]:f():\nm", "QZK Error: Out of memory"),
                                      zenity(secondText, "QZK Error: Out of memory", false),
                                      zenity("called from\n[s:1]:f(m)", "QZK Error: Out of memory"),
                                      zenity(secondText, "QZK Error: Out of memory", false)}),
              calls());
}

TEST_F(MessageBox, OtherModesAskOnce) {
    addProgram("zenity", 0, 0);
    for (const int32_t mode : {1, 3, -1}) {
        QZSetErrMode(mode);
        report(-5);
    }
    EXPECT_EQ(3u, calls().size());
}

TEST_F(MessageBox, SecondBoxOfTheOtherPrograms) {
    QZSetErrMode(QZ_ErrorModeLeaf);
    addProgram("xmessage", 0, 1);
    report(-5);
    addProgram("kdialog", 0, 1);
    report(-5);
    ASSERT_EQ(4u, calls().size());
    EXPECT_EQ((Arguments{"xmessage", "-center", "-title", "QZK Error: Bad argument", "-buttons", "Yes:0,No:1",
                         secondText}),
              calls()[1]);
    EXPECT_EQ((Arguments{"kdialog", "--title=QZK Error: Bad argument", "--yes-label", "Yes", "--no-label",
                         "No", "--warningyesno", secondText}),
              calls()[3]);
}

TEST_F(MessageBox, CancelAborts) {
    addProgram("zenity", 1);
    EXPECT_EXIT(report(-5), testing::KilledBySignal(SIGABRT), "^QZK:\nterminating the application\n$");
    EXPECT_EXIT(report(-1), testing::KilledBySignal(SIGABRT), "^QZK:\nterminating the application\n$");
}

TEST_F(MessageBox, YesAborts) {
    addProgram("zenity", 0, 0);
    QZSetErrMode(QZ_ErrorModeLeaf);
    EXPECT_EXIT(report(-5), testing::KilledBySignal(SIGABRT), "^QZK:\nterminating the application\n$");
}

TEST_F(MessageBox, AbortRunsNoExitHandlers) {
    addProgram("zenity", 1);
    const auto reportWithExitHandler = [&] {
        std::atexit([] { std::fprintf(stderr, "exit handler ran\n"); });
        report(-5);
    };
    EXPECT_EXIT(reportWithExitHandler(), testing::KilledBySignal(SIGABRT),
                "^QZK:\nterminating the application\n$");
}

TEST_F(MessageBox, TheFarewellOfABufferedStandardErrorIsWritten) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    addProgram("zenity", 1);
    const auto reportWithBuffer = [&] {
        std::setvbuf(stderr, nullptr, _IOFBF, 4096);
        report(-5);
    };
    EXPECT_EXIT(reportWithBuffer(), testing::KilledBySignal(SIGABRT), "QZK:\nterminating the application\n$");
}

TEST_F(MessageBox, AFailedProgramLeavesTheQuestionToTheNext) {
    addProgram("zenity", 5);
    addProgram("kdialog", 255);
    addProgram("xmessage", 0);
    report(-5);
    EXPECT_EQ((std::vector<std::string>{"zenity", "kdialog", "xmessage"}), programs());
}

TEST_F(MessageBox, AClosedWindowOfKdialogCancels) {
    addProgram("kdialog", 2);
    addProgram("xmessage", 0);
    EXPECT_EXIT(report(-5), testing::KilledBySignal(SIGABRT), "^QZK:\nterminating the application\n$");
    EXPECT_EQ(std::vector<std::string>{"kdialog"}, programs());
}

TEST_F(MessageBox, AProgramThatCannotRunOrIsKilledIsSkipped) {
    std::ofstream(directory() / "zenity") << "not a program";
    fs::permissions(directory() / "zenity", fs::perms::owner_all);
    std::ofstream(directory() / "kdialog") << "#!/bin/sh\nkill -9 $$\n";
    fs::permissions(directory() / "kdialog", fs::perms::owner_all);
    addProgram("xmessage", 0);
    report(-5);
    EXPECT_EQ(std::vector<std::string>{"xmessage"}, programs());
}

TEST_F(MessageBox, ProgramsRunWithTheCallersSignals) {
    std::ofstream(directory() / "zenity") << "#!/bin/sh\nkill -TERM $$\nexit 0\n";
    fs::permissions(directory() / "zenity", fs::perms::owner_all);
    addProgram("kdialog", 0);
    report(-5);
    EXPECT_EQ(std::vector<std::string>{"kdialog"}, programs());
}

TEST_F(MessageBox, SearchesTheWholePath) {
    addProgram("zenity", 0);
    const std::string path = "/nowhere::" + std::string(5000, 'x') + ":" + directory().string() + ":/nowhere";
    const ScopedVariable variable("PATH", path.c_str());
    report(-5);
    EXPECT_EQ(1u, calls().size());
}

TEST_F(MessageBox, WaylandAloneIsADesktop) {
    addProgram("zenity", 0);
    const ScopedVariable display("DISPLAY", nullptr), wayland("WAYLAND_DISPLAY", "wayland-0");
    report(-5);
    EXPECT_EQ(1u, calls().size());
}

TEST_F(MessageBox, LeavesNoChildBehind) {
    addProgram("zenity", 0);
    report(-5);
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

std::set<int> openDescriptors() {
    std::set<int> all;
    for (const auto &entry : fs::directory_iterator("/proc/self/fd"))
        all.insert(std::stoi(entry.path().filename()));
    std::erase_if(all, [](int descriptor) { return fcntl(descriptor, F_GETFD) < 0; });
    return all;
}

std::set<int> inheritedPipes() {
    std::set<int> pipes = openDescriptors();
    std::erase_if(pipes, [](int descriptor) {
        struct stat information;
        return (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0 || fstat(descriptor, &information) != 0 ||
               !S_ISFIFO(information.st_mode);
    });
    return pipes;
}

TEST_F(MessageBox, LeavesNoDescriptorOpen) {
    addProgram("zenity", 5);
    std::ofstream(directory() / "kdialog") << "not a program";
    fs::permissions(directory() / "kdialog", fs::perms::owner_all);
    addProgram("xmessage", 0);
    const std::set<int> before = openDescriptors();
    report(-5);
    EXPECT_EQ(before, openDescriptors());
}

TEST_F(MessageBox, ProgramsInheritOnlyTheCallersDescriptors) {
    std::ofstream(directory() / "zenity")
        << "#!/bin/sh\nfor file in /proc/$$/fd/*; do [ -p \"$file\" ] && echo \"${file##*/}\" >> '"
        << log().string() << "'; done\nexit 0\n";
    fs::permissions(directory() / "zenity", fs::perms::owner_all);
    int callers[2];
    ASSERT_EQ(0, pipe(callers));
    const std::set<int> expected = inheritedPipes();
    report(-5);
    std::ifstream in(log());
    EXPECT_EQ(expected, std::set<int>(std::istream_iterator<int>(in), {}));
    for (const int descriptor : callers)
        close(descriptor);
}

TEST_F(MessageBox, AsksWhileOtherThreadsWork) {
    addProgram("zenity", 0);
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&done] {
            for (std::size_t size = 1; !done; size = size % 5000 + 1) {
                void *volatile block = std::malloc(size); // which the compiler may not leave out
                std::free(block);
            }
        });
    for (int i = 0; i < 20; ++i)
        report(-5);
    done = true;
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(20u, calls().size());
}

sigset_t signalMask() {
    sigset_t mask;
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    return mask;
}

bool sameSignals(const sigset_t &a, const sigset_t &b) {
    for (int signal = 1; signal < NSIG; ++signal)
        if (sigismember(&a, signal) != sigismember(&b, signal)) return false;
    return true;
}

TEST_F(MessageBox, LeavesSignalsAsTheyWere) {
    addProgram("zenity", 0);
    const sigset_t mask = signalMask();
    struct sigaction before[NSIG] = {};
    for (int signal = 1; signal < NSIG; ++signal)
        sigaction(signal, nullptr, &before[signal]);
    report(-5);
    EXPECT_TRUE(sameSignals(mask, signalMask()));
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction after = {};
        sigaction(signal, nullptr, &after);
        EXPECT_EQ(before[signal].sa_handler, after.sa_handler) << signal;
    }
}

TEST_F(MessageBox, CallersThatIgnoreTheirChildrenGetTheAnswer) {
    addProgram("zenity", 0);
    addProgram("kdialog", 0);
    const auto previous = signal(SIGCHLD, SIG_IGN);
    report(-5);
    EXPECT_EQ(SIG_IGN, signal(SIGCHLD, previous));
    EXPECT_EQ(std::vector<std::string>{"zenity"}, programs());
}

void reapEverything(int) {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

TEST_F(MessageBox, CallersThatReapEveryChildGetTheAnswer) {
    addProgram("zenity", 0);
    addProgram("kdialog", 0);
    const auto previous = signal(SIGCHLD, reapEverything);
    report(-5);
    EXPECT_EQ(reapEverything, signal(SIGCHLD, previous));
    EXPECT_EQ(std::vector<std::string>{"zenity"}, programs());
}

/// Waits for a child that ended by itself; 128 and more: by a signal.
int exitOf(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

struct Session {
    std::string screen;
    int exit;
};

/// Reports -5 with the message-box handler on a terminal of its own, where `keys` are typed. Exit code 7
/// tells that the handler returned.
Session onTerminal(int32_t mode, const std::string &keys, const char *display = nullptr) {
    int terminal;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        const ScopedVariable variable("DISPLAY", display), wayland("WAYLAND_DISPLAY", nullptr);
        // The question has to find the terminal without the standard streams. One descriptor stays open on
        // it, or its other end would see it hang up.
        dup(STDIN_FILENO);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(open("/dev/null", O_RDWR), stream);
        QZSetErrMode(mode);
        _exit(QZWinError(-5, "f", "a\\b %s", "s", 1) == -5 ? 7 : 8);
    }
    Session session;
    const ssize_t typed = write(terminal, keys.data(), keys.size());
    EXPECT_EQ(static_cast<ssize_t>(keys.size()), typed);
    char buffer[256];
    for (ssize_t got; (got = read(terminal, buffer, sizeof buffer)) > 0;)
        session.screen.append(buffer, static_cast<std::size_t>(got));
    session.exit = exitOf(child);
    close(terminal);
    std::erase(session.screen, '\r');
    return session;
}

const std::string firstBox = "QZK Error: Bad argument\nin function\n[s:1]:f():\na\\b %s\nOK or Cancel? ";

TEST_F(MessageBox, WithoutADesktopTheTerminalIsAsked) {
    const Session session = onTerminal(QZ_ErrorModeReport, "o\n");
    EXPECT_NE(std::string::npos, session.screen.find(firstBox)) << session.screen;
    EXPECT_EQ(7, session.exit);
}

TEST_F(MessageBox, WhereEveryProgramFailsTheTerminalIsAsked) {
    addProgram("zenity", 2);
    addProgram("kdialog", 3);
    addProgram("xmessage", 2);
    const Session session = onTerminal(QZ_ErrorModeReport, "c\n", ":0");
    EXPECT_NE(std::string::npos, session.screen.find(firstBox)) << session.screen;
    EXPECT_EQ(128 + SIGABRT, session.exit);
    EXPECT_EQ(3u, calls().size());
}

TEST_F(MessageBox, TerminalAnswers) {
    for (const char *const keys : {"OK\n", "  ok then\n", "\nwhat?\nOK\n"})
        EXPECT_EQ(7, onTerminal(QZ_ErrorModeReport, keys).exit) << keys;
    for (const char *const keys : {"Cancel\n", "c\n", "y\nno\nc\n"})
        EXPECT_EQ(128 + SIGABRT, onTerminal(QZ_ErrorModeReport, keys).exit) << keys;
    EXPECT_EQ(7, onTerminal(QZ_ErrorModeLeaf, "o\nn\n").exit);
    EXPECT_EQ(128 + SIGABRT, onTerminal(QZ_ErrorModeLeaf, "o\nYES\n").exit);
    constexpr char endOfInput[] = "\x04";
    EXPECT_EQ(7, onTerminal(QZ_ErrorModeReport, endOfInput).exit);
}

TEST_F(MessageBox, TerminalShowsTheSecondBox) {
    const Session session = onTerminal(QZ_ErrorModeLeaf, "o\nn\n");
    EXPECT_NE(std::string::npos,
              session.screen.find("QZK Error: Bad argument\n" + secondText + "\nYes or No? "))
        << session.screen;
}

TEST_F(MessageBox, WithNobodyToAskTheTextsGoToStandardError) {
    addProgram("zenity", 1);
    const ScopedVariable display("DISPLAY", "");
    int exit = 0;
    const std::string text = standardError([&] {
        const pid_t child = fork();
        if (child == 0) {
            setsid(); // a session without a terminal
            QZSetErrMode(QZ_ErrorModeLeaf);
            _exit(QZWinError(-5, "f", "m", "s", 1) == -5 ? 7 : 8);
        }
        exit = exitOf(child);
    });
    EXPECT_EQ("QZK Error: Bad argument\nin function\n[s:1]:f():\nm\nQZK Error: Bad argument\n" + secondText +
                  "\n",
              text);
    EXPECT_EQ(7, exit);
    EXPECT_TRUE(calls().empty());
}

} // namespace
} // namespace qzk::test
