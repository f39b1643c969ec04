#include "simd/fft.hpp"

#include <cstring>

namespace qzk::simd {
namespace {

/// A point while it is computed with.
struct Complex {
    double re, im;
};

Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
Complex operator*(Complex a, Complex b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
Complex conjugate(Complex a) { return {a.re, -a.im}; }
Complex timesMinusI(Complex a) { return {a.im, -a.re}; }

// Clients may pass data of any alignment.
Complex load(const QZComplexFloat *from) {
    QZComplexFloat value;
    std::memcpy(&value, from, sizeof value);
    return {value.re, value.im};
}

void store(QZComplexFloat *to, Complex value) {
    const QZComplexFloat rounded = {static_cast<float>(value.re), static_cast<float>(value.im)};
    std::memcpy(to, &rounded, sizeof rounded);
}

void exchange(QZComplexFloat *a, QZComplexFloat *b) {
    const Complex value = load(a);
    store(a, load(b));
    store(b, value);
}

void conjugateAll(QZComplexFloat *x, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        store(x + i, conjugate(load(x + i)));
}

void butterfly2(QZComplexFloat *x) {
    const Complex a = load(x), b = load(x + 1);
    store(x, a + b);
    store(x + 1, a - b);
}

/// Column j of a radix-4 pass over a block of four quarters, before the products with the twiddles. The
/// second and third output are stored crossed, which makes the final order a plain bit reversal.
struct Butterfly4 {
    Complex y0, y1, y2, y3;

    Butterfly4(const QZComplexFloat *x, std::size_t quarter) {
        const Complex a = load(x), b = load(x + quarter), c = load(x + 2 * quarter),
                      d = load(x + 3 * quarter);
        const Complex sumAC = a + c, sumBD = b + d, differenceAC = a - c, turned = timesMinusI(b - d);
        y0 = sumAC + sumBD;
        y2 = sumAC - sumBD;
        y1 = differenceAC + turned;
        y3 = differenceAC - turned;
    }

    void storeAt(QZComplexFloat *x, std::size_t quarter) const {
        store(x, y0);
        store(x + quarter, y2);
        store(x + 2 * quarter, y1);
        store(x + 3 * quarter, y3);
    }
};

void pass4(QZComplexFloat *block, std::size_t quarter, const QZComplexFloat *twiddle, std::size_t stride) {
    for (std::size_t j = 0; j < quarter; ++j) {
        Butterfly4 y(block + j, quarter);
        if (j == 0) {
            // All factors are 1: without products, infinities and signed zeros pass through.
        } else if (2 * j == quarter) {
            y.y2 = timesMinusI(y.y2);
            y.y1 = {(y.y1.re + y.y1.im) * sqrtHalf, (y.y1.im - y.y1.re) * sqrtHalf};
            y.y3 = {(y.y3.im - y.y3.re) * sqrtHalf, (-y.y3.re - y.y3.im) * sqrtHalf};
        } else {
            y.y2 = y.y2 * load(twiddle + 2 * j * stride);
            y.y1 = y.y1 * load(twiddle + j * stride);
            y.y3 = y.y3 * load(twiddle + 3 * j * stride);
        }
        y.storeAt(block + j, quarter);
    }
}

void core(QZComplexFloat *x, std::size_t n, std::int32_t sign, const QZComplexFloat *twiddle) {
    if (n <= 2) {
        butterfly2(x);
        return;
    }
    // The inverse kernel is conj(FFT(conj(x))).
    if (sign < 0) conjugateAll(x, n);
    std::size_t remaining = n;
    for (std::size_t stride = 1; remaining > 2; remaining /= 4, stride *= 4)
        for (std::size_t start = 0; start < n; start += remaining)
            pass4(x + start, remaining / 4, twiddle, stride);
    if (remaining == 2)
        for (std::size_t start = 0; start < n; start += 2)
            butterfly2(x + start);
    if (sign < 0) conjugateAll(x, n);
}

/// Four indexes at a time: those with equal low and high end bits exchange among themselves, the others
/// across, so that only the even entries below n/2 are read.
void permute(QZComplexFloat *x, std::size_t n, const std::uint32_t *reversed) {
    const std::size_t half = n / 2, quarter = n / 4;
    for (std::size_t i = 0; i + 3 < half; i += 4) {
        const std::size_t first = reversed[i], second = reversed[i + 2];
        exchange(x + i + 1, x + half + first);
        exchange(x + i + 3, x + half + quarter + first);
        if (i > first) {
            exchange(x + i, x + first);
            exchange(x + half + i + 1, x + half + first + 1);
        }
        if (i + 2 > second) {
            exchange(x + i + 2, x + second);
            exchange(x + half + i + 3, x + half + second + 1);
        }
    }
}

void splitReal(QZComplexFloat *z, std::size_t h, std::int32_t sign, const QZComplexFloat *table) {
    const Complex first = load(z);
    store(z, {first.re + first.im, first.re - first.im});
    for (std::size_t k = 1, p = h - 1; k < p; ++k, --p) {
        const Complex a = load(z + k), b = load(z + p), t = load(table + k);
        const double dr = a.re - b.re, si = b.im + a.im;
        if (sign < 0) {
            const double re = dr * t.im - si * t.re, im = dr * t.re + si * t.im;
            store(z + k, {a.re - re, a.im - im});
            store(z + p, {b.re + re, b.im - im});
        } else {
            const double re = si * t.re + dr * t.im, im = si * t.im - dr * t.re;
            store(z + k, {b.re + re, im - b.im});
            store(z + p, {a.re - re, im - a.im});
        }
    }
    if (sign >= 0 && h >= 2) store(z + h / 2, conjugate(load(z + h / 2)));
}

void splitCcs(QZComplexFloat *z, std::size_t h, std::int32_t sign, const QZComplexFloat *twiddle) {
    if (h > 1) {
        for (std::size_t k = 1, p = h - 1; k < p; ++k, --p) {
            const Complex a = load(z + k), b = load(z + p), w = load(twiddle + k);
            const double dr = a.re - b.re, sr = a.re + b.re, di = a.im - b.im, si = a.im + b.im;
            const double im = sign < 0 ? w.im * si + w.re * dr : w.re * dr - w.im * si;
            const double re = sign < 0 ? dr * w.im - si * w.re : -dr * w.im - si * w.re;
            store(z + p, {sr - re, im - di});
            store(z + k, {sr + re, di + im});
        }
        const Complex middle = load(z + h / 2);
        store(z + h / 2, {2.0 * middle.re, (sign < 0 ? -2.0 : 2.0) * middle.im});
    }
    const Complex first = load(z);
    store(z, {first.re + first.im, first.re - first.im});
}

void scale(float *x, std::size_t n, double factor) {
    for (std::size_t i = 0; i < n; ++i) {
        float value;
        std::memcpy(&value, x + i, sizeof value);
        value = static_cast<float>(value * factor);
        std::memcpy(x + i, &value, sizeof value);
    }
}

} // namespace

void plain::install(FftKernels &kernels) {
    kernels.transform = nullptr;
    kernels.core = core;
    kernels.permute = permute;
    kernels.splitReal = splitReal;
    kernels.splitCcs = splitCcs;
    kernels.scale = scale;
}

} // namespace qzk::simd
