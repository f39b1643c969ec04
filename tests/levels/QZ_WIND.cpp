// Pre-emphasis at every level against its definition, bit for bit: every length, unaligned, and nothing but
// the frame changes.
#include "reference/front_end.hpp"
#include "simd/kernels.hpp"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <vector>

namespace qzk::test {
namespace {

std::vector<std::size_t> lengths() {
    std::vector<std::size_t> all = {1000, 4099};
    for (std::size_t n = 1; n <= 130; ++n)
        all.push_back(n);
    return all;
}

class FrontEndLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, FrontEndLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(FrontEndLevels, PreEmphasizeFloats) {
    Random random;
    for (const std::size_t n : lengths()) {
        const auto before = random.anyReals<float>(n);
        const auto a = static_cast<float>(random.real(-2.0, 2.0));
        Guarded<float> frame(n, n % 7);
        frame.assign(before);
        simd::kernels().cepstrum.preEmphasizeFloats(frame.data(), a, n);
        ASSERT_TRUE(sameBits(reference::preEmphasized(before, a), frame.values()))
            << "length " << n << ", seed " << seed();
        ASSERT_TRUE(frame.intact()) << "length " << n;
    }
}

TEST_P(FrontEndLevels, PreEmphasizeShorts) {
    Random random;
    for (const std::size_t n : lengths()) {
        for (const double range : {1.0, 16384.0}) {
            const auto before = random.elements<std::int16_t>(n);
            const auto a = static_cast<float>(random.real(-range, range));
            Guarded<std::int16_t> frame(n, n % 5);
            frame.assign(before);
            simd::kernels().cepstrum.preEmphasizeShorts(frame.data(), a, n);
            ASSERT_EQ(reference::preEmphasized(before, a), frame.values())
                << "length " << n << ", coefficient " << a << ", seed " << seed();
            ASSERT_TRUE(frame.intact()) << "length " << n;
        }
    }
}

} // namespace
} // namespace qzk::test
