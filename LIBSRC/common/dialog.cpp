#include "common/dialog.hpp"

#include <cstdlib>

#if defined(_WIN32)

namespace qzk {

bool confirm(Buttons buttons, const char *text, const char *caption) {
    if (buttons == Buttons::okCancel)
        return MessageBoxA(nullptr, text, caption, MB_OKCANCEL | MB_ICONEXCLAMATION | MB_SYSTEMMODAL) !=
               IDCANCEL;
    return MessageBoxA(nullptr, text, caption, MB_YESNO | MB_ICONHAND) == IDYES;
}

void terminateAtOnce(const char *text) {
    FatalAppExitA(0, text);
    std::abort();
}

} // namespace qzk

#else

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace qzk {
namespace {

enum class Answer : std::uint8_t { none, positive, negative };

struct Question {
    const char *text, *caption;
    const char *positive, *negative; // labels, which differ in their first letter
};

bool isSet(const char *variable) {
    const char *const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

/// Finds an executable on PATH. Empty entries, which mean the working directory, are left out.
bool findProgram(const char *name, char *path, std::size_t size) {
    const char *entry = std::getenv("PATH");
    while (entry != nullptr && *entry != '\0') {
        const std::size_t length = std::strcspn(entry, ":");
        const int written = std::snprintf(path, size, "%.*s/%s", static_cast<int>(length), entry, name);
        if (length > 0 && written >= 0 && static_cast<std::size_t>(written) < size && access(path, X_OK) == 0)
            return true;
        entry += length + (entry[length] == ':' ? 1 : 0);
    }
    return false;
}

Answer waitForAnswer(pid_t program, int closed) {
    int status = 0;
    while (waitpid(program, &status, 0) < 0)
        if (errno != EINTR) return Answer::none;
    if (!WIFEXITED(status)) return Answer::none;
    const int code = WEXITSTATUS(status);
    return code == 0 ? Answer::positive : code == 1 || code == closed ? Answer::negative : Answer::none;
}

/// Runs the program to its end. A process in between waits for it and hands the answer over through a pipe:
/// the caller may ignore SIGCHLD, or wait for any child in a handler of its own, and would get the exit
/// status before this function does. `closed` is the program's exit status after its window was closed.
Answer run(const char *path, const char *const *arguments, int closed) {
    int channel[2];
    if (pipe2(channel, O_CLOEXEC) != 0) return Answer::none;

    // No handler of the caller may run in the process in between.
    sigset_t all, callers;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &callers);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &callers);

    const pid_t between = fork();
    if (between == 0) {
        std::signal(SIGCHLD, SIG_DFL);
        pid_t program;
        auto answer = Answer::none;
        if (posix_spawn(&program, path, nullptr, &attributes, const_cast<char *const *>(arguments),
                        environ) == 0)
            answer = waitForAnswer(program, closed);
        const ssize_t written = write(channel[1], &answer, sizeof answer);
        _exit(written == sizeof answer ? 0 : 1);
    }
    posix_spawnattr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &callers, nullptr);

    close(channel[1]);
    auto answer = Answer::none;
    if (between > 0) {
        while (read(channel[0], &answer, sizeof answer) < 0 && errno == EINTR) {
        }
        while (waitpid(between, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    close(channel[0]);
    return answer;
}

/// Copies the text with each backslash doubled.
void doubleBackslashes(char *to, const char *text) {
    for (; *text != '\0'; ++text) {
        if (*text == '\\') *to++ = '\\';
        *to++ = *text;
    }
    *to = '\0';
}

Answer askDesktop(const Question &question) {
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) return Answer::none;

    constexpr std::size_t prefixes = 16;
    char zenityText[maxDialogText + prefixes], kdialogText[2 * maxDialogText];
    formatText(zenityText, "--text=%s", question.text);
    // kdialog reads escape sequences, and file names have backslashes.
    doubleBackslashes(kdialogText, question.text);
    char title[maxDialogCaption + prefixes], ok[2 * prefixes], cancel[2 * prefixes], buttons[2 * prefixes];
    formatText(title, "--title=%s", question.caption);
    formatText(ok, "--ok-label=%s", question.positive);
    formatText(cancel, "--cancel-label=%s", question.negative);
    formatText(buttons, "%s:0,%s:1", question.positive, question.negative);

    const char *const zenity[] = {"zenity",   "--question", "--no-markup", title,
                                  zenityText, ok,           cancel,        nullptr};
    const char *const kdialog[] = {"kdialog",         title,        "--yes-label",
                                   question.positive, "--no-label", question.negative,
                                   "--warningyesno",  kdialogText,  nullptr};
    const char *const xmessage[] = {"xmessage", "-center", "-title",      question.caption,
                                    "-buttons", buttons,   question.text, nullptr};
    const struct {
        const char *const *arguments;
        int closed;
    } programs[] = {{zenity, 1}, {kdialog, 2}, {xmessage, 1}};
    for (const auto &program : programs) {
        char path[4096];
        if (!findProgram(program.arguments[0], path, sizeof path)) continue;
        const Answer answer = run(path, program.arguments, program.closed);
        if (answer != Answer::none) return answer;
    }
    return Answer::none;
}

bool writeAll(int file, const char *text) {
    for (std::size_t left = std::strlen(text); left > 0;) {
        const ssize_t written = write(file, text, left);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text += written;
        left -= static_cast<std::size_t>(written);
    }
    return true;
}

/// First character of the next line that is not a blank, 0 for an empty line; -1 at the end of the input.
int readLetter(int terminal) {
    int letter = 0;
    for (;;) {
        char c;
        const ssize_t got = read(terminal, &c, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return -1;
        if (c == '\n' || c == '\r') return letter;
        if (letter == 0 && c != ' ' && c != '\t') letter = static_cast<unsigned char>(c);
    }
}

Answer askTerminal(const Question &question) {
    const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0) return Answer::none;
    char prompt[maxDialogCaption];
    formatText(prompt, "%s or %s? ", question.positive, question.negative);

    auto answer = Answer::none;
    bool open = writeAll(terminal, question.caption) && writeAll(terminal, "\n") &&
                writeAll(terminal, question.text) && writeAll(terminal, "\n");
    while (open && answer == Answer::none) {
        const int letter = writeAll(terminal, prompt) ? readLetter(terminal) : -1;
        open = letter >= 0;
        if ((letter | 0x20) == (question.positive[0] | 0x20)) answer = Answer::positive;
        if ((letter | 0x20) == (question.negative[0] | 0x20)) answer = Answer::negative;
    }
    close(terminal);
    return answer;
}

} // namespace

bool confirm(Buttons buttons, const char *text, const char *caption) {
    const bool okCancel = buttons == Buttons::okCancel;
    const Question question = {text, caption, okCancel ? "OK" : "Yes", okCancel ? "Cancel" : "No"};
    Answer answer = askDesktop(question);
    if (answer == Answer::none) answer = askTerminal(question);
    if (answer == Answer::none) {
        // Nobody can be asked: the process goes on.
        std::fprintf(stderr, "%s\n%s\n", caption, text);
        return okCancel;
    }
    return answer == Answer::positive;
}

void terminateAtOnce(const char *text) {
    std::fprintf(stderr, "%s\n", text);
    std::fflush(stderr); // which the caller may have buffered
    std::abort();
}

} // namespace qzk

#endif
