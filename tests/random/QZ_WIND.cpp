// Windows and pre-emphasis against their formulas, bit for bit: windows of every length up to a few hundred,
// and 16-bit pre-emphasis with coefficients around the bounds within which double is as good as extended.
#include "qzk.h"
#include "reference/front_end.hpp"
#include "support/bits.hpp"
#include "support/random.hpp"

#include <cmath>
#include <limits>

namespace qzk::test {
namespace {

using reference::Taper;

struct NamedWindow {
    Taper kind;
    void (*apply)(float *, int32_t);
    int32_t (*free)();
};

constexpr NamedWindow windows[] = {{Taper::hamming, QZsWinHamming, QZsFreeWinHammingTbls},
                                   {Taper::hanning, QZsWinHanning, QZsFreeWinHanningTbls},
                                   {Taper::bartlett, QZsWinBartlett, QZsFreeWinBartlettTbls},
                                   {Taper::blackman, QZsWinBlackman, QZsFreeWinBlackmanTbls}};

TEST(Windows, EveryLength) {
    Random random;
    for (const NamedWindow &window : windows) {
        for (std::size_t n = 0; n < 300; n = n < 70 ? n + 1 : n + 23) {
            auto data = random.anyReals<float>(n);
            const auto expected = reference::tapered(window.kind, data);
            window.apply(data.data(), static_cast<int32_t>(n));
            ASSERT_TRUE(sameBits(expected, data)) << "length " << n << ", seed " << seed();
        }
        window.free();
    }
}

TEST(PreEmphasis, Floats) {
    Random random;
    for (int run = 0; run < 300; ++run) {
        auto x = random.anyReals<float>(static_cast<std::size_t>(random.integer(0, 200)));
        const float a = random.anyReals<float>(1)[0];
        const auto expected = reference::preEmphasized(x, a);
        QZsPreemphasize(x.data(), a, static_cast<int32_t>(x.size()));
        ASSERT_TRUE(sameBits(expected, x)) << "coefficient " << a << ", seed " << seed();
    }
}

void expectShorts(Random &random, float a) {
    auto v = random.elements<std::int16_t>(static_cast<std::size_t>(random.integer(1, 200)));
    const auto expected = reference::preEmphasized(v, a);
    int32_t scale = 1;
    QZwPreemphasize(v.data(), a, static_cast<int32_t>(v.size()), 0, &scale);
    ASSERT_EQ(expected, v) << "coefficient " << a << ", seed " << seed();
}

TEST(PreEmphasis, Shorts) {
    Random random;
    for (int run = 0; run < 500; ++run)
        expectShorts(random, static_cast<float>(random.real(-1.0, 1.0)));
    for (const float a : random.anyReals<float>(500))
        expectShorts(random, a);
}

TEST(PreEmphasis, ShortsAtTheBoundsOfDouble) {
    Random random;
    for (const float bound : {0x1p-14f, 1.0f, 0x1p14f, 0x1p16f}) {
        for (float a = bound * (1.0f - 0x1p-20f); a < bound * (1.0f + 0x1p-20f);
             a = std::nextafter(a, std::numeric_limits<float>::infinity())) {
            expectShorts(random, a);
            expectShorts(random, -a);
        }
    }
    for (const float power : {0x1p-126f, 0x1p-100f, 0x1p-70f, 0x1p-50f, 0x1p-40f, 0x1p-30f, 0x1p-20f})
        for (int run = 0; run < 20; ++run)
            expectShorts(random, power * static_cast<float>(random.real(-2.0, 2.0)));
}

} // namespace
} // namespace qzk::test
