// Random networks at every level against the definition written out with another library's exponential.
#include "qzk.h"
#include "reference/perceptron.hpp"
#include "support/bits.hpp"
#include "support/extended_precision.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

// The linker sends the library's calls here (--wrap).
extern "C" long double __wrap__ZN3qzk11exponentialEe(long double x);
extern "C" long double __real__ZN3qzk11exponentialEe(long double x);
namespace {
int extendedExponentials;
}
long double __wrap__ZN3qzk11exponentialEe(long double x) {
    ++extendedExponentials;
    return __real__ZN3qzk11exponentialEe(x);
}

namespace qzk::test {
namespace {

class PerceptronLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, PerceptronLevels, testing::ValuesIn(availableLevels()), levelTestName);

std::vector<int32_t> randomSizes(Random &random) {
    std::vector<int32_t> sizes(1 + random.index(3));
    for (int32_t &size : sizes)
        size = static_cast<int32_t>(random.index(70));
    return sizes;
}

std::size_t weightsOf(std::size_t nInputs, const std::vector<int32_t> &sizes) {
    std::size_t count = 0;
    for (const int32_t size : sizes) {
        count += nInputs * static_cast<std::size_t>(size);
        nInputs = static_cast<std::size_t>(size);
    }
    return count;
}

void compareFloats(const std::vector<float> &input, const std::vector<int32_t> &sizes,
                   const std::vector<float> &weights) {
    SCOPED_TRACE(testing::Message() << input.size() << " inputs, layers " << testing::PrintToString(sizes)
                                    << ", seed " << seed());
    Guarded<float> x(input.size(), 1), w(weights.size(), 2),
        output(static_cast<std::size_t>(sizes.back()), 3);
    x.assign(input);
    w.assign(weights);
    QZsMLPerceptron(static_cast<int32_t>(input.size()), x.data(), static_cast<int32_t>(sizes.size()),
                    sizes.data(), w.data(), output.data());
    EXPECT_TRUE(sameBits(reference::perceptron(input, sizes, weights), output.values()));
    EXPECT_TRUE(output.intact());
}

TEST_P(PerceptronLevels, EveryNumberOfInputsAndUnits) {
    Random random;
    for (std::size_t n = 0; n <= 130; ++n) {
        const std::vector<int32_t> sizes = {static_cast<int32_t>(random.index(90))};
        compareFloats(random.reals<float>(n, -3, 3), sizes, random.reals<float>(weightsOf(n, sizes)));
        const std::vector<int32_t> units = {static_cast<int32_t>(n)};
        compareFloats(random.reals<float>(5, -3, 3), units, random.reals<float>(5 * n));
    }
    compareFloats(random.reals<float>(3000), {5}, random.reals<float>(15000));
}

TEST_P(PerceptronLevels, Networks) {
    Random random;
    for (int round = 0; round < 40; ++round) {
        const auto sizes = randomSizes(random);
        const std::size_t n = random.index(50);
        compareFloats(random.reals<float>(n, -10, 10), sizes,
                      random.reals<float>(weightsOf(n, sizes), -5, 5));
    }
}

TEST_P(PerceptronLevels, SpecialValues) {
    Random random;
    for (int round = 0; round < 60; ++round) {
        const auto sizes = randomSizes(random);
        const std::size_t n = random.index(20);
        const bool specials = round % 2 == 0;
        compareFloats(random.anyReals<float>(n, specials), sizes,
                      random.anyReals<float>(weightsOf(n, sizes), specials));
    }
}

// Sums of every size whose logistic function still differs between neighbouring floats.
TEST_P(PerceptronLevels, WholeRangeOfSums) {
    Random random;
    for (const double range : {1e-7, 1.0, 30.0, 120.0, 1000.0}) {
        const std::vector<int32_t> sizes = {4000};
        compareFloats({1.0f}, sizes, random.reals<float>(4000, -range, range));
    }
}

// Chains of additions in doubles that each lose nearly half a unit of the same sign, in as many lanes as the
// level has: about as much as can be lost. The definition loses less.
TEST_P(PerceptronLevels, SumsThatLoseAsMuchAsTheyCan) {
    const std::size_t lanes = GetParam() == simd::Level::avx512 ? 8 : GetParam() == simd::Level::avx2 ? 4 : 2;
    std::vector<float> input(lanes + 160, 0x1.fcp-34f);
    for (std::size_t lane = 0; lane < lanes; ++lane)
        input[lane] = lane % 2 == 0 ? 0x1.00001p20f : -0x1.00001p20f;
    input.push_back(-16);
    Random random;
    constexpr std::size_t nUnits = 2000;
    std::vector<float> weights(input.size() * nUnits, 1.0f);
    for (std::size_t unit = 1; unit <= nUnits; ++unit)
        weights[unit * input.size() - 1] = static_cast<float>(random.real(0.5, 1));
    compareFloats(input, {nUnits}, weights);
}

// In doubles, the sum is -111 and saturates; it is -103.5.
TEST_P(PerceptronLevels, SumsThatSaturateOnlyInDoubles) {
    std::vector<float> input(17);
    input[0] = 0x1p56f;
    input[1] = -111;
    input[8] = 7.5f;
    input[16] = -0x1p56f;
    compareFloats(input, {3}, std::vector<float>(51, 1.0f));
}

// The magnitudes of several units' weights are collected together. A not-a-number of one unit, be it quiet or
// signalling, must not hide that another unit's terms cancel.
TEST_P(PerceptronLevels, NotANumberHidesNoCancellation) {
    constexpr std::size_t n = 24, nUnits = 40;
    constexpr float quiet = std::numeric_limits<float>::quiet_NaN(),
                    signalling = std::numeric_limits<float>::signaling_NaN();
    for (const float nan : {quiet, signalling})
        for (std::size_t distance = 1; distance <= 32; distance *= 2) {
            std::vector<float> weights(n * nUnits, 0x1p-10f);
            for (std::size_t unit = 0; unit < nUnits; ++unit) {
                float *const w = weights.data() + unit * n;
                if (unit % (2 * distance) < distance) {
                    w[0] = 0x1p55f;
                    w[8] = 1;
                    w[16] = -0x1p55f;
                } else {
                    w[0] = nan;
                }
            }
            compareFloats(std::vector<float>(n, 1.0f), {nUnits}, weights);
        }
}

// The bound takes in each input, and each of the units summed together.
TEST_P(PerceptronLevels, CancellationAnywhereIsFound) {
    constexpr std::size_t n = 75, nUnits = 40;
    for (std::size_t place = 0; place + 16 < n; ++place) {
        std::vector<float> input(n);
        input[place] = 0x1p55f;
        input[place + 8] = 1;
        input[place + 16] = -0x1p55f;
        std::vector<float> weights(n * nUnits, 0x1p-60f);
        for (std::size_t i = 0; i < n; ++i)
            weights[place % nUnits * n + i] = 1;
        compareFloats(input, {nUnits}, weights);
    }
}

// Close to 0 the function is 1/2 + s/4: these sums lie by middles between two floats.
TEST_P(PerceptronLevels, MiddlesBetweenFloatsAreLeftToTheDefinition) {
    std::vector<float> weights;
    for (int odd = 1; odd < 32; odd += 2)
        weights.insert(weights.end(),
                       {static_cast<float>(odd) * 0x1p-23f, static_cast<float>(odd) * -0x1p-24f});
    extendedExponentials = 0;
    compareFloats({1.0f}, {static_cast<int32_t>(weights.size())}, weights);
    EXPECT_EQ(static_cast<int>(weights.size()), extendedExponentials);
}

TEST_P(PerceptronLevels, RandomSumsAreHardlyEverLeftToTheDefinition) {
    constexpr int units = 20000;
    Random random;
    extendedExponentials = 0;
    for (int round = 0; round < 20; ++round)
        compareFloats(random.reals<float>(64), {units / 20}, random.reals<float>(64 * units / 20));
    if (GetParam() == simd::Level::plain)
        EXPECT_EQ(units, extendedExponentials);
    else
        EXPECT_LE(extendedExponentials, 10) << "about 2 in a million are expected";
}

#if defined(__x86_64__) || defined(__i386__)

// Sums by middles, and a sum that needs 64 bits, so that the definition runs at every level.
TEST_P(PerceptronLevels, PrecisionThatTheProcessHasChosenDoesNotMatter) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    const float input[] = {0x1p60f, 1, -0x1p60f}, weights[] = {1, 1, 1, 0, 0x1p-23f, 0, 0, 0x1.8p-22f, 0};
    const double wordInput = 1;
    const int16_t wordWeights[] = {700, -1, 0, -600, 32767, -32768, -700, 1};
    const auto evaluate = [&] {
        const int32_t size = 3;
        std::vector<float> floats(3);
        QZsMLPerceptron(3, input, 1, &size, weights, floats.data());
        std::vector<double> values(8);
        simd::kernels().perceptron.layerOfWords(&wordInput, 1, wordWeights, 1.0, 8, values.data());
        values.insert(values.end(), floats.begin(), floats.end());
        return values;
    };
    const auto values = evaluate();
    underControlWords(evaluate, [&](int control, int after, const std::vector<double> &again) {
        EXPECT_EQ(control, after);
        EXPECT_TRUE(sameBits(values, again)) << std::hex << control;
    });
}

#endif

TEST_P(PerceptronLevels, LayersOfWords) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    for (std::size_t n = 0; n <= 70; ++n) {
        const std::size_t nUnits = random.index(70);
        SCOPED_TRACE(testing::Message() << n << " inputs, " << nUnits << " units, seed " << seed());
        const auto input = n % 3 == 0 ? random.anyReals<double>(n) : random.reals<double>(n, -2, 2);
        const auto weights = random.elements<int16_t>(n * nUnits);
        Guarded<int16_t> w(weights.size(), 1);
        w.assign(weights);
        Guarded<double> output(nUnits);
        simd::kernels().perceptron.layerOfWords(input.data(), n, w.data(), 0x1p-12, nUnits, output.data());
        const std::vector<int32_t> sizes = {static_cast<int32_t>(nUnits)};
        EXPECT_TRUE(sameBits(reference::perceptron(input, sizes, weights, 0x1p-12), output.values()));
        EXPECT_TRUE(output.intact());
    }
}

// Activations of any sums. Those at the edges between two exponents are the hardest.
TEST_P(PerceptronLevels, ActivationsOfWordsOverTheWholeRange) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    constexpr double ln2 = 0x1.62e42fefa39efp-1;
    const int16_t weight = 1;
    const std::vector<int32_t> sizes = {1};
    const auto check = [&](double sum) {
        double output = -7;
        simd::kernels().perceptron.layerOfWords(&sum, 1, &weight, 1.0, 1, &output);
        ASSERT_EQ(reference::perceptron({sum}, sizes, {weight}, 1.0)[0], output)
            << sum << ", seed " << seed();
    };
    // By middles between two doubles, nearer than 2^-61 of the activation.
    for (const double sum : {-0x1.738a33ed87a6dp+4, -0x1.1afa4470a951p+9, -0x1.1f4f54bb28161p+8,
                             -0x1.d27d40c7f7c4ap+7, -0x1.488e435b5ad67p+6, -0x1.357d83ca487f1p+8})
        check(sum);
    for (int round = 0; round < 40000; ++round) {
        double sum = 0.0;
        switch (round % 4) {
        case 0: // the edges of reduction
            sum = (static_cast<double>(random.integer(-1010, 200)) + 0.5) * ln2;
            sum *= 1.0 + 0x1p-30 * static_cast<double>(random.integer(-1000, 1000));
            break;
        case 1:
            sum = random.reals<double>(1, -800, 50)[0];
            break;
        case 2:
            sum = random.reals<double>(1, -40, 40)[0];
            break;
        default:
            sum = std::ldexp(random.reals<double>(1, -1, 1)[0], -static_cast<int>(random.index(60)));
            break;
        }
        check(sum);
    }
}

TEST_P(PerceptronLevels, ActivationsOfWordsAreSeldomLeftToTheDefinition) {
    if (GetParam() < simd::Level::avx2) GTEST_SKIP() << "has no other way";
    Random random;
    constexpr std::size_t nUnits = 20000;
    const auto weights = random.elements<int16_t>(nUnits);
    const double input = 1.0;
    std::vector<double> output(nUnits);
    extendedExponentials = 0;
    simd::kernels().perceptron.layerOfWords(&input, 1, weights.data(), 0x1p-10, nUnits, output.data());
    EXPECT_LE(extendedExponentials, 600) << "about one in a hundred expected";
}

TEST_P(PerceptronLevels, WordNetworks) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    for (int round = 0; round < 40; ++round) {
        const auto sizes = randomSizes(random);
        const std::size_t n = random.index(50);
        const auto input = random.elements<int16_t>(n),
                   weights = random.elements<int16_t>(weightsOf(n, sizes));
        const auto inputScale = static_cast<int32_t>(random.integer(-16, -10));
        const auto weightScale = static_cast<int32_t>(random.integer(-16, -10));
        const auto mode = static_cast<int32_t>(random.index(4));
        SCOPED_TRACE(testing::Message() << n << " inputs, layers " << testing::PrintToString(sizes)
                                        << ", mode " << mode << ", seed " << seed());

        std::vector<double> values;
        for (const int16_t x : input)
            values.push_back(std::ldexp(x, inputScale));
        values = reference::perceptron(values, sizes, weights, std::ldexp(1.0, weightScale));
        std::vector<int16_t> expected(values.size());
        int32_t expectedScale = -15, scale = -15;
        QZdwbConvertDown(values.data(), expected.data(), sizes.back(), mode, &expectedScale);

        Guarded<int16_t> output(expected.size(), 1);
        QZwMLPerceptron(static_cast<int32_t>(n), inputScale, input.data(), static_cast<int32_t>(sizes.size()),
                        sizes.data(), weightScale, weights.data(), output.data(), mode, &scale);
        EXPECT_EQ(expected, output.values());
        EXPECT_EQ(expectedScale, scale);
        EXPECT_TRUE(output.intact());
    }
}

// 2 * 2^1023 times 0 is a not-a-number whose sign is set, and each layer changes the sign, which saturation
// tells.
TEST_P(PerceptronLevels, NotANumbersSaturateByASignThatEachLayerChanges) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    constexpr std::size_t n = 17;
    const std::vector<int16_t> input(n, 2), weights(3 * n * n);
    for (const std::size_t layers : {1u, 2u, 3u}) {
        const std::vector<int32_t> sizes(layers, int32_t{n});
        std::vector<int16_t> output(n);
        int32_t scale = 0;
        QZwMLPerceptron(int32_t{n}, 1023, input.data(), static_cast<int32_t>(layers), sizes.data(), -12,
                        weights.data(), output.data(), QZ_ScaleSaturate, &scale);
        EXPECT_EQ(std::vector<int16_t>(n, layers % 2 != 0 ? 32767 : -32768), output) << layers;
    }
}

} // namespace
} // namespace qzk::test
