#include "families.hpp"
#include "operands.hpp"

#include <algorithm>

namespace qzk::digest {
namespace {

constexpr std::int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate, 4};

struct Shape {
    std::int32_t order, nFilters, lowFreq, highFreq, rate, linear, nLinear, linearEnd;
};

Shape shape(Generator &random) {
    if (random.below(6) == 0) return {9, 24, 0, 4000, 8000, 0, 0, 0};
    Shape drawn;
    drawn.order = random.between(random.below(24) == 0 ? -1 : 0, 10);
    drawn.nFilters = random.between(random.below(24) == 0 ? -1 : 0, 45);
    drawn.lowFreq = random.between(0, 1000);
    drawn.highFreq = random.between(500, 8000);
    drawn.rate = random.between(random.below(16) == 0 ? -8000 : 2000, 16000);
    drawn.linear = random.between(0, 1);
    drawn.nLinear = random.between(-1, 12);
    drawn.linearEnd = random.between(0, 3000);
    return drawn;
}

/// A bank of each shape, with run(filters, number of bins) several times.
template <auto init, auto release, class Run>
void overBanks(Generator &random, Run run) {
    for (int i = 0; i < 120; ++i) {
        const Shape s = shape(random);
        if (random.below(24) == 0) QZSetStatus(QZ_StsError);
        QZMFCCFilters *const filters =
            call<init>(s.order, s.nFilters, s.lowFreq, s.highFreq, s.rate, s.linear, s.nLinear, s.linearEnd);
        if (filters == nullptr) continue;
        for (int frame = 0; frame < 6; ++frame) {
            if (random.below(24) == 0) QZSetStatus(QZ_StsError);
            run(filters, std::size_t{1} << s.order);
        }
        call<release>(filters);
    }
}

} // namespace

void cepstrum() {
    Generator random("QZsCepstralMFCC");
    overBanks<QZsMFCCInit, QZsFreeMFCCFilters>(random, [&](QZMFCCFilters *filters, std::size_t nBins) {
        const std::int32_t timeSignal = random.between(0, 1), nCoeffs = random.between(-1, 45);
        const std::size_t n = timeSignal != 0 ? nBins : nBins / 2 + 1;
        Operands o(random, std::max(n, count(nCoeffs)) * sizeof(float), sizeof(float));
        o.fill<float>(random, o.a, n);
        call<QZsCepstralMFCC>(timeSignal, as<float>(o.a), filters, as<float>(o.dst), nCoeffs);
        o.put<float>(count(nCoeffs));
    });
    overBanks<QZwMFCCInit, QZwFreeMFCCFilters>(random, [&](QZMFCCFilters *filters, std::size_t nBins) {
        const std::int32_t timeSignal = random.between(0, 1), nCoeffs = random.between(-1, 45);
        Operands o(random, std::max(nBins, count(nCoeffs)) * sizeof(std::int16_t), 1);
        o.fill<std::int16_t>(random, o.a, nBins);
        const std::int32_t mode = random.oneOf(modes);
        std::int32_t factor = random.between(-20, 20);
        call<QZwCepstralMFCC>(timeSignal, as<std::int16_t>(o.a), filters, as<std::int16_t>(o.dst), nCoeffs,
                              mode, &factor);
        o.put();
        put(factor);
    });
    QZFreeFftTbls();
}

} // namespace qzk::digest
