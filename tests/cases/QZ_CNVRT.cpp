#include "qzk.h"
#include "support/bits.hpp"
#include "support/extended_precision.hpp"
#include "support/failing_heap.hpp"
#include "support/guarded.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr const char *file = "..\\LIBSRC\\QZ_CNVRT";
constexpr const char *searchFailed = "Internal Error, Binary Search could not find a scaling factor";
constexpr std::int32_t untouched = 12345;

template <class S, class T>
using VectorForm = std::int32_t (*)(const S *, T *, std::int32_t, std::int32_t, std::int32_t *);
template <class S>
using ScalarForm = std::int32_t (*)(S, std::int32_t, std::int32_t *);

template <class S, class T>
struct Converted {
    std::int32_t returned;
    std::vector<T> values;
    std::int32_t scale;
};

template <class S, class T>
Converted<S, T> convert(VectorForm<S, T> function, const std::vector<S> &src, std::int32_t mode,
                        std::int32_t scale = untouched) {
    Guarded<T> dst(src.size());
    dst.assign(std::vector<T>(src.size(), T(77)));
    const auto returned =
        function(src.data(), dst.data(), static_cast<std::int32_t>(src.size()), mode, &scale);
    EXPECT_TRUE(dst.intact());
    return {returned, dst.values(), scale};
}

Converted<float, std::int16_t> toShorts(const std::vector<float> &src, std::int32_t mode,
                                        std::int32_t scale = untouched) {
    return convert<float, std::int16_t>(QZswbConvertDown, src, mode, scale);
}

template <class T>
void expectScaled(const Converted<float, T> &actual, const std::vector<T> &values, std::int32_t scale) {
    EXPECT_EQ(values, actual.values);
    EXPECT_EQ(scale, actual.scale);
    EXPECT_EQ(0, actual.returned);
}

TEST(ConvertDown, PlainTruncatesAndWraps) {
    expectScaled<std::int16_t>(
        toShorts({2.9f, -2.9f, 40000.0f, -40000.0f, 65535.0f, 65536.0f, 1e10f}, QZ_ScaleWrap),
        {2, -2, -25536, 25536, -1, 0, static_cast<std::int16_t>(10000000000 & 0xFFFF)}, 0);
    // What 64 bits cannot hold is 0.
    expectScaled<std::int16_t>(toShorts({infinity, -infinity, notANumber, 1e30f, -0.0f}, QZ_ScaleWrap),
                               {0, 0, 0, 0, 0}, 0);
}

TEST(ConvertDown, PlainWrapsWideValuesByTheirLowBits) {
    const std::vector<double> src = {4294967297.0,           -4294967297.0, 0x1p52 + 3.0, 2147483648.0,
                                     -9223372036854775808.0, 0x1p63 + 2048, 1e300,        -2147483649.0};
    const auto ints = convert<double, std::int32_t>(QZdibConvertDown, src, QZ_ScaleWrap);
    EXPECT_EQ((std::vector<std::int32_t>{1, -1, 3, INT32_MIN, 0, 0, 0, INT32_MAX}), ints.values);
    const auto shorts = convert<double, std::int16_t>(QZdwbConvertDown, src, QZ_ScaleWrap);
    EXPECT_EQ((std::vector<std::int16_t>{1, -1, 3, 0, 0, 0, 0, -1}), shorts.values);
    const auto floats =
        convert<float, std::int32_t>(QZsibConvertDown, {0x1.000002p32f, -2147483648.0f}, QZ_ScaleWrap);
    EXPECT_EQ((std::vector<std::int32_t>{512, INT32_MIN}), floats.values);
}

TEST(ConvertDown, FixedScale) {
    expectScaled<std::int16_t>(toShorts({8.0f, -7.0f, 80000.0f}, QZ_ScaleFixed, 1), {4, -3, -25536}, 1);
    expectScaled<std::int16_t>(toShorts({1.5f, -1.25f, 20000.0f}, QZ_ScaleFixed, -1), {3, -2, -25536}, -1);
    expectScaled<std::int16_t>(toShorts({2.5f}, QZ_ScaleFixed, 0), {2}, 0);
    // Factors beyond the tables of 64.
    expectScaled<std::int16_t>(toShorts({0x1p-126f, 0x1p-149f}, QZ_ScaleFixed, -130), {16, 0}, -130);
    expectScaled<std::int16_t>(toShorts({3.0f, 0.0f}, QZ_ScaleFixed, INT32_MIN), {0, 0}, INT32_MIN);
    expectScaled<std::int16_t>(toShorts({3.0f, 0x1p127f}, QZ_ScaleFixed, INT32_MAX), {0, 0}, INT32_MAX);
}

TEST(ConvertDown, Saturates) {
    const std::vector<float> src = {40000.0f, -40000.0f, 32767.0f,  32767.5f,    -32768.0f,  -32768.5f,
                                    2.9f,     -2.9f,     infinity,  -infinity,   notANumber, -notANumber,
                                    1e10f,    -1e10f,    32766.99f, -32767.998f, -0.0f};
    expectScaled<std::int16_t>(toShorts(src, QZ_ScaleSaturate),
                               {32767, -32768, 32767, 32767, -32768, -32768, 2, -2, 32767, -32768, 32767,
                                -32768, 32767, -32768, 32766, -32767, 0},
                               0);
    const auto ints = convert<float, std::int32_t>(
        QZsibConvertDown,
        {2147483648.0f, 2147483520.0f, -2147483648.0f, -2147483904.0f, notANumber, -notANumber}, 3);
    EXPECT_EQ((std::vector<std::int32_t>{INT32_MAX, 2147483520, INT32_MIN, INT32_MIN, INT32_MAX, INT32_MIN}),
              ints.values);
    const auto wide = convert<double, std::int32_t>(
        QZdibConvertDown,
        {2147483647.0, 2147483647.5, -2147483648.0, -2147483648.5, double(notANumber), -1e300}, 3);
    EXPECT_EQ((std::vector<std::int32_t>{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN, INT32_MAX, INT32_MIN}),
              wide.values);
}

TEST(ConvertDown, AutomaticScaleDown) {
    expectScaled<std::int16_t>(toShorts({40000.0f, 1.0f}, QZ_ScaleAuto), {20000, 0}, 1);
    expectScaled<std::int16_t>(toShorts({-40000.0f, 100.0f}, QZ_ScaleAuto), {-20000, 50}, 1);
    // The limits are strict and not symmetric.
    expectScaled<std::int16_t>(toShorts({65534.0f, 0.0f}, QZ_ScaleAuto), {16383, 0}, 2);
    expectScaled<std::int16_t>(toShorts({-65535.0f, 0.0f}, QZ_ScaleAuto), {-32767, 0}, 1);
    expectScaled<std::int16_t>(toShorts({32768.0f, -32768.0f}, QZ_ScaleAuto), {16384, -16384}, 1);
    // Of equal magnitudes the maximum decides.
    expectScaled<std::int16_t>(toShorts({65535.0f, -65535.0f}, QZ_ScaleAuto), {16383, -16383}, 2);
    // The negative limit decides and is kept: nothing has to be divided.
    expectScaled<std::int16_t>(toShorts({32767.5f, -32767.75f}, QZ_ScaleAuto), {32767, -32767}, 0);
}

TEST(ConvertDown, AutomaticScaleUp) {
    expectScaled<std::int16_t>(toShorts({1.0f, 0.0f}, QZ_ScaleAuto), {16384, 0}, -14);
    expectScaled<std::int16_t>(toShorts({-1.0f, 0.0f}, QZ_ScaleAuto), {-16384, 0}, -14);
    expectScaled<std::int16_t>(toShorts({0.75f, -0.5f}, QZ_ScaleAuto), {24576, -16384}, -15);
    expectScaled<std::int16_t>(toShorts({-0.99f, 0.5f}, QZ_ScaleAuto), {-32440, 16384}, -15);
    expectScaled<std::int16_t>(toShorts({-0.0f, -0.5f}, QZ_ScaleAuto), {0, -16384}, -15);
    expectScaled<std::int16_t>(toShorts({20000.0f}, QZ_ScaleAuto), {20000}, 0);
    // Equally near to their limits: the maximum decides, and the minimum wraps.
    expectScaled<std::int16_t>(toShorts({0.75f, -1.75f}, QZ_ScaleAuto), {24576, 8192}, -15);
}

TEST(ConvertDown, AutomaticScaleOfInts) {
    const auto toInts = [](double value) {
        return convert<double, std::int32_t>(QZdibConvertDown, {value, 0.0}, QZ_ScaleAuto);
    };
    EXPECT_EQ((std::vector<std::int32_t>{1073741823, 0}), toInts(4294967294.0).values);
    EXPECT_EQ(2, toInts(4294967294.0).scale);
    EXPECT_EQ((std::vector<std::int32_t>{-2147483647, 0}), toInts(-4294967295.0).values);
    EXPECT_EQ(1, toInts(-4294967295.0).scale);
    EXPECT_EQ((std::vector<std::int32_t>{INT32_MAX, 0}), toInts(2147483647.0).values);
    EXPECT_EQ((std::vector<std::int32_t>{INT32_MIN, 0}), toInts(-2147483648.0).values);
    EXPECT_EQ((std::vector<std::int32_t>{1 << 30, 0}), toInts(1.0).values);
    EXPECT_EQ(-30, toInts(1.0).scale);
}

TEST(ConvertDown, AutomaticPlain) {
    expectScaled<std::int16_t>(toShorts({0.0f, -0.0f, 0.0f}, QZ_ScaleAuto), {0, 0, 0}, 0);
    expectScaled<std::int16_t>(toShorts({32767.0f, 1e-20f}, QZ_ScaleAuto), {32767, 0}, 0);
    expectScaled<std::int16_t>(toShorts({-32768.0f, 0.5f}, QZ_ScaleAuto), {-32768, 0}, 0);
}

TEST(ConvertDown, AutomaticLimitsOfTheSearch) {
    // 63 halvings are reached, 64 are not.
    expectScaled<std::int16_t>(toShorts({0x1p-49f}, QZ_ScaleAuto), {16384}, -63);
    expectScaled<std::int16_t>(toShorts({0x1.8p77f}, QZ_ScaleAuto), {24576}, 63);
    const RecordedReports reports;
    for (const float tooFar : {0x1p-50f, 0x1.8p78f, notANumber}) {
        const auto result = toShorts({tooFar, 0.0f}, QZ_ScaleAuto);
        EXPECT_EQ(-7, result.returned);
        EXPECT_EQ(untouched, result.scale);
        EXPECT_EQ((std::vector<std::int16_t>{77, 77}), result.values);
    }
    const Report expected = {-7, "QZswbConvertDown", searchFailed, file, 496};
    EXPECT_EQ((std::vector<Report>{expected, expected, expected}), reports.all());
}

TEST(ConvertDown, AutomaticScaleOfSmallNegativeVectorsFindsNothing) {
    // A negative maximum is nearer to its limit and decides: no power of two brings it to the limit.
    const RecordedReports reports;
    EXPECT_EQ(-7, toShorts({-0.25f, -0.5f}, QZ_ScaleAuto).returned);
    EXPECT_EQ((std::vector<Report>{{-7, "QZswbConvertDown", searchFailed, file, 496}}), reports.all());
    expectScaled<std::int16_t>(toShorts({-0.25f, -0.875f}, QZ_ScaleAuto), {-8192, -28672}, -15);
}

TEST(ConvertDown, AutomaticScaleSkipsNotANumbersBehindTheFirstElement) {
    expectScaled<std::int16_t>(toShorts({1.0f, notANumber}, QZ_ScaleAuto), {16384, 0}, -14);
}

TEST(ConvertDown, LengthsBelowOne) {
    const float src = 5.0f;
    for (const std::int32_t len : {0, -1, INT32_MIN})
        for (const std::int32_t mode : {0, 1, 2, 3}) {
            std::int16_t dst = 77;
            std::int32_t scale = untouched;
            EXPECT_EQ(0, QZswbConvertDown(&src, &dst, len, mode, &scale));
            EXPECT_EQ(77, dst);
            EXPECT_EQ(mode == QZ_ScaleFixed ? untouched : 0, scale);
        }
    const RecordedReports reports;
    std::int32_t scale = untouched;
    EXPECT_EQ(-5, QZswbConvertDown(nullptr, nullptr, 0, 4, &scale));
    EXPECT_EQ(1u, reports.all().size());
}

struct DownNames {
    const char *function, *inModeError;
    std::int32_t unscalableLine, searchLine, modeLine;
    const char *searchMessage = searchFailed;
};

/// Provokes the three reports of a vector form.
template <class S, class T>
void vectorReports(VectorForm<S, T> function, const DownNames &names, S unscalable,
                   const std::string &range) {
    const RecordedReports reports;
    for (const std::int32_t mode : {4, -1, INT32_MIN}) {
        const auto result = convert<S, T>(function, {S(1)}, mode);
        EXPECT_EQ(-5, result.returned);
        EXPECT_EQ(T(77), result.values[0]);
        EXPECT_EQ(untouched, result.scale);
    }
    for (const std::vector<S> &src : {std::vector<S>{S(-1.5), unscalable}, {S(1e-30)}}) {
        const auto result = convert<S, T>(function, src, QZ_ScaleAuto);
        EXPECT_EQ(-7, result.returned);
        EXPECT_EQ(T(77), result.values[0]);
        EXPECT_EQ(untouched, result.scale);
    }
    EXPECT_EQ((std::vector<Report>{
                  {-5, names.inModeError, "Unknown value   4 for doScale", file, names.modeLine},
                  {-5, names.inModeError, "Unknown value  -1 for doScale", file, names.modeLine},
                  {-5, names.inModeError, "Unknown value -2147483648 for doScale", file, names.modeLine},
                  {-7, names.function, "Unscalable range [" + range + "] too large in input vector", file,
                   names.unscalableLine},
                  {-7, names.function, names.searchMessage, file, names.searchLine}}),
              reports.all());
}

template <class S>
void scalarReports(ScalarForm<S> function, const DownNames &names, S unscalable, const std::string &value) {
    const RecordedReports reports;
    std::int32_t scale = untouched;
    EXPECT_EQ(-65536, function(S(1), 4, &scale));
    EXPECT_EQ(-65536, function(unscalable, QZ_ScaleAuto, &scale));
    EXPECT_EQ(-65536, function(S(1e-30), QZ_ScaleAuto, &scale));
    EXPECT_EQ(untouched, scale);
    EXPECT_EQ(
        (std::vector<Report>{{-5, names.inModeError, "Unknown value   4 for doScale", file, names.modeLine},
                             {-7, names.function, "Unscalable value " + value + ", magnitude too large", file,
                              names.unscalableLine},
                             {-7, names.function, names.searchMessage, file, names.searchLine}}),
        reports.all());
}

TEST(ConvertDown, Reports) {
    vectorReports<float, std::int16_t>(QZswbConvertDown,
                                       {"QZswbConvertDown", "QZswbConvertDown", 451, 496, 523}, 1e25f,
                                       " -1.50000000e+00   9.99999956e+24");
    vectorReports<double, std::int16_t>(QZdwbConvertDown,
                                        {"QZdwbConvertDown", "QZdwbConvertDown", 950, 995, 1023}, 1e300,
                                        " -1.50000000e+00  1.00000000e+300");
    vectorReports<float, std::int32_t>(QZsibConvertDown,
                                       {"QZsibConvertDown", "QZsibConvertDown", 1394, 1439, 1467}, infinity,
                                       " -1.50000000e+00              inf");
    vectorReports<double, std::int32_t>(QZdibConvertDown,
                                        {"QZdibConvertDown", "QZdibConvertDown", 1837, 1882, 1910}, 4e28,
                                        " -1.50000000e+00   4.00000000e+28");
    scalarReports<float>(QZswConvertDown, {"QZswConvertDown", "QZ_swConvertDown", 612, 645, 670}, -1e25f,
                         " -9.99999956e+24");
    scalarReports<double>(QZdwConvertDown, {"QZdwConvertDown", "QZ_dwConvertDown", 1112, 1144, 1169}, 1e300,
                          " 1.00000000e+300");
    scalarReports<float>(QZsiConvertDown,
                         {"QZsiConvertDown", "QZ_siConvert", 1555, 1587, 1612,
                          "Internal Error,                                    Binary Search could not find a "
                          "scaling factor"},
                         1e30f, "  1.00000002e+30");
    scalarReports<double>(QZdiConvertDown, {"QZdiConvertDown", "QZ_diConvert", 1999, 2030, 2055}, -infinity,
                          "            -inf");
}

TEST(ConvertDown, UnscalableThresholds) {
    const RecordedReports reports;
    std::int32_t scale = untouched;
    QZdwConvertDown(6.044444630632e23, QZ_ScaleAuto, &scale);
    QZdiConvertDown(3.961408123869e28, QZ_ScaleAuto, &scale);
    QZdwConvertDown(std::nextafter(6.044444630632e23, 0.0), QZ_ScaleAuto, &scale);
    QZdiConvertDown(std::nextafter(3.961408123869e28, 0.0), QZ_ScaleAuto, &scale);
    ASSERT_EQ(4u, reports.all().size());
    EXPECT_EQ(1112, reports.all()[0].line);
    EXPECT_EQ(1999, reports.all()[1].line);
    EXPECT_EQ(1144, reports.all()[2].line);
    EXPECT_EQ(2030, reports.all()[3].line);
}

TEST(ConvertDown, UnscalableThresholdsOfVectors) {
    const RecordedReports reports;
    for (const double sign : {1.0, -1.0})
        for (const double magnitude : {6.044444630632e23, std::nextafter(6.044444630632e23, 0.0)})
            convert<double, std::int16_t>(QZdwbConvertDown, {1.0, sign * magnitude}, QZ_ScaleAuto);
    for (const double sign : {1.0, -1.0})
        for (const double magnitude : {3.961408123869e28, std::nextafter(3.961408123869e28, 0.0)})
            convert<double, std::int32_t>(QZdibConvertDown, {1.0, sign * magnitude}, QZ_ScaleAuto);
    std::vector<std::int32_t> lines;
    for (const Report &report : reports.all())
        lines.push_back(report.line);
    EXPECT_EQ((std::vector<std::int32_t>{950, 995, 950, 995, 1837, 1882, 1837, 1882}), lines);
}

#if defined(__x86_64__) || defined(__i386__)

TEST(ConvertDown, MessagesDoNotDependOnThePrecisionThatTheProcessHasChosen) {
    RecordedReports reports;
    const auto message = [&] {
        reports.clear();
        std::int32_t scale = untouched;
        QZswConvertDown(1.2345678e30f, QZ_ScaleAuto, &scale);
        return reports.all().empty() ? std::string() : reports.all()[0].message;
    };
    const std::string expected = "Unscalable value   1.23456782e+30, magnitude too large";
    EXPECT_EQ(expected, message());
    underControlWords(message, [&](int control, int after, const std::string &again) {
        EXPECT_EQ(control, after);
        EXPECT_EQ(expected, again) << std::hex << control;
    });
}

#endif

TEST(ConvertDown, UnscalableRangeShowsTheFirstOfEqualExtremes) {
    const RecordedReports reports;
    for (const float first : {0.0f, -0.0f})
        for (const float far : {1e25f, -1e25f}) {
            std::vector<float> src(40, -first);
            src[0] = first;
            src[35] = far;
            toShorts(src, QZ_ScaleAuto);
        }
    std::vector<std::string> messages;
    for (const Report &report : reports.all())
        messages.push_back(report.message.substr(18, 33));
    EXPECT_EQ(
        (std::vector<std::string>{"  0.00000000e+00   9.99999956e+24", " -9.99999956e+24   0.00000000e+00",
                                  " -0.00000000e+00   9.99999956e+24", " -9.99999956e+24  -0.00000000e+00"}),
        messages);
}

const char *lastMessage;

std::int32_t answer(std::int32_t, const char *, const char *message, const char *, std::int32_t) {
    lastMessage = message;
    return 0x12345678;
}

/// While it lives, reports are answered with a value that is no status.
struct AnsweredReports {
    AnsweredReports() { QZRedirectError(answer); }
    ~AnsweredReports() { QZSetStdError(); }
};

template <class S, class T>
void vectorAnswers(VectorForm<S, T> function) {
    EXPECT_EQ(0x12345678, (convert<S, T>(function, {S(1)}, 4).returned));
    EXPECT_EQ(0x12345678, (convert<S, T>(function, {S(1e30)}, QZ_ScaleAuto).returned));
    EXPECT_EQ(0x12345678, (convert<S, T>(function, {S(1e-30)}, QZ_ScaleAuto).returned));
}

template <class S>
void scalarAnswers(ScalarForm<S> function) {
    std::int32_t scale = untouched;
    EXPECT_EQ(0x12340000, function(S(1), 4, &scale));
    EXPECT_EQ(0x12340000, function(S(1e30), QZ_ScaleAuto, &scale));
    EXPECT_EQ(0x12340000, function(S(1e-30), QZ_ScaleAuto, &scale));
    EXPECT_EQ(untouched, scale);
}

TEST(ConvertDown, ReturnsTheAnswerOfTheHandler) {
    const AnsweredReports reports;
    vectorAnswers<float, std::int16_t>(QZswbConvertDown);
    vectorAnswers<float, std::int32_t>(QZsibConvertDown);
    vectorAnswers<double, std::int16_t>(QZdwbConvertDown);
    vectorAnswers<double, std::int32_t>(QZdibConvertDown);
    scalarAnswers<float>(QZswConvertDown);
    scalarAnswers<float>(QZsiConvertDown);
    scalarAnswers<double>(QZdwConvertDown);
    scalarAnswers<double>(QZdiConvertDown);
}

TEST(ConvertDown, MessagesStayReadableUntilTheNext) {
    const AnsweredReports reports;
    std::int32_t scale = untouched;
    QZswConvertDown(1.0f, 12, &scale);
    const char *const message = lastMessage;
    EXPECT_STREQ("Unknown value  12 for doScale", message);
    QZdiConvertDown(1e30, QZ_ScaleAuto, &scale);
    EXPECT_EQ(message, lastMessage);
    EXPECT_STREQ("Unscalable value   1.00000000e+30, magnitude too large", message);
}

template <class S>
std::pair<std::int32_t, std::int32_t> scalar(ScalarForm<S> function, S value, std::int32_t mode,
                                             std::int32_t scale = untouched) {
    const std::int32_t result = function(value, mode, &scale);
    return {result, scale};
}

TEST(ConvertDown, Scalars) {
    using Pair = std::pair<std::int32_t, std::int32_t>;
    EXPECT_EQ(Pair(2, 0), scalar(QZswConvertDown, 2.9f, 0));
    EXPECT_EQ(Pair(-2, 0), scalar(QZswConvertDown, -2.9f, 0));
    EXPECT_EQ(Pair(-25536, 0), scalar(QZswConvertDown, 40000.0f, 0));
    EXPECT_EQ(Pair(20000, 1), scalar(QZswConvertDown, 40000.0f, 1, 1));
    EXPECT_EQ(Pair(24, -3), scalar(QZswConvertDown, 3.0f, 1, -3));
    EXPECT_EQ(Pair(20000, 1), scalar(QZswConvertDown, 40000.0f, 2));
    EXPECT_EQ(Pair(-20000, 1), scalar(QZswConvertDown, -40000.0f, 2));
    EXPECT_EQ(Pair(16384, -14), scalar(QZswConvertDown, 1.0f, 2));
    EXPECT_EQ(Pair(-16384, -16), scalar(QZswConvertDown, -0.25f, 2));
    EXPECT_EQ(Pair(32767, 0), scalar(QZswConvertDown, 32767.0f, 2));
    EXPECT_EQ(Pair(-32768, 0), scalar(QZswConvertDown, -32768.0f, 2));
    EXPECT_EQ(Pair(0, 0), scalar(QZswConvertDown, -0.0f, 2));
    EXPECT_EQ(Pair(32767, 0), scalar(QZswConvertDown, 32767.9f, 3));
    EXPECT_EQ(Pair(-32768, 0), scalar(QZswConvertDown, -1e20f, 3));
    EXPECT_EQ(Pair(32767, 0), scalar(QZdwConvertDown, 1e300, 3));
    EXPECT_EQ(Pair(1073741824, -30), scalar(QZdiConvertDown, 1.0, 2));
    EXPECT_EQ(Pair(1073741824, 1), scalar(QZsiConvertDown, 2147483648.0f, 2));
    EXPECT_EQ(Pair(INT32_MIN, 0), scalar(QZsiConvertDown, -2147483648.0f, 2));
    EXPECT_EQ(Pair(INT32_MAX, 0), scalar(QZdiConvertDown, 2147483647.0, 2));
    EXPECT_EQ(Pair(1, 0), scalar(QZdiConvertDown, 4294967297.0, 0));
    EXPECT_EQ(Pair(INT32_MAX, 0), scalar(QZsiConvertDown, 3e9f, 3));
}

template <class S>
void scalarSpecials(ScalarForm<S> function, std::int32_t lowest, std::int32_t highest,
                    const Report &failedSearch) {
    using Pair = std::pair<std::int32_t, std::int32_t>;
    const RecordedReports reports;
    for (const S value : {S(infinity), -S(infinity), S(notANumber), -S(notANumber)}) {
        EXPECT_EQ(Pair(0, 0), scalar(function, value, QZ_ScaleWrap));
        EXPECT_EQ(Pair(0, 5), scalar(function, value, QZ_ScaleFixed, 5));
        EXPECT_EQ(Pair(std::signbit(value) ? lowest : highest, 0), scalar(function, value, QZ_ScaleSaturate));
    }
    EXPECT_TRUE(reports.all().empty());
    EXPECT_EQ(Pair(-65536, untouched), scalar(function, S(notANumber), QZ_ScaleAuto));
    EXPECT_EQ(std::vector<Report>{failedSearch}, reports.all());
}

TEST(ConvertDown, ScalarsThatAreNotFinite) {
    scalarSpecials<float>(QZswConvertDown, INT16_MIN, INT16_MAX,
                          {-7, "QZswConvertDown", searchFailed, file, 645});
    scalarSpecials<double>(QZdwConvertDown, INT16_MIN, INT16_MAX,
                           {-7, "QZdwConvertDown", searchFailed, file, 1144});
    scalarSpecials<float>(
        QZsiConvertDown, INT32_MIN, INT32_MAX,
        {-7, "QZsiConvertDown",
         "Internal Error,                                    Binary Search could not find a "
         "scaling factor",
         file, 1587});
    scalarSpecials<double>(QZdiConvertDown, INT32_MIN, INT32_MAX,
                           {-7, "QZdiConvertDown", searchFailed, file, 2030});
}

TEST(ConvertUp, ScalesBack) {
    const std::vector<std::int16_t> shorts = {8, -8, 32767, -32768, 0};
    std::vector<float> floats(5);
    QZwsbConvertUp(shorts.data(), floats.data(), 5, 3);
    EXPECT_TRUE(sameBits({1.0f, -1.0f, 4095.875f, -4096.0f, 0.0f}, floats));
    QZwsbConvertUp(shorts.data(), floats.data(), 5, -3);
    EXPECT_TRUE(sameBits({64.0f, -64.0f, 262136.0f, -262144.0f, 0.0f}, floats));
    QZwsbConvertUp(shorts.data(), floats.data(), 5, 0);
    EXPECT_TRUE(sameBits({8.0f, -8.0f, 32767.0f, -32768.0f, 0.0f}, floats));

    const std::vector<std::int32_t> ints = {INT32_MAX, INT32_MIN, 16777217, 1, 0};
    QZisbConvertUp(ints.data(), floats.data(), 5, 1);
    EXPECT_TRUE(sameBits({0x1p30f, -0x1p30f, 8388608.0f, 0.5f, 0.0f}, floats));
    std::vector<double> doubles(5);
    QZidbConvertUp(ints.data(), doubles.data(), 5, -1);
    EXPECT_TRUE(sameBits({4294967294.0, -4294967296.0, 33554434.0, 2.0, 0.0}, doubles));
    QZwdbConvertUp(shorts.data(), doubles.data(), 5, 64);
    EXPECT_TRUE(sameBits({0x1p-61, -0x1p-61, 32767 * 0x1p-64, -0x1p-49, 0.0}, doubles));
}

TEST(ConvertUp, Scalars) {
    EXPECT_EQ(1.0f, QZwsConvertUp(8, 3));
    EXPECT_EQ(8.0f, QZwsConvertUp(1, -3));
    EXPECT_EQ(-32768.0, QZwdConvertUp(-32768, 0));
    EXPECT_EQ(0x1p31f, QZisConvertUp(INT32_MAX, 0));
    EXPECT_EQ(2147483647.0, QZidConvertUp(INT32_MAX, 0));
    EXPECT_EQ(0x1p94, QZidConvertUp(1 << 30, -64));
    // Factors beyond the tables of 64 stay within the double range.
    EXPECT_EQ(0.0, QZidConvertUp(0, INT32_MIN));
    EXPECT_EQ(0x1p1023, QZidConvertUp(1, INT32_MIN));
    EXPECT_EQ(0x1p-1022, QZwdConvertUp(1, INT32_MAX));
}

TEST(ConvertUp, WidensInPlace) {
    union {
        std::int16_t shorts[300];
        float floats[300];
    } buffer;
    for (int i = 0; i < 300; ++i)
        buffer.shorts[i] = static_cast<std::int16_t>(100 * i - 15000);
    QZwsbConvertUp(buffer.shorts, buffer.floats, 300, 2);
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(static_cast<float>(100 * i - 15000) / 4.0f, buffer.floats[i]) << i;
}

TEST(ConvertUp, LengthsBelowOneDoNothing) {
    const std::int16_t src = 5;
    float dst = 3.0f;
    for (const std::int32_t len : {0, -1, INT32_MIN})
        QZwsbConvertUp(&src, &dst, len, 0);
    EXPECT_EQ(3.0f, dst);
}

std::vector<float> reduced(const std::vector<QZComplexFloat> &src, std::int32_t flags) {
    std::vector<float> dst(src.size());
    QZcsbConvert(src.data(), dst.data(), static_cast<std::int32_t>(src.size()), flags);
    return dst;
}

TEST(ComplexConvert, MagnitudeAndPower) {
    const std::vector<QZComplexFloat> src = {{3.0f, 4.0f},   {0.0f, -0.0f},    {1e30f, 1e30f},
                                             {1e-30f, 0.0f}, {infinity, 1.0f}, {notANumber, 1.0f},
                                             {-1.0f, 0.0f}};
    EXPECT_TRUE(sameBits({5.0f, 0.0f, 0x1.1d992p100f, 1e-30f, infinity, notANumber, 1.0f}, reduced(src, 1)));
    EXPECT_TRUE(sameBits({25.0f, 0.0f, infinity, 0.0f, infinity, notANumber, 1.0f}, reduced(src, 2)));
    EXPECT_TRUE(sameBits(reduced(src, 1), reduced(src, 3)));
    EXPECT_TRUE(sameBits(reduced(src, 1 | 4), reduced(src, 7)));
    EXPECT_TRUE(sameBits(reduced(src, 2), reduced(src, 2 | 8)));
}

TEST(ComplexConvert, Logarithms) {
    const std::vector<QZComplexFloat> src = {{6.0f, 8.0f},     {0.0f, 0.0f},      {1.0f, 0.0f},
                                             {0.0f, -1000.0f}, {infinity, 0.0f},  {notANumber, 0.0f},
                                             {1e30f, 0.0f},    {0x1p-149f, 0.0f}, {1.0f, 0x1p-20f}};
    EXPECT_TRUE(sameBits(
        {1.0f, -infinity, 0.0f, 3.0f, infinity, notANumber, 30.0f, -44.853471755981445f, 0x1.bcb7b2p-43f},
        reduced(src, 1 | 4)));
    EXPECT_TRUE(sameBits(
        {2.0f, -infinity, 0.0f, 6.0f, infinity, notANumber, 60.0f, -89.70694351196289f, 0x1.bcb7b2p-42f},
        reduced(src, 2 | 4)));
}

TEST(ComplexConvert, BadFlags) {
    const RecordedReports reports;
    const QZComplexFloat src = {3.0f, 4.0f};
    float dst = 77.0f;
    for (const std::int32_t flags : {0, 4, 8})
        QZcsbConvert(&src, &dst, 1, flags);
    QZcsbConvert(&src, &dst, 0, 0);
    EXPECT_EQ(77.0f, dst);
    const Report expected = {-5, "QZcsbConvert", "Bad flags", file, 2841};
    EXPECT_EQ((std::vector<Report>(4, expected)), reports.all());
}

TEST(ComplexConvert, LengthsBelowOneDoNothing) {
    const QZComplexFloat src = {3.0f, 4.0f};
    float dst = 77.0f;
    for (const std::int32_t len : {0, -1, INT32_MIN})
        QZcsbConvert(&src, &dst, len, 1);
    EXPECT_EQ(77.0f, dst);
}

TEST(ComplexShortConvert, GoesByWayOfFloat) {
    const std::vector<QZComplexShort> src = {{3, 4}, {-32768, -32768}, {0, 0}};
    std::vector<std::int16_t> dst(3);
    std::int32_t scale = untouched;
    QZvwbConvert(src.data(), dst.data(), 3, 1, QZ_ScaleSaturate, &scale);
    EXPECT_EQ((std::vector<std::int16_t>{5, 32767, 0}), dst);
    EXPECT_EQ(0, scale);
    QZvwbConvert(src.data(), dst.data(), 3, 1, QZ_ScaleAuto, &scale);
    EXPECT_EQ((std::vector<std::int16_t>{2, 23170, 0}), dst);
    EXPECT_EQ(1, scale);
    QZvwbConvert(src.data(), dst.data(), 2, 2 | 4, QZ_ScaleAuto, &scale);
    EXPECT_EQ((std::vector<std::int16_t>{2862, 19111, 0}), dst);
    EXPECT_EQ(-11, scale);
}

TEST(ComplexShortConvert, DestinationMayBeTheSource) {
    std::int16_t values[] = {3, 4, -5, 12, 8, -15};
    std::int32_t scale = untouched;
    QZvwbConvert(reinterpret_cast<const QZComplexShort *>(values), values + 1, 3, 1, QZ_ScaleWrap, &scale);
    EXPECT_EQ((std::vector<std::int16_t>{3, 5, 13, 17, 8, -15}),
              std::vector<std::int16_t>(values, values + 6));
}

TEST(ComplexShortConvert, BadFlagsAndModes) {
    const RecordedReports reports;
    const QZComplexShort src = {3, 4};
    std::int16_t dst = 77;
    std::int32_t scale = untouched;
    QZvwbConvert(&src, &dst, 1, 1, 9, &scale);
    EXPECT_EQ(77, dst);
    EXPECT_EQ(untouched, scale);
    QZvwbConvert(&src, &dst, 1, 4, QZ_ScaleWrap, &scale);
    EXPECT_EQ(0, dst);
    EXPECT_EQ(0, scale);
    EXPECT_EQ((std::vector<Report>{{-5, "QZswbConvertDown", "Unknown value   9 for doScale", file, 523},
                                   {-5, "QZcsbConvert", "Bad flags", file, 2841}}),
              reports.all());
}

void *allocateFilled(std::size_t bytes) {
    void *const block = std::malloc(bytes);
    return block != nullptr ? std::memset(block, 0x44, bytes) : nullptr;
}

TEST(ComplexShortConvert, BadFlagsGiveZerosWhateverTheHeapHolds) {
    const RecordedReports reports;
    const QZComplexShort src[2] = {{3, 4}, {5, 12}};
    std::int16_t dst[2] = {77, 77};
    std::int32_t scale = untouched;
    const Heap previous = setHeap({allocateFilled, std::free});
    QZvwbConvert(src, dst, 2, 0, QZ_ScaleWrap, &scale);
    setHeap(previous);
    EXPECT_EQ(0, dst[0]);
    EXPECT_EQ(0, dst[1]);
    EXPECT_EQ(1u, reports.all().size());
}

TEST(ComplexShortConvert, LengthsBelowOne) {
    const QZComplexShort src = {3, 4};
    std::int16_t dst = 77;
    for (const std::int32_t len : {0, -1, INT32_MIN}) {
        std::int32_t scale = untouched;
        QZvwbConvert(&src, &dst, len, 1, QZ_ScaleAuto, &scale);
        EXPECT_EQ(0, scale);
    }
    EXPECT_EQ(77, dst);
}

TEST(ComplexShortConvert, FailedAllocations) {
    const char *const names[] = {"tmpin", "tmpout"};
    const QZComplexShort src[3] = {{3, 4}, {3, 4}, {3, 4}};
    for (int failAt = 0; failAt < 2; ++failAt) {
        const RecordedReports reports;
        std::int16_t dst[3] = {77, 77, 77};
        std::int32_t scale = untouched;
        const FailingHeap heap(failAt);
        QZvwbConvert(src, dst, 3, 1, QZ_ScaleAuto, &scale);
        EXPECT_EQ(0, heap.live());
        EXPECT_EQ(failAt + 1, heap.requests());
        EXPECT_EQ(77, dst[0]);
        EXPECT_EQ(untouched, scale);
        EXPECT_EQ((std::vector<Report>{{-4, "QZvwbConvert",
                                        std::string("insufficiency of memory for pointer  ") + names[failAt],
                                        file, failAt == 0 ? 2903 : 2905}}),
                  reports.all());
    }
    const FailingHeap heap;
    std::int16_t dst[3];
    std::int32_t scale;
    QZvwbConvert(src, dst, 3, 1, QZ_ScaleAuto, &scale);
    ASSERT_EQ(4u, heap.events().size());
    EXPECT_EQ(24u, heap.events()[0].bytes);
    EXPECT_EQ(12u, heap.events()[1].bytes);
    EXPECT_EQ(0, heap.live());
}

} // namespace
} // namespace qzk::test
