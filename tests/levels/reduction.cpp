// Every kernel of the reductions at every level against the plain one, on memory that ends where the vector
// does: nothing beyond it may be read.
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/fenced.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace qzk::test {
namespace {

using simd::ExtremeKernels;
using simd::SumKernels;

class ReductionLevels : public LevelTest {
protected:
    const simd::ReductionKernels &plain_ = simd::kernelsOf(simd::Level::plain).reduction;
    const simd::ReductionKernels &tested_ = simd::kernelsOf(GetParam()).reduction;
    Random random_;
    Fenced memory_{9000};

    template <class Test>
    void forLengths(Test test) {
        for (std::size_t n = 0; n <= 1100; n += n < 300 ? 1 : 23)
            test(n);
        test(2048);
    }

    /// Random bytes at either end of the memory; `variety` is how many values they take.
    const std::uint8_t *place(std::size_t bytes, bool atEnd, unsigned variety) {
        std::uint8_t *const first = memory_.place(bytes, atEnd);
        const auto base = random_.bits();
        for (std::size_t i = 0; i < bytes; ++i)
            first[i] = static_cast<std::uint8_t>(base + random_.bits() % variety);
        return first;
    }

    template <class Element>
    void compare(Source<Element> src, std::size_t n) {
        SCOPED_TRACE(testing::Message() << n << " elements, seed " << seed());
        if (n != 0) {
            const ExtremeKernels<Element> &plain = plain_, &tested = tested_;
            const auto same = [&](auto form) {
                const simd::Extreme expected = (plain.*form)(src, n), actual = (tested.*form)(src, n);
                ASSERT_EQ(expected.rank, actual.rank);
                ASSERT_EQ(expected.index, actual.index);
            };
            ASSERT_NO_FATAL_FAILURE(same(&ExtremeKernels<Element>::smallest));
            ASSERT_NO_FATAL_FAILURE(same(&ExtremeKernels<Element>::largest));
        }
        const SumKernels<Element> &plain = plain_, &tested = tested_;
        if constexpr (std::is_same_v<Element, float>)
            ASSERT_TRUE(sameBits(plain.sum(src, n), tested.sum(src, n)));
        else
            ASSERT_EQ(plain.sum(src, n), tested.sum(src, n));
    }

    template <class T>
    void compareElements() {
        forLengths([&](std::size_t n) {
            for (const bool atEnd : {false, true})
                for (const unsigned variety : {1u, 2u, 256u}) {
                    const auto *const src = place(n * sizeof(T), atEnd, variety);
                    ASSERT_NO_FATAL_FAILURE(compare<T>({reinterpret_cast<const T *>(src)}, n));
                }
        });
    }
};
INSTANTIATE_TEST_SUITE_P(Levels, ReductionLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(ReductionLevels, Bytes) { compareElements<std::uint8_t>(); }
TEST_P(ReductionLevels, SignedBytes) { compareElements<std::int8_t>(); }
TEST_P(ReductionLevels, Words) { compareElements<std::int16_t>(); }
TEST_P(ReductionLevels, Floats) { compareElements<float>(); }

TEST_P(ReductionLevels, Nibbles) {
    forLengths([&](std::size_t n) {
        for (const std::size_t skipped : {0u, 1u})
            for (const bool atEnd : {false, true})
                for (const unsigned variety : {1u, 2u, 256u}) {
                    const auto *const src = place((n + skipped + 1) / 2, atEnd, variety);
                    ASSERT_NO_FATAL_FAILURE(compare<Nibble>({src, skipped}, n));
                }
    });
}

TEST_P(ReductionLevels, SetBits) {
    forLengths([&](std::size_t n) {
        for (const bool atEnd : {false, true})
            for (const unsigned variety : {1u, 256u}) {
                const auto *const src = place(n, atEnd, variety);
                ASSERT_EQ(plain_.setBits(src, n), tested_.setBits(src, n)) << n << " bytes, seed " << seed();
            }
    });
}

/// The extremes of every kind at every place of vectors around the sizes that kernels work in.
TEST_P(ReductionLevels, ASingleExtremeAtEveryPlace) {
    std::vector<std::int16_t> src(1100, 5);
    const ExtremeKernels<std::int16_t> &words = tested_;
    for (const std::size_t n : {1u, 31u, 33u, 511u, 512u, 513u, 1100u})
        for (std::size_t place = 0; place < n; ++place) {
            src[place] = -5;
            ASSERT_EQ(place, words.smallest({src.data()}, n).index);
            src[place] = 50;
            ASSERT_EQ(place, words.largest({src.data()}, n).index);
            src[place] = 5;
        }
}

/// Sums that are exact in any order, that just are not, and that become inexact on the way.
TEST_P(ReductionLevels, FloatsAroundExactSums) {
    const SumKernels<float> &plain = plain_, &tested = tested_;
    const auto compare = [&](const std::vector<float> &src) {
        const std::size_t n = src.size();
        ASSERT_TRUE(sameBits(plain.sum({src.data()}, n), tested.sum({src.data()}, n)))
            << n << " floats, seed " << seed();
    };
    const auto scaled = [&](std::size_t n, int bits, int exponent, bool oneSign) {
        std::vector<float> src(n);
        for (float &value : src) {
            const double real = random_.real(oneSign ? 0.5 : -1.0, 1.0);
            value =
                static_cast<float>(std::ldexp(real, exponent - static_cast<int>(random_.integer(0, bits))));
        }
        return src;
    };
    for (int bits = 0; bits <= 60; ++bits)
        for (const int exponent : {-130, -100, 0, 100, 127})
            for (const std::size_t n : {191u, 192u, 515u, 2051u, 9000u}) {
                compare(scaled(n, bits, exponent, false));
                compare(scaled(n, bits, exponent, true));
                if (HasFatalFailure()) return;
            }
    auto silent = scaled(9000, 3, 0, true);
    std::fill(silent.end() - 5000, silent.end() - 900, 0.0f);
    compare(silent);
    compare(scaled(200000, 3, 0, true));
    compare(scaled(200000, 0, 0, false));

    for (const float special :
         {0.0f, -0.0f, std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
          std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::denorm_min(),
          std::numeric_limits<float>::min(), std::numeric_limits<float>::max()}) {
        compare(std::vector<float>(3000, special));
        for (int round = 0; round < 20; ++round) {
            auto src = scaled(3000, 4, 0, false);
            src[random_.index(src.size())] = special;
            compare(src);
        }
    }
}

/// Around 2^53 times the last bit of the elements: the sums of one place reach it within a block or not, and
/// small elements that come later show whether the order was kept.
TEST_P(ReductionLevels, FloatsThatReachTheBound) {
    const SumKernels<float> &plain = plain_, &tested = tested_;
    int inexact = 0;
    for (int exponent = 40; exponent <= 50; ++exponent)
        for (int round = 0; round < 50; ++round) {
            std::vector<float> src(1536);
            for (float &value : src) {
                value = static_cast<float>(random_.integer(0x800000, 0xFFFFFF)); // last bit 1
                if (random_.bits() % 4 != 0) value = std::ldexp(value, exponent - 24);
            }
            const double expected = plain.sum({src.data()}, src.size());
            ASSERT_TRUE(sameBits(expected, tested.sum({src.data()}, src.size())))
                << "exponent " << exponent << ", seed " << seed();
            double upwards = 0.0;
            for (const float value : src)
                upwards += static_cast<double>(value);
            inexact += upwards != expected;
        }
    EXPECT_GT(inexact, 0) << "no order shows";
}

/// Large elements that take the sums past 2^53, and odd ones, whose last bits are rounded away there one by
/// one unless they are added among themselves first.
TEST_P(ReductionLevels, FloatsRoundTheirLastBitsOneByOne) {
    const SumKernels<float> &plain = plain_, &tested = tested_;
    const auto compare = [&](const std::vector<float> &src) {
        std::int64_t exact = 0;
        for (const float value : src)
            exact += static_cast<std::int64_t>(value);
        for (const int exponent : {0, -120, 80})
            for (const float sign : {1.0f, -1.0f}) {
                auto scaled = src;
                for (float &value : scaled)
                    value = std::ldexp(sign * value, exponent);
                const double expected = plain.sum({scaled.data()}, scaled.size());
                EXPECT_NE(std::ldexp(sign * static_cast<double>(exact), exponent), expected) << "exact";
                EXPECT_TRUE(sameBits(expected, tested.sum({scaled.data()}, scaled.size())))
                    << src.size() << " floats, exponent " << exponent;
            }
    };
    // The ends of a range of exponents.
    for (const float odd : {0x1p23f + 1, 0x1p24f - 1}) {
        // Within one block, whose bound is 2^53 or little more.
        for (const std::size_t large : {1024u, 1200u, 1366u, 1500u}) {
            std::vector<float> src(1536, odd);
            std::fill(src.end() - static_cast<std::ptrdiff_t>(large), src.end(), 0x1p45f);
            compare(src);
        }
        // Within one block, in every other vector.
        for (const std::size_t lanes : {8u, 16u})
            for (const std::size_t place : {0u, 1u}) {
                std::vector<float> src(1536, odd);
                for (std::size_t i = 0; i < src.size(); ++i)
                    if (i / lanes % 2 == place) src[i] = 0x1p46f;
                compare(src);
            }
        // From block to block, in one place of four only.
        for (std::size_t place = 0; place < 4; ++place) {
            std::vector<float> src(4096, odd);
            std::fill(src.begin() + 2048, src.end(), 0.0f);
            for (std::size_t i = 2048 + place; i < src.size(); i += 4)
                src[i] = 0x1p44f - 0x1p20f;
            compare(src);
        }
    }
}

/// Fine elements first, then coarse ones past 2^53 times the last bit of the fine ones: rounded once for each
/// coarse element the sum is not what it is when rounded once for all.
TEST_P(ReductionLevels, CoarseFloatsAfterFineOnes) {
    const SumKernels<float> &plain = plain_, &tested = tested_;
    int inexact = 0;
    for (int round = 0; round < 400; ++round) {
        // Subnormal elements and normal ones.
        const bool subnormal = round % 2 != 0;
        const int exponent = subnormal ? -149 : 0;
        std::vector<float> src(4096);
        double fine = 0.0, coarse = 0.0;
        for (std::size_t i = 0; i < src.size(); ++i) {
            const auto number = static_cast<float>(subnormal ? random_.integer(1, 0x7FFFFF)
                                                             : random_.integer(0x800000, 0xFFFFFF));
            const bool isFine = i >= 2048;
            src[i] = std::ldexp(number, exponent + (isFine ? 0 : 26 + round % 8));
            (isFine ? fine : coarse) += static_cast<double>(src[i]);
        }
        const double expected = plain.sum({src.data()}, src.size());
        ASSERT_TRUE(sameBits(expected, tested.sum({src.data()}, src.size())))
            << "round " << round << ", seed " << seed();
        inexact += fine + coarse != expected;
    }
    EXPECT_GT(inexact, 0) << "no order shows";
}

TEST_P(ReductionLevels, LongSumsOfExtremes) {
    const std::size_t n = (std::size_t{1} << 22) + 77;
    for (const int fill : {0x00, 0x7F, 0x80, 0xFF}) {
        const std::vector<std::uint8_t> bytes(n, static_cast<std::uint8_t>(fill));
        const auto count = static_cast<std::int64_t>(n);
        ASSERT_EQ(count * fill,
                  static_cast<const SumKernels<std::uint8_t> &>(tested_).sum({bytes.data()}, n));
        ASSERT_EQ(count * static_cast<std::int8_t>(fill),
                  static_cast<const SumKernels<std::int8_t> &>(tested_).sum(
                      {reinterpret_cast<const std::int8_t *>(bytes.data())}, n));
        ASSERT_EQ(count * (fill / 16 + fill % 16),
                  static_cast<const SumKernels<Nibble> &>(tested_).sum({bytes.data(), 0}, 2 * n));
        ASSERT_EQ(plain_.setBits(bytes.data(), n), tested_.setBits(bytes.data(), n));
    }
    for (const int fill : {-32768, 32767}) {
        const std::vector<std::int16_t> words(n, static_cast<std::int16_t>(fill));
        ASSERT_EQ(static_cast<std::int64_t>(n) * fill,
                  static_cast<const SumKernels<std::int16_t> &>(tested_).sum({words.data()}, n));
    }
}

} // namespace
} // namespace qzk::test
