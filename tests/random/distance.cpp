// Every exported distance against its sum written out, on random data of all magnitudes.
#include "reference/distance.hpp"
#include "qzk.h"
#include "support/bits.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <cmath>
#include <vector>

namespace qzk::test {
namespace {

class RandomDistances : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, RandomDistances, testing::ValuesIn(availableLevels()), levelTestName);

std::vector<std::size_t> lengths() {
    std::vector<std::size_t> result;
    for (std::size_t n = 0; n <= 130; ++n)
        result.push_back(n);
    for (const std::size_t n : {255u, 256u, 257u, 1000u, 2049u, 4099u})
        result.push_back(n);
    return result;
}

template <class T>
std::vector<std::vector<T>> lowerTriangle(Random &random, std::size_t n) {
    std::vector<std::vector<T>> rows;
    for (std::size_t i = 0; i < n; ++i) {
        if constexpr (sizeof(T) == 4)
            rows.push_back(random.reals<T>(i + 1));
        else
            rows.push_back(random.elements<T>(i + 1));
    }
    return rows;
}

template <class T>
std::vector<const T *> pointersTo(const std::vector<std::vector<T>> &rows) {
    std::vector<const T *> pointers;
    for (const auto &row : rows)
        pointers.push_back(row.data());
    return pointers;
}

TEST_P(RandomDistances, OfFloats) {
    Random random;
    for (const bool any : {false, true}) {
        for (const std::size_t n : lengths()) {
            const auto len = static_cast<int32_t>(n);
            const auto a = any ? random.anyReals<float>(n, n % 3 == 0) : random.reals<float>(n);
            const auto b = any ? random.anyReals<float>(n, n % 3 == 0) : random.reals<float>(n);
            const auto w = any ? random.anyReals<float>(n, n % 3 == 0) : random.reals<float>(n);
            SCOPED_TRACE(testing::Message() << "length " << n << ", seed " << seed());
            ASSERT_TRUE(sameBits(reference::dotProduct(a, b), QZsDotP(a.data(), b.data(), len)));
            ASSERT_TRUE(sameBits(reference::l1Norm(a, b), QZsL1Norm(a.data(), b.data(), len)));
            const double l2 = reference::l2Norm(a, b), diagonal = reference::mahalanobisD(a, b, w);
            ASSERT_TRUE(sameBits(l2, QZsL2Norm(a.data(), b.data(), len, 0)));
            ASSERT_TRUE(sameBits(std::sqrt(l2), QZsL2Norm(a.data(), b.data(), len, 1)));
            ASSERT_TRUE(sameBits(diagonal, QZsMahalanobisD(a.data(), b.data(), w.data(), len, 0)));
            ASSERT_TRUE(sameBits(std::sqrt(diagonal), QZsMahalanobisD(a.data(), b.data(), w.data(), len, 1)));
            if (n > 260) continue;
            const auto rows = lowerTriangle<float>(random, n);
            const double full = reference::mahalanobis(a, b, rows);
            ASSERT_TRUE(sameBits(full, QZsMahalanobis(a.data(), b.data(), pointersTo(rows).data(), len, 0)));
            ASSERT_TRUE(sameBits(std::sqrt(full),
                                 QZsMahalanobis(a.data(), b.data(), pointersTo(rows).data(), len, 1)));
        }
    }
}

TEST_P(RandomDistances, OfWords) {
    Random random;
    for (const std::size_t n : lengths()) {
        const auto len = static_cast<int32_t>(n);
        const auto a = random.elements<int16_t>(n), b = random.elements<int16_t>(n);
        const auto w = random.elements<int16_t>(n);
        const auto converted = [](double value, int32_t *scale) {
            return QZdiConvertDown(value, QZ_ScaleAuto, scale);
        };
        const auto check = [&](double expected, auto call) {
            int32_t expectedScale = 0, scale = 99;
            EXPECT_EQ(converted(expected, &expectedScale), call(&scale));
            EXPECT_EQ(expectedScale, scale);
        };
        SCOPED_TRACE(testing::Message() << "length " << n << ", seed " << seed());
        check(reference::dotProduct(a, b),
              [&](int32_t *scale) { return QZwDotP(a.data(), b.data(), len, QZ_ScaleAuto, scale); });
        check(reference::l1Norm(a, b),
              [&](int32_t *scale) { return QZwL1Norm(a.data(), b.data(), len, QZ_ScaleAuto, scale); });
        check(reference::l2Norm(a, b),
              [&](int32_t *scale) { return QZwL2Norm(a.data(), b.data(), len, 0, QZ_ScaleAuto, scale); });
        check(std::sqrt(reference::l2Norm(a, b)),
              [&](int32_t *scale) { return QZwL2Norm(a.data(), b.data(), len, 1, QZ_ScaleAuto, scale); });
        check(reference::mahalanobisD(a, b, w), [&](int32_t *scale) {
            return QZwMahalanobisD(a.data(), b.data(), w.data(), len, 0, QZ_ScaleAuto, scale);
        });
        if (n <= 260) {
            const auto rows = lowerTriangle<int16_t>(random, n);
            check(reference::mahalanobis(a, b, rows), [&](int32_t *scale) {
                return QZwMahalanobis(a.data(), b.data(), pointersTo(rows).data(), len, 0, QZ_ScaleAuto,
                                      scale);
            });
        }
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}

} // namespace
} // namespace qzk::test
