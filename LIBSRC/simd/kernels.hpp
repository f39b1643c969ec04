// The table of kernels. Every entry has one definition in <family>_plain.cpp; a higher level may replace it
// by a version that gives the same bits. This folder alone holds intrinsics and per-file compiler flags.
#pragma once

#include "simd/abs_shift.hpp"
#include "simd/arithmetic.hpp"
#include "simd/cepstrum.hpp"
#include "simd/convert.hpp"
#include "simd/convolve.hpp"
#include "simd/distance.hpp"
#include "simd/fft.hpp"
#include "simd/logic.hpp"
#include "simd/mixture.hpp"
#include "simd/perceptron.hpp"
#include "simd/quantiser.hpp"
#include "simd/reduction.hpp"
#include "simd/reverse.hpp"
#include "simd/rotate.hpp"
#include "simd/viterbi.hpp"
#include "simd/warp.hpp"

namespace qzk::simd {

enum class Level { plain, sse2, avx2, avx512 };

struct Kernels {
    AbsShiftKernels absShift;
    ArithmeticKernels arithmetic;
    CepstrumKernels cepstrum;
    ConvertKernels convert;
    ConvolveKernels convolve;
    DistanceKernels distance;
    FftKernels fft;
    LogicKernels logic;
    PerceptronKernels perceptron;
    QuantiserKernels quantiser;
    ReductionKernels reduction;
    ReverseKernels reverse;
    RotateKernels rotate;
    MixtureKernels mixture;
    ViterbiKernels viterbi;
    WarpKernels warp;
};

/// Null until kernels are first wanted.
extern const Kernels *activeKernels;

/// Sets activeKernels to those of the highest level of this processor and this build.
const Kernels &chooseKernels();

/// The table in force.
inline const Kernels &kernels() { return activeKernels != nullptr ? *activeKernels : chooseKernels(); }

/// The table of one level, which has to be available.
const Kernels &kernelsOf(Level level);

/// Highest level that both the processor and the build have.
Level highestLevel();

Level currentLevel();

/// Forces a level, or highestLevel() where that is lower; tests compare the levels with it.
void setLevel(Level level);

const char *levelName(Level level);

} // namespace qzk::simd
