#include "library.hpp"
#include "errors.hpp"

#include "qzk.h"

#include <string>
#include <utility>

namespace common {
namespace {

std::string firstReport;

// The first report is the cause; those after it are the library's own back-trace.
int32_t collect(int32_t status, const char *function, const char *message, const char *, int32_t) {
    if (firstReport.empty())
        firstReport = std::string(function) + ": " + (*message ? message : QZErrorStr(status));
    return status;
}

} // namespace

void collectLibraryReports() { QZRedirectError(collect); }

void checkLibrary() {
    if (QZGetStatus() >= 0 && firstReport.empty()) return;
    QZSetStatus(QZ_StsOk);
    throw LibraryError("the library failed: " + std::exchange(firstReport, {}));
}

} // namespace common
