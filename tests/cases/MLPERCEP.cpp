// Small networks with known activations, odd arguments, and every report.
#include "qzk.h"
#include "support/bits.hpp"
#include "support/extended_precision.hpp"
#include "support/failing_heap.hpp"
#include "support/guarded.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace qzk::test {
namespace {

using Reports = std::vector<Report>;
using Sizes = std::vector<int32_t>;

constexpr const char *file = "..\\LIBSRC\\MLPERCEP";
constexpr float infinity = std::numeric_limits<float>::infinity();

std::vector<float> evaluate(const std::vector<float> &input, const Sizes &sizes,
                            const std::vector<float> &weights) {
    std::vector<float> output(static_cast<std::size_t>(sizes.empty() ? 1 : sizes.back()), -7.0f);
    QZsMLPerceptron(static_cast<int32_t>(input.size()), input.data(), static_cast<int32_t>(sizes.size()),
                    sizes.data(), weights.data(), output.data());
    return output;
}

/// Activation of one unit with one input.
float logistic(float sum) { return evaluate({sum}, {1}, {1})[0]; }

TEST(Perceptron, ZeroWeightsGiveOneHalf) {
    EXPECT_EQ(std::vector<float>(3, 0.5f), evaluate({1, -2}, {2, 3}, std::vector<float>(10, 0.0f)));
}

TEST(Perceptron, OfOneUnit) {
    EXPECT_EQ((std::vector<float>{0x1.764d5p-1f}), evaluate({1, 2}, {1}, {0.5f, 0.25f}));
    EXPECT_EQ(0x1.e84152p-4f, logistic(-2));
    EXPECT_EQ(0x1.1fd59ap-1f, logistic(0.25f));
    EXPECT_EQ(0.5f, logistic(-0.0f));
}

TEST(Perceptron, SaturatesWithoutReports) {
    const RecordedReports reports;
    EXPECT_EQ(0x1.fffffep-1f, logistic(16.5f));
    EXPECT_EQ(1.0f, logistic(17.5f));
    EXPECT_EQ(1.0f, logistic(1e38f));
    EXPECT_EQ(1.0f, logistic(infinity));
    EXPECT_EQ(0x1.bp-145f, logistic(-100));
    EXPECT_EQ(0x1p-149f, logistic(-103));
    EXPECT_EQ(0.0f, logistic(-104));
    EXPECT_EQ(0.0f, logistic(-1e38f));
    EXPECT_EQ(0.0f, logistic(-infinity));
    EXPECT_EQ(Reports{}, reports.all());
}

TEST(Perceptron, NotANumberPassesThrough) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> output = evaluate({1, infinity}, {3}, {1, 0, nan, 1, 1, -1});
    EXPECT_TRUE(std::isnan(output[0])) << "infinity times 0";
    EXPECT_TRUE(std::isnan(output[1]));
    EXPECT_EQ(0.0f, output[2]);
}

TEST(Perceptron, TakesWeightsLayerByLayerAndUnitByUnit) {
    // Units of the first layer: sums 1 and -2. The second layer's: their difference.
    EXPECT_EQ((std::vector<float>{0x1.4bf65ep-1f, 0.5f}),
              evaluate({1, 2}, {2, 2}, {1, 0, 0, -1, 1, -1, 0, 0}));
}

TEST(Perceptron, SumsInOrderAndInExtendedPrecision) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    // 2^60 + 1 is exact in 64 bits and not in 53; 2^64 + 1 is in neither.
    EXPECT_EQ(0x1.764d5p-1f, evaluate({0x1p60f, 1, -0x1p60f}, {1}, {1, 1, 1})[0]);
    EXPECT_EQ(0.5f, evaluate({0x1p64f, 1, -0x1p64f}, {1}, {1, 1, 1})[0]);
    EXPECT_EQ(0x1.764d5p-1f, evaluate({0x1p64f, -0x1p64f, 1}, {1}, {1, 1, 1})[0]);
}

TEST(Perceptron, OutputOfSeveralLayersMayReplaceTheInput) {
    float values[] = {1, 2};
    const int32_t sizes[] = {2, 2};
    const float weights[] = {1, 0, 0, -1, 1, -1, 0, 0};
    QZsMLPerceptron(2, values, 2, sizes, weights, values);
    EXPECT_EQ(0x1.4bf65ep-1f, values[0]);
    EXPECT_EQ(0.5f, values[1]);
}

TEST(Perceptron, OperandsMayHaveAnyAddress) {
    const float values[] = {1, 2}, weights[] = {1, 0, 0, -1, 1, -1, 0, 0};
    const int32_t sizes[] = {2, 2};
    Guarded<float> input(2, 1), w(8, 3), output(2, 2);
    Guarded<int32_t> layers(2, 1);
    input.assign({values, values + 2});
    w.assign({weights, weights + 8});
    layers.assign({sizes, sizes + 2});
    QZsMLPerceptron(2, input.data(), 2, layers.data(), w.data(), output.data());
    EXPECT_EQ((std::vector<float>{0x1.4bf65ep-1f, 0.5f}), output.values());
    EXPECT_TRUE(output.intact());
}

TEST(Perceptron, WritesNothingWithoutLayers) {
    const float input = 1, weight = 1;
    const int32_t size = 1;
    float output = -7;
    int16_t wordOutput = -7;
    int32_t scale = 5;
    FailingHeap heap;
    for (const int32_t nLayers : {0, -1, INT32_MIN}) {
        QZsMLPerceptron(1, &input, nLayers, &size, &weight, &output);
        QZwMLPerceptron(1, 0, &wordOutput, nLayers, &size, 0, &wordOutput, &wordOutput, QZ_ScaleWrap, &scale);
    }
    EXPECT_EQ(-7.0f, output);
    EXPECT_EQ(-7, wordOutput);
    EXPECT_EQ(5, scale);
    EXPECT_EQ(0, heap.requests());
}

TEST(Perceptron, EmptyLayers) {
    EXPECT_EQ(std::vector<float>(2, 0.5f), evaluate({}, {2}, {}));
    EXPECT_EQ(std::vector<float>(2, 0.5f), evaluate({1}, {0, 2}, {}));
    const float input = 1;
    const int32_t negative[] = {-3, 1};
    float output = -7;
    QZsMLPerceptron(INT32_MIN, &input, 2, negative, &input, &output);
    EXPECT_EQ(0.5f, output);
}

struct WordNetwork {
    std::vector<int16_t> output;
    int32_t scale;
};

/// Inputs 1.5 and -0.5, weights in quarters.
WordNetwork evaluateWords(const Sizes &sizes, const std::vector<int16_t> &weights, int32_t mode,
                          int32_t scale) {
    const int16_t input[] = {3, -1};
    WordNetwork result = {std::vector<int16_t>(static_cast<std::size_t>(sizes.back()), -7), scale};
    QZwMLPerceptron(2, -1, input, static_cast<int32_t>(sizes.size()), sizes.data(), -2, weights.data(),
                    result.output.data(), mode, &result.scale);
    return result;
}

TEST(WordPerceptron, OfOneUnit) {
    const WordNetwork fixed = evaluateWords({1}, {2, 4}, QZ_ScaleFixed, -15); // sum 0.25
    EXPECT_EQ((std::vector<int16_t>{18421}), fixed.output);
    EXPECT_EQ(-15, fixed.scale);
}

TEST(WordPerceptron, OfTwoLayers) {
    EXPECT_EQ((std::vector<int16_t>{12980}), evaluateWords({1, 1}, {2, 4, -3}, QZ_ScaleFixed, -15).output);
    EXPECT_EQ((std::vector<int16_t>{16384, 16384}),
              evaluateWords({3, 2}, std::vector<int16_t>(12, 0), QZ_ScaleFixed, -15).output);
}

TEST(WordPerceptron, OutputMayReplaceInputAndWeights) {
    int16_t values[] = {3, -1, 2, 4, 0, 0, 0, 0}; // two inputs, then the weights of three units
    const int32_t size = 3;
    int32_t scale = -15;
    QZwMLPerceptron(2, -1, values, 1, &size, -2, values + 2, values, QZ_ScaleFixed, &scale);
    EXPECT_EQ(18421, values[0]);
    EXPECT_EQ(16384, values[1]);
    EXPECT_EQ(16384, values[2]);
}

TEST(WordPerceptron, OperandsMayHaveAnyAddress) {
    Guarded<int16_t> input(2, 1), weights(3, 3), output(1, 1);
    Guarded<int32_t> sizes(2, 2);
    input.assign({3, -1});
    weights.assign({2, 4, -3});
    sizes.assign({1, 1});
    int32_t scale = -15;
    QZwMLPerceptron(2, -1, input.data(), 2, sizes.data(), -2, weights.data(), output.data(), QZ_ScaleFixed,
                    &scale);
    EXPECT_EQ((std::vector<int16_t>{12980}), output.values());
    EXPECT_TRUE(output.intact());
}

TEST(WordPerceptron, FindsTheOutputScale) {
    const WordNetwork automatic = evaluateWords({1, 1}, {2, 4, -3}, QZ_ScaleAuto, 3);
    EXPECT_EQ((std::vector<int16_t>{25960}), automatic.output);
    EXPECT_EQ(-16, automatic.scale);
    const WordNetwork wrapped = evaluateWords({1}, {2, 4}, QZ_ScaleWrap, 3);
    EXPECT_EQ((std::vector<int16_t>{0}), wrapped.output);
    EXPECT_EQ(0, wrapped.scale);
    const WordNetwork saturated = evaluateWords({1}, {32767, -32768}, QZ_ScaleSaturate, 3);
    EXPECT_EQ((std::vector<int16_t>{1}), saturated.output);
    EXPECT_EQ(0, saturated.scale);
}

TEST(WordPerceptron, LargestScales) {
    const int16_t input = 1, weight = 1;
    const int32_t size = 1;
    for (const int32_t scale : {64, 2000, INT32_MAX, -64, -2000, INT32_MIN}) {
        int16_t output = -7;
        int32_t outputScale = -14;
        QZwMLPerceptron(1, scale, &input, 1, &size, scale, &weight, &output, QZ_ScaleFixed, &outputScale);
        EXPECT_EQ(scale > 0 ? 16384 : 8192, output);
    }
}

TEST(WordPerceptron, PassesOnWhatTheConversionReports) {
    const RecordedReports reports;
    const WordNetwork network = evaluateWords({1}, {2, 4}, 7, 3);
    ASSERT_EQ(1u, reports.all().size());
    EXPECT_EQ("QZdwbConvertDown", reports.all()[0].function);
    EXPECT_EQ((std::vector<int16_t>{-7}), network.output);
}

TEST(Perceptron, ReportsEveryFailedLayerAndReleasesTheOthers) {
    const Sizes sizes = {2, 2, 1};
    for (int failAt = 0; failAt < 2; ++failAt) {
        const RecordedReports reports;
        const FailingHeap heap(failAt);
        EXPECT_EQ((std::vector<float>{-7}), evaluate({1}, sizes, std::vector<float>(8, 0.0f)));
        EXPECT_EQ((Reports{{QZ_StsNoMem, "QZwMLPerceptron",
                            "insufficiency of memory for pointer  outputBlockPtr", file, 251}}),
                  reports.all());
        EXPECT_EQ(0, heap.live());
    }
    const FailingHeap heap;
    EXPECT_EQ((std::vector<float>{0.5f}), evaluate({1}, sizes, std::vector<float>(8, 0.0f)));
    EXPECT_EQ(2, heap.requests()) << "the last layer goes to the client";
    EXPECT_EQ(0, heap.live());
}

TEST(WordPerceptron, ReportsEveryFailedBufferAndReleasesTheOthers) {
    for (int failAt = 0; failAt < 3; ++failAt) {
        const RecordedReports reports;
        const FailingHeap heap(failAt);
        const WordNetwork network = evaluateWords({2, 1}, std::vector<int16_t>(6, 0), QZ_ScaleWrap, 9);
        EXPECT_EQ((std::vector<int16_t>{-7}), network.output);
        EXPECT_EQ(9, network.scale);
        const char *const message = failAt == 0 ? "insufficiency of memory for pointer  inputPtr"
                                                : "insufficiency of memory for pointer  outputPtr";
        EXPECT_EQ((Reports{{QZ_StsNoMem, "QZwMLPerceptron", message, file, failAt == 0 ? 159 : 167}}),
                  reports.all());
        EXPECT_EQ(0, heap.live());
    }
    const FailingHeap heap;
    evaluateWords({2, 1}, std::vector<int16_t>(6, 0), QZ_ScaleWrap, 9);
    EXPECT_EQ(3, heap.requests());
    EXPECT_EQ(0, heap.live());
}

} // namespace
} // namespace qzk::test
