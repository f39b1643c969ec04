// Every level of the mixture kernels against the definition, bit for bit, and how often they leave a mixture
// to it.
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/mixtures.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

// The linker sends the calls of the exponential in extended precision, which only the definition makes, here.
extern "C" {
long double __real__ZN3qzk11exponentialEe(long double x);
long double __wrap__ZN3qzk11exponentialEe(long double x);
}

namespace qzk::test {
namespace {

int definitionsOfExponentials = 0;

} // namespace
} // namespace qzk::test

long double __wrap__ZN3qzk11exponentialEe(long double x) {
    ++qzk::test::definitionsOfExponentials;
    return __real__ZN3qzk11exponentialEe(x);
}

namespace qzk::test {
namespace {

class MixtureLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, MixtureLevels, testing::ValuesIn(availableLevels()), levelTestName);

template <class T>
double valueAt(simd::Level level, const MixtureCase<T> &made, bool tables) {
    const ScopedLevel scoped(level);
    const Server<T> server(made.model, tables, made.scale);
    return server.at(made.x);
}

template <class T>
void expectPlain(simd::Level level, const MixtureCase<T> &made, const char *what) {
    for (const bool tables : {false, true}) {
        QZSetStatus(QZ_StsOk);
        const double expected = valueAt(simd::Level::plain, made, tables);
        QZSetStatus(QZ_StsOk);
        const double actual = valueAt(level, made, tables);
        ASSERT_TRUE(sameBits(expected, actual))
            << std::hexfloat << "expected " << expected << ", got " << actual << ", " << what << ", "
            << made.model.weights.size() << " components of " << made.x.size() << ", seed " << seed();
    }
}

template <class T>
void compareLengths(simd::Level level, bool full) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    Random random;
    // Short lengths with every kind, others with one that changes from length to length.
    for (std::size_t dim = 0; dim <= (full ? 40u : 3000u); dim = dim < 130 ? dim + 1 : dim * 4 + 5)
        for (const Kind kind : kinds)
            if (dim < 20 || (dim + static_cast<std::size_t>(kind)) % 6 == dim / 6 % 6) {
                expectPlain(level, randomMixture<T>(random, kind, full, 1 + random.index(4), dim),
                            std::to_string(static_cast<int>(kind)).c_str());
                ASSERT_FALSE(testing::Test::HasFatalFailure());
            }
}

TEST_P(MixtureLevels, DiagonalFloats) { compareLengths<float>(GetParam(), false); }
TEST_P(MixtureLevels, DiagonalWords) { compareLengths<int16_t>(GetParam(), false); }
TEST_P(MixtureLevels, FullFloats) { compareLengths<float>(GetParam(), true); }
TEST_P(MixtureLevels, FullWords) { compareLengths<int16_t>(GetParam(), true); }

TEST_P(MixtureLevels, ManyComponents) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    Random random;
    for (const std::size_t components : {15u, 16u, 17u, 255u, 256u, 257u}) {
        expectPlain(GetParam(), randomMixture<float>(random, Kind::clusters, false, components, 5), "floats");
        expectPlain(GetParam(), randomMixture<int16_t>(random, Kind::flat, false, components, 5), "words");
    }
}

TEST_P(MixtureLevels, WordsAtTheEndsOfTheirRange) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    for (const std::size_t dim : {1u, 63u, 64u, 65u, 1000u})
        for (const int inverse : {32767, -32768, 1}) {
            const auto weight = static_cast<int16_t>(inverse);
            MixtureCase<int16_t> made;
            made.model = {{32767, -32768},
                          {std::vector<int16_t>(dim, -32768), std::vector<int16_t>(dim, 32767)},
                          {std::vector<int16_t>(dim, weight), std::vector<int16_t>(dim, weight)},
                          {}};
            made.x.assign(dim, 32767);
            for (const std::int32_t scale : {-60, -50, -44, -30}) {
                made.scale = scale;
                expectPlain(GetParam(), made, "extremes");
            }
        }
}

// Values within the bounds of a rounding boundary: components that add up to a middle between two doubles.
TEST_P(MixtureLevels, SumsAtRoundingBoundaries) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    Random random;
    for (int round = 0; round < 60; ++round) {
        MixtureCase<float> made;
        const auto tiny = static_cast<float>(std::ldexp(random.real(1.0, 2.0), -60));
        made.model = {{1.0f, 0x1p-53f, round % 2 == 0 ? tiny : -tiny}, {{0}, {0}, {0}}, {}, {}};
        made.model.diagonals = {{0.0f}, {0.0f}, {static_cast<float>(random.real(0.0, 20.0))}};
        made.x = {1.0f};
        expectPlain(GetParam(), made, "boundary");
        // One unit of the exponent's 64 bits moves such a value across.
        made.model.weights = {1.0f, round % 2 == 0 ? 0x1.002p-53f : 0x1.006p-53f};
        made.model.diagonals = {{0.0f}, {static_cast<float>(std::ldexp(random.real(-1.0, 1.0), -62))}};
        expectPlain(GetParam(), made, "boundary of one");
    }
}

TEST_P(MixtureLevels, SumsAtRoundingBoundariesAreLeftToTheDefinition) {
    // e^(2^-64 + 2^-84) lies just above the middle between 1 and 1 + 2^-63, and 1 + 2^-53 + 2^-64 is the
    // middle between two values of 64 bits, the lower one of which is the middle between two doubles.
    const Model<float> model = {{1.0f, 0x1.002p-53f}, {{0}, {0}}, {{0}, {-0x1.00001p-63f}}, {}};
    const Server<float> server(model);
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    definitionsOfExponentials = 0;
    EXPECT_EQ(1.0 + 0x1p-52, server.at({1}));
    EXPECT_EQ(2, definitionsOfExponentials);
}

template <class T>
void expectFewDefinitions(bool full) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    constexpr int mixtures = 1000, components = 8;
    definitionsOfExponentials = 0;
    for (int i = 0; i < mixtures; ++i) {
        const Kind kind = i % 2 == 0 ? Kind::clusters : Kind::flat;
        const auto made = randomMixture<T>(random, kind, full, components, full ? 7 : 20);
        Server<T>(made.model, false, made.scale).at(made.x);
    }
    if (simd::currentLevel() == simd::Level::plain)
        EXPECT_EQ(mixtures, definitionsOfExponentials / components) << "seed " << seed();
    else
        EXPECT_GT(mixtures / 50, definitionsOfExponentials / components) << "seed " << seed();
}

TEST_P(MixtureLevels, LeaveFewMixturesToTheDefinition) {
    expectFewDefinitions<float>(false);
    expectFewDefinitions<float>(true);
    expectFewDefinitions<int16_t>(false);
    expectFewDefinitions<int16_t>(true);
}

const auto &kernelsFor(const simd::MixtureKernelsOf<float> &kernels, float) { return kernels; }
const auto &kernelsFor(const simd::MixtureKernelsOf<int16_t> &kernels, int16_t) { return kernels; }

/// The record that the kernels take.
template <class T>
simd::Mixture<T> mixtureOf(const Server<T> &server, double scale) {
    const auto &record = *server.get();
    return {record.weights,
            record.means,
            record.InverseCov,
            record.InverseCovD,
            static_cast<std::size_t>(record.nMix),
            scale,
            nullptr};
}

/// Whether the value has bounds; they hold it.
struct Bounded {
    std::size_t values = 0, known = 0, narrow = 0;
};

/// Bounds at `count` vectors, the first of which is that of the case.
template <class T>
void expectBounds(simd::Level level, Random &random, Kind kind, const MixtureCase<T> &made, std::size_t count,
                  Bounded &bounded) {
    const std::size_t dim = made.x.size(), most = simd::turnedVectors;
    std::vector<std::vector<T>> vectors = {made.x};
    while (vectors.size() < count) {
        vectors.push_back(made.x);
        for (T &x : vectors.back())
            if (random.index(2) == 0) x = randomVector(random, kind, false, 1, T{})[0];
    }
    const double unused = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> columns(dim * most, unused), lower(most, unused), upper(most, unused), values(count);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t c = 0; c < dim; ++c)
            columns[c * most + i] = vectors[i][c];

    const Server<T> server(made.model, false, made.scale);
    const double scale = std::is_same_v<T, float> ? 1.0 : QZPower2(made.scale);
    const simd::Mixture<T> mixture = mixtureOf(server, scale);
    kernelsFor(simd::kernelsOf(level).mixture, T{})
        .bound(mixture, columns.data(), count, dim, lower.data(), upper.data());
    for (std::size_t i = 0; i < count; ++i) {
        double value = 0.0;
        simd::plain::evaluate(&mixture, 1, vectors[i].data(), dim, &value);
        const bool known = std::isfinite(lower[i]) && std::isfinite(upper[i]);
        const bool none = !(lower[i] >= -DBL_MAX) && !(upper[i] <= DBL_MAX);
        ASSERT_TRUE(known ? lower[i] <= value && value <= upper[i] : none)
            << std::hexfloat << lower[i] << ' ' << value << ' ' << upper[i] << ", kind "
            << static_cast<int>(kind) << ", " << made.model.weights.size() << " components of " << dim
            << ", seed " << seed();
        ++bounded.values;
        bounded.known += known;
        bounded.narrow += upper[i] - lower[i] <= 0x1p-36 * value;
    }
    for (std::size_t i = count; i < most; ++i)
        ASSERT_TRUE(std::isnan(lower[i]) && std::isnan(upper[i]));
}

template <class T>
void compareBounds(simd::Level level, bool full) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    Bounded usual;
    for (const std::size_t dim : {0u, 1u, 2u, 7u, 8u, 9u, 13u, 17u, 39u, 64u, 127u, 128u, 129u}) {
        if (full && dim > 64 && dim < 128) continue;
        for (const Kind kind : kinds)
            for (const std::size_t count : {1u, 8u, 9u, 15u, 32u}) {
                const std::size_t components = full ? 1 + random.index(2) : random.index(6);
                const auto made = randomMixture<T>(random, kind, full && components > 0, components, dim);
                Bounded bounded;
                expectBounds(level, random, kind, made, count, bounded);
                if (testing::Test::HasFatalFailure()) return;
                if (dim > simd::mostTurned) {
                    ASSERT_EQ(0u, bounded.known);
                }
                const bool isUsual = kind == Kind::clusters || kind == Kind::flat;
                if (!isUsual || full || dim > simd::mostTurned) continue;
                usual.values += bounded.values;
                usual.narrow += bounded.narrow;
            }
    }
    for (const std::size_t components : {255u, 256u, 257u}) {
        Bounded bounded;
        const auto made = randomMixture<T>(random, Kind::clusters, false, components, 3);
        expectBounds(level, random, Kind::clusters, made, 3, bounded);
        if (level != simd::Level::plain) {
            EXPECT_EQ(components > 256 ? 0u : 3u, bounded.known);
        }
    }
    if (level == simd::Level::plain || full) return;
    EXPECT_LT(0.9 * static_cast<double>(usual.values), static_cast<double>(usual.narrow))
        << "seed " << seed();
}

TEST_P(MixtureLevels, BoundsOfDiagonalFloats) { compareBounds<float>(GetParam(), false); }
TEST_P(MixtureLevels, BoundsOfDiagonalWords) { compareBounds<int16_t>(GetParam(), false); }
TEST_P(MixtureLevels, BoundsOfFullFloats) { compareBounds<float>(GetParam(), true); }
TEST_P(MixtureLevels, BoundsOfFullWords) { compareBounds<int16_t>(GetParam(), true); }

// Around the exponents where exponentials leave the range of doubles, with weights of every magnitude.
TEST_P(MixtureLevels, BoundsAtTheEndOfTheRange) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    Bounded bounded;
    for (int round = 0; round < 3000; ++round) {
        MixtureCase<float> made;
        const auto weight = [&] {
            const auto exponent = static_cast<int>(random.integer(-149, 127));
            return random.index(9) == 0 ? 0.0f : std::ldexp(1.0f, exponent);
        };
        const auto inverse = [&] { return static_cast<float>(random.real(1300.0, 2200.0)); };
        made.model = {{weight(), weight(), weight()}, {{0}, {0}, {0}}, {}, {}};
        made.model.diagonals = {{inverse()}, {inverse()}, {inverse()}};
        if (round % 3 == 0) made.model.diagonals[0][0] = 1.0f;
        if (round % 50 == 0) made.model.diagonals[1][0] = std::numeric_limits<float>::infinity();
        made.x = {1.0f};
        expectBounds(GetParam(), random, Kind::flat, made, 1, bounded);
        ASSERT_FALSE(testing::Test::HasFatalFailure());
    }
    if (GetParam() != simd::Level::plain) {
        EXPECT_LT(1000u, bounded.known);
    }
}

/// Diagonal elements that add up to at least 62 bits of a form.
std::vector<float> parts(long double form) {
    std::vector<float> found;
    for (int i = 0; i < 3; ++i) {
        auto part = static_cast<float>(form);
        if (part > form) part = std::nextafter(part, 0.0f);
        form -= part;
        found.push_back(part);
    }
    return found;
}

// Products with the weight about where one more of the smallest double begins: at its odd halves.
TEST_P(MixtureLevels, BoundsWhereProductsBeginToCount) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    Random random;
    Bounded bounded;
    for (int k = 1; k <= 100; ++k)
        for (const long double halves : {1.0L, 3.0L, 5.0L, 0x1p36L + 1.0L, 0x1p46L + 1.0L})
            for (int step = -2; step <= 2; ++step) {
                const long double ratio = k / halves;
                const long double form = 2.0L * (926.0L * std::log(2.0L) + std::log(ratio));
                MixtureCase<float> made;
                made.model = {
                    {static_cast<float>(k) * 0x1p-149f}, {{0, 0, 0}}, {parts(form + step * 0x1p-53L)}, {}};
                made.x = {1, 1, 1};
                expectBounds(GetParam(), random, Kind::flat, made, 1, bounded);
                ASSERT_FALSE(testing::Test::HasFatalFailure()) << k << ' ' << static_cast<double>(halves);
            }
}

// Bounds are as wide as the errors of all roundings together may be, where rows and columns differ most.
TEST_P(MixtureLevels, BoundsLeaveRoomForEveryRounding) {
    if (GetParam() == simd::Level::plain) GTEST_SKIP() << "this is the definition";
    constexpr std::size_t dim = 64;
    for (const bool column : {false, true}) {
        Model<float> model = {{1.0f}, {std::vector<float>(dim)}, {}, {}};
        model.matrices = {std::vector<std::vector<float>>(dim, std::vector<float>(dim))};
        for (std::size_t i = 0; i < dim; ++i)
            model.matrices[0][column ? i : 0][column ? 0 : i] = 0.125f;
        const Server<float> server(model);
        const std::vector<double> ones(dim * simd::turnedVectors, 1.0);
        double lower, upper;
        simd::kernelsOf(GetParam())
            .mixture.simd::MixtureKernelsOf<float>::bound(mixtureOf(server, 1.0), ones.data(), 1, dim, &lower,
                                                          &upper);
        const double value = std::exp(-4.0), error = (2.0 * dim + 5.0) * 0x1p-53 * 4.0;
        EXPECT_LE(lower, value * (1.0 - error));
        EXPECT_GE(upper, value * (1.0 + error));
        EXPECT_LT(upper - lower, 0x1p-36);
    }
}

// Terms that cancel leave a form of which doubles know nothing.
TEST_P(MixtureLevels, FormsOfLargeTermsHaveNoBounds) {
    Random random;
    for (const float large : {0x1p45f, 0x1p63f}) {
        MixtureCase<float> made;
        made.model = {{1.0f}, {{0, 0, 0}}, {}, {}};
        made.model.matrices = {{{large, 0, 0}, {0, 1025.0f, 0}, {0, 0, -large}}};
        made.x = {1, 1, 1};
        Bounded bounded;
        expectBounds(GetParam(), random, Kind::flat, made, 1, bounded);
        EXPECT_EQ(0u, bounded.known) << large;
    }
}

TEST_P(MixtureLevels, LookedUpExponentialsHaveNoBounds) {
    const Model<float> model = {{1.0f}, {{0}}, {{1}}, {}};
    const Server<float> server(model);
    simd::Mixture<float> mixture = mixtureOf(server, 1.0);
    const simd::ExponentialTables unused{};
    mixture.tables = &unused;
    const std::vector<double> columns(simd::turnedVectors, 1.0);
    double lower = 0.0, upper = 0.0;
    simd::kernelsOf(GetParam())
        .mixture.simd::MixtureKernelsOf<float>::bound(mixture, columns.data(), 1, 1, &lower, &upper);
    EXPECT_FALSE(std::isfinite(lower) || std::isfinite(upper));
}

// Exponents where one entry of the tables ends and the next begins, to the last bits.
TEST_P(MixtureLevels, LookedUpExponentsBetweenEntries) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    Random random;
    for (int round = 0; round < 150; ++round) {
        const int whole = round < 20 ? 100 : static_cast<int>(random.integer(0, 99));
        const int thousandths = whole == 100 ? 0 : static_cast<int>(random.integer(1, 1000));
        for (int step = -3; step <= 3; ++step) {
            const long double form = 2.0L * (whole + thousandths / 1000.0L) * (1.0L + step * 0x1p-57L);
            MixtureCase<float> made;
            made.model = {{1.0f}, {{0, 0, 0}}, {parts(form)}, {}};
            made.x = {1, 1, 1};
            expectPlain(GetParam(), made, "between entries");
            ASSERT_FALSE(testing::Test::HasFatalFailure()) << whole << ' ' << thousandths << ' ' << step;
        }
    }
}

TEST_P(MixtureLevels, WeightedSums) {
    Random random;
    const auto &kernels = simd::kernelsOf(GetParam()).mixture;
    for (std::size_t rows = 0; rows <= 50; rows += rows < 34 ? 1 : 8)
        for (std::size_t size = 0; size <= 300; size += size < 10 ? 1 : 97) {
            const bool special = random.index(8) == 0;
            std::vector<float> weights, values;
            for (std::size_t i = 0; i < (rows + 1) * size; ++i)
                (i < size ? values : weights)
                    .push_back(special ? random.anyReals<float>(1)[0]
                                       : static_cast<float>(std::ldexp(random.real(-1, 1),
                                                                       -static_cast<int>(random.index(20)))));
            const std::size_t misaligned = 1 + rows % 4;
            Guarded<float> from(rows * size, misaligned), by(size, misaligned);
            Guarded<double> sums(rows);
            from.assign(weights);
            by.assign(values);
            kernels.weightedSums(from.data(), rows, by.data(), size, sums.data());
            ASSERT_TRUE(sums.intact());
            for (std::size_t j = 0; j < rows; ++j) {
                double sum = 0.0;
                for (std::size_t k = 0; k < size; ++k)
                    sum += static_cast<double>(weights[j * size + k]) * static_cast<double>(values[k]);
                ASSERT_TRUE(sameBits(sum, sums.values()[j]))
                    << "row " << j << " of " << rows << ", size " << size << ", seed " << seed();
            }
        }
}

TEST_P(MixtureLevels, OperandsOfAnyAddress) {
    Random random;
    const auto made = randomMixture<float>(random, Kind::flat, false, 3, 21);
    std::vector<char> bytes(8 * 22 * sizeof(float));
    const auto misplaced = [&](std::size_t slot, const std::vector<float> &values) {
        char *const at = bytes.data() + slot * 22 * sizeof(float) + 1;
        std::memcpy(at, values.data(), values.size() * sizeof(float));
        return reinterpret_cast<const float *>(at);
    };
    const float *const means[] = {misplaced(0, made.model.means[0]), misplaced(1, made.model.means[1]),
                                  misplaced(2, made.model.means[2])};
    const float *const diagonals[] = {misplaced(3, made.model.diagonals[0]),
                                      misplaced(4, made.model.diagonals[1]),
                                      misplaced(5, made.model.diagonals[2])};
    auto *const server =
        QZsInitGaussMixServer(misplaced(6, made.model.weights), means, nullptr, diagonals, nullptr, 3, 0);
    EXPECT_EQ(Server<float>(made.model).at(made.x), QZsEvalGaussMix(server, misplaced(7, made.x), 21));
    QZsFreeGaussMixServer(server);
}

} // namespace
} // namespace qzk::test
