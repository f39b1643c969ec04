// Mel-frequency cepstral analysis.
#include "common/context.hpp"
#include "common/elementary.hpp"
#include "common/memory.hpp"
#include "common/report.hpp"
#include "qzk.h"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>

using namespace qzk;
using simd::FilterGroup;

struct QZMFCCFilters {
    std::int32_t id; // serial number; the context's buffers are sized for one record
    std::int32_t order;
    std::int32_t N; // FFT length and number of bins, 2^order
    std::int32_t M; // number of filters
    std::size_t nGroups;
    FilterGroup *fftSpec; // the filters in groups, followed by all weights
};

namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_CEPS");

// Of the widest vectors, so that no load of weights straddles cache lines.
constexpr std::size_t vectorAlignment = 64;

std::int32_t nextId = 0;
// Records that the context's buffers were sized for.
std::int32_t floatBuffersId = -1; // filterOutput, fftOut
std::int32_t shortBuffersId = -1; // tempVect, tempCeps

double mel(double frequency) { return 2595.0 * log10(frequency * 0.0014285714285714286 + 1.0); }
double frequencyOf(double mel) { return (exp10(mel * 0.0003853564547206166) - 1.0) * 700.0; }

/// A triangular filter: its edges and center in units of frequency, and the bins between them.
struct Filter {
    double low, center, high;
    std::int32_t first, count;

    double weight(double frequency) const {
        return center >= frequency ? (frequency - low) / (center - low)
                                   : (frequency - high) / (center - high);
    }
};

/// Filters of equal width on the mel scale, each starting at its predecessor's center.
void placeMelFilters(Filter *tempFilter, std::int32_t from, std::int32_t to, double start, double end) {
    const double width = (end - start) / ((to - from) * 0.5 + 0.5);
    double low = start;
    for (std::int32_t i = from; i < to; ++i) {
        tempFilter[i] = {frequencyOf(low), frequencyOf(low + 0.5 * width), frequencyOf(low + width), 0, 0};
        low = low + 0.5 * width;
    }
}

struct Band {
    std::int32_t low, high;
    bool linear;
    std::int32_t nLinear, linearEnd;
};

/// Linear filters below band.linearEnd, mel filters above. More linear filters than there are filters at all
/// leave no mel filter.
void placeFilters(Filter *tempFilter, std::int32_t M, const Band &band) {
    const double highMel = mel(band.high);
    if (!band.linear || band.nLinear < 1 || band.linearEnd <= band.low) {
        placeMelFilters(tempFilter, 0, M, mel(band.low), highMel);
        return;
    }
    const std::int32_t L = band.nLinear;
    const double width = (static_cast<double>(band.linearEnd) - band.low) * 2.0 / L;
    const double half = 0.5 * width;
    double low = band.low;
    for (std::int32_t i = 0; i < std::min(L - 1, M); ++i) {
        tempFilter[i] = {low, low + half, low + width, 0, 0};
        low = low + half;
    }
    if (L > M) return;

    // The last linear filter reaches to the center of the first mel filter.
    const double endMel = mel(band.linearEnd);
    const double melWidth = (highMel - endMel) / ((M - L) * 0.5 + 0.5);
    const double high = frequencyOf(mel(low + half) + 0.5 * melWidth);
    tempFilter[L - 1] = {low, (low + high) * 0.5, high, 0, 0};
    placeMelFilters(tempFilter, L, M, endMel, highMel);
}

/// First bin that `reached` holds for, N if there is none; it holds for all later bins too.
template <class Reached>
std::int32_t firstBin(std::int32_t N, Reached reached) {
    std::int32_t low = 0, high = N;
    while (low < high) {
        const std::int32_t middle = low + (high - low) / 2;
        if (reached(middle))
            high = middle;
        else
            low = middle + 1;
    }
    return low;
}

/// Finds the bins from edge to edge, both included. Bins of weight 0, which lie on an edge, are left out:
/// they add nothing, and with an infinite log magnitude they would spoil the sum.
void findBins(Filter &filter, std::int32_t N, double spacing) {
    // The frequency b * spacing never turns back as b grows. An edge that is not a number includes no bin.
    const bool ascending = spacing >= 0.0;
    std::int32_t first = firstBin(N, [&](std::int32_t b) {
        return ascending ? b * spacing >= filter.low : b * spacing <= filter.high;
    });
    std::int32_t end = firstBin(N, [&](std::int32_t b) {
        return ascending ? !(b * spacing <= filter.high) : !(b * spacing >= filter.low);
    });
    while (first < end && filter.weight(first * spacing) == 0.0)
        ++first;
    while (first < end && filter.weight((end - 1) * spacing) == 0.0)
        --end;
    filter.first = first;
    filter.count = std::max(end - first, 0);
}

/// Steps that the group of these filters takes.
std::int32_t stepsOf(const Filter *filters, std::int32_t nFilters) {
    constexpr auto block = static_cast<std::int32_t>(FilterGroup::block);
    std::int32_t steps = 0;
    for (std::int32_t i = 0; i < nFilters; ++i)
        steps = std::max(steps, filters[i].count);
    return (steps + block - 1) / block * block;
}

/// Lays out one group with its weights, which are all 0 so far. No filter reads past the last bin, as far as
/// there are as many bins as steps.
void fillGroup(FilterGroup &group, const Filter *filters, std::int32_t nFilters, std::int32_t N,
               double spacing) {
    for (std::int32_t i = 0; i < nFilters; ++i) {
        const Filter &filter = filters[i];
        group.start[i] = std::max(std::min(filter.first, N - group.steps), 0);
        group.first[i] = filter.first - group.start[i];
        group.count[i] = filter.count;
        for (std::int32_t step = 0; step < filter.count; ++step)
            group.weight(static_cast<std::size_t>(i), static_cast<std::size_t>(group.first[i] + step)) =
                filter.weight((filter.first + step) * spacing);
    }
}

/// Builds filters.fftSpec from the edges and centers; it stays null when memory runs out.
void buildGroups(QZMFCCFilters &filters, Filter *tempFilter, double spacing) {
    constexpr auto groupSize = static_cast<std::int32_t>(FilterGroup::filters);
    static_assert(sizeof(FilterGroup) % sizeof(double) == 0);

    for (std::int32_t i = 0; i < filters.M; ++i)
        findBins(tempFilter[i], filters.N, spacing);
    const auto filtersFrom = [&](std::int32_t i) { return std::min(groupSize, filters.M - i); };
    std::int64_t nGroups = 0, nWeights = 0;
    for (std::int32_t i = 0; i < filters.M; i += filtersFrom(i), ++nGroups)
        nWeights += std::int64_t{stepsOf(tempFilter + i, filtersFrom(i))} * groupSize;

    const std::int64_t groupDoubles = nGroups * std::int64_t{sizeof(FilterGroup) / sizeof(double)};
    const std::int64_t doubles = groupDoubles + std::int64_t{vectorAlignment / sizeof(double)} + nWeights;
    auto *const block = allocateArray<double>(filters.N > 0 ? doubles : -1);
    if (block == nullptr) return;
    std::fill_n(block, doubles, 0.0);
    filters.nGroups = static_cast<std::size_t>(nGroups);
    filters.fftSpec = reinterpret_cast<FilterGroup *>(block);
    double *weights = alignUp(block + groupDoubles, vectorAlignment);
    FilterGroup *group = filters.fftSpec;
    for (std::int32_t i = 0; i < filters.M; i += filtersFrom(i), ++group) {
        *group = {};
        group->steps = stepsOf(tempFilter + i, filtersFrom(i));
        group->weights = weights;
        weights += std::ptrdiff_t{group->steps} * groupSize;
        fillGroup(*group, tempFilter + i, filtersFrom(i), filters.N, spacing);
    }
}

void destroy(QZMFCCFilters *filters) {
    if (filters == nullptr) return;
    release(filters->fftSpec);
    release(filters);
}

/// A point on the unit circle; rotation adds angles.
struct Direction {
    double cos, sin;

    Direction rotated(Direction by) const {
        return {cos * by.cos - sin * by.sin, sin * by.cos + cos * by.sin};
    }
};

/// Row 0 holds f0. Row k holds f * cos(k * b + j * k * a) in column j, all angles being carried on by
/// rotation: the start of a row and its step from row to row, the entries from column to column.
void fillDctFactors(double *factors, std::int32_t M, std::int32_t K, double f0, double f) {
    const std::size_t stride = simd::coefficientStride(static_cast<std::size_t>(K));
    const auto nFilters = static_cast<std::size_t>(M), nCoeffs = static_cast<std::size_t>(K);
    std::fill_n(factors, nFilters * stride, 0.0);
    if (nCoeffs == 0) return;
    for (std::size_t j = 0; j < nFilters; ++j)
        factors[j * stride] = f0;

    // kept: pi and pi/2 cut off after eight and nine decimals; the factors are defined with them.
    const double a = 3.14159265 / M, b = 1.570796325 / M;
    const Direction stepTurn = {cosine(a), sine(a)}, startTurn = {cosine(b), sine(b)};
    Direction start = startTurn, step = stepTurn;
    for (std::size_t k = 1; k < nCoeffs; ++k) {
        Direction angle = start;
        for (std::size_t j = 0; j < nFilters; ++j) {
            factors[j * stride + k] = f * angle.cos;
            angle = angle.rotated(step);
        }
        start = start.rotated(startTurn);
        step = step.rotated(stepTurn);
    }
}

void freeDctFactors() {
    DctContext &dct = QZ_GetContext()->Dct;
    release(std::exchange(dct.sstoredDctFactor, nullptr));
    dct.nFilters = 0;
}

/// Cosine transform of M filter outputs into K coefficients.
std::int32_t OwnsDct(const double *filterOutput, std::int32_t M, float *dst, std::int32_t K, double f0,
                     double f) {
    DctContext &dct = QZ_GetContext()->Dct;
    const auto nFilters = static_cast<std::size_t>(M), nCoeffs = static_cast<std::size_t>(K);
    if (dct.sstoredDctFactor == nullptr || dct.nFilters != M || dct.nCoeffs != K || dct.rowZeroFactor != f0 ||
        dct.rowFactor != f) {
        freeDctFactors();
        const auto stride = static_cast<std::int64_t>(simd::coefficientStride(nCoeffs));
        dct.sstoredDctFactor = allocateArray<double>(M * stride);
        if (dct.sstoredDctFactor == nullptr)
            return report(QZ_StsNoMem, __func__,
                          "insufficiency of memory for pointer  pQZcontext->Dct.sstoredDctFactor", 330);
        fillDctFactors(dct.sstoredDctFactor, M, K, f0, f);
        dct.nFilters = M;
        dct.nCoeffs = K;
        dct.rowZeroFactor = f0;
        dct.rowFactor = f;
    }
    simd::kernels().cepstrum.cosineTransform(filterOutput, nFilters, dct.sstoredDctFactor, nCoeffs, dst);
    return QZ_StsOk;
}

void releaseFloatBuffers() {
    CepsContext &ceps = QZ_GetContext()->Ceps;
    release(std::exchange(ceps.filterOutput, nullptr));
    release(std::exchange(ceps.fftOut, nullptr));
    floatBuffersId = -1;
}

void releaseShortBuffers() {
    CepsContext &ceps = QZ_GetContext()->Ceps;
    release(std::exchange(ceps.tempVect, nullptr));
    release(std::exchange(ceps.tempCeps, nullptr));
    shortBuffersId = -1;
}

/// Turns the packed spectrum of N real samples into N/2 + 1 log magnitudes, in place.
void logMagnitudes(QZComplexFloat *fftOut, std::int32_t N) {
    constexpr std::int32_t magnitude = 1, logarithm = 4;
    auto *const packed = reinterpret_cast<float *>(fftOut);
    packed[N] = packed[1];
    packed[1] = packed[N + 1] = 0.0f;
    QZcsbConvert(fftOut, packed, N / 2 + 1, magnitude | logarithm);
}

/// Extends N/2 + 1 values to the N bins of the filter bank: those above N/2 read the mirrored spectrum.
void mirror(float *spectrum, std::int32_t N) {
    const std::int32_t half = N / 2;
    if (half > 0) std::reverse_copy(spectrum + 1, spectrum + half, spectrum + half + 1);
    // Fewer bins than a block has steps: the others are read with weight 0.
    std::fill_n(spectrum + N, FilterGroup::block, 0.0f);
}

} // namespace

extern "C" {

QZMFCCFilters *QZsMFCCInit(int32_t order, int32_t nFilters, int32_t lowFreq, int32_t highFreq, int32_t rate,
                           int32_t linear, int32_t nLinear, int32_t linearEnd) {
    auto *const filters = allocateArray<QZMFCCFilters>(1);
    if (filters == nullptr) {
        report(QZ_StsNoMem, __func__, "insufficiency of memory for pointer  filters", 154);
        return nullptr;
    }
    // A length that does not exist leaves no bin, and no memory for them either.
    const std::int32_t N = order >= 0 && order <= 30 ? 1 << order : 0;
    *filters = {nextId++, order, N, nFilters, 0, nullptr};

    const Buffer<Filter> tempFilter(nFilters);
    if (!tempFilter) {
        report(QZ_StsNoMem, __func__, "insufficiency of memory for pointer  tempFilter", 157);
        destroy(filters);
        return nullptr;
    }
    placeFilters(tempFilter.get(), nFilters, {lowFreq, highFreq, linear != 0, nLinear, linearEnd});
    buildGroups(*filters, tempFilter.get(), rate * 0.5 / (N - 1));
    if (filters->fftSpec == nullptr) {
        report(QZ_StsNoMem, __func__, "insufficiency of memory for pointer  filters->fftSpec", 159);
        destroy(filters);
        return nullptr;
    }
    return filters;
}

QZMFCCFilters *QZwMFCCInit(int32_t order, int32_t nFilters, int32_t lowFreq, int32_t highFreq, int32_t rate,
                           int32_t linear, int32_t nLinear, int32_t linearEnd) {
    QZMFCCFilters *const filters =
        QZsMFCCInit(order, nFilters, lowFreq, highFreq, rate, linear, nLinear, linearEnd);
    if (QZGetStatus() < 0) {
        report.backTrace(__func__, 612);
        destroy(filters);
        return nullptr;
    }
    return filters;
}

int32_t QZsCepstralMFCC(int32_t timeSignal, const float *src, QZMFCCFilters *filters, float *dst,
                        int32_t nCoeffs) {
    CepsContext &ceps = QZ_GetContext()->Ceps;
    const std::int32_t N = filters->N;
    if (filters->id != floatBuffersId) {
        releaseFloatBuffers();
        const std::size_t nSums = filters->nGroups * FilterGroup::filters;
        ceps.filterOutput = allocateArray<double>(static_cast<std::int64_t>(nSums));
        if (ceps.filterOutput == nullptr)
            return report(QZ_StsNoMem, __func__,
                          "insufficiency of memory for pointer  pQZcontext->Ceps.filterOutput", 426);
        ceps.fftOut = allocateArray<QZComplexFloat>(N / 2 + 1 + std::int64_t{FilterGroup::block / 2});
        if (ceps.fftOut == nullptr) {
            releaseFloatBuffers();
            return report(QZ_StsNoMem, __func__,
                          "insufficiency of memory for pointer  pQZcontext->Ceps.fftOut", 430);
        }
        floatBuffersId = filters->id;
    }

    auto *const spectrum = reinterpret_cast<float *>(ceps.fftOut);
    if (timeSignal != 0) {
        QZsRealFftNip(src, spectrum, filters->order, QZ_FORWARD);
        if (QZGetStatus() < 0) return report.backTrace(__func__, 441);
        logMagnitudes(ceps.fftOut, N);
    } else {
        QZsbCopy(src, spectrum, N / 2 + 1);
    }
    mirror(spectrum, N);
    simd::kernels().cepstrum.filterBank(filters->fftSpec, filters->nGroups, spectrum, ceps.filterOutput);
    OwnsDct(ceps.filterOutput, filters->M, dst, std::max(nCoeffs, 0), 2.0, 2.0);
    if (QZGetStatus() < 0) return report.backTrace(__func__, 483);
    return QZGetStatus();
}

int32_t QZwCepstralMFCC(int32_t timeSignal, const int16_t *src, QZMFCCFilters *filters, int16_t *dst,
                        int32_t nCoeffs, int32_t doScale, int32_t *scaleFactor) {
    CepsContext &ceps = QZ_GetContext()->Ceps;
    const std::int32_t K = std::max(nCoeffs, 0);
    if (filters->id != shortBuffersId) {
        releaseShortBuffers();
        ceps.tempVect = allocateArray<float>(filters->N);
        if (ceps.tempVect == nullptr)
            return report(QZ_StsNoMem, __func__,
                          "insufficiency of memory for pointer  pQZcontext->Ceps.tempVect", 992);
        shortBuffersId = filters->id;
    }
    if (ceps.tempCeps == nullptr || K > ceps.tempCepsCapacity) {
        release(ceps.tempCeps);
        ceps.tempCeps = allocateArray<float>(K);
        if (ceps.tempCeps == nullptr)
            return report(QZ_StsNoMem, __func__,
                          "insufficiency of memory for pointer  pQZcontext->Ceps.tempCeps", 995);
        ceps.tempCepsCapacity = K;
    }
    QZwsbConvertUp(src, ceps.tempVect, filters->N, 0);
    QZsCepstralMFCC(timeSignal, ceps.tempVect, filters, ceps.tempCeps, K);
    if (QZGetStatus() < 0) return report.backTrace(__func__, 1006);
    return QZswbConvertDown(ceps.tempCeps, dst, K, doScale, scaleFactor);
}

void QZsFreeMFCCFilters(QZMFCCFilters *filters) {
    freeDctFactors();
    if (filters->id == floatBuffersId) releaseFloatBuffers();
    destroy(filters);
}

void QZwFreeMFCCFilters(QZMFCCFilters *filters) {
    if (filters->id == shortBuffersId) releaseShortBuffers();
    QZsFreeMFCCFilters(filters);
}

} // extern "C"
