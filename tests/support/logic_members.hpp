// The exports of packed logic by operation, so that a test runs over all of them.
#pragma once

#include "qzk.h"
#include "reference/logic.hpp"

#include <vector>

namespace qzk::test {

using Bits2 = void (*)(const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t, std::int32_t);
using Bits3 = void (*)(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::int32_t, std::int32_t,
                       std::int32_t);

struct LogicMembers {
    reference::Logic operation;
    Bits2 bits2, nibbles2;
    Bits3 bits3, nibbles3; // null for the copy
    void (*bytes2)(const std::uint8_t *, std::uint8_t *, std::int32_t);
    void (*words2)(const std::int16_t *, std::int16_t *, std::int32_t);
    void (*bytes3)(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, std::int32_t);
    void (*words3)(const std::int16_t *, const std::int16_t *, std::int16_t *, std::int32_t);
    void (*nibbles2s)(std::uint8_t, std::uint8_t *, std::int32_t, std::int32_t);
    void (*bytes2s)(std::uint8_t, std::uint8_t *, std::int32_t);
    void (*words2s)(std::int16_t, std::int16_t *, std::int32_t);
};

inline const std::vector<LogicMembers> &logicMembers() {
    using reference::Logic;
    static const std::vector<LogicMembers> members = {
        {Logic::copy, QZbbCopy, QZnbCopy, nullptr, nullptr, QZybCopy, QZwbCopy, nullptr, nullptr, QZnbSet,
         QZybSet, QZwbSet},
        {Logic::conjunction, QZbbAnd2, QZnbAnd2, QZbbAnd3, QZnbAnd3, QZybAnd2, QZwbAnd2, QZybAnd3, QZwbAnd3,
         QZnbAnd2s, QZybAnd2s, QZwbAnd2s},
        {Logic::disjunction, QZbbOr2, QZnbOr2, QZbbOr3, QZnbOr3, QZybOr2, QZwbOr2, QZybOr3, QZwbOr3, QZnbOr2s,
         QZybOr2s, QZwbOr2s},
        {Logic::exclusive, QZbbXor2, QZnbXor2, QZbbXor3, QZnbXor3, QZybXor2, QZwbXor2, QZybXor3, QZwbXor3,
         QZnbXor2s, QZybXor2s, QZwbXor2s},
    };
    return members;
}

} // namespace qzk::test
