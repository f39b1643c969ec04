// Every kernel of the reductions at every level against the plain one, on memory that ends where the vector
// does: nothing beyond it may be read.
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/fenced.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <cstring>

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
        std::uint8_t *const first = atEnd ? memory_.end() - bytes : memory_.begin();
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
