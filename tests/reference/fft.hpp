// The Fourier transforms by the letter of their definition: one element at a time, double arithmetic, rounded
// to single after every pass.
#pragma once

#include "qzk.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qzk::reference {

using Points = std::vector<QZComplexFloat>;

inline float single(double value) { return static_cast<float>(value); }

inline std::size_t reversedBits(std::size_t index, int order) {
    std::size_t reversed = 0;
    for (int bit = 0; bit < order; ++bit)
        if ((index >> bit & 1) != 0) reversed |= std::size_t{1} << (order - 1 - bit);
    return reversed;
}

inline Points twiddles(int order) {
    const std::size_t n = std::size_t{1} << order;
    Points w(n);
    w[0] = {1.0f, 0.0f};
    double a = -0.7853981633974483;
    for (std::size_t p = n / 8; p > 0; p /= 2) {
        const auto c = static_cast<double>(std::cos(static_cast<long double>(a)));
        const auto s = static_cast<double>(std::sin(static_cast<long double>(a)));
        w[p] = {single(c), single(s)};
        for (std::size_t e = p + 2 * p; e < n / 8; e += 2 * p) {
            const double re = w[e - p].re, im = w[e - p].im;
            w[e] = {single(re * c - im * s), single(re * s + im * c)};
        }
        a = a * 0.5;
    }
    for (std::size_t k = 1; k < n / 8; ++k)
        w[n / 4 - k] = {-w[k].im, -w[k].re};
    for (std::size_t k = 0; k < n / 4; ++k)
        w[n / 4 + k] = {w[k].im, -w[k].re};
    for (std::size_t k = 0; k < n / 2; ++k)
        w[n / 2 + k] = {-w[k].re, -w[k].im};
    return w;
}

inline Points realTable(int order) {
    Points t = twiddles(order);
    for (auto &entry : t)
        entry = {single(0.5 * entry.re), single(0.5 * entry.im + 0.5)};
    return t;
}

inline void negateImaginaryParts(Points &x) {
    for (auto &point : x)
        point.im = -point.im;
}

inline void pairs(Points &x) {
    for (std::size_t t = 0; t < x.size() / 2; ++t) {
        const QZComplexFloat a = x[2 * t], b = x[2 * t + 1];
        x[2 * t] = {single(double(a.re) + b.re), single(double(a.im) + b.im)};
        x[2 * t + 1] = {single(double(a.re) - b.re), single(double(a.im) - b.im)};
    }
}

/// Natural order in, bit-reversed order out.
inline void core(Points &x, int sign, const Points &w) {
    const std::size_t n = x.size();
    if (n <= 2) {
        pairs(x);
        return;
    }
    if (sign < 0) negateImaginaryParts(x);
    std::size_t q = n / 4, s = 1, r = n;
    while (r > 2) {
        for (std::size_t block = 0; block < n; block += 4 * q) {
            for (std::size_t j = 0; j < q; ++j) {
                QZComplexFloat &x0 = x[block + j], &x1 = x[block + j + q];
                QZComplexFloat &x2 = x[block + j + 2 * q], &x3 = x[block + j + 3 * q];
                const double acRe = double(x0.re) + x2.re, acIm = double(x0.im) + x2.im;
                const double bdRe = double(x1.re) + x3.re, bdIm = double(x1.im) + x3.im;
                const double amcRe = double(x0.re) - x2.re, amcIm = double(x0.im) - x2.im;
                const double bmdRe = double(x1.re) - x3.re, bmdIm = double(x1.im) - x3.im;
                const double y2Re = acRe - bdRe, y2Im = acIm - bdIm;
                const double y1Re = amcRe + bmdIm, y1Im = amcIm - bmdRe;
                const double y3Re = amcRe - bmdIm, y3Im = amcIm + bmdRe;
                x0 = {single(acRe + bdRe), single(acIm + bdIm)};
                if (j == 0) {
                    x1 = {single(y2Re), single(y2Im)};
                    x2 = {single(y1Re), single(y1Im)};
                    x3 = {single(y3Re), single(y3Im)};
                } else if (q > 1 && j == q / 2) {
                    const double half = 0.7071067781186547;
                    x1 = {single(y2Im), single(-y2Re)};
                    x2 = {single((y1Re + y1Im) * half), single((y1Im - y1Re) * half)};
                    x3 = {single((y3Im - y3Re) * half), single((-y3Re - y3Im) * half)};
                } else {
                    const QZComplexFloat w1 = w[j * s], w2 = w[2 * j * s], w3 = w[3 * j * s];
                    x1 = {single(y2Re * w2.re - y2Im * w2.im), single(y2Re * w2.im + y2Im * w2.re)};
                    x2 = {single(y1Re * w1.re - y1Im * w1.im), single(y1Re * w1.im + y1Im * w1.re)};
                    x3 = {single(y3Re * w3.re - y3Im * w3.im), single(y3Re * w3.im + y3Im * w3.re)};
                }
            }
        }
        r /= 4;
        q /= 4;
        s *= 4;
    }
    if (r == 2) pairs(x);
    if (sign < 0) negateImaginaryParts(x);
}

inline void permute(Points &x, int order) {
    for (std::size_t i = 0; i < x.size(); ++i)
        if (i < reversedBits(i, order)) std::swap(x[i], x[reversedBits(i, order)]);
}

inline void transform(Points &x, int order, int sign) {
    if (order == 0) return;
    core(x, sign, twiddles(order));
    permute(x, order);
}

inline float scaled(float value, int flags, int order) {
    if ((flags & QZ_INVERSE) == 0 || (flags & QZ_NOSCALE) != 0) return value;
    return single(value * (1.0 / std::ldexp(1.0, order)));
}

inline void complexFft(Points &x, int order, int flags) {
    if (order == 0) return;
    transform(x, order, (flags & QZ_FORWARD) != 0 ? 1 : -1);
    for (auto &point : x)
        point = {scaled(point.re, flags, order), scaled(point.im, flags, order)};
}

inline Points asPoints(const std::vector<float> &data) {
    Points z(data.size() / 2);
    for (std::size_t t = 0; t < z.size(); ++t)
        z[t] = {data[2 * t], data[2 * t + 1]};
    return z;
}

inline void scaledParts(const Points &z, std::vector<float> &data, int order, int flags) {
    for (std::size_t t = 0; t < z.size(); ++t) {
        data[2 * t] = scaled(z[t].re, flags, order);
        data[2 * t + 1] = scaled(z[t].im, flags, order);
    }
}

inline void splitReal(Points &z, int sign, const Points &table) {
    const std::size_t h = z.size();
    z[0] = {single(double(z[0].re) + z[0].im), single(double(z[0].re) - z[0].im)};
    if (h > 2) {
        for (std::size_t k = 1, p = h - 1; k < p; ++k, --p) {
            const double aRe = z[k].re, aIm = z[k].im, bRe = z[p].re, bIm = z[p].im;
            const double dr = aRe - bRe, si = bIm + aIm, tRe = table[k].re, tIm = table[k].im;
            if (sign == -1) {
                const double A = dr * tRe + si * tIm, B = dr * tIm - si * tRe;
                z[k] = {single(aRe - B), single(aIm - A)};
                z[p] = {single(bRe + B), single(bIm - A)};
            } else {
                const double C = si * tIm - dr * tRe, D = si * tRe + dr * tIm;
                z[k] = {single(bRe + D), single(C - bIm)};
                z[p] = {single(aRe - D), single(C - aIm)};
            }
        }
    }
    if (sign == 1 && h >= 2) z[h / 2].im = -z[h / 2].im;
}

inline void splitCcs(Points &z, int sign, const Points &w) {
    const std::size_t h = z.size();
    if (h > 1) {
        for (std::size_t k = 1, p = h - 1; k < p; ++k, --p) {
            const double aRe = z[k].re, aIm = z[k].im, bRe = z[p].re, bIm = z[p].im;
            const double dr = aRe - bRe, sr = aRe + bRe, di = aIm - bIm, si = aIm + bIm;
            const double wRe = w[k].re, wIm = w[k].im;
            const double P = sign == -1 ? wIm * si + wRe * dr : wRe * dr - wIm * si;
            const double Q = sign == -1 ? dr * wIm - si * wRe : -dr * wIm - si * wRe;
            z[p] = {single(sr - Q), single(P - di)};
            z[k] = {single(sr + Q), single(di + P)};
        }
        QZComplexFloat &middle = z[h / 2];
        middle = {single(2.0 * middle.re), single(sign == -1 ? -2.0 * middle.im : 2.0 * middle.im)};
    }
    z[0] = {single(double(z[0].re) + z[0].im), single(double(z[0].re) - z[0].im)};
}

inline void realFft(std::vector<float> &data, int order, int flags) {
    if (order == 0) return;
    const int sign = (flags & QZ_FORWARD) != 0 ? 1 : -1;
    Points z = asPoints(data);
    transform(z, order - 1, sign);
    splitReal(z, sign, realTable(order));
    scaledParts(z, data, order, flags);
}

inline void ccsFft(std::vector<float> &data, int order, int flags) {
    if (order == 0) return;
    const int sign = (flags & QZ_FORWARD) != 0 ? 1 : -1;
    Points z = asPoints(data);
    splitCcs(z, sign, twiddles(order));
    transform(z, order - 1, sign);
    scaledParts(z, data, order, flags);
}

} // namespace qzk::reference
