// Elementary functions that give the same bits on every system: the C library's differ in the last bit
// between runtimes, and their results reach tables and weights that are defined to the last bit.
#pragma once

namespace qzk {

/// Correctly rounded, argument in radians.
double sine(double x);
double cosine(double x);

/// Correctly rounded.
double log10(double x);
double exp10(double x);

} // namespace qzk
