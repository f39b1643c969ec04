#include "common/elementary.hpp"

#include <cmath>

namespace qzk {

double sine(double x) { return std::sin(x); }
double cosine(double x) { return std::cos(x); }
double log10(double x) { return std::log10(x); }
double exp10(double x) { return std::pow(10.0, x); }

} // namespace qzk
