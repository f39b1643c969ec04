// Fourier transforms of 16-bit data: widened to float, transformed there and narrowed back.
#include "common/context.hpp"
#include "common/fft.hpp"
#include "common/memory.hpp"
#include "common/report.hpp"
#include "qzk.h"

#include <algorithm>
#include <cstddef>

namespace qzk {
namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_FFTW");

// The name that the driver of all three transforms has in reports.
constexpr const char *driver = "Fft_Core_Short_As_Float";

// 2^31 values are more than a length can count.
constexpr std::int32_t highestValueOrder = 30;

enum class Kind { complex, real, ccs };

/// One exported transform.
struct Form {
    Kind kind;
    const char *name;
    FlagLines flagLines;
    std::int32_t backTraceLine;
};

constexpr Form complexForm = {Kind::complex, "QZvFft", {1736, 1741}, 1761};
constexpr Form realForm = {Kind::real, "QZwRealFft", {1852, 1857}, 1878};
constexpr Form ccsForm = {Kind::ccs, "QZwCcsFft", {1968, 1973}, 1994};

/// 16-bit values of 2^order elements, as an order.
constexpr std::int32_t valueOrder(Kind kind, std::int32_t order) {
    return kind == Kind::complex ? order + 1 : order;
}

/// The work buffer with room for 2^order floats, or null after a report. More floats than a conversion's
/// length can count are too many to allocate.
float *obtainBuffer(std::int32_t order) {
    FftContext &fft = QZ_GetContext()->Fft;
    if (order > fft.sBufferOrder) {
        release(fft.sBuffer);
        const std::int64_t bytes =
            (std::int64_t{sizeof(float)} << order) + std::int64_t{FftContext::alignment};
        fft.sBuffer = allocateArray<std::byte>(order <= highestValueOrder ? bytes : -1);
        // kept: recorded whether there was memory or not. After a failure no transform up to this order asks
        // again before QZFreeFftTbls() resets the capacity.
        fft.sBufferOrder = order;
    }
    if (fft.sBuffer == nullptr) {
        report(QZ_StsNoMem, driver, "insufficiency of memory for pointer  pQZContext->Fft.sBuffer", 1643);
        return nullptr;
    }
    return static_cast<float *>(alignUp(fft.sBuffer, FftContext::alignment));
}

void transformShortsAsFloats(Kind kind, std::int16_t *data, std::int32_t order, std::int32_t flags,
                             std::int32_t doScale, std::int32_t *scaleFactor) {
    const QZComplexFloat *table = kind == Kind::real ? QZGetRealFftTwdTbl(order) : QZcGetFftTwdTbl(order);
    if (tableFailed(report, driver, 1624)) return;
    const std::int32_t complexOrder = kind == Kind::complex ? order : order - 1;
    const QZComplexFloat *twiddle = table;
    if (kind != Kind::complex) {
        twiddle = QZcGetFftTwdTbl(complexOrder);
        if (tableFailed(report, driver, 1632)) return;
    }
    // A handler may have answered a failed table with 0.
    if (table == nullptr || twiddle == nullptr) return;
    float *const buffer = obtainBuffer(valueOrder(kind, order));
    if (buffer == nullptr) return;

    const std::int64_t count = std::int64_t{1} << valueOrder(kind, order), h = count / 2;
    const std::int32_t sign = signOf(flags);
    const double factor = factorOf(flags, order);
    auto *const points = reinterpret_cast<QZComplexFloat *>(buffer);
    QZwsbConvertUp(data, buffer, static_cast<std::int32_t>(count), 0);
    if (kind == Kind::ccs) splitCcs(points, h, sign, table);
    if (!transformComplex(points, complexOrder, sign, twiddle, kind == Kind::real ? 1.0 : factor)) return;
    if (kind == Kind::real) {
        splitReal(points, h, sign, table);
        scaleFloats(buffer, count, factor);
    }
    QZswbConvertDown(buffer, data, static_cast<std::int32_t>(count), doScale, scaleFactor);
}

void transform(const Form &form, std::int16_t *data, std::int32_t order, std::int32_t flags,
               std::int32_t doScale, std::int32_t *scaleFactor) {
    if (order <= 0 || !directionIsClear(report, form.name, form.flagLines, flags)) return;
    transformShortsAsFloats(form.kind, data, order, flags, doScale, scaleFactor);
    if (QZGetStatus() < 0) report.backTrace(form.name, form.backTraceLine);
}

/// The elements of a not-in-place form into its destination: one for order 0 and below, none for orders whose
/// values no length can count.
void copyElements(Kind kind, const std::int16_t *src, std::int16_t *dst, std::int32_t order) {
    if (order <= highestValueOrder - valueOrder(kind, 0))
        QZwbCopy(src, dst, std::int32_t{1} << valueOrder(kind, std::max(order, 0)));
}

void transformNip(const Form &form, const std::int16_t *src, std::int16_t *dst, std::int32_t order,
                  std::int32_t flags, std::int32_t doScale, std::int32_t *scaleFactor) {
    copyElements(form.kind, src, dst, order);
    transform(form, dst, order, flags, doScale, scaleFactor);
}

std::int16_t *parts(QZComplexShort *points) { return reinterpret_cast<std::int16_t *>(points); }
const std::int16_t *parts(const QZComplexShort *points) {
    return reinterpret_cast<const std::int16_t *>(points);
}

} // namespace
} // namespace qzk

using namespace qzk;

extern "C" {

void QZvFft(QZComplexShort *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor) {
    transform(complexForm, parts(data), order, flags, doScale, scaleFactor);
}
void QZwRealFft(int16_t *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor) {
    transform(realForm, data, order, flags, doScale, scaleFactor);
}
void QZwCcsFft(int16_t *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor) {
    transform(ccsForm, data, order, flags, doScale, scaleFactor);
}

void QZvFftNip(const QZComplexShort *src, QZComplexShort *dst, int32_t order, int32_t flags, int32_t doScale,
               int32_t *scaleFactor) {
    transformNip(complexForm, parts(src), parts(dst), order, flags, doScale, scaleFactor);
}
void QZwRealFftNip(const int16_t *src, int16_t *dst, int32_t order, int32_t flags, int32_t doScale,
                   int32_t *scaleFactor) {
    transformNip(realForm, src, dst, order, flags, doScale, scaleFactor);
}
void QZwCcsFftNip(const int16_t *src, int16_t *dst, int32_t order, int32_t flags, int32_t doScale,
                  int32_t *scaleFactor) {
    transformNip(ccsForm, src, dst, order, flags, doScale, scaleFactor);
}

} // extern "C"
