// The front end of recognition: pre-emphasis, filter bank and cosine transform.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qzk::simd {

/// Four neighbouring filters of a bank: few, as the widest one decides how many steps they take. Each reads
/// `steps` bins from its start on; the weights of the bins that lie outside the filter are 0.
struct FilterGroup {
    static constexpr std::size_t filters = 4;
    static constexpr std::size_t block = 4; // steps is a multiple of it

    std::int32_t steps;
    std::int32_t start[filters];
    // The bins that the filter really has: its first one, counted from its start, and how many.
    std::int32_t first[filters];
    std::int32_t count[filters];
    // In the order of use: block by block, in each the filters one after the other.
    double *weights;

    double &weight(std::size_t filter, std::size_t step) const {
        return weights[(step / block * filters + filter) * block + step % block];
    }
};

struct CepstrumKernels {
    /// x[k] = x[k] - a * x[k-1] from the unfiltered samples, product and difference in double; n is at least
    /// 1.
    void (*preEmphasizeFloats)(float *srcDst, float a, std::size_t n);

    /// The same, truncated towards zero, of which the low 16 bits are stored; for coefficients that make the
    /// differences exact in double and less than 2^31.
    void (*preEmphasizeShorts)(std::int16_t *srcDst, float a, std::size_t n);

    /// Each of nGroups * FilterGroup::filters outputs is its filter's sum of weight * spectrum over the
    /// filter's bins, from 0.0 upwards, product and sum rounded to double.
    void (*filterBank)(const FilterGroup *groups, std::size_t nGroups, const float *spectrum,
                       double *filterOutput);

    /// dst[k] = sum of filterOutput[j] * factors[j * stride + k] over j < nFilters, from 0.0 upwards in
    /// double, for k < nCoeffs; stride is nCoeffs rounded up to a multiple of coefficientBlock.
    void (*cosineTransform)(const double *filterOutput, std::size_t nFilters, const double *factors,
                            std::size_t nCoeffs, float *dst);
};

constexpr std::size_t coefficientBlock = 16;

[[gnu::always_inline]] constexpr std::size_t coefficientStride(std::size_t nCoeffs) {
    return (nCoeffs + coefficientBlock - 1) / coefficientBlock * coefficientBlock;
}

namespace plain {
void install(CepstrumKernels &kernels);
void filterBank(const FilterGroup *groups, std::size_t nGroups, const float *spectrum, double *filterOutput);
} // namespace plain
namespace sse2 {
void install(CepstrumKernels &kernels);
}
namespace avx2 {
void install(CepstrumKernels &kernels);
}
namespace avx512 {
void install(CepstrumKernels &kernels);
}

} // namespace qzk::simd
