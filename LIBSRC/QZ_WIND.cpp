// Tapering windows and pre-emphasis.
#include "common/context.hpp"
#include "common/elementary.hpp"
#include "common/memory.hpp"
#include "common/report.hpp"
#include "common/unaligned.hpp"
#include "qzk.h"
#include "simd/extended.hpp"
#include "simd/kernels.hpp"

#include <cmath>
#include <cstddef>

using namespace qzk;

namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_WIND");

// kept: eight decimals, not the nearest double to 2 pi; the coefficients are defined with it.
constexpr double twoPi = 6.2831853;

void fillHamming(float *coefficients, std::int32_t n) {
    const double step = twoPi / (n - 1);
    for (std::int32_t k = 0; k < n; ++k)
        coefficients[k] = static_cast<float>(0.54 - 0.46 * cosine(k * step));
}

// kept: without zero end points, unlike the other windows.
void fillHanning(float *coefficients, std::int32_t n) {
    const double step = twoPi / (n + 1.0);
    for (std::int32_t k = 0; k < n; ++k)
        coefficients[k] = static_cast<float>(0.5 - 0.5 * cosine((k + 1.0) * step));
}

void fillBartlett(float *coefficients, std::int32_t n) {
    const double step = 2.0 / (n - 1);
    const std::int32_t middle = (n - 1) / 2;
    for (std::int32_t k = 0; k < n; ++k)
        coefficients[k] = static_cast<float>(k <= middle ? k * step : 2.0 - k * step);
}

void fillBlackman(float *coefficients, std::int32_t n) {
    const double step = twoPi / (n - 1);
    for (std::int32_t k = 0; k < n; ++k) {
        const double angle = k * step;
        coefficients[k] = static_cast<float>(0.42 - 0.5 * cosine(angle) + 0.08 * cosine(2.0 * angle));
    }
}

struct Window {
    WindowContext Context::*section;
    void (*fill)(float *coefficients, std::int32_t n); // n is at least 2
    const char *floatName;
    std::int32_t floatLine;
    const char *shortName;
    std::int32_t shortLine;
};

constexpr Window hamming = {&Context::Hamming, fillHamming, "QZsWinHamming", 421, "QZwWinHamming", 699};
constexpr Window hanning = {&Context::Hanning, fillHanning, "QZsWinHanning", 422, "QZwWinHanning", 700};
constexpr Window bartlett = {&Context::Bartlett, fillBartlett, "QZsWinBartlett", 423, "QZwWinBartlett", 701};
constexpr Window blackman = {&Context::Blackman, fillBlackman, "QZsWinBlackman", 424, "QZwWinBlackman", 702};

void freeTables(const Window &window) {
    auto &cache = (QZ_GetContext()->*window.section).sCoeff;
    for (std::int32_t i = 0; i < cache.count; ++i)
        release(cache.tables[i]);
    cache = {};
}

/// The coefficients of this length, built where the cache lacks them; null when memory ran out.
const float *tableOf(const Window &window, std::int32_t n) {
    auto &cache = (QZ_GetContext()->*window.section).sCoeff;
    for (std::int32_t i = 0; i < cache.count; ++i) {
        if (cache.lengths[i] == n) {
            cache.current = i;
            return cache.tables[i];
        }
    }
    // kept: a length beyond the last slot starts the whole cache anew.
    if (cache.count == WindowContext::maxTables) freeTables(window);
    auto *const table = allocateArray<float>(n);
    if (table == nullptr) return nullptr;
    window.fill(table, n);
    cache.tables[cache.count] = table;
    cache.lengths[cache.count] = n;
    cache.current = cache.count++;
    return table;
}

void apply(const Window &window, float *srcDst, std::int32_t n) {
    if (n < 2) return;
    const auto &cache = (QZ_GetContext()->*window.section).sCoeff;
    const float *const table =
        n == cache.lengths[cache.current] ? cache.tables[cache.current] : tableOf(window, n);
    if (table == nullptr) {
        report(QZ_StsNoMem, window.floatName, "insufficiency of memory for pointer  sCoeff",
               window.floatLine);
        return;
    }
    QZsbMpy2(table, srcDst, n);
}

/// False when memory ran out; the buffer is then empty.
bool grow(WorkBuffer &work, std::int32_t n) {
    if (n <= work.capacity) return true;
    release(work.buff);
    work.capacity = 0;
    work.buff = allocateArray<float>(n);
    if (work.buff == nullptr) return false;
    work.capacity = n;
    return true;
}

void freeBuffer(WorkBuffer &work) {
    release(work.buff);
    work = {};
}

std::int32_t apply(const Window &window, std::int16_t *srcDst, std::int32_t n, std::int32_t doScale,
                   std::int32_t *scaleFactor) {
    auto &work = (QZ_GetContext()->*window.section).work;
    if (!grow(work, n))
        return report(QZ_StsNoMem, window.shortName, "insufficiency of memory for pointer  buff",
                      window.shortLine);
    QZwsbConvertUp(srcDst, work.buff, n, 0);
    apply(window, work.buff, n);
    if (QZGetStatus() < 0) return report.backTrace(window.shortName, window.shortLine);
    return QZswbConvertDown(work.buff, srcDst, n, doScale, scaleFactor);
}

std::int32_t freeFloat(const Window &window) {
    freeTables(window);
    return 0;
}

void freeShort(const Window &window) {
    freeBuffer((QZ_GetContext()->*window.section).work);
    freeTables(window);
}

/// Whether current - previous * a is exact in double for all 16-bit samples. The product always is: 16 and 24
/// bits. For 2^-14 <= |a| < 1, a is a multiple of 2^-37, so the difference is one of at most
/// 2^16 = 2^53 2^-37. For 1 <= |a| <= 2^14 it is a multiple of 2^-23 of less than 2^30 = 2^53 2^-23.
bool exactInDouble(float a) {
    const float magnitude = std::fabs(a);
    return magnitude == 0.0f || (magnitude >= 0x1p-14f && magnitude <= 0x1p14f);
}

/// The definition for every coefficient, in extended precision. Truncated values beyond 32 bits store 0.
[[gnu::noinline]] void preEmphasizeExtended(std::int16_t *srcDst, float a, std::size_t n) {
    long double previous = elementAt(srcDst, 0);
    for (std::size_t k = 1; k < n; ++k) {
        const long double current = elementAt(srcDst, k);
        const long double result = current - previous * a;
        const bool fits = result > -2147483649.0L && result < 2147483648.0L;
        setElement(srcDst, k, static_cast<std::int16_t>(fits ? static_cast<std::int32_t>(result) : 0));
        previous = current;
    }
}

void preEmphasizeWrapping(std::int16_t *srcDst, float a, std::size_t n) {
    if (exactInDouble(a)) return simd::kernels().cepstrum.preEmphasizeShorts(srcDst, a, n);
    const simd::ExtendedPrecision precision;
    preEmphasizeExtended(srcDst, a, n);
}

} // namespace

extern "C" {

void QZsWinHamming(float *srcDst, int32_t len) { apply(hamming, srcDst, len); }
void QZsWinHanning(float *srcDst, int32_t len) { apply(hanning, srcDst, len); }
void QZsWinBartlett(float *srcDst, int32_t len) { apply(bartlett, srcDst, len); }
void QZsWinBlackman(float *srcDst, int32_t len) { apply(blackman, srcDst, len); }

int32_t QZwWinHamming(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor) {
    return apply(hamming, srcDst, len, doScale, scaleFactor);
}
int32_t QZwWinHanning(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor) {
    return apply(hanning, srcDst, len, doScale, scaleFactor);
}
int32_t QZwWinBartlett(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor) {
    return apply(bartlett, srcDst, len, doScale, scaleFactor);
}
int32_t QZwWinBlackman(int16_t *srcDst, int32_t len, int32_t doScale, int32_t *scaleFactor) {
    return apply(blackman, srcDst, len, doScale, scaleFactor);
}

int32_t QZsFreeWinHammingTbls(void) { return freeFloat(hamming); }
int32_t QZsFreeWinHanningTbls(void) { return freeFloat(hanning); }
int32_t QZsFreeWinBartlettTbls(void) { return freeFloat(bartlett); }
int32_t QZsFreeWinBlackmanTbls(void) { return freeFloat(blackman); }

void QZwFreeWinHammingTbls(void) { freeShort(hamming); }
void QZwFreeWinHanningTbls(void) { freeShort(hanning); }
void QZwFreeWinBartlettTbls(void) { freeShort(bartlett); }
void QZwFreeWinBlackmanTbls(void) { freeShort(blackman); }

void QZsPreemphasize(float *srcDst, float a, int32_t len) {
    if (len <= 1) return;
    simd::kernels().cepstrum.preEmphasizeFloats(srcDst, a, static_cast<std::size_t>(len));
}

int32_t QZwPreemphasize(int16_t *srcDst, float a, int32_t len, int32_t doScale, int32_t *scaleFactor) {
    if (doScale == QZ_ScaleWrap) {
        if (len > 1) preEmphasizeWrapping(srcDst, a, static_cast<std::size_t>(len));
        *scaleFactor = 0;
        return 0;
    }
    WorkBuffer &work = QZ_GetContext()->PreEmphasis;
    if (!grow(work, len))
        return report(QZ_StsNoMem, __func__, "insufficiency of memory for pointer  buff", 229);
    QZwsbConvertUp(srcDst, work.buff, len, 0);
    QZsPreemphasize(work.buff, a, len);
    return QZswbConvertDown(work.buff, srcDst, len, doScale, scaleFactor);
}

void QZFreePreemphasizeTbls(void) { freeBuffer(QZ_GetContext()->PreEmphasis); }

} // extern "C"
