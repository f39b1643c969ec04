// Internal functions of the Fourier transforms, shared with the 16-bit forms and the tests.
#pragma once

#include "common/report.hpp"
#include "qzk.h"

#include <cstdint>

namespace qzk {

/// Reports a negative status after a table was asked for; true when the transform has to stop. A handler may
/// answer with 0, which means to go on.
bool tableFailed(const Reporter &reporter, const char *function, std::int32_t line);

/// Lines of the reports on the direction bits.
struct FlagLines {
    std::int32_t both, neither;
};

/// False after a report unless exactly one direction is set.
bool directionIsClear(const Reporter &reporter, const char *function, FlagLines lines, std::int32_t flags);

std::int32_t signOf(std::int32_t flags);

/// The factor of the inverse: 1/n unless left out; 1 for the forward transform.
double factorOf(std::int32_t flags, std::int32_t order);

/// Table of W^k = e^(-2 pi i k/n), k = 0 .. n-1, n = 2^order; null after a report when it cannot be had.
const QZComplexFloat *QZcGetFftTwdTbl(std::int32_t order);

/// Table of the indexes 0 .. 2^order - 1 with their low `order` bits reversed; null as above.
const std::uint32_t *QZGetBitRevTbl(std::int32_t order);

/// Table of (0.5 cos(2 pi k/n), 0.5 - 0.5 sin(2 pi k/n)), k = 0 .. n-1, for the split pass of the real
/// transform; null as above.
const QZComplexFloat *QZGetRealFftTwdTbl(std::int32_t order);

/// Radix-4 decimation in frequency of n = 2^m >= 2 points, in place; the output is in bit-reversed order. The
/// table is that of order m, for either sign of the kernel's exponent: +1 is the forward kernel.
void QZcFftCore(QZComplexFloat *x, std::int64_t n, std::int32_t sign, const QZComplexFloat *twiddle);

/// Exchanges every element with the one at its bit-reversed index. False when the table it needs cannot be
/// had; nothing is changed then.
bool QZcBitRevPermute(QZComplexFloat *x, std::int32_t order);

/// What follows the flag checks of every transform of 2^order complex points: core, permutation, and the
/// product of all parts with `factor` unless that is 1. False as QZcBitRevPermute.
bool transformComplex(QZComplexFloat *x, std::int32_t order, std::int32_t sign, const QZComplexFloat *twiddle,
                      double factor);

/// Between the transform of h = n/2 complex points and the packed spectrum of n real samples; the table is
/// QZGetRealFftTwdTbl of order log2 n.
void splitReal(QZComplexFloat *z, std::int64_t h, std::int32_t sign, const QZComplexFloat *table);

/// Between the packed spectrum of n real samples and the transform of h = n/2 complex points; the table is
/// QZcGetFftTwdTbl of order log2 n.
void splitCcs(QZComplexFloat *z, std::int64_t h, std::int32_t sign, const QZComplexFloat *twiddle);

/// Multiplies with `factor`, a power of two.
void scaleFloats(float *x, std::int64_t n, double factor);

} // namespace qzk
