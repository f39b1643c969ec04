// Every reduction at every level against slow code, on random data. Everything is exact.
#include "reference/reduction.hpp"
#include "qzk.h"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <algorithm>
#include <cstring>

namespace qzk::test {
namespace {

std::int32_t lengthOf(std::size_t n) { return static_cast<std::int32_t>(n); }

class RandomReductions : public LevelTest {
protected:
    template <class Test>
    void forLengths(Test test) {
        for (std::size_t n = 0; n <= 130; ++n)
            test(n);
        for (const std::size_t n : {255u, 256u, 257u, 1000u, 1024u, 2047u, 4099u})
            test(n);
        for (int round = 0; round < 200; ++round)
            test(random_.index(600));
    }

    /// Few different values, so that ties are many, or any.
    template <class T>
    std::vector<T> values(std::size_t n) {
        auto values = random_.elements<T>(n);
        if (random_.bits() % 2 != 0) {
            const auto base = random_.element<T>();
            for (T &value : values)
                value = static_cast<T>(base + static_cast<T>(value & 3));
        }
        return values;
    }

    /// All values equal but one.
    template <class T>
    std::vector<T> oneDiffers(std::size_t n, std::size_t place) {
        std::vector<T> values(n, random_.element<T>());
        values[place] = random_.element<T>();
        return values;
    }

    template <class T, class Member, class Below>
    void compareExtremes(Member smallest, Member largest, Below below) {
        const auto compare = [&](const std::vector<T> &src) {
            Guarded<T> memory(src.size(), random_.index(64)); // any address, odd ones too
            memory.assign(src);
            using Element = std::remove_const_t<std::remove_pointer_t<decltype(elementPointer(smallest))>>;
            const auto *const data = reinterpret_cast<const Element *>(memory.data());
            std::int32_t low = -1, high = -1;
            const Element min = smallest(data, lengthOf(src.size()), &low);
            const Element max = largest(data, lengthOf(src.size()), &high);
            SCOPED_TRACE(testing::Message() << src.size() << " elements, seed " << seed());
            ASSERT_EQ(std::min_element(src.begin(), src.end(), below) - src.begin(), low);
            ASSERT_EQ(std::max_element(src.begin(), src.end(), below) - src.begin(), high);
            const auto lowest = returned<Element>(src[static_cast<std::size_t>(low)]);
            const auto highest = returned<Element>(src[static_cast<std::size_t>(high)]);
            ASSERT_EQ(0, std::memcmp(&lowest, &min, sizeof min));
            ASSERT_EQ(0, std::memcmp(&highest, &max, sizeof max));
        };
        forLengths([&](std::size_t n) {
            if (n == 0 || HasFatalFailure()) return;
            compare(values<T>(n));
            compare(oneDiffers<T>(n, random_.index(n)));
        });
        for (const std::size_t n : {63u, 64u, 129u, 1025u})
            for (std::size_t place = 0; place < n && !HasFatalFailure(); ++place)
                compare(oneDiffers<T>(n, place));
    }

    /// An element as a function returns it: floats of 32-bit x86 come through a register that makes
    /// signalling not-a-numbers quiet.
    template <class Element, class T>
    static Element returned(const T &bits) {
        Element (*volatile read)(const T &) = [](const T &from) {
            Element element;
            std::memcpy(&element, &from, sizeof element);
            return element;
        };
        return read(bits);
    }

    template <class T>
    static const T *elementPointer(T (*)(const T *, std::int32_t, std::int32_t *));

    static constexpr std::int32_t modes[] = {0, 2, 3, -1, 4, INT32_MAX, INT32_MIN};

    /// `call(mode, factor)` against an exact sum; Result is the type that it returns.
    template <class Result, class Expected, class Call>
    void compareModes(std::int64_t sum, Expected expectedSum, Call call) {
        SCOPED_TRACE(testing::Message() << "sum " << sum << ", seed " << seed());
        for (const std::int32_t mode : modes) {
            std::int32_t factor = 99, expectedFactor = 0;
            const std::int64_t expected = expectedSum(mode, &expectedFactor);
            ASSERT_EQ(static_cast<Result>(expected), call(mode, &factor)) << "mode " << mode;
            ASSERT_EQ(expectedFactor, factor) << "mode " << mode;
        }
        for (std::int32_t shift = -40; shift <= 40; ++shift) {
            std::int32_t factor = shift;
            ASSERT_EQ(static_cast<Result>(reference::timesPower(sum, shift)), call(1, &factor)) << shift;
            ASSERT_EQ(shift, factor);
        }
    }

    Random random_;
};
INSTANTIATE_TEST_SUITE_P(Levels, RandomReductions, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(RandomReductions, ExtremesOfBytes) { compareExtremes<std::uint8_t>(QZyMin, QZyMax, std::less<>()); }
TEST_P(RandomReductions, ExtremesOfSignedBytes) {
    compareExtremes<std::int8_t>(QZtMin, QZtMax, std::less<>());
}
TEST_P(RandomReductions, ExtremesOfWords) { compareExtremes<std::int16_t>(QZwMin, QZwMax, std::less<>()); }
TEST_P(RandomReductions, ExtremesOfFloats) {
    compareExtremes<std::uint32_t>(QZsMin, QZsMax, reference::floatIsBelow);
}

TEST_P(RandomReductions, ExtremesOfSpecialFloats) {
    for (int round = 0; round < 400; ++round) {
        const std::size_t n = 1 + random_.index(300);
        const auto src = random_.anyReals<float>(n);
        std::vector<std::uint32_t> bits(n);
        std::memcpy(bits.data(), src.data(), n * sizeof(float));
        std::int32_t low = -1, high = -1;
        QZsMin(src.data(), lengthOf(n), &low);
        QZsMax(src.data(), lengthOf(n), &high);
        ASSERT_EQ(std::min_element(bits.begin(), bits.end(), reference::floatIsBelow) - bits.begin(), low);
        ASSERT_EQ(std::max_element(bits.begin(), bits.end(), reference::floatIsBelow) - bits.begin(), high);
    }
}

TEST_P(RandomReductions, ExtremesOfNibbles) {
    forLengths([&](std::size_t n) {
        if (n == 0 || HasFatalFailure()) return;
        for (const int offset : {0, 1}) {
            auto bytes = random_.elements<std::uint8_t>(n / 2 + 1);
            if (random_.bits() % 2 != 0) { // all equal but one
                std::fill(bytes.begin(), bytes.end(), std::uint8_t{0x77});
                bytes[random_.index(bytes.size())] = random_.element<std::uint8_t>();
            }
            const auto nibbles = reference::nibblesOf(bytes, offset == 1, n);
            Guarded<std::uint8_t> memory(bytes.size(), random_.index(64));
            memory.assign(bytes);
            std::int32_t low = -1, high = -1;
            const int min = QZnMin(memory.data(), offset, lengthOf(n), &low);
            const int max = QZnMax(memory.data(), offset, lengthOf(n), &high);
            const auto lowest = std::min_element(nibbles.begin(), nibbles.end());
            const auto highest = std::max_element(nibbles.begin(), nibbles.end());
            ASSERT_EQ(lowest - nibbles.begin(), low)
                << n << " nibbles from " << offset << ", seed " << seed();
            ASSERT_EQ(highest - nibbles.begin(), high)
                << n << " nibbles from " << offset << ", seed " << seed();
            ASSERT_EQ(*lowest, min);
            ASSERT_EQ(*highest, max);
        }
    });
}

TEST_P(RandomReductions, SumsOfBits) {
    forLengths([&](std::size_t n) {
        for (std::int32_t offset = 0; offset < 8 && !HasFatalFailure(); ++offset) {
            const auto bytes = random_.elements<std::uint8_t>(n / 8 + 2);
            Guarded<std::uint8_t> memory(bytes.size(), random_.index(64));
            memory.assign(bytes);
            std::int64_t sum = 0;
            for (const int bit : reference::bitsOf(bytes, offset, n))
                sum += bit;
            compareModes<std::int32_t>(
                sum, [&](std::int32_t, std::int32_t *) { return sum; },
                [&](std::int32_t mode, std::int32_t *factor) {
                    return QZbSum(memory.data(), offset, lengthOf(n), mode, factor);
                });
        }
    });
}

TEST_P(RandomReductions, SumsOfNibbles) {
    forLengths([&](std::size_t n) {
        for (std::int32_t offset = 0; offset < 2 && !HasFatalFailure(); ++offset) {
            const auto bytes = random_.elements<std::uint8_t>(n / 2 + 1);
            Guarded<std::uint8_t> memory(bytes.size(), random_.index(64));
            memory.assign(bytes);
            std::int64_t sum = 0;
            for (const int nibble : reference::nibblesOf(bytes, offset == 1, n))
                sum += nibble;
            compareModes<std::uint32_t>(
                sum, [&](std::int32_t, std::int32_t *) { return sum; },
                [&](std::int32_t mode, std::int32_t *factor) {
                    return QZnSum(memory.data(), offset, lengthOf(n), mode, factor);
                });
        }
    });
}

/// What any mode but the fixed one makes of a sum that 32 bits may not hold.
std::int64_t fitted(std::int64_t sum, std::int32_t mode, std::int32_t *factor) {
    constexpr std::int64_t low = INT32_MIN, high = INT32_MAX;
    if (mode == 0) return reference::low32(sum);
    if (mode == 3) return std::clamp(sum, low, high);
    while (reference::timesPower(sum, *factor) < low || reference::timesPower(sum, *factor) > high)
        ++*factor;
    return reference::timesPower(sum, *factor);
}

TEST_P(RandomReductions, SumsOfElements) {
    const auto compare =
        [&]<class T, class Result>(Result (*member)(const T *, std::int32_t, std::int32_t, std::int32_t *)) {
            forLengths([&](std::size_t n) {
                if (HasFatalFailure()) return;
                const auto src = values<T>(n);
                Guarded<T> memory(n, random_.index(64));
                memory.assign(src);
                std::int64_t sum = 0;
                for (const T element : src)
                    sum += element;
                compareModes<Result>(
                    sum, [&](std::int32_t mode, std::int32_t *factor) { return fitted(sum, mode, factor); },
                    [&](std::int32_t mode, std::int32_t *factor) {
                        return member(memory.data(), lengthOf(n), mode, factor);
                    });
            });
        };
    compare(QZySum);
    compare(QZtSum);
    compare(QZwSum);
}

TEST_P(RandomReductions, SumsOfManyWords) {
    for (const std::size_t n : {70000u, 600000u, 1200001u}) {
        std::vector<std::int16_t> src(n, random_.bits() % 2 != 0 ? 32767 : -32768);
        std::int64_t sum = 0;
        for (std::int16_t &element : src) {
            if (random_.bits() % 16 == 0) element = random_.element<std::int16_t>();
            sum += element;
        }
        compareModes<std::int32_t>(
            sum, [&](std::int32_t mode, std::int32_t *factor) { return fitted(sum, mode, factor); },
            [&](std::int32_t mode, std::int32_t *factor) {
                return QZwSum(src.data(), lengthOf(n), mode, factor);
            });
    }
}

TEST_P(RandomReductions, SumsOfFloats) {
    const auto compare = [&](const std::vector<float> &src) {
        Guarded<float> memory(src.size(), random_.index(64));
        memory.assign(src);
        ASSERT_TRUE(sameBits(reference::sum(src), QZsSum(memory.data(), lengthOf(src.size()))))
            << src.size() << " floats, seed " << seed();
    };
    forLengths([&](std::size_t n) {
        if (HasFatalFailure()) return;
        compare(random_.reals<float>(n));
        compare(random_.anyReals<float>(n, false));
        compare(random_.anyReals<float>(n));
    });
}

} // namespace
} // namespace qzk::test
