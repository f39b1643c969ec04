// Every integer export of element-wise arithmetic on random operands within one memory, overlapping or not,
// against the ordered reference. Everything is exact; the whole memory is compared.
#include "support/arithmetic_members.hpp"

namespace qzk::test {
namespace {

class ArithmeticRandom : public testing::Test, protected MemberCheck {};

/// Distances up to which parts of a vector are worth a block loop, and beyond.
TEST_F(ArithmeticRandom, SourcesFarIntoTheDestination) {
    constexpr std::size_t base = 1500;
    for (const IntegerMember &member : integerMembers())
        for (int round = 0; round < 100; ++round) {
            const Memory before = memory(4500, member.letter, static_cast<unsigned>(random_.bits() % 16));
            const auto place = [&] {
                return static_cast<std::size_t>(random_.integer(base - 700, base + 700));
            };
            const Layout layout = {
                place(), random_.bits() % 2 != 0 ? place() : base,          base, halfOfByte(), halfOfByte(),
                3,       static_cast<std::int32_t>(random_.integer(0, 900))};
            for (const std::int32_t mode : {0, 1, 2, 3})
                ASSERT_NO_FATAL_FAILURE(check(member, before, layout, mode, round % 5 - 1));
        }
}

TEST_F(ArithmeticRandom, AnyOperandsOfAnyMode) {
    for (const IntegerMember &member : integerMembers())
        for (int round = 0; round < 2000; ++round) {
            const Memory before = memory(400, member.letter, static_cast<unsigned>(random_.bits() % 16));
            const auto place = [&] { return static_cast<std::size_t>(random_.integer(0, 250)); };
            const Layout layout = {place(),
                                   place(),
                                   place(),
                                   halfOfByte(),
                                   halfOfByte(),
                                   static_cast<std::int32_t>(random_.integer(-300, 300)),
                                   static_cast<std::int32_t>(random_.integer(-2, 72))};
            const auto mode = static_cast<std::int32_t>(random_.integer(-1, 4));
            const auto factor = static_cast<std::int32_t>(random_.integer(-40, 40));
            ASSERT_NO_FATAL_FAILURE(check(member, before, layout, mode, factor));
        }
}

} // namespace
} // namespace qzk::test
