// Every export of element-wise arithmetic at every level against the ordered reference. Everything is exact,
// and the whole memory around the operands is compared.
#include "support/arithmetic_members.hpp"
#include "support/bits.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <climits>

namespace qzk::test {
namespace {

using reference::Letter;
constexpr std::int32_t modes[] = {0, 1, 2, 3, -1, 4, INT32_MIN, INT32_MAX};

class ArithmeticLevels : public LevelTest, protected MemberCheck {
protected:
    static constexpr int far = 1000;

    /// Of the sources from the destination, in bytes; `far` is where they do not overlap.
    struct Distances {
        int first, second;
        std::int32_t srcOffset, dstOffset;
    };

    /// One length and all modes, with known bytes before, between and after the operands.
    void checkOverlap(const IntegerMember &member, Distances distances) {
        constexpr std::size_t most = 80;
        const auto len = static_cast<std::int32_t>(random_.bits() % 32 == 0 ? random_.integer(2000, 3000)
                                                                            : random_.integer(0, 130));
        const std::size_t base = most + random_.index(64), apart = base + bytesOf(member.letter, len) + most;
        const Memory before = memory(apart + bytesOf(member.letter, len) + 16, member.letter,
                                     static_cast<unsigned>(random_.bits() % 16));
        const auto place = [=](int distance) {
            return distance == far ? apart : base + static_cast<std::size_t>(distance);
        };
        const Layout layout = {place(distances.first),
                               place(distances.second),
                               base,
                               distances.srcOffset,
                               distances.dstOffset,
                               0,
                               len};
        const auto odd = random_.bits() % 2 != 0 ? -1 : static_cast<std::int32_t>(random_.integer(4, 100));
        for (const std::int32_t mode : {0, 1, 2, 3, odd}) {
            const auto factor = static_cast<std::int32_t>(random_.bits() % 2 != 0 ? random_.integer(-40, 40)
                                                                                  : random_.integer(-3, 8));
            ASSERT_NO_FATAL_FAILURE(check(member, before, layout, mode, factor));
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Levels, ArithmeticLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(ArithmeticLevels, EveryLengthAndMode) {
    std::vector<std::int32_t> lengths = {INT32_MIN, -1, 255, 256, 1000, 4099};
    for (std::int32_t n = 0; n <= 130; ++n)
        lengths.push_back(n);
    for (const IntegerMember &member : integerMembers())
        for (const std::int32_t len : lengths) {
            const std::size_t room = bytesOf(member.letter, len) + 64;
            Memory before = memory(3 * room, member.letter, static_cast<unsigned>(random_.bits() % 16));
            for (const std::int32_t mode : modes) {
                const auto factor = static_cast<std::int32_t>(random_.integer(-9, 18));
                const auto place = [&] { return static_cast<std::size_t>(random_.integer(0, 63)); };
                const Layout layout = {
                    place(),
                    room + place(),
                    2 * room + place(),
                    halfOfByte(),
                    halfOfByte(),
                    static_cast<std::int32_t>(random_.element<std::int16_t>() >> random_.bits() % 16),
                    len};
                ASSERT_NO_FATAL_FAILURE(check(member, before, layout, mode, factor));
            }
        }
}

TEST_P(ArithmeticLevels, EveryFixedShift) {
    constexpr std::int32_t len = 150;
    std::vector<std::int32_t> factors = {INT32_MIN, INT32_MIN + 1, INT32_MAX};
    for (std::int32_t k = -40; k <= 40; ++k)
        factors.push_back(k);
    for (const IntegerMember &member : integerMembers()) {
        const std::size_t room = bytesOf(member.letter, len) + 5;
        const Memory before = memory(3 * room, member.letter, 0);
        for (const std::int32_t factor : factors)
            for (const std::int32_t scalar : {-32768, -128, -3, 7, 255, 32767}) {
                const Layout layout = {1, room + 2, 2 * room + 3, halfOfByte(), halfOfByte(), scalar, len};
                ASSERT_NO_FATAL_FAILURE(check(member, before, layout, 1, factor));
                if (member.form != Form::scalar) break;
            }
    }
}

/// All pairs of bytes, and all pairs of nibbles with them.
TEST_P(ArithmeticLevels, EveryPairOfBytes) {
    constexpr std::int32_t len = 65536;
    Memory before(3 * len);
    for (std::size_t i = 0; i < len; ++i) {
        before[i] = static_cast<std::uint8_t>(i >> 8);
        before[i + len] = before[i + 2 * len] = static_cast<std::uint8_t>(i);
    }
    const Layout layout = {0, len, 2 * len, 1, 1, 0, len};
    for (const IntegerMember &member : integerMembers()) {
        if (member.letter == Letter::w || member.form != Form::separate) continue;
        for (const std::int32_t mode : {0, 2, 3})
            ASSERT_NO_FATAL_FAILURE(check(member, before, layout, mode, 5));
        for (const std::int32_t factor : {-9, -7, -3, 1, 2, 5, 7, 8, 9, 15, 16})
            ASSERT_NO_FATAL_FAILURE(check(member, before, layout, 1, factor));
    }
}

/// Bytes that are 40 elements and, for those of two bytes, all the places between them.
int mostDistance(Letter letter) { return letter == Letter::w ? 80 : letter == Letter::n ? 20 : 40; }

TEST_P(ArithmeticLevels, OneSourceAtEveryDistance) {
    for (const IntegerMember &member : integerMembers()) {
        if (member.form == Form::scalar) continue;
        const int most = mostDistance(member.letter), offsets = member.letter == Letter::n ? 4 : 1;
        for (int distance = -most; distance <= most; ++distance)
            for (int offset = 0; offset < offsets; ++offset)
                for (int round = 0; round < 3; ++round) {
                    ASSERT_NO_FATAL_FAILURE(checkOverlap(member, {distance, 0, offset % 2, offset / 2}));
                    if (member.form == Form::inPlace) continue;
                    ASSERT_NO_FATAL_FAILURE(checkOverlap(member, {distance, far, offset % 2, offset / 2}));
                    ASSERT_NO_FATAL_FAILURE(checkOverlap(member, {far, distance, offset % 2, offset / 2}));
                }
    }
}

/// Each distance of each source beside some of the other one, and all those next to the destination.
TEST_P(ArithmeticLevels, TwoSourcesAtEveryDistance) {
    for (const IntegerMember &member : integerMembers()) {
        if (member.form != Form::separate) continue;
        const int most = mostDistance(member.letter);
        const auto check = [&](int first, int second) {
            checkOverlap(member, {first, second, halfOfByte(), halfOfByte()});
        };
        const auto any = [&] { return static_cast<int>(random_.integer(-most, most)); };
        for (int distance = -most; distance <= most; ++distance) {
            for (const int other : {distance, -distance, any(), any()}) {
                ASSERT_NO_FATAL_FAILURE(check(distance, other));
                ASSERT_NO_FATAL_FAILURE(check(other, distance));
            }
        }
        for (int first = -3; first <= 3; ++first)
            for (int second = -3; second <= 3; ++second)
                ASSERT_NO_FATAL_FAILURE(check(first, second));
    }
}

/// Each operand in turn between two others, and against either of two pages that nobody may touch.
TEST_P(ArithmeticLevels, NothingIsReadBeyondTheOperands) {
    Fenced fenced(2048);
    const std::size_t size = fenced.size();
    for (const IntegerMember &member : integerMembers()) {
        const Memory before = memory(size, member.letter, static_cast<unsigned>(random_.bits() % 4));
        for (std::int32_t len = 1; len <= 270; len += len < 140 ? 1 : 13) {
            const std::int32_t srcOffset = halfOfByte(), dstOffset = halfOfByte();
            const auto bytes = [&](std::int32_t offset) {
                const auto n = static_cast<std::size_t>(len);
                return member.letter == Letter::n   ? (n + 2 - static_cast<std::size_t>(offset)) / 2
                       : member.letter == Letter::w ? 2 * n
                                                    : n;
            };
            const std::size_t last = size - bytes(srcOffset);
            const Layout layouts[] = {{0, last, size / 2, srcOffset, dstOffset, 3, len},
                                      {last, 0, size / 2, srcOffset, dstOffset, 3, len},
                                      {size / 3, size / 2, 0, srcOffset, dstOffset, 3, len},
                                      {size / 3, 0, size - bytes(dstOffset), srcOffset, dstOffset, 3, len}};
            for (const Layout &layout : layouts) {
                const auto mode = static_cast<std::int32_t>(random_.integer(0, 3));
                const auto factor = static_cast<std::int32_t>(random_.integer(-3, 8));
                const Layout adapted = member.adapted(layout);
                std::int32_t fencedFactor = factor, plainFactor = factor;
                Memory expected = before;
                reference::scaled(member.call(expected.data(), adapted), mode, plainFactor);
                std::memcpy(fenced.begin(), before.data(), size);
                member.run(fenced.begin(), adapted, mode, &fencedFactor);
                ASSERT_EQ(plainFactor, fencedFactor) << member.name << ": " << adapted;
                ASSERT_EQ(0, std::memcmp(expected.data(), fenced.begin(), size))
                    << member.name << ": " << adapted << ", mode " << mode << ", seed " << seed();
            }
        }
    }
}

TEST_P(ArithmeticLevels, FloatsOfEveryLength) {
    for (const FloatMembers &member : floatMembers())
        for (std::int32_t len = 0; len <= 131; ++len) {
            const auto n = static_cast<std::size_t>(len == 131 ? 4099 : len);
            const auto a = random_.anyReals<float>(n), b = random_.anyReals<float>(n);
            const float scalar = random_.anyReals<float>(1)[0];
            std::vector<float> expected(n), expectedScalar(n);
            for (std::size_t i = 0; i < n; ++i) {
                expected[i] = reference::exactFloat(member.operation, a[i], b[i]);
                expectedScalar[i] = reference::exactFloat(member.operation, scalar, b[i]);
            }
            const auto count = static_cast<std::int32_t>(n);
            for (std::size_t misalignment = 0; misalignment < 70; misalignment += 1 + n % 9) {
                Guarded<float> form2(n, misalignment), form3(n, misalignment), form2s(n, misalignment);
                form2.assign(b), form2s.assign(b);
                member.form2(a.data(), form2.data(), count);
                member.form3(a.data(), b.data(), form3.data(), count);
                member.form2s(scalar, form2s.data(), count);
                ASSERT_TRUE(sameBits(expected, form2.values())) << "length " << n << ", seed " << seed();
                ASSERT_TRUE(sameBits(expected, form3.values())) << "length " << n << ", seed " << seed();
                ASSERT_TRUE(sameBits(expectedScalar, form2s.values()))
                    << "length " << n << ", seed " << seed();
                ASSERT_TRUE(form2.intact() && form3.intact() && form2s.intact()) << "length " << n;
            }
        }
}

TEST_P(ArithmeticLevels, FloatsAtEveryDistance) {
    constexpr int most = 160;
    constexpr std::size_t base = 4 * most;
    const auto reals = random_.reals<float>(500, -2.0, 2.0);
    Memory before(reals.size() * sizeof(float));
    std::memcpy(before.data(), reals.data(), before.size());
    const auto values = [](const Memory &memory) {
        std::vector<float> floats(memory.size() / sizeof(float));
        std::memcpy(floats.data(), memory.data(), memory.size());
        return floats;
    };
    const auto get = [](const Memory &memory, std::size_t place) {
        float value;
        std::memcpy(&value, memory.data() + place, sizeof value);
        return value;
    };
    for (const FloatMembers &member : floatMembers()) {
        const auto check = [&](int first, int second, std::size_t len) {
            const std::size_t a = base + static_cast<std::size_t>(first);
            const std::size_t b = base + static_cast<std::size_t>(second);
            Memory expected = before, actual = before;
            for (std::size_t i = len; i-- > 0;) {
                const float result = reference::exactFloat(member.operation, get(expected, a + 4 * i),
                                                           get(expected, b + 4 * i));
                std::memcpy(expected.data() + base + 4 * i, &result, sizeof result);
            }
            const auto count = static_cast<std::int32_t>(len);
            if (second == 0)
                member.form2(at<float>(actual.data(), a), at<float>(actual.data(), base), count);
            else
                member.form3(at<float>(actual.data(), a), at<float>(actual.data(), b),
                             at<float>(actual.data(), base), count);
            ASSERT_TRUE(sameBits(values(expected), values(actual)))
                << "distances " << first << " and " << second << ", length " << len << ", seed " << seed();
        };
        for (int distance = -most; distance <= most; distance += 4)
            for (int other = -most; other <= most; other += other % 8 == 0 ? 12 : 28) {
                const auto len = static_cast<std::size_t>(random_.integer(0, 130));
                ASSERT_NO_FATAL_FAILURE(check(distance, other, len));
                ASSERT_NO_FATAL_FAILURE(check(other, distance, len));
            }
    }
}

} // namespace
} // namespace qzk::test
