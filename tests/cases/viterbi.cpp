// The six searches on models whose costs are known, classes, scaled scores, what cannot be scored, and failed
// allocations.
#include "common/hmm.hpp"
#include "qzk.h"
#include "support/failing_heap.hpp"
#include "support/hmm.hpp"
#include "support/levels.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace qzk::test {
namespace {

constexpr float none = 3.4028235e38f;
constexpr std::int32_t noneOfWords = 0x7FFFFFFF;
constexpr float far = 1e30f;

class Search : public testing::Test {
protected:
    ~Search() override {
        QZHMMFreeAll();
        for (auto *const server : mixtures)
            QZsFreeGaussMixServer(server);
        for (auto *const server : wordMixtures)
            QZwFreeGaussMixServer(server);
    }

    static std::int32_t floats(const Matrix<float> &a, const Matrix<float> &b, const std::vector<float> &pi) {
        return QZsInitHMMServer(a.rows(), b.rows(), pi.data(), static_cast<std::int32_t>(pi.size()),
                                static_cast<std::int32_t>(b[0].size()), QZ_HMMCost);
    }
    static std::int32_t words(const Matrix<std::int16_t> &a, const Matrix<std::int16_t> &b,
                              const std::vector<std::int16_t> &pi) {
        return QZwInitHMMServer(a.rows(), b.rows(), pi.data(), static_cast<std::int32_t>(pi.size()),
                                static_cast<std::int32_t>(b[0].size()), QZ_HMMCost);
    }

    float score(std::int32_t model, const std::vector<std::int32_t> &symbols) {
        bestId = 77;
        return QZsEvalHMMViterbi(model, symbols.data(), static_cast<std::int32_t>(symbols.size()), &bestId);
    }
    std::int32_t scoreWords(std::int32_t model, const std::vector<std::int32_t> &symbols,
                            std::int32_t mode = 0) {
        bestId = 77;
        return QZwEvalHMMViterbi(model, symbols.data(), static_cast<std::int32_t>(symbols.size()), &bestId,
                                 mode, &scale);
    }

    /// One component e^(-x^2 / 2) times a weight.
    QZsGaussMixServer *mixture(const float *weight, std::int32_t useTables = 0) {
        static const float zero[] = {0.0f}, one[] = {1.0f};
        static const float *const means[] = {zero}, *const inverse[] = {one};
        mixtures.push_back(QZsInitGaussMixServer(weight, means, nullptr, inverse, nullptr, 1, useTables));
        return mixtures.back();
    }
    QZwGaussMixServer *wordMixture(const std::int16_t *weight) {
        static const std::int16_t zero[] = {0}, one[] = {1};
        static const std::int16_t *const means[] = {zero}, *const inverse[] = {one};
        wordMixtures.push_back(QZwInitGaussMixServer(weight, means, nullptr, inverse, nullptr, 1, 0, 0));
        return wordMixtures.back();
    }

    std::vector<QZsGaussMixServer *> mixtures;
    std::vector<QZwGaussMixServer *> wordMixtures;
    std::int32_t bestId = 77, scale = 3;
    RecordedReports reports;
};

// Two states; 0 1 1 0 is the cheapest way through three changes of the symbol.
const Matrix<float> generalSteps = {{1, 2}, {3, 1}};
const Matrix<float> symbolCosts = {{0.5f, 4}, {4, 0.25f}};

TEST_F(Search, OneFrame) {
    const std::int32_t id = floats(generalSteps, symbolCosts, {1, 2});
    EXPECT_EQ(1.5f, score(id, {0}));
    EXPECT_EQ(id, bestId);
    EXPECT_EQ(2.25f, score(id, {1}));
}

TEST_F(Search, GeneralModel) {
    const std::int32_t id = floats(generalSteps, symbolCosts, {1, 2});
    // 1 + 0.5, 2 + 0.25, 1 + 0.25, 3 + 0.5
    EXPECT_EQ(8.5f, score(id, {0, 1, 1, 0}));
    const std::int32_t inWords = words({{10, 20}, {30, 10}}, {{5, 40}, {40, 2}}, {10, 20});
    EXPECT_EQ(15 + 22 + 12 + 35, scoreWords(inWords, {0, 1, 1, 0}));
    EXPECT_EQ(inWords, bestId);
}

TEST_F(Search, LeftToRightModel) {
    // From 0 over a jump of three to 3; states 1 and 2 are dear.
    const Matrix<float> a = {{1, 1, 1, 2}, {far, 1, 1, 1}, {far, far, 1, 1}, {far, far, far, 1}};
    const Matrix<float> b = {{0, 9}, {9, 9}, {9, 9}, {9, 0}};
    const std::int32_t id = floats(a, b, {0, far, far, far});
    EXPECT_EQ(QZ_HMMLeftRight, findHMMServer(id)->flavor & hmmTopologies);
    EXPECT_EQ(1.0f + 2.0f + 1.0f, score(id, {0, 0, 1, 1}));
    EXPECT_EQ(2.0f + 1.0f + 1.0f + 9.0f, score(id, {0, 1, 1, 0})) << "no way back from the last state";
}

TEST_F(Search, BakisModel) {
    const Matrix<float> a = {{1, 2, 3, far}, {far, 1, 2, 3}, {far, far, 1, 2}, {far, far, far, 1}};
    const Matrix<float> b = {{0, 9}, {1, 9}, {9, 0}, {9, 9}};
    const std::int32_t id = floats(a, b, {0, far, far, far});
    EXPECT_EQ(QZ_HMMBakis, findHMMServer(id)->flavor & hmmTopologies);
    EXPECT_EQ(3.0f, score(id, {0, 1})) << "a jump";
    EXPECT_EQ(2.0f, score(id, {0, 0, 0})) << "staying twice";
    const std::int32_t inWords =
        words({{1, 2, 3, 32767}, {32767, 1, 2, 3}, {32767, 32767, 1, 2}, {32767, 32767, 32767, 1}},
              {{0, 9}, {1, 9}, {9, 0}, {9, 9}}, {0, 32767, 32767, 32767});
    EXPECT_EQ(QZ_HMMBakis, findHMMServer(inWords)->flavor & hmmTopologies);
    EXPECT_EQ(3, scoreWords(inWords, {0, 1}));
}

/// Where models are not given as costs, what fills the packed tables up is 0, and costs nothing to nobody.
TEST_F(Search, StepsThatThereAreNotAreNotTaken) {
    for (const simd::Level level : availableLevels()) {
        const ScopedLevel scope(level);
        for (const std::size_t n : {2u, 3u, 4u, 5u, 9u, 17u}) {
            for (const std::size_t reach : {2u, 16u}) {
                Matrix<float> a(n, n, 0);
                Matrix<std::int16_t> inWords(n, n, 0);
                for (std::size_t i = 0; i < n; ++i)
                    for (std::size_t j = i; j < n && j <= i + reach; ++j)
                        inWords[i][j] = 7, a[i][j] = 7;
                const Matrix<float> b(n, 1, 1);
                const Matrix<std::int16_t> bOfWords(n, 1, 1);
                const std::vector<float> pi(n, 5);
                const std::vector<std::int16_t> piOfWords(n, 5);
                const auto size = static_cast<std::int32_t>(n);
                const std::int32_t id = QZsInitHMMServer(a.rows(), b.rows(), pi.data(), size, 1, 0),
                                   idOfWords = QZwInitHMMServer(inWords.rows(), bOfWords.rows(),
                                                                piOfWords.data(), size, 1, 0);
                EXPECT_NE(0, findHMMServer(id)->flavor & hmmTopologies);
                EXPECT_EQ(5.0f + 7 + 7 + 3, score(id, {0, 0, 0})) << n << ' ' << reach;
                EXPECT_EQ(5 + 7 + 7 + 3, scoreWords(idOfWords, {0, 0, 0})) << n << ' ' << reach;
            }
        }
    }
}

TEST_F(Search, OneStateAndTheLastState) {
    EXPECT_EQ(2.0f + 1.5f + 1.0f, score(floats({{1.5f}}, {{2, 1}}, {0}), {0, 1}));
    // Ends in any state.
    EXPECT_EQ(1.0f, score(floats({{0, far}, {far, 0}}, {{0.5f}, {7}}, {0, 0}), {0, 0}));
}

TEST_F(Search, OutputIsAddedAfterTheMinimum) {
    // 2^24 + 1 rounds to 2^24 twice, while 1 + 1 added first would give 2^24 + 2.
    const std::int32_t id = floats({{1}}, {{1, 0}}, {0x1p24f});
    EXPECT_EQ(0x1p24f, score(id, {1, 0}));
}

TEST_F(Search, WordsAreAddedIn32Bits) {
    const std::int32_t id = words({{32766}}, {{32767}}, {32767});
    EXPECT_EQ(32767 + 32767 + 32766 + 32767, scoreWords(id, {0, 0}));
}

TEST_F(Search, WordsSaturate) {
    const std::int32_t id = words({{32767}}, {{32767}}, {32767});
    const auto after = [&](std::size_t frames) {
        return scoreWords(id, std::vector<std::int32_t>(frames, 0));
    };
    EXPECT_EQ(2147418112, after(32768)) << "65536 times 32767";
    EXPECT_EQ(2147483646, after(32769));
    EXPECT_EQ(2147483647, after(32770));
    EXPECT_EQ(2147483647, after(40000));
    EXPECT_EQ(id, bestId);
}

TEST_F(Search, FirstFramesSaturateToo) {
    // The output alone costs 2147476034: what 2^37 makes of 29 log10(2) - log10(32456 * 2^15), in 32 bits.
    const std::int16_t weight = 32456, zero = 0, dear = 32767;
    QZwGaussMixServer *const servers[] = {wordMixture(&weight)};
    const Matrix<std::int16_t> a(1, 1, 0);
    const std::int16_t *const observations[] = {&zero};
    const auto cost = [&](const std::int16_t &pi) {
        return QZwEvalContHMMViterbi(QZwInitContHMMServer(a.rows(), &pi, servers, 1, 1, QZ_HMMCost, -37),
                                     observations, 1, &bestId, 0, &scale);
    };
    EXPECT_EQ(2147476034, cost(zero));
    EXPECT_EQ(2147483647, cost(dear));
}

TEST_F(Search, ClassesFindTheirBestMember) {
    const std::int32_t cls = QZCreateHMMClass();
    const std::int32_t dear = floats({{5}}, {{5}}, {5}), cheap = floats({{1}}, {{1}}, {1}),
                       equal = floats({{1}}, {{1}}, {1}), last = floats({{9}}, {{9}}, {9});
    QZAddHMMToClass(cls, dear);
    EXPECT_EQ(20.0f, score(-cls, {0, 0}));
    EXPECT_EQ(dear, bestId) << "one member";
    QZAddHMMToClass(cls, cheap);
    QZAddHMMToClass(cls, last);
    EXPECT_EQ(4.0f, score(-cls, {0, 0}));
    EXPECT_EQ(cheap, bestId);
    QZAddHMMToClass(cls, equal);
    EXPECT_EQ(4.0f, score(-cls, {0, 0}));
    EXPECT_EQ(equal, bestId) << "the last of equal ones";
    EXPECT_EQ(4.0f, score(-cls, {0, 0})) << "the iteration begins anew";
}

TEST_F(Search, MembersOfAllSizesAndTopologies) {
    const std::int32_t cls = QZCreateHMMClass();
    const auto member = [&](std::size_t n, float cost) {
        const Matrix<float> a(n, n, cost), b(n, 1, 1.0f);
        QZAddHMMToClass(cls, floats(a, b, std::vector<float>(n, 1.0f)));
    };
    member(40, 4);
    member(3, 3);
    member(70, 2);
    member(9, 5);
    EXPECT_EQ(1.0f + 1.0f + 2.0f + 1.0f, score(-cls, {0, 0}));
    EXPECT_EQ(3, bestId);
}

TEST_F(Search, WhatIsNotScored) {
    const std::int32_t id = floats(generalSteps, symbolCosts, {1, 2}), empty = QZCreateHMMClass();
    const std::int32_t inWords = words({{1}}, {{1}}, {1});
    for (const std::int32_t model : {0, 99, -99, -empty, std::numeric_limits<std::int32_t>::min(), inWords}) {
        EXPECT_EQ(none, score(model, {0, 1})) << model;
        EXPECT_EQ(77, bestId);
    }
    for (const std::int32_t model : {0, 99, -99, -empty, id}) {
        for (const std::int32_t mode : {0, 1, 2}) {
            scale = 3;
            EXPECT_EQ(noneOfWords, scoreWords(model, {0, 1}, mode)) << model;
            EXPECT_EQ(77, bestId);
            EXPECT_EQ(3, scale);
        }
    }
    EXPECT_EQ(none, score(id, {}));
    EXPECT_EQ(77, bestId);
    EXPECT_EQ(none, QZsEvalHMMViterbi(id, nullptr, -1, &bestId));
    EXPECT_EQ(noneOfWords, scoreWords(inWords, {}, 1));
    EXPECT_EQ(77, bestId);
    EXPECT_EQ(3, scale);
    EXPECT_EQ(none, QZsEvalContHMMViterbi(id, nullptr, 1, &bestId));
    EXPECT_EQ(none, QZsEvalSemicontHMMViterbi(id, nullptr, 1, &bestId));
    EXPECT_EQ(noneOfWords, QZwEvalContHMMViterbi(inWords, nullptr, 1, &bestId, 1, &scale));
    EXPECT_EQ(noneOfWords, QZwEvalSemicontHMMViterbi(inWords, nullptr, 1, &bestId, 1, &scale));
    EXPECT_EQ(77, bestId);
    EXPECT_EQ(3, scale);
    const float one = 1.0f;
    QZsGaussMixServer *const servers[] = {mixture(&one)};
    const Matrix<float> a(1, 1, 0);
    const std::int32_t continuous = QZsInitContHMMServer(a.rows(), a[0].data(), servers, 1, 1, QZ_HMMCost);
    EXPECT_EQ(none, score(continuous, {0})) << "another kind";
    EXPECT_EQ(none, QZsEvalSemicontHMMViterbi(continuous, nullptr, 1, &bestId));
    EXPECT_EQ(none, QZsEvalContHMMViterbi(continuous, nullptr, 0, &bestId));
    EXPECT_EQ(77, bestId);
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(Search, CostsBeyondTheLargestAreNoBest) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(none, score(floats({{infinity}}, {{1}}, {1}), {0, 0}));
    EXPECT_EQ(77, bestId);
    EXPECT_EQ(none, score(floats({{0}}, {{0}}, {none}), {0, 0}));
    EXPECT_EQ(2, bestId);
}

TEST_F(Search, ScaledScores) {
    const std::int32_t id = words({{0}}, {{100}}, {-1000}), positive = words({{0}}, {{100}}, {1000});
    const struct {
        std::int32_t id, mode, scale, score, scaleAfterwards;
    } calls[] = {{positive, 1, 3, 137, 3},
                 {id, 1, 3, -113, 3},
                 {positive, 1, 0, 1100, 0},
                 {positive, 1, -2, 4400, -2},
                 {positive, 1, 33, 550, 33},
                 {positive, 1, -33, 2200, -33},
                 {positive, 0, 3, 1100, 0},
                 {positive, 2, 3, 1100, 0},
                 {positive, -1, 3, 1100, 0},
                 {positive, 3, 3, 1100, 0},
                 {positive, 1, -21, -1988100096, -21},
                 {positive, 1, INT32_MIN, 1100, INT32_MIN}};
    for (const auto &call : calls) {
        scale = call.scale;
        EXPECT_EQ(call.score, scoreWords(call.id, {0}, call.mode)) << call.mode << ' ' << call.scale;
        EXPECT_EQ(call.scaleAfterwards, scale);
    }
}

TEST_F(Search, ContinuousFloats) {
    const float tenth = 0.1f, hundredth = 0.01f;
    QZsGaussMixServer *const servers[] = {mixture(&tenth), mixture(&hundredth)};
    const std::int32_t id =
        QZsInitContHMMServer(generalSteps.rows(), std::vector<float>{0, 0}.data(), servers, 2, 1, QZ_HMMCost);
    const float zero = 0.0f, two = 2.0f;
    const float *const observations[] = {&zero, &zero, &two};
    bestId = 77;
    EXPECT_EQ(1.0f, QZsEvalContHMMViterbi(id, observations, 1, &bestId));
    EXPECT_EQ(id, bestId);
    // -log10(float(0.1)) rounds to 1.
    EXPECT_EQ(3.0f, QZsEvalContHMMViterbi(id, observations, 2, &bestId));
    const auto cost = static_cast<float>(-std::log10(QZsEvalGaussMix(servers[0], &two, 1)));
    EXPECT_EQ(3.0f + 1.0f + cost, QZsEvalContHMMViterbi(id, observations, 3, &bestId));
}

TEST_F(Search, ContinuousWords) {
    // Weights of 14 fractional bits: densities 1/2 and 1/4 have 28 and 27 of 29 bits.
    const std::int16_t half = 8192, quarter = 4096, negative = -5;
    QZwGaussMixServer *const servers[] = {wordMixture(&half), wordMixture(&quarter), wordMixture(&negative)};
    const Matrix<std::int16_t> a(3, 3, 10);
    const std::int16_t pi[] = {1000, 0, 0};
    const std::int32_t id = QZwInitContHMMServer(a.rows(), pi, servers, 3, 1, QZ_HMMCost, -10);
    const std::int16_t zero = 0;
    const std::int16_t *const observations[] = {&zero, &zero};
    // 1024 log10(2) = 308.25, 1024 log10(4) = 616.5
    EXPECT_EQ(616, QZwEvalContHMMViterbi(id, observations, 1, &bestId, 0, &scale));
    EXPECT_EQ(id, bestId);
    EXPECT_EQ(616 + 10 + 308, QZwEvalContHMMViterbi(id, observations, 2, &bestId, 0, &scale));
    QZwGaussMixServer *const impossible[] = {servers[2]};
    const Matrix<std::int16_t> one(1, 1, 10);
    const std::int32_t never = QZwInitContHMMServer(one.rows(), pi, impossible, 1, 1, QZ_HMMCost, -10);
    EXPECT_EQ(1000 + 0x1FFFFFFF, QZwEvalContHMMViterbi(never, observations, 1, &bestId, 0, &scale));
    EXPECT_EQ(1000 + 10 + 2 * 0x1FFFFFFF, QZwEvalContHMMViterbi(never, observations, 2, &bestId, 0, &scale));
    EXPECT_EQ(never, bestId);
}

TEST_F(Search, FullDensitiesCostNothing) {
    // 2^14 does not fit a weight; two components of 2^13 do: 2^14 times 2^15 is 2^29.
    const std::int16_t weights[] = {8192, 8192}, zero = 0, one = 1;
    const std::int16_t *const means[] = {&zero, &zero}, *const inverse[] = {&one, &one};
    wordMixtures.push_back(QZwInitGaussMixServer(weights, means, nullptr, inverse, nullptr, 2, 0, 0));
    const Matrix<std::int16_t> a(1, 1, 0);
    const std::int32_t id = QZwInitContHMMServer(a.rows(), &zero, wordMixtures.data(), 1, 1, QZ_HMMCost, -20);
    const std::int16_t *const observations[] = {&zero};
    EXPECT_EQ(0, QZwEvalContHMMViterbi(id, observations, 1, &bestId, 0, &scale));
}

TEST_F(Search, DensitiesOfZeroAndBelow) {
    const float zero = 0.0f, negative = -1.0f, x = 0.0f;
    const float *const observations[] = {&x};
    const Matrix<float> a(1, 1, 0);
    for (const float *const weight : {&zero, &negative}) {
        QZsGaussMixServer *const servers[] = {mixture(weight)};
        const std::int32_t id = QZsInitContHMMServer(a.rows(), &zero, servers, 1, 1, QZ_HMMCost);
        bestId = 77;
        EXPECT_EQ(none, QZsEvalContHMMViterbi(id, observations, 1, &bestId));
        EXPECT_EQ(77, bestId);
    }
}

TEST_F(Search, SemicontinuousFloats) {
    const float one = 1.0f, half = 0.5f, zero = 0.0f;
    QZsGaussMixServer *const codebook[] = {mixture(&one), mixture(&half)};
    // Densities 1 and 1/2: state 0 has 0.05 + 0.05, state 1 has 0.01.
    const Matrix<float> b = {{0.05f, 0.1f}, {0.01f, 0}};
    const std::vector<float> pi = {0, 0};
    const std::int32_t id =
        QZsInitSemicontHMMServer(generalSteps.rows(), b.rows(), pi.data(), codebook, 2, 2, 1, QZ_HMMCost);
    const float *const observations[] = {&zero, &zero};
    EXPECT_EQ(1.0f, QZsEvalSemicontHMMViterbi(id, observations, 1, &bestId));
    EXPECT_EQ(3.0f, QZsEvalSemicontHMMViterbi(id, observations, 2, &bestId));
    EXPECT_EQ(id, bestId);
}

TEST_F(Search, SemicontinuousWords) {
    // A density of 1 times 2^15 leaves 2^15 in the low 16 bits, which is -2^15; 3 gives -2^15 too, 1/4096 of
    // a weight is out of reach. With a weight of 0 nothing is left.
    const std::int16_t one = 1, zero = 0;
    QZwGaussMixServer *const codebook[] = {wordMixture(&one), wordMixture(&zero)};
    const Matrix<std::int16_t> a(2, 2, 10), b = {{-16384, 5}, {-8192, 7}};
    const std::int16_t pi[] = {0, 0};
    const std::int32_t id =
        QZwInitSemicontHMMServer(a.rows(), b.rows(), pi, codebook, 2, 2, 1, QZ_HMMCost, -10);
    const std::int16_t *const observations[] = {&zero, &zero};
    // 2^29 and 2^28: costs 0 and 308.
    EXPECT_EQ(0, QZwEvalSemicontHMMViterbi(id, observations, 1, &bestId, 0, &scale));
    EXPECT_EQ(10, QZwEvalSemicontHMMViterbi(id, observations, 2, &bestId, 0, &scale));
    EXPECT_EQ(id, bestId);
    const Matrix<std::int16_t> positive = {{1, 0}, {1, 0}};
    const std::int32_t never =
        QZwInitSemicontHMMServer(a.rows(), positive.rows(), pi, codebook, 2, 2, 1, QZ_HMMCost, -10);
    EXPECT_EQ(0x1FFFFFFF, QZwEvalSemicontHMMViterbi(never, observations, 1, &bestId, 0, &scale));
}

TEST_F(Search, SemicontinuousMembersShareTheFirstCodebook) {
    const float one = 1.0f, tenth = 0.1f, zero = 0.0f;
    QZsGaussMixServer *const first[] = {mixture(&one)}, *const second[] = {mixture(&tenth)};
    const Matrix<float> a(1, 1, 0), b(1, 1, 0.01f), c(1, 1, 0.001f);
    const std::int32_t cls = QZCreateHMMClass();
    QZAddHMMToClass(cls, QZsInitSemicontHMMServer(a.rows(), b.rows(), &zero, first, 1, 1, 1, QZ_HMMCost));
    QZAddHMMToClass(cls, QZsInitSemicontHMMServer(a.rows(), b.rows(), &zero, second, 1, 1, 1, QZ_HMMCost));
    QZAddHMMToClass(cls, QZsInitSemicontHMMServer(a.rows(), c.rows(), &zero, second, 1, 1, 1, QZ_HMMCost));
    const float *const observations[] = {&zero};
    EXPECT_EQ(2.0f, QZsEvalSemicontHMMViterbi(-cls, observations, 1, &bestId));
    EXPECT_EQ(2, bestId) << "costs as much as the first";
}

TEST_F(Search, SemicontinuousMembersOfOtherSizes) {
    // Of members with another codebook and dimension, the weights count for which the first one has values.
    const float one = 1.0f, zero = 0.0f, x[] = {0.0f, 9.0f};
    QZsGaussMixServer *const first[] = {mixture(&one), mixture(&one)}, *const others[] = {mixture(&zero),
                                                                                          mixture(&zero),
                                                                                          mixture(&zero)};
    const Matrix<float> a(1, 1, 0), b = {{0.001f, 0}}, more = {{0.05f, 0.05f, 7}};
    const Matrix<float> steps = {{0, 9}, {9, 0}}, fewer = {{0.1f}, {0.9f}};
    const float pi[] = {0, 9};
    const float *const observations[] = {x, x};
    const std::int32_t cls = QZCreateHMMClass();
    QZAddHMMToClass(cls, QZsInitSemicontHMMServer(a.rows(), b.rows(), pi, first, 1, 2, 1, QZ_HMMCost));
    QZAddHMMToClass(cls, QZsInitSemicontHMMServer(a.rows(), more.rows(), pi, others, 1, 3, 2, QZ_HMMCost));
    EXPECT_EQ(2.0f, QZsEvalSemicontHMMViterbi(-cls, observations, 2, &bestId));
    EXPECT_EQ(2, bestId);
    QZAddHMMToClass(cls,
                    QZsInitSemicontHMMServer(steps.rows(), fewer.rows(), pi, others, 2, 1, 2, QZ_HMMCost));
    EXPECT_EQ(2.0f, QZsEvalSemicontHMMViterbi(-cls, observations, 2, &bestId));
    EXPECT_EQ(3, bestId);
}

TEST_F(Search, SemicontinuousSumsWrap) {
    // 2^15 in the low 16 bits is -2^15: twice 2^30 is -2^31, and four times 0.
    const std::int16_t one = 1, zero = 0;
    QZwGaussMixServer *const codebook[] = {wordMixture(&one), wordMixture(&one), wordMixture(&one),
                                           wordMixture(&one), wordMixture(&one)};
    const std::int16_t *const observations[] = {&zero};
    const Matrix<std::int16_t> a(1, 1, 0);
    const auto cost = [&](const Matrix<std::int16_t> &b) {
        const std::int32_t id =
            QZwInitSemicontHMMServer(a.rows(), b.rows(), &zero, codebook, 1, 5, 1, QZ_HMMCost, -10);
        return QZwEvalSemicontHMMViterbi(id, observations, 1, &bestId, 0, &scale);
    };
    constexpr std::int16_t low = -32768;
    EXPECT_EQ(-308, cost({{low, 0, 0, 0, 0}}));
    EXPECT_EQ(0x1FFFFFFF, cost({{low, low, 0, 0, 0}}));
    EXPECT_EQ(0, cost({{low, low, low, low, -16384}}));
}

TEST_F(Search, ScaledScoresOfDensities) {
    const std::int16_t weight = 8192, value = 1, zero = 0;
    QZwGaussMixServer *const half[] = {wordMixture(&weight)}, *const codebook[] = {wordMixture(&value)};
    const Matrix<std::int16_t> a(1, 1, 0), b(1, 1, -8192);
    const std::int16_t pi = 1000;
    const std::int32_t continuous = QZwInitContHMMServer(a.rows(), &pi, half, 1, 1, QZ_HMMCost, -10),
                       shared = QZwInitSemicontHMMServer(a.rows(), b.rows(), &pi, codebook, 1, 1, 1,
                                                         QZ_HMMCost, -10);
    const std::int16_t *const observations[] = {&zero};
    const struct {
        std::int32_t mode, scale, score, scaleAfterwards;
    } calls[] = {{1, 3, 163, 3}, {1, -2, 5232, -2}, {0, 3, 1308, 0}, {2, 3, 1308, 0}};
    for (const auto &call : calls) {
        scale = call.scale;
        EXPECT_EQ(call.score, QZwEvalContHMMViterbi(continuous, observations, 1, &bestId, call.mode, &scale));
        EXPECT_EQ(call.scaleAfterwards, scale);
        scale = call.scale;
        EXPECT_EQ(call.score, QZwEvalSemicontHMMViterbi(shared, observations, 1, &bestId, call.mode, &scale));
        EXPECT_EQ(call.scaleAfterwards, scale);
    }
}

TEST_F(Search, MixturesReport) {
    // A negative inverse variance makes a positive exponent, which the tables do not have.
    const float one = 1.0f, zero = 0.0f, minus = -1.0f, x = 1.0f;
    const float *const means[] = {&zero}, *const inverse[] = {&minus};
    mixtures.push_back(QZsInitGaussMixServer(&one, means, nullptr, inverse, nullptr, 1, 1));
    const std::int16_t oneWord = 1, zeroWord = 0, minusWord = -1;
    const std::int16_t *const wordMeans[] = {&zeroWord}, *const wordInverse[] = {&minusWord};
    wordMixtures.push_back(
        QZwInitGaussMixServer(&oneWord, wordMeans, nullptr, wordInverse, nullptr, 1, 1, 0));
    const Report failed = {QZ_StsInternal, "LookupExponential (Macro)",
                           "Cannot lookup exponential of positive value", "..\\LIBSRC\\QZ_GAUSS", 471};
    Report failedWord = failed;
    failedWord.line = 385;
    const Matrix<float> a(1, 1, 0), b(1, 1, 1);
    const Matrix<std::int16_t> wordSteps(1, 1, 0), wordWeights(1, 1, 1);
    const std::int32_t ids[] = {
        QZsInitContHMMServer(a.rows(), &zero, mixtures.data(), 1, 1, QZ_HMMCost),
        QZsInitSemicontHMMServer(a.rows(), b.rows(), &zero, mixtures.data(), 1, 1, 1, QZ_HMMCost),
        QZwInitContHMMServer(wordSteps.rows(), &zeroWord, wordMixtures.data(), 1, 1, QZ_HMMCost, 0),
        QZwInitSemicontHMMServer(wordSteps.rows(), wordWeights.rows(), &zeroWord, wordMixtures.data(), 1, 1,
                                 1, QZ_HMMCost, 0)};
    const float *const observations[] = {&x, &x};
    const std::int16_t *const wordObservations[] = {&oneWord, &oneWord};
    using Reports = std::vector<Report>;

    EXPECT_EQ(none, QZsEvalContHMMViterbi(ids[0], observations, 2, &bestId));
    EXPECT_EQ((Reports{failed, failed}), reports.all());
    EXPECT_EQ(QZ_StsInternal, QZGetStatus());
    reports.clear();
    EXPECT_EQ(none, QZsEvalSemicontHMMViterbi(ids[1], observations, 2, &bestId));
    EXPECT_EQ((Reports{failed, failed}), reports.all());
    EXPECT_EQ(77, bestId);
    reports.clear();
    EXPECT_EQ(2 * 0x1FFFFFFF, QZwEvalContHMMViterbi(ids[2], wordObservations, 2, &bestId, 0, &scale));
    EXPECT_EQ((Reports{failedWord, failedWord}), reports.all());
    EXPECT_EQ(ids[2], bestId) << "what costs the guard value is scored";
    reports.clear();
    EXPECT_EQ(2 * 0x1FFFFFFF, QZwEvalSemicontHMMViterbi(ids[3], wordObservations, 2, &bestId, 0, &scale));
    EXPECT_EQ((Reports{failedWord, failedWord}), reports.all());
    EXPECT_EQ(QZ_StsInternal, QZGetStatus());
}

TEST_F(Search, TablesOfMixturesThatFindNoMemory) {
    const float one = 1.0f, zero = 0.0f;
    QZsGaussMixServer *const servers[] = {mixture(&one, 1)};
    const Matrix<float> a(1, 1, 0);
    const std::int32_t id = QZsInitContHMMServer(a.rows(), &zero, servers, 1, 1, QZ_HMMCost);
    const float *const observations[] = {&zero};
    {
        const FailingHeap heap(1); // behind the work buffer
        EXPECT_EQ(none, QZsEvalContHMMViterbi(id, observations, 1, &bestId));
        EXPECT_EQ(0, heap.live());
    }
    EXPECT_EQ((std::vector<Report>{{QZ_StsNoMem, "BuildExpTables",
                                    "insufficiency of memory for pointer  integralExpTable",
                                    "..\\LIBSRC\\QZ_GAUSS", 64},
                                   {QZ_StsBackTrace, "QZsEvalGaussMix", "", "..\\LIBSRC\\QZ_GAUSS", 442}}),
              reports.all());
    EXPECT_EQ(QZ_StsNoMem, QZGetStatus());
    EXPECT_EQ(77, bestId);
    reports.clear();
    EXPECT_EQ(0.0f, QZsEvalContHMMViterbi(id, observations, 1, &bestId));
    EXPECT_EQ(id, bestId);
}

/// All states of a frame come before the next frame: where the tables cannot be had at once, the second
/// mixture builds them, and both have no density in the first frame alone.
TEST_F(Search, MixturesAreEvaluatedFrameByFrame) {
    const float quarter = 0.25f, one = 1.0f, zero = 0.0f;
    QZsGaussMixServer *const servers[] = {mixture(&quarter), mixture(&one, 1), mixture(&one, 1)};
    const Matrix<float> a(3, 3, 0), step(1, 1, 0), b = {{0.4f, 0.5f, 0.25f}};
    const float pi[] = {0, 0, 0};
    const std::int32_t continuous = QZsInitContHMMServer(a.rows(), pi, servers, 3, 1, QZ_HMMCost),
                       shared =
                           QZsInitSemicontHMMServer(step.rows(), b.rows(), pi, servers, 1, 3, 1, QZ_HMMCost);
    const float *const observations[] = {&zero, &zero};
    const auto withoutTable = [&](auto evaluate, std::int32_t id) {
        reports.clear();
        mixture(&one, 1);
        const FailingHeap heap(1); // the first table, behind a buffer
        const float cost = evaluate(id, observations, 2, &bestId);
        EXPECT_EQ((std::vector<Report>{
                      {QZ_StsNoMem, "BuildExpTables", "insufficiency of memory for pointer  integralExpTable",
                       "..\\LIBSRC\\QZ_GAUSS", 64},
                      {QZ_StsBackTrace, "QZsEvalGaussMix", "", "..\\LIBSRC\\QZ_GAUSS", 442},
                      {QZ_StsBackTrace, "QZsEvalGaussMix", "", "..\\LIBSRC\\QZ_GAUSS", 442}}),
                  reports.all());
        QZsFreeGaussMixServer(mixtures.back()); // and the tables
        mixtures.pop_back();
        return cost;
    };
    const auto costOf = [](double density) { return static_cast<float>(-std::log10(density)); };
    EXPECT_EQ(costOf(0.25), withoutTable(QZsEvalContHMMViterbi, continuous));
    const double first = static_cast<double>(0.4f) * 0.25;
    EXPECT_EQ(costOf(first) + costOf(first + 0.75), withoutTable(QZsEvalSemicontHMMViterbi, shared));
}

TEST_F(Search, FailedAllocations) {
    const std::int32_t id = floats(generalSteps, symbolCosts, {1, 2}), inWords = words({{1}}, {{1}}, {1});
    {
        const FailingHeap heap(0);
        EXPECT_EQ(none, score(id, {0, 1}));
        EXPECT_EQ(77, bestId);
        scale = 3;
        EXPECT_EQ(1, heap.requests());
    }
    {
        const FailingHeap heap(0);
        EXPECT_EQ(noneOfWords, scoreWords(inWords, {0, 1}));
        EXPECT_EQ(77, bestId);
        EXPECT_EQ(3, scale);
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(Search, TheBufferServesMembersThatFit) {
    const std::int32_t cls = QZCreateHMMClass();
    const auto member = [&](std::size_t n) {
        const Matrix<float> a(n, n, 1), b(n, 1, 1.0f);
        QZAddHMMToClass(cls, floats(a, b, std::vector<float>(n, 1.0f)));
    };
    member(3);
    member(8);
    member(20);
    member(15);
    {
        const FailingHeap heap;
        EXPECT_EQ(4.0f, score(-cls, {0, 0}));
        EXPECT_EQ(4, bestId);
        std::vector<std::size_t> bytes;
        for (const auto &event : heap.events())
            if (event.kind == FailingHeap::Event::allocated) bytes.push_back(event.bytes);
        EXPECT_EQ((std::vector<std::size_t>{8 * 8 * 4, 8 * 20 * 4}), bytes);
        EXPECT_EQ(0, heap.live());
    }
    const FailingHeap heap(1);
    EXPECT_EQ(none, score(-cls, {0, 0})) << "a failure half-way leaves no cost";
    EXPECT_EQ(2, bestId) << "but what was scored before was the best";
    EXPECT_EQ(0, heap.live());
}

TEST_F(Search, FailedAllocationsOfTheCodebook) {
    const float one = 1.0f, zero = 0.0f;
    QZsGaussMixServer *const codebook[] = {mixture(&one)};
    const Matrix<float> a(1, 1, 0), b(1, 1, 0.01f);
    const std::int32_t id =
        QZsInitSemicontHMMServer(a.rows(), b.rows(), &zero, codebook, 1, 1, 1, QZ_HMMCost);
    const float *const observations[] = {&zero, &zero};
    for (int failAt = 0; failAt < 2; ++failAt) {
        const FailingHeap heap(failAt);
        bestId = 77;
        EXPECT_EQ(none, QZsEvalSemicontHMMViterbi(id, observations, 2, &bestId));
        EXPECT_EQ(77, bestId);
        EXPECT_EQ(0, heap.live());
    }
    const FailingHeap heap(2);
    EXPECT_EQ(4.0f, QZsEvalSemicontHMMViterbi(id, observations, 2, &bestId));
    EXPECT_EQ(2, heap.requests());
    EXPECT_EQ(0, heap.live());
}

TEST_F(Search, FailedAllocationsOfWords) {
    const std::int16_t one = 1, zero = 0;
    QZwGaussMixServer *const codebook[] = {wordMixture(&one), wordMixture(&one), wordMixture(&one)};
    const Matrix<std::int16_t> a(9, 9, 0), b(9, 3, 1);
    const std::vector<std::int16_t> pi(9, 0);
    const std::int32_t id =
        QZwInitSemicontHMMServer(a.rows(), b.rows(), pi.data(), codebook, 9, 3, 1, QZ_HMMCost, 0);
    const std::int16_t *const observations[] = {&zero, &zero};
    for (int failAt = 0; failAt < 2; ++failAt) {
        const FailingHeap heap(failAt);
        EXPECT_EQ(noneOfWords, QZwEvalSemicontHMMViterbi(id, observations, 2, &bestId, 1, &scale));
        EXPECT_EQ(77, bestId);
        EXPECT_EQ(3, scale);
        EXPECT_EQ(0, heap.live());
    }
    const FailingHeap heap;
    EXPECT_EQ(2 * 0x1FFFFFFF, QZwEvalSemicontHMMViterbi(id, observations, 2, &bestId, 0, &scale));
    std::vector<std::size_t> bytes;
    for (const auto &event : heap.events())
        if (event.kind == FailingHeap::Event::allocated) bytes.push_back(event.bytes);
    EXPECT_EQ((std::vector<std::size_t>{2 * 3 * 2, (8 * 9 + 4) * 4}), bytes);
    EXPECT_EQ(0, heap.live());
}

TEST_F(Search, ServersWithoutMixturesAreSkipped) {
    const float one = 1.0f, zero = 0.0f;
    const std::int16_t oneWord = 1, zeroWord = 0;
    QZsGaussMixServer *const servers[] = {mixture(&one)};
    QZwGaussMixServer *const wordServers[] = {wordMixture(&oneWord)};
    const Matrix<float> a(1, 1, 0), b(1, 1, 1);
    const Matrix<std::int16_t> wordSteps(1, 1, 0), wordWeights(1, 1, 1);
    const auto init = [&](int kind) {
        switch (kind) {
        case 0:
            return QZsInitContHMMServer(a.rows(), &zero, servers, 1, 1, QZ_HMMCost);
        case 1:
            return QZsInitSemicontHMMServer(a.rows(), b.rows(), &zero, servers, 1, 1, 1, QZ_HMMCost);
        case 2:
            return QZwInitContHMMServer(wordSteps.rows(), &zeroWord, wordServers, 1, 1, QZ_HMMCost, 0);
        default:
            return QZwInitSemicontHMMServer(wordSteps.rows(), wordWeights.rows(), &zeroWord, wordServers, 1,
                                            1, 1, QZ_HMMCost, 0);
        }
    };
    const float *const observations[] = {&zero};
    const std::int16_t *const wordObservations[] = {&zeroWord};
    const auto isScored = [&](int kind, std::int32_t model) {
        switch (kind) {
        case 0:
            return QZsEvalContHMMViterbi(model, observations, 1, &bestId) != none;
        case 1:
            return QZsEvalSemicontHMMViterbi(model, observations, 1, &bestId) != none;
        case 2:
            return QZwEvalContHMMViterbi(model, wordObservations, 1, &bestId, 0, &scale) != noneOfWords;
        default:
            return QZwEvalSemicontHMMViterbi(model, wordObservations, 1, &bestId, 0, &scale) != noneOfWords;
        }
    };
    for (int kind = 0; kind < 4; ++kind) {
        {
            // Record, transitions, outputs of semicontinuous ones, initial vector; then the mixtures.
            const FailingHeap heap(kind % 2 == 0 ? 3 : 4);
            EXPECT_EQ(-1, init(kind));
        }
        constexpr std::int32_t broken = 1;
        EXPECT_EQ(1, hmmServers.count) << "registered all the same";
        bestId = 77;
        EXPECT_FALSE(isScored(kind, broken));
        EXPECT_EQ(77, bestId);
        const std::int32_t cls = QZCreateHMMClass(), whole = init(kind);
        EXPECT_EQ(1, QZAddHMMToClass(cls, broken));
        EXPECT_EQ(1, QZAddHMMToClass(cls, whole));
        EXPECT_TRUE(isScored(kind, -cls));
        EXPECT_EQ(whole, bestId);
        QZHMMFreeAll();
    }
}

TEST_F(Search, ServersWithoutTablesAreSkipped) {
    std::int32_t broken;
    {
        const FailingHeap heap(2);
        broken = floats(generalSteps, symbolCosts, {1, 2});
    }
    EXPECT_EQ(1, broken);
    EXPECT_EQ(none, score(broken, {0, 1}));
    EXPECT_EQ(77, bestId);
    const Matrix<float> no(0, 0), pi(1, 1, 0);
    EXPECT_EQ(none, score(QZsInitHMMServer(no.rows(), no.rows(), pi[0].data(), 0, 1, 0), {0}));
    EXPECT_EQ(77, bestId);
}

} // namespace
} // namespace qzk::test
