// Reports of one module. The file text and the line numbers are part of the interface: handlers and clients'
// logs compare them, so each call site passes its own fixed line.
#pragma once

#include "qzk.h"

#include <cstdint>

namespace qzk {

class Reporter {
public:
    constexpr explicit Reporter(const char *file) : file_(file) {}

    std::int32_t operator()(std::int32_t status, const char *function, const char *message,
                            std::int32_t line) const {
        return QZError(status, function, message, file_, line);
    }

    /// The "called from" record of a function whose callee left a negative status.
    std::int32_t backTrace(const char *function, std::int32_t line) const {
        return QZError(QZ_StsBackTrace, function, "", file_, line);
    }

private:
    const char *file_;
};

} // namespace qzk
