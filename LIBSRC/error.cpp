// The error frame: status word, error mode, handler, and the two handlers that come with the library.
#include "common/dialog.hpp"
#include "qzk.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

using namespace qzk;

namespace {

int32_t QZStdStatus = QZ_StsOk;
int32_t QZStdErrMode = QZ_ErrorModeReport;
QZErrorHandler QZStdHandler = QZStdError;

/// One formatted write to standard error, which serialises whole writes only.
[[gnu::format(printf, 1, 2)]] void writeError(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
#if defined(__MINGW32__)
    __ms_vfprintf(stderr, format, arguments); // MinGW's own writes every character by itself
#else
    std::vfprintf(stderr, format, arguments);
#endif
    va_end(arguments);
}

} // namespace

extern "C" {

int32_t QZGetStatus(void) { return QZStdStatus; }
void QZSetStatus(int32_t status) { QZStdStatus = status; }

int32_t QZGetErrMode(void) { return QZStdErrMode; }
void QZSetErrMode(int32_t mode) { QZStdErrMode = mode; }

int32_t QZError(int32_t status, const char *funcName, const char *message, const char *file, int32_t line) {
    return QZStdHandler(status, funcName, message, file, line);
}

QZErrorHandler QZRedirectError(QZErrorHandler handler) {
    const QZErrorHandler previous = QZStdHandler;
    QZStdHandler = handler != nullptr ? handler : QZStdError;
    return previous;
}

QZErrorHandler QZSetStdError(void) { return QZRedirectError(QZStdError); }
QZErrorHandler QZSetWinError(void) { return QZRedirectError(QZWinError); }

const char *QZErrorStr(int32_t status) {
    switch (status) {
    case QZ_StsOk:
        return "No Error";
    case QZ_StsBackTrace:
        return "Backtrace";
    case QZ_StsError:
        return "Unknown error";
    case QZ_StsInternal:
        return "Internal error (bad state)";
    case QZ_StsNoMem:
        return "Out of memory";
    case QZ_StsBadArg:
        return "Bad argument";
    case QZ_StsBadFunc:
        return "Unsupported function";
    case QZ_StsNoConv:
        return "Iteration convergence failed";
    case QZ_StsAutoTrace:
        return "Autotrace call";
    case QZ_StsOverflow:
        return "Overflow occured"; // kept: clients compare the texts as they are
    case QZ_StsUnderflow:
        return "Underflow occured";
    default:
        break;
    }
    static char text[80];
    std::snprintf(text, sizeof text, "Unknown %s code %d", status < 0 ? "error" : "status", status);
    return text;
}

int32_t QZStdError(int32_t status, const char *funcName, const char *message, const char *file,
                   int32_t line) {
    const bool trace = status == QZ_StsBackTrace || status == QZ_StsAutoTrace;
    if (QZStdErrMode == QZ_ErrorModeSilent) {
        // kept: an autotrace record becomes the status here, unlike in the message-box handler.
        if (status != QZ_StsBackTrace) QZStdStatus = status;
        return status;
    }
    if (trace) {
        writeError("\tcalled from\n");
    } else {
        QZStdStatus = status;
        writeError("QZK Error: %s \n\tin function\n", QZErrorStr(status));
    }
    // The text for a missing file is spelled out because not every C runtime prints a null %s.
    if (line > 0 || file != nullptr) writeError("\t[%s:%d]", file != nullptr ? file : "(null)", line);
    writeError(":%s", funcName != nullptr ? funcName : "<unknown>");
    if (message != nullptr) writeError(status == QZ_StsAutoTrace ? "(%s)" : "():\n\t%s", message);
    writeError("\n");
    if (QZStdErrMode == QZ_ErrorModeLeaf) {
        writeError("QZK: %s\n", "terminating the application");
        std::exit(1);
    }
    return status;
}

int32_t QZWinError(int32_t status, const char *funcName, const char *message, const char *file,
                   int32_t line) {
    const bool trace = status == QZ_StsBackTrace || status == QZ_StsAutoTrace;
    if (!trace) QZStdStatus = status;
    if (QZStdErrMode == QZ_ErrorModeSilent) return status;

    const char *const format = status == QZ_StsBackTrace   ? "called from\n[%s:%d]:%s():\n%s"
                               : status == QZ_StsAutoTrace ? "called from\n[%s:%d]:%s(%s)"
                                                           : "in function\n[%s:%d]:%s():\n%s";
    char text[maxDialogText], caption[maxDialogCaption];
    formatText(text, format, file != nullptr ? file : "", line < 0 ? 0 : line,
               funcName != nullptr ? funcName : "<unknown>", message != nullptr ? message : "");
    formatText(caption, "QZK Error: %s", QZErrorStr(QZStdStatus));

    constexpr const char *farewell = "QZK:\nterminating the application";
    if (!confirm(Buttons::okCancel, text, caption)) terminateAtOnce(farewell);
    if (QZStdErrMode == QZ_ErrorModeLeaf &&
        confirm(Buttons::yesNo, "QZStdErrMode=QZ_ErrorModeLeaf\n  Terminate the application?", caption))
        terminateAtOnce(farewell);
    return status;
}

} // extern "C"
