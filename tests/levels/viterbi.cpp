// The recurrences and output costs of every level against the definition, bit for bit.
#include "reference/viterbi.hpp"
#include "common/hmm_layout.hpp"
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/hmm.hpp"
#include "support/levels.hpp"
#include "support/mixtures.hpp"
#include "support/random.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

// The linker sends the calls that evaluate a mixture as it is defined here.
extern "C" {
bool __real__ZN3qzk16evaluateMixturesEPKPK17QZsGaussMixServeriPKfiPd(const QZsGaussMixServer *const *servers,
                                                                     std::int32_t count, const float *x,
                                                                     std::int32_t dim, double *values);
bool __wrap__ZN3qzk16evaluateMixturesEPKPK17QZsGaussMixServeriPKfiPd(const QZsGaussMixServer *const *servers,
                                                                     std::int32_t count, const float *x,
                                                                     std::int32_t dim, double *values);
bool __real__ZN3qzk16evaluateMixturesEPKPK17QZwGaussMixServeriPKsiPd(const QZwGaussMixServer *const *servers,
                                                                     std::int32_t count,
                                                                     const std::int16_t *x, std::int32_t dim,
                                                                     double *values);
bool __wrap__ZN3qzk16evaluateMixturesEPKPK17QZwGaussMixServeriPKsiPd(const QZwGaussMixServer *const *servers,
                                                                     std::int32_t count,
                                                                     const std::int16_t *x, std::int32_t dim,
                                                                     double *values);
}

namespace qzk::test {
namespace {

int definitionsOfMixtures = 0;

} // namespace
} // namespace qzk::test

bool __wrap__ZN3qzk16evaluateMixturesEPKPK17QZsGaussMixServeriPKfiPd(const QZsGaussMixServer *const *servers,
                                                                     std::int32_t count, const float *x,
                                                                     std::int32_t dim, double *values) {
    qzk::test::definitionsOfMixtures += count;
    return __real__ZN3qzk16evaluateMixturesEPKPK17QZsGaussMixServeriPKfiPd(servers, count, x, dim, values);
}

bool __wrap__ZN3qzk16evaluateMixturesEPKPK17QZwGaussMixServeriPKsiPd(const QZwGaussMixServer *const *servers,
                                                                     std::int32_t count,
                                                                     const std::int16_t *x, std::int32_t dim,
                                                                     double *values) {
    qzk::test::definitionsOfMixtures += count;
    return __real__ZN3qzk16evaluateMixturesEPKPK17QZwGaussMixServeriPKsiPd(servers, count, x, dim, values);
}

namespace qzk::test {
namespace {

class ViterbiLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, ViterbiLevels, testing::ValuesIn(availableLevels()), levelTestName);

const simd::ViterbiKernelsOf<float> &kernelsFor(const simd::ViterbiKernels &kernels, float) {
    return kernels.ofFloats;
}
const simd::ViterbiKernelsOf<std::int32_t> &kernelsFor(const simd::ViterbiKernels &kernels, std::int16_t) {
    return kernels.ofWords;
}

/// A packed model, rows of outputs and path costs to start from.
template <class Element>
struct Problem {
    using Cost = CostOf<Element>;

    std::int32_t topology;
    std::size_t n, stride, rows;
    std::vector<std::uint8_t> block;
    std::vector<std::vector<Cost>> outputs; // each with room for whole vectors
    std::vector<Cost> start;
    std::vector<std::int32_t> symbols;

    template <class Steps, class Outputs, class Starts>
    Problem(Random &random, std::int32_t wanted, std::size_t states, std::size_t frames, Steps step,
            Outputs output, Starts costs)
        : n(states), stride(simd::viterbiStride(states)), rows(3) {
        Matrix<Element> a(n, n, HMMLetter<Element>::impossibleCost);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = wanted == 0 ? 0 : i; j < n && (wanted != QZ_HMMBakis || j <= i + 2); ++j)
                a[i][j] = step();
        const auto size = static_cast<std::int64_t>(n);
        // A model that is more special than wanted may be treated as the wanted one.
        topology = wanted == QZ_HMMBakis && n < 3 ? QZ_HMMLeftRight : wanted;
        block.resize(transitionBlockBytes<Element>(topology, size));
        packTransitions<Element>(block.data(), a.rows(), size, topology, QZ_HMMCost);
        packLanes<Element>(transitionLanes<Element>(block.data(), topology, size), a.rows(), size, topology);
        for (std::size_t k = 0; k < rows; ++k) {
            outputs.emplace_back(stride);
            for (Cost &value : outputs.back())
                value = output();
        }
        for (std::size_t j = 0; j < n; ++j)
            start.push_back(costs());
        for (std::size_t t = 0; t < frames; ++t)
            symbols.push_back(static_cast<std::int32_t>(random.index(rows)));
    }

    std::vector<Cost> run(simd::Level level) {
        const simd::ViterbiModel<Cost> model = {
            topology == QZ_HMMBakis       ? simd::ViterbiTopology::bakis
            : topology == QZ_HMMLeftRight ? simd::ViterbiTopology::leftRight
                                          : simd::ViterbiTopology::general,
            n, packedData<const Cost>(block.data(), HMMElement<Element>::flavor),
            transitionLanes<Element>(block.data(), topology, static_cast<std::int64_t>(n))};
        Guarded<Cost> first(stride), second(stride);
        first.assign(std::vector<Cost>(stride));
        second.assign(std::vector<Cost>(stride));
        std::copy(start.begin(), start.end(), first.data());
        simd::ViterbiPaths<Cost> paths = {first.data(), second.data()};
        std::vector<const Cost *> pointers;
        for (const auto &row : outputs)
            pointers.push_back(row.data());
        kernelsFor(simd::kernelsOf(level).viterbi, Element())
            .advance(model, paths, pointers.data(), symbols.data(), symbols.size());
        EXPECT_TRUE(first.intact() && second.intact());
        EXPECT_TRUE(paths.now == first.data() || paths.now == second.data());
        return {paths.now, paths.now + n};
    }

    void compare() { EXPECT_TRUE(sameBits(run(simd::Level::plain), run(simd::currentLevel()))); }
};

template <class Element, class Steps, class Outputs, class Starts>
void compareAll(Random &random, Steps step, Outputs output, Starts start) {
    for (std::size_t n = 1; n <= 130; n += n < 70 ? 1 : 6) {
        for (const std::int32_t topology : {0, QZ_HMMLeftRight, QZ_HMMBakis}) {
            const std::size_t frames = n % 3 == 0 ? 1 : random.index(6);
            SCOPED_TRACE(testing::Message()
                         << "states " << n << ", topology " << topology << ", seed " << seed());
            Problem<Element>(random, topology, n, frames, step, output, start).compare();
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST_P(ViterbiLevels, FloatCosts) {
    Random random;
    const auto any = [&] { return static_cast<float>(random.real(0, 1000)); };
    compareAll<float>(random, any, any, any);
    const auto ties = [&] { return static_cast<float>(random.index(3)); };
    compareAll<float>(random, ties, ties, ties);
}

/// All magnitudes, infinity and zeros of both signs. Negative numbers are in their own definite order; two
/// not-a-numbers in one sum would leave the bits open.
TEST_P(ViterbiLevels, SpecialFloats) {
    Random random;
    const auto values = random.anyReals<float>(1000);
    const auto special = [&] {
        const float value = values[random.index(values.size())];
        return value != value ? 0x1p127f : value;
    };
    const auto positive = [&] { return std::fabs(special()); };
    compareAll<float>(random, positive, positive, positive);
    const auto finite = [&] {
        const float value = special();
        return std::isinf(value) ? -0x1p100f : value;
    };
    const auto small = [&] { return std::fmod(finite(), 0x1p20f); };
    compareAll<float>(random, small, small, small);
    const auto zeros = [&] { return random.index(2) == 0 ? 0.0f : -0.0f; };
    compareAll<float>(random, zeros, zeros, zeros);
}

TEST_P(ViterbiLevels, Words) {
    Random random;
    const auto word = [&] { return random.element<std::int16_t>(); };
    const auto wide = [&] { return std::int32_t{random.element<std::int16_t>()}; };
    compareAll<std::int16_t>(random, word, wide, wide);
    const auto tie = [&] { return static_cast<std::int16_t>(random.index(3)); };
    compareAll<std::int16_t>(random, tie, tie, tie);
}

TEST_P(ViterbiLevels, WordsAtTheEndsOfTheRange) {
    Random random;
    const auto word = [&] { return random.element<std::int16_t>(); };
    const auto any = [&] { return random.element<std::int32_t>(); };
    compareAll<std::int16_t>(random, word, any, any);
    // Around the bounds from which on a step may leave the range.
    const auto near = [&] {
        constexpr std::int32_t bounds[] = {INT32_MAX - 32767, INT32_MIN + 32768, INT32_MAX - 1, INT32_MIN + 1,
                                           0};
        return bounds[random.index(5)] + static_cast<std::int32_t>(random.integer(-1, 1));
    };
    const auto end = [&] { return random.index(2) == 0 ? std::int16_t{32767} : std::int16_t{-32768}; };
    const auto small = [&] { return static_cast<std::int32_t>(random.integer(-2, 2)); };
    compareAll<std::int16_t>(random, end, small, near);
    compareAll<std::int16_t>(random, word, any, small);
    const auto atHalf = [&] { return (random.index(2) == 0 ? 1 << 29 : -(1 << 29)) + small(); };
    compareAll<std::int16_t>(random, end, atHalf, small);
    const auto atQuarter = [&] { return (random.index(2) == 0 ? 1 << 30 : -(1 << 30)) + small(); };
    compareAll<std::int16_t>(random, end, atQuarter, atQuarter);
    const auto low = [&] { return -(1 << 30) + std::int32_t{random.element<std::uint8_t>()}; };
    compareAll<std::int16_t>(random, end, low, low);
    const auto guard = [&] { return simd::impossibleOutput; };
    compareAll<std::int16_t>(random, word, guard, small);
}

TEST_P(ViterbiLevels, LongSequences) {
    Random random;
    const auto any = [&] { return static_cast<float>(random.real(0, 10)); };
    const auto word = [&] { return static_cast<std::int16_t>(random.integer(-100, 32767)); };
    for (const std::int32_t topology : {0, QZ_HMMLeftRight, QZ_HMMBakis}) {
        for (const std::size_t n : {3u, 5u, 17u}) {
            Problem<float>(random, topology, n, 3000, any, any, any).compare();
            // Saturates on the way.
            Problem<std::int16_t>(random, topology, n, 70000, word, word, word).compare();
        }
    }
}

/// Compares general models long enough for kernels to learn from earlier frames which sources matter.
template <class Element, class Steps, class Outputs, class Starts>
void compareGeneral(Random &random, Steps step, Outputs output, Starts start) {
    for (const std::size_t n : {48u, 64u, 65u, 79u}) {
        const std::size_t frames = 30 + random.index(100);
        SCOPED_TRACE(testing::Message() << "states " << n << ", seed " << seed());
        Problem<Element>(random, 0, n, frames, step, output, start).compare();
        if (testing::Test::HasFailure()) return;
    }
}

TEST_P(ViterbiLevels, LargeGeneralModelsOfFloats) {
    Random random;
    const auto upTo = [&](double end) {
        return [&random, end] { return static_cast<float>(random.real(0, end)); };
    };
    const auto constant = [](float value) { return [value] { return value; }; };
    compareGeneral<float>(random, upTo(10), upTo(10), upTo(10));
    compareGeneral<float>(random, upTo(10), upTo(1000), upTo(10)); // few states matter
    compareGeneral<float>(random, upTo(10), upTo(0.01), upTo(10)); // all do
    compareGeneral<float>(random, constant(1), upTo(10), constant(0));
    compareGeneral<float>(random, constant(1), constant(1), constant(1));
    const auto tie = [&] { return static_cast<float>(random.index(3)); };
    compareGeneral<float>(random, tie, tie, tie);
    const auto sparse = [&] { return random.index(8) != 0 ? 1e30f : tie(); };
    compareGeneral<float>(random, sparse, tie, tie);
    // Now and then among negative costs, where the bits have another order than the sums.
    const auto signedCost = [&] { return static_cast<float>(random.real(-3, 10)); };
    const auto rarelyNegative = [&] { return random.index(300) == 0 ? -40.0f : tie(); };
    compareGeneral<float>(random, tie, signedCost, tie);
    compareGeneral<float>(random, tie, rarelyNegative, signedCost);
    compareGeneral<float>(random, rarelyNegative, tie, tie);
    const auto anyStep = [&] { return static_cast<float>(random.real(random.index(20) == 0 ? -60 : 0, 10)); };
    const auto high = [&] { return static_cast<float>(random.real(100, 200)); };
    compareGeneral<float>(random, anyStep, high, high);
    // One and the same not-a-number, whose sums have its bits.
    const auto special = [&] {
        constexpr float values[] = {std::numeric_limits<float>::infinity(),
                                    std::numeric_limits<float>::quiet_NaN(),
                                    std::numeric_limits<float>::max(), 1e30f, 0x1p-149f};
        return values[random.index(5)];
    };
    const auto rarelySpecial = [&] { return random.index(4) == 0 ? special() : tie(); };
    compareGeneral<float>(random, special, special, special);
    compareGeneral<float>(random, special, tie, tie);
    compareGeneral<float>(random, tie, rarelySpecial, special);
    compareGeneral<float>(random, rarelySpecial, tie, rarelySpecial);
}

TEST_P(ViterbiLevels, HugeGeneralModels) {
    Random random;
    const auto step = [&] { return static_cast<float>(random.real(0, 10)); };
    const auto output = [&] { return static_cast<float>(random.real(0, 1000)); };
    for (const std::size_t n : {1008u, 1023u, 1024u, 1025u})
        Problem<float>(random, 0, n, 6, step, output, step).compare();
}

TEST_P(ViterbiLevels, LargeGeneralModelsOfWords) {
    Random random;
    const auto word = [&] { return random.element<std::int16_t>(); };
    const auto small = [&] { return static_cast<std::int16_t>(random.index(3)); };
    const auto cost = [&] { return static_cast<std::int16_t>(random.integer(0, 1000)); };
    const auto wide = [&] { return std::int32_t{cost()} * 1000; };
    const auto any = [&] { return random.element<std::int32_t>(); };
    compareGeneral<std::int16_t>(random, cost, cost, cost);
    compareGeneral<std::int16_t>(random, cost, small, cost);
    compareGeneral<std::int16_t>(random, small, cost, small);
    compareGeneral<std::int16_t>(random, small, small, small);
    compareGeneral<std::int16_t>(random, word, word, word);
    compareGeneral<std::int16_t>(random, cost, wide, cost);
    compareGeneral<std::int16_t>(random, word, any, any);
    const auto sparse = [&] { return random.index(8) != 0 ? std::int16_t{32767} : small(); };
    compareGeneral<std::int16_t>(random, sparse, small, small);
    // Costs that rise and fall out of the range of plain sums, step by step and at once.
    const auto rise = [&] { return (1 << 28) + std::int32_t{cost()}; };
    const auto fall = [&] { return -rise(); };
    const auto rarelyHuge = [&] { return random.index(30) == 0 ? INT32_MAX - 100 : std::int32_t{cost()}; };
    compareGeneral<std::int16_t>(random, cost, rise, cost);
    compareGeneral<std::int16_t>(random, cost, fall, cost);
    compareGeneral<std::int16_t>(random, cost, rarelyHuge, cost);
}

TEST_P(ViterbiLevels, CostsOfFloatDensities) {
    Random random;
    const auto &kernels = simd::kernelsOf(GetParam()).viterbi;
    const auto &plain = simd::kernelsOf(simd::Level::plain).viterbi;
    constexpr double special[] = {0.0,
                                  -0.0,
                                  1.0,
                                  0.1,
                                  10.0,
                                  1e-300,
                                  5e-324,
                                  -5e-324,
                                  -1.0,
                                  std::numeric_limits<double>::infinity(),
                                  -std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN(),
                                  std::numeric_limits<double>::max()};
    for (std::size_t n = 0; n <= 130; ++n) {
        for (const bool specials : {false, true}) {
            std::vector<double> densities;
            for (std::size_t i = 0; i < n; ++i)
                densities.push_back(specials && random.index(3) == 0
                                        ? special[random.index(std::size(special))]
                                        : std::exp(random.real(-30, 2)));
            Guarded<float> expected(n), actual(n, 4 * (n % 5));
            plain.floatCosts(densities.data(), expected.data(), n);
            kernels.floatCosts(densities.data(), actual.data(), n);
            ASSERT_TRUE(sameBits(expected.values(), actual.values())) << n << ", seed " << seed();
            ASSERT_TRUE(actual.intact());
            for (std::size_t i = 0; i < n; ++i) {
                const float cost = actual.values()[i];
                if (densities[i] < 0 || densities[i] != densities[i]) {
                    ASSERT_LT(0x7F800000, std::bit_cast<std::int32_t>(cost)) << "the dearest of all";
                }
            }
        }
    }
    const float exact[] = {INFINITY, INFINITY, -0.0f, 1.0f, -1.0f};
    std::vector<float> costs(5);
    kernels.floatCosts(special, costs.data(), 5);
    EXPECT_TRUE(sameBits(std::vector<float>(exact, exact + 5), costs));
}

TEST_P(ViterbiLevels, CostsOfWordDensities) {
    Random random;
    const auto &kernels = simd::kernelsOf(GetParam()).viterbi;
    const auto &plain = simd::kernelsOf(simd::Level::plain).viterbi;
    for (std::size_t n = 0; n <= 130; ++n) {
        for (int exponent = -60; exponent <= 64; exponent += 1 + static_cast<int>(random.index(6))) {
            std::vector<std::int32_t> densities;
            for (std::size_t i = 0; i < n; ++i)
                densities.push_back(static_cast<std::int32_t>(random.element<std::int32_t>()) >>
                                    random.index(31));
            const double multiplier = std::ldexp(1.0, exponent);
            Guarded<std::int32_t> expected(n), actual(n, 4 * (n % 5));
            plain.wordCosts(densities.data(), expected.data(), n, multiplier);
            kernels.wordCosts(densities.data(), actual.data(), n, multiplier);
            ASSERT_EQ(expected.values(), actual.values()) << n << ' ' << exponent << ", seed " << seed();
            ASSERT_TRUE(actual.intact());
        }
    }
    // Powers of two give whole numbers of the same power's logarithm; 2^29 costs nothing.
    const std::int32_t exact[] = {1 << 29, 1, 0, -1, INT32_MIN, INT32_MAX, 1000};
    std::vector<std::int32_t> costs(7);
    kernels.wordCosts(exact, costs.data(), 7, 1024.0);
    EXPECT_EQ((std::vector<std::int32_t>{0, 8939, 0x1FFFFFFF, 0x1FFFFFFF, 0x1FFFFFFF, -616, 5867}), costs);
    // Enough to show the last bits of the constant and of the logarithm.
    const std::int32_t densities[] = {1, 3};
    costs.resize(2);
    kernels.wordCosts(densities, costs.data(), 2, 0x1p50);
    EXPECT_EQ((std::vector<std::int32_t>{35720478, -2000941122}), costs);
}

/// What a search gives, and how many mixtures it evaluated by the definition.
template <class T>
struct Searched {
    CostOf<T> cost;
    std::int32_t best = 0;
    int definitions;
};

enum class Outputs { continuous, semicontinuous };

float evaluate(Outputs outputs, std::int32_t id, const float *const *x, std::int32_t n, std::int32_t *best) {
    return outputs == Outputs::continuous ? QZsEvalContHMMViterbi(id, x, n, best)
                                          : QZsEvalSemicontHMMViterbi(id, x, n, best);
}
std::int32_t evaluate(Outputs outputs, std::int32_t id, const std::int16_t *const *x, std::int32_t n,
                      std::int32_t *best) {
    std::int32_t scale = 0;
    return outputs == Outputs::continuous ? QZwEvalContHMMViterbi(id, x, n, best, QZ_ScaleWrap, &scale)
                                          : QZwEvalSemicontHMMViterbi(id, x, n, best, QZ_ScaleWrap, &scale);
}

/// States whose steps cost nothing, each with a mixture of its own, or with one weight of each of them.
template <class T>
class DensityModel {
public:
    explicit DensityModel(const std::vector<Server<T>> &mixtures, std::int32_t dim, T weight = 1) {
        using Letter = HMMLetter<T>;
        const auto n = static_cast<std::int32_t>(mixtures.size());
        std::vector<typename Letter::Mixture *> servers;
        for (const auto &mixture : mixtures)
            servers.push_back(mixture.get());
        const Matrix<T> a(mixtures.size(), mixtures.size(), 0), b(mixtures.size(), mixtures.size(), weight);
        const std::vector<T> pi(mixtures.size(), 0);
        continuous_ = Letter::continuous(a.rows(), pi.data(), servers.data(), n, dim, QZ_HMMCost, -10);
        semicontinuous_ =
            Letter::semicontinuous(a.rows(), b.rows(), pi.data(), servers.data(), n, n, dim, QZ_HMMCost, -10);
    }
    ~DensityModel() { QZHMMFreeAll(); }
    DensityModel(const DensityModel &) = delete;
    DensityModel &operator=(const DensityModel &) = delete;

    Searched<T> search(simd::Level level, Outputs outputs, const Matrix<T> &x) const {
        const ScopedLevel scope(level);
        const int before = definitionsOfMixtures;
        Searched<T> result;
        const std::int32_t id = outputs == Outputs::continuous ? continuous_ : semicontinuous_;
        result.cost = evaluate(outputs, id, x.rows(), static_cast<std::int32_t>(x.size()), &result.best);
        result.definitions = definitionsOfMixtures - before;
        return result;
    }

private:
    std::int32_t continuous_, semicontinuous_;
};

template <class T>
void compareDensities(simd::Level level) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    for (const Kind kind : kinds)
        for (const bool full : {false, true})
            for (const bool tables : {false, true})
                for (const std::size_t frames : {1u, 2u, 8u, 31u, 32u, 33u, 70u}) {
                    const std::size_t dim = random.index(20) == 0 ? 128 + random.index(2) : random.index(20);
                    const std::size_t states = frames == 1 ? 1 : 1 + random.index(3);
                    std::vector<MixtureCase<T>> made;
                    for (std::size_t j = 0; j < states; ++j)
                        made.push_back(randomMixture<T>(random, kind, full, 1 + random.index(4), dim));
                    std::vector<Server<T>> servers;
                    for (const auto &one : made)
                        servers.emplace_back(one.model, tables, one.scale);
                    Matrix<T> x(frames, dim);
                    for (std::size_t t = 0; t < frames; ++t) {
                        x[t] = made[t % states].x;
                        if (dim > 0 && t >= states)
                            x[t][random.index(dim)] = randomVector(random, kind, false, 1, T{})[0];
                    }
                    const DensityModel<T> model(servers, static_cast<std::int32_t>(dim));
                    for (const Outputs outputs : {Outputs::continuous, Outputs::semicontinuous}) {
                        QZSetStatus(QZ_StsOk);
                        const Searched<T> expected = model.search(simd::Level::plain, outputs, x);
                        QZSetStatus(QZ_StsOk);
                        const Searched<T> actual = model.search(level, outputs, x);
                        ASSERT_TRUE(sameBits(expected.cost, actual.cost) && expected.best == actual.best)
                            << expected.cost << ' ' << actual.cost << ", kind " << static_cast<int>(kind)
                            << ", frames " << frames << ", dim " << dim << ", seed " << seed();
                    }
                }
}

TEST_P(ViterbiLevels, DensitiesOfFloats) {
    const RecordedReports reports;
    compareDensities<float>(GetParam());
}
TEST_P(ViterbiLevels, DensitiesOfWords) {
    const RecordedReports reports;
    compareDensities<std::int16_t>(GetParam());
}

template <class T>
void expectFewDefinitions(simd::Level level) {
    Random random;
    constexpr int frames = 100;
    int definitions = 0, mixtures = 0;
    for (int round = 0; round < 50; ++round) {
        const Kind kind = round % 2 == 0 ? Kind::clusters : Kind::flat;
        const auto made = randomMixture<T>(random, kind, round % 5 == 0, 3, 13);
        Matrix<T> x(frames, 13);
        for (std::size_t t = 0; t < frames; ++t)
            x[t] = randomVector(random, kind, false, 13, T{});
        std::vector<Server<T>> servers;
        servers.emplace_back(made.model, false, made.scale);
        const DensityModel<T> model(servers, 13);
        definitions += model.search(level, Outputs::continuous, x).definitions;
        definitions += model.search(level, Outputs::semicontinuous, x).definitions;
        mixtures += 2 * frames;
    }
    if (level == simd::Level::plain)
        EXPECT_EQ(mixtures, definitions) << "seed " << seed();
    else
        EXPECT_GT(mixtures / 500, definitions) << "seed " << seed();
}

TEST_P(ViterbiLevels, LeaveFewFloatDensitiesToTheDefinition) { expectFewDefinitions<float>(GetParam()); }
TEST_P(ViterbiLevels, LeaveFewWordDensitiesToTheDefinition) {
    expectFewDefinitions<std::int16_t>(GetParam());
}

/// The value of one mixture at its mean is the sum of its weights; one frame.
template <class T>
Searched<T> atTheMean(simd::Level level, Outputs outputs, const std::vector<T> &weights) {
    Model<T> model = {weights, {}, {}, {}};
    model.means.assign(weights.size(), {0});
    model.diagonals.assign(weights.size(), {1});
    std::vector<Server<T>> servers;
    servers.emplace_back(model);
    return DensityModel<T>(servers, 1).search(level, outputs, {{0}});
}

TEST_P(ViterbiLevels, DensitiesAtRoundingBoundariesAreLeftToTheDefinition) {
    // Next to 1 the logarithm has more bits than the density; the first one's is 0.
    for (const float last : {0.0f, -0x1p-24f, 0x1p-23f}) {
        const auto searched = atTheMean<float>(GetParam(), Outputs::continuous, {1.0f + last});
        EXPECT_EQ(reference::outputCost(1.0 + static_cast<double>(last)), searched.cost);
        EXPECT_EQ(1, searched.definitions);
    }
    // The middle between two floats, of which a codebook has the even one.
    for (const bool up : {false, true}) {
        const std::vector<float> weights = {up ? 0x1.000002p-1f : 0.5f, 0x1p-25f};
        const auto searched = atTheMean<float>(GetParam(), Outputs::semicontinuous, weights);
        EXPECT_EQ(reference::outputCost(up ? 0x1.000004p-1 : 0.5), searched.cost);
        EXPECT_EQ(1, searched.definitions);
    }
    // Integers, below which the next one begins.
    for (const std::int16_t weight : std::vector<std::int16_t>{1, 1000, 16384}) {
        const auto searched = atTheMean<std::int16_t>(GetParam(), Outputs::continuous, {weight});
        EXPECT_EQ(reference::outputCost(weight << 15, -10), searched.cost);
        EXPECT_EQ(1, searched.definitions);
    }
}

} // namespace
} // namespace qzk::test
