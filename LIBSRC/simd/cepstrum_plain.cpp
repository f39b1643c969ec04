#include "common/unaligned.hpp"
#include "simd/cepstrum.hpp"

namespace qzk::simd {
namespace {

void preEmphasizeFloats(float *srcDst, float a, std::size_t n) {
    const double factor = a;
    double previous = elementAt(srcDst, 0);
    for (std::size_t k = 1; k < n; ++k) {
        const double current = elementAt(srcDst, k);
        setElement(srcDst, k, static_cast<float>(current - previous * factor));
        previous = current;
    }
}

void preEmphasizeShorts(std::int16_t *srcDst, float a, std::size_t n) {
    const double factor = a;
    double previous = elementAt(srcDst, 0);
    for (std::size_t k = 1; k < n; ++k) {
        const double current = elementAt(srcDst, k);
        const auto difference = static_cast<std::int32_t>(current - previous * factor);
        setElement(srcDst, k, static_cast<std::int16_t>(difference));
        previous = current;
    }
}

void cosineTransform(const double *filterOutput, std::size_t nFilters, const double *factors,
                     std::size_t nCoeffs, float *dst) {
    const std::size_t stride = coefficientStride(nCoeffs);
    for (std::size_t k = 0; k < nCoeffs; ++k) {
        double sum = 0.0;
        for (std::size_t j = 0; j < nFilters; ++j)
            sum += filterOutput[j] * factors[j * stride + k];
        setElement(dst, k, static_cast<float>(sum));
    }
}

} // namespace

void plain::filterBank(const FilterGroup *groups, std::size_t nGroups, const float *spectrum,
                       double *filterOutput) {
    for (std::size_t g = 0; g < nGroups; ++g) {
        const FilterGroup &group = groups[g];
        for (std::size_t filter = 0; filter < FilterGroup::filters; ++filter) {
            const auto first = static_cast<std::size_t>(group.first[filter]);
            const auto count = static_cast<std::size_t>(group.count[filter]);
            double sum = 0.0;
            for (std::size_t step = first; step < first + count; ++step)
                sum += group.weight(filter, step) * spectrum[group.start[filter] + std::ptrdiff_t(step)];
            *filterOutput++ = sum;
        }
    }
}

void plain::install(CepstrumKernels &kernels) {
    kernels.preEmphasizeFloats = preEmphasizeFloats;
    kernels.preEmphasizeShorts = preEmphasizeShorts;
    kernels.filterBank = plain::filterBank;
    kernels.cosineTransform = cosineTransform;
}

} // namespace qzk::simd
