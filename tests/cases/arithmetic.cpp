#include "qzk.h"
#include "support/bits.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace qzk::test {
namespace {

TEST(MultiplyFloats, MultipliesInPlace) {
    const std::vector<float> src = {2.0f, -0.5f, 0.1f, 3.0f, -1.0f};
    std::vector<float> srcDst = {3.0f, 8.0f, 0.1f, 1e38f, 0.0f};
    QZsbMpy2(src.data(), srcDst.data(), 5);
    EXPECT_TRUE(sameBits({6.0f, -4.0f, 0.1f * 0.1f, 3e38f, -0.0f}, srcDst));
}

TEST(MultiplyFloats, LengthsBelowOneDoNothing) {
    const float src = 2.0f;
    float srcDst = 3.0f;
    for (const int32_t len : {0, -1, INT32_MIN})
        QZsbMpy2(&src, &srcDst, len);
    EXPECT_EQ(3.0f, srcDst);
}

} // namespace
} // namespace qzk::test
