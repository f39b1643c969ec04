// Fourier transforms of complex, real and conjugate-symmetric data, and the cache of their tables.
#include "common/context.hpp"
#include "common/elementary.hpp"
#include "common/fft.hpp"
#include "common/memory.hpp"
#include "common/overlap.hpp"
#include "common/report.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qzk {
namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_FFT");

/// The table in one slot of the cache, or null.
template <class T>
T *cachedTable(void *const (&slots)[FftContext::orders], std::int32_t order) {
    if (order < 0 || order >= FftContext::orders || slots[order] == nullptr) return nullptr;
    return static_cast<T *>(alignUp(slots[order], FftContext::alignment));
}

/// Fills a slot with a block for 2^order entries of T. Null when the heap is exhausted and for orders that
/// have no slot.
template <class T>
T *allocateTable(void *(&slots)[FftContext::orders], std::int32_t order) {
    if (order < 0 || order >= FftContext::orders) return nullptr;
    const std::int64_t bytes = (std::int64_t{sizeof(T)} << order) + std::int64_t{FftContext::alignment};
    slots[order] = allocateArray<std::byte>(bytes);
    return cachedTable<T>(slots, order);
}

void takeEvenEntries(const QZComplexFloat *larger, QZComplexFloat *table, std::int64_t n) {
    for (std::int64_t k = 0; k < n; ++k)
        table[k] = larger[2 * k];
}

/// Entries 0 .. n/8 from sines and cosines at the powers of two alone, the rest by products and symmetry.
void computeTwiddles(QZComplexFloat *table, std::int64_t n) {
    table[0] = {1.0f, 0.0f};
    double angle = -0.7853981633974483; // -pi/4
    for (std::int64_t step = n / 8; step > 0; step /= 2, angle *= 0.5) {
        const double c = cosine(angle), s = sine(angle);
        table[step] = {static_cast<float>(c), static_cast<float>(s)};
        for (std::int64_t k = 3 * step; k < n / 8; k += 2 * step) {
            const double re = table[k - step].re, im = table[k - step].im;
            table[k] = {static_cast<float>(re * c - im * s), static_cast<float>(re * s + im * c)};
        }
    }
    for (std::int64_t k = 1; k < n / 8; ++k)
        table[n / 4 - k] = {-table[k].im, -table[k].re};
    for (std::int64_t k = 0; k < n / 4; ++k)
        table[n / 4 + k] = {table[k].im, -table[k].re};
    for (std::int64_t k = 0; k < n / 2; ++k)
        table[n / 2 + k] = {-table[k].re, -table[k].im};
}

/// Even entries of the cached table of twice the length, which are the same bits as computed ones; else
/// computed.
template <class Compute>
const QZComplexFloat *obtainTable(void *(&slots)[FftContext::orders], std::int32_t order, std::int32_t line,
                                  Compute compute) {
    if (const auto *cached = cachedTable<QZComplexFloat>(slots, order)) return cached;
    auto *table = allocateTable<QZComplexFloat>(slots, order);
    if (table == nullptr) {
        // kept: the real transform's table reports under the name of the complex one's.
        report(QZ_StsNoMem, "QZcGetFftTwdTbl", "NULL Pointer", line);
        return nullptr;
    }
    const std::int64_t n = std::int64_t{1} << order;
    if (const auto *larger = cachedTable<QZComplexFloat>(slots, order + 1))
        takeEvenEntries(larger, table, n);
    else
        compute(table, n);
    return table;
}

/// The table of the vector kernels; false, without a report, when there is no memory for it: the plain
/// version does without.
bool obtainLaneTwiddles(std::int32_t order, const QZComplexFloat *twiddle, simd::LaneTwiddles &table) {
    auto &slots = QZ_GetContext()->Fft.lanes;
    const std::int64_t n = std::int64_t{1} << order, quarter = n / 4;
    std::int64_t steps = 0;
    for (std::int64_t count = n / 16; count >= 4; count /= 4)
        steps += count / 4;
    const std::int64_t doubles = 4 * 6 * steps;
    const bool cached = slots[order] != nullptr;
    if (!cached)
        slots[order] =
            allocateArray<std::byte>(8 * doubles + 4 * 6 * quarter + std::int64_t{FftContext::alignment});
    if (slots[order] == nullptr) return false;

    auto *planes = static_cast<double *>(alignUp(slots[order], FftContext::alignment));
    auto *first = reinterpret_cast<float *>(planes + doubles);
    table = {first, planes, static_cast<std::size_t>(6 * steps)};
    if (cached) return true;
    for (std::int64_t l = 0; l < 4; ++l)
        for (std::int64_t count = n / 16; count >= 4; count /= 4)
            for (std::int64_t u = 0; u < count / 4; ++u)
                for (std::int64_t power = 1; power <= 3; ++power) {
                    const QZComplexFloat w = twiddle[power * (4 * u + l) * (quarter / count)];
                    *planes++ = w.re;
                    *planes++ = w.im;
                }
    constexpr std::int64_t columns[] = {0, 2, 1, 3};
    for (std::int64_t j = 0; j < quarter; j += 4)
        for (std::int64_t power = 1; power <= 3; ++power, first += 8)
            for (std::int64_t lane = 0; lane < 4; ++lane) {
                const QZComplexFloat w = twiddle[power * (j + columns[lane])];
                first[lane] = w.re;
                first[lane + 4] = w.im;
            }
    return true;
}

void releaseTables(void *(&slots)[FftContext::orders]) {
    // kept: the table of the highest order stays.
    for (std::int32_t order = 0; order < FftContext::orders - 1; ++order) {
        release(slots[order]);
        slots[order] = nullptr;
    }
}

const simd::FftKernels &splitKernels(std::int64_t h) {
    const bool lanes = h >= static_cast<std::int64_t>(simd::lowestLaneSplit);
    return lanes ? simd::kernels().fft : simd::kernelsOf(simd::Level::plain).fft;
}

/// 2^order elements of a not-in-place form into its destination, none for orders that have no tables.
void copyFloats(const float *src, float *dst, std::int32_t order, std::int64_t floatsPerElement) {
    if (src == dst || order < 0 || order >= FftContext::orders) return;
    constexpr std::int64_t most = std::int64_t{1} << 30; // floats in one call: its length has 32 bits
    const std::int64_t count = floatsPerElement << order;
    for (std::int64_t done = 0; done < count; done += most)
        QZsbCopy(src + done, dst + done, static_cast<std::int32_t>(std::min(most, count - done)));
}

} // namespace

bool tableFailed(const Reporter &reporter, const char *function, std::int32_t line) {
    return QZGetStatus() < 0 && reporter(QZ_StsBackTrace, function, "Bad Ptr", line) != 0;
}

bool directionIsClear(const Reporter &reporter, const char *function, FlagLines lines, std::int32_t flags) {
    switch (flags & (QZ_FORWARD | QZ_INVERSE)) {
    case QZ_FORWARD | QZ_INVERSE:
        reporter(QZ_StsBadArg, function, "Error in flag (QZ_FORWARD & QZ_INVERSE are presented)", lines.both);
        return false;
    case 0:
        reporter(QZ_StsBadArg, function, "Error in flag (QZ_FORWARD & QZ_INVERSE are not presented)",
                 lines.neither);
        return false;
    default:
        return true;
    }
}

std::int32_t signOf(std::int32_t flags) { return (flags & QZ_FORWARD) != 0 ? 1 : -1; }

double factorOf(std::int32_t flags, std::int32_t order) {
    const bool scaled = (flags & QZ_INVERSE) != 0 && (flags & QZ_NOSCALE) == 0;
    return scaled ? 1.0 / static_cast<double>(std::int64_t{1} << order) : 1.0;
}

void scaleFloats(float *x, std::int64_t n, double factor) {
    if (factor != 1.0) simd::kernels().fft.scale(x, static_cast<std::size_t>(n), factor);
}

const QZComplexFloat *QZcGetFftTwdTbl(std::int32_t order) {
    return obtainTable(QZ_GetContext()->Fft.twiddle, order, 404, computeTwiddles);
}

const QZComplexFloat *QZGetRealFftTwdTbl(std::int32_t order) {
    return obtainTable(QZ_GetContext()->Fft.realFft, order, 454, [](QZComplexFloat *table, std::int64_t n) {
        computeTwiddles(table, n);
        for (std::int64_t k = 0; k < n; ++k)
            table[k] = {static_cast<float>(0.5 * table[k].re), static_cast<float>(0.5 * table[k].im + 0.5)};
    });
}

const std::uint32_t *QZGetBitRevTbl(std::int32_t order) {
    auto &slots = QZ_GetContext()->Fft.bitReversal;
    if (const auto *cached = cachedTable<std::uint32_t>(slots, order)) return cached;
    auto *table = allocateTable<std::uint32_t>(slots, order);
    if (table == nullptr) {
        report(QZ_StsNoMem, "QZGetBitRevTbl", "NULL Pointer", 187);
        return nullptr;
    }
    const std::int64_t n = std::int64_t{1} << order;
    table[0] = 0;
    table[n - 1] = static_cast<std::uint32_t>(n - 1);
    std::int64_t reversed = 0;
    for (std::int64_t k = 1; k < n - 1; ++k) {
        std::int64_t bit = n / 2;
        for (; (reversed & bit) != 0; bit /= 2)
            reversed ^= bit;
        reversed |= bit;
        if (k <= reversed) {
            table[reversed] = static_cast<std::uint32_t>(k);
            table[k] = static_cast<std::uint32_t>(reversed);
        }
    }
    return table;
}

void QZcFftCore(QZComplexFloat *x, std::int64_t n, std::int32_t sign, const QZComplexFloat *twiddle) {
    simd::kernels().fft.core(x, static_cast<std::size_t>(n), sign, twiddle);
}

bool QZcBitRevPermute(QZComplexFloat *x, std::int32_t order) {
    if (order < 2) return true;
    if (order == 2) {
        QZComplexFloat middle[2];
        std::memcpy(middle, x + 1, sizeof middle);
        std::swap(middle[0], middle[1]);
        std::memcpy(x + 1, middle, sizeof middle);
        return true;
    }
    const std::uint32_t *reversed = QZGetBitRevTbl(order);
    if (reversed == nullptr) return false;
    simd::kernels().fft.permute(x, std::size_t{1} << order, reversed);
    return true;
}

namespace {

/// As transformComplex, but the points come from a source that is x itself or apart from it. When there is no
/// memory for the bit reversal, x holds what the steps before it gave.
bool transformComplexFrom(const QZComplexFloat *src, QZComplexFloat *x, std::int32_t order, std::int32_t sign,
                          const QZComplexFloat *twiddle, double factor) {
    const auto &kernels = simd::kernels().fft;
    const bool lanes = kernels.transform != nullptr && order >= simd::lowestLaneOrder;
    const std::uint32_t *reversed = lanes ? QZGetBitRevTbl(order) : nullptr;
    simd::LaneTwiddles table;
    if (reversed != nullptr && obtainLaneTwiddles(order, twiddle, table)) {
        kernels.transform(src, x, order, sign, reversed, table, factor);
        return true;
    }
    copyFloats(reinterpret_cast<const float *>(src), reinterpret_cast<float *>(x), order, 2);
    if (lanes && reversed == nullptr) return false;

    const std::int64_t n = std::int64_t{1} << order;
    if (order > 0) {
        QZcFftCore(x, n, sign, twiddle);
        if (!QZcBitRevPermute(x, order)) return false;
    }
    scaleFloats(reinterpret_cast<float *>(x), 2 * n, factor);
    return true;
}

/// Runs transform(source), whose source is src itself where that is apart from dst, else dst with a copy of
/// src. A transform that leaves dst as it is says so with false: then too dst receives the copy.
template <class Transform>
void notInPlace(const float *src, float *dst, std::int32_t order, std::int64_t floatsPerElement,
                Transform transform) {
    const bool hasTables = order >= 0 && order < FftContext::orders;
    const std::int64_t bytes = hasTables ? std::int64_t{sizeof(float)} * floatsPerElement << order : 0;
    const bool apart =
        apartOrIdentical(reinterpret_cast<std::uintptr_t>(src), reinterpret_cast<std::uintptr_t>(dst),
                         static_cast<std::uint64_t>(bytes));
    if (!apart) copyFloats(src, dst, order, floatsPerElement);
    if (!transform(apart ? src : dst) && apart) copyFloats(src, dst, order, floatsPerElement);
}

// The bodies of the transforms, false when they leave the data as they are. A handler may answer a failed
// table with 0, which means to go on: the flags are still checked then, but without a table nothing is
// computed.

bool complexFft(const QZComplexFloat *src, QZComplexFloat *data, std::int32_t order, std::int32_t flags) {
    constexpr const char *name = "QZcFft";
    if (order == 0) return false;
    const QZComplexFloat *twiddle = QZcGetFftTwdTbl(order);
    if (tableFailed(report, name, 764)) return false;
    if (!directionIsClear(report, name, {768, 773}, flags) || twiddle == nullptr) return false;

    transformComplexFrom(src, data, order, signOf(flags), twiddle, factorOf(flags, order));
    return true;
}

bool realFft(const float *src, float *data, std::int32_t order, std::int32_t flags) {
    constexpr const char *name = "QZsRealFft";
    if (order == 0) return false;
    const QZComplexFloat *table = QZGetRealFftTwdTbl(order);
    if (tableFailed(report, name, 1029)) return false;
    const QZComplexFloat *twiddle = order > 0 ? QZcGetFftTwdTbl(order - 1) : nullptr;
    if (order > 0 && tableFailed(report, name, 1033)) return false;
    if (!directionIsClear(report, name, {1038, 1043}, flags) || table == nullptr || twiddle == nullptr)
        return false;

    auto *points = reinterpret_cast<QZComplexFloat *>(data);
    const std::int64_t n = std::int64_t{1} << order;
    if (transformComplexFrom(reinterpret_cast<const QZComplexFloat *>(src), points, order - 1, signOf(flags),
                             twiddle, 1.0)) {
        splitReal(points, n / 2, signOf(flags), table);
        scaleFloats(data, n, factorOf(flags, order));
    }
    return true;
}

} // namespace

bool transformComplex(QZComplexFloat *x, std::int32_t order, std::int32_t sign, const QZComplexFloat *twiddle,
                      double factor) {
    return transformComplexFrom(x, x, order, sign, twiddle, factor);
}

void splitReal(QZComplexFloat *z, std::int64_t h, std::int32_t sign, const QZComplexFloat *table) {
    splitKernels(h).splitReal(z, static_cast<std::size_t>(h), sign, table);
}

void splitCcs(QZComplexFloat *z, std::int64_t h, std::int32_t sign, const QZComplexFloat *twiddle) {
    splitKernels(h).splitCcs(z, static_cast<std::size_t>(h), sign, twiddle);
}

} // namespace qzk

using namespace qzk;

extern "C" {

void QZcFft(QZComplexFloat *data, int32_t order, int32_t flags) { complexFft(data, data, order, flags); }

void QZsRealFft(float *data, int32_t order, int32_t flags) { realFft(data, data, order, flags); }

void QZsCcsFft(float *data, int32_t order, int32_t flags) {
    if (order == 0) return;
    const QZComplexFloat *table = QZcGetFftTwdTbl(order);
    if (tableFailed(report, __func__, 1173)) return;
    const QZComplexFloat *twiddle = order > 0 ? QZcGetFftTwdTbl(order - 1) : nullptr;
    if (order > 0 && tableFailed(report, __func__, 1177)) return;
    if (!directionIsClear(report, __func__, {1182, 1187}, flags) || table == nullptr || twiddle == nullptr)
        return;

    auto *points = reinterpret_cast<QZComplexFloat *>(data);
    const std::int64_t n = std::int64_t{1} << order;
    splitCcs(points, n / 2, signOf(flags), table);
    transformComplex(points, order - 1, signOf(flags), twiddle, factorOf(flags, order));
}

void QZcFftNip(const QZComplexFloat *src, QZComplexFloat *dst, int32_t order, int32_t flags) {
    notInPlace(reinterpret_cast<const float *>(src), reinterpret_cast<float *>(dst), order, 2,
               [=](const float *source) {
                   return complexFft(reinterpret_cast<const QZComplexFloat *>(source), dst, order, flags);
               });
}

void QZsRealFftNip(const float *src, float *dst, int32_t order, int32_t flags) {
    notInPlace(src, dst, order, 1, [=](const float *source) { return realFft(source, dst, order, flags); });
}

void QZsCcsFftNip(const float *src, float *dst, int32_t order, int32_t flags) {
    copyFloats(src, dst, order, 1);
    QZsCcsFft(dst, order, flags);
}

void QZFreeFftTbls(void) {
    FftContext &fft = QZ_GetContext()->Fft;
    releaseTables(fft.bitReversal);
    releaseTables(fft.twiddle);
    releaseTables(fft.realFft);
    releaseTables(fft.lanes);
    fft.sBufferOrder = 0;
    release(fft.sBuffer);
    fft.sBuffer = nullptr;
}

} // extern "C"
