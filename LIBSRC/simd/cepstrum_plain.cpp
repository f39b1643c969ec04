#include "simd/cepstrum.hpp"

namespace qzk::simd {
namespace {

void preEmphasizeFloats(float *srcDst, float a, std::size_t n) {
    const double factor = a;
    double previous = srcDst[0];
    for (std::size_t k = 1; k < n; ++k) {
        const double current = srcDst[k];
        srcDst[k] = static_cast<float>(current - previous * factor);
        previous = current;
    }
}

void preEmphasizeShorts(std::int16_t *srcDst, float a, std::size_t n) {
    const double factor = a;
    double previous = srcDst[0];
    for (std::size_t k = 1; k < n; ++k) {
        const double current = srcDst[k];
        srcDst[k] = static_cast<std::int16_t>(static_cast<std::int32_t>(current - previous * factor));
        previous = current;
    }
}

void mirror(const float *spectrum, std::size_t half, double *bins) {
    bins[0] = spectrum[0];
    for (std::size_t b = 1; b <= half; ++b) {
        bins[b] = spectrum[b];
        bins[2 * half - b] = spectrum[b];
    }
}

void cosineTransform(const double *filterOutput, std::size_t nFilters, const double *factors,
                     std::size_t nCoeffs, float *dst) {
    const std::size_t stride = coefficientStride(nCoeffs);
    for (std::size_t k = 0; k < nCoeffs; ++k) {
        double sum = 0.0;
        for (std::size_t j = 0; j < nFilters; ++j)
            sum += filterOutput[j] * factors[j * stride + k];
        dst[k] = static_cast<float>(sum);
    }
}

} // namespace

void plain::filterBank(const FilterGroup *groups, std::size_t nGroups, const double *bins,
                       double *filterOutput) {
    for (std::size_t g = 0; g < nGroups; ++g) {
        const FilterGroup &group = groups[g];
        for (std::size_t filter = 0; filter < FilterGroup::filters; ++filter) {
            const auto first = static_cast<std::size_t>(group.first[filter]);
            const auto count = static_cast<std::size_t>(group.count[filter]);
            double sum = 0.0;
            for (std::size_t step = first; step < first + count; ++step)
                sum += group.weight(filter, step) * bins[group.start[filter] + std::ptrdiff_t(step)];
            *filterOutput++ = sum;
        }
    }
}

void plain::install(CepstrumKernels &kernels) {
    kernels.preEmphasizeFloats = preEmphasizeFloats;
    kernels.preEmphasizeShorts = preEmphasizeShorts;
    kernels.mirror = mirror;
    kernels.filterBank = plain::filterBank;
    kernels.cosineTransform = cosineTransform;
}

} // namespace qzk::simd
