// Elementary functions of another origin, correctly rounded.
#pragma once

#include <mpfr.h>

namespace qzk::test::reference {

inline double rounded(int (*function)(mpfr_t, const mpfr_t, mpfr_rnd_t), double x) {
    mpfr_t value;
    mpfr_init2(value, 53);
    mpfr_set_d(value, x, MPFR_RNDN);
    function(value, value, MPFR_RNDN);
    const double result = mpfr_get_d(value, MPFR_RNDN);
    mpfr_clear(value);
    return result;
}

inline double cosine(double x) { return rounded(mpfr_cos, x); }
inline double sine(double x) { return rounded(mpfr_sin, x); }
inline double log10(double x) { return rounded(mpfr_log10, x); }
inline double exp10(double x) { return rounded(mpfr_exp10, x); }

} // namespace qzk::test::reference
