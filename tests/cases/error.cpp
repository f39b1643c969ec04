// The error frame: status, mode, handlers, and the texts of the console handler as a whole. What the
// message-box handler shows is tested in dialog.cpp.
#include "common/context.hpp"
#include "qzk.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#if defined(__linux__)
#include <fcntl.h>
#include <unistd.h>
#include <vector>
#endif

namespace qzk::test {
namespace {

/// What `action` writes to standard error.
template <class Action>
std::string standardError(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

class ErrorFrame : public testing::Test {
protected:
    void TearDown() override {
        QZSetStatus(QZ_StsOk);
        QZSetErrMode(QZ_ErrorModeReport);
        QZSetStdError();
    }
};

TEST_F(ErrorFrame, InitialValues) {
    EXPECT_EQ(0, QZGetStatus());
    EXPECT_EQ(1, QZGetErrMode());
    EXPECT_EQ(QZStdError, QZSetStdError());
}

TEST_F(ErrorFrame, StatusAndModeTakeAnyValue) {
    for (const int32_t value : {-5, 0, 3, -1, INT32_MAX, INT32_MIN}) {
        QZSetStatus(value);
        QZSetErrMode(value);
        EXPECT_EQ(value, QZGetStatus());
        EXPECT_EQ(value, QZGetErrMode());
    }
}

TEST_F(ErrorFrame, Constants) {
    EXPECT_EQ(0, QZ_StsOk);
    EXPECT_EQ(-1, QZ_StsBackTrace);
    EXPECT_EQ(-2, QZ_StsError);
    EXPECT_EQ(-3, QZ_StsInternal);
    EXPECT_EQ(-4, QZ_StsNoMem);
    EXPECT_EQ(-5, QZ_StsBadArg);
    EXPECT_EQ(-6, QZ_StsBadFunc);
    EXPECT_EQ(-7, QZ_StsNoConv);
    EXPECT_EQ(-8, QZ_StsAutoTrace);
    EXPECT_EQ(-20, QZ_StsOverflow);
    EXPECT_EQ(-21, QZ_StsUnderflow);
    EXPECT_EQ(0, QZ_ErrorModeLeaf);
    EXPECT_EQ(1, QZ_ErrorModeReport);
    EXPECT_EQ(2, QZ_ErrorModeSilent);
}

TEST_F(ErrorFrame, ContextStartsAtZero) {
    const Context *const context = QZ_GetContext();
    EXPECT_EQ(context, QZ_GetContext());
    EXPECT_EQ(nullptr, context->Fft.sBuffer);
    EXPECT_EQ(0, context->PreEmphasis.capacity);
    EXPECT_EQ(0, context->Dct.nFilters);
}

TEST_F(ErrorFrame, TextsOfTheCodes) {
    EXPECT_STREQ("No Error", QZErrorStr(0));
    EXPECT_STREQ("Backtrace", QZErrorStr(-1));
    EXPECT_STREQ("Unknown error", QZErrorStr(-2));
    EXPECT_STREQ("Internal error (bad state)", QZErrorStr(-3));
    EXPECT_STREQ("Out of memory", QZErrorStr(-4));
    EXPECT_STREQ("Bad argument", QZErrorStr(-5));
    EXPECT_STREQ("Unsupported function", QZErrorStr(-6));
    EXPECT_STREQ("Iteration convergence failed", QZErrorStr(-7));
    EXPECT_STREQ("Autotrace call", QZErrorStr(-8));
    EXPECT_STREQ("Overflow occured", QZErrorStr(-20));
    EXPECT_STREQ("Underflow occured", QZErrorStr(-21));
}

TEST_F(ErrorFrame, TextsOfUnknownCodesShareOneBuffer) {
    const char *const first = QZErrorStr(-15);
    EXPECT_STREQ("Unknown error code -15", first);
    EXPECT_EQ(first, QZErrorStr(7));
    EXPECT_STREQ("Unknown status code 7", first);
    EXPECT_STREQ("Unknown error code -22", QZErrorStr(-22));
    EXPECT_STREQ("Unknown status code 1", QZErrorStr(1));
    EXPECT_STREQ("Unknown status code 2147483647", QZErrorStr(INT32_MAX));
    EXPECT_STREQ("Unknown error code -2147483648", QZErrorStr(INT32_MIN));
    for (int32_t code = -19; code <= -9; ++code)
        EXPECT_EQ("Unknown error code " + std::to_string(code), QZErrorStr(code));
    EXPECT_STREQ("Bad argument", QZErrorStr(-5));
    EXPECT_STREQ("Unknown error code -9", first) << "a known code leaves the buffer alone";
}

struct Call {
    int32_t status;
    const char *function, *message, *file;
    int32_t line;
};
Call lastCall;
int32_t keepCall(int32_t status, const char *function, const char *message, const char *file, int32_t line) {
    lastCall = {status, function, message, file, line};
    return 4711;
}

TEST_F(ErrorFrame, ReportsReachTheHandlerUnchanged) {
    EXPECT_EQ(QZStdError, QZRedirectError(keepCall));
    const char function[] = "f", message[] = "m", file[] = "s";
    EXPECT_EQ(4711, QZError(-5, function, message, file, -3));
    EXPECT_EQ(-5, lastCall.status);
    EXPECT_EQ(function, lastCall.function);
    EXPECT_EQ(message, lastCall.message);
    EXPECT_EQ(file, lastCall.file);
    EXPECT_EQ(-3, lastCall.line);
    EXPECT_EQ(0, QZGetStatus()) << "recording the status is the handler's part";
    EXPECT_EQ(4711, QZError(0, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(nullptr, lastCall.function);
    EXPECT_EQ(nullptr, lastCall.message);
    EXPECT_EQ(nullptr, lastCall.file);
    EXPECT_EQ(keepCall, QZRedirectError(nullptr));
    EXPECT_EQ(QZStdError, QZRedirectError(nullptr));
}

TEST_F(ErrorFrame, SettingHandlersReturnsThePreviousOne) {
    EXPECT_EQ(QZStdError, QZSetWinError());
    EXPECT_EQ(QZWinError, QZSetWinError());
    EXPECT_EQ(QZWinError, QZSetStdError());
    EXPECT_EQ(QZStdError, QZRedirectError(keepCall));
    EXPECT_EQ(keepCall, QZSetStdError());
}

// Console handler.

std::string console(int32_t status, const char *function, const char *message, const char *file,
                    int32_t line) {
    return standardError([&] { EXPECT_EQ(status, QZStdError(status, function, message, file, line)); });
}

TEST_F(ErrorFrame, ConsoleShowsAnError) {
    EXPECT_EQ(
        "QZK Error: Out of memory \n"
        "\tin function\n"
        "\t[..\\LIBSRC\\QZ_ALLOC:96]:QZbAlloc2():\n"
        "\tThe pointers vector can not be allocated\n",
        console(-4, "QZbAlloc2", "The pointers vector can not be allocated", "..\\LIBSRC\\QZ_ALLOC", 96));
    EXPECT_EQ(-4, QZGetStatus());
}

TEST_F(ErrorFrame, ConsoleShowsABackTrace) {
    QZSetStatus(-4);
    EXPECT_EQ("\tcalled from\n\t[..\\LIBSRC\\QZ_IMAGE:20]:QZbCopyImage():\n\t\n",
              console(-1, "QZbCopyImage", "", "..\\LIBSRC\\QZ_IMAGE", 20));
    EXPECT_EQ(-4, QZGetStatus());
}

TEST_F(ErrorFrame, ConsoleShowsAnAutotrace) {
    QZSetStatus(7);
    EXPECT_EQ("\tcalled from\n\t[client.c:1]:f(1, \"%d\")\n", console(-8, "f", "1, \"%d\"", "client.c", 1));
    EXPECT_EQ(7, QZGetStatus());
}

TEST_F(ErrorFrame, ConsoleLeavesOutWhatIsMissing) {
    const std::string head = "QZK Error: Bad argument \n\tin function\n";
    EXPECT_EQ(head + ":f():\n\tm\n", console(-5, "f", "m", nullptr, 0));
    EXPECT_EQ(head + ":f():\n\tm\n", console(-5, "f", "m", nullptr, -1));
    EXPECT_EQ(head + "\t[(null):1]:f():\n\tm\n", console(-5, "f", "m", nullptr, 1));
    EXPECT_EQ(head + "\t[s:0]:f():\n\tm\n", console(-5, "f", "m", "s", 0));
    EXPECT_EQ(head + "\t[s:-2]:f():\n\tm\n", console(-5, "f", "m", "s", -2));
    EXPECT_EQ(head + "\t[s:3]:<unknown>():\n\tm\n", console(-5, nullptr, "m", "s", 3));
    EXPECT_EQ(head + "\t[s:3]:f\n", console(-5, "f", nullptr, "s", 3));
    EXPECT_EQ(head + ":<unknown>\n", console(-5, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ("\tcalled from\n:f\n", console(-8, "f", nullptr, nullptr, 0));
    EXPECT_EQ("\tcalled from\n:<unknown>()\n", console(-8, nullptr, "", nullptr, 0));
    EXPECT_EQ("\tcalled from\n:f\n", console(-1, "f", nullptr, nullptr, 0));
}

TEST_F(ErrorFrame, ConsoleShowsAnyCode) {
    EXPECT_EQ("QZK Error: No Error \n\tin function\n:f\n", console(0, "f", nullptr, nullptr, 0));
    EXPECT_EQ("QZK Error: Unknown error code -9 \n\tin function\n:f\n",
              console(-9, "f", nullptr, nullptr, 0));
    EXPECT_EQ("QZK Error: Unknown status code 5 \n\tin function\n:f\n", console(5, "f", nullptr, nullptr, 0));
    EXPECT_EQ(5, QZGetStatus());
}

#if defined(__linux__) // Windows collects what is not written to a console
TEST_F(ErrorFrame, ConsoleWritesEveryPartAtOnce) {
    int packets[2];
    ASSERT_EQ(0, pipe2(packets, O_DIRECT)); // keeps writes apart
    const int kept = dup(STDERR_FILENO);
    dup2(packets[1], STDERR_FILENO);
    QZStdError(-5, "f", "m", "s", 3);
    QZStdError(-8, "f", "m", "s", 3);
    dup2(kept, STDERR_FILENO);
    close(kept);
    close(packets[1]);
    std::vector<std::string> writes;
    char buffer[256];
    for (ssize_t got; (got = read(packets[0], buffer, sizeof buffer)) > 0;)
        writes.emplace_back(buffer, static_cast<std::size_t>(got));
    close(packets[0]);
    EXPECT_EQ((std::vector<std::string>{"QZK Error: Bad argument \n\tin function\n", "\t[s:3]", ":f",
                                        "():\n\tm", "\n", "\tcalled from\n", "\t[s:3]", ":f", "(m)", "\n"}),
              writes);
}
#endif

TEST_F(ErrorFrame, OtherModesReport) {
    for (const int32_t mode : {3, -1, 1}) {
        QZSetErrMode(mode);
        EXPECT_EQ("QZK Error: Bad argument \n\tin function\n:f\n", console(-5, "f", nullptr, nullptr, 0));
        EXPECT_EQ(-5, QZGetStatus());
        QZSetStatus(0);
    }
}

TEST_F(ErrorFrame, SilentConsoleRecordsAllButBackTraces) {
    QZSetErrMode(QZ_ErrorModeSilent);
    for (const int32_t code : {-5, 0, -8, 12}) {
        EXPECT_EQ("", console(code, "f", "m", "s", 1));
        EXPECT_EQ(code, QZGetStatus());
    }
    EXPECT_EQ("", console(-1, "f", "m", "s", 1));
    EXPECT_EQ(12, QZGetStatus());
}

TEST_F(ErrorFrame, LeafConsoleExitsWithOne) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto report = [](int32_t code) {
        std::setvbuf(stderr, nullptr, _IOFBF, 4096); // shows nothing unless the exit flushes
        std::atexit([] { std::fprintf(stderr, "exit handler ran\n"); });
        QZSetErrMode(QZ_ErrorModeLeaf);
        QZError(code, "f", "m", "s", 1);
    };
    EXPECT_EXIT(report(-5), testing::ExitedWithCode(1),
                "^QZK Error: Bad argument \n\tin function\n\t\\[s:1\\]:f\\(\\):\n\tm\n"
                "QZK: terminating the application\nexit handler ran\n$");
    EXPECT_EXIT(report(-1), testing::ExitedWithCode(1),
                "^\tcalled from\n\t\\[s:1\\]:f\\(\\):\n\tm\nQZK: terminating the application\n");
}

TEST_F(ErrorFrame, SilentMessageBoxRecordsNoTraceRecords) {
    QZSetErrMode(QZ_ErrorModeSilent);
    EXPECT_EQ("", standardError([] {
                  for (const int32_t code : {-5, -1, -8})
                      EXPECT_EQ(code, QZWinError(code, "f", "m", "s", 1));
              }));
    EXPECT_EQ(-5, QZGetStatus());
    QZWinError(12, nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(12, QZGetStatus());
}

} // namespace
} // namespace qzk::test
