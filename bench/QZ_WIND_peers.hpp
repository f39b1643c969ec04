// The obvious loops, compiled for this very machine: what a caller gets by writing them out.
#pragma once

#include <cstddef>
#include <cstdint>

namespace native {

void preEmphasize(float *x, float a, std::size_t n);
void preEmphasize(std::int16_t *x, float a, std::size_t n);

} // namespace native
