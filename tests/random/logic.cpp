// Every member of the packed logic at random places of one memory, overlapping or not, against the bit-by-bit
// reference. Everything is exact; the whole memory is compared, so that changes outside a run show.
#include "support/logic_members.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

namespace qzk::test {
namespace {

using reference::Logic;
using reference::Operands;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t room = 700;
constexpr int rounds = 4000;

class LogicRandom : public testing::Test {
protected:
    /// New data, three operands within the memory and lengths of up to `most` bytes.
    void shuffle(std::size_t most = 200) {
        // Equal alignment of both memories: steps depend on the address.
        expected_ = random_.elements<std::uint8_t>(room);
        actual_ = expected_;
        const bool near = random_.bits() % 2 != 0; // half of all runs overlap
        const auto place = [&] {
            return static_cast<std::size_t>(random_.integer(near ? 200 : 0, near ? 260 : 490));
        };
        src1_ = place(), src2_ = place(), dst_ = place();
        if (random_.bits() % 8 == 0) src1_ = dst_;
        if (random_.bits() % 8 == 0) src2_ = dst_;
        bytes_ = static_cast<std::int32_t>(random_.integer(0, static_cast<std::int64_t>(most)));
        bits_ = static_cast<std::int32_t>(random_.integer(-2, bytes_ * 8));
        srcOffset_ = static_cast<std::int32_t>(random_.integer(0, 7));
        dstOffset_ = random_.bits() % 4 == 0 ? srcOffset_ : static_cast<std::int32_t>(random_.integer(0, 7));
    }

    Operands operands(Logic operation, bool two) {
        return {operation, expected_.data() + src1_, two ? expected_.data() + src2_ : nullptr,
                expected_.data() + dst_};
    }
    std::uint8_t *src1() { return actual_.data() + src1_; }
    std::uint8_t *src2() { return actual_.data() + src2_; }
    std::uint8_t *dst() { return actual_.data() + dst_; }
    template <class T>
    T *as(std::uint8_t *bytes) {
        return reinterpret_cast<T *>(bytes);
    }

    std::uintptr_t address() { return reinterpret_cast<std::uintptr_t>(dst()); }

    void compare(const char *form) {
        ASSERT_EQ(expected_, actual_)
            << form << ": sources at " << src1_ << " and " << src2_ << ", destination " << dst_
            << ", offsets " << srcOffset_ << " and " << dstOffset_ << ", " << bits_ << " bits or " << bytes_
            << " bytes, seed " << seed();
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(expected_.data()) % 4,
                  reinterpret_cast<std::uintptr_t>(actual_.data()) % 4);
    }

    Random random_;
    Bytes expected_, actual_;
    std::size_t src1_ = 0, src2_ = 0, dst_ = 0;
    std::int32_t bytes_ = 0, bits_ = 0, srcOffset_ = 0, dstOffset_ = 0;
};

TEST_F(LogicRandom, BitsOfTwoOperands) {
    for (const LogicMembers &member : logicMembers())
        for (int round = 0; round < rounds; ++round) {
            shuffle();
            reference::moveBits(operands(member.operation, false), srcOffset_, dstOffset_, bits_, address());
            member.bits2(src1(), dst(), srcOffset_, dstOffset_, bits_);
            compare("bits");
        }
}

TEST_F(LogicRandom, BitsOfThreeOperands) {
    for (const LogicMembers &member : logicMembers())
        for (int round = 0; round < rounds && member.bits3 != nullptr; ++round) {
            shuffle();
            reference::moveBits(operands(member.operation, true), srcOffset_, dstOffset_, bits_, address());
            member.bits3(src1(), src2(), dst(), srcOffset_, dstOffset_, bits_);
            compare("bits");
        }
}

TEST_F(LogicRandom, NibblesOfTwoOperands) {
    for (const LogicMembers &member : logicMembers())
        for (int round = 0; round < rounds; ++round) {
            shuffle();
            const std::int32_t src = srcOffset_ & 1, to = dstOffset_ & 1, len = bits_ / 4;
            reference::moveBits(operands(member.operation, false), 3 + 4 * src, 3 + 4 * to, 4 * len,
                                address());
            member.nibbles2(src1(), dst(), src, to, len);
            compare("nibbles");
        }
}

TEST_F(LogicRandom, NibblesOfThreeOperands) {
    for (const LogicMembers &member : logicMembers())
        for (int round = 0; round < rounds && member.nibbles3 != nullptr; ++round) {
            shuffle();
            const std::int32_t src = srcOffset_ & 1, to = dstOffset_ & 1, len = bits_ / 4;
            reference::moveBits(operands(member.operation, true), 3 + 4 * src, 3 + 4 * to, 4 * len,
                                address());
            member.nibbles3(src1(), src2(), dst(), src, to, len);
            compare("nibbles");
        }
}

TEST_F(LogicRandom, BytesAndWords) {
    for (const LogicMembers &member : logicMembers())
        for (int round = 0; round < rounds; ++round) {
            shuffle();
            const auto bytes = static_cast<std::size_t>(bytes_);
            const bool words = round % 2 != 0;
            const bool three = member.bytes3 != nullptr && round % 4 < 2;
            reference::moveBytes(operands(member.operation, three), words ? bytes / 2 * 2 : bytes, address());
            if (three && words)
                member.words3(as<std::int16_t>(src1()), as<std::int16_t>(src2()), as<std::int16_t>(dst()),
                              bytes_ / 2);
            else if (three)
                member.bytes3(src1(), src2(), dst(), bytes_);
            else if (words)
                member.words2(as<std::int16_t>(src1()), as<std::int16_t>(dst()), bytes_ / 2);
            else
                member.bytes2(src1(), dst(), bytes_);
            compare(words ? "words" : "bytes");
        }
}

TEST_F(LogicRandom, CopiesOfSignedBytesAndFloats) {
    for (int round = 0; round < rounds; ++round) {
        shuffle();
        const auto bytes = static_cast<std::size_t>(bytes_);
        reference::moveBytes(operands(Logic::copy, false), round % 2 != 0 ? bytes / 4 * 4 : bytes, address());
        if (round % 2 != 0)
            QZsbCopy(as<float>(src1()), as<float>(dst()), bytes_ / 4);
        else
            QZtbCopy(as<std::int8_t>(src1()), as<std::int8_t>(dst()), bytes_);
        compare("copy");
    }
}

TEST_F(LogicRandom, Scalars) {
    for (const LogicMembers &member : logicMembers())
        for (int round = 0; round < rounds; ++round) {
            shuffle();
            const auto value = random_.element<std::uint16_t>();
            std::uint8_t *const to = expected_.data() + dst_;
            switch (round % 3) {
            case 0:
                reference::repeat(member.operation, value & 15, 4, to, 3 + 4 * (dstOffset_ & 1), bits_ / 4);
                member.nibbles2s(static_cast<std::uint8_t>(value), dst(), dstOffset_ & 1, bits_ / 4);
                break;
            case 1:
                reference::repeat(member.operation, value & 255, 8, to, 7, bytes_);
                member.bytes2s(static_cast<std::uint8_t>(value), dst(), bytes_);
                break;
            default:
                // Elements lie lowest byte first.
                reference::repeat(member.operation, std::rotl(value, 8), 16, to, 7, bytes_ / 2);
                member.words2s(static_cast<std::int16_t>(value), as<std::int16_t>(dst()), bytes_ / 2);
            }
            compare("scalar");
        }
}

TEST_F(LogicRandom, SetZeroAndNot) {
    for (int round = 0; round < rounds; ++round) {
        shuffle();
        std::uint8_t *const to = expected_.data() + dst_;
        const auto value = random_.element<std::uint8_t>();
        const std::int32_t offset = dstOffset_, half = dstOffset_ & 1, nibbles = bits_ / 4;
        const bool wholeByte = nibbles == 0 && half == 0;
        switch (round % 12) {
        case 0:
            reference::repeat(Logic::copy, 0, 1, to, offset, bits_);
            QZbbZero(dst(), offset, bits_);
            break;
        case 1:
            reference::repeat(Logic::copy, value & 1, 1, to, offset, bits_);
            QZbbSet(value, dst(), offset, bits_);
            break;
        case 2:
            reference::repeat(Logic::exclusive, 1, 1, to, offset, bits_);
            QZbbNot(dst(), offset, bits_);
            break;
        case 3:
            reference::repeat(Logic::copy, 0, 4, to, wholeByte ? 7 : 3 + 4 * half, wholeByte ? 2 : nibbles);
            QZnbZero(dst(), half, nibbles);
            break;
        case 4:
            reference::repeat(Logic::exclusive, 15, 4, to, wholeByte ? 7 : 3 + 4 * half,
                              wholeByte ? 2 : nibbles);
            QZnbNot(dst(), half, nibbles);
            break;
        case 5:
            reference::repeat(Logic::copy, 0, 8, to, 7, bytes_);
            QZybZero(dst(), bytes_);
            break;
        case 6:
            reference::repeat(Logic::copy, value, 8, to, 7, bytes_);
            QZtbSet(std::bit_cast<std::int8_t>(value), as<std::int8_t>(dst()), bytes_);
            break;
        case 7:
            reference::repeat(Logic::copy, 0, 16, to, 7, bytes_ / 2);
            QZwbZero(as<std::int16_t>(dst()), bytes_ / 2);
            break;
        case 8:
            reference::repeat(Logic::exclusive, 1, 1, to, 7, bytes_ / 2 * 16);
            QZwbNot(as<std::int16_t>(dst()), bytes_ / 2);
            break;
        case 9:
            reference::repeat(Logic::exclusive, 255, 8, to, 7, bytes_);
            QZybNot(dst(), bytes_);
            break;
        case 10:
            reference::repeat(Logic::copy, 0, 8, to, 7, bytes_ / 4 * 4);
            QZsbZero(as<float>(dst()), bytes_ / 4);
            break;
        default: {
            const auto bits = random_.element<std::uint32_t>();
            reference::repeat(Logic::copy, __builtin_bswap32(bits), 32, to, 7, bytes_ / 4);
            QZsbSet(std::bit_cast<float>(bits), as<float>(dst()), bytes_ / 4);
        }
        }
        compare("one run");
    }
}

} // namespace
} // namespace qzk::test
