// Filter sums and cosine transform at every level against their definitions, bit for bit: groups of every
// shape, spectra with infinities and not-a-numbers, every number of coefficients.
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <vector>

namespace qzk::test {
namespace {

using simd::FilterGroup;

class CepstrumLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, CepstrumLevels, testing::ValuesIn(availableLevels()), levelTestName);

struct Groups {
    std::vector<FilterGroup> groups;
    std::vector<std::vector<double>> weights;
};

Groups randomGroups(Random &random, std::size_t nGroups, int nBins) {
    Groups result;
    for (std::size_t g = 0; g < nGroups; ++g) {
        FilterGroup group = {};
        group.steps = static_cast<std::int32_t>(random.integer(0, nBins / 4)) * 4;
        result.weights.emplace_back(static_cast<std::size_t>(group.steps) * FilterGroup::filters, 0.0);
        group.weights = result.weights.back().data();
        for (std::size_t filter = 0; filter < FilterGroup::filters; ++filter) {
            group.start[filter] = static_cast<std::int32_t>(random.integer(0, nBins - group.steps));
            group.first[filter] = static_cast<std::int32_t>(random.integer(0, group.steps));
            group.count[filter] =
                static_cast<std::int32_t>(random.integer(0, group.steps - group.first[filter]));
            for (int step = 0; step < group.count[filter]; ++step)
                group.weight(filter, static_cast<std::size_t>(group.first[filter] + step)) =
                    random.real(0.0, 1.0);
        }
        result.groups.push_back(group);
    }
    return result;
}

TEST_P(CepstrumLevels, FilterBank) {
    Random random;
    for (int run = 0; run < 200; ++run) {
        const int nBins = static_cast<int>(random.integer(1, 40)) * 4;
        const auto nGroups = static_cast<std::size_t>(random.integer(0, 4));
        const Groups bank = randomGroups(random, nGroups, nBins);
        auto spectrum = random.reals<float>(static_cast<std::size_t>(nBins), -3.0, 3.0);
        if (run % 2 == 0) spectrum = random.anyReals<float>(spectrum.size(), run % 4 == 0);
        std::vector<double> expected(nGroups * FilterGroup::filters);
        simd::plain::filterBank(bank.groups.data(), nGroups, spectrum.data(), expected.data());
        Guarded<float> guarded(spectrum.size(), static_cast<std::size_t>(run) % 7 * sizeof(float));
        guarded.assign(spectrum);
        Guarded<double> actual(expected.size(), static_cast<std::size_t>(run) % 5 * sizeof(double));
        simd::kernels().cepstrum.filterBank(bank.groups.data(), nGroups, guarded.data(), actual.data());
        ASSERT_TRUE(sameBits(expected, actual.values())) << "run " << run << ", seed " << seed();
        ASSERT_TRUE(actual.intact());
    }
}

TEST_P(CepstrumLevels, CosineTransform) {
    Random random;
    const auto &plain = simd::kernelsOf(simd::Level::plain).cepstrum;
    for (std::size_t nCoeffs = 0; nCoeffs <= 130; ++nCoeffs) {
        const auto nFilters = static_cast<std::size_t>(random.integer(0, 40));
        const auto sums = random.anyReals<double>(nFilters, nCoeffs % 2 == 0);
        const auto factors = random.reals<double>(nFilters * simd::coefficientStride(nCoeffs), -2.0, 2.0);
        std::vector<float> expected(nCoeffs);
        plain.cosineTransform(sums.data(), nFilters, factors.data(), nCoeffs, expected.data());
        Guarded<float> actual(nCoeffs, nCoeffs % 7);
        simd::kernels().cepstrum.cosineTransform(sums.data(), nFilters, factors.data(), nCoeffs,
                                                 actual.data());
        ASSERT_TRUE(sameBits(expected, actual.values())) << nCoeffs << " coefficients, seed " << seed();
        ASSERT_TRUE(actual.intact());
    }
}

} // namespace
} // namespace qzk::test
