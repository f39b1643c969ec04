#pragma once

#include <cstddef>
#include <string>

namespace recognise {

/// Number of UTF-8 characters; a byte that belongs to none counts as one.
std::size_t characters(const std::string &text);

/// The text with U+FFFD in place of every byte that belongs to no UTF-8 character: file names may hold any.
std::string validUtf8(const std::string &text);

/// The noun as it stands beside a number: `file` for one, `files` for any other.
std::string plural(std::size_t count, const std::string &noun);

/// The number and the noun: `1 file`, `2 files`.
std::string counted(std::size_t count, const std::string &noun);

/// With so many decimal places.
std::string number(double value, int digits);

/// A part of the whole: `97.8 %`; a dash of nothing.
std::string percent(std::size_t part, std::size_t whole, int digits = 1);

} // namespace recognise
