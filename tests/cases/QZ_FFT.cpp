// Literal transforms, every report, and the rules of the table cache.
#include "common/context.hpp"
#include "common/fft.hpp"
#include "common/memory.hpp"
#include "qzk.h"
#include "reference/fft.hpp"
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/failing_heap.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

using Points = std::vector<QZComplexFloat>;
using Reports = std::vector<Report>;

constexpr const char *file = "..\\LIBSRC\\QZ_FFT";

/// Every test starts and ends without cached tables.
class Fft : public testing::Test {
protected:
    Fft() { QZFreeFftTbls(); }
    ~Fft() override { QZFreeFftTbls(); }
};
using FftReports = Fft;
using FftTables = Fft;

std::vector<float> parts(const Points &points) {
    std::vector<float> result;
    for (const auto &point : points)
        result.insert(result.end(), {point.re, point.im});
    return result;
}

Points complexFft(Points data, int order, int flags) {
    QZcFft(data.data(), order, flags);
    return data;
}

std::vector<float> realFft(std::vector<float> data, int order, int flags) {
    QZsRealFft(data.data(), order, flags);
    return data;
}

std::vector<float> ccsFft(std::vector<float> data, int order, int flags) {
    QZsCcsFft(data.data(), order, flags);
    return data;
}

TEST_F(Fft, OrderZeroChangesNothingWhateverTheFlags) {
    const RecordedReports reports;
    for (const int flags : {QZ_FORWARD, QZ_INVERSE, 0, 3, -1}) {
        EXPECT_TRUE(sameBits({5, -6}, parts(complexFft({{5, -6}}, 0, flags))));
        EXPECT_TRUE(sameBits({5}, realFft({5}, 0, flags)));
        EXPECT_TRUE(sameBits({5}, ccsFft({5}, 0, flags)));
    }
    EXPECT_EQ(Reports{}, reports.all());
    EXPECT_EQ(nullptr, QZ_GetContext()->Fft.twiddle[0]);
}

TEST_F(Fft, OrderOne) {
    const Points x = {{1, 2}, {3, 5}};
    EXPECT_TRUE(sameBits({4, 7, -2, -3}, parts(complexFft(x, 1, QZ_FORWARD))));
    EXPECT_TRUE(sameBits({2, 3.5f, -1, -1.5f}, parts(complexFft(x, 1, QZ_INVERSE))));
    EXPECT_TRUE(sameBits({4, 7, -2, -3}, parts(complexFft(x, 1, QZ_INVERSE | QZ_NOSCALE))));

    EXPECT_TRUE(sameBits({7, -3}, realFft({2, 5}, 1, QZ_FORWARD)));
    EXPECT_TRUE(sameBits({3.5f, -1.5f}, realFft({2, 5}, 1, QZ_INVERSE)));
    EXPECT_TRUE(sameBits({4, 10}, ccsFft({7, -3}, 1, QZ_INVERSE | QZ_NOSCALE)));
    EXPECT_TRUE(sameBits({2, 5}, ccsFft({7, -3}, 1, QZ_INVERSE)));
    EXPECT_TRUE(sameBits({4, 10}, ccsFft({7, -3}, 1, QZ_FORWARD)));
}

TEST_F(Fft, OrderTwo) {
    const Points x = {{1, 0}, {2, 0}, {3, 0}, {4, 1}};
    EXPECT_TRUE(sameBits({10, 1, -3, 2, -2, -1, -1, -2}, parts(complexFft(x, 2, QZ_FORWARD))));
    EXPECT_TRUE(sameBits({10, 1, -1, -2, -2, -1, -3, 2}, parts(complexFft(x, 2, QZ_INVERSE | QZ_NOSCALE))));
    EXPECT_TRUE(sameBits({2.5f, 0.25f, -0.25f, -0.5f, -0.5f, -0.25f, -0.75f, 0.5f},
                         parts(complexFft(x, 2, QZ_INVERSE))));

    // x = 1, 2, 3, 5: X0 = 11, X1 = -2 + 3i, X2 = -3.
    EXPECT_TRUE(sameBits({11, -3, -2, 3}, realFft({1, 2, 3, 5}, 2, QZ_FORWARD)));
    EXPECT_TRUE(sameBits({11, -3, -2, -3}, realFft({1, 2, 3, 5}, 2, QZ_INVERSE | QZ_NOSCALE)));
    EXPECT_TRUE(sameBits({1, 2, 3, 5}, ccsFft({11, -3, -2, 3}, 2, QZ_INVERSE)));
    EXPECT_TRUE(sameBits({4, 20, 12, 8}, ccsFft({11, -3, -2, 3}, 2, QZ_FORWARD)));
}

TEST_F(Fft, OrderThreeShowsTheConstantOfTheEighthRoots) {
    // The impulse at 1 has the roots of unity as its spectrum, here with the diagonal as it is defined.
    const auto c = static_cast<float>(0.7071067781186547);
    Points x(8);
    x[1] = {1, 0};
    const auto actual = parts(complexFft(x, 3, QZ_FORWARD));
    EXPECT_EQ((std::vector<float>{1, 0, c, -c, 0, -1, -c, -c, -1, 0, -c, c, 0, 1, c, c}), actual);

    // Rounded to single the constant is that of sqrt(0.5); a large product shows that it is not.
    const float large = 16777208;
    x[1] = {large, 0};
    EXPECT_EQ(11863277.0f, parts(complexFft(x, 3, QZ_FORWARD))[2]);
    EXPECT_NE(11863277.0f, static_cast<float>(large * std::sqrt(0.5)));
}

TEST_F(Fft, ColumnsWithoutProductsPassSpecialValues) {
    // An infinity in the column of factor 1 reaches its outputs without turning into not-a-numbers.
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_TRUE(sameBits({infinity, 0, infinity, 0, infinity, 0, infinity, 0},
                         parts(complexFft({{infinity, 0}, {0, 0}, {0, 0}, {0, 0}}, 2, QZ_FORWARD))));
    // Zeros keep the signs that the sums give them.
    EXPECT_TRUE(sameBits({-0.0f, 0.0f, 0.0f, 0.0f},
                         parts(complexFft({{-0.0f, 0.0f}, {-0.0f, 0.0f}}, 1, QZ_FORWARD))));
}

TEST_F(Fft, ConstantSignal) {
    for (int order = 1; order <= 12; ++order) {
        const std::size_t n = std::size_t{1} << order;
        std::vector<float> expected(n, 0.0f);
        expected[0] = 3.0f * static_cast<float>(n);
        EXPECT_EQ(expected, realFft(std::vector<float>(n, 3.0f), order, QZ_FORWARD)) << "order " << order;
    }
}

TEST_F(Fft, SecondFloatIsTheNyquistTerm) {
    EXPECT_EQ((std::vector<float>{0, 8, 0, 0, 0, 0, 0, 0}),
              realFft({1, -1, 1, -1, 1, -1, 1, -1}, 3, QZ_FORWARD));
}

TEST_F(Fft, NotInPlaceCopiesAndTransforms) {
    const RecordedReports reports;
    for (int order = 0; order <= 6; ++order) {
        const std::size_t n = std::size_t{1} << order;
        std::vector<float> src(2 * n);
        for (std::size_t i = 0; i < src.size(); ++i)
            src[i] = static_cast<float>(i * i % 7);
        for (const int flags : {QZ_FORWARD, QZ_INVERSE}) {
            Points points = reference::asPoints(src), actual(n + 1, {-9, -9});
            QZcFftNip(points.data(), actual.data(), order, flags);
            Points expected = complexFft(points, order, flags);
            expected.push_back({-9, -9});
            EXPECT_TRUE(sameBits(parts(expected), parts(actual))) << "order " << order;

            const std::vector<float> samples(src.begin(), src.begin() + static_cast<std::ptrdiff_t>(n));
            std::vector<float> dst(n + 1, -9);
            QZsRealFftNip(samples.data(), dst.data(), order, flags);
            auto wanted = realFft(samples, order, flags);
            wanted.push_back(-9);
            EXPECT_TRUE(sameBits(wanted, dst)) << "order " << order;

            dst.assign(n + 1, -9);
            QZsCcsFftNip(samples.data(), dst.data(), order, flags);
            wanted = ccsFft(samples, order, flags);
            wanted.push_back(-9);
            EXPECT_TRUE(sameBits(wanted, dst)) << "order " << order;
        }
    }
    float src = 7, dst = 0;
    QZsRealFftNip(&src, &dst, 0, 3);
    EXPECT_EQ(7, dst);
    EXPECT_EQ(Reports{}, reports.all());
}

constexpr const char *both = "Error in flag (QZ_FORWARD & QZ_INVERSE are presented)";
constexpr const char *neither = "Error in flag (QZ_FORWARD & QZ_INVERSE are not presented)";

/// One in-place transform of floats, with the lines of its reports.
struct Transform {
    const char *name;
    void (*run)(float *data, int32_t order, int32_t flags);
    std::vector<int32_t> tableLines; // back-trace after the first and the second table
    int32_t bothLine, neitherLine;
    std::vector<int32_t> heapLines; // failed allocation of the first and the second table
};

const Transform transforms[] = {
    {"QZcFft",
     [](float *data, int32_t order, int32_t flags) {
         QZcFft(reinterpret_cast<QZComplexFloat *>(data), order, flags);
     },
     {764},
     768,
     773,
     {404}},
    {"QZsRealFft", QZsRealFft, {1029, 1033}, 1038, 1043, {454, 404}},
    {"QZsCcsFft", QZsCcsFft, {1173, 1177}, 1182, 1187, {404, 404}},
};

Report noMemory(int32_t line) { return {QZ_StsNoMem, "QZcGetFftTwdTbl", "NULL Pointer", file, line}; }
Report badPointer(const Transform &transform, int32_t line) {
    return {QZ_StsBackTrace, transform.name, "Bad Ptr", file, line};
}

const std::vector<float> before = {1, 2, 3, 4, 5, 6, 7, 8, 9, 8, 7, 6, 5, 4, 3, 2};

TEST_F(FftReports, DirectionBits) {
    RecordedReports reports;
    for (const Transform &transform : transforms) {
        for (const int32_t flags : {3, 7, 11, -1, 0x7FFFFFFF}) {
            reports.clear();
            auto data = before;
            transform.run(data.data(), 3, flags);
            EXPECT_EQ((Reports{{QZ_StsBadArg, transform.name, both, file, transform.bothLine}}),
                      reports.all());
            EXPECT_TRUE(sameBits(before, data));
        }
        for (const int32_t flags : {0, 4, 8, 0x4000000, INT32_MIN}) {
            reports.clear();
            auto data = before;
            transform.run(data.data(), 3, flags);
            EXPECT_EQ((Reports{{QZ_StsBadArg, transform.name, neither, file, transform.neitherLine}}),
                      reports.all());
            EXPECT_TRUE(sameBits(before, data));
        }
    }
}

TEST_F(FftReports, OtherFlagBitsMeanNothing) {
    const RecordedReports reports;
    constexpr int32_t others = ~(QZ_FORWARD | QZ_INVERSE | QZ_NOSCALE);
    for (const Transform &transform : transforms)
        for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE, QZ_INVERSE | QZ_NOSCALE}) {
            auto expected = before, data = before;
            transform.run(expected.data(), 3, flags);
            transform.run(data.data(), 3, flags | others);
            EXPECT_TRUE(sameBits(expected, data)) << transform.name << ", flags " << flags;
        }
    EXPECT_EQ(Reports{}, reports.all());
}

TEST_F(FftReports, NotInPlaceFormsCopyFirstAndReportAsTheInPlaceOnes) {
    const auto complexNip = [](const float *src, float *dst, int32_t order, int32_t flags) {
        QZcFftNip(reinterpret_cast<const QZComplexFloat *>(src), reinterpret_cast<QZComplexFloat *>(dst),
                  order, flags);
    };
    void (*const forms[])(const float *, float *, int32_t, int32_t) = {complexNip, QZsRealFftNip,
                                                                       QZsCcsFftNip};
    RecordedReports reports;
    for (std::size_t i = 0; i < std::size(forms); ++i) {
        reports.clear();
        std::vector<float> dst(before.size());
        forms[i](before.data(), dst.data(), i == 0 ? 3 : 4, 0);
        EXPECT_EQ((Reports{{QZ_StsBadArg, transforms[i].name, neither, file, transforms[i].neitherLine}}),
                  reports.all());
        EXPECT_TRUE(sameBits(before, dst)) << transforms[i].name;
    }
}

TEST_F(FftReports, TablesAreFetchedBeforeTheFlagsAreChecked) {
    const RecordedReports reports;
    Points data(8);
    QZcFft(data.data(), 3, 0);
    EXPECT_NE(nullptr, QZ_GetContext()->Fft.twiddle[3]);
}

TEST_F(FftReports, StaleStatusStopsAtTheFirstTable) {
    RecordedReports reports;
    for (const Transform &transform : transforms) {
        reports.clear();
        QZSetStatus(QZ_StsUnderflow);
        auto data = before;
        transform.run(data.data(), 3, QZ_FORWARD);
        EXPECT_EQ((Reports{badPointer(transform, transform.tableLines[0])}), reports.all());
        EXPECT_TRUE(sameBits(before, data));
        EXPECT_EQ(QZ_StsUnderflow, QZGetStatus());
    }
}

std::vector<int32_t> continuedLines;

int32_t goOn(int32_t, const char *, const char *, const char *, int32_t line) {
    continuedLines.push_back(line);
    return 0;
}

TEST_F(FftReports, HandlerThatAnswersZeroLetsATransformGoOn) {
    for (const Transform &transform : transforms) {
        auto expected = before;
        transform.run(expected.data(), 3, QZ_FORWARD);

        QZRedirectError(goOn);
        QZSetStatus(QZ_StsError);
        continuedLines.clear();
        auto data = before;
        transform.run(data.data(), 3, QZ_FORWARD);
        EXPECT_EQ(transform.tableLines, continuedLines);
        EXPECT_TRUE(sameBits(expected, data));

        // The flags are checked as well.
        continuedLines.clear();
        data = before;
        transform.run(data.data(), 3, 3);
        auto lines = transform.tableLines;
        lines.push_back(transform.bothLine);
        EXPECT_EQ(lines, continuedLines);
        EXPECT_TRUE(sameBits(before, data));
        QZSetStdError();
        QZSetStatus(QZ_StsOk);
    }
}

TEST_F(FftReports, HandlerThatAnswersZeroDoesNotRunATransformWithoutTables) {
    for (const Transform &transform : transforms)
        for (int failAt = 0; failAt < static_cast<int>(transform.tableLines.size()); ++failAt) {
            QZFreeFftTbls();
            const FailingHeap heap(failAt);
            QZRedirectError(goOn);
            QZSetStatus(QZ_StsError);
            auto data = before;
            transform.run(data.data(), 3, QZ_FORWARD);
            EXPECT_TRUE(sameBits(before, data));
            transform.run(data.data(), -4, QZ_FORWARD);
            EXPECT_TRUE(sameBits(before, data));
            QZSetStdError();
            QZSetStatus(QZ_StsOk);
            QZFreeFftTbls();
        }
}

TEST_F(FftReports, OrdersWithoutTables) {
    RecordedReports reports;
    for (const Transform &transform : transforms)
        for (const int32_t order : {-1, -31, INT32_MIN, 33, 34, 64, INT32_MAX}) {
            reports.clear();
            const FailingHeap heap;
            auto data = before;
            transform.run(data.data(), order, QZ_FORWARD);
            EXPECT_EQ(
                (Reports{noMemory(transform.heapLines[0]), badPointer(transform, transform.tableLines[0])}),
                reports.all());
            EXPECT_TRUE(sameBits(before, data));
            EXPECT_EQ(0, heap.requests());
        }
    for (const int32_t order : {-1, INT32_MIN, 33, INT32_MAX}) {
        reports.clear();
        EXPECT_EQ(nullptr, QZGetBitRevTbl(order));
        EXPECT_EQ((Reports{{QZ_StsNoMem, "QZGetBitRevTbl", "NULL Pointer", file, 187}}), reports.all());
    }
}

TEST_F(FftReports, NotInPlaceFormsCopyNothingForOrdersWithoutTables) {
    const RecordedReports reports;
    for (const int32_t order : {-1, INT32_MIN, 33, INT32_MAX}) {
        auto dst = before;
        const float src = 77;
        QZsRealFftNip(&src, dst.data(), order, QZ_FORWARD);
        QZsCcsFftNip(&src, dst.data(), order, QZ_FORWARD);
        QZcFftNip(reinterpret_cast<const QZComplexFloat *>(&src),
                  reinterpret_cast<QZComplexFloat *>(dst.data()), order, QZ_FORWARD);
        EXPECT_TRUE(sameBits(before, dst));
    }
}

TEST_F(FftReports, FailedTables) {
    RecordedReports reports;
    for (const Transform &transform : transforms)
        for (std::size_t table = 0; table < transform.tableLines.size(); ++table) {
            QZFreeFftTbls();
            reports.clear();
            FailingHeap heap(static_cast<int>(table));
            auto data = before;
            transform.run(data.data(), 3, QZ_INVERSE);
            EXPECT_EQ((Reports{noMemory(transform.heapLines[table]),
                               badPointer(transform, transform.tableLines[table])}),
                      reports.all());
            EXPECT_TRUE(sameBits(before, data));
            EXPECT_EQ(static_cast<int>(table), heap.live());
            EXPECT_EQ(QZ_StsNoMem, QZGetStatus());

            // The slot stayed empty: the next call gets what this one could not.
            reports.clear();
            auto expected = before;
            transform.run(expected.data(), 3, QZ_INVERSE);
            EXPECT_EQ(Reports{}, reports.all());
            QZFreeFftTbls();
            EXPECT_EQ(0, heap.live());
        }
}

TEST_F(FftReports, FailedBitReversalTableStopsTheTransform) {
    RecordedReports reports;
    for (const Transform &transform : transforms) {
        QZFreeFftTbls();
        reports.clear();
        FailingHeap heap(static_cast<int>(transform.tableLines.size()));
        auto data = before;
        transform.run(data.data(), transform.tableLines.size() == 1 ? 3 : 4, QZ_INVERSE);
        EXPECT_EQ((Reports{{QZ_StsNoMem, "QZGetBitRevTbl", "NULL Pointer", file, 187}}), reports.all());
        EXPECT_EQ(nullptr, QZ_GetContext()->Fft.bitReversal[3]);
        QZFreeFftTbls();
        EXPECT_EQ(0, heap.live());
    }
}

TEST_F(FftReports, NoTableIsAskedForOnceItIsCached) {
    const RecordedReports reports;
    for (const Transform &transform : transforms) {
        auto expected = before;
        transform.run(expected.data(), 3, QZ_FORWARD);
        const FailingHeap heap(0);
        auto data = before;
        transform.run(data.data(), 3, QZ_FORWARD);
        EXPECT_EQ(0, heap.requests());
        EXPECT_TRUE(sameBits(expected, data));
    }
    EXPECT_EQ(Reports{}, reports.all());
}

/// Vector kernels read a table of their own, which the plain version does without.
bool hasLaneTable() { return simd::kernels().fft.transform != nullptr; }

TEST_F(FftReports, LongTransformsGoOnWithoutTheTableOfTheVectorKernels) {
    const RecordedReports reports;
    constexpr int order = 8;
    std::vector<float> samples(std::size_t{2} << order);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(i * i % 23) - 11;
    for (const Transform &transform : transforms) {
        auto expected = samples;
        transform.run(expected.data(), order, QZ_INVERSE);
        QZFreeFftTbls();

        const int last = static_cast<int>(transform.tableLines.size()) + 1;
        const FailingHeap heap(last);
        auto data = samples;
        transform.run(data.data(), order, QZ_INVERSE);
        EXPECT_TRUE(sameBits(expected, data));
        EXPECT_EQ(hasLaneTable() ? last + 1 : last, heap.requests());
        EXPECT_EQ(last, heap.live());

        // The next transform gets it, and the one after that asks for nothing.
        for (int run = 0; run < 2; ++run) {
            auto again = samples;
            transform.run(again.data(), order, QZ_INVERSE);
            EXPECT_TRUE(sameBits(expected, again));
            EXPECT_EQ(hasLaneTable() ? last + 2 : last, heap.requests());
        }
        QZFreeFftTbls();
        EXPECT_EQ(0, heap.live());
    }
    EXPECT_EQ(Reports{}, reports.all());
}

TEST_F(FftReports, NotInPlaceFormsThatFailLeaveWhatTheCopyAndTheTransformLeave) {
    RecordedReports reports;
    const auto compare = [&](int failAt, auto inPlace, auto notInPlace) {
        std::vector<float> src(512);
        for (std::size_t i = 0; i < src.size(); ++i)
            src[i] = static_cast<float>(i * i % 23) - 11;
        auto expected = src;
        std::vector<float> dst(src.size(), -9);
        std::vector<Report> wanted;
        for (int run = 0; run < 2; ++run) {
            QZFreeFftTbls();
            reports.clear();
            const FailingHeap heap(failAt);
            if (run == 0) {
                inPlace(expected.data());
                wanted = reports.all();
            } else {
                notInPlace(src.data(), dst.data());
            }
        }
        EXPECT_EQ(wanted, reports.all()) << "request " << failAt;
        EXPECT_TRUE(sameBits(expected, dst)) << "request " << failAt;
        QZFreeFftTbls();
    };
    const auto asPoints = [](auto *floats) { return reinterpret_cast<QZComplexFloat *>(floats); };
    for (int failAt = 0; failAt < 5; ++failAt)
        for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE, 0}) {
            compare(
                failAt, [&](float *x) { QZcFft(asPoints(x), 8, flags); },
                [&](float *src, float *dst) { QZcFftNip(asPoints(src), asPoints(dst), 8, flags); });
            compare(
                failAt, [&](float *x) { QZsRealFft(x, 9, flags); },
                [&](float *src, float *dst) { QZsRealFftNip(src, dst, 9, flags); });
            reports.clear();
        }
}

TEST_F(FftReports, FailedBitReversalTableStopsALongTransform) {
    RecordedReports reports;
    std::vector<float> data(512);
    for (const Transform &transform : transforms) {
        reports.clear();
        FailingHeap heap(static_cast<int>(transform.tableLines.size()));
        transform.run(data.data(), 8, QZ_FORWARD);
        EXPECT_EQ((Reports{{QZ_StsNoMem, "QZGetBitRevTbl", "NULL Pointer", file, 187}}), reports.all());
        QZFreeFftTbls();
        EXPECT_EQ(0, heap.live());
    }
}

void expectTables(int order) {
    const std::size_t n = std::size_t{1} << order;
    const QZComplexFloat *twiddle = QZcGetFftTwdTbl(order), *real = QZGetRealFftTwdTbl(order);
    EXPECT_TRUE(sameBits(parts(reference::twiddles(order)), parts({twiddle, twiddle + n}))) << order;
    EXPECT_TRUE(sameBits(parts(reference::realTable(order)), parts({real, real + n}))) << order;
}

TEST_F(FftTables, ComputedDirectly) {
    for (int order = 0; order <= 16; ++order) // rising: none can be derived
        expectTables(order);
}

TEST_F(FftTables, DerivedFromTheNextOrder) {
    for (int order = 16; order >= 0; --order)
        expectTables(order);
}

/// The entries are the same bits either way; a changed one shows where they come from.
TEST_F(FftTables, EvenEntriesOfTheNextOrderAreTaken) {
    FftContext &fft = QZ_GetContext()->Fft;
    const auto change = [](void *slot, std::size_t entry, float value) {
        static_cast<QZComplexFloat *>(alignUp(slot, FftContext::alignment))[entry] = {value, -value};
    };
    QZcGetFftTwdTbl(5);
    change(fft.twiddle[5], 6, 77);
    QZGetRealFftTwdTbl(5);
    change(fft.realFft[5], 6, 99);
    const QZComplexFloat *twiddle = QZcGetFftTwdTbl(4), *real = QZGetRealFftTwdTbl(4);
    EXPECT_TRUE(sameBits({77, -77, 99, -99}, parts({twiddle[3], real[3]})));
}

TEST_F(FftTables, SmallOnes) {
    const auto twiddles = [](int order) {
        const QZComplexFloat *table = QZcGetFftTwdTbl(order);
        return parts({table, table + (std::size_t{1} << order)});
    };
    const float c = 0.70710677f;
    EXPECT_TRUE(sameBits({1, 0}, twiddles(0)));
    EXPECT_TRUE(sameBits({1, 0, -1, -0.0f}, twiddles(1)));
    EXPECT_TRUE(sameBits({1, 0, 0, -1, -1, -0.0f, -0.0f, 1}, twiddles(2)));
    EXPECT_TRUE(sameBits({1, 0, c, -c, 0, -1, -c, -c, -1, -0.0f, -c, c, -0.0f, 1, c, c}, twiddles(3)));

    const QZComplexFloat *real = QZGetRealFftTwdTbl(2);
    EXPECT_TRUE(sameBits({0.5f, 0.5f, 0, 0, -0.5f, 0.5f, -0.0f, 1}, parts({real, real + 4})));
}

TEST_F(FftTables, BitReversal) {
    for (int order = 0; order <= 16; ++order) {
        const std::size_t n = std::size_t{1} << order;
        const std::uint32_t *table = QZGetBitRevTbl(order);
        for (std::size_t k = 0; k < n; ++k)
            ASSERT_EQ(reference::reversedBits(k, order), table[k]) << "order " << order;
    }
}

TEST_F(FftTables, SlotsHoldRawBlocksOfTheirSize) {
    const FailingHeap heap;
    const FftContext &fft = QZ_GetContext()->Fft;
    const auto expectBlock = [&](std::size_t request, const void *slot, const void *table,
                                 std::size_t bytes) {
        ASSERT_EQ(request + 1, heap.events().size());
        EXPECT_EQ(heap.events()[request].block, slot);
        EXPECT_EQ(bytes + 32, heap.events()[request].bytes);
        const auto raw = reinterpret_cast<std::uintptr_t>(slot);
        EXPECT_EQ((raw + 31) / 32 * 32, reinterpret_cast<std::uintptr_t>(table));
    };
    const void *table = QZcGetFftTwdTbl(5);
    expectBlock(0, fft.twiddle[5], table, 256);
    table = QZGetRealFftTwdTbl(6);
    expectBlock(1, fft.realFft[6], table, 512);
    table = QZGetBitRevTbl(7);
    expectBlock(2, fft.bitReversal[7], table, 512);
    table = QZcGetFftTwdTbl(0);
    expectBlock(3, fft.twiddle[0], table, 8);
    QZFreeFftTbls();
    EXPECT_EQ(0, heap.live());
}

TEST_F(FftTables, FetchedBySmallTransformsOnlyWhereNeeded) {
    const FftContext &fft = QZ_GetContext()->Fft;
    Points data(4);
    QZcFft(data.data(), 1, QZ_FORWARD);
    QZcFft(data.data(), 2, QZ_FORWARD);
    for (int order = 0; order < FftContext::orders; ++order) {
        EXPECT_EQ(order == 1 || order == 2, fft.twiddle[order] != nullptr) << order;
        EXPECT_EQ(nullptr, fft.bitReversal[order]) << order;
        EXPECT_EQ(nullptr, fft.realFft[order]) << order;
    }
}

TEST_F(FftTables, FreeingReleasesInOrderAndSparesTheLastSlot) {
    FftContext &fft = QZ_GetContext()->Fft;
    const FailingHeap heap;
    QZcGetFftTwdTbl(4);
    QZcGetFftTwdTbl(3);
    QZGetRealFftTwdTbl(5);
    QZGetBitRevTbl(6);
    fft.sBuffer = allocate(10);
    fft.sBufferOrder = 9;
    fft.twiddle[31] = allocate(10);
    fft.twiddle[32] = allocate(10);
    const std::vector<void *> order = {fft.bitReversal[6], fft.twiddle[3], fft.twiddle[4],
                                       fft.twiddle[31],    fft.realFft[5], fft.sBuffer};
    void *const last = fft.twiddle[32];
    QZFreeFftTbls();

    std::vector<void *> released;
    for (const auto &event : heap.events())
        if (event.kind == FailingHeap::Event::released) released.push_back(event.block);
    EXPECT_EQ(order, released);
    EXPECT_EQ(last, fft.twiddle[32]);
    EXPECT_EQ(0, fft.sBufferOrder);
    EXPECT_EQ(nullptr, fft.sBuffer);
    EXPECT_EQ(1, heap.live());
    release(last);
    fft.twiddle[32] = nullptr;
}

TEST_F(FftTables, CapacityOfTheBufferIsResetWithoutABuffer) {
    FftContext &fft = QZ_GetContext()->Fft;
    fft.sBufferOrder = 12;
    QZFreeFftTbls();
    EXPECT_EQ(0, fft.sBufferOrder);
}

TEST_F(FftTables, SameResultsAfterFreeing) {
    for (const Transform &transform : transforms) {
        auto first = before, second = before;
        transform.run(first.data(), 3, QZ_FORWARD);
        QZFreeFftTbls();
        transform.run(second.data(), 3, QZ_FORWARD);
        EXPECT_TRUE(sameBits(first, second));
    }
}

} // namespace
} // namespace qzk::test
