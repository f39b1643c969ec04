#include "simd/processor.hpp"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace qzk::simd {

ProcessorId processorId() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned signature, ebx, ecx, features;
    if (__get_cpuid(1, &signature, &ebx, &ecx, &features) != 0) return {signature, features};
#endif
    return {1 << 8, 0};
}

bool countsBitsOfVectors() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned eax, ebx, ecx, edx;
    return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_AVX512VPOPCNTDQ) != 0;
#else
    return false;
#endif
}

} // namespace qzk::simd
