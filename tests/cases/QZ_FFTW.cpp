// Literal transforms of 16-bit data, every report, and the rules of the work buffer.
#include "common/context.hpp"
#include "common/memory.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"
#include "support/failing_heap.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

using Shorts = std::vector<int16_t>;
using Reports = std::vector<Report>;

constexpr const char *file = "..\\LIBSRC\\QZ_FFTW", *fftFile = "..\\LIBSRC\\QZ_FFT";
constexpr const char *driver = "Fft_Core_Short_As_Float";

QZComplexShort *asPoints(int16_t *shorts) { return reinterpret_cast<QZComplexShort *>(shorts); }
const QZComplexShort *asPoints(const int16_t *shorts) {
    return reinterpret_cast<const QZComplexShort *>(shorts);
}

void complexInPlace(int16_t *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor) {
    QZvFft(asPoints(data), order, flags, doScale, scaleFactor);
}

void complexNip(const int16_t *src, int16_t *dst, int32_t order, int32_t flags, int32_t doScale,
                int32_t *scaleFactor) {
    QZvFftNip(asPoints(src), asPoints(dst), order, flags, doScale, scaleFactor);
}

struct Transform {
    const char *name;
    void (*inPlace)(int16_t *, int32_t, int32_t, int32_t, int32_t *);
    void (*notInPlace)(const int16_t *, int16_t *, int32_t, int32_t, int32_t, int32_t *);
    int valuesPerElement;
    int32_t bothLine, neitherLine, backTraceLine;
    std::vector<int32_t> heapLines; // failed allocation of the first and the second table

    Report backTrace() const { return {QZ_StsBackTrace, name, "", file, backTraceLine}; }
    /// Values of 2^order elements.
    std::size_t values(int order) const { return static_cast<std::size_t>(valuesPerElement) << order; }
    int tables() const { return static_cast<int>(heapLines.size()); }
    int bufferOrder(int order) const { return order + valuesPerElement - 1; }
};

const Transform transforms[] = {
    {"QZvFft", complexInPlace, complexNip, 2, 1736, 1741, 1761, {404}},
    {"QZwRealFft", QZwRealFft, QZwRealFftNip, 1, 1852, 1857, 1878, {454, 404}},
    {"QZwCcsFft", QZwCcsFft, QZwCcsFftNip, 1, 1968, 1973, 1994, {404, 404}},
};
const Transform &complexFft = transforms[0], &realFft = transforms[1], &ccsFft = transforms[2];

Report badPointer(std::size_t table) {
    return {QZ_StsBackTrace, driver, "Bad Ptr", file, table == 0 ? 1624 : 1632};
}
Report noTable(int32_t line) { return {QZ_StsNoMem, "QZcGetFftTwdTbl", "NULL Pointer", fftFile, line}; }
const Report noReversal = {QZ_StsNoMem, "QZGetBitRevTbl", "NULL Pointer", fftFile, 187};
const Report noBuffer = {QZ_StsNoMem, driver, "insufficiency of memory for pointer  pQZContext->Fft.sBuffer",
                         file, 1643};

const Shorts before = {1, 2, 3, 4, 5, 6, 7, 8, 9, 8, 7, 6, 5, 4, 3, 2};

/// Every test starts and ends without tables and buffer.
class ShortFft : public testing::Test {
protected:
    ShortFft() { QZFreeFftTbls(); }
    ~ShortFft() override { QZFreeFftTbls(); }

    /// Transforms in place and, from the same data, into a destination with a value behind it.
    Shorts run(const Transform &transform, const Shorts &data, int order, int flags, int doScale) {
        Shorts inPlace = data, dst(data.size() + 1, -99);
        const int32_t given = scale;
        transform.inPlace(inPlace.data(), order, flags, doScale, &scale);
        int32_t nipScale = given;
        transform.notInPlace(data.data(), dst.data(), order, flags, doScale, &nipScale);
        EXPECT_EQ(scale, nipScale);
        EXPECT_EQ(-99, dst.back());
        dst.pop_back();
        EXPECT_EQ(inPlace, dst);
        return inPlace;
    }

    int32_t scale = 77;
};
using ShortFftReports = ShortFft;
using ShortFftBuffer = ShortFft;

TEST_F(ShortFft, OrderZeroAndBelowChangesNothingWhateverTheArguments) {
    const RecordedReports reports;
    const FailingHeap heap;
    QZSetStatus(QZ_StsError);
    for (const Transform &transform : transforms)
        for (const int32_t order : {0, -1, -31, INT32_MIN})
            for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE, 0, 3, -1}) {
                Shorts data = {5, -6, 7}, dst = {1, 2, 3};
                transform.inPlace(data.data(), order, flags, 99, &scale);
                EXPECT_EQ((Shorts{5, -6, 7}), data);
                // The forms with a destination copy one element.
                transform.notInPlace(data.data(), dst.data(), order, flags, 99, &scale);
                EXPECT_EQ(transform.valuesPerElement == 2 ? (Shorts{5, -6, 3}) : (Shorts{5, 2, 3}), dst);
            }
    EXPECT_EQ(77, scale);
    EXPECT_EQ(0, heap.requests());
    EXPECT_EQ(Reports{}, reports.all());
}

TEST_F(ShortFft, OrderOne) {
    const Shorts x = {1, 2, 4, 5};
    EXPECT_EQ((Shorts{5, 7, -3, -3}), run(complexFft, x, 1, QZ_FORWARD, QZ_ScaleWrap));
    EXPECT_EQ(0, scale);
    // 2.5, 3.5, -1.5, -1.5
    EXPECT_EQ((Shorts{2, 3, -1, -1}), run(complexFft, x, 1, QZ_INVERSE, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{5, 7, -3, -3}), run(complexFft, x, 1, QZ_INVERSE | QZ_NOSCALE, QZ_ScaleWrap));

    EXPECT_EQ((Shorts{7, -3}), run(realFft, {2, 5}, 1, QZ_FORWARD, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{3, -1}), run(realFft, {2, 5}, 1, QZ_INVERSE, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{2, 5}), run(ccsFft, {7, -3}, 1, QZ_INVERSE, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{4, 10}), run(ccsFft, {7, -3}, 1, QZ_INVERSE | QZ_NOSCALE, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{4, 10}), run(ccsFft, {7, -3}, 1, QZ_FORWARD, QZ_ScaleWrap));
}

TEST_F(ShortFft, OrderTwo) {
    const Shorts x = {1, 0, 2, 0, 3, 0, 4, 1};
    EXPECT_EQ((Shorts{10, 1, -3, 2, -2, -1, -1, -2}), run(complexFft, x, 2, QZ_FORWARD, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{10, 1, -1, -2, -2, -1, -3, 2}),
              run(complexFft, x, 2, QZ_INVERSE | QZ_NOSCALE, QZ_ScaleWrap));
    // A quarter of these, truncated toward zero.
    EXPECT_EQ((Shorts{2, 0, 0, 0, 0, 0, 0, 0}), run(complexFft, x, 2, QZ_INVERSE, QZ_ScaleWrap));

    EXPECT_EQ((Shorts{11, -3, -2, 3}), run(realFft, {1, 2, 3, 5}, 2, QZ_FORWARD, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{11, -3, -2, -3}), run(realFft, {1, 2, 3, 5}, 2, QZ_INVERSE | QZ_NOSCALE, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{1, 2, 3, 5}), run(ccsFft, {11, -3, -2, 3}, 2, QZ_INVERSE, QZ_ScaleWrap));
    EXPECT_EQ((Shorts{4, 20, 12, 8}), run(ccsFft, {11, -3, -2, 3}, 2, QZ_FORWARD, QZ_ScaleWrap));
}

TEST_F(ShortFft, ForwardHasNoFactorToLeaveOut) {
    for (const Transform &transform : transforms) {
        const Shorts data(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(transform.values(3)));
        EXPECT_EQ(run(transform, data, 3, QZ_FORWARD, QZ_ScaleWrap),
                  run(transform, data, 3, QZ_FORWARD | QZ_NOSCALE, QZ_ScaleWrap))
            << transform.name;
    }
}

TEST_F(ShortFft, ScaleModes) {
    const Shorts x = {30000, 20000}; // spectrum 50000, 10000
    EXPECT_EQ((Shorts{-15536, 10000}), run(realFft, x, 1, QZ_FORWARD, QZ_ScaleWrap));
    EXPECT_EQ(0, scale);
    scale = 3;
    EXPECT_EQ((Shorts{6250, 1250}), run(realFft, x, 1, QZ_FORWARD, QZ_ScaleFixed));
    EXPECT_EQ(3, scale);
    EXPECT_EQ((Shorts{25000, 5000}), run(realFft, x, 1, QZ_FORWARD, QZ_ScaleAuto));
    EXPECT_EQ(1, scale);
    EXPECT_EQ((Shorts{32767, 10000}), run(realFft, x, 1, QZ_FORWARD, QZ_ScaleSaturate));
    EXPECT_EQ(0, scale);
    EXPECT_EQ((Shorts{-32768, 10000}), run(realFft, {-20000, -30000}, 1, QZ_FORWARD, QZ_ScaleSaturate));
    scale = -2;
    EXPECT_EQ((Shorts{24, 4}), run(realFft, {7, 5}, 1, QZ_INVERSE, QZ_ScaleFixed));
    EXPECT_EQ(-2, scale);
}

TEST_F(ShortFft, SpectrumOfAnImpulseIsFlatAndScaledUp) {
    for (int order = 1; order <= 12; ++order) {
        Shorts x(complexFft.values(order));
        x[0] = 1000;
        Shorts expected(x.size());
        for (std::size_t k = 0; k < x.size(); k += 2)
            expected[k] = 32000;
        EXPECT_EQ(expected, run(complexFft, x, order, QZ_FORWARD, QZ_ScaleAuto)) << "order " << order;
        EXPECT_EQ(-5, scale);
    }
}

TEST_F(ShortFft, CcsInverseGivesBackTheSamplesOfRealForward) {
    for (int order = 1; order <= 10; ++order) {
        Shorts x(std::size_t{1} << order);
        for (std::size_t i = 0; i < x.size(); ++i)
            x[i] = static_cast<int16_t>(i * i % 29);
        const Shorts spectrum = run(realFft, x, order, QZ_FORWARD, QZ_ScaleWrap);
        const Shorts back = run(ccsFft, spectrum, order, QZ_INVERSE, QZ_ScaleWrap);
        for (std::size_t i = 0; i < x.size(); ++i) {
            EXPECT_LE(back[i], x[i] + 2) << "order " << order;
            EXPECT_GE(back[i], x[i] - 2) << "order " << order;
        }
    }
}

TEST_F(ShortFft, OverlappingDestinationGetsWhatTheCopyLeaves) {
    Shorts expected(40), actual;
    for (std::size_t i = 0; i < expected.size(); ++i)
        expected[i] = static_cast<int16_t>(i * i % 37);
    for (const std::size_t shift : {3u, 8u}) {
        actual = expected;
        Shorts wanted = expected;
        QZwbCopy(wanted.data(), wanted.data() + shift, 32);
        QZwRealFft(wanted.data() + shift, 5, QZ_FORWARD, QZ_ScaleWrap, &scale);
        QZwRealFftNip(actual.data(), actual.data() + shift, 5, QZ_FORWARD, QZ_ScaleWrap, &scale);
        EXPECT_EQ(wanted, actual);
    }
}

TEST_F(ShortFftReports, DirectionBitsAreCheckedBeforeAnyTableIsFetched) {
    RecordedReports reports;
    const FailingHeap heap;
    const auto expectOnly = [&](const Transform &transform, int32_t flags, const char *message,
                                int32_t line) {
        // A negative status is neither looked at nor followed by a back-trace.
        for (const int32_t status : {QZ_StsOk, QZ_StsUnderflow}) {
            reports.clear();
            QZSetStatus(status);
            auto data = before;
            transform.inPlace(data.data(), 3, flags, QZ_ScaleAuto, &scale);
            EXPECT_EQ((Reports{{QZ_StsBadArg, transform.name, message, file, line}}), reports.all());
            EXPECT_EQ(before, data);
        }
        reports.clear();
        Shorts dst(before.size());
        transform.notInPlace(before.data(), dst.data(), 3, flags, QZ_ScaleAuto, &scale);
        EXPECT_EQ((Reports{{QZ_StsBadArg, transform.name, message, file, line}}), reports.all());
        Shorts copied = before;
        std::fill(copied.begin() + static_cast<std::ptrdiff_t>(transform.values(3)), copied.end(),
                  int16_t{0});
        EXPECT_EQ(copied, dst);
    };
    for (const Transform &transform : transforms) {
        for (const int32_t flags : {3, 7, 11, -1, 0x7FFFFFFF})
            expectOnly(transform, flags, "Error in flag (QZ_FORWARD & QZ_INVERSE are presented)",
                       transform.bothLine);
        for (const int32_t flags : {0, 4, 8, 0x4000000, 0x8000000, INT32_MIN})
            expectOnly(transform, flags, "Error in flag (QZ_FORWARD & QZ_INVERSE are not presented)",
                       transform.neitherLine);
    }
    EXPECT_EQ(77, scale);
    EXPECT_EQ(0, heap.requests());
}

TEST_F(ShortFftReports, OtherFlagBitsMeanNothing) {
    const RecordedReports reports;
    constexpr int32_t others = ~(QZ_FORWARD | QZ_INVERSE | QZ_NOSCALE);
    for (const Transform &transform : transforms) {
        const Shorts data(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(transform.values(3)));
        for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE, QZ_INVERSE | QZ_NOSCALE})
            EXPECT_EQ(run(transform, data, 3, flags, QZ_ScaleAuto),
                      run(transform, data, 3, flags | others, QZ_ScaleAuto))
                << transform.name << ", flags " << flags;
    }
    EXPECT_EQ(Reports{}, reports.all());
}

TEST_F(ShortFftReports, StaleStatusStopsAtTheFirstTable) {
    RecordedReports reports;
    for (const Transform &transform : transforms) {
        reports.clear();
        QZSetStatus(QZ_StsUnderflow);
        auto data = before;
        transform.inPlace(data.data(), 3, QZ_FORWARD, QZ_ScaleAuto, &scale);
        EXPECT_EQ((Reports{badPointer(0), transform.backTrace()}), reports.all());
        EXPECT_EQ(before, data);
        EXPECT_EQ(QZ_StsUnderflow, QZGetStatus());
    }
}

std::vector<int32_t> continuedLines;

int32_t goOn(int32_t, const char *, const char *, const char *, int32_t line) {
    continuedLines.push_back(line);
    return 0;
}

TEST_F(ShortFftReports, HandlerThatAnswersZeroLetsATransformGoOn) {
    for (const Transform &transform : transforms) {
        auto expected = before;
        transform.inPlace(expected.data(), 3, QZ_FORWARD, QZ_ScaleAuto, &scale);

        QZRedirectError(goOn);
        QZSetStatus(QZ_StsError);
        continuedLines.clear();
        auto data = before;
        transform.inPlace(data.data(), 3, QZ_FORWARD, QZ_ScaleAuto, &scale);
        const std::vector<int32_t> lines = transform.tables() == 1
                                               ? std::vector<int32_t>{1624, transform.backTraceLine}
                                               : std::vector<int32_t>{1624, 1632, transform.backTraceLine};
        EXPECT_EQ(lines, continuedLines);
        EXPECT_EQ(expected, data);

        // Not without tables.
        for (int failAt = 0; failAt < transform.tables(); ++failAt) {
            QZFreeFftTbls();
            const FailingHeap heap(failAt);
            data = before;
            transform.inPlace(data.data(), 3, QZ_FORWARD, QZ_ScaleAuto, &scale);
            EXPECT_EQ(before, data);
            EXPECT_EQ(nullptr, QZ_GetContext()->Fft.sBuffer);
            QZFreeFftTbls();
        }
        QZSetStdError();
        QZSetStatus(QZ_StsOk);
    }
}

TEST_F(ShortFftReports, OrdersWithoutTables) {
    RecordedReports reports;
    for (const Transform &transform : transforms)
        for (const int32_t order : {33, 34, 64, INT32_MAX}) {
            reports.clear();
            const FailingHeap heap;
            auto data = before;
            Shorts dst(before.size(), -1);
            const Shorts untouched = dst;
            transform.inPlace(data.data(), order, QZ_FORWARD, QZ_ScaleAuto, &scale);
            EXPECT_EQ((Reports{noTable(transform.heapLines[0]), badPointer(0), transform.backTrace()}),
                      reports.all());
            EXPECT_EQ(before, data);
            QZSetStatus(QZ_StsOk);
            transform.notInPlace(data.data(), dst.data(), order, QZ_FORWARD, QZ_ScaleAuto, &scale);
            EXPECT_EQ(untouched, dst);
            EXPECT_EQ(0, heap.requests());
        }
}

/// What a transform of this order asks for: its tables, the buffer, the table of reversed indexes, and that
/// of the vector kernels.
TEST_F(ShortFftReports, EveryFailedAllocation) {
    RecordedReports reports;
    for (const int order : {4, 9})
        for (const Transform &transform : transforms) {
            Shorts x(transform.values(order));
            for (std::size_t i = 0; i < x.size(); ++i)
                x[i] = static_cast<int16_t>(static_cast<int>(i * i % 23) - 11);
            Shorts expected = x;
            transform.inPlace(expected.data(), order, QZ_INVERSE, QZ_ScaleAuto, &scale);
            const int32_t expectedScale = scale;

            const int complexOrder = order - transform.tables() + 1;
            const bool laneTable =
                simd::kernels().fft.transform != nullptr && complexOrder >= simd::lowestLaneOrder;
            const int tables = transform.tables(), all = tables + 2 + (laneTable ? 1 : 0);
            for (int failAt = 0; failAt <= all; ++failAt) {
                QZFreeFftTbls();
                reports.clear();
                QZSetStatus(QZ_StsOk);
                scale = 77;
                const FailingHeap heap(failAt);
                Shorts data = x;
                transform.inPlace(data.data(), order, QZ_INVERSE, QZ_ScaleAuto, &scale);

                Reports wanted;
                if (failAt < tables)
                    wanted = {noTable(transform.heapLines[static_cast<std::size_t>(failAt)]),
                              badPointer(static_cast<std::size_t>(failAt)), transform.backTrace()};
                else if (failAt == tables)
                    wanted = {noBuffer, transform.backTrace()};
                else if (failAt == tables + 1)
                    wanted = {noReversal, transform.backTrace()};
                EXPECT_EQ(wanted, reports.all()) << transform.name << ", request " << failAt;
                EXPECT_EQ(wanted.empty() ? expected : x, data) << transform.name << ", request " << failAt;
                EXPECT_EQ(wanted.empty() ? expectedScale : 77, scale);
                EXPECT_EQ(wanted.empty() ? QZ_StsOk : QZ_StsNoMem, QZGetStatus());
                EXPECT_EQ(wanted.empty() ? all : failAt + 1, heap.requests());

                // After a reset, and after a failed table without one, the next call has what it needs.
                if (failAt == tables) QZFreeFftTbls();
                reports.clear();
                QZSetStatus(QZ_StsOk);
                data = x;
                transform.inPlace(data.data(), order, QZ_INVERSE, QZ_ScaleAuto, &scale);
                EXPECT_EQ(Reports{}, reports.all());
                EXPECT_EQ(expected, data);
                QZFreeFftTbls();
                EXPECT_EQ(0, heap.live());
            }
        }
}

TEST_F(ShortFftReports, NarrowingReportsAndTheTransformAddsABackTrace) {
    RecordedReports reports;
    for (const Transform &transform : transforms)
        for (const int32_t mode : {4, -1}) {
            reports.clear();
            QZSetStatus(QZ_StsOk);
            auto data = before;
            transform.inPlace(data.data(), 3, QZ_FORWARD, mode, &scale);
            const std::string number = mode == 4 ? "  4" : " -1";
            EXPECT_EQ((Reports{{QZ_StsBadArg, "QZswbConvertDown", "Unknown value " + number + " for doScale",
                                "..\\LIBSRC\\QZ_CNVRT", 523},
                               transform.backTrace()}),
                      reports.all());
            EXPECT_EQ(before, data);
            EXPECT_EQ(77, scale);
            EXPECT_EQ(QZ_StsBadArg, QZGetStatus());
        }

    // An inverse whose values are all -1/4: their search for a scale factor ends without one.
    reports.clear();
    QZSetStatus(QZ_StsOk);
    const Shorts impulse = {-1, -1, 0, 0, 0, 0, 0, 0};
    auto data = impulse;
    QZvFft(asPoints(data.data()), 2, QZ_INVERSE, QZ_ScaleAuto, &scale);
    EXPECT_EQ((Reports{{QZ_StsNoConv, "QZswbConvertDown",
                        "Internal Error, Binary Search could not find a scaling factor",
                        "..\\LIBSRC\\QZ_CNVRT", 496},
                       complexFft.backTrace()}),
              reports.all());
    EXPECT_EQ(impulse, data);
    EXPECT_EQ(77, scale);
    EXPECT_EQ(QZ_StsNoConv, QZGetStatus());
}

TEST_F(ShortFftBuffer, GrowsToTheLargestTransform) {
    const FftContext &fft = QZ_GetContext()->Fft;
    const FailingHeap heap;
    for (const Transform &transform : transforms) {
        QZFreeFftTbls();
        EXPECT_EQ(0, fft.sBufferOrder);
        EXPECT_EQ(nullptr, fft.sBuffer);
        Shorts data(transform.values(6));
        transform.inPlace(data.data(), 4, QZ_FORWARD, QZ_ScaleWrap, &scale);
        EXPECT_EQ(transform.bufferOrder(4), fft.sBufferOrder);
        const void *const first = fft.sBuffer;
        const auto bytesOf = [&](const void *block) {
            std::size_t bytes = 0;
            for (const auto &event : heap.events())
                if (event.kind == FailingHeap::Event::allocated && event.block == block) bytes = event.bytes;
            return bytes;
        };
        EXPECT_EQ(4 * transform.values(4) + 32, bytesOf(first));

        // Smaller ones, and the same size in another form, use what is there.
        transform.inPlace(data.data(), 2, QZ_FORWARD, QZ_ScaleWrap, &scale);
        transform.inPlace(data.data(), 4, QZ_INVERSE, QZ_ScaleWrap, &scale);
        QZvFft(asPoints(data.data()), transform.bufferOrder(4) - 1, QZ_FORWARD, QZ_ScaleWrap, &scale);
        QZwRealFft(data.data(), transform.bufferOrder(4), QZ_FORWARD, QZ_ScaleWrap, &scale);
        EXPECT_EQ(first, fft.sBuffer);
        EXPECT_EQ(transform.bufferOrder(4), fft.sBufferOrder);

        transform.inPlace(data.data(), 6, QZ_FORWARD, QZ_ScaleWrap, &scale);
        EXPECT_EQ(transform.bufferOrder(6), fft.sBufferOrder);
        EXPECT_EQ(4 * transform.values(6) + 32, bytesOf(fft.sBuffer));
    }
    QZFreeFftTbls();
    EXPECT_EQ(0, heap.live());
}

/// More values than a length can count are neither copied nor given a buffer. The tables of such orders are
/// too large for a test, but without a buffer nobody reads them.
TEST_F(ShortFftBuffer, NoneForMoreValuesThanALengthCounts) {
    RecordedReports reports;
    FftContext &fft = QZ_GetContext()->Fft;
    std::byte table[64];
    for (const int order : {29, 30, 31})
        fft.realFft[order] = fft.twiddle[order] = table;
    for (const Transform &transform : transforms)
        for (const int valueOrder : {30, 31}) {
            const int order = valueOrder - transform.bufferOrder(0);
            const FailingHeap heap(0);
            reports.clear();
            QZSetStatus(QZ_StsOk);
            auto data = before;
            transform.inPlace(data.data(), order, QZ_FORWARD, QZ_ScaleWrap, &scale);
            EXPECT_EQ((Reports{noBuffer, transform.backTrace()}), reports.all());
            EXPECT_EQ(before, data);
            EXPECT_EQ(valueOrder, fft.sBufferOrder);
            constexpr std::uint64_t bytesOfOrder30 = (std::uint64_t{4} << 30) + 32;
            const bool possible =
                valueOrder == 30 && bytesOfOrder30 < std::numeric_limits<std::size_t>::max();
            EXPECT_EQ(possible ? 1 : 0, heap.requests());
            for (const auto &event : heap.events())
                EXPECT_EQ(bytesOfOrder30, event.bytes);
            if (valueOrder == 31) {
                Shorts dst(before.size(), -1);
                const Shorts untouched = dst;
                transform.notInPlace(data.data(), dst.data(), order, QZ_FORWARD, QZ_ScaleWrap, &scale);
                EXPECT_EQ(untouched, dst);
            }
            fft.sBufferOrder = 0;
        }
    for (const int order : {29, 30, 31})
        fft.realFft[order] = fft.twiddle[order] = nullptr;
}

TEST_F(ShortFftBuffer, CapacityIsClaimedByAFailedAllocationToo) {
    RecordedReports reports;
    FftContext &fft = QZ_GetContext()->Fft;
    for (const Transform &transform : transforms) {
        QZFreeFftTbls();
        Shorts data(transform.values(4), 3);
        transform.inPlace(data.data(), 3, QZ_FORWARD, QZ_ScaleWrap, &scale);
        const Shorts untouched(transform.values(4), 3);
        {
            reports.clear();
            QZcFft(std::vector<QZComplexFloat>(16).data(), 4, QZ_FORWARD);
            QZsRealFft(std::vector<float>(16).data(), 4, QZ_FORWARD);
            const FailingHeap heap(0);
            data = untouched;
            transform.inPlace(data.data(), 4, QZ_FORWARD, QZ_ScaleWrap, &scale);
            EXPECT_EQ((Reports{noBuffer, transform.backTrace()}), reports.all());
            EXPECT_EQ(untouched, data);
            EXPECT_EQ(1, heap.requests());
        }
        EXPECT_EQ(nullptr, fft.sBuffer);
        EXPECT_EQ(transform.bufferOrder(4), fft.sBufferOrder);

        // There is memory again, but nothing asks for it.
        for (const int order : {3, 4}) {
            reports.clear();
            QZSetStatus(QZ_StsOk);
            const FailingHeap heap;
            transform.inPlace(data.data(), order, QZ_FORWARD, QZ_ScaleWrap, &scale);
            EXPECT_EQ((Reports{noBuffer, transform.backTrace()}), reports.all());
            EXPECT_EQ(untouched, data);
            EXPECT_EQ(0, heap.requests());
        }
        // A larger transform does.
        reports.clear();
        QZSetStatus(QZ_StsOk);
        Shorts larger(transform.values(5), 3);
        transform.inPlace(larger.data(), 5, QZ_FORWARD, QZ_ScaleWrap, &scale);
        EXPECT_EQ(Reports{}, reports.all());
        EXPECT_EQ(96, larger[0]);
    }
}

TEST_F(ShortFftBuffer, ResetAfterAFailureRestoresTheTransform) {
    RecordedReports reports;
    Shorts data(16, 3);
    {
        const FailingHeap heap(2);
        QZwRealFft(data.data(), 4, QZ_FORWARD, QZ_ScaleWrap, &scale);
        EXPECT_EQ((Reports{noBuffer, realFft.backTrace()}), reports.all());
        QZFreeFftTbls();
    }
    EXPECT_EQ(0, QZ_GetContext()->Fft.sBufferOrder);
    reports.clear();
    QZSetStatus(QZ_StsOk);
    QZwRealFft(data.data(), 4, QZ_FORWARD, QZ_ScaleWrap, &scale);
    EXPECT_EQ(Reports{}, reports.all());
    Shorts expected(16);
    expected[0] = 48;
    EXPECT_EQ(expected, data);
}

} // namespace
} // namespace qzk::test
