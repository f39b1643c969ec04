// Collects what the library reports, so that a test compares whole reports.
#pragma once

#include "qzk.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace qzk::test {

struct Report {
    std::int32_t status;
    std::string function;
    std::string message;
    std::string file;
    std::int32_t line;

    bool operator==(const Report &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const Report &report) {
        return out << '(' << report.status << ", " << report.function << ", \"" << report.message << "\", "
                   << report.file << ", " << report.line << ')';
    }
};

/// While it lives, reports go to its list; the status word follows them as with the console handler. Status
/// and handler are back at their initial values afterwards. One at a time.
class RecordedReports {
public:
    RecordedReports();
    ~RecordedReports();
    RecordedReports(const RecordedReports &) = delete;
    RecordedReports &operator=(const RecordedReports &) = delete;

    const std::vector<Report> &all() const;
    void clear();
};

} // namespace qzk::test
