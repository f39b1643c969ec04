// Which kernels run: the highest level of processor and build at first, any lower one on request.
#include "simd/kernels.hpp"
#include "simd/processor.hpp"
#include "support/levels.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

namespace qzk::simd {
namespace {

constexpr Level all[] = {Level::plain, Level::sse2, Level::avx2, Level::avx512};

Level builtLevel() {
    return *std::find_if(std::begin(all), std::end(all),
                         [](Level level) { return std::string_view(levelName(level)) == QZK_MAX_LEVEL; });
}

TEST(Dispatch, NamesOfTheLevels) {
    EXPECT_STREQ("plain", levelName(Level::plain));
    EXPECT_STREQ("sse2", levelName(Level::sse2));
    EXPECT_STREQ("avx2", levelName(Level::avx2));
    EXPECT_STREQ("avx512", levelName(Level::avx512));
}

TEST(Dispatch, StartsAtTheHighestLevel) {
    EXPECT_EQ(highestLevel(), currentLevel());
    EXPECT_EQ(&kernelsOf(highestLevel()), &kernels());
}

#if defined(__x86_64__) || defined(__i386__)

/// The highest level whose features are all there.
template <class Has>
Level levelOf(Has has) {
    if (!has("sse2")) return Level::plain;
    if (!has("avx") || !has("avx2") || !has("fma") || !has("bmi2")) return Level::sse2;
    for (const char *const feature : {"avx512f", "avx512bw", "avx512dq", "avx512vl", "avx512cd"})
        if (!has(feature)) return Level::avx2;
    return Level::avx512;
}

TEST(Dispatch, FindsWhatTheCompilersRuntimeFinds) {
    const std::set<std::string_view> features = [] {
        std::set<std::string_view> found;
        if (__builtin_cpu_supports("sse2")) found.insert("sse2");
        if (__builtin_cpu_supports("avx")) found.insert("avx");
        if (__builtin_cpu_supports("avx2")) found.insert("avx2");
        if (__builtin_cpu_supports("fma")) found.insert("fma");
        if (__builtin_cpu_supports("bmi2")) found.insert("bmi2");
        if (__builtin_cpu_supports("avx512f")) found.insert("avx512f");
        if (__builtin_cpu_supports("avx512bw")) found.insert("avx512bw");
        if (__builtin_cpu_supports("avx512dq")) found.insert("avx512dq");
        if (__builtin_cpu_supports("avx512vl")) found.insert("avx512vl");
        if (__builtin_cpu_supports("avx512cd")) found.insert("avx512cd");
        return found;
    }();
    EXPECT_EQ(std::min(builtLevel(), levelOf([&](const char *name) { return features.count(name) != 0; })),
              highestLevel());
}

/// An instruction outside the levels, used where level and processor have it.
TEST(Dispatch, CountsBitsOfVectorsWhereTheProcessorDoes) {
    if (highestLevel() < Level::avx512) GTEST_SKIP() << "no vectors to count the bits of";
    const bool counts = __builtin_cpu_supports("avx512vpopcntdq") != 0;
    EXPECT_EQ(counts, countsBitsOfVectors());
    EXPECT_EQ(counts, kernelsOf(Level::avx512).reduction.setBits != kernelsOf(Level::avx2).reduction.setBits);
}

TEST(Dispatch, FindsWhatTheSystemLists) {
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    while (std::getline(in, line) && line.rfind("flags", 0) != 0) {
    }
    if (line.empty()) GTEST_SKIP() << "no list of processor features";
    const char *const preload = std::getenv("LD_PRELOAD");
    if (preload != nullptr && std::strstr(preload, "vgpreload") != nullptr)
        GTEST_SKIP() << "valgrind's processor has fewer features than the system lists";
    std::istringstream words(line);
    const std::set<std::string> features{std::istream_iterator<std::string>(words), {}};
    EXPECT_EQ(std::min(builtLevel(), levelOf([&](const char *name) { return features.count(name) != 0; })),
              highestLevel());
}

#endif

TEST(Dispatch, ForcedLevelsLastForAScope) {
    const Level before = currentLevel();
    for (const Level level : test::availableLevels()) {
        const test::ScopedLevel forced(level);
        EXPECT_EQ(level, currentLevel());
        EXPECT_EQ(&kernelsOf(level), &kernels());
    }
    EXPECT_EQ(before, currentLevel());
}

TEST(Dispatch, LevelsThatAreNotThereGiveTheHighest) {
    const Level before = currentLevel();
    for (const Level level : all) {
        setLevel(level);
        EXPECT_EQ(std::min(level, highestLevel()), currentLevel());
    }
    setLevel(before);
}

/// A table as its function pointers.
using Entries = std::array<std::uintptr_t, sizeof(Kernels) / sizeof(void *)>;
Entries entriesOf(Level level) {
    static_assert(sizeof(Entries) == sizeof(Kernels));
    Entries entries;
    std::memcpy(entries.data(), &kernelsOf(level), sizeof entries);
    return entries;
}

TEST(Dispatch, NoLevelLosesKernels) {
    for (int level = 1; level <= static_cast<int>(highestLevel()); ++level) {
        const Entries lower = entriesOf(static_cast<Level>(level - 1)),
                      higher = entriesOf(static_cast<Level>(level));
        for (std::size_t i = 0; i < lower.size(); ++i)
            EXPECT_TRUE(lower[i] == 0 || higher[i] != 0) << "entry " << i << " of level " << level;
    }
}

TEST(Dispatch, EachLevelReplacesKernels) {
    for (int level = 1; level <= static_cast<int>(highestLevel()); ++level)
        EXPECT_NE(entriesOf(static_cast<Level>(level - 1)), entriesOf(static_cast<Level>(level)));
}

} // namespace
} // namespace qzk::simd
