// Every level of the transforms and of their kernels against the definition, bit for bit: all lanes compute
// in double and round where the definition does, so nothing is approximate.
#include "common/fft.hpp"
#include "qzk.h"
#include "reference/fft.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <bit>
#include <cstring>
#include <vector>

namespace qzk::test {
namespace {

using reference::Points;

class FftLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, FftLevels, testing::ValuesIn(availableLevels()), levelTestName);

std::vector<float> parts(const Points &points) {
    std::vector<float> result;
    for (const auto &point : points)
        result.insert(result.end(), {point.re, point.im});
    return result;
}

Points pointsOf(const std::vector<float> &floats) { return reference::asPoints(floats); }

/// Data that take every path: ordinary, of all magnitudes, with infinities and not-a-numbers, tiny, almost
/// constant (exact cancellation), and zeros of both signs.
constexpr int kinds = 6;
std::vector<float> dataOf(int kind, std::size_t n) {
    Random random(n * kinds + static_cast<std::size_t>(kind));
    switch (kind) {
    case 0:
        return random.reals<float>(n);
    case 1:
        return random.anyReals<float>(n, false);
    case 2: {
        auto data = random.reals<float>(n, -1e4, 1e4);
        const auto special = random.anyReals<float>(n);
        for (int i = 0; i < 3; ++i) {
            const auto at = random.index(n);
            data[at] = special[at];
        }
        return data;
    }
    case 3:
        return random.reals<float>(n, -0x1p-125, 0x1p-125);
    case 4: {
        std::vector<float> data(n, 3.0f);
        data[random.index(n)] = 0x1p-140f;
        return data;
    }
    default: {
        std::vector<float> data(n);
        for (float &value : data)
            value = random.bits() % 2 == 0 ? 0.0f : -0.0f;
        data[random.index(n)] = 1.0f;
        return data;
    }
    }
}

constexpr int32_t allFlags[] = {QZ_FORWARD, QZ_INVERSE, QZ_INVERSE | QZ_NOSCALE, QZ_FORWARD | QZ_NOSCALE};

std::string trace(int order, int kind, int flags) {
    return "order " + std::to_string(order) + ", data " + std::to_string(kind) + ", flags " +
           std::to_string(flags) + ", seed " + std::to_string(seed());
}

/// Runs `expected` and `actual` over all orders, data and flags; the actual data lie at odd addresses too.
template <class Expected, class Actual>
void compareTransforms(int highestOrder, std::size_t floatsPerElement, Expected expected, Actual actual) {
    for (int order = 0; order <= highestOrder; ++order) {
        const std::size_t n = floatsPerElement << order;
        for (int kind = 0; kind < kinds; ++kind) {
            const auto before = dataOf(kind, n);
            for (const int32_t flags : allFlags) {
                auto wanted = before;
                expected(wanted, order, flags);
                Guarded<float> data(n, static_cast<std::size_t>(order * 5 + kind) % 9);
                data.assign(before);
                actual(data.data(), order, flags);
                ASSERT_TRUE(sameBits(wanted, data.values())) << trace(order, kind, flags);
                ASSERT_TRUE(data.intact()) << trace(order, kind, flags);
            }
        }
    }
}

QZComplexFloat *asComplex(float *data) { return reinterpret_cast<QZComplexFloat *>(data); }

TEST_P(FftLevels, ComplexTransform) {
    compareTransforms(
        14, 2,
        [](std::vector<float> &data, int order, int flags) {
            Points points = pointsOf(data);
            reference::complexFft(points, order, flags);
            data = parts(points);
        },
        [](float *data, int order, int flags) { QZcFft(asComplex(data), order, flags); });
    QZFreeFftTbls();
}

TEST_P(FftLevels, RealTransform) {
    compareTransforms(14, 1, reference::realFft, QZsRealFft);
    QZFreeFftTbls();
}

TEST_P(FftLevels, CcsTransform) {
    compareTransforms(14, 1, reference::ccsFft, QZsCcsFft);
    QZFreeFftTbls();
}

/// The destination at every kind of distance from the source: the same, apart, and overlapping on either
/// side.
TEST_P(FftLevels, NotInPlaceIsTheCopyAndTheTransform) {
    for (int order = 1; order <= 10; ++order) {
        const int n = 1 << order; // points of the complex transform have two floats
        const auto before = dataOf(0, static_cast<std::size_t>(6 * n + 2));
        for (const int distance :
             {0, 1, -1, 3, -4, n / 2, -n / 2, n - 1, 1 - n, n, -n, 2 * n - 1, 1 - 2 * n, 2 * n, -2 * n})
            for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE}) {
                auto expected = before, actual = before;
                float *wanted = expected.data() + 2 * n + distance, *dst = actual.data() + 2 * n + distance;
                QZsbCopy(expected.data() + 2 * n, wanted, n);
                QZsRealFft(wanted, order, flags);
                QZsRealFftNip(actual.data() + 2 * n, dst, order, flags);
                ASSERT_TRUE(sameBits(expected, actual))
                    << trace(order, 0, flags) << ", distance " << distance;

                expected = actual = before;
                QZsbCopy(expected.data() + 2 * n, wanted, 2 * n);
                QZcFft(asComplex(wanted), order, flags);
                QZcFftNip(asComplex(actual.data() + 2 * n), asComplex(dst), order, flags);
                ASSERT_TRUE(sameBits(expected, actual))
                    << trace(order, 0, flags) << ", distance " << distance;
            }
    }
    QZFreeFftTbls();
}

TEST_P(FftLevels, LargeTransforms) {
    for (const int order : {15, 16, 17}) {
        const std::size_t n = std::size_t{1} << order;
        for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE}) {
            auto actual = dataOf(0, 2 * n);
            Points points = pointsOf(actual);
            reference::complexFft(points, order, flags);
            QZcFft(asComplex(actual.data()), order, flags);
            ASSERT_TRUE(sameBits(parts(points), actual)) << trace(order, 0, flags);
        }
    }
    QZFreeFftTbls();
}

TEST_P(FftLevels, Core) {
    compareTransforms(
        13, 2,
        [](std::vector<float> &data, int order, int flags) {
            if (order == 0) return;
            Points points = pointsOf(data);
            reference::core(points, (flags & QZ_FORWARD) != 0 ? 1 : -1, reference::twiddles(order));
            data = parts(points);
        },
        [](float *data, int order, int flags) {
            if (order == 0) return;
            QZcFftCore(asComplex(data), int64_t{1} << order, (flags & QZ_FORWARD) != 0 ? 1 : -1,
                       QZcGetFftTwdTbl(order));
        });
    QZFreeFftTbls();
}

TEST_P(FftLevels, Permutation) {
    compareTransforms(
        16, 2,
        [](std::vector<float> &data, int order, int) {
            Points points = pointsOf(data);
            reference::permute(points, order);
            data = parts(points);
        },
        [](float *data, int order, int) { EXPECT_TRUE(QZcBitRevPermute(asComplex(data), order)); });
    QZFreeFftTbls();
}

TEST_P(FftLevels, RealSplitPass) {
    compareTransforms(
        13, 2,
        [](std::vector<float> &data, int order, int flags) {
            Points points = pointsOf(data);
            reference::splitReal(points, (flags & QZ_FORWARD) != 0 ? 1 : -1, reference::realTable(order + 1));
            data = parts(points);
        },
        [](float *data, int order, int flags) {
            splitReal(asComplex(data), int64_t{1} << order, (flags & QZ_FORWARD) != 0 ? 1 : -1,
                      QZGetRealFftTwdTbl(order + 1));
        });
    QZFreeFftTbls();
}

TEST_P(FftLevels, CcsSplitPass) {
    compareTransforms(
        13, 2,
        [](std::vector<float> &data, int order, int flags) {
            Points points = pointsOf(data);
            reference::splitCcs(points, (flags & QZ_FORWARD) != 0 ? 1 : -1, reference::twiddles(order + 1));
            data = parts(points);
        },
        [](float *data, int order, int flags) {
            splitCcs(asComplex(data), int64_t{1} << order, (flags & QZ_FORWARD) != 0 ? 1 : -1,
                     QZcGetFftTwdTbl(order + 1));
        });
    QZFreeFftTbls();
}

TEST_P(FftLevels, Scale) {
    Random random;
    for (std::size_t n = 0; n <= 130; ++n) {
        const auto before = random.anyReals<float>(n);
        const double factor = std::ldexp(1.0, -static_cast<int>(n % 33));
        std::vector<float> expected(n);
        for (std::size_t i = 0; i < n; ++i)
            expected[i] = static_cast<float>(before[i] * factor);
        Guarded<float> data(n, n % 7);
        data.assign(before);
        simd::kernels().fft.scale(data.data(), n, factor);
        ASSERT_TRUE(sameBits(expected, data.values())) << "length " << n << ", seed " << seed();
        ASSERT_TRUE(data.intact()) << "length " << n;
    }
}

} // namespace
} // namespace qzk::test
