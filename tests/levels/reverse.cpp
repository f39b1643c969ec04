// Reversed rows at every level against the plain kernels: all offsets and lengths, the bits around the row,
// reads and writes against inaccessible pages, rows that overlap. Everything is exact.
#include "common/reverse.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <cstring>

namespace qzk::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using simd::ReverseKernels;

struct Member {
    const char *name;
    ReverseKernels::Row ReverseKernels::*row;
    void (*guarded)(const std::uint8_t *, std::size_t, std::uint8_t *, std::size_t, std::size_t);
    std::size_t perByte;
};

constexpr Member members[] = {{"bits", &ReverseKernels::bits, reverseRow<Bit>, 8},
                              {"nibbles", &ReverseKernels::nibbles, reverseRow<Nibble>, 2},
                              {"bytes", &ReverseKernels::bytes, reverseRow<std::uint8_t>, 1}};

class ReverseLevels : public LevelTest {
protected:
    static constexpr std::size_t longest = 4099;

    ReverseLevels() : source_(longest + 1), target_(longest + 1) {}

    /// Runs one entry of this level and of the plain level on rows whose last bytes, or else whose first
    /// ones, lie against an inaccessible page.
    void compare(const Member &member, std::size_t srcSkipped, std::size_t dstSkipped, std::size_t n,
                 bool atEnd) {
        const std::size_t srcBytes = (srcSkipped + n + member.perByte - 1) / member.perByte;
        const std::size_t dstBytes = (dstSkipped + n + member.perByte - 1) / member.perByte;
        std::uint8_t *const src = source_.place(srcBytes, atEnd);
        std::uint8_t *const dst = target_.place(dstBytes, atEnd);
        const Bytes data = random_.elements<std::uint8_t>(srcBytes);
        Bytes expected = random_.elements<std::uint8_t>(dstBytes);
        if (srcBytes != 0) std::memcpy(src, data.data(), srcBytes);
        if (dstBytes != 0) std::memcpy(dst, expected.data(), dstBytes);
        (simd::kernelsOf(simd::Level::plain).reverse.*member.row)(data.data(), srcSkipped, expected.data(),
                                                                  dstSkipped, n);
        (simd::kernelsOf(GetParam()).reverse.*member.row)(src, srcSkipped, dst, dstSkipped, n);
        ASSERT_TRUE(dstBytes == 0 || std::memcmp(expected.data(), dst, dstBytes) == 0)
            << n << ' ' << member.name << " from " << srcSkipped << " to " << dstSkipped << ", seed "
            << seed();
    }

    Random random_;
    Fenced source_, target_;
};
INSTANTIATE_TEST_SUITE_P(Levels, ReverseLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(ReverseLevels, EveryOffsetAndLength) {
    for (const Member &member : members)
        for (std::size_t srcSkipped = 0; srcSkipped < member.perByte; ++srcSkipped)
            for (std::size_t dstSkipped = 0; dstSkipped < member.perByte; ++dstSkipped)
                for (std::size_t n = 0; n <= 130 * member.perByte; n += n < 150 ? 1 : 7)
                    for (const bool atEnd : {false, true})
                        compare(member, srcSkipped, dstSkipped, n, atEnd);
}

TEST_P(ReverseLevels, LongRows) {
    for (const Member &member : members)
        for (int round = 0; round < 200; ++round) {
            const std::size_t n = random_.index((longest - 1) * member.perByte);
            compare(member, random_.index(member.perByte), random_.index(member.perByte), n, round % 2 != 0);
        }
}

TEST_P(ReverseLevels, WritesNothingBesideTheRow) {
    for (const Member &member : members)
        for (std::size_t n = 0; n <= 300; ++n) {
            const std::size_t bytes = n / member.perByte + 2, misalignment = n % 61;
            const Bytes src = random_.elements<std::uint8_t>(bytes);
            Guarded<std::uint8_t> dst(bytes, misalignment);
            (simd::kernelsOf(GetParam()).reverse.*member.row)(src.data(), random_.index(member.perByte),
                                                              dst.data(), random_.index(member.perByte), n);
            ASSERT_TRUE(dst.intact()) << n << ' ' << member.name;
        }
}

TEST_P(ReverseLevels, RowsThatOverlapFollowTheOrder) {
    constexpr std::size_t most = 400;
    for (const Member &member : members)
        for (int round = 0; round < 3000; ++round) {
            const std::size_t n = random_.index((most - 200) * member.perByte);
            const std::size_t srcSkipped = random_.index(member.perByte);
            const std::size_t dstSkipped = random_.index(member.perByte);
            const std::size_t from = random_.index(199);
            const std::size_t to = round % 3 == 0 ? from : random_.index(199);
            const Bytes before = random_.elements<std::uint8_t>(most);
            Bytes expected = before, actual = before;
            (simd::kernelsOf(simd::Level::plain).reverse.*member.row)(expected.data() + from, srcSkipped,
                                                                      expected.data() + to, dstSkipped, n);
            member.guarded(actual.data() + from, srcSkipped, actual.data() + to, dstSkipped, n);
            ASSERT_EQ(expected, actual)
                << n << ' ' << member.name << " from byte " << from << ", element " << srcSkipped
                << " to byte " << to << ", element " << dstSkipped << ", seed " << seed();
        }
}

} // namespace
} // namespace qzk::test
