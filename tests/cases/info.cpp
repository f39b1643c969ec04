// Names and numbers of the library and of processors.
#include "common/processor_info.hpp"
#include "qzk.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace qzk::test {
namespace {

TEST(LibraryInfo, NameOfTheModule) { EXPECT_STREQ("qzkg1.dll", QZGetSpecificLibraryName()); }

TEST(LibraryInfo, Version) {
    QZLibraryInfo info = {-1, -1, -1};
    EXPECT_EQ(&info, QZGetLibraryInfo(&info));
    EXPECT_EQ(3, info.major);
    EXPECT_EQ(1, info.minor);
    EXPECT_EQ(4, info.build);
}

constexpr std::uint32_t mmx = 8388608, allButMmx = ~mmx;

std::string describe(std::uint32_t signature, std::uint32_t features = 0) {
    QZProcessorInfo info;
    std::memset(&info, 0x55, sizeof info);
    describeProcessor({signature, features}, &info);
    return std::to_string(info.family) + ", " + std::to_string(info.model) + ", " +
           std::to_string(info.stepping) + ": " +
           std::string(info.name, strnlen(info.name, sizeof info.name));
}

TEST(ProcessorInfo, EarlyFamiliesHaveNeitherModelNorStepping) {
    EXPECT_EQ("0, 0, 0: i086/i088", describe(0x0000));
    EXPECT_EQ("0, 0, 0: i086/i088", describe(0x00FF, mmx));
    EXPECT_EQ("1, 0, 0: ", describe(0x0100));
    EXPECT_EQ("1, 0, 0: ", describe(0x01FF));
    EXPECT_EQ("2, 0, 0: i286", describe(0x0212));
    EXPECT_EQ("3, 0, 0: i386", describe(0x0308));
}

TEST(ProcessorInfo, ModelAndStepping) {
    EXPECT_EQ("4, 8, 0: i486 [model 8, stepping 0]", describe(0x0480));
    EXPECT_EQ("5, 2, 12: Pentium [model 2, stepping 12]", describe(0x052C));
    EXPECT_EQ("6, 1, 9: Pentium Pro [model 1, stepping 9]", describe(0x0619));
}

TEST(ProcessorInfo, FamilyFiveWithMmx) {
    EXPECT_EQ("55, 4, 3: P55C [model 4, stepping 3]", describe(0x0543, mmx));
    EXPECT_EQ("55, 4, 3: P55C [model 4, stepping 3]", describe(0x0543, ~0u));
    EXPECT_EQ("5, 4, 3: Pentium [model 4, stepping 3]", describe(0x0543, allButMmx));
}

TEST(ProcessorInfo, MmxMattersForFamilyFiveAlone) {
    EXPECT_EQ("4, 8, 1: i486 [model 8, stepping 1]", describe(0x0481, mmx));
    EXPECT_EQ("6, 3, 3: Pentium Pro [model 3, stepping 3]", describe(0x0633, mmx));
    EXPECT_EQ("3, 0, 0: i386", describe(0x0300, mmx));
}

TEST(ProcessorInfo, LaterFamiliesHaveNoName) {
    EXPECT_EQ("7, 1, 2:  [model 1, stepping 2]", describe(0x0712));
    EXPECT_EQ("15, 15, 15:  [model 15, stepping 15]", describe(0x0FFF, ~0u));
}

TEST(ProcessorInfo, BitsAboveTheSixteenthAreIgnored) {
    EXPECT_EQ("6, 1, 9: Pentium Pro [model 1, stepping 9]", describe(0xFFFF0619));
    EXPECT_EQ("5, 2, 12: Pentium [model 2, stepping 12]", describe(0xFFFFF52C));
}

TEST(ProcessorInfo, TheLongestNameFillsTheRecord) {
    EXPECT_EQ("6, 15, 15: Pentium Pro [model 15, stepping 15]", describe(0x06FF));
    QZProcessorInfo info;
    describeProcessor({0x06FF, 0}, &info);
    EXPECT_EQ(sizeof info.name, std::strlen(info.name) + 1);
}

#if defined(__x86_64__) || defined(__i386__)

/// By the instruction itself, unlike the library.
simd::ProcessorId askedHere() {
    std::uint32_t eax = 1, ebx, ecx = 0, edx;
    __asm__ volatile("cpuid" : "+a"(eax), "=b"(ebx), "+c"(ecx), "=d"(edx));
    return {eax, edx};
}

TEST(ProcessorInfo, OfThisProcessor) {
    const simd::ProcessorId id = askedHere();
    const int family = static_cast<int>(id.signature / 256 % 16);
    const int model = static_cast<int>(id.signature / 16 % 16),
              stepping = static_cast<int>(id.signature % 16);
    // SSE2, which the tests are built for, is younger than family 5.
    ASSERT_GE(family, 6);
    char name[40];
    std::snprintf(name, sizeof name, "%s [model %d, stepping %d]", family == 6 ? "Pentium Pro" : "", model,
                  stepping);
    EXPECT_EQ(id.signature, simd::processorId().signature);
    EXPECT_EQ(id.features, simd::processorId().features);
    QZProcessorInfo info;
    QZGetProcessorInfo(&info);
    EXPECT_EQ(family, info.family);
    EXPECT_EQ(model, info.model);
    EXPECT_EQ(stepping, info.stepping);
    EXPECT_STREQ(name, info.name);
}

/// The system adds what the extended fields say: 15 and more families, and models by 16.
TEST(ProcessorInfo, AgreesWithTheSystem) {
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    int family = -1, model = -1, stepping = -1;
    while (std::getline(in, line) && !line.empty()) {
        std::sscanf(line.c_str(), "cpu family : %d", &family);
        std::sscanf(line.c_str(), "model : %d", &model);
        std::sscanf(line.c_str(), "stepping : %d", &stepping);
    }
    if (family < 0 || model < 0 || stepping < 0) GTEST_SKIP() << "the system does not describe the processor";
    const char *const preload = std::getenv("LD_PRELOAD");
    if (preload != nullptr && std::strstr(preload, "vgpreload") != nullptr)
        GTEST_SKIP() << "valgrind has a processor of its own";
    QZProcessorInfo info;
    QZGetProcessorInfo(&info);
    EXPECT_EQ(family < 15 ? family : 15, info.family);
    EXPECT_EQ(model % 16, info.model);
    EXPECT_EQ(stepping, info.stepping);
}

#endif

} // namespace
} // namespace qzk::test
