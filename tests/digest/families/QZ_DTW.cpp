#include "families.hpp"
#include "operands.hpp"
#include "rows.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4};

double threshold(Generator &random) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double chosen[] = {0.0,      -1.0,      1e300,
                                 infinity, -infinity, std::numeric_limits<double>::quiet_NaN(),
                                 3.4e38,   3.41e38,   1e-300};
    return random.below(4) == 0 ? random.oneOf(chosen)
                                : random.positiveReal<double>(random.below(2) == 0 ? 64.0 : 4096.0);
}

std::int32_t bandWidth(Generator &random) {
    return random.below(4) == 0 ? random.between(-200, 200) : random.between(-4, 4);
}

/// Frames of a test pattern, few of them in general, and now and then none.
std::int32_t frames(Generator &random) {
    if (random.below(16) == 0) return random.between(-1, 1);
    return random.between(1, random.below(16) == 0 ? 120 : 30);
}

/// Frames of a reference: about what can be compared with N frames.
std::int32_t referenceFrames(Generator &random, std::int32_t N, std::int32_t width) {
    if (random.below(16) == 0) return random.between(0, 4);
    return random.between(std::max(1, N / 2 - 1), std::min(2 * std::max(N, 1) + std::abs(width), 150));
}

template <class T>
void putPattern(T *const *rows, std::int32_t nFrames, std::int32_t dim) {
    for (std::int32_t i = 0; i < nFrames; ++i)
        putBytes(rows[i], count(dim) * sizeof(T)); // copies: also of not-a-numbers
}

void floats() {
    Generator random("QZsEvalDTW");
    for (int round = 0; round < 600; ++round) {
        const std::int32_t N = frames(random), width = bandWidth(random);
        const std::int32_t dim = random.between(round % 10 == 0 ? 0 : 1, 20);
        const Kind kind = random.oneOf(kinds);
        std::vector<std::int32_t> ids;
        const int stored = random.between(0, 9);
        for (int k = 0; k < stored; ++k) {
            const std::int32_t M = referenceFrames(random, N, width);
            const std::int32_t itsDim = random.below(12) == 0 ? dim + 1 : dim;
            const Rows<float> pattern(random, count(M), count(itsDim), kind);
            ids.push_back(call<QZsPatternIni>(pattern.get(), M, itsDim));
        }
        if (random.below(4) == 0) ids.push_back(random.between(-1, 12));
        if (random.below(4) == 0) {
            call<QZsPatternFree>(random.between(0, 10));
        }
        call<QZsPatternsNumber>();
        float **rows = nullptr;
        std::int32_t nFrames = -1, itsDim = -1;
        if (call<QZsPatternGet>(random.between(0, 9), &rows, &nFrames, &itsDim) > 0)
            putPattern(rows, nFrames, itsDim);
        put(nFrames);
        put(itsDim);

        const Rows<float> test(random, count(N), count(dim), kind);
        for (int i = 0; i < 4; ++i) {
            const std::int32_t mode = random.between(0, 511);
            const double limit = threshold(random);
            std::vector<double> scores(ids.size() + 2, -7.0);
            call<QZsEvalDTW>(ids.data(), static_cast<std::int32_t>(ids.size()), test.get(), N, dim, mode,
                             limit, width, scores.data());
            putElements<double>(scores.data(), scores.size());
        }
        call<QZsPatternFreeAll>();
    }
}

void words() {
    Generator random("QZwEvalDTW");
    for (int round = 0; round < 400; ++round) {
        const std::int32_t N = frames(random), width = bandWidth(random);
        const std::int32_t dim = random.between(round % 10 == 0 ? 0 : 1, 20);
        const Kind kind = random.oneOf(kinds);
        const std::int32_t scale = random.below(8) == 0 ? random.between(-64, 64) : random.between(-8, 2);
        std::vector<std::int32_t> ids;
        const int stored = random.between(0, 9);
        for (int k = 0; k < stored; ++k) {
            const std::int32_t M = referenceFrames(random, N, width);
            const std::int32_t itsDim = random.below(12) == 0 ? dim + 1 : dim;
            const Rows<std::int16_t> pattern(random, count(M), count(itsDim), kind);
            ids.push_back(call<QZwPatternIni>(pattern.get(), M, itsDim, scale + random.between(-1, 1)));
        }
        if (random.below(4) == 0) ids.push_back(random.between(-1, 12));
        if (random.below(4) == 0) call<QZwPatternFree>(random.between(0, 10));
        call<QZwPatternsNumber>();
        std::int16_t **rows = nullptr;
        std::int32_t nFrames = -1, itsDim = -1, itsScale = -100;
        if (call<QZwPatternGet>(random.between(0, 9), &rows, &nFrames, &itsDim, &itsScale) > 0)
            putPattern(rows, nFrames, itsDim);
        for (const std::int32_t value : {nFrames, itsDim, itsScale})
            put(value);

        const Rows<std::int16_t> test(random, count(N), count(dim), kind);
        for (int i = 0; i < 4; ++i) {
            const std::int32_t mode = random.between(0, 511), scoreMode = random.oneOf(modes);
            const std::int32_t limit = random.between(-10, 30000), limitScale = random.between(-12, 12);
            std::int32_t scoreScale = random.between(-20, 20);
            std::vector<std::int32_t> scores(ids.size() + 2, -7);
            call<QZwEvalDTW>(ids.data(), static_cast<std::int32_t>(ids.size()), test.get(), N, dim, scale,
                             mode, limit, limitScale, width, scores.data(), scoreMode, &scoreScale);
            putElements<std::int32_t>(scores.data(), scores.size());
            put(scoreScale);
        }
        call<QZwPatternFreeAll>();
    }
}

} // namespace

void warping() {
    floats();
    words();
}

} // namespace qzk::digest
