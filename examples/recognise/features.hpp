#pragma once

#include "audio.hpp"
#include "matrix.hpp"

#include "qzk.h"

#include <memory>
#include <vector>

namespace recognise {

constexpr int fftOrder = 8;
constexpr int frameLength = 1 << fftOrder;        ///< 32 ms
constexpr int frameStep = 80;                     ///< 10 ms
constexpr int cepstrumLength = 13;                ///< c0 to c12
constexpr int featureLength = 2 * cepstrumLength; ///< cepstra and their slopes

/// Where the word is, in samples of the recording.
struct Extent {
    std::size_t begin = 0, end = 0;
};

/// Finds the word by its energy. Throws InputError (without the file's name) for a recording that is shorter
/// than a frame or silent.
Extent findWord(const std::vector<float> &samples);

struct Analysis {
    Extent word;
    Matrix cepstra;  ///< as the library gives them, with the margin of silence around the word
    Matrix features; ///< normalised cepstra, then their slopes
};

struct FreeFilters {
    void operator()(QZMFCCFilters *filters) const { QZsFreeMFCCFilters(filters); }
};
using Filters = std::unique_ptr<QZMFCCFilters, FreeFilters>;

enum class Arithmetic { floating, fixed };

/// Turns recordings into feature vectors, in floating-point or through the 16-bit functions of the library.
class FrontEnd {
public:
    explicit FrontEnd(Arithmetic arithmetic);

    /// Throws InputError (without the file's name) as findWord() does, and LibraryError.
    Analysis analyse(const Recording &recording) const;

    Arithmetic usedArithmetic() const { return arithmetic; }

private:
    Matrix powerSpectra(const std::vector<float> &samples) const;
    void cepstrum(const std::vector<float> &logMagnitude, float *out) const;

    Arithmetic arithmetic;
    Filters filters;
};

/// Power of the bins 0 to frameLength/2 of the packed spectrum of one frame.
std::vector<float> powers(const std::vector<float> &packed);

} // namespace recognise
