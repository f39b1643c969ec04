// The one process-wide record of cached tables and work buffers. Zero at load; every entry is built by the
// first call that needs it and lives until its module's free function runs.
#pragma once

#include "qzk.h"

#include <cstddef>
#include <cstdint>

namespace qzk {

/// Floats in which a 16-bit form works; only grows.
struct WorkBuffer {
    std::int32_t capacity; // floats in buff
    float *buff;
};

/// Cached coefficient tables of one window.
struct WindowContext {
    static constexpr int maxTables = 16;

    WorkBuffer work;
    struct {
        std::int32_t current; // index of the table used last
        std::int32_t count;
        std::int32_t lengths[maxTables];
        float *tables[maxTables];
    } sCoeff;
};

/// Tables per FFT order. Each slot holds the raw heap block; users round it up to `alignment`.
struct FftContext {
    static constexpr int orders = 33;
    static constexpr std::size_t alignment = 32;

    void *twiddle[orders];
    void *bitReversal[orders];
    void *realFft[orders];
    void *lanes[orders];       // twiddle factors as the vector kernels read them
    void *sBuffer;             // float work buffer of the 16-bit FFT
    std::int32_t sBufferOrder; // order that sBuffer was sized for
};

/// Cached cosine factors of the cepstral transform.
struct DctContext {
    std::int32_t nFilters; // 0: no table
    std::int32_t nCoeffs;
    // Factor of filter j in coefficient k at j * simd::coefficientStride(nCoeffs) + k: vectors hold
    // neighbouring coefficients.
    double *sstoredDctFactor;
    double rowZeroFactor;
    double rowFactor;
};

/// Work buffers of the cepstral analysis.
struct CepsContext {
    double *filterOutput;
    QZComplexFloat *fftOut; // reused in place for the log-magnitude spectrum
    float *tempVect;
    float *tempCeps;
    std::int32_t tempCepsCapacity; // floats in tempCeps
};

struct Context {
    WorkBuffer PreEmphasis;
    WindowContext Hamming, Hanning, Bartlett, Blackman;
    FftContext Fft;
    DctContext Dct;
    CepsContext Ceps;
};

Context *QZ_GetContext();

} // namespace qzk
