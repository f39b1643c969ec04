#pragma once

namespace recognise {

constexpr const char *programName = "recognise";

} // namespace recognise
