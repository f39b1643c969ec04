// Every level of the 16-bit transforms against the conversions at the plain level around the float transforms
// by the letter, bit for bit.
#include "qzk.h"
#include "reference/fft.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <array>
#include <string>
#include <vector>

namespace qzk::test {
namespace {

class ShortFftLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, ShortFftLevels, testing::ValuesIn(availableLevels()), levelTestName);

/// Any values; small ones, whose spectra cancel to zeros of both signs and to remainders; all alike at the
/// end of the range, which gives the largest sums; a single one.
constexpr int kinds = 4;
std::vector<int16_t> dataOf(int kind, std::size_t n) {
    Random random(n * kinds + static_cast<std::size_t>(kind));
    if (kind == 0) return random.elements<int16_t>(n);
    std::vector<int16_t> data(n);
    if (kind == 1)
        for (int16_t &value : data)
            value = static_cast<int16_t>(random.integer(-2, 2));
    else if (kind == 2)
        data.assign(n, -32768);
    else
        data[random.index(n)] = 1;
    return data;
}

struct Result {
    std::vector<int16_t> data;
    int32_t scale;
    int32_t status;
    bool operator==(const Result &) const = default;
};

int32_t keepStatus(int32_t status, const char *, const char *, const char *, int32_t) {
    QZSetStatus(status);
    return status;
}

constexpr int32_t givenScale = 3;
constexpr int32_t modes[] = {QZ_ScaleWrap, QZ_ScaleFixed, QZ_ScaleAuto, QZ_ScaleSaturate};

template <class FloatTransform>
std::array<Result, std::size(modes)> expectedResults(const std::vector<int16_t> &before, int order, int flags,
                                                     FloatTransform transform) {
    const ScopedLevel plain(simd::Level::plain);
    const auto count = static_cast<int32_t>(before.size());
    std::vector<float> floats(before.size());
    QZwsbConvertUp(before.data(), floats.data(), count, 0);
    transform(floats, order, flags);
    std::array<Result, std::size(modes)> results;
    for (std::size_t mode = 0; mode < std::size(modes); ++mode) {
        results[mode] = {before, givenScale, QZ_StsOk};
        QZswbConvertDown(floats.data(), results[mode].data.data(), count, modes[mode], &results[mode].scale);
        // What a failed conversion reports is followed by the transform's back-trace.
        if (QZGetStatus() < 0) results[mode].status = QZ_StsBackTrace;
        QZSetStatus(QZ_StsOk);
    }
    return results;
}

/// Runs both sides over all orders, data, flags and modes, in place at odd addresses too, and from a source
/// to a destination.
template <class FloatTransform, class InPlace, class NotInPlace>
void compare(std::size_t valuesPerElement, FloatTransform floatTransform, InPlace inPlace,
             NotInPlace notInPlace) {
    QZRedirectError(keepStatus);
    for (int order = 1; order <= 16; ++order) {
        const std::size_t n = valuesPerElement << order;
        for (int kind = 0; kind < (order <= 12 ? kinds : 1); ++kind) {
            const auto before = dataOf(kind, n);
            for (const int32_t flags : {QZ_FORWARD, QZ_INVERSE, QZ_INVERSE | QZ_NOSCALE}) {
                // Large orders take turns.
                if (order > 12 && flags != (order % 2 == 0 ? QZ_FORWARD : QZ_INVERSE)) continue;
                const auto expected = expectedResults(before, order, flags, floatTransform);
                for (std::size_t mode = 0; mode < std::size(modes); ++mode) {
                    const std::string trace = "order " + std::to_string(order) + ", data " +
                                              std::to_string(kind) + ", flags " + std::to_string(flags) +
                                              ", mode " + std::to_string(modes[mode]) + ", seed " +
                                              std::to_string(seed());
                    const auto misalignment = static_cast<std::size_t>(order * 5 + kind) % 9;
                    Guarded<int16_t> data(n, misalignment), dst(n, misalignment + 1);
                    data.assign(before);
                    Result actual = {{}, givenScale, QZ_StsOk};
                    notInPlace(data.data(), dst.data(), order, flags, modes[mode], &actual.scale);
                    actual.data = dst.values();
                    actual.status = QZGetStatus();
                    QZSetStatus(QZ_StsOk);
                    ASSERT_TRUE(expected[mode] == actual) << trace;
                    ASSERT_TRUE(dst.intact() && data.values() == before) << trace;

                    actual.scale = givenScale;
                    inPlace(data.data(), order, flags, modes[mode], &actual.scale);
                    actual.data = data.values();
                    actual.status = QZGetStatus();
                    QZSetStatus(QZ_StsOk);
                    ASSERT_TRUE(expected[mode] == actual) << trace;
                    ASSERT_TRUE(data.intact()) << trace;
                }
            }
        }
    }
    QZSetStdError();
    QZFreeFftTbls();
}

TEST_P(ShortFftLevels, Complex) {
    compare(
        2,
        [](std::vector<float> &data, int order, int flags) {
            auto points = reference::asPoints(data);
            reference::complexFft(points, order, flags);
            for (std::size_t k = 0; k < points.size(); ++k) {
                data[2 * k] = points[k].re;
                data[2 * k + 1] = points[k].im;
            }
        },
        [](int16_t *data, int32_t order, int32_t flags, int32_t doScale, int32_t *scaleFactor) {
            QZvFft(reinterpret_cast<QZComplexShort *>(data), order, flags, doScale, scaleFactor);
        },
        [](const int16_t *src, int16_t *dst, int32_t order, int32_t flags, int32_t doScale,
           int32_t *scaleFactor) {
            QZvFftNip(reinterpret_cast<const QZComplexShort *>(src), reinterpret_cast<QZComplexShort *>(dst),
                      order, flags, doScale, scaleFactor);
        });
}

TEST_P(ShortFftLevels, Real) { compare(1, reference::realFft, QZwRealFft, QZwRealFftNip); }

TEST_P(ShortFftLevels, Ccs) { compare(1, reference::ccsFft, QZwCcsFft, QZwCcsFftNip); }

} // namespace
} // namespace qzk::test
