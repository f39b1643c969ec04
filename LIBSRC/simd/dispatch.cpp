#include "simd/kernels.hpp"

#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace qzk::simd {
namespace {

Level detectLevel() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned eax, ebx, ecx, edx;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (edx & bit_SSE2) == 0) return Level::plain;

    // The system has to save the wider registers too, which XCR0 tells.
    constexpr unsigned avx2Leaf1 = bit_OSXSAVE | bit_AVX | bit_FMA;
    if ((ecx & avx2Leaf1) != avx2Leaf1) return Level::sse2;
    unsigned savedLow, savedHigh;
    __asm__("xgetbv" : "=a"(savedLow), "=d"(savedHigh) : "c"(0));
    constexpr unsigned savesYmm = 0x06, savesZmm = 0xE6;
    constexpr unsigned avx2Leaf7 = bit_AVX2 | bit_BMI2;
    if ((savedLow & savesYmm) != savesYmm || __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0 ||
        (ebx & avx2Leaf7) != avx2Leaf7)
        return Level::sse2;

    constexpr unsigned avx512Leaf7 = bit_AVX512F | bit_AVX512BW | bit_AVX512DQ | bit_AVX512VL | bit_AVX512CD;
    if ((savedLow & savesZmm) != savesZmm || (ebx & avx512Leaf7) != avx512Leaf7) return Level::avx2;
    return Level::avx512;
#else
    return Level::plain;
#endif
}

template <class Family>
void installUpTo([[maybe_unused]] Level level, Family &family) {
    plain::install(family);
#if QZK_HIGHEST_LEVEL >= 1
    if (level >= Level::sse2) sse2::install(family);
#endif
#if QZK_HIGHEST_LEVEL >= 2
    if (level >= Level::avx2) avx2::install(family);
#endif
#if QZK_HIGHEST_LEVEL >= 3
    if (level >= Level::avx512) avx512::install(family);
#endif
}

Kernels kernelsUpTo(Level level) {
    Kernels table = {};
    installUpTo(level, table.absShift);
    installUpTo(level, table.arithmetic);
    installUpTo(level, table.cepstrum);
    installUpTo(level, table.convert);
    installUpTo(level, table.convolve);
    installUpTo(level, table.distance);
    installUpTo(level, table.fft);
    installUpTo(level, table.logic);
    installUpTo(level, table.perceptron);
    installUpTo(level, table.quantiser);
    installUpTo(level, table.reduction);
    installUpTo(level, table.reverse);
    installUpTo(level, table.rotate);
    installUpTo(level, table.mixture);
    installUpTo(level, table.viterbi);
    installUpTo(level, table.warp);
    return table;
}

constexpr int levels = 4;
Kernels tables[levels];
bool filled[levels];
Level level;

} // namespace

const Kernels *activeKernels;

Level highestLevel() {
    static const Level detected = detectLevel();
    constexpr auto built = static_cast<Level>(QZK_HIGHEST_LEVEL);
    return detected < built ? detected : built;
}

const Kernels &kernelsOf(Level wanted) {
    const auto index = static_cast<int>(wanted);
    if (!filled[index]) {
        tables[index] = kernelsUpTo(wanted);
        filled[index] = true;
    }
    return tables[index];
}

void setLevel(Level wanted) {
    level = wanted < highestLevel() ? wanted : highestLevel();
    activeKernels = &kernelsOf(level);
}

const Kernels &chooseKernels() {
    setLevel(highestLevel());
    return *activeKernels;
}

Level currentLevel() {
    kernels();
    return level;
}

const char *levelName(Level named) {
    constexpr const char *names[levels] = {"plain", "sse2", "avx2", "avx512"};
    return names[static_cast<int>(named)];
}

} // namespace qzk::simd
