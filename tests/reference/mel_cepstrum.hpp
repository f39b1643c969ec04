// Mel-frequency cepstra, bin by bin and coefficient by coefficient.
#pragma once

#include "reference/elementary.hpp"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qzk::test::reference {

struct BankShape {
    int order, nFilters, lowFreq, highFreq, rate, linear, nLinear, linearEnd;
};

struct MelBank {
    std::size_t nFilters;
    std::vector<std::vector<std::pair<std::size_t, double>>> bins; // of each bin: filter, weight
};

inline double melOf(double f) { return 2595.0 * log10(f * 0.0014285714285714286 + 1.0); }

inline double frequencyOfMel(double m) { return (exp10(m * 0.0003853564547206166) - 1.0) * 700.0; }

struct Edges {
    double low, center, high;
};

inline std::vector<Edges> filterEdges(const BankShape &s) {
    std::vector<Edges> filters;
    const double melHigh = melOf(s.highFreq);
    const bool linear = s.linear != 0 && s.nLinear >= 1 && s.linearEnd > s.lowFreq;
    const int L = linear ? s.nLinear : 0;
    double base = melOf(s.lowFreq);
    if (linear) {
        const double d = (s.linearEnd - s.lowFreq) * 2.0 / L, half = 0.5 * d;
        double f = s.lowFreq;
        for (int i = 0; i <= L - 2; ++i, f += half)
            filters.push_back({f, f + half, f + d});
        base = melOf(s.linearEnd);
        const double width = (melHigh - base) / ((s.nFilters - L) * 0.5 + 0.5);
        const double high = frequencyOfMel(melOf(f + half) + 0.5 * width);
        filters.push_back({f, (f + high) * 0.5, high});
    }
    const double width = (melHigh - base) / ((s.nFilters - L) * 0.5 + 0.5);
    double t = base;
    for (int i = L; i < s.nFilters; ++i, t += 0.5 * width)
        filters.push_back({frequencyOfMel(t), frequencyOfMel(t + 0.5 * width), frequencyOfMel(t + width)});
    filters.resize(static_cast<std::size_t>(s.nFilters));
    return filters;
}

inline MelBank melBank(const BankShape &s) {
    const auto filters = filterEdges(s);
    const int n = 1 << s.order;
    const double spacing = (s.rate * 0.5) / (n - 1);
    MelBank bank = {filters.size(), {}};
    for (int b = 0; b < n; ++b) {
        const double f = b * spacing;
        bank.bins.emplace_back();
        for (std::size_t j = 0; j < filters.size(); ++j) {
            const auto [low, center, high] = filters[j];
            if (!(low <= f && f <= high)) continue;
            const double weight = center >= f ? (f - low) / (center - low) : (f - high) / (center - high);
            if (weight != 0.0) bank.bins.back().emplace_back(j, weight);
        }
    }
    return bank;
}

/// Filter sums of a log-magnitude spectrum of n/2 + 1 values.
inline std::vector<double> filterSums(const MelBank &bank, const std::vector<float> &spectrum) {
    std::vector<double> sums(bank.nFilters, 0.0);
    for (std::size_t b = 0; b < bank.bins.size(); ++b)
        for (const auto &[filter, weight] : bank.bins[b])
            sums[filter] +=
                weight * static_cast<double>(spectrum[b < spectrum.size() ? b : bank.bins.size() - b]);
    return sums;
}

/// Rows of cosine factors, the angles carried on by rotation.
inline std::vector<std::vector<double>> cosineFactors(int nFilters, int nCoeffs) {
    const double a = 3.14159265 / nFilters, b = 1.570796325 / nFilters;
    const double cosA = cosine(a), sinA = sine(a), cosB = cosine(b), sinB = sine(b);
    const auto turn = [](double &c, double &s, double byC, double byS) {
        const double newC = c * byC - s * byS;
        s = s * byC + c * byS;
        c = newC;
    };

    std::vector<std::vector<double>> rows;
    double startC = cosB, startS = sinB, stepC = cosA, stepS = sinA;
    for (int k = 0; k < nCoeffs; ++k) {
        rows.emplace_back(static_cast<std::size_t>(nFilters), 2.0);
        if (k == 0) continue;
        double c = startC, s = startS;
        for (double &factor : rows.back()) {
            factor = 2.0 * c;
            turn(c, s, stepC, stepS);
        }
        turn(startC, startS, cosB, sinB);
        turn(stepC, stepS, cosA, sinA);
    }
    return rows;
}

inline std::vector<float> cepstrum(const std::vector<double> &sums, int nCoeffs) {
    std::vector<float> result;
    for (const auto &row : cosineFactors(static_cast<int>(sums.size()), nCoeffs)) {
        double total = 0.0;
        for (std::size_t j = 0; j < sums.size(); ++j)
            total += sums[j] * row[j];
        result.push_back(static_cast<float>(total));
    }
    return result;
}

/// log10 |X[b]| of the first half of the spectrum, by the definition of the transform.
inline std::vector<double> logMagnitudes(const std::vector<float> &samples) {
    const std::size_t n = samples.size();
    std::vector<double> result;
    for (std::size_t b = 0; b <= n / 2; ++b) {
        double re = 0.0, im = 0.0;
        for (std::size_t t = 0; t < n; ++t) {
            const double angle =
                2.0 * std::acos(-1.0) * static_cast<double>(b * t % n) / static_cast<double>(n);
            re += samples[t] * std::cos(angle);
            im -= samples[t] * std::sin(angle);
        }
        result.push_back(0.5 * std::log10(re * re + im * im));
    }
    return result;
}

} // namespace qzk::test::reference
