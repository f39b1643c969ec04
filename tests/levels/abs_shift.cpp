// Magnitudes and shifts at every level against one element at a time. Everything is exact; what surrounds the
// elements is compared too.
#include "reference/abs_shift.hpp"
#include "qzk.h"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <cstring>
#include <functional>

namespace qzk::test {
namespace {

template <class T>
constexpr int widthOf = 8 * sizeof(T);

class AbsShiftLevels : public LevelTest {
protected:
    /// Every length up to 130, and long ones, at changing misalignments.
    template <class Test>
    void forLengths(Test test) {
        for (std::size_t n = 0; n <= 130; ++n)
            test(n, n * 7 % 67);
        for (const std::size_t n : {255u, 256u, 1001u, 4099u})
            test(n, n % 61);
    }

    template <class T>
    void compareInPlace(void (*shift)(T *, std::int32_t, std::uint8_t),
                        const std::function<std::int64_t(T, unsigned)> &one) {
        forLengths([&](std::size_t n, std::size_t misalignment) {
            const auto before = random_.elements<T>(n);
            const auto count = static_cast<std::uint8_t>(random_.bits());
            Guarded<T> actual(n, misalignment);
            actual.assign(before);
            shift(actual.data(), static_cast<std::int32_t>(n), count);
            auto expected = before;
            for (T &element : expected)
                element = static_cast<T>(one(element, count));
            ASSERT_EQ(expected, actual.values()) << n << " elements by " << int{count} << ", seed " << seed();
            ASSERT_TRUE(actual.intact()) << n << " elements";
        });
        const auto all = everyValue<T>();
        for (unsigned count = 0; count < 256; count += count < 40 ? 1 : 31) {
            auto actual = all, expected = all;
            shift(actual.data(), static_cast<std::int32_t>(all.size()), static_cast<std::uint8_t>(count));
            for (T &element : expected)
                element = static_cast<T>(one(element, count));
            ASSERT_EQ(expected, actual) << "every value by " << count;
        }
    }

    template <class T>
    void compareShifts(void (*left)(T *, std::int32_t, std::uint8_t),
                       void (*right)(T *, std::int32_t, std::uint8_t)) {
        compareInPlace<T>(left, [](T element, unsigned count) {
            return reference::shiftedLeft(element, count, widthOf<T>, std::is_signed_v<T>);
        });
        compareInPlace<T>(right,
                          [](T element, unsigned count) { return reference::shiftedRight(element, count); });
    }

    template <class T>
    static std::vector<T> everyValue() {
        std::vector<T> values(std::size_t{1} << widthOf<T>);
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<T>(i);
        return values;
    }

    template <class T>
    void compareMagnitudes(void (*inPlace)(T *, std::int32_t),
                           void (*separate)(const T *, T *, std::int32_t)) {
        const auto compare = [&](const std::vector<T> &src, std::size_t misalignment) {
            const std::size_t n = src.size();
            auto expected = src;
            for (T &element : expected)
                element = static_cast<T>(reference::magnitude(element, widthOf<T>));
            Guarded<T> srcDst(n, misalignment), dst(n, misalignment);
            srcDst.assign(src);
            inPlace(srcDst.data(), static_cast<std::int32_t>(n));
            if (n != 0) separate(src.data(), dst.data(), static_cast<std::int32_t>(n));
            ASSERT_EQ(expected, srcDst.values()) << n << " elements, seed " << seed();
            if (n != 0) {
                ASSERT_EQ(expected, dst.values()) << n << " elements, seed " << seed();
            }
            ASSERT_TRUE(srcDst.intact() && dst.intact()) << n << " elements";
        };
        forLengths([&](std::size_t n, std::size_t misalignment) {
            ASSERT_NO_FATAL_FAILURE(compare(random_.elements<T>(n), misalignment));
        });
        compare(everyValue<T>(), 3);
    }

    /// Distances in bytes, so that elements overlap in part too.
    template <class T, class One>
    void compareOverlaps(void (*separate)(const T *, T *, std::int32_t), One one) {
        constexpr int most = 40 * sizeof(T);
        for (int distance = -most; distance <= most; ++distance)
            for (const std::size_t n : {std::size_t{1}, random_.index(130) + 1, random_.index(130) + 1,
                                        std::size_t{300}, std::size_t{2500}}) {
                const int base = most + static_cast<int>(random_.index(64));
                const auto before =
                    random_.elements<std::uint8_t>(static_cast<std::size_t>(base + most) + n * sizeof(T));
                auto expected = before, actual = before;
                for (std::size_t i = n; i-- > 0;) {
                    T element;
                    std::memcpy(&element,
                                &expected[static_cast<std::size_t>(base + distance) + i * sizeof(T)],
                                sizeof element);
                    element = one(element);
                    std::memcpy(&expected[static_cast<std::size_t>(base) + i * sizeof(T)], &element,
                                sizeof element);
                }
                separate(reinterpret_cast<const T *>(actual.data() + base + distance),
                         reinterpret_cast<T *>(actual.data() + base), static_cast<std::int32_t>(n));
                ASSERT_EQ(expected, actual) << "distance " << distance << ", seed " << seed();
            }
    }

    Random random_;
};
INSTANTIATE_TEST_SUITE_P(Levels, AbsShiftLevels, testing::ValuesIn(availableLevels()), levelTestName);

using Word = std::uint32_t;
Word clearedSign(Word bits) { return bits % 0x80000000; }
void floatMagnitudes(Word *srcDst, std::int32_t len) { QZsbAbs(reinterpret_cast<float *>(srcDst), len); }
void floatMagnitudes2(const Word *src, Word *dst, std::int32_t len) {
    QZsbAbs2(reinterpret_cast<const float *>(src), reinterpret_cast<float *>(dst), len);
}

TEST_P(AbsShiftLevels, ShiftsOfBytes) { compareShifts(QZybShiftL, QZybShiftR); }
TEST_P(AbsShiftLevels, ShiftsOfSignedBytes) { compareShifts(QZtbShiftL, QZtbShiftR); }
TEST_P(AbsShiftLevels, ShiftsOfWords) { compareShifts(QZwbShiftL, QZwbShiftR); }
TEST_P(AbsShiftLevels, MagnitudesOfBytes) { compareMagnitudes(QZtbAbs, QZtbAbs2); }
TEST_P(AbsShiftLevels, MagnitudesOfWords) { compareMagnitudes(QZwbAbs, QZwbAbs2); }

TEST_P(AbsShiftLevels, MagnitudesOfFloats) {
    forLengths([&](std::size_t n, std::size_t misalignment) {
        const auto src = random_.elements<Word>(n);
        auto expected = src;
        for (Word &element : expected)
            element = clearedSign(element);
        Guarded<Word> srcDst(n, misalignment), dst(n, misalignment);
        srcDst.assign(src);
        floatMagnitudes(srcDst.data(), static_cast<std::int32_t>(n));
        floatMagnitudes2(src.data(), dst.data(), static_cast<std::int32_t>(n));
        ASSERT_EQ(expected, srcDst.values()) << n << " elements, seed " << seed();
        ASSERT_EQ(expected, dst.values()) << n << " elements, seed " << seed();
        ASSERT_TRUE(srcDst.intact() && dst.intact()) << n << " elements";
    });
}

TEST_P(AbsShiftLevels, MagnitudesAtEveryDistance) {
    compareOverlaps<std::int8_t>(QZtbAbs2, [](std::int8_t element) {
        return static_cast<std::int8_t>(reference::magnitude(element, 8));
    });
    compareOverlaps<std::int16_t>(QZwbAbs2, [](std::int16_t element) {
        return static_cast<std::int16_t>(reference::magnitude(element, 16));
    });
    compareOverlaps<Word>(floatMagnitudes2, clearedSign);
}

/// Against either of two pages that nobody may touch.
TEST_P(AbsShiftLevels, NothingIsReadBeyondTheElements) {
    Fenced src(1024), dst(1024);
    const auto check = [&]<class T>(void (*separate)(const T *, T *, std::int32_t)) {
        for (std::int32_t n = 1; n <= 150; ++n)
            for (const bool atEnd : {false, true}) {
                const auto elements = random_.elements<T>(static_cast<std::size_t>(n));
                const std::size_t bytes = elements.size() * sizeof(T);
                std::memcpy(src.place(bytes, atEnd), elements.data(), bytes);
                separate(reinterpret_cast<const T *>(src.place(bytes, atEnd)),
                         reinterpret_cast<T *>(dst.place(bytes, atEnd)), n);
                std::vector<T> expected(elements.size());
                separate(elements.data(), expected.data(), n);
                ASSERT_EQ(0, std::memcmp(expected.data(), dst.place(bytes, atEnd), bytes))
                    << n << " elements, seed " << seed();
            }
    };
    check(QZtbAbs2);
    check(QZwbAbs2);
    check(floatMagnitudes2);
    check(+[](const std::uint8_t *from, std::uint8_t *to, std::int32_t n) {
        std::memcpy(to, from, static_cast<std::size_t>(n));
        QZybShiftR(to, n, 3);
    });
    check(+[](const std::int16_t *from, std::int16_t *to, std::int32_t n) {
        std::memcpy(to, from, 2 * static_cast<std::size_t>(n));
        QZwbShiftL(to, n, 3);
    });
    check(+[](const std::uint8_t *from, std::uint8_t *to, std::int32_t n) {
        std::memcpy(to, from, static_cast<std::size_t>(n));
        QZnbShiftL(to, 0, 2 * n - 1, 1);
    });
}

TEST_P(AbsShiftLevels, ShiftsOfNibbles) {
    forLengths([&](std::size_t n, std::size_t misalignment) {
        for (const std::size_t offset : {0u, 1u})
            for (const int shift : {0, 1, 2, 3, 4, 7, 8, 31, 34, 255})
                for (const bool left : {true, false}) {
                    const auto count = static_cast<std::uint8_t>(shift);
                    const std::size_t skipped = 1 - offset, bytes = n / 2 + 2;
                    const auto before = random_.elements<std::uint8_t>(bytes);
                    Guarded<std::uint8_t> actual(bytes, misalignment);
                    actual.assign(before);
                    auto expected = before;
                    for (std::size_t i = skipped; i < n + skipped; ++i) {
                        std::uint8_t &byte = expected[i / 2];
                        const int high = byte / 16, low = byte % 16, nibble = i % 2 == 0 ? high : low;
                        const auto shifted =
                            static_cast<int>(left ? reference::shiftedLeft(nibble, count, 4, false)
                                                  : reference::shiftedRight(nibble, count));
                        byte =
                            static_cast<std::uint8_t>(i % 2 == 0 ? shifted * 16 + low : high * 16 + shifted);
                    }
                    (left ? QZnbShiftL : QZnbShiftR)(actual.data(), static_cast<std::int32_t>(offset),
                                                     static_cast<std::int32_t>(n), count);
                    ASSERT_EQ(expected, actual.values())
                        << n << " nibbles from " << offset << " by " << shift << ", seed " << seed();
                    ASSERT_TRUE(actual.intact()) << n << " nibbles";
                }
    });
}

} // namespace
} // namespace qzk::test
