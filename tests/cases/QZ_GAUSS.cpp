// Servers, tables and their reports, and mixtures whose values are known.
#include "common/mixture.hpp"
#include "qzk.h"
#include "support/bits.hpp"
#include "support/extended_precision.hpp"
#include "support/failing_heap.hpp"
#include "support/mixtures.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace qzk::test {
namespace {

using Reports = std::vector<Report>;
using Event = FailingHeap::Event;

constexpr const char *file = "..\\LIBSRC\\QZ_GAUSS";
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr double rootOfInverseE = 0.60653065971263342360; // e^-0.5

const Report positive = {QZ_StsInternal, "LookupExponential (Macro)",
                         "Cannot lookup exponential of positive value", file, 471};
const Report positiveWords = {QZ_StsInternal, "LookupExponential (Macro)",
                              "Cannot lookup exponential of positive value", file, 385};
const Report trace = {QZ_StsBackTrace, "QZsEvalGaussMix", "", file, 442};
const Report traceWords = {QZ_StsBackTrace, "QZwEvalGaussMix", "", file, 340};
const Report noIntegral = {QZ_StsNoMem, "BuildExpTables",
                           "insufficiency of memory for pointer  integralExpTable", file, 64};
const Report noFractional = {QZ_StsNoMem, "BuildExpTables",
                             "insufficiency of memory for pointer  fractionalExpTable", file, 66};

/// One component of weight 1 at 0 in one dimension: x = 1 has the exponent -inverse / 2.
Model<float> single(float inverse, float weight = 1.0f) { return {{weight}, {{0.0f}}, {{inverse}}, {}}; }
Model<int16_t> singleWord(int16_t inverse, int16_t weight = 1) { return {{weight}, {{0}}, {{inverse}}, {}}; }

std::vector<std::size_t> requestedBytes(const FailingHeap &heap) {
    std::vector<std::size_t> bytes;
    for (const Event &event : heap.events())
        if (event.kind == Event::allocated) bytes.push_back(event.bytes);
    return bytes;
}

template <class Record>
std::vector<std::size_t> offsetsOf() {
    return {offsetof(Record, weights),     offsetof(Record, means),    offsetof(Record, InverseCov),
            offsetof(Record, InverseCovD), offsetof(Record, reserved), offsetof(Record, nMix),
            offsetof(Record, useExpTables)};
}

TEST(MixtureServers, HaveTheirFieldsInOrder) {
    constexpr std::size_t pointer = sizeof(void *);
    const std::vector<std::size_t> offsets = {0,           pointer,     2 * pointer,    3 * pointer,
                                              4 * pointer, 5 * pointer, 5 * pointer + 4};
    EXPECT_EQ(offsets, offsetsOf<QZsGaussMixServer>());
    EXPECT_EQ(offsets, offsetsOf<QZwGaussMixServer>());
    EXPECT_EQ(5 * pointer + 8, offsetof(QZwGaussMixServer, scale));
}

TEST(MixtureServers, RecordWhatTheyAreGiven) {
    const float weights[] = {1}, row[] = {2};
    const float *const rows[] = {row}, *const *const matrices[] = {rows};
    int reserved = 0;
    auto *server = QZsInitGaussMixServer(weights, rows, matrices, nullptr, &reserved, 7, -3);
    ASSERT_NE(nullptr, server);
    EXPECT_EQ(weights, server->weights);
    EXPECT_EQ(rows, server->means);
    EXPECT_EQ(matrices, server->InverseCov);
    EXPECT_EQ(nullptr, server->InverseCovD);
    EXPECT_EQ(&reserved, server->reserved);
    EXPECT_EQ(7, server->nMix);
    EXPECT_EQ(-3, server->useExpTables);
    QZsFreeGaussMixServer(server);

    const int16_t wordWeights[] = {1}, wordRow[] = {2};
    const int16_t *const wordRows[] = {wordRow};
    auto *words = QZwInitGaussMixServer(wordWeights, wordRows, nullptr, wordRows, &reserved, -1, 0, -12);
    ASSERT_NE(nullptr, words);
    EXPECT_EQ(wordWeights, words->weights);
    EXPECT_EQ(wordRows, words->means);
    EXPECT_EQ(nullptr, words->InverseCov);
    EXPECT_EQ(wordRows, words->InverseCovD);
    EXPECT_EQ(&reserved, words->reserved);
    EXPECT_EQ(-1, words->nMix);
    EXPECT_EQ(0, words->useExpTables);
    EXPECT_EQ(-12, words->scale);
    QZwFreeGaussMixServer(words);
}

TEST(MixtureServers, NeedExactlyOneKindOfCovariance) {
    RecordedReports reports;
    FailingHeap heap;
    const float *const row[] = {nullptr}, *const *const matrix[] = {row};
    EXPECT_EQ(nullptr, QZsInitGaussMixServer(nullptr, row, nullptr, nullptr, nullptr, 1, 0));
    EXPECT_EQ(nullptr, QZsInitGaussMixServer(nullptr, row, matrix, row, nullptr, 1, 0));
    const int16_t *const wordRow[] = {nullptr}, *const *const wordMatrix[] = {wordRow};
    EXPECT_EQ(nullptr, QZwInitGaussMixServer(nullptr, wordRow, nullptr, nullptr, nullptr, 1, 0, 0));
    EXPECT_EQ(nullptr, QZwInitGaussMixServer(nullptr, wordRow, wordMatrix, wordRow, nullptr, 1, 0, 0));
    constexpr const char *message = "One of InverseCov or InverseCovD must be NULL and the other non NULL";
    const Report floats = {QZ_StsBadArg, "QZsInitGaussMixServer", message, file, 214};
    const Report words = {QZ_StsBadArg, "QZwInitGaussMixServer", message, file, 155};
    EXPECT_EQ((Reports{floats, floats, words, words}), reports.all());
    EXPECT_EQ(QZ_StsBadArg, QZGetStatus());
    EXPECT_EQ(0, heap.requests());
}

TEST(MixtureServers, ReportWhenThereIsNoMemory) {
    RecordedReports reports;
    const float *const row[] = {nullptr};
    const int16_t *const wordRow[] = {nullptr};
    constexpr const char *message = "insufficiency of memory for pointer  server";
    {
        FailingHeap heap(0);
        EXPECT_EQ(nullptr, QZsInitGaussMixServer(nullptr, row, nullptr, row, nullptr, 1, 0));
    }
    FailingHeap heap(0);
    EXPECT_EQ(nullptr, QZwInitGaussMixServer(nullptr, wordRow, nullptr, wordRow, nullptr, 1, 0, 0));
    EXPECT_EQ((Reports{{QZ_StsNoMem, "QZsInitGaussMixServer", message, file, 220},
                       {QZ_StsNoMem, "QZwInitGaussMixServer", message, file, 161}}),
              reports.all());
}

TEST(MixtureServers, ReleaseOneBlock) {
    FailingHeap heap;
    const float *const row[] = {nullptr};
    const int16_t *const wordRow[] = {nullptr};
    QZsFreeGaussMixServer(QZsInitGaussMixServer(nullptr, row, nullptr, row, nullptr, 1, 1));
    QZwFreeGaussMixServer(QZwInitGaussMixServer(nullptr, wordRow, nullptr, wordRow, nullptr, 1, 1, 0));
    EXPECT_EQ((std::vector<std::size_t>{sizeof(QZsGaussMixServer), sizeof(QZwGaussMixServer)}),
              requestedBytes(heap));
    EXPECT_EQ(0, heap.live());
    QZsFreeGaussMixServer(nullptr);
    QZwFreeGaussMixServer(nullptr);
}

TEST(Mixtures, AtTheMeanAComponentCountsItsWeight) {
    for (const bool tables : {false, true}) {
        const Model<float> diagonal = {{0.75f, 0.5f}, {{1, 2, 3}, {1, 2, 3}}, {{4, 5, 6}, {7, 8, 9}}, {}};
        EXPECT_EQ(1.25, Server<float>(diagonal, tables).at({1, 2, 3}));
        const Model<float> full = {{0.1f}, {{1, 2}}, {}, {{{4, 5}, {6, 7}}}};
        EXPECT_EQ(static_cast<double>(0.1f), Server<float>(full, tables).at({1, 2}));
        const Model<int16_t> words = {{77, -7}, {{1, 2}, {1, 2}}, {{3, 4}, {3, 4}}, {}};
        EXPECT_EQ(70.0, Server<int16_t>(words, tables, 0).at({1, 2}));
    }
}

TEST(Mixtures, OfKnownExponents) {
    EXPECT_EQ(rootOfInverseE, Server<float>(single(1.0f)).at({1.0f}));
    EXPECT_EQ(rootOfInverseE, Server<float>(single(0.25f)).at({-2.0f}));
    EXPECT_EQ(4.0 * rootOfInverseE, Server<float>(single(1.0f, 4.0f)).at({1.0f}));
    EXPECT_EQ(-rootOfInverseE, Server<float>(single(1.0f, -1.0f)).at({1.0f}));
    EXPECT_EQ(2.71828182845904523536, Server<float>(single(-2.0f)).at({1.0f})) << "a rising exponential";
    EXPECT_EQ(rootOfInverseE, Server<int16_t>(singleWord(16), false, -4).at({1}));
    EXPECT_EQ(100 * rootOfInverseE, Server<int16_t>(singleWord(1, 100), false, 0).at({1}));

    // d = (1, 2): 1 * 1 + 2 * (10 + 100) + 4 * 1000.
    const Model<float> full = {{1.0f}, {{-1, -2}}, {}, {{{1, 10}, {100, 1000}}}};
    const double expected = static_cast<double>(reference::exponential(-0.5L * 4221));
    EXPECT_EQ(expected, Server<float>(full).at({0, 0}));
    const Model<int16_t> fullWords = {{1}, {{-1, -2}}, {}, {{{1, 10}, {100, 1000}}}};
    EXPECT_EQ(static_cast<double>(reference::exponential(-0.5L * 4221 / 1024)),
              Server<int16_t>(fullWords, false, -10).at({0, 0}));
}

TEST(Mixtures, OfFullMatricesIgnoreTheSignOfTheForm) {
    for (const bool tables : {false, true}) {
        const Model<float> rising = {{1.0f}, {{0, 0}}, {}, {{{-3, 1}, {1, -5}}}};
        const Model<float> falling = {{1.0f}, {{0, 0}}, {}, {{{3, -1}, {-1, 5}}}};
        const double value = Server<float>(falling, tables).at({0.25f, 0.5f});
        EXPECT_LT(0.0, value);
        EXPECT_GT(1.0, value);
        EXPECT_EQ(value, Server<float>(rising, tables).at({0.25f, 0.5f}));
        const Model<int16_t> risingWords = {{1}, {{0, 0}}, {}, {{{-3, 1}, {1, -5}}}};
        const Model<int16_t> fallingWords = {{1}, {{0, 0}}, {}, {{{3, -1}, {-1, 5}}}};
        EXPECT_EQ(value, Server<int16_t>(fallingWords, tables, -4).at({1, 2}));
        EXPECT_EQ(value, Server<int16_t>(risingWords, tables, -4).at({1, 2}));
    }
}

TEST(Mixtures, WithoutComponentsOrElements) {
    const Model<float> none = {{}, {}, {}, {}};
    EXPECT_TRUE(sameBits(0.0, Server<float>(none).at({1.0f})));
    const float weights[] = {0.5f, 0.25f};
    const float *const rows[] = {nullptr, nullptr}, *const *const matrices[] = {rows, rows};
    for (const int32_t dim : {0, -1, std::numeric_limits<int32_t>::min()})
        for (const bool full : {false, true}) {
            auto *server = QZsInitGaussMixServer(weights, rows, full ? matrices : nullptr,
                                                 full ? nullptr : rows, nullptr, 2, 0);
            EXPECT_EQ(0.75, QZsEvalGaussMix(server, nullptr, dim));
            QZsFreeGaussMixServer(server);
        }
    for (const int32_t nMix : {0, -1, std::numeric_limits<int32_t>::min()}) {
        auto *server = QZsInitGaussMixServer(nullptr, nullptr, nullptr, rows, nullptr, nMix, 0);
        EXPECT_TRUE(sameBits(0.0, QZsEvalGaussMix(server, nullptr, 3)));
        QZsFreeGaussMixServer(server);
    }
}

TEST(Mixtures, FormsAreSumsOfSixtyFourBits) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    // The large terms cancel; what a 1 between them leaves tells how many bits the sum has.
    const auto value = [](float large) {
        const Model<float> model = {{1.0f}, {{0, 0, 0}}, {{large, 1.0f, -large}}, {}};
        return Server<float>(model).at({1, 1, 1});
    };
    EXPECT_EQ(rootOfInverseE, value(0x1p63f));
    EXPECT_EQ(1.0, value(0x1p65f));
    // In the order of rows and columns: between its own and the opposite term, or before both.
    const auto full = [](float first, float second, float third) {
        const Model<float> model = {{1.0f}, {{0, 0}}, {}, {{{first, second}, {third, 0}}}};
        return Server<float>(model).at({1, 1});
    };
    EXPECT_EQ(1.0, full(0x1p65f, 1.0f, -0x1p65f));
    EXPECT_EQ(1.0, full(1.0f, 0x1p65f, -0x1p65f));
    EXPECT_EQ(rootOfInverseE, full(0x1p65f, -0x1p65f, 1.0f));
}

/// A component of these diagonals, or of these on the diagonal of a matrix, whose first columns hold `full`
/// in the second row.
Model<float> cancelling(const std::vector<float> &mean, const std::vector<float> &diagonal, bool full) {
    Model<float> model = {{1.0f}, {mean}, {diagonal}, {}};
    if (!full) return model;
    std::vector<std::vector<float>> matrix(mean.size(), std::vector<float>(mean.size()));
    for (std::size_t i = 1; i < mean.size(); ++i)
        matrix[i][i] = diagonal[i];
    matrix[1][1] = 0.0f;
    matrix[1][0] = diagonal[0];
    model.diagonals.clear();
    model.matrices = {matrix};
    return model;
}

/// Terms are rounded to 64 bits with each product. The first one is large, and those behind it take away what
/// it is in this order: in another one, its last bit would be left.
TEST(Mixtures, TermsAreProductsInTheirOrder) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    int distinct = 0;
    for (int round = 0; round < 200; ++round) {
        const bool full = round % 2 != 0;
        const auto inverse = static_cast<float>(random.real(1.0, 2.0));
        // Differences of 45 bits or so.
        const auto far = [&] { return static_cast<float>(random.real(0x1p20, 0x1p21)); };
        const auto near = [&] { return static_cast<float>(random.real(-0x1p-1, 0x1p-1)); };
        std::vector<float> x = {far(), far(), 1, 1, 1}, mean = {near(), near(), 0, 0, 0};
        const long double d = static_cast<long double>(x[0]) - mean[0],
                          e = static_cast<long double>(x[1]) - mean[1];
        const long double square = d * d, row = d * inverse, column = e * inverse;
        const long double term = full ? row * e : inverse * square, other = full ? column * d : row * d;
        if (!full) x[1] = mean[1] = 0.0f;
        long double rest = term;
        std::vector<float> diagonal = {inverse, 1, 0, 0, 0};
        for (std::size_t i = 2; i < 5; ++i) {
            diagonal[i] = -static_cast<float>(rest);
            rest += diagonal[i];
        }
        ASSERT_EQ(0.0L, rest);
        distinct += term != other;
        const Model<float> model = cancelling(mean, diagonal, full);
        EXPECT_EQ(1.0, Server<float>(model).at(x)) << seed();
    }
    EXPECT_LT(20, distinct);
}

TEST(Mixtures, TheSumIsRoundedToDoubleWithEachComponent) {
    // 2^-24 * 2^-30 twice onto 1 is nothing, once 2^-53 + ... would be one unit.
    const Model<float> model = {{1.0f, 0x1p-53f, 0x1p-53f}, {{0}, {0}, {0}}, {{0}, {0}, {0}}, {}};
    EXPECT_EQ(1.0, Server<float>(model).at({0}));
    const Model<float> reversed = {{0x1p-53f, 0x1p-53f, 1.0f}, {{0}, {0}, {0}}, {{0}, {0}, {0}}, {}};
    EXPECT_EQ(1.0 + 0x1p-52, Server<float>(reversed).at({0}));
}

TEST(Mixtures, RoundTheTotalTwice) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    // 1 + 2^-53 + 2^-66 is first 1 + 2^-53 in 64 bits, then, a tie, 1 in 53.
    const Model<float> twice = {{1.0f, 0x1.0008p-53f}, {{0}, {0}}, {{0}, {0}}, {}};
    EXPECT_EQ(1.0, Server<float>(twice).at({0}));
    const Model<float> once = {{1.0f, 0x1.004p-53f}, {{0}, {0}}, {{0}, {0}}, {}};
    EXPECT_EQ(1.0 + 0x1p-52, Server<float>(once).at({0}));
}

TEST(Mixtures, ReachBeyondTheExponentsOfDoubles) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    const double large = Server<float>(single(-1500.0f, 0x1p-140f)).at({1.0f});
    EXPECT_EQ(static_cast<double>(reference::exponential(750) * reference::Quadruple(0x1p-140f)), large);
    const double small = Server<float>(single(1500.0f, 0x1p120f)).at({1.0f});
    EXPECT_EQ(static_cast<double>(reference::exponential(-750) * reference::Quadruple(0x1p120f)), small);
    EXPECT_EQ(std::numeric_limits<double>::infinity(), Server<float>(single(-1500.0f)).at({1.0f}));
    EXPECT_TRUE(sameBits(0.0, Server<float>(single(1600.0f)).at({1.0f})));
    EXPECT_TRUE(sameBits(-0.0, Server<float>(single(1600.0f, -1.0f)).at({1.0f})));
}

TEST(Mixtures, OfNotANumbersAndInfinities) {
    for (const bool tables : {false, true}) {
        EXPECT_TRUE(std::isnan(Server<float>(single(1.0f), tables).at({notANumber})));
        EXPECT_TRUE(std::isnan(Server<float>(single(notANumber), tables).at({1.0f})));
        EXPECT_TRUE(std::isnan(Server<float>(single(1.0f, notANumber), tables).at({1.0f})));
        EXPECT_TRUE(sameBits(0.0, Server<float>(single(1.0f), tables).at({infinity})));
        EXPECT_TRUE(std::isnan(Server<float>(single(0.0f), tables).at({infinity})));
        EXPECT_TRUE(std::isnan(Server<float>(single(1.0f, infinity), tables).at({infinity})));
    }
    EXPECT_EQ(static_cast<double>(infinity), Server<float>(single(-1.0f)).at({infinity}));
}

TEST(Mixtures, FollowTheArraysOfTheClient) {
    Model<float> model = single(1.0f);
    const Server<float> server(model);
    EXPECT_EQ(rootOfInverseE, server.at({1.0f}));
    model.weights[0] = 2.0f;
    EXPECT_EQ(2.0 * rootOfInverseE, server.at({1.0f}));
    model.means[0][0] = 1.0f;
    EXPECT_EQ(2.0, server.at({1.0f}));
}

TEST(LookedUpExponentials, AreProductsOfTwoEntries) {
    const auto value = [](float inverse) { return Server<float>(single(inverse), true).at({1.0f}); };
    const auto entries = [](int whole, int thousandths) {
        return static_cast<double>(reference::tableEntry(-whole)) *
               static_cast<double>(reference::tableEntry(-thousandths * 0.001L));
    };
    EXPECT_EQ(1.0, value(0.0f));
    EXPECT_EQ(1.0, value(-0.0f));
    EXPECT_EQ(1.0, value(std::numeric_limits<float>::denorm_min()));
    EXPECT_EQ(1.0, value(0x1.0624dcp-9f)) << "just below 0.002";
    EXPECT_EQ(entries(0, 1), value(0x1.0624dep-9f));
    EXPECT_EQ(entries(0, 500), value(1.0f));
    EXPECT_EQ(entries(0, 999), value(std::nextafter(2.0f, 0.0f)));
    EXPECT_EQ(entries(1, 0), value(2.0f));
    EXPECT_EQ(entries(12, 250), value(24.5f));
    EXPECT_EQ(entries(99, 999), value(199.999f));
    EXPECT_EQ(entries(99, 999), value(std::nextafter(200.0f, 0.0f)));
    EXPECT_TRUE(sameBits(0.0, value(200.0f)));
    EXPECT_TRUE(sameBits(0.0, value(1e30f)));
    EXPECT_TRUE(sameBits(0.0, value(infinity)));
}

TEST(LookedUpExponentials, OfPositiveValuesAreReported) {
    RecordedReports reports;
    const Model<float> second = {{1, 1, 1}, {{0}, {0}, {0}}, {{1}, {-1}, {-1}}, {}};
    const Server<float> floats(second, true);
    EXPECT_TRUE(sameBits(0.0, floats.at({1.0f})));
    EXPECT_EQ(Reports{positive}, reports.all()) << "and the evaluation ends";
    EXPECT_EQ(QZ_StsInternal, QZGetStatus());
    EXPECT_EQ(3.0, floats.at({0.0f})) << "tables are built: the status is not asked";

    reports.clear();
    int32_t scale = 5;
    const Model<int16_t> words = singleWord(-1);
    const Server<int16_t> server(words, true, 0);
    const int16_t one = 1;
    EXPECT_EQ(0, QZwEvalGaussMix(server.get(), &one, 1, QZ_ScaleAuto, &scale));
    EXPECT_EQ(5, scale);
    EXPECT_EQ(Reports{positiveWords}, reports.all());
    EXPECT_EQ(0, QZwEvalGaussMix(server.get(), &one, 1, 99, &scale)) << "nothing is converted";
    EXPECT_EQ((Reports{positiveWords, positiveWords}), reports.all());
}

TEST(ExponentialTables, LiveFromTheFirstUseToTheReleaseOfAnyServerWithTables) {
    FailingHeap heap;
    const Model<float> model = single(1.0f);
    {
        const Server<float> exact(model), first(model, true), second(model, true);
        EXPECT_EQ(3, heap.requests());
        exact.at({1.0f});
        EXPECT_EQ(3, heap.requests());
        EXPECT_EQ(0, expTablesBuilt);
        const double value = first.at({1.0f});
        EXPECT_EQ(1, expTablesBuilt);
        EXPECT_EQ(400u, requestedBytes(heap)[3]);
        EXPECT_EQ(4000u, requestedBytes(heap)[4]);
        EXPECT_EQ(value, second.at({1.0f}));
        EXPECT_EQ(5, heap.requests());
        { const Server<float> unused(model, true); }
        EXPECT_EQ(0, expTablesBuilt);
        EXPECT_EQ(nullptr, integralExpTable);
        EXPECT_EQ(nullptr, fractionalExpTable);
        EXPECT_EQ(3, heap.live());
        EXPECT_EQ(value, second.at({1.0f}));
        EXPECT_EQ(8, heap.requests());
        { const Server<float> withoutTables(model); }
        EXPECT_EQ(1, expTablesBuilt);
        const Model<int16_t> words = singleWord(1);
        { const Server<int16_t> others(words, true); }
        EXPECT_EQ(0, expTablesBuilt);
    }
    EXPECT_EQ(0, heap.live());
}

TEST(ExponentialTables, ReportWhenThereIsNoMemory) {
    RecordedReports reports;
    const Model<float> model = single(1.0f);
    const Model<int16_t> words = singleWord(1);
    const int16_t one = 1;
    {
        FailingHeap heap(1);
        const Server<float> server(model, true);
        EXPECT_TRUE(sameBits(0.0, server.at({1.0f})));
        EXPECT_EQ((Reports{noIntegral, trace}), reports.all());
        EXPECT_EQ(0, expTablesBuilt);
        reports.clear();
        EXPECT_EQ(static_cast<double>(std::exp(-0.5f)), server.at({1.0f})) << "the next one builds them";
        EXPECT_TRUE(reports.all().empty());
    }
    {
        FailingHeap heap(2);
        {
            const Server<int16_t> server(words, true);
            int32_t scale = 9;
            EXPECT_EQ(0, QZwEvalGaussMix(server.get(), &one, 1, QZ_ScaleAuto, &scale));
            EXPECT_EQ(9, scale);
            EXPECT_EQ((Reports{noFractional, traceWords}), reports.all());
            EXPECT_EQ(0, expTablesBuilt);
            EXPECT_EQ(2, heap.live()) << "the first table stays";
            { const Server<int16_t> unused(words, true); }
            EXPECT_EQ(2, heap.live()) << "also when a server is released";
            QZSetStatus(QZ_StsOk);
            EXPECT_EQ(0, QZwEvalGaussMix(server.get(), &one, 1, QZ_ScaleWrap, &scale));
            EXPECT_EQ(1, expTablesBuilt);
            EXPECT_EQ(3, heap.live());
        }
        EXPECT_EQ(0, heap.live()) << "and is not lost";
    }
}

TEST(ExponentialTables, AreBuiltInVainUnderANegativeStatus) {
    RecordedReports reports;
    const Model<float> model = single(2.0f);
    const Server<float> server(model, true);
    QZSetStatus(QZ_StsNoConv);
    EXPECT_TRUE(sameBits(0.0, server.at({1.0f})));
    EXPECT_EQ(Reports{trace}, reports.all());
    EXPECT_EQ(1, expTablesBuilt);
    EXPECT_EQ(QZ_StsNoConv, QZGetStatus());
    EXPECT_EQ(static_cast<double>(reference::tableEntry(-1)), server.at({1.0f}));
    EXPECT_EQ(1u, reports.all().size());
}

TEST(ExponentialTables, AreUsedUnderAPositiveStatus) {
    RecordedReports reports;
    const Model<float> model = single(2.0f);
    const Server<float> server(model, true);
    QZSetStatus(7);
    EXPECT_EQ(static_cast<double>(reference::tableEntry(-1)), server.at({1.0f}));
    EXPECT_TRUE(reports.all().empty());
}

TEST(ExponentialTables, AreAskedForByAnyFlagButZero) {
    const float one = 1.0f, inverse = 1.001f, mean = 0.0f;
    const float *const rows[] = {&inverse}, *const means[] = {&mean};
    for (const int32_t flag : {1, -3, std::numeric_limits<int32_t>::min()}) {
        auto *const server = QZsInitGaussMixServer(&one, means, nullptr, rows, nullptr, 1, flag);
        EXPECT_EQ(static_cast<double>(reference::tableEntry(-0.5L)), QZsEvalGaussMix(server, &one, 1));
        EXPECT_EQ(1, expTablesBuilt);
        QZsFreeGaussMixServer(server);
        EXPECT_EQ(0, expTablesBuilt);
    }
}

TEST(ExponentialTables, AreReleasedBeforeTheServer) {
    FailingHeap heap;
    const Model<float> model = single(1.0f);
    auto server = std::make_unique<Server<float>>(model, true);
    const void *const record = server->get();
    EXPECT_LT(0.0, QZsEvalGaussMix(server->get(), std::vector<float>{1.0f}.data(), 1));
    const void *const tables[] = {integralExpTable, fractionalExpTable};
    const std::size_t made = heap.events().size();
    server.reset();
    ASSERT_EQ(made + 3, heap.events().size());
    EXPECT_EQ(record, heap.events()[made + 2].block);
    for (std::size_t i = 0; i < 2; ++i)
        EXPECT_TRUE(heap.events()[made + i].block == tables[0] || heap.events()[made + i].block == tables[1]);
}

int32_t ignore(int32_t, const char *, const char *, const char *, int32_t) { return 0; }

TEST(ExponentialTables, ThatCannotBeHadAreNotUsedWhateverTheHandlerDoes) {
    FailingHeap heap(1);
    const Model<float> model = single(2.0f);
    const Server<float> server(model, true);
    QZRedirectError(ignore);
    EXPECT_TRUE(sameBits(0.0, server.at({1.0f})));
    QZSetStdError();
    EXPECT_EQ(0, expTablesBuilt);
}

TEST(WordMixtures, AreConvertedWithTheModeOfTheCaller) {
    const Model<int16_t> model = singleWord(1, 1000); // 606.53065971263342
    const Server<int16_t> server(model, false, 0);
    const int16_t one = 1;
    int32_t scale = 9;
    EXPECT_EQ(606, QZwEvalGaussMix(server.get(), &one, 1, QZ_ScaleWrap, &scale));
    EXPECT_EQ(0, scale);
    scale = -15;
    EXPECT_EQ(19874796, QZwEvalGaussMix(server.get(), &one, 1, QZ_ScaleFixed, &scale));
    EXPECT_EQ(-15, scale);
    scale = 3;
    EXPECT_EQ(1271986986, QZwEvalGaussMix(server.get(), &one, 1, QZ_ScaleAuto, &scale));
    EXPECT_EQ(-21, scale);
    EXPECT_EQ(606, QZwEvalGaussMix(server.get(), &one, 1, QZ_ScaleSaturate, &scale));
    EXPECT_EQ(0, scale);
}

TEST(WordMixtures, ReportWhatTheConversionReports) {
    RecordedReports reports;
    const Model<int16_t> model = singleWord(1);
    const Server<int16_t> server(model, false, 0);
    const int16_t one = 1;
    int32_t scale = 9;
    EXPECT_EQ(0, QZwEvalGaussMix(server.get(), &one, 1, 4, &scale) & 0xFFFF);
    EXPECT_EQ(9, scale);
    EXPECT_EQ((Reports{{QZ_StsBadArg, "QZ_diConvert", "Unknown value   4 for doScale", "..\\LIBSRC\\QZ_CNVRT",
                        2055}}),
              reports.all());
}

TEST(WordMixtures, AreScaledWithTheStoredPowersOfTwo) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    for (const int32_t scale : {-64, -30, -22, -21, 0, 3, 50, 70}) {
        const Model<int16_t> model = {{1}, {{-32768, -32768}}, {{32767, 12345}}, {}};
        const std::vector<int16_t> x =
            scale > 0 ? std::vector<int16_t>{-32768, -32767} : std::vector<int16_t>{32767, 32767};
        EXPECT_EQ(*reference::mixture(model, x, false, QZPower2(scale)),
                  Server<int16_t>(model, false, scale).at(x))
            << scale;
    }
    const Model<int16_t> model = {{1}, {{-32768}}, {{1}}, {}};
    const double exact = static_cast<double>(reference::exponential(-0.5L * 65535 * 65535 * 0x1p-30L));
    EXPECT_NE(exact, Server<int16_t>(model, false, -30).at({32767}));
}

TEST(ManyMixtures, AreEvaluatedInTheirOrder) {
    RecordedReports reports;
    const Model<float> good = single(1.0f), bad = single(-1.0f), other = single(2.0f);
    const Server<float> exact(good), badLookup(bad, true), lookup(other, true), rising(bad);
    std::vector<const QZsGaussMixServer *> servers = {exact.get(), badLookup.get(), lookup.get(),
                                                      badLookup.get(), rising.get()};
    const float x = 1.0f;
    std::vector<double> values(5, 77.0);
    EXPECT_FALSE(evaluateMixtures(servers.data(), 5, &x, 1, values.data()));
    EXPECT_EQ((std::vector<double>{rootOfInverseE, 0.0, static_cast<double>(reference::tableEntry(-1)), 0.0,
                                   rising.at({x})}),
              values);
    EXPECT_EQ((Reports{positive, positive}), reports.all());

    reports.clear();
    { const Server<float> dropsTheTables(good, true); }
    QZSetStatus(QZ_StsError);
    values.assign(5, 77.0);
    servers = {exact.get(), lookup.get(), lookup.get()};
    EXPECT_FALSE(evaluateMixtures(servers.data(), 3, &x, 1, values.data()));
    EXPECT_EQ((std::vector<double>{rootOfInverseE, 0.0, static_cast<double>(reference::tableEntry(-1)), 77.0,
                                   77.0}),
              values);
    EXPECT_EQ(Reports{trace}, reports.all());
    for (const int32_t none : {0, -1})
        EXPECT_TRUE(
            evaluateMixtures(static_cast<const QZsGaussMixServer *const *>(nullptr), none, &x, 1, nullptr));
}

TEST(ManyMixtures, GiveTheValuesOfEachOne) {
    RecordedReports reports;
    Random random;
    std::vector<MixtureCase<float>> cases;
    std::vector<Server<float>> servers;
    cases.reserve(100);
    std::vector<const QZsGaussMixServer *> records;
    std::vector<double> expected;
    std::vector<float> x = random.reals<float>(9);
    for (std::size_t i = 0; i < 100; ++i) {
        cases.push_back(randomMixture<float>(random, Kind::mixed, i % 3 == 0, 1 + i % 5, 9));
        servers.emplace_back(cases.back().model, i % 4 == 0);
        records.push_back(servers.back().get());
        expected.push_back(servers.back().at(x));
    }
    const std::size_t failures = reports.all().size();
    std::vector<double> values(100);
    EXPECT_EQ(failures == 0, evaluateMixtures(records.data(), 100, x.data(), 9, values.data()));
    EXPECT_TRUE(sameBits(expected, values));
    EXPECT_EQ(2 * failures, reports.all().size());
}

#if defined(__x86_64__) || defined(__i386__)

TEST(Mixtures, DoNotDependOnThePrecisionThatTheProcessHasChosen) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    Random random;
    const auto made = randomMixture<float>(random, Kind::flat, false, 9, 31);
    const auto full = randomMixture<float>(random, Kind::flat, true, 3, 9);
    const Server<float> server(made.model), lookup(made.model, true), fullServer(full.model);
    const auto evaluate = [&] {
        return std::vector<double>{server.at(made.x), lookup.at(made.x), fullServer.at(full.x)};
    };
    const auto values = evaluate();
    underControlWords(evaluate, [&](int control, int after, const std::vector<double> &again) {
        EXPECT_EQ(control, after);
        EXPECT_TRUE(sameBits(values, again)) << std::hex << control;
    });
}

#endif

} // namespace
} // namespace qzk::test
