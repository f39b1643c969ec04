// The same warping, without threshold and band, as it is usually written.
#pragma once

namespace peers {

struct Pattern {
    const float *const *frames;
    int nFrames;
};

/// Plain loops.
double warpPlain(Pattern test, Pattern reference, int dim, double *work);

/// Column by column; the vectors run over the coefficients of a frame.
double warpVectors(Pattern test, Pattern reference, int dim, double *work);

} // namespace peers
