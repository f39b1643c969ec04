// The convolution's kernels of every level against the definition, with known bytes around what they write
// and memory that nobody may touch behind what they read.
#include "simd/kernels.hpp"
#include "support/fenced.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace qzk::test {
namespace {

using std::int16_t;
using std::size_t;
using std::uint8_t;

class ConvolveLevels : public LevelTest {
protected:
    const simd::ConvolveKernels &plain = simd::kernelsOf(simd::Level::plain).convolve;
    const simd::ConvolveKernels &level = simd::kernelsOf(GetParam()).convolve;
    Random random{32};
};
INSTANTIATE_TEST_SUITE_P(Levels, ConvolveLevels, testing::ValuesIn(availableLevels()), levelTestName);

std::vector<size_t> lengths() {
    std::vector<size_t> all;
    for (size_t n = 0; n <= 130; ++n)
        all.push_back(n);
    all.insert(all.end(), {255, 256, 257, 1000, 3001});
    return all;
}

size_t bytesOf(size_t type, size_t elements) {
    return type == 3 ? (elements + 7) / 8 : type == 1 ? (elements + 1) / 2 : elements;
}

TEST_P(ConvolveLevels, Unpack) {
    for (size_t type = 0; type < 4; ++type)
        for (const size_t n : lengths())
            for (const size_t first : {0u, 1u, 3u, 7u, 8u, 77u}) {
                // The row ends where the fence begins.
                const size_t bytes = bytesOf(type, first + n);
                Fenced memory(bytes);
                uint8_t *const row = memory.end() - bytes;
                for (size_t i = 0; i < bytes; ++i)
                    row[i] = random.element<uint8_t>();
                Guarded<uint8_t> expected(n, first), actual(n, first);
                plain.unpack[type](row, first, n, expected.data());
                level.unpack[type](row, first, n, actual.data());
                ASSERT_EQ(expected.values(), actual.values()) << type << ' ' << n << ' ' << first;
                ASSERT_TRUE(actual.intact()) << type << ' ' << n << ' ' << first;
            }
}

TEST_P(ConvolveLevels, Pack) {
    for (size_t type = 0; type < 4; ++type)
        for (const size_t n : lengths())
            for (const size_t first : {0u, 1u, 3u, 7u, 8u, 77u}) {
                Fenced memory(n);
                uint8_t *const values = memory.end() - n;
                for (size_t i = 0; i < n; ++i)
                    values[i] = random.element<uint8_t>();
                const auto before = random.elements<uint8_t>(bytesOf(type, first + n) + 2);
                Guarded<uint8_t> expected(before.size(), 1), actual(before.size(), 1);
                expected.assign(before);
                actual.assign(before);
                plain.pack[type](values, n, expected.data(), first);
                level.pack[type](values, n, actual.data(), first);
                ASSERT_EQ(expected.values(), actual.values()) << type << ' ' << n << ' ' << first;
                ASSERT_TRUE(actual.intact()) << type << ' ' << n << ' ' << first;
            }
}

TEST_P(ConvolveLevels, WidenInPlace) {
    for (const size_t n : lengths()) {
        const auto bytes = random.elements<uint8_t>(n);
        Guarded<int16_t> words(n, n % 3 * 2);
        uint8_t *const last = reinterpret_cast<uint8_t *>(words.data()) + n;
        if (n != 0) std::memcpy(last, bytes.data(), n);
        level.widen(last, n, words.data());
        ASSERT_EQ(std::vector<int16_t>(bytes.begin(), bytes.end()), words.values()) << n;
        ASSERT_TRUE(words.intact()) << n;
    }
}

simd::Fit anyFit(Random &random) {
    simd::Fit fit;
    switch (random.index(4)) {
    case 0:
        fit.right = static_cast<int>(random.index(64));
        break;
    case 1:
        fit.left = static_cast<int>(random.index(9));
        break;
    case 2:
        fit.clamps = true;
        fit.lowest = random.bits() % 2 != 0 ? -128 : 0;
        fit.highest = std::vector{1, 15, 127, 255}[random.index(4)];
        break;
    default:
        break;
    }
    return fit;
}

/// Rows of a window that end where the fence begins.
template <class Pixel>
void compareRows(simd::ConvolveKernels::Row plain, simd::ConvolveKernels::Row level, Random &random,
                 int largestElement, size_t n, size_t first, size_t maskRows, size_t maskCols,
                 const std::vector<int16_t> &coefficients, int mostStart = 1000) {
    const size_t columns = std::max(first + n, simd::ConvolveKernels::block) + maskCols;
    std::vector<std::unique_ptr<Fenced>> memory;
    std::vector<float *> window;
    for (size_t i = 0; i < maskRows; ++i) {
        memory.push_back(std::make_unique<Fenced>(columns * sizeof(Pixel)));
        uint8_t *const row = memory.back()->end() - columns * sizeof(Pixel);
        for (size_t c = 0; c < columns; ++c) {
            const auto element = static_cast<Pixel>(std::min<int>(random.element<uint8_t>(), largestElement));
            std::memcpy(row + c * sizeof(Pixel), &element, sizeof(Pixel));
        }
        window.push_back(reinterpret_cast<float *>(row));
    }
    const simd::Mask mask = {coefficients.data(), maskRows, maskCols, random.integer(-mostStart, mostStart)};
    for (int round = 0; round < 3; ++round) {
        const simd::Fit fit = anyFit(random);
        Guarded<uint8_t> expected(n, first), actual(n, first);
        plain(mask, window.data(), first, n, fit, expected.data());
        level(mask, window.data(), first, n, fit, actual.data());
        ASSERT_EQ(expected.values(), actual.values())
            << n << " of " << first << ", mask " << maskRows << " x " << maskCols << ", shifts " << fit.right
            << ' ' << fit.left << ", clamps " << fit.clamps;
        ASSERT_TRUE(actual.intact());
    }
}

TEST_P(ConvolveLevels, RowsOfBytes) {
    for (const size_t n : lengths())
        for (const int largest : {1, 15, 255}) {
            const size_t maskRows = 1 + random.index(4), maskCols = 1 + random.index(5);
            std::vector<int16_t> coefficients(maskRows * maskCols);
            // Up to the sum of magnitudes that the bytes allow, less what the start may be.
            int left = (32767 - 1000) / largest;
            for (int16_t &coefficient : coefficients) {
                const int most = std::min(left, random.bits() % 2 != 0 ? 128 : 7);
                coefficient = static_cast<int16_t>(random.integer(-most, std::min(most, 127)));
                left -= std::abs(coefficient);
            }
            ASSERT_NO_FATAL_FAILURE(compareRows<uint8_t>(plain.ofBytes, level.ofBytes, random, largest, n,
                                                         random.index(70), maskRows, maskCols, coefficients));
        }
}

TEST_P(ConvolveLevels, RowsOfWords) {
    for (const size_t n : lengths()) {
        const size_t maskRows = 1 + random.index(9), maskCols = 1 + random.index(10);
        const auto coefficients = random.elements<int16_t>(maskRows * maskCols);
        ASSERT_NO_FATAL_FAILURE(compareRows<int16_t>(plain.ofWords, level.ofWords, random, 255, n,
                                                     random.index(70), maskRows, maskCols, coefficients));
    }
}

// The largest sums that 32 bits hold, and the largest of a pair that 16 bits hold.
TEST_P(ConvolveLevels, LargestSums) {
    for (const int16_t coefficient : {int16_t{INT16_MIN}, int16_t{INT16_MAX}}) {
        std::vector<int16_t> words(257, coefficient);
        words[256] = 0; // 256 * 32768 * 255 is below 2^31
        for (const size_t n : {5u, 40u, 200u})
            for (const size_t rows : {1u, 257u})
                ASSERT_NO_FATAL_FAILURE(compareRows<int16_t>(plain.ofWords, level.ofWords, random, 255, n, 0,
                                                             rows, 257 / rows, words));
    }
    for (const std::vector<int16_t> &pair : {std::vector<int16_t>{-64, -60}, {127, -1}, {1, 127}, {-120, 0}})
        ASSERT_NO_FATAL_FAILURE(
            compareRows<uint8_t>(plain.ofBytes, level.ofBytes, random, 255, 300, 0, 1, 2, pair, 0));
}

} // namespace
} // namespace qzk::test
