#include "families.hpp"
#include "record.hpp"

namespace qzk::digest {
namespace {

constexpr std::int32_t statuses[] = {QZ_StsOk,
                                     QZ_StsBackTrace,
                                     QZ_StsError,
                                     QZ_StsInternal,
                                     QZ_StsNoMem,
                                     QZ_StsBadArg,
                                     QZ_StsBadFunc,
                                     QZ_StsNoConv,
                                     QZ_StsAutoTrace,
                                     QZ_StsOverflow,
                                     QZ_StsUnderflow,
                                     -9,
                                     -19,
                                     -22,
                                     -1000,
                                     1,
                                     77,
                                     2147483647,
                                     -2147483647 - 1};
constexpr std::int32_t errorModes[] = {QZ_ErrorModeLeaf, QZ_ErrorModeReport, QZ_ErrorModeSilent, 3, -1};

std::int32_t answerSeven(std::int32_t, const char *, const char *, const char *, std::int32_t) { return 7; }

/// The handler that is left, by what it is.
void putHandler(QZErrorHandler handler) {
    put(handler == QZStdError ? 1 : handler == QZWinError ? 2 : handler == answerSeven ? 3 : 0);
}

/// Both of the library's handlers, in the mode in which they only record the status.
template <auto handler>
void silently(std::int32_t status) {
    QZSetStatus(12);
    call<handler>(status, "function", "message", "file", 5);
    QZSetStatus(12);
    call<handler>(status, static_cast<const char *>(nullptr), static_cast<const char *>(nullptr),
                  static_cast<const char *>(nullptr), -1);
}

} // namespace

void error() {
    for (const std::int32_t status : statuses) {
        QZSetStatus(status);
        call<QZGetStatus>();
        call<QZSetStatus>(status);
        putText(call<QZErrorStr>(status));
        call<QZError>(status, "function", "message", "file", 5);
        call<QZError>(status, static_cast<const char *>(nullptr), static_cast<const char *>(nullptr),
                      static_cast<const char *>(nullptr), -1);
    }

    const std::int32_t initialMode = QZGetErrMode();
    for (const std::int32_t mode : errorModes) {
        call<QZSetErrMode>(mode);
        call<QZGetErrMode>();
    }
    QZSetErrMode(QZ_ErrorModeSilent);
    for (const std::int32_t status : statuses) {
        silently<QZStdError>(status);
        silently<QZWinError>(status);
    }

    const QZErrorHandler own = call<QZRedirectError>(answerSeven);
    call<QZError>(QZ_StsError, "function", "message", "file", 5);
    putHandler(call<QZSetStdError>());
    call<QZError>(QZ_StsError, "function", "message", "file", 5);
    putHandler(call<QZSetWinError>());
    call<QZError>(QZ_StsError, "function", "message", "file", 5);
    putHandler(call<QZRedirectError>(static_cast<QZErrorHandler>(nullptr)));
    putHandler(call<QZRedirectError>(own));
    QZSetErrMode(initialMode);
}

} // namespace qzk::digest
