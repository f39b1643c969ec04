// What the exports do, hashed: each one's results, reports and the status that it leaves.
#pragma once

#include "qzk.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>

namespace qzk::digest {

/// Digest of each export by its name.
using ExportDigests = std::map<std::string, std::string>;

/// Runs a family and gives the digests of the exports that it called.
ExportDigests record(void (*family)());

/// Name of an export, out of the text that GCC and clang have for this function.
template <auto function>
std::string_view nameOf() {
    const std::string_view text = __PRETTY_FUNCTION__;
    const std::size_t begin = text.find("QZ", text.find("function = "));
    return text.substr(begin, text.find_first_of(";]", begin) - begin);
}

/// What is put from now on belongs to this export.
void select(std::string_view name);

void putBytes(const void *data, std::size_t bytes);
void putText(const char *text);
void putInteger(std::int64_t value);
/// The sign and the payload of a not-a-number are not defined and left out.
void putReal(double value);

template <class T>
void put(T value) {
    if constexpr (std::is_floating_point_v<T>)
        putReal(value);
    else if constexpr (std::is_pointer_v<T>)
        putInteger(value != nullptr ? 1 : 0); // where something lies is not part of the result
    else
        putInteger(value);
}

/// Elements at any address, not-a-numbers as by putReal().
template <class T>
void putElements(const void *first, std::size_t n) {
    if constexpr (std::is_floating_point_v<T>) {
        using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
        constexpr Bits infinity = sizeof(T) == 4 ? Bits{0x7F800000} : static_cast<Bits>(0x7FF0000000000000);
        for (std::size_t i = 0; i < n; ++i) {
            Bits bits;
            __builtin_memcpy(&bits, static_cast<const char *>(first) + i * sizeof bits, sizeof bits);
            if ((bits & ~(Bits{1} << (8 * sizeof bits - 1))) > infinity) bits = infinity + 1;
            putBytes(&bits, sizeof bits);
        }
    } else {
        putBytes(first, n * sizeof(T));
    }
}

/// Calls an export. Its result, its reports and the status that it leaves are put; the status is cleared.
template <auto function, class... Args>
auto call(Args... args) {
    select(nameOf<function>());
    struct Status {
        ~Status() {
            putInteger(QZGetStatus());
            QZSetStatus(QZ_StsOk);
        }
    } status;
    if constexpr (std::is_void_v<decltype(function(args...))>) {
        function(args...);
    } else {
        const auto result = function(args...);
        put(result);
        return result;
    }
}

} // namespace qzk::digest
