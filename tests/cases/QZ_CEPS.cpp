// Filter banks with known edges, cosine factors, buffers and their owners, odd arguments, and every report.
#include "common/context.hpp"
#include "qzk.h"
#include "simd/cepstrum.hpp"
#include "support/bits.hpp"
#include "support/failing_heap.hpp"
#include "support/filter_bank.hpp"
#include "support/reports.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace qzk::test {
namespace {

using reference::BankShape;
using Reports = std::vector<Report>;

constexpr const char *file = "..\\LIBSRC\\QZ_CEPS";
constexpr float infinity = std::numeric_limits<float>::infinity();

const BankShape mel24 = {9, 24, 0, 4000, 8000, 0, 0, 0};
const BankShape mel20 = {6, 20, 100, 3800, 8000, 0, 0, 0};
// 16 bins 100 apart; linear filters at (0 200 400), (200 400 600), (400 600 800), a transition filter from
// 600 and two mel filters from 800.
const BankShape linear6 = {4, 6, 0, 1400, 3000, 1, 4, 800};

/// The filter sums of the last call.
std::vector<double> filterOutput(std::size_t n) {
    const double *const sums = QZ_GetContext()->Ceps.filterOutput;
    return {sums, sums + n};
}

std::vector<double> filterSumsOf(const BankShape &shape, const std::vector<float> &spectrum) {
    const Bank bank = makeBank(shape);
    cepstrumOf(bank, 0, spectrum, 1);
    return filterOutput(static_cast<std::size_t>(shape.nFilters));
}

std::vector<float> impulse(std::size_t n, std::size_t at, float value = 1.0f) {
    std::vector<float> spectrum(n, 0.0f);
    spectrum[at] = value;
    return spectrum;
}

double triangle(double low, double center, double high, double f) {
    if (f < low || f > high) return 0.0;
    return f <= center ? (f - low) / (center - low) : (high - f) / (high - center);
}

TEST(MelBank, FiltersAreEquallyWideInMelAndLinearInFrequency) {
    const double base = 2595.0 * std::log10(1.0 + 100 / 700.0);
    const double step = (2595.0 * std::log10(1.0 + 3800 / 700.0) - base) / 21.0;
    const auto edge = [&](int i) { return 700.0 * (std::pow(10.0, (base + i * step) / 2595.0) - 1.0); };
    for (std::size_t at = 0; at <= 32; ++at) {
        const auto sums = filterSumsOf(mel20, impulse(33, at));
        for (int j = 0; j < 20; ++j) {
            double expected = 0.0;
            for (std::size_t bin = 0; bin < 64; ++bin)
                if (bin == at || 64 - bin == at)
                    expected +=
                        triangle(edge(j), edge(j + 1), edge(j + 2), static_cast<double>(bin) * 4000 / 63);
            EXPECT_NEAR(expected, sums[static_cast<std::size_t>(j)], 1e-9)
                << "value " << at << ", filter " << j;
        }
    }
}

TEST(MelBank, LinearFiltersComeFirst) {
    // Values 0 to 8 are bins 0 to 8 and the mirrored 16 to 9.
    std::vector<float> spectrum(9);
    std::iota(spectrum.begin(), spectrum.end(), 1.0f);
    const auto sums = filterSumsOf(linear6, spectrum);
    EXPECT_EQ(0.5 * 2 + 1.0 * 3 + 0.5 * 4, sums[0]);
    EXPECT_EQ(0.5 * 4 + 1.0 * 5 + 0.5 * 6, sums[1]);
    EXPECT_EQ(0.5 * 6 + 1.0 * 7 + 0.5 * 8, sums[2]);
}

TEST(MelBank, TransitionFilterReachesToTheFirstMelFiltersCenter) {
    const auto melOf = [](double f) { return 2595.0 * std::log10(1.0 + f / 700.0); };
    const double step = (melOf(1400) - melOf(800)) / 3.0; // two mel filters
    const double high = 700.0 * (std::pow(10.0, (melOf(800) + step) / 2595.0) - 1.0);
    for (std::size_t at = 0; at <= 8; ++at) {
        double expected = triangle(600, (600 + high) / 2, high, 100.0 * static_cast<double>(at));
        if (at != 0 && at != 8)
            expected += triangle(600, (600 + high) / 2, high, 1600 - 100.0 * static_cast<double>(at));
        EXPECT_NEAR(expected, filterSumsOf(linear6, impulse(9, at))[3], 1e-12) << "value " << at;
    }
}

TEST(MelBank, LinearPartNeedsItsFlagAFilterAndRoom) {
    const std::vector<float> spectrum = {1, 5, 2, 7, 3, 8, 4, 9, 6};
    BankShape mel = linear6;
    mel.linear = 0;
    const auto expected = filterSumsOf(mel, spectrum);
    EXPECT_NE(expected, filterSumsOf(linear6, spectrum));
    BankShape shape = linear6;
    shape.nLinear = 0;
    EXPECT_EQ(expected, filterSumsOf(shape, spectrum));
    shape = linear6;
    shape.linearEnd = shape.lowFreq;
    EXPECT_EQ(expected, filterSumsOf(shape, spectrum));
}

TEST(MelBank, ABinOnACenterCountsFullyAndNothingForTheNeighbours) {
    // Bin 4 lies on the center of filter 1 and on the edges of filters 0 and 2.
    const auto sums = filterSumsOf(linear6, impulse(9, 4, -infinity));
    EXPECT_EQ(0.0, sums[0]);
    EXPECT_EQ(-infinity, sums[1]);
    EXPECT_EQ(0.0, sums[2]);
}

TEST(MelBank, AnEdgeAtZeroIgnoresTheMeanOfTheFrame) {
    auto spectrum = impulse(257, 0, -infinity);
    for (const double sum : filterSumsOf(mel24, spectrum))
        EXPECT_EQ(0.0, sum);
    spectrum[0] = std::numeric_limits<float>::quiet_NaN();
    for (const double sum : filterSumsOf(mel24, spectrum))
        EXPECT_EQ(0.0, sum);
}

TEST(MelBank, WithoutAnyBinEverythingIs0) {
    const BankShape betweenTwoBins = {4, 5, 110, 130, 3000, 0, 0, 0};
    const Bank bank = makeBank(betweenTwoBins);
    EXPECT_TRUE(
        sameBits(std::vector<float>(4, 0.0f), cepstrumOf(bank, 0, std::vector<float>(9, infinity), 4)));
}

TEST(Cepstrum, IsTheCosineTransformOfTheFilterSums) {
    std::vector<float> spectrum(257);
    for (std::size_t i = 0; i < spectrum.size(); ++i)
        spectrum[i] = static_cast<float>(std::sin(0.1 * static_cast<double>(i)));
    const Bank bank = makeBank(mel24);
    const auto actual = cepstrumOf(bank, 0, spectrum, 13);
    const auto sums = filterOutput(24);
    EXPECT_EQ(static_cast<float>(2.0 * std::accumulate(sums.begin(), sums.end(), 0.0)), actual[0]);
    for (std::size_t k = 1; k < 13; ++k) {
        double expected = 0.0;
        for (std::size_t j = 0; j < 24; ++j)
            expected +=
                2.0 * sums[j] *
                std::cos(3.14159265358979 * static_cast<double>(k) * (static_cast<double>(j) + 0.5) / 24);
        EXPECT_NEAR(expected, actual[k], 1e-5) << "coefficient " << k;
    }
}

TEST(Cepstrum, OfSamples) {
    std::vector<float> samples(512);
    for (std::size_t t = 0; t < samples.size(); ++t)
        samples[t] = static_cast<float>(std::sin(0.3 * static_cast<double>(t)) +
                                        0.1 * std::sin(static_cast<double>(t * t)));
    const auto exact = reference::logMagnitudes(samples);
    const auto expected = reference::cepstrum(
        reference::filterSums(reference::melBank(mel24), {exact.begin(), exact.end()}), 13);
    const auto actual = cepstrumOf(makeBank(mel24), 1, samples, 13);
    for (std::size_t k = 0; k < 13; ++k)
        EXPECT_NEAR(expected[k], actual[k], 1e-3) << "coefficient " << k;
    EXPECT_EQ(0, QZGetStatus());
}

TEST(Cepstrum, OfSilenceIsInfiniteAndNoError) {
    RecordedReports reports;
    const Bank bank = makeBank(mel24);
    const auto actual = cepstrumOf(bank, 1, std::vector<float>(512, 0.0f), 3);
    EXPECT_EQ(-infinity, actual[0]);
    EXPECT_TRUE(std::isnan(actual[1]));
    EXPECT_TRUE(reports.all().empty());
}

TEST(Cepstrum, ReturnsTheStatus) {
    RecordedReports reports;
    const Bank bank = makeBank(linear6);
    const std::vector<float> spectrum(9, 1.0f);
    float dst;
    EXPECT_EQ(0, QZsCepstralMFCC(0, spectrum.data(), bank.get(), &dst, 1));
    QZSetStatus(3);
    EXPECT_EQ(3, QZsCepstralMFCC(0, spectrum.data(), bank.get(), &dst, 1));
}

TEST(Cepstrum, CosineFactors) {
    const Bank bank = makeBank(mel24);
    for (const int32_t K : {1, 2, 13, 16, 17, 40}) {
        cepstrumOf(bank, 0, std::vector<float>(257, 1.0f), K);
        const DctContext &dct = QZ_GetContext()->Dct;
        EXPECT_EQ(24, dct.nFilters);
        EXPECT_EQ(K, dct.nCoeffs);
        const std::size_t stride = simd::coefficientStride(static_cast<std::size_t>(K));
        const auto expected = reference::cosineFactors(24, K);
        for (std::size_t k = 0; k < static_cast<std::size_t>(K); ++k) {
            for (std::size_t j = 0; j < 24; ++j) {
                const double factor = dct.sstoredDctFactor[j * stride + k];
                ASSERT_TRUE(sameBits(expected[k][j], factor)) << "row " << k << ", column " << j;
                // The literal constants, which fall short of pi and pi/2.
                const auto angle = static_cast<double>(k) * 1.570796325 / 24 +
                                   static_cast<double>(j * k) * (3.14159265 / 24);
                ASSERT_NEAR(k == 0 ? 2.0 : 2.0 * std::cos(angle), factor, 1e-9);
            }
        }
    }
}

TEST(Cepstrum, NoCoefficients) {
    const Bank bank = makeBank(linear6);
    const std::vector<float> spectrum(9, 1.0f);
    for (const int32_t K : {0, -1, std::numeric_limits<int32_t>::min()})
        EXPECT_EQ(0, QZsCepstralMFCC(0, spectrum.data(), bank.get(), nullptr, K));
}

TEST(Cepstrum, LeavesTheSpectrumAlone) {
    const Bank bank = makeBank(linear6);
    std::vector<float> spectrum = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const auto before = spectrum;
    cepstrumOf(bank, 0, spectrum, 4);
    EXPECT_EQ(before, spectrum);
}

TEST(Buffers, FollowTheRecordAndTheShapeOfTheTransform) {
    FailingHeap heap;
    const std::vector<float> spectrum(257, 1.0f);
    {
        const Bank first = makeBank(mel24), second = makeBank(mel20);
        EXPECT_EQ(6, heap.requests());
        EXPECT_EQ(4, heap.live());
        cepstrumOf(first, 0, spectrum, 13);
        EXPECT_EQ(9, heap.requests()) << "filter sums, spectrum, cosine factors";
        cepstrumOf(first, 0, spectrum, 13);
        EXPECT_EQ(9, heap.requests());
        cepstrumOf(first, 0, spectrum, 12);
        EXPECT_EQ(10, heap.requests()) << "other factors";
        cepstrumOf(second, 0, spectrum, 12);
        EXPECT_EQ(13, heap.requests());
        cepstrumOf(first, 0, spectrum, 12);
        EXPECT_EQ(16, heap.requests());
        EXPECT_EQ(7, heap.live());
    }
    EXPECT_EQ(0, heap.live());
}

TEST(Buffers, FreeingARecordFreesTheFactorsOfAllRecords) {
    FailingHeap heap;
    const std::vector<float> spectrum(257, 1.0f);
    const Bank used = makeBank(mel24);
    const auto expected = cepstrumOf(used, 0, spectrum, 13);
    makeBank(mel24);
    EXPECT_EQ(0, QZ_GetContext()->Dct.nFilters);
    const int before = heap.requests();
    EXPECT_TRUE(sameBits(expected, cepstrumOf(used, 0, spectrum, 13)));
    EXPECT_EQ(before + 1, heap.requests());
}

TEST(Buffers, RecordsOfOneShapeShareTheFactors) {
    FailingHeap heap;
    const std::vector<float> spectrum(257, 1.0f);
    const Bank first = makeBank(mel24), second = makeBank(mel24);
    cepstrumOf(first, 0, spectrum, 13);
    const int before = heap.requests();
    cepstrumOf(second, 0, spectrum, 13);
    EXPECT_EQ(before + 2, heap.requests()) << "filter sums and spectrum alone";
}

TEST(Buffers, OfTheShortFormFollowTheRecord) {
    FailingHeap heap;
    const std::vector<std::int16_t> samples(512, 7);
    std::vector<std::int16_t> dst(13);
    const auto run = [&](const Bank &bank) {
        int32_t scale;
        QZwCepstralMFCC(0, samples.data(), bank.get(), dst.data(), 13, 0, &scale);
    };
    Bank small = makeShortBank(mel20), large = makeShortBank(mel24);
    run(small);
    const std::size_t seen = heap.events().size();
    run(large);
    std::vector<std::size_t> bytes;
    for (std::size_t i = seen; i < heap.events().size(); ++i)
        if (heap.events()[i].kind == FailingHeap::Event::allocated) bytes.push_back(heap.events()[i].bytes);
    ASSERT_EQ(5u, bytes.size()) << "both of its own, then what the float form takes";
    EXPECT_EQ(512 * sizeof(float), bytes[0]);
    EXPECT_EQ(13 * sizeof(float), bytes[1]);

    // Neither an unused record nor the float form's release takes them away.
    const int live = heap.live();
    small.reset();
    EXPECT_EQ(live - 3, heap.live()) << "record, filters, factors";
    const int requests = heap.requests();
    run(large);
    EXPECT_EQ(requests + 1, heap.requests()) << "factors";
    QZsFreeMFCCFilters(large.release());
    EXPECT_EQ(2, heap.live());
    makeShortBank(mel20);
    EXPECT_EQ(2, heap.live());
    Bank last = makeShortBank(mel20);
    run(last);
    last.reset();
    EXPECT_EQ(0, heap.live());
}

TEST(Buffers, ShortForm) {
    FailingHeap heap;
    {
        const Bank bank = makeShortBank(linear6);
        const std::vector<std::int16_t> samples = {10, 20, -30, 40, 50, -60, 70, 80,
                                                   90, 15, 25,  35, 45, 55,  65, 75};
        std::vector<std::int16_t> cepstrum(20, 99);
        int32_t scale;
        QZwCepstralMFCC(0, samples.data(), bank.get(), cepstrum.data(), 2, 0, &scale);
        const int requests = heap.requests();
        QZwCepstralMFCC(0, samples.data(), bank.get(), cepstrum.data(), 2, 0, &scale);
        EXPECT_EQ(requests, heap.requests());
        EXPECT_EQ(99, cepstrum[2]);
        QZwCepstralMFCC(0, samples.data(), bank.get(), cepstrum.data(), 20, 0, &scale);
        EXPECT_EQ(requests + 2, heap.requests()) << "cepstrum and factors";
        QZwCepstralMFCC(0, samples.data(), bank.get(), cepstrum.data(), 2, 0, &scale);
        EXPECT_EQ(requests + 3, heap.requests()) << "factors alone";
    }
    EXPECT_EQ(0, heap.live());
}

TEST(ShortForm, ConvertsUpAndDown) {
    const Bank bank = makeShortBank(linear6);
    std::vector<std::int16_t> samples(16);
    std::iota(samples.begin(), samples.end(), std::int16_t{-5});
    const std::vector<float> same(samples.begin(), samples.end());
    for (const int32_t timeSignal : {0, 1}) {
        const auto floats = cepstrumOf(bank, timeSignal, same, 5);
        for (const int32_t doScale : {0, 2, 3}) {
            std::vector<std::int16_t> expected(5), actual(5);
            int32_t expectedScale = 0, scale = 0;
            QZswbConvertDown(floats.data(), expected.data(), 5, doScale, &expectedScale);
            QZwCepstralMFCC(timeSignal, samples.data(), bank.get(), actual.data(), 5, doScale, &scale);
            EXPECT_EQ(expected, actual);
            EXPECT_EQ(expectedScale, scale);
        }
    }
    int32_t scale = 4;
    EXPECT_EQ(0, QZwCepstralMFCC(0, samples.data(), bank.get(), nullptr, -3, 0, &scale));
    EXPECT_EQ(0, scale);
}

TEST(OddArguments, TinyOrders) {
    // One sample: no bin has a frequency.
    const Bank one = makeBank({0, 3, 0, 4000, 8000, 0, 0, 0});
    EXPECT_TRUE(sameBits({0.0f, 0.0f}, cepstrumOf(one, 1, {0.0f}, 2)));
    EXPECT_TRUE(sameBits({0.0f, 0.0f}, cepstrumOf(one, 0, {infinity}, 2)));
    // Two: frequencies 0 and 4000. A third in the middle of the only filter would count, those do not.
    const Bank two = makeBank({1, 1, 0, 4000, 8000, 0, 0, 0});
    EXPECT_TRUE(sameBits({0.0f}, cepstrumOf(two, 0, {3.0f, 5.0f}, 1)));
    const Bank wide = makeBank({1, 1, 0, 8000, 8000, 0, 0, 0});
    EXPECT_LT(0.0f, cepstrumOf(wide, 0, {3.0f, 5.0f}, 1)[0]);
    const Bank four = makeBank({2, 2, -100, 5000, 8000, 0, 0, 0});
    const auto sums = reference::filterSums(reference::melBank({2, 2, -100, 5000, 8000, 0, 0, 0}), {1, 2, 3});
    EXPECT_TRUE(sameBits(reference::cepstrum(sums, 3), cepstrumOf(four, 0, {1, 2, 3}, 3)));
}

TEST(OddArguments, LengthsThatDoNotExistAreAsLackOfMemory) {
    RecordedReports reports;
    for (const int32_t order : {-1, 31, 32, std::numeric_limits<int32_t>::min()}) {
        reports.clear();
        EXPECT_EQ(nullptr, QZsMFCCInit(order, 24, 0, 4000, 8000, 0, 0, 0));
        EXPECT_EQ((Reports{{QZ_StsNoMem, "QZsMFCCInit",
                            "insufficiency of memory for pointer  filters->fftSpec", file, 159}}),
                  reports.all());
    }
    for (const int32_t nFilters : {-1, std::numeric_limits<int32_t>::min()}) {
        reports.clear();
        EXPECT_EQ(nullptr, QZsMFCCInit(9, nFilters, 0, 4000, 8000, 0, 0, 0));
        EXPECT_EQ((Reports{{QZ_StsNoMem, "QZsMFCCInit", "insufficiency of memory for pointer  tempFilter",
                            file, 157}}),
                  reports.all());
    }
}

TEST(OddArguments, AnyNumberOfFilters) {
    std::vector<float> spectrum(257);
    std::iota(spectrum.begin(), spectrum.end(), -100.0f);
    const Bank none = makeBank({9, 0, 0, 4000, 8000, 0, 0, 0});
    EXPECT_TRUE(sameBits({0.0f, 0.0f}, cepstrumOf(none, 0, spectrum, 2)));
    const BankShape many = {9, 300, 0, 4000, 8000, 0, 0, 0};
    EXPECT_TRUE(sameBits(reference::cepstrum(reference::filterSums(reference::melBank(many), spectrum), 13),
                         cepstrumOf(makeBank(many), 0, spectrum, 13)));
}

TEST(OddArguments, MoreLinearFiltersThanFilters) {
    BankShape shape = linear6;
    shape.nFilters = 2;
    const std::vector<float> spectrum = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ((std::vector<double>{6.0, 10.0}), filterSumsOf(shape, spectrum));
    shape.nFilters = 4; // all linear, the last one a transition filter
    const auto sums = filterSumsOf(shape, spectrum);
    EXPECT_EQ(6.0, sums[0]);
    EXPECT_EQ(14.0, sums[2]);
    shape.nLinear = std::numeric_limits<int32_t>::max();
    makeBank(shape);
}

TEST(OddArguments, FrequenciesAreTakenAsTheyAre) {
    const std::vector<float> spectrum = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    constexpr int32_t lowest = std::numeric_limits<int32_t>::min(),
                      highest = std::numeric_limits<int32_t>::max();
    const BankShape shapes[] = {
        {4, 6, 0, 0, 3000, 0, 0, 0},          // filters without width on bin 0: weight 0/0
        {4, 6, 1400, 0, 3000, 0, 0, 0},       // edges reversed
        {4, 6, -300, 300, 0, 0, 0, 0},        // every bin at frequency 0
        {4, 6, -600, 0, -1000, 0, 0, 0},      // descending frequencies
        {4, 6, -800, 1400, 3000, 0, 0, 0},    // no mel value
        {4, 6, -700, 1400, 3000, 0, 0, 0},    // mel value minus infinity
        {4, 6, -900, 1400, 3000, 1, 3, -700}, // transition from minus infinity
        {4, 6, lowest, highest, highest, 1, 3, highest},
        {4, 6, lowest, highest, lowest, 0, 3, highest},
    };
    for (const BankShape &shape : shapes) {
        if (shape.lowFreq != lowest || shape.linear == 0) {
            const auto expected = reference::filterSums(reference::melBank(shape), spectrum);
            EXPECT_TRUE(sameBits(expected, filterSumsOf(shape, spectrum)))
                << shape.lowFreq << ' ' << shape.rate;
        } else {
            makeBank(shape);
        }
    }
}

TEST(MemoryFailure, Init) {
    const Report expected[] = {
        {QZ_StsNoMem, "QZsMFCCInit", "insufficiency of memory for pointer  filters", file, 154},
        {QZ_StsNoMem, "QZsMFCCInit", "insufficiency of memory for pointer  tempFilter", file, 157},
        {QZ_StsNoMem, "QZsMFCCInit", "insufficiency of memory for pointer  filters->fftSpec", file, 159},
    };
    RecordedReports reports;
    for (int failAt = 0; failAt < 4; ++failAt) {
        for (const auto make : {makeBank, makeShortBank}) {
            FailingHeap heap(failAt);
            reports.clear();
            const Bank bank = make(mel24);
            if (failAt == 3) {
                EXPECT_NE(nullptr, bank);
                EXPECT_TRUE(reports.all().empty());
                continue;
            }
            Reports all = {expected[failAt]};
            if (make == makeShortBank) all.push_back({-1, "QZwMFCCInit", "", file, 612});
            EXPECT_EQ(nullptr, bank);
            EXPECT_EQ(all, reports.all());
            EXPECT_EQ(0, heap.live());
        }
    }
}

TEST(MemoryFailure, ShortInitTracesBackAnyNegativeStatus) {
    RecordedReports reports;
    FailingHeap heap;
    QZSetStatus(QZ_StsError);
    EXPECT_EQ(nullptr, makeShortBank(mel24));
    EXPECT_EQ((Reports{{-1, "QZwMFCCInit", "", file, 612}}), reports.all());
    EXPECT_EQ(0, heap.live());
}

const Report noFilterOutput = {QZ_StsNoMem, "QZsCepstralMFCC",
                               "insufficiency of memory for pointer  pQZcontext->Ceps.filterOutput", file,
                               426};
const Report noFftOut = {QZ_StsNoMem, "QZsCepstralMFCC",
                         "insufficiency of memory for pointer  pQZcontext->Ceps.fftOut", file, 430};
const Report noFactors = {QZ_StsNoMem, "OwnsDct",
                          "insufficiency of memory for pointer  pQZcontext->Dct.sstoredDctFactor", file, 330};

TEST(MemoryFailure, Spectrum) {
    const Reports expected[] = {
        {noFilterOutput}, {noFftOut}, {noFactors, {-1, "QZsCepstralMFCC", "", file, 483}}};
    const int32_t results[] = {QZ_StsNoMem, QZ_StsNoMem, -1};
    const std::vector<float> spectrum(257, 1.0f);
    RecordedReports reports;
    for (int failAt = 0; failAt < 3; ++failAt) {
        Bank bank = makeBank(mel24);
        FailingHeap heap(failAt);
        reports.clear();
        std::vector<float> dst(13, 5.0f);
        EXPECT_EQ(results[failAt], QZsCepstralMFCC(0, spectrum.data(), bank.get(), dst.data(), 13));
        EXPECT_EQ(expected[failAt], reports.all());
        EXPECT_EQ(std::vector<float>(13, 5.0f), dst);
        reports.clear();
        EXPECT_EQ(0, QZsCepstralMFCC(0, spectrum.data(), bank.get(), dst.data(), 13)) << "asks again";
        bank.reset();
        EXPECT_EQ(0, heap.live());
    }
}

TEST(MemoryFailure, OfAnotherRecordDoesNotHarmTheFirst) {
    const std::vector<float> spectrum(257, 1.0f);
    RecordedReports reports;
    for (int failAt = 0; failAt < 3; ++failAt) {
        Bank first = makeBank(mel24), second = makeBank(mel20);
        const auto expected = cepstrumOf(first, 0, spectrum, 13);
        {
            FailingHeap heap(failAt);
            cepstrumOf(second, 0, spectrum, 13);
        }
        reports.clear();
        EXPECT_TRUE(sameBits(expected, cepstrumOf(first, 0, spectrum, 13)));
        EXPECT_TRUE(reports.all().empty());
    }
}

/// What the transform reports on its own, with the trace of the caller.
TEST(MemoryFailure, Transform) {
    const std::vector<float> samples(512, 1.0f);
    std::vector<float> dst(513, 5.0f);
    RecordedReports reports;
    for (int failAt = 0;; ++failAt) {
        const Bank bank = makeBank(mel24);
        cepstrumOf(bank, 0, samples, 13);
        QZFreeFftTbls();
        Reports expected;
        {
            FailingHeap heap(failAt);
            QZsRealFftNip(samples.data(), dst.data(), 9, QZ_FORWARD);
            expected = reports.all();
            QZFreeFftTbls();
        }
        reports.clear();
        FailingHeap heap(failAt);
        const int32_t result = QZsCepstralMFCC(1, samples.data(), bank.get(), dst.data(), 13);
        QZFreeFftTbls();
        if (expected.empty()) {
            EXPECT_EQ(0, result);
            EXPECT_LT(0, failAt);
            break;
        }
        expected.push_back({-1, "QZsCepstralMFCC", "", file, 441});
        EXPECT_EQ(-1, result);
        EXPECT_EQ(expected, reports.all());
        EXPECT_EQ(0, heap.live());
        reports.clear();
    }
}

TEST(MemoryFailure, ShortForm) {
    const Report trace = {-1, "QZwCepstralMFCC", "", file, 1006};
    const Reports expected[] = {
        {{QZ_StsNoMem, "QZwCepstralMFCC", "insufficiency of memory for pointer  pQZcontext->Ceps.tempVect",
          file, 992}},
        {{QZ_StsNoMem, "QZwCepstralMFCC", "insufficiency of memory for pointer  pQZcontext->Ceps.tempCeps",
          file, 995}},
        {noFilterOutput, trace},
        {noFftOut, trace},
        {noFactors, {-1, "QZsCepstralMFCC", "", file, 483}, trace}};
    const std::vector<std::int16_t> spectrum(512, 7);
    RecordedReports reports;
    for (int failAt = 0; failAt < 5; ++failAt) {
        Bank bank = makeShortBank(mel24);
        FailingHeap heap(failAt);
        reports.clear();
        std::vector<std::int16_t> dst(13, 5);
        int32_t scale = 9;
        EXPECT_EQ(failAt < 2 ? QZ_StsNoMem : -1,
                  QZwCepstralMFCC(0, spectrum.data(), bank.get(), dst.data(), 13, 2, &scale));
        EXPECT_EQ(expected[failAt], reports.all());
        EXPECT_EQ(std::vector<std::int16_t>(13, 5), dst);
        EXPECT_EQ(9, scale);
        reports.clear();
        QZwCepstralMFCC(0, spectrum.data(), bank.get(), dst.data(), 13, 3, &scale);
        EXPECT_TRUE(reports.all().empty()) << "asks again";
        EXPECT_EQ(0, scale);
        bank.reset();
        EXPECT_EQ(0, heap.live());
    }
}

TEST(MemoryFailure, GrowingShortForm) {
    const std::vector<std::int16_t> spectrum(512, 7);
    RecordedReports reports;
    Bank bank = makeShortBank(mel24);
    std::vector<std::int16_t> dst(20, 5);
    int32_t scale = 9;
    FailingHeap heap(5);
    QZwCepstralMFCC(0, spectrum.data(), bank.get(), dst.data(), 13, 3, &scale);
    EXPECT_EQ(QZ_StsNoMem, QZwCepstralMFCC(0, spectrum.data(), bank.get(), dst.data(), 20, 3, &scale));
    ASSERT_EQ(1u, reports.all().size());
    EXPECT_EQ(995, reports.all()[0].line);
    EXPECT_EQ(5, dst[13]);
    reports.clear();
    QZwCepstralMFCC(0, spectrum.data(), bank.get(), dst.data(), 12, 3, &scale);
    EXPECT_TRUE(reports.all().empty());
    bank.reset();
    EXPECT_EQ(0, heap.live());
}

TEST(StickyStatus, IsTracedBackWhereverItIsFound) {
    RecordedReports reports;
    const Bank bank = makeShortBank(mel24);
    const std::vector<float> samples(512, 1.0f);
    const std::vector<std::int16_t> shorts(512, 1);
    std::vector<float> dst(13);
    std::vector<std::int16_t> shortDst(13, 5);
    int32_t scale = 8;

    const Report inSpectrum = {-1, "QZsCepstralMFCC", "", file, 483};
    QZSetStatus(QZ_StsError);
    EXPECT_EQ(-1, QZsCepstralMFCC(0, samples.data(), bank.get(), dst.data(), 13));
    EXPECT_EQ((Reports{inSpectrum}), reports.all());
    EXPECT_NE(0.0f, dst[0]) << "the work has been done";

    reports.clear();
    QZSetStatus(QZ_StsError);
    EXPECT_EQ(-1, QZwCepstralMFCC(0, shorts.data(), bank.get(), shortDst.data(), 13, 0, &scale));
    EXPECT_EQ((Reports{inSpectrum, {-1, "QZwCepstralMFCC", "", file, 1006}}), reports.all());
    EXPECT_EQ(5, shortDst[0]);
    EXPECT_EQ(8, scale);

    reports.clear();
    QZSetStatus(QZ_StsError);
    dst[0] = 5.0f;
    EXPECT_EQ(-1, QZsCepstralMFCC(1, samples.data(), bank.get(), dst.data(), 13));
    EXPECT_EQ((Report{-1, "QZsCepstralMFCC", "", file, 441}), reports.all().back());
    EXPECT_EQ(5.0f, dst[0]);
    QZFreeFftTbls();
}

} // namespace
} // namespace qzk::test
