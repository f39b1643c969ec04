// Random codebooks against the definition written out, and every level of the kernels.
#include "reference/quantiser.hpp"
#include "qzk.h"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>
#include <vector>

namespace qzk::test {
namespace {

class QuantiserLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, QuantiserLevels, testing::ValuesIn(availableLevels()), levelTestName);

template <class T>
std::vector<T> anyValues(Random &random, std::size_t n) {
    if constexpr (std::is_same_v<T, float>) {
        switch (random.index(3)) {
        case 0:
            return random.anyReals<float>(n, n % 2 == 0);
        case 1:
            return random.reals<float>(n);
        default:
            break;
        }
    } else if (random.bits() % 2 != 0) {
        return random.elements<T>(n);
    }
    // Few values, so that distances are equal and small.
    std::vector<T> values(n);
    for (T &value : values)
        value = static_cast<T>(random.integer(-2, 2));
    return values;
}

int16_t *evaluate(const float *x, int32_t dim, int32_t nCodes, const float *codebook, int32_t nBest,
                  int16_t *best, int32_t useSqrt, float *distances) {
    return QZsVQKohonen(x, dim, nCodes, codebook, nBest, best, useSqrt, distances);
}
int16_t *evaluate(const int16_t *x, int32_t dim, int32_t nCodes, const int16_t *codebook, int32_t nBest,
                  int16_t *best, int32_t useSqrt, int32_t *distances) {
    return QZwVQKohonen(x, dim, nCodes, codebook, nBest, best, useSqrt, -1, 99, distances);
}

template <class Distance>
testing::AssertionResult sameDistances(const std::vector<Distance> &expected,
                                       const std::vector<Distance> &actual) {
    if constexpr (std::is_same_v<Distance, float>)
        return sameBits(expected, actual);
    else
        return expected == actual ? testing::AssertionSuccess() : testing::AssertionFailure();
}

template <class T>
void compare(Random &random, std::size_t dim, std::size_t nCodes) {
    const bool root = random.bits() % 2 != 0;
    const auto nBest = static_cast<int32_t>(random.integer(-1, static_cast<std::int64_t>(nCodes) + 2));
    SCOPED_TRACE(testing::Message() << "dim " << dim << ", codes " << nCodes << ", best " << nBest
                                    << ", root " << root << ", seed " << seed());
    const auto x = anyValues<T>(random, dim), codes = anyValues<T>(random, dim * nCodes);
    Guarded<T> source(dim, 1), codebook(dim * nCodes, 1);
    source.assign(x);
    codebook.assign(codes);
    using Distance = reference::QuantiserDistance<T>;
    Guarded<Distance> distances(nCodes, 3);
    Guarded<int16_t> best(nCodes, 1);
    best.assign(std::vector<int16_t>(nCodes, -7));
    const int16_t *const end =
        evaluate(source.data(), static_cast<int32_t>(dim), static_cast<int32_t>(nCodes), codebook.data(),
                 nBest, best.data(), root ? 3 : 0, distances.data());
    const auto expected = reference::codeDistances(x, codes, nCodes, root);
    EXPECT_TRUE(sameDistances(expected, distances.values()));
    EXPECT_EQ(nBest < 1 ? std::vector<int16_t>(nCodes, -7) : reference::rankedCodes(expected, nBest),
              best.values());
    EXPECT_EQ(std::max(0, std::min(nBest, static_cast<int32_t>(nCodes))), end - best.data());
    EXPECT_TRUE(distances.intact());
    EXPECT_TRUE(best.intact());
}

template <class T>
void compareSizes() {
    Random random;
    for (std::size_t dim = 0; dim <= 41; ++dim)
        for (const std::size_t nCodes : {0u, 1u, 2u, 15u, 16u, 17u, 31u, 32u, 45u})
            compare<T>(random, dim, nCodes);
    for (std::size_t nCodes = 0; nCodes <= 130; ++nCodes)
        compare<T>(random, random.index(20), nCodes);
    compare<T>(random, 300, 77);
    compare<T>(random, 13, 3000);
}

TEST_P(QuantiserLevels, Floats) { compareSizes<float>(); }
TEST_P(QuantiserLevels, Words) { compareSizes<int16_t>(); }

} // namespace
} // namespace qzk::test
