// Elementary functions that give the same bits on every system: the C library's differ in the last bit
// between runtimes, and their results reach tables and weights that are defined to the last bit.
//
// Each value is computed with a relative error below 2^-95 and then rounded to nearest, which is correct
// rounding unless the true value lies within 2^-95 of the middle between two doubles; exact results come out
// exact. Special values are those of C: not-a-numbers pass, sine and cosine of infinities and the logarithm
// of negative values are not-a-numbers, log10(0) is minus infinity.
#pragma once

#include "common/double_double.hpp"

namespace qzk {

/// Arguments in radians, of any size.
double sine(double x);
double cosine(double x);

double log10(double x);

/// log10(x) before the rounding, for finite x above 0; relative error below 2^-95.
DoubleDouble log10Extended(double x);

/// 10^x and e^x.
double exp10(double x);
double exponential(double x);

/// e^x rounded to the 64 bits of extended precision, in which the processor has to compute; results that are
/// subnormal in it may be one unit off.
long double exponential(long double x);

} // namespace qzk
