// Filter banks that free themselves.
#pragma once

#include "qzk.h"
#include "reference/mel_cepstrum.hpp"

#include <memory>
#include <vector>

namespace qzk::test {

using Bank = std::unique_ptr<QZMFCCFilters, void (*)(QZMFCCFilters *)>;

inline Bank makeBank(const reference::BankShape &s) {
    return {QZsMFCCInit(s.order, s.nFilters, s.lowFreq, s.highFreq, s.rate, s.linear, s.nLinear, s.linearEnd),
            QZsFreeMFCCFilters};
}

inline Bank makeShortBank(const reference::BankShape &s) {
    return {QZwMFCCInit(s.order, s.nFilters, s.lowFreq, s.highFreq, s.rate, s.linear, s.nLinear, s.linearEnd),
            QZwFreeMFCCFilters};
}

/// Cepstrum of a log-magnitude spectrum (timeSignal 0) or of samples.
inline std::vector<float> cepstrumOf(const Bank &bank, int32_t timeSignal, const std::vector<float> &src,
                                     int32_t nCoeffs) {
    std::vector<float> dst(static_cast<std::size_t>(nCoeffs), -77.0f);
    QZsCepstralMFCC(timeSignal, src.data(), bank.get(), dst.data(), nCoeffs);
    return dst;
}

} // namespace qzk::test
