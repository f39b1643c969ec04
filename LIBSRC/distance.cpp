// Dot products, norms and distances of two vectors.
#include "qzk.h"
#include "simd/kernels.hpp"

#include <cmath>
#include <cstddef>

using namespace qzk;

namespace {

std::size_t lengthOf(int32_t len) { return len > 0 ? static_cast<std::size_t>(len) : 0; }

double rootIf(int32_t doSqrt, double sum) { return doSqrt != 0 ? std::sqrt(sum) : sum; }

const auto &floats() { return simd::kernels().distance.ofFloats; }
const auto &words() { return simd::kernels().distance.ofWords; }

} // namespace

extern "C" {

double QZsDotP(const float *src1, const float *src2, int32_t len) {
    return floats().dotProduct(src1, src2, lengthOf(len));
}

double QZsL1Norm(const float *src1, const float *src2, int32_t len) {
    return floats().cityBlock(src1, src2, lengthOf(len));
}

double QZsL2Norm(const float *src1, const float *src2, int32_t len, int32_t doSqrt) {
    return rootIf(doSqrt, floats().squaredEuclidean(src1, src2, lengthOf(len)));
}

double QZsMahalanobisD(const float *src1, const float *src2, const float *diag, int32_t len, int32_t doSqrt) {
    return rootIf(doSqrt, floats().diagonalMahalanobis(src1, src2, diag, lengthOf(len)));
}

double QZsMahalanobis(const float *src1, const float *src2, const float *const *rows, int32_t len,
                      int32_t doSqrt) {
    return rootIf(doSqrt, floats().mahalanobis(src1, src2, rows, lengthOf(len)));
}

int32_t QZwDotP(const int16_t *src1, const int16_t *src2, int32_t len, int32_t doScale,
                int32_t *scaleFactor) {
    return QZdiConvertDown(words().dotProduct(src1, src2, lengthOf(len)), doScale, scaleFactor);
}

int32_t QZwL1Norm(const int16_t *src1, const int16_t *src2, int32_t len, int32_t doScale,
                  int32_t *scaleFactor) {
    return QZdiConvertDown(words().cityBlock(src1, src2, lengthOf(len)), doScale, scaleFactor);
}

int32_t QZwL2Norm(const int16_t *src1, const int16_t *src2, int32_t len, int32_t doSqrt, int32_t doScale,
                  int32_t *scaleFactor) {
    const double sum = words().squaredEuclidean(src1, src2, lengthOf(len));
    return QZdiConvertDown(rootIf(doSqrt, sum), doScale, scaleFactor);
}

int32_t QZwMahalanobisD(const int16_t *src1, const int16_t *src2, const int16_t *diag, int32_t len,
                        int32_t doSqrt, int32_t doScale, int32_t *scaleFactor) {
    const double sum = words().diagonalMahalanobis(src1, src2, diag, lengthOf(len));
    return QZdiConvertDown(rootIf(doSqrt, sum), doScale, scaleFactor);
}

int32_t QZwMahalanobis(const int16_t *src1, const int16_t *src2, const int16_t *const *rows, int32_t len,
                       int32_t doSqrt, int32_t doScale, int32_t *scaleFactor) {
    const double sum = words().mahalanobis(src1, src2, rows, lengthOf(len));
    return QZdiConvertDown(rootIf(doSqrt, sum), doScale, scaleFactor);
}

} // extern "C"
