// The packed logic at every level: each kernel entry against the plain one, the exports with overlapping
// operands against the ordered reference, and every read and write against inaccessible pages.
#include "simd/kernels.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/logic_members.hpp"
#include "support/long_memory.hpp"
#include "support/random.hpp"

#include <cstdint>
#include <cstring>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using KernelsOfOperation = simd::LogicKernels::Operation;

class LogicLevels : public LevelTest {
protected:
    static constexpr KernelsOfOperation simd::LogicKernels::*operations[] = {
        &simd::LogicKernels::copy, &simd::LogicKernels::bitAnd, &simd::LogicKernels::bitOr,
        &simd::LogicKernels::bitXor};

    /// Every length up to 130 at each misalignment of a word, and some long ones.
    template <class Test>
    void forLengths(Test test) {
        for (const std::size_t n : {255u, 256u, 1000u, 1023u, 1024u, 1100u, 4099u})
            test(n, n % 61);
        for (std::size_t n = 0; n <= 130; ++n)
            for (std::size_t misalignment = 0; misalignment < 5; ++misalignment)
                test(n, misalignment * 13);
    }

    /// Runs one entry of this level and of the plain level on the same data.
    template <class Call>
    void compare(std::size_t n, std::size_t misalignment, Call call) {
        const auto before = random_.elements<std::uint8_t>(n);
        Guarded<std::uint8_t> expected(n, misalignment), actual(n, misalignment);
        for (auto operation : operations) {
            expected.assign(before), actual.assign(before);
            call(simd::kernelsOf(simd::Level::plain).logic.*operation, expected.data());
            call(simd::kernelsOf(GetParam()).logic.*operation, actual.data());
            ASSERT_EQ(expected.values(), actual.values()) << n << " bytes, seed " << seed();
            ASSERT_TRUE(expected.intact() && actual.intact()) << n << " bytes";
        }
    }

    Random random_;
};
INSTANTIATE_TEST_SUITE_P(Levels, LogicLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(LogicLevels, Patterns) {
    forLengths([&](std::size_t n, std::size_t misalignment) {
        const auto any = static_cast<std::uint32_t>(random_.bits());
        for (const std::uint32_t pattern : {any, (any & 255) * 0x01010101u})
            compare(n, misalignment, [=](const KernelsOfOperation &kernels, std::uint8_t *dst) {
                kernels.pattern(pattern, dst, n);
            });
    });
}

TEST_P(LogicLevels, Bytes) {
    forLengths([&](std::size_t n, std::size_t misalignment) {
        const auto src1 = random_.elements<std::uint8_t>(n), src2 = random_.elements<std::uint8_t>(n);
        compare(n, misalignment, [&](const KernelsOfOperation &kernels, std::uint8_t *dst) {
            kernels.bytes(src1.data(), src2.data(), dst, n);
        });
        compare(n, misalignment, [&](const KernelsOfOperation &kernels, std::uint8_t *dst) {
            kernels.bytes(src1.data(), dst, dst, n);
        });
        compare(n, misalignment, [&](const KernelsOfOperation &kernels, std::uint8_t *dst) {
            kernels.bytes(dst, src2.data(), dst, n);
        });
    });
}

TEST_P(LogicLevels, Shifted) {
    forLengths([&](std::size_t n, std::size_t misalignment) {
        const auto src1 = random_.elements<std::uint8_t>(n + 1), src2 = random_.elements<std::uint8_t>(n + 1);
        for (unsigned left = 1; left <= 7; ++left) {
            compare(n, misalignment, [&](const KernelsOfOperation &kernels, std::uint8_t *dst) {
                kernels.shifted(src1.data(), dst, n, left);
            });
            compare(n, misalignment, [&](const KernelsOfOperation &kernels, std::uint8_t *dst) {
                if (kernels.shiftedPair != nullptr)
                    kernels.shiftedPair(src1.data(), src2.data(), dst, n, left);
            });
        }
    });
}

TEST_P(LogicLevels, BitRunsOfEveryOffsetAndLength) {
    constexpr std::size_t most = 24;
    const auto src1 = random_.elements<std::uint8_t>(most), src2 = random_.elements<std::uint8_t>(most);
    const auto before = random_.elements<std::uint8_t>(most);
    for (const LogicMembers &member : logicMembers())
        for (std::int32_t srcOffset = 0; srcOffset < 8; ++srcOffset)
            for (std::int32_t dstOffset = 0; dstOffset < 8; ++dstOffset)
                for (std::int32_t len = 0; len <= 130; ++len)
                    for (const bool three : {false, true}) {
                        if (three && member.bits3 == nullptr) continue;
                        alignas(4) std::uint8_t expected[most], actual[most];
                        std::memcpy(expected, before.data(), most);
                        std::memcpy(actual, before.data(), most);
                        reference::moveBits(
                            {member.operation, src1.data(), three ? src2.data() : nullptr, expected},
                            srcOffset, dstOffset, len, 0);
                        if (three)
                            member.bits3(src1.data(), src2.data(), actual, srcOffset, dstOffset, len);
                        else
                            member.bits2(src1.data(), actual, srcOffset, dstOffset, len);
                        ASSERT_EQ(0, std::memcmp(expected, actual, most))
                            << "offsets " << srcOffset << " and " << dstOffset << ", length " << len
                            << ", seed " << seed();
                    }
}

TEST_P(LogicLevels, OverlapAtEveryDistance) {
    constexpr int room = 140, n = 203;
    const auto before = random_.elements<std::uint8_t>(n + 2 * room + 2);
    const auto other = random_.elements<std::uint8_t>(n + 2);
    for (const LogicMembers &member : logicMembers())
        for (int distance = -room; distance <= room; ++distance)
            for (int form = 0; form < 6; ++form) {
                const bool three = form >= 3;
                if (three && member.bits3 == nullptr) continue;
                Bytes expected = before, actual = before;
                const auto start = static_cast<std::size_t>(room + form % 3);
                const auto from = static_cast<std::size_t>(room + form % 3 + distance);
                const auto address = reinterpret_cast<std::uintptr_t>(actual.data() + start);
                const std::uint8_t *const second = three ? other.data() : nullptr;
                const reference::Operands operands = {member.operation, expected.data() + from, second,
                                                      expected.data() + start};
                const std::uint8_t *const src = actual.data() + from;
                std::uint8_t *const dst = actual.data() + start;
                const std::int32_t srcOffset = form % 3 == 1 ? 5 : 2, dstOffset = form % 3 == 0 ? 2 : 4;
                const std::int32_t bits = 8 * n - 9;
                if (form % 3 == 2 && !three) {
                    reference::moveBytes(operands, n, address);
                    member.bytes2(src, dst, n);
                } else if (form % 3 == 2) {
                    reference::moveBytes(operands, n, address);
                    member.bytes3(src, second, dst, n);
                } else {
                    reference::moveBits(operands, srcOffset, dstOffset, bits, address);
                    if (three)
                        member.bits3(src, second, dst, srcOffset, dstOffset, bits);
                    else
                        member.bits2(src, dst, srcOffset, dstOffset, bits);
                }
                ASSERT_EQ(expected, actual)
                    << "distance " << distance << ", form " << form << ", seed " << seed();
            }
}

TEST_P(LogicLevels, OverlapInShiftedRuns) {
    constexpr int room = 140;
    const auto before = random_.elements<std::uint8_t>(500);
    for (const LogicMembers &member : logicMembers())
        for (int distance = -room; distance <= room; ++distance)
            for (const std::int32_t bytes : {3, 30, 203})
                for (const std::int32_t srcOffset : {1, 6}) {
                    Bytes expected = before, actual = before;
                    const auto from = static_cast<std::size_t>(room + distance);
                    const std::int32_t bits = 8 * bytes - 3;
                    reference::moveBits(
                        {member.operation, expected.data() + from, nullptr, expected.data() + room},
                        srcOffset, 4, bits, reinterpret_cast<std::uintptr_t>(actual.data() + room));
                    member.bits2(actual.data() + from, actual.data() + room, srcOffset, 4, bits);
                    ASSERT_EQ(expected, actual)
                        << "distance " << distance << ", " << bits << " bits, seed " << seed();
                }
}

TEST(LogicLengths, RunsOfMoreBitsThanAnIntegerCounts) {
    LongMemory memory;
    QZnbSet(5, memory.data(), 1, (1 << 29) + 1);
    EXPECT_EQ(0x50, memory.end()[0]);
    EXPECT_EQ(0x55, memory.end()[-1]);
    QZnbXor2(memory.data(), memory.data(), 1, 1, (1 << 29) + 1);
    EXPECT_EQ(0x00, memory.end()[0]);
    QZbbSet(1, memory.data(), 0, INT32_MAX);
    EXPECT_EQ(0xFC, memory.end()[0]);
    EXPECT_EQ(0x00, memory.end()[1]);
}

class LogicFences : public LogicLevels {
protected:
    Fenced src1_{64}, src2_{64}, dst_{64};

    void SetUp() override {
        for (Fenced *memory : {&src1_, &src2_, &dst_})
            std::memset(memory->begin(), 0x5A, memory->size());
    }
};
INSTANTIATE_TEST_SUITE_P(Levels, LogicFences, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(LogicFences, BitRunsTouchNothingPastTheirBytes) {
    const auto bytesOf = [](std::int32_t offset, std::int32_t len) {
        return static_cast<std::size_t>((7 - offset + len + 7) / 8);
    };
    for (const LogicMembers &member : logicMembers())
        for (std::int32_t srcOffset = 0; srcOffset < 8; ++srcOffset)
            for (std::int32_t dstOffset = 0; dstOffset < 8; ++dstOffset)
                for (std::int32_t len = 1; len <= 1100; len += len < 300 ? 1 : 37)
                    for (const bool atEnd : {false, true}) {
                        const std::size_t srcBytes = bytesOf(srcOffset, len);
                        std::uint8_t *const dst = dst_.place(bytesOf(dstOffset, len), atEnd);
                        const std::uint8_t *const src1 = src1_.place(srcBytes, atEnd);
                        member.bits2(src1, dst, srcOffset, dstOffset, len);
                        if (member.bits3 != nullptr)
                            member.bits3(src1, src2_.place(srcBytes, atEnd), dst, srcOffset, dstOffset, len);
                    }
}

TEST_P(LogicFences, OtherRunsTouchNothingPastTheirBytes) {
    for (const LogicMembers &member : logicMembers())
        for (std::int32_t len = 1; len <= 300; ++len)
            for (const bool atEnd : {false, true}) {
                const auto bytes = static_cast<std::size_t>(len);
                std::uint8_t *const dst = dst_.place(bytes, atEnd);
                member.bytes2(src1_.place(bytes, atEnd), dst, len);
                if (member.bytes3 != nullptr)
                    member.bytes3(src1_.place(bytes, atEnd), src2_.place(bytes, atEnd), dst, len);
                member.bytes2s(0x3C, dst, len);
                member.words2s(0x1234, reinterpret_cast<std::int16_t *>(dst_.place(2 * bytes, atEnd)), len);
                for (const std::int32_t offset : {0, 1})
                    member.nibbles2s(0x3,
                                     dst_.place((bytes + 2 - static_cast<std::size_t>(offset)) / 2, atEnd),
                                     offset, len);
                for (std::int32_t offset = 0; offset < 8; ++offset)
                    QZbbNot(dst_.place(static_cast<std::size_t>(14 - offset + len) / 8, atEnd), offset, len);
            }
}

} // namespace
} // namespace qzk::test
