// Every export of element-wise arithmetic at every level against the ordered reference. Everything is exact,
// and the whole memory around the operands is compared.
#include "support/arithmetic_members.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <climits>

namespace qzk::test {
namespace {

using reference::Letter;
constexpr std::int32_t modes[] = {0, 1, 2, 3, -1, 4, INT32_MIN, INT32_MAX};

class ArithmeticLevels : public LevelTest, protected MemberCheck {};
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

/// The operands of these tests overlap; `distances` are in bytes.
struct Distances {
    int most, step;
};

Distances distancesOf(Letter letter) {
    if (letter == Letter::w) return {80, 1};
    return {letter == Letter::n ? 20 : 40, 1};
}

TEST_P(ArithmeticLevels, OneSourceAtEveryDistance) {
    constexpr std::size_t base = 120;
    for (const IntegerMember &member : integerMembers()) {
        if (member.form == Form::scalar) continue;
        const auto [most, step] = distancesOf(member.letter);
        for (int distance = -most; distance <= most; distance += step)
            for (const std::int32_t len : {45, 170})
                for (const std::int32_t mode : {0, 1, 2, 3})
                    for (const std::int32_t offsets : {0, 1, 2, 3}) {
                        if (member.letter != Letter::n && offsets > 0) break;
                        const Memory before =
                            memory(700, member.letter, static_cast<unsigned>(random_.bits() % 16));
                        const std::size_t from = base + static_cast<std::size_t>(distance);
                        Layout layout = {from, base, base, offsets % 2, offsets / 2, 0, len};
                        const auto factor = static_cast<std::int32_t>(random_.integer(-3, 6));
                        ASSERT_NO_FATAL_FAILURE(check(member, before, layout, mode, factor));
                        if (member.form == Form::inPlace) continue;
                        layout.a = 1, layout.b = from;
                        ASSERT_NO_FATAL_FAILURE(check(member, before, layout, mode, factor));
                    }
    }
}

TEST_P(ArithmeticLevels, TwoSourcesAtEveryDistance) {
    constexpr std::size_t base = 200;
    for (const IntegerMember &member : integerMembers()) {
        if (member.form != Form::separate) continue;
        const auto [most, step] = distancesOf(member.letter);
        for (int first = -most; first <= most; first += step)
            for (int second = -most; second <= most; second += step) {
                // All of the near ones, and a sample of the others in every run.
                const bool near = first >= -2 && first <= 2 && second >= -2 && second <= 2;
                if (!near && random_.bits() % 16 != 0) continue;
                for (const std::int32_t mode : {0, 1, 2, 3}) {
                    const Memory before =
                        memory(600, member.letter, static_cast<unsigned>(random_.bits() % 16));
                    const Layout layout = {base + static_cast<std::size_t>(first),
                                           base + static_cast<std::size_t>(second),
                                           base,
                                           halfOfByte(),
                                           halfOfByte(),
                                           0,
                                           100};
                    ASSERT_NO_FATAL_FAILURE(
                        check(member, before, layout, mode, static_cast<std::int32_t>(first & 3)));
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
    for (const FloatMembers &member : floatMembers())
        for (int distance = -most; distance <= most; distance += 4)
            for (int second = -most; second <= most; second += second % 8 == 0 ? 12 : 28)
                for (const std::size_t len : {30u, 100u}) {
                    const std::size_t a = base + static_cast<std::size_t>(distance);
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
                        << "distances " << distance << " and " << second << ", length " << len << ", seed "
                        << seed();
                }
}

} // namespace
} // namespace qzk::test
