// The windows' literal coefficients, the rules of their caches, pre-emphasis, and every report.
#include "common/context.hpp"
#include "qzk.h"
#include "support/bits.hpp"
#include "support/extended_precision.hpp"
#include "support/failing_heap.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

using Shorts = std::vector<std::int16_t>;

struct WindowExports {
    const char *kind;
    void (*apply)(float *, int32_t);
    int32_t (*applyShort)(int16_t *, int32_t, int32_t, int32_t *);
    int32_t (*free)();
    void (*freeShort)();
    int32_t line, lineShort;

    std::string name() const { return std::string("QZsWin") + kind; }
    std::string nameShort() const { return std::string("QZwWin") + kind; }
    friend std::ostream &operator<<(std::ostream &out, const WindowExports &window) {
        return out << window.kind;
    }
};

const WindowExports windows[] = {
    {"Hamming", QZsWinHamming, QZwWinHamming, QZsFreeWinHammingTbls, QZwFreeWinHammingTbls, 421, 699},
    {"Hanning", QZsWinHanning, QZwWinHanning, QZsFreeWinHanningTbls, QZwFreeWinHanningTbls, 422, 700},
    {"Bartlett", QZsWinBartlett, QZwWinBartlett, QZsFreeWinBartlettTbls, QZwFreeWinBartlettTbls, 423, 701},
    {"Blackman", QZsWinBlackman, QZwWinBlackman, QZsFreeWinBlackmanTbls, QZwFreeWinBlackmanTbls, 424, 702},
};

constexpr const char *file = "..\\LIBSRC\\QZ_WIND";

std::vector<float> windowOf(void (*apply)(float *, int32_t), std::size_t n) {
    std::vector<float> ones(n, 1.0f);
    apply(ones.data(), static_cast<int32_t>(n));
    return ones;
}

void expectNear(const std::vector<double> &expected, const std::vector<float> &actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t k = 0; k < expected.size(); ++k)
        EXPECT_NEAR(expected[k], actual[k], 1e-7) << "coefficient " << k;
}

TEST(WindowCoefficients, Hamming) {
    expectNear({0.08, 0.54, 1.0, 0.54, 0.08}, windowOf(QZsWinHamming, 5));
    expectNear({0.08, 0.08}, windowOf(QZsWinHamming, 2));
}

TEST(WindowCoefficients, HanningHasNoZeroEndPoints) {
    expectNear({0.5, 1.0, 0.5}, windowOf(QZsWinHanning, 3));
    expectNear({0.75, 0.75}, windowOf(QZsWinHanning, 2));
}

TEST(WindowCoefficients, BartlettPeaksAtOneForOddLengthsOnly) {
    constexpr float twoThirds = static_cast<float>(2.0 / 3.0);
    EXPECT_TRUE(sameBits({0.0f, twoThirds, twoThirds, 0.0f}, windowOf(QZsWinBartlett, 4)));
    EXPECT_TRUE(sameBits({0.0f, 0.5f, 1.0f, 0.5f, 0.0f}, windowOf(QZsWinBartlett, 5)));
    EXPECT_TRUE(sameBits({0.0f, 0.0f}, windowOf(QZsWinBartlett, 2)));
}

TEST(WindowCoefficients, Blackman) { expectNear({0.0, 0.34, 1.0, 0.34, 0.0}, windowOf(QZsWinBlackman, 5)); }

/// With the nearest double to 2 pi these coefficients would be different floats.
TEST(WindowCoefficients, KeepTheShortenedTwoPi) {
    EXPECT_EQ(0x1.b7c4d4p-3f, windowOf(QZsWinHamming, 9)[7]);
    EXPECT_EQ(0x1.a3e5b8p-4f, windowOf(QZsWinHamming, 21)[1]);
}

TEST(WindowCoefficients, AreKeptForEachWindowByItself) {
    for (const WindowExports &window : windows)
        window.freeShort();
    FailingHeap heap;
    const float middles[] = {0.54f, 0.75f, 0.5f, 0.34f};
    for (int run = 0; run < 2; ++run)
        for (std::size_t i = 0; i < std::size(windows); ++i) {
            EXPECT_NEAR(middles[i], windowOf(windows[i].apply, 5)[1], 1e-7) << windows[i];
            int16_t sample = 1;
            int32_t scale;
            windows[i].applyShort(&sample, 1, QZ_ScaleSaturate, &scale);
        }
    EXPECT_EQ(8, heap.requests()) << "a table and a buffer for each";
    for (const WindowExports &window : windows) {
        const int live = heap.live();
        window.freeShort();
        EXPECT_EQ(live - 2, heap.live()) << window;
    }
}

TEST(WindowCoefficients, StateOfTheCache) {
    QZsFreeWinHammingTbls();
    const auto &cache = QZ_GetContext()->Hamming.sCoeff;
    const auto expectState = [&](int32_t current, int32_t count, int32_t length) {
        EXPECT_EQ(current, cache.current);
        EXPECT_EQ(count, cache.count);
        EXPECT_EQ(length, cache.lengths[cache.current]);
    };
    const auto apply = [](std::size_t n) { windowOf(QZsWinHamming, n); };
    expectState(0, 0, 0);
    apply(6);
    expectState(0, 1, 6);
    apply(9);
    expectState(1, 2, 9);
    apply(6);
    expectState(0, 2, 6);
    apply(1); // needs no table
    expectState(0, 2, 6);
    apply(9);
    QZsFreeWinHammingTbls();
    expectState(0, 0, 0);
    for (int i = 0; i < WindowContext::maxTables; ++i) {
        EXPECT_EQ(0, cache.lengths[i]);
        EXPECT_EQ(nullptr, cache.tables[i]);
    }
}

class WindowTest : public testing::TestWithParam<WindowExports> {
protected:
    ~WindowTest() override { GetParam().freeShort(); }

    void apply(int32_t n) {
        std::vector<float> data(static_cast<std::size_t>(n), 1.0f);
        GetParam().apply(data.data(), n);
    }

    FailingHeap heap_;
    RecordedReports reports_;
};
INSTANTIATE_TEST_SUITE_P(Windows, WindowTest, testing::ValuesIn(windows),
                         [](const auto &info) { return std::string(info.param.kind); });

TEST_P(WindowTest, LengthsBelowTwoChangeNothing) {
    float sample = 3.0f;
    for (const int32_t n : {1, 0, -1, std::numeric_limits<int32_t>::min()})
        GetParam().apply(&sample, n);
    EXPECT_EQ(3.0f, sample);
    GetParam().apply(nullptr, 0);
    EXPECT_EQ(0, heap_.requests());
}

TEST_P(WindowTest, MultipliesTheData) {
    const auto coefficients = windowOf(GetParam().apply, 7);
    std::vector<float> data = {1.5f, -2.0f, 0.1f, 100.0f, -0.0f, 3e38f, 7.0f}, expected(7);
    for (std::size_t k = 0; k < 7; ++k)
        expected[k] = data[k] * coefficients[k];
    GetParam().apply(data.data(), 7);
    EXPECT_TRUE(sameBits(expected, data));
}

TEST_P(WindowTest, EachLengthIsBuiltOnce) {
    for (const int32_t n : {10, 20, 10, 20, 20, 10})
        apply(n);
    ASSERT_EQ(2, heap_.requests());
    EXPECT_EQ(40u, heap_.events()[0].bytes);
    EXPECT_EQ(80u, heap_.events()[1].bytes);
    EXPECT_EQ(0, GetParam().free());
    EXPECT_EQ(0, heap_.live());
    apply(20);
    EXPECT_EQ(3, heap_.requests());
}

TEST_P(WindowTest, SeventeenthLengthEmptiesTheCache) {
    for (int32_t n = 2; n < 18; ++n)
        apply(n);
    EXPECT_EQ(16, heap_.live());
    apply(2);
    EXPECT_EQ(16, heap_.requests());
    apply(18);
    EXPECT_EQ(17, heap_.requests());
    EXPECT_EQ(1, heap_.live());
    apply(18);
    EXPECT_EQ(17, heap_.requests());
    apply(2);
    EXPECT_EQ(18, heap_.requests());
    EXPECT_EQ(2, heap_.live());
}

TEST_P(WindowTest, FreeingAnEmptyCacheIsHarmless) {
    EXPECT_EQ(0, GetParam().free());
    GetParam().freeShort();
    EXPECT_TRUE(heap_.events().empty());
}

TEST_P(WindowTest, ShortFormWorksOnAGrowingBuffer) {
    int32_t scale = 77;
    Shorts data(9, 1000);
    EXPECT_EQ(0, GetParam().applyShort(data.data(), 9, 0, &scale));
    EXPECT_EQ(0, scale);
    EXPECT_EQ(36u, heap_.events()[0].bytes);
    const auto coefficients = windowOf(GetParam().apply, 9);
    for (std::size_t k = 0; k < 9; ++k)
        EXPECT_EQ(static_cast<int>(1000.0f * coefficients[k]), data[k]);
    EXPECT_EQ(2, heap_.requests()); // buffer and table

    GetParam().applyShort(data.data(), 5, 0, &scale); // only a table
    EXPECT_EQ(3, heap_.requests());
    data.assign(12, 5);
    GetParam().applyShort(data.data(), 12, 0, &scale); // another buffer and table
    EXPECT_EQ(5, heap_.requests());
    EXPECT_EQ(4, heap_.live());
    GetParam().freeShort();
    EXPECT_EQ(0, heap_.live());
    EXPECT_TRUE(reports_.all().empty());
}

TEST_P(WindowTest, FloatFreeFunctionLeavesTheBufferOfTheShortForm) {
    int32_t scale;
    Shorts data(9, 1000);
    GetParam().applyShort(data.data(), 9, 0, &scale);
    GetParam().free();
    EXPECT_EQ(1, heap_.live());
    GetParam().applyShort(data.data(), 9, 0, &scale);
    EXPECT_EQ(3, heap_.requests()) << "only the table anew";
}

TEST_P(WindowTest, ShortFormPassesTheScaleModeOn) {
    // The single sample is not windowed, but converted down all the same.
    int16_t sample = 1000;
    int32_t scale = 3;
    GetParam().applyShort(&sample, 1, QZ_ScaleFixed, &scale);
    EXPECT_EQ(125, sample);
    EXPECT_EQ(3, scale);

    scale = 9;
    GetParam().applyShort(nullptr, 0, QZ_ScaleSaturate, &scale);
    EXPECT_EQ(0, scale);
    EXPECT_TRUE(reports_.all().empty());

    EXPECT_EQ(QZ_StsBadArg, GetParam().applyShort(&sample, 1, 4, &scale));
    EXPECT_EQ((std::vector<Report>{{QZ_StsBadArg, "QZswbConvertDown", "Unknown value   4 for doScale",
                                    "..\\LIBSRC\\QZ_CNVRT", 523}}),
              reports_.all());
    EXPECT_EQ(125, sample);
}

TEST_P(WindowTest, ShortFormTracesBackAnyNegativeStatus) {
    QZSetStatus(QZ_StsError);
    Shorts data = {1, 2, 3};
    int32_t scale = 5;
    EXPECT_EQ(-1, GetParam().applyShort(data.data(), 3, 0, &scale));
    EXPECT_EQ((std::vector<Report>{{-1, GetParam().nameShort(), "", file, GetParam().lineShort}}),
              reports_.all());
    EXPECT_EQ((Shorts{1, 2, 3}), data);
    EXPECT_EQ(5, scale);
}

class WindowFailureTest : public testing::TestWithParam<WindowExports> {
protected:
    ~WindowFailureTest() override { GetParam().freeShort(); }
    RecordedReports reports_;
};
INSTANTIATE_TEST_SUITE_P(Windows, WindowFailureTest, testing::ValuesIn(windows),
                         [](const auto &info) { return std::string(info.param.kind); });

TEST_P(WindowFailureTest, NoTable) {
    FailingHeap heap(1);
    std::vector<float> data = {1.0f, 2.0f};
    GetParam().apply(data.data(), 2);
    data = {1.0f, 2.0f, 3.0f};
    const auto before = data;
    GetParam().apply(data.data(), 3);
    EXPECT_TRUE(sameBits(before, data));
    EXPECT_EQ((std::vector<Report>{{QZ_StsNoMem, GetParam().name(),
                                    "insufficiency of memory for pointer  sCoeff", file, GetParam().line}}),
              reports_.all());
    EXPECT_EQ(1, heap.live());
    GetParam().apply(data.data(), 2); // still cached
    EXPECT_EQ(2, heap.requests());
    GetParam().apply(data.data(), 3);
    EXPECT_EQ(3, heap.requests());
    GetParam().freeShort();
    EXPECT_EQ(0, heap.live());
}

TEST_P(WindowFailureTest, NoTableForTheSeventeenthLength) {
    FailingHeap heap(16);
    std::vector<float> data(20, 1.0f);
    for (int32_t n = 2; n < 18; ++n)
        GetParam().apply(data.data(), n);
    data.assign(20, 1.0f);
    GetParam().apply(data.data(), 18);
    EXPECT_TRUE(sameBits(std::vector<float>(20, 1.0f), data));
    EXPECT_EQ(1u, reports_.all().size());
    EXPECT_EQ(0, heap.live());
    GetParam().apply(data.data(), 17);
    EXPECT_EQ(1, heap.live());
    GetParam().freeShort();
}

TEST_P(WindowFailureTest, ShortForm) {
    const Report noBuffer = {QZ_StsNoMem, GetParam().nameShort(), "insufficiency of memory for pointer  buff",
                             file, GetParam().lineShort};
    const Report noTable = {QZ_StsNoMem, GetParam().name(), "insufficiency of memory for pointer  sCoeff",
                            file, GetParam().line};
    const Report trace = {-1, GetParam().nameShort(), "", file, GetParam().lineShort};
    const std::vector<Report> expected[] = {{noBuffer}, {noTable, trace}};
    const int32_t results[] = {QZ_StsNoMem, -1};
    for (int failAt = 0; failAt < 2; ++failAt) {
        reports_.clear();
        FailingHeap heap(failAt);
        Shorts data = {10, 20, 30};
        int32_t scale = 7;
        EXPECT_EQ(results[failAt], GetParam().applyShort(data.data(), 3, 2, &scale));
        EXPECT_EQ(expected[failAt], reports_.all());
        EXPECT_EQ((Shorts{10, 20, 30}), data);
        EXPECT_EQ(7, scale);
        reports_.clear();
        GetParam().applyShort(data.data(), 3, 3, &scale);
        EXPECT_TRUE(reports_.all().empty());
        EXPECT_EQ(0, scale);
        GetParam().freeShort();
        EXPECT_EQ(0, heap.live());
    }
}

/// A client's handler need not record the status: then the short form goes on, without a window.
TEST_P(WindowFailureTest, ShortFormLooksAtNothingButTheStatus) {
    QZRedirectError([](int32_t, const char *, const char *, const char *, int32_t) { return int32_t{0}; });
    FailingHeap heap(1);
    Shorts data = {10, -20, 30};
    int32_t scale = 1;
    EXPECT_EQ(0, GetParam().applyShort(data.data(), 3, QZ_ScaleFixed, &scale));
    EXPECT_EQ((Shorts{5, -10, 15}), data);
}

TEST_P(WindowFailureTest, LostBufferIsAskedForAgain) {
    FailingHeap heap(2);
    Shorts data(6, 1);
    int32_t scale;
    GetParam().applyShort(data.data(), 3, 0, &scale);
    EXPECT_EQ(QZ_StsNoMem, GetParam().applyShort(data.data(), 6, 0, &scale));
    reports_.clear();
    GetParam().applyShort(data.data(), 3, 0, &scale);
    EXPECT_TRUE(reports_.all().empty());
    GetParam().freeShort();
    EXPECT_EQ(0, heap.live());
}

TEST(PreEmphasizeFloats, SubtractsTheUnfilteredPredecessor) {
    std::vector<float> x = {1.0f, 2.0f, 4.0f, -8.0f};
    QZsPreemphasize(x.data(), 0.5f, 4);
    EXPECT_TRUE(sameBits({1.0f, 1.5f, 3.0f, -10.0f}, x));
}

TEST(PreEmphasizeFloats, LimitsOfTheCoefficient) {
    std::vector<float> x = {5.0f, -0.0f, 1e-45f, 3e38f};
    QZsPreemphasize(x.data(), 0.0f, 4);
    EXPECT_TRUE(sameBits({5.0f, -0.0f, 1e-45f, 3e38f}, x)) << "nothing is subtracted";
    x.assign(100, 7.5f);
    QZsPreemphasize(x.data(), 1.0f, 100);
    std::vector<float> expected(100, 0.0f);
    expected[0] = 7.5f;
    EXPECT_TRUE(sameBits(expected, x));
}

TEST(PreEmphasizeFloats, ProductAndDifferenceAreDouble) {
    std::vector<float> x = {0x1.000002p0f, 0x1p-24f};
    QZsPreemphasize(x.data(), 0x1.000002p0f, 2);
    EXPECT_EQ(static_cast<float>(0x1p-24 - 0x1.000002p0 * 0x1.000002p0), x[1]);
    // The product alone exceeds the floats, the difference does not.
    x = {3e38f, 3e38f};
    QZsPreemphasize(x.data(), 2.0f, 2);
    EXPECT_EQ(static_cast<float>(double{3e38f} - 2.0 * double{3e38f}), x[1]);
}

TEST(PreEmphasizeFloats, ShortLengths) {
    float sample = 3.0f;
    for (const int32_t n : {1, 0, -1, std::numeric_limits<int32_t>::min()})
        QZsPreemphasize(&sample, 0.9f, n);
    EXPECT_EQ(3.0f, sample);
    QZsPreemphasize(nullptr, 0.9f, 0);
}

Shorts wrapping(Shorts v, float a) {
    int32_t scale = 99;
    QZwPreemphasize(v.data(), a, static_cast<int32_t>(v.size()), 0, &scale);
    EXPECT_EQ(0, scale);
    return v;
}

TEST(PreEmphasizeShorts, WrapsWithoutSaturation) {
    EXPECT_EQ((Shorts{30000, -5536}), wrapping({30000, 30000}, -1.0f));
    EXPECT_EQ((Shorts{-32768, -1}), wrapping({-32768, 32767}, 1.0f));
}

TEST(PreEmphasizeShorts, TruncatesTowardsZero) {
    EXPECT_EQ((Shorts{3, 7}), wrapping({3, 10}, 0.95f));
    EXPECT_EQ((Shorts{-3, -7}), wrapping({-3, -10}, 0.95f));
}

TEST(PreEmphasizeShorts, LimitsOfTheCoefficient) {
    EXPECT_EQ((Shorts{5, -7, 32767}), wrapping({5, -7, 32767}, 0.0f));
    EXPECT_EQ((Shorts{9, 0, 0, 0}), wrapping({9, 9, 9, 9}, 1.0f));
    constexpr float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ((Shorts{9, 0, 0}), wrapping({9, 9, 9}, infinity));
    EXPECT_EQ((Shorts{0, 0, 0}), wrapping({0, 9, 9}, infinity));
    EXPECT_EQ((Shorts{9, 0, 0}), wrapping({9, 9, 9}, std::numeric_limits<float>::quiet_NaN()));
}

TEST(PreEmphasizeShorts, ValuesBeyond32BitsAre0) {
    EXPECT_EQ((Shorts{-32768, -1}), wrapping({-32768, -1}, 65536.0f)) << "2^31 - 1 fits";
    EXPECT_EQ((Shorts{-32768, 0}), wrapping({-32768, 5}, 65536.0f)) << "2^31 + 5 does not";
    EXPECT_EQ((Shorts{32767, 5}), wrapping({32767, 5}, 65536.0f));
    EXPECT_EQ((Shorts{32767, 0}), wrapping({32767, 5}, 70000.0f));
    // Fractions beyond the last integers of 32 bits are truncated before they are judged.
    const float a = 65538.0078125f;
    EXPECT_EQ((Shorts{32767, 1}), wrapping({32767, 254}, a)) << "-2147483647.99 becomes -2147483647";
    EXPECT_EQ((Shorts{-32767, -1}), wrapping({-32767, -254}, a)) << "2147483647.99 becomes 2147483647";
}

TEST(PreEmphasizeShorts, IsExtendedPrecision) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    EXPECT_EQ((Shorts{1, 9}), wrapping({1, 10}, 0x1p-55f)) << "in double the difference would round to 10";
    EXPECT_EQ((Shorts{1, 10}), wrapping({1, 10}, 0x1p-70f)) << "in extended precision it rounds too";
    EXPECT_EQ((Shorts{-1, 10}), wrapping({-1, 10}, 0x1p-55f));
}

#if defined(__x86_64__) || defined(__i386__)

TEST(PreEmphasizeShorts, PrecisionThatTheProcessHasChosenDoesNotMatter) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    underControlWords(
        [] {
            return wrapping({1, 10}, 0x1p-55f);
        },
        [](int control, int after, const Shorts &again) {
            EXPECT_EQ(control, after);
            EXPECT_EQ((Shorts{1, 9}), again) << std::hex << control;
        });
}

#endif

TEST(PreEmphasizeShorts, ScaleFactorIsSetAndNothingReadForShortLengths) {
    for (const int32_t n : {0, -1, std::numeric_limits<int32_t>::min()}) {
        int32_t scale = 5;
        QZwPreemphasize(nullptr, 0.9f, n, 0, &scale);
        EXPECT_EQ(0, scale);
    }
    EXPECT_EQ((Shorts{-4}), wrapping({-4}, 0.9f));
}

TEST(PreEmphasizeShorts, OtherScaleModesWorkInFloat) {
    FailingHeap heap;
    RecordedReports reports;
    int32_t scale = 1;
    Shorts v = {1000, 30000, -30000};
    EXPECT_EQ(0, QZwPreemphasize(v.data(), 1.0f, 3, QZ_ScaleFixed, &scale));
    EXPECT_EQ(12u, heap.events()[0].bytes);
    EXPECT_EQ((Shorts{500, 14500, -30000}), v);
    EXPECT_EQ(1, scale);
    v = {1000, 30000, -30000};
    QZwPreemphasize(v.data(), 1.0f, 3, QZ_ScaleSaturate, &scale);
    EXPECT_EQ((Shorts{1000, 29000, -32768}), v);
    EXPECT_EQ(0, scale);
    v = {1000, 30000, -30000};
    QZwPreemphasize(v.data(), 1.0f, 3, QZ_ScaleAuto, &scale);
    EXPECT_EQ((Shorts{500, 14500, -30000}), v);
    EXPECT_EQ(1, scale);
    QZwPreemphasize(v.data(), 1.0f, 2, QZ_ScaleSaturate, &scale);
    EXPECT_EQ(1, heap.requests()) << "one buffer serves all of them";

    v = {1, 2};
    scale = 6;
    EXPECT_EQ(QZ_StsBadArg, QZwPreemphasize(v.data(), 1.0f, 2, 4, &scale));
    EXPECT_EQ((std::vector<Report>{{QZ_StsBadArg, "QZswbConvertDown", "Unknown value   4 for doScale",
                                    "..\\LIBSRC\\QZ_CNVRT", 523}}),
              reports.all());
    EXPECT_EQ((Shorts{1, 2}), v);
    EXPECT_EQ(6, scale);
    QZFreePreemphasizeTbls();
    EXPECT_EQ(0, heap.live());
    QZFreePreemphasizeTbls();
}

TEST(PreEmphasizeShorts, ANegativeStatusDoesNotStopTheFloatPath) {
    RecordedReports reports;
    QZSetStatus(QZ_StsError);
    int32_t scale = 1;
    Shorts v = {8, 8};
    QZwPreemphasize(v.data(), 0.5f, 2, QZ_ScaleSaturate, &scale);
    EXPECT_EQ((Shorts{8, 4}), v);
    EXPECT_TRUE(reports.all().empty());
    QZFreePreemphasizeTbls();
}

TEST(PreEmphasizeShorts, NoBuffer) {
    FailingHeap heap(1);
    RecordedReports reports;
    int32_t scale = 4;
    Shorts v = {1, 2, 3};
    QZwPreemphasize(v.data(), 0.5f, 2, QZ_ScaleSaturate, &scale);
    v = {1, 2, 3};
    scale = 4;
    EXPECT_EQ(QZ_StsNoMem, QZwPreemphasize(v.data(), 0.5f, 3, QZ_ScaleSaturate, &scale));
    EXPECT_EQ((std::vector<Report>{
                  {QZ_StsNoMem, "QZwPreemphasize", "insufficiency of memory for pointer  buff", file, 229}}),
              reports.all());
    EXPECT_EQ((Shorts{1, 2, 3}), v);
    EXPECT_EQ(4, scale);
    EXPECT_EQ(0, heap.live());
    QZwPreemphasize(v.data(), 0.5f, 2, QZ_ScaleSaturate, &scale);
    EXPECT_EQ((Shorts{1, 1, 3}), v);
    QZFreePreemphasizeTbls();
    EXPECT_EQ(0, heap.live());
}

} // namespace
} // namespace qzk::test
