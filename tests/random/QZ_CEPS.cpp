// Whole cepstra against the bin-by-bin definition, bit for bit: random banks, spectra and samples.
#include "qzk.h"
#include "support/bits.hpp"
#include "support/filter_bank.hpp"
#include "support/random.hpp"

namespace qzk::test {
namespace {

using reference::BankShape;

BankShape randomShape(Random &random) {
    const auto integer = [&](int low, int high) { return static_cast<int>(random.integer(low, high)); };
    return {integer(1, 9),        integer(0, 40), integer(0, 1000), integer(1500, 8000),
            integer(2000, 16000), integer(0, 1),  integer(-1, 12),  integer(0, 3000)};
}

std::vector<float> expectedCepstrum(const BankShape &shape, const std::vector<float> &spectrum, int nCoeffs) {
    BankShape fitting = shape;
    // Linear filters that do not fit are cut off.
    fitting.nFilters = std::max(shape.nFilters, 0);
    return reference::cepstrum(reference::filterSums(reference::melBank(fitting), spectrum), nCoeffs);
}

TEST(RandomCepstrum, OfSpectra) {
    Random random;
    for (int run = 0; run < 400; ++run) {
        const BankShape shape = randomShape(random);
        const auto size = (std::size_t{1} << shape.order) / 2 + 1;
        // One run in four with infinities and not-a-numbers.
        const auto spectrum =
            run % 4 == 0 ? random.anyReals<float>(size) : random.reals<float>(size, -3.0, 5.0);
        const int nCoeffs = static_cast<int>(random.integer(0, 40));
        ASSERT_TRUE(sameBits(expectedCepstrum(shape, spectrum, nCoeffs),
                             cepstrumOf(makeBank(shape), 0, spectrum, nCoeffs)))
            << "run " << run << ", seed " << seed();
    }
}

TEST(RandomCepstrum, OfSamples) {
    Random random;
    for (int run = 0; run < 100; ++run) {
        const BankShape shape = randomShape(random);
        const auto n = std::size_t{1} << shape.order;
        const auto samples = random.reals<float>(n, -1000.0, 1000.0);
        std::vector<float> packed(n);
        QZsRealFftNip(samples.data(), packed.data(), shape.order, QZ_FORWARD);
        std::vector<QZComplexFloat> spectrum(n / 2 + 1);
        spectrum.front() = {packed[0], 0.0f};
        for (std::size_t b = 1; b < n / 2; ++b)
            spectrum[b] = {packed[2 * b], packed[2 * b + 1]};
        spectrum.back() = {packed[1], 0.0f};
        std::vector<float> magnitudes(n / 2 + 1);
        QZcsbConvert(spectrum.data(), magnitudes.data(), static_cast<int32_t>(magnitudes.size()), 1 | 4);
        ASSERT_TRUE(
            sameBits(expectedCepstrum(shape, magnitudes, 13), cepstrumOf(makeBank(shape), 1, samples, 13)))
            << "run " << run << ", seed " << seed();
    }
    QZFreeFftTbls();
}

} // namespace
} // namespace qzk::test
