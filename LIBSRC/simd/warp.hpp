// Dynamic time warping of a test pattern against one reference pattern.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// Accumulated distance of a dead cell, and score of a reference that cannot be compared.
constexpr double deadCell = 3.4e38;

/// Reference frames that one test frame may be matched with.
struct FrameRange {
    std::int32_t lo, hi;
};

/// What the references of one evaluation share. With L = 2 nFrames - 1 + band width, the work arrays hold L +
/// 2 elements of which the first two have the indices -2 and -1, and L local distances; no reference has more
/// than L frames.
struct WarpTest {
    const float *const *frames;
    std::int32_t nFrames; // at least 1
    std::int32_t dim;     // 0 or more
    double threshold;
    bool cityBlock;
    double (*distance)(const float *test, const float *reference, std::int32_t dim);
    double *accumulated;
    double *local;
    std::int32_t *horizontal; // 1: the cell was reached by a horizontal step
    FrameRange *ranges;       // one per test frame
    double *packed;           // room that the kernels asked for, or null: the definition is used
};

struct WarpReference {
    const float *const *frames;
    std::int32_t nFrames; // from (test.nFrames + 1) / 2 to L
    std::int32_t band;    // 0 to nFrames - 1
};

struct WarpKernels {
    /// Doubles that `packed` has to have for references of up to `longest` frames; 0: none are used.
    std::size_t (*packedSize)(std::int32_t nTest, std::int32_t longest, std::int32_t dim);
    /// Called once `test` is complete; resets `packed` where the definition has to be used.
    void (*prepare)(WarpTest &test);
    /// The smallest accumulated distance of a path, at most the threshold.
    double (*score)(const WarpTest &test, const WarpReference &reference);
};

namespace plain {
void setRanges(FrameRange *ranges, std::int32_t nTest, std::int32_t nReference, std::int32_t band);
double warpScore(const WarpTest &test, const WarpReference &reference);
void install(WarpKernels &kernels);
} // namespace plain
namespace sse2 {
void install(WarpKernels &kernels);
}
namespace avx2 {
void install(WarpKernels &kernels);
}
namespace avx512 {
void install(WarpKernels &kernels);
}

} // namespace qzk::simd
