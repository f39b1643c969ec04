// Runs a test at every CPU level that this machine and this build have.
#pragma once

#include "simd/kernels.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace qzk::test {

inline std::vector<simd::Level> availableLevels() {
    std::vector<simd::Level> levels;
    for (int level = 0; level <= static_cast<int>(simd::highestLevel()); ++level)
        levels.push_back(static_cast<simd::Level>(level));
    return levels;
}

/// Forces a level for one scope.
class ScopedLevel {
public:
    explicit ScopedLevel(simd::Level level) : previous_(simd::currentLevel()) { simd::setLevel(level); }
    ~ScopedLevel() { simd::setLevel(previous_); }
    ScopedLevel(const ScopedLevel &) = delete;
    ScopedLevel &operator=(const ScopedLevel &) = delete;

private:
    simd::Level previous_;
};

/// Base of test suites that run once per level: TEST_P(...), then
/// INSTANTIATE_TEST_SUITE_P(Levels, Suite, testing::ValuesIn(availableLevels()), levelTestName).
class LevelTest : public testing::TestWithParam<simd::Level> {
    ScopedLevel level_{GetParam()};
};

inline std::string levelTestName(const testing::TestParamInfo<simd::Level> &info) {
    return simd::levelName(info.param);
}

} // namespace qzk::test
