// Conversions between reals and scaled integers, and of complex vectors to real ones.
#include "common/memory.hpp"
#include "common/overlap.hpp"
#include "common/report.hpp"
#include "common/scale.hpp"
#include "common/unaligned.hpp"
#include "qzk.h"
#include "simd/extended.hpp"
#include "simd/kernels.hpp"
#include "simd/truncation.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>

namespace qzk {
namespace {

using simd::ConvertKernels;
using simd::Range;

constexpr Reporter report("..\\LIBSRC\\QZ_CNVRT");

/// Text of the last formatted message; handlers get its address.
char messageText[100];

/// Formats a message with reals, whose digits some C runtimes compute in extended precision.
template <class... Reals>
const char *messageOf(const char *format, Reals... values) {
    const simd::ExtendedPrecision precision;
    std::snprintf(messageText, sizeof messageText, format, values...);
    return messageText;
}

/// What one down-conversion reports.
struct DownReports {
    const char *name;
    const char *nameInModeError; // kept: clients know the scalar forms by these
    std::int32_t unscalableLine, searchLine, modeLine;
    const char *searchMessage = "Internal Error, Binary Search could not find a scaling factor";
};

constexpr DownReports swb = {"QZswbConvertDown", "QZswbConvertDown", 451, 496, 523};
constexpr DownReports sw = {"QZswConvertDown", "QZ_swConvertDown", 612, 645, 670};
constexpr DownReports dwb = {"QZdwbConvertDown", "QZdwbConvertDown", 950, 995, 1023};
constexpr DownReports dw = {"QZdwConvertDown", "QZ_dwConvertDown", 1112, 1144, 1169};
constexpr DownReports sib = {"QZsibConvertDown", "QZsibConvertDown", 1394, 1439, 1467};
constexpr DownReports si = {"QZsiConvertDown",
                            "QZ_siConvert",
                            1555,
                            1587,
                            1612,
                            "Internal Error,                                    "
                            "Binary Search could not find a scaling factor"};
constexpr DownReports dib = {"QZdibConvertDown", "QZdibConvertDown", 1837, 1882, 1910};
constexpr DownReports di = {"QZdiConvertDown", "QZ_diConvert", 1999, 2030, 2055};

constexpr std::size_t elements(std::int32_t len) { return len > 0 ? static_cast<std::size_t>(len) : 0; }

/// Operands that overlap so that blocks would show take the plain kernels.
const ConvertKernels &kernelsFor(bool blocksAreExact) {
    return (blocksAreExact ? simd::kernels() : simd::kernelsOf(simd::Level::plain)).convert;
}

template <class T>
constexpr double top = std::numeric_limits<T>::max();
template <class T>
constexpr double bottom = std::numeric_limits<T>::min();

/// Magnitudes from here on fit no factor of the search.
template <class T>
constexpr double unscalable = sizeof(T) == 2 ? 6.044444630632e23 : 3.961408123869e28;

enum class Direction { none, down, up };

/// What decides an automatic scale: a magnitude and the limit that it has to stay below.
struct Search {
    Direction direction = Direction::none;
    double value = 0.0;
    double limit = 0.0;
};

template <class T>
Search searchFor(Range<double> range) {
    const double minimum = range.minimum, maximum = range.maximum;
    const auto byMaximum = [&](Direction direction) { return Search{direction, maximum, top<T>}; };
    if (minimum < bottom<T> || maximum > top<T>) {
        if (std::fabs(minimum) <= maximum) return byMaximum(Direction::down);
        return {Direction::down, std::fabs(minimum), -bottom<T>};
    }
    if (maximum == top<T> || minimum == bottom<T> || (minimum == 0.0 && maximum == 0.0)) return {};
    const bool maximumIsNearer = minimum - bottom<T> >= top<T> - maximum; // true for a minimum of 0
    if (maximum != 0.0 && maximumIsNearer) return byMaximum(Direction::up);
    return {Direction::up, -minimum, -bottom<T>};
}

template <class T>
Search searchFor(double x) {
    if (x == top<T> || x == bottom<T> || x == 0.0) return {};
    const bool outside = x > top<T> || x < bottom<T>;
    return {outside ? Direction::down : Direction::up, std::fabs(x), x > 0.0 ? top<T> : -bottom<T>};
}

/// The least k for which value / 2^k is below the limit: negative where the value can be multiplied.
/// kept: clients know the bisection of seven rounds that this was by its failures: 64 bits are out of its
/// reach, and a value that is not above 0 finds nothing.
std::optional<std::int32_t> scaleFactorBy(const Search &search) {
    if (search.direction == Direction::none) return 0;
    if (!(search.value > 0.0)) return std::nullopt;
    // Exponent above mantissa, the bits of positive doubles are in the order of the doubles.
    const auto distance =
        std::bit_cast<std::int64_t>(search.value) - std::bit_cast<std::int64_t>(search.limit);
    const auto k = static_cast<std::int32_t>(distance >> 52) + 1;
    if (std::abs(k) > 63) return std::nullopt;
    return k;
}

template <class T>
bool isUnscalable(const Search &search) {
    return search.direction == Direction::down && search.value >= unscalable<T>;
}

std::int32_t reportBadMode(const DownReports &self, std::int32_t doScale) {
    std::snprintf(messageText, sizeof messageText, "Unknown value %3d for doScale",
                  static_cast<int>(doScale));
    return report(QZ_StsBadArg, self.nameInModeError, messageText, self.modeLine);
}

std::int32_t reportFailedSearch(const DownReports &self) {
    return report(QZ_StsNoConv, self.name, self.searchMessage, self.searchLine);
}

Range<double> rangeOf(const ConvertKernels &kernels, const float *src, std::size_t n) {
    const Range<float> range = kernels.floatRange(src, n);
    return {range.minimum, range.maximum};
}

Range<double> rangeOf(const ConvertKernels &kernels, const double *src, std::size_t n) {
    return kernels.doubleRange(src, n);
}

/// Of the elements equal to an extreme the first, as the ordered search keeps it: zeros differ in their sign,
/// which the message shows.
template <class S>
double firstEqual(const S *src, double extreme) {
    while (elementAt(src, 0) != extreme)
        ++src;
    return elementAt(src, 0);
}

template <class S, class T>
std::int32_t convertDown(const DownReports &self, simd::DownKernels<S, T> ConvertKernels::*member,
                         const S *src, T *dst, std::int32_t len, std::int32_t doScale,
                         std::int32_t *scaleFactor) {
    const std::size_t n = elements(len);
    const ConvertKernels &kernels = kernelsFor(narrowingBlocksAreExact(src, n * sizeof(S), dst));
    const auto &convert = kernels.*member;

    switch (doScale) {
    case QZ_ScaleWrap:
        convert.wrap(src, dst, n, 1.0);
        *scaleFactor = 0;
        return 0;
    case QZ_ScaleFixed:
        convert.wrap(src, dst, n, multiplierOf(*scaleFactor));
        return 0;
    case QZ_ScaleSaturate:
        convert.saturate(src, dst, n);
        *scaleFactor = 0;
        return 0;
    case QZ_ScaleAuto: {
        const Range<double> range = n > 0 ? rangeOf(kernels, src, n) : Range<double>{};
        const Search search = searchFor<T>(range);
        if (isUnscalable<T>(search)) {
            const char *const message =
                messageOf("Unscalable range [%16.8e %16.8e] too large in input vector",
                          firstEqual(src, range.minimum), firstEqual(src, range.maximum));
            return report(QZ_StsNoConv, self.name, message, self.unscalableLine);
        }
        const auto found = scaleFactorBy(search);
        if (!found) return reportFailedSearch(self);
        convert.wrap(src, dst, n, multiplierOf(*found));
        *scaleFactor = *found;
        return 0;
    }
    default:
        return reportBadMode(self, doScale);
    }
}

/// A failed scalar conversion: 0 in the low half, where callers of the 16-bit forms look.
std::int32_t failed(std::int32_t reported) { return reported & -0x10000; }

template <class T>
std::int32_t convertDown(const DownReports &self, double x, std::int32_t doScale, std::int32_t *scaleFactor) {
    switch (doScale) {
    case QZ_ScaleWrap:
        *scaleFactor = 0;
        return simd::wrapped<T>(x);
    case QZ_ScaleFixed:
        return simd::wrapped<T>(x * multiplierOf(*scaleFactor));
    case QZ_ScaleSaturate:
        *scaleFactor = 0;
        return simd::saturated<T>(x);
    case QZ_ScaleAuto: {
        const Search search = searchFor<T>(x);
        if (isUnscalable<T>(search)) {
            const char *const message = messageOf("Unscalable value %16.8e, magnitude too large", x);
            return failed(report(QZ_StsNoConv, self.name, message, self.unscalableLine));
        }
        const auto found = scaleFactorBy(search);
        if (!found) return failed(reportFailedSearch(self));
        *scaleFactor = *found;
        return simd::wrapped<T>(x * multiplierOf(*found));
    }
    default:
        return failed(reportBadMode(self, doScale));
    }
}

template <class S, class T>
void convertUp(simd::UpKernel<S, T> ConvertKernels::*member, const S *src, T *dst, std::int32_t len,
               std::int32_t scale) {
    const std::size_t n = elements(len);
    (kernelsFor(wideningBlocksAreExact(src, dst, n * sizeof(T))).*member)(src, dst, n, multiplierOf(scale));
}

// Flags of the complex conversions.
constexpr std::int32_t magnitudeFlag = 1, powerFlag = 2, logarithmFlag = 4;

/// Null when the flags name neither the magnitude nor the power.
simd::ComplexKernel ConvertKernels::*complexKernel(std::int32_t flags) {
    const bool logarithm = (flags & logarithmFlag) != 0;
    if ((flags & magnitudeFlag) != 0)
        return logarithm ? &ConvertKernels::logMagnitude : &ConvertKernels::magnitude;
    if ((flags & powerFlag) != 0) return logarithm ? &ConvertKernels::logPower : &ConvertKernels::power;
    return nullptr;
}

} // namespace
} // namespace qzk

using namespace qzk;
using simd::ConvertKernels;

extern "C" {

int32_t QZswbConvertDown(const float *src, int16_t *dst, int32_t len, int32_t doScale, int32_t *scaleFactor) {
    return convertDown(swb, &ConvertKernels::floatToShort, src, dst, len, doScale, scaleFactor);
}
int32_t QZsibConvertDown(const float *src, int32_t *dst, int32_t len, int32_t doScale, int32_t *scaleFactor) {
    return convertDown(sib, &ConvertKernels::floatToInt, src, dst, len, doScale, scaleFactor);
}
int32_t QZdwbConvertDown(const double *src, int16_t *dst, int32_t len, int32_t doScale,
                         int32_t *scaleFactor) {
    return convertDown(dwb, &ConvertKernels::doubleToShort, src, dst, len, doScale, scaleFactor);
}
int32_t QZdibConvertDown(const double *src, int32_t *dst, int32_t len, int32_t doScale,
                         int32_t *scaleFactor) {
    return convertDown(dib, &ConvertKernels::doubleToInt, src, dst, len, doScale, scaleFactor);
}

int32_t QZswConvertDown(float value, int32_t doScale, int32_t *scaleFactor) {
    return convertDown<int16_t>(sw, value, doScale, scaleFactor);
}
int32_t QZsiConvertDown(float value, int32_t doScale, int32_t *scaleFactor) {
    return convertDown<int32_t>(si, value, doScale, scaleFactor);
}
int32_t QZdwConvertDown(double value, int32_t doScale, int32_t *scaleFactor) {
    return convertDown<int16_t>(dw, value, doScale, scaleFactor);
}
int32_t QZdiConvertDown(double value, int32_t doScale, int32_t *scaleFactor) {
    return convertDown<int32_t>(di, value, doScale, scaleFactor);
}

void QZwsbConvertUp(const int16_t *src, float *dst, int32_t len, int32_t scale) {
    convertUp(&ConvertKernels::shortToFloat, src, dst, len, scale);
}
void QZwdbConvertUp(const int16_t *src, double *dst, int32_t len, int32_t scale) {
    convertUp(&ConvertKernels::shortToDouble, src, dst, len, scale);
}
void QZisbConvertUp(const int32_t *src, float *dst, int32_t len, int32_t scale) {
    convertUp(&ConvertKernels::intToFloat, src, dst, len, scale);
}
void QZidbConvertUp(const int32_t *src, double *dst, int32_t len, int32_t scale) {
    convertUp(&ConvertKernels::intToDouble, src, dst, len, scale);
}

float QZwsConvertUp(int16_t value, int32_t scale) { return static_cast<float>(value * multiplierOf(scale)); }
double QZwdConvertUp(int16_t value, int32_t scale) { return value * multiplierOf(scale); }
float QZisConvertUp(int32_t value, int32_t scale) { return static_cast<float>(value * multiplierOf(scale)); }
double QZidConvertUp(int32_t value, int32_t scale) { return value * multiplierOf(scale); }

void QZcsbConvert(const QZComplexFloat *src, float *dst, int32_t len, int32_t flags) {
    const auto kernel = complexKernel(flags);
    if (kernel == nullptr) {
        report(QZ_StsBadArg, "QZcsbConvert", "Bad flags", 2841);
        return;
    }
    const std::size_t n = elements(len);
    (kernelsFor(narrowingBlocksAreExact(src, n * sizeof *src, dst)).*kernel)(src, dst, n);
}

void QZvwbConvert(const QZComplexShort *src, int16_t *dst, int32_t len, int32_t flags, int32_t doScale,
                  int32_t *scaleFactor) {
    const std::size_t n = elements(len);
    const Buffer<QZComplexFloat> tmpin(static_cast<int64_t>(n));
    if (!tmpin) {
        report(QZ_StsNoMem, "QZvwbConvert", "insufficiency of memory for pointer  tmpin", 2903);
        return;
    }
    const Buffer<float> tmpout(static_cast<int64_t>(n));
    if (!tmpout) {
        report(QZ_StsNoMem, "QZvwbConvert", "insufficiency of memory for pointer  tmpout", 2905);
        return;
    }
    // A complex vector is widened as twice as many plain values.
    simd::kernels().convert.shortToFloat(reinterpret_cast<const int16_t *>(src),
                                         reinterpret_cast<float *>(tmpin.get()), 2 * n, 1.0);
    // kept: rejected flags are reported and the conversion goes on, with zeros.
    if (complexKernel(flags) == nullptr) std::fill_n(tmpout.get(), n, 0.0f);
    QZcsbConvert(tmpin.get(), tmpout.get(), len, flags);
    QZswbConvertDown(tmpout.get(), dst, len, doScale, scaleFactor);
}

} // extern "C"
