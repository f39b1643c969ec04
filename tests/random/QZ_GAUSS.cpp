// Mixtures of every kind of data against the reference, bit for bit.
#include "qzk.h"
#include "support/bits.hpp"
#include "support/mixtures.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace qzk::test {
namespace {

template <class T>
void compare(bool full, bool tables, int rounds) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    Random random;
    for (int round = 0; round < rounds; ++round)
        for (const Kind kind : kinds) {
            const std::size_t components = random.index(20), dim = random.index(full ? 14 : 60);
            const auto made = randomMixture<T>(random, kind, full && components > 0, components, dim);
            const Server<T> server(made.model, tables, made.scale);
            const double scale = std::is_same_v<T, float> ? 1.0 : QZPower2(made.scale);
            const auto expected = reference::mixture(made.model, made.x, tables, scale);
            reports.clear();
            const double actual = server.at(made.x);
            EXPECT_EQ(expected ? 0u : 1u, reports.all().size());
            ASSERT_TRUE(sameBits(expected.value_or(0.0), actual))
                << std::hexfloat << "expected " << expected.value_or(0.0) << ", got " << actual << ", kind "
                << static_cast<int>(kind) << ", " << components << " components of " << dim << ", seed "
                << seed();
        }
}

TEST(RandomMixtures, DiagonalFloats) { compare<float>(false, false, 150); }
TEST(RandomMixtures, DiagonalFloatsFromTables) { compare<float>(false, true, 30); }
TEST(RandomMixtures, FullFloats) { compare<float>(true, false, 150); }
TEST(RandomMixtures, FullFloatsFromTables) { compare<float>(true, true, 30); }
TEST(RandomMixtures, DiagonalWords) { compare<int16_t>(false, false, 150); }
TEST(RandomMixtures, DiagonalWordsFromTables) { compare<int16_t>(false, true, 30); }
TEST(RandomMixtures, FullWords) { compare<int16_t>(true, false, 150); }
TEST(RandomMixtures, FullWordsFromTables) { compare<int16_t>(true, true, 30); }

TEST(RandomMixtures, WordsAreConvertedLast) {
    if (!hasExtendedPrecision()) GTEST_SKIP() << "no extended precision here, as under valgrind";
    RecordedReports reports;
    Random random;
    for (int round = 0; round < 60; ++round) {
        const auto made = randomMixture<int16_t>(random, Kind::flat, false, 5, 13);
        const Server<int16_t> server(made.model, false, made.scale);
        for (const int32_t mode : {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate}) {
            int32_t expectedScale = -3, actualScale = -3;
            const int32_t expected = QZdiConvertDown(server.at(made.x), mode, &expectedScale);
            EXPECT_EQ(expected, QZwEvalGaussMix(server.get(), made.x.data(), 13, mode, &actualScale));
            EXPECT_EQ(expectedScale, actualScale);
        }
    }
}

TEST(RandomMixtures, TablesHoldRoundedExponentials) {
    const Model<float> model = {{1.0f}, {{0.0f}}, {{1.0f}}, {}};
    const Server<float> server(model, true);
    server.at({0.0f});
    ASSERT_NE(nullptr, integralExpTable);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(static_cast<float>(reference::exponential(-i)), integralExpTable[i]) << i;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(static_cast<float>(reference::exponential(-i * 0.001L)), fractionalExpTable[i]) << i;
        ASSERT_EQ(static_cast<float>(reference::exponential(-i * 0.001)), fractionalExpTable[i]) << i;
    }
}

} // namespace
} // namespace qzk::test
