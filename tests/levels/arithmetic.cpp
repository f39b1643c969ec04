// Every level of the element-wise kernels against the ordered definition, bit for bit, at every overlap.
#include "qzk.h"
#include "support/bits.hpp"
#include "support/guarded.hpp"
#include "support/levels.hpp"
#include "support/random.hpp"

#include <cstring>
#include <vector>

namespace qzk::test {
namespace {

class ArithmeticLevels : public LevelTest {};
INSTANTIATE_TEST_SUITE_P(Levels, ArithmeticLevels, testing::ValuesIn(availableLevels()), levelTestName);

TEST_P(ArithmeticLevels, MultiplyFloats) {
    Random random;
    for (std::size_t n = 0; n <= 130; ++n) {
        const auto src = random.anyReals<float>(n);
        const auto before = random.anyReals<float>(n);
        Guarded<float> srcDst(n, n % 7);
        srcDst.assign(before);
        QZsbMpy2(src.data(), srcDst.data(), static_cast<int32_t>(n));
        std::vector<float> expected(n);
        for (std::size_t i = 0; i < n; ++i)
            expected[i] = before[i] * src[i];
        ASSERT_TRUE(sameBits(expected, srcDst.values())) << "length " << n << ", seed " << seed();
        ASSERT_TRUE(srcDst.intact()) << "length " << n;
    }
}

TEST_P(ArithmeticLevels, MultiplyFloatsOverlapping) {
    Random random;
    constexpr int n = 100, room = 40;
    for (int distance = -room; distance <= room; ++distance) {
        const auto before = random.reals<float>(n + 2 * room, -2.0, 2.0);
        auto expected = before, actual = before;
        for (int i = n; i-- > 0;)
            expected[static_cast<std::size_t>(room + i)] *=
                expected[static_cast<std::size_t>(room + distance + i)];
        QZsbMpy2(actual.data() + room + distance, actual.data() + room, n);
        ASSERT_TRUE(sameBits(expected, actual)) << "distance " << distance << ", seed " << seed();
    }
}

} // namespace
} // namespace qzk::test
