// Every level of the distance kernels against the ordered definition, bit for bit.
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <type_traits>
#include <vector>

namespace qzk::test {
namespace {

class DistanceLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, DistanceLevels, testing::ValuesIn(availableLevels()), levelTestName);

template <class T>
const simd::DistanceKernelsOf<T> &kernelsAt(simd::Level level) {
    if constexpr (std::is_same_v<T, float>)
        return simd::kernelsOf(level).distance.ofFloats;
    else
        return simd::kernelsOf(level).distance.ofWords;
}

template <class T>
std::vector<T> anyValues(Random &random, std::size_t n) {
    if constexpr (std::is_same_v<T, float>)
        return random.bits() % 2 != 0 ? random.anyReals<float>(n, n % 2 == 0) : random.reals<float>(n);
    else
        return random.elements<T>(n);
}

template <class T>
struct Operands {
    Guarded<T> a, b, weights;
    std::vector<std::vector<T>> matrix;
    std::vector<const T *> rows;

    Operands(Random &random, std::size_t n, std::size_t matrixSize)
        : a(n, someElements(random)), b(n, someElements(random) + 1), weights(n, someElements(random)) {
        a.assign(anyValues<T>(random, n));
        b.assign(anyValues<T>(random, n));
        weights.assign(anyValues<T>(random, n));
        for (std::size_t i = 0; i < matrixSize; ++i)
            matrix.push_back(anyValues<T>(random, i + 1));
        for (const auto &row : matrix)
            rows.push_back(row.data());
    }

private:
    static std::size_t someElements(Random &random) {
        return static_cast<std::size_t>(random.integer(0, 7)) * sizeof(T);
    }
};

template <class T>
void expectPlain(simd::Level level, const Operands<T> &x, std::size_t n) {
    const auto &plain = kernelsAt<T>(simd::Level::plain), &tested = kernelsAt<T>(level);
    const T *const a = x.a.data(), *const b = x.b.data(), *const w = x.weights.data();
    EXPECT_TRUE(sameBits(plain.dotProduct(a, b, n), tested.dotProduct(a, b, n)));
    EXPECT_TRUE(sameBits(plain.cityBlock(a, b, n), tested.cityBlock(a, b, n)));
    EXPECT_TRUE(sameBits(plain.squaredEuclidean(a, b, n), tested.squaredEuclidean(a, b, n)));
    EXPECT_TRUE(sameBits(plain.diagonalMahalanobis(a, b, w, n), tested.diagonalMahalanobis(a, b, w, n)));
    const std::size_t m = x.rows.size();
    EXPECT_TRUE(
        sameBits(plain.mahalanobis(a, b, x.rows.data(), m), tested.mahalanobis(a, b, x.rows.data(), m)));
}

template <class T>
void compareLengths(simd::Level level) {
    Random random;
    for (std::size_t n = 0; n <= 3000; n = n < 130 ? n + 1 : n * 2 + 5) {
        SCOPED_TRACE(testing::Message() << "length " << n << ", seed " << seed());
        expectPlain(level, Operands<T>(random, n, n < 300 ? n : 0), n);
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}

TEST_P(DistanceLevels, Floats) { compareLengths<float>(GetParam()); }
TEST_P(DistanceLevels, Words) { compareLengths<int16_t>(GetParam()); }

// Extreme elements of one sign make the sums reach 2^53, where the order of the additions shows.
TEST_P(DistanceLevels, DiagonalMahalanobisOfWordsBeyondExactSums) {
    Random random;
    for (const std::size_t n : {63u, 64u, 65u, 500u, 20000u}) {
        Operands<int16_t> x(random, n, 0);
        std::vector<int16_t> a(n), weights(n);
        for (std::size_t i = 0; i < n; ++i) {
            a[i] = static_cast<int16_t>(random.integer(32000, 32767));
            weights[i] = random.bits() % 8 == 0 ? -32768 : 32767;
        }
        x.a.assign(a);
        x.b.assign(std::vector<int16_t>(n, -32768));
        x.weights.assign(weights);
        SCOPED_TRACE(testing::Message() << "length " << n << ", seed " << seed());
        expectPlain(GetParam(), x, n);
    }
}

TEST_P(DistanceLevels, SquaredEuclideanOfWordsBeyondExactSums) {
    constexpr std::size_t most = (std::size_t{1} << 21) + 77;
    std::vector<int16_t> a(most, 32767), b(most, -32768);
    a[most - 1] = -32765;
    a[most - 2] = -32763;
    const auto &plain = kernelsAt<int16_t>(simd::Level::plain), &tested = kernelsAt<int16_t>(GetParam());
    for (const std::size_t n : {most - 78, most - 77, most - 76, most})
        EXPECT_EQ(plain.squaredEuclidean(a.data(), b.data(), n),
                  tested.squaredEuclidean(a.data(), b.data(), n));
    EXPECT_EQ(plain.cityBlock(a.data(), b.data(), most), tested.cityBlock(a.data(), b.data(), most));
}

TEST_P(DistanceLevels, LongDotProductsOfWords) {
    constexpr std::size_t n = (std::size_t{1} << 23) + 77;
    std::vector<int16_t> a(n, -32768);
    const auto &plain = kernelsAt<int16_t>(simd::Level::plain), &tested = kernelsAt<int16_t>(GetParam());
    EXPECT_EQ(plain.dotProduct(a.data(), a.data(), n), tested.dotProduct(a.data(), a.data(), n));
    a[n - 1] = 3;
    a[n - 2] = 5;
    EXPECT_EQ(plain.dotProduct(a.data(), a.data(), n), tested.dotProduct(a.data(), a.data(), n));
    EXPECT_EQ(plain.dotProduct(a.data(), a.data(), n - 78), tested.dotProduct(a.data(), a.data(), n - 78));
}

TEST_P(DistanceLevels, FullMahalanobisBeyondExactSums) {
    Random random;
    for (const std::size_t n : {40u, 130u, 300u}) {
        Operands<int16_t> x(random, n, n);
        std::vector<int16_t> a(n);
        for (std::size_t i = 0; i < n; ++i) {
            a[i] = static_cast<int16_t>(random.integer(32000, 32767));
            for (auto &weight : x.matrix[i])
                weight = static_cast<int16_t>(random.integer(-32768, 32767) | 0x4001);
        }
        x.a.assign(a);
        x.b.assign(std::vector<int16_t>(n, -32768));
        SCOPED_TRACE(testing::Message() << "size " << n << ", seed " << seed());
        expectPlain(GetParam(), x, n);
    }
}

} // namespace
} // namespace qzk::test
