#include "support/reports.hpp"

namespace qzk::test {
namespace {

std::vector<Report> recorded;

const char *orEmpty(const char *text) { return text != nullptr ? text : ""; }

std::int32_t record(std::int32_t status, const char *function, const char *message, const char *file,
                    std::int32_t line) {
    recorded.push_back({status, orEmpty(function), orEmpty(message), orEmpty(file), line});
    if (status != QZ_StsBackTrace && status != QZ_StsAutoTrace) QZSetStatus(status);
    return status;
}

} // namespace

RecordedReports::RecordedReports() {
    recorded.clear();
    QZSetStatus(QZ_StsOk);
    QZRedirectError(record);
}

RecordedReports::~RecordedReports() {
    QZSetStdError();
    QZSetStatus(QZ_StsOk);
}

const std::vector<Report> &RecordedReports::all() const { return recorded; }
void RecordedReports::clear() {
    recorded.clear();
    QZSetStatus(QZ_StsOk);
}

} // namespace qzk::test
